// Check values: XOR, sum, CRC-16.
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "vantor/support.h"

namespace
{

using Bytes = std::vector<unsigned char>;

Bytes Counting(int count)
{
    Bytes bytes;
    for (int i = 0; i < count; i++)
        bytes.push_back(static_cast<unsigned char>(i));
    return bytes;
}

Bytes Ascii(const std::string &text)
{
    return Bytes(text.begin(), text.end());
}

// Bit by bit over the whole message, as the definition of CRC-16/XMODEM has it.
unsigned BitwiseCrc(const Bytes &bytes)
{
    unsigned crc = 0;
    for (const unsigned char byte : bytes)
        for (unsigned mask = 0x80; mask != 0; mask >>= 1)
        {
            const bool bit = ((byte & mask) != 0) != ((crc & 0x8000) != 0);
            crc = (crc << 1) & 0xFFFF;
            if (bit)
                crc ^= 0x1021;
        }
    return crc;
}

unsigned AugmentedCrc(const Bytes &bytes)
{
    uint16_t crc = 0;
    for (const unsigned char byte : bytes)
        crc = UpdateCRC16(crc, byte);
    crc = UpdateCRC16(crc, 0);
    return UpdateCRC16(crc, 0);
}

} // namespace

TEST(GCalXor, IsTheXorOfAllBytes)
{
    const unsigned char bytes[] = {0x12, 0x34, 0x56, 0xFF};
    EXPECT_EQ(0x12, GCalXor(bytes, 1));
    EXPECT_EQ(0x70, GCalXor(bytes, 3));
    EXPECT_EQ(0x8F, GCalXor(bytes, 4));
    EXPECT_EQ(0x00, GCalXor(Counting(256).data(), 256));
}

TEST(GCalXor, NothingGivesEA)
{
    const unsigned char byte = 0x12;
    EXPECT_EQ(0xEA, GCalXor(nullptr, 4));
    EXPECT_EQ(0xEA, GCalXor(&byte, 0));
}

TEST(GCalSum, IsNotTruncated)
{
    const Bytes bytes(20000000, 0xFF);
    EXPECT_EQ(5100000000U, GCalSum(bytes.data(), bytes.size()));
    EXPECT_EQ(255U, GCalSum(bytes.data(), 1));
}

TEST(GCalSum, NothingGivesMinus22)
{
    const unsigned char byte = 0x12;
    EXPECT_EQ(0xFFFFFFFFFFFFFFEAU, GCalSum(nullptr, 4));
    EXPECT_EQ(0xFFFFFFFFFFFFFFEAU, GCalSum(&byte, 0));
}

TEST(UpdateCRC16, ShiftsTheByteIntoTheBottom)
{
    EXPECT_EQ(0x0041, UpdateCRC16(0, 0x41));
    EXPECT_EQ(0x4142, UpdateCRC16(0x41, 0x42));
    EXPECT_EQ(0x1021, UpdateCRC16(0x0100, 0x00)); // the one bit falls out with the eighth shift
    EXPECT_EQ(0x1020, UpdateCRC16(0x0100, 0x01));
    EXPECT_EQ(0x1231, UpdateCRC16(0x1000, 0x00)); // and with the fourth
}

TEST(UpdateCRC16, OnlySixteenBitsCount)
{
    for (const unsigned char byte : Bytes{0x00, 0x5A, 0xFF})
    {
        EXPECT_EQ(UpdateCRC16(0x1234, byte), UpdateCRC16(0xFFFF1234, byte));
        EXPECT_EQ(UpdateCRC16(0x8000, byte), UpdateCRC16(0x00018000, byte));
    }
}

// The check value of the CRC catalogue for CRC-16/XMODEM; the others computed bit by bit.
TEST(GCalCRC16, KnownValues)
{
    const struct
    {
        Bytes bytes;
        unsigned crc;
    } rows[] = {
        {Ascii("123456789"), 0x31C3},
        {{}, 0x0000},
        {{0x00}, 0x0000},
        {{0x01}, 0x1021},
        {{0x41}, 0x58E5},
        {{0xFF, 0xFF, 0xFF, 0xFF}, 0x99CF},
        {Counting(256), 0x7E55},
        {Ascii("The quick brown fox jumps over the lazy dog"), 0xF0C8},
    };
    for (const auto &row : rows)
    {
        EXPECT_EQ(row.crc, GCalCRC16(row.bytes.data(), static_cast<int>(row.bytes.size())));
        EXPECT_EQ(row.crc, AugmentedCrc(row.bytes));
    }
}

TEST(GCalCRC16, EqualsTheDefinitionForEveryLength)
{
    std::mt19937 random(2024);
    for (int length = 0; length <= 300; length++)
        for (int round = 0; round < 4; round++)
        {
            Bytes bytes;
            for (int i = 0; i < length; i++)
                bytes.push_back(static_cast<unsigned char>(random()));
            const unsigned crc = BitwiseCrc(bytes);
            ASSERT_EQ(crc, GCalCRC16(length == 0 ? Counting(1).data() : bytes.data(), length));
            ASSERT_EQ(crc, AugmentedCrc(bytes)) << length;
        }
}

TEST(GCalCRC16, NothingGivesZero)
{
    const unsigned char byte = 0x12;
    EXPECT_EQ(0, GCalCRC16(nullptr, 4));
    EXPECT_EQ(0, GCalCRC16(&byte, 0));
    EXPECT_EQ(0, GCalCRC16(&byte, -1));
}
