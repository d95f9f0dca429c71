#!/usr/bin/env python3
"""Exports movies losslessly and compares each decoded picture and the sound with what ffmpeg decodes of the movie itself.

scripts/exports.py PROGRAM FILE_OR_FOLDER...   (PROGRAM: reelwright-cli)

A movie that neither decodes is passed over. The exit status is 1 when one differs.
"""
import argparse
import json
import pathlib
import subprocess
import sys
import tempfile

LIMIT = 600  # seconds for one movie


def run(*command):
    """What the command prints; nothing when it fails or takes too long."""
    try:
        done = subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=LIMIT, check=False)
    except subprocess.TimeoutExpired:
        return None
    return done.stdout if done.returncode == 0 else None


def picture_track(program, path):
    """The ID of the first enabled video track, or nothing."""
    text = run(program, "info", "--json", str(path))
    if text is None:
        return None
    facts = json.loads(text)
    facts = facts[0] if isinstance(facts, list) else facts
    for track in facts.get("tracks", []):
        if track["enabled"] and track["type"] == "Video":
            return track["id"]
    return None


def hashes(path, stream, pixel_format):
    """A checksum a picture, in the order in which they are shown."""
    text = run("ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-map", f"0:{stream}", "-fps_mode", "passthrough",
               "-pix_fmt", pixel_format, "-f", "framemd5", "-")
    if text is None:
        return None
    return [line.rsplit(",", 1)[1].strip() for line in text.splitlines() if line and not line.startswith("#")]


def stream_of(path, track):
    """The index of the stream of that track, or of the first picture."""
    text = run("ffprobe", "-v", "error", "-show_entries", "stream=index,id,codec_type,pix_fmt", "-of", "json", str(path))
    if text is None:
        return None
    for stream in json.loads(text).get("streams", []):
        if stream.get("codec_type") == "video" and (track is None or int(stream.get("id", "0"), 16) == track):
            return stream
    return None


def judge(program, path, folder):
    """("same" | "differs" | "passed over", why)"""
    track = picture_track(program, path)
    source = stream_of(path, track) if track else None
    if source is None:
        return "passed over", "no enabled picture"
    out = folder / "out.mkv"
    exported = run(program, "export", "--format", "Lossless (FFV1, Matroska)", "--overwrite", "-o", str(out), str(path))
    result = stream_of(out, None) if exported is not None else None
    if result is None:
        expected = hashes(path, source["index"], source.get("pix_fmt", "yuv420p"))
        if not expected:
            return "passed over", "ffmpeg decodes nothing of it either"
        return "differs", f"not exported; ffmpeg decodes {len(expected)} pictures"
    expected = hashes(path, source["index"], result["pix_fmt"])
    found = hashes(out, result["index"], result["pix_fmt"])
    if expected == found:
        return "same", f"{len(found)} pictures"
    if expected is None or found is None:
        return "differs", "one of the two cannot be decoded"
    first = next((i for i, (a, b) in enumerate(zip(expected, found)) if a != b), min(len(expected), len(found)))
    return "differs", f"{len(found)} pictures, ffmpeg {len(expected)}; the first other one is number {first + 1}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("paths", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    files = []
    for path in arguments.paths:
        files += sorted(path.iterdir()) if path.is_dir() else [path]
    counts = {}
    with tempfile.TemporaryDirectory() as folder:
        for path in files:
            verdict, why = judge(arguments.program, path, pathlib.Path(folder))
            counts[verdict] = counts.get(verdict, 0) + 1
            print(f"{verdict:12} {path.name}: {why}", flush=True)
    print(", ".join(f"{count} {verdict}" for verdict, count in sorted(counts.items())))
    return 1 if counts.get("differs") else 0


if __name__ == "__main__":
    sys.exit(main())
