#include "vreader/cards/classic_access.h"

namespace vreader
{

namespace
{

// In the order of C1 C2 C3 as a number. Read, write, increment, decrement.
constexpr DataRights kDataRights[] = {
    {kEitherKey, kEitherKey, kEitherKey, kEitherKey}, // 000, as delivered
    {kEitherKey, kNobody, kNobody, kEitherKey},       // 001, value block that is only used up
    {kEitherKey, kNobody, kNobody, kNobody},          // 010
    {kKeyB, kKeyB, kNobody, kNobody},                 // 011
    {kEitherKey, kKeyB, kNobody, kNobody},            // 100
    {kKeyB, kNobody, kNobody, kNobody},               // 101
    {kEitherKey, kKeyB, kKeyB, kEitherKey},           // 110, value block
    {kNobody, kNobody, kNobody, kNobody},             // 111
};

// Write key A, read and write access bits, read and write key B.
constexpr TrailerRights kTrailerRights[] = {
    {kKeyA, kKeyA, kNobody, kKeyA, kKeyA},            // 000
    {kKeyA, kKeyA, kKeyA, kKeyA, kKeyA},              // 001, as delivered
    {kNobody, kKeyA, kNobody, kKeyA, kNobody},        // 010
    {kKeyB, kEitherKey, kKeyB, kNobody, kKeyB},       // 011
    {kKeyB, kEitherKey, kNobody, kNobody, kKeyB},     // 100
    {kNobody, kEitherKey, kKeyB, kNobody, kNobody},   // 101
    {kNobody, kEitherKey, kNobody, kNobody, kNobody}, // 110
    {kNobody, kEitherKey, kNobody, kNobody, kNobody}, // 111
};

uint8_t Inverted(uint8_t nibble)
{
    return static_cast<uint8_t>(~nibble & 0x0F);
}

} // namespace

std::optional<SectorAccess> DecodeAccess(const uint8_t *threeBytes)
{
    const auto c1 = static_cast<uint8_t>(threeBytes[1] >> 4);
    const auto c2 = static_cast<uint8_t>(threeBytes[2] & 0x0F);
    const auto c3 = static_cast<uint8_t>(threeBytes[2] >> 4);
    if ((threeBytes[0] & 0x0F) != Inverted(c1) || threeBytes[0] >> 4 != Inverted(c2) ||
        (threeBytes[1] & 0x0F) != Inverted(c3))
        return std::nullopt;
    SectorAccess access{};
    for (unsigned group = 0; group < access.size(); ++group)
        access[group] = static_cast<uint8_t>((c1 >> group & 1) << 2 | (c2 >> group & 1) << 1 |
                                             (c3 >> group & 1));
    return access;
}

std::array<uint8_t, 3> EncodeAccess(const SectorAccess &access)
{
    uint8_t c1 = 0;
    uint8_t c2 = 0;
    uint8_t c3 = 0;
    for (unsigned group = 0; group < access.size(); ++group)
    {
        c1 = static_cast<uint8_t>(c1 | (access[group] >> 2 & 1) << group);
        c2 = static_cast<uint8_t>(c2 | (access[group] >> 1 & 1) << group);
        c3 = static_cast<uint8_t>(c3 | (access[group] & 1) << group);
    }
    return {static_cast<uint8_t>(Inverted(c2) << 4 | Inverted(c1)),
            static_cast<uint8_t>(c1 << 4 | Inverted(c3)), static_cast<uint8_t>(c3 << 4 | c2)};
}

const DataRights &RightsOfData(uint8_t condition)
{
    return kDataRights[condition & 7];
}

const TrailerRights &RightsOfTrailer(uint8_t condition)
{
    return kTrailerRights[condition & 7];
}

} // namespace vreader
