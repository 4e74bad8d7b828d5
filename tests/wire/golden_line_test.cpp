// The scripted line itself: a test that relies on it must be able to fail.
#include "support/golden_line.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

using testing_support::FromHex;
using testing_support::GoldenLine;
using testing_support::ToHex;

namespace
{

struct Terminal
{
    int descriptor;
    explicit Terminal(const GoldenLine &line)
        : descriptor(open(line.path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
    }
    ~Terminal()
    {
        close(descriptor);
    }
    void Write(const std::string &bytes) const
    {
        ASSERT_EQ(write(descriptor, bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    // Until `size` bytes have come or the terminal is gone.
    std::string Read(size_t size) const
    {
        std::string bytes;
        char byte = 0;
        while (bytes.size() < size && read(descriptor, &byte, 1) == 1)
            bytes += byte;
        return bytes;
    }
};

// A line that expects one command and hears another.
void Play(const std::string &expected, const std::string &heard)
{
    GoldenLine line{{expected, ""}};
    Terminal(line).Write(heard);
    line.Finish();
}

} // namespace

TEST(GoldenLine, AnswersEachCommandInTurn)
{
    GoldenLine line{{"60028100E3" ETX, "600100" ETX}, {ESC "S", "late", 1, 1}};
    const Terminal terminal(line);
    terminal.Write("60028100E3" ETX);
    EXPECT_EQ(terminal.Read(7), "600100" ETX);
    terminal.Write(ESC "S");
    EXPECT_EQ(terminal.Read(4), "late");
}

TEST(GoldenLine, FirstAnswerWithoutCommandLiesReady)
{
    const GoldenLine line{{"", "ready"}, {"x", ""}};
    const Terminal terminal(line);
    pollfd ready{terminal.descriptor, POLLIN, 0};
    ASSERT_EQ(poll(&ready, 1, 0), 1);
    EXPECT_EQ(terminal.Read(5), "ready");
    terminal.Write("x");
}

TEST(GoldenLine, PrintsBothSidesOfTheFirstByteThatDiffers)
{
    EXPECT_NONFATAL_FAILURE(
        Play("\x01\x02\x03", "\x01\x02\x04"),
        "exchange 0 differs at byte 2:\n  expected 01 02 03 \n  heard    01 02 04");
}

TEST(GoldenLine, FailsOnBytesBehindTheScript)
{
    EXPECT_NONFATAL_FAILURE(Play("a", "ab"), "the script has ended, heard 62");
}

TEST(GoldenLine, FailsOnACommandThatNeverCame)
{
    EXPECT_NONFATAL_FAILURE(Play("ab", "a"),
                            "exchange 0 never came:\n  expected 61 62 \n  heard    61");
}

TEST(GoldenLine, HangsUpBehindAnAnswer)
{
    GoldenLine line{{"a", "b", 0, 0, true}};
    const Terminal terminal(line);
    terminal.Write("a");
    EXPECT_LE(terminal.Read(100).size(), 1U); // returns: the terminal is gone
}

TEST(GoldenLine, EndsWhileAHostDoesNotReadAFlood)
{
    GoldenLine line{{"a", std::string(100000, 'x')}, {"b", "never", 0, 60000}};
    const Terminal terminal(line);
    terminal.Write("a");
    terminal.Write("b");
    line.Finish();
}

TEST(GoldenLine, HexTextBothWays)
{
    EXPECT_EQ(FromHex("60 02\nfF"), "\x60\x02\xFF");
    EXPECT_EQ(ToHex("\x60\xFF"), "60 FF ");
}
