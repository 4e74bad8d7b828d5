#include "log_records.h"

#include "presentation.h"

namespace tool
{

static std::string Value(const LetterItems &record, char letter)
{
    const std::string *value = FindItem(record, letter);
    return value == nullptr ? std::string() : *value;
}

// The record holds the smallest unit; how many decimals that is, its currency tells.
static std::string Amount(const std::string &digits, const std::string &currencyCode)
{
    const Currency *currency = FindCurrency(currencyCode);
    const std::optional<uint64_t> units = MinorUnits(digits);
    return units ? Money(*units, currency == nullptr ? 2 : currency->decimals) : std::string();
}

static Json TextOrNull(const std::optional<std::string> &text)
{
    return text ? Json(*text) : Json(nullptr);
}

static Json Named(const std::string &code, const char *name)
{
    return {{"code", code}, {"name", name == nullptr ? Json(nullptr) : Json(name)}};
}

static Json CounterJson(const std::string &hex)
{
    return hex.size() == 4 && IsHexText(hex) ? Json(std::stoul(hex, nullptr, 16)) : Json(nullptr);
}

// What a person reads in place of a code: "CNY", or the code itself.
static std::string Shown(const std::string &code, const char *name)
{
    return name == nullptr ? code : name;
}

static const char *CurrencyName(const std::string &code)
{
    const Currency *currency = FindCurrency(code);
    return currency == nullptr ? nullptr : currency->name;
}

static std::string ShownCounter(const std::string &hex)
{
    const Json counter = CounterJson(hex);
    return counter.is_null() ? TextOrHex(hex) : counter.dump();
}

static std::string ShownOr(const std::optional<std::string> &text, const std::string &raw)
{
    return text ? *text : TextOrHex(raw);
}

static Json Raw(const LetterItems &record)
{
    Json raw = Json::object();
    for (const LetterItem &item : record.items)
    {
        const bool isText = item.letter == 'W';
        raw[std::string(1, item.letter)] = isText ? Hex(item.value) : TextOrHex(item.value);
    }
    return raw;
}

static Json MerchantJson(const std::string &bytes)
{
    return TextOrNull(TextFromGb(WithoutPadding(bytes)));
}

// ---- Tables ----

using Row = std::vector<std::string>;

// The last column is not padded: its texts may hold characters two columns wide.
static std::string Table(const std::vector<Row> &rows, const std::string &rightAligned)
{
    std::vector<size_t> widths(rows.front().size(), 0);
    for (const Row &row : rows)
        for (size_t column = 0; column < row.size(); column++)
            widths[column] = std::max(widths[column], row[column].size());
    std::string text;
    for (const Row &row : rows)
    {
        std::string line;
        for (size_t column = 0; column + 1 < row.size(); column++)
        {
            const std::string blanks(widths[column] - row[column].size(), ' ');
            line += rightAligned[column] == 'r' ? blanks + row[column] : row[column] + blanks;
            line += "  ";
        }
        line += row.back();
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string TransactionsText(const LetterRecords &log)
{
    if (log.records.empty())
        return "no transactions\n";
    std::vector<Row> rows = {{"No", "Date", "Time", "Type", "Amount", "Other amount", "Currency",
                              "Country", "ATC", "Merchant"}};
    for (const LetterItems &record : log.records)
    {
        const std::string currency = Value(record, 'R');
        const std::string type = Value(record, 'T');
        const std::string country = Value(record, 'V');
        rows.push_back({std::to_string(rows.size()),
                        ShownOr(IsoDate(Value(record, 'S')), Value(record, 'S')),
                        ShownOr(ClockTime(Value(record, 'U')), Value(record, 'U')),
                        Shown(TextOrHex(type), TransactionTypeName(type)),
                        Amount(Value(record, 'P'), currency), Amount(Value(record, 'Q'), currency),
                        Shown(TextOrHex(currency), CurrencyName(currency)),
                        Shown(TextOrHex(country), CountryName(country)),
                        ShownCounter(Value(record, 'X')), TextOrHex(Value(record, 'W'))});
    }
    return Table(rows, "rlllrrllrl");
}

Json TransactionsJson(const LetterRecords &log)
{
    Json records = Json::array();
    for (const LetterItems &record : log.records)
    {
        const std::string currency = Value(record, 'R');
        const std::string amount = Amount(Value(record, 'P'), currency);
        const std::string other = Amount(Value(record, 'Q'), currency);
        records.push_back(
            {{"date", TextOrNull(IsoDate(Value(record, 'S')))},
             {"time", TextOrNull(ClockTime(Value(record, 'U')))},
             {"type",
              Named(TextOrHex(Value(record, 'T')), TransactionTypeName(Value(record, 'T')))},
             {"amount", amount.empty() ? Json(nullptr) : Json(amount)},
             {"other_amount", other.empty() ? Json(nullptr) : Json(other)},
             {"currency", Named(TextOrHex(currency), CurrencyName(currency))},
             {"country", Named(TextOrHex(Value(record, 'V')), CountryName(Value(record, 'V')))},
             {"merchant", MerchantJson(Value(record, 'W'))},
             {"atc", CounterJson(Value(record, 'X'))},
             {"raw", Raw(record)}});
    }
    return records;
}

// '1': the electronic cash balance (a tag 9F..); '2': the second currency's balance (a tag DF..).
static const char *PurseName(const std::string &kind)
{
    return kind == "1" ? "first" : kind == "2" ? "second" : nullptr;
}

std::string LoadsText(const LetterRecords &log)
{
    if (log.records.empty())
        return "no loads\n";
    std::vector<Row> rows = {
        {"No", "Date", "Time", "Purse", "Before", "After", "Country", "ATC", "Merchant"}};
    for (const LetterItems &record : log.records)
    {
        const std::string country = Value(record, 'V');
        const std::string purse = Value(record, 'O');
        rows.push_back(
            {std::to_string(rows.size()), ShownOr(IsoDate(Value(record, 'S')), Value(record, 'S')),
             ShownOr(ClockTime(Value(record, 'U')), Value(record, 'U')),
             Shown(TextOrHex(purse), PurseName(purse)), Amount(Value(record, 'P'), ""),
             Amount(Value(record, 'Q'), ""), Shown(TextOrHex(country), CountryName(country)),
             ShownCounter(Value(record, 'X')), TextOrHex(Value(record, 'W'))});
    }
    return Table(rows, "rlllrrlrl");
}

Json LoadsJson(const LetterRecords &log)
{
    Json records = Json::array();
    for (const LetterItems &record : log.records)
    {
        const std::string before = Amount(Value(record, 'P'), "");
        const std::string after = Amount(Value(record, 'Q'), "");
        const std::string purse = Value(record, 'O');
        records.push_back(
            {{"date", TextOrNull(IsoDate(Value(record, 'S')))},
             {"time", TextOrNull(ClockTime(Value(record, 'U')))},
             {"purse", Named(TextOrHex(purse), PurseName(purse))},
             {"before", before.empty() ? Json(nullptr) : Json(before)},
             {"after", after.empty() ? Json(nullptr) : Json(after)},
             {"country", Named(TextOrHex(Value(record, 'V')), CountryName(Value(record, 'V')))},
             {"merchant", MerchantJson(Value(record, 'W'))},
             {"atc", CounterJson(Value(record, 'X'))},
             {"raw", Raw(record)}});
    }
    return records;
}

} // namespace tool
