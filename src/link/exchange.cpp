#include "link/exchange.h"

#include <algorithm>
#include <atomic>

#include "transport/context_lock.h"
#include "transport/late_answer.h"
#include "vantor/support.h"

namespace
{

const int kInformationLevel = 2;
const int kLargestPacket = 4096; // what a single read of unasked data may bring

std::atomic<int> s_exchanges{0}; // under way

struct HexText
{
    char characters[2 * kLargestPacket + 1];
};

const char *ToHexText(const unsigned char *bytes, int count, HexText *text)
{
    const int length = count > 0 ? GByte2Hex(bytes, std::min(count, kLargestPacket),
                                             text->characters, 2 * kLargestPacket)
                                 : 0;
    text->characters[length] = '\0';
    return text->characters;
}

} // namespace

void SelectReportMode(DEVCONTEXT *deviceContext, uint8_t modeId)
{
    if (!HasInterfaceType(deviceContext, "hid"))
        return;
    int deviceType = 0;
    GGetConfigInt("devcfg", "devtype", 0, &deviceType);
    DC_SetModeId(deviceContext, deviceType == 0 ? modeId : 0);
}

int BeginExchange(DEVCONTEXT *deviceContext)
{
    const int opened = COMM_Open(deviceContext);
    if (opened == 0)
        ++s_exchanges;
    return opened;
}

void EndExchange(DEVCONTEXT *deviceContext)
{
    --s_exchanges;
    COMM_Close(deviceContext);
}

int WriteCommand(DEVCONTEXT *deviceContext, const unsigned char *bytes, int count,
                 uint32_t timeoutMs)
{
    const int dropped = s_exchanges == 1 ? DropLateAnswer(deviceContext) : 0;
    if (dropped > 0)
        GLogI("Late answer dropped, len = %d\r\n", dropped);
    return COMM_Write(deviceContext, bytes, static_cast<uint32_t>(count), timeoutMs);
}

void LogSentPacket(const unsigned char *bytes, int count)
{
    if (g_nGDbgLevel < kInformationLevel)
        return;
    HexText text;
    GLogI("Send szPackage: %s\r\n", ToHexText(bytes, count, &text));
}

void LogReceivedPacket(const unsigned char *bytes, int count)
{
    if (g_nGDbgLevel < kInformationLevel)
        return;
    HexText text;
    GLogI("Read Pack(len=%d): %s\r\n", count, ToHexText(bytes, count, &text));
}
