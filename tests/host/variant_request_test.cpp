// BO_ICGenARQC_YC: the first half for a host that names the application and gives more fields.
#include <cstdlib>
#include <gtest/gtest.h>

#include "host/transaction_card.h"

using namespace testing_support;

namespace
{

const char kText[] = "P012000000001234S006250131U006235959T00200K008A1B2C3D4";

struct Request
{
    int result;
    std::string arqc, secondList;
    int32_t cardType;
};

Request Ask(const HostLibrary &library, const char *text = kText, const char *aid = "",
            int32_t cardType = 0, size_t room = 2583)
{
    Area arqc(room), secondList(1025);
    Request request{0, "", "", cardType};
    request.result = CALL(library, BO_ICGenARQC_YC)(
        &request.cardType, aid, text, static_cast<int>(room), arqc.data(), 1, secondList.data());
    request.arqc = arqc.Text();
    request.secondList = secondList.Text();
    return request;
}

// One record, which holds the card's lists.
ReaderScript &ReadLists(ReaderScript *script, const std::string &record)
{
    return script->Apdu("80A80000088306000000001234", "80067C00080101009000")
        .Apdu("00B2010C00", record);
}

const char kPlainLists[] = "700C 8C039F0206 8D058A029F0206 9000";
const char kAskAmount[] = "80AE800006000000001234";
const char kFormat1[] = "8012 80 0001 1122334455667788 07010103A00000 9000";

// The objects of that answer with the fields of kText.
const char kObjects[] = "9F26081122334455667788"
                        "9F270180"
                        "9F100707010103A00000"
                        "9F3704A1B2C3D4"
                        "9F36020001"
                        "95050000000800"
                        "9A03250131"
                        "9C0100"
                        "9F0206000000001234"
                        "5F2A020156"
                        "82027C00"
                        "9F1A020156"
                        "9F0306000000000000"
                        "9F330320A100";

} // namespace

TEST(VariantRequest, GivesTheObjectsTheSecondListAndLeavesTheCardPowered)
{
    ScriptedReader reader(Config("loglevel", "2"));
    SelectCard(&reader.script, kAmountPdol);
    ReadLists(&reader.script, "7022 5A086228000100001117 5F340101 8C069F02069F3704"
                              "8D078A029F02069505 9000")
        .Apdu("80AE80000A000000001234A1B2C3D4", kFormat1)
        .Apdu("80CA9F13", "9F13020001 9000");
    reader.PlugAndOpen();
    const Request request = Ask(reader.library);
    EXPECT_EQ(0, request.result);
    EXPECT_EQ(0, request.cardType);
    EXPECT_EQ(std::string(kObjects) + "9F13020001"
                                      "5A086228000100001117"
                                      "5F340101",
              request.arqc);
    EXPECT_EQ("8A029F02069505", request.secondList);
    const auto *kept = reinterpret_cast<const uint8_t *>(VARIABLE(reader.library, g_IccAppData));
    EXPECT_EQ("303030303433" // "000043"
              "4F08A000000333010101"
              "70225A0862280001000011175F3401018C069F02069F37048D078A029F02069505"
              "00",
              HexOf(kept, 6 + 10 + 33 + 1));
    reader.Finish();
    EXPECT_EQ("Info:szIccAppdata = 8A029F02069505\r\n"
              "Info:szTempData = 800001112233445566778807010103A00000\r\n",
              reader.BusinessLog());
}

TEST(VariantRequest, WhatTheCardHasNotIsZero)
{
    for (const char *counter : {"6A88", "9F1400 9000", "9F1300 9000", "9000"})
    {
        ScriptedReader reader;
        SelectUnnamedCard(&reader.script, kAmountPdol);
        ReadLists(&reader.script, "8C039F02069000")
            .Apdu(kAskAmount, kFormat1)
            .Apdu("80CA9F13", counter);
        reader.PlugAndOpen();
        const Request request = Ask(reader.library);
        EXPECT_EQ(0, request.result);
        EXPECT_EQ(std::string(kObjects) + "9F130100"
                                          "5A0A00000000000000000000"
                                          "5F34020000",
                  request.arqc);
        EXPECT_EQ("", request.secondList) << "no second list is no failure";
    }
}

TEST(VariantRequest, TheNumberIsDrawnBeforeTheFieldsAreRead)
{
    ScriptedReader reader;
    srand(99);
    std::string drawn;
    for (int i = 0; i < 4; i++)
        drawn += HexByte(static_cast<size_t>(rand()) & 0xFF);
    for (int i = 0; i < 2; i++)
    {
        SelectUnnamedCard(&reader.script, "6F069F38039F37049000");
        reader.script.Apdu("80A80000068304" + (i == 0 ? drawn : std::string("CAFE0001")), "6985")
            .PowerOff();
    }
    reader.PlugAndOpen();
    srand(99);
    EXPECT_EQ(-4105, Ask(reader.library, "T00200").result);
    EXPECT_EQ(-4105, Ask(reader.library, "K008CAFE0001").result) << "the host's own";
}

// The published command, byte by byte, with the fields that its terminal had; a T=0 card.
TEST(VariantRequest, BuildsThePublishedCommand)
{
    const auto session = PbocData("76-pboc-first-genac.json");
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script, kAmountPdol);
    reader.script.Apdu("80A80000088306000000000300", "80067C00080101009000")
        .Apdu("00B2010C00", Object("8C", session["cdol1"]) + "9000")
        .Apdu(session["exchanges"][0]["cmd"], session["exchanges"][0]["rsp"])
        .Apdu(session["exchanges"][1]["cmd"], session["exchanges"][1]["rsp"])
        .Apdu("80CA9F13", "6A88");
    reader.PlugAndOpen();
    const Request request = Ask(reader.library, "P003300S006121207U006164422T00201K00811223344"
                                                "V0406368696E61756E696F6E7061792E616263643132");
    EXPECT_EQ(0, request.result);
    EXPECT_EQ("9F26089576389A2C9E75349F2701809F101307000103A03002010A010000000000B0992D81"
              "9F3704112233449F360200019505",
              request.arqc.substr(0, 102));
}

TEST(VariantRequest, EveryFieldHasItsTagAndItsStore)
{
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script,
                      "6F27 9F3824 9F1A02 9F3704 9505 9F6604 9F7A01 9F7B06 9F0206 9F0306 5F2A02"
                      "9A03 9C01 9F2103 9F4E14 9000");
    reader.script
        .Apdu("80A80000 41 83 3F 0344 01020304 1112131415 21258324 31 414243444546 515253545556"
              "616263646566 0840 250131 20 235959 4D4E4F505152535455565758595A414243444546",
              "6985")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4105, Ask(reader.library,
                         "J0040344K00801020304L0101112131415M00821258324N00231"
                         "O012414243444546P012515253545556Q012616263646566R0040840S006250131"
                         "T00220U006235959V0404D4E4F505152535455565758595A414243444546")
                         .result);
    EXPECT_EQ("21258324", HexOf(VARIABLE(reader.library, g_szAppInitData) + 48, 4));
}

TEST(VariantRequest, AShortValueIsPaddedALongOneKeepsItsEndABadOneIsPassedOver)
{
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script, "6F13 9F3810 9F0206 9F0306 5F2A02 9A03 9C01 9F4E14 9000");
    reader.script
        .Apdu("80A80000 28 83 26 000000000012 123456789012 0156 00000F 60"
              "0000000000000000000000000000000000000041",
              "6985")
        .PowerOff();
    reader.PlugAndOpen();
    // P has a bad character, R one inside its four; the bad ones of Q and T lie before the digits
    // that count.
    EXPECT_EQ(-4105, Ask(reader.library, "P012X00000000999Q014zz123456789012R00415g6S001F"
                                         "T003g60V00241")
                         .result);
    reader.Finish();
    EXPECT_EQ("Error:GetTag 8C Error!\r\n", reader.BusinessLog()) << "a bad field is no error";
}

TEST(VariantRequest, AnEmptyFirstListAsksForNothing)
{
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script, kAmountPdol);
    ReadLists(&reader.script, "8C009000").Apdu("80AE800000", kFormat1).Apdu("80CA9F13", "6A88");
    reader.PlugAndOpen();
    EXPECT_EQ(0, Ask(reader.library).result) << "the data of the PDOL do not go out again";
}

TEST(VariantRequest, TheHostNamesTheApplication)
{
    ScriptedReader reader;
    reader.script.PowerOn("3B00")
        .Apdu(kSelectEnvironment, kEnvironment)
        .Apdu("00A4040008A000000333010102", "6A82")
        .PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4102, Ask(reader.library, kText, "A000000333010102").result);
}

TEST(VariantRequest, ANameTooLongForACommandCannotBeSelected)
{
    ScriptedReader reader;
    for (int i = 0; i < 2; i++)
        reader.script.PowerOn("3B00").Apdu(kSelectEnvironment, kEnvironment).PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4102, Ask(reader.library, kText, std::string(512, 'A').c_str()).result);
    EXPECT_EQ(-4102, Ask(reader.library, kText, std::string(5000, 'A').c_str()).result);
}

TEST(VariantRequest, ANamedApplicationNeedsTheEnvironmentAllTheSame)
{
    ScriptedReader reader;
    reader.script.PowerOn("3B00").Apdu(kSelectEnvironment, "6A82").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(-4100, Ask(reader.library, kText, "A000000333010101").result);
}

TEST(VariantRequest, TakesTheCryptogramThatAContactlessCardGaveAtOnce)
{
    ScriptedReader reader(Config("Iccmd", "1", Config("loglevel", "2")));
    reader.script.PowerOnFails("1001");
    reader.script.contactless = true;
    SelectCard(&reader.script, "6F069F38039F66049000");
    const std::string answer = "77 26 82027C00 9F36020007 9F26080102030405060708 9F270180"
                               "9F100707010103900000 5F340109";
    reader.script.Apdu("80A80000068304F4000000", answer + "9000").Apdu("80CA9F13", "6A88");
    reader.PlugAndOpen();
    const Request request = Ask(reader.library, kText, nullptr, 2);
    EXPECT_EQ(0, request.result);
    EXPECT_EQ(1, request.cardType) << "the interface that answered";
    EXPECT_EQ("9F260801020304050607089F2701809F1007070101039000009F3704A1B2C3D49F36020007"
              "950500000008009A032501319C01009F02060000000012345F2A02015682027C009F1A020156"
              "9F03060000000000009F330320A1009F1301005A0A000000000000000000005F340109",
              request.arqc);
    EXPECT_EQ("", request.secondList);
    EXPECT_EQ('\0', VARIABLE(reader.library, g_IccAppData)[0]) << "no records were read";
    reader.Finish();
    EXPECT_EQ("Info:szRecData = " + HexOf(BytesOf(answer)) + ", iRecLen = 40\r\n",
              reader.BusinessLog());
}

TEST(VariantRequest, WrongArgumentsAreRefusedBeforePowerOn)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(-1007, Ask(reader.library, nullptr).result);
    EXPECT_EQ(-1007, Ask(reader.library, "").result);
    const Request request = Ask(reader.library, std::string(1025, '0').c_str());
    EXPECT_EQ(-1007, request.result);
    EXPECT_EQ("", request.arqc) << "made empty";
    EXPECT_EQ("", request.secondList);
    Area arqc(2583), list(1025);
    int32_t cardType = 0;
    const auto ask = CALL(reader.library, BO_ICGenARQC_YC);
    EXPECT_EQ(-1007, ask(nullptr, "", kText, 2583, arqc.data(), 1, list.data()));
    EXPECT_EQ(-1007, ask(&cardType, "", kText, 2583, nullptr, 1, list.data()));
    EXPECT_EQ(-1007, ask(&cardType, "", kText, 2583, arqc.data(), 1, nullptr));
    Area untouched(1);
    EXPECT_EQ(-1007, ask(&cardType, "", kText, 0, untouched.data(), 1, list.data()));
    EXPECT_EQ("", untouched.All());
    reader.Finish();
    EXPECT_EQ("Error:szTxdata Error!\r\nError:szTxdata Error!\r\nError:szTxdata Error!\r\n",
              reader.BusinessLog());
}

TEST(VariantRequest, EveryStepHasItsCodeAndPowersTheCardOff)
{
    struct Row
    {
        const char *pse, *fci, *options, *record, *answer, *message;
        int code;
    };
    const char *const none = nullptr;
    const char *const fci = kAmountPdol;
    const char *const options = "80067C00080101009000";
    const Row rows[] = {
        {"6A82", none, none, none, none, "PBOC_SelectPSE", -4100},
        {kEnvironment, "6A82", none, none, none, "PBOC_SelectAID", -4102},
        {kEnvironment, "6F009000", none, none, none, "GetTag 9F38", -4103},
        {kEnvironment, "6F069F38039F41049000", none, none, none, "PBOC_BuildDOL", -4103},
        {kEnvironment, fci, "70009000", none, none, "PBOC_GetProcOptions", -4104},
        {kEnvironment, fci, options, "8D038A02009000", none, "GetTag 8C", -4105},
        {kEnvironment, fci, options, "8C029102 9000", none, "PBOC_BuildDOL", -4103},
        {kEnvironment, fci, options, kPlainLists, "6985", "PBOC_GenerateAC", -4107},
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
            reader.script.Apdu("80A80000088306000000001234", row.options);
        if (row.record != none)
            reader.script.Apdu("00B2010C00", row.record);
        if (row.answer != none)
            reader.script.Apdu(kAskAmount, row.answer);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Request request = Ask(reader.library, kText, "", 0);
        EXPECT_EQ(row.code, request.result);
        EXPECT_EQ("", request.arqc);
        EXPECT_EQ(row.answer != none  ? "8A029F0206"
                  : row.code == -4105 ? "8A0200"
                                      : "",
                  request.secondList)
            << "given before the first list is looked for";
        reader.Finish();
        EXPECT_EQ("Error:" + std::string(row.message) + " Error!\r\n", reader.BusinessLog());
    }
}

TEST(VariantRequest, OnFailureTheCardTypeStays)
{
    ScriptedReader reader;
    reader.script.PowerOn("3B00").Apdu(kSelectEnvironment, "6A82").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ(2, Ask(reader.library, kText, "", 2).cardType);
}

TEST(VariantRequest, ATextThatDoesNotFitIsCutBeforeItsNul)
{
    ScriptedReader reader;
    SelectUnnamedCard(&reader.script, kAmountPdol);
    ReadLists(&reader.script, kPlainLists).Apdu(kAskAmount, kFormat1).Apdu("80CA9F13", "6A88");
    reader.PlugAndOpen();
    EXPECT_EQ("9F26", Ask(reader.library, kText, "", 0, 6).arqc);
}

// 512 bytes are the most that a cryptogram and the terminal's objects come to: a value of tag 80
// that holds objects itself. The four objects behind it have 779.
TEST(VariantRequest, TheLongestResultsFillThePromisedRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    SelectUnnamedCard(&reader.script, kAmountPdol);
    // A second list of 600 bytes runs through three records; 300 bytes of it are not kept.
    reader.script.Apdu("80A80000088306000000001234", "8006 7C00 08010400 9000")
        .Apdu("00B2010C00", "8C039F0206 5A8201FE" + Repeated(400, "12") + "9000")
        .Apdu("00B2020C00", Repeated(110, "12") + "5F34820100" + Repeated(256, "34") + "9000")
        .Apdu("00B2030C00", "8D820258" + Repeated(300, "56") + "9000")
        .Apdu("00B2040C00", Repeated(300, "56") + "9000")
        .Apdu(kAskAmount,
              "808201CA 9F26FF" + Repeated(255, "78") + "9F10C5" + Repeated(197, "79") + "9000")
        .Apdu("80CA9F13", "9F13820190" + Repeated(400, "9A") + "9000");
    reader.PlugAndOpen();
    const Request request = Ask(reader.library);
    EXPECT_EQ(0, request.result);
    EXPECT_EQ(2582u, request.arqc.size());
    EXPECT_EQ("9F330320A1009F13FF" + Repeated(255, "9A") + "5AFF" + Repeated(255, "12") + "5F34FF" +
                  Repeated(255, "34"),
              request.arqc.substr(1024));
    EXPECT_EQ(Repeated(512, "56"), request.secondList);
}
