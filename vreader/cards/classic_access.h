// The access bits of a Mifare Classic sector: who may do what with which of its blocks.
//
// Three bits C1 C2 C3 for each of four groups of blocks (of a small sector: one block each; of a
// large one: five, five, five and the trailer), stored twice in bytes 6 to 8 of the trailer, once
// inverted:
//     byte 6   ~C2 of groups 3..0, ~C1 of groups 3..0
//     byte 7    C1,                ~C3
//     byte 8    C3,                 C2
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace vreader
{

constexpr uint8_t kNobody = 0;
constexpr uint8_t kKeyA = 1;
constexpr uint8_t kKeyB = 2;
constexpr uint8_t kEitherKey = kKeyA | kKeyB;

constexpr unsigned kTrailerGroup = 3;

// C1 C2 C3 of each group as a number, C1 the highest bit.
using SectorAccess = std::array<uint8_t, 4>;

// Nothing when the two copies contradict each other: such a sector is locked for ever.
std::optional<SectorAccess> DecodeAccess(const uint8_t *threeBytes);
std::array<uint8_t, 3> EncodeAccess(const SectorAccess &access);

struct DataRights
{
    uint8_t read;
    uint8_t write;
    uint8_t increment;
    uint8_t decrement; // restore and transfer too
};

struct TrailerRights
{
    uint8_t writeKeyA; // key A is never read
    uint8_t readAccess;
    uint8_t writeAccess;
    uint8_t readKeyB; // where key B can be read it opens nothing
    uint8_t writeKeyB;
};

const DataRights &RightsOfData(uint8_t condition);
const TrailerRights &RightsOfTrailer(uint8_t condition);

} // namespace vreader
