// The IC command link: one command to the reader's IC module and its answer, in either framing.
#include "link/ic_transport.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "link/exchange.h"
#include "transport/late_answer.h"
#include "vantor/link.h"
#include "vantor/support.h"

namespace
{

const unsigned char kKrelStart = 0x60;
const unsigned char kUnionStart = 0x02;
const unsigned char kEnd = 0x03;
const int kFrameExtra = 3; // start and length, or two length bytes; and the check byte

const int kKrelFrameLimit = 1024;
const int kUnionFrameLimit = 2048;
const int kWireSize = 2048; // the longest message either way
const int kScratchSize = 4096;

const int kLongForm = 0xFF;     // KrelIc: byte 2 then extends the length
const int kLongFormBase = 0xB0; // what byte 2 counts from

const uint8_t kIcReportMode = 2;

// An answer's bytes, back from their characters.
struct Decoded
{
    int count;
    unsigned char bytes[kScratchSize];
};

unsigned char DecodedByte(const Decoded &decoded, int index)
{
    return index < decoded.count ? decoded.bytes[index] : 0;
}

// An answer may claim more payload than it carries: what is missing reads as zero bytes.
void CopyDecoded(const Decoded &decoded, int from, int count, unsigned char *out)
{
    const int present = std::clamp(decoded.count - from, 0, count);
    std::memcpy(out, decoded.bytes + from, static_cast<size_t>(present));
    std::memset(out + present, 0, static_cast<size_t>(count - present));
}

void DecodeNibbles(const unsigned char *characters, int count, Decoded *decoded)
{
    decoded->count = std::min(count / 2, kScratchSize);
    for (int i = 0; i < decoded->count; i++)
        decoded->bytes[i] = static_cast<unsigned char>((characters[2 * i] & 0x0F) << 4 |
                                                       (characters[2 * i + 1] & 0x0F));
}

// From `start` up to and including the first end byte behind it.
int CutAnswer(const unsigned char *start, int available, unsigned char *out, int outCapacity)
{
    const void *end = std::memchr(start, kEnd, static_cast<size_t>(available));
    const int answer = end == nullptr
                           ? available
                           : static_cast<int>(static_cast<const unsigned char *>(end) - start) + 1;
    const int count = std::min(answer, outCapacity);
    std::memset(out, 0, static_cast<size_t>(outCapacity));
    std::memcpy(out, start, static_cast<size_t>(count));
    return count;
}

// What distinguishes the framings inside the one exchange.
struct Framing
{
    int longestCommand;
    int wireCapacity;
    bool logsCommand;
    int (*make)(const unsigned char *, int, unsigned char *, int);
    int (*trim)(const unsigned char *, int, unsigned char *, int);
    int (*parse)(const unsigned char *, int, unsigned char *, int);
};

const Framing kKrelFraming = {
    255, 1024, false, KrelIc_MakeCmdPackage, KrelIc_TrimPackage, KrelIc_ParseResPackage};
const Framing kUnionFraming = {
    INT_MAX, 2048, true, Union_MakeCmdPackage, Union_TrimPackage, Union_ParseResPackage};

struct WireMessage
{
    int length;
    unsigned char bytes[kWireSize];
};

// Sends the framed command and gathers its answer; both framings end alike. A message that did not
// come counts as zero bytes of the command's length: that is judged, and the caller hears -74 and
// never the transport's own code. Deliberate, as the public error mapping builds on it.
// Gives whether the whole command was sent.
bool SendAndReceive(DEVCONTEXT *deviceContext, const WireMessage &sent, WireMessage *received,
                    uint32_t timeoutMs)
{
    LogSentPacket(sent.bytes, sent.length);
    const int written = WriteCommand(deviceContext, sent.bytes, sent.length, timeoutMs);
    const bool isSent = written == sent.length;
    received->length =
        isSent ? COMM_Read(deviceContext, received->bytes, kWireSize, timeoutMs, KrelIcPacketIsEnd)
               : 0;
    if (received->length <= 0)
    {
        received->length = sent.length;
        std::memset(received->bytes, 0, static_cast<size_t>(sent.length));
    }
    if (isSent)
        LogReceivedPacket(received->bytes, received->length);
    return isSent;
}

// The caller's room bounds the answer as it came over the wire, not only its payload. Deliberate.
int TakePayload(const Framing &framing, const WireMessage &message, unsigned char *response,
                int responseCapacity)
{
    unsigned char answer[kWireSize];
    const int length = framing.trim(message.bytes, message.length, answer, kWireSize);
    const int result = framing.parse(answer, length, response, responseCapacity);
    return result >= 0 && length > responseCapacity ? kBadArgument : result;
}

int Exchange(const Framing &framing, DEVCONTEXT *deviceContext, const unsigned char *command,
             int commandLength, unsigned char *response, int responseCapacity, uint32_t timeoutMs)
{
    if (command == nullptr || response == nullptr || commandLength < 1 ||
        commandLength > framing.longestCommand || responseCapacity < 1)
        return kBadArgument;
    SelectReportMode(deviceContext, kIcReportMode);
    const int opened = BeginExchange(deviceContext);
    if (opened != 0)
        return opened;
    if (framing.logsCommand)
        GLogI("Cmd: %.*s, CmdSize = %d\r\n", commandLength, reinterpret_cast<const char *>(command),
              commandLength);

    WireMessage sent;
    sent.length = framing.make(command, commandLength, sent.bytes, framing.wireCapacity);
    int result = sent.length;
    if (sent.length > 0)
    {
        WireMessage received;
        const bool isSent = SendAndReceive(deviceContext, sent, &received, timeoutMs);
        result = TakePayload(framing, received, response, responseCapacity);
        explicit_bzero(sent.bytes, static_cast<size_t>(sent.length)); // it may have held a key
        if (isSent && result == kBadAnswer) // none, half of one, or what belongs to another link
            ExpectLateAnswer(deviceContext, LateAnswer::kAwaited);
    }
    EndExchange(deviceContext);
    return result;
}

} // namespace

int KrelIc_MakeCmdPackage(const unsigned char *command, int commandLength, unsigned char *out,
                          int outCapacity)
{
    if (command == nullptr || out == nullptr || commandLength < 0 ||
        commandLength > kKrelFrameLimit - kFrameExtra)
        return kBadArgument;
    const int frameLength = commandLength + kFrameExtra;
    if (outCapacity < 2 * frameLength + 1)
        return kBadArgument;
    unsigned char frame[kKrelFrameLimit];
    frame[0] = kKrelStart;
    frame[1] = static_cast<unsigned char>(commandLength);
    std::memcpy(frame + 2, command, static_cast<size_t>(commandLength));
    frame[commandLength + 2] = GCalXor(frame, static_cast<uint64_t>(commandLength + 2));
    const int characters =
        GByte2Hex(frame, frameLength, reinterpret_cast<char *>(out), outCapacity);
    explicit_bzero(frame, static_cast<size_t>(frameLength));
    out[characters] = kEnd;
    return characters + 1;
}

int Union_MakeCmdPackage(const unsigned char *command, int commandLength, unsigned char *out,
                         int outCapacity)
{
    if (command == nullptr || out == nullptr || commandLength < 0 ||
        commandLength > kUnionFrameLimit - kFrameExtra)
        return kBadArgument;
    const int frameLength = commandLength + kFrameExtra;
    if (outCapacity < 2 * (frameLength + 1))
        return kBadArgument;
    unsigned char frame[kUnionFrameLimit];
    frame[0] = static_cast<unsigned char>(commandLength >> 8);
    frame[1] = static_cast<unsigned char>(commandLength);
    std::memcpy(frame + 2, command, static_cast<size_t>(commandLength));
    frame[commandLength + 2] = GCalXor(command, static_cast<uint64_t>(commandLength));
    out[0] = kUnionStart;
    for (int i = 0; i < frameLength; i++)
    {
        out[1 + 2 * i] = static_cast<unsigned char>(0x30 + (frame[i] >> 4));
        out[2 + 2 * i] = static_cast<unsigned char>(0x30 + (frame[i] & 0x0F));
    }
    explicit_bzero(frame, static_cast<size_t>(frameLength));
    out[1 + 2 * frameLength] = kEnd;
    return 2 * frameLength + 2;
}

int KrelIc_TrimPackage(const unsigned char *in, int inLength, unsigned char *out, int outCapacity)
{
    for (int i = 0; i + 1 < inLength; i++)
        if (in[i] == '6' && in[i + 1] == '0')
            return CutAnswer(in + i, inLength - i, out, outCapacity);
    return 0;
}

int Union_TrimPackage(const unsigned char *in, int inLength, unsigned char *out, int outCapacity)
{
    for (int i = 0; i < inLength; i++)
        if (in[i] == kUnionStart)
            return CutAnswer(in + i, inLength - i, out, outCapacity);
    return 0;
}

int KrelIc_ParseResPackage(const unsigned char *in, int inLength, unsigned char *out,
                           int outCapacity)
{
    if (in == nullptr || out == nullptr)
        return kBadArgument;
    if (inLength < 3 || in[0] != '6' || in[1] != '0' || in[inLength - 1] != kEnd)
        return kBadAnswer;
    Decoded decoded;
    decoded.count =
        GHex2Byte(reinterpret_cast<const char *>(in), inLength - 1, decoded.bytes, kScratchSize);
    int length = DecodedByte(decoded, 1);
    if (length < kLongForm)
        CopyDecoded(decoded, 2, std::min(length, outCapacity), out);
    else
    {
        // A zero stands for the status. The payload then runs one byte past the length, which
        // counts the status in: as much of it as there is room for.
        length = kLongForm + DecodedByte(decoded, 2) - kLongFormBase;
        if (outCapacity > 0)
        {
            out[0] = 0;
            CopyDecoded(decoded, 3, std::min(length, outCapacity - 1), out + 1);
        }
    }
    return length > outCapacity ? kBadArgument : length;
}

int Union_ParseResPackage(const unsigned char *in, int inLength, unsigned char *out,
                          int outCapacity)
{
    if (in == nullptr || out == nullptr)
        return kBadArgument;
    if (inLength < 2 || in[0] != kUnionStart || in[inLength - 1] != kEnd)
        return kBadAnswer;
    Decoded decoded;
    DecodeNibbles(in + 1, inLength - 2, &decoded);
    const int length = DecodedByte(decoded, 0) << 8 | DecodedByte(decoded, 1);
    if (length > outCapacity)
        return kBadArgument;
    CopyDecoded(decoded, 2, length, out);
    return length;
}

int KrelIcPacketIsEnd(const unsigned char *bytes, uint32_t count)
{
    return std::memchr(bytes, kEnd, count) != nullptr ? 1 : 0;
}

// The exchange asks KrelIcPacketIsEnd for both framings.
int UnionPacketIsEnd(const unsigned char *bytes, uint32_t count)
{
    return KrelIcPacketIsEnd(bytes, count);
}

int KrelIc_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command, int commandLength,
                   unsigned char *response, int responseCapacity, uint32_t timeoutMs)
{
    return Exchange(kKrelFraming, deviceContext, command, commandLength, response, responseCapacity,
                    timeoutMs);
}

int Union_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command, int commandLength,
                  unsigned char *response, int responseCapacity, uint32_t timeoutMs)
{
    return Exchange(kUnionFraming, deviceContext, command, commandLength, response,
                    responseCapacity, timeoutMs);
}
