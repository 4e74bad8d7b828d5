/* Business calls: connection, device, IC cards, card information and logs, error texts. */
#ifndef VANTOR_BUSINESS_H
#define VANTOR_BUSINESS_H

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- Load and unload ---- */

VANTOR_API void my_init(void);
VANTOR_API void my_fini(void);

/* ---- Connection and device ---- */

extern VANTOR_API int64_t g_DevBaud;

VANTOR_API int BO_GetErrorCode(int code);
VANTOR_API int BO_InitConnect(int port, int baud, unsigned char bpPort, int skipInfo, int reserved,
                              unsigned char *info, uint32_t *infoLength);
VANTOR_API int BO_InitConnect_PID(uint16_t vid, uint16_t pid, int reserved, unsigned char *info,
                                  uint32_t *infoLength);
VANTOR_API int BO_Open(int port, int baud, unsigned char bpPort);
VANTOR_API int BO_Open_PID(uint16_t vid, uint16_t pid);
VANTOR_API int BO_Close(void);
VANTOR_API int BO_DisConnect(void);
VANTOR_API int BO_GetDevInfo(int skip, unsigned char *info, uint32_t *infoLength);
VANTOR_API int BO_Cancel(void);
VANTOR_API int BO_CancelWait(void);
VANTOR_API int BO_Reset(void);
VANTOR_API int BO_SetBpPort(unsigned char port);
VANTOR_API int BO_ChangeMode(int mode);
VANTOR_API int BO_ChangeBaud(int baud, int64_t *oldBaud);
VANTOR_API int BO_SetDevBaud(int baud);
VANTOR_API int BO_Beep(uint32_t first, uint32_t second, uint32_t third);
VANTOR_API void BO_SetSlot(uint32_t slot);
VANTOR_API int BO_GetDevSn(char *serialNumber, uint32_t *length);
VANTOR_API int BO_SetDevSn(const unsigned char *serialNumber, int length);

/* ---- Error texts ---- */

VANTOR_API int BO_GetErrInfo(int code, int reserved, char *message, int32_t *length);

/* ---- IC cards ---- */

VANTOR_API int BO_IcPowerOn(int mode, int atrSize, char *atrHex, int32_t *atrHexLength,
                            int32_t *cardType, int timeoutSeconds);
VANTOR_API int BO_IcPowerOff(int mode);
VANTOR_API int BO_IcAPDU(int mode, const char *apduHex, int apduHexLength, int reserved,
                         char *responseHex, int32_t *responseHexLength);
VANTOR_API int BO_CardDetect(int32_t *result);

VANTOR_API int IsHexDataValue(const char *text);
VANTOR_API int IsNumDataValue(const char *text);
VANTOR_API int IsPbocDataValue(const char *text);
VANTOR_API int IsTagListValue(const char *text);

/* ---- Card information and logs ---- */

VANTOR_API int BO_ICGetInfo(int mode, const char *tagList, int reserved, char *info,
                            int timeoutSeconds);
VANTOR_API int BO_ICGetDetail(int mode, int reserved, char *detail, int timeoutSeconds);
VANTOR_API int BO_ICGetCircllog(int mode, int reserved, char *detail, int timeoutSeconds);

VANTOR_C_END

#endif
