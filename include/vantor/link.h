/* Reader link protocols: framed IC commands, raw exchanges, escape sequences. */
#ifndef VANTOR_LINK_H
#define VANTOR_LINK_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

VANTOR_API int KrelIc_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                              int commandLength, unsigned char *response, int responseCapacity,
                              uint32_t timeoutMs);
VANTOR_API int Union_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                             int commandLength, unsigned char *response, int responseCapacity,
                             uint32_t timeoutMs);
VANTOR_API int RAWL_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                            int commandLength, unsigned char *response, int responseCapacity,
                            int expectedLength, uint32_t timeoutMs);
VANTOR_API int RAWC_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                            int commandLength, unsigned char *response, int responseCapacity,
                            const char *endKind, uint32_t timeoutMs);
VANTOR_API int MsrPacketIsEnd(const unsigned char *bytes, uint32_t count);
VANTOR_API int MsrWriteIsEnd(const unsigned char *bytes, uint32_t count);

extern VANTOR_API int32_t g_Bp;

VANTOR_API int Vantor_Open(DEVCONTEXT *deviceContext, int port, int baud, unsigned char bpPort);
VANTOR_API int Vantor_Open_PID(DEVCONTEXT *deviceContext, uint16_t vid, uint16_t pid);
VANTOR_API int Vantor_Close(DEVCONTEXT *deviceContext);
VANTOR_API int Vantor_SetBpPort(DEVCONTEXT *deviceContext, unsigned char bpPort);
VANTOR_API int Vantor_Reset(DEVCONTEXT *deviceContext, uint32_t timeoutMs);
VANTOR_API int Vantor_ChangeMode(DEVCONTEXT *deviceContext, unsigned char mode);
VANTOR_API int Vantor_Cancel(void);
VANTOR_API int Vantor_ReadData(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

VANTOR_C_END

#endif
