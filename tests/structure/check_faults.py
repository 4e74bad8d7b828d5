#!/usr/bin/env python3
"""Every exported function that can come to a call which may fail is called by a test that lets
each of its calls fail.

What a function can come to is read from the library's own code: the functions it calls or jumps to
directly, theirs, and so on. A call through a pointer may lead anywhere and counts as one that may
fail. What may fail stands in the tables of the stand-in for calls.
"""
import argparse
import re
import subprocess
import sys
from pathlib import Path

FUNCTION = re.compile(r"^[0-9a-f]+ <([^>]+)>:$")
# x86-64: call, jmp, je ...; 64-bit Arm: bl, b, b.eq, cbz ...
DIRECT = re.compile(r"\t(?:call|j[a-z]+|bl|b|b\.[a-z]+|cbn?z|tbn?z)\b[^<]*<([^>+]+)[^>]*>")
THROUGH_POINTER = re.compile(r"\t(?:(?:call|jmp)\s+\*|blr\s)")
# A constant table of jumps, as a switch makes it, stays within its function.
NOTRACK = re.compile(r"\tnotrack jmp")
ROW = re.compile(r'(?:Passes<&\w+>|Special)\(\s*(?:&\w+,\s*)?"(\w+)"')
CALLED = re.compile(r'CALL\(\s*(?:\w+\.)?library,\s*(\w+)\)')
CPP_CALLED = re.compile(r'CPP_CALL\(\s*(?:\w+\.)?library,\s*(\w+),\s*"(\w+)"\)')


def call_graph(objdump, library):
    """The names that each function's code leads to; "*" for a call through a pointer."""
    graph, current = {}, None
    lines = subprocess.run([objdump, "-d", "--no-show-raw-insn", library], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    for line in lines:
        function = FUNCTION.match(line)
        if function:
            current = graph.setdefault(function.group(1).replace(".part.0", ""), set())
            continue
        if current is None:
            continue
        direct = DIRECT.search(line)
        if direct:
            current.add(direct.group(1).replace(".part.0", ""))
        elif THROUGH_POINTER.search(line) and not NOTRACK.search(line):
            current.add("*")
    return graph


def plain(name):
    """open@plt, and __open_2@plt and __read_chk@plt of a hardened build, are open and read."""
    name = name.split("@")[0]
    checked = re.fullmatch(r"__(\w+?)(?:_chk|_2)", name)
    return checked.group(1) if checked else name


def reaches(graph, start, targets):
    seen, waiting = set(), [start]
    while waiting:
        name = waiting.pop()
        if name in seen:
            continue
        seen.add(name)
        if name == "*" or plain(name) in targets:
            return True
        if "@" not in name:  # the way to another library's function is a jump through a pointer
            waiting.extend(graph.get(name, ()))
    return False


def exported(nm, library):
    lines = subprocess.run([nm, "-D", "--defined-only", library], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    names = [line.split()[-1] for line in lines if line.split()[-2] == "T"]
    return [name for name in names if not name.startswith("cJSON_")]


def missing(functions, graph, targets, tests):
    named = set(CALLED.findall(tests)) | {symbol for _, symbol in CPP_CALLED.findall(tests)}
    return [name for name in functions if name not in named and reaches(graph, name, targets)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--objdump", required=True)
    parser.add_argument("--nm", required=True)
    parser.add_argument("--library", required=True)
    parser.add_argument("--source", type=Path, required=True)
    options = parser.parse_args()

    def sources(room):
        return "".join(path.read_text() for path in (options.source / room).glob("*.cpp"))

    targets = set(ROW.findall(sources("tests/standins/calls")))
    tests = sources("tests/faults")
    functions = exported(options.nm, options.library)
    graph = call_graph(options.objdump, options.library)
    pointers = any("*" in calls for calls in graph.values())
    if len(targets) < 60 or len(functions) < 200 or not pointers:
        sys.exit("the tables, the exports or the code could not be read")
    left = missing(functions, graph, targets, tests)
    for name in left:
        print(f"{name} comes to calls that may fail, and no test of tests/faults calls it")
    sys.exit(1 if left else 0)


if __name__ == "__main__":
    main()
