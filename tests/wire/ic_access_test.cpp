// IC cards, as rows of command, answer, result.
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

// Each operation behind one shape: what it gives goes to `data` and `length`.
using Operation = int (*)(DEVCONTEXT *device, unsigned char *data, uint32_t *length);

int PowerOn(DEVCONTEXT *device, unsigned char *data, uint32_t *length)
{
    return IC_PowerOn(device, data, length, kEnoughMs);
}

int RfPowerOn(DEVCONTEXT *device, unsigned char *data, uint32_t *length)
{
    return IC_RFPowerOn(device, data, length, kEnoughMs);
}

int PowerOff(DEVCONTEXT *device, unsigned char *, uint32_t *)
{
    return IC_PowerOff(device, kEnoughMs);
}

int RfPowerOff(DEVCONTEXT *device, unsigned char *, uint32_t *)
{
    return IC_RFPowerOff(device, kEnoughMs);
}

int Apdu(DEVCONTEXT *device, unsigned char *data, uint32_t *length)
{
    return IC_APDU(device, Bytes(kChallenge), Length(kChallenge), data, length, kEnoughMs);
}

int RfApdu(DEVCONTEXT *device, unsigned char *data, uint32_t *length)
{
    return IC_RFAPDU(device, Bytes(kChallenge), Length(kChallenge), data, length, kEnoughMs);
}

int CardDetect(DEVCONTEXT *device, unsigned char *, uint32_t *length)
{
    return IC_CardDetect(device, 0xFF, reinterpret_cast<int32_t *>(length), kEnoughMs);
}

struct Subject
{
    const char *name;
    Operation call;
    std::string krelIc; // the command on the wire, slot 0; empty: there is none
    std::string unionForm;
};

const Subject kPowerOn = {"power on", PowerOn, "6002E10182" ETX, STX "0005322200000010" ETX};
const Subject kRfPowerOn = {"RF power on", RfPowerOn, "6001D1B0" ETX, STX "00043224000016" ETX};
const Subject kPowerOff = {"power off", PowerOff, "6002E20181" ETX, STX "000332230011" ETX};
const Subject kRfPowerOff = {"RF power off", RfPowerOff, "6001D2B3" ETX, STX "00043225000017" ETX};
const Subject kApdu = {"APDU", Apdu, "6007E301008400000809" ETX, STX "0008322600008400000898" ETX};
const Subject kRfApdu = {"RF APDU", RfApdu, "6006D3008400000839" ETX,
                         STX "00083226??008400000867" ETX};
const Subject kCardDetect = {"card detect", CardDetect, "", STX "00033221?\?><" ETX};

const Subject kAll[] = {kPowerOn, kRfPowerOn, kPowerOff, kRfPowerOff, kApdu, kRfApdu, kCardDetect};
const Subject kGiving[] = {kPowerOn, kRfPowerOn, kApdu, kRfApdu};

void ExpectOutcome(const std::string &settings, const Subject &subject, const std::string &command,
                   const std::string &answer, int result, uint32_t length, const std::string &hex)
{
    SCOPED_TRACE(std::string(subject.name) + ", answer " + answer);
    GoldenLine line{{command, answer}};
    LineHost host(line, settings);
    Room room;
    uint32_t given = kUntouched;
    EXPECT_EQ(subject.call(&host.device, room.Data(), &given), result);
    EXPECT_EQ(given, length);
    EXPECT_EQ(room.Hex(hex.size() / 3), hex);
}

void ExpectKrel(const Subject &subject, const std::string &answer, int result,
                uint32_t length = kUntouched, const std::string &hex = "EE ")
{
    ExpectOutcome("Iccmd=0\n", subject, subject.krelIc, answer, result, length, hex);
}

void ExpectUnion(const Subject &subject, const std::string &answer, int result,
                 uint32_t length = kUntouched, const std::string &hex = "EE ")
{
    ExpectOutcome("Iccmd=1\n", subject, subject.unionForm, answer, result, length, hex);
}

struct Row
{
    const Subject &subject;
    std::string answer;
    int result;
};

} // namespace

TEST(IcAccessKrel, SuccessGivesWhatFollowsTheStatus)
{
    for (const Subject &subject : kGiving)
    {
        ExpectKrel(subject, "6004003B65003A" ETX, 0, 3, "3B 65 00 EE ");
        ExpectKrel(subject, "60010061" ETX, 0, 0);
    }
    ExpectKrel(kPowerOff, "6004003B65003A" ETX, 0);
    ExpectKrel(kRfPowerOff, "60010061" ETX, 0);
}

TEST(IcAccessUnion, SuccessGivesWhatFollowsTheStatusPair)
{
    for (const Subject &subject : kGiving)
    {
        ExpectUnion(subject, STX "000500003;65005>" ETX, 0, 3, "3B 65 00 EE ");
        ExpectUnion(subject, STX "0002000000" ETX, 0, 0);
    }
    ExpectUnion(kPowerOff, STX "000500003;65005>" ETX, 0);
    ExpectUnion(kRfPowerOff, STX "0002000000" ETX, 0);
}

TEST(IcAccessKrel, IsTheDefaultFraming)
{
    ExpectOutcome("", kPowerOn, kPowerOn.krelIc, "6002003B59" ETX, 0, 1, "3B EE ");
}

TEST(IcAccessKrel, Statuses)
{
    const Row rows[] = {
        {kPowerOn, "6001A2C3" ETX, -4000},  {kRfPowerOn, "6001A2C3" ETX, -4000},
        {kPowerOff, "6001A2C3" ETX, -4002}, {kRfPowerOff, "6001A2C3" ETX, -4002},
        {kApdu, "6001A2C3" ETX, -4006},     {kRfApdu, "6001A2C3" ETX, -4006},
        {kPowerOn, "6001FB9A" ETX, -4005},  {kRfPowerOn, "6001FB9A" ETX, -4005},
        {kPowerOff, "6001FB9A" ETX, -4005}, {kRfPowerOff, "6001FB9A" ETX, -4005},
        {kApdu, "6001FB9A" ETX, -4005},     {kRfApdu, "6001FB9A" ETX, -4005},
        {kPowerOff, "60015534" ETX, -99},   {kRfPowerOff, "60010160" ETX, -99},
        {kApdu, "60015534" ETX, -99},       {kRfApdu, "6003FF900013" ETX, -99},
    };
    for (const Row &row : rows)
        ExpectKrel(row.subject, row.answer, row.result);
}

TEST(IcAccessKrel, PowerOnGivesTheReplyLengthForAnUnknownStatus)
{
    ExpectKrel(kPowerOn,
               "6003550000"
               "36" ETX,
               3);
    ExpectKrel(kRfPowerOn,
               "6003550000"
               "36" ETX,
               3);
    ExpectKrel(kPowerOn, "60010160" ETX, 1);
}

TEST(IcAccessKrel, EmptyReplyAndLinkFailureAreReturned)
{
    for (const Subject &subject : kAll)
    {
        if (subject.krelIc.empty())
            continue;
        ExpectKrel(subject, "600060" ETX, 0);
        ExpectKrel(subject, "x" ETX, -74);
    }
}

TEST(IcAccessUnion, Statuses)
{
    const Row rows[] = {
        {kPowerOn, STX "0002100111" ETX, -4000},
        {kPowerOn, STX "0002100212" ETX, -4005},
        {kPowerOn, STX "0002100515" ETX, -4000},
        {kPowerOn, STX "0002100313" ETX, -99},
        {kPowerOn, STX "0002300838" ETX, -99}, // a contactless status
        {kRfPowerOn, STX "0002300838" ETX, -4000},
        {kRfPowerOn, STX "0002300535" ETX, -4005},
        {kRfPowerOn, STX "0002300131" ETX, -99},
        {kRfPowerOn, STX "0002100111" ETX, -99},
        {kPowerOff, STX "0002100111" ETX, -4002},
        {kPowerOff, STX "0002100212" ETX, -99},
        {kPowerOff, STX "0002300131" ETX, -99},
        {kRfPowerOff, STX "0002300131" ETX, -4002},
        {kRfPowerOff, STX "0002300434" ETX, -4004},
        {kRfPowerOff, STX "0002300636" ETX, -4005},
        {kRfPowerOff, STX "0002300737" ETX, -4002},
        {kRfPowerOff, STX "0002300232" ETX, -99},
        {kRfPowerOff, STX "0002300535" ETX, -99},
        {kApdu, STX "0002100111" ETX, -4006},
        {kApdu, STX "0002100212" ETX, -4005},
        {kApdu, STX "0002100414" ETX, -4004},
        {kApdu, STX "0002100616" ETX, -4005},
        {kApdu, STX "0002100717" ETX, -4006},
        {kApdu, STX "0002100313" ETX, -99},
        {kApdu, STX "0002100515" ETX, -99},
        {kApdu, STX "0002300131" ETX, -99},
        {kRfApdu, STX "0002300131" ETX, -4006},
        {kRfApdu, STX "0002300434" ETX, -4004},
        {kRfApdu, STX "0002300636" ETX, -4005},
        {kRfApdu, STX "0002300737" ETX, -4006},
        {kRfApdu, STX "0002300232" ETX, -99},
        {kRfApdu, STX "0002300535" ETX, -99},
        {kRfApdu, STX "0002100111" ETX, -99},
        {kCardDetect, STX "0002100111" ETX, -99},
        {kCardDetect, STX "0002000101" ETX, -99},
        // Half a status pair is no success.
        {kPowerOn, STX "0002000101" ETX, -99},
        {kPowerOn, STX "0002100010" ETX, -99},
        {kApdu, STX "000400019000" ETX, -99},
    };
    for (const Row &row : rows)
        ExpectUnion(row.subject, row.answer, row.result);
}

TEST(IcAccessUnion, ShortReplyReadsAsZeroStatusWithoutData)
{
    for (const Subject &subject : kGiving)
    {
        ExpectUnion(subject, STX "000000" ETX, 0, 0);
        ExpectUnion(subject, STX "00010000" ETX, 0, 0);
    }
    ExpectUnion(kPowerOn, STX "00011010" ETX, -99);
    ExpectUnion(kPowerOff, STX "000000" ETX, 0);
    ExpectUnion(kCardDetect, STX "000000" ETX, 0, 0);
}

TEST(IcAccessUnion, LinkFailureIsReturned)
{
    for (const Subject &subject : kAll)
        ExpectUnion(subject, "x" ETX, -74);
}

TEST(IcAccess, OtherFramingIsRefusedUnsent)
{
    for (const Subject &subject : kAll)
        for (const char *settings : {"Iccmd=2\n", "Iccmd=-1\n"})
        {
            GoldenLine line{};
            LineHost host(line, settings);
            Room room;
            uint32_t length = kUntouched;
            EXPECT_EQ(subject.call(&host.device, room.Data(), &length), -1008) << subject.name;
            EXPECT_EQ(length, kUntouched);
        }
}

TEST(IcAccess, OpenFailuresAreReturned)
{
    for (const Subject &subject : kAll)
    {
        LineHost host(kNoTerminal, "Iccmd=1\n");
        Room room;
        uint32_t length = kUntouched;
        EXPECT_EQ(subject.call(&host.device, room.Data(), &length), -2) << subject.name;
        DC_SetInterfaceType(&host.device, "");
        EXPECT_EQ(subject.call(&host.device, room.Data(), &length), -19) << subject.name;
    }
}

TEST(IcAccess, FramingIsReadAfreshAtEveryCall)
{
    GoldenLine line{{"6002E10182" ETX, "60010061" ETX},
                    {STX "0005322200000010" ETX, STX "0002000000" ETX}};
    LineHost host(line, "Iccmd=0\n");
    Room room;
    uint32_t length = 0;
    EXPECT_EQ(PowerOn(&host.device, room.Data(), &length), 0);
    host.Settings("Iccmd=1\n");
    EXPECT_EQ(PowerOn(&host.device, room.Data(), &length), 0);
}

TEST(IcAccess, TimeoutIsHandedToTheLink)
{
    const struct
    {
        const Subject &subject;
        int (*call)(DEVCONTEXT *device, unsigned char *data, uint32_t *length, uint32_t timeoutMs);
    } rows[] = {
        {kPowerOn, IC_PowerOn},
        {kRfPowerOn, IC_RFPowerOn},
        {kPowerOff, [](DEVCONTEXT *device, unsigned char *, uint32_t *, uint32_t timeoutMs)
         { return IC_PowerOff(device, timeoutMs); }},
        {kRfPowerOff, [](DEVCONTEXT *device, unsigned char *, uint32_t *, uint32_t timeoutMs)
         { return IC_RFPowerOff(device, timeoutMs); }},
        {kApdu,
         [](DEVCONTEXT *device, unsigned char *data, uint32_t *length, uint32_t timeoutMs) {
             return IC_APDU(device, Bytes(kChallenge), Length(kChallenge), data, length, timeoutMs);
         }},
        {kRfApdu,
         [](DEVCONTEXT *device, unsigned char *data, uint32_t *length, uint32_t timeoutMs) {
             return IC_RFAPDU(device, Bytes(kChallenge), Length(kChallenge), data, length,
                              timeoutMs);
         }},
        {kCardDetect, [](DEVCONTEXT *device, unsigned char *, uint32_t *length, uint32_t timeoutMs)
         { return IC_CardDetect(device, 0xFF, reinterpret_cast<int32_t *>(length), timeoutMs); }},
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.subject.name);
        GoldenLine line{{row.subject.unionForm, ""}};
        LineHost host(line, "Iccmd=1\n");
        Room room;
        uint32_t length = kUntouched;
        const uint64_t start = GetTickCount();
        EXPECT_EQ(row.call(&host.device, room.Data(), &length, 30), -74);
        EXPECT_GE(GetTickCount() - start, 30U);
        EXPECT_LT(GetTickCount() - start, 900U);
        EXPECT_EQ(length, kUntouched);
    }
}

TEST(IcAccess, NullOutputsAreSkipped)
{
    GoldenLine line{{"6002E10182" ETX, "6004003B65003A" ETX},
                    {STX "00033221?\?><" ETX, STX "0004000011121;" ETX}};
    LineHost host(line, "Iccmd=0\n");
    EXPECT_EQ(IC_PowerOn(&host.device, nullptr, nullptr, kEnoughMs), 0);
    host.Settings("Iccmd=1\n");
    EXPECT_EQ(IC_CardDetect(&host.device, 0xFF, nullptr, kEnoughMs), 0);
}

TEST(IcSlot, SlotByteOfEachSlot)
{
    const struct
    {
        uint32_t slot;
        std::string krelIc;    // E1 and the slot byte
        std::string unionForm; // the slot itself
    } rows[] = {
        {0, "6002E10182" ETX, STX "0005322200000010" ETX},
        {1, "6002E10281" ETX, STX "0005322200000111" ETX},
        {15, "6002E11093" ETX, STX "0005322200000?1?" ETX},
        {16, "6002E10083" ETX, STX "0005322200001000" ETX},
        {17, "6002E10487" ETX, STX "0005322200001101" ETX},
        {31, "6002E11291" ETX, STX "0005322200001?0?" ETX},
        {32, "6002E10182" ETX, STX "0005322200002030" ETX},
        {40, "6002E10182" ETX, STX "0005322200002838" ETX},
        {0xFFFFFFFF, "6002E10182" ETX, STX "000532220000?\?>?" ETX},
        {0x105, "6002E10182" ETX, STX "0005322200000515" ETX},
    };
    for (const auto &row : rows)
    {
        SCOPED_TRACE(row.slot);
        GoldenLine line{{row.krelIc, "60010061" ETX}, {row.unionForm, STX "0002000000" ETX}};
        LineHost host(line, "Iccmd=0\n");
        Room room;
        uint32_t length = 0;
        IC_SetSlot(row.slot);
        EXPECT_EQ(g_Slot, row.slot);
        EXPECT_EQ(PowerOn(&host.device, room.Data(), &length), 0);
        host.Settings("Iccmd=1\n");
        EXPECT_EQ(PowerOn(&host.device, room.Data(), &length), 0);
    }
    IC_SetSlot(0);
}

TEST(IcSlot, AllContactCommandsCarryItAndTheOthersDoNot)
{
    GoldenLine line{{"6002E20A8A" ETX, "60010061" ETX},
                    {"6007E30A008400000802" ETX, "60010061" ETX},
                    {"6001D1B0" ETX, "60010061" ETX},
                    {"6001D2B3" ETX, "60010061" ETX},
                    {"6006D3008400000839" ETX, "60010061" ETX},
                    {STX "000332230918" ETX, STX "0002000000" ETX},
                    {STX "0008322609008400000891" ETX, STX "0002000000" ETX},
                    {STX "00043224000016" ETX, STX "0002000000" ETX},
                    {STX "00043225000017" ETX, STX "0002000000" ETX},
                    {STX "00083226??008400000867" ETX, STX "0002000000" ETX}};
    LineHost host(line, "");
    IC_SetSlot(9);
    for (const char *settings : {"Iccmd=0\n", "Iccmd=1\n"})
    {
        host.Settings(settings);
        for (Operation call : {PowerOff, Apdu, RfPowerOn, RfPowerOff, RfApdu})
        {
            Room room;
            uint32_t length = 0;
            EXPECT_EQ(call(&host.device, room.Data(), &length), 0);
        }
    }
    IC_SetSlot(0);
}

TEST(IcSlot, StartsAtZeroAndSendsNothing)
{
    EXPECT_EQ(g_Slot, 0U);
    EXPECT_EQ(g_IcType, 0);
    IC_SetSlot(7);
    EXPECT_EQ(g_Slot, 7U);
    IC_SetSlot(0);
}

TEST(IcPowerOn, LongReplyThanTheRoomOf256BytesIsRefused)
{
    GoldenLine line{{kPowerOn.unionForm, STX "007=" + std::string(250, '0') + "00" ETX},
                    {kPowerOn.unionForm, STX "007<" + std::string(248, '0') + "00" ETX}};
    LineHost host(line, "Iccmd=1\n");
    Room room;
    uint32_t length = kUntouched;
    EXPECT_EQ(PowerOn(&host.device, room.Data(), &length), -22);
    EXPECT_EQ(length, kUntouched);
    EXPECT_EQ(PowerOn(&host.device, room.Data(), &length), 0);
    EXPECT_EQ(length, 122U);
}

TEST(IcCardDetect, WhichCardsArePresent)
{
    const struct
    {
        std::string answer;
        uint32_t result;
    } rows[] = {
        {STX "0004000000"
             "00"
             "00" ETX,
         0},
        {STX "0004000011"
             "00"
             "11" ETX,
         1},
        {STX "0004000011"
             "12"
             "03" ETX,
         1},
        {STX "0004000012"
             "00"
             "12" ETX,
         2},
        {STX "0004000012"
             "12"
             "00" ETX,
         2},
        {STX "0004000000"
             "12"
             "12" ETX,
         3},
        {STX "0004000055"
             "12"
             "47" ETX,
         3},
        {STX "0004000000"
             "11"
             "11" ETX,
         0},
        {STX "0003000011"
             "11" ETX,
         1},
        {STX "0003000000"
             "12" ETX,
         0}, // the check byte is no reply byte
    };
    for (const auto &row : rows)
        ExpectUnion(kCardDetect, row.answer, 0, row.result);
}

TEST(IcCardDetect, SendsTheKindItIsGiven)
{
    GoldenLine line{{STX "000332210112" ETX, STX "0004000011001"
                                                 "1" ETX}};
    LineHost host(line, "Iccmd=1\n");
    int32_t result = -1;
    EXPECT_EQ(IC_CardDetect(&host.device, 0x01, &result, kEnoughMs), 0);
    EXPECT_EQ(result, 1);
}

TEST(IcCardDetect, KrelIcHasNoSuchCommand)
{
    GoldenLine line{};
    LineHost host(line, "Iccmd=0\n");
    int32_t result = 77;
    EXPECT_EQ(IC_CardDetect(&host.device, 0xFF, &result, 10), -1008);
    EXPECT_EQ(result, 77);
}
