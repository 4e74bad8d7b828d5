/* Card and device operations: one function per reader or card command.
 *
 * Every operation makes one exchange with the reader's IC module, in the framing that "Iccmd" in
 * [devcfg] names: 0 KrelIc, 1 Union_. The setting is read afresh at every call. All take the device
 * context first; one that Vantor_Open opened stays open, a closed one is opened for this exchange.
 *
 * Outputs are written on success only, unless a call says otherwise; a null output is skipped. No
 * NUL is written. timeoutMs is in milliseconds, for the write and again for the read.
 *
 * Thread rule of this header: one command at a time, on the caller's thread; another thread may end
 * a wait with Vantor_Cancel (the operation then returns -74).
 *
 * Results are 0 on success and else, as each call says, one of
 *     -1008  "Iccmd" names no framing, or one that does not have this command; nothing was sent
 *     -22    a bad argument, or an answer longer than the operation's buffer
 *     -2, -19  the device could not be opened
 *     -74    no answer, a cancelled wait, or a malformed answer
 *     -99    a failure status of the reader or card without a code of its own
 *     -4000, -4002, -4004, -4005, -4006  failure statuses, see the calls
 * An answer without any payload in the KrelIc framing gives 0 with the outputs left as they were.
 *
 *     unsigned char atr[256];
 *     uint32_t atrLength = 0;
 *     if (IC_PowerOn(&context, atr, &atrLength, 1000) == 0)       // 3B 65 00 ...
 *     {
 *         const unsigned char challenge[] = {0x00, 0x84, 0x00, 0x00, 0x08};
 *         unsigned char response[4096];
 *         uint32_t length = 0;
 *         IC_APDU(&context, challenge, 5, response, &length, 3000); // 8 bytes, then 90 00
 *         IC_PowerOff(&context, 1000);
 *     }
 */
#ifndef VANTOR_OPERATIONS_H
#define VANTOR_OPERATIONS_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

/* ---- The reader itself ----------------------------------------------------------------------- */

/* The reader's information, as bytes the reader chooses (often its model and version as text).
 *
 *     info        receives the information: 256 bytes
 *     infoLength  receives its length in bytes; 0 for an answer without payload. A Union_ reader
 *                 with the long head (bytes 2 and 3 of its answer are 06 10) tells it itself, and
 *                 may tell more than it sent
 *
 * Returns 0; -4000 when the reader refuses (KrelIc status A2); -99 for a Union_ failure status.
 * Another KrelIc status gives the positive length of the answer: anything but 0 is a failure.
 */
VANTOR_API int IC_GetDevInfo(DEVCONTEXT *deviceContext, unsigned char *info, uint32_t *infoLength,
                             uint32_t timeoutMs);

/* The reader's full information record; its bytes 32 to 63 are the serial number. Always KrelIc.
 *
 *     info        receives the record: 256 bytes
 *     infoLength  receives its length in bytes
 *
 * Returns 0 or -99. */
VANTOR_API int IC_GetDevAllInfo(DEVCONTEXT *deviceContext, unsigned char *info, int32_t *infoLength,
                                uint32_t timeoutMs);

/* Stores the reader's serial number ("SN20240001"): `length` bytes, of which 32 at most are sent;
 * a shorter one is filled up with zero bytes. Always KrelIc. Returns 0 or -99; -22 for a null
 * serialNumber or a negative length. */
VANTOR_API int IC_SetDevSn(DEVCONTEXT *deviceContext, const unsigned char *serialNumber, int length,
                           uint32_t timeoutMs);

/* Sounds the buzzer. Union_ only; "Iccmd" is taken as 1 when it is not set.
 *
 *     first   duration, as a signed number: up to 99 it is divided by 10, from 100 on by 100, and
 *             goes out as one byte in the reader's own unit (150 sends 1, 99 sends 9)
 *     second, third  go out as they are, one byte each; their meaning is the reader's
 *
 * Returns 0, -99 or -1008. */
VANTOR_API int IC_Beep(DEVCONTEXT *deviceContext, uint32_t first, uint32_t second, uint32_t third,
                       uint32_t timeoutMs);

/* Restarts the reader. Always Union_. Waits up to 100 ms for an answer, which may not come, and
 * returns 0 always, even without a reader. */
VANTOR_API int IC_DevReset(DEVCONTEXT *deviceContext);

/* Switches the reader's own serial line to 9600, 19200, 38400, 57600 or 115200 bits per second; any
 * other number asks for 9600. The host's side of the line stays as it is. Waits 100 ms at most.
 * Returns 0; -4002 when the reader refuses (KrelIc status A2, Union_ status 10 01); -99. */
VANTOR_API int IC_SetBaud(DEVCONTEXT *deviceContext, int baud);

/* ---- IC cards -------------------------------------------------------------------------------- */

/* The contact slot of the following contact commands, 0 at first; set by IC_SetSlot. KrelIc numbers
 * slots 0 to 15 as 1 to 16, 16 as 0, 17 to 31 as 4 to 18, and every other as 1; Union_ sends the
 * low byte as it is. The RF calls do not use it. */
extern VANTOR_API uint32_t g_Slot;

/* The kind of card that the business calls powered on last: 0 contact, 1 contactless. */
extern VANTOR_API int32_t g_IcType;

/* Stores the slot in g_Slot; sends nothing. */
VANTOR_API void IC_SetSlot(uint32_t slot);

/* Powers on the contact card in the current slot, or activates a contactless card.
 *
 *     atr        receives the answer to reset, or the card's activation answer: 256 bytes
 *     atrLength  receives its length in bytes
 *
 * Returns 0; -4000 power-on failed (KrelIc status A2; Union_ 10 01, 10 05, RF 30 08), -4005 no card
 * (KrelIc FB; Union_ 10 02, RF 30 05), -99. Another KrelIc status gives the positive length of the
 * answer: anything but 0 is a failure. -4000 and -4005 are worth another try.
 */
VANTOR_API int IC_PowerOn(DEVCONTEXT *deviceContext, unsigned char *atr, uint32_t *atrLength,
                          uint32_t timeoutMs);
VANTOR_API int IC_RFPowerOn(DEVCONTEXT *deviceContext, unsigned char *atr, uint32_t *atrLength,
                            uint32_t timeoutMs);

/* Powers off the contact card in the current slot, or deactivates the contactless card. Returns 0;
 * -4002 power-off failed (KrelIc A2; Union_ 10 01, RF 30 01, 30 07), -4004 card not powered (RF 30
 * 04), -4005 no card (KrelIc FB; RF 30 06), -99. */
VANTOR_API int IC_PowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs);
VANTOR_API int IC_RFPowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Sends one command APDU to the contact card in the current slot, or to the contactless card.
 *
 *     apdu            the command's bytes, apduLength of them: 00 A4 04 00 ... KrelIc carries 253
 *                     (RF 254), Union_ 1017; more, or a negative length, give -22 unsent. A length
 *                     of 0 sends the reader's command without an APDU
 *     response        receives the card's data and the two status bytes SW1 SW2: 4096 bytes
 *     responseLength  receives their length in bytes
 *
 * Returns 0 whatever SW1 SW2 say; -4006 exchange failed (KrelIc A2; Union_ 10 01, 10 07, RF 30 01,
 * 30 07), -4005 no card (KrelIc FB; Union_ 10 02, 10 06, RF 30 06), -4004 card not powered (Union_
 * 10 04, RF 30 04), -99.
 */
VANTOR_API int IC_APDU(DEVCONTEXT *deviceContext, const unsigned char *apdu, int apduLength,
                       unsigned char *response, uint32_t *responseLength, uint32_t timeoutMs);
VANTOR_API int IC_RFAPDU(DEVCONTEXT *deviceContext, const unsigned char *apdu, int apduLength,
                         unsigned char *response, uint32_t *responseLength, uint32_t timeoutMs);

/* Asks which cards are present. Union_ only.
 *
 *     kind    one byte for the reader; the business calls pass 0xFF
 *     result  receives 1 when the first byte of the answer is 11, 2 when it is 12, else 3 when the
 *             second byte is 12, else 0
 *
 * Returns 0, -99 or -1008. */
VANTOR_API int IC_CardDetect(DEVCONTEXT *deviceContext, unsigned char kind, int32_t *result,
                             uint32_t timeoutMs);

VANTOR_C_END

#endif
