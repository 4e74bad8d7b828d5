// The identity module's framing: AA AA AA 96 69, length (two bytes), payload, XOR.
#pragma once

#include "vreader/wire/frame.h"

#include <optional>

namespace vreader
{

// The longest length field of a command: with preamble and mark the frame fills 1024 bytes.
constexpr size_t kIdentityLongestCommand = 1017;

// Whether a command stands at the very beginning of `wire`. A length of 0, or one beyond the
// longest command, is told at once: the rest of such a frame is not waited for.
Match MatchIdentityCommand(const uint8_t *wire, size_t count);

// A payload (three status bytes and data) as it travels; nothing when it exceeds 65534 bytes.
std::optional<Bytes> IdentityAnswer(const Bytes &payload, bool wrongCheck);

} // namespace vreader
