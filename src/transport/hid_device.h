// The record behind a hid_device handle, and what the hid_*.cpp files know of each other.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <libusb.h>
#include <pthread.h>
#include <sys/types.h>

#include "vantor/hid.h"

namespace hid_channel
{

constexpr int kReportQueueCapacity = 30;
constexpr int kForgottenKept = 8;                 // retired records of device contexts
constexpr unsigned kTransferTimeoutMs = 1000;     // a report or a control request to the device
constexpr unsigned kReadTransferTimeoutMs = 5000; // one turn of the read thread
constexpr size_t kPathSize = sizeof "0001:0002:00";
constexpr size_t kStringCapacity = 127; // a string descriptor holds at most 126 UTF-16 units

// What the descriptors say about one HID interface. An endpoint address of 0 stands for none.
struct InterfaceFacts
{
    char path[kPathSize];
    uint8_t number;
    uint8_t inEndpoint;
    uint8_t outEndpoint;
    uint16_t inputReportSize;
    uint8_t manufacturerIndex;
    uint8_t productIndex;
    uint8_t serialIndex;
};

} // namespace hid_channel

struct hid_device_
{
    hid_channel::InterfaceFacts interface;
    pid_t owner; // a forked child has a copy of this record, but not the thread

    // libusb's side. Each device has a libusb context of its own: its events wait for no other
    // device's thread, and it sees a device that was plugged in after the process started even on
    // a system without a udev daemon. All null once the device is retired.
    libusb_context *usb;
    libusb_device_handle *handle;
    bool detached; // a kernel driver held the interface and gets it back
    bool claimed;
    libusb_transfer *transfer;
    unsigned char *transferBuffer;
    int completed; // set by the transfer's callback; libusb's event loop watches it

    pthread_t thread;
    bool threadStarted;
    pthread_barrier_t started;

    pthread_mutex_t mutex;  // guards everything down to the queue
    pthread_cond_t changed; // a report came, or shutdown
    bool shutdown;
    bool inFlight; // the transfer is with libusb: it may be cancelled, and not yet freed
    bool nonblocking;
    unsigned char *reports; // kReportQueueCapacity slots of inputReportSize bytes
    uint16_t reportLengths[hid_channel::kReportQueueCapacity];
    int firstReport;
    int reportCount;

    std::atomic<const wchar_t *> lastError;

    // Guarded by the list of open devices.
    hid_device_ *next;
    int calls;     // calls that are using this record
    int transfers; // those of them that are using the libusb handle
    bool retiring; // no further ones may start to
    bool forgettable;
};

namespace hid_channel
{

// ---- hid_registry.cpp: the open devices of this process ----

hid_device *NewDevice();
void FreeDevice(hid_device *device); // everything that it still holds
void AddOpenDevice(hid_device *device);

// Opening, closing and retiring run one after another.
void LockOpening();
void UnlockOpening();

// A call enters the record before it touches it and leaves it when done; entering fails for a
// handle that is not open, EnterTransfer also for one whose libusb handle is closed already.
bool EnterCall(hid_device *device);
void LeaveCall(hid_device *device);
bool EnterTransfer(hid_device *device);
void LeaveTransfer(hid_device *device);

// The path the device was opened by; left as it is for a handle that is not open.
void CopyPath(hid_device *device, char (&path)[kPathSize]);

// Under LockOpening. Retiring ends the read thread and lets go of the USB device; the record stays.
void RetireLostDevices();
void RetireHolder(const char *path);
void RetireAllDevices();
// The handle is no host's: nobody will close it once its device context has been zeroed.
void LetForget(hid_device *device);
void FreeForgotten();
void CloseDevice(hid_device *device);

// ---- hid_reader.cpp: the read thread and the report queue ----

bool StartReading(hid_device *device); // false: the device cannot be read; nothing is running
void StopReading(hid_device *device);
bool IsShutDown(hid_device *device);
int TakeReport(hid_device *device, unsigned char *data, size_t length, int milliseconds);

// ---- hid_enumeration.cpp ----

hid_device_info *Enumerate(uint16_t vendorId, uint16_t productId, bool withTexts);
// The device that has this interface, to be unreferenced by the caller; null when there is none.
libusb_device *FindInterface(libusb_context *usb, const char *path, InterfaceFacts *facts);

// ---- hid_strings.cpp ----

// Reads a string descriptor; text is kStringCapacity characters, always terminated.
bool ReadString(libusb_device_handle *handle, uint8_t index, wchar_t *text);
const wchar_t *ErrorText(int libusbError);
void RecordError(hid_device *device, int libusbError);

} // namespace hid_channel
