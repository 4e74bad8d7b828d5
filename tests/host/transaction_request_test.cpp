// BO_ICGenARQC: from power-on to the data that go to the issuer.
#include <cstdlib>
#include <gtest/gtest.h>

#include "host/transaction_card.h"

using namespace testing_support;

namespace
{

const char kText[] = "P012000000001234S006250131U006235959T00200V020MERCHANT NAME 012345";

struct Request
{
    int result;
    std::string arqc;
    int32_t cardType;
};

Request Ask(const HostLibrary &library, const char *text = kText, int mode = 0, size_t room = 1025)
{
    Area arqc(room);
    Request request{0, "", -7};
    request.result = CALL(library, BO_ICGenARQC)(mode, text, static_cast<int>(room), arqc.data(),
                                                 &request.cardType, 1);
    request.arqc = arqc.All().empty() ? "" : arqc.Text();
    return request;
}

// One record, which holds the card's lists.
ReaderScript &ReadLists(ReaderScript *script, const std::string &record)
{
    return script->Apdu("80A80000028300", "80067C00080101009000").Apdu("00B2010C00", record);
}

const char kPlainLists[] = "700C 8C039F0206 8D058A029F0206 9000";
const char kAskAmount[] = "80AE800006000000001234";
const char kFormat1[] = "8012 80 0001 1122334455667788 07010103A00000 9000";

} // namespace

TEST(GenArqc, GivesTheObjectsForTheIssuerAndLeavesTheCardPowered)
{
    ScriptedReader reader(Config("loglevel", "2"));
    srand(4711);
    std::string number;
    for (int i = 0; i < 4; i++)
        number += HexByte(static_cast<size_t>(rand()) & 0xFF);
    srand(4711);
    SelectCard(&reader.script, kNoPdol);
    // Amount, date, time, type, currency, profile, merchant name, number; verification method of
    // the third store.
    ReadLists(&reader.script, "7026 8C18 9F0206 9A03 9F2103 9C01 5F2A02 8202 9F4E14 9F3704 9F3403"
                              "8D0A 8A02 9F0206 9F3704 8202 9000");
    reader.script.Apdu("80AE80002C 000000001234 250131 235959 00 0156 7C00"
                       "4D45524348414E54204E414D4520303132333435" +
                           number + "3F0000",
                       kFormat1);
    reader.PlugAndOpen();
    const Request request = Ask(reader.library);
    EXPECT_EQ(0, request.result);
    EXPECT_EQ(0, request.cardType);
    EXPECT_EQ("9F26081122334455667788"
              "9F270180"
              "9F100707010103A00000"
              "9F3704" +
                  number +
                  "9F36020001"
                  "95050000000800"
                  "9A03250131"
                  "9C0100"
                  "9F0206000000001234"
                  "5F2A020156"
                  "82027C00"
                  "9F1A020156"
                  "9F0306000000000000",
              request.arqc);
    const auto *kept = reinterpret_cast<const uint8_t *>(VARIABLE(reader.library, g_IccAppData));
    EXPECT_EQ("303030303530" // "000050"
              "4F08A000000333010101"
              "70268C189F02069A039F21039C015F2A0282029F4E149F37049F34038D0A8A029F02069F37048202"
              "0000",
              HexOf(kept, 58));
    reader.Finish(); // no power-off
    EXPECT_EQ("Info:szTempData = 8000011122334455667788"
              "07010103A00000\r\n",
              reader.BusinessLog());
}

TEST(GenArqc, TakesTheObjectsOfFormat2WhateverTheirOrder)
{
    ScriptedReader reader;
    SelectCard(&reader.script, kNoPdol);
    ReadLists(&reader.script, kPlainLists)
        .Apdu(kAskAmount, "7717 9F36020002 9F4B0411223344 9F2608AABBCCDDEEFF0011 9000");
    reader.PlugAndOpen();
    const Request request = Ask(reader.library);
    EXPECT_EQ(0, request.result);
    EXPECT_EQ("9F2608AABBCCDDEEFF00119F3704" + UnpredictableNumber(reader.library) +
                  "9F36020002950500000008009A032501319C01009F02060000000012345F2A0201568202"
                  "7C009F1A0201569F0306000000000000",
              request.arqc);
}

TEST(GenArqc, GivesTheCryptogramOfAPublishedTestCard)
{
    const auto session = PbocData("01b-upi-contact-single-app.json");
    const auto answer = [&](const std::string &command) -> std::string
    {
        for (const auto &exchange : session["exchanges"])
            if (exchange["cmd"].get<std::string>().rfind(command, 0) == 0)
                return exchange["rsp"];
        return "";
    };
    ScriptedReader reader;
    srand(1);
    std::string number;
    for (int i = 0; i < 4; i++)
        number += HexByte(static_cast<size_t>(rand()) & 0xFF);
    srand(1);
    reader.script.PowerOn("3B00")
        .Apdu(kSelectEnvironment, answer(kSelectEnvironment))
        .Apdu("00B2010C00", "701C611A4F08A000000333010102500B55494343204352454449548701019000")
        .Apdu("00B2020C00", "6A83")
        .Apdu("00A4040008A000000333010102", answer("00A4040008A000000333010102"))
        .Apdu("80A80000028300", answer("80A80000"))
        // Record 1 of file 1: once of the directory, once of the application.
        .Apdu("00B2010C00", session["exchanges"][5]["rsp"])
        .Apdu("00B2020C00", session["exchanges"][6]["rsp"])
        .Apdu("00B2030C00", session["exchanges"][7]["rsp"]);
    for (const char *record :
         {"00B2011400", "00B2021400", "00B2031400", "00B2041400", "00B2051400", "00B2012400"})
        reader.script.Apdu(record, answer(record));
    reader.script.Apdu("80AE800037 000000006580 000000000000 0156 0000000800 0156 150316 00" +
                           number + "160136" + Repeated(20, "00") + "3F0000",
                       answer("80AE8000"));
    // This card's second list asks for 9B, which no store holds.
    reader.script.Apdu("008200000A11223344556677883030", "9000").PowerOff();
    reader.PlugAndOpen();
    const Request request = Ask(reader.library, "P0046580S006150316T00200U006160136");
    EXPECT_EQ(0, request.result);
    EXPECT_EQ("9F2608B04398D218017BF99F2701809F100807000103A0A802019F3704" + number +
                  "9F36020006950500000008009A031503169C01009F02060000000065805F2A020156"
                  "82027C009F1A0201569F0306000000000000",
              request.arqc);
    Area result(17), tc(1012);
    EXPECT_EQ(-4103,
              CALL(reader.library, BO_ICExeScript_TC)(0, "P0046580", "910A11223344556677883030", 17,
                                                      result.data(), 0, tc.data()));
}

TEST(GenArqc, TakesTheCryptogramThatAContactlessCardGaveAtOnce)
{
    ScriptedReader reader(Config("Iccmd", "1", Config("loglevel", "2")));
    reader.script.contactless = true;
    SelectCard(&reader.script, "6F069F38039F66049000");
    const std::string answer = "7726 82027C00 9F36020007 9F2608 0102030405060708 9F2701 80"
                               "9F1007 07010103900000 5F340101";
    reader.script.Apdu("80A80000068304F4000000", answer + "9000");
    reader.PlugAndOpen();
    strcpy(VARIABLE(reader.library, g_IccAppData), "an earlier card's");
    const Request request = Ask(reader.library, "P012000000001234S006250131T00200", 1);
    EXPECT_EQ(0, request.result);
    EXPECT_EQ(1, request.cardType);
    EXPECT_EQ("9F260801020304050607089F2701809F1007070101039000009F3704" +
                  UnpredictableNumber(reader.library) +
                  "9F36020007950500000008009A032501319C01009F02060000000012345F2A020156"
                  "82027C009F1A0201569F0306000000000000",
              request.arqc);
    EXPECT_STREQ("an earlier card's", VARIABLE(reader.library, g_IccAppData));
    reader.Finish();
    EXPECT_EQ("Info:szRecData = " + HexOf(BytesOf(answer)) + ", iRecLen = 40\r\n",
              reader.BusinessLog());
}

TEST(GenArqc, OnlyAProfileOfTwoBytesIsStored)
{
    ScriptedReader reader;
    SelectCard(&reader.script, kNoPdol);
    reader.script.Apdu("80A80000028300", "770B 82037C0001 9404 08010100 9000")
        .Apdu("00B2010C00", kPlainLists)
        .Apdu(kAskAmount, kFormat1);
    reader.PlugAndOpen();
    EXPECT_NE(std::string::npos, Ask(reader.library).arqc.find("82020000"));
}

TEST(GenArqc, ALeftOutFieldKeepsTheValueOfTheCallBefore)
{
    ScriptedReader reader;
    for (int i = 0; i < 2; i++)
    {
        SelectUnnamedCard(&reader.script, kNoPdol);
        ReadLists(&reader.script, kPlainLists).Apdu(kAskAmount, kFormat1);
    }
    reader.PlugAndOpen();
    EXPECT_EQ(0, Ask(reader.library).result);
    const std::string first = UnpredictableNumber(reader.library);
    EXPECT_EQ(0, Ask(reader.library, "T00260").result);
    EXPECT_NE(first, UnpredictableNumber(reader.library)) << "drawn anew";
}

TEST(GenArqc, AWrongTextIsRefusedBeforePowerOn)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(-1007, Ask(reader.library, nullptr).result);
    EXPECT_EQ(-1007, Ask(reader.library, "").result);
    EXPECT_EQ(-1007, Ask(reader.library, std::string(1025, '0').c_str()).result);
    reader.Finish();
    EXPECT_EQ("Error:szTxdata Error!\r\nError:szTxdata Error!\r\nError:szTxdata Error!\r\n",
              reader.BusinessLog());
}

TEST(GenArqc, ATextOf1024CharactersIsTaken)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("55");
    reader.PlugAndOpen();
    EXPECT_EQ(1, Ask(reader.library, std::string(1024, '0').c_str()).result);
}

TEST(GenArqc, AMissingPlaceIsRefusedBeforePowerOn)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    Area arqc(1025);
    int32_t cardType = 0;
    const auto ask = CALL(reader.library, BO_ICGenARQC);
    EXPECT_EQ(-1007, ask(0, kText, 1025, nullptr, &cardType, 1));
    EXPECT_EQ(-1007, ask(0, kText, 1025, arqc.data(), nullptr, 1));
    EXPECT_EQ(-1007, ask(0, kText, 0, arqc.data(), &cardType, 1));
    EXPECT_EQ(-1007, ask(0, kText, -5, arqc.data(), &cardType, 1));
    EXPECT_EQ("", arqc.All());
}

TEST(GenArqc, APowerOnFailureIsGivenAndNothingIsPoweredOff)
{
    ScriptedReader reader;
    reader.script.PowerOnFails("55");
    reader.PlugAndOpen();
    EXPECT_EQ(1, Ask(reader.library).result);
}

TEST(GenArqc, ABadFieldIsNamedAndPowersTheCardOff)
{
    struct Row
    {
        const char *text, *message;
    };
    for (const Row &row :
         {Row{"P00312a", "TAG P"}, Row{"S00625010A", "TAG S"}, Row{"U006AB5959", "TAG U"}})
    {
        ScriptedReader reader;
        SelectUnnamedCard(&reader.script, kNoPdol).PowerOff();
        reader.PlugAndOpen();
        const Request request = Ask(reader.library, row.text);
        EXPECT_EQ(-1007, request.result);
        EXPECT_EQ("", request.arqc);
        EXPECT_EQ(0, request.cardType) << "known since the power-on";
        reader.Finish();
        EXPECT_EQ("Error:" + std::string(row.message) + " Error!\r\n", reader.BusinessLog());
    }
}

TEST(GenArqc, EveryStepHasItsCodeAndPowersTheCardOff)
{
    struct Row
    {
        const char *pse, *fci, *options, *record, *answer, *message;
        int code;
    };
    const char *const none = nullptr;
    const char *const fci = kNoPdol;
    const char *const options = "80067C00080101009000";
    const Row rows[] = {
        {"6A82", none, none, none, none, "PBOC_SelectPSE", -4100},
        {kEnvironment, "6A82", none, none, none, "PBOC_SelectAID", -4102},
        {kEnvironment, "6283", none, none, none, "PBOC_SelectAID", -4102},
        {kEnvironment, "6F069F38039F41049000", none, none, none, "PBOC_BuildDOL", -4103},
        {kEnvironment, fci, "70009000", none, none, "PBOC_GetProcOptions", -4104},
        {kEnvironment, fci, "6283", none, none, "PBOC_GetProcOptions", -4104},
        {kEnvironment, fci, options, "8D038A02009000", none, "GetTag 8C", -4105},
        {kEnvironment, fci, options, "6A83", none, "GetTag 8C", -4105},
        {kEnvironment, fci, options, "8C029B02 9000", none, "PBOC_BuildDOL", -4103},
        {kEnvironment, fci, options, "8C039F40059000", none, "PBOC_BuildDOL", -4103},
        {kEnvironment, fci, options, kPlainLists, "6985", "PBOC_GenerateAC", -4107},
        {kEnvironment, fci, options, kPlainLists, "6283", "PBOC_GenerateAC", -4107},
        {kEnvironment, fci, options, kPlainLists, "9000", "PBOC_GenerateAC", -4107},
        {kEnvironment, fci, options, kPlainLists, "800A800001112233445566779000",
         "PBOC_BuildARQCBack", -4108},
    };
    for (const Row &row : rows)
    {
        SCOPED_TRACE(row.message);
        ScriptedReader reader;
        reader.script.PowerOn("3B00").Apdu(kSelectEnvironment, row.pse);
        if (row.fci != none)
            reader.script.Apdu("00B2010C00", "700C610A4F08A0000003330101019000")
                .Apdu("00B2020C00", "6A83")
                .Apdu(kSelectApplication, row.fci);
        if (row.options != none)
            reader.script.Apdu("80A80000028300", row.options);
        if (row.record != none)
            reader.script.Apdu("00B2010C00", row.record);
        if (row.answer != none)
            reader.script.Apdu(kAskAmount, row.answer);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Request request = Ask(reader.library);
        EXPECT_EQ(row.code, request.result);
        EXPECT_EQ("", request.arqc) << "nothing is written on failure";
        reader.Finish();
        EXPECT_EQ("Error:" + std::string(row.message) + " Error!\r\n", reader.BusinessLog());
    }
}

TEST(GenArqc, AListThatAsksForMoreThanACommandCarriesFails)
{
    // 26 merchant names are 520 bytes, more than the area of 512; 13 are 260, more than Lc counts.
    for (size_t names : {size_t{26}, size_t{13}})
    {
        ScriptedReader reader(Config("Iccmd", "1"));
        SelectUnnamedCard(&reader.script, kNoPdol);
        ReadLists(&reader.script, Object("8C", Repeated(names, "9F4E14")) + "9000").PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(names == 26 ? -4103 : -4107, Ask(reader.library).result);
    }
}

TEST(GenArqc, ACardThatIsPulledFailsTheCryptogram)
{
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script, kNoPdol);
    ReadLists(&reader.script, kPlainLists).ApduFails(kAskAmount, "FB").PowerOffFails("FB");
    reader.PlugAndOpen();
    EXPECT_EQ(-4107, Ask(reader.library).result);
    reader.Finish();
    EXPECT_EQ("Error:PBOC_GenerateAC Error!\r\nError:IcPowerOff Error!\r\n"
              "Error:iErrorCode = -4005\r\n",
              reader.BusinessLog());
}

TEST(GenArqc, ATextThatDoesNotFitIsCutBeforeItsNul)
{
    ScriptedReader reader;
    struct Row
    {
        size_t room;
        const char *text;
    };
    const Row rows[] = {{1, ""}, {2, ""}, {3, "9F"}, {4, "9F"}, {23, "9F26081122334455667788"}};
    for (size_t i = 0; i < 5; i++)
    {
        SelectUnnamedCard(&reader.script, kNoPdol);
        ReadLists(&reader.script, kPlainLists).Apdu(kAskAmount, kFormat1);
    }
    reader.PlugAndOpen();
    for (const Row &row : rows)
    {
        const Request request = Ask(reader.library, kText, 0, row.room);
        EXPECT_EQ(0, request.result);
        EXPECT_EQ(row.text, request.arqc);
    }
}

// The longest result is that of a contactless answer: 458 bytes of card objects and 54 of the
// terminal's are the 512 that a result may have.
TEST(GenArqc, TheLongestResultFillsThePromisedRoom)
{
    for (size_t more : {size_t{0}, size_t{1}})
    {
        ScriptedReader reader(Config("Iccmd", "1"));
        SelectUnnamedCard(&reader.script, kNoPdol);
        // 252 and 200 bytes: behind a two-byte tag such a length is one byte here.
        reader.script.Apdu("80A80000028300", "7700 82027C00 9F10FC" + Repeated(252, "11") + "9F26" +
                                                 HexByte(200 + more) + Repeated(200 + more, "22") +
                                                 "9000");
        if (more != 0)
            reader.script.PowerOff();
        reader.PlugAndOpen();
        const Request request = Ask(reader.library);
        EXPECT_EQ(more == 0 ? 0 : -4108, request.result);
        if (more == 0)
        {
            EXPECT_EQ(1024u, request.arqc.size());
            EXPECT_EQ("9F26C8222222", request.arqc.substr(0, 12));
        }
    }
}

TEST(GenArqc, AnswersOfEveryLengthAreTakenOrRefused)
{
    ScriptedReader reader(Config("Iccmd", "1", Config("loglevel", "0")));
    std::vector<int> expected;
    const std::string format2 =
        "9F26081122334455667788" + Repeated(290, "00"); // objects of the tag 00 without a value
    for (size_t length = 0; length <= 300; length++)
        for (bool second : {false, true})
        {
            const std::string value = second
                                          ? format2.substr(0, 2 * length)
                                          : ("800001" + Repeated(300, "01")).substr(0, 2 * length);
            SelectUnnamedCard(&reader.script, kNoPdol);
            ReadLists(&reader.script, kPlainLists)
                .Apdu(kAskAmount, Object(second ? "77" : "80", value) + "9000");
            int code = 0;
            if (length < 11)
                code = -4108; // shorter than a cryptogram
            else if (second && length > 255)
                code = -4107; // a template with a two-byte length is not entered
            else if (!second && length > 266)
                code = -4108; // issuer application data of more than 255 bytes
            expected.push_back(code);
            if (code != 0)
                reader.script.PowerOff();
        }
    reader.PlugAndOpen();
    for (size_t i = 0; i < expected.size(); i++)
        ASSERT_EQ(expected[i], Ask(reader.library, "P0041234").result)
            << "length " << i / 2 << " format " << i % 2 + 1;
}

// 17 records of 500 bytes are more than the 8000 bytes that are kept.
TEST(GenArqc, KeptRecordsAreCutAtTheirRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    SelectCard(&reader.script, kNoPdol);
    reader.script.Apdu("80A80000028300", "80067C00080111009000");
    for (size_t record = 1; record <= 17; record++)
        reader.script.Apdu(
            "00B2" + HexByte(record) + "0C00",
            (record == 1 ? "8C039F0206" + Object("70", Repeated(491, "22")) : Repeated(500, "33")) +
                "9000");
    reader.script.Apdu(kAskAmount, kFormat1);
    reader.PlugAndOpen();
    EXPECT_EQ(0, Ask(reader.library).result);
    const char *kept = VARIABLE(reader.library, g_IccAppData);
    EXPECT_EQ("007993O\x08\xA0", std::string(kept, 9));
    EXPECT_EQ(std::string("3\0", 2), std::string(kept + 7998, 2));
}
