// The virtual issuer, as a function and as a program. Expected bytes were computed outside this
// project with `openssl enc -des-ede -nopad`.
#include "cards_support.h"

#include "support/scratch.h"
#include "vreader/issuer/issuer.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sys/wait.h>

using cards_test::CardOf;
using cards_test::Send;
using cards_test::Unhex;
using testing::HasSubstr;
using testing::StartsWith;
using testing_support::Scratch;
using vreader::Authorise;
using vreader::IssuerAnswer;
using vreader::IssuerRules;

namespace
{

const std::string kCryptogram = "9F26080B6C7FA84AB4F4D19F2701809F100807010103A0000001";
const std::string kTerminal =
    "9F3704112233449F3602002B950500000008009A032503029C01009F0206000000001234"
    "5F2A02015682027C009F1A0201569F0306000000000000";
// What the ordinary calls return, and what the variant calls put behind it.
const std::string kShort = kCryptogram + kTerminal;
const std::string kText = kShort + "9F330320A1009F130200285A0A6200001234567890128F5F340101";
const char kApproval[] = "910A1ED417997F96C6C63030";

IssuerAnswer Ask(const std::string &text, const IssuerRules &rules = {})
{
    return Authorise(vreader::ProfileMasterKeys(), text, rules);
}

IssuerRules WithScript(const std::string &script)
{
    IssuerRules rules;
    rules.scripts = {script};
    return rules;
}

std::shared_ptr<vreader::Card> OnlineCard(const char *name)
{
    std::ifstream file(std::string(cards_test::kProfiles) + "/online.json");
    const auto card = CardOf(nlohmann::json::parse(file).at("cards").at(name).dump());
    Send(card, "00A4040008A000000333010101");
    return card;
}

// The text for a transaction of this amount with the card online-1, which has then given its ARQC.
std::string TextOf(const std::shared_ptr<vreader::Card> &card, const std::string &amount)
{
    const std::string signedData = amount + "0000000000000156000000080001562503020011223344";
    Send(card, "80A800000B8309000000000012340156");
    const std::string answer =
        Send(card, "80AE800034" + signedData + "091530" + std::string(40, '0'));
    EXPECT_EQ(answer.size(), 46u) << answer;
    return "9F2608" + answer.substr(10, 16) + "9F27018" + "0" + "9F1008" + answer.substr(26, 16) +
           "9F3704112233449F3602" + answer.substr(6, 4) + "950500000008009A032503029C01009F0206" +
           amount +
           "5F2A02015682027C009F1A0201569F03060000000000005A0A6200001234567890128F5F340101";
}

std::string CodeFor(const std::string &amount, const IssuerRules &rules = {})
{
    const IssuerAnswer answer = Ask(TextOf(OnlineCard("online-1"), amount), rules);
    EXPECT_EQ(answer.error, "");
    return answer.responseCode;
}

struct Outcome
{
    int status = -1;
    std::string output;
    std::string errors;
};

std::string Contents(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The program through a shell, as a script uses it.
Outcome RunIssuer(const std::string &arguments, const std::string &input = "")
{
    const Scratch scratch;
    const std::string errors = scratch.path + "/errors";
    const std::string given = scratch.path + "/given";
    std::ofstream(given, std::ios::binary) << input;
    Outcome run;
    const std::string command =
        VANTOR_BIN_DIR "/vantor-issuer " + arguments + " <" + given + " 2>" + errors;
    FILE *program = popen(command.c_str(), "r");
    EXPECT_NE(program, nullptr);
    char buffer[4096];
    for (size_t count = fread(buffer, 1, sizeof buffer, program); count > 0;
         count = fread(buffer, 1, sizeof buffer, program))
        run.output.append(buffer, count);
    const int status = pclose(program);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.errors = Contents(errors);
    return run;
}

} // namespace

TEST(Issuer, VerifiesTheCryptogramAndAnswersWithItsArpc)
{
    const IssuerAnswer answer = Ask(kText);
    EXPECT_EQ(answer.error, "");
    EXPECT_TRUE(answer.verified);
    EXPECT_EQ(answer.responseCode, "00");
    EXPECT_EQ(answer.hex, kApproval);
    EXPECT_EQ(Ask(" \t" + kText + "\r\n").hex, kApproval) << "blanks around it do no harm";
}

TEST(Issuer, EveryBitOfWhatIsSignedCounts)
{
    // Where the values begin in the text, and their lengths, in bytes.
    const std::vector<std::pair<size_t, size_t>> values = {
        {3, 8},  // 9F26
        {21, 4}, // the card verification results in 9F10
        {29, 4}, // 9F37
        {36, 2}, // 9F36
        {40, 5}, // 95
        {47, 3}, // 9A
        {52, 1}, // 9C
        {56, 6}, // 9F02
        {65, 2}, // 5F2A
        {69, 2}, // 82
        {74, 2}, // 9F1A
        {79, 6}, // 9F03
    };
    for (const auto &[start, length] : values)
    {
        for (size_t i = start; i < start + length; ++i)
        {
            vreader::Bytes bytes = Unhex(kText);
            bytes[i] = static_cast<uint8_t>(bytes[i] ^ 0x01);
            const IssuerAnswer answer = Ask(cards_test::Hex(bytes));
            EXPECT_FALSE(answer.verified) << "byte " << i;
            EXPECT_THAT(answer.error, HasSubstr("does not verify")) << "byte " << i;
            EXPECT_EQ(answer.hex, "");
        }
    }
}

TEST(Issuer, OtherKeysOrAnotherCardDoNotVerify)
{
    vreader::IssuerKeys keys = vreader::ProfileMasterKeys();
    keys.cryptogram[0] ^= 0x10;
    EXPECT_FALSE(Authorise(keys, kText, {}).verified);
    IssuerRules other;
    other.pan = "6200009876543212";
    EXPECT_FALSE(Ask(kText, other).verified);
    other.pan = "";
    other.sequenceNumber = "02";
    const IssuerAnswer answer = Ask(kText, other);
    EXPECT_FALSE(answer.verified);
    EXPECT_THAT(answer.error, StartsWith("the cryptogram does not verify: 9F26 is "
                                         "0B6C7FA84AB4F4D1, these keys give "));
    EXPECT_THAT(answer.error, HasSubstr("PAN 6200001234567890128, sequence number 02, 9F36 002B"));
}

TEST(Issuer, CardNumberComesFromTheRulesWhenTheTextHasNone)
{
    EXPECT_EQ(Ask(kShort).error, "the text does not tell the PAN (5A); name it");
    // What stands there for a card that did not tell.
    EXPECT_EQ(Ask(kShort + "5A0A000000000000000000005F34020000").error,
              "the text does not tell the PAN (5A); name it");
    IssuerRules rules;
    rules.pan = "6200001234567890128";
    rules.sequenceNumber = "01";
    EXPECT_EQ(Ask(kShort, rules).hex, kApproval);
    EXPECT_EQ(Ask(kShort + "5A0A000000000000000000005F34020000", rules).hex, kApproval);
    rules.pan = "62000012345678901x8";
    EXPECT_THAT(Ask(kShort, rules).error, StartsWith("the PAN must be at most 19 digits"));
    rules.pan = "62000012345678901280";
    EXPECT_THAT(Ask(kShort, rules).error, StartsWith("the PAN must be at most 19 digits"));
    rules.pan = "6200001234567890128";
    rules.sequenceNumber = "1";
    EXPECT_THAT(Ask(kShort, rules).error, StartsWith("the PAN sequence number must be two digits"));
}

TEST(Issuer, DecidesByTheAmount)
{
    EXPECT_EQ(CodeFor("000000000000"), "00");
    EXPECT_EQ(CodeFor("000000100000"), "00");
    EXPECT_EQ(CodeFor("000000100001"), "01");
    EXPECT_EQ(CodeFor("000000500000"), "01");
    EXPECT_EQ(CodeFor("000000500001"), "05");
    EXPECT_EQ(CodeFor("999999999999"), "05");
    EXPECT_EQ(CodeFor("00000000012A"), "05") << "no decimal number";
    IssuerRules rules;
    rules.referAbove = 100;
    rules.declineAbove = 200;
    EXPECT_EQ(CodeFor("000000000100", rules), "00");
    EXPECT_EQ(CodeFor("000000000101", rules), "01");
    EXPECT_EQ(CodeFor("000000000201", rules), "05");
    rules.responseCode = "Z3";
    EXPECT_EQ(CodeFor("000000000201", rules), "Z3");
}

TEST(Issuer, DeclineAndReferralHaveTheirOwnArpc)
{
    IssuerRules rules;
    rules.responseCode = "05";
    EXPECT_EQ(Ask(kText, rules).hex, "910A85B65CC64086E2BF3035");
    rules.responseCode = "01";
    EXPECT_EQ(Ask(kText, rules).hex, "910AED729BE7FB9A9C443031");
    rules.responseCode = "0";
    EXPECT_EQ(Ask(kText, rules).error, "a response code has two characters");
}

TEST(Issuer, ScriptsStandInATemplateWithTheirIdentifier)
{
    EXPECT_EQ(Ask(kText, WithScript("put-data 9F79=000000020000")).hex,
              "910A1ED417997F96C6C63030"
              "72189F180400000001860F04DA9F790A000000020000428332A0");
    IssuerRules rules = WithScript("block-card");
    rules.scriptTemplate = 0x71;
    rules.scriptIdentifier = {0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(Ask(kText, rules).hex, "910A1ED417997F96C6C63030"
                                     "71129F18041234567886098416000004887E2439");
    rules.scriptIdentifier.clear();
    EXPECT_EQ(Ask(kText, rules).hex, "910A1ED417997F96C6C63030"
                                     "710B86098416000004887E2439");
}

TEST(Issuer, BuildsEveryScriptCommand)
{
    const auto commandOf = [](const std::string &script)
    {
        const std::string hex = Ask(kText, WithScript(script)).hex;
        return hex.size() > 46 ? hex.substr(46) : hex;
    };
    EXPECT_EQ(commandOf("block-card"), "8416000004887E2439");
    EXPECT_EQ(commandOf("block-application"), "841E0000046AD33EC3");
    EXPECT_EQ(commandOf("unblock-application"), "8418000004C1940C64");
    EXPECT_EQ(commandOf("unblock-pin"), "84240000049E1A1B27");
    EXPECT_EQ(commandOf("pin-change 654321"), "84240002148DC179EE494D6C34387F06B5EEE20D10779053ED");
    EXPECT_EQ(commandOf("pin-change 123456 98765432"),
              "84240001146096DB7BA354CE51387F06B5EEE20D1097FFB231");
    EXPECT_EQ(commandOf("put-data 9F77=000000300000"), "04DA9F770A000000300000887D28A7");
    EXPECT_EQ(commandOf("raw 00A4040000"), "00A4040000");
}

TEST(Issuer, SeveralScriptsKeepTheirOrder)
{
    IssuerRules rules;
    rules.scripts = {"put-data 9F79=000000020000", "block-application"};
    EXPECT_EQ(Ask(kText, rules).hex, "910A1ED417997F96C6C63030"
                                     "72239F180400000001860F04DA9F790A000000020000428332A0"
                                     "8609841E0000046AD33EC3");
}

TEST(Issuer, ScriptsThatAreNotUnderstoodAreToldApart)
{
    for (const char *script :
         {"", "block", "block-card now", "pin-change", "pin-change 123", "pin-change 12345a",
          "pin-change 1234567890123", "pin-change 1234 5678 9012", "put-data", "put-data 9F79",
          "put-data 9F79=", "put-data 9F79=0", "put-data 9F=00", "put-data DF8129=00", "raw",
          "raw 0", "raw xy"})
    {
        const IssuerAnswer answer = Ask(kText, WithScript(script));
        EXPECT_THAT(answer.error, StartsWith("script \"" + std::string(script) + "\": "));
        EXPECT_EQ(answer.hex, "");
        std::string error;
        EXPECT_FALSE(vreader::IsScript(script, &error));
        EXPECT_EQ(error, answer.error);
    }
    EXPECT_NE(Ask(kText, WithScript("put-data 9F79=" + std::string(504, '0'))).error, "");
}

TEST(Issuer, AnswerFitsTheCalls)
{
    IssuerRules rules;
    rules.scripts.assign(29, "put-data 9F79=000000020000");
    // 12 bytes of 91, 4 of the template's tag and length, 7 of 9F18, 29 times 17: 516 bytes.
    EXPECT_EQ(Ask(kText, rules).error,
              "the answer has 1032 characters; the calls take at most 1024");
    rules.scripts.assign(28, "put-data 9F79=000000020000");
    EXPECT_EQ(Ask(kText, rules).hex.size(), 998u);
}

TEST(Issuer, SpoilsWhatItIsToldToSpoil)
{
    IssuerRules rules = WithScript("put-data 9F79=000000020000");
    rules.spoilsArpc = true;
    rules.spoilsScriptMacs = true;
    EXPECT_EQ(Ask(kText, rules).hex, "910A1ED417997F96C6C73030"
                                     "72189F180400000001860F04DA9F790A000000020000428332A1");
}

TEST(Issuer, OnlyAnArqcAsksForAnAnswer)
{
    std::string text = kText;
    // The AAC that this card gives for the same data.
    text.replace(6, 16, "24387C2E736167E5").replace(28, 2, "00").replace(44, 2, "80");
    const IssuerAnswer declined = Ask(text);
    EXPECT_TRUE(declined.verified);
    EXPECT_EQ(declined.error, "the card declined the transaction itself (9F27 says AAC)");
    EXPECT_EQ(declined.hex, "");
    EXPECT_EQ(Ask(std::string(kText).replace(28, 2, "40")).error,
              "the card approved the transaction itself (9F27 says TC)");
    EXPECT_EQ(Ask(std::string(kText).replace(28, 2, "C0")).error,
              "9F27 is none of ARQC, TC and AAC");
    EXPECT_EQ(Ask(std::string(kText).erase(22, 8)).hex, kApproval) << "9F27 may be missing";
}

TEST(Issuer, BadTextIsToldByItsMistake)
{
    EXPECT_EQ(Ask("").error, "the ARQC text is empty");
    EXPECT_EQ(Ask(" \n").error, "the ARQC text is empty");
    EXPECT_EQ(Ask("9F2").error, "the ARQC text has an odd number of digits, 3");
    EXPECT_EQ(Ask("9F26 08").error,
              "character 5 of the ARQC text, byte 20, is no hexadecimal digit");
    EXPECT_EQ(Ask("9Fx6").error, "character 3 of the ARQC text, \"x\", is no hexadecimal digit");
    EXPECT_EQ(Ask(std::string("9F\0006", 4)).error,
              "character 3 of the ARQC text, byte 00, is no hexadecimal digit");
    EXPECT_EQ(Ask(std::string(16386, '0')).error,
              "the ARQC text has 16386 characters, more than any card could have caused");
    EXPECT_EQ(Ask("9F2608").error,
              "the ARQC text is no list of data objects: at byte 1 of 3: 9F26 claims 8 bytes, 0 "
              "follow");
    EXPECT_EQ(Ask("9F").error,
              "the ARQC text is no list of data objects: at byte 1 of 1: the bytes "
              "end within a tag");
    EXPECT_EQ(Ask("9A01009F0282").error,
              "the ARQC text is no list of data objects: at byte 4 of 6: the bytes end within a "
              "length");
    EXPECT_EQ(Ask("9A84FFFFFFFF").error,
              "the ARQC text is no list of data objects: at byte 1 of 6: the bytes end within a "
              "length");
}

TEST(Issuer, EveryCutTextIsRefused)
{
    for (size_t length = 0; length < kText.size(); ++length)
    {
        const IssuerAnswer answer = Ask(kText.substr(0, length));
        EXPECT_NE(answer.error, "") << length;
        EXPECT_EQ(answer.hex, "") << length;
    }
}

TEST(Issuer, MissingAndMisshapenObjectsAreNamed)
{
    const std::string identity = "5A0A6200001234567890128F5F340101";
    EXPECT_EQ(Ask(identity).error, "the text holds no 9F02");
    EXPECT_EQ(Ask(kTerminal + identity).error, "the text holds no 9F10");
    EXPECT_EQ(Ask("9F1006070101"
                  "03A000" +
                  kTerminal + identity)
                  .error,
              "9F10 has 6 bytes; the card verification results end at the seventh");
    EXPECT_EQ(Ask("9F100807010103A0000001" + kTerminal + identity).error, "the text holds no 9F26");
    EXPECT_EQ(Ask("9F260400000000"
                  "9F100807010103A0000001" +
                  kTerminal + identity)
                  .error,
              "9F26 has 4 bytes instead of 8");
    EXPECT_EQ(Ask("82017C" + kText).error, "82 has 1 bytes instead of 2");
    EXPECT_EQ(Ask("9F36012B" + kText).error, "9F36 has 1 bytes instead of 2");
    EXPECT_THAT(Ask("5A026F2F" + kText).error, StartsWith("the cryptogram does not verify"));
    EXPECT_THAT(Ask("5A02AB12" + kText).error, StartsWith("the PAN must be at most 19 digits"));
}

TEST(Issuer, VerifiesACryptogramOverTheWholeList)
{
    vreader::IssuerKeys keys{};
    IssuerRules rules;
    std::string error;
    ASSERT_TRUE(vreader::IssuerOfProfileCard(std::string(cards_test::kProfiles) + "/online.json",
                                             "signs-all", &keys, &rules, &error))
        << error;
    EXPECT_EQ(rules.pan, "6200009876543212");
    const std::string text = "9F2608F9BC8A2CF8FCF61C9F2701809F100807010103A0000001" + kTerminal;
    EXPECT_EQ(Authorise(keys, text, rules).error, "the text holds no 9F21");
    rules.furtherData = Unhex("9F21030915309F4E1454454120484F5553450000000000000000000000");
    EXPECT_EQ(Authorise(keys, text, rules).hex, "910AB12CFB99CA89B06D3030");
    rules.furtherData = Unhex("9F21030915309F4E1454454120484F5553450000000000000000000001");
    EXPECT_FALSE(Authorise(keys, text, rules).verified);
}

TEST(Issuer, CardOfAProfileIsFoundOrMissed)
{
    vreader::IssuerKeys keys{};
    IssuerRules rules;
    std::string error;
    EXPECT_TRUE(vreader::IssuerOfProfileCard("online", "online-1", &keys, &rules, &error)) << error;
    EXPECT_EQ(rules.pan, "6200001234567890128");
    EXPECT_EQ(rules.sequenceNumber, "01");
    EXPECT_TRUE(rules.cdol1.empty());
    EXPECT_EQ(keys.cryptogram, vreader::ProfileMasterKeys().cryptogram);
    EXPECT_EQ(keys.mac, vreader::ProfileMasterKeys().mac);
    EXPECT_EQ(keys.encipherment, vreader::ProfileMasterKeys().encipherment);
    EXPECT_FALSE(vreader::IssuerOfProfileCard("online", "nobody", &keys, &rules, &error));
    EXPECT_EQ(error, "no card \"nobody\" in the profile");
    EXPECT_FALSE(vreader::IssuerOfProfileCard("pboc-debit", "pboc-debit", &keys, &rules, &error));
    EXPECT_EQ(error, "card \"pboc-debit\" has no keys (\"online\")");
    EXPECT_FALSE(vreader::IssuerOfProfileCard("declining", "declining", &keys, &rules, &error));
    EXPECT_EQ(error, "card \"declining\" refers to card \"declining\" of online.json; name that "
                     "profile and card");
    EXPECT_FALSE(
        vreader::IssuerOfProfileCard("social-security", "gbk-name", &keys, &rules, &error));
    EXPECT_EQ(error, "card \"gbk-name\" is no pboc card");
    EXPECT_FALSE(vreader::IssuerOfProfileCard("no-such-profile", "x", &keys, &rules, &error));
}

TEST(Issuer, AmountsAreReadAsPeopleWriteThem)
{
    uint64_t amount = 0;
    EXPECT_TRUE(vreader::AmountFromText("123.45", &amount));
    EXPECT_EQ(amount, 12345u);
    EXPECT_TRUE(vreader::AmountFromText("7", &amount));
    EXPECT_EQ(amount, 700u);
    EXPECT_TRUE(vreader::AmountFromText("9999999999.99", &amount));
    EXPECT_EQ(amount, 999999999999u);
    for (const char *text : {"", ".50", "1.5", "1.234", "-1", "1,00", "10000000000", "1.2x", " 1"})
        EXPECT_FALSE(vreader::AmountFromText(text, &amount)) << text;
}

TEST(Issuer, CardCarriesOutWhatTheIssuerSends)
{
    const auto card = OnlineCard("online-1");
    const IssuerAnswer answer =
        Ask(TextOf(card, "000000000777"), WithScript("put-data 9F78=000000012300"));
    ASSERT_EQ(answer.error, "");
    EXPECT_EQ(Send(card, "008200000A" + answer.hex.substr(4, 20)), "9000");
    EXPECT_EQ(Send(card, answer.hex.substr(46)), "9000");
    EXPECT_EQ(Send(card, "80CA9F78"), "9F78060000000123009000");
}

TEST(PurseIssuer, ChecksMac1AndGivesMac2OfALoad)
{
    vreader::PurseRequest request;
    request.dataHex = "0101010101112233445566";
    request.answerHex = "017D78400009010091929394D38AA52B";
    request.date = "20250302";
    request.time = "091530";
    EXPECT_EQ(vreader::AuthoriseLoad(vreader::ProfilePurseKeys(), request).hex,
              "2025030209153044A3AF46");
    request.account = 1;
    EXPECT_EQ(vreader::AuthoriseLoad(vreader::ProfilePurseKeys(), request).hex, "");
    EXPECT_THAT(vreader::AuthoriseLoad(vreader::ProfilePurseKeys(), request).error,
                StartsWith("MAC1 of the card does not verify: it is D38AA52B, these keys give "));
}

TEST(PurseIssuer, GivesMac1OfAPurchase)
{
    vreader::PurseRequest request;
    request.dataHex = "0101010101112233445566";
    request.answerHex = "017D78400021000000010091929394";
    request.date = "20250302";
    request.time = "091530";
    request.terminalNumber = 0x01010102;
    EXPECT_EQ(vreader::PreparePurchase(vreader::ProfilePurseKeys(), request).hex,
              "0101010220250302091530738A496C");
}

TEST(PurseIssuer, BadInputIsToldByItsMistake)
{
    vreader::PurseRequest request;
    const vreader::PurseKeys keys = vreader::ProfilePurseKeys();
    EXPECT_EQ(vreader::AuthoriseLoad(keys, request).error,
              "the data of the first command must be 11 bytes in hexadecimal digits");
    request.dataHex = "0101010101112233445566";
    EXPECT_EQ(vreader::PreparePurchase(keys, request).error,
              "the card's answer must be 15 bytes in hexadecimal digits");
    request.answerHex = "017D78400009010091929394D38AA52B";
    EXPECT_EQ(vreader::AuthoriseLoad(keys, request).error,
              "the date YYYYMMDD must be 4 bytes in hexadecimal digits");
    request.date = "20250302";
    request.time = "0915";
    EXPECT_EQ(vreader::AuthoriseLoad(keys, request).error,
              "the time hhmmss must be 3 bytes in hexadecimal digits");
    request.time = "091530";
    request.account = 3;
    EXPECT_EQ(vreader::AuthoriseLoad(keys, request).error,
              "the account is 1 (deposit) or 2 (purse)");
}

TEST(IssuerProgram, PrintsTheAnswerAndNothingElse)
{
    const Outcome run = RunIssuer(kText);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, std::string(kApproval) + "\n");
    EXPECT_EQ(run.errors, "");
}

TEST(IssuerProgram, ReadsStandardInput)
{
    EXPECT_EQ(RunIssuer("", kText + "\n").output, std::string(kApproval) + "\n");
    EXPECT_EQ(RunIssuer("-", kText).output, std::string(kApproval) + "\n");
    const Outcome nothing = RunIssuer("");
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(nothing.output, "");
    EXPECT_EQ(nothing.errors, "vantor-issuer: the ARQC text is empty\n");
    EXPECT_EQ(RunIssuer("", std::string(200000, '0')).status, 1);
}

TEST(IssuerProgram, ExitsWith1WhenTheCryptogramDoesNotVerify)
{
    const Outcome run = RunIssuer("--psn 02 " + kText);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, StartsWith("vantor-issuer: the cryptogram does not verify"));
}

TEST(IssuerProgram, ExplainsOnStandardError)
{
    const Outcome run = RunIssuer("--explain --script 'put-data 9F79=000000020000' " + kText);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "910A1ED417997F96C6C6303072189F180400000001860F04DA9F790A000000020000"
                          "428332A0\n");
    EXPECT_EQ(run.errors,
              "card        PAN 6200001234567890128, sequence number 01, 9F36 002B\n"
              "signed      00000000123400000000000001560000000800015625030200112233447C00002B"
              "03A00000\n"
              "cryptogram  0B6C7FA84AB4F4D1 verifies\n"
              "decision    00, amount 12.34: approved\n"
              "ARPC        1ED417997F96C6C6\n"
              "script      04DA9F790A000000020000428332A0  put-data 9F79=000000020000\n");
}

TEST(IssuerProgram, TakesRulesAsOptions)
{
    EXPECT_EQ(RunIssuer("--refer-above 12.33 " + kText).output, "910AED729BE7FB9A9C443031\n");
    EXPECT_EQ(RunIssuer("--refer-above 1 --decline-above 12.33 " + kText).output,
              "910A85B65CC64086E2BF3035\n");
    EXPECT_EQ(RunIssuer("--code 05 " + kText).output, "910A85B65CC64086E2BF3035\n");
    EXPECT_EQ(RunIssuer("--spoil-arpc " + kText).output, "910A1ED417997F96C6C73030\n");
    EXPECT_EQ(RunIssuer("--script block-card --template 71 --script-id 12345678 " + kText).output,
              "910A1ED417997F96C6C6303071129F18041234567886098416000004887E2439\n");
    EXPECT_EQ(RunIssuer("--script block-card --spoil-mac " + kText).output,
              "910A1ED417997F96C6C6303072129F18040000000186098416000004887E2438\n");
    EXPECT_EQ(RunIssuer("--pan 6200001234567890128 --psn 01 " + kShort).status, 0);
    EXPECT_EQ(RunIssuer("--profile online --card online-1 " + kShort).status, 0);
}

TEST(IssuerProgram, TakesKeysAndListsAsOptions)
{
    EXPECT_EQ(RunIssuer("--cryptogram-key 00000000000000000000000000000000 " + kText).status, 1);
    EXPECT_EQ(RunIssuer("--master-key 0123456789ABCDEFFEDCBA9876543210 " + kText).output,
              std::string(kApproval) + "\n");
    EXPECT_EQ(RunIssuer("--script block-card --mac-key 11112222333344445555666677778888 "
                        "--encipherment-key A0A1A2A3A4A5A6A7B0B1B2B3B4B5B6B7 " +
                        kText)
                  .output,
              "910A1ED417997F96C6C6303072129F18040000000186098416000004887E2439\n");
    // The eight standard objects as a list, in their order.
    EXPECT_EQ(RunIssuer("--cdol1 9F02069F03069F1A0295055F2A029A039C019F3704 " + kText).status, 0);
    EXPECT_EQ(RunIssuer("--cdol1 9F03069F02069F1A0295055F2A029A039C019F3704 " + kText).status, 1);
    EXPECT_EQ(RunIssuer("--cdol1 9F02069F03069F1A0295055F2A029A039C019F37048A02 " + kText).errors,
              "vantor-issuer: the text holds no 8A\n");
    const std::string text = "9F2608F9BC8A2CF8FCF61C9F2701809F100807010103A0000001" + kTerminal;
    EXPECT_EQ(RunIssuer("--profile online --card signs-all --data 9F21=091530 "
                        "--data 9F4E=54454120484F5553450000000000000000000000 " +
                        text)
                  .output,
              "910AB12CFB99CA89B06D3030\n");
}

TEST(IssuerProgram, WrongOptionsAreToldAndEndWith2)
{
    for (const char *arguments :
         {"--no-such-option", "--master-key 0123", "--refer-above ten", "--code 005",
          "--script dance", "--script-id 12", "--template 73", "--cdol1 9", "--data 9F21",
          "--data XX=00", "--profile online", "--card nobody", "--mac-key", "load --request 00",
          "load --account 3"})
    {
        const Outcome run = RunIssuer(std::string(arguments) + " " + kText);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_EQ(run.output, "") << arguments;
        EXPECT_NE(run.errors, "") << arguments;
    }
}

TEST(IssuerProgram, ServesThePurse)
{
    EXPECT_EQ(RunIssuer("load --request 0101010101112233445566 --answer "
                        "017D78400009010091929394D38AA52B --date 20250302 --time 091530")
                  .output,
              "2025030209153044A3AF46\n");
    EXPECT_EQ(RunIssuer("purchase --request 0101010101112233445566 --answer "
                        "017D78400021000000010091929394 --date 20250302 --time 091530 "
                        "--number 16843010")
                  .output,
              "0101010220250302091530738A496C\n");
    const Outcome run = RunIssuer("load --request 0101010101112233445566 --answer "
                                  "017D78400009010091929394D38AA52C --date 20250302 --time 091530");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
}

TEST(IssuerProgram, MessagesCannotDriveATerminal)
{
    const Outcome run = RunIssuer("--card \"$(printf 'a\\033[2Jb')\" " + kText);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "vantor-issuer: no card \"a?[2Jb\" in the profile\n");
}
