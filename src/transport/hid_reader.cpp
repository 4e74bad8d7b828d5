// The read thread of an open device and the queue of reports that it fills.
#include "transport/hid_device.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace hid_channel
{

// Transfers that end without a report are submitted again at once this many times in a row; after
// that the pause grows, so that an endpoint that only ever fails costs no processor time.
constexpr int kFreeRetries = 3;
constexpr int kFirstPauseMs = 10;
constexpr int kLongestPauseMs = 1000;
constexpr int kErrorsBeforeGivingUp = 50; // of libusb itself, in a row

// ---- The queue; the mutex is held ----

static void QueueReport(hid_device *device, const unsigned char *report, int length)
{
    if (device->reportCount == kReportQueueCapacity) // the oldest makes room
    {
        device->firstReport = (device->firstReport + 1) % kReportQueueCapacity;
        --device->reportCount;
    }
    const int slot = (device->firstReport + device->reportCount) % kReportQueueCapacity;
    const size_t size = device->interface.inputReportSize;
    const size_t count = static_cast<size_t>(length) < size ? static_cast<size_t>(length) : size;
    memcpy(device->reports + static_cast<size_t>(slot) * size, report, count);
    device->reportLengths[slot] = static_cast<uint16_t>(count);
    ++device->reportCount;
}

static int UnqueueReport(hid_device *device, unsigned char *data, size_t length)
{
    const int slot = device->firstReport;
    const size_t queued = device->reportLengths[slot];
    const size_t count = length < queued ? length : queued;
    const size_t size = device->interface.inputReportSize;
    memcpy(data, device->reports + static_cast<size_t>(slot) * size, count);
    device->firstReport = (slot + 1) % kReportQueueCapacity;
    --device->reportCount;
    return static_cast<int>(count);
}

static timespec DeadlineAfter(clockid_t clock, int milliseconds)
{
    timespec deadline;
    clock_gettime(clock, &deadline);
    deadline.tv_sec += milliseconds / 1000;
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (deadline.tv_nsec >= 1000000000)
    {
        deadline.tv_nsec -= 1000000000;
        ++deadline.tv_sec;
    }
    return deadline;
}

// One wait for a change, which may be a spurious one: 0, ETIMEDOUT or another error number.
static int WaitForChange(hid_device *device, int milliseconds, const timespec *deadline)
{
    if (milliseconds == -1)
        return pthread_cond_wait(&device->changed, &device->mutex);
    if (milliseconds < 1)
        return ETIMEDOUT;
    return pthread_cond_timedwait(&device->changed, &device->mutex, deadline);
}

int TakeReport(hid_device *device, unsigned char *data, size_t length, int milliseconds)
{
    const timespec deadline = DeadlineAfter(CLOCK_REALTIME, milliseconds < 1 ? 0 : milliseconds);
    pthread_mutex_lock(&device->mutex);
    int waited = 0;
    while (device->reportCount == 0 && !device->shutdown && waited == 0)
        waited = WaitForChange(device, milliseconds, &deadline);

    int result = -1;
    if (device->reportCount > 0) // goes first: a report may come together with the time limit
        result = UnqueueReport(device, data, length);
    else if (!device->shutdown && waited == ETIMEDOUT)
        result = 0;
    pthread_mutex_unlock(&device->mutex);
    return result;
}

bool IsShutDown(hid_device *device)
{
    pthread_mutex_lock(&device->mutex);
    const bool shutdown = device->shutdown;
    pthread_mutex_unlock(&device->mutex);
    return shutdown;
}

// ---- The read thread ----

static void ShutDown(hid_device *device)
{
    pthread_mutex_lock(&device->mutex);
    device->shutdown = true;
    // Nothing to cancel between two submissions: the next one sees the flag under this mutex.
    if (device->inFlight)
        libusb_cancel_transfer(device->transfer);
    pthread_cond_broadcast(&device->changed);
    pthread_mutex_unlock(&device->mutex);
}

// Sleeps that long, or until shutdown; a clock that is set back does not prolong it.
static void Pause(hid_device *device, int milliseconds)
{
    const timespec deadline = DeadlineAfter(CLOCK_MONOTONIC, milliseconds);
    pthread_mutex_lock(&device->mutex);
    int waited = 0;
    while (!device->shutdown && waited == 0)
        waited =
            pthread_cond_clockwait(&device->changed, &device->mutex, CLOCK_MONOTONIC, &deadline);
    pthread_mutex_unlock(&device->mutex);
}

// Runs in whichever thread handles libusb's events: this device's read thread, or a thread that is
// waiting for its own write on this device. The thread that waits for the transfer does the rest.
static void LIBUSB_CALL TransferEnded(libusb_transfer *transfer)
{
    hid_device *device = static_cast<hid_device *>(transfer->user_data);
    pthread_mutex_lock(&device->mutex);
    device->inFlight = false;
    pthread_mutex_unlock(&device->mutex);
    __atomic_store_n(&device->completed, 1, __ATOMIC_RELEASE);
}

static int Submit(hid_device *device)
{
    int result = LIBUSB_ERROR_NO_DEVICE;
    pthread_mutex_lock(&device->mutex);
    if (!device->shutdown)
    {
        __atomic_store_n(&device->completed, 0, __ATOMIC_RELAXED);
        result = libusb_submit_transfer(device->transfer);
        device->inFlight = result == LIBUSB_SUCCESS;
        if (result != LIBUSB_SUCCESS)
            RecordError(device, result);
    }
    pthread_mutex_unlock(&device->mutex);
    return result;
}

// The kernel may be short of memory for transfers for a moment. False for a device that is gone.
static bool SubmitAgain(hid_device *device)
{
    int result = Submit(device);
    for (int errors = 1; result != LIBUSB_SUCCESS && result != LIBUSB_ERROR_NO_DEVICE; ++errors)
    {
        if (errors == kErrorsBeforeGivingUp)
            return false;
        Pause(device, kFirstPauseMs);
        result = Submit(device);
    }
    return result == LIBUSB_SUCCESS;
}

// False when libusb cannot handle events any more; the transfer may then still be in flight.
static bool AwaitTransfer(hid_device *device)
{
    int errors = 0;
    while (__atomic_load_n(&device->completed, __ATOMIC_ACQUIRE) == 0)
    {
        const int result = libusb_handle_events_completed(device->usb, &device->completed);
        if (result == LIBUSB_SUCCESS || result == LIBUSB_ERROR_INTERRUPTED)
            continue;
        RecordError(device, result);
        if (++errors == kErrorsBeforeGivingUp)
            return false;
        Pause(device, kFirstPauseMs);
    }
    return true;
}

static int PauseAfter(int failures)
{
    int pause = kFirstPauseMs;
    for (int i = kFreeRetries + 1; i < failures && pause < kLongestPauseMs; ++i)
        pause *= 2;
    return pause < kLongestPauseMs ? pause : kLongestPauseMs;
}

// Takes what the transfer brought; false when the device is to be shut down.
static bool TakeTransfer(hid_device *device, int *failures)
{
    const libusb_transfer *transfer = device->transfer;
    const libusb_transfer_status status = transfer->status;
    if (status == LIBUSB_TRANSFER_CANCELLED || status == LIBUSB_TRANSFER_NO_DEVICE)
    {
        if (status == LIBUSB_TRANSFER_NO_DEVICE)
            RecordError(device, LIBUSB_ERROR_NO_DEVICE);
        return false;
    }
    // A report that arrives in the moment of the time-out comes with that status, and whole.
    if ((status == LIBUSB_TRANSFER_COMPLETED || status == LIBUSB_TRANSFER_TIMED_OUT) &&
        transfer->actual_length > 0)
    {
        pthread_mutex_lock(&device->mutex);
        QueueReport(device, device->transferBuffer, transfer->actual_length);
        pthread_cond_signal(&device->changed);
        pthread_mutex_unlock(&device->mutex);
        *failures = 0;
        return true;
    }
    if (status == LIBUSB_TRANSFER_TIMED_OUT)
    {
        *failures = 0;
        return true;
    }
    // An empty report is dropped as well: a reader of the queue could not tell it from a time-out.
    if (status == LIBUSB_TRANSFER_STALL)
        libusb_clear_halt(device->handle, device->interface.inEndpoint);
    if (++*failures > kFreeRetries)
        Pause(device, PauseAfter(*failures));
    return true;
}

static void *ReadThread(void *argument)
{
    hid_device *device = static_cast<hid_device *>(argument);
    pthread_setname_np(pthread_self(), "vantor-hid");
    bool running = Submit(device) == LIBUSB_SUCCESS;
    if (!running)
        ShutDown(device);
    pthread_barrier_wait(&device->started);

    int failures = 0;
    while (running)
        running = AwaitTransfer(device) && TakeTransfer(device, &failures) && SubmitAgain(device);
    ShutDown(device);
    return nullptr;
}

// The host's signal handlers are the host's threads' business.
static int StartThreadWithoutSignals(hid_device *device)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int result = pthread_create(&device->thread, nullptr, ReadThread, device);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return result;
}

bool StartReading(hid_device *device)
{
    const size_t size = device->interface.inputReportSize;
    device->reports = static_cast<unsigned char *>(malloc(kReportQueueCapacity * size));
    device->transferBuffer = static_cast<unsigned char *>(malloc(size));
    device->transfer = libusb_alloc_transfer(0);
    if (device->reports == nullptr || device->transferBuffer == nullptr ||
        device->transfer == nullptr)
        return false;
    libusb_fill_interrupt_transfer(device->transfer, device->handle, device->interface.inEndpoint,
                                   device->transferBuffer, static_cast<int>(size), TransferEnded,
                                   device, kReadTransferTimeoutMs);

    if (pthread_barrier_init(&device->started, nullptr, 2) != 0)
        return false;
    device->threadStarted = StartThreadWithoutSignals(device) == 0;
    if (!device->threadStarted)
    {
        pthread_barrier_destroy(&device->started);
        return false;
    }
    pthread_barrier_wait(&device->started);
    if (!IsShutDown(device))
        return true;
    StopReading(device);
    return false;
}

void StopReading(hid_device *device)
{
    if (!device->threadStarted)
        return;
    ShutDown(device);
    pthread_join(device->thread, nullptr);
    pthread_barrier_destroy(&device->started); // not before: the thread may still be leaving it
    device->threadStarted = false;
}

} // namespace hid_channel
