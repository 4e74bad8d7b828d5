// The open devices of this process. A device context that was zeroed without a close leaves its
// device behind with a running thread and a claimed interface: this list is how the next open and
// the unloading of the library still find it.
#include "transport/hid_device.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <unistd.h>

namespace hid_channel
{

static pthread_mutex_t s_opening = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t s_list = PTHREAD_MUTEX_INITIALIZER; // never held across a libusb call
static pthread_cond_t s_callEnded = PTHREAD_COND_INITIALIZER;
static hid_device *s_firstDevice;

void LockOpening()
{
    pthread_mutex_lock(&s_opening);
}

void UnlockOpening()
{
    pthread_mutex_unlock(&s_opening);
}

hid_device *NewDevice()
{
    hid_device *device = new (std::nothrow) hid_device();
    if (device == nullptr)
        return nullptr;
    device->owner = getpid();
    if (pthread_mutex_init(&device->mutex, nullptr) == 0)
    {
        // Its waits run on the real-time clock.
        if (pthread_cond_init(&device->changed, nullptr) == 0)
            return device;
        pthread_mutex_destroy(&device->mutex);
    }
    delete device;
    return nullptr;
}

// The handle goes before the transfer: should libusb still hold the transfer because its events
// failed, closing the handle is what takes it back.
static void CloseUsb(hid_device *device)
{
    if (device->claimed)
        libusb_release_interface(device->handle, device->interface.number);
    device->claimed = false;
    if (device->detached) // fails on a device that is gone: nothing is left to give back
        libusb_attach_kernel_driver(device->handle, device->interface.number);
    device->detached = false;
    if (device->handle != nullptr)
        libusb_close(device->handle);
    device->handle = nullptr;
    libusb_free_transfer(device->transfer);
    device->transfer = nullptr;
    free(device->transferBuffer);
    device->transferBuffer = nullptr;
    if (device->usb != nullptr)
        libusb_exit(device->usb);
    device->usb = nullptr;
}

void FreeDevice(hid_device *device)
{
    CloseUsb(device);
    free(device->reports);
    pthread_cond_destroy(&device->changed);
    pthread_mutex_destroy(&device->mutex);
    delete device;
}

void AddOpenDevice(hid_device *device)
{
    pthread_mutex_lock(&s_list);
    device->next = s_firstDevice;
    s_firstDevice = device;
    pthread_mutex_unlock(&s_list);
}

static hid_device **FindLink(const hid_device *device)
{
    hid_device **link = &s_firstDevice;
    while (*link != nullptr && *link != device)
        link = &(*link)->next;
    return link;
}

static bool Enter(hid_device *device, bool usesHandle)
{
    if (device == nullptr)
        return false;
    pthread_mutex_lock(&s_list);
    const bool entered = *FindLink(device) == device && !(usesHandle && device->retiring);
    if (entered)
    {
        ++device->calls;
        device->transfers += usesHandle ? 1 : 0;
    }
    pthread_mutex_unlock(&s_list);
    return entered;
}

static void Leave(hid_device *device, bool usesHandle)
{
    pthread_mutex_lock(&s_list);
    --device->calls;
    device->transfers -= usesHandle ? 1 : 0;
    pthread_cond_broadcast(&s_callEnded);
    pthread_mutex_unlock(&s_list);
}

bool EnterCall(hid_device *device)
{
    return Enter(device, false);
}

void LeaveCall(hid_device *device)
{
    Leave(device, false);
}

bool EnterTransfer(hid_device *device)
{
    return Enter(device, true);
}

void LeaveTransfer(hid_device *device)
{
    Leave(device, true);
}

void CopyPath(hid_device *device, char (&path)[kPathSize])
{
    if (!EnterCall(device))
        return;
    memcpy(path, device->interface.path, sizeof path);
    LeaveCall(device);
}

static void Retire(hid_device *device)
{
    // A forked child shares the open file of the USB device, and has not the thread: cancelling and
    // releasing here would take the transfer and the interface from the parent.
    if (device->owner != getpid())
        return;
    StopReading(device);
    pthread_mutex_lock(&s_list);
    device->retiring = true;
    while (device->transfers > 0)
        pthread_cond_wait(&s_callEnded, &s_list);
    pthread_mutex_unlock(&s_list);
    CloseUsb(device);
}

static void RetireWhere(bool (*applies)(hid_device *device, const char *path), const char *path)
{
    // The list changes only under LockOpening, which the caller holds; s_list is for the others.
    for (hid_device *device = s_firstDevice; device != nullptr; device = device->next)
        if (device->usb != nullptr && applies(device, path))
            Retire(device);
}

void RetireLostDevices()
{
    RetireWhere([](hid_device *device, const char *) { return IsShutDown(device); }, nullptr);
}

void RetireHolder(const char *path)
{
    RetireWhere([](hid_device *device, const char *wanted)
                { return strcmp(device->interface.path, wanted) == 0; },
                path);
}

void RetireAllDevices()
{
    RetireWhere([](hid_device *, const char *) { return true; }, nullptr);
}

void LetForget(hid_device *device)
{
    pthread_mutex_lock(&s_list);
    if (*FindLink(device) == device)
        device->forgettable = true;
    pthread_mutex_unlock(&s_list);
}

// The list stands with the newest first.
static hid_device *ForgottenBeyondThoseKept()
{
    int kept = 0;
    pthread_mutex_lock(&s_list);
    hid_device *device = s_firstDevice;
    while (device != nullptr &&
           !(device->retiring && device->forgettable && ++kept > kForgottenKept))
        device = device->next;
    pthread_mutex_unlock(&s_list);
    return device;
}

// A host that forgets its reader at every unplugging must not fill the memory with records.
void FreeForgotten()
{
    while (hid_device *const device = ForgottenBeyondThoseKept())
        CloseDevice(device);
}

void CloseDevice(hid_device *device)
{
    pthread_mutex_lock(&s_list);
    hid_device **link = FindLink(device);
    const bool open = *link != nullptr;
    if (open)
        *link = device->next; // from here on no call enters it
    pthread_mutex_unlock(&s_list);
    if (!open || device->owner != getpid())
        return;

    Retire(device);
    pthread_mutex_lock(&s_list);
    while (device->calls > 0)
        pthread_cond_wait(&s_callEnded, &s_list);
    pthread_mutex_unlock(&s_list);
    FreeDevice(device);
}

// No read thread may outlive the code it runs.
__attribute__((destructor)) static void CloseAllDevices()
{
    LockOpening();
    while (s_firstDevice != nullptr)
        CloseDevice(s_firstDevice);
    UnlockOpening();
}

} // namespace hid_channel
