#include "vreader/modules/request.h"

#include "vreader/modules/memory_module.h"

#include <algorithm>

namespace vreader
{

namespace
{

enum class SlotByte
{
    none,
    krel,
    plain
};

constexpr int kAnyLength = -1;

struct CommandRow
{
    Framing framing;
    std::initializer_list<uint8_t> code;
    SlotByte slot;
    int parameters; // bytes behind code and slot
    Operation operation;
};

// The first row whose code fits counts: the contactless APDU is the contact one with slot FF.
const CommandRow kCommands[] = {
    {Framing::krel, {0x81, 0x00}, SlotByte::none, 0, Operation::deviceInformation},
    {Framing::krel, {0xF1}, SlotByte::none, 0, Operation::deviceRecord},
    {Framing::krel, {0xF2}, SlotByte::none, 32, Operation::writeSerial},
    {Framing::krel, {0xBB}, SlotByte::none, 1, Operation::setBaud},
    {Framing::krel, {0xE1}, SlotByte::krel, 0, Operation::contactPowerOn},
    {Framing::krel, {0xE2}, SlotByte::krel, 0, Operation::contactPowerOff},
    {Framing::krel, {0xE3}, SlotByte::krel, kAnyLength, Operation::contactApdu},
    {Framing::krel, {0xD1}, SlotByte::none, 0, Operation::contactlessPowerOn},
    {Framing::krel, {0xD2}, SlotByte::none, 0, Operation::contactlessPowerOff},
    {Framing::krel, {0xD3}, SlotByte::none, kAnyLength, Operation::contactlessApdu},
    {Framing::krel, {'A'}, SlotByte::none, 0, Operation::m1PowerOn},
    {Framing::krel, {'K'}, SlotByte::none, 0, Operation::m1PowerOff},
    {Framing::krel, {'B'}, SlotByte::none, kAnyLength, Operation::m1Verify},
    {Framing::krel, {'C'}, SlotByte::none, 1, Operation::m1ReadBlock},
    {Framing::krel, {'D'}, SlotByte::none, 17, Operation::m1WriteBlock},
    {Framing::krel, {'E'}, SlotByte::none, 1, Operation::m1ReadValue},
    {Framing::krel, {'F'}, SlotByte::none, 5, Operation::m1WriteValue},
    {Framing::krel, {'G'}, SlotByte::none, 5, Operation::m1Increment},
    {Framing::krel, {'H'}, SlotByte::none, 5, Operation::m1Decrement},
    {Framing::krel, {'Q'}, SlotByte::none, 0, Operation::m0PowerOn},
    {Framing::krel, {'U'}, SlotByte::none, 0, Operation::m0PowerOff},
    {Framing::krel, {'W'}, SlotByte::none, 2, Operation::m0Read},
    {Framing::krel, {'T'}, SlotByte::none, kAnyLength, Operation::m0Write},
    {Framing::krel, {'V'}, SlotByte::none, kAnyLength, Operation::m0Exchange},
    {Framing::krel, {'X'}, SlotByte::none, 0, Operation::m0CardType},

    {Framing::unionFrame, {0x31, 0x11, 0x00}, SlotByte::none, 0, Operation::deviceInformation},
    {Framing::unionFrame, {0x31, 0x13}, SlotByte::none, 3, Operation::beep},
    {Framing::unionFrame,
     {0xF8, 0x00, 0xAA, 0xBB, 0x55, 0x44},
     SlotByte::none,
     0,
     Operation::deviceReset},
    {Framing::unionFrame, {0x30, 0x01, 0x00}, SlotByte::none, 1, Operation::setBaud},
    {Framing::unionFrame, {0x32, 0x22, 0x00, 0x00}, SlotByte::plain, 0, Operation::contactPowerOn},
    {Framing::unionFrame, {0x32, 0x23}, SlotByte::plain, 0, Operation::contactPowerOff},
    {Framing::unionFrame,
     {0x32, 0x24, 0x00, 0x00},
     SlotByte::none,
     0,
     Operation::contactlessPowerOn},
    {Framing::unionFrame,
     {0x32, 0x25, 0x00, 0x00},
     SlotByte::none,
     0,
     Operation::contactlessPowerOff},
    {Framing::unionFrame,
     {0x32, 0x26, 0xFF},
     SlotByte::none,
     kAnyLength,
     Operation::contactlessApdu},
    {Framing::unionFrame, {0x32, 0x26}, SlotByte::plain, kAnyLength, Operation::contactApdu},
    {Framing::unionFrame, {0x32, 0x21}, SlotByte::none, 1, Operation::cardDetect},
    // The M1 power-off begins like that of contactless processor cards, which stands above.
    {Framing::unionFrame, {0x32, 'A', 0x00, 0x00}, SlotByte::none, 0, Operation::m1PowerOn},
    {Framing::unionFrame, {0x32, '%'}, SlotByte::none, 0, Operation::m1PowerOff},
    {Framing::unionFrame, {0x32, 'B'}, SlotByte::none, kAnyLength, Operation::m1Verify},
    {Framing::unionFrame, {0x32, 'C'}, SlotByte::none, 1, Operation::m1ReadBlock},
    {Framing::unionFrame, {0x32, 'D'}, SlotByte::none, 17, Operation::m1WriteBlock},
    {Framing::unionFrame, {0x32, 'E'}, SlotByte::none, 1, Operation::m1ReadValue},
    {Framing::unionFrame, {0x32, 'F'}, SlotByte::none, 5, Operation::m1WriteValue},
    {Framing::unionFrame, {0x32, 'G'}, SlotByte::none, 5, Operation::m1Increment},
    {Framing::unionFrame, {0x32, 'H'}, SlotByte::none, 5, Operation::m1Decrement},

    {Framing::escape, {0x1B, '%', 'A'}, SlotByte::none, 0, Operation::deselectPort},
    {Framing::escape, {0x1B, '%'}, SlotByte::none, 1, Operation::selectPort},
    {Framing::escape, {0x1B, 'S'}, SlotByte::none, 0, Operation::reset},
    {Framing::escape, {0x1B, '$'}, SlotByte::none, 2, Operation::setMode},

    {Framing::escape, {0x1B, '0'}, SlotByte::none, 0, Operation::stripeReset},
    {Framing::escape, {0x1B, ']'}, SlotByte::none, 0, Operation::readTracks},
    {Framing::escape, {0x1B, 'A', ']'}, SlotByte::none, 0, Operation::readTracks},
    {Framing::escape, {0x1B, 'B', ']'}, SlotByte::none, 0, Operation::readTracks},
    {Framing::escape, {0x1B, 'D', ']'}, SlotByte::none, 0, Operation::readTracks},
    {Framing::escape, {0x1B, 'E', ']'}, SlotByte::none, 0, Operation::readTracks},
    {Framing::escape, {0x1B, 'F', ']'}, SlotByte::none, 0, Operation::readTracks},
    {Framing::escape, {0x1B, 'T', ']'}, SlotByte::none, 0, Operation::readTracks},
    {Framing::escape, {0x1B, 't'}, SlotByte::none, kAnyLength, Operation::writeTracks},

    {Framing::identity, {0x11, 0xFF}, SlotByte::none, 0, Operation::identityReset},
    {Framing::identity, {0x20, 0x01}, SlotByte::none, 0, Operation::identityFind},
    {Framing::identity, {0x20, 0x02}, SlotByte::none, 0, Operation::identitySelect},
    {Framing::identity, {0x30, 0x01}, SlotByte::none, 0, Operation::identityRead},
    {Framing::identity, {0x30, 0x10}, SlotByte::none, 0, Operation::identityReadWithFingerprint},
    {Framing::identity, {0x60}, SlotByte::none, 1, Operation::identitySetBaud},
};

// Krel counts its contact slots from 1 and keeps 0 for slot 16; 0x11 and 0x12 are slots 30 and 31.
// The numbers 17 to 29 share their bytes with the slots 3 to 15 and so are those slots.
unsigned KrelSlot(uint8_t byte)
{
    if (byte == 0x00)
        return 16;
    return byte <= 0x10 ? byte - 1u : byte + 13u;
}

struct StatusRow
{
    Operation operation;
    Outcome outcome;
    uint8_t krel;
    uint8_t first;
    uint8_t second;
};

constexpr StatusRow kStatuses[] = {
    {Operation::contactPowerOn, Outcome::noCard, 0xFB, 0x10, 0x02},
    {Operation::contactPowerOn, Outcome::mute, 0xA2, 0x10, 0x05},
    {Operation::contactlessPowerOn, Outcome::noCard, 0xFB, 0x30, 0x05},
    {Operation::contactlessPowerOn, Outcome::mute, 0xA2, 0x30, 0x08},
    {Operation::contactPowerOff, Outcome::noCard, 0xFB, 0x10, 0x01},
    {Operation::contactlessPowerOff, Outcome::noCard, 0xFB, 0x30, 0x06},
    {Operation::contactlessPowerOff, Outcome::notPowered, 0xA2, 0x30, 0x04},
    {Operation::contactApdu, Outcome::noCard, 0xFB, 0x10, 0x02},
    {Operation::contactApdu, Outcome::takenOut, 0xFB, 0x10, 0x06},
    {Operation::contactApdu, Outcome::notPowered, 0xA2, 0x10, 0x04},
    {Operation::contactApdu, Outcome::mute, 0xA2, 0x10, 0x07},
    {Operation::contactApdu, Outcome::refused, 0xA2, 0x10, 0x01},
    {Operation::contactlessApdu, Outcome::noCard, 0xFB, 0x30, 0x06},
    {Operation::contactlessApdu, Outcome::takenOut, 0xFB, 0x30, 0x06},
    {Operation::contactlessApdu, Outcome::notPowered, 0xA2, 0x30, 0x04},
    {Operation::contactlessApdu, Outcome::mute, 0xA2, 0x30, 0x07},
    {Operation::contactlessApdu, Outcome::refused, 0xA2, 0x30, 0x01},
    {Operation::setBaud, Outcome::refused, 0xA2, 0x10, 0x01},
};

struct IdentityStatus
{
    Operation operation; // unknown: any
    Outcome outcome;
    uint8_t third; // the first two bytes are always 00 00
};

// The numbers that the public-security standard for identity readers, GA 467, gives them. The first
// row that fits counts.
constexpr IdentityStatus kIdentityStatuses[] = {
    {Operation::identityFind, Outcome::success, 0x9F},
    {Operation::unknown, Outcome::success, 0x90},
    {Operation::unknown, Outcome::wrongCheck, 0x10},
    {Operation::unknown, Outcome::wrongLength, 0x11},
    {Operation::unknown, Outcome::unknownCommand, 0x21},
    {Operation::unknown, Outcome::refused, 0x21},
    {Operation::identityFind, Outcome::noCard, 0x80},
    {Operation::identitySelect, Outcome::noCard, 0x81},
    {Operation::identitySelect, Outcome::notReady, 0x81},
    {Operation::unknown, Outcome::noCard, 0x41}, // both reads
    {Operation::unknown, Outcome::notReady, 0x41},
};

Bytes IdentityStatusBytes(const Request &request, Outcome outcome)
{
    for (const IdentityStatus &row : kIdentityStatuses)
        if (row.outcome == outcome &&
            (row.operation == Operation::unknown || row.operation == request.operation))
            return {0x00, 0x00, row.third};
    return {0x00, 0x00, 0x24}; // an error that has no other number
}

// What holds for every operation that has no row of its own.
StatusRow GeneralStatus(Outcome outcome)
{
    switch (outcome)
    {
    case Outcome::success:
        return {Operation::unknown, outcome, 0x00, 0x00, 0x00};
    case Outcome::tooLong:
        return {Operation::unknown, outcome, 0xA2, 0x10, 0x01};
    default:
        return {Operation::unknown, outcome, 0xA1, 0x10, 0x09};
    }
}

bool BeginsWith(const Bytes &bytes, const std::initializer_list<uint8_t> &code)
{
    return bytes.size() >= code.size() && std::equal(code.begin(), code.end(), bytes.begin());
}

} // namespace

Request UnderstandCommand(Framing framing, const Bytes &bytes)
{
    Request request;
    request.framing = framing;
    request.bytes = bytes;
    for (const CommandRow &row : kCommands)
    {
        if (row.framing != framing || !BeginsWith(bytes, row.code))
            continue;
        request.operation = row.operation;
        size_t next = row.code.size();
        if (row.slot != SlotByte::none)
        {
            request.wrongLength = next == bytes.size();
            if (!request.wrongLength)
            {
                const uint8_t byte = bytes[next++];
                request.slot = row.slot == SlotByte::krel ? KrelSlot(byte) : byte;
            }
        }
        request.parameters.assign(bytes.begin() + static_cast<std::ptrdiff_t>(next), bytes.end());
        if (row.parameters != kAnyLength)
            request.wrongLength |= request.parameters.size() != static_cast<size_t>(row.parameters);
        break;
    }
    return request;
}

Bytes StatusBytes(const Request &request, Outcome outcome)
{
    StatusRow status = GeneralStatus(outcome);
    for (const StatusRow &row : kStatuses)
        if (row.operation == StatusModel(request.operation) && row.outcome == outcome)
            status = row;
    if (request.framing == Framing::krel)
        return {status.krel};
    if (request.framing == Framing::unionFrame)
        return {status.first, status.second};
    if (request.framing == Framing::identity)
        return IdentityStatusBytes(request, outcome);
    return {};
}

unsigned BaudOfCode(uint8_t code)
{
    constexpr unsigned kRates[] = {9600, 19200, 38400, 57600, 115200};
    return code < std::size(kRates) ? kRates[code] : 0;
}

} // namespace vreader
