// The Union framing: 02, then length (two bytes), command and XOR with each nibble as 30 plus its
// value, then 03. The XOR covers the command alone.
#pragma once

#include "vreader/wire/frame.h"

#include <optional>

namespace vreader
{

// The longest command the reader takes: with length and check byte it fills 2048 bytes.
constexpr size_t kUnionLongestCommand = 2045;

// Whether a command stands at the very beginning of `wire`.
Match MatchUnionCommand(const uint8_t *wire, size_t count);

// A payload (two status bytes and data) as it travels; nothing when it exceeds 65535 bytes.
std::optional<Bytes> UnionAnswer(const Bytes &payload, bool wrongCheck);

} // namespace vreader
