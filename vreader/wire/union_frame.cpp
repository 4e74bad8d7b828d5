#include "vreader/wire/union_frame.h"

namespace vreader
{

namespace
{

constexpr uint8_t kStart = 0x02;
constexpr uint8_t kEnd = 0x03;

bool IsNibble(uint8_t character)
{
    return character >= 0x30 && character <= 0x3F;
}

// Byte `index` of the frame, behind the start byte.
uint8_t ByteAt(const uint8_t *wire, size_t index)
{
    return static_cast<uint8_t>((wire[1 + 2 * index] & 0x0F) << 4 | (wire[2 + 2 * index] & 0x0F));
}

void AppendNibbles(Bytes *wire, uint8_t byte)
{
    wire->push_back(static_cast<uint8_t>(0x30 | byte >> 4));
    wire->push_back(static_cast<uint8_t>(0x30 | (byte & 0x0F)));
}

} // namespace

Match MatchUnionCommand(const uint8_t *wire, size_t count)
{
    Match match;
    if (count > 0 && wire[0] != kStart)
        return match;
    size_t length = 0;
    size_t end = 5; // where the end byte stands; known once the two length bytes are there
    for (size_t i = 1; i < count && i < end; ++i)
    {
        if (!IsNibble(wire[i]))
            return match;
        if (i == 4)
        {
            length = static_cast<size_t>(ByteAt(wire, 0) << 8 | ByteAt(wire, 1));
            if (length > kUnionLongestCommand)
                return match;
            end = 1 + 2 * (length + 3);
        }
    }
    match.kind = MatchKind::incomplete;
    if (count <= end)
        return match;
    match.kind = MatchKind::mismatch;
    if (wire[end] != kEnd)
        return match;

    for (size_t i = 0; i < length; ++i)
    {
        match.command.push_back(ByteAt(wire, 2 + i));
        match.rightCheck = static_cast<uint8_t>(match.rightCheck ^ match.command.back());
    }
    match.check = ByteAt(wire, 2 + length);
    match.used = end + 1;
    match.kind = match.check == match.rightCheck ? MatchKind::complete : MatchKind::wrongCheck;
    return match;
}

std::optional<Bytes> UnionAnswer(const Bytes &payload, bool wrongCheck)
{
    if (payload.size() > 0xFFFF)
        return std::nullopt;
    Bytes wire = {kStart};
    AppendNibbles(&wire, static_cast<uint8_t>(payload.size() >> 8));
    AppendNibbles(&wire, static_cast<uint8_t>(payload.size() & 0xFF));
    uint8_t check = wrongCheck ? 0xFF : 0x00;
    for (const uint8_t byte : payload)
    {
        AppendNibbles(&wire, byte);
        check = static_cast<uint8_t>(check ^ byte);
    }
    AppendNibbles(&wire, check);
    wire.push_back(kEnd);
    return wire;
}

} // namespace vreader
