// The online side of a debit/credit application: cryptograms, issuer authentication, scripts.
//
// One transaction, by commands:
//
//   GET PROCESSING OPTIONS  counts 9F36 and starts the transaction; a one-step (contactless) card
//                           answers with its first cryptogram at once
//   GENERATE AC             the first cryptogram, over the data of CDOL1: ARQC, TC or AAC
//   EXTERNAL AUTHENTICATE   checks the issuer's ARPC against that ARQC, once
//   GENERATE AC             the second, over the data of CDOL2: TC or AAC; a TC is entered in the
//                           transaction log
//   script commands         from the first cryptogram until the next transaction, each with a MAC
//
// The cryptography is written down in pboc_cryptography.h. The issuer application data (9F10) are
// 07, key index, cryptogram version, the four bytes of the card verification results (CVR), and 01
// (the algorithm: triple DES). The CVR:
//
//   byte 1  03, the length
//   byte 2  80 no second cryptogram yet, 40 it is a TC, 00 an AAC; 20 the first one is an ARQC,
//           10 a TC, 00 an AAC; 08 issuer authentication failed; 04 PIN verified; 02 PIN wrong
//   byte 3  40 no PIN tries left; 08 issuer authentication failed in the last online transaction
//   byte 4  high half: script commands carried out since the last completed online transaction
//           (15 at most); 08 a script command failed
#pragma once

#include "vreader/cards/command.h"
#include "vreader/cards/kinds.h"
#include "vreader/cards/pboc_cryptography.h"

#include <map>

namespace vreader
{

struct PbocCard;
struct DedicatedFile;

enum class Decline
{
    never,
    first, // the first cryptogram is an AAC
    second // the second one is, whatever the issuer says
};

enum class Stage
{
    idle,     // no GET PROCESSING OPTIONS since the selection
    started,  // the first cryptogram may be asked for
    online,   // an ARQC was given: the issuer's answer is awaited
    finished, // no cryptogram is left
};

// What is forgotten when another transaction starts, another selection is made or power goes.
struct Transaction
{
    Stage stage = Stage::idle;
    Bytes listData;                    // of the latest data-object list, as it came
    std::map<Tag, Bytes> terminalData; // of all lists so far, the latest value of each
    std::optional<Block> cryptogram;   // the first one
    uint8_t firstKind = 0;             // its 9F27
    bool triedAuthentication = false;
    bool isAuthenticated = false;
    Bytes responseCode; // the one that the issuer signed
    bool pinVerified = false;
    bool pinWrong = false;
    bool refusesScripts = false; // a script command had a wrong MAC
};

struct OnlineApplication
{
    // As described.
    KeySet masterKeys;
    KeySet keys;
    std::string pan;
    std::string sequenceNumber;
    uint8_t keyIndex = 1;
    uint8_t cryptogramVersion = 1;
    bool answersFormat1 = true;
    bool isOneStep = false;      // GET PROCESSING OPTIONS brings the cryptogram
    bool signsWholeList = false; // the cryptogram is over all data of the list, not the eight
    bool needsAuthentication = true;
    Decline declines = Decline::never;
    std::optional<uint64_t> declineAbove; // hundredths
    uint64_t offlineLimit = 0;            // hundredths; a TC asked for first is given up to here
    unsigned pinLimit = 3;
    Bytes interchangeProfile;
    Bytes pdol;
    Bytes cdol1;
    Bytes cdol2;
    Bytes optionsData; // one-step: what follows the cryptogram in the answer

    // What the card remembers for good.
    uint16_t counter = 0;    // 9F36
    uint16_t lastOnline = 0; // 9F13
    std::string pin;         // empty: none
    unsigned pinTries = 3;   // 9F17
    unsigned scriptCount = 0;
    bool scriptFailed = false;
    bool lastAuthenticationFailed = false;

    Transaction transaction;
};

// Reads the key "online" of an application whose other keys have been read.
void ReadOnlineDescription(const Place &online, const Place &application, DedicatedFile *file);
// Puts what is counted where GET DATA finds it.
void PublishCounters(DedicatedFile *file);

// GET PROCESSING OPTIONS that has passed the checks every card makes.
Bytes StartTransaction(PbocCard *card, DedicatedFile *file, const Bytes &listData);
// The transaction's own counter and data, for the logs.
Bytes TransactionLogEntry(const OnlineApplication &online);
Bytes LoadLogEntry(const OnlineApplication &online, Tag tag, const Bytes &before,
                   const Bytes &after);

Bytes GenerateCryptogram(PbocCard *card, const Command &command);
Bytes AuthenticateIssuer(PbocCard *card, const Command &command);
Bytes VerifyCardholderPin(PbocCard *card, const Command &command);
Bytes RunScriptCommand(PbocCard *card, const Command &command);

} // namespace vreader
