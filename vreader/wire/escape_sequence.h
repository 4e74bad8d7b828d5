// Escape sequences: the reader's own (ESC % c, ESC S, ESC $ letter rate) and those of the magnetic
// module (ESC 0, ESC [letter] ], ESC t ... GS ESC \ ESC j). They carry no check.
#pragma once

#include "vreader/wire/frame.h"

namespace vreader
{

constexpr uint8_t kEscape = 0x1B;

// The longest write of tracks, its first and last bytes included.
constexpr size_t kLongestTrackWrite = 1024;

// Whether a sequence stands at the very beginning of `wire`. The command is the sequence itself,
// ESC included; of a write of tracks, ESC t and the text up to GS. A known first letter with an
// impossible continuation is a mismatch; an unknown letter gives a complete sequence of two bytes,
// so that the reader can report it.
Match MatchEscapeSequence(const uint8_t *wire, size_t count);

} // namespace vreader
