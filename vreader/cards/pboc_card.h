// A bank card that behaves as PBOC debit/credit cards do: directory, applications, records, logs;
// with keys also cryptograms and scripts (online_application.h), purses (purse.h) and files that
// are selected by identifier (elementary_files.h).
#pragma once

#include "vreader/cards/elementary_files.h"
#include "vreader/cards/online_application.h"
#include "vreader/cards/purse.h"

#include <map>

namespace vreader
{

// The status of SELECT for an application that its issuer has blocked.
constexpr uint16_t kApplicationBlocked = 0x6283;

// Short file identifier, then record number, to the record's bytes.
using RecordFiles = std::map<uint8_t, std::map<uint8_t, Bytes>>;

// What SELECT by name can find: the payment system environment or an application.
struct DedicatedFile
{
    Bytes name;
    Bytes fileControlInformation;   // answered to SELECT
    uint16_t selectStatus = 0x9000; // 6283: blocked, answered with the data; errors: without
    RecordFiles files;
    std::map<Tag, Bytes> dataObjects; // what GET DATA finds

    bool isApplication = false;
    Bytes processingOptions; // answered to GET PROCESSING OPTIONS
    size_t pdolDataLength = 0;
    bool checksPdolLength = true;

    // What further abilities need; a card without them does not know the commands either.
    uint8_t logFile = 0; // 0: no log
    unsigned logLimit = 0;
    uint8_t loadLogFile = 0;
    unsigned loadLogLimit = 0;
    std::optional<OnlineApplication> online;
    std::optional<Purse> purse;
    std::vector<ElementaryFile> elementaryFiles;
    std::optional<TripleDesKey> maintenanceKey; // UPDATE BINARY with a MAC
};

struct PbocCard
{
    std::vector<DedicatedFile> dedicatedFiles; // in the order in which SELECT looks
    std::map<Tag, Bytes> dataObjects;          // found by GET DATA in every application
    bool isBlocked = false;                    // SELECT answers 6A81
    bool speaksT0 = false;                     // 61xx and GET RESPONSE, 6Cxx for a wrong Le
    Bytes fixedRandom; // what every random number is taken from; empty: real ones

    // The card session: forgotten at every power-on.
    std::optional<size_t> selected;
    std::optional<size_t> currentFile; // among the elementary files of the selected one
    Bytes challenge;                   // the last GET CHALLENGE; empty: none since, or used up
    Bytes pending;                     // T=0: what GET RESPONSE will fetch
    std::string remark;
};

// The card's tables from its description (docs/profiles.md has all keys).
void ReadPbocDescription(const Place &description, PbocCard *card);

// A card of this kind around its tables; label, answer to reset from the description.
std::shared_ptr<Card> WrapPbocCard(const Place &description, std::shared_ptr<PbocCard> card,
                                   const char *kind, const char *usualLabel);

// For the commands: a bare status word, and a remark for the trace that says why.
Bytes Status(PbocCard *card, uint16_t statusWord, const std::string &why = "");
DedicatedFile *Selected(PbocCard *card);
Bytes RandomBytes(const PbocCard *card, size_t count);
// Puts a record in front of a cyclic file that keeps `limit` of them.
void EnterRecord(DedicatedFile *file, uint8_t identifier, unsigned limit, const Bytes &record);
// The file control information of a dedicated file: its name and what is proprietary.
Bytes FileControlInformation(const Bytes &name, const Bytes &proprietary);
// Records as a list (numbered from 1) or as an object {"NUMBER": RECORD}; a record is hexadecimal
// digits or data objects without a template around them.
std::map<uint8_t, Bytes> BareRecords(const Place &place);
// A key of 16 bytes; zeros, and a mistake noted, when it is none.
TripleDesKey Key(const Place &place);

// Six BCD bytes in hundredths from "123.45" or twelve digits; and their value.
Bytes Amount(const Place &place);
uint64_t Hundredths(const Bytes &bcd);
// Bytes of BCD from a date ("2025-01-31", four bytes with the century).
Bytes LongDate(const Place &place);

// The 45 bytes of a transaction log record and the 44 bytes of a load log record: hexadecimal
// digits as they stand, or an object of readable fields.
Bytes TransactionLogRecord(const Place &place);
Bytes LoadLogRecord(const Place &place);

} // namespace vreader
