#!/usr/bin/env python3
"""Prints how much of each folder's sources ran, from what `llvm-cov export -format text` wrote.

    scripts/coverage_table.py [--missed] coverage.json

With --missed, each line that never ran and each condition that never was true, or never false, comes first.
"""
import argparse
import json
import os
from collections import defaultdict
from pathlib import Path

GOALS = {"lines": 95.0, "branches": 90.0}


def place_of(name, root):
    """The file from the root. Sources that are compiled as one may be named relative to the folder of their build."""
    path = Path(os.path.normpath(name))
    if path.is_relative_to(root):
        return path.relative_to(root)
    return Path(*path.parts[path.parts.index("src"):])


def folder_of(place):
    return "/".join(place.parts[:2])


def missed_lines(file):
    """The lines on which a region lies that never ran."""
    lines = set()
    segments = file["segments"]
    for (line, column, count, counted, _, gap), following in zip(segments, segments[1:]):
        if counted and count == 0 and not gap:
            # The region ends before the next begins, which may be on a line's first column.
            last = following[0] if following[1] > 1 else following[0] - 1
            lines.update(range(line, last + 1))
    return lines


def missed_branches(file):
    """(line, column, what never was), over all instantiations of a template."""
    seen = defaultdict(lambda: [0, 0])
    for branch in file.get("branches", []):
        counts = seen[branch[0], branch[1]]
        counts[0] += branch[4]
        counts[1] += branch[5]
    for (line, column), (true, false) in sorted(seen.items()):
        if true == 0 or false == 0:
            yield line, column, "never met" if true == false else "never true" if true == 0 else "never false"


def print_missed(file, root):
    name = place_of(file["filename"], root)
    text = (root / name).read_text(encoding="utf-8").split("\n")
    lines = missed_lines(file)
    for line in sorted(lines):
        print(f"{name}:{line}: never run: {text[line - 1].strip()}")
    for line, column, what in missed_branches(file):
        if line not in lines:
            print(f"{name}:{line}:{column}: {what}: {text[line - 1].strip()}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--missed", action="store_true")
    parser.add_argument("file", type=Path)
    arguments = parser.parse_args()
    files = json.loads(arguments.file.read_text(encoding="utf-8"))["data"][0]["files"]
    root = Path(__file__).resolve().parent.parent
    sums = defaultdict(lambda: {kind: [0, 0] for kind in GOALS})
    for file in files:
        if arguments.missed:
            print_missed(file, root)
        for name in (folder_of(place_of(file["filename"], root)), "all four"):
            for kind, of in sums[name].items():
                of[0] += file["summary"][kind]["covered"]
                of[1] += file["summary"][kind]["count"]
    print(f"{'folder':16} {'lines':>20} {'branches':>20}")
    for name in sorted(sums, key=lambda name: (not name.startswith("src/"), name)):
        kinds = sums[name]
        cells = [f"{done:6} of {count:5} {100 * done / max(count, 1):5.1f}%" for done, count in kinds.values()]
        print(f"{name:16} {cells[0]:>20} {cells[1]:>20}")
    print("the goal is " + " and ".join(f"{goal:.0f} % of {kind}" for kind, goal in GOALS.items()))


if __name__ == "__main__":
    main()
