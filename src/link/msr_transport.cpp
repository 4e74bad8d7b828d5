// Raw exchanges: unframed commands whose answer has a known length or ends in a marker.
#include "vantor/link.h"

#include <algorithm>
#include <cstring>

#include "link/exchange.h"
#include "transport/late_answer.h"
#include "vantor/support.h"

namespace
{

const int kBufferSize = 1024;
const uint8_t kRawReportMode = 1;

struct Answer
{
    int length;
    unsigned char bytes[kBufferSize];
};

// How an answer is awaited, and how much counts as received when none is.
struct Reading
{
    int capacity; // 0: nothing is read
    COMM_END_TEST endTest;
    bool startsAtWritten; // the written count stands until something is received
};

const struct
{
    const char *endKind;
    COMM_END_TEST endTest;
} kEndKinds[] = {
    {"?\x1C", MsrPacketIsEnd}, // the end sentinel and FS: track data
    {"rp/q", MsrWriteIsEnd},   // "rp" or "rq": a write status
};

int HoldsPair(const unsigned char *bytes, uint32_t count, unsigned char first, unsigned char second)
{
    for (uint32_t i = 0; bytes != nullptr && i + 1 < count; i++)
        if (bytes[i] == first && bytes[i + 1] == second)
            return 1;
    return 0;
}

bool IsWhole(const Reading &reading, const Answer &answer, int received)
{
    if (reading.endTest == nullptr)
        return received == reading.capacity;
    return received > 0 && reading.endTest(answer.bytes, static_cast<uint32_t>(received)) != 0;
}

// The result of the last step: the read's, or the write's when nothing is read.
int SendAndReceive(DEVCONTEXT *deviceContext, const unsigned char *command, int commandLength,
                   const Reading &reading, Answer *answer, uint32_t timeoutMs)
{
    GLogI("Send Cmd: %.*s\r\n", commandLength, reinterpret_cast<const char *>(command));
    const int written = WriteCommand(deviceContext, command, commandLength, timeoutMs);
    if (reading.startsAtWritten)
        answer->length = written;
    if (written != commandLength || reading.capacity == 0)
        return written;
    const int received =
        COMM_Read(deviceContext, answer->bytes, static_cast<uint32_t>(reading.capacity), timeoutMs,
                  reading.endTest);
    if (received > 0)
        answer->length = received;
    if (!IsWhole(reading, *answer, received))
        ExpectLateAnswer(deviceContext,
                         reading.endTest == nullptr ? LateAnswer::kUnlikely : LateAnswer::kAwaited);
    LogReceivedPacket(answer->bytes, std::min(answer->length, kBufferSize));
    return received;
}

// A received length that is only the written count may pass the buffer: zero bytes, as in it.
void CopyAnswer(const Answer &answer, unsigned char *response)
{
    const int present = std::clamp(answer.length, 0, kBufferSize);
    std::memcpy(response, answer.bytes, static_cast<size_t>(present));
    if (answer.length > present)
        std::memset(response + present, 0, static_cast<size_t>(answer.length - present));
}

int Exchange(DEVCONTEXT *deviceContext, const unsigned char *command, int commandLength,
             unsigned char *response, int responseCapacity, const Reading &reading,
             uint32_t timeoutMs)
{
    SelectReportMode(deviceContext, kRawReportMode);
    const int opened = BeginExchange(deviceContext);
    if (opened != 0)
        return opened;
    Answer answer = {0, {}};
    const int result =
        SendAndReceive(deviceContext, command, commandLength, reading, &answer, timeoutMs);
    EndExchange(deviceContext);
    if (result < 0)
        return result;
    if (answer.length > responseCapacity)
        return kBadArgument;
    CopyAnswer(answer, response);
    return result;
}

} // namespace

int MsrPacketIsEnd(const unsigned char *bytes, uint32_t count)
{
    return HoldsPair(bytes, count, '?', 0x1C);
}

int MsrWriteIsEnd(const unsigned char *bytes, uint32_t count)
{
    return HoldsPair(bytes, count, 'r', 'q') | HoldsPair(bytes, count, 'r', 'p');
}

int RAWL_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command, int commandLength,
                 unsigned char *response, int responseCapacity, int expectedLength,
                 uint32_t timeoutMs)
{
    if (command == nullptr || response == nullptr || expectedLength < 0 ||
        expectedLength > responseCapacity || commandLength < 1 || responseCapacity <= 0)
        return kBadArgument;
    const Reading reading = {std::min(expectedLength, kBufferSize), nullptr, false};
    return Exchange(deviceContext, command, commandLength, response, responseCapacity, reading,
                    timeoutMs);
}

int RAWC_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command, int commandLength,
                 unsigned char *response, int responseCapacity, const char *endKind,
                 uint32_t timeoutMs)
{
    if (command == nullptr || response == nullptr || endKind == nullptr || commandLength < 1 ||
        responseCapacity <= 0)
        return kBadArgument;
    Reading reading = {0, nullptr, true};
    for (const auto &known : kEndKinds)
        if (std::strcmp(known.endKind, endKind) == 0)
            reading = {kBufferSize, known.endTest, true};
    return Exchange(deviceContext, command, commandLength, response, responseCapacity, reading,
                    timeoutMs);
}
