#!/usr/bin/env python3
"""Inserts the sound and the picture of many files into a movie, and has ffprobe judge the result.

Usage: judge-insertions.py DESTINATION.mov FILE_OR_FOLDER...   (REELWRIGHT_BIN: where reelwright-cli is)

For every file that has a track of the kind: the packets of the inserted track equal the source's (size and MD5, in order),
those of the destination's own tracks are what they were, the source is byte for byte what it was, and the result stands
alone when the source is gone. Prints a line for each file that fails, and the counts. Exit status 1 when one failed.
"""

import hashlib
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

CLI = os.path.join(os.environ.get("REELWRIGHT_BIN", "build/debug/bin"), "reelwright-cli")
KINDS = {"insert-audio": "a", "insert-video": "v"}
SUFFIXES = {".mov", ".mp4", ".m4v", ".m4a", ".qt", ".wav", ".aif", ".aiff", ".aifc", ".3gp"}


def said(*command):
    done = subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=120)
    return done.returncode, done.stdout, done.stderr.strip()


def whole(path):
    """What makes a reader of movies tell all samples, whatever the edit list shows of them."""
    return [] if Path(path).suffix.lower() in (".wav", ".aif", ".aiff", ".aifc") else ["-ignore_editlist", "1"]


def packets(path, stream):
    """Sizes and checksums of the packets of a stream ("a:0"); nothing where ffprobe cannot read them."""
    status, out, _ = said("ffprobe", "-v", "error", *whole(path), "-select_streams", stream, "-show_packets",
                          "-show_data_hash", "md5", "-show_entries", "packet=size,data_hash", "-of", "json", path)
    if status != 0:
        return None
    return [(int(packet["size"]), packet["data_hash"]) for packet in json.loads(out).get("packets", [])]


def bytes_of(rows):
    """All of the packets' sizes: where sound has no frames, ffprobe cuts packets at chunks, which differ."""
    return sum(size for size, _ in rows)


def digest(path):
    hashed = hashlib.sha256()
    with open(path, "rb") as file:
        for block in iter(lambda: file.read(1 << 20), b""):
            hashed.update(block)
    return hashed.hexdigest()


def raw_stream(path, stream):
    """The bytes of a stream in a row, whatever packets a reader makes of them."""
    done = subprocess.run(["ffmpeg", "-v", "error", *whole(path), "-i", path, "-map", f"0:{stream}", "-c", "copy",
                           "-f", "data", "-"], capture_output=True, timeout=120)
    return hashlib.md5(done.stdout).hexdigest() if done.returncode == 0 else None


def judge(source, option, destination, own, folder):
    """A sentence about what is wrong, "" for a good result, None for a source without such a track."""
    letter = KINDS[option]
    copy = Path(folder) / ("source" + source.suffix)
    shutil.copyfile(source, copy)
    wanted = packets(copy, letter + ":0")
    if not wanted:
        return None
    before = digest(copy)
    out = Path(folder) / "out.mov"
    out.unlink(missing_ok=True)
    status, _, errors = said(CLI, "edit", f"--{option}", str(copy), "-o", str(out), str(destination))
    if status != 0:
        return f"refused: {errors}"
    if digest(copy) != before:
        return "the source was changed"
    raw = raw_stream(copy, letter + ":0")
    copy.unlink()
    stream = f"{letter}:{len(own[letter])}"
    present = packets(out, stream)
    # Of some sources ffprobe reads less than their tables hold.
    if present != wanted and (present or [])[:len(wanted)] != wanted and raw_stream(out, stream) != raw:
        return f"packets differ: {len(wanted)} of {bytes_of(wanted)} bytes, then {len(present or [])}"
    for kind, streams in own.items():
        for number, rows in enumerate(streams):
            if packets(out, f"{kind}:{number}") != rows:
                return f"the destination's own {kind}:{number} has other packets"
    status, _, errors = said(CLI, "verify", str(out))
    return "" if status == 0 else f"verify: {errors}"


def own_streams(destination):
    streams = {}
    for letter in KINDS.values():
        streams[letter] = []
        while rows := packets(destination, f"{letter}:{len(streams[letter])}"):
            streams[letter].append(rows)
    return streams


def main(arguments):
    if len(arguments) < 2:
        print(__doc__)
        return 2
    destination = Path(arguments[0])
    own = own_streams(destination)
    sources = []
    for name in arguments[1:]:
        path = Path(name)
        sources += sorted(path.rglob("*")) if path.is_dir() else [path]
    good = bad = refused = 0
    for source in sources:
        if source.suffix.lower() not in SUFFIXES or not source.is_file():
            continue
        for option in KINDS:
            with tempfile.TemporaryDirectory() as folder:
                try:
                    problem = judge(source, option, destination, own, folder)
                except subprocess.TimeoutExpired:
                    problem = "no answer in time"
            if problem is None:
                continue
            good += problem == ""
            refused += problem.startswith("refused")
            bad += problem != "" and not problem.startswith("refused")
            if problem:
                print(f"{source.name} --{option}: {problem}", flush=True)
    print(f"{good} inserted as they were, {refused} refused, {bad} wrong")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
