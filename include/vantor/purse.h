/* Electronic deposit (ED) and electronic purse (EP) commands of a PBOC card: one card command each,
 * for hosts that run these applications themselves. The application must be selected first
 * (PBOC_SelectFile).
 *
 *   deviceContext   the open device: &context
 *   cardType        0 contact, 1 contactless, any other value: contact and, if that fails,
 *                   contactless
 *   data            gets the card's answer without SW1 SW2; must hold 512 bytes, at most 510 are
 *                   written, no NUL
 *   dataLength      gets its length in bytes
 *
 * Status bytes 61xx, 62xx and 6Cxx are followed up as PBOC_IcAPDU does. Each call returns 0; -99
 * when the card answers with another status than 9000, or when an argument is null or does not fit
 * a command; 100 when it answers 6283 (invalidated); or the failure code of IC_APDU or IC_RFAPDU.
 * On failure data and dataLength are left alone. Bytes are raw bytes, never text; nothing is
 * retried.
 *
 * Threads: one thread at a time calls the functions of this header.
 */
#ifndef VANTOR_PURSE_H
#define VANTOR_PURSE_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

/* READ BINARY of the file with the short identifier sfi (1 to 30) from offset on:
 * 00 B0 (sfi OR 80) offset 00. With sfi 0x15 and offset 0: 00 B0 95 00 00. */
VANTOR_API int EPED_ReadBinary(DEVCONTEXT *deviceContext, int cardType, unsigned char sfi,
                               unsigned char offset, unsigned char *data, int32_t *dataLength);

/* UPDATE BINARY with secure messaging: 04 D6 (sfi OR 90) offset Lc data. The data are at most 255
 * bytes and end with the four bytes of MAC that the host computed. Mind P1: sfi OR 90, so 05 gives
 * 95 and not 85. */
VANTOR_API int EPED_UpdateBinary(DEVCONTEXT *deviceContext, int cardType, unsigned char sfi,
                                 unsigned char offset, const unsigned char *data, int dataLength);

/* VERIFY, 00 20 00 00 Lc pin: the PIN as the card expects it, two digits a byte (12 34 for "1234"),
 * at most 255 bytes. A wrong PIN (63Cx) gives -99. The bytes stand in the log at level 2. */
VANTOR_API int EPED_Verify(DEVCONTEXT *deviceContext, int cardType, const unsigned char *pin,
                           int pinLength);

/* GET CHALLENGE, 00 84 00 00 Le. *dataLength holds the number of bytes asked for (its low byte is
 * sent; 4 for the purse) and gets the number that came. */
VANTOR_API int EPED_GetRandom(DEVCONTEXT *deviceContext, int cardType, unsigned char *data,
                              int32_t *dataLength);

/* GET BALANCE, 80 5C 00 p2 04: p2 01 for the deposit, 02 for the purse. data gets the balance in
 * fen, four bytes, high byte first: 00 00 27 10 is 100.00. */
VANTOR_API int EPED_GetBalance(DEVCONTEXT *deviceContext, int cardType, unsigned char p2,
                               unsigned char *data, int32_t *dataLength);

/* The load and purchase commands carry data of a fixed length, whatever length is passed. The data
 * are read as a NUL-terminated byte string: up to the first byte 00, and the rest is sent as 00. So
 * 01 00 00 10 00 ... goes out as 01 00 00 00 00 ...; kept on purpose. */

/* INITIALIZE FOR LOAD, 80 50 00 p2 0B data: loadData holds 11 bytes (key index, four of amount, six
 * of terminal number). */
VANTOR_API int EPED_InitForLoad(DEVCONTEXT *deviceContext, int cardType, unsigned char p2,
                                const unsigned char *loadData, unsigned char *data,
                                int32_t *dataLength);

/* CREDIT FOR LOAD, 80 54 00 00 0B data: loadData holds 11 bytes (four of date, three of time, four
 * of MAC2). */
VANTOR_API int EPED_Load(DEVCONTEXT *deviceContext, int cardType, const unsigned char *loadData,
                         unsigned char *data, int32_t *dataLength);

/* INITIALIZE FOR PURCHASE, 80 50 01 p2 0B data: purchaseData holds 11 bytes. purchaseLength is not
 * used. */
VANTOR_API int EPED_InitForPurchase(DEVCONTEXT *deviceContext, int cardType, unsigned char p2,
                                    const unsigned char *purchaseData, int purchaseLength,
                                    unsigned char *data, int32_t *dataLength);

/* DEBIT FOR PURCHASE, 80 54 01 00 0F data 08: purchaseData holds 15 bytes (four of terminal
 * transaction number, four of date, three of time, four of MAC1). reserved and purchaseLength are
 * not used. */
VANTOR_API int EPED_Purchase(DEVCONTEXT *deviceContext, int cardType, unsigned char reserved,
                             const unsigned char *purchaseData, int purchaseLength,
                             unsigned char *data, int32_t *dataLength);

VANTOR_C_END

#endif
