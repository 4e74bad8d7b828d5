#!/usr/bin/env python3
"""An online payment with a contact card, the ordinary calls.

    python3 online_payment.py USB 12.34 vantor-issuer

The issuer is a program here: it gets the card's number, its sequence number and the text for the
issuer, and prints the answer. In a host of yours the network stands in its place.
"""
import ctypes
import datetime
import re
import secrets
import subprocess
import sys

import libvantor

CONTACT = 0
SECONDS = 10
DECLINED = {-4114: "the card", -4115: "the issuer"}


def transaction_text(amount):
    if not re.fullmatch(r"[0-9]{1,10}\.[0-9]{2}", amount):
        sys.exit("the amount is written with two decimals: 12.34")
    now = datetime.datetime.now()
    return (f"P012{amount.replace('.', ''):0>12}R0040156S006{now:%y%m%d}T00200"
            f"U006{now:%H%M%S}").encode()


def seed():
    """The library draws the card's unpredictable number with rand() and does not seed it: without
    this it is the same in every process."""
    ctypes.CDLL(None).srand(ctypes.c_uint(secrets.randbits(32)))


def read_card():
    """Number and sequence number; the text for the issuer does not hold them."""
    info = ctypes.create_string_buffer(4409)
    libvantor.check("BO_ICGetInfo", libvantor.BO_ICGetInfo(CONTACT, b"AJ", 0, info, SECONDS))
    found = libvantor.items(info.value)
    return found["A"].decode(), found["J"].decode()


def ask_issuer(program, number, sequence, arqc):
    answer = subprocess.run([program, "--pan", number, "--psn", sequence, arqc],
                            capture_output=True, check=False)
    return answer.stdout.strip() if answer.returncode == 0 else b""


def pay(amount, issuer):
    number, sequence = read_card()
    text = transaction_text(amount)
    arqc = ctypes.create_string_buffer(1025)
    card_type = ctypes.c_int32()
    libvantor.check("BO_ICGenARQC", libvantor.BO_ICGenARQC(
        CONTACT, text, len(arqc), arqc, ctypes.byref(card_type), SECONDS))
    print("for the issuer:", arqc.value.decode())

    answer = ask_issuer(issuer, number, sequence, arqc.value.decode())
    if not answer:
        libvantor.BO_IcPowerOff(card_type.value)  # the second half would have done it
        sys.exit("the issuer gave no answer")
    print("the issuer answers:", answer.decode())

    script_result = ctypes.create_string_buffer(1023)
    certificate = ctypes.create_string_buffer(1013)  # zero bytes: the call writes no NUL
    code = libvantor.BO_ICExeScript_TC(card_type.value, text, answer, len(script_result),
                                       script_result, 0, certificate)
    if code in DECLINED:
        sys.exit(f"declined by {DECLINED[code]}")
    libvantor.check("BO_ICExeScript_TC", code)
    print("approved, the card's certificate is", certificate.value.decode())


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: online_payment.py USB|DEVICE YUAN.CENTS ISSUER")
    try:
        seed()
        with libvantor.Reader(sys.argv[1]):
            pay(sys.argv[2], sys.argv[3])
    except libvantor.Failure as failure:
        sys.exit(str(failure))


if __name__ == "__main__":
    main()
