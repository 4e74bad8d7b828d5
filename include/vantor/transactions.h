/* Business calls that carry out a whole card transaction: request cryptogram, issuer authentication
 * and scripts; and the variant calls, with which a host names the application itself.
 *
 * An online transaction has two halves. The first call powers the card on and gives what goes to
 * the issuer; the card stays powered. The second call gives the issuer's answer to the card,
 * finishes the transaction, runs the issuer's scripts and powers the card off, whatever came of it.
 *
 *     char arqc[2583], cdol2[1025], result[1023], tc[1013];
 *     int32_t cardType = 0;                                             // contact
 *     const char *text = "P012000000001234S006250131U006235959T00200";  // 12.34
 *     if (BO_ICGenARQC_YC(&cardType, "A000000333010101", text, sizeof arqc, arqc, 10, cdol2) == 0)
 *         ...  send arqc to the issuer, get its answer "910A..."
 *     unsigned char list[512];
 *     int length = GHex2Byte(cdol2, (int)strlen(cdol2), list, sizeof list);
 *     BO_ICExeScript_YC(cardType, text, answer, sizeof result, result, sizeof tc, tc, length,
 *                       list);
 *
 * Transaction text. Letter-coded fields ("P012000000001234": letter, three digits of length,
 * value), 1 to 1024 characters and a NUL. A field that is left out keeps the value of the call
 * before. The first place where a letter occurs counts, so no value may hold a field's letter.
 *
 *     P 9F02 amount, 12 digits          S 9A   date, YYMMDD       V 9F4E merchant name, 20 bytes
 *     Q 9F03 other amount, 12 digits    T 9C   type, 2 digits
 *     R 5F2A currency, 4 digits         U 9F21 time, hhmmss
 *     the variant request only: J 9F1A country, 4 digits; K 9F37 unpredictable number, 8; L 95
 *     verification results, 10; M 9F66 terminal qualifiers, 8; N 9F7A electronic cash indicator, 2;
 *     O 9F7B electronic cash limit, 12
 *
 * Digits are hexadecimal and upper case. A shorter value is filled with zeros on the left, of a
 * longer one the last digits count. In the ordinary calls S and U are decimal, V is 20 characters
 * as they are, and a bad character in P to U fails the call with -1007. In the variant calls V is
 * 40 hexadecimal digits, and a field with a bad character counts as left out; in BO_ICExeScript_YC
 * a bad P to U fails with -1007.
 *
 * Results. As in business.h: 0, or a code that BO_GetErrInfo has a text for. A missing pointer
 * gives -1007.
 *
 * Threads. One call at a time; BO_CancelWait from a second thread ends the wait for a card.
 */
#ifndef VANTOR_TRANSACTIONS_H
#define VANTOR_TRANSACTIONS_H

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- Request cryptogram and completion ---- */

/* First half: powers a card on, selects the application that stands last in the payment system
 * environment, and asks it for the request cryptogram (ARQC).
 *
 *   mode              as for BO_IcPowerOn: 0 contact, 1 contactless, any other value automatic
 *   transactionText   see above
 *   outSize           the size of arqcHex in bytes, at least 1; a text that does not fit is cut
 *   arqcHex           gets the objects for the issuer as hexadecimal text, and a NUL: room for 1025
 *                     bytes. 9F26 9F27 9F10 9F37 9F36 95 9A 9C 9F02 5F2A 82 9F1A 9F03, those of the
 *                     card only if it gave them: "9F260811223344556677889F2701809F1007..."
 *   cardType          gets 0 contact, 1 contactless as soon as a card is powered; the second half
 *                     takes it
 *   timeoutSeconds    how long to wait for a card, 0: without limit
 *
 * Returns 0, the card powered; what BO_IcPowerOn returns; or, the card powered off: -1007 bad text,
 * -4100 no payment system environment, -4101, -4102 the application cannot be selected, -4103 the
 * card asks for terminal data that there is none of, -4104 GET PROCESSING OPTIONS, -4105 no CDOL1,
 * -4107 GENERATE AC refused, -4108 its answer makes no sense. */
VANTOR_API int BO_ICGenARQC(int mode, const char *transactionText, int outSize, char *arqcHex,
                            int32_t *cardType, int timeoutSeconds);

/* Second half: EXTERNAL AUTHENTICATE, the second GENERATE AC, the scripts. It needs the card's
 * CDOL2 that the last BO_ICGenARQC or BO_ICGenARQC_YC of this process kept.
 *
 *   cardType          what the first half gave
 *   transactionText   see above; the fields are read again
 *   arpcHex           the issuer's answer as upper-case hexadecimal text, at most 1024 characters:
 *                     91 (eight bytes of cryptogram, two of response code), 71 and 72 (scripts with
 *                     9F18 and 86): "910A66..." The response code chooses the cryptogram: "00",
 *                     "10", "11" a TC; "01", "02" after a referral; any other an AAC
 *   outSize           the size of scriptResult
 *   scriptResult      gets a text and a NUL, "DF31052000000000": behind DF3105 a digit ('1' failed
 *                     or not run, '2' done), a sequence digit, and the script identifier 9F18,
 *                     eight digits. The sequence digit is 0 unless the last command failed by the
 *                     card's word: then it is one more than the number of commands that the card
 *                     answered, the refused ones too (2 when it refuses the only command; F from 14
 *                     commands on, and for the warning 6283). Room for 17 bytes; for 1023 when the
 *                     issuer may send an identifier of more than four bytes, of which outSize cuts
 *                     what does not fit. It is there after a failure too, once the texts are
 *                     accepted
 *   reserved          not used
 *   tcHex             gets the card's answer as hexadecimal text, no NUL: room for 1012 characters
 *
 * Returns 0 (also when the answer holds no script); -1007 bad text; -4103 CDOL2 asks for terminal
 * data that there is none of; -4109 no issuer authentication data, or the card refuses them; -4110
 * a script failed; -4111 no CDOL2 known; -4112 (TC), -4113 (referral), -4116 (AAC) the second
 * GENERATE AC is refused; -4114 (TC), -4115 (AAC) the card answered with an AAC. */
VANTOR_API int BO_ICExeScript_TC(int cardType, const char *transactionText, const char *arpcHex,
                                 int outSize, char *scriptResult, int reserved, char *tcHex);

/* EXTERNAL AUTHENTICATE and the scripts only, arguments as for BO_ICExeScript_TC; the fields of the
 * text are not read. reserved is not used and may be null.
 *
 * Returns 0; -1007 bad text; -4109 no issuer authentication data, refused ones, no script, or a
 * script that failed. */
VANTOR_API int BO_ICExeScript(int cardType, const char *transactionText, const char *arpcHex,
                              char *reserved);

/* ---- Variant calls ----
 *
 * What they have in common, and the calls above have not:
 *
 *   cardType          on entry the mode of BO_IcPowerOn (0 contact, 1 contactless, else automatic),
 *                     on success the kind of card that answered: 0 or 1
 *   aidHex            the application as hexadecimal text, "A000000333010101"; null or empty: the
 *                     last one of the payment system environment, which the card must have in any
 *                     case
 *   timeoutSeconds    how long to wait for a card, 0: without limit. When the power-on fails,
 *                     "Iccmd" of config.ini is changed from 0 to 1 or from 1 to 0, which stays, and
 *                     the wait is made once more; so it can take twice as long
 *
 * A text that is to be given is made empty first and stays so on failure, as long as it is not said
 * otherwise. Each returns, besides what it says, what the second power-on returns; -4100, -4101,
 * -4102 as BO_ICGenARQC. The card is powered off after a failure. */

/* Reads data elements picked by letters: A account number, B track 2, C electronic cash balance,
 * D its limit, E expiration date, F its single transaction limit, G account sequence number,
 * H transaction counter, I and J type and number of the identity document, K cardholder name,
 * L 9F0B as it is.
 *
 *   tagList    the letters, NUL-terminated, in any order ("AEG"); others are ignored
 *   capacity   not used
 *   info       gets the letter-coded text, items in the order A to L, and a NUL: room for 3889
 *              bytes when all letters are asked for. J, K and L are the card's bytes as they are
 *              (at most 512 each), the others hexadecimal text of at most 256 characters, A cut
 *              before the first 'F'. An element that the card does not have is the letter and "000"
 *
 * Also returns -1007 when tagList holds no letter, -4103 for a card without a PDOL or one that asks
 * for terminal data that there is none of, -4104 as BO_ICGenARQC. The card is powered off. */
VANTOR_API int BO_ICGetInfo_YC(int32_t *cardType, const char *aidHex, const char *tagList,
                               int capacity, char *info, int timeoutSeconds);

/* First half, as BO_ICGenARQC; then comes BO_ICExeScript_YC.
 *
 *   arqcSize             the size of arqcHex in bytes, at least 1; a text that does not fit is cut
 *   arqcHex              gets the objects of BO_ICGenARQC and then 9F33, 9F13 (last online
 *                        counter), 5A (account number), 5F34 (its sequence number), and a NUL:
 *                        room for 2583 bytes
 *   applicationDataHex   gets the card's CDOL2 as hexadecimal text and a NUL, empty when it has
 *                        none: room for 1025 bytes. The host keeps it for the second half. It can
 *                        be there also after a failure
 *
 * Returns as BO_ICGenARQC; -4103 also for a card without a PDOL. */
VANTOR_API int BO_ICGenARQC_YC(int32_t *cardType, const char *aidHex, const char *transactionText,
                               int arqcSize, char *arqcHex, int timeoutSeconds,
                               char *applicationDataHex);

/* Second half, as BO_ICExeScript_TC. BO_Close and BO_Open may come between the halves.
 *
 *   responseHex           the issuer's answer, 1 to 1024 characters
 *   scriptResultSize      the size of scriptResult, as outSize of BO_ICExeScript_TC
 *   scriptResult          gets the script result as there
 *   tcSize                the size of tcHex in bytes; a text that does not fit is cut, with 0 or
 *                         less nothing is written
 *   tcHex                 gets the card's answer as hexadecimal text and a NUL: room for 1013 bytes
 *   cdol2, cdol2Length    the bytes of the CDOL2 that the first half gave as text; may be null and
 * 0
 *
 * Returns as BO_ICExeScript_TC, but -4109 when a script failed, and never -4111. */
VANTOR_API int BO_ICExeScript_YC(int cardType, const char *transactionText, const char *responseHex,
                                 int scriptResultSize, char *scriptResult, int tcSize, char *tcHex,
                                 int cdol2Length, const unsigned char *cdol2);

/* Reads the transaction log.
 *
 *   capacity   not used
 *   detail     gets the text of BO_ICGetDetail and a NUL: room for 27037 bytes. The merchant name W
 *              is the card's 20 bytes as they are and may hold 00 bytes: count by the record length
 *              in the text, not by its end
 *
 * Also returns -4117 when the application has no transaction log. The card is powered off. */
VANTOR_API int BO_ICGetDetail_YC(int32_t *cardType, const char *aidHex, int capacity, char *detail,
                                 int timeoutSeconds);

/* ---- Social security card ---- */

/* Reads the basic data of a social security card: waits for a card and powers it on as BO_IcPowerOn
 * (mode, timeoutSeconds), selects the application, and reads the elements 01 to 0D.
 *
 *   info   a NUL-terminated text, usually empty; gets the thirteen elements appended to it, joined
 *          by '|', and a NUL: room for 845 bytes behind what stands there. 01 to 06 and 0B to 0D
 *          are hexadecimal text (of at most 32 bytes each, the rest is left out), 07 to 0A the
 *          card's characters as they are (at most 64 bytes each, ended by a byte 00). An element
 *          that is not in its record is empty: "310100D1560000050001|31|322E3030|...|19900101"
 *
 * Returns 0, the card then stays powered; what BO_IcPowerOn returns; -4100 when the application or
 * one of its files cannot be selected; or, when a record cannot be read, -99 (the card refuses),
 * 100 (the file is invalidated) or the code of the failed exchange. On failure the card is powered
 * off and nothing is written. */
VANTOR_API int BO_SSCReadInfo(int mode, char *info, int timeoutSeconds);

VANTOR_C_END

#endif
