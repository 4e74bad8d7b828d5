#include "presentation.h"

#include <cstring>
#include <iconv.h>

namespace tool
{

static const char kHexDigits[] = "0123456789ABCDEF";

std::string Hex(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes)
    {
        const auto value = static_cast<unsigned char>(byte);
        text += kHexDigits[value >> 4];
        text += kHexDigits[value & 0x0F];
    }
    return text;
}

std::string SpacedHex(std::string_view hexText)
{
    std::string text;
    for (size_t i = 0; i < hexText.size(); i++)
    {
        if (i != 0 && i % 2 == 0)
            text += ' ';
        text += hexText[i];
    }
    return text;
}

bool IsHexText(std::string_view text)
{
    return text.size() % 2 == 0 && text.find_first_not_of(kHexDigits) == std::string_view::npos;
}

std::string Bytes(std::string_view hexText)
{
    std::string bytes;
    if (!IsHexText(hexText))
        return bytes;
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
    for (size_t i = 0; i < hexText.size(); i += 2)
        bytes += static_cast<char>(digit(hexText[i]) << 4 | digit(hexText[i + 1]));
    return bytes;
}

std::string Padded(std::string text, size_t width)
{
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

unsigned ByteAt(std::string_view bytes, size_t at)
{
    return static_cast<unsigned char>(bytes[at]);
}

bool IsDigits(std::string_view text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string_view WithoutPadding(std::string_view text)
{
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0'))
        text.remove_suffix(1);
    return text;
}

// ---- Texts ----

static std::optional<std::string> Convert(std::string_view bytes, const char *target,
                                          const char *source)
{
    iconv_t converter = iconv_open(target, source);
    if (converter == reinterpret_cast<iconv_t>(-1))
        return std::nullopt;
    std::string input(bytes);
    std::string output(bytes.size() * 4, '\0'); // no character grows beyond four bytes
    char *from = input.data();
    char *to = output.data();
    size_t fromLeft = input.size();
    size_t toLeft = output.size();
    const size_t result = iconv(converter, &from, &fromLeft, &to, &toLeft);
    iconv_close(converter);
    if (result == static_cast<size_t>(-1) || fromLeft != 0)
        return std::nullopt;
    output.resize(output.size() - toLeft);
    return output;
}

// Characters that would steer a terminal or turn the direction of a line.
static bool SteersTheTerminal(std::string_view utf8)
{
    static const struct
    {
        const char *first;
        const char *last;
    } kRanges[] = {
        {"\xC2\x80", "\xC2\x9F"},         // C1 control characters
        {"\xE2\x80\xA8", "\xE2\x80\xAE"}, // line separators, embeddings and overrides
        {"\xE2\x81\xA6", "\xE2\x81\xA9"}, // isolates
    };
    for (size_t i = 0; i < utf8.size(); i++)
    {
        const auto byte = static_cast<unsigned char>(utf8[i]);
        if (byte < 0x20 || byte == 0x7F)
            return true;
        for (const auto &range : kRanges)
        {
            const std::string_view character = utf8.substr(i, std::strlen(range.first));
            if (character >= range.first && character <= range.last)
                return true;
        }
    }
    return false;
}

std::optional<std::string> TextFromGb(std::string_view bytes)
{
    std::optional<std::string> text = Convert(bytes, "UTF-8", "GB18030");
    if (text && SteersTheTerminal(*text))
        return std::nullopt;
    return text;
}

std::string TextOrHex(std::string_view bytes)
{
    const std::optional<std::string> text = TextFromGb(WithoutPadding(bytes));
    return text ? *text : "hex " + Hex(bytes);
}

std::optional<std::string> GbFromText(std::string_view utf8)
{
    return Convert(utf8, "GB18030", "UTF-8");
}

// ---- Money and dates ----

std::optional<uint64_t> MinorUnits(std::string_view digits)
{
    if (digits.size() != 12 || !IsDigits(digits))
        return std::nullopt;
    uint64_t units = 0;
    for (const char digit : digits)
        units = units * 10 + static_cast<uint64_t>(digit - '0');
    return units;
}

std::string Money(uint64_t minorUnits, int decimals)
{
    std::string text = std::to_string(minorUnits);
    if (decimals == 0)
        return text;
    const auto places = static_cast<size_t>(decimals);
    if (text.size() <= places)
        text.insert(0, places + 1 - text.size(), '0');
    return text.insert(text.size() - places, ".");
}

static int TwoDigits(std::string_view text, size_t at)
{
    return (text[at] - '0') * 10 + (text[at + 1] - '0');
}

// Two-digit years as EMV reads them: 50 to 99 lie in the last century.
static std::string FullYear(std::string_view text)
{
    return (TwoDigits(text, 0) < 50 ? "20" : "19") + std::string(text.substr(0, 2));
}

std::optional<std::string> IsoMonth(std::string_view yymm)
{
    if (yymm.size() != 4 || !IsDigits(yymm))
        return std::nullopt;
    const int month = TwoDigits(yymm, 2);
    if (month < 1 || month > 12)
        return std::nullopt;
    return FullYear(yymm) + "-" + std::string(yymm.substr(2, 2));
}

std::optional<std::string> IsoDate(std::string_view yymmdd)
{
    if (yymmdd.size() != 6 || !IsDigits(yymmdd))
        return std::nullopt;
    const std::optional<std::string> month = IsoMonth(yymmdd.substr(0, 4));
    const int day = TwoDigits(yymmdd, 4);
    if (!month || day < 1 || day > 31)
        return std::nullopt;
    return *month + "-" + std::string(yymmdd.substr(4, 2));
}

std::optional<std::string> ClockTime(std::string_view hhmmss)
{
    if (hhmmss.size() != 6 || !IsDigits(hhmmss) || TwoDigits(hhmmss, 0) > 23 ||
        TwoDigits(hhmmss, 2) > 59 || TwoDigits(hhmmss, 4) > 59)
        return std::nullopt;
    const std::string text(hhmmss);
    return text.substr(0, 2) + ":" + text.substr(2, 2) + ":" + text.substr(4, 2);
}

std::string Masked(std::string_view number)
{
    std::string text(number);
    const size_t shownFirst = 6;
    const size_t shownLast = 4;
    if (text.size() <= shownFirst + shownLast)
        return std::string(text.size(), '*');
    return text.replace(shownFirst, text.size() - shownFirst - shownLast,
                        text.size() - shownFirst - shownLast, '*');
}

// ---- Currencies, countries, types ----

static const Currency kCurrencies[] = {
    {"0156", "CNY", 2}, {"0344", "HKD", 2}, {"0446", "MOP", 2}, {"0901", "TWD", 2},
    {"0392", "JPY", 0}, {"0410", "KRW", 0}, {"0702", "SGD", 2}, {"0764", "THB", 2},
    {"0826", "GBP", 2}, {"0840", "USD", 2}, {"0978", "EUR", 2},
};

static const struct
{
    const char *code;
    const char *name;
} kCountries[] = {
    {"0156", "China"},          {"0158", "Taiwan"},        {"0276", "Germany"},
    {"0344", "Hong Kong"},      {"0392", "Japan"},         {"0410", "Korea"},
    {"0446", "Macao"},          {"0702", "Singapore"},     {"0764", "Thailand"},
    {"0826", "United Kingdom"}, {"0840", "United States"},
};

const Currency *FindCurrency(std::string_view code)
{
    for (const Currency &currency : kCurrencies)
        if (code == currency.code)
            return &currency;
    return nullptr;
}

const Currency *FindCurrencyByName(std::string_view name)
{
    for (const Currency &currency : kCurrencies)
        if (name == currency.name)
            return &currency;
    return nullptr;
}

const char *CountryName(std::string_view code)
{
    for (const auto &country : kCountries)
        if (code == country.code)
            return country.name;
    return nullptr;
}

const char *TransactionTypeName(std::string_view code)
{
    static const struct
    {
        const char *code;
        const char *name;
    } kTypes[] = {
        {"00", "purchase"},        {"01", "cash"},
        {"09", "purchase + cash"}, {"17", "cash"},
        {"20", "refund"},          {"21", "deposit"},
        {"30", "enquiry"},         {"31", "balance enquiry"},
        {"40", "transfer"},        {"60", "load from account"},
        {"62", "load from other"}, {"63", "load with cash"},
    };
    for (const auto &type : kTypes)
        if (code == type.code)
            return type.name;
    return nullptr;
}

} // namespace tool
