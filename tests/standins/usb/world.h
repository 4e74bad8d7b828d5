// The virtual bus behind the stand-in: its records, and what both of its sides share. Every
// function but Lock is called with the lock held.
#pragma once

#include <condition_variable>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>

#include "standins/usb/usb_standin.h"

using usb_standin::Bytes;
using usb_standin::Call;

struct Outcome
{
    libusb_transfer_status status;
    Bytes data;
    usb_standin::HandledBy handledBy;
};

// One IN endpoint.
struct Pipe
{
    std::deque<Outcome> outcomes;
    libusb_transfer *waiting = nullptr; // the transfer that the next outcome ends
};

// A device on the virtual bus; it lives on while a context still knows it.
struct Plugged
{
    usb_standin::DeviceModel model;
    uint8_t bus = 0;
    uint8_t address = 0;
    bool present = true;
    bool writesHeld = false;
    int writersWaiting = 0;
    std::set<int> kernelDrivers;
    std::map<int, libusb_device_handle *> claims;
    std::set<uint8_t> halted;
    std::map<uint8_t, Pipe> pipes; // by endpoint address
    std::vector<usb_standin::OutTransfer> outTransfers;
    std::vector<usb_standin::ControlTransfer> controlTransfers;
    std::vector<usb_standin::InTransfer> inTransfers;
    std::function<void(const Bytes &)> onOutReport;
};

struct libusb_device
{
    libusb_context *owner;
    std::shared_ptr<Plugged> plugged;
    int references;
};

struct libusb_device_handle
{
    libusb_device *device;
    std::set<int> claimed;
    int writers; // in a call that the device holds up
};

struct Completion
{
    libusb_transfer *transfer;
    usb_standin::HandledBy handledBy;
};

struct libusb_context
{
    std::vector<libusb_device *> devices; // those that were there when it was made
    std::deque<Completion> completions;
    bool beingHandled = false; // one thread at a time runs callbacks
    int handles = 0;
};

struct OrderedFailure
{
    int error;
    int times;
    int after;
};

struct World
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::shared_ptr<Plugged>> bus; // the index is what Plug returns
    std::map<Call, OrderedFailure> failures;
    bool notes = true;
    std::vector<std::string> journal;
    std::vector<std::string> misuse;
    std::set<libusb_transfer *> transfers;
    std::set<libusb_transfer *> inFlight; // submitted, callback not called yet
    int contexts = 0;
    int handles = 0;
    int claims = 0;
    int references = 0;
    int configurations = 0;
};
using Guard = std::unique_lock<std::mutex>;

World &TheWorld();
Guard Lock();

// Whether a failure was ordered for this call.
bool Fails(Call call, int *error);
void Note(const std::string &entry); // into the journal
void Misused(const std::string &entry);
std::string Endpoint(uint8_t endpoint); // "81"

// Ends the transfer that waits on a pipe; its callback is called by who handles events.
void End(Pipe *pipe, libusb_transfer_status status, const Bytes &data = {},
         usb_standin::HandledBy handledBy = usb_standin::HandledBy::AnyThread);
// Ends it with the next outcome, if there is one.
void Deliver(Plugged *plugged, uint8_t endpoint);
// Calls the callback of one completion that this thread may handle; false when there is none. The
// lock is let go during the callback.
bool HandleOne(Guard *guard, libusb_context *usb, bool writing);
