/* Text conversion: the UCS-2 of identity cards to GB18030.
 *
 * UCS-2 travels low byte first: 2D 4E is U+4E2D. The mapping is that of the 2000 edition of the
 * standard, by tables of the library's own: no locale and no conversion library is asked. A code
 * unit that it does not know (a lone surrogate, the private use area U+E000 to U+E864 but for
 * U+E863) becomes the byte FF.
 *
 * Thread rule of this header: no call keeps a state; any thread may call them at any time.
 *
 *     char text[256];
 *     GStrUnicode2GB18030("\x2D\x4E\x41\x00", text, 4);  // D6 D0 41 00 00, result 5
 */
#ifndef VANTOR_TEXT_CONVERSION_H
#define VANTOR_TEXT_CONVERSION_H

#include "vantor/export.h"

#define VANTOR_GB18030_TWO_BYTE_CODES 21872
#define VANTOR_GB18030_FOUR_BYTE_CODES 39339
#define VANTOR_GB18030_ADDITIONAL_CODES 1

VANTOR_C_BEGIN

/* The mapping, each table in ascending order of the UCS-2 code, which stands last in its row:
 * {A1E8, 00A4} in the first table, {8130, 8130, 0080} in the other two. */
extern VANTOR_API const uint16_t
    g_chset_ucs2_to_gb18030_2_byte_tbl[VANTOR_GB18030_TWO_BYTE_CODES][2];
extern VANTOR_API const uint16_t
    g_chset_ucs2_to_gb18030_4_byte_tbl[VANTOR_GB18030_FOUR_BYTE_CODES][3];
extern VANTOR_API const uint16_t
    g_chset_ucs2_to_gb18030_4_byte_tbl_add[VANTOR_GB18030_ADDITIONAL_CODES][3];

/* Rows of the three tables: 21872, 39339 and 1. */
VANTOR_API uint32_t mmi_chset_ucs2_gb18030_2byte_size(void);
VANTOR_API uint32_t mmi_chset_ucs2_gb18030_4byte_size(void);
VANTOR_API uint32_t mmi_chset_ucs2_gb18030_4byte_size_add(void);

/* Looks a code up in one table. Returns 1 and the GB18030 code, first byte highest (0xD6D0 for
 * U+4E2D, 0x81308130 for U+0080), or 0 and leaves `result` alone. A null result is skipped. */
VANTOR_API int mmi_chset_ucs2_to_gb18030_2_byte_search(uint16_t code, uint16_t *result);
VANTOR_API int mmi_chset_ucs2_to_gb18030_4_byte_search(uint16_t code, uint32_t *result);
VANTOR_API int mmi_chset_ucs2_to_gb18030_4_byte_search_add(uint16_t code, uint32_t *result);

/* Converts one code unit: the two bytes at `in`. `out` has room for 4 bytes; no NUL is written.
 * Returns the number of bytes written: 1, 2 or 4; 0 for a null pointer. */
VANTOR_API uint32_t mmi_chset_ucs2_to_gb18030(unsigned char *out, const unsigned char *in);

/* Converts a text up to its code unit 0000 and writes two zero bytes behind.
 *
 *     capacity  bytes of `out`, but only a code unit whose low byte is 00 (U+4E00) is held to it:
 *               the text ends before one when no more than two bytes are left. Any other code unit
 *               is converted whatever the capacity says, so give `out` 4 bytes a code unit and 2
 *
 * Returns the number of bytes written, the two zero bytes included, modulo 65536; 0 for a null
 * pointer. */
VANTOR_API uint16_t mmi_chset_ucs2_to_gb18030_str(unsigned char *out, const unsigned char *text,
                                                  uint16_t capacity);

/* The number of code units before the first 0000; 0 for null. */
VANTOR_API uint32_t app_ucs2_strlen(const unsigned char *text);

VANTOR_C_END

/* Converts `length` bytes of UCS-2 and writes two zero bytes behind; a code unit 0000 ends the text
 * earlier.
 *
 *     text    the bytes; no terminator is needed
 *     out     receives the GB18030 text: two bytes for each byte of `text`, and 2; may be `text`.
 *             An odd byte at the end is the low byte of one more code unit: count it as two
 *     length  0 to 510; what is beyond is left out, and a negative number counts as 0
 *
 * Returns the number of bytes written, the two zero bytes included: 3 for "A"; -22 for a null
 * pointer. */
VANTOR_API int GStrUnicode2GB18030(const char *text, char *out, int length)
    VANTOR_CPP_SYMBOL("_Z19GStrUnicode2GB18030PKcPci");

#endif
