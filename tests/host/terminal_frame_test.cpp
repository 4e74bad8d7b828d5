// What the terminal-standard IC calls have in common: their numbering, and the frame of checks,
// open and close around the card's work.
#include <climits>
#include <gtest/gtest.h>
#include <map>

#include "host/terminal_call.h"

using namespace terminal_testing;

TEST(TerminalCode, EveryCodeHasItsNumber)
{
    const std::map<int, std::vector<int>> codes = {
        {0, {0}},
        {-1, {-1007, -1012}},
        {-2, {-3001, -4001}},
        {-3, {-1000}},
        {-9, {-1001, -1002, -1003, -1008, -1011}},
        {-10, {-1005, -2100, -2101, -2102, -2103, -2104}},
        {-11,
         {-1004, -1013, -1014, -2000, -2001, -2002, -2003, -2004, -2005, -2006, -2007, -3000, -3002,
          -4105}},
        {-12, {-1009}},
        {-13, {-3003}},
        {-14, {-4002, -4006}},
        {-15, {-1010}},
        {-16, {-4003}},
        {-23, {-1006}},
        {-25, {-4000, -4004, -4005}},
        {-26, {-4100}},
        {-27, {-4101, -4102}},
        {-28, {-4103, -4104}},
        {-29, {-4106, -4107, -4108}},
        {-30, {-4109}},
        {-31, {-4110, -4111, -4112, -4113, -4114, -4115, -4116}},
        {-32, {-4117}},
    };
    std::map<int, int> expected;
    for (const auto &[code, inputs] : codes)
        for (int input : inputs)
            expected[input] = code;
    HostLibrary library;
    const auto translate = CPP_CALL(library, Vantor_GetErrorCode, "_Z19Vantor_GetErrorCodei");
    for (int code = -6000; code <= 6000; code++)
        ASSERT_EQ(expected.count(code) ? expected[code] : -99, translate(code)) << code;
    EXPECT_EQ(-99, translate(INT_MIN));
    EXPECT_EQ(-99, translate(INT_MAX));
}

TEST(TerminalFrame, ANegativeTimeoutIsRefusedBeforeAnythingElse)
{
    Terminal terminal(Debug());
    for (const auto &row : kCalls)
    {
        Call call(terminal);
        call.port = "nowhere";
        call.extendPort = "1";
        call.timeout = -1;
        EXPECT_EQ(-1, (call.*row.call)()) << row.name;
        EXPECT_TRUE(call.Untouched()) << row.name;
    }
    std::string expected;
    for (const auto &row : kCalls)
        expected += "Info:Enter " + std::string(row.name) +
                    "\r\nInfo:pszPort = nowhere, nBaudRate = 9600, nTimeout = -1\r\n";
    EXPECT_EQ(expected, terminal.BusinessLog()) << "and there is no exit line";
    EXPECT_STREQ("/dev/ttyAMA0", VARIABLE(terminal.library, g_szComName)[1]);
}

TEST(TerminalFrame, AMissingPortIsRefused)
{
    Terminal terminal(Debug());
    for (const auto &row : kCalls)
    {
        Call call(terminal);
        call.port = nullptr;
        call.extendPort = "1";
        EXPECT_EQ(-1, (call.*row.call)()) << row.name;
        EXPECT_TRUE(call.Untouched()) << row.name;
    }
    std::string expected;
    for (const auto &row : kCalls)
        expected += "Info:Enter " + std::string(row.name) +
                    "\r\nInfo:pszPort = (null), nBaudRate = 9600, nTimeout = 1\r\n"
                    "Info:extendPort = 1\r\n";
    EXPECT_EQ(expected, terminal.BusinessLog()) << "the extension comes before the checks";
}

// "usb" is no USB: a device of that name below /dev, which there is none of.
TEST(TerminalFrame, AFailedOpenIsTranslatedAndNothingElseHappens)
{
    for (const auto &row : kCalls)
    {
        Terminal terminal(Debug());
        Call call(terminal);
        call.port = "usb";
        EXPECT_EQ(-3, (call.*row.call)()) << row.name;
        EXPECT_TRUE(call.Untouched()) << row.name;
        EXPECT_EQ(1, call.icType);
        EXPECT_STREQ("/dev/usb", VARIABLE(terminal.library, g_szComName)[1]);
        EXPECT_EQ(0, VARIABLE(terminal.library, g_IsCancelWait)) << "BO_Close would have set it";
        const std::string log = terminal.BusinessLog();
        const std::string exit = "Info:Exit " + std::string(row.name) + ", ret = -1000\r\n";
        ASSERT_GE(log.size(), exit.size());
        EXPECT_EQ(exit, log.substr(log.size() - exit.size()));
    }
}

TEST(TerminalFrame, TheBaudRateIsThatOfTheOpen)
{
    // At 19200 the reader is switched to the configured 9600 and back.
    for (const auto &row : kCalls)
    {
        Terminal terminal;
        terminal.script.rows.push_back({"6002BB00D9" ETX, "60010061" ETX});
        if (row.call != &Call::CtlScriptData)
            terminal.script.PowerOn("3B00").Apdu(kSelectPse, "6A82");
        else
            terminal.script.Apdu("008200000A11223344556677883030", "6300");
        terminal.script.PowerOff();
        terminal.script.rows.push_back({"6002BB01D8" ETX, "60010061" ETX});
        terminal.Plug();
        Call call(terminal);
        call.baudRate = 19200;
        EXPECT_EQ(row.call == &Call::CtlScriptData ? -30 : -26, (call.*row.call)()) << row.name;
    }
    Terminal terminal;
    terminal.Plug();
    Call call(terminal);
    call.baudRate = 115201;
    EXPECT_EQ(-1, call.GetInfo()) << "a rate that no line has";
}

TEST(TerminalFrame, TheFirstCharacterOfTheExtensionSelectsThePort)
{
    struct Row
    {
        const char *extendPort, *opening, *closing, *logged;
    };
    const Row rows[] = {
        {nullptr, nullptr, nullptr, ""},
        {"", nullptr, nullptr, ""},
        {"0", nullptr, nullptr, "Info:extendPort = 0\r\n"},
        {"1", ESC "%1", ESC "%A", "Info:extendPort = 1\r\n"},
        {"B2", ESC "%B", ESC "%A", "Info:extendPort = B2\r\n"},
    };
    for (const Row &row : rows)
        for (const auto &method : kCalls)
        {
            const bool exhaustive = method.call == &Call::GetTranDeta;
            if (!exhaustive && row.opening == nullptr)
                continue; // that nothing goes out is shown by their other tests
            Terminal terminal(Debug());
            if (row.opening != nullptr)
                terminal.script.rows.push_back({row.opening, ""});
            if (method.call != &Call::CtlScriptData)
            {
                terminal.script.PowerOnFails("55"); // ends the first wait
                // The second attempt uses the other command set.
                ReaderScript other;
                other.united = true;
                other.PowerOnFails("9999");
                terminal.script.rows.push_back(other.rows[0]);
            }
            else
            {
                terminal.script.Apdu("008200000A11223344556677883030", "6300").PowerOff();
            }
            if (row.closing != nullptr)
                terminal.script.rows.push_back({row.closing, ""});
            terminal.Plug();
            Call call(terminal);
            call.extendPort = row.extendPort;
            call.timeout = 5;
            EXPECT_EQ(method.call == &Call::CtlScriptData ? -30 : -99, (call.*method.call)());
            terminal.Finish();
            const std::string start = terminal.EntryLines(method.name, "9600, nTimeout = 5") +
                                      row.logged + "Info:pnIcType = 1";
            EXPECT_EQ(start, terminal.BusinessLog().substr(0, start.size()));
        }
}

TEST(TerminalFrame, ThePortStaysNamedForLaterCalls)
{
    Terminal terminal;
    OpenCard(&terminal.script);
    ReadNumber(&terminal.script);
    terminal.script.Exchange("8100", "00564D2D31");
    terminal.Plug();
    Call call(terminal);
    EXPECT_EQ(0, call.GetInfo());
    EXPECT_EQ(0u, VARIABLE(terminal.library, context).isOpen);
    EXPECT_EQ("/dev/" + terminal.port, VARIABLE(terminal.library, g_szComName)[1]);
    unsigned char info[256];
    uint32_t length = 0;
    EXPECT_EQ(0, CALL(terminal.library, BO_Open)(1, 9600, 0));
    EXPECT_EQ(0, CALL(terminal.library, BO_GetDevInfo)(0, info, &length));
    EXPECT_EQ(0, CALL(terminal.library, BO_Close)());
}

TEST(TerminalFrame, ALongPortNameIsCut)
{
    Terminal terminal;
    for (size_t size : {size_t{58}, size_t{59}, size_t{5000}})
    {
        Call call(terminal);
        const std::string port(size, 'p');
        call.port = port.c_str();
        EXPECT_EQ(-3, call.GetInfo());
        EXPECT_EQ("/dev/" + std::string(58, 'p'), VARIABLE(terminal.library, g_szComName)[1]);
        EXPECT_STREQ("/dev/ttyS2", VARIABLE(terminal.library, g_szComName)[2]);
    }
}

TEST(TerminalFrame, AMissingArgumentIsRefusedBeforeTheOpen)
{
    Terminal terminal(Debug());
    const HostLibrary &library = terminal.library;
    int32_t type = 1, length = 100;
    char text[100], second[1024];
    const char *const port = "nowhere";
    const auto info = CALL(library, IC_GetInfo);
    EXPECT_EQ(-1, info(port, nullptr, 9600, 1, nullptr, "", "A", &length, text));
    EXPECT_EQ(-1, info(port, nullptr, 9600, 1, &type, nullptr, "A", &length, text));
    EXPECT_EQ(-1, info(port, nullptr, 9600, 1, &type, "", nullptr, &length, text));
    EXPECT_EQ(-1, info(port, nullptr, 9600, 1, &type, "", "A", nullptr, text));
    EXPECT_EQ(-1, info(port, nullptr, 9600, 1, &type, "", "A", &length, nullptr));
    const auto arqc = CALL(library, IC_GenARQC);
    EXPECT_EQ(-1, arqc(port, nullptr, 9600, 1, nullptr, "", "P", &length, text, second));
    EXPECT_EQ(-1, arqc(port, nullptr, 9600, 1, &type, "", nullptr, &length, text, second));
    EXPECT_EQ(-1, arqc(port, nullptr, 9600, 1, &type, "", "P", nullptr, text, second));
    EXPECT_EQ(-1, arqc(port, nullptr, 9600, 1, &type, "", "P", &length, nullptr, second));
    EXPECT_EQ(-1, arqc(port, nullptr, 9600, 1, &type, "", "P", &length, text, nullptr));
    const auto script = CALL(library, IC_CtlScriptData);
    EXPECT_EQ(-1, script(port, nullptr, 9600, 1, nullptr, "P", "91", &length, text, second, "8A"));
    EXPECT_EQ(-1,
              script(port, nullptr, 9600, 1, &type, nullptr, "91", &length, text, second, "8A"));
    EXPECT_EQ(-1, script(port, nullptr, 9600, 1, &type, "P", nullptr, &length, text, second, "8A"));
    EXPECT_EQ(-1, script(port, nullptr, 9600, 1, &type, "P", "91", nullptr, text, second, "8A"));
    EXPECT_EQ(-1, script(port, nullptr, 9600, 1, &type, "P", "91", &length, nullptr, second, "8A"));
    EXPECT_EQ(-1, script(port, nullptr, 9600, 1, &type, "P", "91", &length, text, nullptr, "8A"));
    EXPECT_EQ(-1, script(port, nullptr, 9600, 1, &type, "P", "91", &length, text, second, nullptr));
    EXPECT_EQ(-1, script(port, nullptr, 9600, 1, &type, "P", "91", &length, text, second, ""));
    const auto detail = CALL(library, IC_GetTranDeta);
    EXPECT_EQ(-1, detail(port, nullptr, 9600, 1, nullptr, "", &length, text));
    EXPECT_EQ(-1, detail(port, nullptr, 9600, 1, &type, "", nullptr, text));
    EXPECT_EQ(-1, detail(port, nullptr, 9600, 1, &type, "", &length, nullptr));

    const std::string log = terminal.BusinessLog();
    EXPECT_EQ(std::string::npos, log.find("Exit"));
    EXPECT_EQ(std::string::npos, log.find("pnIcType"));
    EXPECT_STREQ("/dev/ttyAMA0", VARIABLE(library, g_szComName)[1]);
}
