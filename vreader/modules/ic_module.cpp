// Contact slots and the antenna: power, APDUs, and which cards are there.
#include "vreader/modules/modules.h"

namespace vreader
{

namespace
{

constexpr size_t kShortestApdu = 4; // CLA INS P1 P2

bool IsContactless(const Request &request)
{
    return request.operation == Operation::contactlessPowerOn ||
           request.operation == Operation::contactlessPowerOff ||
           request.operation == Operation::contactlessApdu;
}

CardPlace *PlaceOf(Reader *reader, const Request &request)
{
    return IsContactless(request) ? &reader->contactless : &reader->contact[request.slot];
}

Reply Failed(Outcome outcome)
{
    Reply reply;
    reply.outcome = outcome;
    return reply;
}

} // namespace

void PowerOff(CardPlace *place)
{
    if (place->powered && place->card->powerOff)
        place->card->powerOff();
    place->powered = false;
    place->takenOut = false;
}

Reply PowerOnCard(Reader *reader, const Request &request)
{
    CardPlace *place = PlaceOf(reader, request);
    PowerOff(place);
    if (!place->card)
        return Failed(Outcome::noCard);
    if (place->card->answerToReset.empty())
        return Failed(Outcome::mute);
    if (place->card->powerOn)
        place->card->powerOn();
    place->powered = true;
    Reply reply;
    reply.data = place->card->answerToReset;
    return reply;
}

Reply PowerOffCard(Reader *reader, const Request &request)
{
    CardPlace *place = PlaceOf(reader, request);
    const bool wasPowered = place->powered;
    PowerOff(place);
    if (!place->card)
        return Failed(Outcome::noCard);
    // A contact card may be powered off twice; the antenna says that there was nothing to end.
    if (!wasPowered && IsContactless(request))
        return Failed(Outcome::notPowered);
    return {};
}

Reply ExchangeApdu(Reader *reader, const Request &request)
{
    CardPlace *place = PlaceOf(reader, request);
    if (place->takenOut)
        return Failed(Outcome::takenOut);
    if (!place->card)
        return Failed(Outcome::noCard);
    if (!place->powered || place->card->memory) // a memory card takes no APDUs
        return Failed(Outcome::notPowered);
    if (request.parameters.size() < kShortestApdu)
        return Failed(Outcome::refused);
    Reply reply;
    reply.data = place->card->transmit(request.parameters);
    if (place->card->remark)
        reply.remark = place->card->remark();
    if (reply.data.empty())
        reply.outcome = Outcome::mute;
    return reply;
}

// Two bytes, first the contact slots together, then the antenna: 00 no card, 11 a contact card
// without power, 12 a contact card under power or a contactless card.
Reply DetectCards(Reader *reader, const Request &)
{
    uint8_t contact = 0x00;
    for (const auto &[slot, place] : reader->contact)
    {
        if (place.card && contact != 0x12)
            contact = place.powered ? 0x12 : 0x11;
    }
    Reply reply;
    reply.data = {contact, static_cast<uint8_t>(reader->contactless.card ? 0x12 : 0x00)};
    return reply;
}

} // namespace vreader
