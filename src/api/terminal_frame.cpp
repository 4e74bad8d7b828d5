#include "api/terminal_frame.h"

#include <cstdio>
#include <cstring>

#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

constexpr int kUsb = 0;
constexpr int kSerial = 1; // serial port 1, which then bears the name of the call's port
constexpr unsigned char kOwnPort = '0';

bool IsEmpty(const char *text)
{
    return text == nullptr || text[0] == '\0';
}

// Anything but "USB" is a device below /dev, also "usb". The name stays in force after the call.
int ChoosePort(const char *port)
{
    if (strcmp(port, "USB") == 0)
        return kUsb;
    char path[256];
    snprintf(path, sizeof path, "/dev/%s", port);
    GSetComName(kSerial, path);
    return kSerial;
}

} // namespace

// Written out, because not every C library shows a missing text this way.
const char *Shown(const char *text)
{
    return text == nullptr ? "(null)" : text;
}

void LogTerminalEntry(const char *enterText, const TerminalCall &call)
{
    GLogI("Enter %s\r\n", enterText);
    GLogI("pszPort = %s, nBaudRate = %d, nTimeout = %d\r\n", Shown(call.port), call.baudRate,
          call.timeout);
}

int CheckTerminalCall(const TerminalCall &call)
{
    if (call.timeout < 0)
        return kBadTerminalArgument;
    if (!IsEmpty(call.extendPort))
        GLogI("extendPort = %s\r\n", call.extendPort);
    return call.port == nullptr ? kBadTerminalArgument : 0;
}

int OpenTerminal(const TerminalCall &call)
{
    const unsigned char bpPort =
        IsEmpty(call.extendPort) ? kOwnPort : static_cast<unsigned char>(call.extendPort[0]);
    const int result = BO_Open(ChoosePort(call.port), call.baudRate, bpPort);
    if (result != 0)
        GLogI("Exit %s, ret = %d\r\n", call.name, result);
    return result;
}
