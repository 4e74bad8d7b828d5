// Takes the host's byte stream apart into commands, whatever stands between them.
#pragma once

#include "vreader/wire/frame.h"

namespace vreader
{

struct CommandStream
{
    Bytes pending; // received and not yet told apart: at most one unfinished command after NextItem
    size_t begin = 0;
};

enum class WireKind
{
    command,
    wrongCheck,
    wrongLength,
    garbage
};

struct WireItem
{
    WireKind kind = WireKind::garbage;
    Framing framing = Framing::none;
    Bytes bytes; // the command, or the garbage
    uint8_t check = 0;
    uint8_t rightCheck = 0;
};

void Feed(CommandStream *stream, const uint8_t *bytes, size_t count);

// The next item; false when the rest is empty or the beginning of a command. A byte that no command
// can begin with is garbage, and so is the beginning of a command that goes on wrongly: the search
// then starts again at its second byte, so that nothing behind it is lost.
bool NextItem(CommandStream *stream, WireItem *item);

// Forgets an unfinished command; gives its bytes back for the trace.
Bytes ForgetPending(CommandStream *stream);

} // namespace vreader
