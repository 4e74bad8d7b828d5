// The virtual issuer: verifies an application cryptogram and answers as a bank's host would.
//
//     vreader::IssuerRules rules;
//     rules.scripts = {"put-data 9F79=000000010000"};
//     const vreader::IssuerAnswer answer =
//         vreader::Authorise(vreader::ProfileMasterKeys(), arqcHex, rules);
//     if (answer.error.empty())
//         BO_ICExeScript_TC(cardType, txText, answer.hex.c_str(), ...);
//
// The methods are written down in vreader/cards/pboc_cryptography.h.
#pragma once

#include "vreader/cards/pboc_cryptography.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vreader
{

// The issuer master keys; ProfileMasterKeys() gives those of the built-in profiles.
using IssuerKeys = KeySet;

struct IssuerRules
{
    // Amounts (9F02) in hundredths: up to the first "00", up to the second "01", beyond it "05".
    uint64_t referAbove = 100000;
    uint64_t declineAbove = 500000;
    std::string responseCode; // two characters that go before the amount's; empty: by amount

    std::string pan;            // digits; empty: from 5A in the text
    std::string sequenceNumber; // two digits; empty: from 5F34 in the text, or "00"
    // A data-object list as bytes: the cryptogram is over its objects, in its order, instead of the
    // standard eight. For cards whose profile says "cryptogramData": "list".
    std::vector<uint8_t> cdol1;
    // Data objects (BER-TLV) that the list asks for and the text does not hold (9F21, 9F4E ...).
    std::vector<uint8_t> furtherData;

    // Script commands in their order, each one of
    //   "block-card", "block-application", "unblock-application", "unblock-pin",
    //   "pin-change NEW", "pin-change OLD NEW", "put-data TAG=HEX",
    //   "raw HEX" (a command that is sent as it stands, without a MAC)
    std::vector<std::string> scripts;
    uint8_t scriptTemplate = 0x72;                                    // 0x71 or 0x72
    std::vector<uint8_t> scriptIdentifier = {0x00, 0x00, 0x00, 0x01}; // 9F18; empty: left out

    bool spoilsArpc = false;       // a wrong ARPC (its last bit turned)
    bool spoilsScriptMacs = false; // wrong script MACs (their last bit turned)
};

struct IssuerAnswer
{
    bool verified = false;    // the cryptogram is that of the card
    std::string error;        // why there is no answer; empty when there is one
    std::string responseCode; // "00", "01", "05"
    // What the calls take: 91 with ARPC and response code, then 71 or 72 with 9F18 and 86 commands;
    // upper-case hexadecimal digits, at most 1024 of them.
    std::string hex;
    std::vector<std::string> explanation; // lines for people
};

// `arqcHex`: the text that the ARQC calls return (BER-TLV in hexadecimal digits of either case).
IssuerAnswer Authorise(const IssuerKeys &keys, const std::string &arqcHex,
                       const IssuerRules &rules);

// The master keys, PAN, sequence number and (when its cryptograms are over the list) CDOL1 of an
// online card in a profile: its name or path, and the card's name there. False and an error text
// when there is no such card.
bool IssuerOfProfileCard(const std::string &profile, const std::string &card, IssuerKeys *keys,
                         IssuerRules *rules, std::string *error);

// A script that the rules may name; an error text that says what was expected otherwise.
bool IsScript(const std::string &script, std::string *error);

// 32 hexadecimal digits as a key.
bool KeyFromText(const std::string &text, TripleDesKey *key);

// Amounts as people write them ("123.45", "123") in hundredths.
bool AmountFromText(const std::string &text, uint64_t *hundredths);

// The bank's side of a load and the terminal's side of a purchase with a purse application.
struct PurseKeys
{
    TripleDesKey load{};
    TripleDesKey purchase{};
    TripleDesKey tac{};
};

// The keys of the built-in purse profile.
PurseKeys ProfilePurseKeys();

struct PurseAnswer
{
    std::string error; // why there is none; empty when all was well
    std::string hex;   // the data of the second command: 11 or 15 bytes
    std::vector<std::string> explanation;
};

struct PurseRequest
{
    uint8_t account = 0x02;      // P2 of the first command: 01 deposit, 02 purse
    std::string dataHex;         // the 11 bytes that INITIALIZE was sent
    std::string answerHex;       // what the card answered: 16 bytes (load) or 15 (purchase)
    std::string date;            // eight digits YYYYMMDD
    std::string time;            // six digits hhmmss
    uint32_t terminalNumber = 1; // purchase: the terminal's transaction number
};

// Checks MAC1 of the card's answer; gives date, time and MAC2 for CREDIT FOR LOAD.
PurseAnswer AuthoriseLoad(const PurseKeys &keys, const PurseRequest &request);
// Gives terminal number, date, time and MAC1 for DEBIT FOR PURCHASE.
PurseAnswer PreparePurchase(const PurseKeys &keys, const PurseRequest &request);

} // namespace vreader
