#include "vreader/modules/reader.h"

#include "vreader/modules/memory_module.h"
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
    {Operation::identityReset, ResetIdentity},
    {Operation::identityFind, FindIdentityCard},
    {Operation::identitySelect, SelectIdentityCard},
    {Operation::identityRead, ReadIdentityCard},
    {Operation::identityReadWithFingerprint, ReadIdentityCard},
    {Operation::identitySetBaud, SetIdentityBaud},
    {Operation::stripeReset, ResetStripe},
    {Operation::readTracks, AwaitSwipe},
    {Operation::writeTracks, AwaitSwipe},
};

} // namespace

Reply Serve(Reader *reader, const Request &request)
{
    if (request.framing == Framing::identity)
        return ServeIdentity(reader, request);
    return CarryOut(reader, request);
}

Reply CarryOut(Reader *reader, const Request &request)
{
    Reply reply;
    if (request.wrongLength)
    {
        reply.outcome = Outcome::wrongLength;
        return reply;
    }
    if (IsMemoryOperation(request.operation))
        return ServeMemory(reader, request);
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
    reader->identity.state = IdentityState::idle;
    reader->stripe.waiting.reset();
}

} // namespace vreader
