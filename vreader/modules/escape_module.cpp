// The reader's own escape sequences: pass-through port, reset and mode. Only a mode change has an
// answer.
#include "vreader/modules/modules.h"

namespace vreader
{

namespace
{

Reply Unanswered()
{
    Reply reply;
    reply.answered = false;
    return reply;
}

} // namespace

Reply SelectPort(Reader *reader, const Request &request)
{
    reader->port = static_cast<char>(request.parameters[0]);
    return Unanswered();
}

Reply DeselectPort(Reader *reader, const Request &)
{
    reader->port = 0;
    return Unanswered();
}

Reply ResetBySequence(Reader *reader, const Request &)
{
    Restart(reader);
    Reply reply = Unanswered();
    reply.newBaud = kDefaultBaud;
    return reply;
}

// Mode S hands the line to the identity module, at the rate the sequence names: 0 for 9600 and 4
// for 115200. When it ends the line has the speed of before again, whatever rate the other mode
// names.
Reply SetMode(Reader *reader, const Request &request)
{
    const char mode = static_cast<char>(request.parameters[0]);
    Reply reply;
    if (mode == kIdentityMode)
    {
        if (reader->mode != kIdentityMode)
            reader->identity.lineBaudBefore = reader->baud;
        reply.newBaud = BaudOfCode(static_cast<uint8_t>(request.parameters[1] - '0'));
    }
    else if (reader->mode == kIdentityMode)
        reply.newBaud = reader->identity.lineBaudBefore;
    reader->mode = mode;
    reply.data = reader->modeAnswer;
    reply.answered = !reply.data.empty();
    return reply;
}

} // namespace vreader
