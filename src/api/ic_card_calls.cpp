// Power on with the wait for a card, power off, APDUs as hexadecimal text, card detection.
#include <cstring>
#include <ctime>
#include <unistd.h>

#include "api/wait_flag.h"
#include "pboc/card_exchange.h"
#include "vantor/business.h"
#include "vantor/operations.h"
#include "vantor/support.h"

namespace
{

constexpr int kContact = 0;
constexpr int kContactless = 1;

constexpr int kCancelled = -1006;
constexpr int kBadParameter = -1007;
constexpr int kNoAnswerToReset = -4000;
constexpr int kWaitEnded = -4001;
constexpr int kNoCard = -4005;

constexpr uint32_t kPowerTimeoutMs = 1000;
constexpr uint32_t kApduTimeoutMs = 3000;
constexpr int kLongestApduText = 1024; // characters
constexpr int kApduResponse = 1024;    // bytes given to a host

struct PoweredCard
{
    uint8_t atr[512];
    uint32_t atrLength;
    int type;
};

using PowerOn = int (*)(DEVCONTEXT *, unsigned char *, uint32_t *, uint32_t);

int TryPowerOn(PowerOn powerOn, int type, PoweredCard *card)
{
    const int result = powerOn(&context, card->atr, &card->atrLength, kPowerTimeoutMs);
    if (result == 0)
        card->type = type;
    return result;
}

// One attempt. In the automatic mode the contactless result stands for both.
int AttemptPowerOn(int mode, PoweredCard *card)
{
    if (mode == kContactless)
        return TryPowerOn(IC_RFPowerOn, kContactless, card);
    const int result = TryPowerOn(IC_PowerOn, kContact, card);
    if (mode == kContact || result == 0)
        return result;
    return TryPowerOn(IC_RFPowerOn, kContactless, card);
}

// The pause between two attempts; false when another thread cancels it.
bool PauseUnlessCancelled(int mode)
{
    // Two attempts take longer than one, so the automatic mode pauses a little less.
    const int steps = mode == kContact || mode == kContactless ? 9 : 8;
    for (int i = 0; i < steps; i++)
    {
        usleep(100000);
        if (WaitIsCancelled())
            return false;
    }
    return true;
}

// Attempts until a card answers, the time has passed or a real failure comes. False when cancelled.
bool WaitForCard(int mode, int timeoutSeconds, PoweredCard *card, int *result)
{
    ClearWaitCancel();
    const time_t start = time(nullptr);
    do
    {
        *result = AttemptPowerOn(mode, card);
        if (*result != kNoCard && *result != kNoAnswerToReset)
            return true;
        if (!PauseUnlessCancelled(mode))
            return false;
    } while (timeoutSeconds == 0 || time(nullptr) - start < timeoutSeconds);
    return true;
}

// The whole text must be upper-case hexadecimal, also what lies behind the characters to be sent.
bool IsApduText(const char *text, int length)
{
    return text != nullptr && length >= 1 && length <= kLongestApduText && length % 2 == 0 &&
           strlen(text) >= static_cast<size_t>(length) && IsHexDataValue(text);
}

using Apdu = int (*)(DEVCONTEXT *, const unsigned char *, int, unsigned char *, uint32_t *,
                     uint32_t);

} // namespace

int BO_IcPowerOn(int mode, int atrSize, char *atrHex, int32_t *atrHexLength, int32_t *cardType,
                 int timeoutSeconds)
{
    if (timeoutSeconds < 0)
    {
        GLogE("Timeout Error!\r\n");
        return kBadParameter;
    }
    if (atrHexLength == nullptr || cardType == nullptr)
        return kBadParameter;
    PoweredCard card{};
    int result = 0;
    if (!WaitForCard(mode, timeoutSeconds, &card, &result))
    {
        GLogE("Cancel!\r\n");
        return BO_GetErrorCode(kCancelled);
    }
    if (result == 0)
    {
        g_IcType = card.type;
        *cardType = card.type;
    }
    else if (timeoutSeconds == 0)
    {
        // Deliberately one-sided: a wait with a limit ends with the last result of the card.
        GLogE("Timeout!\r\n");
        result = kWaitEnded;
    }
    *atrHexLength = GByte2Hex(card.atr, static_cast<int>(card.atrLength), atrHex, atrSize);
    return BO_GetErrorCode(result);
}

int BO_IcPowerOff(int mode)
{
    int result = 0;
    const bool automatic = mode != kContact && mode != kContactless;
    if (mode == kContactless || (automatic && g_IcType != kContact))
        result = IC_RFPowerOff(&context, kPowerTimeoutMs);
    else
    {
        result = IC_PowerOff(&context, kPowerTimeoutMs);
        if (automatic && result != 0)
            result = IC_RFPowerOff(&context, kPowerTimeoutMs);
    }
    if (result != 0)
        GLogE("IcPowerOff Error!\r\n");
    return BO_GetErrorCode(result);
}

int BO_IcAPDU(int mode, const char *apduHex, int apduHexLength, int /*reserved*/, char *responseHex,
              int32_t *responseHexLength)
{
    if (!IsApduText(apduHex, apduHexLength))
    {
        GLogE("ApduData Error!\r\n");
        return kBadParameter;
    }
    if (responseHex == nullptr || responseHexLength == nullptr)
        return kBadParameter;
    uint8_t apdu[1024] = {};
    const int apduLength = GHex2Byte(apduHex, apduHexLength, apdu, sizeof apdu);

    const bool automatic = mode != kContact && mode != kContactless;
    const bool contactlessFirst = mode == kContactless || (automatic && g_IcType != kContact);
    const Apdu first = contactlessFirst ? IC_RFAPDU : IC_APDU;
    const Apdu second = contactlessFirst ? IC_APDU : IC_RFAPDU;
    uint8_t whole[kWholeResponse] = {};
    uint32_t wholeLength = 0;
    int result = first(&context, apdu, apduLength, whole, &wholeLength, kApduTimeoutMs);
    if (automatic && result != 0)
        result = second(&context, apdu, apduLength, whole, &wholeLength, kApduTimeoutMs);
    if (result != 0)
        GLogE("IcApdu Error!\r\n");

    uint8_t response[kApduResponse] = {};
    const int length = CopyResponse(whole, static_cast<int>(wholeLength), response, kApduResponse);
    // With no response the conversion refuses the size 0, and hosts see its -22 as the length.
    *responseHexLength = GByte2Hex(response, length, responseHex, 2 * length);
    return BO_GetErrorCode(result);
}

// Unmapped: a host sees the internal code.
int BO_CardDetect(int32_t *result)
{
    constexpr int kBadArgument = -22;
    constexpr unsigned char kEveryKind = 0xFF;
    if (result == nullptr)
        return kBadArgument;
    const int code = IC_CardDetect(&context, kEveryKind, result, kPowerTimeoutMs);
    if (code != 0)
        GLogE("IC_CardDetect Error!\r\n");
    return code;
}
