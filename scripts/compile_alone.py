#!/usr/bin/env python3
"""Compiles every source of src by itself and without precompiled headers: it sees what one forgot to include.

    scripts/compile_alone.py TREE    with the flags of that build tree

Where sources are compiled several at a time, behind headers that were compiled before, each finds what another has
included. Nothing is written: the compiler stops when it has understood the source. A source that is built in two ways is
tried in one.
"""

import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import tidy


def without_precompiled(flags):
    """The flags, less the header that stands in front of every source: CMake names it in pairs of -Xclang."""
    kept = []
    words = iter(flags)
    for word in words:
        value = next(words) if word == "-Xclang" else None
        if value in ("-include-pch", "-include"):
            next(words)  # -Xclang once more
            next(words)  # and the file
        else:
            kept += [word] if value is None else [word, value]
    return kept


def compiles(directory, flags, source):
    result = subprocess.run([*without_precompiled(flags), "-fsyntax-only", source], cwd=directory, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, check=False)
    if result.returncode != 0:
        print(result.stdout, flush=True)
    return result.returncode == 0


def main():
    sources = {}
    for directory, flags, together in tidy.batches(Path(sys.argv[1]).resolve()):
        for source in together:
            sources.setdefault(source, (directory, flags))
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        done = list(pool.map(lambda item: compiles(*item[1], item[0]), sources.items()))
    print(f"{len(done)} sources")
    sys.exit(not (done and all(done)))


if __name__ == "__main__":
    main()
