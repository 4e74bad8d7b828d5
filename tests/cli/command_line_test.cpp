// Wrong use, help, codes: what needs no reader.
#include <nlohmann/json.hpp>

#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

// A port that is not there tells wrong use (2) from a failed open (1): nothing may be opened.
static ChildResult RunWrong(const std::vector<std::string> &arguments)
{
    static const ToolDirectory tool;
    ChildOptions options;
    options.environment = {"VANTOR_PORT=nosuchport"};
    return tool.Run(arguments, options);
}

TEST(ToolWrongUse, ExitsWithTwoBeforeAnythingIsOpened)
{
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"nosuchcommand"},
        {"ic"},
        {"ic", "nosuchcommand"},
        {"info", "extra"},
        {"info", "--nosuchoption"},
        {"info", "--baud", "14400"},
        {"info", "--baud", "fast"},
        {"ic", "reset", "--timeout", "-1"},
        {"ic", "reset", "--timeout", "86401"},
        {"ic", "reset", "--slot", "256"},
        {"ic", "reset", "--contactless", "--auto"},
        {"ic", "info", "--tags", "AZ"},
        {"ic", "info", "--tags", ""},
        {"ic", "apdu", "00A4"},
        {"ic", "apdu", "00A4040"},
        {"ic", "apdu", "00A404XX"},
        {"ic", "apdu", "00A40400", "--script", "/nosuchfile"},
        {"ic", "apdu", "--script", "/"},
        {"ic", "apdu"}, // standard input is empty
        {"beep", "25600"},
        {"beep", "50", "256"},
        {"beep", "1", "2", "3", "4"},
        {"info", "--port", ""},
        {"info", "--port", std::string(64, 'x')},
        {"error"},
        {"error", "many"},
        {"error", "-1013x"},
        {"config"},
        {"config", "set", "Iccmd"},
        {"config", "set", "Iccmd", "2"},
        {"config", "set", "nosuchkey", "1"},
    };
    for (const std::vector<std::string> &arguments : wrong)
    {
        const ChildResult result = RunWrong(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments) << result.err;
        EXPECT_EQ(result.out, "") << testing::PrintToString(arguments);
        EXPECT_THAT(result.err, StartsWith("vantor: ")) << testing::PrintToString(arguments);
    }
}

TEST(ToolWrongUse, IsJsonToo)
{
    const ChildResult result = RunWrong({"ic", "apdu", "00A404XX", "--json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(json::parse(result.out),
              json({{"command", nullptr},
                    {"ok", false},
                    {"result", json::object()},
                    {"error",
                     {{"kind", "usage"}, {"message", "APDU 1: not hexadecimal: \"00A404XX\""}}}}));
    EXPECT_EQ(json::parse(RunWrong({"--json", "nosuchcommand"}).out).at("error").at("kind"),
              "usage");
}

TEST(ToolWrongUse, BytesThatAreNoUtf8StillGiveJson)
{
    const ChildResult result = RunWrong({"ic", "apdu", "\xFF\xFE", "--json"});
    EXPECT_EQ(result.status, 2);
    EXPECT_FALSE(json::parse(result.out, nullptr, false).is_discarded()) << result.out;
}

TEST(ToolWrongUse, AScriptErrorNamesItsLine)
{
    const ToolDirectory tool;
    const std::string script = tool.scratch.path + "/bad.apdu";
    testing_support::WriteFile(script, "00A40400\n\n00A4 04 # short\n");
    EXPECT_THAT(RunWrong({"ic", "apdu", "--script", script}).err, HasSubstr(script + ":3: "));
}

TEST(ToolHelp, ShowsExamplesAndExitStatuses)
{
    const ChildResult result = RunWrong({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Examples:"));
    EXPECT_THAT(result.out, HasSubstr("Exit status: 0 done, 1 the operation failed"));
    EXPECT_THAT(result.out, HasSubstr("VANTOR_PORT"));
    EXPECT_EQ(RunWrong({"ic", "apdu", "--help"}).status, 0);
}

TEST(ToolVersion, IsTheLibrarys)
{
    const ChildResult result = RunWrong({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "vantor 2.1.56.1\n");
}

TEST(ToolError, GivesTextMeaningAndAdvice)
{
    const ChildResult result = RunWrong({"error", "-4005"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "-4005  卡片不在卡槽中\n"
                          "no card in the reader\n"
                          "try: is the card in, chip first and the right way up? A card on the "
                          "antenna needs --contactless, another contact slot --slot N, more time "
                          "--timeout SECONDS\n");
    EXPECT_EQ(RunWrong({"error", "4005"}).out, result.out);
    EXPECT_EQ(RunWrong({"error", "0"}).out, "0  成功\ndone\n");
    EXPECT_EQ(RunWrong({"error", "-1015"}).out,
              "-1015  其他错误\na code without a meaning of its own\n");
}

TEST(ToolError, TellsAnInternalCodeFromAPublicOne)
{
    const ChildResult result = RunWrong({"error", "-62"});
    EXPECT_THAT(result.out, StartsWith("-62  读数据超时\n"
                                       "inside the library; the calls give -1004\n"
                                       "no answer in time\n"));
    const json document = json::parse(RunWrong({"--json", "error", "-62"}).out);
    EXPECT_EQ(document.at("result").at("code"), -62);
    EXPECT_EQ(document.at("result").at("public_code"), -1004);
    EXPECT_EQ(document.at("result").at("text"), "读数据超时");
}

TEST(ToolOutput, ThatCannotBeWrittenIsAFailure)
{
    const ToolDirectory tool;
    const std::vector<std::string> commands[] = {{"config", "get"},  {"--json", "config", "get"},
                                                 {"error", "-1000"}, {"--help"},
                                                 {"--version"},      {"ic", "--help"}};
    for (const std::vector<std::string> &words : commands)
    {
        std::string command;
        for (const std::string &word : tool.Command(words))
            command += "'" + word + "' ";
        const ChildResult full = RunChild({"/bin/sh", "-c", command + ">/dev/full"});
        EXPECT_EQ(full.status, 1) << command;
        EXPECT_EQ(full.err, "vantor: the output could not be written (No space left on device)\n")
            << command;
    }
}

TEST(ToolOutput, OfWrongUseThatCannotBeWrittenIsWrongUseAndTold)
{
    const ToolDirectory tool;
    std::string command;
    for (const std::string &word : tool.Command({"--json", "no-such-command"}))
        command += "'" + word + "' ";
    const ChildResult full = RunChild({"/bin/sh", "-c", command + ">/dev/full"});
    EXPECT_EQ(full.status, 2);
    EXPECT_THAT(full.err, HasSubstr("the output could not be written"));
}

TEST(ToolOutput, OfAReaderThatLeftEarlyIsAFailureAndNoSignal)
{
    const ToolDirectory tool;
    std::string command;
    for (const std::string &word : tool.Command({"config", "get"}))
        command += "'" + word + "' ";
    // The loop ends when a writer in a shell of its own fails: then nobody reads any more.
    const ChildResult broken =
        RunChild({"/bin/sh", "-c",
                  "{ while (echo) 2>/dev/null; do :; done; " + command + "; echo $? >&2; } | :"});
    EXPECT_THAT(broken.err, HasSubstr("the output could not be written (Broken pipe)\n1\n"));
}

TEST(ToolScript, WithoutAnEndIsRefused)
{
    EXPECT_EQ(RunWrong({"ic", "apdu", "--script", "/dev/zero"}).status, 2);
}

TEST(ToolLog, ThatCannotBeWrittenKeepsTheToolGoing)
{
    const ToolDirectory tool;
    const std::string log = tool.ConfigPath().substr(0, tool.ConfigPath().rfind('/')) + "/log";
    ASSERT_EQ(RunChild({"/bin/sh", "-c", "rm -rf '" + log + "' && : >'" + log + "'"}).status, 0);
    const ChildResult result = tool.Run({"--port", "nosuchport", "info"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("note: no log is written, "));
    EXPECT_THAT(result.err, HasSubstr("BO_Open failed with -1000"));
}
