// BO_ICGetInfo_YC and BO_ICGetDetail_YC, and the power-on with the other command set.
#include <gtest/gtest.h>

#include "host/transaction_card.h"

using namespace testing_support;

namespace
{

struct Answer
{
    int result;
    std::string text;
    int32_t cardType;
};

Answer GetInfo(const HostLibrary &library, const char *tagList, const char *aid = "",
               int32_t cardType = 0)
{
    Area info(3889);
    Answer answer{0, "", cardType};
    answer.result = CALL(library, BO_ICGetInfo_YC)(&answer.cardType, aid, tagList, 1, info.data(),
                                                   1); // a capacity of 1 changes nothing
    answer.text = info.Text();
    return answer;
}

Answer GetDetail(const HostLibrary &library, const char *aid = "", int32_t cardType = 0)
{
    Area detail(27037);
    Answer answer{0, "", cardType};
    answer.result = CALL(library, BO_ICGetDetail_YC)(&answer.cardType, aid, 1, detail.data(), 1);
    answer.text = detail.Text();
    return answer;
}

ReaderScript &ReadData(ReaderScript *script, const std::string &record)
{
    return script->Apdu("80A80000088306000000000012", "80067C00080101009000")
        .Apdu("00B2010C00", record);
}

const char kLogFci[] = "6F059F4D020B0A9000";

} // namespace

TEST(VariantInfo, GivesEveryElementInItsForm)
{
    ScriptedReader reader;
    SelectCard(&reader.script, kAmountPdol);
    ReadData(&reader.script, "7060 5A0A6222021001098550814F 5711 6222021001098550814FD30122010123"
                             "4F 5F2403301231 5F340101 9F620100 9F6105 31313031 46 5F2004 5A48 0041"
                             "9F0B03 41 46 42 9000")
        .Apdu("80CA9F79", "9F7906000000012345 9000")
        .Apdu("80CA9F77", "9F7706000000100000 9000")
        .Apdu("80CA9F78", "9F7806000000001000 9000")
        .Apdu("80CA9F36", "9F360200FF 9000")
        .PowerOff();
    reader.PlugAndOpen();
    const Answer answer = GetInfo(reader.library, "LKJIHGFEDCBA");
    EXPECT_EQ(0, answer.result);
    EXPECT_EQ(std::string("A0196222021001098550814"
                          "B0346222021001098550814FD301220101234F"
                          "C012000000012345"
                          "D012000000100000"
                          "E006301231"
                          "F012000000001000"
                          "G00201"
                          "H00400FF"
                          "I00200"
                          "J0051101F"
                          "K004ZH") +
                  '\0' + "AL003AFB",
              answer.text);
}

TEST(VariantInfo, ItemsComeInTheOrderOfTheTable)
{
    for (const char *tagList : {"LA", "AL", "xLAAL-"})
    {
        ScriptedReader reader;
        SelectUnnamedCard(&reader.script, kAmountPdol);
        ReadData(&reader.script, "5A026222 9F0B0141 9000").PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ("A0046222L001A", GetInfo(reader.library, tagList).text);
    }
}

TEST(VariantInfo, WhatTheCardHasNotIsEmpty)
{
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script, kAmountPdol);
    ReadData(&reader.script, "5F24 00 9000")
        .Apdu("80CA9F79", "6A88")
        .Apdu("80CA9F77", "9F78029999 9000")
        .ApduFails("80CA9F78", "A2")
        .Apdu("80CA9F36", "6283")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("A000B000C000D000E000F000G000H000I000J000K000L000",
              GetInfo(reader.library, "ABCDEFGHIJKLMNOP").text);
}

TEST(VariantInfo, AContactlessAnswerWithTheDataAtOnceIsTheApplicationData)
{
    ScriptedReader reader(Config("Iccmd", "1", Config("loglevel", "2")));
    reader.script.PowerOnFails("1001"); // no contact card
    reader.script.contactless = true;
    SelectUnnamedCard(&reader.script, kAmountPdol);
    const std::string answer = "7713 82027C00 5707 62220210010985 5F340102";
    reader.script.Apdu("80A80000088306000000000012", answer + "9000").PowerOff();
    reader.PlugAndOpen();
    const Answer information = GetInfo(reader.library, "ABG", nullptr, 7);
    EXPECT_EQ("A000B01462220210010985G00202", information.text);
    EXPECT_EQ(1, information.cardType) << "the interface that answered";
    const std::string data = HexOf(BytesOf(answer));
    reader.Finish();
    EXPECT_EQ("Info:szTempData = " + data + ", iTagValueLen = 19\r\n" + "Info:szAppData = " + data +
                  ", iAppDataLen = 19\r\n",
              reader.BusinessLog());
}

TEST(VariantInfo, AListWithoutALetterIsRefusedBeforePowerOn)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    for (const char *tagList : {"abc", "", "12", static_cast<const char *>(nullptr)})
    {
        const Answer answer = GetInfo(reader.library, tagList);
        EXPECT_EQ(-1007, answer.result);
        EXPECT_EQ("", answer.text);
    }
    Area info(10);
    int32_t cardType = 0;
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetInfo_YC)(nullptr, "", "A", 9, info.data(), 1));
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetInfo_YC)(&cardType, "", "A", 9, nullptr, 1));
    reader.Finish();
    EXPECT_EQ("Error:TagList Error!\r\nError:TagList Error!\r\nError:TagList Error!\r\n"
              "Error:TagList Error!\r\n",
              reader.BusinessLog());
}

TEST(VariantInfo, EveryStepHasItsCodeAndPowersTheCardOff)
{
    struct Row
    {
        const char *pse, *fci, *options, *message;
        int code;
    };
    const char *const none = nullptr;
    for (const Row &row : {Row{"6A82", none, none, "PBOC_SelectPSE", -4100},
                           Row{"9303", "6A82", none, "PBOC_SelectAID", -4102},
                           Row{"9303", "6F009000", none, "GetTag 9F38", -4103},
                           Row{"6283", "6F069F38039F41049000", none, "PBOC_BuildDOL", -4103},
                           Row{"9303", kAmountPdol, "70009000", "PBOC_GetProcOptions", -4104}})
    {
        SCOPED_TRACE(row.message);
        ScriptedReader reader;
        reader.script.PowerOn("3B00").Apdu(kSelectEnvironment, row.pse);
        if (row.fci != none)
            reader.script.Apdu("00A4040002A000", row.fci);
        if (row.options != none)
            reader.script.Apdu("80A80000088306000000000012", row.options);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Answer answer = GetInfo(reader.library, "A", "A000", 2);
        EXPECT_EQ(row.code, answer.result);
        EXPECT_EQ("", answer.text);
        EXPECT_EQ(2, answer.cardType) << "as it was";
        reader.Finish();
        EXPECT_EQ("Error:" + std::string(row.message) + " Error!\r\n", reader.BusinessLog());
    }
}

// Every element at its longest: the answer fills the room that is promised, to the last byte.
TEST(VariantInfo, TheLongestAnswerFillsThePromisedRoom)
{
    std::string data;
    for (const char *tag : {"5A", "57", "5F24", "5F34", "9F62"})
        data += tag + LongLength(200) + Repeated(200, "12");
    for (const char *tag : {"9F61", "5F20", "9F0B"})
        data += tag + LongLength(600) + Repeated(600, "42");
    ScriptedReader reader(Config("Iccmd", "1"));
    SelectUnnamedCard(&reader.script, kAmountPdol);
    const size_t recordSize = 1000; // characters
    const size_t records = (data.size() + recordSize - 1) / recordSize;
    reader.script.Apdu("80A80000088306000000000012", "80067C000801" + HexByte(records) + "009000");
    for (size_t i = 0; i < records; i++)
        reader.script.Apdu("00B2" + HexByte(i + 1) + "0C00",
                           data.substr(i * recordSize, recordSize) + "9000");
    for (const char *tag : {"9F79", "9F77", "9F78", "9F36"})
        reader.script.Apdu("80CA" + std::string(tag),
                           tag + LongLength(200) + Repeated(200, "34") + "9000");
    reader.script.PowerOff();
    reader.PlugAndOpen();
    const Answer answer = GetInfo(reader.library, "ABCDEFGHIJKL");
    EXPECT_EQ(0, answer.result);
    EXPECT_EQ(3888u, answer.text.size());
    EXPECT_EQ("L512" + std::string(512, 'B'), answer.text.substr(3888 - 516));
}

TEST(VariantDetail, GivesTheMerchantNameAsTheCardHasIt)
{
    ScriptedReader reader(Config("loglevel", "2"));
    SelectCard(&reader.script, kLogFci);
    std::string record;
    for (size_t i = 0; i < 45; i++)
        record += HexByte(0x41 + i);
    reader.script.Apdu("00B2015C00", record + "9000")
        .Apdu("00B2025C00", "250131 235959 000000012345 000000000000 0156 0156"
                            "544553542053484F50204E4F 0000000000000000 01 00FF 9000")
        .Apdu("00B2035C00", "6A83")
        .PowerOff();
    reader.PlugAndOpen();
    const Answer answer = GetDetail(reader.library);
    EXPECT_EQ(0, answer.result);
    EXPECT_EQ(0, answer.cardType);
    EXPECT_EQ("02106"
              "P0124748494A4B4C"
              "Q0124D4E4F505152"
              "R0045556"
              "S006414243"
              "T0026B"
              "U006444546"
              "V0045354"
              "W020WXYZ[\\]^_`abcdefghij"
              "X0046C6D"
              "P012000000012345Q012000000000000R0040156S006250131T00201U006235959V0040156"
              "W020TEST SHOP NO" +
                  std::string(8, '\0') + "X00400FF",
              answer.text);
    reader.Finish();
    EXPECT_EQ("Info:szRecord = 0B0A\r\n", reader.BusinessLog());
}

TEST(VariantDetail, StopsAtTheFirstRecordThatCannotBeRead)
{
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script, kLogFci);
    for (const char *record : {"00B2015C00", "00B2025C00", "00B2035C00"})
        reader.script.Apdu(record, "2501319000");
    reader.script.Apdu("00B2045C00", "6A83").PowerOff();
    SelectUnnamedCard(&reader.script, kLogFci).Apdu("00B2015C00", "6A83").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("03106", GetDetail(reader.library).text.substr(0, 5));
    EXPECT_EQ("00000", GetDetail(reader.library).text);
}

TEST(VariantDetail, TheLongestLogFillsThePromisedRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    SelectUnnamedCard(&reader.script, "6F059F4D020BFF9000");
    for (size_t record = 1; record <= 255; record++)
        reader.script.Apdu("00B2" + HexByte(record) + "5C00", "9000");
    reader.script.PowerOff();
    reader.PlugAndOpen();
    const Answer answer = GetDetail(reader.library);
    EXPECT_EQ("255106P012", answer.text.substr(0, 10));
    EXPECT_EQ(27036u, answer.text.size());
}

TEST(VariantDetail, EveryStepHasItsCodeAndPowersTheCardOff)
{
    struct Row
    {
        const char *pse, *fci, *message;
        int code;
    };
    for (const Row &row : {Row{"6A82", nullptr, "PBOC_SelectPSE", -4100},
                           Row{"9303", "6A82", "PBOC_SelectAID", -4102},
                           Row{"9303", "6F049F4E010B9000", "GetTag 9F4D", -4117}})
    {
        ScriptedReader reader;
        reader.script.PowerOn("3B00").Apdu(kSelectEnvironment, row.pse);
        if (row.fci != nullptr)
            reader.script.Apdu("00A4040002A000", row.fci);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Answer answer = GetDetail(reader.library, "A000", 2);
        EXPECT_EQ(row.code, answer.result);
        EXPECT_EQ("", answer.text);
        EXPECT_EQ(2, answer.cardType);
        reader.Finish();
        EXPECT_EQ("Error:" + std::string(row.message) + " Error!\r\n", reader.BusinessLog());
    }
    ScriptedReader reader;
    reader.PlugAndOpen();
    Area detail(10);
    int32_t cardType = 0;
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetDetail_YC)(nullptr, "", 9, detail.data(), 1));
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetDetail_YC)(&cardType, "", 9, nullptr, 1));
}

// The reader is deaf to the command set of the settings: it gets the other one, which stays.
TEST(VariantPowerOn, ADeafReaderIsTriedWithTheOtherCommandSetWhichIsKept)
{
    ScriptedReader reader;
    reader.script.rows.push_back({KrelFrame("E101"), ""});
    reader.script.united = true;
    for (int call = 0; call < 2; call++)
        SelectUnnamedCard(&reader.script, kLogFci).Apdu("00B2015C00", "6A83").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("00000", GetDetail(reader.library).text);
    EXPECT_EQ(Config("Iccmd", "1"), reader.library.Config());
    EXPECT_EQ("00000", GetDetail(reader.library).text) << "powered on at the first try";
}

TEST(VariantPowerOn, EveryVariantCallTriesTheOtherSet)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    const char *const text = "P0041234";
    const auto fail = [&](bool united)
    {
        reader.script.united = united;
        reader.script.PowerOnFails(united ? "5555" : "55");
    };
    const auto environmentFails = [&](bool united)
    {
        reader.script.united = united;
        reader.script.PowerOn("3B00").Apdu(kSelectEnvironment, "6A82").PowerOff();
    };
    fail(true);
    environmentFails(false); // the setting now is 0
    fail(false);
    environmentFails(true); // and 1 again
    fail(true);
    environmentFails(false);
    reader.PlugAndOpen();
    EXPECT_EQ(-4100, GetInfo(reader.library, "A").result);
    EXPECT_EQ(Config("Iccmd", "0"), reader.library.Config());
    EXPECT_EQ(-4100, GetDetail(reader.library).result);
    EXPECT_EQ(Config("Iccmd", "1"), reader.library.Config());
    Area arqc(2583), list(1025);
    int32_t cardType = 0;
    EXPECT_EQ(-4100, CALL(reader.library, BO_ICGenARQC_YC)(&cardType, "", text, 2583, arqc.data(),
                                                           1, list.data()));
    EXPECT_EQ(Config("Iccmd", "0"), reader.library.Config());
}

TEST(VariantPowerOn, WhenBothFailTheSecondResultIsGivenAndTheSettingStaysChanged)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("55");
    reader.script.united = true;
    reader.script.PowerOnFails("77");
    reader.PlugAndOpen();
    const Answer answer = GetInfo(reader.library, "A", "", 0);
    EXPECT_EQ(-99, answer.result) << "a status that the second set does not name";
    EXPECT_EQ("", answer.text);
    EXPECT_EQ(Config("Iccmd", "1"), reader.library.Config());
}

// Deliberate: the setting changes whatever the failure was, here before any wait.
TEST(VariantPowerOn, ABadTimeOutChangesTheSettingToo)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    Area info(3889);
    int32_t cardType = 0;
    EXPECT_EQ(-1007, CALL(reader.library, BO_ICGetInfo_YC)(&cardType, "", "A", 1, info.data(), -1));
    EXPECT_EQ(Config("Iccmd", "1"), reader.library.Config());
}

// Deliberate: nothing is powered, and the call fails at its first card command.
TEST(VariantPowerOn, ASettingOfNeitherSetIsLeftAloneAndTheCallGoesOn)
{
    ScriptedReader reader(Config("Iccmd", "5"));
    reader.PlugAndOpen();
    EXPECT_EQ(-4100, GetInfo(reader.library, "A").result);
    EXPECT_EQ(Config("Iccmd", "5"), reader.library.Config());
    reader.Finish();
    EXPECT_EQ("Error:iErrorCode = -1008\r\n"
              "Error:PBOC_SelectPSE Error!\r\n"
              "Error:IcPowerOff Error!\r\n"
              "Error:iErrorCode = -1008\r\n",
              reader.BusinessLog());
}

TEST(VariantPowerOn, TheOrdinaryCallsDoNotTryTheOtherSet)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("55");
    reader.PlugAndOpen();
    Area info(4409);
    EXPECT_EQ(1, CALL(reader.library, BO_ICGetInfo)(0, "A", 0, info.data(), 1));
    EXPECT_EQ(Config("Iccmd", "0"), reader.library.Config());
}
