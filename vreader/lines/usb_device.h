// The reader as a USB device: descriptors, strings and control requests. Who carries the requests
// is not its business.
#pragma once

#include "vreader/cards/card.h"

#include <optional>

namespace vreader
{

constexpr uint8_t kInEndpoint = 1;  // 81: input reports
constexpr uint8_t kOutEndpoint = 2; // 02: output reports
constexpr size_t kReportSize = 64;
constexpr size_t kReportPayload = 62; // behind the mode id and the payload length

// What distinguishes one reader from another on the bus.
struct UsbIdentity
{
    uint16_t vendorId = 0x1BC3;
    uint16_t productId = 0x0151;
    uint16_t release = 0x0100;               // version 1.00
    std::string manufacturer = "Vantor";     // UTF-8, at most 126 UTF-16 units; empty: none
    std::string product = "Virtual reader";  // likewise
    std::string serialNumber = "VIRTUAL-01"; // likewise
    bool outEndpoint = true;                 // without it output reports come by SET_REPORT
};

struct UsbDevice
{
    UsbIdentity identity;
    uint8_t configuration = 0; // 1 once the host has configured it
    bool inHalted = false;
    bool outHalted = false;
    Bytes feature = Bytes(kReportSize, 0); // the one feature report, kept as the host wrote it
};

// True when the texts fit their descriptors; the problem names the one that does not.
bool IdentityIsPossible(const UsbIdentity &identity, std::string *problem);

struct ControlAnswer
{
    bool stalled = false;
    Bytes data;                  // to the host, not yet cut to what it asked for
    std::optional<Bytes> report; // an output report that came by SET_REPORT
};

// `setup` is 8 bytes as they stand on the bus; `data` what the host sent along.
ControlAnswer AnswerControl(UsbDevice *device, const uint8_t *setup, const Bytes &data);

} // namespace vreader
