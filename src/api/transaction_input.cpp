#include "api/transaction_input.h"

#include <cstdlib>
#include <cstring>

#include "pboc/tlv.h"
#include "vantor/business.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace
{

constexpr int kLongestValue = 512;
constexpr int kWidest = 20; // characters of a field once it has its width

struct InputField
{
    char letter;
    Tag tag;
    int width;                        // characters
    int (*accepts)(const char *text); // of the whole value; null: any, and taken as it stands
    const char *message;
};

const InputField kFields[] = {
    {'P', {{0x9F, 0x02}, 2}, 12, IsHexDataValue, "TAG P Error!\r\n"}, // amount, authorised
    {'Q', {{0x9F, 0x03}, 2}, 12, IsHexDataValue, "TAG Q Error!\r\n"}, // amount, other
    {'R', {{0x5F, 0x2A}, 2}, 4, IsHexDataValue, "TAG R Error!\r\n"},  // currency code
    {'S', {{0x9A}, 1}, 6, IsNumDataValue, "TAG S Error!\r\n"},        // date, YYMMDD
    {'T', {{0x9C}, 1}, 2, IsHexDataValue, "TAG T Error!\r\n"},        // transaction type
    {'U', {{0x9F, 0x21}, 2}, 6, IsNumDataValue, "TAG U Error!\r\n"},  // time, hhmmss
    {'V', {{0x9F, 0x4E}, 2}, 20, nullptr, nullptr},                   // merchant name
};

// The last `width` characters, or the value with zeros in front of it, as bytes.
void StoreHex(const InputField &field, const char *value, int length)
{
    char digits[kWidest];
    memset(digits, '0', sizeof digits);
    const int taken = length < field.width ? length : field.width;
    memcpy(digits + field.width - taken, value + length - taken, static_cast<size_t>(taken));
    uint8_t bytes[kWidest / 2] = {};
    const int count = GHex2Byte(digits, field.width, bytes, sizeof bytes);
    PBOC_SetTxDataTagValue(field.tag.bytes, field.tag.length, bytes, count);
}

} // namespace

int ReadTransactionInput(const char *text)
{
    constexpr int kBadParameter = -1007;
    // Cleared once and not between the fields: behind a merchant name of less than 20 characters
    // stands what a longer field left. Hosts send 20 characters.
    char value[kLongestValue + 1] = {};
    for (const InputField &field : kFields)
    {
        int32_t length = 0;
        if (PBOC_GetSimpTagValue(&field.letter, 1, text, static_cast<int>(strlen(text)), value,
                                 &length) != 0)
            continue;
        if (field.accepts == nullptr)
        {
            PBOC_SetTxDataTagValue(field.tag.bytes, field.tag.length,
                                   reinterpret_cast<const uint8_t *>(value), field.width);
            continue;
        }
        char whole[kLongestValue + 1] = {};
        memcpy(whole, value, static_cast<size_t>(length));
        if (!field.accepts(whole))
        {
            GLogE("%s", field.message);
            return kBadParameter;
        }
        StoreHex(field, value, length);
    }
    return 0;
}

// The generator is not seeded here: that is the host's business.
void DrawUnpredictableNumber()
{
    uint8_t number[4];
    for (uint8_t &byte : number)
        byte = static_cast<uint8_t>(rand());
    const uint8_t tag[] = {0x9F, 0x37};
    PBOC_SetTxDataTagValue(tag, sizeof tag, number, sizeof number);
}
