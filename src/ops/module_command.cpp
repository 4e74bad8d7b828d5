#include "ops/module_command.h"

#include <algorithm>
#include <cstring>

#include "vantor/link.h"
#include "vantor/operations.h"
#include "vantor/support.h"

namespace
{

struct ModuleCommand
{
    int length;
    unsigned char bytes[kModuleBufferSize];
};

// Slot 0 is the reader's slot 1; from 16 on the KrelIc numbers go their own way.
unsigned char KrelIcSlot(uint32_t slot)
{
    if (slot < 16)
        return static_cast<unsigned char>(slot + 1);
    if (slot == 16)
        return 0x00;
    if (slot < 32)
        return static_cast<unsigned char>(slot - 13);
    return 0x01;
}

unsigned char UnionSlot(uint32_t slot)
{
    return static_cast<unsigned char>(slot);
}

// An empty KrelIc reply is no reply.
bool IsKrelIcReply(int length)
{
    return length > 0;
}

// Only these values are link failures; everything else is read as a reply. Deliberate.
bool IsUnionReply(int length)
{
    return length < -99 || length > -1;
}

// What distinguishes the framings for an operation. Indexed by "Iccmd".
const struct
{
    ModuleForm ModuleOperation::*form;
    int statusLength;
    unsigned char (*slot)(uint32_t slot);
    bool (*isReply)(int length);
    int (*send)(DEVCONTEXT *, const unsigned char *, int, unsigned char *, int, uint32_t);
} kFramings[] = {
    {&ModuleOperation::krelIc, 1, KrelIcSlot, IsKrelIcReply, KrelIc_SendCmd},
    {&ModuleOperation::unionForm, 2, UnionSlot, IsUnionReply, Union_SendCmd},
};

// False when the command passes `size` bytes.
bool BuildCommand(const CommandHead &head, unsigned char slot, const Parameters &parameters,
                  int size, ModuleCommand *command)
{
    std::memcpy(command->bytes, head.bytes, sizeof head.bytes);
    command->length = head.length;
    if (head.slot == SlotByte::kContact)
        command->bytes[command->length++] = slot;
    if (parameters.count < 0 || parameters.count > size - command->length ||
        (parameters.bytes == nullptr && parameters.count > 0))
        return false;
    if (parameters.count > 0)
        std::memcpy(command->bytes + command->length, parameters.bytes,
                    static_cast<size_t>(parameters.count));
    command->length += parameters.count;
    return true;
}

int CodeOfStatus(const ModuleForm &form, int status, int replyLength)
{
    for (const StatusRule &rule : form.rules)
        if (rule.code != 0 && rule.status == status)
            return rule.code;
    return form.otherwise == kReplyLength ? replyLength : form.otherwise;
}

} // namespace

int ConfiguredFraming(int defaultFraming)
{
    int framing = defaultFraming;
    GGetConfigInt("devcfg", "Iccmd", defaultFraming, &framing);
    return framing;
}

unsigned char ReplyByte(const ModuleReply &reply, int index)
{
    return index < reply.length ? reply.bytes[index] : 0;
}

int RunModule(const ModuleOperation &operation, int framing, DEVCONTEXT *deviceContext,
              const Parameters &parameters, ModuleReply *reply, uint32_t timeoutMs)
{
    if (framing != kKrelIc && framing != kUnion)
        return kFramingRefused;
    const auto &link = kFramings[framing];
    const ModuleForm &form = operation.*link.form;
    if (form.head.length == 0)
        return kFramingRefused;
    ModuleCommand command;
    if (!BuildCommand(form.head, link.slot(g_Slot), parameters, operation.bufferSize, &command))
        return kBadOperationArgument;

    reply->length = link.send(deviceContext, command.bytes, command.length, reply->bytes,
                              operation.bufferSize, timeoutMs);
    explicit_bzero(command.bytes, static_cast<size_t>(command.length)); // it may have held a key
    if (!link.isReply(reply->length))
        return reply->length;
    int status = 0;
    for (int i = 0; i < link.statusLength; i++)
        status = status << 8 | ReplyByte(*reply, i);
    if (status != 0)
        return CodeOfStatus(form, status, reply->length);
    reply->data = reply->bytes + link.statusLength;
    reply->dataLength = std::max(reply->length - link.statusLength, 0);
    return 0;
}
