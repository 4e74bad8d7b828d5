// Commands for the reader itself: information, record with serial number, buzzer, speed, reset.
#include "vreader/cards/tlv.h"
#include "vreader/modules/modules.h"

#include <algorithm>

namespace vreader
{

Reply DeviceInformation(Reader *reader, const Request &request)
{
    Reply reply;
    if (request.framing == Framing::unionFrame &&
        reader->informationForm == InformationForm::record)
    {
        // Behind the two status bytes: the mark 06 10, 14 bytes that hosts skip (the serial
        // number's first ones), then at payload byte 18 the field's length, its own byte counted.
        reply.data = {0x06, 0x10};
        AppendBytes(&reply.data, Bytes(reader->serial.begin(), reader->serial.begin() + 14));
        reply.data.push_back(static_cast<uint8_t>(reader->information.size() + 1));
    }
    AppendBytes(&reply.data, BytesFromText(reader->information));
    return reply;
}

// The full record: 32 bytes of information, then 32 bytes of serial number, zero-filled each.
Reply DeviceRecord(Reader *reader, const Request &)
{
    Reply reply;
    reply.data = BytesFromText(reader->information);
    reply.data.resize(32, 0);
    AppendBytes(&reply.data, reader->serial);
    return reply;
}

Reply WriteSerial(Reader *reader, const Request &request)
{
    reader->serial = request.parameters;
    return {};
}

Reply Beep(Reader *reader, const Request &)
{
    ++reader->beeps;
    return {};
}

Reply SetBaud(Reader *, const Request &request)
{
    Reply reply;
    reply.newBaud = BaudOfCode(request.parameters[0]);
    if (reply.newBaud == 0)
        reply.outcome = Outcome::refused;
    return reply;
}

Reply ResetReader(Reader *reader, const Request &)
{
    Reply reply;
    Restart(reader);
    reply.newBaud = kDefaultBaud;
    return reply;
}

} // namespace vreader
