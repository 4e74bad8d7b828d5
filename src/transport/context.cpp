// The device context: a record and its accessors, each under the context's lock. A null context is
// tolerated everywhere: setters then do nothing and getters give 0.
#include "vantor/transport.h"

#include <cstddef>
#include <cstring>

#include "transport/context_lock.h"

// Host applications and older tools look into the record at these places.
static_assert(offsetof(DEVCONTEXT, device) == 0 && offsetof(DEVCONTEXT, isOpen) == 8 &&
              offsetof(DEVCONTEXT, refCnt) == 12 && offsetof(DEVCONTEXT, interfaceType) == 16 &&
              offsetof(DEVCONTEXT, parameters) == 32 && offsetof(DEVCONTEXT, outputBufSize) == 72 &&
              offsetof(DEVCONTEXT, inputBufSize) == 80 && offsetof(DEVCONTEXT, ops) == 88 &&
              sizeof(DEVCONTEXT) == 96);
// The two views of the parameters share their words: the mode id is the first byte of the baud
// word, the number of id pairs is the port word.
static_assert(offsetof(DEVCONTEXT, parameters.com.comBaud) == 32 &&
              offsetof(DEVCONTEXT, parameters.usb.modeId) == 32 &&
              offsetof(DEVCONTEXT, parameters.com.comPort) == 36 &&
              offsetof(DEVCONTEXT, parameters.usb.usbCount) == 36 &&
              offsetof(DEVCONTEXT, parameters.usb.usbVid) == 40 &&
              offsetof(DEVCONTEXT, parameters.usb.usbPid) == 56);

static const int32_t kUsbPairs = 8;

DEVCONTEXT context;
std::recursive_mutex s_contextLock;

bool HasInterfaceType(const DEVCONTEXT *deviceContext, const char *name)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext != nullptr && std::strncmp(deviceContext->interfaceType, name,
                                                    sizeof(deviceContext->interfaceType)) == 0;
}

void DC_Init(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext != nullptr)
        std::memset(deviceContext, 0, sizeof(*deviceContext));
}

void DC_SetInterfaceType(DEVCONTEXT *deviceContext, const char *interfaceType)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext == nullptr || interfaceType == nullptr)
        return;
    // A text of 16 characters fills the field and stands there without a NUL. Deliberate: whoever
    // reads the field compares at most 16 characters.
    const size_t size = sizeof(deviceContext->interfaceType);
    const size_t length = strnlen(interfaceType, size);
    std::memmove(deviceContext->interfaceType, interfaceType, length); // may be the field itself
    std::memset(deviceContext->interfaceType + length, 0, size - length);
}

char *DC_GetInterfaceType(DEVCONTEXT *deviceContext)
{
    return deviceContext == nullptr ? nullptr : deviceContext->interfaceType;
}

void DC_SetInterfaceOps(DEVCONTEXT *deviceContext, const COMM_OPS *ops)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext != nullptr)
        deviceContext->ops = ops;
}

const COMM_OPS *DC_GetInterfaceOps(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? nullptr : deviceContext->ops;
}

void DC_SetCOMParams(DEVCONTEXT *deviceContext, uint32_t port, uint32_t baud)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext == nullptr)
        return;
    deviceContext->parameters.com.comPort = port;
    deviceContext->parameters.com.comBaud = baud;
}

uint32_t DC_GetCOMPort(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? 0 : deviceContext->parameters.com.comPort;
}

uint32_t DC_GetCOMBaud(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? 0 : deviceContext->parameters.com.comBaud;
}

void DC_AddUsbParams(DEVCONTEXT *deviceContext, uint16_t vid, uint16_t pid)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext == nullptr)
        return;
    // The count may be a serial port number left in the shared word: never index past the list.
    const int32_t count = deviceContext->parameters.usb.usbCount;
    if (count < 0 || count >= kUsbPairs)
        return;
    deviceContext->parameters.usb.usbVid[count] = vid;
    deviceContext->parameters.usb.usbPid[count] = pid;
    deviceContext->parameters.usb.usbCount = count + 1;
}

int32_t DC_GetUsbListSize(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? 0 : deviceContext->parameters.usb.usbCount;
}

static bool IsUsbPair(const DEVCONTEXT *deviceContext, int32_t index)
{
    return deviceContext != nullptr && index >= 0 &&
           index < deviceContext->parameters.usb.usbCount && index < kUsbPairs;
}

uint16_t DC_GetUsbVid(DEVCONTEXT *deviceContext, int32_t index)
{
    const ContextGuard guard(s_contextLock);
    if (!IsUsbPair(deviceContext, index))
        return 0;
    return deviceContext->parameters.usb.usbVid[index];
}

uint16_t DC_GetUsbPid(DEVCONTEXT *deviceContext, int32_t index)
{
    const ContextGuard guard(s_contextLock);
    if (!IsUsbPair(deviceContext, index))
        return 0;
    return deviceContext->parameters.usb.usbPid[index];
}

void DC_SetDevice(DEVCONTEXT *deviceContext, void *device)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext != nullptr)
        deviceContext->device = device;
}

void *DC_GetDevice(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? nullptr : deviceContext->device;
}

void DC_AddDeviceRef(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext != nullptr)
        ++deviceContext->refCnt;
}

int DC_ReleaseDeviceRef(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext == nullptr || deviceContext->refCnt == 0)
        return 0;
    --deviceContext->refCnt;
    if (deviceContext->refCnt != 0)
        return static_cast<int>(deviceContext->refCnt);
    // A caller that must close forces the count to 1, also after an open that failed: what then
    // stands in `device` is the handle of an earlier, already closed device.
    if (DC_IsOpen(deviceContext) == 0)
        return 0;
    if (deviceContext->ops == nullptr || deviceContext->ops->close == nullptr)
        return 0;
    deviceContext->ops->close(deviceContext->device);
    DC_SwitchOpenStatus(deviceContext);
    return 0;
}

uint32_t DC_IsOpen(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? 0 : deviceContext->isOpen;
}

void DC_SwitchOpenStatus(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext != nullptr)
        deviceContext->isOpen = deviceContext->isOpen == 0 ? 1 : 0;
}

void DC_SetOutputBufSize(DEVCONTEXT *deviceContext, int64_t size)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext != nullptr)
        deviceContext->outputBufSize = size;
}

int64_t DC_GetOutputBufSize(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? 0 : deviceContext->outputBufSize;
}

void DC_SetInputBufSize(DEVCONTEXT *deviceContext, int64_t size)
{
    const ContextGuard guard(s_contextLock);
    if (deviceContext != nullptr)
        deviceContext->inputBufSize = size;
}

int64_t DC_GetInputBufSize(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? 0 : deviceContext->inputBufSize;
}

void DC_SetModeId(DEVCONTEXT *deviceContext, uint8_t modeId)
{
    const ContextGuard guard(s_contextLock);
    // On a serial context this byte belongs to the baud rate.
    if (HasInterfaceType(deviceContext, "hid"))
        deviceContext->parameters.usb.modeId = modeId;
}

uint8_t DC_GetModeId(DEVCONTEXT *deviceContext)
{
    const ContextGuard guard(s_contextLock);
    return deviceContext == nullptr ? 0 : deviceContext->parameters.usb.modeId;
}
