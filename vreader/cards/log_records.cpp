// The records of the transaction log and of the load log, written from readable fields.
#include "vreader/cards/pboc_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kMerchantLength = 20;

std::string Digits(const std::string &text, std::string_view separators)
{
    std::string digits;
    for (const char character : text)
    {
        if (separators.find(character) == std::string_view::npos)
            digits += character;
    }
    return digits;
}

bool AreDigits(const std::string &text, size_t count)
{
    return text.size() == count && text.find_first_not_of("0123456789") == std::string::npos;
}

Place NeededField(const Place &record, const char *key)
{
    static const nlohmann::json kNothing;
    if (const std::optional<Place> found = Find(record, key))
        return *found;
    Complain(record, "the key \"" + std::string(key) + "\" is missing");
    return {&kNothing, record.path, record.problem};
}

// Three bytes YYMMDD from "2025-01-31", "25-01-31" or "250131".
Bytes Date(const Place &place)
{
    std::string digits = Digits(Text(place), "-");
    if (AreDigits(digits, 8))
        digits.erase(0, 2);
    if (AreDigits(digits, 6))
        return *BytesFromHex(digits);
    Expected(place, "a date such as \"2025-01-31\" or \"250131\"");
    return Bytes(3);
}

// Three bytes hhmmss from "23:59:59" or "235959".
Bytes Time(const Place &place)
{
    const std::string digits = Digits(Text(place), ":");
    if (AreDigits(digits, 6))
        return *BytesFromHex(digits);
    Expected(place, "a time such as \"23:59:59\" or \"235959\"");
    return Bytes(3);
}

Bytes AmountOr(const Place &record, const char *key)
{
    const std::optional<Place> found = Find(record, key);
    return found ? Amount(*found) : Bytes(6);
}

Bytes Code(const Place &record, const char *key, const Bytes &otherwise)
{
    const Bytes code = HexAt(record, key, otherwise);
    if (code.size() == otherwise.size())
        return code;
    Expected(Below(record, key), std::to_string(otherwise.size() * 2) + " hexadecimal digits");
    return otherwise;
}

// Twenty bytes, zeros behind the name. "hex:" stands before bytes in another character set.
Bytes Merchant(const Place &record)
{
    const std::string text = TextAt(record, "merchant", "");
    std::optional<Bytes> name = BytesFromText(text);
    if (text.compare(0, 4, "hex:") == 0)
        name = BytesFromHex(std::string_view(text).substr(4));
    if (!name || name->size() > kMerchantLength)
    {
        Expected(Below(record, "merchant"), "a name of at most 20 bytes, or \"hex:\" and digits");
        return Bytes(kMerchantLength);
    }
    name->resize(kMerchantLength);
    return *name;
}

Bytes TransactionCounter(const Place &record)
{
    const unsigned counter = NumberAt(record, "atc", 0, 0xFFFF, 0);
    return {static_cast<uint8_t>(counter >> 8), static_cast<uint8_t>(counter)};
}

Bytes Joined(std::initializer_list<Bytes> fields)
{
    Bytes record;
    for (const Bytes &field : fields)
        AppendBytes(&record, field);
    return record;
}

} // namespace

// Six bytes of decimal digits, in the currency's hundredths, from "123.45" or "000000012345".
Bytes Amount(const Place &place)
{
    std::string digits = Text(place);
    const size_t point = digits.find('.');
    const bool hasHundredths =
        point != std::string::npos && point > 0 && point <= 10 && digits.size() == point + 3;
    if (hasHundredths)
    {
        digits.erase(point, 1);
        digits.insert(0, 12 - digits.size(), '0');
    }
    if (AreDigits(digits, 12))
        return *BytesFromHex(digits);
    Expected(place, "an amount such as \"123.45\" or of twelve digits");
    return Bytes(6);
}

uint64_t Hundredths(const Bytes &bcd)
{
    uint64_t number = 0;
    for (const uint8_t byte : bcd)
        number = number * 100 + static_cast<uint64_t>(byte >> 4) * 10 + (byte & 0x0F);
    return number;
}

Bytes LongDate(const Place &place)
{
    const std::string digits = Digits(Text(place), "-");
    if (AreDigits(digits, 8))
        return *BytesFromHex(digits);
    Expected(place, "a date such as \"2025-01-31\" or \"20250131\"");
    return Bytes(4);
}

Bytes TransactionLogRecord(const Place &place)
{
    if (place.value->is_string())
        return Hex(place);
    if (!IsObjectOf(place, {"date", "time", "amount", "other", "country", "currency", "merchant",
                            "type", "atc"}))
        return {};
    return Joined({
        Date(NeededField(place, "date")),      // 0-2   9A
        Time(NeededField(place, "time")),      // 3-5   9F21
        Amount(NeededField(place, "amount")),  // 6-11  9F02
        AmountOr(place, "other"),              // 12-17 9F03
        Code(place, "country", {0x01, 0x56}),  // 18-19 9F1A
        Code(place, "currency", {0x01, 0x56}), // 20-21 5F2A
        Merchant(place),                       // 22-41 9F4E
        Code(place, "type", {0x00}),           // 42    9C
        TransactionCounter(place),             // 43-44 9F36
    });
}

Bytes LoadLogRecord(const Place &place)
{
    if (place.value->is_string())
        return Hex(place);
    if (!IsObjectOf(place,
                    {"tag", "before", "after", "date", "time", "country", "merchant", "atc"}))
        return {};
    return Joined({
        Code(place, "tag", {0x9F, 0x79}),     // 0-1   P1 P2 of the PUT DATA that loaded
        Amount(NeededField(place, "before")), // 2-7
        Amount(NeededField(place, "after")),  // 8-13
        Date(NeededField(place, "date")),     // 14-16
        Time(NeededField(place, "time")),     // 17-19
        Code(place, "country", {0x01, 0x56}), // 20-21
        Merchant(place),                      // 22-41
        TransactionCounter(place),            // 42-43
    });
}

} // namespace vreader
