// Identity cards and magnetic cards whose answers no reader should give, through the public calls:
// each ends with a documented result, and the next card is served.
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/counter.h"

using namespace testing_support;
using testing::AnyOf;
using testing::Matcher;

namespace
{

// A flood is 64 KiB, of which a call takes in 1 KiB or less before it gives up; what is left spoils
// the calls behind it.
constexpr int kMostLeftovers = 200;

std::string Repeated(const std::string &text, int count)
{
    std::string all;
    for (int i = 0; i < count; i++)
        all += text;
    return all;
}

// U+FFFF, as many times.
std::string Ones(int count)
{
    return Repeated("\x84\x31\xA4\x39", count);
}

const std::string kMan = "\xC4\xD0";
const std::string kUnknownSex = "\xCE\xB4\xD6\xAA";
const std::string kRest =
    "|19900517|\xB1\xB1\xBE\xA9\xCA\xD0\xB3\xAF\xD1\xF4\xC7\xF8\xD1\xF9\xC0\xFD\xBD\xD6"
    "99\xBA\xC5\xD4\xBA"
    "1\xBA\xC5\xC2\xA5"
    "2\xB5\xA5\xD4\xAA"
    "303\xCA\xD2|110105199005170011|\xB1\xB1\xBE\xA9\xCA\xD0\xB9\xAB\xB0\xB2\xBE\xD6\xB3\xAF"
    "\xD1\xF4\xB7\xD6\xBE\xD6|20200229|20400229|N||||";
const std::string kWhole = "\xD5\xC5\xCA\xBE\xC0\xFD|" + kMan + "|\xBA\xBA" + kRest;
const std::string kNothing = "|" + kUnknownSex + "||||||||N||||";

struct HostileIdentity
{
    const char *card;
    Matcher<int> result;
    std::string text;      // of a read that succeeds
    int leftoverCalls = 1; // calls until the line is quiet again
};

void PrintTo(const HostileIdentity &card, std::ostream *out)
{
    *out << card.card;
}

const HostileIdentity kIdentityCards[] = {
    // Frames: a check byte is not looked at, an end that never comes is waited for.
    {"wrong-check", 0, kWhole},
    {"wrong-mark", 0, kWhole},
    {"wrong-mark-always", 0, kWhole},
    {"wrong-preamble", -3002, ""},
    {"cut", 0, kWhole}, // the text stands in the first half
    {"cut-always", -3000, ""},
    {"header-only", -3002, ""},
    {"no-payload", -3002, ""},
    {"no-payload-always", -3000, ""},
    {"length-zero", -3002, ""},
    {"length-short", 0, kNothing, kMostLeftovers},
    {"length-one-more", 0, kWhole},
    {"length-huge", -1007, ""},
    {"flood", AnyOf(-3002, -1007), "", kMostLeftovers},
    {"flood-always", AnyOf(-3000, -1007), "", kMostLeftovers},
    // Records: the lengths in them are not looked at.
    {"status-only", 0, kNothing},
    {"lengths-only", 0, kNothing},
    {"lengths-too-big", 0, kWhole},
    {"lengths-zero", 0, kWhole},
    {"long-record", AnyOf(-3002, -1007), "", kMostLeftovers},
    // Texts.
    {"text-all-zero", 0, kNothing},
    {"gat-all-zero", 0, "|" + kUnknownSex + "||||||||J||||"},
    {"text-all-ff", 0,
     Ones(15) + "|" + kUnknownSex + "||" + Ones(8) + "|" + Ones(35) + "|" + Ones(18) + "|" +
         Ones(15) + "|" + Ones(8) + "|" + Ones(8) + "|N||||"},
    {"text-blank", 0, std::string(15, ' ') + "|" + kMan + "|\xBA\xBA" + kRest},
    {"text-surrogates", 0, std::string(4, '\xFF') + "|" + kMan + "|\xBA\xBA" + kRest},
};

struct HostileIdentityCard : testing::TestWithParam<HostileIdentity>
{
};

std::string NameOf(std::string card)
{
    for (char &character : card)
        if (character == '-')
            character = '_';
    return card;
}

} // namespace

TEST_P(HostileIdentityCard, EndsWithADocumentedResultAndTheNextIsServed)
{
    const HostileIdentity &card = GetParam();
    Counter counter("hostile-identity");
    counter.Control(std::string("insert identity ") + card.card);
    const IdentityResult read = counter.Read(IdentityCall::kPlain);
    EXPECT_THAT(read.result, card.result);
    EXPECT_EQ(read.bytes, card.text);
    counter.Control("swap identity resident");
    IdentityResult next;
    int calls = 0;
    do
        next = counter.Read(IdentityCall::kPlain);
    while (next.result != 0 && ++calls < card.leftoverCalls);
    EXPECT_EQ(next.result, 0);
    EXPECT_EQ(next.bytes, kWhole);
}

INSTANTIATE_TEST_SUITE_P(Of, HostileIdentityCard, testing::ValuesIn(kIdentityCards),
                         [](const auto &each) { return NameOf(each.param.card); });

TEST(HostileIdentity, AForeignCardOfOnesOnly)
{
    Counter counter("hostile-identity");
    counter.Control("insert identity foreign-all-ff");
    const std::string front = Ones(60) + "|" + kUnknownSex + "|";
    const std::string rest =
        "|" + Ones(8) + "||" + Ones(15) + "|" + Ones(4) + "|" + Ones(8) + "|" + Ones(8);
    const IdentityResult read = counter.Read(IdentityCall::kFb);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.bytes, front + Ones(3) + rest + "|I|" + Ones(15) + "|" + Ones(2));
    // The country is looked up by its code, and what no country has stays as it is.
    EXPECT_EQ(counter.Read(IdentityCall::kVariant).bytes,
              front + Ones(3) + rest + "|" + Ones(1) + "|||" + Ones(15));
}

TEST(HostileIdentity, ARecordThatEndsInsideTheNameLeavesTheRestEmpty)
{
    Counter counter("hostile-identity");
    counter.Control("insert identity short-record");
    const IdentityResult read = counter.Read(IdentityCall::kPlain);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(std::count(read.bytes.begin(), read.bytes.end(), '|'), 13);
    counter.Control("swap identity resident");
    EXPECT_EQ(counter.Read(IdentityCall::kPlain).bytes, kWhole);
}

// ---- Magnetic cards ----

namespace
{

struct HostileStripe
{
    const char *card;
    int of2, of23, of123;    // results by mode
    const char *two, *three; // what mode 23 reads
    int leftoverCalls = 1;
};

void PrintTo(const HostileStripe &card, std::ostream *out)
{
    *out << card.card;
}

const HostileStripe kStripes[] = {
    {"only-end", -2002, -2004, -2000, "", ""},
    {"no-body", 0, 0, 0, "", ""},
    {"wrong-start", -2002, -2004, -2000, "", ""},
    {"marks-in-tracks", 0, 0, 0, "1", "2%3?456"},
    {"length-300", -1007, -1007, -1007, "", "", kMostLeftovers},
    {"length-1100", -1007, -1007, -1007, "", "", kMostLeftovers},
    {"every-byte", -1007, -1007, -1007, "", "", kMostLeftovers},
    {"every-byte-but-zero", -1007, -1007, -1007, "", "", kMostLeftovers},
    {"flood", -1007, -1007, -1007, "", "", kMostLeftovers},
    // Without an end they are as long as the wait.
    {"no-end", 0, 0, 0, "66666666666666666666", ""},
    {"only-start", 0, 0, 0, "", ""},
    {"one-byte", -2002, -2004, -2000, "", ""},
};

struct HostileStripeCard : testing::TestWithParam<HostileStripe>
{
};

// A well-behaved card is read, behind what a hostile one left on the line.
void ExpectGoodSwipe(const Counter &counter, int mostCalls)
{
    StripeResult next;
    int calls = 0;
    do
    {
        counter.Control("swipe clear");
        counter.Control(R"(swipe next {"track2": "6=1", "track3": "01=2"})");
        next = counter.Swipe(23);
    } while (next.result != 0 && ++calls < mostCalls);
    EXPECT_EQ(next.result, 0);
    EXPECT_EQ(next.two, "6=1");
    EXPECT_EQ(next.three, "01=2");
}

} // namespace

TEST_P(HostileStripeCard, EndsWithADocumentedResultAndTheNextIsServed)
{
    const HostileStripe &card = GetParam();
    const std::pair<uint32_t, int> kModes[] = {{2, card.of2}, {23, card.of23}, {123, card.of123}};
    for (const auto &[mode, result] : kModes)
    {
        Counter counter("hostile-magnetic");
        counter.Control(std::string("swipe next ") + card.card);
        const StripeResult read = counter.Swipe(mode, 1);
        EXPECT_EQ(read.result, result) << mode;
        EXPECT_EQ(mode == 23 ? read.two : card.two, card.two);
        EXPECT_EQ(mode == 23 ? read.three : card.three, card.three);
        ExpectGoodSwipe(counter, card.leftoverCalls);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, HostileStripeCard, testing::ValuesIn(kStripes),
                         [](const auto &each) { return NameOf(each.param.card); });

TEST(HostileStripe, ATrackThatFillsTheReplyIsReadAsFarAsItGoes)
{
    Counter counter("hostile-magnetic");
    counter.Control("swipe next length-255");
    StripeResult read = counter.Swipe(2);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.two, std::string(251, '1'));
    counter.Control("swipe next length-256");
    read = counter.Swipe(23);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.two, std::string(252, '1'));
    counter.Control("swipe next length-256");
    EXPECT_EQ(counter.Swipe(2).result, -2002);
    counter.Control("swipe next long-tracks");
    read = counter.Swipe(123);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.one, std::string(80, '1'));
    EXPECT_EQ(read.two, std::string(80, '2'));
    EXPECT_EQ(read.three, std::string(80, '3'));
    ExpectGoodSwipe(counter, 1);
}

TEST(HostileStripe, AWriteThatIsNotConfirmedIsNoSuccess)
{
    const struct
    {
        const char *card;
        int of2, of3, ofBoth;
    } kWrites[] = {
        {"write-unknown", -2102, -2103, -2104},
        {"write-marks-only", -2102, -2103, -2104},
        {"write-other-track", -2102, 0, -2104}, // the confirmation of track 3
        {"write-no-end", -2102, -2103, -2104},
    };
    for (const auto &row : kWrites)
    {
        Counter counter("hostile-magnetic");
        const std::string swipe = std::string("swipe next ") + row.card;
        counter.Control(swipe);
        EXPECT_EQ(counter.Write("1=1", nullptr, 1), row.of2) << row.card;
        counter.Control(swipe);
        EXPECT_EQ(counter.Write(nullptr, "2=2", 1), row.of3) << row.card;
        counter.Control(swipe);
        EXPECT_EQ(counter.Write("1=1", "2=2", 1), row.ofBoth) << row.card;
        ExpectGoodSwipe(counter, 1);
    }
}

TEST(HostileStripe, AFloodInsteadOfAConfirmation)
{
    Counter counter("hostile-magnetic");
    counter.Control("swipe next flood");
    EXPECT_EQ(counter.Write("1=1", "2=2", 1), -1007);
    ExpectGoodSwipe(counter, kMostLeftovers);
}
