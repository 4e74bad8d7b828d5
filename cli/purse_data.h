// The electronic purse and deposit: the bytes of their commands, their files and records.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "card_fields.h"
#include "options.h"

namespace tool
{

constexpr char kPurseAid[] = "A00000000386980701";
constexpr unsigned char kPurseRecordFile = 24;

unsigned char AccountNumberOf(const PurseOptions &purse); // P2: 1 deposit, 2 purse
const char *AccountName(unsigned char account);

// Key index, amount, terminal: the eleven bytes of INITIALIZE FOR LOAD and FOR PURCHASE.
std::string OrderData(const PurseOptions &purse);

// Four bytes of hundredths as "123.45"; "" when they are not four.
std::string BalanceText(std::string_view bytes);

// Records of 23 bytes, the newest first.
std::string PurseRecordsText(const std::vector<std::string> &records);
Json PurseRecordsJson(const std::vector<std::string> &records);

} // namespace tool
