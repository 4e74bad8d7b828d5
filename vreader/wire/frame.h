// What the wire rooms have in common: the framings, and the result of looking for a command.
#pragma once

#include "vreader/cards/card.h"

#include <cstddef>

namespace vreader
{

enum class Framing
{
    none,
    krel,
    unionFrame,
    escape,
    identity
};

enum class MatchKind
{
    mismatch,   // no command starts with the first byte
    incomplete, // all bytes fit so far, more must come
    complete,
    wrongCheck, // complete, but the check byte is not the right one
    wrongLength // the length field is one that no command has
};

struct Match
{
    MatchKind kind = MatchKind::mismatch;
    size_t used = 0; // bytes of the wire that the command takes
    Bytes command;   // its bytes without the frame
    uint8_t check = 0;
    uint8_t rightCheck = 0;
};

} // namespace vreader
