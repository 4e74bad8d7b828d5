// The pseudo-terminal as hosts find it: opened and closed, flooded, left in the middle.
#include "vreader/bench.h"

#include <chrono>
#include <termios.h>

using namespace vreader_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr char kInformation[] = "60028100E3\003";
constexpr char kInformationAnswer[] = "60090052454144455220377B\003";

std::string Repeated(const std::string &text, size_t count)
{
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

} // namespace

TEST(Terminal, IsRawWith8DataBitsAt9600Baud)
{
    const Bench bench;
    EXPECT_THAT(bench.Name(), StartsWith("/dev/pts/"));
    const Host host(bench.Name());
    termios settings = {};
    ASSERT_EQ(tcgetattr(host.descriptor, &settings), 0);
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0u);
    EXPECT_EQ(settings.c_iflag & (ICRNL | INLCR | IXON | ISTRIP), 0u);
    EXPECT_EQ(settings.c_oflag & OPOST, 0u);
    EXPECT_EQ(settings.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B9600));
}

TEST(Terminal, HostsMayComeAndGo)
{
    const Bench bench;
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(Host(bench.Name()).Exchange(kInformation), kInformationAnswer);
    EXPECT_EQ(bench.Control("wait 50"), "ok");
}

TEST(Terminal, AHostMayChangeItsSettings)
{
    const Bench bench;
    const Host host(bench.Name());
    termios settings = {};
    tcgetattr(host.descriptor, &settings);
    cfsetspeed(&settings, B115200);
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 1;
    ASSERT_EQ(tcsetattr(host.descriptor, TCSADRAIN, &settings), 0);
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
    EXPECT_THAT(bench.Trace(), HasSubstr("host's line runs at 115200 baud, the reader's at 9600"));
}

TEST(Terminal, WhatAHostLeftUnreadIsGoneForTheNextOne)
{
    const Bench bench;
    {
        const Host host(bench.Name());
        host.Write(kInformation);
        pollfd waiting = {host.descriptor, POLLIN, 0};
        EXPECT_EQ(poll(&waiting, 1, 5000), 1);
        bench.Control("wait 1");
        EXPECT_EQ(bench.Control("wait closed 0"), "error: time is over after 1 exchanges");
    }
    EXPECT_EQ(bench.Control("wait closed"), "ok");
    const Host next(bench.Name());
    EXPECT_EQ(next.Exchange("6002550136\003"), "6001A1C0\003");
}

TEST(Terminal, AHostThatVanishesMidCommandLeavesNothingBehind)
{
    const Bench bench;
    {
        const Host host(bench.Name());
        host.Write("\002"
                   "000331");
        bench.Control("wait bytes 7");
    }
    EXPECT_EQ(bench.Control("wait closed"), "ok");
    EXPECT_THAT(bench.Trace(), HasSubstr("in the middle of a command, after 7 bytes"));
    // The rest of that command, and then a whole one.
    const Host next(bench.Name());
    EXPECT_EQ(next.Exchange("110020\003" + std::string(kInformation)), kInformationAnswer);
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_EQ(bench.Control("exchanges"), "ok 1");
}

TEST(Terminal, TheNextHostsCommandIsFoundBehindAnUnfinishedOne)
{
    const Bench bench;
    const Host host(bench.Name()); // stays open: the line is never closed
    Host(bench.Name()).Write("60028100");
    bench.Control("wait bytes 8");
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
}

TEST(Terminal, GarbageIsPassedOverAndReported)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(host.Exchange("abc60\003" + std::string(kInformation)), kInformationAnswer);
    EXPECT_THAT(bench.Trace(), HasSubstr("6 bytes that are no command"));
    EXPECT_THAT(bench.Trace(), HasSubstr("616263363003"));
}

TEST(Terminal, AMegabyteOfGarbageEndsInAnAnswer)
{
    const Bench bench;
    const Host host(bench.Name());
    std::string garbage;
    for (unsigned i = 0, value = 1; i < 1048576; ++i, value = value * 1103515245u + 12345u)
        garbage += static_cast<char>(value >> 24);
    // What looks like a command in the noise may be answered: only the end of the answers counts.
    host.Write(garbage + kInformation);
    std::string answers;
    while (answers.size() < 25 || answers.substr(answers.size() - 25) != kInformationAnswer)
    {
        const std::string more = host.ReadSome();
        ASSERT_NE(more, "");
        answers += more;
    }
    EXPECT_EQ(bench.Control("wait bytes 1048587"), "ok");
    EXPECT_EQ(bench.Control("received").size(), 3 + 2 * 1048576u) << "the last megabyte is kept";
    EXPECT_THAT(bench.Control("trace since 0"), StartsWith("ok "));
}

TEST(Terminal, TheTraceKeepsTenThousandLines)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Write(Repeated("\033%1", 10005));
    EXPECT_EQ(bench.Control("wait 10005 60000"), "ok");
    const std::string trace = bench.Trace();
    EXPECT_THAT(trace, StartsWith("ok 10005\n"));
    EXPECT_EQ(std::count(trace.begin(), trace.end(), '\n'), 10001);
}

TEST(Terminal, AHostThatDoesNotReadIsAnsweredUntilTheLineIsFull)
{
    const Bench bench(R"({"cards": {"long": {"kind": "transcript", "atr": "3B00", "exchanges": [
                            {"cmd": "00B0000000", "rsp": ")" +
                      Repeated("5A", 250) + R"(9000"}]}}, "contact": "long"})");
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    const std::string read = "6007E30100B000000035\003";
    for (int i = 0; i < 40; ++i)
        host.Write(Repeated(read, 100));
    // 4000 answers of 513 bytes are more than the reader keeps for a host that does not read.
    EXPECT_EQ(bench.Control("wait bytes 84009 60000"), "ok");
    EXPECT_THAT(bench.Control("info"), StartsWith("ok {"));
    std::string all;
    while (bench.Control("wait 4001 0") != "ok")
        all += host.ReadSome(20);
    for (std::string more = host.ReadSome(500); !more.empty(); more = host.ReadSome(500))
        all += more;
    EXPECT_GT(all.size(), 1000000u);
    EXPECT_LT(all.size(), 4000u * 513u);
    EXPECT_EQ(all.size() % 513, 0u) << "answers are dropped whole";
    EXPECT_THAT(bench.Trace(), HasSubstr("no answer (dropped: the host does not read)"));
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A1C0\003");
}

TEST(WrongCheckByte, IsReportedAndNotAnswered)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Write("60028100E4\003\002"
               "000331110021"
               "\003");
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_EQ(bench.Control("exchanges"), "ok 1");
    EXPECT_THAT(bench.Trace(), HasSubstr("krel   wrong check byte E4, not E3"));
    EXPECT_THAT(bench.Trace(), HasSubstr("union  wrong check byte 21, not 20"));
}

TEST(Pace, BothDirectionsTakeTenBitTimesAByte)
{
    vreader::ReaderOptions options;
    options.pace = true;
    const Bench bench(options);
    const Host host(bench.Name());
    // 11 + 25 bytes of 10 bits at 9600 baud: 37.5 ms.
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(37500));

    // 11 + 9 bytes at 9600 baud: the answer to a baud change still comes at the old speed.
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(host.Exchange("6002BB04DD\003"), "60010061\003");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(20833));

    // 1000 bytes that are no command at 115200 baud: 86.8 ms; at 9600 baud they would take 1 s.
    bench.Control("wait 2");
    start = std::chrono::steady_clock::now();
    host.Write(std::string(1000, 'x'));
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::microseconds(89931)) << "1036 bytes";
    EXPECT_LT(taken, std::chrono::milliseconds(900)) << "the speed has not changed";
}

TEST(Pace, AnswersArriveWhileTheyAreBeingSent)
{
    vreader::ReaderOptions options;
    options.pace = true;
    const Bench bench(options);
    const Host host(bench.Name());
    bench.Control("fault noise " + Repeated("41", 300)); // more than 300 ms at 9600 baud
    host.Write(kInformation);
    EXPECT_LT(host.ReadSome().size(), 325u);
    EXPECT_EQ(host.ReadUntil('\003').back(), '\003');
}

TEST(Pace, HoldsForFaultsToo)
{
    vreader::ReaderOptions options;
    options.pace = true;
    const Bench bench(options);
    const Host host(bench.Name());
    bench.Control("fault noise 4142434445");
    bench.Control("fault cut 10");
    EXPECT_EQ(host.Exchange(kInformation), "ABCDE" + std::string(kInformationAnswer));
}
