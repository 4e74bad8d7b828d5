// The functions of libusb, over the virtual bus.
#include "standins/usb/world.h"

#include <algorithm>

// ---- libusb: contexts and devices ----

static void Unreference(libusb_device *device)
{
    --TheWorld().references;
    if (--device->references == 0)
        delete device;
}

int libusb_init(libusb_context **usb)
{
    const Guard guard = Lock();
    int error = 0;
    if (Fails(Call::Init, &error))
        return error;
    *usb = new libusb_context;
    for (const std::shared_ptr<Plugged> &plugged : TheWorld().bus)
        if (plugged->present)
            (*usb)->devices.push_back(new libusb_device{*usb, plugged, 1});
    TheWorld().references += static_cast<int>((*usb)->devices.size());
    ++TheWorld().contexts;
    return LIBUSB_SUCCESS;
}

void libusb_exit(libusb_context *usb)
{
    const Guard guard = Lock();
    if (usb->handles != 0)
        Misused("exit with an open handle");
    if (!usb->completions.empty())
        Misused("exit with events unhandled");
    for (libusb_device *device : usb->devices)
        Unreference(device);
    delete usb;
    --TheWorld().contexts;
    Note("exit");
}

ssize_t libusb_get_device_list(libusb_context *usb, libusb_device ***list)
{
    const Guard guard = Lock();
    int error = 0;
    if (Fails(Call::DeviceList, &error))
        return error;
    *list = new libusb_device *[usb->devices.size() + 1]();
    std::copy(usb->devices.begin(), usb->devices.end(), *list);
    for (libusb_device *device : usb->devices)
        ++device->references;
    TheWorld().references += static_cast<int>(usb->devices.size());
    return static_cast<ssize_t>(usb->devices.size());
}

void libusb_free_device_list(libusb_device **list, int unreference)
{
    const Guard guard = Lock();
    for (libusb_device **device = list; unreference != 0 && *device != nullptr; ++device)
        Unreference(*device);
    delete[] list;
}

libusb_device *libusb_ref_device(libusb_device *device)
{
    const Guard guard = Lock();
    ++device->references;
    ++TheWorld().references;
    return device;
}

void libusb_unref_device(libusb_device *device)
{
    const Guard guard = Lock();
    Unreference(device);
}

int libusb_get_device_descriptor(libusb_device *device, libusb_device_descriptor *descriptor)
{
    const Guard guard = Lock();
    int error = 0;
    if (Fails(Call::DeviceDescriptor, &error))
        return error;
    *descriptor = usb_standin::ParseDevice(device->plugged->model.deviceDescriptor);
    return LIBUSB_SUCCESS;
}

int libusb_get_active_config_descriptor(libusb_device *device,
                                        libusb_config_descriptor **configuration)
{
    const Guard guard = Lock();
    int error = 0;
    if (Fails(Call::Configuration, &error))
        return error;
    if (!device->plugged->model.configured)
        return LIBUSB_ERROR_NOT_FOUND;
    *configuration =
        usb_standin::ParseConfiguration(device->plugged->model.configurationDescriptor);
    ++TheWorld().configurations;
    return LIBUSB_SUCCESS;
}

void libusb_free_config_descriptor(libusb_config_descriptor *configuration)
{
    const Guard guard = Lock();
    usb_standin::FreeConfiguration(configuration);
    --TheWorld().configurations;
}

uint8_t libusb_get_bus_number(libusb_device *device)
{
    return device->plugged->bus;
}

uint8_t libusb_get_device_address(libusb_device *device)
{
    return device->plugged->address;
}

// ---- libusb: handles and interfaces ----

int libusb_open(libusb_device *device, libusb_device_handle **handle)
{
    const Guard guard = Lock();
    int error = 0;
    if (Fails(Call::Open, &error))
        return error;
    if (!device->plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    *handle = new libusb_device_handle{device, {}, 0};
    ++device->references;
    ++TheWorld().references;
    ++device->owner->handles;
    ++TheWorld().handles;
    Note("open");
    return LIBUSB_SUCCESS;
}

// Transfers that a handle still has in flight when it is closed never end; they may be freed then.
static void TakeBackTransfers(libusb_device_handle *handle)
{
    for (auto &[endpoint, pipe] : handle->device->plugged->pipes)
        if (pipe.waiting != nullptr && pipe.waiting->dev_handle == handle)
            pipe.waiting = nullptr;
    std::deque<Completion> &completions = handle->device->owner->completions;
    completions.erase(std::remove_if(completions.begin(), completions.end(),
                                     [handle](const Completion &completion)
                                     { return completion.transfer->dev_handle == handle; }),
                      completions.end());
    for (auto next = TheWorld().inFlight.begin(); next != TheWorld().inFlight.end();)
        if ((*next)->dev_handle == handle)
        {
            Note("close takes back " + Endpoint((*next)->endpoint));
            next = TheWorld().inFlight.erase(next);
        }
        else
            ++next;
}

void libusb_close(libusb_device_handle *handle)
{
    const Guard guard = Lock();
    libusb_device *device = handle->device;
    TakeBackTransfers(handle);
    if (!handle->claimed.empty())
        Misused("close of a claimed interface");
    if (handle->writers > 0)
        Misused("close during a write");
    --device->owner->handles;
    --TheWorld().handles;
    Unreference(device);
    delete handle;
    Note("close");
}

int libusb_kernel_driver_active(libusb_device_handle *handle, int number)
{
    const Guard guard = Lock();
    const Plugged *plugged = handle->device->plugged.get();
    if (!plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    return plugged->kernelDrivers.count(number) != 0 ? 1 : 0;
}

int libusb_detach_kernel_driver(libusb_device_handle *handle, int number)
{
    const Guard guard = Lock();
    int error = 0;
    if (Fails(Call::DetachKernelDriver, &error))
        return error;
    Note("detach " + std::to_string(number));
    return handle->device->plugged->kernelDrivers.erase(number) != 0 ? LIBUSB_SUCCESS
                                                                     : LIBUSB_ERROR_NOT_FOUND;
}

int libusb_attach_kernel_driver(libusb_device_handle *handle, int number)
{
    const Guard guard = Lock();
    Plugged *plugged = handle->device->plugged.get();
    Note("attach " + std::to_string(number));
    if (!plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    if (handle->claimed.count(number) != 0)
        Misused("a driver attached to an interface that is still claimed");
    if (plugged->claims.count(number) != 0)
        return LIBUSB_ERROR_BUSY;
    return plugged->kernelDrivers.insert(number).second ? LIBUSB_SUCCESS : LIBUSB_ERROR_NOT_FOUND;
}

int libusb_claim_interface(libusb_device_handle *handle, int number)
{
    const Guard guard = Lock();
    Plugged *plugged = handle->device->plugged.get();
    int error = 0;
    if (Fails(Call::Claim, &error))
        return error;
    if (!plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    if (plugged->kernelDrivers.count(number) != 0 || plugged->claims.count(number) != 0)
        return LIBUSB_ERROR_BUSY;
    plugged->claims[number] = handle;
    handle->claimed.insert(number);
    ++TheWorld().claims;
    Note("claim " + std::to_string(number));
    return LIBUSB_SUCCESS;
}

int libusb_release_interface(libusb_device_handle *handle, int number)
{
    const Guard guard = Lock();
    Plugged *plugged = handle->device->plugged.get();
    if (handle->claimed.erase(number) == 0)
    {
        Misused("release of an interface that is not claimed");
        return LIBUSB_ERROR_NOT_FOUND;
    }
    plugged->claims.erase(number);
    --TheWorld().claims;
    Note("release " + std::to_string(number));
    return plugged->present ? LIBUSB_SUCCESS : LIBUSB_ERROR_NO_DEVICE;
}

int libusb_clear_halt(libusb_device_handle *handle, unsigned char endpoint)
{
    const Guard guard = Lock();
    if (!handle->device->plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    handle->device->plugged->halted.erase(endpoint);
    Note("clear halt " + Endpoint(endpoint));
    return LIBUSB_SUCCESS;
}

// ---- libusb: asynchronous transfers ----

libusb_transfer *libusb_alloc_transfer(int)
{
    const Guard guard = Lock();
    int error = 0;
    if (Fails(Call::AllocTransfer, &error))
        return nullptr;
    libusb_transfer *transfer = new libusb_transfer{};
    TheWorld().transfers.insert(transfer);
    return transfer;
}

void libusb_free_transfer(libusb_transfer *transfer)
{
    const Guard guard = Lock();
    if (transfer == nullptr)
        return;
    if (TheWorld().inFlight.count(transfer) != 0)
        Misused("free of a transfer in flight");
    TheWorld().transfers.erase(transfer);
    delete transfer;
}

int libusb_submit_transfer(libusb_transfer *transfer)
{
    const Guard guard = Lock();
    Plugged *plugged = transfer->dev_handle->device->plugged.get();
    int error = 0;
    if (Fails(Call::Submit, &error))
        return error;
    if (!plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    if (TheWorld().inFlight.count(transfer) != 0)
        return LIBUSB_ERROR_BUSY;
    TheWorld().inFlight.insert(transfer);
    plugged->pipes[transfer->endpoint].waiting = transfer;
    if (TheWorld().notes)
        plugged->inTransfers.push_back({transfer->endpoint, transfer->length, transfer->timeout});
    Note("submit " + Endpoint(transfer->endpoint));
    TheWorld().changed.notify_all();
    Deliver(plugged, transfer->endpoint);
    return LIBUSB_SUCCESS;
}

int libusb_cancel_transfer(libusb_transfer *transfer)
{
    const Guard guard = Lock();
    Plugged *plugged = transfer->dev_handle->device->plugged.get();
    int error = 0;
    Note("cancel " + Endpoint(transfer->endpoint));
    if (Fails(Call::Cancel, &error))
        return error;
    Pipe *pipe = &plugged->pipes[transfer->endpoint];
    if (pipe->waiting != transfer)
        return LIBUSB_ERROR_NOT_FOUND; // it has ended, or never began
    End(pipe, LIBUSB_TRANSFER_CANCELLED);
    return LIBUSB_SUCCESS;
}

int libusb_handle_events_completed(libusb_context *usb, int *completed)
{
    Guard guard = Lock();
    for (;;)
    {
        int error = 0;
        if (completed != nullptr && __atomic_load_n(completed, __ATOMIC_ACQUIRE) != 0)
            return LIBUSB_SUCCESS;
        if (Fails(Call::HandleEvents, &error))
            return error;
        if (HandleOne(&guard, usb, false))
            return LIBUSB_SUCCESS;
        TheWorld().changed.wait(guard);
    }
}

// ---- libusb: synchronous transfers ----

int libusb_interrupt_transfer(libusb_device_handle *handle, unsigned char endpoint,
                              unsigned char *data, int length, int *transferred, unsigned timeout)
{
    Guard guard = Lock();
    Plugged *plugged = handle->device->plugged.get();
    *transferred = 0;
    if (plugged->claims.empty())
        Misused("a transfer without a claimed interface");
    ++handle->writers;
    ++plugged->writersWaiting;
    TheWorld().changed.notify_all();
    TheWorld().changed.wait(guard, [=] { return !plugged->writesHeld || !plugged->present; });
    --plugged->writersWaiting;
    --handle->writers;
    int error = 0;
    if (!plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    if (Fails(Call::Interrupt, &error))
    {
        if (error == LIBUSB_ERROR_PIPE)
            plugged->halted.insert(endpoint);
        return error;
    }
    if (plugged->halted.count(endpoint) != 0)
        return LIBUSB_ERROR_PIPE;

    const Bytes report(data, data + length);
    if (TheWorld().notes)
        plugged->outTransfers.push_back({endpoint, report, timeout});
    const std::function<void(const Bytes &)> handler = plugged->onOutReport;
    while (HandleOne(&guard, handle->device->owner, true))
        ;
    guard.unlock();
    if (handler)
        handler(report);
    *transferred = length;
    return LIBUSB_SUCCESS;
}

// What the device answers to a request that reads; null when it stalls.
static const Bytes *Answer(const Plugged *plugged, const Bytes &setup)
{
    const bool string = setup[0] == 0x80 && setup[1] == 0x06 && setup[3] == 0x03;
    const bool feature = setup[0] == 0xA1 && setup[1] == 0x01 && setup[3] == 0x03;
    if (!string && !feature)
        return nullptr;
    const std::map<int, Bytes> &table = string ? plugged->model.strings : plugged->model.features;
    const auto found = table.find(setup[2]);
    return found != table.end() ? &found->second : nullptr;
}

int libusb_control_transfer(libusb_device_handle *handle, uint8_t requestType, uint8_t request,
                            uint16_t value, uint16_t index, unsigned char *data, uint16_t length,
                            unsigned timeout)
{
    const Guard guard = Lock();
    Plugged *plugged = handle->device->plugged.get();
    int error = 0;
    if (!plugged->present)
        return LIBUSB_ERROR_NO_DEVICE;
    if (Fails(Call::Control, &error))
        return error;
    const auto low = [](uint16_t word) { return static_cast<uint8_t>(word & 0xFF); };
    const auto high = [](uint16_t word) { return static_cast<uint8_t>(word >> 8); };
    const Bytes setup = {requestType, request,     low(value),  high(value),
                         low(index),  high(index), low(length), high(length)};
    if ((requestType & LIBUSB_ENDPOINT_IN) == 0)
    {
        if (TheWorld().notes)
            plugged->controlTransfers.push_back({setup, Bytes(data, data + length), timeout});
        return length;
    }
    if (TheWorld().notes)
        plugged->controlTransfers.push_back({setup, {}, timeout});
    const Bytes *answer = Answer(plugged, setup);
    if (answer == nullptr)
        return LIBUSB_ERROR_PIPE;
    const size_t count = std::min<size_t>(length, answer->size());
    std::copy_n(answer->begin(), count, data);
    return static_cast<int>(count);
}
