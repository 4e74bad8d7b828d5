// BO_ICExeScript_TC: the issuer's answer, the second cryptogram, the scripts.
#include <gtest/gtest.h>

#include "host/completion_card.h"

using namespace testing_support;

namespace
{

const char kText[] = "P012000000001234";

Completed Complete(const HostLibrary &library, const std::string &issuerText,
                   const char *text = kText, int cardType = 0, size_t room = 17)
{
    Area script(room), tc(1012);
    Completed completed{0, "", ""};
    completed.result = CALL(library, BO_ICExeScript_TC)(
        cardType, text, issuerText.c_str(), static_cast<int>(room), script.data(), 0, tc.data());
    completed.script = script.All().empty() ? "" : script.Text();
    completed.tc = tc.All();
    return completed;
}

void KeepList(const ScriptedReader &reader, const std::string &list = kSecondList)
{
    Keep(reader.library, "000017",
         "4F08A000000333010101" + ("8D" + HexByte(list.size() / 2)) + list);
}

} // namespace

TEST(Completion, AnApprovedTransactionGivesTheTc)
{
    ScriptedReader reader(Config("loglevel", "2"));
    AskSecond(&reader.script, kApproval, "40", kTc).PowerOff();
    reader.PlugAndOpen();
    KeepList(reader);
    const Completed completed = Complete(reader.library, kApproval);
    EXPECT_EQ(0, completed.result) << "no script is a success";
    EXPECT_EQ(kPresetResult, completed.script);
    EXPECT_EQ(kTcText, completed.tc) << "no NUL behind";
    reader.Finish();
    EXPECT_EQ("Info:iAppDataLen = 17\r\n"
              "Info:g_IccAppData = 4F08A0000003330101018D058A029F0206\r\n"
              "Info:uszCDOL2 = 8A029F0206\r\n"
              "Info:szDOL = 3030000000001234\r\n"
              "Info:GenerateAC szTC = 400002887766554433221107010103600000\r\n"
              "Error:GetTag 71/72 Error!\r\n",
              reader.BusinessLog());
}

// The second half goes on from what the first one kept.
TEST(Completion, ContinuesTheTransactionOfTheFirstHalf)
{
    for (bool united : {false, true})
        for (bool contactless : {false, true})
        {
            ScriptedReader reader(Config("Iccmd", united ? "1" : "0"));
            reader.script.contactless = contactless;
            SelectCard(&reader.script, kNoPdol)
                .Apdu("80A80000028300", "80067C00080101009000")
                .Apdu("00B2010C00", "700C 8C039F0206 8D058A029F0206 9000")
                .Apdu("80AE800006000000001234", "800B80000111223344556677889000");
            AskSecond(&reader.script, kApproval, "40", kTc).PowerOff();
            reader.PlugAndOpen();
            Area arqc(1025);
            int32_t cardType = 9;
            EXPECT_EQ(0, CALL(reader.library, BO_ICGenARQC)(contactless ? 1 : 0, kText, 1025,
                                                            arqc.data(), &cardType, 1));
            EXPECT_EQ(contactless ? 1 : 0, cardType);
            EXPECT_EQ(kTcText, Complete(reader.library, kApproval, kText, cardType).tc);
        }
}

TEST(Completion, TheResponseCodeChoosesTheCryptogram)
{
    struct Row
    {
        const char *code, *reference;
        int ofTc, ofAac;
    };
    // The codes are "00" "10" "11", "01" "02"; others decline, also "05", "03", "12", "1", "Z1".
    for (const Row &row :
         {Row{"3030", "40", 0, -4114}, Row{"3130", "40", 0, -4114}, Row{"3131", "40", 0, -4114},
          Row{"3031", "C0", 0, 0}, Row{"3032", "C0", 0, 0}, Row{"3035", "00", 0, -4115},
          Row{"3033", "00", 0, -4115}, Row{"3132", "00", 0, -4115}, Row{"0001", "00", 0, -4115},
          Row{"5A31", "00", 0, -4115}})
        for (const char *answer : {kTc, kAac})
        {
            SCOPED_TRACE(row.code);
            ScriptedReader reader;
            const std::string issuer = "910A1122334455667788" + std::string(row.code);
            AskSecond(&reader.script, issuer, row.reference, answer).PowerOff();
            reader.PlugAndOpen();
            KeepList(reader);
            const Completed completed = Complete(reader.library, issuer);
            const int code = answer == kTc ? row.ofTc : row.ofAac;
            EXPECT_EQ(code, completed.result);
            EXPECT_EQ(code == 0, !completed.tc.empty()) << "a refusal leaves the text alone";
            EXPECT_EQ(row.code, HexOf(VARIABLE(reader.library, g_szTxData) + 2, 2));
            reader.Finish();
            EXPECT_EQ(code == 0 ? "Error:GetTag 71/72 Error!\r\n" : "", reader.BusinessLog());
        }
}

TEST(Completion, ARefusalIsNoticedInBothFormats)
{
    struct Row
    {
        const char *answer;
        int code;
    };
    for (const Row &row : {Row{"7716 9F2701 40 9F36020002 9F26081122334455667788 9000", 0},
                           Row{"7716 9F2701 00 9F36020002 9F26081122334455667788 9000", -4114},
                           Row{"7716 9F36020002 9F26081122334455667788 9F2701 09 9000", -4114},
                           Row{"7716 9F36020002 9F26081122334455667788 9F2701 80 9000", 0},
                           Row{"7710 9F36020002 9F26081122334455667788 9000", -4114},
                           Row{"7705 9F36020002 9000", -4114}, Row{"7705 9F27024040 9000", -4114},
                           Row{"800B 49 0002 1122334455667788 9000", 0},
                           Row{"800B 3F 0002 1122334455667788 9000", -4114}, Row{"8001 40 9000", 0},
                           Row{"8000 9000", -4114}})
    {
        SCOPED_TRACE(row.answer);
        ScriptedReader reader;
        AskSecond(&reader.script, kApproval, "40", row.answer).PowerOff();
        reader.PlugAndOpen();
        KeepList(reader);
        EXPECT_EQ(row.code, Complete(reader.library, kApproval).result);
    }
}

TEST(Completion, BytesOfAFormat1AnswerThatLookLikeTagsAreNotJudged)
{
    struct Row
    {
        const char *answer;
        int code;
    };
    // As tags: 40 (no bytes), 02 (one byte, 11), 9F27 (one byte, 00 or 40); and one with 9F26.
    for (const Row &row : {Row{"800B 40 0002 0111 9F270100 7788 9000", 0},
                           Row{"800B 00 0002 0111 9F270140 7788 9000", -4114},
                           Row{"8010 40 0002 00 9F2608 1122334455667788 01 9000", 0}})
    {
        SCOPED_TRACE(row.answer);
        ScriptedReader reader;
        AskSecond(&reader.script, kApproval, "40", row.answer).PowerOff();
        reader.PlugAndOpen();
        KeepList(reader);
        EXPECT_EQ(row.code, Complete(reader.library, kApproval).result);
    }
}

TEST(Completion, ARefusedCommandHasACodeForEachRequest)
{
    struct Row
    {
        const char *issuer, *reference;
        int code;
    };
    for (const Row &row :
         {Row{kApproval, "40", -4112}, Row{kReferral, "C0", -4113}, Row{kDecline, "00", -4116}})
        for (const char *answer : {"6985", "6283", "9000", "81009000"})
        {
            ScriptedReader reader;
            AskSecond(&reader.script, row.issuer, row.reference, answer).PowerOff();
            reader.PlugAndOpen();
            KeepList(reader);
            const Completed completed = Complete(reader.library, row.issuer);
            EXPECT_EQ(row.code, completed.result);
            EXPECT_EQ("", completed.tc);
            EXPECT_EQ(kPresetResult, completed.script);
            reader.Finish();
            EXPECT_EQ("Error:PBOC_GenerateAC Error!\r\n", reader.BusinessLog());
        }
}

TEST(Completion, SecondAnswersOfEveryLengthAreTakenOrRefused)
{
    ScriptedReader reader(Config("Iccmd", "1", Config("loglevel", "0")));
    std::vector<std::string> expected;
    const std::string format1 = "400002" + Repeated(300, "01");
    const std::string format2 = "9F270140" + Repeated(300, "00");
    for (size_t length = 0; length <= 300; length++)
        for (const std::string &whole : {format1, format2})
        {
            const std::string value = whole.substr(0, 2 * length);
            const bool second = whole == format2;
            AskSecond(&reader.script, kApproval, "40", Object(second ? "77" : "80", value) + "9000")
                .PowerOff();
            if (second && length > 255)
                expected.push_back("-4112"); // a template with a two-byte length is not entered
            else if (length < (second ? 4u : 1u))
                expected.push_back("-4114"); // nothing that would say it is a TC
            else
                expected.push_back(value);
        }
    reader.PlugAndOpen();
    KeepList(reader);
    for (size_t i = 0; i < expected.size(); i++)
    {
        const Completed completed = Complete(reader.library, kApproval);
        ASSERT_EQ(expected[i],
                  completed.result == 0 ? completed.tc : std::to_string(completed.result))
            << "length " << i / 2 << " format " << i % 2 + 1;
    }
}

TEST(Completion, TheLongestAnswerFillsThePromisedRoom)
{
    ScriptedReader reader(Config("Iccmd", "1"));
    AskSecond(&reader.script, kApproval, "40", "808201FA" + ("40" + Repeated(505, "11")) + "9000")
        .PowerOff();
    reader.PlugAndOpen();
    KeepList(reader);
    EXPECT_EQ("40" + Repeated(505, "11"), Complete(reader.library, kApproval).tc);
}

TEST(Completion, WrongTextsPowerTheCardOff)
{
    struct Row
    {
        std::string text, issuer, log;
    };
    for (const Row &row :
         {Row{"", kApproval, "Info:szTxdata Error!\r\n"},
          Row{std::string(1025, '0'), kApproval, "Info:szTxdata Error!\r\n"},
          Row{"", "x", "Info:szTxdata Error!\r\n"},
          Row{kText, "91 0", "Info:szHexData[2] = 20\r\nError:szARPCBack Error!\r\n"},
          Row{kText, "910a", "Info:szHexData[3] = 61\r\nError:szARPCBack Error!\r\n"},
          Row{kText, std::string(1025, '0'), "Error:szARPCBack Error!\r\n"}})
    {
        ScriptedReader reader(Config("loglevel", "2"));
        reader.script.PowerOff();
        reader.PlugAndOpen();
        const Completed completed = Complete(reader.library, row.issuer, row.text.c_str());
        EXPECT_EQ(-1007, completed.result);
        EXPECT_EQ("", completed.script);
        reader.Finish();
        EXPECT_EQ("Info:iAppDataLen = 0\r\nInfo:g_IccAppData = \r\n" + row.log,
                  reader.BusinessLog());
    }
}

TEST(Completion, AMissingPointerPowersTheCardOff)
{
    ScriptedReader reader;
    for (int i = 0; i < 4; i++)
        reader.script.PowerOff();
    reader.PlugAndOpen();
    Area script(17), tc(1012);
    const auto complete = CALL(reader.library, BO_ICExeScript_TC);
    EXPECT_EQ(-1007, complete(0, nullptr, kApproval, 17, script.data(), 0, tc.data()));
    EXPECT_EQ(-1007, complete(0, kText, nullptr, 17, script.data(), 0, tc.data()));
    EXPECT_EQ(-1007, complete(0, kText, kApproval, 17, nullptr, 0, tc.data()));
    EXPECT_EQ(-1007, complete(0, kText, kApproval, 17, script.data(), 0, nullptr));
    EXPECT_EQ("", script.All() + tc.All());
}

TEST(Completion, WithoutAKeptSecondListThereIsNone)
{
    struct Row
    {
        const char *prefix, *bytes;
    };
    for (const Row &row : {Row{"", ""}, Row{"000000", "8D0100"}, Row{"000004", "4F008C00"},
                           Row{"-00007", "8D058A029F0206"}, Row{"garbag", "8D058A029F0206"},
                           Row{"000007", "8D088A029F0206"}, Row{"999999", "4FFF"},
                           Row{"000002", "4F008D058A029F0206"}, Row{" 00007", "8D058A029F0206"}})
    {
        ScriptedReader reader;
        reader.script.PowerOff();
        reader.PlugAndOpen();
        Keep(reader.library, row.prefix, row.bytes);
        const Completed completed = Complete(reader.library, kApproval);
        EXPECT_EQ(-4111, completed.result) << row.prefix;
        EXPECT_EQ(kPresetResult, completed.script);
        reader.Finish();
        EXPECT_EQ("Error:Find tag 8D Error!\r\n", reader.BusinessLog());
    }
}

TEST(Completion, AKeptLengthBeyondTheAreaEndsWithIt)
{
    ScriptedReader reader(Config("loglevel", "2"));
    reader.script.PowerOff();
    reader.PlugAndOpen();
    char *kept = VARIABLE(reader.library, g_IccAppData);
    memset(kept, '9', 8000); // 9's from end to end: a tag 39, entered again and again
    EXPECT_EQ(-4111, Complete(reader.library, kApproval).result);
    reader.Finish();
    EXPECT_EQ("Info:iAppDataLen = 7994\r\nInfo:g_IccAppData = " + Repeated(7994, "39") +
                  "\r\nError:Find tag 8D Error!\r\n",
              reader.BusinessLog());
}

TEST(Completion, IssuerDataWithoutAuthenticationFail)
{
    for (const std::string &issuer :
         {std::string(""), std::string("9"), std::string("71059F180411223344"),
          std::string("910A1122"), std::string("8A023030"), std::string("FFFFFFFFFF"),
          std::string(1024, '0'), "00" + std::string(1010, 'F')})
    {
        ScriptedReader reader;
        reader.script.PowerOff();
        reader.PlugAndOpen();
        KeepList(reader);
        EXPECT_EQ(-4109, Complete(reader.library, issuer).result) << issuer;
        reader.Finish();
        EXPECT_EQ("Error:GetTag 91 Error!\r\n", reader.BusinessLog());
    }
}

TEST(Completion, ARefusedAuthenticationFails)
{
    for (const char *status : {"6300", "6985", "6283"})
    {
        ScriptedReader reader;
        reader.script.Apdu("008200000A11223344556677883030", status).PowerOff();
        reader.PlugAndOpen();
        KeepList(reader);
        VARIABLE(reader.library, g_szTxData)[2] = 0x5A;
        EXPECT_EQ(-4109, Complete(reader.library, kApproval).result);
        EXPECT_EQ(0x5A, VARIABLE(reader.library, g_szTxData)[2])
            << "the response code is not taken";
        reader.Finish();
        EXPECT_EQ("Error:PBOC_ExternalAuth Error!\r\n", reader.BusinessLog());
    }
}

TEST(Completion, ACardThatWasPulledFailsTheAuthentication)
{
    ScriptedReader reader;
    reader.script.ApduFails("008200000A11223344556677883030", "FB").PowerOffFails("FB");
    reader.PlugAndOpen();
    KeepList(reader);
    EXPECT_EQ(-4109, Complete(reader.library, kApproval).result);
}

TEST(Completion, AnAuthenticationOf1024CharactersOrTooLongForACommand)
{
    // 91 with 508 bytes: more than a command carries.
    ScriptedReader reader;
    reader.script.PowerOff();
    reader.PlugAndOpen();
    KeepList(reader);
    EXPECT_EQ(-4109, Complete(reader.library, "918201FC" + Repeated(508, "11")).result);
    reader.Finish();
    EXPECT_EQ("Error:PBOC_ExternalAuth Error!\r\n", reader.BusinessLog());
}

TEST(Completion, AMissingResponseCodeReadsAsZeroBytesAndDeclines)
{
    struct Row
    {
        const char *value, *code;
    };
    for (const Row &row :
         {Row{"", "0000"}, Row{"1122334455667788", "0000"}, Row{"112233445566778830", "3000"}})
    {
        ScriptedReader reader;
        const std::string value = row.value;
        reader.script.Apdu("00820000" + HexByte(value.size() / 2) + value, "9000")
            .Apdu("80AE000008" + std::string(row.code) + "000000001234", kAac)
            .PowerOff();
        reader.PlugAndOpen();
        KeepList(reader);
        EXPECT_EQ(-4115, Complete(reader.library, Object("91", value)).result);
    }
}

TEST(Completion, TheFieldsAreReadAgain)
{
    ScriptedReader reader;
    Authenticate(&reader.script, kApproval).PowerOff();
    reader.PlugAndOpen();
    KeepList(reader);
    EXPECT_EQ(-1007, Complete(reader.library, kApproval, "S0072501 31").result);
    reader.Finish();
    EXPECT_EQ("Error:TAG S Error!\r\n", reader.BusinessLog());
}

TEST(Completion, ASecondListThatCannotBeBuiltFails)
{
    // A tag in no store, and more data than the area of 512 bytes; 13 names do not fit a command.
    for (const std::string &list :
         {std::string("9B02"), std::string("8A029102"), Repeated(26, "9F4E14")})
    {
        ScriptedReader reader(Config("loglevel", "2"));
        Authenticate(&reader.script, kApproval).PowerOff();
        reader.PlugAndOpen();
        Keep(reader.library, "000999", Object("8D", list));
        EXPECT_EQ(-4103, Complete(reader.library, kApproval).result);
        reader.Finish();
        const std::string log = reader.BusinessLog();
        EXPECT_NE(std::string::npos,
                  log.find("Info:uszCDOL2 = " + list + "\r\nInfo:PBOC_BuildDOL Error!\r\n"))
            << log;
    }
    ScriptedReader reader(Config("Iccmd", "1"));
    Authenticate(&reader.script, kApproval).PowerOff();
    reader.PlugAndOpen();
    Keep(reader.library, "000999", Object("8D", Repeated(13, "9F4E14")));
    EXPECT_EQ(-4112, Complete(reader.library, kApproval).result);
}

TEST(Completion, TheScriptIdentifierIsBoundedByTheHostsRoom)
{
    struct Row
    {
        size_t room;
        const char *identifier, *text;
    };
    // The text has room for 17 bytes in any case.
    for (const Row &row :
         {Row{17, "11223344", "DF31051011223344"}, Row{8, "11223344", "DF31051011223344"},
          Row{4, "11223344", "DF31051011220000"}, Row{0, "11223344", "DF31051000000000"},
          Row{1000, "1122", "DF31051011220000"}, Row{17, "112233445566", "DF31051011223344"},
          Row{20, "112233445566", "DF3105101122334455"},
          Row{21, "112233445566", "DF310510112233445566"}})
    {
        ScriptedReader reader;
        reader.script.PowerOff();
        reader.PlugAndOpen();
        KeepList(reader);
        Area script(1023), tc(1012);
        const std::string issuer = Object("9F18", row.identifier);
        EXPECT_EQ(-4109, CALL(reader.library, BO_ICExeScript_TC)(0, kText, issuer.c_str(),
                                                                 static_cast<int>(row.room),
                                                                 script.data(), 0, tc.data()));
        EXPECT_EQ(row.text, script.Text()) << row.room;
    }
}

TEST(Completion, TheLongestScriptIdentifierFillsThePromisedRoom)
{
    ScriptedReader reader;
    reader.script.PowerOff();
    reader.PlugAndOpen();
    KeepList(reader);
    const std::string issuer = "9F188201FB" + Repeated(507, "AB");
    EXPECT_EQ(1024u, issuer.size());
    EXPECT_EQ("DF310510" + Repeated(507, "AB"),
              Complete(reader.library, issuer, kText, 0, 1023).script);
}

TEST(Completion, ScriptsAreRunAndTheirOutcomeTold)
{
    struct Row
    {
        const char *scripts; // behind the authentication data
        const char *status;  // of the one command; null: none is sent
        int code;
        const char *result, *log;
    };
    const char *const failed = "Error:PBOC_ExeScript Error!\r\n";
    for (const Row &row :
         {Row{"720E9F1804AABBCCDD86058424000000", "9000", 0, "DF310520AABBCCDD", ""},
          Row{"710E9F1804AABBCCDD86058424000000", "9000", 0, "DF310520AABBCCDD", ""},
          Row{"710786058424000000", "9000", 0, "DF31052000000000", ""},
          Row{"720E9F1804AABBCCDD86058424000000", "6985", -4110, "DF310512AABBCCDD", failed},
          Row{"720E9F1804AABBCCDD86058424000000", "6283", -4110, "DF31051FAABBCCDD", failed},
          Row{"72079F1804AABBCCDD", nullptr, -4110, "DF310510AABBCCDD", failed},
          Row{"86058424000000", nullptr, 0, "DF31051000000000", "Error:GetTag 71/72 Error!\r\n"}})
    {
        SCOPED_TRACE(row.scripts);
        ScriptedReader reader;
        AskSecond(&reader.script, kApproval, "40", kTc);
        if (row.status != nullptr)
            reader.script.Apdu("8424000000", row.status);
        reader.script.PowerOff();
        reader.PlugAndOpen();
        KeepList(reader);
        const Completed completed = Complete(reader.library, std::string(kApproval) + row.scripts);
        EXPECT_EQ(row.code, completed.result);
        EXPECT_EQ(row.result, completed.script);
        EXPECT_EQ(kTcText, completed.tc);
        reader.Finish();
        EXPECT_EQ(row.log, reader.BusinessLog());
    }
}

TEST(Completion, ACardThatIsPulledDuringTheScriptHasNoCommandNumber)
{
    ScriptedReader reader;
    AskSecond(&reader.script, kApproval, "40", kTc)
        .ApduFails("8424000000", "FB")
        .PowerOffFails("FB");
    reader.PlugAndOpen();
    KeepList(reader);
    const Completed completed =
        Complete(reader.library, std::string(kApproval) + "720786058424000000");
    EXPECT_EQ(-4110, completed.result);
    EXPECT_EQ("DF31051000000000", completed.script);
}
