// Mifare Classic cards, class M1: activate, authenticate a sector, blocks and value blocks.
#include <algorithm>
#include <cstring>

#include "ops/card_parameters.h"
#include "vantor/memory_card_operations.h"

namespace
{

constexpr unsigned char kKeyA = 0x60; // the card's own authentication commands
constexpr unsigned char kKeyB = 0x61;

constexpr ModuleOperation kPowerOn = {
    kShortBufferSize,
    {Head({'A'}), {}, -5001},
    {Head({'2', 'A', 0x00, 0x00}), {}, -5001},
};

constexpr ModuleOperation kPowerOff = {
    kShortBufferSize,
    {Head({'K'}), {}, -5002},
    {Head({'2', '%'}), {}, -5002}, // the one letter that differs
};

// The letter and, with Union_, "2" before it; every failure status is the command's one code.
constexpr ModuleOperation CardCommand(unsigned char letter, int failure)
{
    return {kModuleBufferSize, {Head({letter}), {}, failure}, {Head({'2', letter}), {}, failure}};
}

constexpr ModuleOperation kVerify = CardCommand('B', -5003);
constexpr ModuleOperation kReadBlock = CardCommand('C', -5004);
constexpr ModuleOperation kWriteBlock = CardCommand('D', -5005);
constexpr ModuleOperation kReadValue = CardCommand('E', -5006);
constexpr ModuleOperation kWriteValue = CardCommand('F', -5007);
constexpr ModuleOperation kIncrement = CardCommand('G', -5008);
constexpr ModuleOperation kDecrement = CardCommand('H', -5009);

int Run(const ModuleOperation &operation, DEVCONTEXT *deviceContext, const Parameters &parameters,
        ModuleReply *reply, uint32_t timeoutMs)
{
    return RunModule(operation, ConfiguredFraming(kKrelIc), deviceContext, parameters, reply,
                     timeoutMs);
}

int ReadFrom(const ModuleOperation &operation, DEVCONTEXT *deviceContext, int block,
             unsigned char *out, uint32_t *outLength, uint32_t timeoutMs)
{
    const unsigned char number = static_cast<unsigned char>(block);
    ModuleReply reply;
    const int result = Run(operation, deviceContext, {&number, 1}, &reply, timeoutMs);
    GiveData(reply, out, outLength);
    return result;
}

int WriteTo(const ModuleOperation &operation, DEVCONTEXT *deviceContext, int block,
            const void *data, int dataLength, uint32_t timeoutMs)
{
    CardParameters parameters;
    AppendByte(&parameters, block);
    AppendData(&parameters, data, dataLength);
    ModuleReply reply;
    return Run(operation, deviceContext, parameters, &reply, timeoutMs);
}

int ChangeBy(const ModuleOperation &operation, DEVCONTEXT *deviceContext, int block, int amount,
             uint32_t timeoutMs)
{
    unsigned char bytes[4]; // the least significant first
    for (int i = 0; i < 4; i++)
        bytes[i] = static_cast<unsigned char>(static_cast<uint32_t>(amount) >> (8 * i));
    return WriteTo(operation, deviceContext, block, bytes, sizeof bytes, timeoutMs);
}

} // namespace

// With Union_ the caller gets the whole reply, its status bytes too. Deliberate: hosts skip them.
int M1_PowerOn(DEVCONTEXT *deviceContext, unsigned char *out, uint32_t *outLength,
               uint32_t timeoutMs)
{
    const int framing = ConfiguredFraming(kKrelIc);
    ModuleReply reply;
    const int result = RunModule(kPowerOn, framing, deviceContext, {}, &reply, timeoutMs);
    if (framing == kUnion && reply.data != nullptr)
    {
        reply.data = reply.bytes;
        reply.dataLength = std::max(reply.length, 0);
    }
    GiveData(reply, out, outLength);
    return result;
}

int M1_PowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    ModuleReply reply;
    return Run(kPowerOff, deviceContext, {}, &reply, timeoutMs);
}

// Only KrelIc turns the key type into the card's command. Deliberate: a Union_ reader does it
// itself.
int M1_Verify(DEVCONTEXT *deviceContext, int sector, int keyType, const char *key,
              uint32_t timeoutMs)
{
    const int framing = ConfiguredFraming(kKrelIc);
    CardParameters parameters;
    AppendByte(&parameters, sector);
    AppendByte(&parameters, framing == kUnion ? keyType : keyType != 0 ? kKeyB : kKeyA);
    const size_t keyLength = key == nullptr ? 1 : strnlen(key, kModuleBufferSize);
    AppendData(&parameters, key, static_cast<int>(keyLength));
    ModuleReply reply;
    const int result = RunModule(kVerify, framing, deviceContext, parameters, &reply, timeoutMs);
    Wipe(&parameters);
    return result;
}

int M1_ReadBlock(DEVCONTEXT *deviceContext, int block, unsigned char *out, uint32_t *outLength,
                 uint32_t timeoutMs)
{
    return ReadFrom(kReadBlock, deviceContext, block, out, outLength, timeoutMs);
}

int M1_ReadValue(DEVCONTEXT *deviceContext, int block, unsigned char *out, uint32_t *outLength,
                 uint32_t timeoutMs)
{
    return ReadFrom(kReadValue, deviceContext, block, out, outLength, timeoutMs);
}

int M1_WriteBlock(DEVCONTEXT *deviceContext, int block, const unsigned char *data, int dataLength,
                  uint32_t timeoutMs)
{
    return WriteTo(kWriteBlock, deviceContext, block, data, dataLength, timeoutMs);
}

int M1_WriteValue(DEVCONTEXT *deviceContext, int block, const uint32_t *value, uint32_t timeoutMs)
{
    return WriteTo(kWriteValue, deviceContext, block, value, sizeof *value, timeoutMs);
}

int M1_Increment(DEVCONTEXT *deviceContext, int block, const uint32_t *amount, uint32_t timeoutMs)
{
    return WriteTo(kIncrement, deviceContext, block, amount, sizeof *amount, timeoutMs);
}

int M1_Decrement(DEVCONTEXT *deviceContext, int block, const uint32_t *amount, uint32_t timeoutMs)
{
    return WriteTo(kDecrement, deviceContext, block, amount, sizeof *amount, timeoutMs);
}

int M1_IncreaseValue(DEVCONTEXT *deviceContext, int block, int amount, uint32_t timeoutMs)
{
    return ChangeBy(kIncrement, deviceContext, block, amount, timeoutMs);
}

int M1_DecreaseValue(DEVCONTEXT *deviceContext, int block, int amount, uint32_t timeoutMs)
{
    return ChangeBy(kDecrement, deviceContext, block, amount, timeoutMs);
}
