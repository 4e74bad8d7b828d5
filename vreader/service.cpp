// The reader's thread: receives, serves, answers, and shows what it did.
#include "vreader/running_reader.h"

#include "vreader/lines/link.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace vreader
{

namespace
{

constexpr size_t kReadAtOnce = 4096;

timespec TimeUntil(TimePoint when)
{
    using namespace std::chrono;
    const auto rest = std::max<Clock::duration>(when - Clock::now(), Clock::duration::zero());
    timespec time = {};
    time.tv_sec = static_cast<time_t>(duration_cast<seconds>(rest).count());
    time.tv_nsec = static_cast<long>(duration_cast<nanoseconds>(rest % seconds(1)).count());
    return time;
}

// Sleeps until there is something to read, to send, or to do for the control channel.
void WaitForWork(const RunningReader *running)
{
    std::optional<TimePoint> next;
    bool blocked = false;
    if (!running->outgoing.empty())
    {
        blocked = running->outgoing.front().blocked;
        if (!blocked)
            next = running->outgoing.front().due;
    }
    if (!running->arrivals.bytes.empty())
    {
        const TimePoint arrival = NextArrival(running->arrivals, running->reader.baud);
        next = next ? std::min(*next, arrival) : arrival;
    }
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        if (running->swipe)
            next = next ? std::min(*next, running->swipeDue) : running->swipeDue;
    }
    // Negative descriptors are passed over by poll: a reader that is not plugged in has none.
    const auto terminalEvents = static_cast<short>(blocked ? POLLIN | POLLOUT : POLLIN);
    pollfd descriptors[] = {{running->wake, POLLIN, 0},
                            {running->terminal.master, terminalEvents, 0},
                            {running->terminal.watch, POLLIN, 0}};
    timespec rest = {};
    if (next)
        rest = TimeUntil(*next);
    ppoll(descriptors, 3, next ? &rest : nullptr, nullptr);
}

// A USB host that takes the reader over has given it power: it starts afresh.
void ForgetEarlierHost(RunningReader *running)
{
    DropAnswers(running);
    running->stream = {};
    running->reader.baud = kDefaultBaud;
    Restart(&running->reader);
}

// Does what the control channel asked for; false when the thread is to end.
bool HandleRequests(RunningReader *running)
{
    DrainWakes(running->wake);
    const std::lock_guard<std::mutex> guard(running->lock);
    if (running->newHost && running->connected)
        ForgetEarlierHost(running);
    running->newHost = false;
    if (running->stopping || running->lineRequest == LineRequest::unplug)
        DisconnectLine(running);
    if (running->lineRequest == LineRequest::plug)
    {
        if (ConnectLine(running, &running->lineProblem))
            Remark(running, "line open " + running->terminalName);
    }
    if (running->lineRequest != LineRequest::none)
    {
        running->lineRequest = LineRequest::none;
        running->changed.notify_all();
    }
    return !running->stopping;
}

// Says it when the two ends of a real line would not understand each other.
void CompareRates(RunningReader *running)
{
    const unsigned hostRate = HostRate(running->terminal);
    const unsigned ownRate = running->reader.baud;
    if (hostRate == running->comparedHostRate && ownRate == running->comparedOwnRate)
        return;
    running->comparedHostRate = hostRate;
    running->comparedOwnRate = ownRate;
    if (hostRate != ownRate)
        Remark(running, "the host's line runs at " + std::to_string(hostRate) +
                            " baud, the reader's at " + std::to_string(ownRate) +
                            ": on a real line they would not understand each other");
}

Bytes ReceiveBytes(RunningReader *running, TimePoint now)
{
    Bytes bytes;
    if (!running->onTerminal)
    {
        bytes.swap(running->given);
        return bytes;
    }
    bytes.resize(kReadAtOnce);
    bytes.resize(ReadTerminal(running->terminal, bytes.data(), bytes.size()));
    if (!bytes.empty())
        CompareRates(running);
    AppendRaw(&running->received, bytes.data(), bytes.size());
    if (!running->pace)
        return bytes;
    Depart(&running->arrivals, bytes.data(), bytes.size(), running->reader.baud, now);
    return Arrived(&running->arrivals, running->reader.baud, now);
}

// An unfinished command of a host that has gone is never finished.
void ForgetHost(RunningReader *running)
{
    ForgetSwipes(running, "the host closed the line before a card was swiped");
    const Bytes rest = ForgetPending(&running->stream);
    if (!rest.empty())
        Remark(running, "the host closed the line in the middle of a command, after " +
                            std::to_string(rest.size()) + " bytes");
}

void ServeBytes(RunningReader *running, TimePoint now)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    if (!running->connected)
        return;
    const Bytes bytes = ReceiveBytes(running, now);
    // Asked after the bytes were read and before they are served: what an earlier host left unread
    // has to go before the answers to these bytes come.
    const bool left = running->onTerminal && LastHostLeft(&running->terminal);
    Feed(&running->stream, bytes.data(), bytes.size());
    WireItem item;
    while (NextItem(&running->stream, &item))
        QueueItem(running, item, now);
    if (left && running->terminal.hosts <= 0 && running->arrivals.bytes.empty())
    {
        ForgetHost(running);
        DropStartedAnswer(running);
    }
    running->bytesDone += bytes.size();
    running->hostLeft |= left;
}

// Outside the lock: what shows the trace may itself use the control channel.
void ShowTrace(RunningReader *running)
{
    std::vector<std::string> lines;
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        const uint64_t unseen = running->trace.last - running->shown;
        const size_t kept = running->trace.events.size();
        running->shown = running->trace.last;
        if (!running->showTrace)
            return;
        for (size_t i = kept - std::min<uint64_t>(unseen, kept); i < kept; ++i)
            lines.push_back(TraceLine(running->trace.events[i]));
    }
    for (const std::string &line : lines)
        running->showTrace(line);
}

// After everything else, so that who has waited finds the answer sent and the trace shown.
void PublishProgress(RunningReader *running)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    if (running->bytesDone == 0 && running->exchangesDone == 0 && !running->hostLeft)
        return;
    running->bytesServed += running->bytesDone;
    running->exchanges += running->exchangesDone;
    running->bytesDone = 0;
    running->exchangesDone = 0;
    running->hostLeft = false;
    running->changed.notify_all();
    if (running->progressWake >= 0)
        Wake(running->progressWake);
}

} // namespace

void Wake(int eventDescriptor)
{
    const uint64_t one = 1;
    const ssize_t written = write(eventDescriptor, &one, sizeof one);
    static_cast<void>(written); // it fails only when plenty of wakes are pending already
}

void DrainWakes(int eventDescriptor)
{
    uint64_t count = 0;
    const ssize_t bytes = read(eventDescriptor, &count, sizeof count);
    static_cast<void>(bytes); // nothing pending is fine as well
}

void Remark(RunningReader *running, std::string text)
{
    TraceEvent event;
    event.text = std::move(text);
    Record(&running->trace, std::move(event));
}

void AppendRaw(Bytes *log, const uint8_t *bytes, size_t count)
{
    log->insert(log->end(), bytes, bytes + count);
    if (log->size() > 2 * kRawKept) // now and then, not for every byte
        log->erase(log->begin(), log->end() - static_cast<std::ptrdiff_t>(kRawKept));
}

bool ConnectLine(RunningReader *running, std::string *error)
{
    if (running->onTerminal && !OpenTerminal(&running->terminal, error))
        return false;
    if (running->usb != nullptr && !PlugUsb(running->usb, error))
        return false;
    running->terminalName = running->terminal.name;
    running->reader.baud = kDefaultBaud;
    Restart(&running->reader);
    running->comparedHostRate = kDefaultBaud;
    running->comparedOwnRate = kDefaultBaud;
    running->connected = true;
    std::string linkProblem;
    if (!running->link.empty() && !MakeLink(running->link, running->terminalName, &linkProblem))
        Remark(running, linkProblem);
    return true;
}

void DisconnectLine(RunningReader *running)
{
    if (!running->connected)
        return;
    if (!running->link.empty())
        RemoveLink(running->link, running->terminalName);
    CloseTerminal(&running->terminal);
    ForgetSwipes(running, "the line was closed before a card was swiped");
    if (running->usb != nullptr)
        UnplugUsb(running->usb);
    DropAnswers(running);
    running->stream = {};
    running->arrivals = {};
    running->given.clear();
    running->connected = false;
    running->terminalName.clear();
    Remark(running, "line closed");
}

bool SetLink(RunningReader *running, const std::string &path, std::string *error)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    if (!MakeLink(path, running->terminalName, error))
        return false;
    running->link = path;
    return true;
}

void ServeLine(RunningReader *running)
{
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        running->threadId = std::this_thread::get_id();
    }
    for (;;)
    {
        WaitForWork(running);
        if (!HandleRequests(running))
            break;
        const TimePoint now = Clock::now();
        ServeBytes(running, now);
        ServeDueSwipe(running, now);
        SendDueAnswers(running, now);
        ShowTrace(running);
        PublishProgress(running);
    }
    ShowTrace(running);
    const std::lock_guard<std::mutex> guard(running->lock);
    running->changed.notify_all();
}

} // namespace vreader
