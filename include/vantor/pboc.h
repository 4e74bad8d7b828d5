/* PBOC engine: TLV, data-object lists, application selection and reading, cryptograms, issuer
 * authentication and issuer scripts.
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
 * Each returns 0; -99 when the card answers with another status than 9000, when the arguments do
 * not fit a command, or for a null pointer, before anything is sent; 100 when it answers 6283 (the
 * selected application or file is invalidated); or the failure code of IC_APDU or IC_RFAPDU. Output
 * areas hold VANTOR_PBOC_AREA_SIZE bytes and are left alone on failure. */

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
 * After eight exchanges in a row that failed no further record is asked for. Always returns 0; with
 * a null pointer nothing is read. */
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
 * cannot be read is left out. At most 255 records are asked for, and none after eight exchanges in
 * a row that failed. data must hold VANTOR_APP_DATA_SIZE bytes. Always returns 0; with a null
 * pointer nothing is read. */
VANTOR_API int PBOC_GetAppData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *afl,
                               int aflLength, unsigned char *data, int32_t *dataLength);

/* GET DATA of one tag (9F79: the electronic cash balance); value gets the tag's value. Returns 0
 * with length 0 when the card's answer does not hold the tag. */
VANTOR_API int PBOC_GetData(DEVCONTEXT *deviceContext, int cardType, const unsigned char *tag,
                            int tagLength, unsigned char *value, int32_t *valueLength);

/* ---- Cryptograms and the issuer's answer ----
 *
 * The arguments and results of the commands are those of "Commands to the card" above: 0; -99 on
 * another status than 9000, for data that do not fit a command (more than 255 bytes, a negative
 * length, a null pointer with a length) and for a null output; 100 on 6283; or the code of the
 * failed exchange. No command carries an Le, output areas hold VANTOR_PBOC_AREA_SIZE bytes and are
 * left alone on failure. */

/* GENERATE AC: 80 AE P1 00 Lc data.
 *
 *   referenceControl   P1, what is asked for: 0x80 an ARQC, 0x40 a TC, 0x00 an AAC, 0xC0 after a
 *                      referral. The card may answer with less than it was asked for; which
 *                      cryptogram it is stands in the high bits of the cryptogram information data
 *   data, dataLength   what the card's CDOL1 or CDOL2 asks for
 *   result             gets the value of tag 80 (format 1: cryptogram information data, two bytes
 *                      of counter, eight of cryptogram, issuer application data), else the objects
 *                      inside tag 77 (format 2: 9F27, 9F36, 9F26, 9F10 ...). At most 506 bytes
 *   resultLength       gets its length; 0 when the card's value is empty
 *
 * Also returns -99 when the answer holds neither tag.
 *
 * The answer 80 12 80 0001 1122334455667788 07010103A00000 90 00 gives the 18 bytes behind 80 12.
 */
VANTOR_API int PBOC_GenerateAC(DEVCONTEXT *deviceContext, int cardType,
                               unsigned char referenceControl, const unsigned char *data,
                               int dataLength, unsigned char *result, int32_t *resultLength);

/* Builds the data that go to the issuer from the card's answer to GENERATE AC and from g_szTxData:
 * 9F26 9F27 9F10 9F37 9F36 95 9A 9C 9F02 5F2A 82 9F1A 9F03, in this order, every length one byte.
 *
 *   answer         what PBOC_GenerateAC gave, or the template 77 that a contactless card gave to
 *                  GET PROCESSING OPTIONS; answerLength bytes. With a tag 9F26 in it, its 9F26,
 *                  9F27, 9F10 and 9F36 are taken, each if it is there; without one it counts as a
 *                  value of format 1
 *   result         gets the objects; at most VANTOR_PBOC_AREA_SIZE bytes are written. With the
 *                  stores as they are, a format 1 value of v bytes gives 66 + v (74 for the
 *                  shortest of 11), a format 2 answer at most its own length and 54 more
 *   resultLength   gets their length
 *
 * Returns 0, or -99 (nothing is written then) when the answer is neither format (less than 11 bytes
 * and no 9F26), when one value has more than 255 bytes, or when the result does not fit.
 *
 * At load the answer of the example above gives 9F26 08 1122334455667788 9F27 01 80 9F10 07
 * 07010103A00000 9F37 04 12345678 9F36 02 0001 95 05 ... 9F03 06 000000000000. */
VANTOR_API int PBOC_BuildARQCBack(const unsigned char *answer, int answerLength,
                                  unsigned char *result, int32_t *resultLength);

/* EXTERNAL AUTHENTICATE, 00 82 00 00 Lc data: the issuer authentication data, the value of tag 91
 * (eight bytes of cryptogram, two of response code). */
VANTOR_API int PBOC_ExternalAuth(DEVCONTEXT *deviceContext, int cardType, const unsigned char *data,
                                 int dataLength);

/* The same with key reference 06 in P2: 00 82 00 06 Lc data. */
VANTOR_API int PBOC_ExternalAuth_Sh(DEVCONTEXT *deviceContext, int cardType,
                                    const unsigned char *data, int dataLength);

/* Runs the commands of issuer scripts: sends the values of the tags 86 one after the other.
 *
 *   script, scriptLength   the issuer's data: templates 71 or 72 with 9F18 and 86 inside; anything
 *                          around them is passed over
 *
 * A command that fails does not end the run. Returns
 *   -99   there is no tag 86 at all
 *   0     the data end with the command found first and the card accepted it, or the last search
 *         found nothing: whatever the commands came to
 *   else, when the data end with the command found first, or the run was stopped: the number of
 *         commands that got an answer plus one when the card refused the last one, 100 on 6283, or
 *         the code of the failed exchange
 *
 * A search begins where the command found last ended, counted from where the search before it
 * began, and not from the start of the data: from the third search on this is another place, so
 * in a script of several commands some may be sent twice and some not at all. Kept on purpose. A
 * run is stopped after 128 commands, and an error is logged. */
VANTOR_API int PBOC_ExeScript(DEVCONTEXT *deviceContext, int cardType, const unsigned char *script,
                              int scriptLength);

/* Key delivery, BF DE P1 P2 Lc data. P1, P2 and the data belong to the issuer's procedures, as in
 * the next two commands. */
VANTOR_API int PBOC_DeliveryKey(DEVCONTEXT *deviceContext, int cardType, unsigned char p1,
                                unsigned char p2, const unsigned char *data, int dataLength);

/* Data encipherment, 80 FA P1 00 Lc data; result gets the response without SW1 SW2, at most 510
 * bytes. */
VANTOR_API int PBOC_CryptData(DEVCONTEXT *deviceContext, int cardType, unsigned char p1,
                              const unsigned char *data, int dataLength, unsigned char *result,
                              int32_t *resultLength);

/* PIN CHANGE, 84 24 00 P2 Lc data: the enciphered PIN and its MAC. */
VANTOR_API int PBOC_ChangePin(DEVCONTEXT *deviceContext, int cardType, unsigned char p2,
                              const unsigned char *data, int dataLength);

VANTOR_C_END

#endif
