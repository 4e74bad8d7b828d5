// Contact and contactless IC cards: power on and off, one APDU, card detection.
#include "vantor/operations.h"

#include "ops/module_command.h"

uint32_t g_Slot = 0;
int32_t g_IcType = 0;

namespace
{

const int kPowerOnFailed = -4000;
const int kPowerOffFailed = -4002;
const int kNotPowered = -4004;
const int kNoCard = -4005;
const int kApduFailed = -4006;

constexpr ModuleOperation kPowerOn = {
    kShortBufferSize,
    {Head({0xE1}, SlotByte::kContact), {{0xA2, kPowerOnFailed}, {0xFB, kNoCard}}, kReplyLength},
    {Head({0x32, 0x22, 0x00, 0x00}, SlotByte::kContact),
     {{0x1001, kPowerOnFailed}, {0x1002, kNoCard}, {0x1005, kPowerOnFailed}},
     kReaderFailure},
};

constexpr ModuleOperation kRfPowerOn = {
    kShortBufferSize,
    {Head({0xD1}), {{0xA2, kPowerOnFailed}, {0xFB, kNoCard}}, kReplyLength},
    {Head({0x32, 0x24, 0x00, 0x00}), {{0x3008, kPowerOnFailed}, {0x3005, kNoCard}}, kReaderFailure},
};

constexpr ModuleOperation kPowerOff = {
    kShortBufferSize,
    {Head({0xE2}, SlotByte::kContact), {{0xA2, kPowerOffFailed}, {0xFB, kNoCard}}, kReaderFailure},
    {Head({0x32, 0x23}, SlotByte::kContact), {{0x1001, kPowerOffFailed}}, kReaderFailure},
};

constexpr ModuleOperation kRfPowerOff = {
    kShortBufferSize,
    {Head({0xD2}), {{0xA2, kPowerOffFailed}, {0xFB, kNoCard}}, kReaderFailure},
    {Head({0x32, 0x25, 0x00, 0x00}),
     {{0x3001, kPowerOffFailed},
      {0x3004, kNotPowered},
      {0x3006, kNoCard},
      {0x3007, kPowerOffFailed}},
     kReaderFailure},
};

constexpr ModuleOperation kApdu = {
    kModuleBufferSize,
    {Head({0xE3}, SlotByte::kContact), {{0xA2, kApduFailed}, {0xFB, kNoCard}}, kReaderFailure},
    {Head({0x32, 0x26}, SlotByte::kContact),
     {{0x1001, kApduFailed},
      {0x1002, kNoCard},
      {0x1004, kNotPowered},
      {0x1006, kNoCard},
      {0x1007, kApduFailed}},
     kReaderFailure},
};

// Over Union_ the contact command with a slot byte that stands for the antenna.
constexpr ModuleOperation kRfApdu = {
    kModuleBufferSize,
    {Head({0xD3}), {{0xA2, kApduFailed}, {0xFB, kNoCard}}, kReaderFailure},
    {Head({0x32, 0x26, 0xFF}),
     {{0x3001, kApduFailed}, {0x3004, kNotPowered}, {0x3006, kNoCard}, {0x3007, kApduFailed}},
     kReaderFailure},
};

// Union_ alone can ask this.
constexpr ModuleOperation kCardDetect = {
    kShortBufferSize,
    {},
    {Head({0x32, 0x21}), {}, kReaderFailure},
};

// Sends the operation and gives the caller what lies behind the status.
int RunCardCommand(const ModuleOperation &operation, DEVCONTEXT *deviceContext,
                   const Parameters &parameters, unsigned char *data, uint32_t *length,
                   uint32_t timeoutMs)
{
    ModuleReply reply;
    const int result = RunModule(operation, ConfiguredFraming(kKrelIc), deviceContext, parameters,
                                 &reply, timeoutMs);
    GiveData(reply, data, length);
    return result;
}

// The first byte goes before the second; a byte with another value says nothing.
int CardPresence(unsigned char first, unsigned char second)
{
    if (first == 0x11)
        return 1;
    if (first == 0x12)
        return 2;
    return second == 0x12 ? 3 : 0;
}

} // namespace

void IC_SetSlot(uint32_t slot)
{
    g_Slot = slot;
}

int IC_PowerOn(DEVCONTEXT *deviceContext, unsigned char *atr, uint32_t *atrLength,
               uint32_t timeoutMs)
{
    return RunCardCommand(kPowerOn, deviceContext, {}, atr, atrLength, timeoutMs);
}

int IC_RFPowerOn(DEVCONTEXT *deviceContext, unsigned char *atr, uint32_t *atrLength,
                 uint32_t timeoutMs)
{
    return RunCardCommand(kRfPowerOn, deviceContext, {}, atr, atrLength, timeoutMs);
}

int IC_PowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    return RunCardCommand(kPowerOff, deviceContext, {}, nullptr, nullptr, timeoutMs);
}

int IC_RFPowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    return RunCardCommand(kRfPowerOff, deviceContext, {}, nullptr, nullptr, timeoutMs);
}

int IC_APDU(DEVCONTEXT *deviceContext, const unsigned char *apdu, int apduLength,
            unsigned char *response, uint32_t *responseLength, uint32_t timeoutMs)
{
    return RunCardCommand(kApdu, deviceContext, {apdu, apduLength}, response, responseLength,
                          timeoutMs);
}

int IC_RFAPDU(DEVCONTEXT *deviceContext, const unsigned char *apdu, int apduLength,
              unsigned char *response, uint32_t *responseLength, uint32_t timeoutMs)
{
    return RunCardCommand(kRfApdu, deviceContext, {apdu, apduLength}, response, responseLength,
                          timeoutMs);
}

int IC_CardDetect(DEVCONTEXT *deviceContext, unsigned char kind, int32_t *result,
                  uint32_t timeoutMs)
{
    ModuleReply reply;
    const int code = RunModule(kCardDetect, ConfiguredFraming(kKrelIc), deviceContext, {&kind, 1},
                               &reply, timeoutMs);
    if (code == 0 && result != nullptr)
        *result = CardPresence(ReplyByte(reply, 2), ReplyByte(reply, 3));
    return code;
}
