#!/usr/bin/env python3
"""Reads a bank card's number and its transaction log.

    python3 card_data.py USB
    python3 card_data.py /dev/pts/7
"""
import ctypes
import sys

import libvantor

CONTACT = 0
SECONDS = 10
NO_LOG = -4117
RECORD = 106


def print_card():
    info = ctypes.create_string_buffer(4409)  # the most that the call gives
    libvantor.check("BO_ICGetInfo", libvantor.BO_ICGetInfo(CONTACT, b"A", 0, info, SECONDS))
    print("card number", libvantor.items(info.value)["A"].decode())

    detail = ctypes.create_string_buffer(27037)
    code = libvantor.BO_ICGetDetail(CONTACT, 0, detail, SECONDS)
    if code == NO_LOG:
        print("the card keeps no transaction log")
        return
    libvantor.check("BO_ICGetDetail", code)
    # In front stand the number of records and the length of one: 5 digits, 6 from 100 records on.
    text = detail.value
    for start in range(len(text) % RECORD, len(text), RECORD):
        record = libvantor.items(text[start:start + RECORD])
        print(record["S"].decode(), record["U"].decode(), "", int(record["P"]) / 100,
              record["W"].decode("gb18030", "replace").rstrip())


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: card_data.py USB|DEVICE")
    try:
        with libvantor.Reader(sys.argv[1]):
            print_card()
    except libvantor.Failure as failure:
        sys.exit(str(failure))


if __name__ == "__main__":
    main()
