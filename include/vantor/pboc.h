/* PBOC engine: TLV, data-object lists, application selection and reading. */
#ifndef VANTOR_PBOC_H
#define VANTOR_PBOC_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

extern VANTOR_API unsigned char g_szTxData[88];
extern VANTOR_API int32_t g_iTxDataLen;
extern VANTOR_API unsigned char g_szAppInitData[114];
extern VANTOR_API int32_t g_iAppInitDataLen;
extern VANTOR_API unsigned char g_szExData[50];
extern VANTOR_API int32_t g_iExDataLen;
extern VANTOR_API char g_IccAppData[8000];

VANTOR_API int PBOC_GetTagValue(const unsigned char *tag, int tagLength,
                                const unsigned char *buffer, int bufferLength,
                                unsigned char *value, int32_t *valueLength);
VANTOR_API int PBOC_SetTagValue(const unsigned char *tag, int tagLength, unsigned char *buffer,
                                int bufferLength, const unsigned char *value, int valueLength);
VANTOR_API int PBOC_SetTxDataTagValue(const unsigned char *tag, int tagLength,
                                      const unsigned char *value, int valueLength);
VANTOR_API int PBOC_SetAppInitDataTagValue(const unsigned char *tag, int tagLength,
                                           const unsigned char *value, int valueLength);
VANTOR_API int PBOC_GetTagInDOL(const unsigned char *entry, int remaining, unsigned char *tag,
                                int32_t *tagLength, int32_t *entryLength);
VANTOR_API int PBOC_BuildDOL(DEVCONTEXT *deviceContext, int cardType, const unsigned char *dol,
                             int dolLength, unsigned char *data, int32_t *dataLength);
VANTOR_API int PBOC_GetSimpTagValue(const char *name, int nameLength, const char *text,
                                    int textLength, char *value, int32_t *valueLength);

VANTOR_API int PBOC_IcAPDU(DEVCONTEXT *deviceContext, int cardType, unsigned char *command,
                           int commandLength, unsigned char *response, int32_t *responseLength);
VANTOR_API int PBOC_SelectPSE(DEVCONTEXT *deviceContext, int cardType, const unsigned char *name,
                              int nameLength, unsigned char *sfi, int32_t *sfiLength);
VANTOR_API int PBOC_GetAID(DEVCONTEXT *deviceContext, int cardType, const unsigned char *sfiList,
                           int sfiCount, unsigned char *aid, int32_t *aidLength);
VANTOR_API int PBOC_SelectAID(DEVCONTEXT *deviceContext, int cardType, const unsigned char *aid,
                              int aidLength, unsigned char *fci, int32_t *fciLength);
VANTOR_API int PBOC_SelectFile(DEVCONTEXT *deviceContext, int cardType, unsigned char p1,
                               const unsigned char *data, int dataLength, unsigned char *response,
                               int32_t *responseLength);
VANTOR_API int PBOC_ReadRecord(DEVCONTEXT *deviceContext, int cardType, unsigned char record,
                               unsigned char sfi, unsigned char *data, int32_t *dataLength);
VANTOR_API int PBOC_GetProcOptions(DEVCONTEXT *deviceContext, int cardType,
                                   const unsigned char *pdolData, int pdolLength,
                                   unsigned char *aip, int32_t *aipLength, unsigned char *afl,
                                   int32_t *aflLength);
VANTOR_API int PBOC_GetAppData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *afl,
                               int aflLength, unsigned char *data, int32_t *dataLength);
VANTOR_API int PBOC_GetData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *tag,
                            int tagLength, unsigned char *value, int32_t *valueLength);

VANTOR_C_END

#endif
