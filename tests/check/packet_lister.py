"""The packets of a Matroska file, listed from its bytes: a peer of the component and of the tool, with nothing of either.

    tracks = packet_lister.read(data)
    tracks[1].packets[0].size

A packet is a frame of a block whose track has an entry, wholly in the file. Files may be cut off anywhere and Clusters
may have no size.
"""

from dataclasses import dataclass, field

SEGMENT, SEEK_HEAD, INFO, TRACKS, CLUSTER, CUES = 0x18538067, 0x114D9B74, 0x1549A966, 0x1654AE6B, 0x1F43B675, 0x1C53BB6B
SEGMENT_CHILDREN = {SEEK_HEAD, INFO, TRACKS, CLUSTER, CUES, 0x1043A770, 0x1254C367, 0x1941A469}
TRACK_ENTRY, TRACK_NUMBER, TRACK_TYPE, CODEC_ID, CODEC_PRIVATE = 0xAE, 0xD7, 0x83, 0x86, 0x63A2
ENCODINGS = (0x6D80, 0x6240, 0x5034)
COMPRESSION, STRIPPING, SETTINGS = 0x4254, 3, 0x4255
SIMPLE_BLOCK, BLOCK_GROUP, BLOCK = 0xA3, 0xA0, 0xA1
KINDS = {1: "video", 2: "audio", 17: "subtitle"}
XIPH, FIXED, EBML = 1, 2, 3


@dataclass
class Element:
    id: int
    start: int
    data: int
    end: int | None  # as its size says, be the file that long or not; None: unknown


@dataclass
class Packet:
    position: int
    stored: int  # bytes in the file
    payload: bytes  # with what was stripped off


@dataclass
class Track:
    number: int
    kind: str
    codec: str
    prefix: bytes
    packets: list = field(default_factory=list)


def number(data, at, keeps_marker=False):
    """The number of variable length at a position and where it ends; None where the file ends before."""
    if at >= len(data) or data[at] == 0:
        return None
    length = 9 - data[at].bit_length()
    if at + length > len(data):
        return None
    value = int.from_bytes(data[at:at + length], "big")
    return (value if keeps_marker else value & (1 << 7 * length) - 1), at + length


def element(data, at):
    identifier = number(data, at, keeps_marker=True)
    size = identifier and number(data, identifier[1])
    if not size:
        return None
    unknown = size[0] == (1 << 7 * (size[1] - identifier[1])) - 1
    return Element(identifier[0], at, size[1], None if unknown else size[1] + size[0])


def children(data, at, end):
    """The elements that begin in a range and whose sizes are known."""
    while at < min(end, len(data)):
        child = element(data, at)
        if child is None or child.end is None:
            return
        yield child
        at = child.end


def payload(data, holder, *path):
    """Of the first element on a path of identifiers, or None."""
    for child in children(data, holder.data, holder.end):
        if child.id == path[0]:
            return payload(data, child, *path[1:]) if path[1:] else data[child.data:child.end]
    return None


def segment_children(data):
    """The elements of all Segments, each with where it ends in this file."""
    at = 0
    while (top := element(data, at)) is not None:
        if top.id != SEGMENT:
            at = len(data) if top.end is None else top.end
            continue
        at, end = top.data, len(data) if top.end is None else min(top.end, len(data))
        while at < end and (child := element(data, at)) is not None:
            at = unknown_end(data, child, end) if child.end is None else child.end
            child.end = min(at, len(data))
            yield child
        at = end


def unknown_end(data, cluster, end):
    """Where a Cluster without a size ends: where an element begins that lies beside Clusters, or nothing can be told."""
    at = cluster.data
    while at < end and (child := element(data, at)) is not None and child.id not in SEGMENT_CHILDREN:
        if child.end is None:
            break
        at = child.end
    return at


def lace_sizes(data, at, end, lacing):
    """The sizes of a lace's frames and where the first begins; None where the lace cannot be told."""
    if at >= len(data) or at >= end:
        return None
    count, at, sizes = data[at] + 1, at + 1, []
    for index in range(count - 1 if lacing != FIXED else 0):
        if lacing == XIPH:
            size, byte = 0, 255
            while byte == 255:
                if at >= len(data):
                    return None
                byte = data[at]
                size, at = size + byte, at + 1
        else:
            read = number(data, at)
            if read is None:
                return None
            size = read[0] if index == 0 else sizes[-1] + read[0] - ((1 << 7 * (read[1] - at) - 1) - 1)
            at = read[1]
        sizes.append(size)
    if lacing == FIXED:
        return ([(end - at) // count] * count, at) if (end - at) % count == 0 else None
    sizes.append(end - at - sum(sizes))
    return (sizes, at) if min(sizes) >= 0 else None


def take_block(data, block, tracks):
    track = number(data, block.data)
    if track is None or track[1] + 3 > min(len(data), block.end):
        return
    lacing = data[track[1] + 2] >> 1 & 3
    sizes, at = [block.end - track[1] - 3], track[1] + 3
    if lacing:
        laced = lace_sizes(data, at, block.end, lacing)
        if laced is None:
            return
        sizes, at = laced
    for size in sizes:
        if track[0] in tracks and at + size <= len(data):
            owner = tracks[track[0]]
            owner.packets.append(Packet(at, size, owner.prefix + data[at:at + size]))
        at += size


def take_entry(data, entry, tracks):
    track = payload(data, entry, TRACK_NUMBER)
    if not track:
        return
    compression = payload(data, entry, *ENCODINGS, COMPRESSION)
    stripped = compression is not None and int.from_bytes(compression, "big") == STRIPPING
    kind = KINDS.get(int.from_bytes(payload(data, entry, TRACK_TYPE) or b"", "big"), "other")
    codec = (payload(data, entry, CODEC_ID) or b"").decode(errors="replace")
    prefix = (payload(data, entry, *ENCODINGS, SETTINGS) or b"") if stripped else b""
    track = int.from_bytes(track, "big")
    tracks[track] = Track(track, kind, codec, prefix)


def read(data):
    """The tracks by their numbers, in the order of their entries."""
    tracks = {}
    found = list(segment_children(data))
    for item in found:
        if item.id == TRACKS:
            for entry in children(data, item.data, item.end):
                if entry.id == TRACK_ENTRY and entry.end <= len(data):
                    take_entry(data, entry, tracks)
    for item in found:
        if item.id == CLUSTER:
            for child in children(data, item.data, item.end):
                blocks = [child] if child.id == SIMPLE_BLOCK else []
                if child.id == BLOCK_GROUP:
                    blocks = [inner for inner in children(data, child.data, child.end) if inner.id == BLOCK]
                for block in blocks:
                    take_block(data, block, tracks)
    return tracks
