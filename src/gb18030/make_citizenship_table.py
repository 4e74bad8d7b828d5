#!/usr/bin/env python3
"""Writes the citizenship table as C++ source: make_citizenship_table.py ROWS OUT.

ROWS is UTF-8, a row a line; the table holds them in the same order as zero-padded GB18030 texts.
"""
import sys

ROW_COUNT, ROW_SIZE = 239, 32


def literal(text):
    """Every byte as three octal digits: a character behind never becomes part of it."""
    return '"' + "".join(f"\\{byte:03o}" for byte in text.encode("gb18030")) + '"'


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        rows = file.read().splitlines()
    if len(rows) != ROW_COUNT or len(set(rows)) != ROW_COUNT:
        sys.exit(f"make_citizenship_table.py: {len(rows)} rows, {ROW_COUNT} different ones needed")
    for row in rows:
        if not row or len(row.encode("gb18030")) >= ROW_SIZE:
            sys.exit(f"make_citizenship_table.py: does not fit {ROW_SIZE} bytes: {row}")
    lines = [f"// Made by make_citizenship_table.py from {sys.argv[1].rsplit('/', 1)[-1]}.",
             '#include "vantor/identity_operations.h"', "",
             f"const char szCitizenship[{ROW_COUNT}][{ROW_SIZE}] = {{"]
    lines += [f"    {literal(row)}, // {row}" for row in rows] + ["};", ""]
    with open(sys.argv[2], "w", encoding="utf-8") as out:
        out.write("\n".join(lines))


if __name__ == "__main__":
    main()
