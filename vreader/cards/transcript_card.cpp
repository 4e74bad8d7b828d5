// A card that repeats a recorded session.
//
// The same READ RECORD means another file after each SELECT: record 2 of SFI 1 is a directory entry
// first and application data later. So an exchange belongs to the SELECT it was recorded under, and
// a host that skips records of the directory still gets the application's own.
#include "vreader/cards/command.h"
#include "vreader/cards/kinds.h"

#include <algorithm>

namespace vreader
{

namespace
{

using nlohmann::json;

struct Exchange
{
    Bytes command;
    Bytes response;
    Bytes selection; // the SELECT it was recorded under, without Le; empty: none yet
};

struct AddedExchange
{
    Bytes command;
    Bytes response;
    std::string note;
    std::optional<Bytes> after; // holds after this SELECT only (empty: before any)
    bool isPrefix = false;      // any command that begins so, whatever data follow
};

struct Replay
{
    std::vector<Exchange> recorded;
    std::vector<AddedExchange> added;

    // The card session.
    std::vector<bool> recordedUsed;
    std::vector<bool> addedUsed;
    Bytes selection;
    std::optional<size_t> previous; // the recorded exchange that was answered last
    std::string remark;
};

bool IsSelect(const Bytes &command)
{
    return command.size() >= 4 && (command[0] & 0xFC) == 0 && command[1] == 0xA4;
}

uint8_t Status1(const Bytes &response)
{
    return response.size() < 2 ? 0 : response[response.size() - 2];
}

bool Selects(const Bytes &command, const Bytes &response)
{
    const uint8_t status = Status1(response);
    return IsSelect(command) &&
           (status == 0x90 || status == 0x61 || status == 0x62 || status == 0x9F);
}

// 61xx, 62xx, 6Cxx: the command that follows in the recording belongs to this one.
bool IsContinued(const Bytes &response)
{
    const uint8_t status = Status1(response);
    return status == 0x61 || status == 0x62 || status == 0x6C || status == 0x9F;
}

// Recordings come from readers that send Le and from readers that leave it out. Two Le bytes that
// differ are two commands: that is what a 6Cxx chain is made of.
bool IsSameCommand(const Bytes &one, const Bytes &other)
{
    return one == other || WithoutLe(one) == other || one == WithoutLe(other);
}

// The first candidate that was not answered yet; the last one repeats.
std::optional<size_t> TakeNext(const std::vector<size_t> &candidates, std::vector<bool> *used)
{
    if (candidates.empty())
        return std::nullopt;
    for (const size_t index : candidates)
    {
        if ((*used)[index])
            continue;
        (*used)[index] = true;
        return index;
    }
    return candidates.back();
}

bool IsFor(const Exchange &exchange, const Bytes &command)
{
    return IsSameCommand(exchange.command, command);
}

bool IsFor(const AddedExchange &exchange, const Bytes &command)
{
    if (!exchange.isPrefix)
        return IsSameCommand(exchange.command, command);
    return exchange.command.size() <= command.size() &&
           std::equal(exchange.command.begin(), exchange.command.end(), command.begin());
}

template <typename List, typename Condition>
std::optional<size_t> FindNext(const List &exchanges, const Bytes &command, std::vector<bool> *used,
                               Condition condition)
{
    std::vector<size_t> same;
    std::vector<size_t> similar;
    for (size_t i = 0; i < exchanges.size(); ++i)
    {
        if (!IsFor(exchanges[i], command) || !condition(exchanges[i]))
            continue;
        (exchanges[i].command == command ? same : similar).push_back(i);
    }
    return TakeNext(same.empty() ? similar : same, used);
}

std::optional<size_t> FindAdded(Replay *replay, const Bytes &command)
{
    return FindNext(replay->added, command, &replay->addedUsed,
                    [replay](const AddedExchange &exchange)
                    { return !exchange.after || *exchange.after == replay->selection; });
}

std::optional<size_t> FindRecorded(Replay *replay, const Bytes &command)
{
    const std::vector<Exchange> &recorded = replay->recorded;
    if (replay->previous && IsContinued(recorded[*replay->previous].response))
    {
        const size_t following = *replay->previous + 1;
        if (following < recorded.size() && IsSameCommand(recorded[following].command, command))
        {
            replay->recordedUsed[following] = true;
            return following;
        }
    }
    const auto isOfThisSelection = [replay, &command](const Exchange &exchange)
    { return IsSelect(command) || exchange.selection == replay->selection; };
    if (auto index = FindNext(recorded, command, &replay->recordedUsed, isOfThisSelection))
        return index;
    const auto index =
        FindNext(recorded, command, &replay->recordedUsed, [](const Exchange &) { return true; });
    if (index)
        replay->remark = "recorded under another selection";
    return index;
}

Bytes Answer(Replay *replay, const Bytes &command)
{
    replay->remark.clear();
    Bytes response;
    if (const std::optional<size_t> index = FindAdded(replay, command))
    {
        const AddedExchange &exchange = replay->added[*index];
        replay->remark = "added by the profile: " + exchange.note;
        replay->previous.reset();
        response = exchange.response;
    }
    else if (const std::optional<size_t> recorded = FindRecorded(replay, command))
    {
        replay->previous = recorded;
        response = replay->recorded[*recorded].response;
    }
    else
    {
        replay->remark = "not in the recording";
        replay->previous.reset();
        return WithStatus({}, 0x6A82);
    }
    if (Selects(command, response))
        replay->selection = WithoutLe(command);
    return response;
}

void StartSession(Replay *replay)
{
    replay->recordedUsed.assign(replay->recorded.size(), false);
    replay->addedUsed.assign(replay->added.size(), false);
    replay->selection.clear();
    replay->previous.reset();
    replay->remark.clear();
}

Bytes NeededHex(const Place &place, const char *key)
{
    if (const std::optional<Place> found = Find(place, key))
        return Hex(*found);
    Complain(place, "the key \"" + std::string(key) + "\" is missing");
    return {};
}

void ReadExchanges(const Place &list, std::vector<Exchange> *recorded)
{
    if (!IsArray(list, "a list of {\"cmd\", \"rsp\"}"))
        return;
    Bytes selection;
    for (size_t i = 0; i < list.value->size() && !Failed(list); ++i)
    {
        const Place entry = Element(list, i);
        if (!entry.value->is_object())
        {
            Expected(entry, "an object with \"cmd\" and \"rsp\"");
            return;
        }
        Exchange exchange{NeededHex(entry, "cmd"), NeededHex(entry, "rsp"), {}};
        if (Selects(exchange.command, exchange.response))
            selection = WithoutLe(exchange.command);
        exchange.selection = selection;
        recorded->push_back(std::move(exchange));
    }
}

void ReadAdded(const Place &list, std::vector<AddedExchange> *added)
{
    if (!IsArray(list, "a list of {\"cmd\", \"rsp\", \"note\"}"))
        return;
    for (size_t i = 0; i < list.value->size() && !Failed(list); ++i)
    {
        const Place entry = Element(list, i);
        if (!IsObjectOf(entry, {"cmd", "rsp", "after", "prefix"}))
            return;
        AddedExchange exchange{NeededHex(entry, "cmd"),
                               NeededHex(entry, "rsp"),
                               {},
                               {},
                               FlagAt(entry, "prefix", false)};
        // Without a note nobody could tell later why the recording was not left alone.
        if (!Find(entry, "note"))
            Complain(entry, "the key \"note\" is missing (why this answer is added)");
        exchange.note = TextAt(entry, "note", "");
        if (const std::optional<Place> after = Find(entry, "after"))
            exchange.after = WithoutLe(Hex(*after));
        added->push_back(std::move(exchange));
    }
}

// The exchanges of a recording, or of the one of its cases that the description names.
void ReadRecording(const Place &recording, const Place &description, Replay *replay)
{
    const std::optional<Place> cases = Find(recording, "cases");
    const std::optional<Place> exchanges = Find(recording, "exchanges");
    const std::optional<Place> wanted = Find(description, "case");
    if (!wanted && exchanges)
        return ReadExchanges(*exchanges, &replay->recorded);
    if (!cases)
    {
        if (wanted)
            Complain(*wanted, "the recording has no cases");
        return Complain(recording, recording.path.empty()
                                       ? "the key \"file\" or \"exchanges\" is missing"
                                       : "the key \"exchanges\" is missing");
    }
    if (!IsArray(*cases, "a list of {\"name\", \"exchanges\"}"))
        return;
    const std::string name = wanted ? Text(*wanted) : "";
    std::string names;
    for (size_t i = 0; i < cases->value->size() && !Failed(recording); ++i)
    {
        const Place entry = Element(*cases, i);
        const std::string entryName = TextAt(entry, "name", "");
        names += (names.empty() ? "" : ", ") + entryName;
        const std::optional<Place> entryExchanges = Find(entry, "exchanges");
        if (wanted && entryName == name && entryExchanges)
            return ReadExchanges(*entryExchanges, &replay->recorded);
    }
    if (wanted)
        Expected(*wanted, "one of the recording's cases (" + names + ")");
    else
        Complain(description, "the key \"case\" is missing; the recording has " + names);
}

} // namespace

std::shared_ptr<Card> MakeTranscriptCard(const Place &description, const std::string &directory)
{
    const auto card = std::make_shared<Card>();
    const auto replay = std::make_shared<Replay>();
    if (!IsObjectOf(description,
                    {"kind", "label", "atr", "inject", "file", "case", "exchanges", "add"}))
        return card;

    card->kind = "transcript";
    card->label = TextAt(description, "label", "recorded card");
    card->answerToReset = HexAt(description, "atr", PlainAnswerToReset());
    if (const std::optional<Place> file = Find(description, "file"))
    {
        const json contents = FileContents(*file, directory);
        const Place recording{&contents, Text(*file), description.problem};
        if (!Failed(description) && !contents.is_object())
            Expected(recording, "an object");
        if (!Failed(description))
        {
            ReadRecording(recording, description, replay.get());
            card->label = TextAt(description, "label", TextAt(recording, "card_type", card->label));
            card->answerToReset =
                HexAt(description, "atr", HexAt(recording, "atr", card->answerToReset));
        }
    }
    else
    {
        ReadRecording(description, description, replay.get());
    }
    if (const std::optional<Place> added = Find(description, "add"))
        ReadAdded(*added, &replay->added);

    StartSession(replay.get());
    card->powerOn = [replay] { StartSession(replay.get()); };
    card->powerOff = [replay] { StartSession(replay.get()); };
    card->transmit = [replay](const Bytes &command) { return Answer(replay.get(), command); };
    card->remark = [replay] { return replay->remark; };
    return card;
}

} // namespace vreader
