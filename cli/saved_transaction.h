// The file that stands between "ic arqc" and "ic complete".
#pragma once

#include <string>

#include "card_calls.h"

namespace tool
{

// Each gives what went wrong, or "". The file holds card data: only its owner may read it.
std::string SaveTransaction(const std::string &path, const PendingTransaction &pending);
std::string LoadTransaction(const std::string &path, PendingTransaction *pending);

} // namespace tool
