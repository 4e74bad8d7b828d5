#!/usr/bin/env python3
"""check_hardening.py FILE...: what the compiler and the linker were asked for is in the built files.

Works on 64-bit ELF files of x86-64 and arm64, whichever machine it runs on. A file whose name has
".so" in it is taken for a library that hosts load at run time.
"""
import re
import struct
import sys

PT_LOAD, PT_DYNAMIC, PT_GNU_STACK, PT_GNU_RELRO = 1, 2, 0x6474E551, 0x6474E552
PF_X, PF_W = 1, 2
DT_STRTAB, DT_SYMTAB, DT_STRSZ, DT_TEXTREL, DT_FLAGS, DT_FLAGS_1 = 5, 6, 10, 22, 30, 0x6FFFFFFB
DF_TEXTREL, DF_BIND_NOW, DF_1_NOW, DF_1_NODLOPEN = 4, 8, 1, 0x40
STT_FUNC = 2

X86_64, AARCH64 = 62, 183
# With what a function that is called through a pointer begins.
LANDING_PADS = {X86_64: [bytes.fromhex("f30f1efa")],  # endbr64
                AARCH64: [bytes.fromhex("5f2403d5"),  # bti c
                          bytes.fromhex("3f2303d5")]}  # paciasp
# How a frame of more than a page touches each of its pages. On arm64 the guard below a stack has 64
# KiB, so that no frame here is large enough for it.
STACK_PROBES = {X86_64: bytes.fromhex("48830c2400"),  # orq $0, (%rsp)
                AARCH64: b""}


class Elf:
    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = file.read()
        if self.data[:6] != b"\x7fELF\x02\x01":
            sys.exit(f"{path}: no 64-bit little-endian ELF file")
        self.type, self.machine = struct.unpack_from("<HH", self.data, 16)
        offset, = struct.unpack_from("<Q", self.data, 32)
        size, count = struct.unpack_from("<HH", self.data, 54)
        self.segments = [struct.unpack_from("<IIQQQQQQ", self.data, offset + i * size)
                         for i in range(count)]
        self.dynamic = {}
        for kind, _, at, _, _, length, _, _ in self.segments:
            if kind == PT_DYNAMIC:
                for place in range(at, at + length, 16):
                    tag, value = struct.unpack_from("<qQ", self.data, place)
                    if tag == 0:
                        break
                    self.dynamic[tag] = value

    def bytes_at(self, address, count):
        for kind, _, offset, begin, _, size, _, _ in self.segments:
            if kind == PT_LOAD and begin <= address < begin + size:
                return self.data[offset + address - begin:][:count]
        return b""

    def symbols(self):
        """(name, is defined, is a function, address); the string table follows the symbols"""
        place, strings = self.dynamic[DT_SYMTAB], self.dynamic[DT_STRTAB]
        names = self.bytes_at(strings, self.dynamic[DT_STRSZ])
        table = self.bytes_at(place, strings - place)
        for at in range(24, len(table) - 23, 24):
            name, info, _, section, address, _ = struct.unpack_from("<IBBHQQ", table, at)
            text = names[name:names.index(b"\0", name)].decode()
            yield text, section != 0, info & 15 == STT_FUNC, address


def problems(path):
    elf = Elf(path)
    flags = {segment[0]: segment[1] for segment in elf.segments}
    dynamic = elf.dynamic
    is_library = ".so" in path.rsplit("/", 1)[-1]
    symbols = list(elf.symbols())
    imports = [name for name, defined, _, _ in symbols if not defined]
    if elf.machine not in LANDING_PADS:
        yield f"machine {elf.machine} is not known"
        return
    if elf.type != 3:
        yield "not position-independent"
    if flags.get(PT_GNU_STACK, PF_X) & PF_X:
        yield "the stack is executable"
    if any(kind == PT_LOAD and rights & PF_X and rights & PF_W
           for kind, rights, *_ in elf.segments):
        yield "a segment is writable and executable"
    if PT_GNU_RELRO not in flags or not (dynamic.get(DT_FLAGS, 0) & DF_BIND_NOW or
                                         dynamic.get(DT_FLAGS_1, 0) & DF_1_NOW):
        yield "relocations stay writable (no full RELRO)"
    if DT_TEXTREL in dynamic or dynamic.get(DT_FLAGS, 0) & DF_TEXTREL:
        yield "the code is relocated"
    if is_library and dynamic.get(DT_FLAGS_1, 0) & DF_1_NODLOPEN:
        yield "hosts cannot load it at run time (nodlopen)"
    if "__stack_chk_fail" not in imports:
        yield "no stack protector"
    if not any(re.fullmatch(r"__\w+_chk", name) for name in imports):
        yield "no checked library calls (_FORTIFY_SOURCE)"
    if STACK_PROBES[elf.machine] not in elf.data:
        yield "large frames are not probed (stack clash protection)"
    exported = [(name, address) for name, defined, function, address in symbols
                if defined and function]
    if is_library and not exported:
        yield "no exported functions"
    for name, address in exported:
        if is_library and elf.bytes_at(address, 4) not in LANDING_PADS[elf.machine]:
            yield f"{name} begins without a landing pad (CET, BTI)"


def main():
    failed = False
    for path in sys.argv[1:]:
        found = list(problems(path))
        print(f"{path}: {'; '.join(found[:10]) or 'as it should be'}")
        failed |= bool(found)
    return 1 if failed or len(sys.argv) < 2 else 0


sys.exit(main())
