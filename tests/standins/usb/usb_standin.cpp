// The virtual bus, and what a test calls to feed it and to look at it.
#include "standins/usb/world.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <pthread.h>

// Never destroyed: libraries are unloaded, and close their devices, after the statics are gone.
World &TheWorld()
{
    static World *world = []
    {
        // A forked child gets the world unlocked, whatever the read threads were doing.
        pthread_atfork([] { TheWorld().mutex.lock(); }, [] { TheWorld().mutex.unlock(); },
                       [] { TheWorld().mutex.unlock(); });
        return new World;
    }();
    return *world;
}

Guard Lock()
{
    return Guard(TheWorld().mutex);
}

bool Fails(Call call, int *error)
{
    const auto found = TheWorld().failures.find(call);
    if (found == TheWorld().failures.end())
        return false;
    OrderedFailure &failure = found->second;
    if (failure.after > 0)
    {
        --failure.after;
        return false;
    }
    *error = failure.error;
    if (--failure.times == 0)
        TheWorld().failures.erase(found);
    return true;
}

void Note(const std::string &entry)
{
    if (TheWorld().notes)
        TheWorld().journal.push_back(entry);
    TheWorld().changed.notify_all();
}

std::string Endpoint(uint8_t endpoint)
{
    char text[8];
    snprintf(text, sizeof text, "%02x", endpoint);
    return text;
}

void Misused(const std::string &entry)
{
    TheWorld().misuse.push_back(entry);
}

// ---- Transfers; the lock is held ----

void End(Pipe *pipe, libusb_transfer_status status, const Bytes &data,
         usb_standin::HandledBy handledBy)
{
    libusb_transfer *transfer = pipe->waiting;
    pipe->waiting = nullptr;
    const size_t room = static_cast<size_t>(transfer->length);
    transfer->status = data.size() > room ? LIBUSB_TRANSFER_OVERFLOW : status;
    transfer->actual_length = static_cast<int>(std::min(room, data.size()));
    if (transfer->actual_length > 0)
        memcpy(transfer->buffer, data.data(), static_cast<size_t>(transfer->actual_length));
    transfer->dev_handle->device->owner->completions.push_back({transfer, handledBy});
    TheWorld().changed.notify_all();
}

void Deliver(Plugged *plugged, uint8_t endpoint)
{
    Pipe *pipe = &plugged->pipes[endpoint];
    if (pipe->waiting == nullptr)
        return;
    if (!plugged->present)
        return End(pipe, LIBUSB_TRANSFER_NO_DEVICE);
    if (plugged->halted.count(endpoint) != 0)
        return End(pipe, LIBUSB_TRANSFER_STALL);
    if (pipe->outcomes.empty())
        return;
    const Outcome outcome = pipe->outcomes.front();
    pipe->outcomes.pop_front();
    if (outcome.status == LIBUSB_TRANSFER_STALL)
        plugged->halted.insert(endpoint);
    End(pipe, outcome.status, outcome.data, outcome.handledBy);
}

bool HandleOne(Guard *guard, libusb_context *usb, bool writing)
{
    if (usb->beingHandled)
        return false;
    const auto next = std::find_if(
        usb->completions.begin(), usb->completions.end(),
        [writing](const Completion &completion)
        { return writing || completion.handledBy == usb_standin::HandledBy::AnyThread; });
    if (next == usb->completions.end())
        return false;
    libusb_transfer *transfer = next->transfer;
    usb->completions.erase(next);
    TheWorld().inFlight.erase(transfer);
    usb->beingHandled = true;
    guard->unlock();
    transfer->callback(transfer);
    guard->lock();
    usb->beingHandled = false;
    TheWorld().changed.notify_all();
    return true;
}

// ---- What the tests call ----

namespace usb_standin
{

int Plug(const DeviceModel &model, uint8_t bus, uint8_t address)
{
    const Guard guard = Lock();
    auto plugged = std::make_shared<Plugged>();
    plugged->model = model;
    plugged->bus = bus;
    plugged->address = address;
    plugged->kernelDrivers = model.kernelDrivers;
    TheWorld().bus.push_back(plugged);
    return static_cast<int>(TheWorld().bus.size()) - 1;
}

static Plugged *Find(int device)
{
    return TheWorld().bus.at(static_cast<size_t>(device)).get();
}

void Unplug(int device)
{
    const Guard guard = Lock();
    Find(device)->present = false;
    for (const auto &[endpoint, pipe] : Find(device)->pipes)
        Deliver(Find(device), endpoint);
    TheWorld().changed.notify_all();
}

void Replug(int device, uint8_t address)
{
    const Guard guard = Lock();
    const Plugged &before = *Find(device);
    auto plugged = std::make_shared<Plugged>();
    plugged->model = before.model;
    plugged->bus = before.bus;
    plugged->address = address;
    plugged->kernelDrivers = before.model.kernelDrivers;
    plugged->onOutReport = before.onOutReport;
    TheWorld().bus[static_cast<size_t>(device)] = plugged;
}

void NoteNothing()
{
    const Guard guard = Lock();
    TheWorld().notes = false;
}

void Reset()
{
    const Guard guard = Lock();
    for (const std::shared_ptr<Plugged> &plugged : TheWorld().bus)
        plugged->present = false;
    TheWorld().bus.clear();
    TheWorld().failures.clear();
    TheWorld().notes = true;
    TheWorld().journal.clear();
    TheWorld().misuse.clear();
}

void SendReport(int device, const Bytes &report, HandledBy handledBy, uint8_t endpoint)
{
    const Guard guard = Lock();
    Find(device)->pipes[endpoint].outcomes.push_back(
        {LIBUSB_TRANSFER_COMPLETED, report, handledBy});
    Deliver(Find(device), endpoint);
}

void SendOutcome(int device, libusb_transfer_status status, const Bytes &data)
{
    const Guard guard = Lock();
    Find(device)->pipes[0x81].outcomes.push_back({status, data, HandledBy::AnyThread});
    Deliver(Find(device), 0x81);
}

std::vector<OutTransfer> OutTransfers(int device)
{
    const Guard guard = Lock();
    return Find(device)->outTransfers;
}

std::vector<ControlTransfer> ControlTransfers(int device)
{
    const Guard guard = Lock();
    return Find(device)->controlTransfers;
}

std::vector<InTransfer> InTransfers(int device)
{
    const Guard guard = Lock();
    return Find(device)->inTransfers;
}

void OnOutReport(int device, std::function<void(const Bytes &report)> handler)
{
    const Guard guard = Lock();
    Find(device)->onOutReport = std::move(handler);
}

void HoldWrites(int device, bool held)
{
    const Guard guard = Lock();
    Find(device)->writesHeld = held;
    TheWorld().changed.notify_all();
}

template <typename Condition>
static bool WaitFor(const Condition &condition, int milliseconds = 10000)
{
    Guard guard = Lock();
    return TheWorld().changed.wait_for(guard, std::chrono::milliseconds(milliseconds), condition);
}

bool WaitForSubmissions(int device, size_t count)
{
    return WaitFor([=] { return Find(device)->inTransfers.size() >= count; });
}

bool WaitForHeldWrite(int device)
{
    return WaitFor([=] { return Find(device)->writersWaiting > 0; });
}

void Forget(int device)
{
    const Guard guard = Lock();
    Find(device)->pipes[0x81].outcomes.clear();
}

bool IsQuiet(int device)
{
    const Guard guard = Lock();
    const Pipe &pipe = Find(device)->pipes[0x81];
    return pipe.waiting != nullptr && pipe.outcomes.empty();
}

void Fail(Call call, int error, int times, int after)
{
    const Guard guard = Lock();
    TheWorld().failures[call] = {error, times, after};
    TheWorld().changed.notify_all();
}

std::vector<std::string> Journal()
{
    const Guard guard = Lock();
    return TheWorld().journal;
}

bool WaitForJournal(const std::string &entry, int milliseconds)
{
    const auto isThere = [&]
    {
        const std::vector<std::string> &journal = TheWorld().journal;
        return std::find(journal.begin(), journal.end(), entry) != journal.end();
    };
    return WaitFor(isThere, milliseconds);
}

std::vector<std::string> Misuse()
{
    const Guard guard = Lock();
    return TheWorld().misuse;
}

Census Count()
{
    const Guard guard = Lock();
    const World &world = TheWorld();
    return {world.contexts,
            world.handles,
            world.references,
            world.claims,
            static_cast<int>(world.transfers.size()),
            world.configurations};
}

} // namespace usb_standin
