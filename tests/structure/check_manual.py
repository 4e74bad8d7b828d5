#!/usr/bin/env python3
"""A program's man page and its --help must name the same commands, arguments and options, and the
pages must be sound.

The pages keep to a form: GENERAL OPTIONS or OPTIONS lists what the program takes without a command,
COMMANDS has an item ".It Cm NAME" for each command, with its options in the item's text, and
COMMAND OPTIONS explains each of these once.
"""
import argparse
import pathlib
import re
import subprocess
import sys

NOT_A_VALUE = {"Excludes:", "Needs:", "REQUIRED", "..."}


def plain(value):
    """A value's name without what only one of the two writes: blanks and bars."""
    return re.sub(r"[\s|]", "", value)


def section(text, title):
    match = re.search(rf"^{title}:\n((?:  .*\n?)+)", text, re.M)
    return match.group(1).splitlines() if match else []


def options_in_help(text):
    """{"--tags": "LETTERS"}: the long options and the names of their values."""
    options = {}
    for line in section(text, "Options"):
        match = re.match(r"  (?:-\w,)?(--[a-z][\w-]*)(?:\{\w+\})?(.*)", line)
        if match and match.group(1) != "--help":
            words = match.group(2)[:30].split() if match.group(2).startswith(" ") else []
            # The explanation is two blanks away at least; a value is one.
            value = words[0] if re.match(r" \S", match.group(2)) else ""
            options[match.group(1)] = plain("" if value in NOT_A_VALUE else value.split(":")[0]
                                            if not value.startswith("[") else value)
    return options


def names_in(text, title):
    return [line.split()[0] for line in section(text, title) if re.match(r"  \S", line)]


def read_help(program, path=()):
    """{"ic info": {"options": {...}, "arguments": [...]}} for every command, "" the program."""
    text = subprocess.run([program, *path, "--help"], capture_output=True, text=True,
                          check=True).stdout
    found = {" ".join(path): {"options": options_in_help(text),
                              "arguments": names_in(text, "Positionals"),
                              "commands": names_in(text, "Subcommands")}}
    for name in found[" ".join(path)]["commands"]:
        found.update(read_help(program, (*path, name)))
    return found


def flags(line):
    """The options that a line of the page names, with their values: [("--tags", "LETTERS")]."""
    found = []
    for match in re.finditer(r"Fl -([a-z][\w-]*)((?: Ar [^,.]*?)?)(?= ,| \.| Fl |$)", line):
        value = match.group(2).replace(" Ar ", " ").replace(" Ns ", "")
        found.append(("--" + match.group(1), plain(value)))
    return found


def read_page(text):
    """The same as read_help(), and under "explained" the options of COMMAND OPTIONS."""
    found = {"": {"options": {}, "arguments": [], "commands": []}}
    explained = {}
    heading = ""
    command = None
    for line in text.splitlines():
        if line.startswith(".Sh "):
            heading, command = line[4:].strip(), None
        elif line.startswith(".It "):
            command = None
            if heading == "COMMANDS":
                name = re.match(r"\.It Cm ([a-z0-9 -]+?)(?: (?:Op|Ar)\b.*)?$", line).group(1)
                rest = re.sub(r" (?:Op|Cm --|Ar)(?= |$)", "", line[len(".It Cm " + name):])
                command = {"options": {}, "arguments": rest.split(), "commands": []}
                found[name] = command
            elif heading in ("GENERAL OPTIONS", "OPTIONS"):
                argument = re.match(r"\.It Ar (\S+)$", line)
                if argument:
                    found[""]["arguments"].append(argument.group(1))
                found[""]["options"].update(
                    (name, value) for name, value in flags(line) if name != "--help")
            elif heading == "COMMAND OPTIONS":
                explained.update(flags(line))
        elif command is not None and re.match(r"\.(Op )?Fl -", line):
            command["options"].update(flags(line.replace(" |", "")))
    return found, explained


def both_ways(what, of_help, of_page):
    return ([f"{what}: the page lacks {name}" for name in sorted(set(of_help) - set(of_page))] +
            [f"{what}: --help lacks {name}" for name in sorted(set(of_page) - set(of_help))])


def problems_in(of_help, of_page, explained):
    # The page names the commands that do something; "ic" alone is none.
    leaves = {name: entry for name, entry in of_help.items() if name == "" or
              not entry["commands"]}
    problems = both_ways("commands", leaves, of_page)
    taken = {}
    for name, entry in leaves.items():
        page = of_page.get(name, {"options": {}, "arguments": []})
        where = name or "the program itself"
        problems += both_ways(f"options of {where}", entry["options"], page["options"])
        problems += both_ways(f"arguments of {where}", entry["arguments"], page["arguments"])
        problems += [f"{where}: {option} takes {value!r}, in the page {page['options'][option]!r}"
                     for option, value in entry["options"].items()
                     if page["options"].get(option, value) != value]
        if name:
            taken.update(entry["options"])
    problems += both_ways("COMMAND OPTIONS", taken, explained)
    return problems


def faults_of(page):
    """What mandoc finds, but for other manuals that this machine does not have."""
    lint = subprocess.run(["mandoc", "-T", "lint", "-W", "style", str(page)],
                          capture_output=True, text=True, check=False)
    return [line for line in (lint.stdout + lint.stderr).splitlines()
            if "referenced manual not found" not in line and "outdated mandoc.db" not in line]


def headers_missing(page, include):
    named = set(re.findall(r"^\.It In vantor/(\S+)", page, re.M))
    there = {path.name for path in pathlib.Path(include).glob("vantor/*.h")}
    return [f"headers: {name} is on one side only" for name in sorted(named ^ there)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--pages", required=True, type=pathlib.Path)
    parser.add_argument("--programs", required=True, type=pathlib.Path)
    parser.add_argument("--include", required=True, type=pathlib.Path)
    arguments = parser.parse_args()
    problems = []
    for page in sorted(arguments.pages.iterdir()):
        problems += faults_of(page)
        if page.suffix == ".1":
            found = problems_in(read_help(str(arguments.programs / page.stem)),
                                *read_page(page.read_text()))
            problems += [f"{page.name}: {problem}" for problem in found]
    for program in arguments.programs.glob("vantor*"):
        if not (arguments.pages / (program.name + ".1")).exists():
            problems.append(f"{program.name} has no man page")
    problems += headers_missing((arguments.pages / "libvantor.7").read_text(), arguments.include)
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
