#!/usr/bin/env python3
"""Holds what `vantor-mkv check` says of files against what is in them and what is really delivered.

    tests/check/check_oracle.py TOOL FOLDER [NAME...]

Of every file of tests/media, and of copies of it that are cut off, have zeroes in their payloads, no index or a wrong
duration, or are wrong as files in the wild are (tests/complete/wild_copies.py), the packets are listed by
packet_lister.py and looked for, with their bytes, among the samples that the component delivers. By that,

- `check --deep` ends with status 1, and has an error, exactly when a packet is missing or the file is refused;
- `check` has no error where nothing is missing;
- an error of a track is one of a track that misses a packet, and with --deep every such track has one, or the file has;
- the same holds with --complete for the complete component.

The lister itself is held against the muxer's lists of the whole files. Copies are made in FOLDER and removed when
nothing was wrong with any of the file; with names, only these media files are taken. One line a disagreement, then the sums; the
exit status is 1 when there was any.
"""

import collections
import concurrent.futures
import itertools
import json
import os
import random
import re
import struct
import subprocess
import sys
import zlib
from dataclasses import dataclass
from pathlib import Path

TESTS = Path(__file__).resolve().parent.parent
MEDIA = TESTS / "media"
sys.path.insert(0, str(TESTS / "complete"))

# pylint: disable=wrong-import-position
import packet_lister as lister  # noqa: E402
import wild_copies  # noqa: E402

DURATION = 0x4489


# ---- The copies.

def voided(data, item):
    """The element becomes a Void of the same length."""
    size = item.end - item.start
    length = min(8, size - 1)
    header = b"\xec" + (size - 1 - length | 1 << 7 * length).to_bytes(length, "big")
    return data[:item.start] + header + bytes(size - len(header)) + data[item.end:]


def elements(data, identifier):
    return [item for item in lister.segment_children(data) if item.id == identifier]


def without(data, identifier):
    for item in elements(data, identifier):
        data = voided(data, item)
    return data


def with_duration(data, seconds):
    """Of those whose tick is a millisecond; in others it is some other time, and as good."""
    for info in elements(data, lister.INFO):
        for item in lister.children(data, info.data, info.end):
            if item.id == DURATION:
                form = ">d" if item.end - item.data == 8 else ">f"
                data = data[:item.data] + struct.pack(form, seconds * 1000) + data[item.end:]
    return data


def zeroed(data, packets, chance):
    """Zeroes in some of the payloads: all of one, its first or its last half."""
    changed = bytearray(data)
    for packet in chance.sample(packets, min(3, len(packets))):
        begin, end = chance.choice([(0, 2), (0, 1), (1, 2)])
        begin, end = (packet.position + packet.stored * part // 2 for part in (begin, end))
        changed[begin:end] = bytes(end - begin)
    return bytes(changed)


def copies(data, chance):
    """The file itself, and what may have become of it."""
    packets = [packet for track in lister.read(data).values() for packet in track.packets]
    last = max(packets, key=lambda packet: packet.position)
    yield "whole", data
    for part in (0.1, 0.5, 0.9):
        yield f"cut_{part}", data[:int(len(data) * (part + chance.random() / 10))]
    packet = chance.choice(packets)
    yield "cut_in_packet", data[:packet.position + packet.stored // 2]
    yield "cut_behind_packet", data[:packet.position + packet.stored]
    yield "cut_before_end_of_last", data[:last.position + last.stored - 1]
    yield "cut_behind_last", data[:last.position + last.stored]
    yield "zeroed", zeroed(data, packets, chance)
    yield "no_cues", without(data, lister.CUES)
    yield "no_cues_cut", without(data, lister.CUES)[:int(len(data) * chance.uniform(0.3, 1))]
    yield "no_seek_head", without(data, lister.SEEK_HEAD)
    yield "no_index", without(without(data, lister.CUES), lister.SEEK_HEAD)
    yield "short_duration", with_duration(data, 0.3)
    yield "no_duration", with_duration(data, 0)
    yield "no_info", without(data, lister.INFO)


def wild(name):
    """Those of the media file, with its own packets: what is wrong may keep a lister from them."""
    for copy_name, (original, damage) in wild_copies.COPIES.items():
        if original == name:
            copy = wild_copies.Copy(name)
            damage(copy)
            yield "wild_" + Path(copy_name).stem, bytes(copy.bytes)


# ---- What is delivered, and what is missing of the packets.

def run(tool, *arguments):
    done = subprocess.run([*tool, *map(str, arguments)], stdin=subprocess.DEVNULL, capture_output=True, check=False,
                          timeout=120)
    return done.returncode, done.stdout.decode()


def delivered(tool, options, path):
    """Whether the file was taken, and of every pin its kind and its samples as (size, crc32)."""
    status, listing = run(tool, "samples", *options, path)
    kinds, samples = {}, collections.defaultdict(list)
    for line in listing.splitlines():
        row = json.loads(line)
        if row["type"] == "pin":
            kinds[row["pin"]] = re.search(r"(video|audio|subtitle) \d+$", row["name"]).group(1)
        elif row["type"] == "sample":
            samples[row["pin"]].append((row["size"], row["crc32"]))
    return status == 0, [(kind, samples[pin]) for pin, kind in sorted(kinds.items())]


def missing_of(packets, samples):
    """How many of the packets are no samples, in their order. 0 exactly when all of them are."""
    at = missing = 0
    for packet in packets:
        try:
            at = samples.index(packet, at) + 1
        except ValueError:
            missing += 1
    return missing


def missing(tracks, pins):
    """Of each track number: by which pin it goes nobody tells, so that the pairs are taken that miss least."""
    result = {}
    for kind in {track.kind for track in tracks.values()}:
        numbers = [track.number for track in tracks.values() if track.kind == kind]
        packets = {track: [(len(one.payload), f"{zlib.crc32(one.payload):08x}") for one in tracks[track].packets]
                   for track in numbers}
        of_kind = [samples for pin_kind, samples in pins if pin_kind == kind]
        of_kind += [[]] * (len(numbers) - len(of_kind))
        counts = {(track, pin): missing_of(packets[track], samples) for track in numbers
                  for pin, samples in enumerate(of_kind)}
        best = min(itertools.permutations(range(len(of_kind)), len(numbers)),
                   key=lambda order: sum(counts[pair] for pair in zip(numbers, order)))
        result |= {pair[0]: counts[pair] for pair in zip(numbers, best)}
    return result


# ---- What the tool says of it.

@dataclass(eq=False)
class Copy:
    path: Path
    taken: bool
    lost: dict  # packets that are missing, of each track

    def is_unhappy(self):
        return not self.taken or any(self.lost.values())

    def __str__(self):
        return f"{self.path.name}, {f'missing {self.lost}' if self.taken else 'refused'}"


def disagreements(tool, options, copies_of_file):
    """Healthy ones are checked in one go, whose status is the worst of all, and with --deep each of the others alone."""
    unhappy = [copy for copy in copies_of_file if copy.is_unhappy()]
    for deep in ([], ["--deep"]):
        arguments = ["check", *deep, *options]
        for group in [[copy for copy in copies_of_file if not copy.is_unhappy()],
                      *([[copy] for copy in unhappy] if deep else [unhappy])]:
            status, text = run(tool, *arguments, "--json", *(copy.path for copy in group)) if group else (0, "")
            said = dict(zip((copy.path for copy in group), map(json.loads, text.splitlines())))
            errors = {copy: [finding for finding in said[copy.path]["findings"] if finding["severity"] == "error"]
                      if copy.path in said else None for copy in group}
            words = " ".join(arguments)
            if None in errors.values() or status != any(errors.values()):
                yield f"{words}: status {status} and {len(said)} answers; {'; '.join(map(str, group))}"
            yield from (f"{words}: {wrong}; {copy}, said {[finding['id'] for finding in of_copy]}"
                        for copy, of_copy in errors.items() if of_copy is not None
                        for wrong in wrongs(copy, of_copy, bool(deep)))


def wrongs(copy, errors, is_deep):
    named = {finding["track"] for finding in errors}
    if bool(errors) > copy.is_unhappy():
        yield "nothing is missing"
    if is_deep and bool(errors) < copy.is_unhappy():
        yield "there is no error"
    if copy.taken:
        yield from (f"track {track} is whole" for track in named if track and not copy.lost[track])
        if is_deep and None not in named:
            yield from (f"track {track} has no error" for track in copy.lost if copy.lost[track] and track not in named)


def listed(path):
    """The muxer's list: sizes and checksums of each track's packets."""
    tracks = collections.defaultdict(list)
    for line in path.read_text(encoding="utf-8").splitlines():
        if not line.startswith("#"):
            fields = line.split(",")
            tracks[int(fields[0])].append((int(fields[4]), int(fields[5], 16)))
    return tracks


def try_file(tool, folder, path):
    """The disagreements, and how many copies there were of each fate."""
    found, counts = [], collections.Counter()
    data = path.read_bytes()
    own = {track.number: [(len(packet.payload), zlib.crc32(packet.payload)) for packet in track.packets]
           for track in lister.read(data).values() if track.packets}
    if own != listed(path.with_name(path.name + ".packets")):
        found.append(f"{path.name}: the lister does not list what the muxer was given")
    every = [(name, content, lister.read(content)) for name, content in copies(data, random.Random(path.name))]
    every += [(name, content, lister.read(data)) for name, content in wild(path.name)]
    for name, content, _ in every:
        (folder / f"{path.stem}.{name}{path.suffix}").write_bytes(content)
    for options in ([], ["--complete"]):
        checked = []
        for name, _, tracks in every:
            copy = folder / f"{path.stem}.{name}{path.suffix}"
            taken, pins = delivered(tool, options, copy)
            checked.append(Copy(copy, taken, missing(tracks, pins)))
            counts["refused" if not taken else "with losses" if checked[-1].is_unhappy() else "whole"] += 1
        found += disagreements(tool, options, checked)
    if not found:
        for name, _, _ in every:
            (folder / f"{path.stem}.{name}{path.suffix}").unlink()
    return found, counts


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    tool, folder = sys.argv[1].split(), Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    files = [path.with_suffix("") for path in sorted(MEDIA.glob("*.packets"))]
    files = [path for path in files if len(sys.argv) == 3 or path.name in sys.argv[3:]]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(lambda path: try_file(tool, folder, path), files))
    found = [words for wrong, _ in results for words in wrong]
    print("\n".join(found), end="\n" if found else "")
    counts = sum((count for _, count in results), collections.Counter())
    print(f"{len(files)} files, copies through two components: " +
          ", ".join(f"{counts[fate]} {fate}" for fate in ("whole", "with losses", "refused")) +
          f"; {len(found)} disagreements")
    # Copies of one fate alone would prove little.
    sys.exit(1 if found or len(counts) < (3 if len(sys.argv) == 3 else 1) else 0)


if __name__ == "__main__":
    main()
