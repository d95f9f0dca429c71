#!/usr/bin/env python3
"""Writes movies for measuring into a folder and prints the path of each.

  make-movies.py FOLDER samples COUNT...   movies of that many samples (1e6 or 1000000), their media a hole
  make-movies.py FOLDER media SIZE...      movies of one header and that much media (1M, 10G), their media a hole
  make-movies.py FOLDER dense SIZE         a movie of that many real bytes, coded by ffmpeg
  make-movies.py FOLDER tracks COUNT...    of so many tracks: each has a name and refers to the next one
  make-movies.py FOLDER free COUNT...      with so many small free atoms
  make-movies.py FOLDER items COUNT...     with so many items of user data, all of one type
  make-movies.py FOLDER keys COUNT...      with so many metadata items, each with a key of its own

A hole takes no space on the disk, and reads as zeros; the header is whole and true. --header first puts it before
the media, as files for streaming have it; the default is last, as recorders write it. Nothing is removed here.
"""

import argparse
import array
import itertools
import os
import random
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

MEDIA_SCALE, FRAME_DURATION = 30000, 1001
SAMPLES_PER_CHUNK = 15
KEY_FRAME_DISTANCE = 30
MEAN_SAMPLE = 12_000
# Samples of a movie whose media grow while its header stays the same: an hour of pictures.
GROWTH_SAMPLES = 100_000


def atom(kind, *payload):
    content = b"".join(payload)
    return struct.pack(">I4s", len(content) + 8, kind) + content


def full(kind, *payload, flags=0):
    return atom(kind, struct.pack(">I", flags), *payload)


def numbers(values, code="I"):
    """Big-endian bytes of an array of numbers."""
    table = array.array(code, values)
    if sys.byteorder == "little":
        table.byteswap()
    return table.tobytes()


def sample_sizes(count, total):
    """Sizes as a coder of moving pictures makes them: every KEY_FRAME_DISTANCE-th large, the others varied."""
    chance = random.Random(1)
    pattern = array.array("I")
    for i in range(min(count, KEY_FRAME_DISTANCE * 331)):
        pattern.append(int(1000 * chance.uniform(4, 8) if i % KEY_FRAME_DISTANCE == 0 else 1000 * chance.uniform(0.2, 1.6)))
    sizes = (pattern * (count // len(pattern) + 1))[:count]
    scale = total / sum(sizes)
    sizes = array.array("I", (max(1, int(size * scale)) for size in sizes))
    # What rounding left over goes to the last sample, so that the media are as large as asked for.
    sizes[-1] += max(0, total - sum(sizes))
    return sizes


MATRIX = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)


def sample_table(sizes, media_start, wide):
    count = len(sizes)
    ends = [0, *itertools.accumulate(sizes)]
    offsets = [media_start + ends[first] for first in range(0, count, SAMPLES_PER_CHUNK)]
    runs = [(1, SAMPLES_PER_CHUNK)]
    if count % SAMPLES_PER_CHUNK:
        runs.append((len(offsets), count % SAMPLES_PER_CHUNK))
    if runs[-1][0] == 1:
        runs = runs[-1:]
    description = atom(
        b"2vuy",
        struct.pack(">6xH", 1),
        struct.pack(">HH4sIIHHIIIH32sHh", 0, 0, b"", 0, 0, 1920, 1080, 0x480000, 0x480000, 0, 1, b"", 24, -1),
    )
    return atom(
        b"stbl",
        full(b"stsd", struct.pack(">I", 1), description),
        full(b"stts", struct.pack(">III", 1, count, FRAME_DURATION)),
        full(b"stss", struct.pack(">I", (count - 1) // KEY_FRAME_DISTANCE + 1), numbers(range(1, count + 1, KEY_FRAME_DISTANCE))),
        full(b"stsc", struct.pack(">I", len(runs)), *(struct.pack(">III", chunk, samples, 1) for chunk, samples in runs)),
        full(b"stsz", struct.pack(">II", 0, count), numbers(sizes)),
        full(b"co64" if wide else b"stco", struct.pack(">I", len(offsets)), numbers(offsets, "Q" if wide else "I")),
    )


def track(number, sizes, media_start, wide, *more):
    count = len(sizes)
    # The movie counts in frames, so that the longest one still fits 32 bits.
    media_duration = count * FRAME_DURATION
    media_header = (
        struct.pack(">IQQIQHH", 1 << 24, 0, 0, MEDIA_SCALE, media_duration, 0, 0)
        if media_duration > 0xFFFFFFFF
        else struct.pack(">IIIIIHH", 0, 0, 0, MEDIA_SCALE, media_duration, 0, 0)
    )
    return atom(
        b"trak",
        full(
            b"tkhd",
            struct.pack(">IIIIIQHHHH", 0, 0, number, 0, count, 0, 0, 0, 0, 0),
            MATRIX,
            struct.pack(">II", 1920 << 16, 1080 << 16),
            flags=0xF,
        ),
        *more,
        atom(
            b"mdia",
            atom(b"mdhd", media_header),
            full(b"hdlr", b"mhlrvide", bytes(12), b"\x0cVideoHandler"),
            atom(
                b"minf",
                full(b"vmhd", struct.pack(">HHHH", 0, 0, 0, 0), flags=1),
                full(b"hdlr", b"dhlralis", bytes(12), b"\x0bDataHandler"),
                atom(b"dinf", full(b"dref", struct.pack(">I", 1), full(b"alis", flags=1))),
                sample_table(sizes, media_start, wide),
            ),
        ),
    )


def header(tracks, duration, *more):
    return atom(
        b"moov",
        full(
            b"mvhd",
            struct.pack(">IIIIIH10x", 0, 0, 30, duration, 0x10000, 0x100),
            MATRIX,
            struct.pack(">24xI", len(tracks) + 1),
        ),
        *tracks,
        *more,
    )


FILE_TYPE = atom(b"ftyp", b"qt  ", struct.pack(">I", 0x20050300), b"qt  ")


def write_many(path, kind, count):
    """A short movie with a great number of one thing; its header stands last."""
    media = bytes(8)
    start = len(FILE_TYPE) + 8
    tracks = [track(1, [len(media)], start, False)]
    gaps, more = b"", []
    if kind == "tracks":
        tracks = [
            track(
                number,
                [len(media)],
                start,
                False,
                atom(b"tref", atom(b"sync", struct.pack(">I", number % count + 1))),
                atom(b"udta", atom(b"name", f"Track {number}".encode())),
            )
            for number in range(1, count + 1)
        ]
    elif kind == "free":
        gaps = atom(b"free", bytes(8)) * count
    elif kind == "items":
        more = [atom(b"udta", atom(b"\xa9cmt", struct.pack(">HH", 4, 0), b"text") * count)]
    else:
        keys = b"".join(atom(b"mdta", f"org.example.key{number}".encode()) for number in range(count))
        items = b"".join(
            struct.pack(">II", 8 + 20, number) + atom(b"data", struct.pack(">II", 1, 0), b"text") for number in range(1, count + 1)
        )
        handler = full(b"hdlr", bytes(4), b"mdta", bytes(13))
        more = [atom(b"meta", handler, full(b"keys", struct.pack(">I", count), keys), atom(b"ilst", items))]
    path.write_bytes(FILE_TYPE + atom(b"mdat", media) + gaps + header(tracks, 1, *more))
    return path


def write_sparse(path, count, total, header_first, wide):
    """A movie of `count` samples, `total` bytes of media in all, a hole; chunk offsets of 64 or 32 bits."""
    sizes = sample_sizes(count, total)
    total = sum(sizes)
    media_header = struct.pack(">I4sQ", 1, b"mdat", total + 16)

    def movie(start):
        return header([track(1, sizes, start, wide)], count)

    with open(path, "wb") as out:
        out.write(FILE_TYPE)
        if header_first:
            size = len(movie(0))  # does not depend on where the media start
            out.write(movie(len(FILE_TYPE) + size + len(media_header)))
            out.write(media_header)
            out.truncate(out.tell() + total)
        else:
            out.write(media_header)
            start = out.tell()
            out.seek(total, os.SEEK_CUR)
            out.write(movie(start))
    return path


def write_dense(path, size, header_first):
    """Pictures and sound of real bytes, `size` of them or a little more: a second, coded once, over and over."""
    run = ["ffmpeg", "-nostdin", "-v", "error", "-y"]
    with tempfile.TemporaryDirectory(dir=path.parent) as folder:
        second = Path(folder, "second.mov")
        subprocess.run(
            run
            + ["-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=25,noise=alls=20", "-f", "lavfi", "-i", "sine=sample_rate=48000"]
            + ["-t", "1", "-c:v", "mjpeg", "-q:v", "2", "-pix_fmt", "yuvj422p", "-c:a", "pcm_s16le", "-threads", "2", second],
            check=True,
        )
        loops = -(-size // second.stat().st_size) - 1
        place = ["-movflags", "+faststart"] if header_first else []
        subprocess.run(run + ["-stream_loop", str(loops), "-i", second, "-c", "copy", *place, path], check=True)
    return path


MANY = ["tracks", "free", "items", "keys"]
UNITS = {"": 1, "K": 10**3, "M": 10**6, "G": 10**9, "T": 10**12}


def byte_count(text):
    number = text.rstrip("KMGT")
    return int(float(number) * UNITS[text[len(number) :]])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path)
    parser.add_argument("kind", choices=["samples", "media", "dense", *MANY])
    parser.add_argument("amounts", nargs="+", metavar="AMOUNT")
    parser.add_argument("--header", choices=["first", "last"], default="last")
    options = parser.parse_args()
    first = options.header == "first"
    options.folder.mkdir(parents=True, exist_ok=True)
    for amount in options.amounts:
        path = options.folder / f"{options.kind}-{amount}-{options.header}.mov"
        if options.kind == "samples":
            count = int(float(amount))
            # A little less than 4 GB, so that a header in front still leaves the last offset in 32 bits.
            write_sparse(path, count, count * MEAN_SAMPLE, first, count * MEAN_SAMPLE > 0xF0000000)
        elif options.kind == "media":
            write_sparse(path, GROWTH_SAMPLES, byte_count(amount), first, wide=True)
        elif options.kind in MANY:
            write_many(path, options.kind, int(float(amount)))
        else:
            write_dense(path, byte_count(amount), first)
        print(path)


if __name__ == "__main__":
    main()
