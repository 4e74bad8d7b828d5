#!/usr/bin/env python3
"""The public headers, the version script and the built library must name the same symbols.

Names go by the linkage of their declaration: inside the C brackets the plain name, outside of them
the C++ symbol, which the header also spells out for hosts in C.
"""
import argparse
import re
import subprocess
import sys


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def declared(compiler, include):
    """Symbol names of all declarations that carry the export mark."""
    text = run(compiler, "-E", "-P", "-x", "c", "-std=c11", "-I", include,
               "-DVANTOR_API=@EXPORT@", include + "/vantor.h")
    symbols = []
    for declaration in re.findall(r"@EXPORT@(.*?);", text, re.S):
        spelled = re.search(r'__asm__\("([^"]+)"\)', declaration)
        plain = declaration.split("__attribute__")[0].split("__asm__")[0].strip()
        name = re.search(r"([A-Za-z_]\w*)\s*(?:\(|\[|$)", plain)
        symbols.append(spelled.group(1) if spelled else name.group(1))
    return symbols


def mapped(path):
    """Names of the global part of the version script, without the cJSON wildcard."""
    with open(path) as file:
        text = re.sub(r"#.*", "", file.read())
    body = re.search(r"global:(.*?)local:\s*\*;", text, re.S).group(1)
    return [name for name in re.findall(r"([^\s;]+)\s*;", body) if name != "cJSON_*"]


def exported(nm, library):
    lines = run(nm, "-D", "--defined-only", library).splitlines()
    return [line.split()[-1].split("@")[0] for line in lines]


def differences(named):
    """Lines that tell which of the lists (title, names) miss what another one has."""
    problems = []
    for title, names in named:
        twice = sorted({name for name in names if names.count(name) > 1})
        problems += [f"{title} names {name} twice" for name in twice]
    everything = set().union(*(names for _, names in named))
    for title, names in named:
        problems += [f"{title} lacks {name}" for name in sorted(everything - set(names))]
    return problems


def main():
    parser = argparse.ArgumentParser()
    for option in ("compiler", "nm", "include", "map", "library", "cjson"):
        parser.add_argument("--" + option, required=True)
    options = parser.parse_args()

    library = exported(options.nm, options.library)
    ours = [name for name in library if not name.startswith("cJSON_")]
    header = declared(options.compiler, options.include)
    problems = differences([("the header", header), ("exports.map", mapped(options.map)),
                            ("the library", ours)])

    forwarded = [name for name in library if name.startswith("cJSON_")]
    original = [name for name in exported(options.nm, options.cjson) if name.startswith("cJSON")]
    problems += differences([("the library", forwarded), ("libcjson", original)])

    print(f"{len(header)} calls and variables, {len(forwarded)} forwarded cJSON functions")
    for problem in problems:
        print(problem)
    if len(header) < 150 or len(original) < 70:
        problems.append("too few names")
        print("suspiciously few names: did the reading of the lists break?")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
