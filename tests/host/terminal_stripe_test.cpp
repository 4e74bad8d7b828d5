// The terminal-standard calls for magnetic stripes.
#include <chrono>
#include <climits>
#include <gtest/gtest.h>

#include "host/terminal_call.h"

using terminal_testing::Debug;
using terminal_testing::Terminal;
using testing_support::FromHex;
using testing_support::HostLibrary;

namespace
{

#define END "?\x1C"

const std::string kModuleReset = ESC "0";

// The arguments of the two stripe calls; the areas are filled with '#' first.
struct StripeCall
{
    const HostLibrary &library;
    const char *port;
    const char *extendPort = nullptr;
    int baudRate = 9600;
    int timeout = 5;
    int mode = 23;
    int charSet = 7;
    char track2[600];
    char track3[600];

    explicit StripeCall(const Terminal &terminal)
        : library(terminal.library), port(terminal.port.c_str())
    {
        memset(track2, '#', sizeof track2);
        memset(track3, '#', sizeof track3);
    }
    StripeCall &Fill(const std::string &two, const std::string &three)
    {
        strcpy(track2, two.c_str());
        strcpy(track3, three.c_str());
        return *this;
    }
    int Read()
    {
        return CALL(library, MS_ReadCard)(port, extendPort, baudRate, timeout, mode, charSet,
                                          track2, track3);
    }
    int Write()
    {
        return CALL(library, MS_WriteCard)(port, extendPort, baudRate, timeout, mode, charSet,
                                           track2, track3);
    }
};

std::string StripeEntry(const char *name, const Terminal &terminal, int mode, int timeout = 5)
{
    return "Info:Enter " + std::string(name) + "\r\nInfo:pszPort = " + terminal.port +
           ", nBaudRate = 9600, nTimeout = " + std::to_string(timeout) +
           ", iMode = " + std::to_string(mode) + ", iCharSet = 7\r\n";
}

// A call on a reader of its own that hears one command and answers it; no command: it hears none.
struct Stripe : Terminal
{
    Stripe(const std::string &command, const std::string &reply) : Terminal(Debug())
    {
        if (!command.empty())
            script.rows = {{command, reply}, {kModuleReset, ""}};
        Plug();
    }
};

const std::string kRead2 = ESC "]";
const std::string kRead3 = ESC "T]";
const std::string kReadBoth = ESC "B]";

const std::string kWrite2 = ESC "t12345" + FromHex("1D1B5C1B6A");
const std::string kWrite3 = ESC "tA678" + FromHex("1D1B5C1B6A");
const std::string kWriteBoth = ESC "t12345A678" + FromHex("1D1B5C1B6A");
const std::string kWritten2 = FromHex("1B7270");
const std::string kWritten3 = FromHex("1B547270");
const std::string kWrittenBoth = FromHex("1B427270");

struct StripeOutcome
{
    int result;
    std::string track2;
    std::string track3;
    std::string log;
};

// All of the area when there is no NUL in it.
std::string TextIn(const char (&area)[600])
{
    return std::string(area, strnlen(area, sizeof area));
}

StripeOutcome ReadOnce(int mode, const std::string &command, const std::string &reply,
                       int timeout = 5)
{
    Stripe stripe(command, reply);
    StripeCall call(stripe);
    call.mode = mode;
    call.timeout = timeout;
    const int result = call.Read();
    stripe.Finish();
    EXPECT_EQ(0u, VARIABLE(stripe.library, context).isOpen);
    const std::string entry = StripeEntry("MS_ReadCard", stripe, mode, timeout);
    const std::string log = stripe.BusinessLog();
    EXPECT_EQ(entry, log.substr(0, entry.size()));
    return {result, TextIn(call.track2), TextIn(call.track3),
            log.substr(std::min(entry.size(), log.size()))};
}

// What stands in an area that nobody touched.
const std::string kUntouched(600, '#');

StripeOutcome WriteOnce(int mode, const std::string &two, const std::string &three,
                        const std::string &command, const std::string &reply, int timeout = 5)
{
    Stripe stripe(command, reply);
    StripeCall call(stripe);
    call.Fill(two, three).mode = mode;
    call.timeout = timeout;
    const int result = call.Write();
    stripe.Finish();
    EXPECT_EQ(0u, VARIABLE(stripe.library, context).isOpen);
    const std::string entry = StripeEntry("MS_WriteCard", stripe, mode, timeout);
    const std::string log = stripe.BusinessLog();
    EXPECT_EQ(entry, log.substr(0, entry.size()));
    return {result, call.track2, call.track3, log.substr(std::min(entry.size(), log.size()))};
}

// Seconds, and as many as were asked for: the calls' usual ones here are five.
void ExpectAboutASecond(std::chrono::steady_clock::time_point start)
{
    const auto passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(passed, std::chrono::seconds(1));
    EXPECT_LT(passed, std::chrono::seconds(5));
}

} // namespace

// At 19200 the reader is switched to the configured 9600 and back; the extension lies around it.
TEST(TerminalStripe, RateAndExtensionAreThoseOfTheOpen)
{
    const testing_support::GoldenExchange select = {ESC "%1", ""};
    const testing_support::GoldenExchange there = {"6002BB00D9" ETX, "60010061" ETX};
    const testing_support::GoldenExchange back = {"6002BB01D8" ETX, "60010061" ETX};
    const testing_support::GoldenExchange deselect = {ESC "%A", ""};
    Terminal stripe(Debug());
    stripe.script.rows = {
        select, there, {kRead2, ESC "s1=2" END}, {kModuleReset, ""}, back, deselect,
        select, there, {kWrite2, kWritten2},     {kModuleReset, ""}, back, deselect};
    stripe.Plug();
    StripeCall call(stripe);
    call.baudRate = 19200;
    call.extendPort = "1";
    call.mode = 2;
    EXPECT_EQ(0, call.Read());
    EXPECT_EQ(0, call.Fill("12345", "").Write());
    stripe.Finish();
    EXPECT_NE(std::string::npos, stripe.BusinessLog().find(", iMode = 2, iCharSet = 7\r\n"
                                                           "Info:extendPort = 1\r\n"));
}

TEST(TerminalReadCard, GivesTheTracksOfTheMode)
{
    StripeOutcome read = ReadOnce(2, kRead2, ESC "s1234=5678" END);
    EXPECT_EQ(0, read.result);
    EXPECT_EQ("1234=5678", read.track2);
    EXPECT_EQ(kUntouched, read.track3);
    EXPECT_EQ("Info:Exit krel_ReadMagCard, ret = 0, szTrack2data = 1234=5678, szTrack3data = \r\n",
              read.log);
    read = ReadOnce(3, kRead3, ESC "sA99=1" END);
    EXPECT_EQ(0, read.result);
    EXPECT_EQ(kUntouched, read.track2);
    EXPECT_EQ("99=1", read.track3);
    EXPECT_EQ("Info:Exit krel_ReadMagCard, ret = 0, szTrack2data = , szTrack3data = 99=1\r\n",
              read.log);
    read = ReadOnce(23, kReadBoth, ESC "s12=3A45=67" END);
    EXPECT_EQ(0, read.result);
    EXPECT_EQ("12=3", read.track2);
    EXPECT_EQ("45=67", read.track3);
    EXPECT_EQ("Info:Exit krel_ReadMagCard, ret = 0, szTrack2data = 12=3, szTrack3data = 45=67\r\n",
              read.log);
}

TEST(TerminalReadCard, EveryOtherModeReadsTracks2And3)
{
    for (int mode : {1, 0, 12, 13, 123, -1, 4, INT_MIN, INT_MAX})
    {
        const StripeOutcome read = ReadOnce(mode, kReadBoth, ESC "s12=3A45=67" END);
        EXPECT_EQ(0, read.result) << mode;
        EXPECT_EQ("12=3", read.track2) << mode;
        EXPECT_EQ("45=67", read.track3) << mode;
    }
}

TEST(TerminalReadCard, OneTrackIsEnoughWhereBothAreAskedFor)
{
    for (int mode : {1, 23})
        for (const std::string &empty : {std::string("\x7F"), std::string("00000")})
        {
            StripeOutcome read = ReadOnce(mode, kReadBoth, ESC "s12=3A" + empty + END);
            EXPECT_EQ(0, read.result);
            EXPECT_EQ("12=3", read.track2);
            EXPECT_EQ("", read.track3);
            EXPECT_EQ("Error:ReadTrack Error!\r\nError:iErrorCode = -2003\r\n"
                      "Info:Exit krel_ReadMagCard, ret = 0, szTrack2data = 12=3, "
                      "szTrack3data = \r\n",
                      read.log);
            read = ReadOnce(mode, kReadBoth, ESC "s" + empty + "A45" + END);
            EXPECT_EQ(0, read.result);
            EXPECT_EQ("", read.track2);
            EXPECT_EQ("45", read.track3);
        }
}

TEST(TerminalReadCard, NeitherTrackIsAFailure)
{
    const StripeOutcome read = ReadOnce(23, kReadBoth, ESC "s00000A00000" END);
    EXPECT_EQ(-11, read.result);
    EXPECT_EQ("", read.track2);
    EXPECT_EQ("", read.track3);
    EXPECT_EQ("Error:ReadTrack Error!\r\nError:iErrorCode = -2004\r\n"
              "Info:Exit krel_ReadMagCard, ret = -2004, szTrack2data = , szTrack3data = \r\n",
              read.log)
        << "the result before its translation";
}

TEST(TerminalReadCard, AnEmptyTrackThatWasAskedForAloneIsAFailure)
{
    StripeOutcome read = ReadOnce(2, kRead2, ESC "s00000" END);
    EXPECT_EQ(-11, read.result);
    EXPECT_EQ("", read.track2);
    EXPECT_EQ(kUntouched, read.track3);
    EXPECT_NE(std::string::npos, read.log.find("ret = -2002, "));
    read = ReadOnce(3, kRead3, ESC "sA\x7F" END);
    EXPECT_EQ(-11, read.result);
    EXPECT_EQ(kUntouched, read.track2);
    EXPECT_EQ("", read.track3);
    EXPECT_NE(std::string::npos, read.log.find("ret = -2003, "));
}

TEST(TerminalReadCard, NoSwipeInTimeLeavesEmptyTexts)
{
    const auto start = std::chrono::steady_clock::now();
    const StripeOutcome read = ReadOnce(23, kReadBoth, "", 1);
    ExpectAboutASecond(start);
    EXPECT_EQ(-11, read.result);
    EXPECT_EQ("", read.track2);
    EXPECT_EQ("", read.track3);
    EXPECT_EQ("Error:ReadTrack Error!\r\nError:iErrorCode = -62\r\n"
              "Info:Exit krel_ReadMagCard, ret = -1004, szTrack2data = , szTrack3data = \r\n",
              read.log);
}

TEST(TerminalReadCard, TheLongestTrackFitsIn255Bytes)
{
    const std::string longest(252, '1'); // 256 bytes with the marks, the most that a reply may have
    Stripe stripe(kReadBoth, ESC "s" + longest + END);
    StripeCall call(stripe);
    EXPECT_EQ(0, call.Read());
    EXPECT_EQ(longest, call.track2);
    EXPECT_EQ('#', call.track2[253]);
    EXPECT_STREQ("", call.track3);
    EXPECT_EQ('#', call.track3[1]);
    const StripeOutcome tooLong = ReadOnce(3, kRead3, ESC "sA" + std::string(252, '1') + END);
    EXPECT_EQ(-1, tooLong.result);
    EXPECT_EQ("", tooLong.track3);
}

TEST(TerminalReadCard, NeedsNoPlaceForATrackThatIsNotAskedFor)
{
    Terminal terminal;
    terminal.script.rows = {
        {kRead2, ESC "s12" END}, {kModuleReset, ""}, {kRead3, ESC "sA34" END}, {kModuleReset, ""}};
    terminal.Plug();
    char text[255];
    const auto read = CALL(terminal.library, MS_ReadCard);
    EXPECT_EQ(0, read(terminal.port.c_str(), nullptr, 9600, 5, 2, 0, text, nullptr));
    EXPECT_STREQ("12", text);
    EXPECT_EQ(0, read(terminal.port.c_str(), nullptr, 9600, 5, 3, 0, nullptr, text));
    EXPECT_STREQ("34", text);
}

TEST(TerminalWriteCard, WritesTheTracksOfTheMode)
{
    StripeOutcome written = WriteOnce(2, "12345", "678", kWrite2, kWritten2);
    EXPECT_EQ(0, written.result);
    EXPECT_EQ("Info:szTrack2data = 12345\r\nInfo:Exit MS_WriteCard, ret = 0\r\n", written.log);
    written = WriteOnce(3, "12345", "678", kWrite3, kWritten3);
    EXPECT_EQ(0, written.result);
    EXPECT_EQ("Info:szTrack3data = 678\r\nInfo:Exit MS_WriteCard, ret = 0\r\n", written.log);
    for (int mode : {23, 1, 0, 12, 123, -1})
    {
        written = WriteOnce(mode, "12345", "678", kWriteBoth, kWrittenBoth);
        EXPECT_EQ(0, written.result) << mode;
        EXPECT_EQ("Info:szTrack2data = 12345, szTrack3data = 678\r\n"
                  "Info:Exit MS_WriteCard, ret = 0\r\n",
                  written.log);
        EXPECT_EQ("12345", written.track2);
        EXPECT_EQ("678", written.track3);
    }
}

TEST(TerminalWriteCard, NeedsNoTrackThatIsNotWritten)
{
    Terminal terminal;
    terminal.script.rows = {
        {kWrite2, kWritten2}, {kModuleReset, ""}, {kWrite3, kWritten3}, {kModuleReset, ""}};
    terminal.Plug();
    const auto write = CALL(terminal.library, MS_WriteCard);
    EXPECT_EQ(0, write(terminal.port.c_str(), nullptr, 9600, 5, 2, 0, "12345", nullptr));
    EXPECT_EQ(0, write(terminal.port.c_str(), nullptr, 9600, 5, 3, 0, nullptr, "678"));
}

TEST(TerminalWriteCard, ABadTrackBesideAGoodOneIsLeftOut)
{
    const StripeOutcome written = WriteOnce(23, "12345", "6X", kWrite2, kWritten2);
    EXPECT_EQ(0, written.result);
    EXPECT_EQ("Info:szTrack2data = 12345, szTrack3data = 6X\r\n"
              "Error:szTrackData[1] = 58\r\nInfo:Exit MS_WriteCard, ret = 0\r\n",
              written.log);
    EXPECT_EQ(0, WriteOnce(23, "", "678", kWrite3, kWritten3).result);
}

TEST(TerminalWriteCard, WithoutAGoodTrackNothingIsWritten)
{
    // A good track that the mode leaves out does not count.
    for (const auto &[mode, logged] : {std::pair<int, const char *>{2, "szTrack2data = \r\n"},
                                       {23, "szTrack2data = , szTrack3data = \r\n"}})
    {
        const StripeOutcome written = WriteOnce(mode, "", mode == 2 ? "678" : "", "", "");
        EXPECT_EQ(-1, written.result);
        EXPECT_EQ("Info:" + std::string(logged) +
                      "Error:TrackData Error!\r\nInfo:Exit MS_WriteCard, ret = -1007\r\n",
                  written.log);
    }
    EXPECT_EQ(-1, WriteOnce(3, "12345", "", "", "").result);
}

TEST(TerminalWriteCard, ATrackThatIsTooLongIsCutInTheLogAndNotWritten)
{
    for (size_t size : {size_t{121}, size_t{511}, size_t{512}, size_t{599}})
    {
        const StripeOutcome written =
            WriteOnce(23, std::string(size, '1'), std::string(size, '2'), "", "");
        EXPECT_EQ(-1, written.result);
        const size_t kept = std::min(size, size_t{511});
        EXPECT_EQ("Info:szTrack2data = " + std::string(kept, '1') +
                      ", szTrack3data = " + std::string(kept, '2') +
                      "\r\nError:TrackData Error!\r\nInfo:Exit MS_WriteCard, ret = -1007\r\n",
                  written.log);
    }
    Terminal terminal;
    terminal.Plug();
    StripeCall call(terminal);
    const std::string huge(100000, '1');
    EXPECT_EQ(-1, CALL(terminal.library, MS_WriteCard)(terminal.port.c_str(), nullptr, 9600, 5, 2,
                                                       0, huge.c_str(), nullptr));
}

TEST(TerminalWriteCard, AFailureIsTranslated)
{
    const StripeOutcome written = WriteOnce(2, "12345", "", kWrite2, FromHex("1B7271"));
    EXPECT_EQ(-10, written.result);
    EXPECT_EQ("Info:szTrack2data = 12345\r\nError:WriteTrack Error!\r\n"
              "Error:iErrorCode = -2102\r\nInfo:Exit MS_WriteCard, ret = -2102\r\n",
              written.log);
}

TEST(TerminalWriteCard, NoSwipeInTimeIsAFailure)
{
    const auto start = std::chrono::steady_clock::now();
    const StripeOutcome written = WriteOnce(23, "12345", "678", kWriteBoth, "", 1);
    ExpectAboutASecond(start);
    EXPECT_EQ(-11, written.result);
    EXPECT_NE(std::string::npos, written.log.find("Info:Exit MS_WriteCard, ret = -1004\r\n"));
}
