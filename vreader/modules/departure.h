// Cards that are taken away in the middle of a host's work.
#pragma once

#include "vreader/modules/reader.h"

namespace vreader
{

// Takes the card of a place away, if there is one.
void TakeOut(CardPlace *place);

// Before a command is served: counts it, if its card is to be taken away, and takes the card away
// when its time has come. What to say of that; empty when nothing happened.
std::string TakeOutWhenDue(Reader *reader, const Request &request);

} // namespace vreader
