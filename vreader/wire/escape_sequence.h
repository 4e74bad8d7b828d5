// Escape sequences: ESC % c, ESC S, ESC $ letter rate. They carry no check and no end byte.
#pragma once

#include "vreader/wire/frame.h"

namespace vreader
{

constexpr uint8_t kEscape = 0x1B;

// Whether a sequence stands at the very beginning of `wire`. The command is the sequence itself,
// ESC included. A known first letter with an impossible continuation is a mismatch; an unknown
// letter gives a complete sequence of two bytes, so that the reader can report it.
Match MatchEscapeSequence(const uint8_t *wire, size_t count);

} // namespace vreader
