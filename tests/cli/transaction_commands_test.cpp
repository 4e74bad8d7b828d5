// The built program against the virtual reader: online transactions, in one process and in two, and
// the terminal-standard interface. The issuer's program lies beside the tool.
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sys/stat.h>

#include "support/host_library.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

const char kOnlineCards[] =
    R"({"cards": {)"
    R"("contact": {"kind": "reference", "file": "online.json", "card": "online-1"},)"
    R"("format-2": {"kind": "reference", "file": "online.json", "card": "online-2"},)"
    R"("locator": {"kind": "reference", "file": "online.json", "card": "online-contactless"},)"
    R"("one-step": {"kind": "reference", "file": "online.json", "card": "online-one-step"},)"
    R"("declining": {"kind": "reference", "file": "online.json", "card": "declining"},)"
    R"("declining-second": {"kind": "reference", "file": "online.json",)"
    R"( "card": "declining-second"}},)"
    R"("contact": "contact", "contactless": "locator"})";

struct Desk
{
    ToolDirectory tool;
    TestReader reader{kOnlineCards};

    Desk()
    {
        fs::copy_file(VANTOR_BIN_DIR "/vantor-issuer", tool.scratch.path + "/bin/vantor-issuer");
    }
    bool IsPowered() const
    {
        const json info = json::parse(reader.Control("info").substr(3));
        return info.at("contact").at("0").at("powered") || info.at("contactless").at("powered");
    }
    ChildResult Run(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"--port", reader.Port()});
        return tool.Run(words);
    }
    // A whole round; these words behind it.
    ChildResult Transaction(const std::string &amount, const std::vector<std::string> &more = {},
                            const std::vector<std::string> &issuerOptions = {}) const
    {
        std::vector<std::string> words = {"ic",     "transaction", "--amount", amount,
                                          "--date", "2026-01-31",  "--time",   "12:00"};
        words.insert(words.end(), more.begin(), more.end());
        if (!issuerOptions.empty())
            words.push_back("--");
        words.insert(words.end(), issuerOptions.begin(), issuerOptions.end());
        return Run(words);
    }
    std::string File(const std::string &name) const
    {
        return tool.scratch.path + "/" + name;
    }
    std::string Issuer(const std::vector<std::string> &words) const
    {
        std::vector<std::string> command = {tool.scratch.path + "/bin/vantor-issuer"};
        command.insert(command.end(), words.begin(), words.end());
        std::string answer = RunChild(command).out;
        while (!answer.empty() && answer.back() == '\n')
            answer.pop_back();
        return answer;
    }
};

json Parsed(const ChildResult &result)
{
    const json document = json::parse(result.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
    return document;
}

} // namespace

// ---- ic transaction ----

TEST(ToolIcTransaction, ShowsEveryStepOfAnApprovedOne)
{
    const Desk desk;
    const ChildResult result = desk.Transaction("12.34", {"--merchant", "茶馆"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, StartsWith("contact card, ARQC\n  9F26  Cryptogram  "));
    for (const char *text :
         {"  9F27  Cryptogram information   80  ARQC, the issuer is to decide\n",
          "  9F36  Transaction counter      002B  43\n",
          "- merchant forced the transaction online\n", "260131  2026-01-31\n",
          "000000001234  12.34\n", "\nfor the issuer: 9F2608",
          "\nissuer: card        PAN 6200001234567890128, sequence number 01, 9F36 002B\n",
          "issuer: decision    00, amount 12.34: approved\n", "\nthe issuer answers: 910A",
          ", code 00, approved\n",
          "\nthe card answers: TC\n  9F27  Cryptogram information   40  TC, approved\n",
          "- first cryptogram ARQC, second TC\n",
          "\nscript result: DF31051000000000, no script was run\napproved\n"})
        EXPECT_THAT(result.out, HasSubstr(text));
    EXPECT_THAT(desk.Run({"ic", "log"}).out,
                HasSubstr(" 1  2026-01-31  12:00:00  purchase   12.34          0.00  CNY       "
                          "China     43  茶馆\n"));
}

TEST(ToolIcTransaction, AsJson)
{
    const Desk desk;
    const json document =
        Parsed(desk.Transaction("12.34", {"--json"}, {"--script", "put-data 9F79=000000020000"}));
    EXPECT_EQ(document.at("ok"), true);
    const json &result = document.at("result");
    EXPECT_EQ(result.at("interface"), "contact");
    EXPECT_EQ(result.at("cryptogram"), "ARQC");
    EXPECT_THAT(result.at("arqc").get<std::string>(), StartsWith("9F2608"));
    EXPECT_EQ(result.at("request").at(0).at("name"), "cryptogram");
    EXPECT_EQ(result.at("issuer_answer").at("response_code"), "00");
    EXPECT_EQ(result.at("issuer_answer").at("scripts").at(0).at("commands").at(0).at("name"),
              "PUT DATA");
    EXPECT_THAT(result.at("tc").get<std::string>(), StartsWith("40002B"));
    EXPECT_EQ(result.at("answer").at(0).at("meaning"), "TC, approved");
    EXPECT_EQ(result.at("script_result"),
              json({{"text", "DF31052000000001"},
                    {"meaning", "the script was carried out (script 00000001)"}}));
    EXPECT_EQ(result.at("outcome"), "approved");
    EXPECT_THAT(desk.Run({"ic", "info", "--tags", "G"}).out, HasSubstr("200.00 yuan"));
}

TEST(ToolIcTransaction, ThatIsNotApprovedIsAFailure)
{
    const Desk desk;
    const struct
    {
        const char *amount;
        const char *callSet;
        const char *outcome;
        const char *call; // null: the calls themselves were successful
        int code;
        const char *message;
    } kCases[] = {
        {"6000", "bo", "declined", "BO_ICExeScript_TC", -4115,
         "declined: the issuer declined and the card gave its AAC"},
        {"6000", "terminal", "declined", "IC_CtlScriptData", -31,
         "the card declined, or refused the second cryptogram"},
        {"1500", "bo", "referred", nullptr, 0,
         "not approved: the issuer wants to be asked in person"},
        {"1500", "terminal", "referred", nullptr, 0,
         "not approved: the issuer wants to be asked in person"},
    };
    for (const auto &each : kCases)
    {
        const ChildResult result =
            desk.Transaction(each.amount, {"--interface", each.callSet, "--json"});
        EXPECT_EQ(result.status, 1);
        const json document = Parsed(result);
        ASSERT_TRUE(document.at("result").contains("outcome")) << document;
        EXPECT_EQ(document.at("result").at("outcome"), each.outcome);
        EXPECT_EQ(document.at("error").at("message"), each.message);
        EXPECT_EQ(document.at("error").contains("call"), each.call != nullptr);
        if (each.call == nullptr)
            continue;
        EXPECT_EQ(document.at("error").at("call"), each.call);
        EXPECT_EQ(document.at("error").at("code"), each.code);
        EXPECT_EQ(document.at("error").at("text").is_null(), each.code == -31);
    }
}

TEST(ToolIcTransaction, ThroughTheTerminalInterfaceOnEitherCard)
{
    const Desk desk;
    for (const char *place : {"--auto", "--contactless"})
    {
        const ChildResult result =
            desk.Transaction("8.00", {"--interface", "terminal", place, "--merchant", "茶馆"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.out, StartsWith(place[2] == 'a' ? "contact card" : "contactless card"));
        EXPECT_THAT(result.out, HasSubstr("  5A    Card number              62000"));
        EXPECT_THAT(result.out, HasSubstr("  9F33  Terminal capabilities    20A100\n"));
        EXPECT_THAT(result.out, HasSubstr("\nthe card answers: TC\n"));
    }
    const ChildResult log = desk.Run({"ic", "log", "--interface", "terminal", "--contactless"});
    EXPECT_THAT(log.out, HasSubstr("8.00          0.00  CNY       China     44  茶馆\n"));
}

TEST(ToolIcTransaction, TakesAnApplicationByItsIdentifier)
{
    const Desk desk;
    EXPECT_EQ(desk.Transaction("1", {"--interface", "terminal", "--aid", "a0 00 00 03 33 01 01 01"})
                  .status,
              0);
    const ChildResult other =
        desk.Transaction("1", {"--interface", "terminal", "--aid", "A000000333010109"});
    EXPECT_EQ(other.status, 1);
    EXPECT_EQ(other.err,
              "vantor: IC_GenARQC failed with -27: the card's application could not be found or "
              "selected\ntry: is the application on this card (--aid)?\n");
}

// The issuer decides about a card that gave its cryptogram with its processing options; only
// scripts are left for the card.
TEST(ToolIcTransaction, WithACardThatHasNoSecondCryptogram)
{
    const Desk desk;
    desk.reader.Control("swap contactless one-step");
    const ChildResult plain = desk.Transaction("1", {"--contactless"});
    EXPECT_EQ(plain.status, 0) << plain.err;
    EXPECT_THAT(plain.out, HasSubstr("the card has no second cryptogram (no CDOL2): the issuer's "
                                     "answer decides\napproved\n"));
    const ChildResult scripts =
        desk.Transaction("1", {"--contactless"}, {"--script", "unblock-pin"});
    EXPECT_EQ(scripts.status, 0) << scripts.err;
    EXPECT_THAT(scripts.out, HasSubstr("the scripts were carried out\napproved\n"));
    const ChildResult terminal = desk.Transaction("1", {"--contactless", "--interface", "terminal"},
                                                  {"--script", "unblock-pin"});
    EXPECT_EQ(terminal.status, 0) << terminal.err;
    EXPECT_THAT(terminal.out, HasSubstr("note: the scripts are left out"));
    const json declined = Parsed(desk.Transaction("6000", {"--contactless", "--json"}));
    EXPECT_EQ(declined.at("result").at("outcome"), "declined");
    EXPECT_EQ(declined.at("error").at("message"), "not approved: declined");
}

TEST(ToolIcTransaction, ScriptsAlone)
{
    const Desk desk;
    const ChildResult result =
        desk.Transaction("1", {"--scripts-only"}, {"--script", "unblock-pin"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("\nthe scripts were carried out\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("the card answers")));
    const ChildResult none = desk.Transaction("1", {"--scripts-only"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("BO_ICExeScript failed with -4109"));
}

TEST(ToolIcTransaction, ACardThatDeclinesIsSaid)
{
    const Desk desk;
    desk.reader.Control("swap contact declining");
    const ChildResult first = desk.Transaction("1");
    EXPECT_EQ(first.status, 1);
    EXPECT_THAT(first.out, StartsWith("contact card, AAC\n"));
    EXPECT_EQ(first.err, "vantor: the issuer gives no answer: vantor-issuer: the card declined the "
                         "transaction itself (9F27 says AAC)\n"
                         "try: options for the issuer stand behind --\n");
    desk.reader.Control("swap contact declining-second");
    const json second = Parsed(desk.Transaction("1", {"--json"}));
    EXPECT_EQ(second.at("result").at("outcome"), "declined");
    EXPECT_EQ(second.at("error").at("code"), -4114);
}

TEST(ToolIcTransaction, AScriptThatFailsLeavesTheTransactionApproved)
{
    const Desk desk;
    const ChildResult result = desk.Transaction(
        "1", {"--json"}, {"--script", "put-data 9F79=000000020000", "--spoil-mac"});
    EXPECT_EQ(result.status, 1);
    const json document = Parsed(result);
    EXPECT_EQ(document.at("result").at("outcome"), "approved");
    EXPECT_EQ(document.at("result").at("script_result").at("meaning"),
              "the card refused the script, sequence digit 2 (script 00000001)");
    EXPECT_EQ(document.at("error").at("code"), -4110);
}

TEST(ToolIcTransaction, OptionsForTheIssuerAreHandedOn)
{
    const Desk desk;
    const ChildResult spoiled = desk.Transaction("1", {}, {"--spoil-arpc"});
    EXPECT_EQ(spoiled.status, 1);
    EXPECT_THAT(spoiled.err, HasSubstr("BO_ICExeScript_TC failed with -4109"));
    // The card's own number goes to the issuer unless another one is handed on.
    const ChildResult other = desk.Transaction("1", {}, {"--pan", "6200009876543212"});
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("the cryptogram does not verify"));
    EXPECT_FALSE(desk.IsPowered());
    EXPECT_EQ(desk.Transaction("1", {}, {"--pan=6200001234567890128"}).status, 0);
}

TEST(ToolIcTransaction, AnIssuerThatIsNotThereOrTalksNonsense)
{
    const Desk desk;
    const ChildResult absent = desk.Transaction("1", {"--issuer", "/nosuchprogram"});
    EXPECT_EQ(absent.status, 1);
    EXPECT_THAT(absent.err, StartsWith("vantor: the issuer's program /nosuchprogram does not start "
                                       "(No such file or directory)\n"));
    const ChildResult nonsense = desk.Transaction("1", {"--issuer", "echo"});
    EXPECT_EQ(nonsense.status, 1);
    EXPECT_THAT(nonsense.err, StartsWith("vantor: the issuer's answer is not in hexadecimal"));
    const ChildResult silent = desk.Transaction("1", {"--issuer", "false"});
    EXPECT_THAT(silent.err, StartsWith("vantor: the issuer gives no answer\n"));
}

TEST(ToolIcTransaction, CtrlCEndsTheWaitForTheIssuerAndPowersTheCardOff)
{
    const Desk desk;
    const std::string issuer = desk.File("slow");
    testing_support::WriteFile(issuer, "#!/bin/sh\nexec sleep 60\n");
    ASSERT_EQ(chmod(issuer.c_str(), 0700), 0);
    const Child child = StartChild(desk.tool.Command(
        {"--port", desk.reader.Port(), "ic", "transaction", "--amount", "1", "--issuer", issuer}));
    std::string seen;
    ASSERT_TRUE(ReadUntil(child.out, "for the issuer: 9F26", &seen)) << seen;
    ASSERT_EQ(kill(child.pid, SIGINT), 0);
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "cancelled\n");
    EXPECT_FALSE(desk.IsPowered());
}

TEST(ToolIcTransaction, MaskHidesTheCardNumberEverywhere)
{
    const Desk desk;
    for (const char *form : {"--mask", "--json"})
    {
        const ChildResult result =
            desk.Transaction("1", {"--mask", form, "--interface", "terminal"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.out, HasSubstr("620000*********0128"));
        EXPECT_THAT(result.out, Not(HasSubstr("6200001234567890128")));
    }
    EXPECT_TRUE(Parsed(desk.Transaction("1", {"--mask", "--json", "--interface", "terminal"}))
                    .at("result")
                    .at("arqc")
                    .is_null());
}

// ---- ic arqc, ic complete ----

// The library leaves the seed to the host: without one every process would begin with the same.
TEST(ToolIcArqc, TheUnpredictableNumberIsAnotherOneInEachProcess)
{
    const Desk desk;
    std::set<std::string> numbers;
    for (int i = 0; i < 3; i++)
    {
        const json arqc = Parsed(desk.Run({"--json", "ic", "arqc", "--amount", "12.34"}));
        const std::string request = arqc.at("result").at("arqc");
        numbers.insert(request.substr(request.find("9F3704") + 6, 8));
    }
    EXPECT_EQ(numbers.size(), 3u);
}

TEST(ToolIcArqc, PowersTheCardOffUnlessItIsSaved)
{
    const Desk desk;
    const ChildResult result = desk.Run({"ic", "arqc", "--amount", "12.34"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, ContainsRegex("for the issuer: 9F2608[0-9A-F]+\n$"));
    EXPECT_FALSE(desk.IsPowered());
    const ChildResult terminal =
        desk.Run({"ic", "arqc", "--interface", "terminal", "--amount", "1"});
    EXPECT_EQ(terminal.status, 0) << terminal.err;
    EXPECT_FALSE(desk.IsPowered());
}

TEST(ToolIcArqc, HexIsForPipes)
{
    const Desk desk;
    const ChildResult result =
        desk.Run({"ic", "arqc", "--hex", "--interface", "terminal", "--amount", "12.34"});
    EXPECT_THAT(result.out, testing::MatchesRegex("9F2608[0-9A-F]+5F340101\n"));
    EXPECT_THAT(desk.Issuer({result.out.substr(0, result.out.size() - 1)}), StartsWith("910A"));
}

TEST(ToolIcComplete, FinishesWhatAnotherProcessBegan)
{
    const Desk desk;
    for (const char *callSet : {"bo", "terminal"})
    {
        const std::string file = desk.File("saved");
        const ChildResult arqc =
            desk.Run({"--json", "ic", "arqc", "--interface", callSet, "--amount", "12.34",
                      "--merchant", "茶馆", "--save", file});
        ASSERT_EQ(arqc.status, 0) << arqc.err;
        EXPECT_EQ(Parsed(arqc).at("result").at("saved"), file);
        EXPECT_TRUE(desk.IsPowered());
        struct stat status = {};
        ASSERT_EQ(stat(file.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600u);

        const std::string answer =
            desk.Issuer({"--pan", "6200001234567890128", "--psn", "01", "--script",
                         "pin-change 1234", Parsed(arqc).at("result").at("arqc")});
        const ChildResult complete =
            desk.Run({"ic", "complete", "--saved", file, "--arpc", answer});
        EXPECT_EQ(complete.status, 0) << complete.err;
        EXPECT_THAT(complete.out, HasSubstr("the card answers: TC\n"));
        EXPECT_THAT(complete.out, HasSubstr("the script was carried out (script 00000001)\n"
                                            "approved\n"));
        EXPECT_THAT(desk.Run({"ic", "log"}).out, HasSubstr("12.34          0.00  CNY       China  "
                                                           "   4"));
        EXPECT_FALSE(desk.IsPowered());
        // The card has lost its power and knows nothing any more.
        const ChildResult again = desk.Run({"ic", "complete", "--saved", file, "--arpc", answer});
        EXPECT_EQ(again.status, 1);
        EXPECT_THAT(again.err,
                    HasSubstr(callSet[0] == 'b' ? "failed with -4109" : "failed with -30"));
    }
}

// The TC is over the unpredictable number and the interchange profile, which only the first process
// knew.
TEST(ToolIcComplete, TakesOverTheTerminalsData)
{
    const Desk desk;
    for (const char *callSet : {"bo", "terminal"})
    {
        const std::string file = desk.File("saved");
        const json arqc =
            Parsed(desk.Run({"--json", "ic", "arqc", "--interface", callSet, "--letters",
                             callSet[0] == 'b' ? "P00212" : "K008A1B2C3D4P00212", "--save", file}));
        const std::string request = arqc.at("result").at("arqc");
        const json complete = Parsed(
            desk.Run({"--json", "ic", "complete", "--saved", file, "--arpc",
                      desk.Issuer({"--pan", "6200001234567890128", "--psn", "01", request})}));
        ASSERT_EQ(complete.at("ok"), true) << complete;
        // The TC as a request: the same terminal data behind another cryptogram verify, and the
        // issuer then says what it is.
        const std::string tc = complete.at("result").at("tc");
        const std::string text = "9F2608" + tc.substr(6, 16) + "9F2701" + tc.substr(0, 2) +
                                 "9F1008" + tc.substr(22) + request.substr(request.find("9F3704"));
        const ChildResult judged = RunChild({desk.tool.scratch.path + "/bin/vantor-issuer", "--pan",
                                             "6200001234567890128", "--psn", "01", text});
        EXPECT_THAT(judged.err, HasSubstr("the card approved the transaction itself"));
    }
}

TEST(ToolIcComplete, RefusesAFileThatIsNoTransaction)
{
    const Desk desk;
    const std::string file = desk.File("other");
    EXPECT_THAT(desk.Run({"ic", "complete", "--arpc", "910A", "--saved", file}).err,
                HasSubstr("cannot read " + file));
    for (const char *text :
         {"", "no json", "[]", "{}", R"({"format": "vantor transaction 2"})",
          R"({"format": "vantor transaction 1", "interface": "bo", "card_type": 7})",
          R"({"format": "vantor transaction 1", "interface": "bo", "card_type": 0, "text": "xx"})"})
    {
        testing_support::WriteFile(file, text);
        const ChildResult result = desk.Run({"ic", "complete", "--arpc", "910A", "--saved", file});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("is no transaction that \"ic arqc --save\" has written"));
    }
    EXPECT_EQ(desk.reader.Control("exchanges"), "ok 0");
}

TEST(ToolIcArqc, AFileThatCannotBeWrittenEndsTheTransaction)
{
    const Desk desk;
    const ChildResult result =
        desk.Run({"ic", "arqc", "--amount", "1", "--save", "/nosuchdirectory/file"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("vantor: cannot write /nosuchdirectory/file (No such file"));
    EXPECT_FALSE(desk.IsPowered());
}

// ---- Wrong use ----

TEST(ToolTransactions, WrongUseIsFoundBeforeAnythingIsOpened)
{
    const Desk desk;
    const struct
    {
        std::vector<std::string> words;
        const char *text;
    } kWrong[] = {
        {{"ic", "arqc"}, "the amount is missing: --amount 12.34"},
        {{"ic", "arqc", "--amount", "x"}, "--amount takes an amount such as 12.34"},
        {{"ic", "arqc", "--amount", "1", "--date", "31.01.2026"}, "--date takes a day"},
        {{"ic", "arqc", "--amount", "1", "--aid", "A000000333010101"},
         "--aid needs --interface terminal"},
        {{"ic", "arqc", "--amount", "1", "--interface", "terminal", "--aid", "A0"},
         "--aid takes 5 to 16 bytes"},
        {{"ic", "arqc", "--amount", "1", "--hex", "--mask"}, "exclude each other"},
        {{"ic", "arqc", "--amount", "1", "--interface", "other"}, "--interface"},
        {{"ic", "transaction", "--amount", "1", "--scripts-only", "--interface", "terminal"},
         "--scripts-only needs --interface bo"},
        {{"ic", "complete", "--saved", "x"}, "--arpc is required"},
        {{"ic", "complete", "--arpc", "910A"}, "--saved is required"},
        {{"ic", "complete", "--saved", "x", "--arpc", "91x"}, "--arpc takes the issuer's answer"},
        {{"ic", "complete", "--saved", "x", "--arpc", std::string(1026, 'A')},
         "--arpc takes the issuer's answer"},
        {{"ic", "reset", "--interface", "terminal"}, "--interface"},
        {{"ic", "info", "--interface", "terminal", "--tags", "M"}, "--tags takes letters A to L"},
    };
    for (const auto &wrong : kWrong)
    {
        const ChildResult result = desk.Run(wrong.words);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(wrong.words) << result.err;
        EXPECT_THAT(result.err, HasSubstr(wrong.text)) << testing::PrintToString(wrong.words);
    }
    EXPECT_EQ(desk.reader.Control("exchanges"), "ok 0");
}

// ---- The terminal interface elsewhere ----

TEST(ToolTerminalInterface, ReadsTheSameCardWithItsOwnLetters)
{
    const Desk desk;
    const ChildResult result = desk.Run({"ic", "info", "--interface", "terminal"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "A  Card number               6200001234567890128\n"
                          "B  Track 2                   6200001234567890128D33122200000000000  "
                          "(expires 2033-12, service code 220)\n"
                          "C  EC balance                105.30 yuan\n"
                          "D  EC balance limit          1000.00 yuan\n"
                          "E  Expires                   2033-12-31\n"
                          "F  EC single payment limit   500.00 yuan\n"
                          "G  Card sequence number      01\n"
                          "H  Transaction counter       43\n"
                          "I  ID type                   00 (identity card)\n"
                          "J  ID number                 11010519491231002X\n"
                          "K  Cardholder name           ZHANG SAN\n"
                          "L  Cardholder name, rest     -\n");
    EXPECT_THAT(desk.Run({"ic", "log", "--interface", "terminal"}).out,
                HasSubstr(" 1  2025-03-01  18:40:05  purchase  268.00          0.00  CNY       "
                          "China     42  TEA HOUSE\n"));
}

TEST(ToolTerminalInterface, SaysWhenItHasChangedTheCommandSet)
{
    const ToolDirectory tool;
    const TestReader reader(kOnlineCards);
    reader.Control("remove contact");
    const ChildResult result = tool.Run(
        {"--port", reader.Port(), "--timeout", "1", "ic", "log", "--interface", "terminal"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("/config.ini is now 1, it was 0\n"));
    EXPECT_THAT(result.err, HasSubstr("IC_GetTranDeta failed with -25: the card could not be "
                                      "powered on, or there is none\n"));
}

TEST(ToolTerminalInterface, APortThatDoesNotOpenIsExplained)
{
    const ToolDirectory tool;
    const ChildResult absent =
        tool.Run({"--port", "nosuchport", "ic", "log", "--interface", "terminal"});
    EXPECT_EQ(absent.status, 1);
    EXPECT_THAT(absent.err, StartsWith("vantor: IC_GetTranDeta failed with -3: the reader could "
                                       "not be opened\ntry: there is no /dev/nosuchport"));
    const ChildResult elsewhere =
        tool.Run({"--port", "/tmp/line", "ic", "log", "--interface", "terminal"});
    EXPECT_EQ(elsewhere.status, 2);
    EXPECT_THAT(elsewhere.err, HasSubstr("reaches ports below /dev only, not /tmp/line"));
}

TEST(ToolTerminalInterface, ItsCodesAreExplained)
{
    const ToolDirectory tool;
    EXPECT_EQ(tool.Run({"error", "--interface", "terminal", "-26"}).out,
              "-26  of the terminal interface\n"
              "the card has no payment system environment (1PAY.SYS.DDF01)\n"
              "try: is it a PBOC bank card? Look at its answers with: vantor ic apdu "
              "00A404000E315041592E5359532E444446303100\n");
    const json document = Parsed(tool.Run({"--json", "error", "-4100"}));
    EXPECT_EQ(document.at("result").at("terminal_code"), -26);
    EXPECT_TRUE(Parsed(tool.Run({"--json", "error", "--interface", "terminal", "26"}))
                    .at("result")
                    .at("public_code")
                    .is_null());
}
