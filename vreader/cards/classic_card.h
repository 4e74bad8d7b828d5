// A Mifare Classic card: blocks of 16 bytes in sectors, each sector with two keys and access bits.
//
// The first 32 sectors have four blocks, the eight after them (of a 4K card) sixteen. A sector's
// last block is its trailer: key A, access bits, one general-purpose byte, key B.
//
// Commands, all but the first within the authenticated sector:
//     60 block key     authentication with key A (61: key B); any block of the sector
//     30 block         read: 16 bytes
//     A0 block data    write
//     C0, C1, C2       decrement, increment, restore: block and four bytes, into the transfer
//                      buffer
//     B0 block         transfer: the buffer into a block
//     50 00            halt
// A card that refuses something is halted and says nothing more until it is activated again.
#pragma once

#include "vreader/cards/card.h"

#include <array>
#include <optional>

namespace vreader
{

constexpr unsigned kClassicBlockSize = 16;
constexpr unsigned kClassicKeySize = 6;
constexpr unsigned kClassicAccessAt = 6; // in a trailer: three bytes of access bits
constexpr unsigned kClassicGeneralAt = 9;
constexpr unsigned kClassicKeyBAt = 10;

using ClassicBlock = std::array<uint8_t, kClassicBlockSize>;

// A value block: the value, least significant byte first, inverted, and once more; then an address
// byte, inverted, and both once more. The address is the host's: it says where a backup lies.
struct ClassicValue
{
    int32_t value = 0;
    uint8_t address = 0;
};

ClassicBlock ValueBlock(const ClassicValue &value);
std::optional<ClassicValue> ValueOf(const ClassicBlock &block); // nothing when the copies disagree

unsigned ClassicSectorOf(unsigned block);
unsigned FirstBlockOfSector(unsigned sector);
unsigned TrailerOfSector(unsigned sector);

struct ClassicCard
{
    std::vector<ClassicBlock> blocks; // 64, or 256
    bool active = false;
    std::optional<unsigned> sector; // the authenticated one
    bool withKeyB = false;
    std::optional<ClassicValue> buffer; // the transfer buffer
    std::string remark;                 // why the last command was refused
};

void ActivateClassic(ClassicCard *card, bool active);
Bytes AnswerOfClassic(ClassicCard *card, const Bytes &command);

} // namespace vreader
