"""A small Matroska reader and rewriter for make_media: enough to check a file that a muxer made, and to strip headers.

It shares nothing with the component, so that the two check each other.
"""

import struct
from dataclasses import dataclass, field

SEGMENT, INFO, TRACKS, CLUSTER, CUES, SEEK_HEAD = 0x18538067, 0x1549A966, 0x1654AE6B, 0x1F43B675, 0x1C53BB6B, 0x114D9B74
VOID, CRC32 = 0xEC, 0xBF
TRACK_ENTRY, TRACK_NUMBER, TRACK_TYPE, CODEC_ID, CONTENT_ENCODINGS = 0xAE, 0xD7, 0x83, 0x86, 0x6D80
TIMECODE, SIMPLE_BLOCK, BLOCK_GROUP, BLOCK, BLOCK_DURATION, REFERENCE_BLOCK = 0xE7, 0xA3, 0xA0, 0xA1, 0x9B, 0xFB
MASTERS = {SEGMENT, INFO, TRACKS, CLUSTER, CUES, SEEK_HEAD, TRACK_ENTRY, CONTENT_ENCODINGS, BLOCK_GROUP,
           0x6240, 0x5034, 0xBB, 0xB7, 0x4DBB}
LACINGS = ["none", "xiph", "fixed", "ebml"]


@dataclass
class Element:
    id: int
    start: int
    data_start: int
    end: int
    data: bytes  # the whole file
    children: list = field(default_factory=list)

    def payload(self):
        return self.data[self.data_start:self.end]

    def number(self):
        return int.from_bytes(self.payload(), "big")

    def find(self, *path):
        for child in self.children:
            if child.id == path[0]:
                return child.find(*path[1:]) if path[1:] else child
        return None

    def all(self, wanted):
        return [child for child in self.children if child.id == wanted]


def vint(data, at, keep_marker=False):
    """The variable-length number at a position: its value (None for the unknown size) and its length."""
    length = 9 - data[at].bit_length()
    value = int.from_bytes(data[at:at + length], "big")
    if keep_marker:
        return value, length
    value &= (1 << 7 * length) - 1
    return (None if value == (1 << 7 * length) - 1 else value), length


def parse(data, start=0, end=None, holder=None):
    end = len(data) if end is None else end
    elements = []
    at = start
    while at < end:
        identifier, id_length = vint(data, at, keep_marker=True)
        if holder == CLUSTER and identifier == CLUSTER:
            break  # the end of a Cluster of unknown size
        size, size_length = vint(data, at + id_length)
        data_start = at + id_length + size_length
        element = Element(identifier, at, data_start, end if size is None else data_start + size, data)
        if identifier in MASTERS:
            element.children = parse(data, data_start, element.end, identifier)
            if size is None and element.children:
                element.end = element.children[-1].end
        elements.append(element)
        at = element.end
    return elements


@dataclass
class Frame:
    track: int
    block: int  # the number of the block within its track
    ticks: int
    duration: int | None
    key: bool
    lacing: str
    payload: bytes


def unlace(payload, lacing):
    if lacing == 0:
        return [payload]
    count, at, sizes = payload[0] + 1, 1, []
    if lacing == 1:
        for _ in range(count - 1):
            size = 0
            while True:
                at += 1
                size += payload[at - 1]
                if payload[at - 1] != 255:
                    break
            sizes.append(size)
    elif lacing == 2:
        sizes = [(len(payload) - 1) // count] * (count - 1)
    else:
        for index in range(count - 1):
            value, length = vint(payload, at)
            at += length
            sizes.append(value if index == 0 else sizes[-1] + value - ((1 << (7 * length - 1)) - 1))
    frames = []
    for size in sizes + [len(payload) - at - sum(sizes)]:
        frames.append(payload[at:at + size])
        at += size
    return frames


class File:
    """A parsed file: its tracks and all its frames in file order."""

    def __init__(self, path):
        self.data = path.read_bytes()
        self.segment = next(element for element in parse(self.data) if element.id == SEGMENT)
        scale = self.segment.find(INFO, 0x2AD7B1)
        self.scale = scale.number() if scale else 1000000
        self.tracks = {entry.find(TRACK_NUMBER).number(): entry for entry in self.segment.find(TRACKS).all(TRACK_ENTRY)}
        self.clusters = self.segment.all(CLUSTER)
        self.frames = []
        blocks = dict.fromkeys(self.tracks, 0)
        for cluster in self.clusters:
            time = cluster.find(TIMECODE).number()
            for child in cluster.children:
                if child.id in (SIMPLE_BLOCK, BLOCK_GROUP):
                    self._add(time, child, blocks)

    def _add(self, cluster_time, element, blocks):
        group = element.id == BLOCK_GROUP
        block = (element.find(BLOCK) if group else element).payload()
        track, length = vint(block, 0)
        ticks = cluster_time + int.from_bytes(block[length:length + 2], "big", signed=True)
        flags = block[length + 2]
        duration = element.find(BLOCK_DURATION) if group else None
        key = element.find(REFERENCE_BLOCK) is None if group else bool(flags & 0x80)
        lacing = flags >> 1 & 3
        for payload in unlace(block[length + 3:], lacing):
            self.frames.append(Frame(track, blocks[track], ticks, duration.number() if duration else None, key,
                                     LACINGS[lacing], payload))
        blocks[track] += 1

    def duration(self):
        """The duration that the file states, in ticks; 0 where it states none."""
        stated = self.segment.find(INFO, 0x4489)
        return struct.unpack(">d" if len(stated.payload()) == 8 else ">f", stated.payload())[0] if stated else 0

    def codec(self, track):
        return self.tracks[track].find(CODEC_ID).payload().decode()


def element(identifier, payload):
    length = (identifier.bit_length() + 7) // 8
    return identifier.to_bytes(length, "big") + (1 << 56 | len(payload)).to_bytes(8, "big") + payload


def uint(identifier, value):
    return element(identifier, value.to_bytes(8, "big"))


def strip_header(source, target, track, prefix):
    """Rewrites a file without lacing: `prefix` is taken off every frame of a track, as a ContentEncoding says."""
    file = File(source)

    def rewrite(item):
        if item.id in (SIMPLE_BLOCK, BLOCK):
            number, length = vint(item.payload(), 0)
            head, payload = item.payload()[:length + 3], item.payload()[length + 3:]
            if number == track:
                assert not head[-1] & 6 and payload.startswith(prefix)
                payload = payload[len(prefix):]
            return element(item.id, head + payload)
        if item.id == TRACK_ENTRY and item.find(TRACK_NUMBER).number() == track:
            compression = element(0x5034, uint(0x4254, 3) + element(0x4255, prefix))
            encoding = element(0x6240, uint(0x5031, 0) + uint(0x5032, 1) + uint(0x5033, 0) + compression)
            return element(item.id, item.payload() + element(CONTENT_ENCODINGS, encoding))
        if item.id in (CLUSTER, BLOCK_GROUP, TRACKS):
            return element(item.id, b"".join(rewrite(child) for child in item.children
                                             if child.id not in (VOID, CRC32)))
        return item.data[item.start:item.end]

    def seek_head(positions):
        return element(SEEK_HEAD, b"".join(element(0x4DBB, element(0x53AB, key.to_bytes(4, "big")) + uint(0x53AC, at))
                                           for key, at in positions.items()))

    def cues(positions):
        points = b""
        for point in file.segment.find(CUES).all(0xBB):
            places = b"".join(element(0xB7, uint(0xF7, place.find(0xF7).number()) + uint(
                0xF1, positions[place.find(0xF1).number() + file.segment.data_start])) for place in point.all(0xB7))
            points += element(0xBB, uint(0xB3, point.find(0xB3).number()) + places)
        return element(CUES, points)

    body, index, clusters = b"", {INFO: 0, TRACKS: 0, CUES: 0}, {}
    base = len(seek_head(index))
    for item in file.segment.children:
        if item.id in (INFO, TRACKS, CLUSTER):
            index.setdefault(item.id, 0)
            if item.id == CLUSTER:
                clusters[item.start] = base + len(body)
            else:
                index[item.id] = base + len(body)
            body += rewrite(item)
    index.pop(CLUSTER)
    index[CUES] = base + len(body)
    target.write_bytes(file.data[:file.segment.start] + element(SEGMENT, seek_head(index) + body + cues(clusters)))
