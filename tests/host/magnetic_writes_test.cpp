// Magnetic cards: writing, and the account number.
#include <cstring>
#include <gtest/gtest.h>

#include "host/scripted_reader.h"

using testing_support::FromHex;
using testing_support::HostLibrary;
using testing_support::ScriptedReader;

namespace
{

#define END "?\x1C"

const char kReset[] = ESC "0";

const std::string kRead1 = ESC "A]";
const std::string kRead2 = ESC "]";
const std::string kRead3 = ESC "T]";
const std::string kRead12 = ESC "D]";
const std::string kRead23 = ESC "B]";
const std::string kRead123 = ESC "F]";

// What a swipe answers, in the order in which the module says it.
std::string Swipe(const std::string &two, const std::string &three, const std::string &one)
{
    return ESC "s" + two + "A" + three + "%" + one + END;
}

struct Written
{
    int result;
    std::string log;
};

// A write with the command that it is to send; no command: nothing goes out.
Written WriteOnce(const char *track2, const char *track3, const std::string &command = "",
                  const std::string &reply = "", int timeoutSeconds = 5)
{
    ScriptedReader reader;
    if (!command.empty())
    {
        reader.script.rows.push_back({command, reply});
        reader.script.rows.push_back({kReset, ""});
    }
    reader.PlugAndOpen();
    Written written{0, ""};
    // The lengths are not used.
    written.result =
        CALL(reader.library, BO_WriteMagCard)(99, 1, 2, track2, 4711, track3, 0, timeoutSeconds);
    reader.Finish();
    written.log = reader.BusinessLog();
    return written;
}

const std::string kWrite2 = ESC "t12345" + FromHex("1D1B5C1B6A");
const std::string kWrite3 = ESC "tA678" + FromHex("1D1B5C1B6A");
const std::string kWriteBoth = ESC "t12345A678" + FromHex("1D1B5C1B6A");

struct Number
{
    int result;
    std::string text;
    uint32_t length;
    std::string log;
};

Number NumberOnce(uint32_t mode, int kind, const std::string &command, const std::string &reply)
{
    ScriptedReader reader;
    reader.script.rows.push_back({command, reply});
    reader.script.rows.push_back({kReset, ""});
    reader.PlugAndOpen();
    char text[300];
    memset(text, '#', sizeof text);
    text[299] = '\0';
    Number number{0, "", 77, ""};
    number.result = CALL(reader.library, BO_GetMagCardNo)(99, mode, kind, text, &number.length, 5);
    number.text = text;
    reader.Finish();
    number.log = reader.BusinessLog();
    return number;
}

} // namespace

TEST(MagneticWrite, BothTracksWhenBothAreGood)
{
    EXPECT_EQ(0, WriteOnce("12345", "678", kWriteBoth, FromHex("1B427270")).result);
}

TEST(MagneticWrite, ABadTrackBesideAGoodOneIsLeftOut)
{
    const Written written = WriteOnce("12345", "12X", kWrite2, FromHex("1B7270"));
    EXPECT_EQ(0, written.result);
    EXPECT_EQ("Error:szTrackData[2] = 58\r\n", written.log);
    EXPECT_EQ(0, WriteOnce("A", "678", kWrite3, FromHex("1B547270")).result);
    EXPECT_EQ(0, WriteOnce("12345", "", kWrite2, FromHex("1B7270")).result);
    EXPECT_EQ(0, WriteOnce("", "678", kWrite3, FromHex("1B547270")).result);
}

TEST(MagneticWrite, OneTrackAlone)
{
    EXPECT_EQ(0, WriteOnce("12345", nullptr, kWrite2, FromHex("1B7270")).result);
    EXPECT_EQ(0, WriteOnce(nullptr, "678", kWrite3, FromHex("1B547270")).result);
}

TEST(MagneticWrite, NoGoodTrackIsRefused)
{
    for (const auto &[two, three] :
         {std::pair<const char *, const char *>{"", ""}, {"", nullptr}, {nullptr, ""}})
    {
        const Written written = WriteOnce(two, three);
        EXPECT_EQ(-1007, written.result);
        EXPECT_EQ("Error:TrackData Error!\r\n", written.log);
    }
    EXPECT_EQ("Error:szTrackData[0] = 58\r\nError:szTrackData[1] = 59\r\n"
              "Error:TrackData Error!\r\n",
              WriteOnce("X", "1Y").log);
    EXPECT_EQ("Error:szTrackData[0] = 58\r\nError:TrackData Error!\r\n",
              WriteOnce("X", nullptr).log);
}

TEST(MagneticWrite, NoTrackAtAllIsRefused)
{
    const Written written = WriteOnce(nullptr, nullptr, "", "", -1);
    EXPECT_EQ(-1007, written.result);
    EXPECT_EQ("Error:TrackData Is Null!\r\n", written.log);
}

TEST(MagneticWrite, TheTimeoutIsLookedAtAfterTheTracks)
{
    EXPECT_EQ("Error:Timeout Error!\r\n", WriteOnce("1", nullptr, "", "", -1).log);
    EXPECT_EQ(-1007, WriteOnce("1", nullptr, "", "", -1).result);
    EXPECT_EQ("Error:TrackData Error!\r\n", WriteOnce("", nullptr, "", "", -1).log);
}

TEST(MagneticWrite, TakesATrackOf120Characters)
{
    const std::string longest(120, '1');
    EXPECT_EQ(0, WriteOnce(longest.c_str(), nullptr, ESC "t" + longest + FromHex("1D1B5C1B6A"),
                           FromHex("1B7270"))
                     .result);
    EXPECT_EQ("Error:TrackData Error!\r\n", WriteOnce((longest + "1").c_str(), nullptr).log);
    EXPECT_EQ("Error:TrackData Error!\r\n", WriteOnce(nullptr, (longest + "1").c_str()).log);
    EXPECT_EQ(0, WriteOnce((longest + "1").c_str(), "678", kWrite3, FromHex("1B547270")).result);
}

TEST(MagneticWrite, FailuresOfTheModule)
{
    const Written written = WriteOnce("12345", "678", kWriteBoth, FromHex("1B7271"));
    EXPECT_EQ(-2102, written.result);
    EXPECT_EQ("Error:WriteTrack Error!\r\nError:iErrorCode = -2102\r\n", written.log);
    EXPECT_EQ(-2103, WriteOnce("12345", "678", kWriteBoth, FromHex("1B547271")).result);
    EXPECT_EQ(-2104, WriteOnce("12345", "678", kWriteBoth, FromHex("1B7270")).result);
    EXPECT_EQ(-2102, WriteOnce("12345", nullptr, kWrite2, FromHex("1B7271")).result);
    EXPECT_EQ(-2103, WriteOnce(nullptr, "678", kWrite3, FromHex("1B547271")).result);
    EXPECT_EQ(-1004, WriteOnce("12345", nullptr, kWrite2, "", 1).result);
}

TEST(MagneticNumber, OfTrack2)
{
    const Number number = NumberOnce(23, 0, kRead23, ESC "s6222020200112233=2512A99" END);
    EXPECT_EQ(0, number.result);
    EXPECT_EQ("6222020200112233", number.text);
    EXPECT_EQ(16u, number.length);
    EXPECT_EQ("", number.log);
}

TEST(MagneticNumber, IsLookedForInTheTrackOfTheMode)
{
    EXPECT_EQ("B1", NumberOnce(1, 0, kRead1, ESC "s%B1=2" END).text);
    EXPECT_EQ("12", NumberOnce(2, 0, kRead2, ESC "s12=3" END).text);
    EXPECT_EQ("34", NumberOnce(3, 0, kRead3, ESC "sA34=5" END).text);
    EXPECT_EQ("12", NumberOnce(123, 0, kRead123, Swipe("12=3", "45", "B6")).text);
    EXPECT_EQ("45", NumberOnce(123, 1, kRead123, Swipe("12=3", "45'6", "B6")).text);
    EXPECT_EQ("B6", NumberOnce(12, 2, kRead12, Swipe("12=3", "", "B6'7")).text);
}

TEST(MagneticNumber, AMissingTrack2Or3DoesNotStopTheSearch)
{
    Number number = NumberOnce(23, 0, kRead23,
                               ESC "s\x7F"
                                   "A45=6" END);
    EXPECT_EQ(0, number.result);
    EXPECT_EQ("45", number.text);
    number = NumberOnce(23, 0, kRead23, ESC "s12=3A00000" END);
    EXPECT_EQ(0, number.result);
    EXPECT_EQ("12", number.text);
    EXPECT_EQ(-2105, NumberOnce(2, 0, kRead2, ESC "s\x7F" END).result);
}

TEST(MagneticNumber, AnyOtherFailureOfTheReadEndsIt)
{
    const Number number = NumberOnce(23, 0, kRead23,
                                     ESC "s\x7F"
                                         "A\x7F" END);
    EXPECT_EQ(-2004, number.result);
    EXPECT_EQ(std::string(299, '#'), number.text);
    EXPECT_EQ(77u, number.length);
    EXPECT_EQ("Error:ReadTrack Error!\r\nError:iErrorCode = -2004\r\n"
              "Error:ReadTrack Error!\r\nError:iErrorCode = -2004\r\n",
              number.log);
    EXPECT_EQ(-2001, NumberOnce(1, 0, kRead1, ESC "s%\x7F" END).result);
}

TEST(MagneticNumber, WithoutASeparatorGives2105AndTheText)
{
    const Number number = NumberOnce(2, 1, kRead2, ESC "s6222=1" END);
    EXPECT_EQ(-2105, number.result);
    EXPECT_EQ("6222=1", number.text);
    EXPECT_EQ(6u, number.length);
    EXPECT_EQ("Error:GetCardNo Error!\r\nError:iErrorCode = -2105\r\n", number.log);
    EXPECT_EQ(-2105, NumberOnce(2, 3, kRead2, ESC "s6222=1" END).result);
}

TEST(MagneticNumber, TheLongestTrackStaysWithinItsRoom)
{
    const std::string longest(251, '7');
    const Number number = NumberOnce(2, 0, kRead2, ESC "s" + longest + END);
    EXPECT_EQ(-2105, number.result);
    EXPECT_EQ(longest, number.text);
    EXPECT_EQ(251u, number.length);
    EXPECT_EQ(252u, NumberOnce(23, 0, kRead23, ESC "s" + longest + "7" END).length);
}

TEST(MagneticNumber, NeedsItsOutputs)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    char text[8];
    uint32_t length = 0;
    EXPECT_EQ(-1007, CALL(reader.library, BO_GetMagCardNo)(0, 2, 0, nullptr, &length, 1));
    EXPECT_EQ(-1007, CALL(reader.library, BO_GetMagCardNo)(0, 2, 0, text, nullptr, 1));
    EXPECT_EQ(-1007, CALL(reader.library, BO_GetMagCardNo)(0, 2, 0, text, &length, -1));
}

TEST(MagneticChecks, AreExported)
{
    HostLibrary library;
    EXPECT_EQ(1, CALL(library, IsTrackDataValue)("12=3"));
    EXPECT_EQ(0, CALL(library, IsTrackDataValue)("12=A"));
}
