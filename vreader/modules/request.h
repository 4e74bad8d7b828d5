// A command as the reader understands it, and what it makes of it.
#pragma once

#include "vreader/wire/frame.h"

#include <functional>
#include <optional>
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
    m1PowerOn,
    m1PowerOff,
    m1Verify,
    m1ReadBlock,
    m1WriteBlock,
    m1ReadValue,
    m1WriteValue,
    m1Increment,
    m1Decrement,
    m0PowerOn,
    m0PowerOff,
    m0Read,
    m0Write,
    m0Exchange,
    m0CardType,
    selectPort,
    deselectPort,
    reset,
    setMode,
    identityReset,
    identityFind,
    identitySelect,
    identityRead,
    identityReadWithFingerprint,
    identitySetBaud,
    stripeReset,
    readTracks,
    writeTracks
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
    tooLong, // the framing cannot carry the answer
    wrongCheck,
    notReady // the step before this one is missing
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
    bool waits = false;   // for the swipe of a card: the answer comes with it
    Bytes status;         // in the place of the outcome's own status; empty: that one
    std::function<Bytes(const Bytes &frame)> spoil; // what a hostile card makes of the frame
    std::optional<Bytes> payload; // the whole answer, in the place of status and data
};

// Which operation a command names. Never fails: the operation may be `unknown`.
Request UnderstandCommand(Framing framing, const Bytes &bytes);

// The status bytes an outcome has in a framing: one for Krel, two for Union, three for the identity
// module, none for the rest.
Bytes StatusBytes(const Request &request, Outcome outcome);

// The line speed of a rate code; 0 for a code that the reader does not know.
unsigned BaudOfCode(uint8_t code);

} // namespace vreader
