// Triple DES with a key of 16 bytes in CBC mode, as the Ultralight C authentication uses it.
#pragma once

#include "vreader/cards/card.h"

namespace vreader
{

constexpr size_t kCipherBlock = 8;

// `chain` is the block in front of the data: eight zero bytes at the beginning, then the last block
// that was sent or received. The data are whole blocks.
Bytes EncipherChained(const Bytes &key, const Bytes &chain, const Bytes &data);
Bytes DecipherChained(const Bytes &key, const Bytes &chain, const Bytes &data);

} // namespace vreader
