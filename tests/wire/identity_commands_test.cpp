// The identity module's commands, as rows of command, reply, result.
#include "vantor/identity_operations.h"

#include <cstring>
#include <gtest/gtest.h>

#include "support/identity_card.h"
#include "wire/line_host.h"
#include "wire/room.h"

using testing_support::FromHex;
using testing_support::GoldenLine;
using testing_support::IdentityCard;
using testing_support::IdentityFrame;
using testing_support::ResidentCard;
using wire_testing::kNoTerminal;
using wire_testing::LineHost;
using wire_testing::Room;

namespace
{

const uint32_t kEnoughMs = 5000;
const uint32_t kShortMs = 200; // time for a reader on a busy machine
const int32_t kUntouched = -7777;

const std::string kReset = FromHex("AAAAAA96690003 11FF ED");
const std::string kFind = FromHex("AAAAAA96690003 2001 22");
const std::string kSelect = FromHex("AAAAAA96690003 2002 21");
const std::string kRead = FromHex("AAAAAA96690003 3001 32");
const std::string kReadWithFingerprint = FromHex("AAAAAA96690003 3010 23");

using Command = int (*)(DEVCONTEXT *, uint32_t);
using Read = int (*)(DEVCONTEXT *, unsigned char *, int32_t *, uint32_t);

std::string Status(const std::string &hex)
{
    return IdentityFrame(FromHex(hex));
}

int Send(Command command, const std::string &frame, const std::string &reply,
         uint32_t timeoutMs = kEnoughMs)
{
    GoldenLine line{{frame, reply}};
    LineHost host(line, "");
    return command(&host.device, timeoutMs);
}

int SetBaud(int baud, const std::string &frame, const std::string &reply)
{
    GoldenLine line{{frame, reply}};
    LineHost host(line, "");
    return ID_SetIdBaud(&host.device, baud, kEnoughMs);
}

struct Record
{
    int result = 0;
    int32_t length = kUntouched;
    Room raw;
};

void ReadRecord(Read read, const std::string &frame, const std::string &reply, Record *record,
                uint32_t timeoutMs = kEnoughMs)
{
    GoldenLine line{{frame, reply}};
    LineHost host(line, "");
    record->result = read(&host.device, record->raw.Data(), &record->length, timeoutMs);
}

} // namespace

TEST(IdentityReset, OnlyItsSuccessIsOne)
{
    EXPECT_EQ(Send(ID_ResetCard, kReset, FromHex("AAAAAA96690004 000090 94")), 0);
    EXPECT_EQ(Send(ID_ResetCard, kReset, Status("00009F")), -3000);
    EXPECT_EQ(Send(ID_ResetCard, kReset, Status("000080")), -3000);
    EXPECT_EQ(Send(ID_ResetCard, kReset, Status("000091")), -3000);
    EXPECT_EQ(Send(ID_ResetCard, kReset, Status("010090")), -3000);
    EXPECT_EQ(Send(ID_ResetCard, kReset, Status("000190")), -3000);
}

TEST(IdentityFind, TellsNoCardFromOtherFailures)
{
    EXPECT_EQ(Send(ID_FindCard, kFind, FromHex("AAAAAA96690008 00009F 00000000 97")), 0);
    EXPECT_EQ(Send(ID_FindCard, kFind, FromHex("AAAAAA96690004 000080 84")), -3001);
    EXPECT_EQ(Send(ID_FindCard, kFind, Status("000090")), -3002);
    EXPECT_EQ(Send(ID_FindCard, kFind, Status("000081")), -3002);
    EXPECT_EQ(Send(ID_FindCard, kFind, Status("010080")), -3002);
}

TEST(IdentitySelect, TellsNoCardFromOtherFailures)
{
    EXPECT_EQ(Send(ID_SelectCard, kSelect, Status("000090 0000000000000000")), 0);
    EXPECT_EQ(Send(ID_SelectCard, kSelect, Status("000081")), -3001);
    EXPECT_EQ(Send(ID_SelectCard, kSelect, Status("000080")), -3002);
    EXPECT_EQ(Send(ID_SelectCard, kSelect, Status("00009F")), -3002);
}

TEST(IdentityCommands, AReplyWithoutAStatusIsAFailure)
{
    EXPECT_EQ(Send(ID_ResetCard, kReset, FromHex("AAAAAA96690000")), -3000);
    EXPECT_EQ(Send(ID_FindCard, kFind, FromHex("AAAAAA96690001 01")), -3002);
    EXPECT_EQ(Send(ID_SelectCard, kSelect, FromHex("AAAAAA96690003 0000 03")), -3002);
    EXPECT_EQ(Send(ID_ResetCard, kReset, FromHex("AAAAAA96680004 000090 94"), kShortMs), 0)
        << "a wrong mark: the eighth byte on is taken as the payload";
}

TEST(IdentityCommands, TheLinksResultIsGivenAsItIs)
{
    EXPECT_EQ(Send(ID_ResetCard, kReset, "", kShortMs), -62);
    EXPECT_EQ(Send(ID_FindCard, kFind, "", kShortMs), -62);
    EXPECT_EQ(Send(ID_SelectCard, kSelect, "", kShortMs), -62);
    EXPECT_EQ(ID_ResetCard(nullptr, kShortMs), -19);
    LineHost host(kNoTerminal, "");
    EXPECT_EQ(ID_FindCard(&host.device, kShortMs), -2);
    unsigned char raw[4096];
    int32_t length = kUntouched;
    EXPECT_EQ(ID_ReadCard(&host.device, raw, &length, kShortMs), -2);
    EXPECT_EQ(ID_ReadCard_FP(&host.device, raw, &length, kShortMs), -2);
    EXPECT_EQ(length, kUntouched);
}

TEST(IdentityCommands, AReplyOf255BytesOfPayloadFitsAndOneMoreDoesNot)
{
    EXPECT_EQ(Send(ID_FindCard, kFind, IdentityFrame(FromHex("00009F") + std::string(252, 'x'))),
              0);
    EXPECT_EQ(Send(ID_FindCard, kFind, IdentityFrame(FromHex("00009F") + std::string(253, 'x'))),
              -22);
}

TEST(IdentityRead, GivesTheRecordBehindTheLengths)
{
    const IdentityCard card = ResidentCard();
    Record record;
    ReadRecord(ID_ReadCard, kRead, IdentityFrame(card.Payload()), &record);
    EXPECT_EQ(record.result, 0);
    EXPECT_EQ(record.length, 1288); // 1295 received, less 7
    EXPECT_EQ(record.raw.Text(1280), card.text + card.photo);
    EXPECT_EQ(record.raw.Hex(1290).substr(3 * 1280), "00 00 00 00 00 00 00 00 EE EE ");
}

TEST(IdentityRead, WithFingerprintTheLengthsAreSix)
{
    const IdentityCard card = ResidentCard();
    Record record;
    ReadRecord(ID_ReadCard_FP, kReadWithFingerprint, IdentityFrame(card.PayloadWithFingerprint()),
               &record);
    EXPECT_EQ(record.result, 0);
    EXPECT_EQ(record.length, 2312); // 2321 received, less 9
    EXPECT_EQ(record.raw.Text(2304), card.text + card.photo + card.fingerprint);
    EXPECT_EQ(record.raw.Hex(2313).substr(3 * 2304), "00 00 00 00 00 00 00 00 EE ");
}

TEST(IdentityRead, RefusalsLeaveTheOutputs)
{
    for (const auto &[read, frame] :
         {std::pair<Read, std::string>{ID_ReadCard, kRead}, {ID_ReadCard_FP, kReadWithFingerprint}})
        for (const auto &[status, result] : {std::pair<const char *, int>{"000041", -3001},
                                             {"000040", -3002},
                                             {"00009F", -3002},
                                             {"010041", -3002}})
        {
            Record record;
            ReadRecord(read, frame, Status(status), &record);
            EXPECT_EQ(record.result, result);
            EXPECT_EQ(record.length, kUntouched);
            EXPECT_EQ(record.raw.Hex(1), "EE ");
        }
}

TEST(IdentityRead, TheLengthsInTheReplyAreNotLookedAt)
{
    for (const char *lengths : {"00000000", "FFFFFFFF", "04000100", "0001FFFF"})
    {
        Record record;
        ReadRecord(ID_ReadCard, kRead,
                   IdentityFrame(FromHex("000090") + FromHex(lengths) + std::string(1280, 'r')),
                   &record);
        EXPECT_EQ(record.result, 0);
        EXPECT_EQ(record.length, 1288);
        EXPECT_EQ(record.raw.Text(1280), std::string(1280, 'r'));
    }
}

TEST(IdentityRead, AShortReplyGivesAShortRecord)
{
    Record bare;
    ReadRecord(ID_ReadCard, kRead, Status("000090"), &bare);
    EXPECT_EQ(bare.result, 0);
    EXPECT_EQ(bare.length, 4); // 11 received, less 7
    EXPECT_EQ(bare.raw.Hex(5), "00 00 00 00 EE ");
    Record bareWithFingerprint;
    ReadRecord(ID_ReadCard_FP, kReadWithFingerprint, Status("000090"), &bareWithFingerprint);
    EXPECT_EQ(bareWithFingerprint.length, 2);
    EXPECT_EQ(bareWithFingerprint.raw.Hex(3), "00 00 EE ");
    Record cut; // the time runs out behind the status: 10 received
    ReadRecord(ID_ReadCard, kRead, FromHex("AAAAAA96690508 000090"), &cut, kShortMs);
    EXPECT_EQ(cut.result, 0);
    EXPECT_EQ(cut.length, 3);
    EXPECT_EQ(cut.raw.Hex(4), "00 00 00 EE ");
}

TEST(IdentityRead, TheLargestReplyStaysWithinTheRoom)
{
    Record record; // 4096 received: the frame's head and 4089 bytes of payload
    ReadRecord(ID_ReadCard, kRead,
               FromHex("AAAAAA96690FFA 000090 00000000") + std::string(4082, 'x'), &record);
    EXPECT_EQ(record.result, 0);
    EXPECT_EQ(record.length, 4089);
    EXPECT_EQ(record.raw.Text(4082), std::string(4082, 'x'));
    EXPECT_EQ(record.raw.Hex(4090).substr(3 * 4082), "00 00 00 00 00 00 00 EE ");
    Record more;
    ReadRecord(ID_ReadCard, kRead, FromHex("AAAAAA96691002") + std::string(4089, 'x'), &more);
    EXPECT_EQ(more.result, -22);
}

TEST(IdentityRead, UnwantedOutputsAreSkipped)
{
    const std::string reply = IdentityFrame(ResidentCard().Payload());
    GoldenLine line{{kRead, reply}, {kRead, reply}};
    LineHost host(line, "");
    int32_t length = kUntouched;
    EXPECT_EQ(ID_ReadCard(&host.device, nullptr, &length, kEnoughMs), 0);
    EXPECT_EQ(length, 1288);
    Room raw;
    EXPECT_EQ(ID_ReadCard(&host.device, raw.Data(), nullptr, kEnoughMs), 0);
    EXPECT_EQ(raw.Text(256), ResidentCard().text);
}

TEST(IdentityBaud, CountsFromTheFastestRate)
{
    const std::string done = FromHex("AAAAAA96690004 000090 94");
    EXPECT_EQ(SetBaud(115200, FromHex("AAAAAA96690003 6000 63"), done), 0);
    EXPECT_EQ(SetBaud(57600, FromHex("AAAAAA96690003 6001 62"), done), 0);
    EXPECT_EQ(SetBaud(38400, FromHex("AAAAAA96690003 6002 61"), done), 0);
    EXPECT_EQ(SetBaud(19200, FromHex("AAAAAA96690003 6003 60"), done), 0);
    EXPECT_EQ(SetBaud(9600, FromHex("AAAAAA96690003 6004 67"), done), 0);
}

TEST(IdentityBaud, ARefusalGives3004)
{
    EXPECT_EQ(SetBaud(9600, FromHex("AAAAAA96690003 6004 67"), Status("000091")), -3004);
    EXPECT_EQ(SetBaud(9600, FromHex("AAAAAA96690003 6004 67"), Status("000041")), -3004);
}

TEST(IdentityBaud, AnotherRateIsRefusedUnsent)
{
    LineHost host(kNoTerminal, "");
    for (int baud : {0, -9600, 4800, 9601, 230400})
        EXPECT_EQ(ID_SetIdBaud(&host.device, baud, kEnoughMs), -1007) << baud;
    EXPECT_EQ(ID_SetIdBaud(&host.device, 9600, kEnoughMs), -2);
}

TEST(AlternativeLibrary, WhileThereIsOneNothingIsSentButTheRate)
{
    GoldenLine line{{FromHex("AAAAAA96690003 6004 67"), Status("000090")}};
    LineHost host(line, "");
    ASSERT_EQ(g_hSdtDll, nullptr);
    g_hSdtDll = &host;
    EXPECT_EQ(ID_ResetCard(&host.device, kEnoughMs), 0);
    EXPECT_EQ(ID_FindCard(&host.device, kEnoughMs), 0);
    EXPECT_EQ(ID_SelectCard(&host.device, kEnoughMs), 0);
    Room raw;
    int32_t length = kUntouched;
    EXPECT_EQ(ID_ReadCard(&host.device, raw.Data(), &length, kEnoughMs), 0);
    EXPECT_EQ(ID_ReadCard_FP(&host.device, raw.Data(), &length, kEnoughMs), 0);
    EXPECT_EQ(length, kUntouched);
    EXPECT_EQ(raw.Hex(1), "EE ");
    EXPECT_EQ(ID_SetIdBaud(&host.device, 9600, kEnoughMs), 0);
    g_hSdtDll = nullptr;
}

TEST(IdentityEmptyCalls, DoNothingAndGive0)
{
    unsigned char data[4] = {1, 2, 3, 4};
    uint32_t length = 77;
    EXPECT_EQ(ID_ChangeSDT(), 0);
    EXPECT_EQ(ID_GetBmpData(data, 4, data, &length), 0);
    EXPECT_EQ(ID_GetBmpData(nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(ID_GetFrontBackImg(data, "front.bmp", "back.bmp"), 0);
    ID_IsTimeOut();
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(data[0], 1);
}
