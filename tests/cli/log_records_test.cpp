#include "log_records.h"

#include <gtest/gtest.h>

#include "presentation.h"

using namespace tool;

// 106 characters: the record of a published log extract, then one with a Chinese merchant name.
static const std::string kFirst = "P012000000000100Q012000000000000R0040156S006160524T00201"
                                  "U006191222V0040156W020                    X004003F";
static const std::string kSecond = "P012000000012345Q012000000000500R0040392S006250230T00260"
                                   "U006250000V0049999W020" +
                                   Bytes("B1B1BEA9C9CCB5EA") + "            X0040100";

TEST(Transactions, AreAnAlignedTable)
{
    ASSERT_EQ(kFirst.size(), 106U);
    ASSERT_EQ(kSecond.size(), 106U);
    const LetterRecords log = ParseRecords("02106" + kFirst + kSecond);
    ASSERT_EQ(log.error, "");
    EXPECT_EQ(TransactionsText(log), "No  Date        Time      Type               Amount  Other "
                                     "amount  Currency  Country  ATC  "
                                     "Merchant\n"
                                     " 1  2016-05-24  19:12:22  cash                 1.00          "
                                     "0.00  CNY       China     63\n"
                                     " 2  2025-02-30  250000    load from account   12345          "
                                     " 500  JPY       9999     256  "
                                     "北京商店\n");
}

TEST(Transactions, AreJsonWithRawItems)
{
    const Json records = TransactionsJson(ParseRecords("01106" + kSecond));
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].dump(),
              R"({"date":"2025-02-30","time":null,)"
              R"("type":{"code":"60","name":"load from account"},"amount":"12345",)"
              R"("other_amount":"500","currency":{"code":"0392","name":"JPY"},)"
              R"("country":{"code":"9999","name":null},"merchant":"北京商店","atc":256,)"
              R"("raw":{"P":"000000012345","Q":"000000000500","R":"0392","S":"250230","T":"60",)"
              R"("U":"250000","V":"9999","W":"B1B1BEA9C9CCB5EA202020202020202020202020",)"
              R"("X":"0100"}})");
}

TEST(Transactions, NoneIsSaid)
{
    EXPECT_EQ(TransactionsText(ParseRecords("00000")), "no transactions\n");
    EXPECT_EQ(TransactionsJson(ParseRecords("00000")).dump(), "[]");
}

TEST(Transactions, ItemsThatAreMissingOrHostileLeaveTheRestReadable)
{
    const std::string record = "P003\x1B[JS006AAAAAAX004ZZZZ";
    const LetterRecords log = ParseRecords("01" + std::string("025") + record);
    ASSERT_EQ(log.error, "");
    const std::string text = TransactionsText(log);
    EXPECT_EQ(text.find('\x1B'), std::string::npos);
    EXPECT_NE(text.find("AAAAAA"), std::string::npos);
    const Json json = TransactionsJson(log);
    EXPECT_TRUE(json[0].at("date").is_null());
    EXPECT_TRUE(json[0].at("amount").is_null());
    EXPECT_TRUE(json[0].at("atc").is_null());
    EXPECT_EQ(json[0].at("raw").at("P"), "hex 1B5B4A");
}

// 97 characters.
static const std::string kLoad = "O0011P012000000003780Q012000000013780S006160524U006191222"
                                 "V0040156W020MARKET              X0040007";

TEST(Loads, AreAnAlignedTable)
{
    ASSERT_EQ(kLoad.size(), 97U);
    std::string second = kLoad;
    second[4] = '2';
    EXPECT_EQ(LoadsText(ParseRecords("02097" + kLoad + second)),
              "No  Date        Time      Purse   Before   After  Country  ATC  Merchant\n"
              " 1  2016-05-24  19:12:22  first    37.80  137.80  China      7  MARKET\n"
              " 2  2016-05-24  19:12:22  second   37.80  137.80  China      7  MARKET\n");
}

TEST(Loads, AreJson)
{
    const Json records = LoadsJson(ParseRecords("01097" + kLoad));
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].at("purse").dump(), R"({"code":"1","name":"first"})");
    EXPECT_EQ(records[0].at("before"), "37.80");
    EXPECT_EQ(records[0].at("after"), "137.80");
    EXPECT_EQ(records[0].at("merchant"), "MARKET");
    EXPECT_EQ(records[0].at("atc"), 7);
    EXPECT_EQ(records[0].at("raw").at("O"), "1");
}

TEST(Loads, NoneIsSaid)
{
    EXPECT_EQ(LoadsText(ParseRecords("00000")), "no loads\n");
}
