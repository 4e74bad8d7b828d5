// The virtual reader as a program of its own, plugged into this machine's USB, and what the kernel
// makes of it.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

#include "support/scratch.h"

namespace target
{

// Two processors in the host's time, which has to be waited out: loops are shorter there.
bool IsRealTime();

struct UsbReader
{
    testing_support::Scratch directory;
    pid_t process = -1;
    pid_t owner; // a forked child has a copy of this record, and not the reader
    unsigned vendorId;
    unsigned productId;
    std::string place; // where the kernel shows it: "/sys/bus/usb/devices/1-1"

    // Starts it and waits until the kernel's HID driver has it. The options are further words of
    // "vantor-reader usb --attach".
    explicit UsbReader(const std::vector<std::string> &options = {}, unsigned vendorId = 0x1BC3,
                       unsigned productId = 0x0151);
    ~UsbReader();
    UsbReader(const UsbReader &) = delete;
    UsbReader &operator=(const UsbReader &) = delete;

    // One line of the control language.
    std::string Control(const std::string &line) const;
    // A number of `usb info`.
    long Count(const std::string &key) const;
    // Waits until a number of `usb info` has this value; false after 10 s.
    bool AwaitCount(const std::string &key, long value) const;

    void Plug() const; // and waits until the kernel's HID driver has it
    // As it was at the start: plugged in, nothing queued, no faults, no counts.
    void Refresh() const;

    bool IsThere() const;           // the kernel shows the device
    std::string DeviceNode() const; // "/dev/bus/usb/001/002"
    // Who holds the interface: "usbhid", "usbfs" for a program that uses libusb, "" for nobody.
    std::string Driver() const;
    bool AwaitDriver(const std::string &name) const; // false after 10 s
};

// Waits until the kernel's HID driver has the reader of these ids; false after 10 s.
bool AwaitKernelDriver(unsigned vendorId, unsigned productId);

// One reader for all tests of a program: plugging in takes a third of a second.
UsbReader &SharedReader();

} // namespace target
