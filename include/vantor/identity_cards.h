/* Identity card calls: the resident identity card, the residence card for residents of Hong Kong,
 * Macau and Taiwan (GAT), and the foreign permanent resident card.
 *
 * Each call switches the reader to its identity module and the line to "IdBaud" of config.ini, and
 * both back at the end. A read resets the module, waits for a card, selects and reads it, and gives
 * its fields as one text.
 *
 * The text: fields joined by "|", each in GB18030; a field that a card kind does not have is empty.
 *
 *     1 name                           6 identity or card number    11 Chinese name (foreign)
 *     2 sex: 男, 女, 未知               7 issuing authority          12 card version (foreign)
 *     3 nation, or country (foreign)   8 valid from: 20200101       13 pass number (GAT)
 *     4 birth: 19900101                9 valid to: a date or 长期    14 issue count (GAT)
 *     5 address                       10 card kind: N, J, I
 *
 *     "张三|男|汉|19900101|北京市…|110101199001011234|北京市公安局|20200101|长期|N||||"
 *
 * N is the resident card, J the GAT card (its field 3 is empty), I the foreign card (its field 5 is
 * empty, field 3 reads "加拿大/CAN", field 7 is the authority's code).
 *
 * Common arguments:
 *   info             gets the text and a NUL: room for 1024 bytes (525 at most are written); only
 *                    after a read that succeeded
 *   infoLength       gets its length in bytes
 *   timeoutSeconds   how long to wait for a card; 0: without limit; negative: -1007. It is asked
 *                    about once a second
 *   reserved...      not used
 *
 * Results are 0 and else a public code: -1007 for a bad argument, before anything is sent; -3000
 * the module cannot be reset; -3001 no card, or not one that can be selected or read; -3002 another
 * status of the module; -1004 it does not answer; -1006 when BO_CancelWait, BO_Close, BO_DisConnect
 * or BO_Reset ended the wait in another thread; -1000 and -1003 without an open device. With a time
 * limit a wait without a card ends with the failure of the selection; without one, any failure of
 * the search becomes -3001.
 *
 * Thread rule of this header: one call at a time; BO_CancelWait, BO_Cancel, BO_Close, BO_DisConnect
 * and BO_Reset may come from a second thread. BO_ModifyIdPath_YC may be called from any thread.
 */
#ifndef VANTOR_IDENTITY_CARDS_H
#define VANTOR_IDENTITY_CARDS_H

#include "vantor/export.h"

VANTOR_C_BEGIN

/* Resets the identity module. */
VANTOR_API int BO_IdReset(void);

/* Sets the module's line speed: 9600, 19200, 38400, 57600 or 115200 bits per second; -1007 for any
 * other. -3004: the module refuses. */
VANTOR_API int BO_SetIdBaud(int baud);

/* Reads a card and keeps nothing of it: tells whether it can be read. */
VANTOR_API int BO_GetIdRawData(void *reserved1, void *reserved2, void *reserved3, void *reserved4,
                               void *reserved5, void *reserved6, int timeoutSeconds);

/* Reads a card: all 14 fields, and its photo on request.
 *
 *   photoPath       where the photo goes; null or empty: nowhere; more than 260 characters: -1007.
 *                   A path that holds ".bmp", ".jpg", ".png" or ".gif" names the file, any other a
 *                   directory, which gets a BMP file named after the identity number
 *   longTermFlag    set to 0 when field 9 equals "长期" in UTF-8, else left as it is; since the
 *                   field is GB18030, no valid card does that. May be null
 *   photoCapacity, photoData, photoLength   not used: nothing is delivered there
 *
 * The photo needs ./libwlt.so, formats other than BMP also ./libPicConvert.so, both in the working
 * directory. A directory that is missing is made, one level deep, with mode 07: its owner has no
 * access to it unless that is the superuser. Formats other than BMP go through a file temp.bmp in
 * the directory of the photo.
 *
 * With the text delivered, the result is that of the photo: 0; -1014: no ./libwlt.so; -1000: it is
 * of no use; -3: the photo cannot be decoded or written; -1009: no ./libPicConvert.so; -1010: it is
 * of no use; or the converter's own result, as it is. */
VANTOR_API int BO_ReadIdInfo(const char *photoPath, int reserved, char *info, uint32_t *infoLength,
                             int32_t *longTermFlag, uint32_t photoCapacity,
                             unsigned char *photoData, uint32_t *photoLength, int timeoutSeconds);

/* Reads a card: fields 1 to 12, and all 14 of a GAT card. No photo is written; picturePath is only
 * checked (more than 260 characters: -1007) and may be null. */
VANTOR_API int BO_ReadIdInfo_Pic(const char *picturePath, int reserved, char *info,
                                 uint32_t *infoLength, int timeoutSeconds);

/* As BO_ReadIdInfo_Pic, but field 3 of a foreign card is the three-letter code alone ("CAN"), and
 * after a failed selection the line is set to 9600 bits per second and not to its speed before. */
VANTOR_API int BO_ReadIdInfo_Pic_FB(const char *headPath, const char *reserved1,
                                    const char *reserved2, const char *reserved3, char *info,
                                    uint32_t *infoLength, void *reserved4, void *reserved5,
                                    int timeoutSeconds);

/* Reads a card; the text has a layout of its own, in which field 10 is the sex code:
 *
 *     resident: fields 1 to 9, sex code, four empty fields, "A"
 *     GAT:      fields 1 to 9, four empty fields, "J", and a "|" at the end
 *     foreign:  fields 1 to 9, sex code, two empty fields, Chinese name
 *
 *   headPath   where the photo goes, as photoPath of BO_ReadIdInfo, and with its results
 *   facePath, backPath, cardPath   accepted; nothing is written there
 *   capacity   bytes of info, 1 or more: the text is cut to it */
VANTOR_API int BO_ReadIdInfo_Pic_YC(const char *headPath, const char *facePath,
                                    const char *backPath, const char *cardPath, int capacity,
                                    char *info, uint32_t *infoLength, int timeoutSeconds);

VANTOR_C_END

/* Makes the name of a photo file. Always returns 0.
 *
 *   kind   what follows the base name: 0 nothing, 1 "_1", 2 "_2", 3 "_3"; any other leaves out
 *          alone
 *   name   the base name; null counts as empty
 *   path   a file name that ends in .jpg, .bmp, .png or .gif gives its directory, up to its last
 *          backslash, and the ending; any other is a directory, and the ending is .bmp
 *   out    gets the name and a NUL: as many bytes as path and name have, and 8. An empty text for a
 *          path that is null, empty or longer than 260 characters, and for a file name without a
 *          backslash
 *
 * The parts are always joined by a backslash: "C:\\photos\\x.jpg" with kind 1 and the name "110101"
 * gives "C:\\photos\\110101_1.jpg". */
VANTOR_API int BO_ModifyIdPath_YC(int kind, const char *name, const char *path, char *out)
    VANTOR_CPP_SYMBOL("_Z18BO_ModifyIdPath_YCiPKcS0_Pc");

#endif
