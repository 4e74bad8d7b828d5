#include "vreader/wire/escape_sequence.h"

#include <string_view>

namespace vreader
{

namespace
{

// The letter behind ESC, and which characters may follow it, place by place.
struct Sequence
{
    uint8_t letter;
    size_t length; // ESC and letter included
    std::string_view third;
    std::string_view fourth;
};

constexpr Sequence kSequences[] = {
    {'%', 3, "123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXY", ""}, // pass-through port, 0x31 to 0x59
    {'S', 2, "", ""},                                          // reset
    {'$', 4, "BIS", "04"},                                     // mode and its rate
    {'0', 2, "", ""},                                          // reset of the magnetic module
    {']', 2, "", ""},                                          // read track 2
    {'A', 3, "]", ""},                                         // track 1
    {'B', 3, "]", ""},                                         // tracks 2 and 3
    {'D', 3, "]", ""},                                         // tracks 1 and 2
    {'E', 3, "]", ""},                                         // tracks 1 and 3
    {'F', 3, "]", ""},                                         // all three
    {'T', 3, "]", ""},                                         // track 3
};

constexpr uint8_t kWriteTracks = 't';
constexpr uint8_t kWriteEnd[] = {0x1D, 0x1B, 0x5C, 0x1B, 0x6A}; // GS ESC \ ESC j

bool Fits(uint8_t character, std::string_view allowed)
{
    return allowed.find(static_cast<char>(character)) != std::string_view::npos;
}

// ESC t, any text without control characters, and the end.
Match MatchTrackWrite(const uint8_t *wire, size_t count)
{
    Match match;
    size_t at = 2;
    while (at < count && wire[at] >= 0x20)
        ++at;
    const size_t textEnd = at;
    for (const uint8_t byte : kWriteEnd)
    {
        if (at >= kLongestTrackWrite || (at < count && wire[at] != byte))
            return match;
        ++at;
    }
    match.kind = at <= count ? MatchKind::complete : MatchKind::incomplete;
    if (match.kind == MatchKind::complete)
    {
        match.used = at;
        match.command.assign(wire, wire + textEnd);
    }
    return match;
}

} // namespace

Match MatchEscapeSequence(const uint8_t *wire, size_t count)
{
    Match match;
    if (count == 0 || wire[0] != kEscape)
        return match;
    match.kind = MatchKind::incomplete;
    if (count == 1)
        return match;
    if (wire[1] == kWriteTracks)
        return MatchTrackWrite(wire, count);
    size_t length = 2;
    for (const Sequence &sequence : kSequences)
    {
        if (wire[1] != sequence.letter)
            continue;
        length = sequence.length;
        if ((length > 2 && count > 2 && !Fits(wire[2], sequence.third)) ||
            (length > 3 && count > 3 && !Fits(wire[3], sequence.fourth)))
            match.kind = MatchKind::mismatch;
    }
    // A second ESC, or the start of a frame, means that the first ESC was noise.
    if (wire[1] == kEscape || wire[1] == 0x02 || wire[1] == 0xAA)
        match.kind = MatchKind::mismatch;
    if (match.kind == MatchKind::mismatch || count < length)
        return match;
    match.kind = MatchKind::complete;
    match.used = length;
    match.command.assign(wire, wire + length);
    return match;
}

} // namespace vreader
