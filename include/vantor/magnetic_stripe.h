/* Magnetic card calls: reading, writing, the account number, the module's reset.
 *
 * mode: which tracks, 1, 2, 3, 12, 13, 23 or 123. Track text is what the stripe holds, without its
 * start and end marks: "6222020200112233=25122010000012345678". After every read and write the
 * stripe module is reset.
 *
 * Results are 0 and else a public code: -1007 for a bad argument, before anything is sent; -1004
 * when no card was swiped in time; -1006 when BO_Cancel ended the wait in another thread; -1000 and
 * -1003 without an open device; and the codes that a call names. BO_GetErrInfo gives their texts.
 *
 * Thread rule of this header: one call at a time; BO_Cancel, BO_Close, BO_DisConnect and BO_Reset
 * may come from a second thread. IsTrackDataValue may be called from any thread at any time.
 *
 *     char track2[256] = "", track3[256] = "";
 *     uint32_t length2 = 0, length3 = 0;
 *     int result = BO_ReadMagCard(0, 23, 0, NULL, NULL, sizeof(track2), track2, &length2,
 *                                 sizeof(track3), track3, &length3, 30);
 */
#ifndef VANTOR_MAGNETIC_STRIPE_H
#define VANTOR_MAGNETIC_STRIPE_H

#include "vantor/export.h"

VANTOR_C_BEGIN

/* Resets the stripe module; a swipe that it waits for is forgotten. Always returns 0. */
VANTOR_API int BO_ResetMsr(void);

/* Waits for a card to be swiped and reads its tracks.
 *
 *   reserved         not used
 *   mode             a mode not listed above reads nothing and judges all three buffers as they are
 *   trackNCapacity   the size of the buffer in bytes; 254 hold any track
 *   trackN           gets the text. Fill it with zero bytes before: a NUL is written behind tracks
 *                    2 and 3 only while both are shorter than their room, behind track 1 never.
 *                    Mode 23 holds track 3 to the room of track 2
 *   trackNLength     gets the length of the text in bytes
 *   timeoutSeconds   how long to wait for the swipe; 0: without limit; negative: -1007
 *
 * Buffer and length of the mode's own tracks must be there (of all three in mode 123 and in one not
 * listed), the others may be null.
 *
 * An empty track (the text is one DEL byte, or "00000") is a failure: its buffer becomes an empty
 * text, its length stays 1 or 5, and the result is -2001, -2002 or -2003 for that track; -2106,
 * -2107, -2004 and -2000 when tracks 1 and 2, 1 and 3, 2 and 3, or all are empty in the same way.
 * The buffers are looked at after a failed read as well, with what the host had in them. The same
 * codes tell of a reply that makes no sense. */
VANTOR_API int BO_ReadMagCard(uint32_t reserved, uint32_t mode, uint32_t track1Capacity,
                              char *track1, uint32_t *track1Length, uint32_t track2Capacity,
                              char *track2, uint32_t *track2Length, uint32_t track3Capacity,
                              char *track3, uint32_t *track3Length, int timeoutSeconds);

/* Waits for a card to be swiped and writes track 2, track 3 or both.
 *
 *   track2, track3                 NUL-terminated, 1 to 120 characters that IsTrackDataValue
 *                                  accepts. One that is not like that is left out when the other
 *                                  one is; null leaves it out
 *   timeoutSeconds                 how long to wait for the swipe; 0: without limit; negative:
 *                                  -1007
 *   reserved..., the two lengths   not used
 *
 * Returns 0; -1007 when there is no track to write; -2102 or -2103: track 2 or track 3 was not
 * written; -2104: the module gave an unknown status. */
VANTOR_API int BO_WriteMagCard(uint32_t reserved, int reserved2, int reserved3, const char *track2,
                               uint32_t track2Length, const char *track3, uint32_t track3Length,
                               int timeoutSeconds);

/* Reads a card and takes its account number: what stands before the separator.
 *
 *   reserved          not used
 *   mode              where to look: track 1, 2 or 3; with any other mode through all that were
 *                     read
 *   kind              the separator: 0 "=", 1 "'", 2 either
 *   cardNumber        gets the number and a NUL, "6222020200112233": room for 256 bytes. On -2105
 *                     it gets the text that has no separator
 *   cardNumberLength  gets its length
 *   timeoutSeconds    as for BO_ReadMagCard
 *
 * Returns 0; -2105 when there is no separator, or kind is another number; else what BO_ReadMagCard
 * returns, but for -2002 and -2003: a single missing track does not stop the search. */
VANTOR_API int BO_GetMagCardNo(uint32_t reserved, uint32_t mode, int kind, char *cardNumber,
                               uint32_t *cardNumberLength, int timeoutSeconds);

/* 1 when every character is one of "0123456789='@#:", also for an empty text; else 0, and the first
 * bad character is logged as an error. Null gives 0. */
VANTOR_API int IsTrackDataValue(const char *text);

VANTOR_C_END

#endif
