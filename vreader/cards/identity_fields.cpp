#include "vreader/cards/identity_fields.h"

#include "vreader/cards/identity_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

enum class Form
{
    text,      // any characters
    sex,       // "male", "female", or the one-character code
    nation,    // a nation's name, or its two-digit code
    date,      // "1949-12-31" or "19491231"
    endDate,   // a date, or "long-term"
    number,    // 17 digits and the check character; "?" in its place is computed
    capitals,  // capital letters that fill the field
    typeLetter // not described: the letter of the kind
};

struct Field
{
    const char *key;
    size_t offset; // bytes
    size_t size;   // bytes: two a character
    Form form;
    bool needed;
};

constexpr Field kResidentFields[] = {
    {"name", 0, 30, Form::text, true},         {"sex", 30, 2, Form::sex, true},
    {"nation", 32, 4, Form::nation, true},     {"birth", 36, 16, Form::date, true},
    {"address", 52, 70, Form::text, true},     {"number", 122, 36, Form::number, true},
    {"authority", 158, 30, Form::text, true},  {"validFrom", 188, 16, Form::date, true},
    {"validTo", 204, 16, Form::endDate, true},
};

// The resident's layout without a nation, and two fields of its own.
constexpr Field kGatFields[] = {
    {"name", 0, 30, Form::text, true},         {"sex", 30, 2, Form::sex, true},
    {"birth", 36, 16, Form::date, true},       {"address", 52, 70, Form::text, true},
    {"number", 122, 36, Form::number, true},   {"authority", 158, 30, Form::text, true},
    {"validFrom", 188, 16, Form::date, true},  {"validTo", 204, 16, Form::endDate, true},
    {"passNumber", 220, 18, Form::text, true}, {"issueCount", 238, 4, Form::text, true},
    {"J", 248, 2, Form::typeLetter, true},
};

constexpr Field kForeignFields[] = {
    {"englishName", 0, 120, Form::text, true},     {"sex", 120, 2, Form::sex, true},
    {"number", 122, 30, Form::text, true}, // 15 characters with a scheme of their own
    {"nationality", 152, 6, Form::capitals, true}, {"chineseName", 158, 30, Form::text, false},
    {"validFrom", 188, 16, Form::date, true},      {"validTo", 204, 16, Form::endDate, true},
    {"birth", 220, 16, Form::date, true},          {"version", 236, 4, Form::text, true},
    {"authority", 240, 8, Form::text, true},       {"I", 248, 2, Form::typeLetter, true},
};

struct Layout
{
    const Field *fields;
    size_t count;
};

Layout LayoutOf(IdentityKind kind)
{
    if (kind == IdentityKind::foreign)
        return {kForeignFields, std::size(kForeignFields)};
    if (kind == IdentityKind::gat)
        return {kGatFields, std::size(kGatFields)};
    return {kResidentFields, std::size(kResidentFields)};
}

// Little-endian UCS-2 of a well-formed UTF-8 text (the JSON reader lets no other pass); nothing
// when a character needs more than 16 bits.
std::optional<Bytes> Ucs2(const std::string &text)
{
    Bytes units;
    for (size_t at = 0; at < text.size();)
    {
        const auto lead = static_cast<uint8_t>(text[at]);
        const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        if (length == 4 || at + length > text.size())
            return std::nullopt;
        unsigned unit = length == 1 ? lead : length == 2 ? lead & 0x1F : lead & 0x0F;
        for (size_t i = 1; i < length; ++i)
            unit = unit << 6 | (static_cast<uint8_t>(text[at + i]) & 0x3F);
        units.push_back(static_cast<uint8_t>(unit & 0xFF));
        units.push_back(static_cast<uint8_t>(unit >> 8));
        at += length;
    }
    return units;
}

bool IsDigits(const std::string &text, size_t count)
{
    return text.size() == count && text.find_first_not_of("0123456789") == std::string::npos;
}

bool IsCalendarDay(const std::string &digits)
{
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int year = std::stoi(digits.substr(0, 4));
    const int month = std::stoi(digits.substr(4, 2));
    const int day = std::stoi(digits.substr(6, 2));
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month >= 1 && month <= 12 && day >= 1 &&
           day <= kDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

std::string Date(const Place &place, const std::string &text)
{
    std::string digits = text;
    if (text.size() == 10 && text[4] == '-' && text[7] == '-')
        digits = text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2);
    if (IsDigits(digits, 8) && IsCalendarDay(digits))
        return digits;
    Expected(place, "a date such as \"1949-12-31\" or \"19491231\"");
    return "";
}

std::string SexCode(const Place &place, const std::string &text)
{
    if (text == "male")
        return "1";
    if (text == "female")
        return "2";
    if (text.size() != 1)
        Expected(place, "\"male\", \"female\" or the code of one character");
    return text;
}

std::string NationDigits(const Place &place, const std::string &text)
{
    if (IsDigits(text, 2))
        return text;
    const std::string code = NationCode(text);
    if (code.empty())
        Expected(place, "a nation's name such as \"汉\", or its two digits");
    return code;
}

std::string Number(const Place &place, const std::string &text)
{
    const bool wellFormed = text.size() == 18 && IsDigits(text.substr(0, 17), 17) &&
                            std::string("0123456789X?").find(text[17]) != std::string::npos;
    if (!wellFormed)
    {
        Expected(place, "17 digits and a check character (0 to 9, X, or ? to have it computed)");
        return "";
    }
    const std::string digits = text.substr(0, 17);
    return text[17] == '?' ? digits + IdentityCheckCharacter(digits) : text;
}

// A field's text as it stands on the card.
std::string FieldText(const Place &place, const Field &field)
{
    const std::string text = Text(place);
    if (Failed(place))
        return "";
    switch (field.form)
    {
    case Form::sex:
        return SexCode(place, text);
    case Form::nation:
        return NationDigits(place, text);
    case Form::endDate:
        if (text == "long-term" || text == "长期")
            return "长期";
        return Date(place, text);
    case Form::date:
        return Date(place, text);
    case Form::number:
        return Number(place, text);
    case Form::capitals:
        if (text.size() * 2 != field.size ||
            text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string::npos)
            Expected(place, std::to_string(field.size / 2) + " capital letters");
        return text;
    default:
        return text;
    }
}

void PutField(const Place &place, const Field &field, const std::string &text, Bytes *block)
{
    const std::optional<Bytes> units = Ucs2(text);
    if (!units)
        Expected(place, "characters of 16 bits");
    else if (units->size() > field.size)
        Complain(place, "has " + std::to_string(units->size() / 2) + " characters, and the card " +
                            "room for " + std::to_string(field.size / 2));
    else
        std::copy(units->begin(), units->end(),
                  block->begin() + static_cast<std::ptrdiff_t>(field.offset));
}

// What the number says of its holder must be what the other fields say.
void CheckNumber(const Place &description, IdentityKind kind)
{
    const Place place = Below(description, "number");
    const std::string number = Number(place, Text(place));
    const Place birthPlace = Below(description, "birth");
    const Place sexPlace = Below(description, "sex");
    const std::string birth = Date(birthPlace, Text(birthPlace));
    const std::string sex = SexCode(sexPlace, Text(sexPlace));
    if (Failed(description))
        return;
    const char check = IdentityCheckCharacter(number.substr(0, 17));
    const std::string area = number.substr(0, 6);
    const bool odd = (number[16] - '0') % 2 != 0;
    const std::string deliberate = " (\"checkNumber\": false lets it pass)";
    if (number[17] != check)
        Complain(place, std::string("the check character must be ") + check + deliberate);
    else if (number.substr(6, 8) != birth)
        Complain(place, "digits 7 to 14 must be the birth date " + birth + deliberate);
    else if ((sex == "1" && !odd) || (sex == "2" && odd))
        Complain(place, "digit 17 is odd for men and even for women" + deliberate);
    else if (kind == IdentityKind::gat && area != "810000" && area != "820000" && area != "830000")
        Complain(place, "begins with 810000, 820000 or 830000" + deliberate);
}

} // namespace

char IdentityCheckCharacter(const std::string &seventeenDigits)
{
    constexpr int kWeights[] = {7, 9, 10, 5, 8, 4, 2, 1, 6, 3, 7, 9, 10, 5, 8, 4, 2};
    int sum = 0;
    for (size_t i = 0; i < std::size(kWeights); ++i)
        sum += kWeights[i] * (seventeenDigits[i] - '0');
    return "10X98765432"[sum % 11];
}

std::vector<const char *> IdentityFieldKeys(IdentityKind kind)
{
    std::vector<const char *> keys;
    const Layout layout = LayoutOf(kind);
    for (size_t i = 0; i < layout.count; ++i)
        if (layout.fields[i].form != Form::typeLetter)
            keys.push_back(layout.fields[i].key);
    if (kind != IdentityKind::foreign)
        keys.push_back("checkNumber");
    return keys;
}

Bytes IdentityText(const Place &description, IdentityKind kind)
{
    Bytes block;
    while (block.size() < kIdentityTextSize)
        AppendBytes(&block, {0x20, 0x00});
    const Layout layout = LayoutOf(kind);
    for (size_t i = 0; i < layout.count && !Failed(description); ++i)
    {
        const Field &field = layout.fields[i];
        if (field.form == Form::typeLetter)
        {
            PutField(description, field, field.key, &block);
            continue;
        }
        const std::optional<Place> place = Find(description, field.key);
        if (place)
            PutField(*place, field, FieldText(*place, field), &block);
        else if (field.needed)
            Complain(description, std::string("the key \"") + field.key + "\" is missing");
    }
    if (!Failed(description) && kind != IdentityKind::foreign &&
        FlagAt(description, "checkNumber", true))
        CheckNumber(description, kind);
    return block;
}

} // namespace vreader
