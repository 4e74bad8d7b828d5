/* Card and device operations: one function per reader or card command. */
#ifndef VANTOR_OPERATIONS_H
#define VANTOR_OPERATIONS_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

extern VANTOR_API uint32_t g_Slot;
extern VANTOR_API int32_t g_IcType;

VANTOR_API int IC_GetDevInfo(DEVCONTEXT *deviceContext, unsigned char *info, uint32_t *infoLength,
                             uint32_t timeoutMs);
VANTOR_API int IC_GetDevAllInfo(DEVCONTEXT *deviceContext, unsigned char *info,
                                int32_t *infoLength, uint32_t timeoutMs);
VANTOR_API int IC_SetDevSn(DEVCONTEXT *deviceContext, const unsigned char *serialNumber,
                           int length, uint32_t timeoutMs);
VANTOR_API int IC_Beep(DEVCONTEXT *deviceContext, uint32_t first, uint32_t second, uint32_t third,
                       uint32_t timeoutMs);
VANTOR_API int IC_DevReset(DEVCONTEXT *deviceContext);
VANTOR_API int IC_SetBaud(DEVCONTEXT *deviceContext, int baud);

VANTOR_API void IC_SetSlot(uint32_t slot);
VANTOR_API int IC_PowerOn(DEVCONTEXT *deviceContext, unsigned char *atr, uint32_t *atrLength,
                          uint32_t timeoutMs);
VANTOR_API int IC_RFPowerOn(DEVCONTEXT *deviceContext, unsigned char *atr, uint32_t *atrLength,
                            uint32_t timeoutMs);
VANTOR_API int IC_PowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs);
VANTOR_API int IC_RFPowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs);
VANTOR_API int IC_APDU(DEVCONTEXT *deviceContext, const unsigned char *apdu, int apduLength,
                       unsigned char *response, uint32_t *responseLength, uint32_t timeoutMs);
VANTOR_API int IC_RFAPDU(DEVCONTEXT *deviceContext, const unsigned char *apdu, int apduLength,
                         unsigned char *response, uint32_t *responseLength, uint32_t timeoutMs);
VANTOR_API int IC_CardDetect(DEVCONTEXT *deviceContext, unsigned char kind, int32_t *result,
                             uint32_t timeoutMs);

VANTOR_API int ID_ChangeSDT(void);

VANTOR_C_END

#endif
