// A command APDU taken apart, from the card's side (ISO 7816-4, short lengths).
#pragma once

#include "vreader/cards/card.h"

#include <optional>

namespace vreader
{

struct Command
{
    uint8_t cla = 0;
    uint8_t ins = 0;
    uint8_t p1 = 0;
    uint8_t p2 = 0;
    Bytes data;
    bool hasLe = false;
    uint8_t le = 0; // as sent: 0 asks for 256 bytes
};

// Nothing when the lengths of the command contradict each other or the header is incomplete.
std::optional<Command> ParseCommand(const Bytes &bytes);

// The command without its trailing Le byte; unchanged when it has none or is malformed.
Bytes WithoutLe(const Bytes &bytes);

} // namespace vreader
