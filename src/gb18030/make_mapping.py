#!/usr/bin/env python3
"""Writes the UCS-2 to GB18030 tables as C++ source: make_mapping.py OUT.

The mapping is that of the 2000 edition of the standard, which python3's codec holds. The counts
below are those of that edition: a codec of another one is noticed here.
"""
import sys

FIRST, LAST = 0x0080, 0xFFFF
SURROGATES = range(0xD800, 0xE000)
PRIVATE_USE = range(0xE000, 0xE865)  # no code of their own but for the additional one
ADDITIONAL = 0xE863
TWO_BYTE_CODES, FOUR_BYTE_CODES = 21872, 39339
ROWS_A_LINE = 6


def row(code):
    """The GB18030 code as 16-bit words, high half first, and the UCS-2 code behind them."""
    encoded = chr(code).encode("gb18030")
    words = [int.from_bytes(encoded[i:i + 2], "big") for i in range(0, len(encoded), 2)]
    return words + [code]


def table(name, words, rows):
    lines = [f"const uint16_t {name}[{len(rows)}][{words}] = {{"]
    texts = ["{" + ", ".join(f"0x{word:04X}" for word in row) + "}," for row in rows]
    for start in range(0, len(texts), ROWS_A_LINE):
        lines.append("    " + " ".join(texts[start:start + ROWS_A_LINE]))
    return lines + ["};", ""]


def main():
    rows = [row(code) for code in range(FIRST, LAST + 1)
            if code not in SURROGATES and code not in PRIVATE_USE]
    two = [row for row in rows if len(row) == 2]
    four = [row for row in rows if len(row) == 3]
    if len(two) != TWO_BYTE_CODES or len(four) != FOUR_BYTE_CODES:
        sys.exit(f"make_mapping.py: this python3 has another edition of GB18030: {len(two)} codes "
                 f"of two bytes, {len(four)} of four")
    lines = ["// Made by make_mapping.py: code, UCS-2, in ascending order of UCS-2.",
             '#include "vantor/text_conversion.h"', ""]
    lines += table("g_chset_ucs2_to_gb18030_2_byte_tbl", 2, two)
    lines += table("g_chset_ucs2_to_gb18030_4_byte_tbl", 3, four)
    lines += table("g_chset_ucs2_to_gb18030_4_byte_tbl_add", 3, [row(ADDITIONAL)])
    with open(sys.argv[1], "w", encoding="ascii") as out:
        out.write("\n".join(lines))


if __name__ == "__main__":
    main()
