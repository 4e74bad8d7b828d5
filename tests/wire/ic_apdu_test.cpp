// APDUs: what they carry at most, what comes back at most.
#include "vantor/operations.h"

#include <gtest/gtest.h>

#include "wire/line_host.h"
#include "wire/room.h"

using testing_support::FromHex;
using testing_support::GoldenLine;
using wire_testing::Bytes;
using wire_testing::kNoTerminal;
using wire_testing::Length;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

const uint32_t kEnoughMs = 5000;
const uint32_t kUntouched = 0xDEADBEEF;

const std::string kChallenge = FromHex("00 84 00 00 08"); // GET CHALLENGE
const std::string kChallengeKrel = "6007E301008400000809" ETX;
const std::string kChallengeUnion = STX "0008322600008400000898" ETX;

int SendChallenge(LineHost *host, Room *room, uint32_t *length)
{
    return IC_APDU(&host->device, Bytes(kChallenge), Length(kChallenge), room->Data(), length,
                   kEnoughMs);
}

} // namespace

// SELECT 1PAY.SYS.DDF01 as a published session with a UnionPay contact test card has it
// (github.com/binaryfoo/emv-bertlv, src/test/resources/cases/contact-upi-in.txt).
TEST(IcApdu, RecordedSelectInBothFramingsAndInterfaces)
{
    const std::string select = FromHex("00A404000E315041592E5359532E444446303100");
    const std::string answer = "6F 15 84 0E 31 50 41 59 2E 53 59 53 2E 44 44 46 30 31 A5 03 88 01 "
                               "01 90 00 ";
    const std::string krelAnswer = "601A006F15840E315041592E5359532E4444463031A503880101900053" ETX;
    const std::string unionAnswer =
        STX "001;00006?15840>315041592>5359532>4444463031:503880101900029" ETX;
    GoldenLine line{{"6016E30100A404000E315041592E5359532E4444463031005D" ETX, krelAnswer},
                    {"6015D300A404000E315041592E5359532E4444463031006F" ETX, krelAnswer},
                    {STX "001732260000:404000>315041592>5359532>444446303100==" ETX, unionAnswer},
                    {STX "00173226??00:404000>315041592>5359532>44444630310022" ETX, unionAnswer}};
    LineHost host(line, "");
    for (const char *settings : {"Iccmd=0\n", "Iccmd=1\n"})
    {
        host.Settings(settings);
        for (auto *exchange : {IC_APDU, IC_RFAPDU})
        {
            Room room;
            uint32_t length = 0;
            ASSERT_EQ(exchange(&host.device, Bytes(select), Length(select), room.Data(), &length,
                               kEnoughMs),
                      0);
            EXPECT_EQ(length, 25U);
            EXPECT_EQ(room.Hex(26), answer + "EE ");
        }
    }
}

// The reader's long form: 255 bytes with the status, more behind B0. What the card answered comes
// out whole.
TEST(IcApdu, LongFormAnswerComesOutWhole)
{
    std::string card;
    for (int i = 0; i < 128; i++)
        card += "4142";
    card += "9000"; // 258 bytes, 259 with the status: 255 + (B4 - B0)
    GoldenLine line{{kChallengeKrel, "60FFB4" + card + "00" ETX}};
    LineHost host(line, "");
    Room room;
    uint32_t length = 0;
    ASSERT_EQ(SendChallenge(&host, &room, &length), 0);
    EXPECT_EQ(length, 258U);
    EXPECT_EQ(room.Text(2), "AB");
    EXPECT_EQ(testing_support::ToHex(room.Text(259).substr(254)), "41 42 90 00 EE ");
}

TEST(IcApdu, ReplyOfMoreThan256WireBytesFits)
{
    GoldenLine line{{kChallengeUnion, STX "01040000" + std::string(512, '1') + "9000" + "90" ETX}};
    LineHost host(line, "Iccmd=1\n");
    Room room;
    uint32_t length = 0;
    ASSERT_EQ(SendChallenge(&host, &room, &length), 0);
    EXPECT_EQ(length, 258U);
}

TEST(IcApdu, ClaimedReplyOf4096BytesReadsAsZeroAndNoMoreIsTaken)
{
    GoldenLine line{{kChallengeUnion, STX "100000001100" ETX},
                    {kChallengeUnion, STX "100100001100" ETX}};
    LineHost host(line, "Iccmd=1\n");
    Room room;
    uint32_t length = kUntouched;
    ASSERT_EQ(SendChallenge(&host, &room, &length), 0);
    EXPECT_EQ(length, 4094U);
    EXPECT_EQ(room.Hex(3), "11 00 00 ");
    EXPECT_EQ(room.bytes[4093], 0x00);
    EXPECT_EQ(room.bytes[4094], 0xEE);
    EXPECT_EQ(SendChallenge(&host, &room, &length), -22);
}

TEST(IcApdu, LengthsBeyondTheCommandBufferAreRefusedBeforeTheDeviceIsOpened)
{
    const std::string apdu(5000, '\0');
    Room room;
    uint32_t length = kUntouched;
    LineHost host(kNoTerminal, "");
    const auto contact = [&](int size)
    { return IC_APDU(&host.device, Bytes(apdu), size, room.Data(), &length, 10); };
    const auto contactless = [&](int size)
    { return IC_RFAPDU(&host.device, Bytes(apdu), size, room.Data(), &length, 10); };
    // A KrelIc command has 255 bytes at most.
    EXPECT_EQ(contact(253), -2);
    EXPECT_EQ(contact(254), -22);
    EXPECT_EQ(contactless(254), -2);
    EXPECT_EQ(contactless(255), -22);
    EXPECT_EQ(contact(4095), -22);
    EXPECT_EQ(contact(2147483647), -22);
    EXPECT_EQ(contact(-1), -22);
    host.Settings("Iccmd=1\n");
    // 4093 bytes fill the command buffer.
    EXPECT_EQ(contact(4093), -2);
    EXPECT_EQ(contact(4094), -22);
    EXPECT_EQ(contactless(4093), -2);
    EXPECT_EQ(contactless(4094), -22);
    EXPECT_EQ(contact(2147483647), -22);
    EXPECT_EQ(contact(-1), -22);
    EXPECT_EQ(IC_APDU(&host.device, nullptr, 5, room.Data(), &length, 10), -22);
    EXPECT_EQ(length, kUntouched);
}

TEST(IcApdu, LongestCommandsThatTheFramingsCarry)
{
    const std::string apdu(1100, '\0');
    GoldenLine line{{"60FFE301" + std::string(506, '0') + "7D" ETX, "60010061" ETX},
                    {STX "03?<322600" + std::string(2034, '0') + "14" ETX, STX "0002000000" ETX}};
    LineHost host(line, "");
    Room room;
    uint32_t length = 0;
    EXPECT_EQ(IC_APDU(&host.device, Bytes(apdu), 253, room.Data(), &length, kEnoughMs), 0);
    host.Settings("Iccmd=1\n");
    EXPECT_EQ(IC_APDU(&host.device, Bytes(apdu), 1017, room.Data(), &length, kEnoughMs), 0);
    EXPECT_EQ(IC_APDU(&host.device, Bytes(apdu), 1018, room.Data(), &length, kEnoughMs), -22);
}

TEST(IcApdu, EmptyApduSendsItsHeadAlone)
{
    GoldenLine line{{"6002E30180" ETX, "60010061" ETX}};
    LineHost host(line, "");
    Room room;
    uint32_t length = kUntouched;
    EXPECT_EQ(IC_APDU(&host.device, nullptr, 0, room.Data(), &length, kEnoughMs), 0);
    EXPECT_EQ(length, 0U);
}
