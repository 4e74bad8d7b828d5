#!/usr/bin/env python3
"""The shipped config.ini: every setting present with its default, each explained, in small regions.

check_config.py CONFIG_INI
"""
import sys

SETTINGS = {
    "devcfg": {"DevBaud": "9600", "IdBaud": "9600", "IcBaud": "9600", "Iccmd": "0",
               "devtype": "0", "IdChange": "1"},
    "log": {"loglevel": "1", "saveday": "15"},
}
REGION = 20  # lines before a section, between it and a key, and behind a key


def problems_in(text):
    found, sections, section, section_line = [], {}, None, 0
    lines = text.splitlines()
    for number, line in enumerate(lines):
        if line.startswith("["):
            section, section_line = line.strip("[]"), number
            sections[section] = {}
            if number > REGION:
                found.append(f"[{section}] has {number} lines before it")
        elif line and not line.startswith(";"):
            key, equals, value = line.partition("=")
            if not equals or key != key.strip() or value != value.strip() or section is None:
                found.append(f"line {number + 1} is not a plain key=value: {line}")
                continue
            for other in sections[section]:
                if other.startswith(key) or key.startswith(other):
                    found.append(f"{key} and {other} begin alike: keys match by prefix")
            sections[section][key] = value
            if not lines[number - 1].startswith(";"):
                found.append(f"{key} has no comment above it")
            if number - section_line - 1 > REGION:
                found.append(f"{key} is {number - section_line - 1} lines below its section")
            if len(lines) - number - 1 > REGION:
                found.append(f"{key} has {len(lines) - number - 1} lines behind it")
    if sections != SETTINGS:
        found.append(f"settings are {sections}, expected {SETTINGS}")
    if not text.endswith("\n") or "\r" in text:
        found.append("the file must end in a line feed and hold no carriage return")
    return found


def main():
    with open(sys.argv[1], newline="") as file:
        found = problems_in(file.read())
    for problem in found:
        print(problem)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
