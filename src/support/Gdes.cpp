// DES and triple DES on single blocks (FIPS 46-3). The standard's tables stand below as they are
// printed; the tables that the rounds use are made of them when this file is compiled.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <endian.h>

#include "vantor/ciphers.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr int kBlockSize = 8; // also the size of a DES key

// ---- The tables of the standard: bits count from 1, the first is the most significant ----

constexpr int kRounds = 16;

// By how many bits the key halves stand turned to the left in each round.
constexpr int kTurns[kRounds] = {1, 2, 4, 6, 8, 10, 12, 14, 15, 17, 19, 21, 23, 25, 27, 28};

// Permuted choice 2: which of the 56 bits of the turned halves make a round's key.
constexpr int kKeyChoice[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, // boxes 1 and 2
    23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,  // 3 and 4
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, // 5 and 6
    44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32, // 7 and 8
};

constexpr int kBoxes[8][64] = {
    {
        14, 4,  13, 1, 2,  15, 11, 8,  3,  10, 6,  12, 5,  9,  0, 7,  // row 0
        0,  15, 7,  4, 14, 2,  13, 1,  10, 6,  12, 11, 9,  5,  3, 8,  // row 1
        4,  1,  14, 8, 13, 6,  2,  11, 15, 12, 9,  7,  3,  10, 5, 0,  // row 2
        15, 12, 8,  2, 4,  9,  1,  7,  5,  11, 3,  14, 10, 0,  6, 13, // row 3
    },
    {
        15, 1,  8,  14, 6,  11, 3,  4,  9,  7, 2,  13, 12, 0, 5,  10, //
        3,  13, 4,  7,  15, 2,  8,  14, 12, 0, 1,  10, 6,  9, 11, 5,  //
        0,  14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,  9,  3, 2,  15, //
        13, 8,  10, 1,  3,  15, 4,  2,  11, 6, 7,  12, 0,  5, 14, 9,  //
    },
    {
        10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7,  11, 4,  2,  8,  //
        13, 7,  0,  9,  3, 4,  6,  10, 2,  8,  5,  14, 12, 11, 15, 1,  //
        13, 6,  4,  9,  8, 15, 3,  0,  11, 1,  2,  12, 5,  10, 14, 7,  //
        1,  10, 13, 0,  6, 9,  8,  7,  4,  15, 14, 3,  11, 5,  2,  12, //
    },
    {
        7,  13, 14, 3, 0,  6,  9,  10, 1,  2, 8, 5,  11, 12, 4,  15, //
        13, 8,  11, 5, 6,  15, 0,  3,  4,  7, 2, 12, 1,  10, 14, 9,  //
        10, 6,  9,  0, 12, 11, 7,  13, 15, 1, 3, 14, 5,  2,  8,  4,  //
        3,  15, 0,  6, 10, 1,  13, 8,  9,  4, 5, 11, 12, 7,  2,  14, //
    },
    {
        2,  12, 4,  1,  7,  10, 11, 6,  8,  5,  3,  15, 13, 0, 14, 9,  //
        14, 11, 2,  12, 4,  7,  13, 1,  5,  0,  15, 10, 3,  9, 8,  6,  //
        4,  2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,  6,  3, 0,  14, //
        11, 8,  12, 7,  1,  14, 2,  13, 6,  15, 0,  9,  10, 4, 5,  3,  //
    },
    {
        12, 1,  10, 15, 9, 2,  6,  8,  0,  13, 3,  4,  14, 7,  5,  11, //
        10, 15, 4,  2,  7, 12, 9,  5,  6,  1,  13, 14, 0,  11, 3,  8,  //
        9,  14, 15, 5,  2, 8,  12, 3,  7,  0,  4,  10, 1,  13, 11, 6,  //
        4,  3,  2,  12, 9, 5,  15, 10, 11, 14, 1,  7,  6,  0,  8,  13, //
    },
    {
        4,  11, 2,  14, 15, 0, 8,  13, 3,  12, 9, 7,  5,  10, 6, 1,  //
        13, 0,  11, 7,  4,  9, 1,  10, 14, 3,  5, 12, 2,  15, 8, 6,  //
        1,  4,  11, 13, 12, 3, 7,  14, 10, 15, 6, 8,  0,  5,  9, 2,  //
        6,  11, 13, 8,  1,  4, 10, 7,  9,  5,  0, 15, 14, 2,  3, 12, //
    },
    {
        13, 2,  8,  4, 6,  15, 11, 1,  10, 9,  3,  14, 5,  0,  12, 7,  //
        1,  15, 13, 8, 10, 3,  7,  4,  12, 5,  6,  11, 0,  14, 9,  2,  //
        7,  11, 4,  1, 9,  12, 14, 2,  0,  6,  10, 13, 15, 3,  5,  8,  //
        2,  1,  14, 7, 4,  10, 8,  13, 15, 12, 9,  0,  3,  5,  6,  11, //
    },
};

// Permutation P of what the boxes give.
constexpr int kPermutation[32] = {
    16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10, //
    2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25, //
};

// ---- What the rounds use ----
//
// The halves of the block stay turned right by one bit. Then the six bits of box 1 are the topmost
// of the right half, those of box 2 follow four bits below, and so on (the expansion E). Boxes 1,
// 3, 5, 7 read a half at the top of its bytes, boxes 2, 4, 6, 8 the half turned left by four. A
// round's key has the same shape: the odd boxes' bits in its low word, the even ones' in its high
// word.

constexpr uint32_t TurnLeft(uint32_t word, int bits)
{
    return word << bits | word >> (32 - bits);
}

constexpr int FieldShift(int box)
{
    return 26 - 8 * (box / 2);
}

using BoxTable = std::array<uint32_t, 64>;

// What a box adds to the other half: its four bits where P puts them, turned right by one.
constexpr std::array<BoxTable, 8> MakeBoxTables()
{
    std::array<BoxTable, 8> tables{};
    for (int box = 0; box < 8; box++)
        for (unsigned six = 0; six < 64; six++)
        {
            const unsigned row = (six >> 4 & 2) | (six & 1);
            const unsigned column = six >> 1 & 15;
            const auto four = static_cast<unsigned>(kBoxes[box][16 * row + column]);
            const uint32_t before = four << (28 - 4 * box);
            uint32_t after = 0;
            for (int bit = 0; bit < 32; bit++)
                after |= (before >> (32 - kPermutation[bit]) & 1) << (31 - bit);
            tables[static_cast<size_t>(box)][six] = TurnLeft(after, 31);
        }
    return tables;
}

constexpr std::array<BoxTable, 8> kBoxTables = MakeBoxTables();

using KeyTable = std::array<uint64_t, 128>;

// What seven bits of the turned key halves add to a round's key. Tables 0 to 3 are those of the
// left half, from its top, 4 to 7 those of the right half.
constexpr std::array<KeyTable, 8> MakeKeyTables()
{
    std::array<KeyTable, 8> tables{};
    for (int place = 0; place < 48; place++)
    {
        const int box = place / 6;
        const int shift = FieldShift(box) + 5 - place % 6 + (box % 2 == 1 ? 32 : 0);
        const int from = kKeyChoice[place] - 1;
        for (unsigned seven = 0; seven < 128; seven++)
            tables[static_cast<size_t>(from / 7)][seven] |= uint64_t{seven >> (6 - from % 7) & 1}
                                                            << shift;
    }
    return tables;
}

constexpr std::array<KeyTable, 8> kKeyTables = MakeKeyTables();

struct Block
{
    uint32_t left;
    uint32_t right;
};

// The 28 bits of each half of the key, twice in a row: turned, they are 28 bits from further down.
struct Key
{
    uint64_t left;
    uint64_t right;
};

// The first byte is the least significant.
inline uint64_t Load(const unsigned char *bytes)
{
    uint64_t word;
    memcpy(&word, bytes, sizeof word);
    return le64toh(word);
}

inline void Store(uint64_t word, unsigned char *bytes)
{
    word = htole64(word);
    memcpy(bytes, &word, sizeof word);
}

// Bit r of byte c goes to bit c of byte r. The initial permutation and permuted choice 1 are this,
// and then an order of the bytes.
inline uint64_t Transpose(uint64_t word)
{
    uint64_t swapped = (word ^ word >> 7) & 0x00AA00AA00AA00AA;
    word ^= swapped ^ swapped << 7;
    swapped = (word ^ word >> 14) & 0x0000CCCC0000CCCC;
    word ^= swapped ^ swapped << 14;
    swapped = (word ^ word >> 28) & 0x00000000F0F0F0F0;
    return word ^ swapped ^ swapped << 28;
}

inline uint32_t EvenBytes(uint64_t word)
{
    word &= 0x00FF00FF00FF00FF;
    word = (word | word >> 8) & 0x0000FFFF0000FFFF;
    return static_cast<uint32_t>(word | word >> 16);
}

inline uint64_t ToEvenBytes(uint64_t word)
{
    word = (word | word << 16) & 0x0000FFFF0000FFFF;
    return (word | word << 8) & 0x00FF00FF00FF00FF;
}

// The initial permutation: the left half has the second, fourth, sixth and eighth bits of all
// bytes, the right half the others.
inline Block Permuted(const unsigned char *bytes)
{
    const uint64_t word = Transpose(Load(bytes));
    return {TurnLeft(EvenBytes(word), 31), TurnLeft(EvenBytes(word >> 8), 31)};
}

inline void PermuteBack(const Block &block, unsigned char *bytes)
{
    const uint64_t word =
        ToEvenBytes(TurnLeft(block.left, 1)) | ToEvenBytes(TurnLeft(block.right, 1)) << 8;
    Store(Transpose(word), bytes);
}

// Permuted choice 1; the parity bits, byte 0 of the transposed key, fall away.
inline Key ReadKey(const unsigned char *bytes)
{
    const uint64_t word = Transpose(Load(bytes));
    const uint64_t left = word >> 36;
    const uint64_t right = (word >> 8 & 0xFF) << 20 | (word >> 16 & 0xFF) << 12 |
                           (word >> 24 & 0xFF) << 4 | (word >> 32 & 0x0F);
    return {left << 28 | left, right << 28 | right};
}

// Seven bits of a key half, counted from its top, as they stand in a round.
inline size_t KeyBits(uint64_t half, int turns, int group)
{
    return half >> (49 - turns - 7 * group) & 127;
}

inline uint64_t RoundKey(const Key &key, int turns)
{
    return kKeyTables[0][KeyBits(key.left, turns, 0)] | kKeyTables[1][KeyBits(key.left, turns, 1)] |
           kKeyTables[2][KeyBits(key.left, turns, 2)] | kKeyTables[3][KeyBits(key.left, turns, 3)] |
           kKeyTables[4][KeyBits(key.right, turns, 0)] |
           kKeyTables[5][KeyBits(key.right, turns, 1)] |
           kKeyTables[6][KeyBits(key.right, turns, 2)] |
           kKeyTables[7][KeyBits(key.right, turns, 3)];
}

inline uint32_t BoxOutput(size_t box, uint32_t word)
{
    return kBoxTables[box][word >> FieldShift(static_cast<int>(box)) & 63];
}

inline void Round(uint32_t *changed, uint32_t other, uint64_t roundKey)
{
    const uint32_t odd = other ^ static_cast<uint32_t>(roundKey);
    const uint32_t even = TurnLeft(other, 4) ^ static_cast<uint32_t>(roundKey >> 32);
    *changed ^= BoxOutput(0, odd) ^ BoxOutput(1, even) ^ BoxOutput(2, odd) ^ BoxOutput(3, even) ^
                BoxOutput(4, odd) ^ BoxOutput(5, even) ^ BoxOutput(6, odd) ^ BoxOutput(7, even);
}

enum Direction
{
    kEncrypt,
    kDecrypt
};

// The sixteen rounds between the permutations. Each key is made when its round needs it: a
// processor makes it beside the round before, which waits for its look-ups.
template <Direction direction>
Block Rounds(const Key &key, Block block)
{
#pragma GCC unroll 8
    for (int i = 0; i < kRounds; i += 2)
    {
        const int first = direction == kEncrypt ? i : kRounds - 1 - i;
        const int second = direction == kEncrypt ? i + 1 : kRounds - 2 - i;
        Round(&block.left, block.right, RoundKey(key, kTurns[first]));
        Round(&block.right, block.left, RoundKey(key, kTurns[second]));
    }
    return {block.right, block.left};
}

template <Direction direction>
void CryptBlock(const unsigned char *key, const unsigned char *in, unsigned char *out)
{
    Key halves = ReadKey(key);
    PermuteBack(Rounds<direction>(halves, Permuted(in)), out);
    explicit_bzero(&halves, sizeof halves);
}

// Encrypt, decrypt, encrypt; or the inverse of it with the keys from the last to the first.
template <Direction outer, Direction inner>
void CryptBlock3(const unsigned char *first, const unsigned char *second,
                 const unsigned char *third, const unsigned char *in, unsigned char *out)
{
    Key halves[] = {ReadKey(first), ReadKey(second), ReadKey(third)};
    Block block = Permuted(in);
    block = Rounds<outer>(halves[0], block);
    block = Rounds<inner>(halves[1], block);
    PermuteBack(Rounds<outer>(halves[2], block), out);
    explicit_bzero(halves, sizeof halves);
}

// A key of any length as three whole keys; how many of them count.
struct LongKey
{
    unsigned char bytes[3 * kBlockSize];
    int parts;
};

LongKey PadKey(const unsigned char *key, int length)
{
    LongKey padded{};
    const int used = std::clamp(length, 0, 3 * kBlockSize);
    if (used > 0) // a key of no bytes may be a null pointer
        memcpy(padded.bytes, key, static_cast<size_t>(used));
    padded.parts = used <= kBlockSize ? 1 : 3;
    if (used <= 2 * kBlockSize) // two parts: the first comes again
        memcpy(padded.bytes + 2 * kBlockSize, padded.bytes, kBlockSize);
    return padded;
}

bool IsTripleKey(int length)
{
    return length == 2 * kBlockSize || length == 3 * kBlockSize;
}

} // namespace

void DES(const unsigned char *key, const unsigned char *in, unsigned char *out)
{
    CryptBlock<kEncrypt>(key, in, out);
}

void _DES(const unsigned char *key, const unsigned char *in, unsigned char *out)
{
    CryptBlock<kDecrypt>(key, in, out);
}

void DES3(const unsigned char *key, int keyLength, const unsigned char *in, unsigned char *out)
{
    LongKey padded = PadKey(key, keyLength);
    if (padded.parts == 1)
        CryptBlock<kEncrypt>(padded.bytes, in, out);
    else
        CryptBlock3<kEncrypt, kDecrypt>(padded.bytes, padded.bytes + kBlockSize,
                                        padded.bytes + 2 * kBlockSize, in, out);
    explicit_bzero(&padded, sizeof padded);
}

void _DES3(const unsigned char *key, int keyLength, const unsigned char *in, unsigned char *out)
{
    LongKey padded = PadKey(key, keyLength);
    if (padded.parts == 1)
        CryptBlock<kDecrypt>(padded.bytes, in, out);
    else
        CryptBlock3<kDecrypt, kEncrypt>(padded.bytes + 2 * kBlockSize, padded.bytes + kBlockSize,
                                        padded.bytes, in, out);
    explicit_bzero(&padded, sizeof padded);
}

int GDesEncrypt(const unsigned char *data, const unsigned char *key, unsigned char *out)
{
    if (data == nullptr || key == nullptr || out == nullptr)
        return kBadArgument;
    DES(key, data, out);
    return 0;
}

int GDesDecrypt(const unsigned char *data, const unsigned char *key, unsigned char *out)
{
    if (data == nullptr || key == nullptr || out == nullptr)
        return kBadArgument;
    _DES(key, data, out);
    return 0;
}

int G3DesEncrypt(const unsigned char *data, const unsigned char *key, unsigned char *out,
                 int keyLength)
{
    if (data == nullptr || key == nullptr || out == nullptr || !IsTripleKey(keyLength))
        return kBadArgument;
    DES3(key, keyLength, data, out);
    return 0;
}

int G3DesDecrypt(const unsigned char *data, const unsigned char *key, unsigned char *out,
                 int keyLength)
{
    if (data == nullptr || key == nullptr || out == nullptr || !IsTripleKey(keyLength))
        return kBadArgument;
    _DES3(key, keyLength, data, out);
    return 0;
}
