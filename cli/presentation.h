// What cards and readers give, made fit to be read: bytes, texts, money, dates.
//
// Everything here comes from a card and may be anything: a text that is no valid GB18030, or that
// holds control characters (a terminal would obey them), is shown as hexadecimal instead.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tool
{

std::string Hex(std::string_view bytes);            // upper case, "6F15..."
std::string SpacedHex(std::string_view hexText);    // "6F15" -> "6F 15"
std::string Bytes(std::string_view hexText);        // the reverse of Hex; "" when it is no hex
bool IsHexText(std::string_view text);              // whole bytes of upper-case digits
std::string Padded(std::string text, size_t width); // with blanks at the end
unsigned ByteAt(std::string_view bytes, size_t at);
bool IsDigits(std::string_view text);                   // at least one, decimal digits only
std::string_view WithoutPadding(std::string_view text); // cuts blanks and NULs at the end

// Chinese cards and readers write GBK; GB18030 contains it and ASCII.
std::optional<std::string> TextFromGb(std::string_view bytes);
std::string TextOrHex(std::string_view bytes); // padding cut; "hex D2F8..." when it is no text
std::optional<std::string> GbFromText(std::string_view utf8); // the reverse of TextFromGb

// Twelve BCD digits of the smallest unit: "000000003780" is 37.80 with two decimals.
std::optional<uint64_t> MinorUnits(std::string_view digits);
std::string Money(uint64_t minorUnits, int decimals);

std::optional<std::string> IsoDate(std::string_view yymmdd); // "310901" -> "2031-09-01"
std::optional<std::string> IsoMonth(std::string_view yymm);  // "3010" -> "2030-10"
std::optional<std::string> ClockTime(std::string_view hhmmss);

// Keeps the first six and the last four characters: "621094*****0011".
std::string Masked(std::string_view number);

// ISO 4217 and ISO 3166 numbers as cards hold them, "0156"; nothing for a number we do not name.
struct Currency
{
    const char *code;
    const char *name;
    int decimals;
};
const Currency *FindCurrency(std::string_view code);
const Currency *FindCurrencyByName(std::string_view name); // "CNY"
const char *CountryName(std::string_view code);
const char *TransactionTypeName(std::string_view code); // "00"

} // namespace tool
