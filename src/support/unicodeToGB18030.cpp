// UCS-2 to GB18030, by binary search in constant tables that are made when the library is built.
#include "vantor/text_conversion.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace
{

constexpr int kBadArgument = -22;
constexpr int kWorkSize = 512;
constexpr int kLongestText = kWorkSize - 2; // two zero bytes follow it
constexpr uint16_t kTextCapacity = 1024;
constexpr unsigned char kUnknown = 0xFF;

unsigned CodeUnit(const unsigned char *bytes)
{
    return static_cast<unsigned>(bytes[1]) << 8 | bytes[0];
}

// The row of a code unit, null when there is none. The code unit is the last word of each row.
template <size_t rows, size_t words>
const uint16_t *FindRow(const uint16_t (&table)[rows][words], unsigned code)
{
    int lower = 0;
    int upper = static_cast<int>(rows) - 1;
    while (lower <= upper)
    {
        // Of the last two rows the upper one is looked at first.
        const int probe = upper - lower == 1 ? upper : (lower + upper) / 2;
        const uint16_t *row = table[probe];
        if (code == row[words - 1])
            return row;
        if (code > row[words - 1])
            lower = probe + 1;
        else
            upper = probe - 1;
    }
    return nullptr;
}

int GiveFourByteCode(const uint16_t *row, uint32_t *result)
{
    if (row == nullptr)
        return 0;
    if (result != nullptr)
        *result = static_cast<uint32_t>(row[0]) << 16 | row[1];
    return 1;
}

// Most significant byte first.
uint32_t WriteCode(uint32_t code, uint32_t size, unsigned char *out)
{
    for (uint32_t i = 0; i < size; i++)
        out[i] = static_cast<unsigned char>(code >> 8 * (size - 1 - i));
    return size;
}

} // namespace

uint32_t mmi_chset_ucs2_gb18030_2byte_size(void)
{
    return VANTOR_GB18030_TWO_BYTE_CODES;
}

uint32_t mmi_chset_ucs2_gb18030_4byte_size(void)
{
    return VANTOR_GB18030_FOUR_BYTE_CODES;
}

uint32_t mmi_chset_ucs2_gb18030_4byte_size_add(void)
{
    return VANTOR_GB18030_ADDITIONAL_CODES;
}

int mmi_chset_ucs2_to_gb18030_2_byte_search(uint16_t code, uint16_t *result)
{
    const uint16_t *row = FindRow(g_chset_ucs2_to_gb18030_2_byte_tbl, code);
    if (row == nullptr)
        return 0;
    if (result != nullptr)
        *result = row[0];
    return 1;
}

int mmi_chset_ucs2_to_gb18030_4_byte_search(uint16_t code, uint32_t *result)
{
    return GiveFourByteCode(FindRow(g_chset_ucs2_to_gb18030_4_byte_tbl, code), result);
}

int mmi_chset_ucs2_to_gb18030_4_byte_search_add(uint16_t code, uint32_t *result)
{
    return GiveFourByteCode(FindRow(g_chset_ucs2_to_gb18030_4_byte_tbl_add, code), result);
}

uint32_t mmi_chset_ucs2_to_gb18030(unsigned char *out, const unsigned char *in)
{
    if (out == nullptr || in == nullptr)
        return 0;
    const uint16_t code = static_cast<uint16_t>(CodeUnit(in));
    if (code < 0x80)
        return WriteCode(code, 1, out);
    uint16_t twoBytes = 0;
    if (mmi_chset_ucs2_to_gb18030_2_byte_search(code, &twoBytes) != 0)
        return WriteCode(twoBytes, 2, out);
    uint32_t fourBytes = 0;
    if (mmi_chset_ucs2_to_gb18030_4_byte_search(code, &fourBytes) != 0 ||
        mmi_chset_ucs2_to_gb18030_4_byte_search_add(code, &fourBytes) != 0)
        return WriteCode(fourBytes, 4, out);
    return WriteCode(kUnknown, 1, out);
}

// Only a code unit whose low byte is zero is held to the capacity. Deliberate.
uint16_t mmi_chset_ucs2_to_gb18030_str(unsigned char *out, const unsigned char *text,
                                       uint16_t capacity)
{
    if (out == nullptr || text == nullptr)
        return 0;
    size_t count = 0;
    for (; text[0] != 0 || (text[1] != 0 && capacity > count + 2); text += 2)
        count += mmi_chset_ucs2_to_gb18030(out + count, text);
    out[count] = 0;
    out[count + 1] = 0;
    return static_cast<uint16_t>(count + 2);
}

uint32_t app_ucs2_strlen(const unsigned char *text)
{
    uint32_t length = 0;
    if (text != nullptr)
        for (; CodeUnit(text) != 0; text += 2)
            length++;
    return length;
}

int GStrUnicode2GB18030(const char *text, char *out, int length)
{
    if (text == nullptr || out == nullptr)
        return kBadArgument;
    unsigned char work[kWorkSize] = {};
    std::memcpy(work, text, static_cast<size_t>(std::clamp(length, 0, kLongestText)));
    return mmi_chset_ucs2_to_gb18030_str(reinterpret_cast<unsigned char *>(out), work,
                                         kTextCapacity);
}
