// What the command line says, before and while it is checked. The checks come before anything is
// opened; each gives what is wrong, or "".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "options.h"
#include "track_text.h"
#include "transaction_text.h"

namespace tool
{

struct MemoryArguments
{
    std::vector<std::string> keys; // each with the type of key that it is given as
    std::vector<std::string> keysB;
    std::string keyFile;
    std::string place; // block or page
    std::string data;
    std::optional<std::string> text;
    std::string value;
    std::string amount;
    std::string newKey;
};

struct Arguments
{
    Options options;
    std::string port = "USB";
    std::string callSet = "bo";
    bool contactless = false;
    bool automatic = false;
    std::string aid;
    std::optional<std::string> tags; // missing: all
    std::vector<uint32_t> beep;
    std::vector<std::string> hex;
    std::string script;
    std::string code;
    std::string setting;
    std::string value;
    TransactionInput transaction;
    std::string arpc;
    std::string file;
    std::string purseTerminal = "000000000001";
    std::string purseFile;
    int keyIndex = 1;
    int offset = 0;
    StripeInput stripe;
    std::string photo;
    MemoryArguments memory;
};

bool ReadScript(const std::string &path, std::string *text); // at most 4 MiB

// For every command.
std::string CheckPort(Arguments *arguments);
std::string CheckCallSet(Arguments *arguments);

// One for each command.
std::string CheckMode(Arguments *arguments);     // contact or contactless
std::string CheckCardCall(Arguments *arguments); // that, and which application
std::string CheckTags(Arguments *arguments);
std::string CheckBeep(Arguments *arguments);
std::string CheckApdus(Arguments *arguments);
std::string CheckCode(Arguments *arguments);
std::string CheckGet(Arguments *arguments);
std::string CheckSet(Arguments *arguments);
std::string CheckRequest(Arguments *arguments);   // ic arqc
std::string CheckComplete(Arguments *arguments);  // ic complete
std::string CheckRound(Arguments *arguments);     // ic transaction
std::string CheckPurse(Arguments *arguments);     // purse balance, purse log
std::string CheckPurseFile(Arguments *arguments); // purse read
std::string CheckMagRead(Arguments *arguments);
std::string CheckMagNumber(Arguments *arguments);
std::string CheckMagWrite(Arguments *arguments);
std::string CheckIdRead(Arguments *arguments);
std::string CheckPurseOrder(Arguments *arguments); // purse load, purse purchase
std::string CheckM1Read(Arguments *arguments);
std::string CheckM1Write(Arguments *arguments);
std::string CheckM1Value(Arguments *arguments);
std::string CheckM1Amount(Arguments *arguments); // m1 increment, m1 decrement
std::string CheckM1Dump(Arguments *arguments);
std::string CheckM0Read(Arguments *arguments);
std::string CheckM0Write(Arguments *arguments);
std::string CheckM0Key(Arguments *arguments); // m0 auth
std::string CheckM0SetKey(Arguments *arguments);
std::string CheckM0Dump(Arguments *arguments);

} // namespace tool
