#!/usr/bin/env python3
"""Runs clang-tidy over the sources of src, several as one.

    scripts/tidy.py TREE           with the flags and the precompiled headers of that build tree
    scripts/tidy.py TREE --deep    the analyzer follows every path as far as it can, and a source that is built in two ways is
                                   read in both, which takes twice as long over all

Most of the time of a run goes into the headers, which every check walks through again with every source. So sources that
are built with the same flags are put into one file, one after the other, and that is what clang-tidy reads. They are not
included by that file, since clang and some checks say less about what is not in the file itself: constants and inline
functions that nobody uses, for example. What is reported is given the names and lines of the sources.

Where something is found in a file of several, its sources are read once more by themselves, and what is found then counts:
the analyzer, which then follows calls from source to source, may have been misled, and two sources that name different
things alike cannot be compiled as one.
"""

import json
import os
import re
import shlex
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
BATCH = 40
# The analyzer follows a path through calls, and gives up, before it has spent most of the time of the whole run.
SHALLOW = ["-extra-arg=-Xclang", "-extra-arg=-analyzer-config", "-extra-arg=-Xclang", "-extra-arg=mode=shallow"]
# When the analyzer sees its constructor beside one that destroys it, it takes what a value-initialized base holds for
# uninitialized.
ALONE = {"src/baseclasses/media_type.cpp"}


def sources_of(file):
    """What is compiled with it: itself, or what it includes when it is one of the generator's own unity sources."""
    if "/Unity/unity_" not in file:
        return [file]
    return re.findall(r'^#include "(.*)"$', Path(file).read_text(), re.M)


def flags_of(entry):
    """The command without what differs from source to source."""
    words = shlex.split(entry["command"])
    for option in ("-o", "-c"):
        position = words.index(option)
        del words[position:position + 2]
    return tuple(words)


def batches(tree):
    """Of what is built from src: (folder to compile in, flags, up to BATCH sources of one folder)."""
    groups, seen = {}, set()
    for entry in json.loads((tree / "compile_commands.json").read_text()):
        sources = [source for source in sources_of(entry["file"]) if source.startswith(f"{ROOT}/src/")]
        for source in sources:
            if source in seen and "--deep" not in sys.argv:
                continue
            seen.add(source)
            name = os.path.relpath(source, ROOT)
            group = name if name in ALONE else os.path.dirname(name)
            groups.setdefault((entry["directory"], flags_of(entry), group), []).append(source)
    for (directory, flags, _), sources in groups.items():
        sources.sort()
        count = -(-len(sources) // BATCH)
        for part in range(count):
            yield directory, flags, sources[len(sources) * part // count:len(sources) * (part + 1) // count]


def write_batch(file, sources):
    """Writes it where the checks of the sources' folder hold; returns where each line of the file comes from."""
    origins = []
    file.parent.mkdir(parents=True, exist_ok=True)
    folder = Path(sources[0]).parent
    checks = next((up / ".clang-tidy" for up in (folder, *folder.parents) if (up / ".clang-tidy").exists()), None)
    if checks and checks.parent != ROOT:
        shutil.copy(checks, file.parent)
    with open(file, "w", encoding="utf-8") as batch:
        for source in sources:
            lines = Path(source).read_text(encoding="utf-8").splitlines()
            origins += [(os.path.relpath(source, ROOT), number) for number in range(1, len(lines) + 1)]
            batch.writelines(line + "\n" for line in lines)
    return origins


def tidied(tree, number, batch):
    """Whether nothing was found in the batch; what was is printed."""
    directory, flags, sources = batch
    folder = tree / str(number)
    file = folder / Path(sources[0]).parent.relative_to(ROOT) / "batch.cpp"
    origins = write_batch(file, sources)
    command = {"directory": directory, "file": str(file), "arguments": [*flags, "-c", str(file)]}
    (folder / "compile_commands.json").write_text(json.dumps([command]))
    depth = [] if "--deep" in sys.argv else SHALLOW
    result = subprocess.run(["clang-tidy", "-quiet", *depth, "-p", folder, file], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            text=True, check=False)

    def origin(match):
        source, line = origins[int(match.group(1)) - 1]
        return f"{source}:{line}:"

    if result.returncode != 0:
        print(re.sub(re.escape(str(file)) + r":(\d+):", origin, result.stdout), flush=True)
    if result.returncode == 0 or len(sources) == 1:
        return result.returncode == 0
    print(f"Once more, each by itself: {' '.join(os.path.relpath(source, ROOT) for source in sources)}", flush=True)
    return all([tidied(tree, f"{number}-{part}", (directory, flags, [source])) for part, source in enumerate(sources)])


def main():
    build = Path(sys.argv[1]).resolve()
    # Within the project, whose checks hold there too.
    if ROOT not in build.parents:
        sys.exit(f"{build} is not below {ROOT}")
    tree = build / "tidy"
    shutil.rmtree(tree, ignore_errors=True)
    # The largest first.
    jobs = sorted(batches(build), key=lambda batch: -sum(os.path.getsize(source) for source in batch[2]))
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        clean = list(pool.map(lambda job: tidied(tree, *job), enumerate(jobs)))
    print(f"{sum(len(batch[2]) for batch in jobs)} sources in {len(jobs)} batches")
    sys.exit(not (clean and all(clean)))


if __name__ == "__main__":
    main()
