/* Magnetic stripe operations: reading, writing and resetting the stripe module, and taking reply
 * text apart.
 *
 * Modes say which tracks are meant: 1, 2, 3, 12, 13, 23 or 123. Track text is what the stripe
 * holds, without its start and end marks ("6222020200112233=2512"); what the module gives for a
 * track that is not there (a single DEL byte, "00000") is passed on as it is.
 *
 * Track buffers: `trackNCapacity` bytes each; characters beyond are dropped. Fill them with zero
 * bytes before the call: a NUL is written behind tracks 2 and 3 only while both are shorter than
 * their room, and never behind track 1. A null buffer is never written and does not count.
 *
 * Thread rule of this header: one command at a time, on the caller's thread; another thread may end
 * a wait with Vantor_Cancel (the operation then returns -125). GetMsrTrackData, GetMsrTrackData123
 * and MSR_GetCardNo keep no state; any thread may call them.
 *
 * Results are 0 on success and else the code that a call names, or one of
 *     -2, -19  the device could not be opened
 *     -22      a bad argument, or a reply of more than 256 bytes
 *     -62      nothing came within the time-out
 *     -125     cancelled
 *     -1       the transport failed
 */
#ifndef VANTOR_MAGNETIC_STRIPE_OPERATIONS_H
#define VANTOR_MAGNETIC_STRIPE_OPERATIONS_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

/* Resets the module: ESC "0", without waiting for an answer. timeoutMs: milliseconds for the write.
 * Returns 0 whatever came of it. */
VANTOR_API int MSR_Reset(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Waits for a card to be swiped and reads the tracks of the mode.
 *
 *     reserved   not used
 *     mode       any other than those above sends nothing and returns 0
 *     timeoutMs  milliseconds to wait for the swipe; 0 waits without end
 *
 * Modes 2 and 3 leave out the last two bytes of the reply, whatever they are. Mode 23 holds track 3
 * to track2Capacity; track3Capacity is not looked at.
 *
 * Also returns, when the reply does not begin with ESC "s": -2001 (mode 1), -2002 (2, and for a
 * reply of 256 bytes), -2003 (3), -2106 (12), -2107 (13), -2004 (23), -2000 (123). */
VANTOR_API int MSR_ReadTrack(DEVCONTEXT *deviceContext, uint32_t reserved, uint32_t mode,
                             uint32_t track1Capacity, char *track1, uint32_t track2Capacity,
                             char *track2, uint32_t track3Capacity, char *track3,
                             uint32_t timeoutMs);

/* Waits for a card to be swiped and writes track 2 (mode 2), track 3 (mode 3) or both (modes 1 and
 * 23).
 *
 *     reserved    not used
 *     mode        any other sends nothing and returns 0
 *     track2Text  NUL-terminated; only looked at when it is written, and so track3Text. What is
 *                 sent has room for 1023 bytes; more, or a null text, give -22 unsent
 *     timeoutMs   milliseconds to wait for the swipe; 0 waits without end
 *
 * Also returns -2102 when track 2 was not written, -2103 when track 3 was not, -2104 for a status
 * of a two-track write that is none of those known. */
VANTOR_API int MSR_WriteTrack(DEVCONTEXT *deviceContext, uint32_t reserved, uint32_t mode,
                              const char *track2Text, const char *track3Text, uint32_t timeoutMs);

/* Splits the NUL-terminated text of a reply: "1234=5678A99?\x1C" is track 2 "1234=5678" and track 3
 * "99". Every "A" leads to track 3 and is dropped; "?" with 1C behind ends the text. Returns 0; -22
 * for a null reply. */
VANTOR_API int GetMsrTrackData(const char *reply, uint32_t track2Capacity, char *track2,
                               uint32_t track3Capacity, char *track3);

/* The same with track 1, to which every "%" leads and from which nothing leads back. Only the first
 * "A" outside of track 1 leads to track 3; any other "A" is data. "12A34%BA12?\x1C" is "BA12" in
 * track 1, "12" in track 2 and "34" in track 3. */
VANTOR_API int GetMsrTrackData123(const char *reply, uint32_t track1Capacity, char *track1,
                                  uint32_t track2Capacity, char *track2, uint32_t track3Capacity,
                                  char *track3);

/* Takes the account number out of a track text, or out of several joined by "|".
 *
 *     kind        what ends the number: 0 "=", 1 "'", 2 either
 *     trackText   "x|6222=1" gives "6222": a "|" begins anew
 *     cardNumber  receives the number and a NUL: as many bytes as trackText with its NUL. Without
 * an end it holds what was copied, and no NUL
 *
 * Returns 0; -2105 for a text without an end, another kind, or a null pointer. */
VANTOR_API int MSR_GetCardNo(int kind, const char *trackText, char *cardNumber);

VANTOR_C_END

#endif
