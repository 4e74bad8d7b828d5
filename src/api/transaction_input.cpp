#include "api/transaction_input.h"

#include <cstdlib>
#include <cstring>

#include "api/flow.h"
#include "pboc/tlv.h"
#include "vantor/business.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace
{

constexpr int kBadParameter = -1007;
constexpr int kLongestText = 1024;
constexpr int kLongestValue = 512;
constexpr int kLongestBytes = 20;
constexpr char kFirstOrdinary = 'P';

struct InputField
{
    char letter;
    Tag tag;
    int length;                       // bytes
    int (*accepts)(const char *text); // the ordinary test of the whole value; null: taken raw
    const char *message;              // null: bad characters are no error
};

// In the order of reading; the fields before P belong to the variant request.
const InputField kFields[] = {
    {'J', {{0x9F, 0x1A}, 2}, 2, nullptr, nullptr},                   // terminal country
    {'K', {{0x9F, 0x37}, 2}, 4, nullptr, nullptr},                   // unpredictable number
    {'L', {{0x95}, 1}, 5, nullptr, nullptr},                         // verification results
    {'M', {{0x9F, 0x66}, 2}, 4, nullptr, nullptr},                   // transaction qualifiers
    {'N', {{0x9F, 0x7A}, 2}, 1, nullptr, nullptr},                   // electronic cash indicator
    {'O', {{0x9F, 0x7B}, 2}, 6, nullptr, nullptr},                   // electronic cash limit
    {'P', {{0x9F, 0x02}, 2}, 6, IsHexDataValue, "TAG P Error!\r\n"}, // amount, authorised
    {'Q', {{0x9F, 0x03}, 2}, 6, IsHexDataValue, "TAG Q Error!\r\n"}, // amount, other
    {'R', {{0x5F, 0x2A}, 2}, 2, IsHexDataValue, "TAG R Error!\r\n"}, // currency code
    {'S', {{0x9A}, 1}, 3, IsNumDataValue, "TAG S Error!\r\n"},       // date, YYMMDD
    {'T', {{0x9C}, 1}, 1, IsHexDataValue, "TAG T Error!\r\n"},       // transaction type
    {'U', {{0x9F, 0x21}, 2}, 3, IsNumDataValue, "TAG U Error!\r\n"}, // time, hhmmss
    {'V', {{0x9F, 0x4E}, 2}, kLongestBytes, nullptr, nullptr},       // merchant name
};

struct Digits
{
    char characters[2 * kLongestBytes + 1]; // ends in a NUL
};

bool FindField(const InputField &field, const char *text, char *value, int32_t *length)
{
    return PBOC_GetSimpTagValue(&field.letter, 1, text, static_cast<int>(strlen(text)), value,
                                length) == 0;
}

// The last digits of the value, or the value with zeros in front of it.
Digits ToWidth(const InputField &field, const char *value, int length)
{
    Digits digits{};
    const int width = 2 * field.length;
    const int taken = length < width ? length : width;
    memset(digits.characters, '0', static_cast<size_t>(width));
    memcpy(digits.characters + width - taken, value + length - taken, static_cast<size_t>(taken));
    return digits;
}

// What the transaction data do not hold belongs to the application-initiation data.
void Store(const InputField &field, const uint8_t *bytes)
{
    if (PBOC_SetTxDataTagValue(field.tag.bytes, field.tag.length, bytes, field.length) != 0)
        PBOC_SetAppInitDataTagValue(field.tag.bytes, field.tag.length, bytes, field.length);
}

void StoreDigits(const InputField &field, const Digits &digits)
{
    uint8_t bytes[kLongestBytes] = {};
    GHex2Byte(digits.characters, 2 * field.length, bytes, sizeof bytes);
    Store(field, bytes);
}

int ReadVariantInput(const char *text, char firstLetter, bool refuses)
{
    for (const InputField &field : kFields)
    {
        char value[kLongestValue + 1] = {};
        int32_t length = 0;
        if (field.letter < firstLetter || !FindField(field, text, value, &length))
            continue;
        const Digits digits = ToWidth(field, value, length);
        if (IsHexDataValue(digits.characters))
            StoreDigits(field, digits);
        else if (refuses && field.message != nullptr)
            return Fail(field.message, kBadParameter);
    }
    return 0;
}

} // namespace

bool IsTransactionText(const char *text)
{
    return text != nullptr && text[0] != '\0' && strnlen(text, kLongestText + 1) <= kLongestText;
}

int ReadTransactionInput(const char *text)
{
    // Cleared once and not between the fields: behind a merchant name of less than 20 characters
    // stands what a longer field left. Hosts send 20 characters.
    char value[kLongestValue + 1] = {};
    for (const InputField &field : kFields)
    {
        int32_t length = 0;
        if (field.letter < kFirstOrdinary || !FindField(field, text, value, &length))
            continue;
        if (field.accepts == nullptr)
        {
            Store(field, reinterpret_cast<const uint8_t *>(value));
            continue;
        }
        char whole[kLongestValue + 1] = {};
        memcpy(whole, value, static_cast<size_t>(length));
        if (!field.accepts(whole))
            return Fail(field.message, kBadParameter);
        StoreDigits(field, ToWidth(field, value, length));
    }
    return 0;
}

void ReadVariantRequestInput(const char *text)
{
    ReadVariantInput(text, kFields[0].letter, false);
}

int ReadVariantCompletionInput(const char *text)
{
    return ReadVariantInput(text, kFirstOrdinary, true);
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
