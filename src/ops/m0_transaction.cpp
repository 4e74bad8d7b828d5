// Ultralight C cards, class M0: activate, pages, the card's own commands. KrelIc alone has them.
#include "ops/card_parameters.h"
#include "vantor/memory_card_operations.h"

namespace
{

constexpr ModuleOperation CardCommand(unsigned char letter, int bufferSize, int failure)
{
    return {bufferSize, {Head({letter}), {}, failure}, {}};
}

constexpr int kExchangeFailed = -5105; // also of a write

constexpr ModuleOperation kPowerOn = CardCommand('Q', kShortBufferSize, -5001);
constexpr ModuleOperation kPowerOff = CardCommand('U', kShortBufferSize, -5002);
constexpr ModuleOperation kReadBlock = CardCommand('W', kModuleBufferSize, -5104);
constexpr ModuleOperation kWriteBlock = CardCommand('T', kModuleBufferSize, kExchangeFailed);
constexpr ModuleOperation kInteraction = CardCommand('V', kModuleBufferSize, kExchangeFailed);
constexpr ModuleOperation kCardType = CardCommand('X', kModuleBufferSize, kExchangeFailed);

int Run(const ModuleOperation &operation, DEVCONTEXT *deviceContext, const Parameters &parameters,
        ModuleReply *reply, uint32_t timeoutMs)
{
    return RunModule(operation, ConfiguredFraming(kKrelIc), deviceContext, parameters, reply,
                     timeoutMs);
}

int Read(const ModuleOperation &operation, DEVCONTEXT *deviceContext, const Parameters &parameters,
         unsigned char *out, uint32_t *outLength, uint32_t timeoutMs)
{
    ModuleReply reply;
    const int result = Run(operation, deviceContext, parameters, &reply, timeoutMs);
    GiveData(reply, out, outLength);
    return result;
}

} // namespace

int M0_PowerOn(DEVCONTEXT *deviceContext, unsigned char *out, uint32_t *outLength,
               uint32_t timeoutMs)
{
    return Read(kPowerOn, deviceContext, {}, out, outLength, timeoutMs);
}

int M0_PowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    ModuleReply reply;
    return Run(kPowerOff, deviceContext, {}, &reply, timeoutMs);
}

int M0_ReadBlock(DEVCONTEXT *deviceContext, int page, int count, unsigned char *out,
                 uint32_t *outLength, uint32_t timeoutMs)
{
    const unsigned char bytes[] = {static_cast<unsigned char>(page),
                                   static_cast<unsigned char>(count)};
    return Read(kReadBlock, deviceContext, {bytes, sizeof bytes}, out, outLength, timeoutMs);
}

int M0_WriteBlock(DEVCONTEXT *deviceContext, int page, const unsigned char *data, int dataLength,
                  uint32_t timeoutMs)
{
    CardParameters parameters;
    AppendByte(&parameters, page);
    AppendData(&parameters, data, dataLength);
    ModuleReply reply;
    const int result = Run(kWriteBlock, deviceContext, parameters, &reply, timeoutMs);
    Wipe(&parameters); // a page may be a part of a key
    return result;
}

int M0_Interaction(DEVCONTEXT *deviceContext, const unsigned char *in, int inLength,
                   unsigned char *out, uint32_t *outLength, uint32_t timeoutMs)
{
    CardParameters parameters;
    AppendByte(&parameters, inLength);
    AppendData(&parameters, in, inLength);
    return Read(kInteraction, deviceContext, parameters, out, outLength, timeoutMs);
}

// The reader tells more than one kind of success.
int M0_ChcekCardType(DEVCONTEXT *deviceContext, int /*reserved*/, unsigned char *type,
                     uint32_t timeoutMs)
{
    ModuleReply reply;
    const int result = Run(kCardType, deviceContext, {}, &reply, timeoutMs);
    const unsigned char status = ReplyByte(reply, 0);
    const bool other = result == kExchangeFailed && (status == 1 || status == 2);
    if (reply.data == nullptr && !other)
        return result;
    if (type != nullptr)
        *type = ReplyByte(reply, 1);
    return 0;
}
