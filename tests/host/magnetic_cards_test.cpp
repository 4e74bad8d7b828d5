// Magnetic cards: reading, and empty tracks.
#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "host/scripted_reader.h"

using testing_support::HostLibrary;
using testing_support::ScriptedReader;

namespace
{

#define END "?\x1C"

const char kReset[] = ESC "0";
const char kDel[] = "\x7F";

const std::string kRead1 = ESC "A]";
const std::string kRead2 = ESC "]";
const std::string kRead3 = ESC "T]";
const std::string kRead12 = ESC "D]";
const std::string kRead13 = ESC "E]";
const std::string kRead23 = ESC "B]";
const std::string kRead123 = ESC "F]";

struct Track
{
    char text[256] = {};
    uint32_t length = 77;
};

struct ReadResult
{
    int result = 0;
    Track one;
    Track two;
    Track three;
};

// What a swipe answers, in the order in which the module says it.
std::string Swipe(const std::string &two, const std::string &three, const std::string &one)
{
    return ESC "s" + two + "A" + three + "%" + one + END;
}

int Read(const HostLibrary &library, uint32_t mode, ReadResult *read, int timeoutSeconds = 5)
{
    read->result = CALL(library, BO_ReadMagCard)(
        99, mode, sizeof read->one.text, read->one.text, &read->one.length, sizeof read->two.text,
        read->two.text, &read->two.length, sizeof read->three.text, read->three.text,
        &read->three.length, timeoutSeconds);
    return read->result;
}

// One read on a reader of its own; the module is reset behind it.
ReadResult ReadOnce(uint32_t mode, const std::string &command, const std::string &reply)
{
    ScriptedReader reader;
    reader.script.rows.push_back({command, reply});
    reader.script.rows.push_back({kReset, ""});
    reader.PlugAndOpen();
    ReadResult read;
    Read(reader.library, mode, &read);
    reader.Finish();
    EXPECT_EQ(read.result == 0 ? ""
                               : "Error:ReadTrack Error!\r\nError:iErrorCode = " +
                                     std::to_string(read.result) + "\r\n",
              reader.BusinessLog());
    return read;
}

std::string Lengths(const ReadResult &read)
{
    return std::to_string(read.one.length) + " " + std::to_string(read.two.length) + " " +
           std::to_string(read.three.length);
}

std::string Texts(const ReadResult &read)
{
    return std::string(read.one.text) + "|" + read.two.text + "|" + read.three.text;
}

} // namespace

TEST(MagneticReset, SendsItsSequence)
{
    ScriptedReader reader;
    reader.script.rows.push_back({kReset, ""});
    reader.PlugAndOpen();
    EXPECT_EQ(0, CALL(reader.library, BO_ResetMsr)());
    HostLibrary closed;
    EXPECT_EQ(0, CALL(closed, BO_ResetMsr)());
}

TEST(MagneticRead, GivesTheTracksOfTheModeAndTheirLengths)
{
    const std::string all = Swipe("12=3", "45=67", "ABC");
    ReadResult read = ReadOnce(1, kRead1, ESC "s%ABC" END);
    EXPECT_EQ(0, read.result);
    EXPECT_EQ("ABC||", Texts(read));
    EXPECT_EQ("3 77 77", Lengths(read));
    read = ReadOnce(2, kRead2, ESC "s1234=5678" END);
    EXPECT_EQ("|1234=5678|", Texts(read));
    EXPECT_EQ("77 9 77", Lengths(read));
    read = ReadOnce(3, kRead3, ESC "sA99" END);
    EXPECT_EQ("||99", Texts(read));
    EXPECT_EQ("77 77 2", Lengths(read));
    read = ReadOnce(12, kRead12, all);
    EXPECT_EQ("ABC|12=3|45=67", Texts(read));
    EXPECT_EQ("3 4 77", Lengths(read));
    read = ReadOnce(13, kRead13, all);
    EXPECT_EQ("3 77 5", Lengths(read));
    read = ReadOnce(23, kRead23, ESC "s12=3A45=67" END);
    EXPECT_EQ("|12=3|45=67", Texts(read));
    EXPECT_EQ("77 4 5", Lengths(read));
    read = ReadOnce(123, kRead123, all);
    EXPECT_EQ("ABC|12=3|45=67", Texts(read));
    EXPECT_EQ("3 4 5", Lengths(read));
}

TEST(MagneticRead, OfTheTracksOfOneModeEachCanBeEmpty)
{
    EXPECT_EQ(-2001, ReadOnce(1, kRead1, ESC "s%\x7F" END).result);
    EXPECT_EQ(-2001, ReadOnce(1, kRead1, ESC "s%00000" END).result);
    EXPECT_EQ(-2002, ReadOnce(2, kRead2, ESC "s\x7F" END).result);
    EXPECT_EQ(-2002, ReadOnce(2, kRead2, ESC "s00000" END).result);
    EXPECT_EQ(-2003, ReadOnce(3, kRead3, ESC "sA\x7F" END).result);
    EXPECT_EQ(-2003, ReadOnce(3, kRead3, ESC "sA00000" END).result);
}

TEST(MagneticRead, OnlyExactlyTheEmptyTextsAreEmpty)
{
    for (const char *text : {"0000", "000000", "\x7F\x7F", "00000=", "=00000", "", "7F"})
        EXPECT_EQ(0, ReadOnce(2, kRead2, ESC "s" + std::string(text) + END).result) << text;
}

TEST(MagneticRead, AnEmptyTrackIsClearedAndItsLengthStays)
{
    const ReadResult del = ReadOnce(2, kRead2, ESC "s\x7F" END);
    EXPECT_EQ("||", Texts(del));
    EXPECT_EQ("77 1 77", Lengths(del));
    const ReadResult zeros = ReadOnce(2, kRead2, ESC "s00000" END);
    EXPECT_EQ("||", Texts(zeros));
    EXPECT_EQ("77 5 77", Lengths(zeros));
    EXPECT_EQ(0, memcmp(zeros.two.text,
                        "\0"
                        "0000",
                        5))
        << "only the first byte";
}

TEST(MagneticRead, TwoTracksEmptyInTheSameWayHaveACodeOfTheirOwn)
{
    const struct
    {
        uint32_t mode;
        std::string command;
        int both;
        int first;
        int second;
    } kModes[] = {{12, kRead12, -2106, -2001, -2002}, {13, kRead13, -2107, -2001, -2003}};
    for (const auto &mode : kModes)
    {
        const auto read = [&mode](const std::string &first, const std::string &second)
        {
            const bool isTwo = mode.mode == 12;
            return ReadOnce(mode.mode, mode.command,
                            Swipe(isTwo ? second : "", isTwo ? "" : second, first));
        };
        EXPECT_EQ(mode.both, read(kDel, kDel).result);
        EXPECT_EQ("||", Texts(read(kDel, kDel)));
        EXPECT_EQ(mode.both, read("00000", "00000").result);
        EXPECT_EQ(mode.first, read(kDel, "12").result);
        EXPECT_EQ(mode.second, read("12", kDel).result);
        EXPECT_EQ(mode.second, read("12", "00000").result);
        EXPECT_EQ(0, read("12", "34").result);
    }
}

TEST(MagneticRead, TwoTracksEmptyInDifferentWaysAreJudgedOneByOne)
{
    const ReadResult read = ReadOnce(12, kRead12, Swipe("00000", "", kDel));
    EXPECT_EQ(-2001, read.result);
    EXPECT_EQ("|00000|", Texts(read)) << "track 1 alone is cleared";
    EXPECT_EQ("1 5 77", Lengths(read));
    const ReadResult other = ReadOnce(13, kRead13, Swipe("", kDel, "00000"));
    EXPECT_EQ(-2001, other.result);
    EXPECT_EQ("||\x7F", Texts(other));
    const ReadResult third = ReadOnce(23, kRead23,
                                      ESC "s\x7F"
                                          "A00000" END);
    EXPECT_EQ(-2002, third.result);
    EXPECT_EQ("||00000", Texts(third));
}

TEST(MagneticRead, Mode23)
{
    EXPECT_EQ(-2004, ReadOnce(23, kRead23,
                              ESC "s\x7F"
                                  "A\x7F" END)
                         .result);
    const ReadResult both = ReadOnce(23, kRead23, ESC "s00000A00000" END);
    EXPECT_EQ(-2004, both.result);
    EXPECT_EQ("||", Texts(both));
    EXPECT_EQ("77 5 5", Lengths(both));
    EXPECT_EQ(-2002, ReadOnce(23, kRead23,
                              ESC "s\x7F"
                                  "A12" END)
                         .result);
    EXPECT_EQ(-2003, ReadOnce(23, kRead23, ESC "s12A00000" END).result);
}

TEST(MagneticRead, Mode123TellsWhichTracksAreEmpty)
{
    const struct
    {
        const char *one;
        const char *two;
        const char *three;
        int result;
        const char *texts;
    } kRows[] = {
        {kDel, kDel, kDel, -2000, "||"},
        {"00000", "00000", "00000", -2000, "||"},
        {kDel, kDel, "3", -2106, "||3"},
        {kDel, kDel, "00000", -2106, "||00000"},
        {"00000", "2", "00000", -2107, "|2|"},
        {"1", kDel, kDel, -2004, "1||"},
        {"00000", kDel, kDel, -2004, "00000||"},
        {kDel, "00000", "3", -2001, "|00000|3"},
        {kDel, "2", "3", -2001, "|2|3"},
        {"1", kDel, "3", -2002, "1||3"},
        {"1", "00000", kDel, -2002, "1||\x7F"},
        {"1", "2", "00000", -2003, "1|2|"},
        {"1", "2", "3", 0, "1|2|3"},
    };
    for (const auto &row : kRows)
    {
        const ReadResult read = ReadOnce(123, kRead123, Swipe(row.two, row.three, row.one));
        EXPECT_EQ(row.result, read.result) << row.texts;
        EXPECT_EQ(row.texts, Texts(read));
    }
}

TEST(MagneticRead, AReplyThatMakesNoSenseGivesTheModesCode)
{
    EXPECT_EQ(-2001, ReadOnce(1, kRead1, "12" END).result);
    EXPECT_EQ(-2002, ReadOnce(2, kRead2, "12" END).result);
    EXPECT_EQ(-2003, ReadOnce(3, kRead3, "12" END).result);
    EXPECT_EQ(-2106, ReadOnce(12, kRead12, "12" END).result);
    EXPECT_EQ(-2107, ReadOnce(13, kRead13, "12" END).result);
    EXPECT_EQ(-2004, ReadOnce(23, kRead23, "12" END).result);
    EXPECT_EQ(-2000, ReadOnce(123, kRead123, "12" END).result);
}

TEST(MagneticRead, NoSwipeInTimeGives1004)
{
    ScriptedReader reader;
    reader.script.rows = {{kRead2, ""}, {kReset, ""}};
    reader.PlugAndOpen();
    ReadResult read;
    EXPECT_EQ(-1004, Read(reader.library, 2, &read, 1));
    EXPECT_EQ("77 0 77", Lengths(read)) << "the length is written whatever came";
    EXPECT_EQ("Error:ReadTrack Error!\r\nError:iErrorCode = -62\r\n", reader.BusinessLog());
}

TEST(MagneticRead, AFailedReadJudgesWhatTheBuffersHeld)
{
    ScriptedReader reader;
    reader.script.rows = {{kRead2, "no" END}, {kReset, ""}, {kRead23, "no" END}, {kReset, ""}};
    reader.PlugAndOpen();
    ReadResult read;
    strcpy(read.two.text, "00000");
    EXPECT_EQ(-2002, Read(reader.library, 2, &read));
    EXPECT_EQ("", std::string(read.two.text));
    EXPECT_EQ(5u, read.two.length);
    strcpy(read.three.text, "00000"); // the failed read itself would be -2004
    EXPECT_EQ(-2003, Read(reader.library, 23, &read));
}

TEST(MagneticRead, AModeThatThereIsNotSendsNothingAndJudgesAllTracks)
{
    ScriptedReader reader;
    reader.script.rows = {{kReset, ""}, {kReset, ""}};
    reader.PlugAndOpen();
    ReadResult read;
    strcpy(read.one.text, "1");
    EXPECT_EQ(0, Read(reader.library, 7, &read));
    EXPECT_EQ("1 0 0", Lengths(read));
    strcpy(read.two.text, "00000");
    EXPECT_EQ(-2002, Read(reader.library, 0, &read));
    EXPECT_EQ("1 5 0", Lengths(read));
}

TEST(MagneticRead, NeedsBufferAndLengthOfItsTracks)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    const auto read = CALL(reader.library, BO_ReadMagCard);
    char text[8] = {};
    uint32_t length = 77;
    struct Call
    {
        uint32_t mode;
        std::vector<int> tracks;
    };
    const Call kCalls[] = {{1, {1}},     {2, {2}},     {3, {3}},         {12, {1, 2}},
                           {13, {1, 3}}, {23, {2, 3}}, {123, {1, 2, 3}}, {7, {1, 2, 3}}};
    int refused = 0;
    for (const Call &call : kCalls)
        for (int missing : call.tracks)
            for (bool withoutText : {true, false})
            {
                char *texts[] = {text, text, text};
                uint32_t *lengths[] = {&length, &length, &length};
                if (withoutText)
                    texts[missing - 1] = nullptr;
                else
                    lengths[missing - 1] = nullptr;
                EXPECT_EQ(-1007, read(0, call.mode, 8, texts[0], lengths[0], 8, texts[1],
                                      lengths[1], 8, texts[2], lengths[2], 5))
                    << call.mode << " without " << missing;
                refused++;
            }
    reader.Finish();
    std::string log;
    for (int i = 0; i < refused; i++)
        log += "Error:Track Error!\r\n";
    EXPECT_EQ(log, reader.BusinessLog());
    EXPECT_EQ(77u, length);
}

TEST(MagneticRead, OtherTracksMayBeMissing)
{
    ScriptedReader reader;
    const std::string reply = Swipe("12", "34", "56");
    reader.script.rows = {{kRead1, reply},
                          {kReset, ""},
                          {kRead2, ESC "s12A34" END},
                          {kReset, ""},
                          {kRead3, ESC "s12A34" END},
                          {kReset, ""}};
    reader.PlugAndOpen();
    const auto read = CALL(reader.library, BO_ReadMagCard);
    char text[8] = {};
    uint32_t length = 0;
    EXPECT_EQ(0, read(0, 1, 8, text, &length, 0, nullptr, nullptr, 0, nullptr, nullptr, 5));
    EXPECT_STREQ("56", text);
    memset(text, '#', sizeof text);
    EXPECT_EQ(0, read(0, 2, 0, nullptr, nullptr, 8, text, &length, 0, nullptr, nullptr, 5));
    EXPECT_EQ(0, memcmp(text, "12\0#", 4));
    memset(text, '#', sizeof text);
    EXPECT_EQ(0, read(0, 3, 0, nullptr, nullptr, 0, nullptr, nullptr, 8, text, &length, 5));
    EXPECT_EQ(0, memcmp(text, "34\0#", 4));
}

TEST(MagneticRead, AFullBufferIsMeasuredByItsRoom)
{
    ScriptedReader reader;
    reader.script.rows = {
        {kRead2, ESC "s123456789" END}, {kReset, ""}, {kRead2, ESC "s123456789" END}, {kReset, ""}};
    reader.PlugAndOpen();
    const auto read = CALL(reader.library, BO_ReadMagCard);
    char text[8];
    memset(text, '#', sizeof text);
    uint32_t length = 0;
    EXPECT_EQ(0, read(0, 2, 0, nullptr, nullptr, 4, text, &length, 0, nullptr, nullptr, 5));
    EXPECT_EQ("1234####", std::string(text, 8));
    EXPECT_EQ(4u, length);
    EXPECT_EQ(0, read(0, 2, 0, nullptr, nullptr, 0, text, &length, 0, nullptr, nullptr, 5));
    EXPECT_EQ("1234####", std::string(text, 8));
    EXPECT_EQ(0u, length);
}

TEST(MagneticRead, ANegativeTimeoutIsRefusedBeforeAnythingElse)
{
    ScriptedReader reader;
    reader.PlugAndOpen();
    EXPECT_EQ(-1007, CALL(reader.library, BO_ReadMagCard)(0, 2, 0, nullptr, nullptr, 0, nullptr,
                                                          nullptr, 0, nullptr, nullptr, -1));
    reader.Finish();
    EXPECT_EQ("Error:Timeout Error!\r\n", reader.BusinessLog());
}

TEST(MagneticRead, BoCancelEndsTheWaitForASwipe)
{
    ScriptedReader reader;
    reader.script.rows = {{kRead2, ""}, {kReset, ""}};
    reader.PlugAndOpen();
    std::atomic<bool> done{false};
    std::thread canceller(
        [&]
        {
            while (!done)
                CALL(reader.library, BO_Cancel)();
        });
    ReadResult read;
    EXPECT_EQ(-1006, Read(reader.library, 2, &read, 0));
    done = true;
    canceller.join();
}

TEST(MagneticRead, WithoutADeviceItGives1003)
{
    HostLibrary closed;
    ReadResult read;
    EXPECT_EQ(-1003, Read(closed, 2, &read));
}

TEST(MagneticRead, AStripeWithEveryByteValue)
{
    std::string all;
    for (int byte = 1; byte < 256; byte++)
        if (byte != 'A' && byte != '%')
            all += static_cast<char>(byte);
    const std::string low = all.substr(0, 200);
    const std::string high = all.substr(200);
    const ReadResult first = ReadOnce(2, kRead2, ESC "s" + low + END);
    EXPECT_EQ(0, first.result);
    EXPECT_EQ(low, first.two.text);
    const ReadResult second =
        ReadOnce(123, kRead123, ESC "s" + high + "A" + high + "%" + high + END);
    EXPECT_EQ(high + "|" + high + "|" + high, Texts(second));
}
