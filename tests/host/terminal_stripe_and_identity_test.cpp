// What the terminal-standard calls for magnetic stripes and identity cards have in common: the
// frame around the work.
#include <climits>
#include <functional>
#include <gtest/gtest.h>

#include "host/terminal_call.h"

using terminal_testing::Debug;
using terminal_testing::Terminal;
using testing_support::Config;
using testing_support::HostLibrary;

namespace
{

// One row a call: every call with the common arguments, and the start of its log.
struct NamedCall
{
    const char *name;
    std::function<int(const HostLibrary &, const char *port, const char *extendPort, int baudRate,
                      int timeout)>
        call;
    const char *enter;
    const char *rest;
};

const NamedCall kThreeCalls[] = {
    {"MS_ReadCard",
     [](const HostLibrary &library, const char *port, const char *extendPort, int baud, int timeout)
     {
         char two[256] = "#", three[256] = "#";
         const int result = CALL(library, MS_ReadCard)(port, extendPort, baud, timeout, INT_MIN,
                                                       INT_MAX, two, three);
         EXPECT_STREQ("##", (std::string(two) + three).c_str());
         return result;
     },
     "Info:Enter MS_ReadCard\r\n", ", iMode = -2147483648, iCharSet = 2147483647\r\n"},
    {"MS_WriteCard",
     [](const HostLibrary &library, const char *port, const char *extendPort, int baud, int timeout)
     {
         return CALL(library, MS_WriteCard)(port, extendPort, baud, timeout, 3, -1, nullptr, "678");
     },
     "Info:Enter MS_WriteCard\r\n", ", iMode = 3, iCharSet = -1\r\n"},
    {"ID_GetInfo",
     [](const HostLibrary &library, const char *port, const char *extendPort, int baud, int timeout)
     {
         char info[4096] = "#";
         const int result = CALL(library, ID_GetInfo)(port, extendPort, baud, timeout, nullptr,
                                                      nullptr, nullptr, nullptr, info);
         EXPECT_STREQ("#", info);
         return result;
     },
     "Info:Enter ID_GetInfo \r\n", "\r\n"},
};

} // namespace

TEST(TerminalThreeCalls, ANegativeTimeoutIsRefusedBeforeAnythingElse)
{
    Terminal terminal(Debug());
    std::string expected;
    for (const NamedCall &row : kThreeCalls)
    {
        EXPECT_EQ(-1, row.call(terminal.library, "nowhere", "1", 9600, -1)) << row.name;
        expected += std::string(row.enter) +
                    "Info:pszPort = nowhere, nBaudRate = 9600, nTimeout = -1" + row.rest;
    }
    EXPECT_EQ(expected, terminal.BusinessLog()) << "and there is no exit line";
    EXPECT_STREQ("/dev/ttyAMA0", VARIABLE(terminal.library, g_szComName)[1]);
}

TEST(TerminalThreeCalls, AMissingPortIsRefused)
{
    Terminal terminal(Debug());
    std::string expected;
    for (const NamedCall &row : kThreeCalls)
    {
        EXPECT_EQ(-1, row.call(terminal.library, nullptr, "B2", 9600, 1)) << row.name;
        expected += std::string(row.enter) +
                    "Info:pszPort = (null), nBaudRate = 9600, nTimeout = 1" + row.rest +
                    "Info:extendPort = B2\r\n";
    }
    EXPECT_EQ(expected, terminal.BusinessLog());
}

TEST(TerminalThreeCalls, AFailedOpenIsTranslatedAndNothingElseHappens)
{
    for (const NamedCall &row : kThreeCalls)
    {
        Terminal terminal(Debug());
        EXPECT_EQ(-3, row.call(terminal.library, "usb", nullptr, 9600, 1)) << row.name;
        EXPECT_STREQ("/dev/usb", VARIABLE(terminal.library, g_szComName)[1]);
        EXPECT_EQ(0, VARIABLE(terminal.library, g_IsCancelWait)) << "BO_Close would have set it";
        const std::string log = terminal.BusinessLog();
        const std::string exit = "Info:Exit " + std::string(row.name) + ", ret = -1000\r\n";
        ASSERT_GE(log.size(), exit.size());
        EXPECT_EQ(exit, log.substr(log.size() - exit.size()));
        EXPECT_EQ(log.find("Info:Exit"), log.rfind("Info:Exit"));
    }
}

TEST(TerminalThreeCalls, AMissingArgumentIsRefusedBeforeTheOpen)
{
    HostLibrary library;
    char text[600] = "1";
    for (int mode : {2, 3, 23, 1, 12, 0, -1})
        for (const auto &[two, three] :
             {std::pair<char *, char *>{nullptr, text}, {text, nullptr}, {nullptr, nullptr}})
        {
            // -3: the checks are passed, and the open fails.
            const bool isGiven = mode == 2 ? two != nullptr : mode == 3 && three != nullptr;
            const int expected = isGiven ? -3 : -1;
            EXPECT_EQ(expected,
                      CALL(library, MS_ReadCard)("nowhere", "", 9600, 1, mode, 0, two, three))
                << mode;
            EXPECT_EQ(expected,
                      CALL(library, MS_WriteCard)("nowhere", "", 9600, 1, mode, 0, two, three))
                << mode;
        }
    HostLibrary other(Config("IdChange", "2", Debug()));
    EXPECT_EQ(
        -1, CALL(other, ID_GetInfo)("nowhere", nullptr, 9600, 1, "head.bmp", "", "", "", nullptr));
    const std::string log = testing_support::LogMessages(other.Log());
    EXPECT_EQ(std::string::npos, log.find("Exit"));
    EXPECT_EQ(std::string::npos, log.find("szPhoto"));
    EXPECT_NE(std::string::npos, other.Config().find("\nIdChange=2"));
    EXPECT_STREQ("/dev/ttyAMA0", VARIABLE(other, g_szComName)[1]);
}
