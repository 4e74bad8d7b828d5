/* PBOC engine: TLV, data-object lists, application selection and reading.
 *
 * Bytes here are raw bytes, never text; lengths are in bytes. Results: 0 (or an offset) is success,
 * -99 is "not found", "malformed" or "the card answered with a failure status".
 *
 * Threads: the stores and the device context are shared and unlocked; one thread at a time calls
 * the functions of this header.
 */
#ifndef VANTOR_PBOC_H
#define VANTOR_PBOC_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

/* Bytes that every output area of a PBOC_ call must hold where its comment says nothing else. No
 * such call writes more. */
#define VANTOR_PBOC_AREA_SIZE 512

/* Bytes that the data area of PBOC_GetAppData must hold; the records of a card that has more are
 * cut there. */
#define VANTOR_APP_DATA_SIZE 8000

/* ---- Terminal data stores ----
 *
 * Each is a run of primitive TLV objects ("9F 02 06 00 00 00 00 00 12 ...") and, beside it, the
 * number of bytes in use. They keep what was written into them from call to call and never change
 * size. A host may read them at any time between calls, and may overwrite values with
 * PBOC_SetTxDataTagValue and PBOC_SetAppInitDataTagValue. */

/* Transaction data: 8A 9F02 9F03 9F1A 95 5F2A 9A 9C 9F37 82 9F21 9F4E; 87 bytes in use. */
extern VANTOR_API unsigned char g_szTxData[88];
extern VANTOR_API int32_t g_iTxDataLen;

/* Application-initiation data: 9F02 9F03 9F1A 95 5F2A 9C 9F37 9F66 9F7A 9F7B 9F4E 9A DF60 DF69
 * 9F21 9F33; 113 bytes in use. */
extern VANTOR_API unsigned char g_szAppInitData[114];
extern VANTOR_API int32_t g_iAppInitDataLen;

/* Further terminal data: 9F35 9F45 9F4C 9F34 9F7C; 49 bytes in use. */
extern VANTOR_API unsigned char g_szExData[50];
extern VANTOR_API int32_t g_iExDataLen;

/* The card's application data between the two halves of an online transaction; zero bytes until a
 * first half has filled it. */
extern VANTOR_API char g_IccAppData[8000];

/* ---- TLV ----
 *
 * A tag is one byte, or two when the low five bits of the first are all set. A length is one byte,
 * 81 and one byte, or 82 and two bytes. Constructed objects (bit 0x20 of the tag) are entered, not
 * skipped, so an object is found at any depth; they count as having an empty value. A length that
 * runs past the end of the buffer ends a walk with -99. */

/* Finds the first object of a tag and copies its value.
 *
 *   tag, tagLength   the tag's 1 or 2 bytes; an object's tag must equal them in length too
 *   buffer           the objects, bufferLength bytes
 *   value            gets the value; must hold the longest value that buffer can hold, at least 8
 *                    bytes: the first 8 are cleared before the search
 *   valueLength      gets the value's length; 0 when nothing was found
 *
 * Returns the offset in buffer at which the value begins (always positive), or -99. A constructed
 * tag gives length 0 and the offset of its contents. A constructed object on the way whose length
 * has the 82 form ends the search with -99.
 *
 * At load PBOC_GetTagValue("\x9F\x02", 2, g_szTxData, g_iTxDataLen, ...) returns 7 and gives the
 * six bytes 00 00 00 00 00 12. */
VANTOR_API int PBOC_GetTagValue(const unsigned char *tag, int tagLength,
                                const unsigned char *buffer, int bufferLength, unsigned char *value,
                                int32_t *valueLength);

/* Overwrites, in place, the value of the first object that has the tag and whose length is exactly
 * valueLength; an object of the tag with another length is passed over. Returns 0, or -99 when
 * there is no such object (nothing is written then). */
VANTOR_API int PBOC_SetTagValue(const unsigned char *tag, int tagLength, unsigned char *buffer,
                                int bufferLength, const unsigned char *value, int valueLength);

/* PBOC_SetTagValue on g_szTxData. */
VANTOR_API int PBOC_SetTxDataTagValue(const unsigned char *tag, int tagLength,
                                      const unsigned char *value, int valueLength);

/* PBOC_SetTagValue on g_szAppInitData. */
VANTOR_API int PBOC_SetAppInitDataTagValue(const unsigned char *tag, int tagLength,
                                           const unsigned char *value, int valueLength);

/* ---- Data-object lists ---- */

/* Reads the first entry of a data-object list ("9F 02 06": six bytes of tag 9F02).
 *
 *   entry        the entry; at least 3 bytes must be readable
 *   remaining    not used
 *   tag          gets the tag's 1 or 2 bytes
 *   tagLength    gets 1 or 2
 *   entryLength  gets the size of the whole entry: the tag and one byte of length, or two after 81,
 *                or three after 82. The length that is asked for is not given.
 *
 * Always returns 0. */
VANTOR_API int PBOC_GetTagInDOL(const unsigned char *entry, int remaining, unsigned char *tag,
                                int32_t *tagLength, int32_t *entryLength);

/* Builds the data that a data-object list asks for: for each entry the value from g_szTxData, else
 * from g_szAppInitData, else from g_szExData, as stored; the length in the list is not looked at.
 *
 *   deviceContext, cardType   not used, may be null and 0
 *   dol, dolLength            the list
 *   data                      gets the values one behind the other; 20 bytes for every 2 bytes of
 *                             the list are always enough
 *   dataLength                gets their length after each entry; set it to 0 first, an empty list
 *                             leaves it alone
 *
 * Returns 0, or -99 at the first tag that no store holds (what was built so far stays).
 *
 * At load the list 9F02 06 9F37 04 9F66 04 gives 000000000012 12345678 F4000000. */
VANTOR_API int PBOC_BuildDOL(DEVCONTEXT *deviceContext, int cardType, const unsigned char *dol,
                             int dolLength, unsigned char *data, int32_t *dataLength);

/* ---- Letter-coded text ---- */

/* Reads one field of a text of fields: the name, three decimal digits of length, the value.
 *
 *   name, nameLength   the field's name, one letter: "P", 1. The first place in the text where it
 *                      occurs is taken, be it inside another field's value.
 *   text               NUL-terminated, "P012000000010000S006250101"
 *   textLength         not used
 *   value              gets the value, at most 512 characters, no NUL
 *   valueLength        gets its length in characters
 *
 * Returns 0, or -99 (nothing is written then) when the name does not occur, the length is above 512
 * or the value runs past the end of the text. */
VANTOR_API int PBOC_GetSimpTagValue(const char *name, int nameLength, const char *text,
                                    int textLength, char *value, int32_t *valueLength);

/* ---- Commands to the card ----
 *
 *   deviceContext   the open device: &context
 *   cardType        0 contact, 1 contactless, any other value: contact and, if that fails,
 *                   contactless
 *
 * Each returns 0; -99 when the card answers with another status than 9000, or when the arguments
 * do not fit a command; 100 when it answers 6283 (the selected application or file is invalidated);
 * or the failure code of IC_APDU or IC_RFAPDU. Output areas hold VANTOR_PBOC_AREA_SIZE bytes and
 * are left alone on failure. */

/* Sends a command and follows the status bytes: 62xx (but 6283) is answered with GET RESPONSE
 * 00 C0 00 00 00, 61xx with GET RESPONSE 00 C0 00 00 xx, 6Cxx with the same command whose last byte
 * is xx, again and again, at most 32 times; then the response stands as it is.
 *
 *   command          the command's bytes. Overwritten by the follow-ups: at least 5 bytes must be
 *                    writable, and the command cannot be used again afterwards
 *   commandLength    its length, at least 1
 *   response         gets the response, SW1 SW2 included. A response of more than
 *                    VANTOR_PBOC_AREA_SIZE bytes loses the end of its data and keeps SW1 SW2.
 *                    The first 8 bytes are cleared first.
 *   responseLength   gets its length; 0 when no response came
 *
 * Returns the result of the exchange (0 also when the status is an error), or 100 on 6283. */
VANTOR_API int PBOC_IcAPDU(DEVCONTEXT *deviceContext, int cardType, unsigned char *command,
                           int commandLength, unsigned char *response, int32_t *responseLength);

/* SELECT of the payment system environment by name ("1PAY.SYS.DDF01", 14 bytes); sfi gets the value
 * of tag 88, the directory's short file identifier (usually one byte, 01). A response without tag
 * 88 gives -99, the status 9303 gives 100. */
VANTOR_API int PBOC_SelectPSE(DEVCONTEXT *deviceContext, int cardType, const unsigned char *name,
                              int nameLength, unsigned char *sfi, int32_t *sfiLength);

/* Reads the records of each directory file of sfiList and takes the application identifier (tag 4F)
 * of the last record read: A0 00 00 03 33 01 01 02. The record number starts at 1 and goes on from
 * file to file, up to 255. aidLength gets 0 when the last record holds none or no record was read.
 * Always returns 0. */
VANTOR_API int PBOC_GetAID(DEVCONTEXT *deviceContext, int cardType, const unsigned char *sfiList,
                           int sfiCount, unsigned char *aid, int32_t *aidLength);

/* SELECT of an application; fci gets the whole response, SW1 SW2 included. */
VANTOR_API int PBOC_SelectAID(DEVCONTEXT *deviceContext, int cardType, const unsigned char *aid,
                              int aidLength, unsigned char *fci, int32_t *fciLength);

/* SELECT with the caller's P1 (0x00 by file identifier, 0x04 by name) and at most 255 bytes of
 * data; response gets the whole response, SW1 SW2 included. */
VANTOR_API int PBOC_SelectFile(DEVCONTEXT *deviceContext, int cardType, unsigned char p1,
                               const unsigned char *data, int dataLength, unsigned char *response,
                               int32_t *responseLength);

/* READ RECORD of the file with the short identifier sfi (1 to 30); data gets the record without SW1
 * SW2. */
VANTOR_API int PBOC_ReadRecord(DEVCONTEXT *deviceContext, int cardType, unsigned char record,
                               unsigned char sfi, unsigned char *data, int32_t *dataLength);

/* GET PROCESSING OPTIONS.
 *
 *   pdolData, pdolLength   the data that the card's PDOL asks for, at most 253 bytes; none is fine
 *   aip, aipLength         the application interchange profile, 2 bytes
 *   afl, aflLength         the application file locator, four bytes an entry; or, from a
 *                          contactless card that answers with its data at once, the whole answer
 *                          without SW1 SW2: a template 77
 *
 * Lenient on purpose: a failed exchange or another status than 9000 returns 0 and leaves the
 * outputs as they were, so set both lengths to 0 first. An answer that is neither 80 nor 77, or a
 * 77 without tag 82, gives -99. */
VANTOR_API int PBOC_GetProcOptions(DEVCONTEXT *deviceContext, int cardType,
                                   const unsigned char *pdolData, int pdolLength,
                                   unsigned char *aip, int32_t *aipLength, unsigned char *afl,
                                   int32_t *aflLength);

/* Reads every record that the file locator names and puts them one behind the other; a record that
 * cannot be read is left out. data must hold VANTOR_APP_DATA_SIZE bytes. Always returns 0. */
VANTOR_API int PBOC_GetAppData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *afl,
                               int aflLength, unsigned char *data, int32_t *dataLength);

/* GET DATA of one tag (9F79: the electronic cash balance); value gets the tag's value. Returns 0
 * with length 0 when the card's answer does not hold the tag. */
VANTOR_API int PBOC_GetData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *tag,
                            int tagLength, unsigned char *value, int32_t *valueLength);

VANTOR_C_END

#endif
