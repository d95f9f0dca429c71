#!/usr/bin/env python3
"""Writes first inputs for the fuzzing programs: FOLDER/<target>/<name>.

  fuzz/make-seeds.py FOLDER [--builder build/fuzz/bin/fuzz_builder_movies]

Tiny files by the ffmpeg program and the tests' builder, the project's samples, and texts and numbers made here. Nothing
comes from files of others.
"""

import argparse
import plistlib
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MAX_MOVIE, MAX_MEDIA = 64 << 10, 128 << 10

PICTURE = ["-f", "lavfi", "-i", "testsrc=size=32x32:rate=25:duration=0.2"]
TONE = ["-f", "lavfi", "-i", "sine=sample_rate=8000:duration=0.1"]
CODED = ["-c:v", "mpeg4", "-q:v", "30", "-c:a", "pcm_s16le"]

# Name, inputs, options; by the name's ending ffmpeg knows the format.
MOVIES = [
    ("plain.mov", PICTURE + TONE, CODED),
    ("faststart.mp4", PICTURE, ["-c:v", "mpeg4", "-movflags", "+faststart"]),
    ("timecode.mov", PICTURE, ["-c:v", "mpeg4", "-timecode", "10:00:00:00"]),
    ("drop.mov", PICTURE, ["-r", "30000/1001", "-c:v", "mpeg4", "-timecode", "01:00:00;02"]),
    ("fragments.mp4", PICTURE, ["-c:v", "mpeg4", "-g", "2", "-movflags", "frag_keyframe+empty_moov+default_base_moof"]),
    ("fragments-sidx.mp4", PICTURE, ["-c:v", "mpeg4", "-g", "2", "-movflags", "frag_keyframe+dash+global_sidx"]),
    ("keys.mov", PICTURE, ["-c:v", "mpeg4", "-movflags", "use_metadata_tags", "-metadata", "title=T", "-metadata", "odd=1"]),
    ("tags.m4a", TONE, ["-c:a", "alac", "-metadata", "title=T", "-metadata", "artist=A"]),
    ("sowt.mov", TONE, ["-c:a", "pcm_s24le", "-metadata", "title=T"]),
    ("ima4.mov", TONE, ["-c:a", "adpcm_ima_qt"]),
    ("ulaw.mov", TONE, ["-c:a", "pcm_mulaw"]),
    ("fl64.mov", TONE, ["-c:a", "pcm_f64be", "-ac", "3"]),
    ("prores.mov", PICTURE, ["-c:v", "prores_ks", "-profile:v", "0", "-color_primaries", "bt709", "-color_trc", "bt709"]),
    ("hvc.mov", PICTURE, ["-c:v", "mjpeg", "-pix_fmt", "yuvj420p", "-field_order", "tt"]),
]
MEDIA = [
    ("s16.wav", TONE, ["-c:a", "pcm_s16le", "-metadata", "title=T"]),
    ("bext.wav", TONE, ["-c:a", "pcm_s24le", "-write_bext", "1", "-metadata", "description=d", "-metadata", "time_reference=8000"]),
    ("rf64.wav", TONE, ["-c:a", "pcm_s16le", "-rf64", "always"]),
    ("float.wav", TONE, ["-c:a", "pcm_f32le", "-ac", "6"]),
    ("alaw.wav", TONE, ["-c:a", "pcm_alaw"]),
    ("adpcm.wav", TONE, ["-c:a", "adpcm_ima_wav"]),
    ("s16.aiff", TONE, ["-c:a", "pcm_s16be"]),
    ("s24.aiff", TONE, ["-c:a", "pcm_s24be", "-ac", "2", "-metadata", "title=T"]),
    ("ulaw.aifc", TONE, ["-f", "aiff", "-c:a", "pcm_mulaw"]),
    ("sowt.aifc", TONE, ["-f", "aiff", "-c:a", "pcm_s16le"]),
    ("ntsc.dv", ["-f", "lavfi", "-i", "color=black:size=720x480:rate=30000/1001"], ["-frames:v", "1", "-f", "dv", "-pix_fmt", "yuv411p"]),
]


def code(folder, recipes):
    for name, inputs, options in recipes:
        command = ["ffmpeg", "-nostdin", "-v", "error", "-y", *inputs, *options, "-threads", "1", "-fflags", "+bitexact"]
        if "dv" not in name:
            command += ["-flags:v", "+bitexact", "-flags:a", "+bitexact"]
        done = subprocess.run([*command, folder / name], check=False)
        if done.returncode != 0:
            print(f"ffmpeg cannot make {name}; it is left out", file=sys.stderr)
            (folder / name).unlink(missing_ok=True)


def compressed_header(movie):
    """The movie with its header as zlib makes it (cmov)."""
    import zlib

    at = movie.index(b"moov") - 4
    size = struct.unpack(">I", movie[at : at + 4])[0]
    packed = zlib.compress(movie[at : at + size])

    def atom(kind, content):
        return struct.pack(">I4s", len(content) + 8, kind) + content

    cmov = atom(b"cmov", atom(b"dcom", b"zlib") + atom(b"cmvd", struct.pack(">I", size) + packed))
    return movie[:at] + atom(b"moov", cmov) + movie[at + size :]


def atoms(movie):
    """(type, offset, size) of the outermost level."""
    at = 0
    while at + 8 <= len(movie):
        size, kind = struct.unpack(">I4s", movie[at : at + 8])
        if size < 8:
            break
        yield kind, at, size
        at += size


def odd_files(movie):
    """Files that hold more than one thinks, from a movie with its header at the end: (name, bytes)."""
    _, header_at, header_size = next(found for found in atoms(movie) if found[0] == b"moov")
    _, media_at, media_size = next(found for found in atoms(movie) if found[0] == b"mdat")
    header, media = movie[header_at : header_at + header_size], movie[media_at + 8 : media_at + media_size]

    def atom(kind, content):
        return struct.pack(">I4s", len(content) + 8, kind) + content

    def moved(content, by):
        """The header for media that lie so many bytes further back."""
        at = content.find(b"stco")
        while at >= 0:
            for entry in range(at + 12, at + 12 + 4 * struct.unpack(">I", content[at + 8 : at + 12])[0], 4):
                place = struct.unpack(">I", content[entry : entry + 4])[0] + by
                content = content[:entry] + struct.pack(">I", place) + content[entry + 4 :]
            at = content.find(b"stco", at + 4)
        return content

    front = movie[:media_at]
    mvhd = atom(b"moov", header[8 : 8 + struct.unpack(">I", header[8:12])[0]])
    yield "header-without-tracks.mov", mvhd + movie[:header_at] + moved(header, len(mvhd))
    yield "two-headers.mov", movie + header
    yield "two-movies.mov", movie + movie
    yield "zeros-behind.mov", movie + bytes(3000)
    yield "data-behind-zeros.mov", movie + bytes(70_000) + b"data" * 9
    yield "garbage-behind.mov", movie + b"\0\0\0\3abc"
    yield "cut-free.mov", movie[:media_at] + moved(header, header_size) + struct.pack(">I4s", 1 << 20, b"free") + media
    yield "media-to-the-end.mov", front + moved(header, header_size) + bytes(4) + b"mdat" + media + b"more than chunks"
    for kind in (b"free", b"skip"):
        yield f"media-in-{kind.decode()}.mov", front + atom(kind, media) + header
    # Media as an unknown atom of the header, behind all others.
    yield "media-in-header.mov", front + atom(b"moov", moved(header, header_size)[8:] + atom(b"data", media))
    yield "many-free.mov", movie[:header_at] + atom(b"free", b"") * 40 + header
    yield "dead-media.mov", movie[:header_at] + atom(b"mdat", b"dead") + atom(b"free", bytes(12)) + header


# What the save target does with a movie: sixteen bytes, two a step; see fuzz/SaveFuzz.cpp.
SCRIPTS = [bytes([stop, 0, *(value for step in steps for value in step)]).ljust(16, b"\0") for stop, steps in [
    (3, [(0, 1), (1, 9)]),
    (1, [(6, 7), (4, 0)]),
    (5, [(5, 3), (3, 1), (2, 1)]),
    (2, [(1, 255), (7, 0), (8, 3)]),
    (9, [(9, 2), (10, 0), (11, 0), (6, 5)]),
]]

TEXTS = ["01:02:03:04", "00:00:59;29", "-1:2:3:4", "1.", "12,3", "99999999", "0:00:00:05.00/600", "-0:00:00:01.1/30000", "", ":::", "1:2"]


def times():
    for number, text in enumerate(TEXTS):
        for kind in (2, 14):
            yield f"text-{number}-{kind}", struct.pack(">BbI", kind, 30, 108000) + text.encode()
        yield f"wide-{number}", struct.pack(">BiI", 3, 60, 0) + text.encode()
    for flags in (0, 1, 2, 9):
        yield f"frames-{flags}", struct.pack(">BBIIBqB4q", 0, flags, 30000, 1001, 30, 107892, 1, 23, 59, 59, 29)
    yield "time", struct.pack(">Bqiqii", 1, 100, 600, -7, 30000, 1001)
    yield "limits", struct.pack(">Bqiqii", 1, 2**63 - 1, 2**31 - 1, -(2**63), -(2**31), 1)


def plists():
    everything = {"a": 1, "key": "text", "name": 2.5, "PrefDefaultFrameRate": True, "list": [1, [2, {"x": b"data"}]]}
    for style, name in ((plistlib.FMT_XML, "xml"), (plistlib.FMT_BINARY, "binary")):
        yield f"{name}.plist", plistlib.dumps(everything, fmt=style)
        yield f"{name}-small.plist", plistlib.dumps({"a": "Grüße"}, fmt=style)
        yield f"{name}-array.plist", plistlib.dumps([1], fmt=style)
    yield "broken.plist", plistlib.dumps({"a": "1"})[:-20]
    yield "empty.plist", b""


def rules():
    """Sets of rules, good and bad ones, and files of options."""
    for path in sorted(ROOT.glob("checks/rules/*.json")):
        yield path.name, path.read_bytes()
    yield "small.json", b'{"name": "a", "rules": [{"field": "frameRate", "comparison": "present"}]}'
    yield "wrong-field.json", b'{"name": "a", "rules": [{"field": "tracks[v1].nothing", "comparison": "absent"}]}'
    yield "wrong-edit.json", b'{"name": "a", "rules": [{"field": "brand", "comparison": "absent", "edit": ["--flip", "--rotate up"]}]}'
    yield "patterns.json", b'{"name":"a","rules":[{"field":"file","comparison":"like","value":"*a*b?c**"},{"field":"metadata[x.y]","comparison":"unlike","value":"?"}]}'
    yield "deep.json", b"[" * 100
    yield "comments.json", b'// a\n{"name": /* b */ "a\\"", "rules": [{}]}'
    yield "options.txt", b"# a repair\n--rotate left --title 'Day 3'\n--metadata \"a=b\\\"c\"\n"
    yield "options-open.txt", b"--title 'Day 3\n--flip\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--builder", type=Path, default=ROOT / "build/fuzz/bin/fuzz_builder_movies")
    options = parser.parse_args()
    folders = {name: options.folder / name for name in ["open", "report", "save", "import", "times", "plist", "rules"]}
    for folder in folders.values():
        folder.mkdir(parents=True, exist_ok=True)

    with tempfile.TemporaryDirectory() as work:
        work = Path(work)
        code(work, MOVIES)
        subprocess.run([options.builder, work], check=True)
        for sample in [*ROOT.glob("samples/*.mov"), *ROOT.glob("samples/*.mp4")]:
            if sample.stat().st_size <= MAX_MOVIE // 2:
                shutil.copy(sample, work)
        (work / "compressed.mov").write_bytes(compressed_header((work / "plain.mov").read_bytes()))
        for name, content in odd_files((work / "timecode.mov").read_bytes()):
            (work / name).write_bytes(content)
        for number, movie in enumerate(sorted(work.iterdir())):
            content = movie.read_bytes()
            for target in ("open", "report"):
                (folders[target] / movie.name).write_bytes(content[:MAX_MOVIE])
            script = SCRIPTS[number % len(SCRIPTS)]
            (folders["save"] / movie.name).write_bytes((script + content)[:MAX_MOVIE])
    code(folders["import"], MEDIA)
    for name, content in times():
        (folders["times"] / name).write_bytes(content)
    for name, content in plists():
        (folders["plist"] / name).write_bytes(content)
    for name, content in rules():
        (folders["rules"] / name).write_bytes(content)
    for name, folder in folders.items():
        files = list(folder.iterdir())
        print(f"{name}: {len(files)} files, {sum(file.stat().st_size for file in files)} bytes")


if __name__ == "__main__":
    main()
