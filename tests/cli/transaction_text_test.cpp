// What people write about a transaction, made into the text that the calls take.
#include "transaction_text.h"

#include <gtest/gtest.h>

using namespace tool;

static const char kNow[] = "20260131235958";

static TransactionText Made(const TransactionInput &input, bool variant = false)
{
    return MakeTransactionText(input, kNow, variant);
}

static TransactionInput Amount(const std::string &amount)
{
    TransactionInput input;
    input.amount = amount;
    return input;
}

TEST(TransactionText, AnAmountAloneIsEnough)
{
    EXPECT_EQ(Made(Amount("12.34")).text,
              "P012000000001234Q012000000000000R0040156S006260131T00200U006235958");
    EXPECT_EQ(Made(Amount("12.34"), true).text, Made(Amount("12.34")).text);
}

TEST(TransactionText, EveryFieldHasItsLetter)
{
    TransactionInput input = Amount("1");
    input.other = "0.5";
    input.currency = "HKD";
    input.date = "2025-12-24";
    input.time = "09:15";
    input.type = "21";
    input.merchant = "TEA HOUSE";
    EXPECT_EQ(Made(input).text, "P012000000000100Q012000000000050R0040344S006251224T00221U006091500"
                                "V020TEA HOUSE           ");
}

// A shorter name would be followed by what stands in the library's area from an earlier field.
TEST(TransactionText, TheMerchantsNameHasAlwaysTwentyBytesOfGbk)
{
    TransactionInput input = Amount("1");
    input.merchant = "茶馆";
    const std::string text = Made(input).text;
    EXPECT_EQ(text.substr(text.size() - 24), "V020\xB2\xE8\xB9\xDD                ");
    EXPECT_EQ(Made(input, true).text.substr(66), "V040B2E8B9DD20202020202020202020202020202020");
    input.merchant = "一二三四五六七八九十";
    EXPECT_EQ(Made(input).error, "");
    input.merchant += "1";
    EXPECT_EQ(Made(input).error,
              "--merchant takes a name of at most 20 bytes in GBK (a Chinese character has two)");
    input.merchant = "\xFF\xFE";
    EXPECT_NE(Made(input).error, "");
}

// The first place where a letter occurs counts: the name stands behind all fields.
TEST(TransactionText, TheMerchantsNameStandsLast)
{
    TransactionInput input = Amount("1");
    input.merchant = "P003 Q004 TSU";
    const std::string text = Made(input).text;
    EXPECT_EQ(text.find('P'), 0u);
    EXPECT_EQ(text.find("V020"), text.size() - 24);
}

TEST(TransactionText, OwnFieldsGoBeforeTheOthers)
{
    TransactionInput input;
    input.letters = "T00209P003999";
    EXPECT_EQ(Made(input).text, "P003999Q012000000000000R0040156S006260131T00209U006235958");
    input.letters = "K008A1B2C3D4P003999";
    EXPECT_EQ(Made(input).error, "--letters: there is no field K, only P to V");
    EXPECT_EQ(Made(input, true).text,
              "K008A1B2C3D4P003999Q012000000000000R0040156S006260131T00200U006235958");
    input.letters = "P003999I00210";
    EXPECT_EQ(Made(input, true).error, "--letters: there is no field I, only J to V");
    input.letters = "P00399";
    EXPECT_EQ(Made(input).error, "--letters: at offset 0: item P says 3 characters, 2 follow");
    input.letters = "V999" + std::string(999, 'x') + "P001" + "1";
    EXPECT_EQ(Made(input).error, "the transaction's text is longer than 1024 characters");
}

TEST(TransactionText, TheAmountIsNeeded)
{
    EXPECT_EQ(Made({}).error, "the amount is missing: --amount 12.34");
}

TEST(TransactionText, AmountsHaveTheDecimalsOfTheirCurrency)
{
    std::string digits;
    EXPECT_TRUE(AmountDigits("9999999999.99", 2, &digits));
    EXPECT_EQ(digits, "999999999999");
    EXPECT_TRUE(AmountDigits("0", 2, &digits));
    EXPECT_EQ(digits, "000000000000");
    EXPECT_TRUE(AmountDigits("007.5", 2, &digits));
    EXPECT_EQ(digits, "000000000750");
    for (const char *wrong : {"", ".", "1.", ".5", "1.234", "-1", "+1", "1,5", "1.2.3", " 1", "1e3",
                              "10000000000.00", "一"})
        EXPECT_FALSE(AmountDigits(wrong, 2, &digits)) << wrong;
    TransactionInput yen = Amount("1000");
    yen.currency = "JPY";
    EXPECT_EQ(Made(yen).text.substr(0, 16), "P012000000001000");
    yen.amount = "10.5";
    EXPECT_EQ(Made(yen).error, "--amount takes an amount such as 12.34, not \"10.5\"");
    yen.amount = "10";
    yen.other = "x";
    EXPECT_EQ(Made(yen).error, "--other takes an amount such as 1.00, not \"x\"");
}

TEST(TransactionText, DatesAreDaysOfTheCalendar)
{
    std::string digits;
    EXPECT_TRUE(DateDigits("2024-02-29", &digits));
    EXPECT_EQ(digits, "20240229");
    EXPECT_TRUE(DateDigits("20491231", &digits));
    EXPECT_TRUE(DateDigits("000101", &digits));
    EXPECT_EQ(digits, "20000101");
    for (const char *wrong :
         {"", "2025-02-29", "2025-13-01", "2025-00-10", "2025-01-00", "2025-04-31", "1999-12-31",
          "2050-01-01", "25-01-31", "2025-0131", "202501-31", "2025/01/31", "31.01.2025", "25013",
          "2025-01-31 ", "2025-01-3a"})
        EXPECT_FALSE(DateDigits(wrong, &digits)) << wrong;
    TransactionInput input = Amount("1");
    input.date = "2025-02-29";
    EXPECT_EQ(Made(input).error, "--date takes a day such as 2025-01-31 (years 2000 to 2049), not "
                                 "\"2025-02-29\"");
}

TEST(TransactionText, TimesAreTimesOfADay)
{
    std::string digits;
    for (const char *same : {"09:15:00", "091500", "09:15"})
    {
        EXPECT_TRUE(TimeDigits(same, &digits)) << same;
        EXPECT_EQ(digits, "091500");
    }
    for (const char *wrong : {"", "24:00:00", "12:60:00", "12:00:60", "1200", "12:0", "9:15:00",
                              "12-00-00", "12:00:00:", "12:0000", ":::::::"})
        EXPECT_FALSE(TimeDigits(wrong, &digits)) << wrong;
    TransactionInput input = Amount("1");
    input.time = "25:00:00";
    EXPECT_EQ(Made(input).error, "--time takes a time such as 23:59:59, not \"25:00:00\"");
}

TEST(TransactionText, CurrenciesAreNamesOrNumbers)
{
    std::string digits;
    EXPECT_TRUE(CurrencyDigits("CNY", &digits));
    EXPECT_EQ(digits, "0156");
    EXPECT_TRUE(CurrencyDigits("840", &digits));
    EXPECT_EQ(digits, "0840");
    EXPECT_TRUE(CurrencyDigits("0999", &digits));
    EXPECT_EQ(digits, "0999");
    for (const char *wrong : {"", "cny", "XYZ", "00156", "15A"})
        EXPECT_FALSE(CurrencyDigits(wrong, &digits)) << wrong;
    TransactionInput input = Amount("1");
    input.currency = "XYZ";
    EXPECT_EQ(Made(input).error,
              "--currency takes a name such as CNY or a number such as 156, not \"XYZ\"");
}

TEST(TransactionText, TypesAreTwoDigits)
{
    for (const char *wrong : {"0", "000", "0A", "cash"})
    {
        TransactionInput input = Amount("1");
        input.type = wrong;
        EXPECT_EQ(Made(input).error,
                  "--type takes two digits such as 00, not \"" + std::string(wrong) + "\"");
    }
}
