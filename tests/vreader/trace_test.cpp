// The trace's lines, as an engineer reads them.
#include "vreader/bench.h"
#include "vreader/trace.h"

#include <mutex>

using namespace vreader_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

// The lines of the trace without their times.
std::vector<std::string> Lines(const Bench &bench)
{
    std::vector<std::string> lines;
    std::string rest = bench.Trace();
    for (size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n'))
    {
        lines.push_back(rest.substr(0, end));
        rest.erase(0, end + 1);
    }
    lines.erase(lines.begin());
    for (std::string &line : lines)
    {
        EXPECT_THAT(line.substr(0, 14), testing::MatchesRegex("..:..:..\\....  "));
        line.erase(0, 14);
    }
    return lines;
}

} // namespace

TEST(TraceLine, CardCommandsAndStatusWordsAreNamed)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002E10182\003");
    host.Exchange("6007E30100B2010C003A\003");
    host.Exchange("6002E20181\003");
    EXPECT_THAT(
        Lines(bench),
        ElementsAre(
            "host   -> reader  krel   IC power on slot 0                            E101",
            "reader -> host    krel   ATR of 4 bytes                                3B021450",
            "host   -> reader  krel   APDU READ RECORD 1 SFI 1                      00B2010C00",
            "reader -> host    krel   9000 success, 5 bytes                         70039F1F009000",
            "host   -> reader  krel   IC power off slot 0                           E201",
            "reader -> host    krel   done                                          00"));
}

TEST(TraceLine, ContactlessCommandsAreNamed)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("\00200043224000016\003");
    host.Exchange("\00200083226?\?00;20114004<\003");
    host.Exchange("\00200043225000017\003");
    EXPECT_THAT(
        Lines(bench),
        ElementsAre(
            "host   -> reader  union  IC power on contactless                       32240000",
            "reader -> host    union  ATR of 3 bytes                                3B8001",
            "host   -> reader  union  contactless APDU READ RECORD 1 SFI 2          00B2011400",
            "reader -> host    union  9000 success, 2 bytes                         77009000",
            "host   -> reader  union  IC power off contactless                      32250000",
            "reader -> host    union  done                                          0000"));
}

TEST(TraceLine, DeviceCommandsAreNamed)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("60028100E3\003");
    host.Exchange("\0020006?800::;;5544?8\003");
    host.Exchange("6021F25858585858585858585858585858585858585858585858585858585858585859B2\003");
    EXPECT_THAT(
        Lines(bench),
        ElementsAre(
            "host   -> reader  krel   device information                            8100",
            "reader -> host    krel   information of 8 bytes                        "
            "005245414445522037",
            "host   -> reader  union  device reset                                  F800AABB5544",
            "reader -> host    union  done                                          0000",
            "host   -> reader  krel   write serial number                           "
            "F25858585858585858585858585858585858585858585858585858585858585859",
            "reader -> host    krel   done                                          00"));
}

TEST(TraceLine, CardsPutInAndTakenOutAreRemarked)
{
    const Bench bench;
    bench.Control("remove contact");
    bench.Control("insert contact 2 other");
    bench.Control("speak krel");
    EXPECT_THAT(Lines(bench),
                ElementsAre("*                        card \"plain\" taken out, contact slot 0",
                            "*                        card \"other\" put in, contact slot 2",
                            "*                        framings spoken: krel"));
}

TEST(TraceLine, LongHexadecimalTextIsShortenedForTheTerminalOnly)
{
    const std::string head = "12:00:01.235  reader -> host    krel   9000 success, 28 bytes  ";
    EXPECT_EQ(vreader::Shortened(head + "0123456789ABCDEF0123456789ABCDEF01234567"),
              head + "0123456789ABCDEF0123456789ABCDEF01234567");
    EXPECT_EQ(vreader::Shortened(head + "0123456789ABCDEF0123456789ABCDEF0123456789"),
              head + "0123456789ABCDEF...6789");
    const std::string remark =
        "12:00:01.235  *  whatever_may_stand_here_that_is_no_hexadecimal_text";
    EXPECT_EQ(vreader::Shortened(remark), remark);
}

TEST(TraceCallback, GetsEveryLineInOrderBeforeAWaitIsOver)
{
    std::mutex lock;
    std::vector<std::string> lines;
    vreader::ReaderOptions options;
    options.trace = [&](const std::string &line)
    {
        const std::lock_guard<std::mutex> guard(lock);
        lines.push_back(line);
    };
    const Bench bench(options);
    const Host host(bench.Name());
    host.Exchange("60028100E3\003");
    bench.Control("wait 1");
    {
        const std::lock_guard<std::mutex> guard(lock);
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_THAT(lines[0], HasSubstr("host   -> reader"));
        EXPECT_THAT(lines[1], HasSubstr("reader -> host"));
    }
    bench.Control("remove contact");
    host.Exchange("6002E10182\003");
    bench.Control("wait 2");
    const std::lock_guard<std::mutex> guard(lock);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_THAT(lines[2], HasSubstr("taken out"));
}

TEST(TraceCallback, MayUseTheControlLanguage)
{
    vreader::RunningReader *reader = nullptr;
    std::mutex lock;
    std::string waited;
    vreader::ReaderOptions options;
    options.profileText = kProfile;
    options.trace = [&](const std::string &line)
    {
        const std::lock_guard<std::mutex> guard(lock);
        if (line.find("beep") == std::string::npos)
            return;
        waited = vreader::Control(reader, "wait 5");
        vreader::Control(reader, "remove contact");
        vreader::Control(reader, "unplug");
    };
    std::string error;
    {
        const std::lock_guard<std::mutex> guard(lock);
        reader = vreader::StartReader(options, &error);
    }
    const Host host(vreader::TerminalName(reader));
    host.Write("\0020005311301010123\003");
    vreader::Control(reader, "wait 1");
    EXPECT_EQ(waited, "error: the reader's own thread cannot wait for itself");
    EXPECT_THAT(vreader::Control(reader, "info"), HasSubstr("\"contact\":{}"));
    char byte = 0;
    while (read(host.descriptor, &byte, 1) > 0)
    {
    }
    EXPECT_EQ(vreader::TerminalName(reader), "") << "the line has been closed";
    vreader::StopReader(reader);
}
