// The calls for Ultralight C cards.
#include <cstring>

#include "api/memory_card_calls.h"
#include "api/outcome.h"
#include "vantor/memory_card_operations.h"
#include "vantor/memory_cards.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadPage = -5106;

int TryPowerOn(WaitingCard *card)
{
    return M0_PowerOn(&context, card->bytes, &card->length, kCardPowerTimeoutMs);
}

constexpr CardWait kWait = {TryPowerOn, {-4005, -5001}, 9, WaitMeasure::kPasses};

} // namespace

int BO_M0PowerOn(int outSize, char *out, int32_t *outLength, int timeoutSeconds)
{
    return PowerOnMemoryCard(kWait, {outSize, out, outLength}, timeoutSeconds);
}

int BO_M0PowerOff(void)
{
    return Outcome(M0_PowerOff(&context, kCardPowerTimeoutMs), "M0_PowerOff Error!\r\n");
}

int BO_M0Read(int page, int count, int outSize, char *out)
{
    if (page < 0)
        return Refuse("BO_M0ReadCard data Error!\r\n", kBadPage);
    if (out == nullptr)
        return kMemoryCardBadParameter;
    CardData data{};
    const int result =
        M0_ReadBlock(&context, page, count, data.bytes, &data.length, kCardTimeoutMs);
    if (result == 0)
        GiveLoggedCardText(data, {outSize, out}, "BO_M0ReadCard");
    return Outcome(result, "M0_ReadBlock data Error!\r\n");
}

int BO_M0Write(int page, const char *data)
{
    if (page < 0)
        return Refuse("BO_M0ReadCard data Error!\r\n", kBadPage); // the reading's text: deliberate
    if (data == nullptr)
        return kMemoryCardBadParameter;
    unsigned char bytes[256] = {}; // more than a command carries
    const int length =
        GHex2Byte(data, static_cast<int>(strnlen(data, 2 * sizeof bytes)), bytes, sizeof bytes);
    const int result = M0_WriteBlock(&context, page, bytes, length, kCardTimeoutMs);
    explicit_bzero(bytes, sizeof bytes); // a page may be a part of a key
    return Outcome(result, "M0_WriteBlock Error!\r\n");
}
