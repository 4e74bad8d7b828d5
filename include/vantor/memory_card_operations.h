/* Contactless memory cards: one function per command to the reader's contactless module.
 *
 * M1 is the Mifare Classic class, M0 the Ultralight C class. The reader talks to the card itself;
 * each operation is one exchange with the reader, in the framing that "Iccmd" in [devcfg] names
 * (0 KrelIc, 1 Union_), read afresh at every call. M0 has KrelIc only.
 *
 * All take the device context first; one that Vantor_Open opened stays open, a closed one is opened
 * for this exchange. Block, sector and page numbers and counts go out as single bytes, the low 8
 * bits of what is given; which of them exist is for the reader to say. timeoutMs is in
 * milliseconds, for the write and again for the read.
 *
 * Outputs are written on success only; a null output is skipped. No NUL is written. What an answer
 * of the reader holds is handed on whole: an output of data needs room for 4096 bytes, that of
 * M1_PowerOn and M0_PowerOn for 256.
 *
 * Thread rule of this header: one command at a time, on the caller's thread; another thread may end
 * a wait with Vantor_Cancel (the operation then returns -74).
 *
 * Results are 0 on success and else
 *     -1008  "Iccmd" names no framing, or one that does not have this command; nothing was sent
 *     -22    data without a pointer, or more than a command holds (KrelIc 255 bytes, Union_ 1020)
 *     -2, -19  the device could not be opened
 *     -74    no answer, a cancelled wait, or a malformed answer
 *     -5001 ... -5105  the reader's failure status, one code a command, see the calls
 * An answer without any payload in the KrelIc framing gives 0 with the outputs left as they were.
 *
 *     unsigned char block[4096];
 *     uint32_t length = 0;
 *     M1_PowerOn(&context, block, &length, 1000);                    // 04 00 08 5A 1B 2C 3D
 *     M1_Verify(&context, 1, 0, "\xFF\xFF\xFF\xFF\xFF\xFF", 1000);   // sector 1 with key A
 *     M1_ReadBlock(&context, 4, block, &length, 3000);               // 16 bytes
 */
#ifndef VANTOR_MEMORY_CARD_OPERATIONS_H
#define VANTOR_MEMORY_CARD_OPERATIONS_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

/* ---- M1 -------------------------------------------------------------------------------------- */

/* Activates the card. out receives its identification as the reader gives it. With Union_ the two
 * status bytes 00 00 come first, in out and in the length; with KrelIc they do not. Returns 0 or
 * -5001. */
VANTOR_API int M1_PowerOn(DEVCONTEXT *deviceContext, unsigned char *out, uint32_t *outLength,
                          uint32_t timeoutMs);

/* Deactivates the card. Returns 0 or -5002. */
VANTOR_API int M1_PowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Authenticates a sector.
 *
 *     keyType  which key: with KrelIc 0 sends 60 (key A), anything else 61 (key B); with Union_ its
 *              low byte goes out as it is
 *     key      NUL-terminated; all its characters go out, in the form that the reader expects (six
 *              raw bytes, so none of them zero, or twelve hexadecimal characters)
 *
 * Returns 0 or -5003. */
VANTOR_API int M1_Verify(DEVCONTEXT *deviceContext, int sector, int keyType, const char *key,
                         uint32_t timeoutMs);

/* Reads a block of 16 bytes; returns 0 or -5004. Reads a value block's value; returns 0 or -5006.
 */
VANTOR_API int M1_ReadBlock(DEVCONTEXT *deviceContext, int block, unsigned char *out,
                            uint32_t *outLength, uint32_t timeoutMs);
VANTOR_API int M1_ReadValue(DEVCONTEXT *deviceContext, int block, unsigned char *out,
                            uint32_t *outLength, uint32_t timeoutMs);

/* Writes a block: dataLength bytes go out (a card's block has 16). Returns 0 or -5005. */
VANTOR_API int M1_WriteBlock(DEVCONTEXT *deviceContext, int block, const unsigned char *data,
                             int dataLength, uint32_t timeoutMs);

/* Writes a value block (-5007), adds to it (-5008), takes from it (-5009). The four bytes behind
 * the pointer go out in the order in which they lie in memory. Return 0 or that code. */
VANTOR_API int M1_WriteValue(DEVCONTEXT *deviceContext, int block, const uint32_t *value,
                             uint32_t timeoutMs);
VANTOR_API int M1_Increment(DEVCONTEXT *deviceContext, int block, const uint32_t *amount,
                            uint32_t timeoutMs);
VANTOR_API int M1_Decrement(DEVCONTEXT *deviceContext, int block, const uint32_t *amount,
                            uint32_t timeoutMs);

/* The same with the amount itself, which goes out least significant byte first: 258 sends
 * 02 01 00 00. Return 0, -5008, -5009. */
VANTOR_API int M1_IncreaseValue(DEVCONTEXT *deviceContext, int block, int amount,
                                uint32_t timeoutMs);
VANTOR_API int M1_DecreaseValue(DEVCONTEXT *deviceContext, int block, int amount,
                                uint32_t timeoutMs);

/* ---- M0 -------------------------------------------------------------------------------------- */

/* Activates the card; out receives its identification. Returns 0 or -5001. */
VANTOR_API int M0_PowerOn(DEVCONTEXT *deviceContext, unsigned char *out, uint32_t *outLength,
                          uint32_t timeoutMs);

/* Deactivates the card. Returns 0 or -5002. */
VANTOR_API int M0_PowerOff(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Reads from a page on. What `count` means (pages, or bytes) is the reader's. Returns 0 or -5104.
 */
VANTOR_API int M0_ReadBlock(DEVCONTEXT *deviceContext, int page, int count, unsigned char *out,
                            uint32_t *outLength, uint32_t timeoutMs);

/* Writes a page: dataLength bytes go out (a card's page has 4). Returns 0 or -5105. */
VANTOR_API int M0_WriteBlock(DEVCONTEXT *deviceContext, int page, const unsigned char *data,
                             int dataLength, uint32_t timeoutMs);

/* Passes a command of the card's own through, 253 bytes at most, and gives the card's answer:
 * 1A 00 asks for the first half of the authentication. Returns 0 or -5105. */
VANTOR_API int M0_Interaction(DEVCONTEXT *deviceContext, const unsigned char *in, int inLength,
                              unsigned char *out, uint32_t *outLength, uint32_t timeoutMs);

/* Asks which type of card it is.
 *
 *     reserved  not used
 *     type      receives one byte, the reader's own number for the type; 0 when the answer ends
 *               before it
 *
 * The statuses 1 and 2 are successes too. Returns 0 or -5105. */
VANTOR_API int M0_ChcekCardType(DEVCONTEXT *deviceContext, int reserved, unsigned char *type,
                                uint32_t timeoutMs);

VANTOR_C_END

#endif
