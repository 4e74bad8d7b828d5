// The built program against the virtual reader: cards. The default profile holds a published
// UnionPay contact test card (its texts say test-only) and a contactless PBOC card.
#include <nlohmann/json.hpp>

#include "support/host_library.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;
using testing::HasSubstr;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

static std::string UnionConfig()
{
    return WithSetting(ShippedConfig(), "Iccmd", "1");
}

static json Parsed(const ChildResult &result)
{
    const json document = json::parse(result.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
    return document;
}

TEST(ToolIcReset, ExplainsTheAnswerToReset)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "reset"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "contact card\n"
                          "  ATR               3B 68 00 00 56 41 4E 54 4F 52 30 31\n"
                          "  Convention        direct\n"
                          "  Protocol          T=0\n"
                          "  Speed             F=372 D=1, extra guard time 0\n"
                          "  Interface bytes   TB1=00 TC1=00\n"
                          "  Historical bytes  56 41 4E 54 4F 52 30 31  \"VANTOR01\"\n");
    // Power on, power off: the card is not left under power.
    EXPECT_EQ(reader.Control("exchanges"), "ok 2");
    EXPECT_THAT(reader.Control("info"), HasSubstr("\"powered\":false"));
}

TEST(ToolIcReset, AsJson)
{
    const ToolDirectory tool;
    const TestReader reader;
    const json document = Parsed(tool.Run({"--port", reader.Port(), "--json", "ic", "reset"}));
    EXPECT_EQ(document.at("command"), "ic reset");
    EXPECT_EQ(document.at("ok"), true);
    EXPECT_EQ(document.at("result").at("interface"), "contact");
    EXPECT_EQ(document.at("result").at("power_off"), 0);
    EXPECT_EQ(document.at("result").at("atr").at("hex"), "3B68000056414E544F523031");
    EXPECT_EQ(document.at("result").at("atr").at("historical").at("text"), "VANTOR01");
}

TEST(ToolIcReset, ReachesTheAntennaAndWhicheverIsThere)
{
    const ToolDirectory tool;
    const TestReader reader;
    EXPECT_THAT(tool.Run({"--port", reader.Port(), "ic", "reset", "--contactless"}).out,
                testing::StartsWith("contactless card\n"));
    EXPECT_THAT(tool.Run({"--port", reader.Port(), "ic", "reset", "--auto"}).out,
                testing::StartsWith("contact card\n"));
    reader.Control("remove contact");
    EXPECT_THAT(tool.Run({"--port", reader.Port(), "ic", "reset", "--auto"}).out,
                testing::StartsWith("contactless card\n"));
}

TEST(ToolIcReset, UsesTheSlotItIsGiven)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    reader.Control("insert contact 2 test-card");
    EXPECT_EQ(tool.Run({"--port", reader.Port(), "--slot", "2", "ic", "reset"}).status, 0);
    EXPECT_EQ(tool.Run({"--port", reader.Port(), "--timeout", "1", "ic", "reset"}).status, 1);
}

TEST(ToolIcReset, WithoutACardFailsWhenTheTimeIsOver)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    const ChildResult result = tool.Run({"--port", reader.Port(), "--timeout", "1", "ic", "reset"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("vantor: BO_IcPowerOn failed with -4005 (卡片不在卡槽中): no "
                                      "card in the reader\n"
                                      "try: is the card in, chip first"));
    EXPECT_EQ(result.err.find('\033'), std::string::npos); // no countdown in a pipe
    EXPECT_EQ(result.err.find("waiting"), std::string::npos);
}

TEST(ToolIcReset, ErrorsAreJsonToo)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    const ChildResult result =
        tool.Run({"--port", reader.Port(), "--timeout", "1", "--json", "ic", "reset"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    const json document = Parsed(result);
    EXPECT_EQ(document.at("ok"), false);
    EXPECT_EQ(document.at("error").at("kind"), "failed");
    EXPECT_EQ(document.at("error").at("call"), "BO_IcPowerOn");
    EXPECT_EQ(document.at("error").at("code"), -4005);
    EXPECT_EQ(document.at("error").at("text"), "卡片不在卡槽中");
    EXPECT_EQ(document.at("error").at("message"), "no card in the reader");
    EXPECT_THAT(document.at("error").at("try").get<std::string>(), HasSubstr("--contactless"));
}

TEST(ToolIcReset, ACardThatComesDuringTheWaitIsTaken)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    const Child child =
        StartChild(tool.Command({"--port", reader.Port(), "--timeout", "30", "ic", "reset"}));
    reader.Control("wait 1"); // the first try has found no card
    reader.Control("insert contact test-card");
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("VANTOR01"));
}

TEST(ToolIcInfo, ShowsEveryFieldDecoded)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "info"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "A  Card number               6210948000000011\n"
                          "B  Cardholder name           银联62标准卡@测试专用Cards\n"
                          "C  ID type                   00 (identity card)\n"
                          "D  ID number                 110101198606200010\n"
                          "E  Track 2                   6210948000000011D301020100000  (expires "
                          "2030-10, service code 201)\n"
                          "F  Track 1 data              6210948000000011^银联62标准卡@测试专用Cards"
                          "^3010201^20141115105759\n"
                          "G  EC balance                -\n"
                          "H  EC balance limit          -\n"
                          "I  Expires                   2030-10-31\n"
                          "J  Card sequence number      01\n"
                          "K  EC reset threshold        -\n"
                          "L  EC single payment limit   -\n"
                          "M  Valid from                2011-09-01\n"
                          "N  Product information       -\n");
}

TEST(ToolIcInfo, AsksOnlyForTheLettersItIsGiven)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "info", "--tags", "ia"});
    EXPECT_EQ(result.out, "A  Card number               6210948000000011\n"
                          "I  Expires                   2030-10-31\n");
    const json document =
        Parsed(tool.Run({"--port", reader.Port(), "--json", "ic", "info", "--tags", "AG"}));
    EXPECT_EQ(document.at("result").at("fields"),
              json({{"card_number",
                     {{"letter", "A"},
                      {"tag", "5A"},
                      {"raw", "6210948000000011"},
                      {"value", "6210948000000011"}}},
                    {"ec_balance",
                     {{"letter", "G"}, {"tag", "9F79"}, {"raw", nullptr}, {"value", nullptr}}}}));
}

TEST(ToolIcInfo, MaskKeepsTheNumbersBack)
{
    const ToolDirectory tool;
    const TestReader reader;
    for (const char *form : {"--mask", "--json"})
    {
        const ChildResult result =
            tool.Run({"--port", reader.Port(), "--mask", form, "ic", "info"});
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, HasSubstr("621094******0011"));
        EXPECT_EQ(result.out.find("6210948000000011"), std::string::npos);
        EXPECT_EQ(result.out.find("110101198606200010"), std::string::npos);
    }
}

TEST(ToolIcInfo, ACardThatIsNoBankCardIsExplained)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("card contact status 00A40400 6A82 0");
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "info"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("BO_ICGetInfo failed with -4100 (PSE选应用失败)"));
    EXPECT_THAT(result.err, HasSubstr("vantor ic apdu 00A404000E315041592E5359532E444446303100"));
}

// A card whose name would clear the screen and whose identity number is full of NUL bytes, with a
// harmless field behind them.
static const char kHostileCard[] =
    R"({"kind": "pboc", "label": "hostile", "atr": "3B00", "applications": [{)"
    R"("aid": "A000000333010101", "label": "X", "priority": 1, "fci": [],)"
    R"("gpo": {"format": 1, "aip": "7C00"}, "records": {"1": {"1": {)"
    R"("5F20": "1B5B324A00", "9F61": "0041000000", "57": "FF", "5A": "62FF", "5F34": "01"}}}}]})";

TEST(ToolIcInfo, HostileValuesDoNotReachTheTerminal)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control(std::string("swap contact ") + kHostileCard);
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "info", "--tags", "ABDEJ"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "A  Card number               62\n"
                          "B  Cardholder name           hex 1B5B324A00\n"
                          "D  ID number                 hex 0041000000\n"
                          "E  Track 2                   -\n"
                          "J  Card sequence number      01\n");
}

TEST(ToolIcLog, IsATable)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "log"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(
        result.out,
        "No  Date        Time      Type     Amount  Other amount  Currency  Country  ATC  "
        "Merchant\n"
        " 1  2016-05-24  19:12:22  cash       0.00          0.00  CNY       China     63\n"
        " 2  2025-01-31  23:59:59  cash     123.45          1.00  CNY       China    255  TEST "
        "MERCHNT\n"
        " 3  2025-01-31  00:00:00  deposit    0.01          0.00  CNY       China      1  "
        "测试商户名称一二三四\n");
}

TEST(ToolIcLog, AsJson)
{
    const ToolDirectory tool;
    const TestReader reader;
    const json document = Parsed(tool.Run({"--port", reader.Port(), "--json", "ic", "log"}));
    const json &records = document.at("result").at("records");
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[1].at("date"), "2025-01-31");
    EXPECT_EQ(records[1].at("amount"), "123.45");
    EXPECT_EQ(records[1].at("merchant"), "TEST MERCHNT");
    EXPECT_EQ(records[1].at("atc"), 255);
}

TEST(ToolIcLoads, IsATable)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("swap contact pboc-debit");
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "loads"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              "No  Date        Time      Purse   Before   After  Country    ATC  Merchant\n"
              " 1  2025-02-20  12:00:00  first     5.30  105.30  China       40  BANK COUNTER 3\n"
              " 2  2025-01-15  08:30:00  second    0.00   20.00  Hong Kong   12  BANK COUNTER 1\n");
    const json document = Parsed(tool.Run({"--port", reader.Port(), "--json", "ic", "loads"}));
    EXPECT_EQ(document.at("result").at("records").at(0).at("purse").at("name"), "first");
}

TEST(ToolIcLoads, ACardWithoutALoadLogSaysSo)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "loads"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("BO_ICGetCircllog failed with -4103"));
    EXPECT_THAT(result.err, HasSubstr("the card has no load log"));
}

TEST(ToolIcApdu, ExchangesSeveralInOnePowerUp)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result =
        tool.Run({"--port", reader.Port(), "ic", "apdu",
                  "00 a4 04 00 0e 31 50 41 59 2e 53 59 53 2e 44 44 46 30 31 00", "00B2030C00"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              "contact card, 3B 68 00 00 56 41 4E 54 4F 52 30 31\n"
              "> 00 A4 04 00 0E 31 50 41 59 2E 53 59 53 2E 44 44 46 30 31 00\n"
              "< 6F 15 84 0E 31 50 41 59 2E 53 59 53 2E 44 44 46 30 31 A5 03 88 01 01  90 00  "
              "(done)\n"
              "> 00 B2 03 0C 00\n"
              "< 70 21 61 1F 4F 08 A0 00 00 03 33 01 01 03 50 10 55 49 43 43 20 51 55 41 53 49 43 "
              "52 45 44 49 54 87 01 03  90 00  (done)\n");
    EXPECT_EQ(reader.Control("exchanges"), "ok 4"); // power on, two APDUs, power off
}

TEST(ToolIcApdu, TakesAScriptAndStandardInput)
{
    const ToolDirectory tool;
    const TestReader reader;
    const std::string script = tool.scratch.path + "/cards.apdu";
    testing_support::WriteFile(script, "# select the directory\n\n"
                                       "00A404000E315041592E5359532E444446303100 # PSE\n");
    EXPECT_THAT(tool.Run({"--port", reader.Port(), "ic", "apdu", "--script", script}).out,
                HasSubstr("90 00  (done)\n"));
    ChildOptions options;
    options.input = "00A40400023F00\n";
    for (const std::vector<std::string> &form :
         {std::vector<std::string>{"-"}, {"--script", "-"}, {}})
    {
        std::vector<std::string> words = {"--port", reader.Port(), "ic", "apdu"};
        words.insert(words.end(), form.begin(), form.end());
        EXPECT_THAT(
            tool.Run(words, options).out,
            HasSubstr("> 00 A4 04 00 02 3F 00\n< 6A 82  (file or application not found)\n"));
    }
}

TEST(ToolIcApdu, AsJson)
{
    const ToolDirectory tool;
    const TestReader reader;
    const json document =
        Parsed(tool.Run({"--port", reader.Port(), "--json", "ic", "apdu", "00A40400023F00"}));
    EXPECT_EQ(document.at("result").at("exchanges"),
              json::array({{{"command", "00A40400023F00"},
                            {"data", ""},
                            {"status_word", "6A82"},
                            {"meaning", "file or application not found"}}}));
}

TEST(ToolIcApdu, AFailureKeepsWhatCameBefore)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("fault status A2 after 2"); // power on and the first APDU pass
    const json document = Parsed(tool.Run({"--port", reader.Port(), "--json", "ic", "apdu",
                                           "00A40400023F00", "00B2010C00", "00B2020C00"}));
    EXPECT_EQ(document.at("ok"), false);
    EXPECT_EQ(document.at("error").at("call"), "BO_IcAPDU");
    EXPECT_EQ(document.at("error").at("code"), -4006);
    EXPECT_EQ(document.at("result").at("exchanges").size(), 1U);
    EXPECT_EQ(document.at("result").at("power_off"), 0);
}

TEST(ToolIcDetect, NamesWhatIsThere)
{
    const ToolDirectory tool(UnionConfig());
    const TestReader reader;
    const std::vector<std::string> command = {"--port", reader.Port(), "ic", "detect"};
    EXPECT_EQ(tool.Run(command).out, "contact card in the slot\n");
    reader.Control("remove contact");
    EXPECT_EQ(tool.Run(command).out, "contactless card on the antenna\n");
    reader.Control("remove contactless");
    EXPECT_EQ(tool.Run(command).out, "no card\n");
    EXPECT_EQ(Parsed(tool.Run({"--port", reader.Port(), "--json", "ic", "detect"})).at("result"),
              json({{"detected", 0}, {"card", "none"}}));
}

TEST(ToolIcDetect, WithTheKrelCommandSetSaysWhatToChange)
{
    const ToolDirectory tool;
    const TestReader reader;
    const ChildResult result = tool.Run({"--port", reader.Port(), "ic", "detect"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "vantor: BO_CardDetect failed with -1008 (设备不支持该功能): card "
                          "detection exists only in the Union command set (Iccmd is 0)\n"
                          "try: only the Union command set has this command; if the reader speaks "
                          "it: vantor config set Iccmd 1\n");
    EXPECT_EQ(reader.Control("exchanges"), "ok 0");
}
