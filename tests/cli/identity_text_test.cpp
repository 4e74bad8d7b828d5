// The text of an identity card, from GB18030 to named fields.
#include "identity_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using namespace tool;

static const char kResident[] =
    "\xD5\xC5\xC8\xFD|\xC4\xD0|\xBA\xBA|19900101|\xB1\xB1\xBE\xA9|110101199001011237|"
    "\xB9\xAB\xB0\xB2|20200101|\xB3\xA4\xC6\xDA|N||||";
static const char kForeign[] = "SMITH, JOHN|\xC4\xD0|\xC3\xC0\xB9\xFA/USA|19500101||"
                               "USA110195001011|1500|20170616|20270615|I|\xCA\xB7|01||";
static const char kGat[] = "\xEA\x90|\xC5\xAE||19850308|\xC9\xEE|810000198503080012|\xBE\xD6|"
                           "20190901|20240901|J|||H12345678|01";

static Json Value(const std::string &text, const char *key, bool mask = false)
{
    const IdentityCard card = ParseIdentityCard(text, mask);
    EXPECT_EQ(card.error, "");
    return IdentityCardJson(card).at("fields").at(key).at("value");
}

// A resident card of this name.
static Json NameOf(const std::string &name)
{
    return Value(name + "|||||||||N||||", "name");
}

TEST(IdentityText, OfAResidentCard)
{
    EXPECT_EQ(IdentityCardText(ParseIdentityCard(kResident, false)),
              "resident identity card\n"
              "  Name            张三\n"
              "  Sex             男\n"
              "  Nation          汉\n"
              "  Birth           1990-01-01\n"
              "  Address         北京\n"
              "  Number          110101199001011237\n"
              "  Authority       公安\n"
              "  Valid from      2020-01-01\n"
              "  Valid to        长期\n");
}

TEST(IdentityText, OfAForeignCard)
{
    EXPECT_EQ(IdentityCardText(ParseIdentityCard(kForeign, false)),
              "foreign permanent resident card\n"
              "  Name            SMITH, JOHN\n"
              "  Chinese name    史\n"
              "  Sex             男\n"
              "  Nation          美国/USA\n"
              "  Birth           1950-01-01\n"
              "  Number          USA110195001011\n"
              "  Authority       1500\n"
              "  Valid from      2017-06-16\n"
              "  Valid to        2027-06-15\n"
              "  Card version    01\n");
}

TEST(IdentityText, OfAGatCard)
{
    EXPECT_EQ(IdentityCardText(ParseIdentityCard(kGat, false)),
              "residence card (Hong Kong, Macau, Taiwan)\n"
              "  Name            陳\n"
              "  Sex             女\n"
              "  Birth           1985-03-08\n"
              "  Address         深\n"
              "  Number          810000198503080012\n"
              "  Pass number     H12345678\n"
              "  Issue count     01\n"
              "  Authority       局\n"
              "  Valid from      2019-09-01\n"
              "  Valid to        2024-09-01\n");
}

TEST(IdentityText, AsJsonHasEveryFieldOfEveryKind)
{
    const Json card = IdentityCardJson(ParseIdentityCard(kResident, false));
    EXPECT_EQ(card.at("kind"), Json({{"code", "N"}, {"name", "resident"}}));
    EXPECT_EQ(
        card.at("fields"),
        Json({{"name", {{"raw", "D5C5C8FD"}, {"value", "张三"}}},
              {"chinese_name", {{"raw", nullptr}, {"value", nullptr}}},
              {"sex", {{"raw", "C4D0"}, {"value", "男"}}},
              {"nation", {{"raw", "BABA"}, {"value", "汉"}}},
              {"birth", {{"raw", "3139393030313031"}, {"value", "1990-01-01"}}},
              {"address", {{"raw", "B1B1BEA9"}, {"value", "北京"}}},
              {"number",
               {{"raw", "313130313031313939303031303131323337"}, {"value", "110101199001011237"}}},
              {"pass_number", {{"raw", nullptr}, {"value", nullptr}}},
              {"issue_count", {{"raw", nullptr}, {"value", nullptr}}},
              {"authority", {{"raw", "B9ABB0B2"}, {"value", "公安"}}},
              {"valid_from", {{"raw", "3230323030313031"}, {"value", "2020-01-01"}}},
              {"valid_to", {{"raw", "B3A4C6DA"}, {"value", "长期"}}},
              {"version", {{"raw", nullptr}, {"value", nullptr}}}}));
}

TEST(IdentityText, MaskHidesTheNumbersAndNothingElse)
{
    for (const char *text : {kResident, kGat})
    {
        const IdentityCard card = ParseIdentityCard(text, true);
        const std::string shown = IdentityCardText(card) + IdentityCardJson(card).dump();
        for (const char *secret : {"110101199001011237", "810000198503080012", "H12345678",
                                   "313130313031", "383130303030", "483132"})
            EXPECT_EQ(shown.find(secret), std::string::npos) << secret;
    }
    EXPECT_EQ(Value(kResident, "number", true), "110101********1237");
    EXPECT_EQ(Value(kGat, "pass_number", true), "*********");
    EXPECT_EQ(Value(kResident, "name", true), "张三");
}

// 丂 to 亅: the second byte of the last one is the separator's.
TEST(IdentityText, ASeparatorInsideACharacterSeparatesNothing)
{
    EXPECT_EQ(NameOf("\x81\x7C"), "亅");
    EXPECT_EQ(NameOf("\x81\x7C\x81\x7C"), "亅亅");
}

TEST(IdentityText, EveryCodeOfTheFirstEditionIsUnderstood)
{
    EXPECT_EQ(NameOf("\x81\x35\xF4\x37"), "ḿ"); // U+1E3F
    EXPECT_EQ(NameOf("\x81\x35\xF4\x36"), "Ḿ"); // its neighbours have not moved
    EXPECT_EQ(NameOf("\x81\x35\xF4\x38"), "Ṁ");
    EXPECT_EQ(NameOf("\x82\x35\x90\x37"), "龴");           // U+9FB4
    EXPECT_EQ(NameOf("\x82\x35\x91\x34"), "龻");           // U+9FBB
    EXPECT_EQ(NameOf("\x84\x31\x82\x36"), "︐");           // U+FE10
    EXPECT_EQ(NameOf("\x84\x31\x83\x35"), "︙");           // U+FE19
    EXPECT_EQ(NameOf("\x82\x35\x90\x36"), "龳");           // U+9FB3
    EXPECT_EQ(NameOf("\x82\x35\x91\x35"), "龼");           // U+9FBC
    EXPECT_EQ(NameOf("\x81\x39\xEE\x39\xD5\xC5"), "㐀张"); // four bytes beside two
}

TEST(IdentityText, ACharacterWithoutACodeIsMarked)
{
    EXPECT_EQ(NameOf("\xFF\xFF\xC8\xFD"), "\uFFFD\uFFFD三");
    EXPECT_EQ(NameOf("\xC8\xFD\xFF"), "三\uFFFD"); // a "|" follows
}

TEST(IdentityText, WhatIsNoTextIsShownAsHex)
{
    const IdentityCard card = ParseIdentityCard("\x1B[2J|||||||||N||||", false);
    EXPECT_EQ(card.fields.at(0).text, "hex 1B5B324A");
    EXPECT_EQ(card.fields.at(0).value, nullptr);
    EXPECT_EQ(card.fields.at(0).raw, "1B5B324A");
    EXPECT_EQ(NameOf("\x81\x36\xA7\x31"), nullptr); // U+202E turns the line round
}

TEST(IdentityText, BlanksAtTheEndAreNoText)
{
    EXPECT_EQ(NameOf("               "), nullptr);
    EXPECT_EQ(NameOf("\xC8\xFD  "), "三");
    EXPECT_THAT(IdentityCardText(ParseIdentityCard("  |||||||||N||||", false)),
                HasSubstr("  Name            -\n"));
}

TEST(IdentityText, ADateThatIsNoneIsShownAsItIs)
{
    for (const char *date : {"19901301", "1990010", "199001011", "1990010x", "x9900101"})
        EXPECT_EQ(Value(std::string("|||") + date + "||||||N||||", "birth"), date);
    EXPECT_EQ(Value("|||18800101||||||N||||", "birth"), "1880-01-01"); // the card's century
}

TEST(IdentityText, AnUnknownKindIsReadAsAResidentCard)
{
    const IdentityCard card = ParseIdentityCard("a|||||||||Z||||", false);
    EXPECT_EQ(IdentityCardJson(card).at("kind"), Json({{"code", "Z"}, {"name", nullptr}}));
    EXPECT_THAT(IdentityCardText(card),
                testing::StartsWith("card of kind Z, read as a resident identity card\n"
                                    "  Name            a\n"
                                    "  Sex             -\n"
                                    "  Nation          -\n"));
}

TEST(IdentityText, WithAnotherNumberOfFieldsIsRefused)
{
    EXPECT_EQ(ParseIdentityCard("", false).error, "1 fields where 14 are expected");
    EXPECT_EQ(ParseIdentityCard("a|b|||||||||N||||", false).error,
              "15 fields where 14 are expected");
}
