// The data objects of a transaction in words: request, card's answer, issuer's answer, scripts.
#include "data_objects.h"
#include "issuer_answer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "presentation.h"

using namespace tool;
using testing::ElementsAre;
using testing::HasSubstr;

static DataObjects Parsed(const std::string &hex)
{
    return ParseObjects(Bytes(hex));
}

static std::string Text(const std::string &hex)
{
    return ObjectsText(Parsed(hex), false);
}

TEST(DataObjects, AreReadInTheirOrder)
{
    const DataObjects list = Parsed("9F2701809A03260131");
    ASSERT_EQ(list.objects.size(), 2u);
    EXPECT_EQ(list.objects[0].tag, "9F27");
    EXPECT_EQ(list.objects[1].tag, "9A");
    EXPECT_EQ(Hex(list.objects[1].value), "260131");
    EXPECT_EQ(*FindObject(list, "9F27"), "\x80");
    EXPECT_EQ(FindObject(list, "9F"), nullptr);
    EXPECT_EQ(list.error, "");
}

TEST(DataObjects, KnowTheLongLengths)
{
    EXPECT_EQ(Parsed("5A8102AABB").objects[0].value, "\xAA\xBB");
    EXPECT_EQ(Parsed("5A820002AABB").objects[0].value, "\xAA\xBB");
    EXPECT_EQ(Parsed("5A81FF" + std::string(510, 'A')).objects[0].value.size(), 255u);
    EXPECT_EQ(Parsed("5A820100" + std::string(512, 'A')).objects[0].value.size(), 256u);
}

TEST(DataObjects, AListThatEndsTooSoonKeepsWhatCameBefore)
{
    for (const char *rest : {"9F", "9F26", "9F2608", "9F260811", "5A81", "5A8200", "5A"})
    {
        const DataObjects list = Parsed(std::string("9C0100") + rest);
        EXPECT_EQ(list.objects.size(), 1u) << rest;
        EXPECT_EQ(list.error, "the list ends within the object at offset 3") << rest;
        EXPECT_THAT(ObjectsText(list, false), HasSubstr("purchase\n  the list ends within"));
    }
    EXPECT_EQ(Parsed("").error, "");
}

TEST(DataObjects, TheInformationDataNameTheCryptogram)
{
    const struct
    {
        const char *byte;
        const char *kind;
        const char *text;
    } kBytes[] = {
        {"80", "ARQC", "80  ARQC, the issuer is to decide\n"},
        {"40", "TC", "40  TC, approved\n"},
        {"00", "AAC", "00  AAC, declined\n"},
        {"C0", "AAR", "C0  AAR, referral\n"},
        {"48", "TC", "48  TC, approved, advice wanted\n"},
        {"01", "AAC", "01  AAC, declined, service not allowed\n"},
        {"02", "AAC", "02  AAC, declined, PIN tries used up\n"},
        {"03", "AAC", "03  AAC, declined, issuer authentication failed\n"},
    };
    for (const auto &known : kBytes)
    {
        const std::string hex = std::string("9F2701") + known.byte;
        EXPECT_EQ(CryptogramKind(Parsed(hex)), known.kind);
        EXPECT_EQ(Text(hex), "  9F27  Cryptogram information   " + std::string(known.text));
    }
    EXPECT_EQ(CryptogramKind(Parsed("9F2700")), "?");
    EXPECT_EQ(CryptogramKind(Parsed("9A03260131")), "?");
}

TEST(DataObjects, TheIssuersDataTellTheCardsResults)
{
    EXPECT_EQ(Text("9F100807010103A0000001"),
              "  9F10  Issuer application data  07010103A0000001  key index 1, version 1, card "
              "results A00000, algorithm 01\n"
              "                                 - first cryptogram ARQC, second not yet asked "
              "for\n");
    const std::string bits = Text("9F1008070203036FFFFF01");
    for (const char *line :
         {"key index 2, version 3, card results 6FFFFF", "- first cryptogram ARQC, second TC\n",
          "- issuer authentication failed\n", "- offline PIN checked\n", "- offline PIN wrong\n",
          "- could not go online\n", "- last online transaction was not completed\n",
          "- PIN tries used up\n", "- offline limits exceeded\n", "- new card\n",
          "- issuer authentication failed in the last online transaction\n",
          "- issuer authentication missing in the last online transaction\n",
          "- application blocked, PIN tries used up\n",
          "- static data authentication failed in the last transaction\n",
          "- script failed in the last transaction\n",
          "- dynamic data authentication failed in the last transaction\n",
          "- dynamic data authentication performed\n", "- 15 script commands counted\n"})
        EXPECT_THAT(bits, HasSubstr(line));
    for (const char *odd : {"9F1000", "9F100107", "9F100707010104A00000", "9F100701010103A00000"})
        EXPECT_EQ(Text(odd).find("key index"), std::string::npos) << odd;
}

TEST(DataObjects, EveryBitOfTheVerificationResultsHasAMeaning)
{
    const std::string all = Text("9505FCF8FCF8F0");
    size_t lines = 0;
    for (const char character : all)
        lines += character == '\n' ? 1 : 0;
    EXPECT_EQ(lines, 1 + 6 + 5 + 6 + 5 + 4u);
    EXPECT_EQ(Text("95050000000800"), "  95    Terminal verification    0000000800\n"
                                      "                                 - merchant forced the "
                                      "transaction online\n");
    EXPECT_THAT(Text("95058000000000"),
                HasSubstr("- offline data authentication was not performed\n"));
    EXPECT_THAT(Text("95050000800000"), HasSubstr("- cardholder verification failed\n"));
    EXPECT_THAT(Text("95050000000040"), HasSubstr("- issuer authentication failed\n"));
    EXPECT_EQ(Text("95020008"), "  95    Terminal verification    0008\n"); // no five bytes
}

TEST(DataObjects, OtherObjectsAreSaidInWords)
{
    EXPECT_EQ(Text("9F3602002B"), "  9F36  Transaction counter      002B  43\n");
    EXPECT_EQ(Text("9A03260131"), "  9A    Date                     260131  2026-01-31\n");
    EXPECT_EQ(Text("9A03303030"), "  9A    Date                     303030\n"); // the placeholder
    EXPECT_EQ(Text("9C0100"), "  9C    Type                     00  purchase\n");
    EXPECT_EQ(Text("9F0206000000001234"), "  9F02  Amount                   000000001234  12.34\n");
    EXPECT_THAT(Text("9F02060000000012345F2A020392"), HasSubstr("000000001234  1234\n")); // yen
    EXPECT_EQ(Text("9F020600000000012A"), "  9F02  Amount                   00000000012A\n");
    EXPECT_EQ(Text("5F2A020156"), "  5F2A  Currency                 0156  CNY\n");
    EXPECT_EQ(Text("82027C00"), "  82    Interchange profile      7C00  SDA, DDA, cardholder "
                                "verification, risk management, issuer authentication\n");
    EXPECT_EQ(Text("9F1A020156"), "  9F1A  Country                  0156  China\n");
    EXPECT_EQ(Text("DF7901AA"), "  DF79                           AA\n");
}

TEST(DataObjects, MaskHidesTheCardNumberOnly)
{
    const DataObjects list = Parsed("5A0A6200001234567890128F5F3401019C0100");
    EXPECT_THAT(ObjectsText(list, true), HasSubstr("620000*********0128F\n"));
    EXPECT_THAT(ObjectsText(list, false), HasSubstr("6200001234567890128F\n"));
    EXPECT_EQ(ObjectsJson(list, true)[0].at("value"), "620000*********0128F");
    EXPECT_EQ(ObjectsJson(list, true)[1].at("value"), "01");
}

TEST(DataObjects, AsJson)
{
    EXPECT_EQ(ObjectsJson(Parsed("9F27018095050000000800DF7901AA"), false).dump(),
              R"([{"tag":"9F27","name":"cryptogram_information","value":"80",)"
              R"("meaning":"ARQC, the issuer is to decide","details":[]},)"
              R"({"tag":"95","name":"terminal_verification","value":"0000000800","meaning":null,)"
              R"("details":["merchant forced the transaction online"]},)"
              R"({"tag":"DF79","name":null,"value":"AA","meaning":null,"details":[]}])");
}

// Format 1 is a bare value, format 2 a list of objects.
TEST(CryptogramObjects, TellTheFormatsApart)
{
    const DataObjects one = CryptogramObjects(Bytes("40002B112233445566778807010103A0000001"));
    EXPECT_EQ(CryptogramKind(one), "TC");
    EXPECT_EQ(Hex(*FindObject(one, "9F36")), "002B");
    EXPECT_EQ(Hex(*FindObject(one, "9F26")), "1122334455667788");
    EXPECT_EQ(Hex(*FindObject(one, "9F10")), "07010103A0000001");
    const DataObjects two = CryptogramObjects(Bytes("9F2701009F3602002C9F26081122334455667788"));
    EXPECT_EQ(CryptogramKind(two), "AAC");
    EXPECT_EQ(Hex(*FindObject(two, "9F36")), "002C");
    EXPECT_EQ(FindObject(CryptogramObjects(Bytes("40002B1122334455667788")), "9F10"), nullptr);
    EXPECT_EQ(CryptogramObjects(Bytes("40002B11223344556677")).error,
              "neither a list of objects nor a cryptogram");
}

// ---- The issuer ----

TEST(IssuerAnswer, IsShownWithItsScripts)
{
    const DataObjects list =
        Parsed("910A11223344556677883030"
               "72189F180412345678860F04DA9F790A0000000100001122334471088606841600000411");
    EXPECT_EQ(IssuerAnswerText(list),
              "  91    Issuer authentication    ARPC 1122334455667788, code 00, approved\n"
              "  72    Script                   identifier 12345678\n"
              "                                 - PUT DATA 04DA9F790A00000001000011223344\n"
              "  71    Script                   no identifier\n"
              "                                 - CARD BLOCK 841600000411\n");
    EXPECT_EQ(IssuerAnswerJson(list).dump(),
              R"({"arpc":"1122334455667788","response_code":"00","meaning":"approved","scripts":[)"
              R"({"tag":"72","identifier":"12345678","commands":[{"name":"PUT DATA",)"
              R"("apdu":"04DA9F790A00000001000011223344"}]},{"tag":"71","identifier":null,)"
              R"("commands":[{"name":"CARD BLOCK","apdu":"841600000411"}]}]})");
}

TEST(IssuerAnswer, MayBeAnything)
{
    EXPECT_EQ(IssuerAnswerText(Parsed("91051122334455")),
              "  91    Issuer authentication    ARPC 1122334455, no response code\n");
    EXPECT_THAT(IssuerAnswerText(Parsed("910A11223344556677881B5B")), HasSubstr("code hex 1B5B"));
    EXPECT_EQ(IssuerAnswerText(Parsed("8A023030")), "  8A                             3030\n");
    EXPECT_THAT(IssuerAnswerText(Parsed("7203860500")),
                HasSubstr("no identifier, the list ends within the object at offset 0"));
    EXPECT_THAT(IssuerAnswerText(Parsed("72038601AA")), HasSubstr("- a command AA\n"));
    EXPECT_THAT(IssuerAnswerText(Parsed("9110")), HasSubstr("the list ends within"));
    EXPECT_EQ(IssuerAnswerJson(Parsed("")).dump(),
              R"({"arpc":null,"response_code":null,"meaning":null,"scripts":[]})");
}

// As the library groups them: what it asks the card for.
TEST(IssuerAnswer, ResponseCodesHaveMeanings)
{
    EXPECT_EQ(ResponseCodeMeaning("00"), "approved");
    EXPECT_EQ(ResponseCodeMeaning("10"), "approved for a part of the amount");
    EXPECT_EQ(ResponseCodeMeaning("11"), "approved");
    EXPECT_EQ(ResponseCodeMeaning("01"), "refer to the issuer");
    EXPECT_EQ(ResponseCodeMeaning("02"), "refer to the issuer");
    EXPECT_EQ(ResponseCodeMeaning("05"), "declined");
    EXPECT_EQ(ResponseCodeMeaning("51"), "declined");
    EXPECT_EQ(ResponseCodeMeaning("Z3"), "declined");
}

TEST(ScriptResult, IsSaidInWords)
{
    EXPECT_EQ(ScriptResultMeaning("DF31051000000000"), "no script was run");
    EXPECT_EQ(ScriptResultMeaning("DF31051012345678"), "no script was run (script 12345678)");
    EXPECT_EQ(ScriptResultMeaning("DF31052000000001"),
              "the script was carried out (script 00000001)");
    EXPECT_EQ(ScriptResultMeaning("DF31051F00000000"),
              "the card refused the script, sequence digit F");
    EXPECT_EQ(ScriptResultMeaning("DF31053000000000"), "unknown script result");
    for (const char *odd : {"", "DF3105", "DF3106200000000", "DF3105200000000012"})
        EXPECT_EQ(ScriptResultMeaning(odd), "no script result") << odd;
}
