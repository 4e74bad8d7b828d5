// A command as the reader understands it, and what it makes of it.
#pragma once

#include "vreader/wire/frame.h"

#include <string>

namespace vreader
{

enum class Operation
{
    unknown,
    deviceInformation,
    deviceRecord,
    writeSerial,
    beep,
    deviceReset,
    setBaud,
    contactPowerOn,
    contactPowerOff,
    contactApdu,
    contactlessPowerOn,
    contactlessPowerOff,
    contactlessApdu,
    cardDetect,
    selectPort,
    deselectPort,
    reset,
    setMode
};

enum class Outcome
{
    success,
    unknownCommand,
    wrongLength,
    noCard,
    takenOut, // the card was there at power-on and is gone
    notPowered,
    mute, // the card is there and says nothing
    refused,
    tooLong // the framing cannot carry the answer
};

struct Request
{
    Framing framing = Framing::none;
    Operation operation = Operation::unknown;
    bool wrongLength = false;
    unsigned slot = 0; // of the contact operations
    Bytes bytes;       // the whole command
    Bytes parameters;  // what follows command code and slot: an APDU, a serial number, ...
};

struct Reply
{
    Outcome outcome = Outcome::success;
    Bytes data;           // behind the status
    std::string remark;   // for the trace
    bool answered = true; // some escape sequences have no answer
    unsigned newBaud = 0; // line speed from the end of this answer on; 0: as before
};

// Which operation a command names. Never fails: the operation may be `unknown`.
Request UnderstandCommand(Framing framing, const Bytes &bytes);

// The status bytes an outcome has in a framing: one for Krel, two for Union, none for the rest.
Bytes StatusBytes(const Request &request, Outcome outcome);

// The line speed of a rate code; 0 for a code that the reader does not know.
unsigned BaudOfCode(uint8_t code);

} // namespace vreader
