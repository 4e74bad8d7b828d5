// Commands of the magnetic module that wait for a card: the answer comes with the swipe.
#include "vreader/running_reader.h"

#include "vreader/modules/modules.h"

namespace vreader
{

namespace
{

using std::chrono::milliseconds;

// The call that began last meets the next planned swipe, if there is one.
void PlanSwipe(RunningReader *running, TimePoint now)
{
    StripeModule *module = &running->reader.stripe;
    running->swipe.reset();
    if (!module->planned.empty())
    {
        running->swipe = module->planned.front();
        module->planned.pop_front();
    }
    else
        running->swipe = module->everyCall;
    if (running->swipe)
        running->swipeDue = now + milliseconds(running->swipe->afterMs);
}

void NoteUnanswered(RunningReader *running, const Request &request, const char *why)
{
    TraceEvent event;
    event.kind = EventKind::noAnswer;
    event.request = request;
    event.text = why;
    Record(&running->trace, std::move(event));
    ++running->exchangesDone;
}

} // namespace

void SettleSwipes(RunningReader *running, const std::optional<Request> &before, bool begins,
                  TimePoint now)
{
    const bool ended = !running->reader.stripe.waiting || begins;
    if (before && ended)
    {
        NoteUnanswered(running, *before, "no card was swiped before the next command");
        running->swipe.reset();
    }
    if (begins)
        PlanSwipe(running, now);
}

void ForgetSwipes(RunningReader *running, const char *why)
{
    const std::optional<Request> waiting = running->reader.stripe.waiting;
    running->reader.stripe.waiting.reset();
    running->swipe.reset();
    if (waiting)
        NoteUnanswered(running, *waiting, why);
}

void ServeDueSwipe(RunningReader *running, TimePoint now)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    if (!running->swipe || running->swipeDue > now)
        return;
    const PlannedSwipe swipe = *running->swipe;
    running->swipe.reset();
    if (!running->reader.stripe.waiting)
        return;
    const Request request = *running->reader.stripe.waiting;
    Reply reply = AnswerToSwipe(&running->reader, swipe.name, swipe.card.get());
    QueueAnswer(running, request, std::move(reply), now);
}

} // namespace vreader
