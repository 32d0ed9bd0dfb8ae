#!/usr/bin/env python3
"""Copies of the test media as they are found in the wild, each wrong in the way that one switch of the policy is for.

    tests/complete/wild_copies.py FOLDER

The packets are those of the original, whose list is copied beside each copy.
"""

import shutil
import struct
import sys
from pathlib import Path

MEDIA = Path(__file__).resolve().parent.parent / "media"
sys.path.insert(0, str(MEDIA))

# pylint: disable=wrong-import-position
import matroska as mkv  # noqa: E402

DURATION, SEEK, SEEK_POSITION, CLUSTER_POSITION = 0x4489, 0x4DBB, 0x53AC, 0xF1
SEEK_ID, VOID = 0x53AB, 0xEC


class Copy:
    """A file as bytes that may be changed, and its elements as they were."""

    def __init__(self, name):
        self.bytes = bytearray((MEDIA / name).read_bytes())
        self.top = mkv.parse(bytes(self.bytes))
        self.segment = next(item for item in self.top if item.id == mkv.SEGMENT)

    def put(self, item, payload):
        assert len(payload) == item.end - item.data_start
        self.bytes[item.data_start:item.end] = payload

    def each(self, *path):
        """All elements of the Segment on a path of identifiers."""
        found = [self.segment]
        for wanted in path:
            found = [child for item in found for child in item.all(wanted)]
        return found


def unmarked_sound(copy):
    """AudioKeyFrames: no block of the sound has its key flag."""
    sound = {track.find(mkv.TRACK_NUMBER).number() for track in copy.each(mkv.TRACKS, mkv.TRACK_ENTRY)
             if track.find(mkv.TRACK_TYPE).number() == 2}
    for block in copy.each(mkv.CLUSTER, mkv.SIMPLE_BLOCK):
        if block.payload()[0] & 0x7F in sound:
            copy.bytes[block.data_start + 3] &= 0x7F


def stated_too_short(copy):
    """PlayToEnd: the duration is far too small."""
    for duration in copy.each(mkv.INFO, DURATION):
        copy.put(duration, struct.pack(">d" if len(duration.payload()) == 8 else ">f", 1.0))


def unknown_sizes(copy):
    """PlayToEnd: the Clusters have no size."""
    for cluster in copy.each(mkv.CLUSTER):
        size = cluster.data_start - cluster.start - 4
        copy.bytes[cluster.start + 4:cluster.data_start] = mkv_size(0, size, unknown=True)


def mkv_size(value, length, unknown=False):
    everything = (1 << 7 * length) - 1
    return ((everything if unknown else value) | 1 << 7 * length).to_bytes(length, "big")


def hidden_start(copy):
    """DistrustSeekIndex: the index names the last Cluster where it named the Cues."""
    last = copy.each(mkv.CLUSTER)[-1].start - copy.segment.data_start
    for seek in copy.each(mkv.SEEK_HEAD, SEEK):
        if int.from_bytes(seek.find(SEEK_ID).payload(), "big") == mkv.CUES:
            copy.put(seek.find(SEEK_ID), mkv.CLUSTER.to_bytes(4, "big"))
            position = seek.find(SEEK_POSITION)
            copy.put(position, last.to_bytes(position.end - position.data_start, "big"))


def covered_start(copy):
    """DistrustSeekIndex: a Void reaches over all that follows, but the index names the first Cluster."""
    first = copy.each(mkv.CLUSTER)[0].start - copy.segment.data_start
    for seek in copy.each(mkv.SEEK_HEAD, SEEK):
        if int.from_bytes(seek.find(SEEK_ID).payload(), "big") == mkv.CUES:
            copy.put(seek.find(SEEK_ID), mkv.CLUSTER.to_bytes(4, "big"))
            position = seek.find(SEEK_POSITION)
            copy.put(position, first.to_bytes(position.end - position.data_start, "big"))
    void = copy.each(VOID)[0]
    copy.bytes[void.start + 1:void.data_start] = mkv_size(1 << 20, void.data_start - void.start - 1)


def cues_astray(copy):
    """DistrustSeekIndex: no cue leads to a Cluster."""
    for position in copy.each(mkv.CUES, 0xBB, 0xB7, CLUSTER_POSITION):
        copy.put(position, (position.number() + 1).to_bytes(position.end - position.data_start, "big"))


def padded_codecs(copy):
    """TrimCodecIds: a zero byte is counted to each codec identifier. All that lies behind is moved, so that the seek
    index is wrong, too; the Clusters stay beside each other."""
    for codec in reversed(copy.each(mkv.TRACKS, mkv.TRACK_ENTRY, mkv.CODEC_ID)):
        copy.bytes[codec.end:codec.end] = b"\0"
        track = next(item for item in copy.each(mkv.TRACKS, mkv.TRACK_ENTRY) if item.start < codec.start < item.end)
        for item in (codec, track, copy.each(mkv.TRACKS)[0], copy.segment):
            grow(copy, item)


def grow(copy, item):
    """One byte more in an element's size, in the same room."""
    value, length = mkv.vint(copy.bytes, item.start + id_length(item))
    if value is not None:
        at = item.start + id_length(item)
        copy.bytes[at:at + length] = mkv_size(value + 1, length)


def id_length(item):
    return (item.id.bit_length() + 7) // 8


COPIES = {
    "unmarked_sound.mkv": ("avc_aac.mkv", unmarked_sound),
    "unmarked_laces.mka": ("audio_laced.mka", unmarked_sound),
    "stated_too_short.mkv": ("avc_aac.mkv", stated_too_short),
    "unknown_sizes.mkv": ("avc_aac.mkv", unknown_sizes),
    "unknown_sizes_no_cues.mkv": ("avc_no_cues.mkv", unknown_sizes),
    "hidden_start.mkv": ("avc_aac.mkv", hidden_start),
    "covered_start.mkv": ("avc_aac.mkv", covered_start),
    "cues_astray.mkv": ("hevc_ac3.mkv", cues_astray),
    "padded_codecs.mkv": ("avc_aac.mkv", padded_codecs),
}


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    for name, (original, damage) in COPIES.items():
        copy = Copy(original)
        before = bytes(copy.bytes)
        damage(copy)
        assert bytes(copy.bytes) != before, name
        (folder / name).write_bytes(copy.bytes)
        shutil.copy(MEDIA / f"{original}.packets", folder / f"{name}.packets")


if __name__ == "__main__":
    main()
