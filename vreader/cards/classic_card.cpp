#include "vreader/cards/classic_card.h"

#include "vreader/cards/classic_access.h"
#include "vreader/cards/memory_card.h"

#include <algorithm>
#include <limits>

namespace vreader
{

namespace
{

constexpr uint8_t kAuthenticateA = 0x60;
constexpr uint8_t kAuthenticateB = 0x61;
constexpr uint8_t kRead = 0x30;
constexpr uint8_t kWrite = 0xA0;
constexpr uint8_t kDecrement = 0xC0;
constexpr uint8_t kIncrement = 0xC1;
constexpr uint8_t kRestore = 0xC2;
constexpr uint8_t kTransfer = 0xB0;
constexpr uint8_t kHalt = 0x50;

constexpr unsigned kSmallSectors = 32;
constexpr unsigned kSmallSectorBlocks = 4;
constexpr unsigned kLargeSectorBlocks = 16;
constexpr unsigned kBlocksOfSmallSectors = kSmallSectors * kSmallSectorBlocks;

std::string Named(const char *what, unsigned number)
{
    return std::string(what) + " " + std::to_string(number);
}

Bytes FallSilent(ClassicCard *card, const std::string &why)
{
    ActivateClassic(card, false);
    card->remark = why;
    return {};
}

Bytes Refuse(ClassicCard *card, const std::string &why)
{
    FallSilent(card, why);
    return {kCardRefuses};
}

bool IsTrailer(unsigned block)
{
    return block == TrailerOfSector(ClassicSectorOf(block));
}

// The group of a block within its sector, whose access bits hold for it.
unsigned GroupOf(unsigned block)
{
    const unsigned sector = ClassicSectorOf(block);
    const unsigned place = block - FirstBlockOfSector(sector);
    return sector < kSmallSectors ? place : place / 5;
}

std::optional<SectorAccess> AccessOf(const ClassicCard &card, unsigned sector)
{
    return DecodeAccess(&card.blocks[TrailerOfSector(sector)][kClassicAccessAt]);
}

// The key of the session as rights count it. A key B that can be read opens nothing.
uint8_t KeyInUse(const ClassicCard &card, const SectorAccess &access)
{
    if (!card.withKeyB)
        return kKeyA;
    return RightsOfTrailer(access[kTrailerGroup]).readKeyB == kNobody ? kKeyB : kNobody;
}

// Why the session does not reach this block; empty when it does.
std::string Unreached(const ClassicCard &card, unsigned block)
{
    if (block >= card.blocks.size())
        return "the card has no " + Named("block", block);
    const unsigned sector = ClassicSectorOf(block);
    if (card.sector != sector)
        return Named("sector", sector) + " is not authenticated";
    if (!AccessOf(card, sector))
        return Named("sector", sector) + " is locked for ever: its access bits are invalid";
    return "";
}

// Why a data block does not allow this; empty when it does.
std::string Objection(const ClassicCard &card, unsigned block, uint8_t DataRights::*right)
{
    const std::string unreached = Unreached(card, block);
    if (!unreached.empty())
        return unreached;
    if (IsTrailer(block))
        return "a trailer is no data block";
    const SectorAccess access = *AccessOf(card, ClassicSectorOf(block));
    const uint8_t key = KeyInUse(card, access);
    if (key == kNobody)
        return "key B can be read in this sector and opens nothing";
    if ((RightsOfData(access[GroupOf(block)]).*right & key) == 0)
        return "the access bits do not allow it with key " + std::string(key == kKeyA ? "A" : "B");
    return "";
}

Bytes Authenticate(ClassicCard *card, const Bytes &command)
{
    const unsigned block = command[1];
    card->sector.reset();
    card->buffer.reset();
    if (command.size() != 2 + kClassicKeySize)
        return Refuse(card, "a key has six bytes");
    if (block >= card->blocks.size())
        return FallSilent(card, "the card has no " + Named("block", block));
    const unsigned sector = ClassicSectorOf(block);
    if (!AccessOf(*card, sector))
        return FallSilent(card, Named("sector", sector) +
                                    " is locked for ever: its access bits are invalid");
    const bool withKeyB = command[0] == kAuthenticateB;
    const uint8_t *key = &card->blocks[TrailerOfSector(sector)][withKeyB ? kClassicKeyBAt : 0];
    if (!std::equal(key, key + kClassicKeySize, command.begin() + 2))
        return FallSilent(card, std::string("wrong key ") + (withKeyB ? "B" : "A") + " for " +
                                    Named("sector", sector));
    card->sector = sector;
    card->withKeyB = withKeyB;
    return {kCardDone};
}

// Key A reads as zero bytes, and so does a key B that is not for reading.
Bytes ReadTrailer(ClassicCard *card, unsigned block)
{
    const std::string unreached = Unreached(*card, block);
    if (!unreached.empty())
        return Refuse(card, unreached);
    const SectorAccess access = *AccessOf(*card, ClassicSectorOf(block));
    const TrailerRights &rights = RightsOfTrailer(access[kTrailerGroup]);
    const uint8_t key = KeyInUse(*card, access);
    if ((rights.readAccess & key) == 0)
        return Refuse(card, "the access bits do not allow reading the trailer with this key");
    const ClassicBlock &trailer = card->blocks[block];
    Bytes shown(kClassicBlockSize, 0);
    std::copy(trailer.begin() + kClassicAccessAt, trailer.begin() + kClassicKeyBAt,
              shown.begin() + kClassicAccessAt);
    if ((rights.readKeyB & key) != 0)
        std::copy(trailer.begin() + kClassicKeyBAt, trailer.end(), shown.begin() + kClassicKeyBAt);
    return shown;
}

// The access bits decide for each of the three parts; the others stay as they are.
Bytes WriteTrailer(ClassicCard *card, unsigned block, const Bytes &data)
{
    const SectorAccess access = *AccessOf(*card, ClassicSectorOf(block));
    const TrailerRights rights = RightsOfTrailer(access[kTrailerGroup]);
    const struct
    {
        uint8_t keys;
        unsigned begin;
        unsigned end;
    } parts[] = {{rights.writeKeyA, 0, kClassicAccessAt},
                 {rights.writeAccess, kClassicAccessAt, kClassicKeyBAt},
                 {rights.writeKeyB, kClassicKeyBAt, kClassicBlockSize}};
    const uint8_t key = KeyInUse(*card, access);
    unsigned written = 0;
    for (const auto &part : parts)
    {
        if ((part.keys & key) == 0)
            continue;
        std::copy(data.begin() + part.begin, data.begin() + part.end,
                  card->blocks[block].begin() + part.begin);
        ++written;
    }
    if (written == 0)
        return Refuse(card, "the access bits do not allow writing the trailer with this key");
    if (written < std::size(parts))
        card->remark = "only what the access bits allow was written";
    return {kCardDone};
}

Bytes Read(ClassicCard *card, const Bytes &command)
{
    const unsigned block = command[1];
    if (block < card->blocks.size() && IsTrailer(block))
        return ReadTrailer(card, block);
    const std::string objection = Objection(*card, block, &DataRights::read);
    if (!objection.empty())
        return Refuse(card, objection);
    return Bytes(card->blocks[block].begin(), card->blocks[block].end());
}

Bytes Write(ClassicCard *card, const Bytes &command)
{
    const unsigned block = command[1];
    const Bytes data(command.begin() + 2, command.end());
    if (data.size() != kClassicBlockSize)
        return Refuse(card, "a block has 16 bytes");
    const std::string unreached = Unreached(*card, block);
    if (!unreached.empty())
        return Refuse(card, unreached);
    if (block == 0)
        return Refuse(card, "the manufacturer block cannot be written");
    if (IsTrailer(block))
        return WriteTrailer(card, block, data);
    const std::string objection = Objection(*card, block, &DataRights::write);
    if (!objection.empty())
        return Refuse(card, objection);
    std::copy(data.begin(), data.end(), card->blocks[block].begin());
    return {kCardDone};
}

int64_t OperandOf(const Bytes &command)
{
    uint32_t operand = 0;
    for (unsigned i = 0; i < 4; ++i)
        operand |= static_cast<uint32_t>(command[2 + i]) << (8 * i);
    return static_cast<int32_t>(operand);
}

// Decrement, increment and restore: a value block into the transfer buffer, changed on the way.
Bytes Load(ClassicCard *card, const Bytes &command)
{
    const unsigned block = command[1];
    if (command.size() != 6)
        return Refuse(card, "an amount has four bytes");
    const bool adds = command[0] == kIncrement;
    const std::string objection =
        Objection(*card, block, adds ? &DataRights::increment : &DataRights::decrement);
    if (!objection.empty())
        return Refuse(card, objection);
    const std::optional<ClassicValue> value = ValueOf(card->blocks[block]);
    if (!value)
        return Refuse(card, Named("block", block) + " holds no value");
    int64_t amount = command[0] == kRestore ? 0 : OperandOf(command);
    if (amount < 0)
        return Refuse(card, "an amount cannot be negative");
    if (!adds)
        amount = -amount;
    const int64_t sum = value->value + amount;
    if (sum < std::numeric_limits<int32_t>::min() || sum > std::numeric_limits<int32_t>::max())
        return Refuse(card, "the value would leave the range of 32 bits");
    card->buffer = ClassicValue{static_cast<int32_t>(sum), value->address};
    return {kCardDone};
}

Bytes Transfer(ClassicCard *card, const Bytes &command)
{
    const unsigned block = command[1];
    std::string objection = Objection(*card, block, &DataRights::decrement);
    if (objection.empty() && block == 0)
        objection = "the manufacturer block cannot be written";
    if (objection.empty() && !card->buffer)
        objection = "nothing to transfer";
    if (!objection.empty())
        return Refuse(card, objection);
    card->blocks[block] = ValueBlock(*card->buffer);
    return {kCardDone};
}

struct Action
{
    uint8_t command;
    Bytes (*answer)(ClassicCard *card, const Bytes &command);
};

constexpr Action kActions[] = {
    {kAuthenticateA, Authenticate},
    {kAuthenticateB, Authenticate},
    {kRead, Read},
    {kWrite, Write},
    {kDecrement, Load},
    {kIncrement, Load},
    {kRestore, Load},
    {kTransfer, Transfer},
    {kHalt, [](ClassicCard *card, const Bytes &) { return FallSilent(card, "halted"); }},
};

} // namespace

ClassicBlock ValueBlock(const ClassicValue &value)
{
    ClassicBlock block{};
    for (unsigned i = 0; i < 4; ++i)
    {
        const auto byte = static_cast<uint8_t>(static_cast<uint32_t>(value.value) >> (8 * i));
        block[i] = byte;
        block[4 + i] = static_cast<uint8_t>(~byte);
        block[8 + i] = byte;
        block[12 + i] = i % 2 == 0 ? value.address : static_cast<uint8_t>(~value.address);
    }
    return block;
}

std::optional<ClassicValue> ValueOf(const ClassicBlock &block)
{
    uint32_t number = 0;
    for (unsigned i = 0; i < 4; ++i)
        number |= static_cast<uint32_t>(block[i]) << (8 * i);
    const ClassicValue value{static_cast<int32_t>(number), block[12]};
    if (ValueBlock(value) != block)
        return std::nullopt;
    return value;
}

unsigned ClassicSectorOf(unsigned block)
{
    return block < kBlocksOfSmallSectors
               ? block / kSmallSectorBlocks
               : kSmallSectors + (block - kBlocksOfSmallSectors) / kLargeSectorBlocks;
}

unsigned FirstBlockOfSector(unsigned sector)
{
    return sector < kSmallSectors
               ? sector * kSmallSectorBlocks
               : kBlocksOfSmallSectors + (sector - kSmallSectors) * kLargeSectorBlocks;
}

unsigned TrailerOfSector(unsigned sector)
{
    return FirstBlockOfSector(sector + 1) - 1;
}

void ActivateClassic(ClassicCard *card, bool active)
{
    card->active = active;
    card->sector.reset();
    card->buffer.reset();
    card->remark.clear();
}

Bytes AnswerOfClassic(ClassicCard *card, const Bytes &command)
{
    if (!card->active)
        return FallSilent(card, "the card is halted until it is powered on again");
    card->remark.clear();
    if (command.size() < 2)
        return Refuse(card, "unknown card command");
    for (const Action &action : kActions)
        if (action.command == command[0])
            return action.answer(card, command);
    return Refuse(card, "unknown card command");
}

} // namespace vreader
