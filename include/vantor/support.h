/* Support library: log, configuration store, byte, hex, BCD and checksum helpers.
 *
 * Thread rule of this header: the log calls (GLogI, GLogE, GDbgPrintStr, _GAppendDataToLogFile)
 * and all calls of "Bytes" may run in any thread at any time; the paths and the log level are plain
 * variables without a lock, so set them before other threads start; two writes of settings at the
 * same time may lose one of them; reads beside a write are safe, unless the file has to be
 * rewritten in place because its directory may not be written.
 *
 * Results are 0 or a positive count on success, unless a call says otherwise, and else one of
 *     -2    the log file could not be opened
 *     -5    the log file took fewer bytes than it was given
 *     -22   a null pointer, a zero or negative length or capacity, or suppressed by the log level
 *     -99   no text, no directory, nothing but zero bytes
 */
#ifndef VANTOR_SUPPORT_H
#define VANTOR_SUPPORT_H

#include <pthread.h>
#include <stdarg.h>

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- Log ---------------------------------------------------------------------------------- *
 *
 * One file a day, log/qz_20240307.log beside the library, named once when the library is loaded.
 * A line is a prefix with the local time and the message, which brings its own line end:
 *
 *     Info(2024-03-07 09:05:01):LoadLibrary, version = V2.1.56.1
 *     Error(2024-03-07 09:05:04):the text of a call that failed
 */

/* 0 writes nothing, 1 (the default) errors, 2 and above errors and information. */
extern VANTOR_API int32_t g_nGDbgLevel;

/* Held while one text is appended. It stays locked after an append that could not open its file or
 * was given nothing to write: every later log write of the process then waits for ever. */
extern VANTOR_API pthread_mutex_t fileMutex;

/* Called by GScanDirectory for an entry `name` of the directory. `path` is "directory/name" when
 * the entry is a regular file; for any other entry it still holds the path of the regular file
 * before, or an empty text. `value` comes from the caller. Both texts are valid during the call
 * only. A result other than 0 ends the scan. */
typedef int (*GScanDirectoryCallback)(const char *name, const char *path, uint64_t value);

/* Write an information or an error line. `format` and what follows are those of printf; end the
 * text with "\r\n". Each line is on storage when the call returns.
 * Returns 0; -22 when the level suppresses the line or format is null; -99 when there is no text
 * (nothing is written) or the prefix could not be written; else the result of the second of the
 * two appends, see _GAppendDataToLogFile. The formatted text is not released.
 *     GLogE("BO_Open, iRet = %d\r\n", result); */
VANTOR_API int GLogI(const char *format, ...) __attribute__((format(printf, 1, 2)));
VANTOR_API int GLogE(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* Writes a line whatever the level: the prefix of `kind` (1 error, anything else information) and
 * then the NUL-terminated text, as two appends, between which another thread may append.
 * Returns 0; -22 null text; -99 the prefix could not be written; else as the append. An empty text
 * writes the prefix alone and keeps the lock. */
VANTOR_API int GDbgPrintStr(int kind, const char *text);

/* Appends `length` bytes of text to the file, which is made (mode 0666 less the umask) when it is
 * missing, and forces them to storage.
 * Returns 0; -5 fewer bytes were written; -2 the file could not be opened; -22 a null argument or
 * length 0. After -2 and -22 fileMutex stays locked. */
VANTOR_API int _GAppendDataToLogFile(const char *path, const char *text, uint32_t length);

/* Formats into a newly allocated, NUL-terminated text, which the caller releases with free().
 * Returns the number of characters, or a negative number with *text null. */
VANTOR_API int _Safe_vasprintf(char **text, const char *format, va_list arguments);

/* Sets the file of the lines to come: at most 259 characters, a longer path is cut.
 * Returns 0; -22 null path. */
VANTOR_API int GSetLogFilePath(const char *path);

/* Sets g_nGDbgLevel to any number; returns 0. */
VANTOR_API int GSetLogLevel(int level);

/* Calls the callback for every entry of the directory but "." and "..", in the order in which the
 * system lists them. A path of more than 1023 characters reaches the callback cut.
 * Returns the last result of the callback, 0 for an empty directory; -22 a null argument; -99 the
 * directory could not be opened. */
VANTOR_API int GScanDirectory(const char *directory, GScanDirectoryCallback callback,
                              uint64_t value);

/* The purge of old log files, a GScanDirectoryCallback: deletes the file `path` when its `name`
 * reads "qz_20240307.log", the path ends in that name, and the date (00:00 standard time) lies more
 * than "saveday" days back (section "log", default 15, at most 365). `value` is not looked at.
 * Returns 0. */
VANTOR_API int ScanDirCallback(const char *name, const char *path, uint64_t value);

/* ---- Configuration store ------------------------------------------------------------------ *
 *
 * Settings in an INI file, config.ini beside the library. Every call opens, searches and closes
 * the file, so an edit counts from the next call on. The file must be writable even for a read.
 *
 *     [devcfg]
 *     Iccmd=0
 *
 * Section and key match from the first column on, in their case, by their beginning: the key "Ic"
 * finds a line "IcBaud=9600". A value is everything behind the "=", blanks included. A line has at
 * most 255 characters, a longer one is seen as several lines. The last line of the key in a
 * section is the one that is read, the first one is the one that is written.
 */

/* Sets the settings file: at most 1023 characters, a longer path is cut. Returns 0; -22 null. */
VANTOR_API int GSetConfigFilePath(const char *path);

/* Reads a number as atoi does: leading blanks and a sign, then digits; no digits give 0.
 * Stores defaultValue when section or key is null, when the file cannot be opened for reading and
 * writing, and when it lacks the section or the key. A line of the key without "=" gives 0.
 * Returns 0; -22 when value is null.
 *     int framing;
 *     GGetConfigInt("devcfg", "Iccmd", 0, &framing); */
VANTOR_API int GGetConfigInt(const char *section, const char *key, int defaultValue, int *value);

/* Reads a text of at most 255 characters and writes a NUL behind it. `value` must have room for 256
 * bytes and be zero-filled; `size` is not looked at. The default, cut to 255 characters, takes the
 * value's place as in GGetConfigInt and also when any pointer is null, as far as there is a default
 * and a place for it. A line of the key without "=" leaves value as it was. Returns 0. */
VANTOR_API int GGetConfigString(const char *section, const char *key, const char *defaultValue,
                                char *value, int size);

/* Replaces the first line that begins with the key, in the first section of that name, by
 * "key=value" (the value cut to 255 characters) and leaves every other byte as it is. A section or
 * key that is not there is not added. The new file takes the place of the old one in one step, with
 * the same mode and owner. Returns 0, whether or not anything was written. */
VANTOR_API int GSetConfigString(const char *section, const char *key, const char *value);

/* Keeps the directory of the library, without a slash at its end ("/usr/lib/vantor"): at most 1023
 * characters, a longer one is cut. Returns 0; -22 null. */
VANTOR_API int GSetDllPath(const char *directory);

/* Copies the directory of the library with its NUL into `directory`, which has room for 1024
 * bytes. `reserved` is not looked at. Returns 0; -22 when directory is null. */
VANTOR_API int GGetDllPath(const char *reserved, char *directory);

/* GGetConfigString and GSetConfigString for a file of the caller's. `value` has room for 256 bytes.
 * Return 0; -22 for a null argument. */
VANTOR_API int _IniReadValue(const char *section, const char *key, const char *defaultValue,
                             char *value, const char *path);
VANTOR_API int _IniWriteValue(const char *section, const char *key, const char *value,
                              const char *path);

/* ---- Bytes -------------------------------------------------------------------------------- *
 *
 * Lengths and capacities are signed and count bytes or characters. No call writes a NUL unless it
 * says so: fill the output with zero bytes first. Bad characters are never an error.
 */

/* Hex text to bytes: "1A2F" gives 1A 2F. Either case; any other character counts as 0; an odd
 * character at the end is ignored; what exceeds the capacity (bytes) is left out. bytes may be
 * the text itself.
 * Returns the number of bytes; -22 for a null pointer, a text length of 0 or a negative number. */
VANTOR_API int GHex2Byte(const char *text, int textLength, unsigned char *bytes, int capacity);

/* Bytes to upper-case hex text: 1A 2F gives "1A2F". What exceeds the capacity (characters) is left
 * out, whole bytes at a time.
 * Returns the number of characters; -22 for a null pointer, a capacity of 0, a negative number. */
VANTOR_API int GByte2Hex(const unsigned char *bytes, int count, char *text, int capacity);

/* out[i] = first[i] XOR second[i]; out may be one of the inputs.
 * Returns 0; -22 for a null pointer or a length of 0 or less. */
VANTOR_API int GXor(const unsigned char *first, const unsigned char *second, unsigned char *out,
                    int length);

/* BCD bytes to digits, two characters a byte: 12 34 gives "1234". The nibbles A to F give the
 * characters ":;<=>?". What exceeds the capacity (characters) is left out, whole bytes at a time.
 * Returns the number of characters; -22 for a null pointer, a capacity of 0, a negative number. */
VANTOR_API int GBCD2Ansi(const unsigned char *bytes, int count, char *text, int capacity);

/* Digits to BCD bytes: "1234" gives 12 34. An odd character at the end is ignored.
 * Returns the number of bytes; -22 for a null pointer, a length of 0, a negative number, or a
 * capacity below textLength / 2. */
VANTOR_API int GAnsi2BCD(const char *text, int textLength, unsigned char *bytes, int capacity);

/* Copies what is left without the zero bytes at both ends: 00 12 00 34 00 gives 12 00 34. The
 * character "0" is no zero byte. out may be the input.
 * Returns the number of bytes; -99 when every byte is zero or length is 0; -22 for a null pointer,
 * a capacity of 0 or less, or a capacity below the number of bytes. */
VANTOR_API int GTrimZero(const unsigned char *bytes, uint32_t length, unsigned char *out,
                         int capacity);

/* URL form encoding: "a b&c" gives "a+b%26c". A NUL is written behind the text, at text[capacity]
 * when plain characters fill it: text must have room for capacity + 1 characters. Input behind a
 * full text is left out.
 * Returns the number of characters without the NUL; 0 for bad arguments, for a zero byte in the
 * input, and when an escape would leave no place behind it. */
VANTOR_API int GURLEncode(const unsigned char *bytes, int length, char *text, int capacity);

/* URL form decoding. An escape takes any two letters or digits (see hex2num); one with any other
 * character, or cut short, is left out. A zero byte is written behind the data: bytes must have
 * room for capacity + 1 bytes.
 * Returns the number of bytes without that one; 0 for bad arguments. */
VANTOR_API int GURLDecode(const char *text, int length, unsigned char *bytes, int capacity);

/* "0"-"9" give 0 to 9, letters of either case 10 to 35, anything else 111. */
VANTOR_API int hex2num(char character);

/* XOR of all bytes, the check byte of the reader's packets; 0xEA for null or no bytes. */
VANTOR_API unsigned char GCalXor(const unsigned char *bytes, uint64_t length);

/* Sum of all bytes; (uint64_t)-22 for null or no bytes. */
VANTOR_API uint64_t GCalSum(const unsigned char *bytes, uint64_t length);

/* One byte into a CRC-16 with the polynomial 0x1021 in its augmented form: the caller feeds two
 * zero bytes behind the data. Only the low 16 bits of `crc` count. Returns the new 16 bits. */
VANTOR_API uint16_t UpdateCRC16(uint32_t crc, unsigned char byte);

/* CRC-16/XMODEM of the whole data: "123456789" gives 0x31C3. 0 for null or no bytes. */
VANTOR_API uint16_t GCalCRC16(const unsigned char *bytes, int length);

VANTOR_C_END

#endif
