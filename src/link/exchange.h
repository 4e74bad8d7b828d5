// What every link exchange does beside its own framing: the USB report mode, late answers and the
// packet log.
#pragma once

#include "vantor/transport.h"

constexpr int kBadArgument = -22;
constexpr int kBadAnswer = -74;

// Over USB every report carries a mode id that says which module of the reader it is for. A reader
// whose "devtype" is not 0 knows no modes and takes mode id 0. Does nothing on a serial line.
void SelectReportMode(DEVCONTEXT *deviceContext, uint8_t modeId);

// COMM_Open and COMM_Close for one exchange.
int BeginExchange(DEVCONTEXT *deviceContext);
void EndExchange(DEVCONTEXT *deviceContext);

// COMM_Write for the command of an exchange. What an earlier command, that ended without its
// answer, was answered meanwhile is dropped first; such an exchange tells by ExpectLateAnswer.
// Nothing is dropped beside another exchange (a reset from a second thread): it may be what that
// one awaits.
int WriteCommand(DEVCONTEXT *deviceContext, const unsigned char *bytes, int count,
                 uint32_t timeoutMs);

// "Send szPackage: 36303032...\r\n" and "Read Pack(len=11): 36303032...\r\n". The hexadecimal text
// is made only when information lines are written at all.
void LogSentPacket(const unsigned char *bytes, int count);
void LogReceivedPacket(const unsigned char *bytes, int count);
