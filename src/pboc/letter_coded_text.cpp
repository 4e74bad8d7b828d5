// Letter-coded text: fields of a name, three decimal digits of length and the value.
#include <cstring>

#include "vantor/pboc.h"

namespace
{

constexpr int kLengthDigits = 3;
constexpr int kLongestValue = 512;
constexpr int kNoSuchField = -99;

// 100, 10 and 1 times the characters' codes above '0': a character that is no digit counts too.
int LengthOf(const char *digits)
{
    int length = 0;
    for (int i = 0; i < kLengthDigits; i++)
        length = 10 * length + static_cast<unsigned char>(digits[i]) - '0';
    return length;
}

} // namespace

int PBOC_GetSimpTagValue(const char *name, int nameLength, const char *text, int /*textLength*/,
                         char *value, int32_t *valueLength)
{
    if (name == nullptr || nameLength <= 0 || text == nullptr || value == nullptr ||
        valueLength == nullptr)
        return kNoSuchField;
    // A plain search: the name inside an earlier field's value is found first.
    const char *const end = text + strlen(text);
    const void *field = memmem(text, strlen(text), name, static_cast<size_t>(nameLength));
    if (field == nullptr)
        return kNoSuchField;
    const char *digits = static_cast<const char *>(field) + nameLength;
    if (end - digits < kLengthDigits)
        return kNoSuchField;
    const int length = LengthOf(digits);
    if (length > kLongestValue || length < 0 || length > end - digits - kLengthDigits)
        return kNoSuchField;
    memcpy(value, digits + kLengthDigits, static_cast<size_t>(length));
    *valueLength = length;
    return 0;
}
