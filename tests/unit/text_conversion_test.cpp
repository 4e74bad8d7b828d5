// UCS-2 to GB18030: the tables, the searches, texts.
#include "vantor/text_conversion.h"

#include <cstring>
#include <gtest/gtest.h>
#include <iconv.h>
#include <openssl/evp.h>
#include <string>
#include <vector>

#include "support/golden_line.h"

using testing_support::ToHex;

namespace
{

std::string Sha256(const uint16_t *words, size_t count)
{
    std::string bytes;
    for (size_t i = 0; i < count; i++)
    {
        bytes += static_cast<char>(words[i]);
        bytes += static_cast<char>(words[i] >> 8);
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
    std::string text;
    static const char kDigits[] = "0123456789abcdef";
    for (unsigned i = 0; i < length; i++)
        text += {kDigits[digest[i] >> 4], kDigits[digest[i] & 0x0F]};
    return text;
}

// One code unit, as hexadecimal text.
std::string Converted(unsigned code)
{
    const unsigned char in[] = {static_cast<unsigned char>(code),
                                static_cast<unsigned char>(code >> 8)};
    unsigned char out[8];
    memset(out, 0xEE, sizeof out);
    const uint32_t count = mmi_chset_ucs2_to_gb18030(out, in);
    EXPECT_EQ(out[count], 0xEE) << code;
    return ToHex(std::string(reinterpret_cast<const char *>(out), count));
}

// The same by the system's own conversion.
std::string ConvertedByIconv(iconv_t converter, unsigned code)
{
    char in[] = {static_cast<char>(code), static_cast<char>(code >> 8)};
    char out[8];
    char *from = in;
    char *to = out;
    size_t fromLeft = sizeof in;
    size_t toLeft = sizeof out;
    if (iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<size_t>(-1))
    {
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        return "FF ";
    }
    return ToHex(std::string(out, sizeof out - toLeft));
}

// A whole text; the result, and what was written.
struct Text
{
    int result;
    std::string hex;
};

Text Convert(const std::string &ucs2, int length)
{
    std::string out(2100, '\xEE');
    const int result = GStrUnicode2GB18030(ucs2.data(), out.data(), length);
    return {result, ToHex(out.substr(0, static_cast<size_t>(result) + 1))};
}

Text Convert(const std::string &ucs2)
{
    return Convert(ucs2, static_cast<int>(ucs2.size()));
}

uint32_t StrConvert(const std::string &ucs2, uint16_t capacity, std::string *hex)
{
    std::string out(64, '\xEE');
    const uint16_t result = mmi_chset_ucs2_to_gb18030_str(
        reinterpret_cast<unsigned char *>(out.data()),
        reinterpret_cast<const unsigned char *>(ucs2.data()), capacity);
    *hex = ToHex(out.substr(0, result + size_t{1}));
    return result;
}

} // namespace

TEST(Gb18030Tables, AreThoseOfThe2000Edition)
{
    EXPECT_EQ(Sha256(&g_chset_ucs2_to_gb18030_2_byte_tbl[0][0], 21872 * 2),
              "f0dd83b82ed617cd908c3959b106b190e56c51000ff1eb5113a55eb93ef2f97f");
    EXPECT_EQ(Sha256(&g_chset_ucs2_to_gb18030_4_byte_tbl[0][0], 39339 * 3),
              "fdcf0d4a2ed251434f6c523654387d530bd8b04e61504b1d8479c7404107e3f0");
    EXPECT_EQ(Sha256(&g_chset_ucs2_to_gb18030_4_byte_tbl_add[0][0], 3),
              "381bed8789e4df8ad8ede8deeb5001168a91213659de6dfbe73795be887feca8");
}

TEST(Gb18030Tables, RowsAreCodeWordsThenUcs2)
{
    EXPECT_EQ(g_chset_ucs2_to_gb18030_2_byte_tbl[0][0], 0xA1E8);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_2_byte_tbl[0][1], 0x00A4);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_2_byte_tbl[21871][0], 0xA3A4);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_2_byte_tbl[21871][1], 0xFFE5);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl[0][0], 0x8130);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl[0][1], 0x8130);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl[0][2], 0x0080);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl[39338][0], 0x8431);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl[39338][1], 0xA439);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl[39338][2], 0xFFFF);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl_add[0][0], 0x8336);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl_add[0][1], 0xCF39);
    EXPECT_EQ(g_chset_ucs2_to_gb18030_4_byte_tbl_add[0][2], 0xE863);
}

TEST(Gb18030Tables, AscendByUcs2)
{
    for (int i = 1; i < 21872; i++)
        ASSERT_LT(g_chset_ucs2_to_gb18030_2_byte_tbl[i - 1][1],
                  g_chset_ucs2_to_gb18030_2_byte_tbl[i][1]);
    for (int i = 1; i < 39339; i++)
        ASSERT_LT(g_chset_ucs2_to_gb18030_4_byte_tbl[i - 1][2],
                  g_chset_ucs2_to_gb18030_4_byte_tbl[i][2]);
}

TEST(Gb18030Tables, TellTheirSizes)
{
    EXPECT_EQ(mmi_chset_ucs2_gb18030_2byte_size(), 21872u);
    EXPECT_EQ(mmi_chset_ucs2_gb18030_4byte_size(), 39339u);
    EXPECT_EQ(mmi_chset_ucs2_gb18030_4byte_size_add(), 1u);
}

TEST(Gb18030Search, FindsEveryRow)
{
    for (const auto &row : g_chset_ucs2_to_gb18030_2_byte_tbl)
    {
        uint16_t code = 0;
        ASSERT_EQ(mmi_chset_ucs2_to_gb18030_2_byte_search(row[1], &code), 1) << row[1];
        ASSERT_EQ(code, row[0]);
    }
    for (const auto &row : g_chset_ucs2_to_gb18030_4_byte_tbl)
    {
        uint32_t code = 0;
        ASSERT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search(row[2], &code), 1) << row[2];
        ASSERT_EQ(code, static_cast<uint32_t>(row[0]) << 16 | row[1]);
    }
}

TEST(Gb18030Search, GivesTheCodeHighestByteFirst)
{
    uint16_t two = 0;
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_2_byte_search(0x4E2D, &two), 1);
    EXPECT_EQ(two, 0xD6D0);
    uint32_t four = 0;
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search(0x0080, &four), 1);
    EXPECT_EQ(four, 0x81308130u);
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search_add(0xE863, &four), 1);
    EXPECT_EQ(four, 0x8336CF39u);
}

TEST(Gb18030Search, WhatATableLacksLeavesTheResultAlone)
{
    uint16_t two = 0x1234;
    for (int code : {0x0000, 0x0041, 0x0080, 0x00A3, 0x00A5, 0xD800, 0xE863, 0xFFE6, 0xFFFF})
        EXPECT_EQ(mmi_chset_ucs2_to_gb18030_2_byte_search(static_cast<uint16_t>(code), &two), 0);
    EXPECT_EQ(two, 0x1234);
    uint32_t four = 0x12345678;
    for (int code : {0x0000, 0x007F, 0x00A4, 0x4E2D, 0xD800, 0xDFFF, 0xE000, 0xE863, 0xE864})
        EXPECT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search(static_cast<uint16_t>(code), &four), 0);
    for (int code : {0x0000, 0xE862, 0xE864, 0xFFFF})
        EXPECT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search_add(static_cast<uint16_t>(code), &four),
                  0);
    EXPECT_EQ(four, 0x12345678u);
}

TEST(Gb18030Search, TheResultMayBeUnwanted)
{
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_2_byte_search(0x4E2D, nullptr), 1);
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search(0x0080, nullptr), 1);
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_4_byte_search_add(0xE863, nullptr), 1);
}

TEST(Gb18030Unit, OneTwoOrFourBytes)
{
    EXPECT_EQ(Converted(0x0041), "41 ");
    EXPECT_EQ(Converted(0x007F), "7F ");
    EXPECT_EQ(Converted(0x0000), "00 ");
    EXPECT_EQ(Converted(0x00A4), "A1 E8 ");
    EXPECT_EQ(Converted(0x4E2D), "D6 D0 ");
    EXPECT_EQ(Converted(0x0080), "81 30 81 30 ");
    EXPECT_EQ(Converted(0xE863), "83 36 CF 39 ");
    EXPECT_EQ(Converted(0xD800), "FF ");
    EXPECT_EQ(Converted(0xE000), "FF ");
}

// The later edition that the system's conversion follows differs in these: there they are the two-
// byte codes of what was private use.
TEST(Gb18030Unit, TheWholePlaneAgreesWithTheSystemButForTheEdition)
{
    struct Exception
    {
        unsigned code;
        const char *hex;
    };
    const Exception kExceptions[] = {
        {0x1E3F, "81 35 F4 37 "}, {0x9FB4, "82 35 90 37 "}, {0x9FB5, "82 35 90 38 "},
        {0x9FB6, "82 35 90 39 "}, {0x9FB7, "82 35 91 30 "}, {0x9FB8, "82 35 91 31 "},
        {0x9FB9, "82 35 91 32 "}, {0x9FBA, "82 35 91 33 "}, {0x9FBB, "82 35 91 34 "},
        {0xFE10, "84 31 82 36 "}, {0xFE11, "84 31 82 37 "}, {0xFE12, "84 31 82 38 "},
        {0xFE13, "84 31 82 39 "}, {0xFE14, "84 31 83 30 "}, {0xFE15, "84 31 83 31 "},
        {0xFE16, "84 31 83 32 "}, {0xFE17, "84 31 83 33 "}, {0xFE18, "84 31 83 34 "},
        {0xFE19, "84 31 83 35 "},
    };
    iconv_t converter = iconv_open("GB18030", "UTF-16LE");
    ASSERT_NE(converter, reinterpret_cast<iconv_t>(-1));
    for (unsigned code = 0; code <= 0xFFFF; code++)
    {
        std::string expected = ConvertedByIconv(converter, code);
        if ((code >= 0xD800 && code <= 0xDFFF) || (code >= 0xE000 && code <= 0xE864))
            expected = code == 0xE863 ? "83 36 CF 39 " : "FF ";
        for (const Exception &exception : kExceptions)
            if (exception.code == code)
                expected = exception.hex;
        ASSERT_EQ(Converted(code), expected) << std::hex << code;
    }
    iconv_close(converter);
}

TEST(Gb18030Unit, NullGivesNothing)
{
    unsigned char byte = 0xEE;
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030(nullptr, &byte), 0u);
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030(&byte, nullptr), 0u);
    EXPECT_EQ(byte, 0xEE);
}

TEST(GStrUnicode2GB18030, CountsTheTwoZeroBytes)
{
    EXPECT_EQ(Convert(std::string("A\0", 2)).hex, "41 00 00 EE ");
    EXPECT_EQ(Convert(std::string("A\0", 2)).result, 3);
    EXPECT_EQ(Convert("\x2D\x4E").hex, "D6 D0 00 00 EE ");
    EXPECT_EQ(Convert(std::string("\x80\0A\0", 4)).hex, "81 30 81 30 41 00 00 EE ");
    EXPECT_EQ(Convert(std::string("\0\xD8", 2)).hex, "FF 00 00 EE ");
}

TEST(GStrUnicode2GB18030, AnEmptySourceGivesTwo)
{
    EXPECT_EQ(Convert("").result, 2);
    EXPECT_EQ(Convert("").hex, "00 00 EE ");
    EXPECT_EQ(Convert("ABCD", 0).hex, "00 00 EE ");
    EXPECT_EQ(Convert("ABCD", -5).hex, "00 00 EE ");
}

TEST(GStrUnicode2GB18030, AZeroUnitEndsTheTextEarlier)
{
    EXPECT_EQ(Convert(std::string("A\0\0\0B\0", 6)).hex, "41 00 00 EE ");
}

TEST(GStrUnicode2GB18030, AnOddByteIsTheLowByteOfTheLastUnit)
{
    EXPECT_EQ(Convert(std::string("A\0B", 3)).hex, "41 42 00 00 EE ");
}

TEST(GStrUnicode2GB18030, AnOddByteTakesTheRoomOfAWholeUnit)
{
    EXPECT_EQ(Convert("\x80").hex, "81 30 81 30 00 00 EE ");
    EXPECT_EQ(Convert("\x80").result, 6);
}

TEST(GStrUnicode2GB18030, TakesAllOf510BytesAndNothingBeyond)
{
    std::string longest;
    for (int i = 0; i < 400; i++)
        longest += std::string("\x80\0", 2);
    EXPECT_EQ(Convert(longest, 510).result, 1022);
    EXPECT_EQ(Convert(longest, 511).result, 1022);
    EXPECT_EQ(Convert(longest, 512).result, 1022);
    EXPECT_EQ(Convert(longest, 800).result, 1022);
    EXPECT_EQ(Convert(longest, 509).result,
              1022); // the last unit has its high byte from nowhere: 0
    EXPECT_EQ(Convert(longest, 508).result, 1018);
}

TEST(GStrUnicode2GB18030, MayWriteOverItsSource)
{
    char text[32] = "\x2D\x4E\x2D\x4E";
    EXPECT_EQ(GStrUnicode2GB18030(text, text, 4), 6);
    EXPECT_STREQ(text, "\xD6\xD0\xD6\xD0");
}

TEST(GStrUnicode2GB18030, NullIsRefused)
{
    char out[4] = "abc";
    EXPECT_EQ(GStrUnicode2GB18030(nullptr, out, 2), -22);
    EXPECT_EQ(GStrUnicode2GB18030(out, nullptr, 2), -22);
    EXPECT_STREQ(out, "abc");
}

TEST(Gb18030Str, EndsAtTheZeroUnit)
{
    std::string hex;
    EXPECT_EQ(StrConvert(std::string("A\0\x2D\x4E\0\0B\0", 8), 64, &hex), 5u);
    EXPECT_EQ(hex, "41 D6 D0 00 00 EE ");
    EXPECT_EQ(StrConvert(std::string("\0\0", 2), 64, &hex), 2u);
    EXPECT_EQ(hex, "00 00 EE ");
}

TEST(Gb18030Str, OnlyAUnitWithALowByteOfZeroIsHeldToTheCapacity)
{
    std::string hex;
    // U+4E2D twice, then U+4E00: the low byte of the third is zero.
    const std::string text("\x2D\x4E\x2D\x4E\0\x4E\0\0", 8);
    EXPECT_EQ(StrConvert(text, 0, &hex), 6u);
    EXPECT_EQ(hex, "D6 D0 D6 D0 00 00 EE ");
    EXPECT_EQ(StrConvert(text, 6, &hex), 6u); // 6 is not greater than 4 + 2
    EXPECT_EQ(StrConvert(text, 7, &hex), 8u);
    EXPECT_EQ(hex, "D6 D0 D6 D0 D2 BB 00 00 EE ");
    EXPECT_EQ(StrConvert(std::string("\0\x4E\0\0", 4), 2, &hex), 2u);
    EXPECT_EQ(StrConvert(std::string("\0\x4E\0\0", 4), 3, &hex), 4u);
    EXPECT_EQ(StrConvert(std::string("A\0B\0C\0\0\0", 8), 0, &hex), 5u);
    EXPECT_EQ(hex, "41 42 43 00 00 EE ");
}

TEST(Gb18030Str, TheResultIsCountedInSixteenBits)
{
    std::string text;
    for (int i = 0; i < 16384; i++)
        text += std::string("\x80\0", 2);
    text += std::string(2, '\0');
    std::vector<unsigned char> out(65536 + 3, 0xEE);
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_str(
                  out.data(), reinterpret_cast<const unsigned char *>(text.data()), 0),
              2);
    EXPECT_EQ(out[65535], 0x30);
    EXPECT_EQ(out[65537], 0x00);
    EXPECT_EQ(out[65538], 0xEE);
}

TEST(Gb18030Str, NullGivesNothing)
{
    unsigned char byte[2] = {0xEE, 0xEE};
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_str(nullptr, byte, 10), 0);
    EXPECT_EQ(mmi_chset_ucs2_to_gb18030_str(byte, nullptr, 10), 0);
    EXPECT_EQ(byte[0], 0xEE);
}

TEST(Ucs2Strlen, CountsUnitsBeforeTheZeroPair)
{
    const unsigned char text[] = {0x41, 0x00, 0x00, 0x4E, 0x00, 0x00, 0x42, 0x00};
    EXPECT_EQ(app_ucs2_strlen(text), 2u);
    EXPECT_EQ(app_ucs2_strlen(text + 4), 0u);
    EXPECT_EQ(app_ucs2_strlen(nullptr), 0u);
}
