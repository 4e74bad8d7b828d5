#include "vreader/cards/command.h"

namespace vreader
{

std::optional<Command> ParseCommand(const Bytes &bytes)
{
    if (bytes.size() < 4)
        return std::nullopt;
    Command command;
    command.cla = bytes[0];
    command.ins = bytes[1];
    command.p1 = bytes[2];
    command.p2 = bytes[3];
    if (bytes.size() == 4)
        return command;
    if (bytes.size() > 5)
    {
        // Lc 00 before further bytes would open the extended form, which no card here speaks.
        const size_t dataLength = bytes[4];
        const size_t withoutLe = 5 + dataLength;
        if (dataLength == 0 || (bytes.size() != withoutLe && bytes.size() != withoutLe + 1))
            return std::nullopt;
        command.data.assign(bytes.begin() + 5,
                            bytes.begin() + 5 + static_cast<std::ptrdiff_t>(dataLength));
        if (bytes.size() == withoutLe)
            return command;
    }
    command.hasLe = true;
    command.le = bytes.back();
    return command;
}

Bytes WithoutLe(const Bytes &bytes)
{
    const std::optional<Command> command = ParseCommand(bytes);
    if (!command || !command->hasLe)
        return bytes;
    return Bytes(bytes.begin(), bytes.end() - 1);
}

} // namespace vreader
