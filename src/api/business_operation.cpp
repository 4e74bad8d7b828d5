// The connection frame: open, close, reader settings, cancelling, and the mapping of internal
// codes to public ones.
#include "vantor/business.h"

#include <cstring>

#include "api/outcome.h"
#include "api/wait_flag.h"
#include "transport/context_lock.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/operations.h"
#include "vantor/support.h"
#include "vantor/transport.h"

int64_t g_DevBaud = 9600;

namespace
{

constexpr int kReaderSilent = -1001;
constexpr int kBadArgument = -22;
constexpr uint32_t kTestTimeoutMs = 500;
constexpr uint32_t kCommandTimeoutMs = 1000;
constexpr uint32_t kResetTimeoutMs = 100;

const struct
{
    int internal;
    int published;
} kPublicCodes[] = {
    {-2, -1000},   // device could not be opened
    {-16, -1002},  // busy
    {-19, -1003},  // no device
    {-62, -1004},  // time-out
    {-125, -1006}, // cancelled
    {-22, -1007},  // bad parameter
    {-74, -1013},  // bad message
    {-1, -1014},   // general failure
};

// The rest of a connection test: optionally hear the reader, close again.
int TestConnection(int openResult, bool askReader, unsigned char *info, uint32_t *infoLength)
{
    if (openResult != 0)
        return Outcome(openResult, "OpenDevice Error!\r\n"); // the context is not closed
    int result = 0;
    if (askReader && IC_GetDevInfo(&context, info, infoLength, kTestTimeoutMs) != 0)
    {
        GLogE("GetDevInfo Error!\r\n");
        result = kReaderSilent;
    }
    Vantor_Close(&context);
    return BO_GetErrorCode(result);
}

bool IsSerial()
{
    return HasInterfaceType(&context, "com");
}

// Where the host's side of a serial line moves to; nothing moves over USB.
struct LineChange
{
    bool reopens;
    uint32_t users;
};

LineChange ChangeLineSpeed(int baud, int64_t *oldBaud)
{
    const ContextGuard guard(s_contextLock);
    if (!IsSerial())
        return {false, 0};
    *oldBaud = DC_GetCOMBaud(&context);
    DC_SetCOMParams(&context, DC_GetCOMPort(&context), static_cast<uint32_t>(baud));
    return {DC_IsOpen(&context) != 0 && baud != *oldBaud, context.refCnt};
}

// Closes the line whatever the count of its users, and opens it under the parameters set now. A
// second thread may have closed it for good since.
int ReopenLine()
{
    const ContextGuard guard(s_contextLock);
    if (DC_IsOpen(&context) == 0)
        return 0;
    const uint32_t users = context.refCnt;
    context.refCnt = 1;
    COMM_Close(&context);
    const int result = COMM_Open(&context);
    context.refCnt = users;
    return result;
}

int HostBaud()
{
    const ContextGuard guard(s_contextLock);
    return static_cast<int>(g_DevBaud);
}

} // namespace

int BO_GetErrorCode(int code)
{
    if (code != 0)
        GLogE("iErrorCode = %d\r\n", code);
    for (const auto &row : kPublicCodes)
        if (row.internal == code)
            return row.published;
    return code;
}

int BO_InitConnect(int port, int baud, unsigned char bpPort, int skipInfo, int /*reserved*/,
                   unsigned char *info, uint32_t *infoLength)
{
    if (skipInfo == 0 && (info == nullptr || infoLength == nullptr))
        return BO_GetErrorCode(kBadArgument);
    return TestConnection(Vantor_Open(&context, port, baud, bpPort), skipInfo == 0, info,
                          infoLength);
}

int BO_InitConnect_PID(uint16_t vid, uint16_t pid, int /*reserved*/, unsigned char *info,
                       uint32_t *infoLength)
{
    if (info == nullptr || infoLength == nullptr)
        return BO_GetErrorCode(kBadArgument);
    return TestConnection(Vantor_Open_PID(&context, vid, pid), true, info, infoLength);
}

// A failed open does not end the call: the baud steps then fail quietly on the closed context.
int BO_Open(int port, int baud, unsigned char bpPort)
{
    const int result = Vantor_Open(&context, port, baud, bpPort);
    if (result != 0)
        GLogE("OpenDevice Error!\r\n");
    int deviceBaud = 9600;
    GGetConfigInt("devcfg", "DevBaud", 9600, &deviceBaud);
    BO_SetDevBaud(deviceBaud);
    BO_ChangeBaud(deviceBaud, &g_DevBaud);
    return BO_GetErrorCode(result);
}

int BO_Open_PID(uint16_t vid, uint16_t pid)
{
    return Outcome(Vantor_Open_PID(&context, vid, pid), "OpenDevice Error!\r\n");
}

int BO_Close(void)
{
    RaiseWaitCancel();
    Vantor_Cancel();
    BO_SetDevBaud(HostBaud());
    // In one: a command that another thread begins meanwhile must not find the context closed and
    // open it again.
    const ContextGuard guard(s_contextLock);
    context.refCnt = 1; // so that the next step really closes
    Vantor_Close(&context);
    DC_Init(&context);
    return 0;
}

// For a device that has gone away: its handle is dropped, deliberately without being closed.
int BO_DisConnect(void)
{
    RaiseWaitCancel();
    Vantor_Cancel();
    DC_Init(&context);
    return 0;
}

int BO_GetDevInfo(int skip, unsigned char *info, uint32_t *infoLength)
{
    if (skip != 0)
        return 0;
    if (info == nullptr || infoLength == nullptr)
        return BO_GetErrorCode(kBadArgument);
    // The text names the open here too, as it always has.
    return Outcome(IC_GetDevInfo(&context, info, infoLength, kCommandTimeoutMs),
                   "OpenDevice Error!\r\n");
}

int BO_Cancel(void)
{
    return Outcome(Vantor_Cancel(), "Cancel Error!\r\n");
}

int BO_CancelWait(void)
{
    RaiseWaitCancel();
    return 0;
}

int BO_Reset(void)
{
    RaiseWaitCancel();
    Vantor_Cancel();
    return Outcome(Vantor_Reset(&context, kResetTimeoutMs), "Reset Error!\r\n");
}

int BO_SetBpPort(unsigned char port)
{
    return Outcome(Vantor_SetBpPort(&context, port), "SetBpPort Error!\r\n");
}

int BO_ChangeMode(int mode)
{
    int through = 1;
    GGetConfigInt("devcfg", "IdChange", 1, &through);
    if (through == 1)
        return Outcome(Vantor_ChangeMode(&context, static_cast<unsigned char>(mode)),
                       "ChangeMode Error!\r\n");
    return BO_GetErrorCode(through == 2 ? ID_ChangeSDT() : 0);
}

int BO_ChangeBaud(int baud, int64_t *oldBaud)
{
    int64_t unwanted = 0;
    if (oldBaud == nullptr)
        oldBaud = &unwanted;
    const LineChange change = ChangeLineSpeed(baud, oldBaud);
    GLogI("iBaud = %d, iDevBaud = %d\r\n", baud, static_cast<int>(*oldBaud));
    int result = 0;
    if (change.reopens)
    {
        GLogI("context.refCnt = %d\r\n", static_cast<int>(change.users));
        result = ReopenLine();
    }
    return BO_GetErrorCode(result);
}

int BO_SetDevBaud(int baud)
{
    if (!IsSerial() || static_cast<uint32_t>(baud) == DC_GetCOMBaud(&context))
        return 0;
    return BO_GetErrorCode(IC_SetBaud(&context, baud));
}

int BO_Beep(uint32_t first, uint32_t second, uint32_t third)
{
    return BO_GetErrorCode(IC_Beep(&context, first, second, third, kCommandTimeoutMs));
}

void BO_SetSlot(uint32_t slot)
{
    IC_SetSlot(slot);
}

// The result stays unmapped and the serial number is written whatever it is: both are traits of
// the interface that hosts rely on.
int BO_GetDevSn(char *serialNumber, uint32_t *length)
{
    constexpr int kOffset = 32;
    constexpr int kSize = 32;
    if (serialNumber == nullptr || length == nullptr)
        return kBadArgument;
    unsigned char record[512] = {};
    int32_t recordLength = 0;
    const int result = IC_GetDevAllInfo(&context, record, &recordLength, kCommandTimeoutMs);
    memcpy(serialNumber, record + kOffset, kSize);
    serialNumber[kSize] = '\0';
    *length = static_cast<uint32_t>(strlen(serialNumber));
    return result;
}

// Unmapped as well.
int BO_SetDevSn(const unsigned char *serialNumber, int length)
{
    if (serialNumber == nullptr)
        return kBadArgument;
    return IC_SetDevSn(&context, serialNumber, length, kCommandTimeoutMs);
}
