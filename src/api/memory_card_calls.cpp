#include "api/memory_card_calls.h"

#include <algorithm>

#include "vantor/business.h"
#include "vantor/support.h"

int Refuse(const char *message, int code)
{
    GLogE("%s", message);
    return code;
}

int GiveCardText(const CardData &data, const TextRoom &room)
{
    const int length =
        std::max(GByte2Hex(data.bytes, static_cast<int>(data.length), room.text, room.size), 0);
    if (length < room.size)
        room.text[length] = '\0';
    return length;
}

// At error level, as every message of these calls. Deliberate.
void GiveLoggedCardText(const CardData &data, const TextRoom &room, const char *call)
{
    GLogE("%s, iOutLen = %d, szOutBuf = %s\r\n", call, static_cast<int>(data.length),
          reinterpret_cast<const char *>(data.bytes));
    const int length = GiveCardText(data, room);
    GLogE("%s, szOutData = %.*s\r\n", call, length, room.text);
}

int PowerOnMemoryCard(const CardWait &wait, const HexOutput &output, int timeoutSeconds)
{
    if (RefuseTimeout(timeoutSeconds) || output.length == nullptr)
        return kMemoryCardBadParameter;
    WaitingCard card{};
    const int result = WaitForCard(wait, timeoutSeconds, &card);
    return GiveWaitOutcome(result, card, output);
}
