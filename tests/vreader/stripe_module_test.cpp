// The magnetic module on the line: reads and writes that wait for a swipe.
#include "vreader/bench.h"

#include <chrono>

using namespace vreader_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

constexpr char kCards[] = R"("magneticCards": {
    "bank": {"track1": "B6200^A/B^3012", "track2": "6200=3012", "track3": "996200=156"},
    "two": {"track2": "6200=3012"},
    "literal": {"track1": "\u007f", "track2": "00000", "track3": "5"},
    "damaged": {"track1": "B1", "track2": {"text": "6200=3012", "damaged": true},
                "track3": "996200=156"},
    "no2": {"track2": {"text": "1=1", "refusesWrites": true}, "track3": "2=2"},
    "no3": {"track2": "1=1", "track3": {"text": "2=2", "refusesWrites": true}},
    "no": {"track2": {"refusesWrites": true}, "track3": {"refusesWrites": true}},
    "raw": {"track2": "hex:00FF3F41", "readAnswer": "1B71", "writeAnswer": "1B427271"},
    "flood": {"readAnswer": "fill:1B"}})";

const std::string kProfileText = std::string("{") + kCards + "}";

std::string Profile(const std::string &more)
{
    return "{" + more + ", " + kCards + "}";
}

// A read or write command, a swipe while it waits, and the answer.
std::string Swiped(const Bench &bench, const Host &host, const std::string &command,
                   const std::string &card, size_t size)
{
    host.Write(command);
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_EQ(bench.Control("swipe " + card), "ok");
    return host.ReadExactly(size);
}

std::string Written(const Bench &bench, const Host &host, const std::string &text,
                    const std::string &card, size_t size)
{
    return Swiped(bench, host, "\033t" + text + "\x1D\033\\\033j", card, size);
}

} // namespace

TEST(StripeRead, EveryModeHasItsTracksInTheModulesOrder)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    EXPECT_EQ(Swiped(bench, host, "\033A]", "bank", 19), "\033s%B6200^A/B^3012?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033]", "bank", 13), "\033s6200=3012?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033T]", "bank", 15), "\033sA996200=156?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033D]", "bank", 28), "\033s6200=3012%B6200^A/B^3012?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033E]", "bank", 30), "\033sA996200=156%B6200^A/B^3012?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033B]", "bank", 24), "\033s6200=3012A996200=156?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033F]", "bank", 39),
              "\033s6200=3012A996200=156%B6200^A/B^3012?\x1C");
}

TEST(StripeRead, EmptyTracksReadDel)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    EXPECT_EQ(Swiped(bench, host, "\033F]", "two", 17), "\033s6200=3012A\x7F%\x7F?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033A]", "two", 6), "\033s%\x7F?\x1C");
    EXPECT_EQ(Swiped(bench, host, "\033D]", "literal", 11), "\033s00000%\x7F?\x1C");
}

TEST(StripeRead, EmptyTracksReadWhatTheProfileSays)
{
    const Bench zeros(Profile(R"("reader": {"emptyTrack": "zeros"})"));
    EXPECT_EQ(Swiped(zeros, Host(zeros.Name()), "\033T]", "two", 10), "\033sA00000?\x1C");
    const Bench nothing(Profile(R"("reader": {"emptyTrack": "nothing"})"));
    EXPECT_EQ(Swiped(nothing, Host(nothing.Name()), "\033T]", "two", 5), "\033sA?\x1C");
}

TEST(StripeRead, ADamagedTrackReadsZeros)
{
    const Bench bench(kProfileText);
    EXPECT_EQ(Swiped(bench, Host(bench.Name()), "\033B]", "damaged", 20),
              "\033s00000A996200=156?\x1C");
}

TEST(StripeRead, RawAnswersAndRawTracksStandAsTheyAre)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    EXPECT_EQ(Swiped(bench, host, "\033]", "raw", 2), "\033q");
    EXPECT_EQ(Swiped(bench, host, "\033]", R"({"track2": "hex:00FF3F41"})", 8),
              std::string("\033s\0\xFF?A?\x1C", 8));
    EXPECT_EQ(Swiped(bench, host, "\033]", "flood", 65536), std::string(65536, '\033'));
}

TEST(StripeWrite, ConfirmsTheTracksOfTheText)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    EXPECT_EQ(Written(bench, host, "12345", "two", 3), "\033rp");
    EXPECT_EQ(Written(bench, host, "A99=1", "two", 4), "\033Trp");
    EXPECT_EQ(Written(bench, host, "6=7A8=9", "bank", 4), "\033Brp");
    EXPECT_EQ(Written(bench, host, "", "two", 3), "\033rp") << "an empty track 2";
}

TEST(StripeWrite, StaysOnTheCard)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    Written(bench, host, "12345=67A99=1", "two", 4);
    EXPECT_EQ(Swiped(bench, host, "\033B]", "two", 17), "\033s12345=67A99=1?\x1C");
    EXPECT_EQ(bench.Control("tracks two"), R"(ok {"1":null,"2":"12345=67","3":"99=1"})");
    Written(bench, host, "A", "two", 4);
    EXPECT_EQ(bench.Control("tracks two"), R"(ok {"1":null,"2":"12345=67","3":null})");
    EXPECT_EQ(bench.Control("tracks raw"), R"(ok {"1":null,"2":"hex:00FF3F41","3":null})");
    EXPECT_EQ(bench.Control("tracks nobody"), "error: no card \"nobody\" in magneticCards");
}

TEST(StripeWrite, RepairsADamagedTrack)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    Written(bench, host, "7=7", "damaged", 3);
    EXPECT_EQ(Swiped(bench, host, "\033]", "damaged", 7), "\033s7=7?\x1C");
}

TEST(StripeWrite, FailureNamesTheTrackAndTheOtherOneIsWritten)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    EXPECT_EQ(Written(bench, host, "5=5A6=6", "no2", 3), "\033rq");
    EXPECT_EQ(bench.Control("tracks no2"), R"(ok {"1":null,"2":"1=1","3":"6=6"})");
    EXPECT_EQ(Written(bench, host, "5=5A6=6", "no3", 4), "\033Trq");
    EXPECT_EQ(bench.Control("tracks no3"), R"(ok {"1":null,"2":"5=5","3":"2=2"})");
    EXPECT_EQ(Written(bench, host, "5=5A6=6", "no", 3), "\033rq");
    EXPECT_EQ(Written(bench, host, "5=5", "no2", 3), "\033rq");
    EXPECT_EQ(Written(bench, host, "A6=6", "no3", 4), "\033Trq");
    EXPECT_EQ(Written(bench, host, "A6=6", "raw", 4), "\033Brq") << "a forced answer";
}

TEST(StripeWrite, TextEndsAtItsMarkAndHoldsNoControlCharacters)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write("\033t12");
    EXPECT_EQ(bench.Control("wait bytes 4"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"waits\":\"\""));
    EXPECT_EQ(Swiped(bench, host, "3\x1D\033\\\033j", "two", 3), "\033rp");
    EXPECT_EQ(bench.Control("tracks two"), R"(ok {"1":null,"2":"123","3":null})");
    // Text that breaks off gives way to the command behind it.
    host.Write("\033t12\033]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"waits\":\"read track 2\""));
    host.Write("\0330");
    EXPECT_EQ(bench.Control("wait 3"), "ok");
    // One byte more than the longest write, and the longest.
    host.Write("\033t" + std::string(1018, '5') + "\x1D\033\\\033j");
    host.Write("\033t" + std::string(1017, '5') + "\x1D\033\\\033j");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"waits\":\"write track 2\""));
}

TEST(StripeWait, NothingIsSentBeforeTheSwipe)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write("\033B]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_EQ(bench.Control("exchanges"), "ok 0");
    EXPECT_THAT(bench.Control("info"),
                HasSubstr(R"("stripe":{"planned":0,"waits":"read tracks 2, 3"})"));
    EXPECT_EQ(bench.Control("swipe bank"), "ok");
    EXPECT_EQ(host.ReadExactly(24), "\033s6200=3012A996200=156?\x1C");
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"waits\":\"\""));
    EXPECT_THAT(bench.Trace(), HasSubstr("card \"bank\" swiped"));
    EXPECT_THAT(bench.Trace(), HasSubstr("esc    read tracks 2, 3 "));
}

TEST(StripeWait, ASwipeWithoutACallIsRefused)
{
    const Bench bench(kProfileText);
    EXPECT_EQ(bench.Control("swipe bank"),
              "error: no call waits for a swipe (swipe next CARD is for the call to come)");
    EXPECT_EQ(bench.Control("swipe nobody"), "error: no card \"nobody\" in magneticCards");
    EXPECT_EQ(bench.Control("swipe"), "error: which card?");
    EXPECT_EQ(bench.Control("swipe {\"track4\": \"1\"}"),
              "error: track4: unknown key; known here are label, track1, track2, track3, "
              "readAnswer, writeAnswer");
    EXPECT_EQ(bench.Control("wait swipe 1"), "error: time is over after 0 exchanges");
}

TEST(StripeWait, AResetEndsItUnanswered)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write("\033B]\0330");
    EXPECT_EQ(bench.Control("wait 2"), "ok") << "the call and the reset";
    EXPECT_THAT(bench.Control("swipe bank"), StartsWith("error: no call waits"));
    EXPECT_EQ(bench.Control("sent"), "ok ");
    EXPECT_THAT(bench.Trace(), HasSubstr("no card was swiped before the next command"));
}

TEST(StripeWait, TheReadersOwnResetsEndItToo)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write("\033B]\033S");
    EXPECT_EQ(bench.Control("wait 2"), "ok");
    EXPECT_THAT(bench.Control("swipe bank"), StartsWith("error: no call waits"));
    host.Write("\033B]");
    EXPECT_EQ(host.Exchange("\0020006?800::;;5544?8\003"), "\0020002000000\003");
    EXPECT_THAT(bench.Control("swipe bank"), StartsWith("error: no call waits"));
}

TEST(StripeWait, ANewCallTakesTheOldOnesPlace)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write("\033B]\033]");
    EXPECT_EQ(bench.Control("wait 1"), "ok") << "the first call is over";
    EXPECT_EQ(bench.Control("swipe bank"), "ok");
    EXPECT_EQ(host.ReadExactly(13), "\033s6200=3012?\x1C");
}

TEST(StripeWait, OtherCommandsAreServedMeanwhile)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write("\033]");
    EXPECT_EQ(host.Exchange("6002550136\003"), "6001A1C0\003");
    EXPECT_EQ(bench.Control("swipe bank"), "ok");
    EXPECT_EQ(host.ReadExactly(13), "\033s6200=3012?\x1C");
}

TEST(StripeWait, EndsWhenTheHostCloses)
{
    const Bench bench(kProfileText);
    Host host(bench.Name());
    host.Write("\033B]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    host.Close();
    EXPECT_EQ(bench.Control("wait closed"), "ok");
    EXPECT_EQ(bench.Control("wait 1"), "ok");
    EXPECT_THAT(bench.Control("swipe bank"), StartsWith("error: no call waits"));
    EXPECT_THAT(bench.Trace(), HasSubstr("the host closed the line before a card was swiped"));
}

TEST(StripeWait, EndsWhenTheLineIsUnplugged)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    host.Write("\033B]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_EQ(bench.Control("unplug"), "ok");
    EXPECT_THAT(bench.Control("swipe bank"), StartsWith("error: no call waits"));
    EXPECT_EQ(bench.Control("wait 1"), "ok");
}

TEST(PlannedSwipe, IsMetByTheNextCallAndByNoOther)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("swipe next two"), "ok");
    EXPECT_EQ(bench.Control("swipe next 5 bank"), "ok");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"planned\":2"));
    host.Write("\033T]");
    EXPECT_EQ(host.ReadExactly(6), "\033sA\x7F?\x1C");
    host.Write("\033T]");
    EXPECT_EQ(host.ReadExactly(15), "\033sA996200=156?\x1C");
    bench.Control("sent clear");
    host.Write("\033T]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_EQ(bench.Control("sent"), "ok ");
}

TEST(PlannedSwipe, ComesAfterItsTime)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("swipe next 60 two"), "ok");
    const auto start = std::chrono::steady_clock::now();
    host.Write("\033]");
    EXPECT_EQ(host.ReadExactly(13), "\033s6200=3012?\x1C");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(55));
}

TEST(PlannedSwipe, IsUsedUpByACallThatEndsBefore)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    bench.Control("swipe next 60000 two");
    bench.Control("swipe next bank");
    host.Write("\033]\0330");
    EXPECT_EQ(bench.Control("wait 2"), "ok");
    host.Write("\033T]");
    EXPECT_EQ(host.ReadExactly(15), "\033sA996200=156?\x1C");
}

TEST(PlannedSwipe, GivesWayToOneThatComesNow)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    bench.Control("swipe next 60000 two");
    EXPECT_EQ(Swiped(bench, host, "\033T]", "bank", 15), "\033sA996200=156?\x1C");
    EXPECT_THAT(bench.Control("info"), HasSubstr("\"planned\":0"));
}

TEST(PlannedSwipe, CardMayBeCalledNextOrHaveDigitsForAName)
{
    const Bench bench(R"({"magneticCards": {"next": {"track2": "1"}, "7": {"track2": "2"}}})");
    const Host host(bench.Name());
    EXPECT_EQ(bench.Control("swipe next 7"), "ok") << "the last word is the card";
    EXPECT_EQ(bench.Control("swipe next 1 7"), "ok");
    EXPECT_EQ(bench.Control("swipe next next"), "ok");
    for (const char *answer : {"\033s2?\x1C", "\033s2?\x1C", "\033s1?\x1C"})
    {
        host.Write("\033]");
        EXPECT_EQ(host.ReadExactly(5), answer);
    }
    EXPECT_EQ(bench.Control("cards magnetic"), "ok [\"7\",\"next\"]");
}

TEST(PlannedSwipe, ProfileListIsMetByOneCallAfterTheOther)
{
    const Bench bench(Profile(R"("swipes": [{"card": "damaged", "after": 5}, "bank"])"));
    const Host host(bench.Name());
    host.Write("\033]");
    EXPECT_EQ(host.ReadExactly(9), "\033s00000?\x1C");
    host.Write("\033]");
    EXPECT_EQ(host.ReadExactly(13), "\033s6200=3012?\x1C");
    host.Write("\033]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
}

TEST(PlannedSwipe, ASingleOneIsMetByEveryCallUntilClear)
{
    const Bench bench(Profile(R"("swipes": {"card": "two", "after": 1})"));
    const Host host(bench.Name());
    for (int i = 0; i < 3; ++i)
    {
        host.Write("\033]");
        EXPECT_EQ(host.ReadExactly(13), "\033s6200=3012?\x1C");
    }
    EXPECT_EQ(bench.Control("swipe clear"), "ok");
    host.Write("\033]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_EQ(bench.Control("exchanges"), "ok 3");
}

TEST(StripeFaults, FitTheModulesAnswers)
{
    const Bench bench(kProfileText);
    const Host host(bench.Name());
    bench.Control("fault status 1B7271");
    EXPECT_EQ(Written(bench, host, "1", "two", 3), "\033rq");
    EXPECT_EQ(bench.Control("tracks two"), R"(ok {"1":null,"2":"1","3":null})")
        << "carried out all the same";
    bench.Control("fault truncate");
    EXPECT_EQ(Swiped(bench, host, "\033]", "two", 4), "\033s1?");
    bench.Control("fault silence");
    host.Write("\033]");
    EXPECT_EQ(bench.Control("wait swipe"), "ok");
    EXPECT_EQ(bench.Control("swipe two"), "ok");
    EXPECT_EQ(bench.Control("wait 3"), "ok");
    bench.Control("fault cut 2");
    EXPECT_EQ(Swiped(bench, host, "\033]", "two", 5), "\033s1?\x1C");
}

TEST(StripeProfile, WrongOnesAreTold)
{
    const auto problem = [](const std::string &text)
    {
        std::string error;
        vreader::ReaderOptions options;
        options.profileText = text;
        vreader::RunningReader *reader = vreader::StartReader(options, &error);
        vreader::StopReader(reader);
        return error;
    };
    EXPECT_EQ(problem(R"({"magneticCards": 7})"),
              "magneticCards: expected an object from names to magnetic cards, found 7");
    EXPECT_THAT(problem(R"({"magneticCards": {"a": {"track4": "1"}}})"),
                StartsWith("magneticCards.a.track4: unknown key"));
    EXPECT_THAT(problem(R"({"magneticCards": {"a": {"track2": {"txt": "1"}}}})"),
                StartsWith("magneticCards.a.track2.txt: unknown key"));
    EXPECT_THAT(problem(R"({"magneticCards": {"a": {"track2": "1\u0001"}}})"),
                StartsWith("magneticCards.a.track2: expected characters from the blank to 7F"));
    EXPECT_THAT(problem(R"({"magneticCards": {"a": {"track2": "hex:1"}}})"),
                StartsWith("magneticCards.a.track2: expected hexadecimal digits"));
    EXPECT_EQ(problem(R"({"magneticCards": {"a": {"track2": ")" + std::string(4097, '1') + "\"}}}"),
              "magneticCards.a.track2: is longer than 4096 bytes");
    EXPECT_EQ(problem(R"({"swipes": "nobody"})"), "swipes: no card \"nobody\" in magneticCards");
    EXPECT_EQ(problem(R"({"swipes": [{"after": 5}]})"), "swipes[0]: the key \"card\" is missing");
    EXPECT_EQ(problem(R"({"magneticCards": {"a": {}}, "swipes": {"card": "a", "after": 60001}})"),
              "swipes.after: expected a number from 0 to 60000, found 60001");
    EXPECT_THAT(problem(R"({"reader": {"emptyTrack": "none"}})"),
                HasSubstr("emptyTrack must be \"del\", \"zeros\" or \"nothing\""));
}

TEST(StripeProfile, BuiltInOnesHaveTheCardsTheGuideNames)
{
    vreader::ReaderOptions options;
    options.profile = "magnetic-cards";
    const Bench bench(options);
    EXPECT_EQ(bench.Control("cards magnetic"),
              R"(ok ["all-tracks","apostrophe","damaged-track-1","damaged-track-2",)"
              R"("damaged-track-3","empty","letter-a-in-track-1","mixed-empty",)"
              R"("refuses-track-2","refuses-track-3","refuses-writes","track-1-only",)"
              R"("track-2-only","track-3-only","unreadable","zeros"])");
    EXPECT_EQ(Swiped(bench, Host(bench.Name()), "\033D]", "mixed-empty", 11),
              "\033s00000%\x7F?\x1C");
}

TEST(StripeProfile, HostileAnswersHaveTheLengthsOfTheirNames)
{
    vreader::ReaderOptions options;
    options.profile = "hostile-magnetic";
    const Bench bench(options);
    const Host host(bench.Name());
    size_t sent = 0;
    for (const auto &[card, size] : {std::pair("length-255", 255u), std::pair("length-256", 256u),
                                     std::pair("length-300", 300u), std::pair("length-1100", 1100u),
                                     std::pair("one-byte", 1u)})
    {
        const std::string answer = Swiped(bench, host, "\033]", card, size);
        EXPECT_EQ(answer.size(), size) << card;
        sent += size;
    }
    EXPECT_EQ(bench.Control("sent").size(), 3 + 2 * sent);
}
