// The escape sequences: pass-through port, reset and mode. Only a mode change has an answer.
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

Reply SetMode(Reader *reader, const Request &request)
{
    reader->mode = static_cast<char>(request.parameters[0]);
    Reply reply;
    reply.data = reader->modeAnswer;
    reply.answered = !reply.data.empty();
    return reply;
}

} // namespace vreader
