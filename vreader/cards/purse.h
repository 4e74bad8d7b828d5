// The electronic deposit (ED) and electronic purse (EP) application of PBOC 2.0.
//
// Keys are the card's own (DLK load, DPK purchase, DTK for the TAC), 16 bytes each; everything that
// is signed is signed with single DES: CBC from a zero block, padded with 80 00.., the first four
// bytes of the last block.
//
//   load:      session key = 3DES(DLK)[random 4 || online counter 2 || 8000]
//              MAC1 (card)     balance 4, amount 4, type 1, terminal 6
//              MAC2 (issuer)   amount, type, terminal, date 4, time 3
//              TAC  (card)     new balance, online counter before it counts, amount, type,
//              terminal,
//                              date, time
//   purchase:  session key = 3DES(DPK)[random 4 || offline counter 2 || last 2 bytes of the
//              terminal's transaction number]
//              MAC1 (terminal) amount, type, terminal, date, time
//              MAC2 (card)     amount
//              TAC  (card)     amount, type, terminal, terminal's transaction number 4, date, time
//   The TAC is signed with the left half of DTK XOR the right half.
//   Types: 01 load of ED, 02 load of EP, 05 purchase with ED, 06 purchase with EP.
//
// A transaction enters a record of 23 bytes in EF18 (SFI 24), the newest first: counter 2,
// overdraft limit 3, amount 4, type 1, terminal 6, date 4, time 3.
#pragma once

#include "vreader/cards/command.h"
#include "vreader/cards/kinds.h"
#include "vreader/cards/pboc_cryptography.h"

namespace vreader
{

struct PbocCard;
struct DedicatedFile;

enum class PurseStep
{
    none,
    load,
    purchase
};

// What both commands of a transaction speak of.
struct PurseTerms
{
    uint32_t amount = 0;
    uint8_t type = 0;
    Bytes terminal; // 6 bytes
    Bytes date;     // 4 bytes
    Bytes time;     // 3 bytes
};

struct PurseAccount
{
    uint32_t balance = 0;
    uint32_t overdraft = 0; // three bytes
    uint16_t onlineCounter = 0;
    uint16_t offlineCounter = 0;
};

// A transaction between its two commands.
struct PurseOrder
{
    PurseStep step = PurseStep::none;
    uint8_t account = 0; // P2
    PurseTerms terms;
    Bytes random;
    uint16_t counter = 0;
};

struct Purse
{
    // As described.
    TripleDesKey loadKey{};
    TripleDesKey purchaseKey{};
    TripleDesKey tacKey{};
    uint8_t keyIndex = 1;
    uint8_t keyVersion = 1;
    unsigned pinLimit = 3;
    Bytes pin;
    uint8_t recordFile = 24;
    unsigned recordLimit = 10;

    // What the card remembers for good.
    unsigned pinTries = 3;
    PurseAccount deposit;
    PurseAccount purse;

    // The card session.
    bool pinVerified = false;
    PurseOrder order;
};

// Numbers as the cards write them, the high byte first.
Bytes BigEndian(uint32_t number, size_t size);
uint32_t FromBigEndian(const Bytes &bytes, size_t offset, size_t size);

DesKey PurseSessionKey(const TripleDesKey &key, const Bytes &random, uint16_t counter,
                       uint16_t tail);
constexpr uint16_t kLoadTail = 0x8000;
DesKey TacKey(const TripleDesKey &key);
Bytes PurseMac(const DesKey &key, const Bytes &data);
// Balance, amount, type, terminal: MAC1 of a load.
Bytes LoadRequestData(uint32_t balance, const PurseTerms &terms);
// Amount, type, terminal, date, time: MAC2 of a load, MAC1 of a purchase.
Bytes TermsData(const PurseTerms &terms);

void ReadPurseDescription(const Place &place, DedicatedFile *file);

Bytes VerifyPursePin(PbocCard *card, const Command &command);
Bytes GetBalance(PbocCard *card, const Command &command);
Bytes InitializePurse(PbocCard *card, const Command &command);
Bytes CompletePurse(PbocCard *card, const Command &command);

} // namespace vreader
