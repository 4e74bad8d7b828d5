/* Identity card operations: the identity module's commands, the fields of the record that it reads,
 * and the photo.
 *
 * A card is read in the order reset, find, select, read. The raw record holds a text block of 256
 * bytes, the compressed photo of 1024 bytes, and, from a read with fingerprint, 1024 bytes more.
 *
 *     unsigned char raw[4096] = {0};
 *     int32_t length = 0;
 *     char name[128] = "", number[128] = "";
 *     if (ID_FindCard(&context, 1000) == 0 && ID_SelectCard(&context, 1000) == 0 &&
 *         ID_ReadCard(&context, raw, &length, 3000) == 0)
 *     {
 *         ID_GetName(raw, name);            // GB18030
 *         ID_GetCardNumber(raw, number);    // "11010519491231002X"
 *         ID_GetBmpFile(raw + 256, "head.bmp");
 *     }
 *
 * Thread rule of this header: one command at a time, on the caller's thread; another thread may end
 * a wait with Vantor_Cancel (the operation then returns -125). The field getters keep no state; any
 * thread may call them. ID_GetBmpFile: one call at a time.
 */
#ifndef VANTOR_IDENTITY_OPERATIONS_H
#define VANTOR_IDENTITY_OPERATIONS_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

/* ---- Commands -------------------------------------------------------------------------------- *
 *
 * timeoutMs: milliseconds for the write and again for the read; 0 waits without end.
 *
 * Results are 0 on success and else the code that a call names, or one of
 *     -2, -19  the device could not be opened
 *     -22      the reply does not fit the room for it (256 bytes, 4096 for the reads)
 *     -62      nothing came within the time-out
 *     -125     cancelled
 *     -1       the transport failed
 */

/* The handle of an alternative identity library; nothing in this library sets it. While it is not
 * null, reset, find, select and both reads send nothing and return 0. */
extern VANTOR_API void *g_hSdtDll;

/* Resets the module. -3000: any status but that of success. */
VANTOR_API int ID_ResetCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Looks for a card. -3001: there is none. -3002: any other status. */
VANTOR_API int ID_FindCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Selects the card found. -3001: it cannot be selected. -3002: any other status. */
VANTOR_API int ID_SelectCard(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Reads the card selected, without and with the fingerprint block.
 *
 *     raw        receives the raw record: 4096 bytes; best filled with zero bytes before
 *     rawLength  receives its length: the bytes received less 7, or less 9 with fingerprint. That
 *                is 8 (9) more than the record has; the bytes behind it are zero
 *
 * Outputs are written on success only; a null one is skipped. The lengths that the reply tells are
 * not looked at: what is missing reads as zero bytes. -3001: the card cannot be read. -3002: any
 * other status. */
VANTOR_API int ID_ReadCard(DEVCONTEXT *deviceContext, unsigned char *raw, int32_t *rawLength,
                           uint32_t timeoutMs);
VANTOR_API int ID_ReadCard_FP(DEVCONTEXT *deviceContext, unsigned char *raw, int32_t *rawLength,
                              uint32_t timeoutMs);

/* Sets the module's line speed: 9600, 19200, 38400, 57600 or 115200 bits per second; any other
 * gives -1007 and sends nothing. -3004: the module refuses. */
VANTOR_API int ID_SetIdBaud(DEVCONTEXT *deviceContext, int baud, uint32_t timeoutMs);

/* Kept for hosts that call them: they send nothing, write nothing and return 0. ID_ChangeSDT is
 * what a host gets that sets "IdChange" to 2. */
VANTOR_API int ID_ChangeSDT(void);
VANTOR_API int ID_GetBmpData(const unsigned char *photo, uint32_t capacity, unsigned char *data,
                             uint32_t *length);
VANTOR_API int ID_GetFrontBackImg(const unsigned char *raw, const char *frontPath,
                                  const char *backPath);
VANTOR_API void ID_IsTimeOut(void);

/* ---- Fields ---------------------------------------------------------------------------------- *
 *
 * `record` is the text block, 256 bytes, which is the beginning of the raw record. `out` receives
 * GB18030 text with a NUL behind; its room in bytes stands at each call: twice the bytes of the
 * field and 2. Returns 0; -22 for a null pointer.
 *
 * "Trimmed" fields lose the last run of spaces and what stands behind it, unless it is the field's
 * beginning: "WANG FANG" without padding behind becomes "WANG".
 */

/* Resident card, and the residence card for residents of Hong Kong, Macau and Taiwan (GAT). */
VANTOR_API int ID_GetName(const unsigned char *record, char *out);       /* 62; trimmed */
VANTOR_API int ID_GetSexCode(const unsigned char *record, char *out);    /* 6: "1", "2" */
VANTOR_API int ID_GetNationCode(const unsigned char *record, char *out); /* 10: "01" to "98" */
VANTOR_API int ID_GetBirth(const unsigned char *record, char *out);      /* 34: "19491231" */
VANTOR_API int ID_GetAddress(const unsigned char *record, char *out);    /* 142; trimmed */
VANTOR_API int ID_GetCardNumber(const unsigned char *record, char *out); /* 74 */
VANTOR_API int ID_GetPolice(const unsigned char *record, char *out); /* 62; trimmed: authority */
VANTOR_API int ID_GetValidStart(const unsigned char *record, char *out); /* 34; trimmed */
VANTOR_API int ID_GetValidEnd(const unsigned char *record, char *out);   /* 34; trimmed; a date or
                                                                            "长期" (no end) */

/* The names of a sex and of a nation: "男", "女", else "未知" (room for 6 bytes); "汉" to "其他"
 * and "外国血统中国籍人士" (room for 20 bytes), an empty text for a code without a name. `size` is
 * not used. */
VANTOR_API int ID_GetSex(const unsigned char *record, int size, char *out);
VANTOR_API int ID_GetNation(const unsigned char *record, int size, char *out);

/* "I" (foreign card), "J" (GAT card) or "N" (anything else: resident card); room for 6 bytes. */
VANTOR_API int ID_GetCardType(const unsigned char *record, char *out);

/* GAT card only. */
VANTOR_API int ID_GetCardNo_GAT(const unsigned char *record, char *out);     /* 38; trimmed: pass */
VANTOR_API int ID_GetIssueTimes_GAT(const unsigned char *record, char *out); /* 10: "01" */

/* Foreign permanent resident card. */
VANTOR_API int ID_GetEnglishName_Foreign(const unsigned char *record, char *out); /* 242; trimmed */
VANTOR_API int ID_GetSexCode_Foreign(const unsigned char *record, char *out);     /* 6 */
VANTOR_API int ID_GetSex_Foreign(const unsigned char *record, int size, char *out); /* 6 */
VANTOR_API int ID_GetCardNumber_Foreign(const unsigned char *record, char *out);    /* 62 */
VANTOR_API int ID_GetNationCode_Foreign(const unsigned char *record, char *out);    /* 14: "CAN" */
VANTOR_API int ID_GetChineseName_Foreign(const unsigned char *record, char *out); /* 62; trimmed */
VANTOR_API int ID_GetValidStart_Foreign(const unsigned char *record, char *out);  /* 34; trimmed */
VANTOR_API int ID_GetValidEnd_Foreign(const unsigned char *record, char *out);    /* 34; trimmed */
VANTOR_API int ID_GetBirth_Foreign(const unsigned char *record, char *out);       /* 34 */
VANTOR_API int ID_GetCardVer_Foreign(const unsigned char *record, char *out);     /* 10: "01" */
VANTOR_API int ID_GetPoliceCode_Foreign(const unsigned char *record, char *out);  /* 18 */

/* The row of szCitizenship that holds the nationality code: "加拿大/CAN"; the code itself when none
 * does. No NUL is written behind a row: fill `out` with zero bytes before; room for 32 bytes. */
VANTOR_API int ID_GetNation_Foreign(const unsigned char *record, char *out);

/* Countries and areas, GB18030 and zero-padded: the Chinese short name, "/", the alpha-3 code of
 * ISO 3166-1. */
#define VANTOR_CITIZENSHIPS 239
extern VANTOR_API const char szCitizenship[VANTOR_CITIZENSHIPS][32];

/* ---- Photo and other bytes ------------------------------------------------------------------- *
 *
 * `raw` is the whole raw record, with room for 4096 bytes as the reads ask for. Return 0; -22 for a
 * null pointer.
 */
VANTOR_API int ID_GetPhotoInfo(const unsigned char *raw, unsigned char *out); /* 1024, from 256 */
VANTOR_API int ID_GetFPInfo(const unsigned char *raw, unsigned char *out);    /* 1024, from 1280 */
VANTOR_API int ID_GetASICSerialNumber_GAT(const unsigned char *raw,
                                          unsigned char *out); /* 8 bytes, from 2304 */
VANTOR_API int ID_GetSerialCardNumber_GAT(const unsigned char *raw,
                                          unsigned char *out); /* 16 bytes, from 2312 */

/* Decodes the 1024 bytes of a photo with "unpack" of ./libwlt.so, a library that the site provides
 * in the working directory, and writes a BMP file of 38862 bytes: 102 x 126, 24 bits.
 *
 * Returns 0; -1 without that library (the reason is logged); -2 when it has no "unpack"; -3 when it
 * refuses the photo, when the file cannot be written, and for a null pointer. */
VANTOR_API int ID_GetBmpFile(const unsigned char *photo, const char *path);

VANTOR_C_END

#endif
