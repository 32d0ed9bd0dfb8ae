#!/usr/bin/env python3
"""Compares what the complete component delivers with what a packet lister finds in the same files.

    tests/complete/compare_packets.py TOOL FILE...

Each packet has to be delivered on the pin of its track, with its payload and, within a tick of the file, its time, and
nothing else but codec headers. The packets are those of the list beside the file (FILE.packets, see
tests/media/README.md), or else what ffprobe finds. One line a file that is not delivered whole, with what is missing;
the last line is the sum. Exit status 1 when a file is not whole, 2 when a file has no list and there is no ffprobe.
"""

import json
import re
import shutil
import subprocess
import sys
from fractions import Fraction
from pathlib import Path

UNITS = 10_000_000  # 100 ns a second
KINDS = ("video", "audio", "subtitle")


class Stream:
    """What there is of a track: its kind, its codec and its packets as (time, size, crc32), times in 100 ns or None."""

    def __init__(self, kind, codec):
        self.kind, self.codec, self.packets = kind, codec, []
        self.position = None  # of the last packet's block


def listed(path):
    """The streams of a packet list, and the length of a tick in 100 ns."""
    streams, fields, tick = [], {}, 1_000_000
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.startswith("# tick "):
            tick = int(line.split()[2])
        elif line.startswith("# track "):
            words = line[2:].split()
            fields = dict(zip(words[2::2], words[3::2]))
            kind = {"V": "video", "A": "audio"}.get(fields["codec"][0], "subtitle")
            stream = Stream(kind, fields["codec"])
            stream.number, stream.base = int(words[1]), Fraction(fields["timebase"])
            stream.shift = int(fields["shift"])
            streams.append(stream)
        elif line and not line.startswith("#"):
            number, pts, _, _, size, crc, _, block, _ = line.split(",")
            stream = next(stream for stream in streams if stream.number == int(number))
            time = round(Fraction(pts) * stream.base * 1_000_000_000 / tick) + stream.shift
            # Of a lace only the first frame has a time of its own.
            laced = bool(stream.packets) and stream.block == block
            stream.block = block
            stream.packets.append((None if laced else time * tick // 100, int(size), int(crc, 16)))
    return streams, tick // 100


def probed(path):
    """The same by ffprobe, or nothing for a file that it cannot read whole."""
    run = subprocess.run(["ffprobe", "-v", "error", "-show_streams", "-show_packets", "-show_data_hash", "crc32", "-of",
                          "json", str(path)], capture_output=True, text=True, errors="replace", check=False)
    # What a decoder says of a payload is no concern here.
    said = [line for line in run.stderr.splitlines() if line.startswith("[matroska") or run.returncode != 0]
    if said:
        return None, said[-1]
    found = json.loads(run.stdout)
    streams = {}
    for one in found.get("streams", []):
        kind = one.get("codec_type")
        if kind in KINDS and not one.get("disposition", {}).get("attached_pic"):
            streams[one["index"]] = Stream(kind, one.get("codec_name", "?"))
    tick = UNITS // 1000
    for packet in found.get("packets", []):
        stream = streams.get(packet["stream_index"])
        if stream is None:
            continue
        # Frames of one lace have the position of their block in common, and only the first has a time in the file.
        laced = packet.get("pos") is not None and packet.get("pos") == stream.position
        stream.position = packet.get("pos")
        time = None if laced else packet.get("pts_time", packet.get("dts_time"))
        stream.packets.append((round(Fraction(time) * UNITS) if time else None, int(packet["size"]),
                               int(packet["data_hash"].split(":")[1], 16) if "data_hash" in packet else 0))
    return [streams[index] for index in sorted(streams)], tick


class Pin:
    def __init__(self, name):
        self.name, self.samples = name, []
        self.kind = re.search(r"(video|audio|subtitle) \d+$", name).group(1)


def delivered(tool, path):
    """The pins in their order, with their samples as (time, size, crc32, preroll)."""
    run = subprocess.run([*tool, "samples", "--complete", str(path)], capture_output=True, text=True,
                         encoding="utf-8", errors="replace", check=False)
    pins = {}
    for line in run.stdout.splitlines():
        row = json.loads(line)
        if row["type"] == "pin":
            pins[row["pin"]] = Pin(row["name"])
        elif row["type"] == "sample":
            pins[row["pin"]].samples.append((row["start"], row["size"], int(row["crc32"], 16), row["preroll"]))
    return [pins[number] for number in sorted(pins)], run.stderr.strip()


def matched(stream, pin):
    """Pairs of a packet and the sample that is it, in order, and the packets without one."""
    pairs, missing, at = [], [], 0
    for packet in stream.packets:
        for index in range(at, len(pin.samples)):
            if pin.samples[index][1:3] == packet[1:]:
                pairs.append((packet, pin.samples[index]))
                at = index + 1
                break
        else:
            missing.append(packet)
    return pairs, missing


def assigned(streams, pins):
    """Each stream's pin, or None: by kind and order, DTS behind other sound, a stream without a pin passed over."""
    result = []
    for kind in KINDS:
        of_kind = [stream for stream in streams if stream.kind == kind]
        of_kind.sort(key=lambda stream: stream.codec.lower().replace("a_", "") == "dts")
        free = [pin for pin in pins if pin.kind == kind]
        for left, stream in zip(range(len(of_kind), 0, -1), of_kind):
            fits = free and (len(free) >= left or not matched(stream, free[0])[1])
            result.append((stream, free.pop(0) if fits else None))
    return result


def codec_headers(stream, pin):
    """How many samples in front of the packets are headers of the codec, with the bare numbers 0 to 2 for times."""
    first = [sample[0] for sample in pin.samples[:3]]
    return 3 if "vorbis" in stream.codec.lower() and first == [0, 1, 2] else 0


def troubles(streams, pins, tick):
    """What is not as it should be, in words."""
    words, offsets = [], []
    for stream, pin in assigned(streams, pins):
        what = f"{stream.kind} {stream.codec}"
        if pin is None:
            if stream.packets:
                words.append(f"{what}: no pin for {len(stream.packets)} packets")
            continue
        pairs, missing = matched(stream, pin)
        if missing:
            words.append(f"{what}: {len(missing)} of {len(stream.packets)} packets missing")
        surplus = len(pin.samples) - len(pairs) - codec_headers(stream, pin)
        if surplus:
            words.append(f"{what}: {surplus} samples that are none of its packets")
        early = sum(1 for _, sample in pairs if sample[3] and sample[0] >= 0)
        if early:
            words.append(f"{what}: {early} samples marked as preroll")
        timed = [(packet[0], sample[0]) for packet, sample in pairs if packet[0] is not None]
        if timed:
            offset = timed[0][0] - timed[0][1]
            offsets.append((offset, what))
            late = sum(1 for time, start in timed if abs(time - start - offset) > tick)
            if late:
                worst = max(abs(time - start - offset) for time, start in timed)
                words.append(f"{what}: {late} of {len(timed)} times differ, by up to {worst / UNITS:.4f} s")
    # The file's own time of 0 is that of its first Cluster: the same for all tracks, but for a delay of the decoder.
    base = max((offset for offset, _ in offsets), default=0)
    words += [f"{what}: shifted by {(base - offset) / UNITS:.4f} s" for offset, what in offsets
              if base - offset > tick and "opus" not in what.lower()]
    return words


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    tool, whole, broken, unlisted = sys.argv[1].split(), 0, 0, 0
    for name in sys.argv[2:]:
        path = Path(name)
        packets = path.with_name(path.name + ".packets")
        if packets.exists():
            streams, tick = listed(packets)
        elif shutil.which("ffprobe"):
            streams, tick = probed(path)
        else:
            print(f"{path.name}: there is no list, and no ffprobe to make one")
            sys.exit(2)
        if streams is None:
            unlisted += 1
            print(f"{path.name}: the lister does not read it whole: {tick}")
            continue
        pins, messages = delivered(tool, path)
        words = troubles(streams, pins, tick)
        if words:
            broken += 1
            print(f"{path.name}: {'; '.join(words)}" + (f" [{messages.splitlines()[-1]}]" if messages else ""))
        else:
            whole += 1
    print(f"{whole} whole, {broken} not, {unlisted} that the lister does not read whole")
    sys.exit(1 if broken else 0)


if __name__ == "__main__":
    main()
