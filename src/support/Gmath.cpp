// Check values of the reader links, and XOR of two buffers.
#include <array>
#include <utility>

#include "vantor/support.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr unsigned kPolynomial = 0x1021; // x^16 + x^12 + x^5 + 1, CRC-16/XMODEM
constexpr size_t kBlock = 16;            // bytes that GCalCRC16 takes at one step

using CrcTable = std::array<uint16_t, 256>;

constexpr uint16_t CrcOfByte(unsigned byte)
{
    unsigned crc = byte << 8;
    for (int bit = 0; bit < 8; bit++)
        crc = (crc & 0x8000) != 0 ? (crc << 1) ^ kPolynomial : crc << 1;
    return static_cast<uint16_t>(crc);
}

// Row r holds the CRC of each byte value with r zero bytes behind it. CRC is linear, so the CRC of
// a block is the XOR of one entry a byte, and the entries do not wait for each other.
constexpr std::array<CrcTable, kBlock> MakeCrcTables()
{
    std::array<CrcTable, kBlock> rows{};
    for (unsigned byte = 0; byte < 256; byte++)
        rows[0][byte] = CrcOfByte(byte);
    for (size_t row = 1; row < kBlock; row++)
        for (unsigned byte = 0; byte < 256; byte++)
        {
            const unsigned before = rows[row - 1][byte];
            rows[row][byte] = static_cast<uint16_t>((before << 8) ^ rows[0][before >> 8]);
        }
    return rows;
}

constexpr std::array<CrcTable, kBlock> kCrcTables = MakeCrcTables();

// What the bytes of a block behind its first two add to the CRC: they never meet the CRC so far.
template <size_t... Place>
inline unsigned CrcOfRest(const unsigned char *block, std::index_sequence<Place...>)
{
    return (unsigned{kCrcTables[kBlock - 3 - Place][block[2 + Place]]} ^ ...);
}

inline unsigned CrcOfRest(const unsigned char *block)
{
    return CrcOfRest(block, std::make_index_sequence<kBlock - 2>());
}

// The CRC so far meets the first two of `length` (2 to kBlock) bytes; `rest` stands for the others.
inline unsigned CrcOfBlock(unsigned crc, const unsigned char *block, size_t length, unsigned rest)
{
    return kCrcTables[length - 1][block[0] ^ (crc >> 8)] ^
           kCrcTables[length - 2][block[1] ^ (crc & 0xFF)] ^ rest;
}

} // namespace

int GXor(const unsigned char *first, const unsigned char *second, unsigned char *out, int length)
{
    if (first == nullptr || second == nullptr || out == nullptr || length <= 0)
        return kBadArgument;
    for (int i = 0; i < length; i++)
        out[i] = first[i] ^ second[i];
    return 0;
}

unsigned char GCalXor(const unsigned char *bytes, uint64_t length)
{
    if (bytes == nullptr || length == 0)
        return static_cast<unsigned char>(kBadArgument); // 0xEA: deliberate, a byte can say no more
    unsigned char check = bytes[0];
    for (uint64_t i = 1; i < length; i++)
        check ^= bytes[i];
    return check;
}

uint64_t GCalSum(const unsigned char *bytes, uint64_t length)
{
    if (bytes == nullptr || length == 0)
        return static_cast<uint64_t>(kBadArgument);
    uint64_t sum = bytes[0];
    for (uint64_t i = 1; i < length; i++)
        sum += bytes[i];
    return sum;
}

// The augmented form: message bits enter at the bottom of the register, so a message needs two zero
// bytes behind it before the register holds its CRC.
uint16_t UpdateCRC16(uint32_t crc, unsigned char byte)
{
    for (int bit = 7; bit >= 0; bit--)
    {
        const bool fallsOut = (crc & 0x8000) != 0;
        crc = (crc << 1) | ((byte >> bit) & 1U);
        if (fallsOut)
            crc ^= kPolynomial;
    }
    return static_cast<uint16_t>(crc);
}

// Equal to UpdateCRC16 over every byte and two zero bytes, from 0. The rest of the next block is
// taken up before the CRC of this one is known, so that only two look-ups a block wait.
uint16_t GCalCRC16(const unsigned char *bytes, int length)
{
    if (bytes == nullptr || length <= 0)
        return 0;
    unsigned crc = 0;
    size_t left = static_cast<size_t>(length);
    if (left >= kBlock)
    {
        unsigned rest = CrcOfRest(bytes);
        for (; left >= 2 * kBlock; left -= kBlock, bytes += kBlock)
        {
            const unsigned next = CrcOfRest(bytes + kBlock);
            crc = CrcOfBlock(crc, bytes, kBlock, rest);
            rest = next;
        }
        crc = CrcOfBlock(crc, bytes, kBlock, rest);
        left -= kBlock;
        bytes += kBlock;
    }
    if (left == 1)
        return static_cast<uint16_t>((crc << 8) ^ kCrcTables[0][bytes[0] ^ (crc >> 8)]);
    if (left == 0)
        return static_cast<uint16_t>(crc);
    unsigned rest = 0;
    for (size_t place = 2; place < left; place++)
        rest ^= kCrcTables[left - 1 - place][bytes[place]];
    return static_cast<uint16_t>(CrcOfBlock(crc, bytes, left, rest));
}
