#include "pboc/card_exchange.h"

#include <cstring>

#include "vantor/operations.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace
{

constexpr int kInformationLevel = 2;
constexpr uint32_t kApduTimeoutMs = 3000;
constexpr int kMostFollowUps = 32; // a card may answer 61xx for ever

int Exchange(DEVCONTEXT *deviceContext, int cardType, const uint8_t *command, int commandLength,
             uint8_t *response, uint32_t *responseLength)
{
    if (cardType == 1)
        return IC_RFAPDU(deviceContext, command, commandLength, response, responseLength,
                         kApduTimeoutMs);
    const int result =
        IC_APDU(deviceContext, command, commandLength, response, responseLength, kApduTimeoutMs);
    if (cardType == 0 || result == 0)
        return result;
    return IC_RFAPDU(deviceContext, command, commandLength, response, responseLength,
                     kApduTimeoutMs);
}

void LogInHex(bool command, const uint8_t *bytes, int length)
{
    if (g_nGDbgLevel < kInformationLevel)
        return;
    char text[2048 + 1] = {}; // a NUL stays behind the longest text
    GByte2Hex(bytes, length, text, sizeof text - 1);
    if (command)
        GLogI("PBOC_IcAPDU szInData = %s\r\n", text);
    else
        GLogI("PBOC_IcAPDU szOutData = %s\r\n", text);
}

int ExchangeOnce(DEVCONTEXT *deviceContext, int cardType, const uint8_t *command, int commandLength,
                 uint8_t *response, int32_t *responseLength)
{
    memset(response, 0, 8);
    *responseLength = 0;
    LogInHex(true, command, commandLength);

    uint8_t whole[kWholeResponse] = {};
    uint32_t wholeLength = 0;
    const int result =
        Exchange(deviceContext, cardType, command, commandLength, whole, &wholeLength);
    const int length = static_cast<int>(wholeLength);
    *responseLength = CopyResponse(whole, length, response, kResponseArea);
    LogInHex(false, whole, length);
    return result;
}

// GET RESPONSE, written over the caller's command.
int MakeGetResponse(uint8_t *command, uint8_t expectedLength)
{
    command[0] = 0x00;           // CLA
    command[1] = 0xC0;           // INS: GET RESPONSE
    command[2] = 0x00;           // P1
    command[3] = 0x00;           // P2
    command[4] = expectedLength; // Le
    return 5;
}

} // namespace

int StatusWord(const uint8_t *response, int length)
{
    return length < 2 ? -1 : response[length - 2] << 8 | response[length - 1];
}

int CopyResponse(const uint8_t *response, int length, uint8_t *area, int capacity)
{
    if (length <= capacity)
    {
        memcpy(area, response, static_cast<size_t>(length));
        return length;
    }
    memcpy(area, response, static_cast<size_t>(capacity - 2));
    memcpy(area + capacity - 2, response + length - 2, 2);
    return capacity;
}

// The follow-ups of ISO 7816-4: 61 (and here every 62 but 6283) announces a response to fetch, 6C
// names the right Le. Each answer is looked at afresh, so a chain is followed to its end.
int PBOC_IcAPDU(DEVCONTEXT *deviceContext, int cardType, unsigned char *command, int commandLength,
                unsigned char *response, int32_t *responseLength)
{
    if (command == nullptr || commandLength < 1 || response == nullptr || responseLength == nullptr)
        return -99;
    for (int followUps = 0;; followUps++)
    {
        const int result =
            ExchangeOnce(deviceContext, cardType, command, commandLength, response, responseLength);
        const int statusWord = StatusWord(response, *responseLength);
        const uint8_t sw2 = static_cast<uint8_t>(statusWord);
        if (statusWord == 0x6283)
            return 100; // the selected application or file is invalidated
        if (followUps == kMostFollowUps)
            return result;
        switch (statusWord >> 8)
        {
        case 0x62:
            commandLength = MakeGetResponse(command, 0x00);
            break;
        case 0x6C:
            // The last byte is taken for Le, deliberately also in a command that carries none.
            command[commandLength - 1] = sw2;
            break;
        case 0x61:
            commandLength = MakeGetResponse(command, sw2);
            break;
        default:
            return result;
        }
    }
}
