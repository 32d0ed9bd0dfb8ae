#!/usr/bin/env python3
"""Whether decoders make the same of what `vantor-mkv extract` writes as of the file that it was taken from.

    tests/extract/compare.py TOOL FOLDER [NAME...]

TOOL is the program vantor-mkv, with both components beside it; files are made in FOLDER, which is made as well. With
names, only those rows are run, by the names of codecs or of media files. For every row a second of a generated picture or tone is encoded and muxed by ffmpeg,
extracted with the complete component, which delivers every packet, and:

- decoded from both files; the frames' hashes are compared (of sound, one hash over all samples);
- where the extracted form keeps packets apart, or a parser finds them again, their payloads are compared;
- where the sink's form is raw samples, these are held against the packets by the index;
- extracted once more by the component as it is: its file has to be the same, or a beginning of it where the announced
  end cuts packets off.

The last line sums up; the exit status is 0 when all rows passed. Without ffmpeg there is one line that says so, and
status 0.
"""
import base64
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
from dataclasses import dataclass

PICTURE = ["-f", "lavfi", "-i", "testsrc2=size=176x144:rate=25:duration=1"]
TONE = ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000:duration=1", "-ac", "2"]
SUBRIP = """1
00:00:00,000 --> 00:00:00,400
The first <i>line</i>
and a second

2
00:00:00,400 --> 00:00:00,700
Grün, größer, Ωmega

3
00:00:00,800 --> 00:00:01,000
The last line

"""
SCRIPT = """[Script Info]
ScriptType: v4.00+

[V4+ Styles]
Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, Underline, \
StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding
Style: Default,Sans,20,&H00FFFFFF,&H000000FF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,2,2,2,10,10,10,1

[Events]
Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text
Dialogue: 3,0:00:00.50,0:00:00.80,Default,,0,0,0,,first in the script, shown second
Dialogue: 0,0:00:00.00,0:00:00.40,Default,,0,0,0,,{\\i1}shown{\\i0}\\Nfirst
Dialogue: 0,0:00:00.80,0:00:01.00,Default,Name,1,2,3,,third
"""
LOW_TONE = ["-f", "lavfi", "-i", "sine=frequency=440:sample_rate=16000:duration=1"]


@dataclass
class Row:
    """A codec: how it is encoded, and which files are expected of it."""

    name: str
    encode: str  # options of ffmpeg
    extension: str  # of the extracted file
    source: list  # PICTURE, TONE, or inputs of one's own
    packets: bool = False  # the extracted file keeps packets: their payloads are compared
    bits: str = ""  # a bitstream filter that takes off what the form puts around a packet
    only_complete: bool = False  # the component as it is has no pin for it
    forms: tuple = ()  # options of ffmpeg before the extracted file is read
    through: str = ""  # a container that it is muxed into first: its reader finds what the encoder keeps to itself
    original: bool = False  # decoded is that container: ffmpeg does not read the end of the codec in Matroska
    text: str = ""  # compared as text, in this form
    ends: bool = False  # decoded is what is heard, without the padding at the ends


def video(name, encode, extension, **more):
    return Row(name, f"-c:v {encode}", extension, PICTURE, **more)


def subtitles(name, text, encode, extension, **more):
    """Beside a picture, so that the file begins at 0."""
    data = "data:text/plain;base64," + base64.b64encode(text.encode()).decode()
    form = "ass" if text is SCRIPT else "srt"
    return Row(name, f"-c:v libvpx -cpu-used 8 -deadline realtime -c:s {encode}", extension,
               [*PICTURE, "-f", form, "-i", data], text="ass" if extension == "ass" else "srt", **more)


def sound(name, encode, extension, source=None, **more):
    return Row(name, f"-c:a {encode}", extension, source or TONE, **more)


ROWS = [
    video("avc", "libx264 -preset veryfast -bf 2 -g 10", "h264"),
    video("avc_lossless", "libx264 -preset ultrafast -qp 0", "h264"),
    video("hevc", "libx265 -preset ultrafast -x265-params log-level=none -g 10", "h265"),
    video("mpeg1", "mpeg1video -bf 2 -g 10", "m1v", through="ts"),
    video("mpeg2", "mpeg2video -bf 2 -g 10", "m2v", through="ts"),
    video("mpeg4", "mpeg4 -bf 2 -g 10", "m4v"),
    video("xvid", "libxvid -g 10", "m4v"),
    video("vp8", "libvpx -cpu-used 8 -deadline realtime -g 10", "ivf", packets=True),
    video("vp9", "libvpx-vp9 -cpu-used 8 -deadline realtime -g 10", "ivf", packets=True),
    video("av1", "libsvtav1 -preset 12 -g 10", "ivf", only_complete=True),
    video("theora", "libtheora", "bin", packets=True),
    video("huffyuv", "huffyuv -pix_fmt yuv422p", "bin", packets=True),
    video("snow", "snow", "bin", packets=True),
    video("msmpeg4_2", "msmpeg4v2 -g 10", "bin", packets=True),
    video("wmv1", "wmv1 -g 10", "bin", packets=True),
    sound("aac", "aac", "aac", packets=True, bits="aac_adtstoasc"),
    sound("aac_mono", "aac -ac 1", "aac", LOW_TONE, packets=True, bits="aac_adtstoasc"),
    sound("aac_six", "aac -ac 6", "aac", packets=True, bits="aac_adtstoasc"),
    sound("ac3", "ac3", "ac3", packets=True),
    sound("eac3", "eac3", "eac3", packets=True, only_complete=True),
    sound("dts", "dca -strict -2", "dts", packets=True),
    sound("mp2", "mp2", "mp2", packets=True),
    sound("mp3", "libmp3lame", "mp3", packets=True),
    sound("pcm_u8", "pcm_u8", "wav"),
    sound("pcm_s16", "pcm_s16le", "wav"),
    sound("pcm_s24", "pcm_s24le", "wav"),
    sound("pcm_s32", "pcm_s32le", "wav"),
    sound("pcm_f32", "pcm_f32le", "wav"),
    sound("pcm_f64", "pcm_f64le", "wav"),
    sound("pcm_six", "pcm_s16le -ac 6", "wav"),
    sound("pcm_s16_big", "pcm_s16be", "wav", only_complete=True),
    sound("pcm_s24_big", "pcm_s24be", "wav", only_complete=True),
    sound("pcm_s32_big", "pcm_s32be", "wav", only_complete=True),
    sound("pcm_alaw", "pcm_alaw", "wav"),
    sound("pcm_mulaw", "pcm_mulaw", "wav"),
    sound("adpcm_ms", "adpcm_ms", "wav"),
    sound("adpcm_ima", "adpcm_ima_wav", "wav"),
    sound("opus", "libopus", "opus", packets=True),
    sound("opus_six", "libopus -ac 6", "opus", packets=True),
    sound("opus_cut", "libopus -t 0.8765", "opus", packets=True, through="opus", original=True, ends=True),
    sound("opus_short", "libopus -frame_duration 2.5", "opus", LOW_TONE, packets=True),
    sound("vorbis", "libvorbis", "ogg", packets=True),
    sound("vorbis_mono", "libvorbis", "ogg", LOW_TONE, packets=True),
    sound("vorbis_six", "libvorbis -ac 6", "ogg", packets=True),
    sound("flac", "flac", "flac", packets=True),
    sound("flac_24", "flac -sample_fmt s32 -bits_per_raw_sample 24", "flac", packets=True),
    sound("tta", "tta", "tta", packets=True, through="tta", original=True),
    sound("tta_mono", "tta", "tta", LOW_TONE, packets=True, through="tta", original=True),
    sound("wavpack", "wavpack", "wv"),
    sound("wavpack_six", "wavpack -ac 6", "wv"),
    subtitles("subrip", SUBRIP, "srt", "srt"),
    subtitles("substation", SCRIPT, "ass", "ass"),
    subtitles("webvtt", SUBRIP, "webvtt", "vtt", only_complete=True),
]

TESTS = pathlib.Path(__file__).resolve().parent.parent
# Of a file the streams, in their order, with what is expected of them: the extension, and how packets are compared.
PACKETS, ADTS_PACKETS = {"packets": True}, {"packets": True, "bits": "aac_adtstoasc"}
MEDIA = {
    "ac3_mp3_stripped.mka": [("ac3", PACKETS), ("mp3", PACKETS)],
    "asp_stripped.mkv": [("m4v", {})],
    "audio_laced.mka": [("ac3", PACKETS), ("mp3", PACKETS), ("aac", ADTS_PACKETS)],
    "avc_no_cues.mkv": [("h264", {}), ("aac", ADTS_PACKETS)],
    "flac_laced.mka": [("flac", PACKETS)],
}


class Failure(Exception):
    pass


def run(arguments, what):
    done = subprocess.run(arguments, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    if done.returncode != 0:
        raise Failure(f"{what} ends with {done.returncode}: {done.stderr.decode(errors='replace').strip()}")
    return done.stdout


def ffmpeg(*arguments, what):
    return run(["ffmpeg", "-hide_banner", "-v", "error", "-nostdin", "-y", "-threads", "1", *arguments], what)


def hashes(output):
    """Size and hash of every line of ffmpeg's framehash."""
    lines = [line for line in output.decode().splitlines() if line and not line.startswith("#")]
    return [tuple(field.strip() for field in line.split(",")[4:6]) for line in lines]


def decoded(path, row, what, forms=(), stream=0):
    # Elsewhere nothing is left out at the ends: what a container says of padding is no part of the stream.
    whole = [] if row.ends else ["-flags2", "+skip_manual"]
    source = [*forms, *whole, "-i", str(path), "-map", f"0:{stream}"]
    if row.source is PICTURE:
        return hashes(ffmpeg(*source, "-fps_mode", "passthrough", "-f", "framehash", "-hash", "md5", "-", what=what))
    return ffmpeg(*source, "-c:a", "pcm_f32le", "-f", "hash", "-hash", "md5", "-", what=what)


def packets(path, what, bits="", forms=(), stream=0):
    chosen = ["-bsf", bits] if bits else []
    return hashes(ffmpeg(*forms, "-i", str(path), "-map", f"0:{stream}", "-c", "copy", *chosen, "-f", "framehash", "-hash",
                         "md5", "-", what=what))


def raw_packets(path):
    index = json.loads(path.with_suffix(".json").read_text())
    payload = path.read_bytes()
    pieces = [payload[one["offset"]:one["offset"] + one["size"]] for one in index["samples"]]
    if sum(map(len, pieces)) != len(payload):
        raise Failure("the index does not cover the file")
    return [(str(len(piece)), hashlib.md5(piece).hexdigest()) for piece in pieces]


def texts(path, row, what):
    """What ffmpeg makes of subtitles, with the times of each."""
    return ffmpeg("-i", str(path), "-map", "0:s:0", "-f", row.text, "-", what=what)


def differing(what, source, extracted):
    if source == extracted and len(source) > 0:
        return
    if isinstance(source, list):
        at = next((i for i, pair in enumerate(zip(source, extracted)) if pair[0] != pair[1]), "the end")
        raise Failure(f"{what}: {len(source)} in the source, {len(extracted)} in the extracted file, differing at {at}")
    raise Failure(f"{what}: they differ")


def compare(row, tool, folder):
    folder = folder / row.name
    shutil.rmtree(folder, ignore_errors=True)
    (folder / "plain").mkdir(parents=True)
    source = folder / f"{row.name}.mkv"
    made = folder / "plain" / f"first.{row.through}" if row.through else source
    ffmpeg(*row.source, *row.encode.split(), "-strict", "-2", str(made), what="encoding")
    if row.through:
        ffmpeg("-i", str(made), "-c", "copy", str(source), what="muxing")
    run([tool, "extract", "--complete", "--all", "--raw", "-d", str(folder), str(source)], "extract --complete")
    extracted = [path for path in folder.iterdir() if path.suffix == "." + row.extension]
    if len(extracted) != 1:
        raise Failure(f"no .{row.extension} among {sorted(path.name for path in folder.iterdir())}")
    path = extracted[0]
    if row.extension == "bin":
        differing("samples", packets(source, "reading the source"), raw_packets(path))
    elif row.text:
        differing("texts", texts(source, row, "reading the source"), texts(path, row, "reading the extracted file"))
    else:
        differing("decoded frames", decoded(made if row.original else source, row, "decoding the source"),
                  decoded(path, row, "decoding the extracted file", row.forms))
        if row.packets:
            differing("packets", packets(source, "reading the source"),
                      packets(path, "reading the extracted file", row.bits, row.forms))
    if row.only_complete:
        return
    run([tool, "extract", "--all", "--raw", "-d", str(folder / "plain"), str(source)], "extract")
    again = folder / "plain" / path.name
    header = 128 if row.extension in ("wav", "ivf", "flac", "wv") else 0  # whose sizes differ with the length
    if row.extension in ("opus", "ogg", "tta"):  # whose pages and tables do
        plain, whole = packets(again, "reading what is cut off"), packets(path, "reading the extracted file")
    else:
        plain, whole = again.read_bytes(), path.read_bytes()
    if len(plain) <= header or whole[header:len(plain)] != plain[header:]:
        raise Failure("what the component delivers as it is, is no beginning of that")


def compare_media(name, tool, folder):
    source, folder = TESTS / "media" / name, folder / name
    shutil.rmtree(folder, ignore_errors=True)
    run([tool, "extract", "--complete", "--all", "-d", str(folder), str(source)], "extract --complete")
    for stream, (extension, more) in enumerate(MEDIA[name]):
        row = Row(name, "", extension, PICTURE if extension in ("h264", "m4v") else TONE, **more)
        path = next(folder.glob(f"*.{extension}"))
        differing(f"stream {stream}, decoded frames", decoded(source, row, "decoding the source", stream=stream),
                  decoded(path, row, "decoding the extracted file"))
        if row.packets:
            differing(f"stream {stream}, packets", packets(source, "reading the source", stream=stream),
                      packets(path, "reading the extracted file", row.bits))


def main():
    if len(sys.argv) < 3:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    if shutil.which("ffmpeg") is None:
        print("left out: there is no ffmpeg")
        return 0
    tool, folder = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2])
    wanted = sys.argv[3:] or [row.name for row in ROWS] + list(MEDIA)
    rows = [row for row in ROWS if row.name in wanted]
    media = [name for name in MEDIA if name in wanted]
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = {row.name: pool.submit(compare, row, tool, folder) for row in rows}
        results |= {name: pool.submit(compare_media, name, tool, folder) for name in media}
        for name, result in results.items():
            try:
                result.result()
            except (Failure, OSError, ValueError, KeyError, StopIteration) as failure:
                failed += 1
                print(f"{name}: {failure}")
    print(f"{len(results) - failed} of {len(results)} passed: {len(rows)} codecs, {len(media)} media files")
    return 0 if failed == 0 and results else 1


if __name__ == "__main__":
    sys.exit(main())
