// Elementary files that have identifiers: selected by them, read and written as bytes or records.
#pragma once

#include "vreader/cards/command.h"
#include "vreader/cards/kinds.h"

namespace vreader
{

struct PbocCard;
struct DedicatedFile;

struct ElementaryFile
{
    uint16_t identifier = 0;     // EF05
    uint8_t shortIdentifier = 0; // 5; its records lie in the dedicated file under this number
    bool isBinary = false;
    bool isSecured = false; // UPDATE BINARY needs a MAC
    Bytes contents;
};

// Reads the key "elementaryFiles" of an application.
void ReadElementaryFiles(const Place &place, DedicatedFile *file);

Bytes SelectElementaryFile(PbocCard *card, const Command &command);
Bytes ReadBinary(PbocCard *card, const Command &command);
// Class 00 as it comes, class 04 with a MAC behind the data: MAC (pboc_cryptography.h, its chain
// beginning with the challenge and zeros) under the maintenance key over CLA INS P1 P2 Lc and the
// data, the first four bytes.
Bytes UpdateBinary(PbocCard *card, const Command &command);

} // namespace vreader
