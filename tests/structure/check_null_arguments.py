#!/usr/bin/env python3
"""Every exported call that takes a pointer is made with null by the tests of null arguments.

check_null_arguments.py COMPILER INCLUDE TEST...
"""
import pathlib
import re
import subprocess
import sys

# Calls whose header says that no pointer may be null, and the printf-like ones, whose format the
# compiler refuses to be null. _GAppendDataToLogFile keeps its lock after a null argument: the tests
# of the log make that call in a process of its own.
EXEMPT = {"DES", "_DES", "DES3", "_DES3", "MD5Init", "MD5Update", "MD5Final", "GLogI", "GLogE",
          "_GAppendDataToLogFile"}


def calls_with_pointers(compiler, include):
    text = subprocess.run(
        [compiler, "-E", "-P", "-x", "c", "-std=c11", "-I", include, "-DVANTOR_API=@EXPORT@",
         include + "/vantor.h"], capture_output=True, text=True, check=True).stdout
    calls = set()
    for declaration in re.findall(r"@EXPORT@(.*?);", text, re.S):
        plain = declaration.split("__attribute__")[0].split("__asm__")[0]
        call = re.search(r"([A-Za-z_]\w*)\s*\((.*)\)", plain, re.S)
        if call and re.search(r"\*|digest|Callback", call.group(2)):
            calls.add(call.group(1))
    return calls


def missing(calls, test):
    made = set(re.findall(r"[A-Za-z_]\w*", test))
    return sorted(calls - made - EXEMPT)


def main():
    compiler, include, *tests = sys.argv[1:]
    calls = calls_with_pointers(compiler, include)
    problems = missing(calls, "".join(pathlib.Path(test).read_text() for test in tests))
    for call in problems:
        print(f"no test makes {call} with a null pointer")
    print(f"{len(calls)} calls take pointers")
    return 1 if problems or len(calls) < 100 else 0


if __name__ == "__main__":
    sys.exit(main())
