// Faults of single packets on the bus, below the answers that vreader/faults.h spoils.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vreader
{

enum class UsbFaultKind
{
    cut,    // the report has only its first N bytes
    babble, // the packet is longer than the host has room for
    drop,   // the report is lost
    stall,  // the endpoint halts until the host clears it
    error,  // the transfer fails on the bus
    delay,  // the report comes so many milliseconds late
    hold,   // the report is not accepted until the host gives up
    unplug, // the reader is unplugged instead
};

struct UsbFault
{
    UsbFaultKind kind = UsbFaultKind::drop;
    unsigned long number = 0; // cut: bytes; delay: milliseconds
    unsigned long count = 1;  // packets left; 0: all
    unsigned long after = 0;  // packets that pass before
    bool spent = false;
};

// "KIND [number] [count N] [after N]" for input reports (`in`) or output reports; nothing and a
// text when it is wrong.
std::optional<UsbFault> ParseUsbFault(bool in, const std::string &words, std::string *problem);

// The faults that the packet at hand suffers from; counts them down.
std::vector<UsbFault> TakeDueUsbFaults(std::vector<UsbFault> *faults);

const UsbFault *FindUsbFault(const std::vector<UsbFault> &due, UsbFaultKind kind);

} // namespace vreader
