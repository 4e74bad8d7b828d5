// Contactless memory cards, as rows of command, answer, result. Commands and answers are given as
// the module's own bytes; the framing is put around them.
#include "vantor/memory_card_operations.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>

#include "support/reader_script.h"
#include "wire/line_host.h"
#include "wire/room.h"

using testing_support::FromHex;
using testing_support::GoldenExchange;
using testing_support::GoldenLine;
using testing_support::KrelFrame;
using testing_support::ToHex;
using testing_support::UnionFrame;
using wire_testing::Bytes;
using wire_testing::kNoTerminal;
using wire_testing::Length;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

const uint32_t kEnoughMs = 5000;
const uint32_t kUntouched = 0xDEADBEEF;
const std::string kPage = FromHex("11 22 33 44");
const std::string kBlock = FromHex("00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF");

// Four bytes in this order in memory, whatever the machine.
uint32_t InMemory(const char *hex)
{
    uint32_t value;
    memcpy(&value, FromHex(hex).data(), sizeof value);
    return value;
}

struct Given
{
    Room room;
    uint32_t length = kUntouched;
};

struct Subject
{
    const char *name;
    std::function<int(DEVCONTEXT *device, Given *given)> call;
    std::string krelIc;    // the command's bytes
    std::string unionForm; // empty: there is none
    int failure;
    bool gives; // data
};

const Subject kSubjects[] = {
    {"M1_PowerOn",
     [](DEVCONTEXT *device, Given *given)
     { return M1_PowerOn(device, given->room.Data(), &given->length, kEnoughMs); },
     "41", "32 41 00 00", -5001, true},
    {"M1_PowerOff", [](DEVCONTEXT *device, Given *) { return M1_PowerOff(device, kEnoughMs); },
     "4B", "32 25", -5002, false},
    {"M1_Verify",
     [](DEVCONTEXT *device, Given *) { return M1_Verify(device, 4, 1, "QWERTY", kEnoughMs); },
     "42 04 61 51 57 45 52 54 59", "32 42 04 01 51 57 45 52 54 59", -5003, false},
    {"M1_ReadBlock",
     [](DEVCONTEXT *device, Given *given)
     { return M1_ReadBlock(device, 4, given->room.Data(), &given->length, kEnoughMs); },
     "43 04", "32 43 04", -5004, true},
    {"M1_WriteBlock",
     [](DEVCONTEXT *device, Given *)
     { return M1_WriteBlock(device, 4, Bytes(kBlock), Length(kBlock), kEnoughMs); },
     "44 04 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF",
     "32 44 04 00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF", -5005, false},
    {"M1_ReadValue",
     [](DEVCONTEXT *device, Given *given)
     { return M1_ReadValue(device, 4, given->room.Data(), &given->length, kEnoughMs); },
     "45 04", "32 45 04", -5006, true},
    {"M1_WriteValue",
     [](DEVCONTEXT *device, Given *)
     {
         const uint32_t value = InMemory("01 02 03 04");
         return M1_WriteValue(device, 4, &value, kEnoughMs);
     },
     "46 04 01 02 03 04", "32 46 04 01 02 03 04", -5007, false},
    {"M1_Increment",
     [](DEVCONTEXT *device, Given *)
     {
         const uint32_t value = InMemory("01 02 03 04");
         return M1_Increment(device, 4, &value, kEnoughMs);
     },
     "47 04 01 02 03 04", "32 47 04 01 02 03 04", -5008, false},
    {"M1_Decrement",
     [](DEVCONTEXT *device, Given *)
     {
         const uint32_t value = InMemory("01 02 03 04");
         return M1_Decrement(device, 4, &value, kEnoughMs);
     },
     "48 04 01 02 03 04", "32 48 04 01 02 03 04", -5009, false},
    {"M1_IncreaseValue",
     [](DEVCONTEXT *device, Given *) { return M1_IncreaseValue(device, 4, 0x102, kEnoughMs); },
     "47 04 02 01 00 00", "32 47 04 02 01 00 00", -5008, false},
    {"M1_DecreaseValue",
     [](DEVCONTEXT *device, Given *) { return M1_DecreaseValue(device, 4, 0x01020304, kEnoughMs); },
     "48 04 04 03 02 01", "32 48 04 04 03 02 01", -5009, false},
    {"M0_PowerOn",
     [](DEVCONTEXT *device, Given *given)
     { return M0_PowerOn(device, given->room.Data(), &given->length, kEnoughMs); },
     "51", "", -5001, true},
    {"M0_PowerOff", [](DEVCONTEXT *device, Given *) { return M0_PowerOff(device, kEnoughMs); },
     "55", "", -5002, false},
    {"M0_ReadBlock",
     [](DEVCONTEXT *device, Given *given)
     { return M0_ReadBlock(device, 4, 16, given->room.Data(), &given->length, kEnoughMs); },
     "57 04 10", "", -5104, true},
    {"M0_WriteBlock",
     [](DEVCONTEXT *device, Given *)
     { return M0_WriteBlock(device, 4, Bytes(kPage), Length(kPage), kEnoughMs); },
     "54 04 11 22 33 44", "", -5105, false},
    {"M0_Interaction",
     [](DEVCONTEXT *device, Given *given)
     {
         const unsigned char command[] = {0x1A, 0x00};
         return M0_Interaction(device, command, 2, given->room.Data(), &given->length, kEnoughMs);
     },
     "56 02 1A 00", "", -5105, true},
    {"M0_ChcekCardType",
     [](DEVCONTEXT *device, Given *given)
     { return M0_ChcekCardType(device, 0, given->room.Data(), kEnoughMs); },
     "58", "", -5105, false},
};

const Subject &Named(const std::string &name)
{
    for (const Subject &subject : kSubjects)
        if (name == subject.name)
            return subject;
    throw std::invalid_argument(name);
}

struct Expected
{
    int result;
    std::string data; // hexadecimal, as many bytes as the length tells; what follows is untouched
    bool gives = true;
};

const Expected kNothing(int result)
{
    return {result, "", false};
}

void ExpectGiven(const Given &given, const Expected &expected)
{
    const std::string data = FromHex(expected.data);
    EXPECT_EQ(expected.gives ? data.size() : kUntouched, given.length);
    EXPECT_EQ(ToHex(data) + "EE ", given.room.Hex(data.size() + 1));
}

void ExpectOutcome(const std::string &settings, const Subject &subject,
                   const GoldenExchange &exchange, const Expected &expected)
{
    SCOPED_TRACE(std::string(subject.name) + ", answer " + exchange.answer);
    GoldenLine line{exchange};
    LineHost host(line, settings);
    Given given;
    EXPECT_EQ(expected.result, subject.call(&host.device, &given));
    ExpectGiven(given, expected);
}

void ExpectKrel(const Subject &subject, const std::string &answer, const Expected &expected)
{
    ExpectOutcome("Iccmd=0\n", subject, {KrelFrame(subject.krelIc), KrelFrame(answer)}, expected);
}

void ExpectUnion(const Subject &subject, const std::string &answer, const Expected &expected)
{
    ExpectOutcome("Iccmd=1\n", subject, {UnionFrame(subject.unionForm), UnionFrame(answer)},
                  expected);
}

Expected Success(const Subject &subject, const std::string &data)
{
    return subject.gives ? Expected{0, data} : kNothing(0);
}

const char kCardType[] = "M0_ChcekCardType"; // has tests of its own for what it accepts

} // namespace

TEST(MemoryCardsKrel, CommandsAndWhatFollowsTheStatus)
{
    for (const Subject &subject : kSubjects)
        if (subject.name != std::string(kCardType))
        {
            ExpectKrel(subject, "00 04 A1 00", Success(subject, "04 A1 00"));
            ExpectKrel(subject, "00", Success(subject, ""));
        }
}

TEST(MemoryCardsKrel, IsTheDefaultFraming)
{
    const Subject &subject = Named("M1_ReadBlock");
    ExpectOutcome("", subject, {KrelFrame("43 04"), KrelFrame("00 7E")}, {0, "7E"});
}

TEST(MemoryCardsKrel, EveryOtherStatusIsTheCommandsOneCode)
{
    for (const Subject &subject : kSubjects)
        for (const char *answer : {"03", "A2 04 A1", "FB", "FF"})
            ExpectKrel(subject, answer, kNothing(subject.failure));
}

TEST(MemoryCardsKrel, EmptyReplyAndLinkFailureAreReturned)
{
    for (const Subject &subject : kSubjects)
    {
        ExpectKrel(subject, "", kNothing(0));
        ExpectOutcome("Iccmd=0\n", subject, {KrelFrame(subject.krelIc), "x" ETX}, kNothing(-74));
    }
}

TEST(MemoryCardsUnion, CommandsAndWhatFollowsTheStatusPair)
{
    for (const Subject &subject : kSubjects)
        if (!subject.unionForm.empty())
        {
            const std::string status = subject.name == std::string("M1_PowerOn") ? "00 00 " : "";
            ExpectUnion(subject, "00 00 04 A1 00", Success(subject, status + "04 A1 00"));
            ExpectUnion(subject, "00 00", Success(subject, status));
        }
}

TEST(MemoryCardsUnion, EitherStatusByteIsAFailure)
{
    for (const Subject &subject : kSubjects)
        if (!subject.unionForm.empty())
            for (const char *answer : {"00 01", "01 00", "30 05 04 A1", "01"})
                ExpectUnion(subject, answer, kNothing(subject.failure));
}

TEST(MemoryCardsUnion, RepliesShorterThanTheirStatusHaveNoData)
{
    for (const Subject &subject : kSubjects)
        if (!subject.unionForm.empty())
        {
            const bool whole = subject.name == std::string("M1_PowerOn");
            ExpectUnion(subject, "", Success(subject, ""));
            ExpectUnion(subject, "00", Success(subject, whole ? "00" : ""));
        }
}

TEST(MemoryCardsUnion, LinkFailureIsReturned)
{
    for (const Subject &subject : kSubjects)
        if (!subject.unionForm.empty())
            ExpectOutcome("Iccmd=1\n", subject, {UnionFrame(subject.unionForm), "x" ETX},
                          kNothing(-74));
}

TEST(MemoryCards, FramingsThatDoNotHaveTheCommandAreRefusedUnsent)
{
    for (const Subject &subject : kSubjects)
        for (const char *settings : {"Iccmd=1\n", "Iccmd=2\n", "Iccmd=-1\n"})
        {
            SCOPED_TRACE(std::string(subject.name) + " " + settings);
            LineHost host(kNoTerminal, settings);
            Given given;
            const bool reached = !subject.unionForm.empty() && settings[6] == '1';
            EXPECT_EQ(reached ? -2 : -1008, subject.call(&host.device, &given));
            ExpectGiven(given, kNothing(0));
        }
}

TEST(MemoryCards, NullOutputsAreSkipped)
{
    for (const char *iccmd : {"Iccmd=0\n", "Iccmd=1\n"})
    {
        const bool krel = iccmd[6] == '0';
        const auto frame = krel ? KrelFrame : UnionFrame;
        const std::string good = frame(krel ? "00 7E" : "00 00 7E");
        GoldenLine line{{frame(krel ? "41" : "32 41 00 00"), good},
                        {frame(krel ? "43 01" : "32 43 01"), good},
                        {frame(krel ? "45 01" : "32 45 01"), good}};
        LineHost host(line, iccmd);
        EXPECT_EQ(0, M1_PowerOn(&host.device, nullptr, nullptr, kEnoughMs));
        EXPECT_EQ(0, M1_ReadBlock(&host.device, 1, nullptr, nullptr, kEnoughMs));
        EXPECT_EQ(0, M1_ReadValue(&host.device, 1, nullptr, nullptr, kEnoughMs));
    }
    GoldenLine line{{KrelFrame("51"), KrelFrame("00 7E")}, {KrelFrame("58"), KrelFrame("00 7E")}};
    LineHost host(line, "Iccmd=0\n");
    EXPECT_EQ(0, M0_PowerOn(&host.device, nullptr, nullptr, kEnoughMs));
    EXPECT_EQ(0, M0_ChcekCardType(&host.device, 0, nullptr, kEnoughMs));
}

// ---- Answers of every length ----

namespace
{

// A frame with so many payload bytes of A1 behind `status`; the long form of KrelIc from 255 on.
std::string KrelAnswer(const std::string &status, size_t length)
{
    const std::string payload = (FromHex(status) + std::string(400, '\xA1')).substr(0, length);
    if (length < 255)
        return KrelFrame(ToHex(payload));
    const unsigned char head[] = {0x60, 0xFF, static_cast<unsigned char>(0xB0 + length - 255)};
    std::string text;
    for (char byte : std::string(reinterpret_cast<const char *>(head), 3) + payload + '\0')
        text += ToHex(std::string(1, byte)).substr(0, 2);
    return text + ETX;
}

std::string UnionAnswer(const std::string &status, size_t length)
{
    return UnionFrame(ToHex((FromHex(status) + std::string(400, '\xA1')).substr(0, length)));
}

// `count` bytes of A1, and nothing behind.
void ExpectData(Given *given, size_t count)
{
    EXPECT_EQ(count, given->length);
    const std::string data = given->room.Text(count + 1);
    EXPECT_EQ(std::string(count, '\xA1') + '\xEE', data);
}

const char *const kReading[] = {"M1_ReadBlock", "M1_ReadValue", "M0_ReadBlock", "M0_Interaction"};

} // namespace

TEST(MemoryCardsKrel, AnswersOfEveryLength)
{
    std::vector<GoldenExchange> rows;
    for (size_t length = 0; length <= 300; length++)
        rows.push_back({KrelFrame(Named(kReading[length % 4]).krelIc), KrelAnswer("00", length)});
    GoldenLine line(rows);
    LineHost host(line, "Iccmd=0\n");
    for (size_t length = 0; length <= 300; length++)
    {
        SCOPED_TRACE(length);
        Given given;
        EXPECT_EQ(0, Named(kReading[length % 4]).call(&host.device, &given));
        if (length == 0)
            ExpectGiven(given, kNothing(0));
        // The long form puts a status of success of its own before the payload, and tells one byte
        // less than there is then.
        else if (length >= 255)
            EXPECT_EQ(ToHex('\0' + std::string(length - 2, '\xA1')) + "EE ",
                      given.room.Hex(length));
        else
            ExpectData(&given, length - 1);
    }
}

TEST(MemoryCardsUnion, AnswersOfEveryLength)
{
    std::vector<GoldenExchange> rows;
    for (size_t length = 0; length <= 300; length++)
        rows.push_back(
            {UnionFrame(Named(kReading[length % 2]).unionForm), UnionAnswer("00 00", length)});
    GoldenLine line(rows);
    LineHost host(line, "Iccmd=1\n");
    for (size_t length = 0; length <= 300; length++)
    {
        SCOPED_TRACE(length);
        Given given;
        EXPECT_EQ(0, Named(kReading[length % 2]).call(&host.device, &given));
        ExpectData(&given, length < 2 ? 0 : length - 2);
    }
}

// The buffer of 256 bytes holds the answer as it comes over the wire.
TEST(MemoryCards, PowerOnTakes124BytesOfPayload)
{
    for (const char *name : {"M1_PowerOn", "M0_PowerOn"})
        for (size_t length : {124, 125, 200, 300})
        {
            SCOPED_TRACE(name + std::to_string(length));
            GoldenLine line{{KrelFrame(Named(name).krelIc), KrelAnswer("00", length)}};
            LineHost host(line, "Iccmd=0\n");
            Given given;
            EXPECT_EQ(length == 124 ? 0 : -22, Named(name).call(&host.device, &given));
            if (length == 124)
                ExpectData(&given, 123);
            else
                ExpectGiven(given, kNothing(-22));
        }
    for (size_t length : {124, 125})
    {
        GoldenLine line{{UnionFrame("32 41 00 00"), UnionAnswer("00 00", length)}};
        LineHost host(line, "Iccmd=1\n");
        Given given;
        EXPECT_EQ(length == 124 ? 0 : -22, Named("M1_PowerOn").call(&host.device, &given));
        EXPECT_EQ(length == 124 ? 124 : kUntouched, given.length);
    }
}

// ---- Parameters ----

namespace
{

void ExpectKrelCommand(const std::string &command, int result,
                       const std::function<int(DEVCONTEXT *device)> &call)
{
    SCOPED_TRACE(command);
    GoldenLine line{{KrelFrame(command), KrelFrame("00")}};
    LineHost host(line, "Iccmd=0\n");
    EXPECT_EQ(result, call(&host.device));
}

void ExpectUnionCommand(const std::string &command, int result,
                        const std::function<int(DEVCONTEXT *device)> &call)
{
    SCOPED_TRACE(command);
    GoldenLine line{{UnionFrame(command), UnionFrame("00 00")}};
    LineHost host(line, "Iccmd=1\n");
    EXPECT_EQ(result, call(&host.device));
}

void ExpectRefused(const std::string &settings, int result,
                   const std::function<int(DEVCONTEXT *device)> &call)
{
    LineHost host(kNoTerminal, settings);
    EXPECT_EQ(result, call(&host.device));
}

} // namespace

TEST(M1Verify, KrelTurnsTheKeyTypeIntoTheCardsCommand)
{
    const struct
    {
        int keyType;
        const char *command;
    } rows[] = {{0, "42 04 60 41"},
                {1, "42 04 61 41"},
                {2, "42 04 61 41"},
                {-1, "42 04 61 41"},
                {0x60, "42 04 61 41"}};
    for (const auto &row : rows)
        ExpectKrelCommand(row.command, 0,
                          [&](DEVCONTEXT *device)
                          { return M1_Verify(device, 4, row.keyType, "A", kEnoughMs); });
}

TEST(M1Verify, UnionSendsTheKeyTypeAsItIs)
{
    const struct
    {
        int keyType;
        const char *command;
    } rows[] = {{0, "32 42 04 00 41"},
                {1, "32 42 04 01 41"},
                {0x60, "32 42 04 60 41"},
                {0x161, "32 42 04 61 41"}};
    for (const auto &row : rows)
        ExpectUnionCommand(row.command, 0,
                           [&](DEVCONTEXT *device)
                           { return M1_Verify(device, 4, row.keyType, "A", kEnoughMs); });
}

TEST(M1Verify, AllCharactersOfTheKeyAreSent)
{
    std::vector<GoldenExchange> krel;
    std::vector<GoldenExchange> united;
    const std::string keys = "0123456789abcdefghijABCDEFGHIJ\xFF\x01\x80vwxyz!~";
    for (size_t length = 0; length <= 40; length++)
    {
        const std::string key = ToHex(keys.substr(0, length));
        krel.push_back({KrelFrame("42 04 60 " + key), KrelFrame("00")});
        united.push_back({UnionFrame("32 42 04 00 " + key), UnionFrame("00 00")});
    }
    for (const bool isUnion : {false, true})
    {
        GoldenLine line(isUnion ? united : krel);
        LineHost host(line, isUnion ? "Iccmd=1\n" : "Iccmd=0\n");
        for (size_t length = 0; length <= 40; length++)
            EXPECT_EQ(0, M1_Verify(&host.device, 4, 0, keys.substr(0, length).c_str(), kEnoughMs));
    }
}

TEST(M1Verify, AKeyThatNoCommandHoldsIsRefusedUnsent)
{
    const std::string fits(252, 'k'); // with the letter, the sector and the key type 255 bytes
    ExpectKrelCommand("42 04 60 " + ToHex(fits), 0,
                      [&](DEVCONTEXT *device)
                      { return M1_Verify(device, 4, 0, fits.c_str(), kEnoughMs); });
    for (size_t length : {253, 4096, 100000})
    {
        const std::string key(length, 'k');
        ExpectRefused("Iccmd=0\n", -22,
                      [&](DEVCONTEXT *device)
                      { return M1_Verify(device, 4, 0, key.c_str(), kEnoughMs); });
    }
    const std::string key(100000, 'k');
    ExpectRefused("Iccmd=1\n", -22,
                  [&](DEVCONTEXT *device)
                  { return M1_Verify(device, 4, 0, key.c_str(), kEnoughMs); });
    ExpectRefused("Iccmd=0\n", -22,
                  [](DEVCONTEXT *device) { return M1_Verify(device, 4, 0, nullptr, kEnoughMs); });
    ExpectRefused("Iccmd=2\n", -1008,
                  [](DEVCONTEXT *device) { return M1_Verify(device, 4, 0, nullptr, kEnoughMs); });
}

TEST(MemoryCards, NumbersGoOutAsTheirLowEightBits)
{
    const struct
    {
        int number;
        const char *byte;
    } rows[] = {{0, "00"}, {-1, "FF"}, {255, "FF"}, {256, "00"}, {0x7FFFFF12, "12"}};
    const uint32_t value = InMemory("01 02 03 04");
    for (const auto &row : rows)
    {
        const std::string byte = row.byte;
        const int number = row.number;
        ExpectKrelCommand("42 " + byte + " 60 41", 0,
                          [&](DEVCONTEXT *device)
                          { return M1_Verify(device, number, 0, "A", kEnoughMs); });
        ExpectKrelCommand("43 " + byte, 0,
                          [&](DEVCONTEXT *device)
                          { return M1_ReadBlock(device, number, nullptr, nullptr, kEnoughMs); });
        ExpectKrelCommand("44 " + byte + " 11", 0,
                          [&](DEVCONTEXT *device)
                          { return M1_WriteBlock(device, number, Bytes(kPage), 1, kEnoughMs); });
        ExpectUnionCommand("32 46 " + byte + " 01 02 03 04", 0,
                           [&](DEVCONTEXT *device)
                           { return M1_WriteValue(device, number, &value, kEnoughMs); });
        ExpectKrelCommand(
            "57 " + byte + " " + byte, 0,
            [&](DEVCONTEXT *device)
            { return M0_ReadBlock(device, number, number, nullptr, nullptr, kEnoughMs); });
        ExpectKrelCommand("54 " + byte + " 11", 0,
                          [&](DEVCONTEXT *device)
                          { return M0_WriteBlock(device, number, Bytes(kPage), 1, kEnoughMs); });
    }
}

TEST(MemoryCards, AmountsGoOutLeastSignificantByteFirst)
{
    const struct
    {
        int amount;
        const char *bytes;
    } rows[] = {{0, "00 00 00 00"},
                {-1, "FF FF FF FF"},
                {-2147483647 - 1, "00 00 00 80"},
                {2147483647, "FF FF FF 7F"}};
    for (const auto &row : rows)
    {
        ExpectUnionCommand(std::string("32 47 01 ") + row.bytes, 0,
                           [&](DEVCONTEXT *device)
                           { return M1_IncreaseValue(device, 1, row.amount, kEnoughMs); });
        ExpectKrelCommand(std::string("48 01 ") + row.bytes, 0,
                          [&](DEVCONTEXT *device)
                          { return M1_DecreaseValue(device, 1, row.amount, kEnoughMs); });
    }
}

TEST(MemoryCards, DataOfAnyLengthThatFitsIsSent)
{
    const std::string data(253, '\x5A');
    ExpectKrelCommand("44 01", 0,
                      [&](DEVCONTEXT *device)
                      { return M1_WriteBlock(device, 1, nullptr, 0, kEnoughMs); });
    ExpectKrelCommand("44 01 " + ToHex(data), 0,
                      [&](DEVCONTEXT *device)
                      { return M1_WriteBlock(device, 1, Bytes(data), 253, kEnoughMs); });
    ExpectKrelCommand("54 01 " + ToHex(data), 0,
                      [&](DEVCONTEXT *device)
                      { return M0_WriteBlock(device, 1, Bytes(data), 253, kEnoughMs); });
    ExpectKrelCommand(
        "56 FD " + ToHex(data), 0,
        [&](DEVCONTEXT *device)
        { return M0_Interaction(device, Bytes(data), 253, nullptr, nullptr, kEnoughMs); });
    ExpectKrelCommand("56 00", 0,
                      [&](DEVCONTEXT *device)
                      { return M0_Interaction(device, nullptr, 0, nullptr, nullptr, kEnoughMs); });
}

TEST(MemoryCards, DataThatIsMissingOrTooLongIsRefusedUnsent)
{
    const std::string data(8000, '\x5A');
    for (int length : {254, 255, 256, 4096, 8000, -1, -2147483647 - 1})
    {
        SCOPED_TRACE(length);
        ExpectRefused("Iccmd=0\n", -22,
                      [&](DEVCONTEXT *device)
                      { return M1_WriteBlock(device, 1, Bytes(data), length, kEnoughMs); });
        ExpectRefused("Iccmd=0\n", -22,
                      [&](DEVCONTEXT *device)
                      { return M0_WriteBlock(device, 1, Bytes(data), length, kEnoughMs); });
        ExpectRefused(
            "Iccmd=0\n", -22,
            [&](DEVCONTEXT *device)
            { return M0_Interaction(device, Bytes(data), length, nullptr, nullptr, kEnoughMs); });
    }
    ExpectRefused("Iccmd=1\n", -22,
                  [&](DEVCONTEXT *device)
                  { return M1_WriteBlock(device, 1, Bytes(data), 8000, kEnoughMs); });
    ExpectRefused("Iccmd=0\n", -22,
                  [](DEVCONTEXT *device)
                  { return M1_WriteBlock(device, 1, nullptr, 16, kEnoughMs); });
    ExpectRefused("Iccmd=0\n", -22,
                  [](DEVCONTEXT *device)
                  { return M0_Interaction(device, nullptr, 2, nullptr, nullptr, kEnoughMs); });
    for (const auto change : {M1_WriteValue, M1_Increment, M1_Decrement})
        ExpectRefused("Iccmd=1\n", -22,
                      [&](DEVCONTEXT *device) { return change(device, 1, nullptr, kEnoughMs); });
}

TEST(M0CardType, ThreeStatusesAreSuccesses)
{
    const struct
    {
        const char *answer;
        int result;
        const char *type; // EE: left alone
    } rows[] = {
        {"00 05", 0, "05 "},     {"01 07", 0, "07 "},     {"02 05", 0, "05 "},
        {"03 05", -5105, "EE "}, {"FF 05", -5105, "EE "}, {"00 05 06", 0, "05 "},
        {"02", 0, "00 "},        {"00", 0, "00 "},        {"", 0, "EE "},
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.answer);
        GoldenLine line{{KrelFrame("58"), KrelFrame(row.answer)}};
        LineHost host(line, "Iccmd=0\n");
        Room type;
        EXPECT_EQ(row.result, M0_ChcekCardType(&host.device, 7, type.Data(), kEnoughMs));
        EXPECT_EQ(std::string(row.type) + "EE ", type.Hex(2)) << "one byte";
    }
}

TEST(MemoryCards, TheTimeOutIsTheCallers)
{
    GoldenLine line{{KrelFrame("43 01"), ""}};
    LineHost host(line, "Iccmd=0\n");
    const uint64_t start = GetTickCount();
    EXPECT_EQ(-74, M1_ReadBlock(&host.device, 1, nullptr, nullptr, 50));
    EXPECT_GE(GetTickCount() - start, 50U);
    EXPECT_LT(GetTickCount() - start, 2000U);
}
