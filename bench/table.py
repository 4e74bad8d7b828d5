#!/usr/bin/env python3
"""Pairs NAME/ours with NAME/reference in Google Benchmark's JSON and prints them with their aims.

A benchmark that takes turns with its reference reports both medians in one run (ours_ns and
reference_ns); the median ratio of its repetitions counts. Of two separate benchmarks the quickest
repetitions are compared: what else the machine does only ever adds time.
"""
import json
import sys

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def read_aims(path):
    """{name: (kind, limit)} in the file's order"""
    aims = {}
    with open(path, encoding="utf-8") as file:
        for line in file:
            fields = line.split("#")[0].split()
            if fields:
                aims[fields[0]] = (fields[1], float(fields[2]))
    return aims


def read_runs(paths):
    """{name: {"ours": [run of each repetition], "reference": [...]}}"""
    runs = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for run in json.loads(text)["benchmarks"] if text.strip() else []:
            if run["run_type"] != "iteration":
                continue
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            name, side = run["name"].split("/")[:2]
            runs.setdefault(name, {}).setdefault(side, []).append(run)
    return runs


def nanoseconds(run):
    return run["real_time"] * NANOSECONDS[run["time_unit"]]


def measure(sides):
    """(ours, reference or None, ratio or None), times in nanoseconds"""
    ours = sides["ours"]
    if "ours_ns" in ours[0]:
        middle = sorted(ours, key=lambda run: run["ours_ns"] / run["reference_ns"])[len(ours) // 2]
        return middle["ours_ns"], middle["reference_ns"], middle["ours_ns"] / middle["reference_ns"]
    quickest = min(map(nanoseconds, ours))
    if "reference" not in sides:
        return quickest, None, None
    reference = min(map(nanoseconds, sides["reference"]))
    return quickest, reference, quickest / reference


def show(time):
    if time is None:
        return ""
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if time >= size:
            return f"{time / size:.2f} {unit}"
    return f"{time:.1f} ns"


def judge(aim, ours, ratio):
    """The aim as text, and whether it was reached"""
    kind, limit = aim
    reached = ratio if kind == "ratio" else ours / 1e9
    text = f"<= {limit}" if kind == "ratio" else f"<= {limit} s"
    if reached is None:
        return text, ""
    return text, "reached" if reached <= limit else "missed"


def main():
    aims = read_aims(sys.argv[1])
    runs = read_runs(sys.argv[2:])
    order = list(aims)
    row = "{:<22} {:>10} {:>10} {:>7}  {:<10} {:<8} {}"
    print(row.format("benchmark", "ours", "reference", "ratio", "aim", "", "").rstrip())
    for name in sorted(runs, key=lambda each: order.index(each) if each in aims else len(order)):
        if "ours" not in runs[name]:
            continue
        ours, reference, ratio = measure(runs[name])
        aim, verdict = judge(aims[name], ours, ratio) if name in aims else ("", "")
        calls = runs[name]["ours"][0].get("system_calls")
        print(row.format(name, show(ours), show(reference), f"{ratio:.3f}" if ratio else "", aim,
                         verdict, f"{calls:.0f} system calls" if calls else "").rstrip())


if __name__ == "__main__":
    main()
