// The fields of an identity card's record, and the names that its codes stand for.
#include "vantor/identity_operations.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/golden_line.h"
#include "support/identity_card.h"

using testing_support::ForeignCard;
using testing_support::FromHex;
using testing_support::GatCard;
using testing_support::IdentityCard;
using testing_support::ResidentCard;
using testing_support::ToHex;

namespace
{

using Getter = int (*)(const unsigned char *, char *);

int Sex(const unsigned char *record, char *out)
{
    return ID_GetSex(record, -1, out); // the size is not used
}

int Nation(const unsigned char *record, char *out)
{
    return ID_GetNation(record, 0, out);
}

int ForeignSex(const unsigned char *record, char *out)
{
    return ID_GetSex_Foreign(record, 1, out);
}

const std::map<std::string, Getter> kGetters = {
    {"ID_GetName", ID_GetName},
    {"ID_GetSexCode", ID_GetSexCode},
    {"ID_GetSex", Sex},
    {"ID_GetNationCode", ID_GetNationCode},
    {"ID_GetNation", Nation},
    {"ID_GetBirth", ID_GetBirth},
    {"ID_GetAddress", ID_GetAddress},
    {"ID_GetCardNumber", ID_GetCardNumber},
    {"ID_GetPolice", ID_GetPolice},
    {"ID_GetValidStart", ID_GetValidStart},
    {"ID_GetValidEnd", ID_GetValidEnd},
    {"ID_GetCardType", ID_GetCardType},
    {"ID_GetCardNo_GAT", ID_GetCardNo_GAT},
    {"ID_GetIssueTimes_GAT", ID_GetIssueTimes_GAT},
    {"ID_GetEnglishName_Foreign", ID_GetEnglishName_Foreign},
    {"ID_GetSexCode_Foreign", ID_GetSexCode_Foreign},
    {"ID_GetSex_Foreign", ForeignSex},
    {"ID_GetCardNumber_Foreign", ID_GetCardNumber_Foreign},
    {"ID_GetNationCode_Foreign", ID_GetNationCode_Foreign},
    {"ID_GetNation_Foreign", ID_GetNation_Foreign},
    {"ID_GetChineseName_Foreign", ID_GetChineseName_Foreign},
    {"ID_GetValidStart_Foreign", ID_GetValidStart_Foreign},
    {"ID_GetValidEnd_Foreign", ID_GetValidEnd_Foreign},
    {"ID_GetBirth_Foreign", ID_GetBirth_Foreign},
    {"ID_GetCardVer_Foreign", ID_GetCardVer_Foreign},
    {"ID_GetPoliceCode_Foreign", ID_GetPoliceCode_Foreign},
};

std::string Get(Getter getter, const IdentityCard &card)
{
    char out[512] = {};
    EXPECT_EQ(getter(card.Record(), out), 0);
    return out;
}

// The text as hexadecimal, with what was written behind it.
std::string Written(Getter getter, const IdentityCard &card, size_t count)
{
    char out[512];
    memset(out, 0xEE, sizeof out);
    getter(card.Record(), out);
    return ToHex(std::string(out, count));
}

std::string GetNation(const std::u16string &code)
{
    return Get(Nation, IdentityCard().Put(32, code));
}

std::string GetCountry(const std::u16string &code)
{
    return Get(ID_GetNation_Foreign, IdentityCard().Put(152, code));
}

} // namespace

TEST(IdentityFields, OfThePublishedRecords)
{
    std::ifstream file(VANTOR_SOURCE_DIR "/tests/data/identity/records.json");
    const nlohmann::json records = nlohmann::json::parse(file)["records"];
    ASSERT_EQ(records.size(), 4u);
    for (const nlohmann::json &record : records)
    {
        IdentityCard card;
        card.text = FromHex(record["raw_hex"]);
        ASSERT_EQ(card.text.size(), 256u);
        ASSERT_EQ(record["expected_gb18030_hex"].size(), 11u);
        for (const auto &[name, hex] : record["expected_gb18030_hex"].items())
            EXPECT_EQ(ToHex(Get(kGetters.at(name), card)), ToHex(FromHex(hex)))
                << record["label"] << ", " << name;
    }
}

TEST(IdentityFields, OfAResidentCard)
{
    const IdentityCard card = ResidentCard();
    EXPECT_EQ(Get(ID_GetName, card), "\xD5\xC5\xC8\xFD"); // 张三
    EXPECT_EQ(Get(ID_GetSexCode, card), "1");
    EXPECT_EQ(Get(Sex, card), "\xC4\xD0"); // 男
    EXPECT_EQ(Get(ID_GetNationCode, card), "01");
    EXPECT_EQ(Get(Nation, card), "\xBA\xBA"); // 汉
    EXPECT_EQ(Get(ID_GetBirth, card), "19491231");
    EXPECT_EQ(Get(ID_GetAddress, card),
              "\xB1\xB1\xBE\xA9\xCA\xD0\xB3\xAF\xD1\xF4\xC7\xF8\xD1\xF9\xC0\xFD\xBD\xD6"
              "99\xBA\xC5"); // 北京市朝阳区样例街99号
    EXPECT_EQ(Get(ID_GetCardNumber, card), "11010519491231002X");
    EXPECT_EQ(Get(ID_GetPolice, card),
              "\xB1\xB1\xBE\xA9\xCA\xD0\xB9\xAB\xB0\xB2\xBE\xD6"); // 北京市公安局
    EXPECT_EQ(Get(ID_GetValidStart, card), "20200101");
    EXPECT_EQ(Get(ID_GetValidEnd, card), "\xB3\xA4\xC6\xDA"); // 长期
    EXPECT_EQ(Get(ID_GetCardType, card), "N");
}

TEST(IdentityFields, OfAGatCard)
{
    const IdentityCard card = GatCard();
    EXPECT_EQ(Get(ID_GetCardType, card), "J");
    EXPECT_EQ(Get(ID_GetCardNo_GAT, card), "H12345678");
    EXPECT_EQ(Get(ID_GetIssueTimes_GAT, card), "02");
    EXPECT_EQ(Get(ID_GetCardNo_GAT, IdentityCard().Put(220, u"H1234")), "H1234");
}

TEST(IdentityFields, OfAForeignCard)
{
    const IdentityCard card = ForeignCard();
    EXPECT_EQ(Get(ID_GetCardType, card), "I");
    EXPECT_EQ(Get(ID_GetEnglishName_Foreign, card), "SMITH, JOHN");
    EXPECT_EQ(Get(ID_GetSexCode_Foreign, card), "2");
    EXPECT_EQ(Get(ForeignSex, card), "\xC5\xAE"); // 女
    EXPECT_EQ(Get(ID_GetCardNumber_Foreign, card), "CAN110081010110");
    EXPECT_EQ(Get(ID_GetNationCode_Foreign, card), "CAN");
    EXPECT_EQ(Get(ID_GetNation_Foreign, card), "\xBC\xD3\xC4\xC3\xB4\xF3/CAN");  // 加拿大
    EXPECT_EQ(Get(ID_GetChineseName_Foreign, card), "\xCA\xB7\xC3\xDC\xCB\xB9"); // 史密斯
    EXPECT_EQ(Get(ID_GetValidStart_Foreign, card), "20150101");
    EXPECT_EQ(Get(ID_GetValidEnd_Foreign, card), "20250101");
    EXPECT_EQ(Get(ID_GetBirth_Foreign, card), "19810101");
    EXPECT_EQ(Get(ID_GetCardVer_Foreign, card), "01");
    EXPECT_EQ(Get(ID_GetPoliceCode_Foreign, card), "1100");
}

// Every field begins and ends where it should: its first and last code unit are its own, and the
// units right before and behind it are not.
TEST(IdentityFields, LieWhereTheyShould)
{
    const struct
    {
        const char *getter;
        size_t offset;
        size_t size;
    } kFields[] = {
        {"ID_GetName", 0, 30},
        {"ID_GetSexCode", 30, 2},
        {"ID_GetNationCode", 32, 4},
        {"ID_GetBirth", 36, 16},
        {"ID_GetAddress", 52, 70},
        {"ID_GetCardNumber", 122, 36},
        {"ID_GetPolice", 158, 30},
        {"ID_GetValidStart", 188, 16},
        {"ID_GetValidEnd", 204, 16},
        {"ID_GetCardNo_GAT", 220, 18},
        {"ID_GetIssueTimes_GAT", 238, 4},
        {"ID_GetEnglishName_Foreign", 0, 120},
        {"ID_GetSexCode_Foreign", 120, 2},
        {"ID_GetCardNumber_Foreign", 122, 30},
        {"ID_GetNationCode_Foreign", 152, 6},
        {"ID_GetChineseName_Foreign", 158, 30},
        {"ID_GetValidStart_Foreign", 188, 16},
        {"ID_GetValidEnd_Foreign", 204, 16},
        {"ID_GetBirth_Foreign", 220, 16},
        {"ID_GetCardVer_Foreign", 236, 4},
        {"ID_GetPoliceCode_Foreign", 240, 8},
    };
    for (const auto &field : kFields)
    {
        IdentityCard card;
        card.text = std::string(256, '\0');
        for (size_t i = 0; i < 256; i += 2)
            card.text[i] = 'x';
        std::string expected;
        for (size_t i = 0; i < field.size; i += 2)
        {
            const char letter = static_cast<char>('A' + i / 2 % 26);
            card.text[field.offset + i] = letter;
            expected += letter;
        }
        EXPECT_EQ(Get(kGetters.at(field.getter), card), expected) << field.getter;
    }
}

TEST(IdentityFields, OnlySomeLoseTheirPadding)
{
    IdentityCard card; // spaces everywhere
    for (size_t offset = 0; offset < 256; offset += 2)
        card.text[offset] = ' ';
    const struct
    {
        const char *getter;
        size_t offset;
        size_t units;
        bool cut;
    } kFields[] = {
        {"ID_GetName", 0, 15, true},
        {"ID_GetNationCode", 32, 2, false},
        {"ID_GetBirth", 36, 8, false},
        {"ID_GetAddress", 52, 35, true},
        {"ID_GetCardNumber", 122, 18, false},
        {"ID_GetPolice", 158, 15, true},
        {"ID_GetValidStart", 188, 8, true},
        {"ID_GetValidEnd", 204, 8, true},
        {"ID_GetCardNo_GAT", 220, 9, true},
        {"ID_GetIssueTimes_GAT", 238, 2, false},
        {"ID_GetEnglishName_Foreign", 0, 60, true},
        {"ID_GetCardNumber_Foreign", 122, 15, false},
        {"ID_GetNationCode_Foreign", 152, 3, false},
        {"ID_GetChineseName_Foreign", 158, 15, true},
        {"ID_GetValidStart_Foreign", 188, 8, true},
        {"ID_GetValidEnd_Foreign", 204, 8, true},
        {"ID_GetBirth_Foreign", 220, 8, false},
        {"ID_GetCardVer_Foreign", 236, 2, false},
        {"ID_GetPoliceCode_Foreign", 240, 4, false},
    };
    for (const auto &field : kFields)
    {
        IdentityCard padded = card;
        padded.Put(field.offset, u"Q");
        const std::string kept = "Q" + std::string(field.units - 1, ' ');
        EXPECT_EQ(Get(kGetters.at(field.getter), padded), field.cut ? "Q" : kept) << field.getter;
    }
}

TEST(IdentitySpaces, ANameOfTwoCharactersComesWithoutItsPadding)
{
    EXPECT_EQ(Written(ID_GetName, IdentityCard().Put(0, u"测试"), 6), "B2 E2 CA D4 00 00 ");
}

TEST(IdentitySpaces, AreZeroToTheEndOfTheText)
{
    // 15 units, two of them of two bytes: 17 bytes of text, then the two zero bytes.
    EXPECT_EQ(Written(ID_GetName, IdentityCard().Put(0, u"测试"), 20),
              "B2 E2 CA D4 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 EE ");
}

TEST(IdentitySpaces, AFullFieldLosesItsLastWord)
{
    EXPECT_EQ(Get(ID_GetName, IdentityCard().Put(0, u"AB CDEFGHIJ KLM")), "AB CDEFGHIJ");
    EXPECT_EQ(Get(ID_GetName, IdentityCard().Put(0, u"ABCDEFGHIJKLMNO")), "ABCDEFGHIJKLMNO");
    EXPECT_EQ(Get(ID_GetName, IdentityCard().Put(0, u"AB  CDEFGHIJKLM")), "AB");
    EXPECT_EQ(Get(ID_GetName, IdentityCard().Put(0, u"AB CD")), "AB CD");
}

TEST(IdentitySpaces, ARunAtTheBeginningStays)
{
    EXPECT_EQ(Get(ID_GetName, IdentityCard()), std::string(15, ' '));
    EXPECT_EQ(Get(ID_GetName, IdentityCard().Put(0, u"  ABCDEFGHIJKLM")), "  ABCDEFGHIJKLM");
    EXPECT_EQ(Get(ID_GetName, IdentityCard().Put(0, u"  ABCDEF")), "  ABCDEF");
}

TEST(IdentitySex, OneTwoOrUnknown)
{
    const struct
    {
        std::u16string code;
        const char *name;
    } kRows[] = {
        {u"1", "\xC4\xD0"},
        {u"2", "\xC5\xAE"},
        {u"9", "\xCE\xB4\xD6\xAA"},
        {u"0", "\xCE\xB4\xD6\xAA"},
        {u" ", "\xCE\xB4\xD6\xAA"},
        {u"男", "\xCE\xB4\xD6\xAA"},
        {std::u16string(1, u'\0'), "\xCE\xB4\xD6\xAA"},
    };
    for (const auto &row : kRows)
    {
        EXPECT_EQ(Get(Sex, IdentityCard().Put(30, row.code)), row.name);
        EXPECT_EQ(Get(ForeignSex, IdentityCard().Put(120, row.code)), row.name);
    }
}

TEST(IdentityNation, EveryCodeHasItsName)
{
    const struct
    {
        const char16_t *code;
        const char *hex;
    } kRows[] = {
        {u"01", "BABA"},
        {u"02", "C3C9B9C5"},
        {u"03", "BBD8"},
        {u"04", "B2D8"},
        {u"05", "CEACCEE1B6FB"},
        {u"06", "C3E7"},
        {u"07", "D2CD"},
        {u"08", "D7B3"},
        {u"09", "B2BCD2C0"},
        {u"10", "B3AFCFCA"},
        {u"11", "C2FA"},
        {u"12", "B6B1"},
        {u"13", "D1FE"},
        {u"14", "B0D7"},
        {u"15", "CDC1BCD2"},
        {u"16", "B9FEC4E1"},
        {u"17", "B9FEC8F8BFCB"},
        {u"18", "B4F6"},
        {u"19", "C0E8"},
        {u"20", "C0FCCBDB"},
        {u"21", "D8F4"},
        {u"22", "EEB4"},
        {u"23", "B8DFC9BD"},
        {u"24", "C0ADECEF"},
        {u"25", "CBAE"},
        {u"26", "B6ABCFE7"},
        {u"27", "C4C9CEF7"},
        {u"28", "BEB0C6C4"},
        {u"29", "BFC2B6FBBFCBD7CE"},
        {u"30", "CDC1"},
        {u"31", "B4EFCED3B6FB"},
        {u"32", "D8EFC0D0"},
        {u"33", "C7BC"},
        {u"34", "B2BCC0CA"},
        {u"35", "C8F6C0AD"},
        {u"36", "C3ABC4CF"},
        {u"37", "D8EEC0D0"},
        {u"38", "CEFDB2AE"},
        {u"39", "B0A2B2FD"},
        {u"40", "C6D5C3D7"},
        {u"41", "CBFEBCAABFCB"},
        {u"42", "C5AD"},
        {u"43", "CEDAD7CEB1F0BFCB"},
        {u"44", "B6EDC2DECBB9"},
        {u"45", "B6F5CEC2BFCB"},
        {u"46", "B5C2B0BA"},
        {u"47", "B1A3B0B2"},
        {u"48", "D4A3B9CC"},
        {u"49", "BEA9"},
        {u"50", "CBFECBFEB6FB"},
        {u"51", "B6C0C1FA"},
        {u"52", "B6F5C2D7B4BA"},
        {u"53", "BAD5D5DC"},
        {u"54", "C3C5B0CD"},
        {u"55", "E7F3B0CD"},
        {u"56", "BBF9C5B5"},
        {u"97", "C6E4CBFB"},
        {u"98", "CDE2B9FAD1AACDB3D6D0B9FABCAEC8CBCABF"},
    };
    EXPECT_EQ(std::size(kRows), 58u);
    for (const auto &row : kRows)
        EXPECT_EQ(ToHex(GetNation(row.code)), ToHex(FromHex(row.hex)))
            << row.code[0] << row.code[1];
}

TEST(IdentityNation, AnyOtherCodeHasNone)
{
    for (const char16_t *code : {u"00", u"57", u"60", u"96", u"99", u"  ", u"XY", u"-1", u"中国"})
        EXPECT_EQ(GetNation(code), "");
    EXPECT_EQ(GetNation(std::u16string(2, u'\0')), "");
}

TEST(IdentityNation, TheCodeIsReadAsADecimalNumber)
{
    EXPECT_EQ(GetNation(u"1 "), "\xBA\xBA");
    EXPECT_EQ(GetNation(u" 1"), "\xBA\xBA");
    EXPECT_EQ(GetNation(u"1X"), "\xBA\xBA");
}

TEST(IdentityCardType, AnythingButIAndJIsAResidentCard)
{
    const auto type = [](const std::u16string &unit)
    { return Get(ID_GetCardType, IdentityCard().Put(248, unit)); };
    EXPECT_EQ(type(u"I"), "I");
    EXPECT_EQ(type(u"J"), "J");
    for (const char16_t *unit : {u"X", u" ", u"i", u"中", u"N", u"\x80", u"\xFFFF"})
        EXPECT_EQ(type(unit), "N");
    EXPECT_EQ(type(std::u16string(1, u'\0')), "N");
}

TEST(IdentityCountry, TheFirstRowThatHoldsTheCode)
{
    EXPECT_EQ(GetCountry(u"AFG"), "\xB0\xA2\xB8\xBB\xBA\xB9/AFG");
    EXPECT_EQ(GetCountry(u"DOM"), "\xB6\xE0\xC3\xD7\xC4\xE1\xBC\xD3/DOM");
    EXPECT_EQ(GetCountry(u"USA"), "\xC3\xC0\xB9\xFA/USA");
    EXPECT_EQ(GetCountry(std::u16string(u"CA\0", 3)), "\xBC\xD3\xC4\xC3\xB4\xF3/CAN");
    EXPECT_EQ(GetCountry(u"加拿大"), "\xBC\xD3\xC4\xC3\xB4\xF3/CAN");
}

TEST(IdentityCountry, NoMatchLeavesTheCode)
{
    EXPECT_EQ(GetCountry(u"XXX"), "XXX");
    EXPECT_EQ(GetCountry(u"can"), "can");
    EXPECT_EQ(GetCountry(u"   "), "   ");
    EXPECT_EQ(GetCountry(u"ATA"), "ATA");
}

TEST(IdentityCountry, AnEmptyCodeStaysEmpty)
{
    EXPECT_EQ(GetCountry(std::u16string(3, u'\0')), "");
}

TEST(IdentityCountry, NoTerminatorIsWrittenBehindTheRow)
{
    // The code and its two zero bytes come first, then the row's 10 bytes lie over them.
    EXPECT_EQ(Written(ID_GetNation_Foreign, IdentityCard().Put(152, u"CAN"), 11),
              "BC D3 C4 C3 B4 F3 2F 43 41 4E EE ");
}

TEST(IdentityFields, HostileRecordsStayWithinTheRoom)
{
    IdentityCard zeros;
    zeros.text = std::string(256, '\0');
    IdentityCard ones;
    ones.text = std::string(256, '\xFF');
    IdentityCard surrogates;
    IdentityCard wide;
    for (size_t i = 0; i < 256; i += 2)
    {
        surrogates.text.replace(i, 2, std::string("\x01\xD8", 2));
        wide.text.replace(i, 2, std::string("\x80\x00", 2));
    }
    const std::map<std::string, int> kUnits = {{"ID_GetName", 15},
                                               {"ID_GetAddress", 35},
                                               {"ID_GetCardNumber", 18},
                                               {"ID_GetEnglishName_Foreign", 60},
                                               {"ID_GetNationCode_Foreign", 3},
                                               {"ID_GetNation_Foreign", 3},
                                               {"ID_GetCardNo_GAT", 9}};
    for (const auto &[name, units] : kUnits)
    {
        EXPECT_EQ(Get(kGetters.at(name), zeros), "") << name;
        std::string expected;
        for (int i = 0; i < units; i++)
            expected += "\x84\x31\xA4\x39"; // U+FFFF
        EXPECT_EQ(Get(kGetters.at(name), ones), expected) << name;
        EXPECT_EQ(Get(kGetters.at(name), surrogates),
                  std::string(static_cast<size_t>(units), '\xFF'))
            << name;
        EXPECT_EQ(Get(kGetters.at(name), wide).size(), 4u * static_cast<size_t>(units)) << name;
    }
    for (const auto &[name, getter] : kGetters)
    {
        Get(getter, zeros);
        Get(getter, ones);
        Get(getter, surrogates);
        Get(getter, wide);
    }
    EXPECT_EQ(Get(Nation, ones), "");
    EXPECT_EQ(Get(Sex, ones), "\xCE\xB4\xD6\xAA");
    EXPECT_EQ(Get(ID_GetCardType, surrogates), "N");
}

TEST(IdentityFields, NullIsRefused)
{
    char out[512] = "as it was";
    const IdentityCard card = ResidentCard();
    for (const auto &[name, getter] : kGetters)
    {
        EXPECT_EQ(getter(nullptr, out), -22) << name;
        EXPECT_EQ(getter(card.Record(), nullptr), -22) << name;
    }
    EXPECT_STREQ(out, "as it was");
}

TEST(IdentityBytes, LieBehindTheTextBlock)
{
    std::vector<unsigned char> raw(4096);
    for (size_t i = 0; i < raw.size(); i++)
        raw[i] = static_cast<unsigned char>(i * 7 + i / 256);
    const struct
    {
        int (*getter)(const unsigned char *, unsigned char *);
        size_t offset;
        size_t size;
    } kRows[] = {{ID_GetPhotoInfo, 256, 1024},
                 {ID_GetFPInfo, 1280, 1024},
                 {ID_GetASICSerialNumber_GAT, 2304, 8},
                 {ID_GetSerialCardNumber_GAT, 2312, 16}};
    for (const auto &row : kRows)
    {
        std::vector<unsigned char> out(1100, 0xEE);
        EXPECT_EQ(row.getter(raw.data(), out.data()), 0);
        EXPECT_EQ(memcmp(out.data(), raw.data() + row.offset, row.size), 0) << row.offset;
        EXPECT_EQ(out[row.size], 0xEE);
        EXPECT_EQ(row.getter(nullptr, out.data()), -22);
        EXPECT_EQ(row.getter(raw.data(), nullptr), -22);
    }
}
