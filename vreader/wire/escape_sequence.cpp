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
};

bool Fits(uint8_t character, std::string_view allowed)
{
    return allowed.find(static_cast<char>(character)) != std::string_view::npos;
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
    // A second ESC, or the start of a Union frame, means that the first ESC was noise.
    if (wire[1] == kEscape || wire[1] == 0x02)
        match.kind = MatchKind::mismatch;
    if (match.kind == MatchKind::mismatch || count < length)
        return match;
    match.kind = MatchKind::complete;
    match.used = length;
    match.command.assign(wire, wire + length);
    return match;
}

} // namespace vreader
