#include "vreader/wire/identity_frame.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr uint8_t kBeginning[] = {0xAA, 0xAA, 0xAA, 0x96, 0x69};
constexpr size_t kHeader = 7; // the beginning and the two length bytes

uint8_t Xor(const uint8_t *bytes, size_t count)
{
    uint8_t check = 0;
    for (size_t i = 0; i < count; ++i)
        check = static_cast<uint8_t>(check ^ bytes[i]);
    return check;
}

} // namespace

Match MatchIdentityCommand(const uint8_t *wire, size_t count)
{
    Match match;
    const size_t known = std::min(count, sizeof kBeginning);
    if (!std::equal(wire, wire + known, kBeginning))
        return match;
    match.kind = MatchKind::incomplete;
    if (count < kHeader)
        return match;
    const size_t length = static_cast<size_t>(wire[5] << 8 | wire[6]);
    if (length == 0 || length > kIdentityLongestCommand)
    {
        match.kind = MatchKind::wrongLength;
        match.used = kHeader;
        return match;
    }
    if (count < kHeader + length)
        return match;
    // The length counts the check byte, and the check covers the length bytes.
    match.used = kHeader + length;
    match.command.assign(wire + kHeader, wire + match.used - 1);
    match.check = wire[match.used - 1];
    match.rightCheck = Xor(wire + 5, length + 1);
    match.kind = match.check == match.rightCheck ? MatchKind::complete : MatchKind::wrongCheck;
    return match;
}

std::optional<Bytes> IdentityAnswer(const Bytes &payload, bool wrongCheck)
{
    const size_t length = payload.size() + 1;
    if (length > 0xFFFF)
        return std::nullopt;
    Bytes wire(kBeginning, kBeginning + sizeof kBeginning);
    wire.push_back(static_cast<uint8_t>(length >> 8));
    wire.push_back(static_cast<uint8_t>(length & 0xFF));
    wire.insert(wire.end(), payload.begin(), payload.end());
    const uint8_t check = Xor(wire.data() + 5, wire.size() - 5);
    wire.push_back(static_cast<uint8_t>(check ^ (wrongCheck ? 0xFF : 0x00)));
    return wire;
}

} // namespace vreader
