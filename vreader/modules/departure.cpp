#include "vreader/modules/departure.h"

#include "vreader/modules/memory_module.h"
#include "vreader/modules/modules.h"

namespace vreader
{

namespace
{

// The place whose card a command is about; null for any other command.
CardPlace *AddressedPlace(Reader *reader, const Request &request, std::string *name)
{
    switch (StatusModel(request.operation))
    {
    case Operation::contactPowerOn:
    case Operation::contactPowerOff:
    case Operation::contactApdu:
        *name = "contact slot " + std::to_string(request.slot);
        return &reader->contact[request.slot];
    case Operation::contactlessPowerOn:
    case Operation::contactlessPowerOff:
    case Operation::contactlessApdu:
        *name = "contactless";
        return &reader->contactless;
    default:
        return nullptr;
    }
}

} // namespace

void TakeOut(CardPlace *place)
{
    const bool wasPowered = place->powered;
    PowerOff(place);
    place->card.reset();
    place->name.clear();
    place->takenOut = wasPowered;
    place->commandsLeft.reset();
}

std::string TakeOutWhenDue(Reader *reader, const Request &request)
{
    std::string where;
    CardPlace *place = AddressedPlace(reader, request, &where);
    if (place == nullptr || !place->commandsLeft)
        return "";
    if (*place->commandsLeft > 0)
    {
        --*place->commandsLeft;
        return "";
    }
    const std::string what = "card \"" + place->name + "\" taken out, " + where;
    TakeOut(place);
    return what;
}

} // namespace vreader
