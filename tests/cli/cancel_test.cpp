// Ctrl-C at chosen moments: the built program against the virtual reader.
#include <nlohmann/json.hpp>

#include <csignal>

#include "support/host_library.h"
#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using nlohmann::json;
using testing::HasSubstr;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

static json Parsed(const ChildResult &result)
{
    const json document = json::parse(result.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << result.out << result.err;
    return document;
}

TEST(ToolCancel, CtrlCEndsTheWaitAndClosesThePort)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        const ToolDirectory tool(WithSetting(ShippedConfig(), "DevBaud", "57600"));
        const TestReader reader;
        reader.Control("remove contact");
        const Child child =
            StartChild(tool.Command({"--port", reader.Port(), "--timeout", "0", "ic", "reset"}));
        reader.Control("wait 2"); // the baud change and the first try
        kill(child.pid, signal);
        const ChildResult result = WaitForChild(child);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "cancelled\n");
        // The close has run: the reader is back at the rate at which it was found.
        EXPECT_EQ(reader.Control("wait 3"), "ok");
        EXPECT_THAT(reader.Control("info"), HasSubstr("\"baud\":9600"));
    }
}

TEST(ToolCancel, IsJsonToo)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    const Child child = StartChild(
        tool.Command({"--port", reader.Port(), "--timeout", "0", "--json", "ic", "info"}));
    reader.Control("wait 1");
    kill(child.pid, SIGINT);
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Parsed(result).at("error"), json({{"kind", "cancelled"}, {"message", "cancelled"}}));
}

TEST(ToolCancel, EndsAnExchangeThatIsUnderWay)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("fault silence count 0 after 1");
    const Child child = StartChild(
        tool.Command({"--port", reader.Port(), "ic", "apdu", "00A40400023F00", "00A40400023F00"}));
    reader.Control("wait 2"); // power on, first APDU: its answer will never come
    kill(child.pid, SIGINT);
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "cancelled\n");
}

TEST(ToolCancel, TheSameSignalTwiceAtOnceCountsOnce)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    const std::vector<std::string> words =
        tool.Command({"--port", reader.Port(), "--timeout", "0", "ic", "reset"});
    std::vector<std::string> limited = {"/usr/bin/timeout", "2"}; // signals its child twice
    limited.insert(limited.end(), words.begin(), words.end());
    const ChildResult result = WaitForChild(StartChild(limited));
    EXPECT_EQ(result.status, 124);
    EXPECT_EQ(result.err, "cancelled\n");
}

TEST(ToolCancel, ASecondCtrlCEndsAtOnce)
{
    const ToolDirectory tool;
    const TestReader reader;
    reader.Control("remove contact");
    const Child child =
        StartChild(tool.Command({"--port", reader.Port(), "--timeout", "0", "ic", "reset"}));
    reader.Control("wait 1");
    kill(child.pid, SIGSTOP); // the two arrive together: the first one's cancel has no time to work
    kill(child.pid, SIGINT);
    kill(child.pid, SIGTERM);
    kill(child.pid, SIGCONT);
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "\nended at once\n");
}
