#!/usr/bin/env python3
"""Runs the fuzz targets: fuzz.py BUILD_DIR [TARGET|all] [SECONDS], or fuzz.py BUILD_DIR keep TARGET.

    (nothing)         lists the targets
    TARGET [SECONDS]  runs one, 60 seconds unless it is said; what libFuzzer writes is shown
    all [SECONDS]     runs each in turn and prints a table
    keep TARGET|all   puts what covers more than the corpus in tests/fuzz/corpus does there

What a target finds of use lies in BUILD_DIR/corpus/TARGET and is where its next run begins; an input
that breaks it lies in BUILD_DIR/findings/TARGET. To look at one again: BUILD_DIR/tests/fuzz_TARGET
FILE.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
LONGEST = {"whole_session": 8192, "vreader_profile": 8192, "identity_frame": 6000,
           "log_records": 6000}
DICTIONARIES = {"tlv_walk": "cards", "dol_building": "cards", "directory_walk": "cards",
                "afl_walk": "cards", "generate_ac": "cards", "issuer_script": "cards",
                "log_records": "cards", "letter_coded_text": "cards", "whole_session": "cards",
                "krel_ic_answer": "frames", "union_answer": "frames", "identity_frame": "frames",
                "raw_answer": "frames", "magnetic": "frames", "memory_card_answer": "frames",
                "vreader_commands": "frames", "ini_file": "ini_file",
                "vreader_profile": "vreader_profile"}
LARGEST_KEPT = 4096  # bytes of an input that may go into tests/fuzz/corpus


def targets(build):
    return sorted(program.name[len("fuzz_"):] for program in (build / "tests").glob("fuzz_*")
                  if os.access(program, os.X_OK) and program.is_file())


def environment():
    suppressions = HERE.parent / "support/lsan.supp"
    return dict(os.environ,
                LSAN_OPTIONS=f"suppressions={suppressions}:print_suppressions=0",
                ASAN_OPTIONS="quarantine_size_mb=32:detect_stack_use_after_return=1",
                UBSAN_OPTIONS="print_stacktrace=1")


def options(target):
    words = [f"-max_len={LONGEST.get(target, 4096)}", "-timeout=60", "-rss_limit_mb=2048"]
    if target in DICTIONARIES:
        words.append(f"-dict={HERE / DICTIONARIES[target]}.dict")
    return words


def run(build, target, seconds, shown):
    """The figures of one run."""
    work = build / "corpus" / target
    findings = build / "findings" / target
    for directory in (work, findings, HERE / "corpus" / target):
        directory.mkdir(parents=True, exist_ok=True)
    before = set(findings.iterdir())
    command = [build / "tests" / f"fuzz_{target}", *options(target),
               f"-max_total_time={seconds}", f"-artifact_prefix={findings}/",
               "-print_final_stats=1", work, HERE / "corpus" / target]
    log = build / "findings" / f"{target}.log"
    with log.open("w") as file:
        process = subprocess.Popen([str(word) for word in command], env=environment(),
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                   errors="replace")
        for line in process.stdout:
            file.write(line)
            if shown:
                sys.stdout.write(line)
        process.wait()
    text = log.read_text(errors="replace")
    figures = dict(re.findall(r"stat::(\w+):\s+(\d+)", text))
    covered = re.findall(r"cov: (\d+)", text)
    found = sorted(set(findings.iterdir()) - before)
    return {"runs": int(figures.get("number_of_executed_units", 0)),
            "per second": int(figures.get("average_exec_per_sec", 0)),
            "coverage": int(covered[-1]) if covered else 0,
            "new": int(figures.get("new_units_added", 0)),
            "findings": found, "failed": process.returncode != 0}


def run_all(build, names, seconds):
    print(f"{'target':20} {'runs':>10} {'exec/s':>8} {'coverage':>9} {'new':>6} {'findings':>9}",
          flush=True)
    bad = False
    for name in names:
        row = run(build, name, seconds, False)
        broken = len(row["findings"]) or ("failed" if row["failed"] else 0)
        bad = bad or broken != 0
        print(f"{name:20} {row['runs']:10} {row['per second']:8} {row['coverage']:9} "
              f"{row['new']:6} {broken:>9}", flush=True)
        for path in row["findings"]:
            print(f"    {path}", flush=True)
    return 1 if bad else 0


def keep(build, name):
    """Merges by edges alone: tens of files tell as much in a test as thousands do. Those with names
    of their own stay in any case."""
    corpus = HERE / "corpus" / name
    (build / "corpus" / name).mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as merged, tempfile.TemporaryDirectory() as named:
        for path in corpus.iterdir():
            if "-" in path.name:
                shutil.copy(path, named)
        for path in pathlib.Path(named).iterdir():
            shutil.copy(path, merged)
        command = [build / "tests" / f"fuzz_{name}", "-set_cover_merge=1", "-use_counters=0",
                   f"-max_len={LARGEST_KEPT}", "-timeout=60", merged, corpus,
                   build / "corpus" / name]
        result = subprocess.run([str(word) for word in command], env=environment(),
                                capture_output=True, text=True, errors="replace")
        if result.returncode != 0:
            print(result.stderr[-2000:])
            return 1
        for path in corpus.iterdir():
            path.unlink()
        for path in pathlib.Path(merged).iterdir():
            if path.stat().st_size <= LARGEST_KEPT or "-" in path.name:
                shutil.copy(path, corpus)
    files = list(corpus.iterdir())
    print(f"{name}: {len(files)} files, {sum(path.stat().st_size for path in files)} bytes")
    return 0


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    words = sys.argv[2:]
    names = targets(build)
    if not words:
        print("\n".join(names))
        return 0
    if words[0] == "keep" and len(words) == 2:
        chosen = names if words[1] == "all" else [words[1]]
        return max(keep(build, name) for name in chosen)
    if words[0] != "all" and words[0] not in names or len(words) > 2:
        print(f"no target '{words[0]}'; there are: {' '.join(names)}", file=sys.stderr)
        return 2
    seconds = int(words[1]) if len(words) > 1 else 60
    if words[0] == "all":
        return run_all(build, names, seconds)
    row = run(build, words[0], seconds, True)
    return 1 if row["findings"] or row["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
