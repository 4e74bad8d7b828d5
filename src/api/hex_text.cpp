#include "api/hex_text.h"

#include "vantor/support.h"

HexText ToHexText(const uint8_t *bytes, int count)
{
    HexText text{};
    GByte2Hex(bytes, count, text.characters, sizeof text.characters - 1);
    return text;
}

void WriteHexText(const uint8_t *bytes, int count, char *text, int size)
{
    if (size < 1)
        return;
    const int written = GByte2Hex(bytes, count, text, size - 1);
    text[written > 0 ? written : 0] = '\0';
}
