#include "transaction_text.h"

#include "letter_text.h"
#include "presentation.h"

namespace tool
{

static const size_t kAmountDigits = 12;
static const size_t kMerchantBytes = 20;
static const size_t kMostCharacters = 1024; // of the whole text

// ---- Single values ----

bool AmountDigits(std::string_view text, int decimals, std::string *digits)
{
    const size_t point = text.find('.');
    const std::string_view whole = text.substr(0, point);
    const std::string_view fraction =
        point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
    const auto places = static_cast<size_t>(decimals);
    if (!IsDigits(whole) || (point != std::string_view::npos && !IsDigits(fraction)) ||
        fraction.size() > places)
        return false;
    std::string units = std::string(whole) + std::string(fraction);
    units.append(places - fraction.size(), '0');
    units.erase(0, std::min(units.find_first_not_of('0'), units.size()));
    if (units.size() > kAmountDigits)
        return false;
    *digits = std::string(kAmountDigits - units.size(), '0') + units;
    return true;
}

static int Number(std::string_view digits)
{
    int number = 0;
    for (const char digit : digits)
        number = number * 10 + (digit - '0');
    return number;
}

static bool IsDay(int year, int month, int day)
{
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || day < 1)
        return false;
    const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return day <= kDays[month - 1] + (month == 2 && isLeap ? 1 : 0);
}

// The separators stand all or not at all; `places` are where they stand.
static bool WithoutSeparators(std::string_view text, char separator, std::string *digits)
{
    digits->clear();
    for (const char character : text)
        if (character != separator)
            *digits += character;
    return IsDigits(*digits);
}

bool DateDigits(std::string_view text, std::string *digits)
{
    std::string date;
    if (!WithoutSeparators(text, '-', &date))
        return false;
    const bool isLong = text.size() == 10 && text[4] == '-' && text[7] == '-' && date.size() == 8;
    if (!isLong && (date.size() != text.size() || (date.size() != 8 && date.size() != 6)))
        return false;
    if (date.size() == 6)
        date.insert(0, "20");
    // Cards hold two digits of the year; 50 and above they read as the last century.
    const int year = Number(date.substr(0, 4));
    if (year < 2000 || year > 2049 ||
        !IsDay(year, Number(date.substr(4, 2)), Number(date.substr(6))))
        return false;
    *digits = date;
    return true;
}

bool TimeDigits(std::string_view text, std::string *digits)
{
    std::string time;
    if (!WithoutSeparators(text, ':', &time))
        return false;
    const bool hasSeparators = (text.size() == 8 || text.size() == 5) && text[2] == ':' &&
                               (text.size() == 5 || text[5] == ':');
    if (hasSeparators && time.size() == 4)
        time += "00";
    if (time.size() != 6 || (!hasSeparators && text.size() != 6) || !ClockTime(time))
        return false;
    *digits = time;
    return true;
}

bool CurrencyDigits(std::string_view text, std::string *digits)
{
    if (IsDigits(text) && text.size() <= 4)
    {
        *digits = std::string(4 - text.size(), '0') + std::string(text);
        return true;
    }
    const Currency *currency = FindCurrencyByName(text);
    if (currency == nullptr)
        return false;
    *digits = currency->code;
    return true;
}

// ---- The whole text ----

static std::string Item(char letter, const std::string &value)
{
    std::string length = std::to_string(value.size());
    return letter + std::string(3 - length.size(), '0') + length + value;
}

// The host's own fields: well formed, and of letters that the calls read.
static std::string CheckLetters(const LetterItems &items, bool variant)
{
    if (!items.error.empty())
        return "--letters: " + items.error;
    const char first = variant ? 'J' : 'P';
    for (const LetterItem &item : items.items)
        if (item.letter < first || item.letter > 'V')
            return std::string("--letters: there is no field ") + item.letter + ", only " + first +
                   " to V";
    return "";
}

static bool MerchantValue(const std::string &text, bool variant, std::string *value)
{
    std::optional<std::string> name = GbFromText(text);
    if (!name || name->size() > kMerchantBytes)
        return false;
    // Always its full length: what a shorter one is filled with depends on the fields before it.
    name->resize(kMerchantBytes, ' ');
    *value = variant ? Hex(*name) : *name;
    return true;
}

struct Fields
{
    std::string value['V' - 'P' + 1]; // "" for one that is left out
    std::string &operator[](char letter)
    {
        return value[letter - 'P'];
    }
};

static std::string ReadFields(const TransactionInput &input, std::string_view now, bool variant,
                              Fields *fields)
{
    if (!CurrencyDigits(input.currency.empty() ? "CNY" : input.currency, &(*fields)['R']))
        return "--currency takes a name such as CNY or a number such as 156, not \"" +
               input.currency + "\"";
    const Currency *currency = FindCurrency((*fields)['R']);
    const int decimals = currency == nullptr ? 2 : currency->decimals;
    if (!input.amount.empty() && !AmountDigits(input.amount, decimals, &(*fields)['P']))
        return "--amount takes an amount such as 12.34, not \"" + input.amount + "\"";
    if (!AmountDigits(input.other.empty() ? "0" : input.other, decimals, &(*fields)['Q']))
        return "--other takes an amount such as 1.00, not \"" + input.other + "\"";
    std::string date;
    if (!DateDigits(input.date.empty() ? now.substr(0, 8) : input.date, &date))
        return "--date takes a day such as 2025-01-31 (years 2000 to 2049), not \"" + input.date +
               "\"";
    (*fields)['S'] = date.substr(2);
    (*fields)['T'] = input.type.empty() ? "00" : input.type;
    if ((*fields)['T'].size() != 2 || !IsDigits((*fields)['T']))
        return "--type takes two digits such as 00, not \"" + input.type + "\"";
    if (!TimeDigits(input.time.empty() ? now.substr(8) : input.time, &(*fields)['U']))
        return "--time takes a time such as 23:59:59, not \"" + input.time + "\"";
    if (!input.merchant.empty() && !MerchantValue(input.merchant, variant, &(*fields)['V']))
        return "--merchant takes a name of at most 20 bytes in GBK (a Chinese character has two)";
    return "";
}

// A letter counts where it occurs first, in a value too: so every field is there and the merchant's
// name, which may hold any letter, stands last.
TransactionText MakeTransactionText(const TransactionInput &input, std::string_view now,
                                    bool variant)
{
    const LetterItems own = ParseItems(input.letters);
    TransactionText made{"", CheckLetters(own, variant)};
    Fields fields;
    if (made.error.empty())
        made.error = ReadFields(input, now, variant, &fields);
    if (made.error.empty() && fields['P'].empty() && FindItem(own, 'P') == nullptr)
        made.error = "the amount is missing: --amount 12.34";
    if (!made.error.empty())
        return made;
    for (char letter = 'J'; letter <= 'V'; letter++)
    {
        const std::string *value = FindItem(own, letter);
        if (value == nullptr && letter >= 'P' && !fields[letter].empty())
            value = &fields[letter];
        if (value != nullptr)
            made.text += Item(letter, *value);
    }
    if (made.text.size() > kMostCharacters)
        return {"", "the transaction's text is longer than 1024 characters"};
    return made;
}

} // namespace tool
