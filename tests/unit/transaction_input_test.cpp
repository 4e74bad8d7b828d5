// The host's transaction text: its fields P to V in the transaction data.
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

#include "api/transaction_input.h"
#include "support/log_capture.h"
#include "support/pboc_data.h"
#include "vantor/pboc.h"

using testing_support::HexOf;
using testing_support::LogCapture;

namespace
{

struct TransactionInput : testing::Test
{
    LogCapture log;
    unsigned char before[sizeof g_szTxData];
    TransactionInput()
    {
        memcpy(before, g_szTxData, sizeof before);
    }
    ~TransactionInput() override
    {
        memcpy(g_szTxData, before, sizeof before);
    }
    static std::string Stored(int offset, int length)
    {
        return HexOf(g_szTxData + offset, static_cast<size_t>(length));
    }
    // Where each value lies in the store.
    static std::string Amount()
    {
        return Stored(7, 6);
    }
    static std::string OtherAmount()
    {
        return Stored(16, 6);
    }
    static std::string Currency()
    {
        return Stored(37, 2);
    }
    static std::string Date()
    {
        return Stored(41, 3);
    }
    static std::string Type()
    {
        return Stored(46, 1);
    }
    static std::string Number()
    {
        return Stored(50, 4);
    }
    static std::string Time()
    {
        return Stored(61, 3);
    }
    static std::string Merchant()
    {
        return {reinterpret_cast<const char *>(g_szTxData) + 67, 20};
    }
};

} // namespace

TEST_F(TransactionInput, FieldsReplaceTheStoredValues)
{
    EXPECT_EQ(0, ReadTransactionInput("P012000000010000S006250101"));
    EXPECT_EQ("000000010000", Amount());
    EXPECT_EQ("250101", Date());
    EXPECT_EQ(0, ReadTransactionInput("V020ABCDEFGHIJ0123456789U006235959T00260R0040840"
                                      "Q012000000000099"));
    EXPECT_EQ("000000000099", OtherAmount());
    EXPECT_EQ("0840", Currency());
    EXPECT_EQ("60", Type());
    EXPECT_EQ("235959", Time());
    EXPECT_EQ("ABCDEFGHIJ0123456789", Merchant());
    EXPECT_EQ("000000010000", Amount()) << "a field left out keeps the earlier value";
    EXPECT_EQ("", log.Lines());
}

TEST_F(TransactionInput, AShortValueIsPaddedOnTheLeft)
{
    EXPECT_EQ(0, ReadTransactionInput("P00312AS00215T0017"));
    EXPECT_EQ("00000000012A", Amount());
    EXPECT_EQ("000015", Date());
    EXPECT_EQ("07", Type());
    EXPECT_EQ(0, ReadTransactionInput("P000"));
    EXPECT_EQ("000000000000", Amount());
}

TEST_F(TransactionInput, ALongValueGivesItsLastCharacters)
{
    EXPECT_EQ(0, ReadTransactionInput("P014FF123456789012S00820250131R0060008A0"));
    EXPECT_EQ("123456789012", Amount());
    EXPECT_EQ("250131", Date());
    EXPECT_EQ("08A0", Currency());
}

TEST_F(TransactionInput, TheMerchantNameIsTakenAsItStandsUpTo20Characters)
{
    EXPECT_EQ(0, ReadTransactionInput("V024abcdefghijklmnopqrstuvwx"));
    EXPECT_EQ("abcdefghijklmnopqrst", Merchant());
}

TEST_F(TransactionInput, BehindAShortMerchantNameStandsWhatALongerFieldLeft)
{
    EXPECT_EQ(0, ReadTransactionInput("P012000000000012V004SHOE"));
    EXPECT_EQ(std::string("SHOE00000012\0\0\0\0\0\0\0\0", 20), Merchant());
}

TEST_F(TransactionInput, BadCharactersAreRefusedUnderTheFieldsOwnMessage)
{
    struct Row
    {
        const char *text, *message;
    };
    for (const Row &row :
         {Row{"P00312a", "Error:TAG P Error!\r\n"}, Row{"Q003x12", "Error:TAG Q Error!\r\n"},
          Row{"R004015G", "Error:TAG R Error!\r\n"}, Row{"S00625010A", "Error:TAG S Error!\r\n"},
          Row{"T002 1", "Error:TAG T Error!\r\n"}, Row{"U006AB5959", "Error:TAG U Error!\r\n"}})
    {
        LogCapture errors(1);
        EXPECT_EQ(-1007, ReadTransactionInput(row.text)) << row.text;
        EXPECT_EQ(row.message, errors.Lines());
        EXPECT_EQ(0, memcmp(before, g_szTxData, sizeof before)) << row.text;
    }
}

TEST_F(TransactionInput, TheWholeValueIsExaminedNotOnlyItsLastCharacters)
{
    EXPECT_EQ(-1007, ReadTransactionInput("P013x000000000012"));
}

TEST_F(TransactionInput, FieldsAreReadInTheOrderPToV)
{
    LogCapture errors(1);
    EXPECT_EQ(-1007, ReadTransactionInput("U001xT00260P00199"));
    EXPECT_EQ("Error:TAG U Error!\r\n", errors.Lines());
    EXPECT_EQ("60", Type()) << "what comes before the bad field is stored";
    EXPECT_EQ("000000000009", Amount());
}

TEST_F(TransactionInput, TheUnpredictableNumberIsFourCallsOfRand)
{
    srand(4711);
    uint8_t expected[4];
    for (uint8_t &byte : expected)
        byte = static_cast<uint8_t>(rand());
    srand(4711);
    DrawUnpredictableNumber();
    EXPECT_EQ(HexOf(expected, 4), Number());
    DrawUnpredictableNumber();
    EXPECT_NE(HexOf(expected, 4), Number());
}

TEST_F(TransactionInput, TextsOf1To1024CharactersAreTransactionTexts)
{
    EXPECT_FALSE(IsTransactionText(nullptr));
    EXPECT_FALSE(IsTransactionText(""));
    EXPECT_TRUE(IsTransactionText("P"));
    EXPECT_TRUE(IsTransactionText(std::string(1024, 'x').c_str()));
    EXPECT_FALSE(IsTransactionText(std::string(1025, 'x').c_str()));
}

TEST_F(TransactionInput, TheOrdinaryReadingTakesNothingBeforeP)
{
    EXPECT_EQ(0, ReadTransactionInput("J0040344K008CAFE0001L0101112131415"));
    EXPECT_EQ(0, memcmp(before, g_szTxData, sizeof before));
}

TEST_F(TransactionInput, TheVariantRequestTakesJToV)
{
    ReadVariantRequestInput("J0040344K008CAFE0001L0101112131415P00312AV004BEEF");
    EXPECT_EQ("0344", Stored(25, 2));
    EXPECT_EQ("1112131415", Stored(29, 5));
    EXPECT_EQ("CAFE0001", Number());
    EXPECT_EQ("00000000012A", Amount());
    EXPECT_EQ(std::string(18, '\0') + "\xBE\xEF", Merchant());
}

TEST_F(TransactionInput, TheVariantRequestPassesOverWhatIsNotHexadecimal)
{
    ReadVariantRequestInput("P00312aK008cafe0001S0062501G1U0062359AFV004MILK");
    EXPECT_EQ("000000000012", Amount());
    EXPECT_EQ("12345678", Number());
    EXPECT_EQ("303030", Date());
    EXPECT_EQ("2359AF", Time()) << "hexadecimal is enough";
    EXPECT_EQ(std::string(20, '\0'), Merchant());
}

TEST_F(TransactionInput, TheVariantReadingExaminesOnlyTheCharactersThatCount)
{
    ReadVariantRequestInput("P013x123456789012R006zz0840");
    EXPECT_EQ("123456789012", Amount());
    EXPECT_EQ("0840", Currency());
    EXPECT_EQ(0, ReadVariantCompletionInput("P013x000000000099"));
    EXPECT_EQ("000000000099", Amount());
}

TEST_F(TransactionInput, TheVariantCompletionAnswersABadFieldAndStops)
{
    LogCapture errors(1);
    EXPECT_EQ(-1007, ReadVariantCompletionInput("P0041234R002Z1T00260"));
    EXPECT_EQ("Error:TAG R Error!\r\n", errors.Lines());
    EXPECT_EQ("000000001234", Amount());
    EXPECT_EQ("01", Type()) << "not reached";
    EXPECT_EQ(0, ReadVariantCompletionInput("J0040344K008CAFE0001V004MILK"));
    EXPECT_EQ("0156", Stored(25, 2));
    EXPECT_EQ("12345678", Number());
}
