#!/usr/bin/env python3
"""Checks who includes whom.

    scripts/check_includes.py                the sources of this project
    scripts/check_includes.py --self-test    the rules themselves, each on a small tree that breaks it

A folder of src includes from those that ARROWS names for it and from those below them, never from one above or beside
it. What a system is like inside stays in platform/posix and platform/windows: the build chooses between them, and what
has to be known by its size is passed on by a header of platform. No two headers need each other, neither directly nor
round a longer way, in the tests and benchmarks as in the sources.
"""

import posixpath
import re
import sys
import tempfile
from pathlib import Path

# The drawing of docs/architecture.md as arrows: a folder, and the folders right below it.
ARROWS = {
    "platform": [],
    "published": ["platform"],
    "diag": ["published"],
    "baseclasses": ["platform"],
    "parser": ["platform"],
    "mediatypes": ["parser", "baseclasses", "diag", "published"],
    "streaming": ["mediatypes"],
    "filter": ["streaming"],
    "component": ["filter"],
    "host": ["baseclasses", "published"],
    "hosting": ["host", "diag"],
    "tools": ["host", "mediatypes"],
    "precompiled": ["platform"],
}
# Seen by platform alone.
INNER = ("platform/posix", "platform/windows")

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)', re.M)


def below(folder):
    """The folders that this one may include from, its own left out."""
    return {lower for direct in ARROWS[folder] for lower in {direct} | below(direct)}


def sources(root):
    return sorted(path.relative_to(root).as_posix() for top in ("src", "tests", "fuzz", "bench")
                  for path in (root / top).rglob("*") if path.suffix in (".h", ".cpp", ".in"))


def included(root, file, known):
    """What a file includes of this project, as (line, path)."""
    text = (root / file).read_text(encoding="utf-8")
    for match in INCLUDE.finditer(text):
        name = match.group(1) or match.group(2)
        for base in (posixpath.dirname(file), "src", "tests", ""):
            path = posixpath.normpath(posixpath.join(base, name))
            if path in known:
                yield text.count("\n", 0, match.start(match.lastindex)) + 1, path
                break


def folder_faults(root):
    there = {path.name for path in (root / "src").iterdir() if path.is_dir()}
    for name in sorted(there - ARROWS.keys()):
        yield f"src/{name}: a folder that {Path(__file__).name} has no arrows for"
    for name in sorted(ARROWS.keys() - there):
        yield f"src/{name}: no such folder, but {Path(__file__).name} has arrows for it"


def arrow_faults(graph):
    for file, targets in graph.items():
        top, _, rest = file.partition("/")
        folder = rest.partition("/")[0]
        for line, target in targets:
            target_folder = target.removeprefix("src/").partition("/")[0]
            place = f"{file}:{line}: includes {target}"
            inner = next((inner for inner in INNER if target.startswith(f"src/{inner}/")), None)
            if top == "src" and inner and posixpath.dirname(file) not in ("src/platform", f"src/{inner}"):
                yield f"{place}, which is one system's and known to platform alone"
            elif top == "src" and not target.startswith("src/"):
                yield f"{place}, which is not of the sources"
            elif top == "src" and folder in ARROWS and folder != target_folder and target_folder not in below(folder):
                yield f"{place}, but {folder} may include only from {', '.join(sorted(below(folder))) or 'itself'}"


def cycle_faults(graph):
    """Each circle of headers once, as the depth-first search closes it."""
    state = {}

    def visit(file, way):
        state[file] = "open"
        for _, target in graph.get(file, []):
            if state.get(target) == "open":
                yield "headers that need each other: " + " -> ".join(way[way.index(target):] + [target])
            elif target not in state:
                yield from visit(target, way + [target])
        state[file] = "done"

    for file in graph:
        if file not in state:
            yield from visit(file, [file])


def faults(root):
    files = sources(root)
    known = set(files)
    graph = {file: list(included(root, file, known)) for file in files}
    return [*folder_faults(root), *arrow_faults(graph), *cycle_faults(graph)]


# ---- The rules themselves.

def self_test():
    cases = [  # what is broken, the files that are added to a sound tree, a word of the fault that must be told
        ("nothing", {"src/host/a.h": '#include "published/p.h"\n#include <vector>\n', "src/published/p.h": ""}, None),
        ("a folder two arrows down", {"src/component/a.cpp": '#include "parser/p.h"\n'}, None),
        ("a folder above", {"src/parser/a.cpp": '\n#include "filter/p.h"\n'}, "src/parser/a.cpp:2: includes src/filter/p.h"),
        ("a folder beside", {"src/parser/a.cpp": '#include "diag/p.h"\n'}, "may include only from platform"),
        ("the same by a relative path", {"src/parser/a.cpp": '#include "../diag/p.h"\n'}, "includes src/diag/p.h"),
        ("the same in angle brackets", {"src/parser/a.cpp": '#  include <diag/p.h>\n'}, "includes src/diag/p.h"),
        ("the other side of the boundary", {"src/filter/a.h": '#include "host/p.h"\n'}, "includes src/host/p.h"),
        ("a system's own folder", {"src/host/a.h": '#include "platform/posix/s.h"\n', "src/platform/posix/s.h": ""},
         "known to platform alone"),
        ("one system's folder from the other's", {"src/platform/windows/a.cpp": '#include "platform/posix/s.h"\n',
                                                  "src/platform/posix/s.h": ""}, "known to platform alone"),
        ("a size that platform passes on", {"src/platform/a.h": '#include "platform/posix/s.h"\n',
                                            "src/platform/posix/s.h": ""}, None),
        ("a source that needs the tests", {"src/host/a.h": '#include "support/s.h"\n', "tests/support/s.h": ""},
         "not of the sources"),
        ("a new folder", {"src/extras/a.h": ""}, "src/extras: a folder that"),
        ("a circle of two", {"src/host/a.h": '#include "host/b.h"\n', "src/host/b.h": '#include "host/a.h"\n'},
         "src/host/a.h -> src/host/b.h -> src/host/a.h"),
        ("a longer circle in the tests", {"tests/t/a.h": '#include "b.h"\n', "tests/t/b.h": '#include "c.h"\n',
                                          "tests/t/c.h": '#include "t/a.h"\n'}, "headers that need each other"),
    ]
    wrong = 0
    for name, files, word in cases:
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            for file, text in ({f"src/{folder}/p.h": "" for folder in ARROWS} | files).items():
                (root / file).parent.mkdir(parents=True, exist_ok=True)
                (root / file).write_text(text, encoding="utf-8")
            told = faults(root)
        if len(told) != (1 if word else 0) or (word and word not in told[0]):
            print(f"self-test, {name}: {told}")
            wrong += 1
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "src" / "host").mkdir(parents=True)
        if not any(fault.startswith("src/parser: no such folder") for fault in faults(Path(folder))):
            print("self-test: a missing folder goes unnoticed")
            wrong += 1
    print(f"self-test: {len(cases) + 1} cases, {wrong} wrong")
    return wrong


def main():
    if sys.argv[1:] == ["--self-test"]:
        sys.exit(1 if self_test() else 0)
    found = faults(Path(__file__).resolve().parents[1])
    print("\n".join(found) if found else "every include follows the arrows; no headers need each other")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
