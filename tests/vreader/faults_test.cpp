// Faults: what becomes of the answer, byte by byte, and that the next one is whole again.
#include "vreader/bench.h"

#include <chrono>

using namespace vreader_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr char kInformation[] = "60028100E3\003";
constexpr char kInformationAnswer[] = "60090052454144455220377B\003";

} // namespace

TEST(Fault, SilenceWithholdsTheAnswerAndServesTheCommand)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault silence"), "ok");
    host.Write("\0020005311301010123\003");
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"beeps\":1"));
    EXPECT_THAT(bench.Trace(), HasSubstr("reader -> host    union  no answer (fault silence)"));
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
}

TEST(Fault, DelayHoldsTheAnswerBack)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault delay 60"), "ok");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
    EXPECT_THAT(bench.Trace(), HasSubstr("(fault delay 60)"));
}

TEST(Fault, ControlWorksWhileAnAnswerIsHeldBack)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("fault delay 60000");
    host.Write("6002E10182\003");
    EXPECT_EQ(bench.Control("wait bytes 11"), "ok");
    EXPECT_EQ(bench.Control("remove contact"), "ok");
    EXPECT_EQ(bench.Control("exchanges"), "ok 0");
}

TEST(Fault, NoiseStandsInFront)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault noise 00ff41"), "ok");
    EXPECT_EQ(host.Exchange(kInformation), std::string("\0\377A", 3) + kInformationAnswer);
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
}

TEST(Fault, CutAnswerComesInPiecesThatTheHostTakesOneByOne)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault cut 5"), "ok");
    host.Write(kInformation);
    // 60 09 00 52 45 41 44 45 52 20 37 check, 03: 25 bytes.
    std::vector<std::string> pieces;
    std::string all;
    while (all.empty() || all.back() != '\003')
    {
        pieces.push_back(host.ReadSome());
        ASSERT_NE(pieces.back(), "");
        EXPECT_EQ(pieces.back().size() % 5, 0u);
        all += pieces.back();
    }
    EXPECT_EQ(all, kInformationAnswer);
    EXPECT_GT(pieces.size(), 1u) << "a slow host may find two pieces at once, but not all";
}

TEST(Fault, CutAnswerComesToAHostThatDoesNotReadAsWell)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault cut 13"), "ok");
    host.Write(kInformation);
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_EQ(host.ReadExactly(25), kInformationAnswer);
}

TEST(Fault, TruncatedAnswerLacksItsEnd)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault truncate"), "ok");
    host.Write(kInformation);
    bench.Control("wait 1");
    const std::string whole = kInformationAnswer;
    EXPECT_EQ(host.ReadSome(), whole.substr(0, 24));
    ASSERT_EQ(bench.Control("fault truncate 3"), "ok");
    host.Write(kInformation);
    bench.Control("wait 2");
    EXPECT_EQ(host.ReadSome(), "600");
    ASSERT_EQ(bench.Control("fault truncate 1000"), "ok");
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer) << "shorter than that already";
}

TEST(Fault, CheckByteIsWrongInBothFramings)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault check count 2"), "ok");
    // The right check of 60 01 A1 is C0, that of 10 09 is 19; all bits are turned over.
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A13F\003");
    EXPECT_EQ(host.Exchange("\0020002550154\003"), "\002"
                                                   "00021009>6"
                                                   "\003");
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A1C0\003");
}

TEST(Fault, StatusReplacesTheWholePayload)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("fault status 55AABB");
    EXPECT_EQ(host.Exchange("6002E10182\003"), "600355AABB27\003");
    bench.Control("fault status 1003");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020002100313\003");
    EXPECT_EQ(host.Exchange("\002000832260000;2010<00:;\003"), "\0020009000070039?1?00900063\003")
        << "it was powered";
    EXPECT_THAT(bench.Trace(), HasSubstr("forced answer (fault status 55AABB)"));
}

TEST(Fault, StatusThatNoFrameCanCarryIsNotAnswered)
{
    const Bench bench;
    const Host host(bench.Name());
    std::string payload;
    for (int i = 0; i < 255; ++i)
        payload += "A1"; // the long form has no room for a status other than 0
    ASSERT_EQ(bench.Control("fault status " + payload), "ok");
    host.Write(kInformation);
    bench.Control("wait 1");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Trace(), HasSubstr("no frame can carry the forced answer"));
}

TEST(Fault, RawAnswerHasNoFrame)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("fault raw 363003");
    EXPECT_EQ(host.Exchange(kInformation), "60\003");
}

TEST(Fault, FloodHasNoEnd)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("fault flood 100000");
    host.Write(kInformation);
    EXPECT_EQ(host.ReadExactly(100000), std::string(100000, '\252'));
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
}

TEST(Fault, RestOfAFloodIsNotForTheNextHost)
{
    const Bench bench;
    {
        const Host host(bench.Name());
        bench.Control("fault flood 1000000");
        host.Write(kInformation);
        EXPECT_NE(host.ReadSome(), "") << "the flood has begun";
    }
    EXPECT_EQ(bench.Control("wait closed"), "ok");
    EXPECT_EQ(Host(bench.Name()).Exchange(kInformation), kInformationAnswer);
}

TEST(Fault, UnplugClosesTheLineInsteadOfAnAnswer)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("fault unplug");
    host.Write(kInformation);
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_EQ(bench.Name(), "");
    char byte = 0;
    EXPECT_LE(read(host.descriptor, &byte, 1), 0) << "the host's terminal is gone";
    EXPECT_THAT(bench.Control("plug"), StartsWith("ok /dev/pts/"));
    EXPECT_EQ(Host(bench.Name()).Exchange(kInformation), kInformationAnswer);
}

TEST(Fault, CountAndAfterChooseTheAnswers)
{
    const Bench bench;
    const Host host(bench.Name());
    ASSERT_EQ(bench.Control("fault status A2 count 2 after 1"), "ok");
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
    EXPECT_EQ(host.Exchange(kInformation), "6001A2C3\003");
    EXPECT_EQ(host.Exchange(kInformation), "6001A2C3\003");
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
    ASSERT_EQ(bench.Control("fault status A2 count 0"), "ok");
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(host.Exchange(kInformation), "6001A2C3\003");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"faults\":[\"status A2\"]"));
    ASSERT_EQ(bench.Control("fault clear"), "ok");
    EXPECT_EQ(host.Exchange(kInformation), kInformationAnswer);
}

TEST(Fault, SeveralHitOneAnswer)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("fault noise 41");
    bench.Control("fault check");
    bench.Control("fault status A1");
    EXPECT_EQ(host.Exchange(kInformation), "A6001A13F\003");
    EXPECT_THAT(bench.Trace(), HasSubstr("(fault noise 41, check, status A1)"));
}

TEST(Fault, EscapeAnswersSufferToo)
{
    const Bench bench(R"({"reader": {"modeAnswer": "4F4B"}})");
    const Host host(bench.Name());
    bench.Control("fault truncate");
    host.Write("\033$B0");
    bench.Control("wait 1");
    EXPECT_EQ(bench.Control("sent"), "ok 4F");
}

TEST(Fault, WrongOnesAreRefused)
{
    const Bench bench;
    for (const char *line : {"fault",
                             "fault nothing",
                             "fault delay",
                             "fault delay x",
                             "fault delay 60001",
                             "fault delay -1",
                             "fault noise",
                             "fault noise 4",
                             "fault noise GG",
                             "fault cut 0",
                             "fault truncate 0",
                             "fault status",
                             "fault raw",
                             "fault flood 0",
                             "fault flood 1000001",
                             "fault silence 3",
                             "fault silence count",
                             "fault silence count x",
                             "fault silence times 3",
                             "fault check count 1 after",
                             "fault delay 99999999999999999999"})
        EXPECT_THAT(bench.Control(line), StartsWith("error: ")) << line;
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"faults\":[]"));
}
