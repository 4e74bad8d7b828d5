// Bytes as upper-case hexadecimal text with a NUL behind it, for log lines and for hosts.
#pragma once

#include <cstdint>

#include "pboc/card_exchange.h"

struct HexText
{
    char characters[2 * kResponseArea + 1];
};

// At most kResponseArea bytes.
HexText ToHexText(const uint8_t *bytes, int count);

// As many whole bytes as fit before the NUL; a size of 0 or less takes nothing at all.
void WriteHexText(const uint8_t *bytes, int count, char *text, int size);
