#include "api/letter_items.h"

#include <cstring>

#include "vantor/support.h"

namespace
{

struct ItemText
{
    char characters[kLongestHexItem + 1]; // always ends in a NUL
    int length;
};

ItemText ToText(const uint8_t *bytes, int count)
{
    ItemText text{};
    text.length = GByte2Hex(bytes, count, text.characters, kLongestHexItem);
    return text;
}

} // namespace

char *AppendItem(char *out, char letter, const char *value, int length)
{
    *out++ = letter;
    *out++ = static_cast<char>('0' + length / 100 % 10);
    *out++ = static_cast<char>('0' + length / 10 % 10);
    *out++ = static_cast<char>('0' + length % 10);
    memcpy(out, value, static_cast<size_t>(length));
    return out + length;
}

char *AppendBytesItem(char *out, char letter, const uint8_t *bytes, int count)
{
    return AppendItem(out, letter, reinterpret_cast<const char *>(bytes), count);
}

char *AppendHexItem(char *out, char letter, const uint8_t *bytes, int count)
{
    const ItemText text = ToText(bytes, count);
    return AppendItem(out, letter, text.characters, text.length);
}

char *AppendDigitsItem(char *out, char letter, const uint8_t *bytes, int count)
{
    const ItemText text = ToText(bytes, count);
    return AppendItem(out, letter, text.characters,
                      static_cast<int>(strcspn(text.characters, "F")));
}
