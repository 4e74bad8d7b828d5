#!/usr/bin/env python3
"""Prints the share of lines of src/ that the tests ran, a line a file: coverage.py BUILD_DIR."""
import collections
import json
import pathlib
import subprocess
import sys


def main():
    build = pathlib.Path(sys.argv[1])
    root = pathlib.Path(__file__).resolve().parents[2]
    lines = collections.defaultdict(dict)
    for notes in build.glob("src/**/*.gcda"):
        out = subprocess.run(["gcov", "--json-format", "--stdout", str(notes.resolve())],
                             cwd=build, capture_output=True, text=True, check=True).stdout
        for document in out.splitlines():
            for file in json.loads(document)["files"]:
                path = pathlib.Path(build, file["file"]).resolve()
                if root / "src" in path.parents:
                    for line in file["lines"]:
                        seen = lines[path.relative_to(root)]
                        number = line["line_number"]
                        seen[number] = max(seen.get(number, 0), line["count"])
    run = total = 0
    for path in sorted(lines):
        counts = lines[path].values()
        covered = sum(1 for count in counts if count)
        run, total = run + covered, total + len(counts)
        missed = [number for number, count in sorted(lines[path].items()) if not count]
        print(f"{100 * covered / len(counts):6.1f} %  {path}  {missed if len(missed) < 30 else ''}")
    print(f"{100 * run / max(total, 1):6.1f} %  all of src/")
    return 0 if total else 1


if __name__ == "__main__":
    sys.exit(main())
