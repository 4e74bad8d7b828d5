// Commands to the reader itself: its information, serial number, buzzer, reset and line speed.
#include "vantor/operations.h"

#include <algorithm>
#include <cstring>

#include "ops/module_command.h"

namespace
{

const int kInformationRefused = -4000;
const int kBaudRefused = -4002;

const uint32_t kShortTimeoutMs = 100;
const int kSerialNumberField = 32;
// A Union_ reply whose bytes 2 and 3 are 06 10 keeps its information behind a longer head.
const int kLongHead = 18;

constexpr ModuleOperation kGetDevInfo = {
    kShortBufferSize,
    {Head({0x81, 0x00}), {{0xA2, kInformationRefused}}, kReplyLength},
    {Head({0x31, 0x11, 0x00}), {}, kReaderFailure},
};

constexpr ModuleOperation kGetDevAllInfo = {
    kShortBufferSize,
    {Head({0xF1}), {}, kReaderFailure},
    {},
};

constexpr ModuleOperation kSetDevSn = {
    kShortBufferSize,
    {Head({0xF2}), {}, kReaderFailure},
    {},
};

constexpr ModuleOperation kBeep = {
    kShortBufferSize,
    {},
    {Head({0x31, 0x13}), {}, kReaderFailure},
};

constexpr ModuleOperation kDevReset = {
    kShortBufferSize,
    {},
    {Head({0xF8, 0x00, 0xAA, 0xBB, 0x55, 0x44}), {}, kReaderFailure},
};

constexpr ModuleOperation kSetBaud = {
    kShortBufferSize,
    {Head({0xBB}), {{0xA2, kBaudRefused}}, kReaderFailure},
    {Head({0x30, 0x01, 0x00}), {{0x1001, kBaudRefused}}, kReaderFailure},
};

const struct
{
    int baud;
    unsigned char code;
} kRateCodes[] = {{9600, 0}, {19200, 1}, {38400, 2}, {57600, 3}, {115200, 4}};

// The information behind the longer head: as many bytes as the short form would have, whatever its
// own length byte says. Deliberate; what did not come reads as zero, up to the reply buffer's end.
void GiveLongInformation(const ModuleReply &reply, unsigned char *info, uint32_t *infoLength)
{
    const int count = std::min(reply.dataLength, kShortBufferSize - kLongHead);
    for (int i = 0; info != nullptr && i < count; i++)
        info[i] = ReplyByte(reply, kLongHead + i);
    if (infoLength != nullptr)
        *infoLength = ReplyByte(reply, kLongHead);
}

} // namespace

int IC_GetDevInfo(DEVCONTEXT *deviceContext, unsigned char *info, uint32_t *infoLength,
                  uint32_t timeoutMs)
{
    const int framing = ConfiguredFraming(kKrelIc);
    ModuleReply reply;
    const int result = RunModule(kGetDevInfo, framing, deviceContext, {}, &reply, timeoutMs);
    if (framing == kUnion && result == 0 && ReplyByte(reply, 2) == 0x06 &&
        ReplyByte(reply, 3) == 0x10)
        GiveLongInformation(reply, info, infoLength);
    else
        GiveData(reply, info, infoLength);
    if (result == 0 && reply.data == nullptr && infoLength != nullptr)
        *infoLength = 0; // an empty KrelIc reply
    return result;
}

int IC_GetDevAllInfo(DEVCONTEXT *deviceContext, unsigned char *info, int32_t *infoLength,
                     uint32_t timeoutMs)
{
    ModuleReply reply;
    const int result = RunModule(kGetDevAllInfo, kKrelIc, deviceContext, {}, &reply, timeoutMs);
    GiveData(reply, info, infoLength);
    return result;
}

int IC_SetDevSn(DEVCONTEXT *deviceContext, const unsigned char *serialNumber, int length,
                uint32_t timeoutMs)
{
    if (serialNumber == nullptr || length < 0)
        return kBadOperationArgument;
    unsigned char field[kSerialNumberField] = {};
    std::memcpy(field, serialNumber, static_cast<size_t>(std::min(length, kSerialNumberField)));
    ModuleReply reply;
    return RunModule(kSetDevSn, kKrelIc, deviceContext, {field, kSerialNumberField}, &reply,
                     timeoutMs);
}

int IC_Beep(DEVCONTEXT *deviceContext, uint32_t first, uint32_t second, uint32_t third,
            uint32_t timeoutMs)
{
    const int32_t duration = static_cast<int32_t>(first);
    const unsigned char values[] = {
        static_cast<unsigned char>(duration <= 99 ? duration / 10 : duration / 100),
        static_cast<unsigned char>(second),
        static_cast<unsigned char>(third),
    };
    ModuleReply reply;
    return RunModule(kBeep, ConfiguredFraming(kUnion), deviceContext, {values, sizeof values},
                     &reply, timeoutMs);
}

// The reader restarts and may not answer, so there is nothing to judge.
int IC_DevReset(DEVCONTEXT *deviceContext)
{
    ModuleReply reply;
    RunModule(kDevReset, kUnion, deviceContext, {}, &reply, kShortTimeoutMs);
    return 0;
}

int IC_SetBaud(DEVCONTEXT *deviceContext, int baud)
{
    unsigned char code = 0; // a rate the reader does not know asks for 9600
    for (const auto &rate : kRateCodes)
        if (rate.baud == baud)
            code = rate.code;
    ModuleReply reply;
    return RunModule(kSetBaud, ConfiguredFraming(kKrelIc), deviceContext, {&code, 1}, &reply,
                     kShortTimeoutMs);
}
