// Bytes as a profile gives them: written out, from a file, or by a rule.
#pragma once

#include "vreader/cards/description.h"

namespace vreader
{

// "1F8B ..."           hexadecimal digits
// "base64:AAEC..."     base64
// "file:NAME"          a file's bytes as they stand
// "hexfile:NAME"       a file of hexadecimal digits; line breaks and blanks are passed over
// "base64file:NAME"    a file of base64
// "fill:XX"            `size` times the byte XX
// "pattern:portrait"   a head and shoulders, 32 x 32 pixels of one byte (00 black, FF white), rows
//                      from the top; again and again up to `size` bytes
// "pattern:ramp"       00 01 02 ... FF 00 ..., `size` bytes
// A mistake is noted in the place.
Bytes BytesFrom(const Place &place, const std::string &directory, size_t size);

} // namespace vreader
