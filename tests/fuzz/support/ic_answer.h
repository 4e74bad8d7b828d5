// What the targets of the two IC framings have in common: an answer is cut out of what the line
// says, taken apart, and handed on by the operations above.
#pragma once

#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "link/ic_transport.h"
#include "vantor/link.h"
#include "vantor/operations.h"
#include "vantor/support.h"

namespace fuzz
{

struct IcFraming
{
    const char *settings; // of [devcfg]
    int startLength;      // bytes that every answer begins with
    const char *start;
    int extra; // bytes of `response` beyond the result that may be written
    int (*trim)(const unsigned char *, int, unsigned char *, int);
    int (*parse)(const unsigned char *, int, unsigned char *, int);
    int (*send)(DEVCONTEXT *, const unsigned char *, int, unsigned char *, int, uint32_t);
};

inline bool IsLinkResult(int result, int capacity)
{
    return (result >= 0 && result <= capacity) || result == -22 || result == -74;
}

inline void TakeApart(const IcFraming &framing, const Bytes &wire, int capacity)
{
    Room in(wire);
    Room cut(static_cast<size_t>(capacity));
    const int length = framing.trim(in.Data(), in.Size(), cut.Data(), cut.Size());
    FUZZ_CHECK(length >= 0 && length <= capacity && length <= in.Size());
    FUZZ_CHECK(length < framing.startLength ||
               std::memcmp(cut.Data(), framing.start, static_cast<size_t>(framing.startLength)) ==
                   0);
    const Bytes pieces[] = {wire, Bytes(cut.Data(), cut.Data() + length)};
    for (const Bytes &piece : pieces)
    {
        Room answer(piece);
        Room payload(static_cast<size_t>(capacity));
        const int result =
            framing.parse(answer.Data(), answer.Size(), payload.Data(), payload.Size());
        FUZZ_CHECK(IsLinkResult(result, capacity));
        FUZZ_CHECK(result < 0 ||
                   payload.IsUntouchedFrom(static_cast<size_t>(result + framing.extra)));
    }
}

inline void ExchangeOnLine(const IcFraming &framing, const Bytes &wire, int capacity)
{
    static const unsigned char command[] = {0x81, 0x00};
    Room response(static_cast<size_t>(capacity));
    const int result =
        framing.send(&context, command, sizeof command, response.Data(), response.Size(), 1000);
    FUZZ_CHECK(capacity == 0 ? result == -22 : IsLinkResult(result, capacity));
    FUZZ_CHECK(capacity == 0 || Exchanges() == 1);
    FUZZ_CHECK(result < 0 || response.IsUntouchedFrom(static_cast<size_t>(result + framing.extra)));
    // A whole answer ends at its 03, which is in what the line said.
    FUZZ_CHECK(result <= 0 || !wire.empty());
}

// One operation after the other, each with the same answer.
inline void Operate()
{
    Room info(256), record(256), atr(256), rfAtr(256), response(4096), rfResponse(4096);
    uint32_t length = 0xEEEEEEEE;
    int32_t signedLength = -1;
    int32_t kind = -1;
    if (IC_GetDevInfo(&context, info.Data(), &length, 500) == 0)
        FUZZ_CHECK(length <= 255 || length == 0xEEEEEEEE);
    if (IC_GetDevAllInfo(&context, record.Data(), &signedLength, 500) == 0)
        FUZZ_CHECK(signedLength >= -1 && signedLength <= 255);
    length = 0;
    if (IC_PowerOn(&context, atr.Data(), &length, 500) == 0)
        FUZZ_CHECK(length <= 256 && atr.IsUntouchedFrom(length));
    length = 0;
    if (IC_RFPowerOn(&context, rfAtr.Data(), &length, 500) == 0)
        FUZZ_CHECK(length <= 256 && rfAtr.IsUntouchedFrom(length));
    static const unsigned char apdu[] = {0x00, 0x84, 0x00, 0x00, 0x08};
    length = 0;
    if (IC_APDU(&context, apdu, sizeof apdu, response.Data(), &length, 500) == 0)
        FUZZ_CHECK(length <= 4096 && response.IsUntouchedFrom(length));
    length = 0;
    if (IC_RFAPDU(&context, apdu, sizeof apdu, rfResponse.Data(), &length, 500) == 0)
        FUZZ_CHECK(length <= 4096 && rfResponse.IsUntouchedFrom(length));
    if (IC_CardDetect(&context, 0xFF, &kind, 500) == 0)
        FUZZ_CHECK(kind >= -1 && kind <= 3);
    IC_PowerOff(&context, 500);
    IC_SetBaud(&context, 115200);
}

// Two bytes of capacity, one that says how the line behaves, then what it says.
inline void RunIcAnswer(const IcFraming &framing, const uint8_t *data, size_t size)
{
    Input input{data, size};
    const int capacity = input.Word() % 4200;
    const uint8_t how = input.Byte();
    const Bytes wire = input.Rest();
    TakeApart(framing, wire, capacity);

    World world(framing.settings,
                [&](const Bytes &)
                {
                    Answer answer;
                    answer.bytes = wire;
                    answer.piece = how & 0x0F;
                    return answer;
                });
    if ((how & 0x10) != 0)
        GSetLogLevel(2);
    OpenLine((how & 0x20) != 0 ? LineKind::kUsb : LineKind::kSerial);
    ExchangeOnLine(framing, wire, capacity);
    if ((how & 0x40) != 0)
        Operate();
}

} // namespace fuzz
