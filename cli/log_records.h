// The two logs of a PBOC card, transactions and loads, as tables and as JSON.
#pragma once

#include "card_fields.h"

namespace tool
{

Json TransactionsJson(const LetterRecords &log);
std::string TransactionsText(const LetterRecords &log);
Json LoadsJson(const LetterRecords &log);
std::string LoadsText(const LetterRecords &log);

} // namespace tool
