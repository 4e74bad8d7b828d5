/* Contactless memory cards for hosts: M1 is the Mifare Classic class, M0 the Ultralight C class.
 *
 * The calls work on the device that BO_Open opened, check their arguments and convert between
 * hexadecimal text and bytes. Data that is given is upper-case hexadecimal text, NUL-terminated;
 * the commands below are in memory_card_operations.h byte by byte.
 *
 * Results. 0 is success. Checks give the codes named at each call, and nothing is sent. Failures of
 * the reader or the card are -5001 power-on, -5002 power-off, -5003 authentication, -5004 to -5009
 * the M1 commands, -5104 M0 reading, -5105 M0 writing and exchange; -1008 when "Iccmd" of
 * config.ini does not suit (M0 needs 0); -1013 when the reader does not answer; -1000 and -1003
 * when the device is not there. -1007 also for a missing pointer, before anything is sent. An
 * answer of the reader without any data at all counts as success and gives an empty text.
 *
 * Log. At log level 2 the commands to the reader are logged, keys among them; what was read is
 * logged at level 1 already (BO_M1ReadBlock, BO_M0Read).
 *
 * Threads. One call at a time. BO_CancelWait, BO_Close, BO_DisConnect and BO_Reset may be called
 * from a second thread to end the wait of BO_M1Powerup and BO_M0PowerOn.
 *
 *     char id[64], block[33];
 *     int32_t length;
 *     BO_M1Powerup(sizeof id, id, &length, 10);       // "0400085A1B2C3D"
 *     BO_M1Verify(1, 0, "FFFFFFFFFFFF");              // sector 1 with key A
 *     BO_M1ReadBlock(4, sizeof block, block);         // "00112233445566778899AABBCCDDEEFF"
 *     BO_M1Powerdown();
 */
#ifndef VANTOR_MEMORY_CARDS_H
#define VANTOR_MEMORY_CARDS_H

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- M1 ---- */

/* Waits for a card and activates it.
 *
 *   outSize          the size of out in characters
 *   out              gets the card's identification as hexadecimal text, no NUL; a text that does
 *                    not fit is cut. With "Iccmd" 1 it begins with the reader's status, "0000"
 *   outLength        gets the number of characters; 0 on failure, -22 when outSize is 0 or out
 *                    null; left alone on cancel
 *   timeoutSeconds   how long to wait for a card; 0: without limit
 *
 * Attempts are 0.9 s apart. Returns 0; -5001 when no card came in time; -1006 when another thread
 * ended the wait; -1007 for a negative time-out. Any other failure ends the wait at once: with a
 * limit it is returned, without a limit it becomes -4001. */
VANTOR_API int BO_M1Powerup(int outSize, char *out, int32_t *outLength, int timeoutSeconds);

/* Deactivates the card. */
VANTOR_API int BO_M1Powerdown(void);

/* Authenticates a sector for the calls that follow.
 *
 *   sector    1 to 40, as the reader numbers them
 *   keyType   0 key A, 1 key B
 *   key       at least 12 characters, "FFFFFFFFFFFF" for the key of a new card; characters that are
 *             no digits count as "0". A zero byte ends the key: of "A0A100A3A4A5" only A0 A1 is
 *             sent
 *
 * Checks, in this order: -5014 key too short (or null), -5011 sector, -5015 key type. */
VANTOR_API int BO_M1Verify(int sector, int keyType, const char *key);

/* Reads a block, or a value block's value.
 *
 *   block     above 0; its low 8 bits go to the reader. -5010 for any other number
 *   outSize   the size of out in characters: 33 for a block, 9 for a value
 *   out       gets the data as hexadecimal text, cut at outSize, and a NUL when there is room for
 * it
 */
VANTOR_API int BO_M1ReadBlock(int block, int outSize, char *out);
VANTOR_API int BO_M1Read(int block, int outSize, char *out);

/* Writes a block. data: 32 upper-case hexadecimal characters. Checks, in this order: -5012 data,
 * -5010 block. */
VANTOR_API int BO_M1WriteBlock(int block, const char *data);

/* Writes a value block, adds to it, takes from it. The text has 8 upper-case hexadecimal
 * characters, bytes in the order of the text: "02010000" is 258 for a reader that takes the least
 * significant byte first. Checks, in this order: -5013 text, -5010 block. */
VANTOR_API int BO_M1Write(int block, const char *value);
VANTOR_API int BO_M1Increment(int block, const char *amount);
VANTOR_API int BO_M1Decrement(int block, const char *amount);

/* The same with the amount as a number, which goes out least significant byte first. Checks, in
 * this order: -5016 amount below 1, -5010 block. */
VANTOR_API int BO_M1IncreaseValue(int block, int amount);
VANTOR_API int BO_M1DecreaseValue(int block, int amount);

VANTOR_C_END

/* ---- M0 ---- */

/* Waits for a card and activates it. As BO_M1Powerup, but timeoutSeconds counts attempts, each with
 * its pause of 0.9 s: when the last one found no card the result is -4001. */
VANTOR_API int BO_M0PowerOn(int outSize, char *out, int32_t *outLength, int timeoutSeconds)
    VANTOR_CPP_SYMBOL("_Z12BO_M0PowerOniPcPii");

/* Deactivates the card. */
VANTOR_API int BO_M0PowerOff(void) VANTOR_CPP_SYMBOL("_Z13BO_M0PowerOffv");

/* Reads from a page on.
 *
 *   page      0 or above; its low 8 bits go to the reader. -5106 for a negative one
 *   count     the reader's second parameter, low 8 bits
 *   outSize   the size of out in characters
 *   out       gets the data as hexadecimal text, cut at outSize, and a NUL when there is room for
 * it
 */
VANTOR_API int BO_M0Read(int page, int count, int outSize, char *out)
    VANTOR_CPP_SYMBOL("_Z9BO_M0ReadiiiPc");

/* Writes a page: "01020304", 253 bytes at most go out. -5106 for a negative page; -1007 for an
 * empty or longer text. */
VANTOR_API int BO_M0Write(int page, const char *data) VANTOR_CPP_SYMBOL("_Z10BO_M0WriteiPKc");

/* Proves to each other that host and card hold the same key (3DES, in both directions). A failure
 * powers the card off.
 *
 *   keyLength   characters of key that count, 32
 *   key         the key's 16 bytes: "49454D4B41455242214E4143554F5946" for a new card. Bytes that
 *               are not there count as zero
 *
 * Returns 0; -5105 when the card refuses; -1013 when its challenge is too short; -5103 when the
 * card does not prove that it holds the key. */
VANTOR_API int BO_M0VerifyKey(int keyLength, const char *key)
    VANTOR_CPP_SYMBOL("_Z14BO_M0VerifyKeyiPKc");

/* Writes a key into the card's key pages, 2D, 2C, 2F, 2E in this order. The card must be
 * authenticated when it asks for it. A failure powers the card off, and the pages written before it
 * stay written: a card that is taken away halfway holds a mixture of both keys, 8 digits of the new
 * one for each page written and then the rest of the old one. It is that mixture which such a card
 * must be authenticated with before the download is made again.
 *
 *   keyLength   32, or 33 with the NUL
 *   key         32 hexadecimal characters
 *
 * Returns 0; -1007 for another length or a shorter text; -5105 when a page could not be written. */
VANTOR_API int BO_M0DownKey(int keyLength, const char *key)
    VANTOR_CPP_SYMBOL("_Z12BO_M0DownKeyiPKc");

#endif
