// A card on the line: what it answers to the commands of its opening is fixed, unless the input
// says it, and the rest comes from the input.
#pragma once

#include "fuzz/support/world.h"

namespace fuzz
{

// One answer of a card: a length byte, FF for a longer one (two bytes), and the bytes, SW1 SW2
// last. An input that is used up gives 6A 83, which ends a walk over records.
Bytes CardResponse(Input *input);

// Every command to the reader is answered with success, and every APDU with the next response.
Answerer CardOfResponses(Input *input);

// Powers on, has a payment system environment with one application, which gives `fci` (SW1 SW2
// included) when it is selected. What comes behind that is answered with the next responses.
Answerer CardWithFci(const Bytes &fci, Input *input);

// The APDU of a command; empty for any other command to the reader.
Bytes ApduOf(const Bytes &command);

} // namespace fuzz
