// The calls for memory cards that wait or draw random numbers: the clock and the dice are this
// test's own, so that every byte on the line can stand here as a literal.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "support/log_capture.h"
#include "support/reader_script.h"
#include "support/scratch.h"
#include "vantor/business.h"
#include "vantor/ciphers.h"
#include "vantor/link.h"
#include "vantor/memory_cards.h"
#include "wire/own_clock.h"

using testing_support::FromHex;
using testing_support::GoldenExchange;
using testing_support::GoldenLine;
using testing_support::KrelFrame;
using testing_support::LogCapture;
using testing_support::Scratch;
using testing_support::ToHex;
using testing_support::UnionFrame;
using testing_support::WriteFile;
using wire_testing::Clock;
using wire_testing::g_clock;

namespace
{

std::vector<int> g_dice; // what rand gives, in turn
size_t g_rolls = 0;
std::vector<unsigned> g_seeds;

} // namespace

extern "C" int rand() noexcept
{
    return g_rolls < g_dice.size() ? g_dice[g_rolls++] : 0;
}

extern "C" void srand(unsigned seed) noexcept
{
    g_seeds.push_back(seed);
    g_rolls = 0;
}

namespace
{

struct MemoryCardCalls : testing::Test
{
    Scratch directory;
    LogCapture log{1};
    std::vector<GoldenExchange> rows;
    std::string (*frame)(const std::string &) = KrelFrame;

    MemoryCardCalls()
    {
        g_clock = Clock();
        g_dice.clear();
        g_seeds.clear();
        Framing('0');
    }

    void Framing(char number)
    {
        frame = number == '0' ? KrelFrame : UnionFrame;
        WriteFile(directory.path + "/config.ini", std::string("[devcfg]\nIccmd=") + number + "\n");
        GSetConfigFilePath((directory.path + "/config.ini").c_str());
    }

    MemoryCardCalls &Row(const std::string &command, const std::string &answer)
    {
        rows.push_back({frame(command), frame(answer)});
        return *this;
    }

    // The reader says nothing that it could be understood by.
    MemoryCardCalls &Noise(const std::string &command)
    {
        rows.push_back({frame(command), "x" ETX});
        return *this;
    }

    template <typename Call>
    int With(Call call)
    {
        GoldenLine line(rows);
        GSetComName(3, line.path.c_str());
        EXPECT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
        const int result = call();
        line.Finish();
        Vantor_Close(&context);
        EXPECT_TRUE(g_clock.onlyTenths);
        return result;
    }
};

// ---- Waiting ----

using PowerOnCall = int (*)(int, char *, int32_t *, int);

struct MemoryCardWait : MemoryCardCalls
{
    char text[64];
    int32_t length = -7;

    int PowerOn(PowerOnCall call, int timeoutSeconds, int size = 64)
    {
        memset(text, '#', sizeof text);
        return With([&] { return call(size, text, &length, timeoutSeconds); });
    }
    std::string Text() const
    {
        return std::string(text, strcspn(text, "#"));
    }
    void NoCard(const std::string &command, int attempts)
    {
        for (int i = 0; i < attempts; i++)
            Row(command, "FB");
    }
};

const struct
{
    PowerOnCall call;
    const char *command;
} kCalls[] = {{BO_M1Powerup, "41"}, {BO_M0PowerOn, "51"}};

} // namespace

TEST_F(MemoryCardWait, ACardThatIsThereGivesItsIdentification)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        Row(each.command, "00 04 00 08 5A 1B 2C 3D");
        EXPECT_EQ(0, PowerOn(each.call, 30));
        EXPECT_EQ("0400085A1B2C3D", Text());
        EXPECT_EQ(14, length);
        EXPECT_EQ(0, g_clock.pauses);
    }
    EXPECT_EQ("", log.Lines());
}

TEST_F(MemoryCardWait, OverUnionTheReadersStatusIsPartOfTheIdentification)
{
    Framing('1');
    Row("32 41 00 00", "00 00 04 00 08");
    EXPECT_EQ(0, PowerOn(BO_M1Powerup, 30));
    EXPECT_EQ("0000040008", Text());
    EXPECT_EQ(10, length);
}

TEST_F(MemoryCardWait, ATextThatDoesNotFitIsCut)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        Row(each.command, "00 04 00 08");
        EXPECT_EQ(0, PowerOn(each.call, 30, 5));
        EXPECT_EQ("0400", Text());
        EXPECT_EQ(4, length);
        EXPECT_EQ(0, PowerOn(each.call, 30, 0));
        EXPECT_EQ("", Text());
        EXPECT_EQ(-22, length);
    }
}

TEST_F(MemoryCardWait, NineTenthsPassBetweenTwoAttempts)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        g_clock = Clock();
        NoCard(each.command, 1);
        Row(each.command, "00 04");
        EXPECT_EQ(0, PowerOn(each.call, 30));
        EXPECT_EQ(9, g_clock.pauses);
        EXPECT_EQ("04", Text());
    }
}

TEST_F(MemoryCardWait, M1ComparesWholeSecondsAndKeepsTheCardsResult)
{
    NoCard("41", 4); // at 0.0, 0.9, 1.8 and 2.7 s; after the pause at 3.6 s it ends
    EXPECT_EQ(-5001, PowerOn(BO_M1Powerup, 3));
    EXPECT_EQ(36, g_clock.pauses);
    EXPECT_EQ(0, length);
    EXPECT_EQ("Error:iErrorCode = -5001\r\n", log.Lines());

    g_clock = Clock();
    g_clock.microseconds = 500000;
    rows.clear();
    NoCard("41", 3); // at 0.5, 1.4 and 2.3 s; at 3.2 s three seconds have begun
    EXPECT_EQ(-5001, PowerOn(BO_M1Powerup, 3));
    EXPECT_EQ(27, g_clock.pauses);
}

TEST_F(MemoryCardWait, M0CountsItsPassesAndEndsWithMinus4001)
{
    for (int passes : {1, 3})
    {
        rows.clear();
        g_clock = Clock();
        WriteFile(log.directory.path + "/test.log", "");
        NoCard("51", passes);
        EXPECT_EQ(-4001, PowerOn(BO_M0PowerOn, passes));
        EXPECT_EQ(9 * passes, g_clock.pauses);
        EXPECT_EQ(0, length);
        EXPECT_EQ("Error:Timeout!\r\nError:iErrorCode = -4001\r\n", log.Lines());
    }
}

TEST_F(MemoryCardWait, M0DoesNotLookAtTheClock)
{
    NoCard("51", 1);
    Row("51", "00 04");
    g_clock.onPause = [](int) { g_clock.microseconds += 60000000; };
    EXPECT_EQ(0, PowerOn(BO_M0PowerOn, 2));
}

TEST_F(MemoryCardWait, WithoutALimitItGoesOn)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        g_clock = Clock();
        NoCard(each.command, 100);
        Row(each.command, "00 04");
        EXPECT_EQ(0, PowerOn(each.call, 0));
        EXPECT_EQ(900, g_clock.pauses);
    }
}

TEST_F(MemoryCardWait, ARealFailureEndsItAtOnce)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        Noise(each.command);
        EXPECT_EQ(-1013, PowerOn(each.call, 30));
        EXPECT_EQ(0, g_clock.pauses);
        EXPECT_EQ(0, length);
    }
    EXPECT_EQ("Error:iErrorCode = -74\r\nError:iErrorCode = -74\r\n", log.Lines());
}

TEST_F(MemoryCardWait, ARealFailureOnALaterPassIsNoTimeout)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        NoCard(each.command, 1);
        Noise(each.command);
        EXPECT_EQ(-1013, PowerOn(each.call, 2));
    }
}

TEST_F(MemoryCardWait, WithoutALimitARealFailureIsMinus4001)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        WriteFile(log.directory.path + "/test.log", "");
        Noise(each.command);
        EXPECT_EQ(-4001, PowerOn(each.call, 0));
        EXPECT_EQ("Error:Timeout!\r\nError:iErrorCode = -4001\r\n", log.Lines());
    }
}

TEST_F(MemoryCardWait, AFramingThatDoesNotSuitIsARealFailure)
{
    Framing('1');
    EXPECT_EQ(-1008, PowerOn(BO_M0PowerOn, 30));
    Framing('2');
    EXPECT_EQ(-1008, PowerOn(BO_M0PowerOn, 30));
    EXPECT_EQ(-1008, PowerOn(BO_M1Powerup, 30));
    EXPECT_EQ(0, g_clock.pauses);
}

TEST_F(MemoryCardWait, ACancelIsSeenAfterTheNextTenth)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        g_clock = Clock();
        length = -7;
        WriteFile(log.directory.path + "/test.log", "");
        NoCard(each.command, 2);
        g_clock.onPause = [](int pause)
        {
            if (pause == 14)
                BO_CancelWait();
        };
        EXPECT_EQ(-1006, PowerOn(each.call, 30));
        EXPECT_EQ(14, g_clock.pauses);
        EXPECT_EQ(-7, length);
        EXPECT_EQ("", Text());
        EXPECT_EQ("Error:Cancel!\r\nError:iErrorCode = -1006\r\n", log.Lines());
    }
}

TEST_F(MemoryCardWait, ACancelFromBeforeCountsForNothing)
{
    for (const auto &each : kCalls)
    {
        rows.clear();
        g_clock = Clock();
        BO_CancelWait();
        NoCard(each.command, 1);
        Row(each.command, "00 04");
        EXPECT_EQ(0, PowerOn(each.call, 30));
        EXPECT_EQ(0, g_IsCancelWait);
    }
}

// ---- Authentication, with the exchange that the card's data sheet prints (NXP MF0ICU2, 7.5.5)
// ----

namespace
{

const char kKey[] = "49454D4B41455242214E4143554F5946";
const std::string kAsk = "56 02 1A 00";
const std::string kChallenge = "00 AF 577293FD2F34CA51";
const std::string kProve = "56 11 AF 0A638559FC7737F9 F15D7862EBBE967A";
const std::string kProof = "00 00 3B884FA07C137CE1";

struct M0Authentication : MemoryCardCalls
{
    M0Authentication()
    {
        // Only the low bytes count.
        g_dice = {0x7FFF12A8, 0xAF, 0x13B, 0x25, 0x6C, 0x75, 0xED, 0x7FFFFF40};
        g_clock.microseconds = 1700000000999999;
    }

    int Verify(const char *key = kKey, int length = 32)
    {
        return With([&] { return BO_M0VerifyKey(length, key); });
    }
};

} // namespace

TEST_F(M0Authentication, TheDataSheetsExchangeByteForByte)
{
    Row(kAsk, kChallenge).Row(kProve, kProof);
    EXPECT_EQ(0, Verify());
    EXPECT_EQ(8U, g_rolls);
    EXPECT_EQ(std::vector<unsigned>{1700000000}, g_seeds) << "the time in seconds";
    EXPECT_EQ("", log.Lines());
}

TEST_F(M0Authentication, TheFirstBytesOfTheCardsAnswersAreNotLookedAt)
{
    Row(kAsk, "00 77 577293FD2F34CA51 AABB").Row(kProve, "00 77 3B884FA07C137CE1 CCDD");
    EXPECT_EQ(0, Verify());
}

TEST_F(M0Authentication, OnlyTheFirst32CharactersOfTheKeyCount)
{
    Row(kAsk, kChallenge).Row(kProve, kProof);
    EXPECT_EQ(0, Verify((std::string(kKey) + "ABCD").c_str(), 36));
    EXPECT_EQ(0, Verify(kKey, 1000)) << "and none behind its end";
}

// What the host proves under another key, after the same challenge and with the same dice.
namespace
{

std::string ProofUnder(const std::string &keyText)
{
    const std::string key = FromHex(keyText);
    const auto *const keyBytes = reinterpret_cast<const unsigned char *>(key.data());
    unsigned char blocks[3][8]; // the challenge, then the two that are sent
    memcpy(blocks[0], FromHex("577293FD2F34CA51").data(), 8);
    unsigned char rndB[8];
    G3DesDecrypt(blocks[0], keyBytes, rndB, 16);
    const unsigned char plain[2][8] = {
        {0xA8, 0xAF, 0x3B, 0x25, 0x6C, 0x75, 0xED, 0x40},
        {rndB[1], rndB[2], rndB[3], rndB[4], rndB[5], rndB[6], rndB[7], rndB[0]}};
    for (int i = 0; i < 2; i++)
    {
        GXor(plain[i], blocks[i], blocks[i + 1], 8);
        G3DesEncrypt(blocks[i + 1], keyBytes, blocks[i + 1], 16);
    }
    return "56 11 AF " + ToHex(std::string(reinterpret_cast<const char *>(blocks[1]), 16));
}

} // namespace

TEST_F(M0Authentication, KeysOfEveryLengthFrom0To40CharactersAreFilledUpWithZeroBytes)
{
    ASSERT_EQ(FromHex(kProve), FromHex(ProofUnder(kKey)));
    const std::string text = std::string(kKey) + "01234567";
    for (int length = 0; length <= 40; length++)
    {
        SCOPED_TRACE(length);
        const size_t whole = static_cast<size_t>(std::min(length, 32) / 2 * 2);
        const std::string filled = text.substr(0, whole) + std::string(32 - whole, '0');
        rows.clear();
        Row(kAsk, kChallenge).Row(ProofUnder(filled), "03").Row("55", "00");
        EXPECT_EQ(-5105, Verify(text.c_str(), length));
        EXPECT_EQ(-5105, Verify(text.substr(0, static_cast<size_t>(length)).c_str(), 40));
    }
    rows.clear();
    Row(kAsk, kChallenge).Row(ProofUnder(std::string(32, '0')), "03").Row("55", "00");
    EXPECT_EQ(-5105, Verify(kKey, -1));
    EXPECT_EQ(-5105, Verify("zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz")) << "no digits count as 0";
}

TEST_F(M0Authentication, ACardThatRefusesToBeginIsPoweredOff)
{
    Row(kAsk, "03").Row("55", "00");
    EXPECT_EQ(-5105, Verify());
    EXPECT_EQ("Error:M0_Interaction 1A00 Fail\r\nError:iErrorCode = -5105\r\n", log.Lines());
    EXPECT_TRUE(g_seeds.empty());
}

TEST_F(M0Authentication, ACardThatRefusesTheHostsProofIsPoweredOff)
{
    Row(kAsk, kChallenge).Row(kProve, "03").Row("55", "00");
    EXPECT_EQ(-5105, Verify());
    EXPECT_EQ("Error:M0_Interaction 0xAF+ek(RndA+RndB) Fail\r\nError:iErrorCode = -5105\r\n",
              log.Lines());
}

TEST_F(M0Authentication, ACardThatDoesNotProveItsKeyIsPoweredOff)
{
    const char *const answers[] = {
        "00 00 3B884FA07C137CE0", // one bit
        "00 00 BB884FA07C137CE1", // one bit of the first byte
        "00 00 0A638559FC7737F9", // the host's own block, sent back
        "00 00",                  // none
        "00",
        "",
        "00 00 3B884FA07C137C", // one byte short
    };
    for (const char *answer : answers)
    {
        SCOPED_TRACE(answer);
        rows.clear();
        WriteFile(log.directory.path + "/test.log", "");
        Row(kAsk, kChallenge).Row(kProve, answer).Row("55", "00");
        EXPECT_EQ(-5103, Verify());
        EXPECT_EQ("Error:M0_Interaction Verify Fail\r\n", log.Lines()) << "no public code";
    }
}

// RndA' with one wrong bit, in each of its bytes, enciphered as the card would.
TEST_F(M0Authentication, EveryByteOfTheCardsProofCounts)
{
    for (const char *block :
         {"E8AE23898896AD31", "9439BF2229129BDF", "1775B6EFB8B5E7C0", "8DCD8AA458489305",
          "E1736EC99CC864B1", "92D718041FA6699D", "B68D3FF243CCD716", "505D77FD16C02697"})
    {
        rows.clear();
        Row(kAsk, kChallenge).Row(kProve, std::string("00 00 ") + block).Row("55", "00");
        EXPECT_EQ(-5103, Verify()) << block;
    }
}

TEST_F(M0Authentication, AChallengeThatIsTooShortIsABadMessage)
{
    for (const char *answer : {"", "00", "00 AF", "00 AF 577293FD2F34CA"})
    {
        SCOPED_TRACE(answer);
        rows.clear();
        WriteFile(log.directory.path + "/test.log", "");
        Row(kAsk, answer).Row("55", "00");
        EXPECT_EQ(-1013, Verify());
        EXPECT_EQ("Error:M0_Interaction 1A00 Fail\r\nError:iErrorCode = -74\r\n", log.Lines());
    }
}

TEST_F(M0Authentication, AnswersOfEveryLengthUpTo254Bytes)
{
    for (size_t length = 0; length <= 254; length += length < 20 ? 1 : 39)
    {
        SCOPED_TRACE(length);
        const std::string challenge =
            (FromHex(kChallenge) + std::string(300, 'c')).substr(0, length);
        rows.clear();
        Row(kAsk, ToHex(challenge));
        if (length >= 10)
            Row(kProve, ToHex((FromHex(kProof) + std::string(300, 'p')).substr(0, length)));
        else
            Row("55", "00");
        EXPECT_EQ(length >= 10 ? 0 : -1013, Verify());
    }
}

TEST_F(M0Authentication, ACardThatIsTakenAway)
{
    Noise(kAsk).Noise("55");
    EXPECT_EQ(-1013, Verify());
    EXPECT_EQ("Error:M0_PowerOff Error!\r\nError:iErrorCode = -74\r\n"
              "Error:M0_Interaction 1A00 Fail\r\nError:iErrorCode = -74\r\n",
              log.Lines());
    rows.clear();
    Row(kAsk, kChallenge).Noise(kProve).Noise("55");
    EXPECT_EQ(-1013, Verify());
}

TEST_F(M0Authentication, NeedsTheKrelFramingAndAKey)
{
    Framing('1');
    EXPECT_EQ(-1008, Verify());
    EXPECT_EQ(-1007, Verify(nullptr));
}

// ---- Writing a key ----

namespace
{

const char kNewKey[] = "000102030405060708090A0B0C0D0E0F"; // the data sheet's example

// Four bytes of a page, and thirteen of zero behind them.
const char *const kPages[] = {
    "54 2D 03020100 00000000 00000000 00000000 00",
    "54 2C 07060504 00000000 00000000 00000000 00",
    "54 2F 0B0A0908 00000000 00000000 00000000 00",
    "54 2E 0F0E0D0C 00000000 00000000 00000000 00",
};

struct M0DownKey : MemoryCardCalls
{
    int Down(int length, const char *key)
    {
        return With([&] { return BO_M0DownKey(length, key); });
    }
};

} // namespace

TEST_F(M0DownKey, WritesTheDataSheetsPagesInItsOrder)
{
    for (int length : {32, 33})
    {
        rows.clear();
        for (const char *page : kPages)
            Row(page, "00");
        EXPECT_EQ(0, Down(length, kNewKey));
    }
    rows.clear();
    Row("54 2D 4B4D4549 00000000 00000000 00000000 00", "00")
        .Row("54 2C 42524541 00000000 00000000 00000000 00", "00")
        .Row("54 2F 43414E21 00000000 00000000 00000000 00", "00")
        .Row("54 2E 46594F55 00000000 00000000 00000000 00", "00");
    EXPECT_EQ(0, Down(32, kKey));
    EXPECT_EQ("", log.Lines());
}

TEST_F(M0DownKey, EndsAtThePageThatCannotBeWritten)
{
    for (size_t failing = 0; failing < 4; failing++)
        for (const bool gone : {false, true})
        {
            rows.clear();
            WriteFile(log.directory.path + "/test.log", "");
            for (size_t i = 0; i < failing; i++)
                Row(kPages[i], "00");
            if (gone)
                Noise(kPages[failing]).Noise("55");
            else
                Row(kPages[failing], "03").Row("55", "00");
            EXPECT_EQ(-5105, Down(32, kNewKey));
            EXPECT_EQ(gone ? "Error:M0_PowerOff Error!\r\nError:iErrorCode = -74\r\n" : "",
                      log.Lines());
        }
}

TEST_F(M0DownKey, OnlyAWholeKeyIsTaken)
{
    GSetLogLevel(2);
    const std::string text = std::string(kNewKey) + "10111213";
    for (int length = -1; length <= 40; length++)
    {
        if (length == 32 || length == 33)
            continue;
        WriteFile(log.directory.path + "/test.log", "");
        EXPECT_EQ(-1007, BO_M0DownKey(length, text.c_str())) << length;
        EXPECT_EQ("Info:iKeyLen Error\r\n", log.Lines());
    }
    for (size_t length = 0; length < 32; length++)
        EXPECT_EQ(-1007, BO_M0DownKey(32, text.substr(0, length).c_str())) << length;
    EXPECT_EQ(-1007, BO_M0DownKey(32, nullptr));
}

TEST_F(M0DownKey, NeedsTheKrelFraming)
{
    Framing('1');
    EXPECT_EQ(-5105, Down(32, kNewKey)) << "deliberate: every failure is this one";
}
