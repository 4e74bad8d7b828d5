#!/usr/bin/env python3
"""What the packages say twice must agree: symbols, soname, the reader's ids."""
import argparse
import pathlib
import re
import subprocess
import sys

from check_exports import differences


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def listed_symbols(text):
    """(library name, symbol names) of a symbols file; C++ names as they are spelled there."""
    head, *lines = text.splitlines()
    names = []
    for line in lines:
        found = re.fullmatch(r' (?:\(c\+\+\)"(.+)@Base"|(\w+)@Base) [\d.]+', line)
        if not found:
            return head.split()[0], [f"unreadable line: {line}"]
        names.append(found.group(1) or found.group(2))
    return head.split()[0], names


def rule_problems(name, text, vendor, product):
    """A device rule names the reader's ids, and stands where uaccess still takes effect."""
    problems = []
    if not int(re.match(r"\d+", name).group(0)) < 73:
        problems.append(f"{name}: uaccess takes effect in files below 73 only")
    rules = [line for line in text.splitlines() if "SUBSYSTEM" in line]
    if sorted(re.findall(r'SUBSYSTEM=="(\w+)"', "\n".join(rules))) != ["hidraw", "usb"]:
        problems.append(f"{name}: one rule for usb and one for hidraw, please")
    for rule in rules:
        for wanted in (f'idVendor}}=="{vendor}"', f'idProduct}}=="{product}"', 'TAG+="uaccess"',
                       'GROUP="vantor"', 'MODE="0660"'):
            if wanted not in rule:
                problems.append(f"{name}: {wanted} is missing in {rule}")
    return problems


def main():
    parser = argparse.ArgumentParser()
    for option in ("source", "nm", "library", "version"):
        parser.add_argument("--" + option, required=True)
    options = parser.parse_args()
    source = pathlib.Path(options.source)

    symbols = (source / "packaging/debian/libvantor.symbols").read_text()
    library, listed = listed_symbols(symbols)
    lines = run(options.nm, "-D", "-C", "--defined-only", options.library).splitlines()
    exported = [line.split(maxsplit=2)[2].split("@")[0] for line in lines]
    problems = differences([("libvantor.symbols", listed), ("the library", exported)])

    soname = re.search(r"soname: \[(.+)\]", run("readelf", "-d", options.library)).group(1)
    major = options.version.split(".")[0]
    abi = re.search(r"soname='(.+?)'", (source / "packaging/abi/libvantor.abi").read_text()).group(1)
    for what, name in (("the version", f"libvantor.so.{major}"), ("libvantor.symbols", library),
                       ("libvantor.abi", abi)):
        if name != soname:
            problems.append(f"the library is {soname}, {what} says {name}")

    if f"libvantor (<< {int(major) + 1}~)" not in symbols.splitlines()[0]:
        problems.append("libvantor.symbols does not keep hosts from the next soname")

    reader = (source / "src/link/transaction.cpp").read_text()
    ids = [re.search(rf"kDefault{which} = 0x(\w+);", reader).group(1).lower()
           for which in ("Vid", "Pid")]
    for path in (source / "packaging/udev").glob("*.rules"):
        problems += rule_problems(path.name, path.read_text(), *ids)

    print(f"{len(listed)} symbols of {soname}, reader {':'.join(ids)}")
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
