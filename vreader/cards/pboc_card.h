// A bank card that behaves as PBOC debit/credit cards do: directory, applications, records, logs.
#pragma once

#include "vreader/cards/kinds.h"

#include <map>

namespace vreader
{

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
};

struct PbocCard
{
    std::vector<DedicatedFile> dedicatedFiles; // in the order in which SELECT looks
    std::map<Tag, Bytes> dataObjects;          // found by GET DATA in every application
    bool isBlocked = false;                    // SELECT answers 6A81
    bool speaksT0 = false;                     // 61xx and GET RESPONSE, 6Cxx for a wrong Le

    // The card session: forgotten at every power-on.
    std::optional<size_t> selected;
    Bytes pending; // T=0: what GET RESPONSE will fetch
    std::string remark;
};

// The card's tables from its description (docs/profiles.md has all keys).
void ReadPbocDescription(const Place &description, PbocCard *card);

// The 45 bytes of a transaction log record and the 44 bytes of a load log record: hexadecimal
// digits as they stand, or an object of readable fields.
Bytes TransactionLogRecord(const Place &place);
Bytes LoadLogRecord(const Place &place);

} // namespace vreader
