// The two framings of the IC command link, and the operations of reader and cards in both.
#include <algorithm>
#include <cstring>

#include "damage/bench/bench.h"
#include "vantor/link.h"
#include "vantor/memory_card_operations.h"
#include "vantor/operations.h"

using namespace damage_testing;
using testing_support::KrelFrame;
using testing_support::UnionFrame;

namespace
{

constexpr uint32_t kLimitMs = 1000;

struct Answer
{
    const char *payload; // its status first
    int result;
};

struct Operation
{
    const char *name;
    const char *krelIc; // the command; empty: there is none in this framing
    const char *unionForm;
    std::vector<Answer> krelIcAnswers;
    std::vector<Answer> unionAnswers;
    std::function<int(Outputs *)> call;
};

struct Given
{
    unsigned char *bytes;
    uint32_t *length;
};

// A call that gives bytes and their length, both on success only.
std::function<int(Outputs *)> Giving(size_t room, const std::function<int(const Given &)> &operate)
{
    return [=](Outputs *out)
    {
        const Given given = {out->Bytes(room), out->Value<uint32_t>(0)};
        const int result = operate(given);
        out->Used(given.bytes, result == 0 ? *given.length : 0);
        return result;
    };
}

std::function<int(Outputs *)> Plain(const std::function<int()> &operate)
{
    return [=](Outputs *) { return operate(); };
}

const unsigned char kChallenge[] = {0x00, 0x84, 0x00, 0x00, 0x08};
const unsigned char kBlock[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                  0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const uint32_t kAmount = 0x04030201;
const unsigned char kSerialNumber[] = "SN20240001";

const char kAtr[] = "00 3B65000020631A";
const char kUnionAtr[] = "0000 3B65000020631A";
const char kResponse[] = "00 1122334455667788 9000";
const char kUnionResponse[] = "0000 1122334455667788 9000";

const std::vector<Operation> &CardOperations()
{
    static const std::vector<Operation> operations = {
        {"IC_PowerOn",
         "E101",
         "3222000000",
         {{kAtr, 0}, {"A2", -4000}, {"FB", -4005}, {"55 00", 2}},
         {{kUnionAtr, 0}, {"1001", -4000}, {"1002", -4005}, {"1005", -4000}},
         Giving(256, [](const Given &given)
                { return IC_PowerOn(&context, given.bytes, given.length, kLimitMs); })},
        {"IC_RFPowerOn",
         "D1",
         "32240000",
         {{"00 0400085A1B2C3D", 0}, {"A2", -4000}, {"FB", -4005}},
         {{"0000 0400085A1B2C3D", 0}, {"3008", -4000}, {"3005", -4005}},
         Giving(256, [](const Given &given)
                { return IC_RFPowerOn(&context, given.bytes, given.length, kLimitMs); })},
        {"IC_PowerOff",
         "E201",
         "322300",
         {{"00", 0}, {"A2", -4002}, {"FB", -4005}},
         {{"0000", 0}, {"1001", -4002}},
         Plain([] { return IC_PowerOff(&context, kLimitMs); })},
        {"IC_RFPowerOff",
         "D2",
         "32250000",
         {{"00", 0}, {"A2", -4002}, {"FB", -4005}},
         {{"0000", 0}, {"3001", -4002}, {"3004", -4004}, {"3006", -4005}, {"3007", -4002}},
         Plain([] { return IC_RFPowerOff(&context, kLimitMs); })},
        {"IC_APDU",
         "E3010084000008",
         "3226000084000008",
         {{kResponse, 0}, {"00 6A83", 0}, {"A2", -4006}, {"FB", -4005}},
         {{kUnionResponse, 0}, {"1004", -4004}, {"1006", -4005}, {"1007", -4006}},
         Giving(4096, [](const Given &given)
                { return IC_APDU(&context, kChallenge, 5, given.bytes, given.length, kLimitMs); })},
        {"IC_RFAPDU",
         "D30084000008",
         "3226FF0084000008",
         {{kResponse, 0}, {"A2", -4006}},
         {{kUnionResponse, 0}, {"3004", -4004}, {"3006", -4005}},
         Giving(4096,
                [](const Given &given) {
                    return IC_RFAPDU(&context, kChallenge, 5, given.bytes, given.length, kLimitMs);
                })},
        {"IC_CardDetect",
         "",
         "3221FF",
         {},
         {{"0000 11 12", 0}, {"1001", -99}},
         [](Outputs *out)
         { return IC_CardDetect(&context, 0xFF, out->Value<int32_t>(0), kLimitMs); }},
    };
    return operations;
}

// The length that the long head tells is the reader's and may pass what came.
int GetDevInfo(Outputs *out)
{
    unsigned char *info = out->Bytes(256);
    uint32_t *length = out->Value<uint32_t>(0);
    const int result = IC_GetDevInfo(&context, info, length, kLimitMs);
    out->Used(info, result == 0 ? 256 : 0);
    return result;
}

int GetDevAllInfo(Outputs *out)
{
    unsigned char *info = out->Bytes(256);
    int32_t *length = out->Value<int32_t>(0);
    const int result = IC_GetDevAllInfo(&context, info, length, kLimitMs);
    out->Used(info, result == 0 ? static_cast<size_t>(*length) : 0);
    return result;
}

const char kRecord[] = "00 5245414445522056312E30000000000000000000000000000000000000000000"
                       "00 514A3230323430303031323300000000000000000000000000000000000000";

const std::vector<Operation> &DeviceOperations()
{
    static const std::vector<Operation> operations = {
        {"IC_GetDevInfo",
         "8100",
         "311100",
         {{"00 56495254 5541 4C", 0}, {"A2", -4000}, {"55 00", 2}},
         {{"0000 5649525455414C", 0},
          {"0000 0610 0000000000000000000000000000 05 4142434445", 0},
          {"1001", -99}},
         GetDevInfo},
        {"IC_GetDevAllInfo", "F1", "", {{kRecord, 0}, {"A2", -99}}, {}, GetDevAllInfo},
        {"IC_SetDevSn",
         "F2 534E3230323430303031 00000000000000000000000000000000000000000000",
         "",
         {{"00", 0}, {"A2", -99}},
         {},
         Plain([] { return IC_SetDevSn(&context, kSerialNumber, 10, kLimitMs); })},
        {"IC_Beep",
         "",
         "3113 01 02 03",
         {},
         {{"0000", 0}, {"1001", -99}},
         Plain([] { return IC_Beep(&context, 10, 2, 3, kLimitMs); })},
        {"IC_DevReset",
         "",
         "F800AABB5544",
         {},
         {{"0000", 0}},
         Plain([] { return IC_DevReset(&context); })},
        {"IC_SetBaud",
         "BB04",
         "30010004",
         {{"00", 0}, {"A2", -4002}},
         {{"0000", 0}, {"1001", -4002}},
         Plain([] { return IC_SetBaud(&context, 115200); })},
    };
    return operations;
}

const std::vector<Operation> &MemoryCardOperations()
{
    static const std::vector<Operation> operations = {
        {"M1_PowerOn",
         "41",
         "32410000",
         {{"00 0400085A1B2C3D", 0}, {"A2", -5001}},
         {{"0000 0400085A1B2C3D", 0}, {"1001", -5001}},
         Giving(256, [](const Given &given)
                { return M1_PowerOn(&context, given.bytes, given.length, kLimitMs); })},
        {"M1_PowerOff",
         "4B",
         "3225",
         {{"00", 0}},
         {{"0000", 0}},
         Plain([] { return M1_PowerOff(&context, kLimitMs); })},
        {"M1_Verify",
         "420461515745525459",
         "32420401515745525459",
         {{"00", 0}, {"A2", -5003}},
         {{"0000", 0}, {"1001", -5003}},
         Plain([] { return M1_Verify(&context, 4, 1, "QWERTY", kLimitMs); })},
        {"M1_ReadBlock",
         "4304",
         "324304",
         {{"00 00112233445566778899AABBCCDDEEFF", 0}, {"A2", -5004}},
         {{"0000 00112233445566778899AABBCCDDEEFF", 0}},
         Giving(4096, [](const Given &given)
                { return M1_ReadBlock(&context, 4, given.bytes, given.length, kLimitMs); })},
        {"M1_WriteBlock",
         "4404 00112233445566778899AABBCCDDEEFF",
         "324404 00112233445566778899AABBCCDDEEFF",
         {{"00", 0}, {"A2", -5005}},
         {{"0000", 0}},
         Plain([] { return M1_WriteBlock(&context, 4, kBlock, 16, kLimitMs); })},
        {"M1_ReadValue",
         "4504",
         "324504",
         {{"00 02010000", 0}, {"A2", -5006}},
         {{"0000 02010000", 0}},
         Giving(4096, [](const Given &given)
                { return M1_ReadValue(&context, 4, given.bytes, given.length, kLimitMs); })},
        {"M1_WriteValue",
         "460401020304",
         "32460401020304",
         {{"00", 0}, {"A2", -5007}},
         {{"0000", 0}},
         Plain([] { return M1_WriteValue(&context, 4, &kAmount, kLimitMs); })},
        {"M1_Increment",
         "470401020304",
         "32470401020304",
         {{"00", 0}, {"A2", -5008}},
         {{"0000", 0}},
         Plain([] { return M1_Increment(&context, 4, &kAmount, kLimitMs); })},
        {"M1_Decrement",
         "480401020304",
         "32480401020304",
         {{"00", 0}, {"A2", -5009}},
         {{"0000", 0}},
         Plain([] { return M1_Decrement(&context, 4, &kAmount, kLimitMs); })},
        {"M1_IncreaseValue",
         "470402010000",
         "32470402010000",
         {{"00", 0}},
         {{"0000", 0}},
         Plain([] { return M1_IncreaseValue(&context, 4, 258, kLimitMs); })},
        {"M1_DecreaseValue",
         "480402010000",
         "32480402010000",
         {{"00", 0}},
         {{"0000", 0}},
         Plain([] { return M1_DecreaseValue(&context, 4, 258, kLimitMs); })},
        {"M0_PowerOn",
         "51",
         "",
         {{"00 04112233445566", 0}, {"A2", -5001}},
         {},
         Giving(256, [](const Given &given)
                { return M0_PowerOn(&context, given.bytes, given.length, kLimitMs); })},
        {"M0_PowerOff",
         "55",
         "",
         {{"00", 0}, {"A2", -5002}},
         {},
         Plain([] { return M0_PowerOff(&context, kLimitMs); })},
        {"M0_ReadBlock",
         "570410",
         "",
         {{"00 00112233445566778899AABBCCDDEEFF", 0}, {"A2", -5104}},
         {},
         Giving(4096, [](const Given &given)
                { return M0_ReadBlock(&context, 4, 16, given.bytes, given.length, kLimitMs); })},
        {"M0_WriteBlock",
         "540400112233",
         "",
         {{"00", 0}, {"A2", -5105}},
         {},
         Plain([] { return M0_WriteBlock(&context, 4, kBlock, 4, kLimitMs); })},
        {"M0_Interaction",
         "56050084000008",
         "",
         {{"00 AF577293FD2F34CA51", 0}, {"A2", -5105}},
         {},
         Giving(4096,
                [](const Given &given) {
                    return M0_Interaction(&context, kChallenge, 5, given.bytes, given.length,
                                          kLimitMs);
                })},
        {"M0_ChcekCardType",
         "58",
         "",
         {{"00 07", 0}, {"01 08", 0}, {"A2", -5105}},
         {},
         [](Outputs *out)
         {
             unsigned char *type = out->Bytes(1);
             const int result = M0_ChcekCardType(&context, 0, type, kLimitMs);
             out->Used(type, result == 0 ? 1 : 0);
             return result;
         }},
    };
    return operations;
}

void Damage(const Operation &operation, int framing)
{
    const bool united = framing == 1;
    const char *command = united ? operation.unionForm : operation.krelIc;
    const auto frame = united ? UnionFrame : KrelFrame;
    for (const Answer &answer : united ? operation.unionAnswers : operation.krelIcAnswers)
    {
        Subject subject;
        subject.name = operation.name + std::string(" answered ") + answer.payload;
        subject.rows = {{frame(command), frame(answer.payload)}};
        subject.call = operation.call;
        subject.result = answer.result;
        subject.framing = framing;
        subject.limitMs = kLimitMs;
        DamageEveryAnswer(subject);
    }
}

void DamageAll(const std::vector<Operation> &operations, int framing)
{
    for (const Operation &operation : operations)
        Damage(operation, framing);
}

using SendCommand = int (*)(DEVCONTEXT *, const unsigned char *, int, unsigned char *, int,
                            uint32_t);

// The link itself, which hands the payload on as it is.
void DamageLink(SendCommand send, const std::string &command, const std::string &answer, int room,
                int result)
{
    Subject subject;
    subject.name = "a room of " + std::to_string(room);
    subject.rows = {{command, answer}};
    subject.limitMs = kLimitMs;
    subject.result = result;
    subject.call = [=](Outputs *out)
    {
        const unsigned char bytes[] = {0x81, 0x00};
        unsigned char *response = out->Bytes(static_cast<size_t>(room));
        const int length = send(&context, bytes, 2, response, room, kLimitMs);
        // What does not fit the room is cut there, and a long answer may leave one byte more.
        out->Used(response, length >= 0     ? static_cast<size_t>(length) + 1
                            : length == -22 ? static_cast<size_t>(room)
                                            : 0);
        return length;
    };
    DamageEveryAnswer(subject);
}

std::string LongPayload(size_t length)
{
    std::string payload(length, '\0');
    for (size_t i = 1; i < length; i++)
        payload[i] = static_cast<char>(i);
    return payload;
}

} // namespace

TEST(DamagedFrames, KrelIcAnswers)
{
    const std::string command = KrelFrame("8100");
    DamageLink(KrelIc_SendCmd, command, KrelFrame("00 5649525455414C 9000"), 4096, 10);
    DamageLink(KrelIc_SendCmd, command, KrelFrame("00 5649525455414C 9000"), 27, 10);
    DamageLink(KrelIc_SendCmd, command, KrelFrame(""), 64, 0);
    // Noise before the frame.
    DamageLink(KrelIc_SendCmd, command, "\x1C noise" + KrelFrame("00 11"), 64, 2);
}

TEST(DamagedFrames, LongKrelIcAnswers)
{
    const std::string command = KrelFrame("8100");
    for (size_t length : {254, 255, 258, 334})
        DamageLink(KrelIc_SendCmd, command, PutFrameAround(Frame::kKrelIc, LongPayload(length)),
                   4096, static_cast<int>(length));
}

TEST(DamagedFrames, UnionAnswers)
{
    const std::string command = UnionFrame("8100");
    DamageLink(Union_SendCmd, command, UnionFrame("0000 5649525455414C 9000"), 4096, 11);
    DamageLink(Union_SendCmd, command, UnionFrame("0000 5649525455414C 9000"), 30, 11);
    DamageLink(Union_SendCmd, command, UnionFrame(""), 64, 0);
    DamageLink(Union_SendCmd, command, "\x1C noise" + UnionFrame("0000 11"), 64, 3);
}

TEST(DamagedFrames, LongUnionAnswers)
{
    const std::string command = UnionFrame("8100");
    for (size_t length : {255, 258, 1000})
        DamageLink(Union_SendCmd, command, PutFrameAround(Frame::kUnion, LongPayload(length)), 4096,
                   static_cast<int>(length));
}

TEST(DamagedOperations, CardsOverKrelIc)
{
    DamageAll(CardOperations(), 0);
}

TEST(DamagedOperations, CardsOverUnion)
{
    DamageAll(CardOperations(), 1);
}

TEST(DamagedOperations, TheReaderOverKrelIc)
{
    DamageAll(DeviceOperations(), 0);
}

TEST(DamagedOperations, TheReaderOverUnion)
{
    DamageAll(DeviceOperations(), 1);
}

TEST(DamagedOperations, MemoryCardsOverKrelIc)
{
    DamageAll(MemoryCardOperations(), 0);
}

TEST(DamagedOperations, MemoryCardsOverUnion)
{
    DamageAll(MemoryCardOperations(), 1);
}
