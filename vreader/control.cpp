// The control language: one line in, one answer out.
#include "vreader/running_reader.h"

#include "vreader/cards/tlv.h"
#include "vreader/modules/departure.h"
#include "vreader/modules/modules.h"

namespace vreader
{

namespace
{

constexpr char kOk[] = "ok";
constexpr unsigned long kLongestWait = 3600000;
constexpr unsigned long kUsualWait = 10000;
constexpr unsigned long kAnyNumber = 999999999999999999;

std::string Error(const std::string &text)
{
    return "error: " + text;
}

// Into the trace, which the reader's thread then shows.
void Note(RunningReader *running, const std::string &text)
{
    Remark(running, text);
    Wake(running->wake);
}

// "contact [SLOT]" or "contactless", as they begin many commands.
struct PlaceName
{
    bool contactless = false;
    unsigned slot = 0;
    std::string text;
};

bool ParsePlace(Words *words, bool moreMustFollow, PlaceName *place, std::string *problem)
{
    const std::string kind = NextWord(words);
    place->text = kind;
    place->contactless = kind == "contactless";
    if (place->contactless)
        return true;
    if (kind != "contact")
    {
        *problem = "expected contact or contactless, not \"" + kind + "\"";
        return false;
    }
    // A number is a slot, unless it is the last word where a card's name must follow.
    Words ahead = *words;
    const std::string word = NextWord(&ahead);
    const bool isNumber = Number(word, 0, kAnyNumber).has_value();
    if (isNumber && !(moreMustFollow && PeekWord(ahead).empty()))
    {
        const std::optional<unsigned long> slot = Number(word, 0, kContactSlots - 1);
        if (!slot)
        {
            *problem = "contact slots are 0 to 31";
            return false;
        }
        place->slot = static_cast<unsigned>(*slot);
        *words = ahead;
    }
    place->text += " slot " + std::to_string(place->slot);
    return true;
}

CardPlace *PlaceIn(Reader *reader, const PlaceName &name)
{
    return name.contactless ? &reader->contactless : &reader->contact[name.slot];
}

std::string PutCardIn(RunningReader *running, Words *words, bool swap)
{
    PlaceName name;
    std::string problem;
    if (!ParsePlace(words, true, &name, &problem))
        return Error(problem);
    const std::string cardName = RestOfLine(words);
    if (cardName.empty())
        return Error("which card?");
    const std::lock_guard<std::mutex> guard(running->lock);
    CardPlace *place = PlaceIn(&running->reader, name);
    // A card that is swapped for itself is put back with all it remembers.
    const auto kept = running->profile.kept.find(cardName);
    const bool isSame =
        swap && place->card && kept != running->profile.kept.end() && kept->second == place->card;
    const std::shared_ptr<Card> card =
        isSame ? place->card : CardByName(&running->profile, running->reader, cardName, &problem);
    if (!card)
        return Error(problem);
    if (place->card && !swap)
        return Error(name.text + " holds \"" + place->name + "\"; remove it or use swap");
    if (place->card)
        TakeOut(place);
    place->card = card;
    place->name = cardName[0] == '{' ? card->label : cardName;
    Note(running, "card \"" + place->name + "\" put in, " + name.text);
    return kOk;
}

// A place of its own: the line's first words name it.
bool BeginsWithIdentity(Words *words)
{
    if (PeekWord(*words) != "identity")
        return false;
    NextWord(words);
    return true;
}

std::string Insert(RunningReader *running, Words *words)
{
    if (BeginsWithIdentity(words))
        return PutIdentityCard(running, words, false);
    return PutCardIn(running, words, false);
}

std::string Swap(RunningReader *running, Words *words)
{
    if (BeginsWithIdentity(words))
        return PutIdentityCard(running, words, true);
    return PutCardIn(running, words, true);
}

// "remove PLACE", or "remove PLACE after N": when that many commands more were served
std::string Remove(RunningReader *running, Words *words)
{
    if (BeginsWithIdentity(words))
        return TakeIdentityCard(running, words);
    PlaceName name;
    std::string problem;
    if (!ParsePlace(words, false, &name, &problem))
        return Error(problem);
    std::optional<unsigned long> after;
    if (PeekWord(*words) == "after")
    {
        NextWord(words);
        after = Number(NextWord(words), 0, kAnyNumber);
        if (!after)
            return Error("expected after N, a number of commands");
    }
    if (!PeekWord(*words).empty())
        return Error("nothing but after N may follow the place");
    const std::lock_guard<std::mutex> guard(running->lock);
    CardPlace *place = PlaceIn(&running->reader, name);
    if (!place->card)
        return Error(name.text + " is empty");
    place->commandsLeft = after;
    if (after)
        return kOk;
    Note(running, "card \"" + place->name + "\" taken out, " + name.text);
    TakeOut(place);
    return kOk;
}

// "card PLACE status PREFIX SW [COUNT]"
std::string InjectStatus(RunningReader *running, Words *words)
{
    if (BeginsWithIdentity(words))
        return InjectIdentityStatus(running, words);
    PlaceName name;
    std::string problem;
    if (!ParsePlace(words, false, &name, &problem))
        return Error(problem);
    const bool isStatus = NextWord(words) == "status";
    const std::string prefixText = NextWord(words);
    const std::optional<Bytes> prefix =
        prefixText == "-" ? std::optional<Bytes>(Bytes{}) : BytesFromHex(prefixText);
    const std::optional<Bytes> statusWord = BytesFromHex(NextWord(words));
    const std::string countText = NextWord(words);
    const std::optional<unsigned long> count =
        countText.empty() ? std::optional<unsigned long>(1) : Number(countText, 0, 1000000000);
    if (!isStatus || !prefix || prefixText.empty() || !statusWord || statusWord->size() != 2 ||
        !count || !PeekWord(*words).empty())
        return Error("expected card contact|contactless status PREFIX SW [COUNT]");
    const std::lock_guard<std::mutex> guard(running->lock);
    CardPlace *place = PlaceIn(&running->reader, name);
    if (!place->card)
        return Error(name.text + " is empty");
    if (!place->card->injectStatus)
        return Error("this card takes no status words");
    place->card->injectStatus(*prefix,
                              static_cast<uint16_t>((*statusWord)[0] << 8 | (*statusWord)[1]),
                              static_cast<unsigned>(*count));
    return kOk;
}

// "cards", "cards identity" or "cards magnetic"
std::string ListCards(RunningReader *running, Words *words)
{
    const std::string which = RestOfLine(words);
    nlohmann::json names = nlohmann::json::array();
    if (which == "magnetic")
    {
        const std::lock_guard<std::mutex> guard(running->lock);
        for (const auto &item : running->reader.stripe.cards)
            names.push_back(item.first);
        return "ok " + names.dump();
    }
    if (!which.empty() && which != "identity")
        return Error("expected cards, cards identity or cards magnetic");
    const Profile &profile = running->profile;
    for (const auto &item : (which.empty() ? profile.cards : profile.identityCards).items())
        names.push_back(item.key());
    return "ok " + names.dump();
}

std::string SetFault(RunningReader *running, Words *words)
{
    const std::string text = RestOfLine(words);
    const std::lock_guard<std::mutex> guard(running->lock);
    if (text == "clear")
    {
        running->faults.clear();
        return kOk;
    }
    std::string problem;
    const std::optional<Fault> fault = ParseFault(text, &problem);
    if (!fault)
        return Error(problem);
    running->faults.push_back(*fault);
    return kOk;
}

std::string Speak(RunningReader *running, Words *words)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    if (!SetSpeaking(&running->reader, RestOfLine(words)))
        return Error("expected speak krel|union|both|none");
    Note(running, "framings spoken: " + SpeakingText(running->reader));
    return kOk;
}

// Has the thread open or close the line and waits until that is done. When the thread itself asks
// (from what shows the trace), it finds the request when it comes back to its own work.
void RequestLine(RunningReader *running, LineRequest request, std::unique_lock<std::mutex> *guard)
{
    running->lineProblem.clear();
    running->lineRequest = request;
    Wake(running->wake);
    if (std::this_thread::get_id() == running->threadId)
        return;
    running->changed.wait(
        *guard, [&] { return running->lineRequest == LineRequest::none || running->stopping; });
}

std::string Unplug(RunningReader *running, Words *)
{
    std::unique_lock<std::mutex> guard(running->lock);
    if (!running->connected)
        return Error("the line is closed already");
    RequestLine(running, LineRequest::unplug, &guard);
    return kOk;
}

std::string Plug(RunningReader *running, Words *)
{
    std::unique_lock<std::mutex> guard(running->lock);
    if (running->connected)
        return Error("the line is open already");
    RequestLine(running, LineRequest::plug, &guard);
    if (!running->lineProblem.empty())
        return Error(running->lineProblem);
    if (running->usb != nullptr)
    {
        guard.unlock();
        if (running->usb->waitsForHost && !WaitForHost(running->usb, kHostPatience))
            return Error("the kernel has not configured the reader");
        return kOk;
    }
    return running->terminalName.empty() ? kOk : "ok " + running->terminalName;
}

std::string Quit(RunningReader *running, Words *)
{
    {
        std::unique_lock<std::mutex> guard(running->lock);
        if (running->connected)
            RequestLine(running, LineRequest::unplug, &guard);
    }
    Wake(running->quitSignal);
    return kOk;
}

nlohmann::json PlaceInfo(const CardPlace &place)
{
    return {{"card", place.name}, {"powered", place.powered}};
}

nlohmann::json IdentityInfo(const IdentityModule &module)
{
    const char *state = module.state == IdentityState::selected ? "selected"
                        : module.state == IdentityState::found  ? "found"
                                                                : "";
    return {{"card", module.name}, {"state", state}, {"baud", module.baud}};
}

nlohmann::json StripeInfo(const StripeModule &module)
{
    return {{"waits", module.waiting ? TracksText(*module.waiting) : ""},
            {"planned", module.planned.size()}};
}

std::string Info(RunningReader *running, Words *)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    const Reader &reader = running->reader;
    nlohmann::json contact = nlohmann::json::object();
    for (const auto &[slot, place] : reader.contact)
        if (place.card)
            contact[std::to_string(slot)] = PlaceInfo(place);
    nlohmann::json faults = nlohmann::json::array();
    for (const Fault &fault : running->faults)
        faults.push_back(fault.text);
    const std::string serial(reader.serial.begin(), reader.serial.end());
    const nlohmann::json info = {
        {"terminal", running->terminalName},
        {"speaks", SpeakingText(reader)},
        {"baud", reader.baud},
        {"port", reader.port == 0 ? "" : std::string(1, reader.port)},
        {"mode", reader.mode == 0 ? "" : std::string(1, reader.mode)},
        {"serial", serial.substr(0, serial.find('\0'))},
        {"contact", contact},
        {"contactless", reader.contactless.card ? PlaceInfo(reader.contactless) : nlohmann::json()},
        {"identity", IdentityInfo(reader.identity)},
        {"stripe", StripeInfo(reader.stripe)},
        {"exchanges", running->exchanges},
        {"beeps", reader.beeps},
        {"faults", faults}};
    // A host may have written any bytes as the serial number.
    return "ok " + info.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string Usb(RunningReader *running, Words *words)
{
    return RunUsbControl(running, RestOfLine(words));
}

std::string Exchanges(RunningReader *running, Words *)
{
    const std::lock_guard<std::mutex> guard(running->lock);
    return "ok " + std::to_string(running->exchanges);
}

std::string RawLog(RunningReader *running, Words *words, Bytes RunningReader::*log)
{
    const std::string word = NextWord(words);
    if ((!word.empty() && word != "clear") || !PeekWord(*words).empty())
        return Error("expected clear, or nothing");
    const std::lock_guard<std::mutex> guard(running->lock);
    const Bytes &all = running->*log;
    const size_t kept = std::min(all.size(), kRawKept);
    const std::string answer =
        "ok " + HexText(Bytes(all.end() - static_cast<std::ptrdiff_t>(kept), all.end()));
    if (word == "clear")
        (running->*log).clear();
    return answer;
}

std::string ReceivedLog(RunningReader *running, Words *words)
{
    return RawLog(running, words, &RunningReader::received);
}

std::string SentLog(RunningReader *running, Words *words)
{
    return RawLog(running, words, &RunningReader::sent);
}

std::string Trace(RunningReader *running, Words *words)
{
    std::optional<unsigned long> since = 0;
    const std::string word = NextWord(words);
    if (!word.empty())
        since = word == "since" ? Number(NextWord(words), 0, kAnyNumber) : std::nullopt;
    if (!since || !PeekWord(*words).empty())
        return Error("expected trace, or trace since N");
    const std::lock_guard<std::mutex> guard(running->lock);
    std::string answer = "ok " + std::to_string(running->trace.last) + "\n";
    for (const TraceEvent &event : running->trace.events)
        if (event.number > *since)
            answer += TraceLine(event) + "\n";
    return answer + ".";
}

struct ControlCommand
{
    const char *name;
    bool alone; // nothing may follow
    std::string (*run)(RunningReader *running, Words *words);
};

constexpr ControlCommand kControlCommands[] = {
    {"insert", false, Insert},
    {"remove", false, Remove},
    {"swap", false, Swap},
    {"card", false, InjectStatus},
    {"cards", false, ListCards},
    {"swipe", false, Swipe},
    {"tracks", false, ShowTracks},
    {"fault", false, SetFault},
    {"speak", false, Speak},
    {"memory", true, ShowMemory},
    {"unplug", true, Unplug},
    {"plug", true, Plug},
    {"info", true, Info},
    {"quit", true, Quit},
    {"exchanges", true, Exchanges},
    {"received", false, ReceivedLog},
    {"sent", false, SentLog},
    {"trace", false, Trace},
    {"usb", false, Usb},
};

} // namespace

std::string RunControl(RunningReader *running, const std::string &line)
{
    Words words{line};
    const std::string name = NextWord(&words);
    for (const ControlCommand &command : kControlCommands)
    {
        if (name != command.name)
            continue;
        if (command.alone && !PeekWord(words).empty())
            return Error("nothing may follow " + name);
        return command.run(running, &words);
    }
    return Error("unknown command \"" + name + "\"");
}

bool ParseWait(const std::string &line, WaitRequest *request, std::string *problem)
{
    Words words{line};
    if (NextWord(&words) != "wait")
        return false;
    const std::string what = PeekWord(words);
    if (what == "bytes" || what == "closed" || what == "swipe")
        NextWord(&words);
    request->what = what == "bytes"    ? WaitFor::bytes
                    : what == "closed" ? WaitFor::closed
                    : what == "swipe"  ? WaitFor::swipe
                                       : WaitFor::exchanges;
    std::optional<unsigned long> target = 0;
    if (request->what != WaitFor::closed && request->what != WaitFor::swipe)
        target = Number(NextWord(&words), 0, kAnyNumber);
    const std::string limitText = NextWord(&words);
    const std::optional<unsigned long> limit = limitText.empty()
                                                   ? std::optional<unsigned long>(kUsualWait)
                                                   : Number(limitText, 0, kLongestWait);
    if (!target || !limit || !RestOfLine(&words).empty())
    {
        *problem =
            Error("expected wait N [MS], wait bytes N [MS], wait swipe [MS] or wait closed [MS]");
        return true;
    }
    request->target = *target;
    request->deadline = Clock::now() + std::chrono::milliseconds(*limit);
    return true;
}

bool WaitIsOver(const RunningReader &running, const WaitRequest &request, std::string *answer)
{
    const bool forBytes = request.what == WaitFor::bytes;
    const uint64_t count = forBytes ? running.bytesServed : running.exchanges;
    const bool reached = request.what == WaitFor::closed ? running.terminal.hosts <= 0
                         : request.what == WaitFor::swipe
                             ? running.reader.stripe.waiting.has_value()
                             : count >= request.target;
    if (reached)
        *answer = kOk;
    else if (running.stopping)
        *answer = Error("the reader has stopped");
    else if (Clock::now() >= request.deadline)
        *answer = Error("time is over after " + std::to_string(count) +
                        (forBytes ? " bytes" : " exchanges"));
    return !answer->empty();
}

} // namespace vreader
