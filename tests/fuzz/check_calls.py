#!/usr/bin/env python3
"""Every function that the library exports is driven by a fuzz target: check_calls.py ROOT.

Held against src/exports.map; cJSON's own functions and the variables are left out. A call counts as
driven when its name stands in the code of a target as a word of its own, comments and texts aside.
"""
import pathlib
import re
import sys


def exported_functions(root):
    text = re.sub(r"#.*", "", (root / "src/exports.map").read_text())
    names = re.findall(r"([^\s;{}:]+)\s*;", re.search(r"global:(.*?)local:", text, re.S).group(1))
    plain = []
    for name in names:
        mangled = re.match(r"_Z(\d+)(\w+)", name)
        plain.append(mangled.group(2)[:int(mangled.group(1))] if mangled else name)
    headers = "".join(path.read_text() for path in (root / "include/vantor").glob("*.h"))
    headers = re.sub(r"/\*.*?\*/", "", headers, flags=re.S)
    return [name for name in plain if re.search(rf"\b{re.escape(name)}\s*\(", headers)]


def driven_words(root):
    words = set()
    for path in (root / "tests/fuzz").glob("*.cpp"):
        code = re.sub(r'//.*|"(\\.|[^"\\])*"', "", path.read_text())
        words.update(re.findall(r"\w+", code))
    return words


def main():
    root = pathlib.Path(sys.argv[1])
    functions = exported_functions(root)
    driven = driven_words(root)
    missing = [name for name in functions if name not in driven]
    print(f"{len(functions)} exported functions, {len(functions) - len(missing)} driven")
    for name in missing:
        print(f"no fuzz target calls {name}")
    if len(functions) < 150:
        print("suspiciously few functions: did the reading of the lists break?")
    return 1 if missing or len(functions) < 150 else 0


if __name__ == "__main__":
    sys.exit(main())
