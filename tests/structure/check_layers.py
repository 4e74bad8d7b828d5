#!/usr/bin/env python3
"""Each floor below src/ includes only headers of its own floor and the floors below it.

check_layers.py ROOT
"""
import pathlib
import re
import sys

FLOORS = ["support", "transport", "link", "ops", "pboc", "api"]

# pboc is above ops, but one unit of ops exchanges through the engine by design.
ALLOWED = {("ops/eped_transaction.cpp", "pboc")}

PUBLIC = {"export.h": "support", "support.h": "support", "transport.h": "transport",
          "hid.h": "transport", "link.h": "link", "operations.h": "ops", "pboc.h": "pboc",
          "purse.h": "ops", "magnetic_stripe_operations.h": "ops",
          "identity_operations.h": "ops", "business.h": "api", "transactions.h": "api",
          "terminal.h": "api", "magnetic_stripe.h": "api", "identity_cards.h": "api",
          "text_conversion.h": "support",
          "ciphers.h": "support", "memory_card_operations.h": "ops", "memory_cards.h": "api"}

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^">]+)[">]', re.M)


def floor_of(header):
    """The floor a header belongs to; None for headers from outside."""
    parts = header.split("/")
    if ".." in parts:
        return "a path that leaves its directory"
    if header == "vantor.h":
        return FLOORS[-1]
    if parts[0] == "vantor" and len(parts) == 2:
        if parts[1] not in PUBLIC:
            return f"unknown public header {header}"
        return PUBLIC[parts[1]]
    if parts[0] in FLOORS:
        return parts[0]
    if parts[0] in ("vreader", "tests", "cli"):
        return f"a room outside the library ({parts[0]})"
    return None


def problems_in(root):
    found, files = [], 0
    source = pathlib.Path(root) / "src"
    for path in sorted(source.rglob("*")):
        own = path.relative_to(source).parts[0]
        if path.suffix not in (".cpp", ".h", ".c", ".inc") or own not in FLOORS:
            continue
        files += 1
        name = str(path.relative_to(source))
        for header in INCLUDE.findall(path.read_text()):
            floor = floor_of(header)
            if floor is None and (path.parent / header).exists():
                floor = own
            if floor is None or (name, floor) in ALLOWED:
                continue
            if floor not in FLOORS or FLOORS.index(floor) > FLOORS.index(own):
                found.append(f"src/{name} includes {header}: {floor} is not at or below {own}")
    # The virtual reader is the evidence against which src/ is tested: it shares nothing with it.
    reader = pathlib.Path(root) / "vreader"
    for path in sorted(reader.rglob("*")):
        if path.suffix not in (".cpp", ".h"):
            continue
        files += 1
        for header in INCLUDE.findall(path.read_text()):
            parts = header.split("/")
            if parts[0] in FLOORS + ["vantor", "vantor.h"] or "src" in parts or "include" in parts:
                found.append(f"{path.relative_to(root)} includes {header} of the library")
    return found, files


def main():
    found, files = problems_in(sys.argv[1])
    print(f"{files} files read")
    for problem in found:
        print(problem)
    return 1 if found or files < 10 else 0


if __name__ == "__main__":
    sys.exit(main())
