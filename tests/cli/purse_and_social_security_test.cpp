// The bytes of the electronic purse, and the elements of the social security card.
#include "purse_data.h"
#include "social_security.h"

#include <gtest/gtest.h>

#include "presentation.h"

using namespace tool;

TEST(PurseData, TheOrderIsKeyIndexAmountTerminal)
{
    PurseOptions purse;
    purse.keyIndex = 3;
    purse.amount = 1234;
    purse.terminal = "112233445566";
    EXPECT_EQ(Hex(OrderData(purse)), "03000004D2112233445566");
    purse.amount = 0xFFFFFFFF;
    EXPECT_EQ(Hex(OrderData(purse)), "03FFFFFFFF112233445566");
}

TEST(PurseData, ABalanceHasFourBytes)
{
    EXPECT_EQ(BalanceText(Bytes("00002710")), "100.00");
    EXPECT_EQ(BalanceText(Bytes("FFFFFFFF")), "42949672.95");
    EXPECT_EQ(BalanceText(Bytes("0000002710")), "");
    EXPECT_EQ(BalanceText(""), "");
}

TEST(PurseData, RecordsAreTransactions)
{
    const std::vector<std::string> records = {
        Bytes("0021000000000004D206112233445566"
              "20260131235958"),
        Bytes("0001000000000000640A112233445566"
              "99999999999999"),
        Bytes("0102"),
    };
    EXPECT_EQ(PurseRecordsText(records),
              "1  2026-01-31  23:59:58  purchase from purse         12.34  terminal 112233445566  "
              "counter 33\n"
              "2  99999999  999999  0A                           1.00  terminal 112233445566  "
              "counter 1\n"
              "3  0102\n");
    EXPECT_EQ(PurseRecordsText({}), "no records\n");
    EXPECT_EQ(PurseRecordsJson(records)[0].dump(),
              R"({"date":"2026-01-31","time":"23:59:58","type":{"code":"06","name":)"
              R"("purchase from purse"},"amount":"12.34","terminal":"112233445566","counter":33,)"
              R"("raw":"0021000000000004D20611223344556620260131235958"})");
    EXPECT_EQ(PurseRecordsJson(records)[2].dump(), R"({"raw":"0102"})");
}

// ---- Social security ----

static const char kCard[] = "310000D1560000050000|01|312E3030|9100|20250301|20350230|A12345678|"
                            "11010519491231002X|\xD5\xC5\xC8\xFD|1|01|110105|19491231";

TEST(SocialSecurity, EveryElementHasItsPlace)
{
    const SocialSecurityFields list = ReadSocialSecurity(kCard, false);
    EXPECT_EQ(list.error, "");
    EXPECT_EQ(SocialSecurityText(list), "01  Card identifier           310000D1560000050000\n"
                                        "02  Card type                 01\n"
                                        "03  Version                   1.00\n"
                                        "04  Issuer                    9100\n"
                                        "05  Issued                    2025-03-01\n"
                                        "06  Expires                   2035-02-30\n"
                                        "07  Card number               A12345678\n"
                                        "08  Social security number    11010519491231002X\n"
                                        "09  Name                      张三\n"
                                        "0A  Sex                       1 (male)\n"
                                        "0B  Nation                    01\n"
                                        "0C  Birthplace                110105\n"
                                        "0D  Birth date                1949-12-31\n");
    const Json json = SocialSecurityJson(list);
    EXPECT_EQ(json.size(), 13u);
    EXPECT_EQ(json.at("name").dump(), R"({"tag":"09","raw":"D5C5C8FD","value":"张三"})");
    EXPECT_EQ(json.at("issued").dump(), R"({"tag":"05","raw":"20250301","value":"2025-03-01"})");
}

TEST(SocialSecurity, MaskHidesBothNumbers)
{
    const SocialSecurityFields list = ReadSocialSecurity(kCard, true);
    const std::string text = SocialSecurityText(list) + SocialSecurityJson(list).dump();
    EXPECT_EQ(text.find("11010519491231002X"), std::string::npos);
    EXPECT_EQ(text.find("A12345678"), std::string::npos);
    EXPECT_EQ(text.find(Hex("11010519491231002X")), std::string::npos);
    EXPECT_NE(text.find("110105********002X"), std::string::npos);
    EXPECT_NE(text.find("张三"), std::string::npos);
}

TEST(SocialSecurity, EmptyAndOddElements)
{
    const SocialSecurityFields list = ReadSocialSecurity("||||xx|20259999|\x1B[2J||||||", false);
    ASSERT_EQ(list.error, "");
    EXPECT_EQ(list.fields[0].text, "");
    EXPECT_TRUE(list.fields[0].value.is_null());
    EXPECT_EQ(list.fields[4].text, "not hexadecimal: 7878");
    EXPECT_EQ(list.fields[5].text, "20259999");
    EXPECT_EQ(list.fields[6].text, "hex 1B5B324A");
}

TEST(SocialSecurity, ThirteenElementsAreNeeded)
{
    EXPECT_EQ(ReadSocialSecurity("", false).error, "it has 1 elements instead of 13");
    EXPECT_EQ(ReadSocialSecurity(std::string(13, '|'), false).error,
              "it has 14 elements instead of 13"); // a name that holds the separator
}
