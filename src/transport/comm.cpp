// The adapter layer: chooses the transport by the context's interface type, shares the open device
// between nested users, and runs the read loop with its end test, time-out and cancellation.
#include "vantor/transport.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "transport/context_lock.h"
#include "transport/hid_device.h"
#include "transport/late_answer.h"
#include "transport/read_step.h"
#include "transport/serial_lines.h"
#include "transport/timer_slack.h"
#include "vantor/hid.h"

namespace
{

const int kFailed = -1;
const int kOpenFailed = -2;
const int kNoDevice = -19;
const int kBadArgument = -22;
const int kTimedOut = -62;
const int kCancelled = -125;

const uint32_t kNoTimeLimitMs = 2147483647;
const uint32_t kLargestCount = 2147483647;
const int kReportHeader = 3;       // report number, mode id, payload length
const int kSerialOutputSize = 266; // largest payload of one serial write

// A step of the read loop. The HID channel takes it as milliseconds; the serial line puts the same
// number into the microseconds of its select, so that it polls rapidly. Deliberate.
const int kStepTimeout = 10;
// A serial line that gave no byte for about this long is late: from then on it is polled coarsely.
const uint32_t kLateAfterMs = 2;

struct Adapter
{
    char name[16];
    COMM_OPS ops;
};

// The end mark can be found by its name; validation never lets its missing operations be called.
const Adapter s_AdapterList[] = {
    {"hid", {HID_open, HID_read, HID_write, HID_close}},
    {"com", {COM_open, COM_read, COM_write, COM_close}},
    {"END", {nullptr, nullptr, nullptr, nullptr}},
};

void *ErrorHandle(int code)
{
    return reinterpret_cast<void *>(static_cast<intptr_t>(code));
}

bool IsErrorHandle(const void *device)
{
    const intptr_t value = reinterpret_cast<intptr_t>(device);
    return value >= -99 && value <= -1;
}

// Another thread sets the flag at any time. Relaxed accesses keep the exported variable a plain
// integer and still make the loop look at it in every turn.
bool IsCancelAsked()
{
    return __atomic_load_n(&flag_cancle, __ATOMIC_RELAXED) == 1;
}

// Read by a write that another thread may have under way.
void SelectModeId(uint8_t modeId)
{
    __atomic_store_n(&g_mode_id, modeId, __ATOMIC_RELAXED);
}

int ReadHidStep(void *device, unsigned char *buffer, int capacity, int timeout)
{
    return hid_read_modeid(static_cast<hid_device *>(device), buffer, capacity, timeout);
}

// Every step looks anew whether the line is still open: another thread may have closed it.
int ReadSerialStep(void *device, unsigned char *buffer, int capacity, int timeout)
{
    if (!EnterSerialLine(device))
        return kFailed;
    const int got = GReadCom(device, buffer, capacity, timeout);
    LeaveSerialLine(device);
    return got;
}

bool IsEnd(const ReadStep &step, COMM_END_TEST endTest, const unsigned char *bytes, uint32_t count)
{
    bool isEnd = false;
    for (int call = 0; call < step.endTestCalls; ++call)
        isEnd = endTest(bytes, count) != 0;
    return isEnd;
}

// Steps until the end test is met, the buffer is full or the time has passed; the bytes gathered.
int ReadUntilEnd(const ReadStep &step, void *device, unsigned char *buffer, uint32_t capacity,
                 uint32_t timeoutMs, COMM_END_TEST endTest)
{
    const uint64_t start = GetTickCount();
    TimerSlack slack = {};
    uint64_t elapsed = 0;
    uint64_t lastByteAt = 0;
    uint32_t count = 0;
    int failure = 0;
    while (elapsed < timeoutMs && count < capacity)
    {
        if (IsCancelAsked())
        {
            COMM_notcancle();
            failure = kCancelled;
            break;
        }
        if (step.pollsRapidly && elapsed - lastByteAt >= kLateAfterMs)
            RaiseTimerSlack(&slack);
        const int got =
            step.read(device, buffer + count, static_cast<int>(capacity - count), kStepTimeout);
        if (got < 0)
        {
            failure = kFailed;
            break;
        }
        count += static_cast<uint32_t>(got);
        elapsed = GetTickCount() - start;
        if (got > 0)
            lastByteAt = elapsed;
        if (IsEnd(step, endTest, buffer, count))
            break;
    }
    RestoreTimerSlack(&slack);
    return failure != 0 ? failure : static_cast<int>(count);
}

int ReadAnswer(const ReadStep &step, void *device, unsigned char *buffer, uint32_t capacity,
               uint32_t timeoutMs, COMM_END_TEST endTest)
{
    // A cancel that came while no read was running is lost. Deliberate: a cancel only stops a read
    // that is under way.
    COMM_notcancle();
    capacity = std::min(capacity, kLargestCount);
    if (timeoutMs == 0)
        timeoutMs = kNoTimeLimitMs;
    int count;
    if (endTest == nullptr)
        count = step.read(device, buffer, static_cast<int>(capacity),
                          static_cast<int>(std::min(timeoutMs, kNoTimeLimitMs)));
    else
        count = ReadUntilEnd(step, device, buffer, capacity, timeoutMs, endTest);
    return count == 0 ? kTimedOut : count;
}

struct Transport
{
    const COMM_OPS *ops;
    void *device;
};

// What COMM_Read and COMM_Write check before they look at their own operation. They go on with what
// they found, whatever becomes of the context meanwhile.
int FindTransport(const DEVCONTEXT *deviceContext, const unsigned char *bytes, Transport *found)
{
    if (bytes == nullptr || deviceContext == nullptr)
        return kBadArgument;
    const ContextGuard guard(s_contextLock);
    *found = {deviceContext->ops, deviceContext->device};
    return found->ops == nullptr || found->device == nullptr ? kOpenFailed : 0;
}

} // namespace

const ReadStep kHidStep = {ReadHidStep, 1, 1, false};
// The serial line asks its end test twice after each step, which is why an end test must be free of
// side effects. Deliberate.
const ReadStep kSerialStep = {ReadSerialStep, 1000, 2, true};

int32_t flag_cancle;
uint8_t g_mode_id;
int32_t g_IsCancelWait;

uint64_t GetTickCount(void)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

void COMM_cancle(void)
{
    __atomic_store_n(&flag_cancle, 1, __ATOMIC_RELAXED);
}

void COMM_notcancle(void)
{
    __atomic_store_n(&flag_cancle, 0, __ATOMIC_RELAXED);
}

int COMM_Init(void)
{
    return hid_init();
}

int COMM_Exit(void)
{
    return hid_exit();
}

const COMM_OPS *_COMM_FindAdapter(const char *name)
{
    if (name == nullptr)
        return nullptr;
    for (const Adapter &adapter : s_AdapterList)
        if (std::strncmp(name, adapter.name, sizeof(adapter.name)) == 0)
            return &adapter.ops;
    return nullptr;
}

int _COMM_ValidateParam(DEVCONTEXT *deviceContext)
{
    if (deviceContext == nullptr)
        return kNoDevice;
    const ContextGuard guard(s_contextLock);
    const COMM_OPS *ops = _COMM_FindAdapter(DC_GetInterfaceType(deviceContext));
    if (ops == nullptr)
        return kNoDevice;
    DC_SetInterfaceOps(deviceContext, ops);
    if (HasInterfaceType(deviceContext, "hid") && DC_GetUsbListSize(deviceContext) != 0)
        return 0;
    // The port number of a serial context is not this layer's business.
    return HasInterfaceType(deviceContext, "com") ? 0 : kNoDevice;
}

int COMM_Open(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext == nullptr || _COMM_ValidateParam(deviceContext) != 0)
        return kNoDevice;
    if (DC_IsOpen(deviceContext) == 0)
    {
        void *device = deviceContext->ops->open(deviceContext);
        if (IsErrorHandle(device))
            return kOpenFailed;
        DC_SetDevice(deviceContext, device);
        DC_SwitchOpenStatus(deviceContext);
        WatchForLateAnswers(deviceContext);
    }
    else if (HasInterfaceType(deviceContext, "hid"))
    {
        // A mode id that was changed after the open takes effect with the next command.
        SelectModeId(DC_GetModeId(deviceContext));
    }
    DC_AddDeviceRef(deviceContext);
    return 0;
}

int COMM_Read(DEVCONTEXT *deviceContext, unsigned char *buffer, uint32_t capacity,
              uint32_t timeoutMs, COMM_END_TEST endTest)
{
    Transport transport;
    const int refused = FindTransport(deviceContext, buffer, &transport);
    if (refused != 0)
        return refused;
    if (transport.ops->read == nullptr)
        return kOpenFailed;
    return transport.ops->read(transport.device, buffer, capacity, timeoutMs, endTest);
}

int COMM_Write(DEVCONTEXT *deviceContext, const unsigned char *bytes, uint32_t count,
               uint32_t timeoutMs)
{
    Transport transport;
    const int refused = FindTransport(deviceContext, bytes, &transport);
    if (refused != 0)
        return refused;
    if (transport.ops->write == nullptr)
        return kOpenFailed;
    return transport.ops->write(transport.device, bytes, count, timeoutMs);
}

int COMM_Close(DEVCONTEXT *deviceContext)
{
    return DC_ReleaseDeviceRef(deviceContext);
}

void *HID_open(DEVCONTEXT *deviceContext)
{
    // The id getters give 0 behind the list's end, whatever the count pretends to be.
    const int32_t listed = std::min<int32_t>(DC_GetUsbListSize(deviceContext), 8);
    for (int32_t index = 0; index < listed; ++index)
    {
        hid_device *device = hid_open(DC_GetUsbVid(deviceContext, index),
                                      DC_GetUsbPid(deviceContext, index), nullptr);
        if (device == nullptr)
            continue;
        hid_channel::LetForget(device);
        DC_SetOutputBufSize(deviceContext, hid_get_output_report_length(device) - kReportHeader);
        DC_SetInputBufSize(deviceContext, hid_get_input_report_length(device) - kReportHeader);
        SelectModeId(DC_GetModeId(deviceContext));
        return device;
    }
    return ErrorHandle(kNoDevice);
}

int HID_read(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
             COMM_END_TEST endTest)
{
    return ReadAnswer(kHidStep, device, buffer, capacity, timeoutMs, endTest);
}

int HID_write(void *device, const unsigned char *bytes, uint32_t count, uint32_t timeoutMs)
{
    const uint64_t start = GetTickCount();
    if (timeoutMs == 0)
        timeoutMs = kNoTimeLimitMs;
    count = std::min(count, kLargestCount);
    uint64_t elapsed = 0;
    uint32_t written = 0;
    while (elapsed < timeoutMs && written < count)
    {
        const int step = hid_write_modeid(static_cast<hid_device *>(device), bytes + written,
                                          static_cast<int>(count - written),
                                          __atomic_load_n(&g_mode_id, __ATOMIC_RELAXED));
        if (step < 0)
            return kFailed;
        written += static_cast<uint32_t>(step);
        elapsed = GetTickCount() - start;
    }
    return written == 0 ? kTimedOut : static_cast<int>(written);
}

int HID_close(void *device)
{
    hid_close(static_cast<hid_device *>(device));
    return 0;
}

void *COM_open(DEVCONTEXT *deviceContext)
{
    const uint32_t port = std::min(DC_GetCOMPort(deviceContext), kLargestCount);
    const uint32_t baud = std::min(DC_GetCOMBaud(deviceContext), kLargestCount);
    void *device = GOpenCom(static_cast<int>(port), static_cast<int>(baud));
    if (device == nullptr)
        return ErrorHandle(kOpenFailed);
    if (KeepSerialLine(device) == nullptr)
        return ErrorHandle(kOpenFailed);
    DC_SetOutputBufSize(deviceContext, kSerialOutputSize);
    return device;
}

int COM_read(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
             COMM_END_TEST endTest)
{
    return ReadAnswer(kSerialStep, device, buffer, capacity, timeoutMs, endTest);
}

int COM_write(void *device, const unsigned char *bytes, uint32_t count, uint32_t timeoutMs)
{
    if (timeoutMs == 0)
        timeoutMs = kNoTimeLimitMs;
    if (!EnterSerialLine(device))
        return kFailed;
    const int written = GWriteCom(device, bytes, static_cast<int>(std::min(count, kLargestCount)),
                                  static_cast<int>(std::min(timeoutMs, kNoTimeLimitMs)));
    LeaveSerialLine(device);
    return written == 0 ? kTimedOut : written;
}

int COM_close(void *device)
{
    return CloseSerialLine(device);
}
