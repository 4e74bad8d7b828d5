// The Krel framing: 60 L command XOR as upper-case hexadecimal text, then 03. No start byte.
#pragma once

#include "vreader/wire/frame.h"

#include <optional>

namespace vreader
{

// Whether a command stands at the very beginning of `wire`.
Match MatchKrelCommand(const uint8_t *wire, size_t count);

// A payload (status byte and data) as it travels; nothing when no frame can carry it, which is
// more than 334 bytes, or more than 254 with a status other than 0.
std::optional<Bytes> KrelAnswer(const Bytes &payload, bool wrongCheck);

} // namespace vreader
