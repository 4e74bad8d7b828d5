#include "vreader/modules/reader.h"

#include "vreader/modules/modules.h"

namespace vreader
{

namespace
{

struct Service
{
    Operation operation;
    Reply (*serve)(Reader *reader, const Request &request);
};

constexpr Service kServices[] = {
    {Operation::deviceInformation, DeviceInformation},
    {Operation::deviceRecord, DeviceRecord},
    {Operation::writeSerial, WriteSerial},
    {Operation::beep, Beep},
    {Operation::deviceReset, ResetReader},
    {Operation::setBaud, SetBaud},
    {Operation::contactPowerOn, PowerOnCard},
    {Operation::contactPowerOff, PowerOffCard},
    {Operation::contactApdu, ExchangeApdu},
    {Operation::contactlessPowerOn, PowerOnCard},
    {Operation::contactlessPowerOff, PowerOffCard},
    {Operation::contactlessApdu, ExchangeApdu},
    {Operation::cardDetect, DetectCards},
    {Operation::selectPort, SelectPort},
    {Operation::deselectPort, DeselectPort},
    {Operation::reset, ResetBySequence},
    {Operation::setMode, SetMode},
};

} // namespace

Reply Serve(Reader *reader, const Request &request)
{
    Reply reply;
    if (request.wrongLength)
    {
        reply.outcome = Outcome::wrongLength;
        return reply;
    }
    for (const Service &service : kServices)
        if (service.operation == request.operation)
            return service.serve(reader, request);
    reply.outcome = Outcome::unknownCommand;
    reply.answered = request.framing != Framing::escape;
    return reply;
}

void Restart(Reader *reader)
{
    for (auto &[slot, place] : reader->contact)
        PowerOff(&place);
    PowerOff(&reader->contactless);
    reader->port = 0;
    reader->mode = 0;
}

} // namespace vreader
