#include "link/exchange.h"

#include <algorithm>
#include <cstring>

#include "vantor/support.h"

namespace
{

const int kInformationLevel = 2;
const int kLargestPacket = 4096; // what a single read of unasked data may bring

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

bool IsInterface(DEVCONTEXT *deviceContext, const char *name)
{
    const char *type = DC_GetInterfaceType(deviceContext);
    return type != nullptr && std::strncmp(type, name, sizeof(deviceContext->interfaceType)) == 0;
}

void SelectReportMode(DEVCONTEXT *deviceContext, uint8_t modeId)
{
    if (!IsInterface(deviceContext, "hid"))
        return;
    int deviceType = 0;
    GGetConfigInt("devcfg", "devtype", 0, &deviceType);
    DC_SetModeId(deviceContext, deviceType == 0 ? modeId : 0);
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
