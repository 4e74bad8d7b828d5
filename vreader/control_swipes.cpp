// Control words of the magnetic module: "swipe" and "tracks".
#include "vreader/running_reader.h"

#include "vreader/profile_modules.h"

namespace vreader
{

namespace
{

constexpr unsigned long kLongestSwipeDelay = 60000;

// "swipe next [MS] CARD"
struct SwipeWords
{
    bool next = false;
    unsigned long afterMs = 0;
    std::string card;
};

SwipeWords ReadSwipeWords(Words *words)
{
    SwipeWords swipe;
    Words ahead = *words;
    if (NextWord(&ahead) == "next" && !PeekWord(ahead).empty())
    {
        swipe.next = true;
        *words = ahead;
        // A number is the time, unless it is the last word, where the card's name must stand.
        const std::optional<unsigned long> after = Number(NextWord(&ahead), 0, kLongestSwipeDelay);
        if (after && !PeekWord(ahead).empty())
        {
            swipe.afterMs = *after;
            *words = ahead;
        }
    }
    swipe.card = RestOfLine(words);
    return swipe;
}

} // namespace

std::string Swipe(RunningReader *running, Words *words)
{
    const SwipeWords wanted = ReadSwipeWords(words);
    if (wanted.card.empty())
        return "error: which card?";
    const std::lock_guard<std::mutex> guard(running->lock);
    StripeModule *module = &running->reader.stripe;
    if (wanted.card == "clear")
    {
        module->planned.clear();
        module->everyCall.reset();
        return "ok";
    }
    PlannedSwipe swipe;
    std::string problem;
    swipe.card = MagneticCardByName(running->profile, running->reader, wanted.card, &problem);
    if (!swipe.card)
        return "error: " + problem;
    swipe.name = wanted.card[0] == '{' ? swipe.card->label : wanted.card;
    swipe.afterMs = wanted.afterMs;
    if (wanted.next)
    {
        module->planned.push_back(swipe);
        return "ok";
    }
    if (!module->waiting)
        return "error: no call waits for a swipe (swipe next CARD is for the call to come)";
    running->swipe = swipe;
    running->swipeDue = Clock::now();
    Wake(running->wake);
    return "ok";
}

std::string ShowTracks(RunningReader *running, Words *words)
{
    const std::string name = RestOfLine(words);
    const std::lock_guard<std::mutex> guard(running->lock);
    const auto found = running->reader.stripe.cards.find(name);
    if (found == running->reader.stripe.cards.end())
        return "error: no card \"" + name + "\" in magneticCards";
    return "ok " + TracksAsJson(*found->second).dump();
}

} // namespace vreader
