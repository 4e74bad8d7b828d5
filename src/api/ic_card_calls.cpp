// Power on with the wait for a card, power off, APDUs as hexadecimal text, card detection.
#include <cstring>

#include "api/card_wait.h"
#include "pboc/card_exchange.h"
#include "vantor/business.h"
#include "vantor/operations.h"
#include "vantor/support.h"

namespace
{

constexpr int kContact = 0;
constexpr int kContactless = 1;

constexpr int kBadParameter = -1007;
constexpr int kNoAnswerToReset = -4000;
constexpr int kNoCard = -4005;

constexpr uint32_t kPowerTimeoutMs = 1000;
constexpr uint32_t kApduTimeoutMs = 3000;
constexpr int kLongestApduText = 1024; // characters
constexpr int kApduResponse = 1024;    // bytes given to a host

int TryContact(WaitingCard *card)
{
    card->type = kContact;
    return IC_PowerOn(&context, card->bytes, &card->length, kPowerTimeoutMs);
}

int TryContactless(WaitingCard *card)
{
    card->type = kContactless;
    return IC_RFPowerOn(&context, card->bytes, &card->length, kPowerTimeoutMs);
}

// In the automatic mode the contactless result stands for both.
int TryBoth(WaitingCard *card)
{
    const int result = TryContact(card);
    return result == 0 ? 0 : TryContactless(card);
}

constexpr CardWait kContactWait = {
    TryContact, {kNoCard, kNoAnswerToReset}, 9, WaitMeasure::kSeconds};
constexpr CardWait kContactlessWait = {
    TryContactless, {kNoCard, kNoAnswerToReset}, 9, WaitMeasure::kSeconds};
// Two attempts take longer than one, so the automatic mode pauses a little less.
constexpr CardWait kAutomaticWait = {
    TryBoth, {kNoCard, kNoAnswerToReset}, 8, WaitMeasure::kSeconds};

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
    if (RefuseTimeout(timeoutSeconds) || atrHexLength == nullptr || cardType == nullptr)
        return kBadParameter;
    const CardWait &wait = mode == kContact       ? kContactWait
                           : mode == kContactless ? kContactlessWait
                                                  : kAutomaticWait;
    WaitingCard card{};
    const int result = WaitForCard(wait, timeoutSeconds, &card);
    if (result == 0)
    {
        g_IcType = card.type;
        *cardType = card.type;
    }
    return GiveWaitOutcome(result, card, {atrSize, atrHex, atrHexLength});
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
    explicit_bzero(apdu, sizeof apdu); // it may have held a PIN
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
