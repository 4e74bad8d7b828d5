// BO_ICExeScript_YC: the second half for a host that kept the card's second list itself.
#include <gtest/gtest.h>

#include "host/completion_card.h"

using namespace testing_support;

namespace
{

const char kText[] = "P012000000001234";

Completed Complete(const HostLibrary &library, const std::string &issuerText,
                   const char *text = kText, const std::string &list = kSecondList,
                   size_t tcRoom = 1013, size_t scriptRoom = 1024)
{
    Area script(scriptRoom), tc(tcRoom);
    const std::vector<uint8_t> bytes = BytesOf(list);
    Completed completed{0, "", ""};
    completed.result = CALL(library, BO_ICExeScript_YC)(
        0, text, issuerText.c_str(), static_cast<int>(scriptRoom), script.data(),
        static_cast<int>(tcRoom), tc.data(), static_cast<int>(bytes.size()), bytes.data());
    completed.script = script.Text();
    completed.tc = tcRoom > 0 ? tc.Text() : tc.All();
    return completed;
}

} // namespace

TEST(VariantCompletion, AnApprovedTransactionGivesTheTc)
{
    ScriptedReader reader(Config("loglevel", "2"));
    AskSecond(&reader.script, kApproval, "40", kTc).Apdu("8424000000", "9000").PowerOff();
    reader.PlugAndOpen();
    const Completed completed =
        Complete(reader.library, std::string(kApproval) + "720E9F1804AABBCCDD86058424000000");
    EXPECT_EQ(0, completed.result);
    EXPECT_EQ("DF310520AABBCCDD", completed.script);
    EXPECT_EQ(kTcText, completed.tc) << "with a NUL behind";
    reader.Finish();
    EXPECT_EQ("Info:uszCDOL2 = 8A029F0206\r\n"
              "Info:szDOL = 3030000000001234\r\n"
              "Info:GenerateAC szTC = 400002887766554433221107010103600000\r\n",
              reader.BusinessLog());
}

// The card stays powered while the device is closed, and everything the library knows survives.
TEST(VariantCompletion, TheDeviceMayBeClosedAndOpenedBetweenTheHalves)
{
    for (bool united : {false, true})
        for (bool contactless : {false, true})
        {
            ScriptedReader reader(Config("Iccmd", united ? "1" : "0"));
            reader.script.contactless = contactless;
            SelectCard(&reader.script, kAmountPdol)
                .Apdu("80A80000088306000000001234", "80067C00080101009000")
                .Apdu("00B2010C00", "8C039F0206 8D0F8A029F02068202 9F3704 9A03 9F4E14 9000")
                .Apdu("80AE800006000000001234", "800B80000111223344556677889000")
                .Apdu("80CA9F13", "6A88");
            Authenticate(&reader.script, kApproval)
                .Apdu("80AE400025 3030 000000001234 7C00 CAFE0001 250131"
                      "4142434445464748494A4142434445464748494A",
                      kTc)
                .PowerOff();
            reader.PlugAndOpen();
            Area arqc(2583), list(1025);
            int32_t cardType = contactless ? 1 : 0;
            EXPECT_EQ(0, CALL(reader.library,
                              BO_ICGenARQC_YC)(&cardType, "",
                                               "P012000000001234S006250131K008CAFE0001"
                                               "V0404142434445464748494A4142434445464748494A",
                                               2583, arqc.data(), 1, list.data()));
            EXPECT_EQ(0, CALL(reader.library, BO_Close)());
            memset(VARIABLE(reader.library, g_IccAppData), 0xFF, 8000); // not looked at
            EXPECT_EQ(0, CALL(reader.library, BO_Open)(3, 9600, 0));
            Area script(17), tc(1013);
            const std::vector<uint8_t> bytes = BytesOf(list.Text());
            EXPECT_EQ(0, CALL(reader.library, BO_ICExeScript_YC)(
                             cardType, kText, kApproval, 17, script.data(), 1013, tc.data(),
                             static_cast<int>(bytes.size()), bytes.data()));
            EXPECT_EQ(kTcText, tc.Text());
            EXPECT_EQ(kPresetResult, script.Text());
        }
}

TEST(VariantCompletion, ACardThatWasPulledBetweenTheHalvesFailsTheAuthentication)
{
    ScriptedReader reader;
    reader.script.ApduFails("008200000A11223344556677883030", "FB").PowerOffFails("FB");
    reader.PlugAndOpen();
    const Completed completed = Complete(reader.library, kApproval);
    EXPECT_EQ(-4109, completed.result);
    EXPECT_EQ(kPresetResult, completed.script);
    EXPECT_EQ("", completed.tc);
}

TEST(VariantCompletion, TheResponseCodeChoosesTheCryptogram)
{
    struct Row
    {
        const char *issuer, *reference, *answer;
        int code;
        const char *message;
    };
    const char *const refused = "Error:PBOC_GenerateAC Error!\r\n";
    const char *const done = "Error:GetTag 71/72 Error!\r\n";
    for (const Row &row :
         {Row{kApproval, "40", kTc, 0, done}, Row{kApproval, "40", kAac, -4114, ""},
          Row{kApproval, "40", "6985", -4112, refused}, Row{kReferral, "C0", kTc, 0, done},
          Row{kReferral, "C0", kAac, 0, done}, Row{kReferral, "C0", "6985", -4113, refused},
          Row{kDecline, "00", kTc, 0, done}, Row{kDecline, "00", kAac, -4115, ""},
          Row{kDecline, "00", "6985", -4116, refused},
          Row{kDecline, "00", "77049F270100 9000", -4115, ""}})
    {
        ScriptedReader reader;
        AskSecond(&reader.script, row.issuer, row.reference, row.answer).PowerOff();
        reader.PlugAndOpen();
        const Completed completed = Complete(reader.library, row.issuer);
        EXPECT_EQ(row.code, completed.result);
        EXPECT_EQ(row.code != 0, completed.tc.empty());
        EXPECT_EQ(kPresetResult, completed.script);
        reader.Finish();
        EXPECT_EQ(row.message, reader.BusinessLog());
    }
}

TEST(VariantCompletion, WrongTextsPowerTheCardOff)
{
    struct Row
    {
        std::string text, issuer, log;
    };
    for (const Row &row :
         {Row{"", kApproval, "Info:szTxdata Error!\r\n"},
          Row{std::string(1025, '0'), "", "Info:szTxdata Error!\r\n"},
          Row{kText, "", "Info:szARPCBack Error!\r\n"},
          Row{kText, std::string(1025, '0'), "Info:szARPCBack Error!\r\n"},
          Row{kText, "910G", "Info:szHexData[3] = 47\r\nInfo:szARPCBack Error!\r\n"}})
    {
        ScriptedReader reader(Config("loglevel", "2"));
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Completed completed = Complete(reader.library, row.issuer, row.text.c_str());
        EXPECT_EQ(-1007, completed.result);
        EXPECT_EQ("", completed.script) << "made empty";
        EXPECT_EQ("", completed.tc);
        reader.Finish();
        EXPECT_EQ(row.log, reader.BusinessLog());
    }
}

TEST(VariantCompletion, AMissingPointerPowersTheCardOff)
{
    ScriptedReader reader;
    for (int i = 0; i < 4; i++)
        reader.script.PowerOff();
    reader.PlugAndOpen();
    Area script(17), tc(1013);
    const auto complete = CALL(reader.library, BO_ICExeScript_YC);
    EXPECT_EQ(-1007,
              complete(0, nullptr, kApproval, 17, script.data(), 1013, tc.data(), 0, nullptr));
    EXPECT_EQ(-1007, complete(0, kText, nullptr, 17, script.data(), 1013, tc.data(), 0, nullptr));
    EXPECT_EQ(-1007, complete(0, kText, kApproval, 17, nullptr, 1013, tc.data(), 0, nullptr));
    EXPECT_EQ(-1007, complete(0, kText, kApproval, 17, script.data(), 1013, nullptr, 0, nullptr));
}

TEST(VariantCompletion, IssuerDataWithoutAuthenticationFail)
{
    for (const std::string &issuer : {std::string("9"), std::string("910A1122"),
                                      std::string("8A023030"), std::string(1024, '0')})
    {
        ScriptedReader reader;
        reader.script.PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(-4109, Complete(reader.library, issuer).result);
        reader.Finish();
        EXPECT_EQ("Error:GetTag 91 Error!\r\n", reader.BusinessLog());
    }
    ScriptedReader reader;
    reader.script.Apdu("008200000A11223344556677883030", "6300").PowerOff();
    reader.PlugAndOpen();
    const Completed completed = Complete(reader.library, std::string(kApproval) + "9F180401020304");
    EXPECT_EQ(-4109, completed.result);
    EXPECT_EQ("DF31051001020304", completed.script) << "filled in before the authentication";
    reader.Finish();
    EXPECT_EQ("Error:PBOC_ExternalAuth Error!\r\n", reader.BusinessLog());
}

TEST(VariantCompletion, ABadFieldIsNamedAndPowersTheCardOff)
{
    struct Row
    {
        const char *text, *message;
    };
    for (const Row &row :
         {Row{"P00312a", "TAG P"}, Row{"Q003x12", "TAG Q"}, Row{"R004015G", "TAG R"},
          Row{"S00625010Z", "TAG S"}, Row{"T002 1", "TAG T"}, Row{"U006XB5959", "TAG U"}})
    {
        ScriptedReader reader;
        Authenticate(&reader.script, kApproval).PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(-1007, Complete(reader.library, kApproval, row.text).result);
        reader.Finish();
        EXPECT_EQ("Error:" + std::string(row.message) + " Error!\r\n", reader.BusinessLog());
    }
}

TEST(VariantCompletion, TakesTheFieldsPToVOnly)
{
    ScriptedReader reader;
    Authenticate(&reader.script, kApproval)
        .Apdu("80AE40002B 12345678 0156 000000123456 0000000012AB 0156 0000AF"
              "00000000000000000000000000000000000000 00",
              kTc)
        .PowerOff();
    reader.PlugAndOpen();
    // J and K belong to the first half; of S the last digits count, which may be hexadecimal; a bad
    // V is passed over.
    EXPECT_EQ(0, Complete(reader.library, kApproval,
                          "J0040344K008CAFE0001P006123456Q00412ABS008xx0000AFV003abc",
                          "9F37049F1A029F02069F03065F2A029A039F4E14")
                     .result);
}

TEST(VariantCompletion, TheHostsListMayBeEmptyAndMustBeBuildable)
{
    struct Row
    {
        std::string list;
        int code;
    };
    for (const Row &row : {Row{"9B02", -4103}, Row{Repeated(4096, "9F02"), -4103},
                           Row{Repeated(26, "9F4E14"), -4103}, Row{Repeated(13, "9F4E14"), -4112}})
    {
        ScriptedReader reader(Config("loglevel", "2"));
        Authenticate(&reader.script, kApproval).PowerOff();
        reader.PlugAndOpen();
        EXPECT_EQ(row.code, Complete(reader.library, kApproval, kText, row.list).result);
        reader.Finish();
        EXPECT_EQ(row.code == -4103,
                  reader.BusinessLog().find("Info:PBOC_BuildDOL Error!\r\n") != std::string::npos);
    }
    for (int length : {0, -1, 5})
    {
        ScriptedReader reader;
        Authenticate(&reader.script, kApproval);
        if (length != 5)
            reader.script.Apdu("80AE400000", kTc);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        Area script(17), tc(1013);
        EXPECT_EQ(length == 5 ? -4103 : 0,
                  CALL(reader.library, BO_ICExeScript_YC)(0, kText, kApproval, 17, script.data(),
                                                          1013, tc.data(), length, nullptr));
    }
}

TEST(VariantCompletion, ATcThatDoesNotFitIsCutBeforeItsNul)
{
    struct Row
    {
        size_t room;
        const char *text;
    };
    for (const Row &row : {Row{0, ""}, Row{1, ""}, Row{2, ""}, Row{3, "40"}, Row{6, "4000"},
                           Row{36, "4000028877665544332211070101036000"}, Row{37, kTcText}})
    {
        ScriptedReader reader;
        AskSecond(&reader.script, kApproval, "40", kTc).PowerOff();
        reader.PlugAndOpen();
        const Completed completed =
            Complete(reader.library, kApproval, kText, kSecondList, row.room);
        EXPECT_EQ(0, completed.result);
        EXPECT_EQ(row.text, completed.tc);
    }
}

TEST(VariantCompletion, TheLongestResultsFillThePromisedRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    AskSecond(&reader.script, kApproval, "40", "808201FA40" + Repeated(505, "11") + "9000")
        .PowerOff();
    reader.script.PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("40" + Repeated(505, "11"), Complete(reader.library, kApproval).tc);
    EXPECT_EQ(
        "DF310510" + Repeated(507, "AB"),
        Complete(reader.library, "9F188201FB" + Repeated(507, "AB"), kText, kSecondList, 1013, 1023)
            .script);
}

TEST(VariantCompletion, AFailedScriptGives4109)
{
    struct Row
    {
        const char *scripts, *status;
        const char *result;
    };
    for (const Row &row : {Row{"720E9F1804AABBCCDD86058424000000", "6985", "DF310512AABBCCDD"},
                           Row{"7200", nullptr, "DF31051000000000"}})
    {
        ScriptedReader reader;
        AskSecond(&reader.script, kApproval, "40", kTc);
        if (row.status != nullptr)
            reader.script.Apdu("8424000000", row.status);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Completed completed = Complete(reader.library, std::string(kApproval) + row.scripts);
        EXPECT_EQ(-4109, completed.result);
        EXPECT_EQ(row.result, completed.script);
        EXPECT_EQ(kTcText, completed.tc);
        reader.Finish();
        EXPECT_EQ("Error:PBOC_ExeScript Error!\r\n", reader.BusinessLog());
    }
}

TEST(VariantCompletion, TheNumberOfTheFailingCommandIsAtMostF)
{
    ScriptedReader reader;
    AskSecond(&reader.script, kApproval, "40", kTc).Apdu("8424000000", "6283").PowerOff();
    reader.PlugAndOpen();
    EXPECT_EQ("DF31051F00000000",
              Complete(reader.library, std::string(kApproval) + "720786058424000000").script)
        << "the result 100 is above it";
}
