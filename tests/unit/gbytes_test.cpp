#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "vantor/support.h"

namespace
{

using Bytes = std::vector<unsigned char>;

constexpr char kUntouched = '~';

// The text that GByte2Hex writes, with everything behind the count it returned still untouched.
std::string Hex(const Bytes &bytes, int capacity)
{
    std::string text(static_cast<size_t>(capacity) + 4, kUntouched);
    const int count =
        GByte2Hex(bytes.data(), static_cast<int>(bytes.size()), text.data(), capacity);
    EXPECT_GE(count, 0);
    EXPECT_EQ(std::string(text.size() - static_cast<size_t>(count), kUntouched),
              text.substr(static_cast<size_t>(count)));
    return text.substr(0, static_cast<size_t>(count));
}

Bytes FromHex(const std::string &text, int capacity)
{
    Bytes bytes(static_cast<size_t>(capacity) + 4, 0x7E);
    const int count = GHex2Byte(text.data(), static_cast<int>(text.size()), bytes.data(), capacity);
    EXPECT_GE(count, 0);
    for (size_t i = static_cast<size_t>(count); i < bytes.size(); i++)
        EXPECT_EQ(0x7E, bytes[i]);
    bytes.resize(static_cast<size_t>(count));
    return bytes;
}

} // namespace

TEST(GHex2Byte, OddCharacterAtTheEndIsIgnored)
{
    EXPECT_EQ(Bytes({0x1A}), FromHex("1A2", 16));
    EXPECT_EQ(Bytes(), FromHex("1", 16));
}

TEST(GHex2Byte, OtherCharactersCountAsZero)
{
    EXPECT_EQ(Bytes({0x00}), FromHex("zz", 16));
    // The neighbours of the digits and letters, and bytes with the top bit.
    EXPECT_EQ(Bytes({0x00, 0x00, 0x00, 0x00, 0x00}), FromHex("/:@G`g \xB1\xE1\x10", 16));
    EXPECT_EQ(Bytes({0x0F, 0xF0}), FromHex("xFfx", 16));
}

TEST(GHex2Byte, EveryCharacterHasItsValueInBothPlaces)
{
    const std::string digits = "0123456789abcdef";
    for (int character = 0; character < 256; character++)
    {
        int value = 0;
        if (character != 0 && strchr("0123456789", character) != nullptr)
            value = character - '0';
        else if (character >= 'a' && character <= 'f')
            value = character - 'a' + 10;
        else if (character >= 'A' && character <= 'F')
            value = character - 'A' + 10;
        for (const size_t pairs : {1U, 16U, 19U}) // alone, in a step, behind a step
        {
            std::string text;
            for (size_t i = 0; i < pairs; i++)
                text += {static_cast<char>(character), '5', 'A', static_cast<char>(character)};
            const Bytes bytes = FromHex(text, 100);
            for (size_t i = 0; i < pairs; i++)
            {
                ASSERT_EQ(value * 16 + 5, bytes[2 * i]) << character;
                ASSERT_EQ(0xA0 + value, bytes[2 * i + 1]) << character;
            }
        }
    }
}

TEST(GHex2Byte, CapacityLimitsTheBytes)
{
    EXPECT_EQ(Bytes({0x01, 0x02}), FromHex("010203", 2));
    EXPECT_EQ(Bytes(), FromHex("010203", 0));
    EXPECT_EQ(17U, FromHex(std::string(200, '1'), 17).size());
}

TEST(GHex2Byte, BadArgumentsAreRefused)
{
    unsigned char bytes[4];
    EXPECT_EQ(-22, GHex2Byte(nullptr, 2, bytes, 4));
    EXPECT_EQ(-22, GHex2Byte("12", 0, bytes, 4));
    EXPECT_EQ(-22, GHex2Byte("12", -2, bytes, 4));
    EXPECT_EQ(-22, GHex2Byte("12", 2, nullptr, 4));
    EXPECT_EQ(-22, GHex2Byte("12", 2, bytes, -1));
    EXPECT_EQ(-22, GHex2Byte("12", INT_MIN, bytes, 4));
}

TEST(GHex2Byte, WorksInPlace)
{
    std::string text;
    Bytes expected;
    for (int i = 0; i < 100; i++)
    {
        text += "0123456789ABCDEF"[i / 16];
        text += "0123456789ABCDEF"[i % 16];
        expected.push_back(static_cast<unsigned char>(i));
    }
    unsigned char *bytes = reinterpret_cast<unsigned char *>(text.data());
    ASSERT_EQ(100, GHex2Byte(text.data(), 200, bytes, 100));
    EXPECT_EQ(expected, Bytes(bytes, bytes + 100));
}

TEST(GByte2Hex, WritesUpperCaseHighNibbleFirst)
{
    EXPECT_EQ("1A2FC0", Hex({0x1A, 0x2F, 0xC0}, 6));
}

TEST(GByte2Hex, CapacityLimitsWholeBytes)
{
    EXPECT_EQ("0102", Hex({0x01, 0x02, 0x03}, 5));
    EXPECT_EQ("", Hex({0x01}, 1));
    EXPECT_EQ("010203", Hex({0x01, 0x02, 0x03}, 100));
}

TEST(GByte2Hex, EveryByteAndEveryLength)
{
    Bytes bytes;
    std::string expected;
    for (int length = 0; length <= 256; length++)
    {
        ASSERT_EQ(expected, length == 0 ? "" : Hex(bytes, 2 * length)) << length;
        char digits[3];
        snprintf(digits, sizeof(digits), "%02X", (length * 37 + 5) & 0xFF);
        expected += digits;
        bytes.push_back(static_cast<unsigned char>(length * 37 + 5));
    }
}

TEST(GByte2Hex, NoBytesGiveNoText)
{
    char text[4];
    const unsigned char byte = 0;
    EXPECT_EQ(0, GByte2Hex(&byte, 0, text, 4));
}

TEST(GByte2Hex, BadArgumentsAreRefused)
{
    char text[4];
    const unsigned char bytes[] = {0x12};
    EXPECT_EQ(-22, GByte2Hex(nullptr, 1, text, 4));
    EXPECT_EQ(-22, GByte2Hex(bytes, 1, nullptr, 4));
    EXPECT_EQ(-22, GByte2Hex(bytes, 1, text, 0));
    EXPECT_EQ(-22, GByte2Hex(bytes, 1, text, -2));
    EXPECT_EQ(-22, GByte2Hex(bytes, -1, text, 4));
    EXPECT_EQ(-22, GByte2Hex(bytes, INT_MIN, text, 4));
}

TEST(GByte2Hex, HugeCountIsLimitedByTheCapacity)
{
    char text[4];
    const unsigned char bytes[] = {0x12, 0x34};
    EXPECT_EQ(4, GByte2Hex(bytes, INT_MAX, text, 4)); // twice the count does not fit an int
    EXPECT_EQ("1234", std::string(text, 4));
}

TEST(GXor, CombinesByteByByte)
{
    const unsigned char first[] = {0xF0, 0x0F, 0xAA, 0x00};
    const unsigned char second[] = {0xFF, 0xFF, 0xAA, 0x55};
    unsigned char out[] = {1, 2, 3, 4};
    EXPECT_EQ(0, GXor(first, second, out, 3));
    EXPECT_EQ(Bytes({0x0F, 0xF0, 0x00, 4}), Bytes(out, out + 4));
}

TEST(GXor, OutMayBeAnInput)
{
    unsigned char first[] = {0x12, 0x34};
    unsigned char second[] = {0x01, 0x02};
    EXPECT_EQ(0, GXor(first, second, first, 2));
    EXPECT_EQ(Bytes({0x13, 0x36}), Bytes(first, first + 2));
    EXPECT_EQ(0, GXor(first, second, second, 2));
    EXPECT_EQ(Bytes({0x12, 0x34}), Bytes(second, second + 2));
}

TEST(GXor, BadArgumentsAreRefused)
{
    unsigned char bytes[] = {0x12};
    EXPECT_EQ(-22, GXor(nullptr, bytes, bytes, 1));
    EXPECT_EQ(-22, GXor(bytes, nullptr, bytes, 1));
    EXPECT_EQ(-22, GXor(bytes, bytes, nullptr, 1));
    EXPECT_EQ(-22, GXor(bytes, bytes, bytes, 0));
    EXPECT_EQ(-22, GXor(bytes, bytes, bytes, -1));
    EXPECT_EQ(0x12, bytes[0]);
}

TEST(GBCD2Ansi, NibblesAboveNineAreNotChecked)
{
    char text[17] = {};
    const unsigned char one[] = {0x1F};
    EXPECT_EQ(2, GBCD2Ansi(one, 1, text, 16));
    EXPECT_STREQ("\x31\x3F", text);
    const unsigned char all[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
    EXPECT_EQ(16, GBCD2Ansi(all, 8, text, 16));
    EXPECT_STREQ("0123456789:;<=>?", text);
}

TEST(GBCD2Ansi, CapacityLimitsWholeBytesAndNoNulIsWritten)
{
    char text[] = "~~~~~~";
    const unsigned char bytes[] = {0x12, 0x34, 0x56};
    EXPECT_EQ(4, GBCD2Ansi(bytes, 3, text, 5));
    EXPECT_STREQ("1234~~", text);
    EXPECT_EQ(4, GBCD2Ansi(bytes, INT_MAX, text, 4));
    EXPECT_EQ(0, GBCD2Ansi(bytes, 0, text, 4));
}

TEST(GBCD2Ansi, BadArgumentsAreRefused)
{
    char text[4];
    const unsigned char bytes[] = {0x12};
    EXPECT_EQ(-22, GBCD2Ansi(nullptr, 1, text, 4));
    EXPECT_EQ(-22, GBCD2Ansi(bytes, 1, nullptr, 4));
    EXPECT_EQ(-22, GBCD2Ansi(bytes, 1, text, 0));
    EXPECT_EQ(-22, GBCD2Ansi(bytes, 1, text, -4));
    EXPECT_EQ(-22, GBCD2Ansi(bytes, -1, text, 4));
}

TEST(GAnsi2BCD, PacksTwoDigitsAByte)
{
    unsigned char bytes[4] = {0, 0, 0x7E, 0x7E};
    EXPECT_EQ(2, GAnsi2BCD("12345", 5, bytes, 4));
    EXPECT_EQ(Bytes({0x12, 0x34, 0x7E, 0x7E}), Bytes(bytes, bytes + 4));
}

TEST(GAnsi2BCD, OtherCharactersGiveTheirLowBits)
{
    unsigned char bytes[2];
    EXPECT_EQ(2, GAnsi2BCD("A=?\xFF", 4, bytes, 2)); // 41 3D 3F FF
    EXPECT_EQ(Bytes({0x1D, 0xFF}), Bytes(bytes, bytes + 2));
}

TEST(GAnsi2BCD, CapacityBelowHalfTheTextIsRefused)
{
    unsigned char bytes[2];
    EXPECT_EQ(-22, GAnsi2BCD("123456", 6, bytes, 2));
    EXPECT_EQ(2, GAnsi2BCD("12345", 5, bytes, 2));
    EXPECT_EQ(0, GAnsi2BCD("1", 1, bytes, 0));
    EXPECT_EQ(-22, GAnsi2BCD("1", 1, bytes, -1));
}

TEST(GAnsi2BCD, BadArgumentsAreRefused)
{
    unsigned char bytes[2];
    EXPECT_EQ(-22, GAnsi2BCD(nullptr, 2, bytes, 2));
    EXPECT_EQ(-22, GAnsi2BCD("12", 2, nullptr, 2));
    EXPECT_EQ(-22, GAnsi2BCD("12", 0, bytes, 2));
    EXPECT_EQ(-22, GAnsi2BCD("12", -2, bytes, 2));
}

TEST(GTrimZero, CopiesTheRunBetweenTheFirstAndTheLastByte)
{
    const unsigned char bytes[] = {0x00, 0x00, 0x12, 0x00, 0x34, 0x00};
    unsigned char out[] = {0x7E, 0x7E, 0x7E, 0x7E};
    EXPECT_EQ(3, GTrimZero(bytes, 6, out, 3));
    EXPECT_EQ(Bytes({0x12, 0x00, 0x34, 0x7E}), Bytes(out, out + 4));
    EXPECT_EQ(1, GTrimZero(bytes + 2, 1, out, 3));
    EXPECT_EQ(2, GTrimZero(bytes + 3, 2, out, 3) + 1); // 00 34
}

TEST(GTrimZero, CharacterZeroIsNoZeroByte)
{
    unsigned char out[4];
    EXPECT_EQ(3, GTrimZero(reinterpret_cast<const unsigned char *>("010"), 3, out, 4));
}

TEST(GTrimZero, NothingButZeroBytesGivesMinus99)
{
    const unsigned char bytes[] = {0x00, 0x00};
    unsigned char out[] = {0x7E};
    EXPECT_EQ(-99, GTrimZero(bytes, 2, out, 1));
    EXPECT_EQ(-99, GTrimZero(bytes, 0, out, 1));
    EXPECT_EQ(0x7E, out[0]);
}

TEST(GTrimZero, BadArgumentsAreRefused)
{
    const unsigned char bytes[] = {0x12, 0x34};
    unsigned char out[2] = {0x7E, 0x7E};
    EXPECT_EQ(-22, GTrimZero(nullptr, 2, out, 2));
    EXPECT_EQ(-22, GTrimZero(bytes, 2, nullptr, 2));
    EXPECT_EQ(-22, GTrimZero(bytes, 2, out, 0));
    EXPECT_EQ(-22, GTrimZero(bytes, 2, out, -1));
    EXPECT_EQ(-22, GTrimZero(bytes, 2, out, 1));
    EXPECT_EQ(0x7E, out[0]);
}

TEST(GTrimZero, WorksInPlace)
{
    unsigned char bytes[] = {0x00, 0x12, 0x34, 0x56, 0x00};
    EXPECT_EQ(3, GTrimZero(bytes, 5, bytes, 5));
    EXPECT_EQ(Bytes({0x12, 0x34, 0x56}), Bytes(bytes, bytes + 3));
}
