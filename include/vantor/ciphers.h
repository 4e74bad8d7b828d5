/* Ciphers, digests, Base64 and file helpers.
 *
 * Thread rule of this header: every call may run in any thread at any time; two calls on the same
 * digest or the same open file must not overlap.
 *
 * Results are 0 or a count on success and else, as each call says, one of
 *     -22  a null pointer, or a length or capacity that does not serve
 *     -99  the file cannot be opened, or nothing at all was read or written
 */
#ifndef VANTOR_CIPHERS_H
#define VANTOR_CIPHERS_H

#include <stdio.h>

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- DES ---------------------------------------------------------------------------------- *
 *
 * One block of 8 raw bytes a call; there is no chaining. Keys are raw bytes, their parity bits
 * (the lowest of each byte) do not count. `out` gets 8 bytes and may be the data itself.
 *
 *     key 13 34 57 79 9B BC DF F1, data 01 23 45 67 89 AB CD EF: 85 E8 13 54 0F 0A B4 05
 */

/* Single DES with a key of 8 bytes. Return 0; -22 when a pointer is null. */
VANTOR_API int GDesEncrypt(const unsigned char *data, const unsigned char *key, unsigned char *out);
VANTOR_API int GDesDecrypt(const unsigned char *data, const unsigned char *key, unsigned char *out);

/* Triple DES, encrypt-decrypt-encrypt, with a key of 16 bytes (K1 K2, used as K1 K2 K1) or 24 bytes
 * (K1 K2 K3). Return 0; -22 when a pointer is null or keyLength is neither 16 nor 24. */
VANTOR_API int G3DesEncrypt(const unsigned char *data, const unsigned char *key, unsigned char *out,
                            int keyLength);
VANTOR_API int G3DesDecrypt(const unsigned char *data, const unsigned char *key, unsigned char *out,
                            int keyLength);

/* The cores behind these, encryption and decryption (with the underscore). They check nothing: no
 * pointer may be null. */
VANTOR_API void DES(const unsigned char *key, const unsigned char *in, unsigned char *out);
VANTOR_API void _DES(const unsigned char *key, const unsigned char *in, unsigned char *out);

/* Triple DES with a key of any length: up to 8 bytes give single DES, up to 16 the form K1 K2 K1,
 * up to 24 K1 K2 K3; what follows does not count. The last part is filled up with zero bytes; a
 * length of 0 or less is a key of zero bytes. */
VANTOR_API void DES3(const unsigned char *key, int keyLength, const unsigned char *in,
                     unsigned char *out);
VANTOR_API void _DES3(const unsigned char *key, int keyLength, const unsigned char *in,
                      unsigned char *out);

/* ---- MD5 ---------------------------------------------------------------------------------- *
 *
 * The digest as text is 32 upper-case hexadecimal characters and a NUL: "abc" gives
 * "900150983CD24FB0D6963F7D28E17F72".
 */

/* A digest under way. */
typedef struct MD5CONTEXT
{
    uint32_t state[4];
    uint32_t count[2]; /* bits so far, low word first */
    unsigned char buffer[64];
} MD5CONTEXT;

/* The steps of RFC 1321: begin; add any number of pieces; finish, which gives the 16 bytes and
 * wipes the record. No pointer may be null, except the data of a piece of 0 bytes. */
VANTOR_API void MD5Init(MD5CONTEXT *md5);
VANTOR_API void MD5Update(MD5CONTEXT *md5, const unsigned char *data, unsigned int length);
VANTOR_API void MD5Final(unsigned char digest[16], MD5CONTEXT *md5);

/* Writes the digest as text: fills the whole capacity with zero bytes, then writes the 32
 * characters and their NUL. With a capacity of 32 the NUL is written all the same: text must have
 * room for 33 characters. Returns text; null, and writes nothing, when the capacity is below 32 or
 * a pointer is null. */
VANTOR_API char *MD5Result(const unsigned char digest[16], char *text, int capacity);

/* ---- Base64 ------------------------------------------------------------------------------- *
 *
 * RFC 4648, standard alphabet, "=" for padding, no line breaks. The results are newly allocated;
 * the caller releases them with free(). When there is no memory the process ends with exit
 * status 0.
 */

/* The text of `length` bytes, NUL-terminated: 4D 61 gives "TWE=". Null when data is null and length
 * is not 0, and for a negative length. */
VANTOR_API char *base64_encode(const unsigned char *data, int length);

/* The bytes of `length` characters, and a zero byte behind them. Up to three "=" at the end are
 * padding; every other character outside the alphabet counts as "A" (zero bits), also an "="
 * before. A last group of fewer than four characters gives as many bytes as it has characters, one
 * more than the standard gives: a zero byte when the padding is right.
 *
 *     outLength  gets the size of the allocation, not the number of bytes decoded: length / 4 * 3,
 *                plus 4 without padding or with one "=", plus 3 with two, plus 2 with three. What
 *                lies behind the decoded bytes is zero. May be null
 *
 * Null when text is null and length is not 0, and for a negative length.
 *     base64_decode("TWE=", 4, &n)   4D 61 00 and zero bytes, n is 7 */
VANTOR_API unsigned char *base64_decode(const char *text, int length, int *outLength);

/* ---- Files -------------------------------------------------------------------------------- */

/* Opens a file; null when path is null or the file cannot be opened.
 *
 *     mode  1 "rb", 3 "a+b", 4 "w+b", 5 "r", 6 "r+", 7 "a+", 8 "w+", any other number "r+b" */
VANTOR_API FILE *GOpenFile(const char *path, int mode);

/* Closes it: the result of fclose; -22 for null. */
VANTOR_API int GCloseFile(FILE *file);

/* Reads up to `length` bytes, fewer at the end of the file. Returns their number; -22 for a null
 * pointer or a length of -1; -99 when there is nothing to read, also for a length of 0. */
VANTOR_API int GReadFile(FILE *file, void *buffer, int length);

/* Writes `length` bytes and flushes the stream. Returns how many were written; -22 for a null
 * pointer or a length of -1; -99 when nothing was written, also for a length of 0, or when they
 * could not be flushed to the file. */
VANTOR_API int GWriteFile(FILE *file, const void *buffer, int length);

/* The size of the file in bytes, also above 4 GiB; 0 when there is no such file; -22 for null. A
 * directory has the size that the system tells. */
VANTOR_API int64_t GGetFileSize(const char *path);

/* What follows the last "/" or "\" of a path, cut to the capacity (characters), and a NUL:
 * "/tmp/photo.bmp" gives "photo.bmp", "/tmp/" an empty text, "photo.bmp" itself. Returns 0; -22 for
 * a null pointer or a capacity of 0 or less. */
VANTOR_API int GGetFileName(const char *path, char *name, int capacity);

/* Gives no path on this system: -22 when out is null or the capacity 0 or less, otherwise -99. */
VANTOR_API int GGetLocalFilePath(char *out, int capacity, const char *fileName);

VANTOR_C_END

/* The MD5 text of `length` bytes. `text` gets it as MD5Result writes it, so it needs room for 33
 * characters. Returns 0; -22 when data or text is null, length 0 or less, or the capacity below 32;
 * -99 when there is no text. */
VANTOR_API int GMd5Encode(const char *data, int length, char *text, int capacity)
    VANTOR_CPP_SYMBOL("_Z10GMd5EncodePKciPci");

/* The MD5 text of a file, read in pieces of 4096 bytes until a read gives nothing or as many bytes
 * have come as the file had at first. A directory gives the digest of no data. Returns 0; -22 when
 * a pointer is null or the capacity below 32; -99 when the file cannot be opened or not be read to
 * its end. */
VANTOR_API int GGetFileMd5(const char *path, char *text, int capacity)
    VANTOR_CPP_SYMBOL("_Z11GGetFileMd5PKcPci");

#endif
