// The control language, line by line.
#include "vreader/bench.h"

#include <thread>

using namespace vreader_test;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr char kInformation[] = "60028100E3\003";
constexpr char kPowerOn[] = "6002E10182\003";

} // namespace

TEST(Insert, RefusesAPlaceThatIsTaken)
{
    const Bench bench;
    EXPECT_EQ(bench.Control("insert contact other"),
              "error: contact slot 0 holds \"plain\"; remove it or use swap");
    EXPECT_EQ(bench.Control("insert contactless other"),
              "error: contactless holds \"near\"; remove it or use swap");
    EXPECT_EQ(bench.Control("insert contact 31 other"), "ok");
    EXPECT_EQ(bench.Control("insert contact 31 other"),
              "error: contact slot 31 holds \"other\"; remove it or use swap");
}

TEST(Insert, TakesADescriptionInJson)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("remove contact");
    EXPECT_EQ(bench.Control(R"(insert contact {"kind": "transcript", "label": "my own",)"
                            R"( "atr": "3B99", "exchanges": []})"),
              "ok");
    EXPECT_EQ(host.Exchange(kPowerOn), "6003003B99C1\003");
    EXPECT_THAT(bench.Control("info"),
                HasSubstr(R"("contact":{"0":{"card":"my own","powered":true}})"));
}

TEST(Insert, CardNamesMayHoldBlanksAndDigits)
{
    const Bench bench(R"({"cards": {"7": {"kind": "transcript", "exchanges": []},
                                    "my card 2": {"kind": "transcript", "exchanges": []}}})");
    EXPECT_EQ(bench.Control("insert contact 7"), "ok") << "the last word is the card";
    EXPECT_EQ(bench.Control("insert contact 7 7"), "ok");
    EXPECT_EQ(bench.Control("  insert   contact 3   my card 2  "), "ok");
    EXPECT_EQ(bench.Control("insert contactless 7"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr(R"("3":{"card":"my card 2","powered":false})"));
    EXPECT_THAT(bench.Control("info"), HasSubstr(R"("7":{"card":"7","powered":false})"));
}

TEST(Insert, WrongOnesAreRefused)
{
    const Bench bench;
    bench.Control("remove contact");
    for (const char *line :
         {"insert", "insert contact", "insert contactless", "insert card plain",
          "insert contact 32 plain", "insert contact nobody", "insert contact {",
          "insert contact {}", "insert contact {\"kind\": \"no such kind\"}", "insert contact 3"})
        EXPECT_THAT(bench.Control(line), StartsWith("error: ")) << line;
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"contact\":{}"));
    EXPECT_EQ(bench.Control("insert contact nobody"), "error: no card \"nobody\" in the profile");
}

TEST(Insert, WorksWhileAHostWaitsForACard)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("remove contact");
    std::thread hand(
        [&]
        {
            EXPECT_EQ(bench.Control("wait 3"), "ok");
            EXPECT_EQ(bench.Control("insert contact other"), "ok");
        });
    std::string answer = "6001FB9A\003";
    for (int attempt = 0; attempt < 100000 && answer == "6001FB9A\003"; ++attempt)
        answer = host.Exchange(kPowerOn);
    hand.join();
    EXPECT_EQ(answer, "6003003B0058\003");
}

TEST(Remove, OfNothingIsRefused)
{
    const Bench bench;
    EXPECT_EQ(bench.Control("remove contact"), "ok");
    EXPECT_EQ(bench.Control("remove contact"), "error: contact slot 0 is empty");
    EXPECT_EQ(bench.Control("remove contact 4"), "error: contact slot 4 is empty");
    EXPECT_EQ(bench.Control("remove contactless"), "ok");
    EXPECT_EQ(bench.Control("remove contactless"), "error: contactless is empty");
    EXPECT_THAT(bench.Control("remove"), StartsWith("error: "));
    EXPECT_THAT(bench.Control("remove contact 32"), StartsWith("error: "));
    bench.Control("insert contact plain");
    EXPECT_THAT(bench.Control("remove contact 0 plain"), StartsWith("error: "));
    EXPECT_THAT(bench.Control("info"), HasSubstr("plain")) << "a refused line does nothing";
}

TEST(Swap, PutsACardInWithOrWithoutOneThere)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("swap contact other"), "ok");
    EXPECT_EQ(host.Exchange(kPowerOn), "6003003B0058\003");
    bench.Control("remove contact");
    EXPECT_EQ(bench.Control("swap contact plain"), "ok");
    EXPECT_EQ(bench.Control("swap contactless other"), "ok");
    EXPECT_EQ(host.Exchange("6001D1B0\003"), "6003003B0058\003");
    EXPECT_THAT(bench.Control("swap contact nobody"), StartsWith("error: "));
    EXPECT_EQ(host.Exchange(kPowerOn), "6005003B02145018\003") << "a refused swap changes nothing";
}

TEST(CardStatus, IsInjectedForAPrefixAndACount)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange(kPowerOn);
    ASSERT_EQ(bench.Control("card contact status 00B2 6283 2"), "ok");
    EXPECT_EQ(host.Exchange("6007E30180CA9F360066\003"), "6003006A8881\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "600300628382\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "600300628382\003");
    EXPECT_EQ(host.Exchange("6007E30100B2010C003A\003"), "60080070039F1F0090000B\003");
    ASSERT_EQ(bench.Control("card contact 0 status - 6F00"), "ok");
    EXPECT_EQ(host.Exchange("6007E30180CA9F360066\003"), "6003006F000C\003");
    EXPECT_EQ(host.Exchange("6007E30180CA9F360066\003"), "6003006A8881\003")
        << "one command by default";
    host.Exchange("6001D1B0\003");
    ASSERT_EQ(bench.Control("card contactless status 00B2 6A81 0"), "ok");
    EXPECT_EQ(host.Exchange("6006D300B201140012\003"), "6003006A8188\003");
    EXPECT_EQ(host.Exchange("6006D300B201140012\003"), "6003006A8188\003");
}

TEST(CardStatus, WrongOnesAreRefused)
{
    const Bench bench;
    for (const char *line :
         {"card", "card contact", "card contact status", "card contact status 00B2",
          "card contact status 00B2 90", "card contact status 00B2 900000",
          "card contact status 0 9000", "card contact status 00 9000 x",
          "card contact status 00 9000 1 1", "card contact 3 status 00 9000",
          "card contact 32 status 00 9000", "card contact state 00 9000"})
        EXPECT_THAT(bench.Control(line), StartsWith("error: ")) << line;
}

TEST(Cards, AreListed)
{
    const Bench bench;
    EXPECT_EQ(bench.Control("cards"), R"(ok ["near","other","plain"])");
}

TEST(Speak, SilencesAFramingWithoutServingIt)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("speak krel"), "ok");
    host.Write("\0020005311301010123\003");
    bench.Control("wait 1");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"beeps\":0"));
    EXPECT_THAT(bench.Trace(), HasSubstr("union  beep 1 1 1 (framing not spoken)"));
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A1C0\003");

    EXPECT_EQ(bench.Control("speak union"), "ok");
    bench.Control("sent clear");
    host.Write("6002550136\003");
    bench.Control("wait 3");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_EQ(host.Exchange("\0020002550154\003"), "\0020002100919\003");

    EXPECT_EQ(bench.Control("speak none"), "ok");
    bench.Control("wait 4");
    bench.Control("sent clear");
    host.Write("6002550136\003\0020002550154\003");
    bench.Control("wait 6");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    host.Write("\033$B0");
    bench.Control("wait 7");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"mode\":\"B\""))
        << "escape sequences belong to no framing";

    EXPECT_EQ(bench.Control("speak both"), "ok");
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A1C0\003");
    EXPECT_EQ(host.Exchange("\0020002550154\003"), "\0020002100919\003");
    EXPECT_THAT(bench.Control("speak"), StartsWith("error: "));
    EXPECT_THAT(bench.Control("speak french"), StartsWith("error: "));
}

TEST(Unplug, HangsTheHostsTerminalUpAndPlugOpensAnother)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange(kPowerOn);
    host.Exchange("6002BB04DD\003");
    EXPECT_EQ(bench.Control("unplug"), "ok");
    char byte = 0;
    EXPECT_LE(read(host.descriptor, &byte, 1), 0);
    EXPECT_LT(write(host.descriptor, &byte, 1), 0);
    EXPECT_EQ(bench.Name(), "");
    EXPECT_EQ(bench.Control("unplug"), "error: the line is closed already");

    const std::string plugged = bench.Control("plug");
    EXPECT_EQ(plugged, "ok " + bench.Name());
    EXPECT_EQ(bench.Control("plug"), "error: the line is open already");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"baud\":9600,"));
    EXPECT_EQ(Host(bench.Name()).Exchange("6007E30100B2010C003A\003"), "6001A2C3\003")
        << "without power";
}

TEST(Unplug, EndsAnExchangeThatWaitsForItsAnswer)
{
    const Bench bench;
    const Host host(bench.Name());
    bench.Control("fault delay 60000");
    host.Write(kInformation);
    bench.Control("wait bytes 11");
    EXPECT_EQ(bench.Control("unplug"), "ok");
    EXPECT_EQ(bench.Control("wait 1"), "ok");
}

TEST(Quit, ClosesTheLine)
{
    const Bench bench;
    EXPECT_EQ(bench.Control("quit"), "ok");
    EXPECT_EQ(bench.Name(), "");
    EXPECT_EQ(bench.Control("quit"), "ok");
}

TEST(Wait, CountsExchangesAndBytes)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("wait 0"), "ok");
    EXPECT_EQ(bench.Control("wait 1 0"), "error: time is over after 0 exchanges");
    EXPECT_EQ(bench.Control("wait bytes 1 10"), "error: time is over after 0 bytes");
    host.Write(kInformation);
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_EQ(bench.Control("exchanges"), "ok 1");
    host.Write("garbage");
    EXPECT_EQ(bench.Control("wait bytes 18"), "ok");
    EXPECT_EQ(bench.Control("exchanges"), "ok 1");
    for (const char *line :
         {"wait", "wait x", "wait bytes", "wait 1 x", "wait 1 1 1", "wait 1 3600001", "wait -1"})
        EXPECT_THAT(bench.Control(line), StartsWith("error: expected wait")) << line;
}

TEST(Received, HoldsEveryByteOfTheHost)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("received"), "ok ");
    host.Write("60028100E3\003\033%1xyz");
    bench.Control("wait bytes 17");
    EXPECT_EQ(bench.Control("received"), "ok 3630303238313030453303"
                                         "1B2531"
                                         "78797A");
    EXPECT_EQ(bench.Control("received clear"), "ok 3630303238313030453303"
                                               "1B2531"
                                               "78797A");
    EXPECT_EQ(bench.Control("received"), "ok ");
    EXPECT_THAT(bench.Control("received all"), StartsWith("error: "));
    EXPECT_THAT(bench.Control("received clear now"), StartsWith("error: "));
}

TEST(Sent, HoldsEveryByteToTheHost)
{
    const Bench bench;
    const Host host(bench.Name());
    host.Exchange("6002550136\003");
    EXPECT_EQ(bench.Control("sent"), "ok 363030314131433003");
    EXPECT_EQ(bench.Control("sent clear"), "ok 363030314131433003");
    EXPECT_EQ(bench.Control("sent"), "ok ");
}

TEST(Trace, CanBeReadFromANumberOn)
{
    const Bench bench;
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("trace"), "ok 0\n.");
    host.Exchange("6002550136\003");
    EXPECT_THAT(bench.Control("trace"), StartsWith("ok 2\n"));
    EXPECT_THAT(bench.Control("trace"), EndsWith("A1\n."));
    EXPECT_EQ(bench.Control("trace since 2"), "ok 2\n.");
    EXPECT_THAT(bench.Control("trace since 1"), HasSubstr("reader -> host"));
    EXPECT_THAT(bench.Control("trace since 1"), Not(HasSubstr("host   -> reader")));
    EXPECT_THAT(bench.Control("trace since"), StartsWith("error: "));
    EXPECT_THAT(bench.Control("trace since x"), StartsWith("error: "));
    EXPECT_THAT(bench.Control("trace from 1"), StartsWith("error: "));
    EXPECT_THAT(bench.Control("trace since 1 2"), StartsWith("error: "));
}

TEST(Info, IsOneLineOfJson)
{
    const Bench bench;
    EXPECT_EQ(bench.Control("info"),
              R"(ok {"baud":9600,"beeps":0,"contact":{"0":{"card":"plain","powered":false}},)"
              R"("contactless":{"card":"near","powered":false},"exchanges":0,"faults":[],)"
              R"("identity":{"baud":0,"card":"","state":""},)"
              R"("mode":"","port":"","serial":"SN0001","speaks":"both",)"
              R"("stripe":{"planned":0,"waits":""},"terminal":")" +
                  bench.Name() + "\"}");
    bench.Control("remove contactless");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"contactless\":null"));
}

TEST(ControlLine, UnknownAndOverlongOnesAreRefused)
{
    const Bench bench;
    EXPECT_EQ(bench.Control(""), "error: unknown command \"\"");
    EXPECT_EQ(bench.Control("dance"), "error: unknown command \"dance\"");
    for (const char *line : {"unplug now", "plug it", "info all", "exchanges 2", "quit 1"})
        EXPECT_THAT(bench.Control(line), StartsWith("error: nothing may follow")) << line;
    EXPECT_EQ(bench.Control("cards 1"), "error: expected cards, cards identity or cards magnetic");
    EXPECT_NE(bench.Name(), "") << "a refused line does nothing";
}
