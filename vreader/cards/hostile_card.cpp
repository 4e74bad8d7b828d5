// Cards that no card maker would ship: endless, lying, empty or oversized answers.
//
// A hostile card wraps a well-behaved one and spoils the commands it is told to spoil, so that a
// host can be led to any step of its work before the trouble begins.
#include "vreader/cards/kinds.h"

#include <algorithm>

namespace vreader
{

namespace
{

using SpoiledAnswer = Bytes (*)(const Bytes &command);

constexpr uint8_t kSelect = 0xA4;
constexpr uint8_t kReadRecord = 0xB2;
constexpr uint8_t kGetProcessingOptions = 0xA8;
constexpr uint8_t kGetResponse = 0xC0;

uint8_t InstructionOf(const Bytes &command)
{
    return command.size() < 2 ? 0 : command[1];
}

bool IsReadRecord(const Bytes &command)
{
    return InstructionOf(command) == kReadRecord && command.size() >= 4;
}

Bytes Endless61(const Bytes &command)
{
    const bool fetches = InstructionOf(command) == kGetResponse;
    return WithStatus(fetches ? Bytes(16, 0x5A) : Bytes{}, 0x6110);
}

Bytes Endless62(const Bytes &)
{
    return WithStatus({}, 0x6200);
}

Bytes Endless6C(const Bytes &)
{
    return WithStatus({}, 0x6C10);
}

// Every record number of every file holds a directory entry.
Bytes EndlessDirectory(const Bytes &command)
{
    if (!IsReadRecord(command))
        return {};
    const uint8_t number = command[2];
    const Bytes name = {0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, number};
    return WithStatus(Tlv(0x70, Tlv(0x61, Tlv(0x4F, name))), 0x9000);
}

// A locator of 63 entries of 255 records each, and every record is there: some four megabytes.
Bytes EndlessLocator(const Bytes &command)
{
    if (IsReadRecord(command))
        return WithStatus(Tlv(0x70, Tlv(0x9F46, Bytes(243, command[2]))), 0x9000);
    if (InstructionOf(command) != kGetProcessingOptions)
        return {};
    Bytes value = {0x7C, 0x00};
    for (int entry = 0; entry < 63; ++entry)
        AppendBytes(&value, {static_cast<uint8_t>((entry % 30 + 1) << 3), 0x01, 0xFF, 0x00});
    return WithStatus(Tlv(0x80, value), 0x9000);
}

// Templates within templates up to the last byte, and nothing in the innermost.
Bytes DeepTlv(const Bytes &)
{
    Bytes nested(248);
    for (size_t i = 0; i < nested.size(); i += 2)
    {
        nested[i] = 0x70;
        nested[i + 1] = static_cast<uint8_t>(std::min<size_t>(nested.size() - i - 2, 0x7F));
    }
    return WithStatus(nested, 0x9000);
}

// Each answer is of the right shape, and its last object claims more than there is.
Bytes LyingLengths(const Bytes &command)
{
    switch (InstructionOf(command))
    {
    case kSelect:
        return {0x6F, 0x7F, 0x84, 0x08, 0xA0, 0x00, 0x00, 0x03, 0x33, 0x01,
                0x01, 0x01, 0xA5, 0x7F, 0x88, 0xFF, 0x01, 0x90, 0x00};
    case kReadRecord:
        return {0x70, 0x82, 0xFF, 0xFF, 0x61, 0x7F, 0x4F, 0x82, 0xFF, 0xFF, 0xA0, 0x90, 0x00};
    case kGetProcessingOptions:
        return {0x77, 0x7F, 0x82, 0x02, 0x7C, 0x00, 0x94, 0x82, 0xFF, 0xFF, 0x08, 0x90, 0x00};
    default:
        return {0x9F, 0x79, 0xFF, 0x00, 0x90, 0x00};
    }
}

Bytes NotTlv(const Bytes &)
{
    return WithStatus(Bytes(250, 0xFF), 0x9000);
}

// A tag or a length cut off by the end of the answer.
Bytes CutTlv(const Bytes &command)
{
    return InstructionOf(command) == kSelect ? Bytes{0x6F, 0x01, 0x9F, 0x90, 0x00}
                                             : Bytes{0x70, 0x03, 0x5A, 0x82, 0x01, 0x90, 0x00};
}

Bytes EmptyResponse(const Bytes &)
{
    return {};
}

Bytes OneByte(const Bytes &)
{
    return {0x90};
}

// 2,000 bytes in all, well-formed: a record with one very long name.
Bytes Huge(const Bytes &)
{
    return WithStatus(Tlv(0x70, Tlv(0x5F20, Bytes(1989, 'A'))), 0x9000);
}

struct Behaviour
{
    const char *name;
    SpoiledAnswer answer;
    bool leavesTheRest; // an empty answer means: let the well-behaved card answer
};

constexpr Behaviour kBehaviours[] = {
    {"endless-61", Endless61, false},
    {"endless-62", Endless62, false},
    {"endless-6c", Endless6C, false},
    {"endless-directory", EndlessDirectory, true},
    {"endless-locator", EndlessLocator, true},
    {"deep-tlv", DeepTlv, false},
    {"lying-lengths", LyingLengths, false},
    {"not-tlv", NotTlv, false},
    {"cut-tlv", CutTlv, false},
    {"empty-response", EmptyResponse, false},
    {"one-byte", OneByte, false},
    {"huge", Huge, false},
};

// The well-behaved card beneath when the description brings none.
const char kUsualCard[] = R"({"kind": "pboc", "applications": [{
    "aid": "A000000333010101", "label": "PBOC DEBIT", "priority": 1,
    "records": {"1": {"1": {"5A": "6200000000000005", "5F24": "301231"}}},
    "getData": {"9F79": "000000001000"},
    "log": {"records": [{"date": "2025-01-31", "time": "12:00:00", "amount": "1.00"}]}}]})";

struct HostileCard
{
    const Behaviour *behaviour = nullptr;
    std::vector<Bytes> commands; // beginnings of the commands to spoil; none: all
    std::shared_ptr<Card> wellBehaved;
    bool spoiledLast = false;
};

bool IsToSpoil(const HostileCard &hostile, const Bytes &command)
{
    if (hostile.commands.empty())
        return true;
    // What asks for the rest of a spoiled answer gets a spoiled answer too.
    if (hostile.spoiledLast && InstructionOf(command) == kGetResponse)
        return true;
    return std::any_of(hostile.commands.begin(), hostile.commands.end(),
                       [&command](const Bytes &prefix)
                       {
                           return prefix.size() <= command.size() &&
                                  std::equal(prefix.begin(), prefix.end(), command.begin());
                       });
}

Bytes Answer(HostileCard *hostile, const Bytes &command)
{
    hostile->spoiledLast = IsToSpoil(*hostile, command);
    if (!hostile->spoiledLast)
        return hostile->wellBehaved->transmit(command);
    const Bytes spoiled = hostile->behaviour->answer(command);
    if (!spoiled.empty() || !hostile->behaviour->leavesTheRest)
        return spoiled;
    hostile->spoiledLast = false;
    return hostile->wellBehaved->transmit(command);
}

std::string Remark(const HostileCard &hostile)
{
    if (hostile.spoiledLast)
        return "hostile: " + std::string(hostile.behaviour->name);
    return hostile.wellBehaved->remark();
}

const Behaviour *ReadBehaviour(const Place &description)
{
    const std::string name = TextAt(description, "behaviour", "");
    std::string names;
    for (const Behaviour &behaviour : kBehaviours)
    {
        if (name == behaviour.name)
            return &behaviour;
        names += (names.empty() ? "" : ", ") + std::string(behaviour.name);
    }
    const std::optional<Place> found = Find(description, "behaviour");
    if (found)
        Expected(*found, "one of " + names);
    else
        Complain(description, "the key \"behaviour\" is missing (" + names + ")");
    return nullptr;
}

std::shared_ptr<Card> ReadWellBehaved(const Place &description, const std::string &directory)
{
    const std::optional<Place> found = Find(description, "card");
    if (!found)
    {
        const nlohmann::json usual = nlohmann::json::parse(kUsualCard);
        return MakePbocCard({&usual, "", description.problem});
    }
    const std::optional<Place> kind = Find(*found, "kind");
    if (kind && *kind->value == "hostile")
        Complain(*kind, "a hostile card wraps a well-behaved one (transcript or pboc)");
    std::shared_ptr<Card> card;
    if (!Failed(description))
        card = MakeCardOfKind(*found, directory);
    if (card && card->memory)
        Complain(*found, "is a memory card, which hostile-memory wraps");
    if (card && !Failed(description))
        AddInjection(card.get(), Find(*found, "inject"));
    return card;
}

} // namespace

std::shared_ptr<Card> MakeHostileCard(const Place &description, const std::string &directory)
{
    const auto card = std::make_shared<Card>();
    const auto hostile = std::make_shared<HostileCard>();
    if (!IsObjectOf(description,
                    {"kind", "label", "atr", "inject", "behaviour", "commands", "card"}))
        return card;
    hostile->behaviour = ReadBehaviour(description);
    hostile->wellBehaved = ReadWellBehaved(description, directory);
    const std::optional<Place> commands = Find(description, "commands");
    if (commands && IsArray(*commands, "a list of command beginnings in hexadecimal digits"))
    {
        for (size_t i = 0; i < commands->value->size() && !Failed(description); ++i)
            hostile->commands.push_back(Hex(Element(*commands, i)));
    }
    if (Failed(description))
        return card;

    card->kind = "hostile";
    card->label =
        TextAt(description, "label", "hostile card: " + std::string(hostile->behaviour->name));
    card->answerToReset = HexAt(description, "atr", hostile->wellBehaved->answerToReset);
    card->powerOn = [hostile]
    {
        hostile->spoiledLast = false;
        hostile->wellBehaved->powerOn();
    };
    card->powerOff = [hostile] { hostile->wellBehaved->powerOff(); };
    card->transmit = [hostile](const Bytes &command) { return Answer(hostile.get(), command); };
    card->remark = [hostile] { return Remark(*hostile); };
    return card;
}

} // namespace vreader
