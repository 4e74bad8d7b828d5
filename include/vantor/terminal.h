/* The terminal-standard interface: calls that stand alone. Each names a port, opens the reader,
 * does one whole operation with a card, closes the reader again, and returns a code of its own
 * numbering (Vantor_GetErrorCode).
 *
 *     const char *text = "P012000000001234S006250131";
 *     int32_t icType = 1, length = 2583;                                   // contact
 *     char arqc[2583], cdol2[1025];
 *     int result = IC_GenARQC("USB", NULL, 9600, 10, &icType, "", text, &length, arqc, cdol2);
 *     ...  the issuer's answer, "910A..."; the card stays powered though the reader is closed
 *     char tc[1013], scriptResult[1024];
 *     length = sizeof tc;
 *     result = IC_CtlScriptData("USB", NULL, 9600, 10, &icType, text, answer, &length, tc,
 *                               scriptResult, cdol2);
 *
 *     char track2[255], track3[255], info[4096];
 *     result = MS_ReadCard("USB", NULL, 9600, 30, 23, 0, track2, track3);
 *     result = ID_GetInfo("USB", NULL, 9600, 30, "head.bmp", NULL, NULL, NULL, info);
 *
 * Every call begins with these arguments:
 *
 *   port         "USB", in capitals: the reader on the USB port. Anything else is a device below
 *                /dev: "ttyS0", "ttyAMA0", "pts/3". It becomes the name of serial port 1 and stays
 *                that, also for BO_Open; "/dev/" and 58 characters, the rest is cut
 *   extendPort   its first character selects the pass-through port as in BO_Open; '0' when it is
 *                null or empty
 *   baudRate     the line's rate, 9600
 *   timeout      seconds to wait for a card; 0: without limit; not negative
 *
 * and the IC calls have in common:
 *
 *   icType       1 contact, 2 contactless, any other number automatic; gets the type of the card
 *                that answered (IC_CtlScriptData leaves it alone)
 *   aidList      the application as upper-case hexadecimal text, "A000000333010101"; empty: the
 *                last one of the card's directory. At most 63 characters count
 *   ...Length    on entry the room of the text that follows it, in bytes; gets the text's length
 *                in characters, up to its first NUL
 *
 * Texts are NUL-terminated. A text that is to be given is made empty as soon as the reader is open,
 * so it needs room for one byte at least, and it stays empty when the card gave nothing; before
 * that nothing is written.
 *
 * Results: 0; -1 a bad or missing argument (all pointers are needed but extendPort and those that
 * may be null where it says so); and what Vantor_GetErrorCode makes of the codes of the business
 * call.
 *
 * Threads: the calls share the device context with the BO_ calls; one thread at a time. From a
 * second thread BO_CancelWait ends the wait for an IC or identity card, BO_Cancel the wait for a
 * swipe.
 */
#ifndef VANTOR_TERMINAL_H
#define VANTOR_TERMINAL_H

#include "vantor/export.h"

VANTOR_C_BEGIN

/* Reads data elements of a card, picked by letters: BO_ICGetInfo_YC.
 *
 *   aidList      may be empty but not null
 *   tagList      the letters, "AEG"
 *   infoLength   the room is not looked at: info must hold 3889 bytes when all letters are
 *                asked for
 *   info         gets the letter-coded text, "A0196222021001098550814E006301231G00201" */
VANTOR_API int IC_GetInfo(const char *port, const char *extendPort, int baudRate, int timeout,
                          int32_t *icType, const char *aidList, const char *tagList,
                          int32_t *infoLength, char *info);

/* First half of an online transaction: BO_ICGenARQC_YC. After a success the card stays powered.
 *
 *   aidList      may be null, which counts as empty
 *   txData       the transaction text, "P012000000001234S006250131"
 *   arqcLength   the size of arqc; 2583 is always enough, a text that does not fit is cut
 *   arqc         gets the objects for the issuer as hexadecimal text, "9F2608..."
 *   iccAppData   gets the card's CDOL2 as hexadecimal text: room for 1025 bytes. It goes into
 *                IC_CtlScriptData */
VANTOR_API int IC_GenARQC(const char *port, const char *extendPort, int baudRate, int timeout,
                          int32_t *icType, const char *aidList, const char *txData,
                          int32_t *arqcLength, char *arqc, char *iccAppData);

/* Second half: authenticates the issuer, takes the card's second cryptogram, runs the scripts and
 * powers the card off: BO_ICExeScript_YC.
 *
 *   icType         what IC_GenARQC gave
 *   txData         the transaction text
 *   arpc           the issuer's answer as hexadecimal text, "910A...", at most 1024 characters
 *   tcLength       the size of tc; 1013 is always enough, a text that does not fit is cut
 *   tc             gets the card's second cryptogram as hexadecimal text
 *   scriptResult   gets "DF31052000000000": room for 1024 bytes
 *   iccAppData     the CDOL2 that IC_GenARQC gave, not empty; at most 8192 bytes of it count */
VANTOR_API int IC_CtlScriptData(const char *port, const char *extendPort, int baudRate, int timeout,
                                int32_t *icType, const char *txData, const char *arpc,
                                int32_t *tcLength, char *tc, char *scriptResult,
                                const char *iccAppData);

/* Reads the transaction log: BO_ICGetDetail_YC.
 *
 *   aidList        may be null, which counts as empty
 *   detailLength   the room is not looked at: detail must hold 27037 bytes. A merchant name with 00
 *                  bytes ends the length that is given, not the text
 *   detail         gets "01106P012000000012345..." */
VANTOR_API int IC_GetTranDeta(const char *port, const char *extendPort, int baudRate, int timeout,
                              int32_t *icType, const char *aidList, int32_t *detailLength,
                              char *detail);

/* The two calls for magnetic stripes have in common:
 *
 *   mode      the tracks: 2, 3, or 23 for both; any other number counts as 23
 *   charSet   not used
 *
 * A track that the mode leaves out may be null and is not touched. */

/* Waits for a card to be swiped and reads its tracks: BO_ReadMagCard.
 *
 *   track2, track3   get the text without the marks of the stripe and a NUL: room for 255 bytes
 *                    each, "6222020200112233=25122010000012345678". A track that is not on the
 *                    card gives an empty text; with mode 23 the other one alone is a success, with
 *                    mode 2 or 3 the result is -11, as it is when both are missing */
VANTOR_API int MS_ReadCard(const char *port, const char *extendPort, int baudRate, int timeout,
                           int mode, int charSet, char *track2, char *track3);

/* Waits for a card to be swiped and writes its tracks: BO_WriteMagCard.
 *
 *   track2, track3   1 to 120 characters that IsTrackDataValue accepts. One that is not like that
 *                    is left out when the other one is; when neither is, the result is -1 */
VANTOR_API int MS_WriteCard(const char *port, const char *extendPort, int baudRate, int timeout,
                            int mode, int charSet, const char *track2, const char *track3);

/* Reads an identity card and, on request, its photo: BO_ReadIdInfo_Pic_YC. Sets "IdChange" of
 * config.ini to 1.
 *
 *   baudRate    0 counts as 9600
 *   photoHead   where the photo goes, as photoPath of BO_ReadIdInfo; null or empty: nowhere
 *   photoFace, photoBack, photoCard   accepted, may be null; nothing is written there
 *   info        gets the text of BO_ReadIdInfo_Pic_YC and a NUL: room for 4096 bytes, of which at
 *               most 525 are written. It is there also when only the photo failed
 *
 * The result is then that of the photo: -11 no ./libwlt.so, -3 it is of no use, -12 no
 * ./libPicConvert.so, -15 it is of no use, -99 the photo cannot be decoded or written.
 *
 *     "张三|男|汉|19900101|北京市…|110101199001011234|北京市公安局|20200101|长期|1|||||A" */
VANTOR_API int ID_GetInfo(const char *port, const char *extendPort, int baudRate, int timeout,
                          const char *photoHead, const char *photoFace, const char *photoBack,
                          const char *photoCard, char *info);

VANTOR_C_END

/* The numbering of this interface for a code of the BO_ calls:
 *
 *     0    0 done                             -15  -1010 library call failed
 *    -1    -1007 -1012 bad parameter          -16  -4003 bad APDU
 *    -2    -3001 -4001 no card in time        -23  -1006 cancelled
 *    -3    -1000 reader cannot be opened      -25  -4000 -4004 -4005 card cannot be powered
 *    -9    -1001 -1002 -1003 -1008 -1011      -26  -4100 no payment system environment
 *          reader absent, busy, unable        -27  -4101 -4102 no application
 *   -10    -1005 -2100..-2104 writing failed  -28  -4103 -4104 data lists, processing options
 *   -11    -1004 -1013 -1014 -2000..-2007     -29  -4106 -4107 -4108 request cryptogram
 *          -3000 -3002 -4105 reading failed   -30  -4109 issuer authentication
 *   -12    -1009 library not loaded           -31  -4110..-4116 scripts, second cryptogram
 *   -13    -3003 no photo                     -32  -4117 no transaction log
 *   -14    -4002 -4006 power-off, APDU        -99  anything else, positive numbers too
 *
 * Any thread. Exported under its C++ symbol. */
VANTOR_API int Vantor_GetErrorCode(int code) VANTOR_CPP_SYMBOL("_Z19Vantor_GetErrorCodei");

#endif
