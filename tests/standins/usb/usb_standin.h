// A stand-in for libusb-1.0: its functions, over virtual devices that the test plugs in, feeds and
// unplugs. A program links it in place of the real library.
//
//     const int reader = usb_standin::Plug(usb_standin::ReaderModel(), 1, 2);
//     hid_device *device = hid_open(0x1BC3, 0x0151, nullptr);
//     usb_standin::SendReport(reader, {0x02, 0x01, 0x55});
//
// It is as strict as the real one on a system without a udev daemon: a context knows the devices
// that were plugged in when it was made, an interface can be claimed once, an endpoint that has
// stalled fails until its halt is cleared. No time passes by itself: a transfer times out when the
// test says so.
#pragma once

#include <cstdint>
#include <functional>
#include <libusb.h>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace usb_standin
{

using Bytes = std::vector<uint8_t>;

struct DeviceModel
{
    Bytes deviceDescriptor;        // 18 bytes
    Bytes configurationDescriptor; // the whole of it, with its interfaces and endpoints
    std::map<int, Bytes> strings;  // string descriptors by index, 0 the languages; others stall
    std::set<int> kernelDrivers;   // interfaces that a kernel driver holds
    std::map<int, Bytes> features; // feature reports by number, as the device sends them
    bool configured = true;        // an unconfigured device has no active configuration
};

// The card reader: one HID interface, 64-byte interrupt endpoints 81 and 02, held by the kernel.
DeviceModel ReaderModel();
// A string descriptor of these UTF-16 units.
Bytes StringDescriptor(const std::u16string &text);

int Plug(const DeviceModel &model, uint8_t bus, uint8_t address);
void Unplug(int device);
// Plugs the same device in again, at another address.
void Replug(int device, uint8_t address);
// Of what goes over the bus and of what is called nothing is noted from now on, until Reset.
void NoteNothing();
// Everything as it was at the start: nothing plugged in, no failures ordered, records empty.
void Reset();

// ---- From the device to the host ----

enum class HandledBy
{
    AnyThread,
    Writer, // the completion waits for a thread that handles events while it writes
};

// One outcome for an IN endpoint, 81 where none is named; they are delivered one a transfer.
void SendReport(int device, const Bytes &report, HandledBy handledBy = HandledBy::AnyThread,
                uint8_t endpoint = 0x81);
void SendOutcome(int device, libusb_transfer_status status, const Bytes &data = {});

// ---- From the host to the device ----

struct OutTransfer
{
    uint8_t endpoint;
    Bytes data;
    unsigned timeoutMs;
};

struct ControlTransfer
{
    Bytes setup; // the 8 bytes on the bus
    Bytes data;  // what the host sent; empty for a request that reads
    unsigned timeoutMs;
};

struct InTransfer
{
    uint8_t endpoint;
    int length;
    unsigned timeoutMs;
};

std::vector<OutTransfer> OutTransfers(int device);
std::vector<ControlTransfer> ControlTransfers(int device); // GET_DESCRIPTOR(string) included
std::vector<InTransfer> InTransfers(int device);           // one a submission
// Called for each OUT report, in the thread that writes it.
void OnOutReport(int device, std::function<void(const Bytes &report)> handler);
// While held, the device takes no OUT report and the writer waits.
void HoldWrites(int device, bool held);

// Waits until that many IN transfers have been submitted since the plugging; false after 10 s.
bool WaitForSubmissions(int device, size_t count);
bool WaitForHeldWrite(int device);

// Nothing is on its way from the device: every report has been taken, and the next transfer waits.
bool IsQuiet(int device);
// What was sent and not taken yet is gone.
void Forget(int device);

// ---- Failures ----

enum class Call
{
    Init,
    DeviceList,
    DeviceDescriptor,
    Configuration,
    Open,
    DetachKernelDriver,
    Claim,
    AllocTransfer,
    Submit,
    HandleEvents,
    Cancel,
    Interrupt,
    Control,
};

// After `after` more successes, the call fails `times` times with this libusb error.
void Fail(Call call, int error, int times = 1, int after = 0);

// ---- What the user of libusb did ----

// The calls that change something, in order: "open", "detach 0", "claim 0", "submit 81",
// "clear halt 81", "cancel 81", "release 0", "attach 0", "close", "exit".
std::vector<std::string> Journal();
// Waits until the entry is there; false when it is not by then.
bool WaitForJournal(const std::string &entry, int milliseconds = 10000);
// What is against libusb's rules: freeing a transfer in flight, closing a claimed interface, ...
std::vector<std::string> Misuse();

struct Census
{
    int contexts;
    int handles;
    int references; // devices that are still referenced
    int claims;
    int transfers;
    int configurations;
};

Census Count();
constexpr bool operator==(const Census &a, const Census &b)
{
    return a.contexts == b.contexts && a.handles == b.handles && a.references == b.references &&
           a.claims == b.claims && a.transfers == b.transfers &&
           a.configurations == b.configurations;
}
constexpr Census kNothingHeld = {};

// ---- Between the sources of the stand-in ----

libusb_config_descriptor *ParseConfiguration(const Bytes &bytes);
void FreeConfiguration(libusb_config_descriptor *configuration);
libusb_device_descriptor ParseDevice(const Bytes &bytes);

} // namespace usb_standin
