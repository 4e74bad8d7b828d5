// The commands of the reader's identity module.
#include "vantor/identity_operations.h"

#include <algorithm>
#include <cstring>

#include "vantor/link.h"

void *g_hSdtDll = nullptr;

namespace
{

constexpr int kResetRefused = -3000;
constexpr int kNoCard = -3001;
constexpr int kUnexpectedStatus = -3002;
constexpr int kRateRefused = -3004;
constexpr int kUnknownRate = -1007;

constexpr int kShortReply = 256;
constexpr int kRecordReply = 4096;
// What stands before the data of a read: the status, then the lengths of text and photo, and of the
// fingerprint when there is one.
constexpr int kRecordHead = 7;
constexpr int kRecordHeadWithFingerprint = 9;

struct IdentityCommand
{
    unsigned char command;
    unsigned char parameter;
    int replyCapacity;
    uint32_t success; // SW1 SW2 SW3
    uint32_t noCard;  // the status for -3001; kNone: there is none
    int otherwise;
};

constexpr uint32_t kNone = 0xFFFFFFFF;

constexpr IdentityCommand kReset = {0x11, 0xFF, kShortReply, 0x000090, kNone, kResetRefused};
constexpr IdentityCommand kFind = {0x20, 0x01, kShortReply, 0x00009F, 0x000080, kUnexpectedStatus};
constexpr IdentityCommand kSelect = {0x20,     0x02,     kShortReply,
                                     0x000090, 0x000081, kUnexpectedStatus};
constexpr IdentityCommand kRead = {0x30, 0x01, kRecordReply, 0x000090, 0x000041, kUnexpectedStatus};
constexpr IdentityCommand kReadWithFingerprint = {0x30,     0x10,     kRecordReply,
                                                  0x000090, 0x000041, kUnexpectedStatus};

const struct
{
    int baud;
    unsigned char code;
} kRateCodes[] = {{115200, 0}, {57600, 1}, {38400, 2}, {19200, 3}, {9600, 4}};

struct Reply
{
    int received; // bytes that came over the line, those of the frame included
    unsigned char payload[kRecordReply];
};

// 0 or below is the link's result as it stands; any other is a reply, and its status decides.
int Run(const IdentityCommand &command, DEVCONTEXT *deviceContext, Reply *reply, uint32_t timeoutMs)
{
    const unsigned char request[] = {command.command, command.parameter};
    *reply = Reply{};
    reply->received = ID_SendCmd(deviceContext, request, sizeof request, reply->payload,
                                 command.replyCapacity, timeoutMs);
    if (reply->received <= 0)
        return reply->received;
    const uint32_t status = static_cast<uint32_t>(reply->payload[0]) << 16 |
                            static_cast<uint32_t>(reply->payload[1]) << 8 | reply->payload[2];
    if (status == command.success)
        return 0;
    return status == command.noCard ? kNoCard : command.otherwise;
}

int RunUnlessReplaced(const IdentityCommand &command, DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    if (g_hSdtDll != nullptr)
        return 0;
    Reply reply;
    return Run(command, deviceContext, &reply, timeoutMs);
}

// The record's length is counted from all that was received, so it is longer than the record by the
// frame's own bytes. Deliberate: hosts know it so.
int ReadRecord(const IdentityCommand &command, int headLength, DEVCONTEXT *deviceContext,
               unsigned char *raw, int32_t *rawLength, uint32_t timeoutMs)
{
    if (g_hSdtDll != nullptr)
        return 0;
    Reply reply;
    const int result = Run(command, deviceContext, &reply, timeoutMs);
    if (result != 0 || reply.received <= 0)
        return result;
    const int length = std::max(reply.received - headLength, 0);
    if (raw != nullptr)
        std::memcpy(raw, reply.payload + headLength, static_cast<size_t>(length));
    if (rawLength != nullptr)
        *rawLength = length;
    return 0;
}

} // namespace

int ID_ResetCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    return RunUnlessReplaced(kReset, deviceContext, timeoutMs);
}

int ID_FindCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    return RunUnlessReplaced(kFind, deviceContext, timeoutMs);
}

int ID_SelectCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    return RunUnlessReplaced(kSelect, deviceContext, timeoutMs);
}

int ID_ReadCard(DEVCONTEXT *deviceContext, unsigned char *raw, int32_t *rawLength,
                uint32_t timeoutMs)
{
    return ReadRecord(kRead, kRecordHead, deviceContext, raw, rawLength, timeoutMs);
}

int ID_ReadCard_FP(DEVCONTEXT *deviceContext, unsigned char *raw, int32_t *rawLength,
                   uint32_t timeoutMs)
{
    return ReadRecord(kReadWithFingerprint, kRecordHeadWithFingerprint, deviceContext, raw,
                      rawLength, timeoutMs);
}

int ID_SetIdBaud(DEVCONTEXT *deviceContext, int baud, uint32_t timeoutMs)
{
    for (const auto &rate : kRateCodes)
        if (rate.baud == baud)
        {
            Reply reply;
            return Run({0x60, rate.code, kShortReply, 0x000090, kNone, kRateRefused}, deviceContext,
                       &reply, timeoutMs);
        }
    return kUnknownRate;
}

// What follows has no work of its own: a host that calls it gets its 0. Deliberate.

int ID_ChangeSDT(void)
{
    return 0;
}

int ID_GetBmpData(const unsigned char * /*photo*/, uint32_t /*capacity*/, unsigned char * /*data*/,
                  uint32_t * /*length*/)
{
    return 0;
}

int ID_GetFrontBackImg(const unsigned char * /*raw*/, const char * /*frontPath*/,
                       const char * /*backPath*/)
{
    return 0;
}

void ID_IsTimeOut(void)
{
}
