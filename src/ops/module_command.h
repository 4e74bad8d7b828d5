// One command to a module of the reader, in whichever framing "Iccmd" asks for. An operation is a
// record: how its command begins in each framing and which code each failure status stands for.
// One function sends any of them:
//
//     constexpr ModuleOperation kReadBlock = {
//         kModuleBufferSize,
//         {Head({'C'}), {}, -5004},      // KrelIc: the letter, then parameters
//         {Head({'2', 'C'}), {}, -5004}, // Union_: "2" before it
//     };
//     ModuleReply reply;
//     const int result = RunModule(kReadBlock, ConfiguredFraming(kKrelIc), deviceContext,
//                                  {&block, 1}, &reply, timeoutMs);
//
// A KrelIc reply begins with one status byte, a Union_ reply with two; all zero is success.
#pragma once

#include <cstring>
#include <initializer_list>

#include "vantor/transport.h"

// Values of "Iccmd" in "devcfg".
constexpr int kKrelIc = 0;
constexpr int kUnion = 1;

constexpr int kBadOperationArgument = -22;
constexpr int kReaderFailure = -99;     // a failure status without a code of its own
constexpr int kFramingRefused = -1008;  // "Iccmd" is neither, or the command lacks that framing
constexpr int kModuleBufferSize = 4096; // of APDU commands and replies
constexpr int kShortBufferSize = 256;   // of all others

// A ModuleForm's `otherwise`: the caller gets the reply's own, positive length.
constexpr int kReplyLength = 0;

enum class SlotByte
{
    kNone,
    kContact // the contact slot follows the first bytes, as this framing writes it
};

struct StatusRule
{
    uint16_t status; // KrelIc 0xA2 as 0x00A2, Union_ 10 01 as 0x1001
    int code;
};

// How a command begins.
struct CommandHead
{
    unsigned char bytes[6];
    int length; // 0: there is no such command in this framing
    SlotByte slot;
};

constexpr CommandHead Head(std::initializer_list<unsigned char> bytes,
                           SlotByte slot = SlotByte::kNone)
{
    CommandHead head = {{}, 0, slot};
    for (unsigned char byte : bytes)
        head.bytes[head.length++] = byte;
    return head;
}

// One operation in one framing.
struct ModuleForm
{
    CommandHead head;
    StatusRule rules[5]; // ends at a code of 0
    int otherwise;       // the code of every other status
};

struct ModuleOperation
{
    int bufferSize; // of command and reply
    ModuleForm krelIc;
    ModuleForm unionForm;
};

struct Parameters
{
    const unsigned char *bytes = nullptr;
    int count = 0;
};

struct ModuleReply
{
    int length = 0;                      // what the link returned: a payload length or its code
    const unsigned char *data = nullptr; // behind the status bytes; null without a success
    int dataLength = 0;
    unsigned char bytes[kModuleBufferSize];
};

// "Iccmd", read afresh at every call.
int ConfiguredFraming(int defaultFraming);

// Sends the operation's command with `parameters` behind and judges the reply. Returns 0 or the
// link's or the operation's code. An empty KrelIc reply also returns 0, and leaves `data` null.
// -22 when the command passes the operation's buffer.
int RunModule(const ModuleOperation &operation, int framing, DEVCONTEXT *deviceContext,
              const Parameters &parameters, ModuleReply *reply, uint32_t timeoutMs);

// A payload byte, status bytes included; what did not come reads as zero.
unsigned char ReplyByte(const ModuleReply &reply, int index);

// Gives the caller the data behind the status; nothing without a success. A null output is skipped.
template <typename Length>
void GiveData(const ModuleReply &reply, unsigned char *data, Length *length)
{
    if (reply.data == nullptr)
        return;
    if (data != nullptr)
        std::memcpy(data, reply.data, static_cast<size_t>(reply.dataLength));
    if (length != nullptr)
        *length = static_cast<Length>(reply.dataLength);
}
