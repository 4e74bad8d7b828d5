// Bytes and their printable forms: hex, BCD digits, URL form encoding; trimming of zero bytes.
#include <algorithm>
#include <array>
#include <cstring>

#include "vantor/support.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr int kFailure = -99;
constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr int kNoDigit = 111; // what hex2num gives for a character that is no letter or digit

// Bytes that one step of the hex conversions takes. Steps of a fixed size on local copies let the
// compiler use the vector unit of any machine, and make a conversion in place safe.
constexpr int kStep = 16;

// "0"-"9", "a"-"f" and "A"-"F"; any other character counts as 0.
constexpr unsigned char HexValue(unsigned char character)
{
    const unsigned char decimal = static_cast<unsigned char>(character - '0');
    const unsigned char letter = static_cast<unsigned char>((character | 0x20) - 'a');
    const unsigned char fromDecimal = decimal < 10 ? decimal : 0;
    const unsigned char fromLetter = letter < 6 ? static_cast<unsigned char>(letter + 10) : 0;
    return fromDecimal | fromLetter;
}

constexpr unsigned char HexCharacter(unsigned char nibble)
{
    return static_cast<unsigned char>(nibble + (nibble > 9 ? 'A' - 10 : '0'));
}

void HexToBytes(const char *text, int count, unsigned char *bytes)
{
    int i = 0;
    for (; i + kStep <= count; i += kStep)
    {
        unsigned char characters[2 * kStep];
        unsigned char result[kStep];
        memcpy(characters, text + 2 * i, sizeof(characters));
        for (unsigned char &character : characters)
            character = HexValue(character);
        for (int j = 0; j < kStep; j++)
            result[j] =
                static_cast<unsigned char>((characters[2 * j] << 4) | characters[2 * j + 1]);
        memcpy(bytes + i, result, sizeof(result));
    }
    for (; i < count; i++)
    {
        const unsigned char high = HexValue(static_cast<unsigned char>(text[2 * i]));
        const unsigned char low = HexValue(static_cast<unsigned char>(text[2 * i + 1]));
        bytes[i] = static_cast<unsigned char>((high << 4) | low);
    }
}

void BytesToHex(const unsigned char *bytes, int count, char *text)
{
    int i = 0;
    for (; i + kStep <= count; i += kStep)
    {
        unsigned char source[kStep];
        unsigned char result[2 * kStep];
        memcpy(source, bytes + i, sizeof(source));
        for (int j = 0; j < kStep; j++)
        {
            result[2 * j] = HexCharacter(source[j] >> 4);
            result[2 * j + 1] = HexCharacter(source[j] & 0x0F);
        }
        memcpy(text + 2 * i, result, sizeof(result));
    }
    for (; i < count; i++)
    {
        text[2 * i] = kHexDigits[bytes[i] >> 4];
        text[2 * i + 1] = kHexDigits[bytes[i] & 0x0F];
    }
}

constexpr bool IsUrlPlain(unsigned char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= 'a' && byte <= 'z') || byte == '.' || byte == '-' || byte == '_' || byte == '*';
}

} // namespace

int GHex2Byte(const char *text, int textLength, unsigned char *bytes, int capacity)
{
    if (text == nullptr || bytes == nullptr || textLength <= 0 || capacity < 0)
        return kBadArgument;
    const int count = std::min(textLength / 2, capacity);
    HexToBytes(text, count, bytes);
    return count;
}

int GByte2Hex(const unsigned char *bytes, int count, char *text, int capacity)
{
    if (bytes == nullptr || text == nullptr || count < 0 || capacity <= 0)
        return kBadArgument;
    count = std::min(count, capacity / 2);
    BytesToHex(bytes, count, text);
    return 2 * count;
}

// A nibble above 9 is not checked: 0xA to 0xF give the characters 0x3A to 0x3F.
int GBCD2Ansi(const unsigned char *bytes, int count, char *text, int capacity)
{
    if (bytes == nullptr || text == nullptr || count < 0 || capacity <= 0)
        return kBadArgument;
    count = std::min(count, capacity / 2);
    for (int i = 0; i < count; i++)
    {
        text[2 * i] = static_cast<char>((bytes[i] >> 4) + '0');
        text[2 * i + 1] = static_cast<char>((bytes[i] & 0x0F) + '0');
    }
    return 2 * count;
}

// Characters other than digits are not refused: their low four bits count.
int GAnsi2BCD(const char *text, int textLength, unsigned char *bytes, int capacity)
{
    if (text == nullptr || bytes == nullptr || textLength <= 0 || capacity < 0 ||
        capacity < textLength / 2)
        return kBadArgument;
    const int count = textLength / 2;
    for (int i = 0; i < count; i++)
    {
        const unsigned char high = static_cast<unsigned char>(text[2 * i]);
        const unsigned char low = static_cast<unsigned char>(text[2 * i + 1]);
        bytes[i] = static_cast<unsigned char>((high << 4) | (low & 0x0F));
    }
    return count;
}

int GTrimZero(const unsigned char *bytes, uint32_t length, unsigned char *out, int capacity)
{
    if (bytes == nullptr || out == nullptr || capacity <= 0)
        return kBadArgument;
    uint32_t first = 0;
    uint32_t end = length;
    while (first < end && bytes[first] == 0)
        first++;
    if (first == end)
        return kFailure;
    while (bytes[end - 1] == 0)
        end--;
    const uint32_t run = end - first;
    if (static_cast<uint32_t>(capacity) < run)
        return kBadArgument;
    memmove(out, bytes + first, run);
    return static_cast<int>(run);
}

int GURLEncode(const unsigned char *bytes, int length, char *text, int capacity)
{
    if (bytes == nullptr || text == nullptr || length < 0 || capacity <= 0)
        return 0;
    int position = 0;
    for (int i = 0; i < length && position < capacity; i++)
    {
        const unsigned char byte = bytes[i];
        if (IsUrlPlain(byte))
            text[position++] = static_cast<char>(byte);
        else if (byte == ' ')
            text[position++] = '+';
        else if (byte == 0 || capacity - position <= 3)
            return 0;
        else
        {
            text[position++] = '%';
            text[position++] = kHexDigits[byte >> 4];
            text[position++] = kHexDigits[byte & 0x0F];
        }
    }
    text[position] = '\0'; // at text[capacity] when plain characters fill the text
    return position;
}

// Letters beyond "f" are deliberately taken: they give values above 15.
int hex2num(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'z')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'Z')
        return character - 'A' + 10;
    return kNoDigit;
}

int GURLDecode(const char *text, int length, unsigned char *bytes, int capacity)
{
    if (text == nullptr || bytes == nullptr || length < 0 || capacity <= 0)
        return 0;
    int position = 0;
    for (int i = 0; i < length && position < capacity; i++)
    {
        if (text[i] == '+')
            bytes[position++] = ' ';
        else if (text[i] != '%')
            bytes[position++] = static_cast<unsigned char>(text[i]);
        else if (length - i > 2)
        {
            const int first = hex2num(text[i + 1]);
            const int second = hex2num(text[i + 2]);
            if (first != kNoDigit && second != kNoDigit)
                bytes[position++] = static_cast<unsigned char>((first * 16) | second);
            i += 2; // an escape with a bad digit vanishes
        }
    }
    bytes[position] = 0; // at bytes[capacity] when the data fills the buffer
    return position;
}
