// The identity module's frames, the same in both directions:
//     0      AA AA AA, the preamble
//     3      96 69, the frame mark
//     5      length L, high byte first: the bytes behind it
//     7      L - 1 payload bytes; in a reply the status SW1 SW2 SW3, then data
//     6 + L  XOR of the two length bytes and the payload; that of a reply is not verified
#include "vantor/link.h"

#include <algorithm>
#include <cstring>

#include "link/exchange.h"
#include "transport/late_answer.h"
#include "vantor/support.h"

namespace
{

constexpr unsigned char kStart[] = {0xAA, 0xAA, 0xAA, 0x96, 0x69};
constexpr int kLengthOffset = 5;
constexpr int kHeadSize = 7;
constexpr int kFrameExtra = 8; // what a frame has beside its payload
constexpr int kFrameSize = 1024;
constexpr int kLongestPayload = kFrameSize - 3; // of ID_MakeCmdPackage; the exchange takes less
constexpr int kReplySize = 4096;
constexpr uint8_t kIdentityReportMode = 2;

struct Reply
{
    int length; // bytes received
    unsigned char bytes[kReplySize];
};

bool BeginsAsFrame(const unsigned char *bytes)
{
    return std::memcmp(bytes, kStart, sizeof kStart) == 0;
}

int LengthField(const unsigned char *bytes)
{
    return bytes[kLengthOffset] << 8 | bytes[kLengthOffset + 1];
}

// The payload that a frame claims: what it does not carry reads as zero bytes. Without the start of
// a frame the bytes received count as one, of which only those behind the head are there to copy.
int TakePayload(const Reply &reply, unsigned char *response, int responseCapacity)
{
    const bool framed = BeginsAsFrame(reply.bytes);
    const int length = framed ? LengthField(reply.bytes) : reply.length;
    if (length == 0)
        return reply.length;
    if (responseCapacity <= length - 1)
        return kBadArgument;
    const int held = framed ? kReplySize - kHeadSize : std::max(reply.length - kHeadSize, 0);
    const int copied = std::min(length - 1, held);
    std::memcpy(response, reply.bytes + kHeadSize, static_cast<size_t>(copied));
    if (framed)
        std::memset(response + copied, 0, static_cast<size_t>(length - 1 - copied));
    return reply.length;
}

// The result of the last step: the bytes read, or why there are none.
int SendAndReceive(DEVCONTEXT *deviceContext, const unsigned char *payload, int payloadLength,
                   unsigned char *response, int responseCapacity, uint32_t timeoutMs)
{
    unsigned char frame[kFrameSize] = {};
    const int frameLength = ID_MakeCmdPackage(payload, payloadLength, frame, sizeof frame);
    if (frameLength < 0)
        return frameLength;
    LogSentPacket(frame, frameLength);
    // A short write is given as the count it reached. Deliberate: the status then decides.
    const int written = WriteCommand(deviceContext, frame, frameLength, timeoutMs);
    if (written != frameLength)
        return written;

    Reply reply = {0, {}};
    reply.length =
        COMM_Read(deviceContext, reply.bytes, sizeof reply.bytes, timeoutMs, KrelIdPacketIsEnd);
    if (reply.length <= 0 || !KrelIdPacketIsEnd(reply.bytes, static_cast<uint32_t>(reply.length)))
        ExpectLateAnswer(deviceContext, LateAnswer::kAwaited);
    // A reply that never came is logged as zero bytes, as many as were sent. Deliberate.
    LogReceivedPacket(reply.bytes, reply.length > 0 ? reply.length : frameLength);
    return reply.length > 0 ? TakePayload(reply, response, responseCapacity) : reply.length;
}

} // namespace

int ID_MakeCmdPackage(const unsigned char *payload, int payloadLength, unsigned char *out,
                      int outCapacity)
{
    // More room is asked for than the frame takes. Deliberate.
    if (payload == nullptr || out == nullptr || payloadLength < 0 ||
        payloadLength > kLongestPayload || outCapacity < 2 * (payloadLength + 4))
        return kBadArgument;
    std::memcpy(out, kStart, sizeof kStart);
    out[kLengthOffset] = static_cast<unsigned char>((payloadLength + 1) >> 8);
    out[kLengthOffset + 1] = static_cast<unsigned char>(payloadLength + 1);
    std::memcpy(out + kHeadSize, payload, static_cast<size_t>(payloadLength));
    out[kHeadSize + payloadLength] =
        GCalXor(out + kLengthOffset, static_cast<uint64_t>(payloadLength + 2));
    return payloadLength + kFrameExtra;
}

int KrelIdPacketIsEnd(const unsigned char *bytes, uint32_t count)
{
    return bytes != nullptr && count >= kHeadSize && BeginsAsFrame(bytes) &&
           static_cast<uint32_t>(LengthField(bytes)) <= count - kHeadSize;
}

int ID_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *payload, int payloadLength,
               unsigned char *response, int responseCapacity, uint32_t timeoutMs)
{
    if (payload == nullptr || response == nullptr || payloadLength < 1 || responseCapacity < 1)
        return kBadArgument;
    SelectReportMode(deviceContext, kIdentityReportMode);
    const int opened = BeginExchange(deviceContext);
    if (opened != 0)
        return opened;
    const int result = SendAndReceive(deviceContext, payload, payloadLength, response,
                                      responseCapacity, timeoutMs);
    EndExchange(deviceContext);
    return result;
}
