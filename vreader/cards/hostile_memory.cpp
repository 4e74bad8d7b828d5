// Memory cards whose answers no card and no reader should give: too short, too long, false.
#include "vreader/cards/memory_card.h"
#include "vreader/cards/tlv.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr uint8_t kFill = 0x5A;
constexpr size_t kLongestKrelPayload = 334; // with status 0
constexpr size_t kLongestShortKrelPayload = 254;
constexpr size_t kLongUnionPayload = 1000; // twice that on the line: still in a host's 2048 bytes
constexpr size_t kProofSize = 9;           // 00 and ek(RndA')

Bytes NoPayload(Bytes, size_t)
{
    return {};
}

Bytes OneByte(Bytes payload, size_t)
{
    payload.resize(1);
    return payload;
}

Bytes StatusOnly(Bytes payload, size_t statusSize)
{
    payload.resize(statusSize);
    return payload;
}

Bytes Short(Bytes payload, size_t)
{
    payload.pop_back();
    return payload;
}

Bytes Long(Bytes payload, size_t)
{
    payload.insert(payload.end(), 64, kFill);
    return payload;
}

// As long as the framing allows.
Bytes Huge(Bytes payload, size_t statusSize)
{
    size_t size = kLongUnionPayload;
    if (statusSize == 1)
        size = payload[0] == 0 ? kLongestKrelPayload : kLongestShortKrelPayload;
    payload.resize(std::max(payload.size(), size), kFill);
    return payload;
}

// The card does not know the key: its half of the authentication is wrong.
Bytes WrongProof(Bytes payload, size_t statusSize)
{
    if (payload.size() == statusSize + kProofSize && payload[statusSize] == 0x00)
        payload.back() = static_cast<uint8_t>(payload.back() ^ 0xFF);
    return payload;
}

struct Behaviour
{
    const char *name;
    Bytes (*spoil)(Bytes payload, size_t statusSize);
};

constexpr Behaviour kBehaviours[] = {
    {"no-payload", NoPayload},
    {"one-byte", OneByte},
    {"status-only", StatusOnly},
    {"short", Short},
    {"long", Long},
    {"huge", Huge},
    {"wrong-proof", WrongProof},
};

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

std::vector<std::string> ReadCommands(const Place &description)
{
    std::vector<std::string> commands;
    const std::optional<Place> list = Find(description, "commands");
    if (!list || !IsArray(*list, "a list of commands such as [\"read\", \"exchange\"]"))
        return commands;
    for (size_t i = 0; i < list->value->size() && !Failed(description); ++i)
    {
        commands.push_back(Text(Element(*list, i)));
        std::string known;
        bool isKnown = false;
        for (const char *name : kMemoryCommandNames)
        {
            isKnown = isKnown || commands.back() == name;
            known += (known.empty() ? "" : ", ") + std::string(name);
        }
        if (!isKnown)
            Expected(Element(*list, i), "one of " + known);
    }
    return commands;
}

std::shared_ptr<Card> ReadWellBehaved(const Place &description)
{
    static const nlohmann::json usual = {{"kind", "mifare-classic"}};
    const Place place = Find(description, "card").value_or(Place{&usual, "", description.problem});
    const std::string kind = TextAt(place, "kind", "");
    if (!IsMemoryKind(kind) || kind == "hostile-memory")
    {
        Complain(place, "a hostile memory card wraps a mifare-classic or ultralight-c card");
        return nullptr;
    }
    return MakeMemoryCard(kind, place);
}

} // namespace

std::shared_ptr<Card> MakeHostileMemoryCard(const Place &description)
{
    if (!IsObjectOf(description, {"kind", "label", "behaviour", "commands", "card"}))
        return std::make_shared<Card>();
    const Behaviour *behaviour = ReadBehaviour(description);
    const std::vector<std::string> commands = ReadCommands(description);
    const std::shared_ptr<Card> card = ReadWellBehaved(description);
    if (Failed(description))
        return std::make_shared<Card>();
    const auto traits = std::make_shared<MemoryTraits>(*card->memory);
    traits->spoil =
        [behaviour, commands](const std::string &command, const Bytes &payload, size_t statusSize)
    {
        const bool isToSpoil = commands.empty() || std::find(commands.begin(), commands.end(),
                                                             command) != commands.end();
        return isToSpoil ? behaviour->spoil(payload, statusSize) : payload;
    };
    card->kind = "hostile-memory";
    card->label =
        TextAt(description, "label", "hostile memory card: " + std::string(behaviour->name));
    card->memory = traits;
    return card;
}

} // namespace vreader
