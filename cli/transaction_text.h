// The text in which a host hands a transaction to the library: letter-coded fields, made from what
// people write.
#pragma once

#include <string>
#include <string_view>

namespace tool
{

// As written on the command line; "" stands for what was left out.
struct TransactionInput
{
    std::string amount;   // "12.34"
    std::string other;    // "1.00"
    std::string currency; // "CNY", "156"
    std::string date;     // "2025-01-31", "250131"
    std::string time;     // "23:59:59", "235959"
    std::string type;     // "00"
    std::string merchant; // UTF-8; at most 20 bytes of GBK
    std::string letters;  // fields as they stand, "P012000000001234"; they go before the others
};

struct TransactionText
{
    std::string text;
    std::string error; // "" when all was understood
};

// `now` stands in for a missing date and time (14 digits, "20250131235959"). The variant calls, and
// with them the terminal interface, take the merchant's name as hexadecimal digits and some letters
// more.
TransactionText MakeTransactionText(const TransactionInput &input, std::string_view now,
                                    bool variant);

// Each gives the digits and true, or false.
bool AmountDigits(std::string_view text, int decimals, std::string *digits); // 12 digits
bool DateDigits(std::string_view text, std::string *digits);                 // 8: YYYYMMDD
bool TimeDigits(std::string_view text, std::string *digits);                 // 6: hhmmss
bool CurrencyDigits(std::string_view text, std::string *digits);             // 4

} // namespace tool
