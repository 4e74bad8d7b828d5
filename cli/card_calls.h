// The calls that the library has in both sets, through the one that was chosen. The main ones need
// the reader open, those of the terminal interface open and close it themselves.
#pragma once

#include <string>

#include "options.h"

namespace tool
{

struct CallResult
{
    const char *call; // its name
    int code;
    int cardType = 0; // 0 contact, 1 contactless: the card that answered
};

// What the second half of a transaction needs from the first, in this process or in another one.
struct PendingTransaction
{
    CallSet callSet = CallSet::kMain;
    int cardType = 0;
    std::string text;            // the transaction's text
    std::string arqc;            // hexadecimal
    std::string cdol2;           // hexadecimal; terminal interface
    std::string applicationData; // g_IccAppData; main interface
    std::string transactionData; // g_szTxData
    std::string initiationData;  // g_szAppInitData
};

struct Completion
{
    std::string answer;       // the card's second cryptogram, hexadecimal
    std::string scriptResult; // "DF3105..."
};

CallResult ReadInformation(const Options &options, std::string *area);
CallResult ReadTransactionLog(const Options &options, std::string *area);
CallResult ReadLoadLog(const Options &options, std::string *area); // main interface only

CallResult RequestCryptogram(const Options &options, PendingTransaction *pending);

// The stores of the library, for the second half in another process.
void KeepStores(PendingTransaction *pending);
void RestoreStores(const PendingTransaction &pending);

CallResult CompleteTransaction(const Options &options, const PendingTransaction &pending,
                               const std::string &issuerAnswer, Completion *completion);

// The account number and its sequence number that the first half has shown; "" when it has not.
std::string AccountNumber(const PendingTransaction &pending);
std::string SequenceNumber(const PendingTransaction &pending);
// True when the card has a list for a second cryptogram.
bool HasSecondCryptogram(const PendingTransaction &pending);

} // namespace tool
