"""The calls of libvantor that the examples use, for Python.

The library is found as every shared library is; LIBVANTOR in the environment may name its file.
ctypes believes what is declared here, so each declaration follows the header's.
"""
import ctypes
import os

_library = ctypes.CDLL(os.environ.get("LIBVANTOR", "libvantor.so"))
_int32 = ctypes.POINTER(ctypes.c_int32)


def _call(name, *types):
    function = getattr(_library, name)
    function.argtypes = types
    function.restype = ctypes.c_int
    return function


BO_Open = _call("BO_Open", ctypes.c_int, ctypes.c_int, ctypes.c_ubyte)
BO_Close = _call("BO_Close")
BO_GetErrInfo = _call("BO_GetErrInfo", ctypes.c_int, ctypes.c_int, ctypes.c_char_p, _int32)
BO_IcPowerOff = _call("BO_IcPowerOff", ctypes.c_int)
BO_ICGetInfo = _call("BO_ICGetInfo", ctypes.c_int, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p,
                     ctypes.c_int)
BO_ICGetDetail = _call("BO_ICGetDetail", ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_int)
BO_ICGenARQC = _call("BO_ICGenARQC", ctypes.c_int, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p,
                     _int32, ctypes.c_int)
BO_ICExeScript_TC = _call("BO_ICExeScript_TC", ctypes.c_int, ctypes.c_char_p, ctypes.c_char_p,
                          ctypes.c_int, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p)
# Some calls are exported under C++ symbols; the header shows them.
GSetComName = _call("_Z11GSetComNameiPKc", ctypes.c_int, ctypes.c_char_p)


class Failure(Exception):
    """A call that did not return 0."""

    def __init__(self, call, code):
        text = ctypes.create_string_buffer(64)
        BO_GetErrInfo(code, 0, text, ctypes.byref(ctypes.c_int32()))
        super().__init__(f"{call}: {code} {text.value.decode()}")
        self.code = code


def check(call, code):
    if code != 0:
        raise Failure(call, code)


class Reader:
    """with Reader("USB"): ... or a serial line, Reader("/dev/ttyS0")."""

    def __init__(self, port):
        self.port = port

    def __enter__(self):
        number = 0 if self.port == "USB" else 2
        if number:
            GSetComName(number, self.port.encode())
        code = BO_Open(number, 9600, ord("0"))
        if code != 0:
            BO_Close()
            raise Failure("BO_Open", code)
        return self

    def __exit__(self, *_):
        BO_Close()


def items(text):
    """The items of letter-coded text, b"A0166210948000000011J00201", by letter."""
    found = {}
    while len(text) >= 4:
        length = int(text[1:4])
        if length > len(text) - 4:
            raise ValueError(f"an item of {length} bytes does not fit into {text!r}")
        found.setdefault(chr(text[0]), text[4:4 + length])
        text = text[4 + length:]
    return found
