// The parameters of a memory card command: some bytes of the command's own, then the caller's data.
#pragma once

#include <cstring>

#include "ops/module_command.h"

constexpr int kRefusedLength = -1; // RunModule answers it with -22

struct CardParameters
{
    unsigned char bytes[kModuleBufferSize];
    int count = 0;

    operator Parameters() const
    {
        return {bytes, count};
    }
};

// Only the low 8 bits travel.
inline void AppendByte(CardParameters *parameters, int value)
{
    if (parameters->count >= 0 && parameters->count < kModuleBufferSize)
        parameters->bytes[parameters->count++] = static_cast<unsigned char>(value);
}

// Data that is missing or does not fit makes the whole command one that is refused.
inline void AppendData(CardParameters *parameters, const void *data, int length)
{
    const int room = kModuleBufferSize - parameters->count;
    if (length < 0 || length > room || (data == nullptr && length > 0))
        parameters->count = kRefusedLength;
    if (parameters->count < 0 || length == 0)
        return;
    std::memcpy(parameters->bytes + parameters->count, data, static_cast<size_t>(length));
    parameters->count += length;
}

inline void Wipe(CardParameters *parameters)
{
    explicit_bzero(parameters->bytes, sizeof parameters->bytes);
}
