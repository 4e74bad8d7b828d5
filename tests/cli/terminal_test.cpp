// Standard error on a terminal: the wait is visible there and nowhere else.
#include <csignal>
#include <unistd.h>
#include <vector>

#include <fcntl.h>
#include <stdlib.h>

#include "tool_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;

namespace
{

struct Terminal
{
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int slave = -1;

    Terminal()
    {
        char name[64] = {};
        EXPECT_EQ(grantpt(master), 0);
        EXPECT_EQ(unlockpt(master), 0);
        EXPECT_EQ(ptsname_r(master, name, sizeof name), 0);
        slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(slave, 0);
    }
    ~Terminal()
    {
        close(slave);
        close(master);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;
};

} // namespace

static Child StartReset(const ToolDirectory &tool, const TestReader &reader,
                        const Terminal &terminal, const std::string &timeout)
{
    ChildOptions options;
    options.terminal = terminal.slave;
    return StartChild(tool.Command({"--port", reader.Port(), "--timeout", timeout, "ic", "reset"}),
                      options);
}

TEST(ToolTerminal, AWaitCountsDownAndIsWipedAway)
{
    const ToolDirectory tool;
    const TestReader reader;
    const Terminal terminal;
    reader.Control("remove contact");
    const Child child = StartReset(tool, reader, terminal, "30");
    std::string seen;
    EXPECT_TRUE(ReadUntil(terminal.master,
                          "\r\033[Kwaiting for the card: 30 s left (Ctrl-C cancels)", &seen));
    EXPECT_TRUE(ReadUntil(terminal.master,
                          "\r\033[Kwaiting for the card: 29 s left (Ctrl-C cancels)", &seen));
    reader.Control("insert contact test-card");
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("VANTOR01"));
    EXPECT_EQ(result.out.find("waiting"), std::string::npos);
    EXPECT_TRUE(ReadUntil(terminal.master, "cancels)\r\033[K", &seen));
}

TEST(ToolTerminal, AWaitWithoutLimitCountsUp)
{
    const ToolDirectory tool;
    const TestReader reader;
    const Terminal terminal;
    reader.Control("remove contact");
    const Child child = StartReset(tool, reader, terminal, "0");
    std::string seen;
    EXPECT_TRUE(ReadUntil(terminal.master, "waiting for the card: 0 s, no limit", &seen));
    EXPECT_TRUE(ReadUntil(terminal.master, "waiting for the card: 1 s, no limit", &seen));
    kill(child.pid, SIGINT);
    EXPECT_EQ(WaitForChild(child).status, 1);
    EXPECT_TRUE(ReadUntil(terminal.master, "\r\033[Kcancelled\r\n", &seen)) << seen;
}

TEST(ToolTerminal, ACardThatIsThereMakesNoFlicker)
{
    const ToolDirectory tool;
    const TestReader reader;
    const Terminal terminal;
    EXPECT_EQ(WaitForChild(StartReset(tool, reader, terminal, "30")).status, 0);
    ASSERT_EQ(write(terminal.slave, "end", 3), 3);
    std::string seen;
    EXPECT_TRUE(ReadUntil(terminal.master, "end", &seen));
    EXPECT_EQ(seen, "end");
}

TEST(ToolTerminal, AWaitForASwipeSaysSo)
{
    const ToolDirectory tool;
    const TestReader reader(R"({"magneticCards": {"card": {"track2": "6=1"}}})");
    const Terminal terminal;
    ChildOptions options;
    options.terminal = terminal.slave;
    const Child child = StartChild(
        tool.Command({"--port", reader.Port(), "mag", "read", "--tracks", "2"}), options);
    std::string seen;
    EXPECT_TRUE(ReadUntil(terminal.master,
                          "\r\033[Kwaiting for a swipe: 10 s left (Ctrl-C cancels)", &seen));
    reader.Control("swipe card");
    const ChildResult result = WaitForChild(child);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "Track 2  6=1\n");
}
