#!/usr/bin/env python3
"""What of src/ the tests ran: coverage.py BUILD_DIR.

Prints a line a file, the shares of functions and lines of all of src/, and the branches of the
parsers of hostile input. Status 1 when less than the aims was run.
"""
import collections
import json
import pathlib
import subprocess
import sys

AIM_FUNCTIONS = 95.0
AIM_LINES = 93.0
# Every branch of these: frames, data objects, lists, the ini file, identity records.
PARSERS = ["src/link/ic_transport.cpp", "src/link/id_transport.cpp", "src/pboc/tlv.cpp",
           "src/pboc/data_object_list.cpp", "src/pboc/pboc_transaction.cpp",
           "src/support/ini_file.cpp", "src/ops/identity_fields.cpp"]


class File:
    def __init__(self):
        self.lines = collections.Counter()
        self.functions = collections.Counter()
        self.branches = collections.Counter()  # (line, its how-manieth)

    def add(self, report):
        for line in report["lines"]:
            number = line["line_number"]
            self.lines[number] += line["count"]
            # What only an exception takes is the compiler's branch, not the parser's.
            taken = [branch["count"] for branch in line["branches"] if not branch["throw"]]
            for i, count in enumerate(taken):
                self.branches[(number, i)] += count
        for function in report["functions"]:
            # The instances of a template and the clones of a constructor are one function.
            self.functions[function["start_line"]] += function["execution_count"]


def collect(build, root):
    files = collections.defaultdict(File)
    for notes in sorted(build.glob("src/**/*.gcda")):
        out = subprocess.run(["gcov", "--json-format", "--branch-probabilities", "--stdout",
                              str(notes.resolve())],
                             cwd=build, capture_output=True, text=True, check=True).stdout
        for document in out.splitlines():
            for report in json.loads(document)["files"]:
                path = pathlib.Path(build, report["file"]).resolve()
                if root / "src" in path.parents:
                    files[str(path.relative_to(root))].add(report)
    return files


def share(counters):
    """(run, all, percent)"""
    counts = [count for counter in counters for count in counter.values()]
    run = sum(1 for count in counts if count)
    return run, len(counts), 100 * run / max(len(counts), 1)


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    root = pathlib.Path(__file__).resolve().parents[2]
    files = collect(build, root)
    for path, file in sorted(files.items()):
        missed = [number for number, count in sorted(file.lines.items()) if not count]
        shown = " ".join(map(str, missed)) if len(missed) < 30 else f"{len(missed)} lines"
        print(f"{share([file.lines])[2]:6.1f} %  {path}  {shown}")
    missed = False
    for what, aim, counters in (
            ("functions", AIM_FUNCTIONS, [file.functions for file in files.values()]),
            ("lines", AIM_LINES, [file.lines for file in files.values()])):
        run, all_of_them, percent = share(counters)
        missed |= percent < aim
        print(f"{percent:6.1f} %  of all {what} ({run} of {all_of_them}), aim {aim:.0f} %")
    for path in PARSERS:
        run, all_of_them, percent = share([files[path].branches])
        missed |= run < all_of_them or all_of_them == 0
        places = sorted({line for (line, _), count in files[path].branches.items() if not count})
        print(f"{percent:6.1f} %  of the branches of {path} ({run} of {all_of_them})"
              f"{': lines ' + ' '.join(map(str, places)) if places else ''}")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
