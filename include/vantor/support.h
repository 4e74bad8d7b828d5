/* Support library: log, configuration store, byte, hex, BCD and checksum helpers. */
#ifndef VANTOR_SUPPORT_H
#define VANTOR_SUPPORT_H

#include <pthread.h>
#include <stdarg.h>

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- Log ---- */

extern VANTOR_API int32_t g_nGDbgLevel;
extern VANTOR_API pthread_mutex_t fileMutex;

typedef int (*GScanDirectoryCallback)(const char *name, const char *path, uint64_t value);

VANTOR_API int GLogI(const char *format, ...) __attribute__((format(printf, 1, 2)));
VANTOR_API int GLogE(const char *format, ...) __attribute__((format(printf, 1, 2)));
VANTOR_API int GDbgPrintStr(int kind, const char *text);
VANTOR_API int _GAppendDataToLogFile(const char *path, const char *text, uint32_t length);
VANTOR_API int _Safe_vasprintf(char **text, const char *format, va_list arguments);
VANTOR_API int GSetLogFilePath(const char *path);
VANTOR_API int GSetLogLevel(int level);
VANTOR_API int GScanDirectory(const char *directory, GScanDirectoryCallback callback,
                              uint64_t value);
VANTOR_API int ScanDirCallback(const char *name, const char *path, uint64_t value);

/* ---- Configuration store ---- */

VANTOR_API int GSetConfigFilePath(const char *path);
VANTOR_API int GGetConfigInt(const char *section, const char *key, int defaultValue, int *value);
VANTOR_API int GGetConfigString(const char *section, const char *key, const char *defaultValue,
                                char *value, int size);
VANTOR_API int GSetConfigString(const char *section, const char *key, const char *value);
VANTOR_API int GSetDllPath(const char *directory);
VANTOR_API int GGetDllPath(const char *reserved, char *directory);
VANTOR_API int _IniReadValue(const char *section, const char *key, const char *defaultValue,
                             char *value, const char *path);
VANTOR_API int _IniWriteValue(const char *section, const char *key, const char *value,
                              const char *path);

/* ---- Bytes ---- */

VANTOR_API int GHex2Byte(const char *text, int textLength, unsigned char *bytes, int capacity);
VANTOR_API int GByte2Hex(const unsigned char *bytes, int count, char *text, int capacity);
VANTOR_API int GXor(const unsigned char *first, const unsigned char *second, unsigned char *out,
                    int length);
VANTOR_API int GBCD2Ansi(const unsigned char *bytes, int count, char *text, int capacity);
VANTOR_API int GAnsi2BCD(const char *text, int textLength, unsigned char *bytes, int capacity);
VANTOR_API int GTrimZero(const unsigned char *bytes, uint32_t length, unsigned char *out,
                         int capacity);
VANTOR_API int GURLEncode(const unsigned char *bytes, int length, char *text, int capacity);
VANTOR_API int GURLDecode(const char *text, int length, unsigned char *bytes, int capacity);
VANTOR_API int hex2num(char character);
VANTOR_API unsigned char GCalXor(const unsigned char *bytes, uint64_t length);
VANTOR_API uint64_t GCalSum(const unsigned char *bytes, uint64_t length);
VANTOR_API uint16_t UpdateCRC16(uint32_t crc, unsigned char byte);
VANTOR_API uint16_t GCalCRC16(const unsigned char *bytes, int length);

VANTOR_C_END

#endif
