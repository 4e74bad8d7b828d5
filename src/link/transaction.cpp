// Reader control: opening and closing the reader, and the escape sequences that act on it as a
// whole. Whether such a sequence was understood is never reported: the reader does not answer all.
#include "vantor/link.h"

#include <unistd.h>

#include "link/exchange.h"
#include "transport/context_lock.h"
#include "vantor/support.h"

int32_t g_Bp = 0;

namespace
{

const int kNoDevice = -19;

const unsigned char kEscape = 0x1B;
const uint16_t kDefaultVid = 0x1BC3;
const uint16_t kDefaultPid = 0x0151;

const int kLastPort = 255;
const int kHighestBaud = 115200;
const int kDefaultBaud = 9600;
const int kDefaultIdBaudUsb = 115200;

const uint32_t kSequenceTimeoutMs = 100;
const int kAnswerSize = 256;
const int kModeAnswer = 2; // bytes that the reader answers a mode sequence with
const int kUnaskedSize = 4096;
const useconds_t kCancelSettleUs = 200 * 1000;

// The letter of each mode, and the setting that holds its line speed.
const struct
{
    unsigned char letter;
    const char *baudKey;
} kModes[] = {
    {'B', "IcBaud"},
    {'I', "IcBaud"},
    {'S', "IdBaud"},
};

// Goes out beside any exchange: the caller holds the device open. What a failed open, a failed
// reopen or a close left behind is a stale handle and must not be written to.
void WritePassThrough(DEVCONTEXT *deviceContext, unsigned char port)
{
    const unsigned char sequence[] = {kEscape, '%', port};
    if (DC_IsOpen(deviceContext))
        COMM_Write(deviceContext, sequence, sizeof sequence, kSequenceTimeoutMs);
}

} // namespace

int Vantor_Open(DEVCONTEXT *deviceContext, int port, int baud, unsigned char bpPort)
{
    if (deviceContext == nullptr)
        return kNoDevice;
    // In one: a command of another thread must not find the record half filled and open whatever
    // it then says, such as port 0.
    const ContextGuard guard(s_contextLock);
    if (DC_IsOpen(deviceContext))
        return 0;
    DC_Init(deviceContext);
    if (port != 0)
    {
        if (port < 1 || port > kLastPort || baud > kHighestBaud)
            return kBadArgument;
        DC_SetInterfaceType(deviceContext, "com");
        DC_SetCOMParams(deviceContext, static_cast<uint32_t>(port), static_cast<uint32_t>(baud));
    }
    else
    {
        DC_SetInterfaceType(deviceContext, "hid");
        DC_AddUsbParams(deviceContext, kDefaultVid, kDefaultPid);
    }
    const int opened = COMM_Open(deviceContext);
    Vantor_SetBpPort(deviceContext, bpPort);
    return opened;
}

int Vantor_Open_PID(DEVCONTEXT *deviceContext, uint16_t vid, uint16_t pid)
{
    if (deviceContext == nullptr)
        return kNoDevice;
    const ContextGuard guard(s_contextLock);
    if (DC_IsOpen(deviceContext))
        return 0;
    DC_Init(deviceContext);
    DC_AddUsbParams(deviceContext, vid, pid);
    DC_SetInterfaceType(deviceContext, "hid");
    return COMM_Open(deviceContext);
}

// g_Bp stays as it is; the next selection sets it anew.
int Vantor_Close(DEVCONTEXT *deviceContext)
{
    if (__atomic_load_n(&g_Bp, __ATOMIC_RELAXED) == 1)
        WritePassThrough(deviceContext, 'A');
    COMM_Close(deviceContext);
    return 0;
}

int Vantor_SetBpPort(DEVCONTEXT *deviceContext, unsigned char bpPort)
{
    const bool isPort = bpPort > 48 && bpPort < 90; // "1" to "Y"
    __atomic_store_n(&g_Bp, isPort ? 1 : 0, __ATOMIC_RELAXED);
    if (isPort)
        WritePassThrough(deviceContext, bpPort);
    return 0;
}

int Vantor_Reset(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    const unsigned char sequence[] = {kEscape, 'S'};
    unsigned char answer[kAnswerSize];
    const int result =
        RAWL_SendCmd(deviceContext, sequence, sizeof sequence, answer, kAnswerSize, 0, timeoutMs);
    return result < 1 ? result : 0;
}

int Vantor_ChangeMode(DEVCONTEXT *deviceContext, unsigned char mode)
{
    if (mode >= sizeof kModes / sizeof kModes[0])
        return 0;
    int defaultBaud = kDefaultBaud;
    if (mode == 2 && !HasInterfaceType(deviceContext, "com"))
        defaultBaud = kDefaultIdBaudUsb;
    int baud = 0;
    GGetConfigInt("devcfg", kModes[mode].baudKey, defaultBaud, &baud);
    const unsigned char sequence[] = {
        kEscape, '$', kModes[mode].letter,
        static_cast<unsigned char>(baud == 9600 ? '0' : '4'), // the reader's rate codes
    };
    unsigned char answer[kAnswerSize];
    RAWL_SendCmd(deviceContext, sequence, sizeof sequence, answer, kAnswerSize, kModeAnswer,
                 kSequenceTimeoutMs);
    return 0;
}

int Vantor_Cancel(void)
{
    COMM_cancle();
    usleep(kCancelSettleUs); // a waiting read sees the flag before the caller goes on
    return 0;
}

int Vantor_ReadData(DEVCONTEXT *deviceContext, uint32_t timeoutMs)
{
    int result = COMM_Open(deviceContext);
    if (result == 0)
    {
        unsigned char bytes[kUnaskedSize];
        result = COMM_Read(deviceContext, bytes, sizeof bytes, timeoutMs, nullptr);
        if (result > 0)
            LogReceivedPacket(bytes, result);
    }
    COMM_Close(deviceContext);
    return result;
}
