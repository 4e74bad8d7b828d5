// Identity answers that no module should give: frames whose beginning, length or check is wrong.
#include "vreader/cards/identity_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kFloodSize = 65536;
// Places in a frame: AA AA AA 96 69, two length bytes, payload, check.
constexpr size_t kMark = 4;
constexpr size_t kLength = 5;
constexpr size_t kHeader = 7;

Bytes WithLength(Bytes frame, unsigned length)
{
    frame[kLength] = static_cast<uint8_t>(length >> 8);
    frame[kLength + 1] = static_cast<uint8_t>(length & 0xFF);
    return frame;
}

Bytes WrongPreamble(Bytes frame)
{
    frame.erase(frame.begin());
    return frame;
}

Bytes WrongMark(Bytes frame)
{
    frame[kMark] = 0x68;
    return frame;
}

Bytes WrongCheck(Bytes frame)
{
    frame.back() = static_cast<uint8_t>(frame.back() ^ 0xFF);
    return frame;
}

Bytes LengthZero(Bytes frame)
{
    return WithLength(std::move(frame), 0);
}

// The status bytes and the check alone, while the rest follows all the same.
Bytes LengthShort(Bytes frame)
{
    return WithLength(std::move(frame), 4);
}

Bytes LengthOneMore(Bytes frame)
{
    const auto length = static_cast<unsigned>(frame.size() - kHeader);
    return WithLength(std::move(frame), length + 1);
}

Bytes LengthHuge(Bytes frame)
{
    return WithLength(std::move(frame), 0xFFFF);
}

Bytes CutInHalf(Bytes frame)
{
    frame.resize(frame.size() / 2);
    return frame;
}

Bytes HeaderOnly(Bytes frame)
{
    frame.resize(kLength);
    return frame;
}

// A frame of no payload: the length counts the check byte, which covers the length.
Bytes NoPayload(Bytes frame)
{
    frame.resize(kLength);
    frame.insert(frame.end(), {0x00, 0x01, 0x01});
    return frame;
}

Bytes Flood(Bytes)
{
    return Bytes(kFloodSize, 0xAA);
}

struct Behaviour
{
    const char *name;
    Bytes (*spoil)(Bytes frame);
};

constexpr Behaviour kBehaviours[] = {
    {"wrong-preamble", WrongPreamble},
    {"wrong-mark", WrongMark},
    {"wrong-check", WrongCheck},
    {"length-zero", LengthZero},
    {"length-short", LengthShort},
    {"length-one-more", LengthOneMore},
    {"length-huge", LengthHuge},
    {"cut", CutInHalf},
    {"header-only", HeaderOnly},
    {"no-payload", NoPayload},
    {"flood", Flood},
};

} // namespace

bool IsIdentityBehaviour(const std::string &name)
{
    return std::any_of(std::begin(kBehaviours), std::end(kBehaviours),
                       [&](const Behaviour &row) { return name == row.name; });
}

std::string IdentityBehaviours()
{
    std::string names;
    for (const Behaviour &row : kBehaviours)
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    return names;
}

bool Spoils(const IdentityCard &card, const Bytes &command)
{
    if (card.behaviour.empty())
        return false;
    return card.commands.empty() ||
           std::any_of(card.commands.begin(), card.commands.end(),
                       [&](const Bytes &prefix)
                       {
                           return command.size() >= prefix.size() &&
                                  std::equal(prefix.begin(), prefix.end(), command.begin());
                       });
}

Bytes SpoiledFrame(const IdentityCard &card, const Bytes &frame)
{
    for (const Behaviour &row : kBehaviours)
        if (card.behaviour == row.name && frame.size() > kHeader)
            return row.spoil(frame);
    return frame;
}

} // namespace vreader
