"""What ffprobe, mediainfo, exiftool and the atoms' bytes say of a file: facts, as a text by its name."""

import collections
import ctypes
import hashlib
import json
import os
import re
import select
import signal
import struct
import subprocess
import tempfile
import threading
import time
import zlib
from pathlib import Path

MEGABYTE = 1_000_000


def flat(value, path=""):
    """(path, text) of every leaf of a JSON value."""
    if isinstance(value, dict):
        for key, item in value.items():
            yield from flat(item, f"{path}/{key}" if path else key)
    elif isinstance(value, list):
        for number, item in enumerate(value):
            yield from flat(item, f"{path}[{number}]")
    else:
        yield path, str(value)


# Seconds of waiting for another program; there are damaged files on which one of them never ends.
PATIENCE = 60


class Stuck(Exception):
    """A program did not end, or did without an answer."""


def said(command, patience=PATIENCE):
    try:
        done = subprocess.run(
            [os.fspath(part) for part in command], capture_output=True, check=False, stdin=subprocess.DEVNULL, timeout=patience
        )
    except subprocess.TimeoutExpired as error:
        raise Stuck(os.fspath(command[0])) from error
    return done.returncode, done.stdout.decode(errors="replace"), done.stderr.decode(errors="replace")


def parsed(text):
    try:
        return json.loads(text)
    except ValueError:
        return {"unreadable": text[:200]}


def ffprobe(path):
    status, out, _ = said(["ffprobe", "-v", "quiet", "-show_format", "-show_streams", "-show_chapters", "-of", "json", path])
    report = parsed(out)
    for stream in report.get("streams", []):
        # By their types: where one comes, the others keep their names.
        side = stream.pop("side_data_list", [])
        stream.update({f"side_data_list[{data.get('side_data_type')}]": data for data in side})
    facts = dict(flat(report))
    facts["exit status"] = str(status)
    return facts


def mediainfo(path):
    _, out, _ = said(["mediainfo", "--Output=JSON", path])
    facts = {}
    for track in (parsed(out).get("media") or {}).get("track", []):
        # Tracks by their IDs: where one comes, the others keep their names.
        name = " ".join(filter(None, (track.get("@type", "?"), track.get("ID"))))
        while f"{name}/@type" in facts:
            name += "'"
        facts.update((f"{name}/{key}", text) for key, text in flat(track))
    return facts


# Looked up here: after a fork nothing may be loaded, for other threads may have held the loader's locks.
prctl = ctypes.CDLL(None).prctl


class ExifTool:
    """One exiftool process for each thread; starting it takes longer than its work."""

    local = threading.local()
    processes = []

    @staticmethod
    def end_with_us():
        """Left alone, exiftool would wait for more arguments for ever, and busily."""
        prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG

    def close(self):
        for process in self.processes:
            process.kill()
            process.wait()

    def process(self):
        process = getattr(self.local, "process", None)
        if process is None:
            process = self.local.process = subprocess.Popen(
                ["exiftool", "-stay_open", "True", "-@", "-"],
                bufsize=0,
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL,
                preexec_fn=self.end_with_us,
            )
            self.processes.append(process)
        return process

    def forget(self, process):
        self.local.process = None
        self.processes.remove(process)
        process.kill()
        process.communicate()

    @staticmethod
    def answer(process, arguments):
        """What it prints before it is ready for more."""
        end = time.monotonic() + PATIENCE
        process.stdin.write(("\n".join(arguments) + "\n").encode())
        out, ready = bytearray(), b"{ready}\n"
        while not out.endswith(ready):
            if not select.select([process.stdout], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError
            if not (part := process.stdout.read(MEGABYTE)):
                raise EOFError
            out += part
        return out.removesuffix(ready).decode(errors="replace")

    def __call__(self, path):
        process = self.process()
        try:
            report = parsed(self.answer(process, ["-j", "-a", "-u", "-G1:4", "-s", "-n", os.fspath(path), "-execute"]))
        except (TimeoutError, EOFError, BrokenPipeError) as error:
            self.forget(process)
            raise Stuck("exiftool") from error
        # Of several facts with one name the second and later ones are numbered; together they are one list.
        facts = collections.defaultdict(list)
        for key, text in flat(report[0] if isinstance(report, list) and report else report):
            facts[re.sub(r"Copy\d+:", "", key)].append(text)
        return {key: ", ".join(sorted(texts)) for key, texts in facts.items()}


exiftool = ExifTool()


def packets(path, with_bytes):
    """Checksums of every stream's packets: of their bytes, and of their times after the first and key frames. Edit lists are
    left out of it, so that only the media speak."""
    entries = "packet=stream_index,pts,dts,flags,size" + (",data_hash" if with_bytes else ",pos")
    command = ["ffprobe", "-v", "quiet", "-ignore_editlist", "1", "-show_packets", "-show_entries", entries, "-of", "json=compact=1"]
    if with_bytes:
        command += ["-show_data_hash", "md5"]
    _, out, _ = said([*command, path])
    sums = collections.defaultdict(lambda: (hashlib.md5(), hashlib.md5()))
    counts, starts = collections.Counter(), {}
    # Side data are left out too: samples to skip at the ends, which are no media.
    for packet in parsed(out).get("packets", []):
        stream = packet.get("stream_index")
        media, times = sums[stream]
        media.update(f"{packet.get('size')},{packet.get('data_hash', packet.get('pos'))}\n".encode())
        start = starts.setdefault(stream, packet.get("dts", packet.get("pts", 0)))
        times.update(f"{[packet[name] - start for name in ('pts', 'dts') if name in packet]},{packet.get('flags', '')[:1]}\n".encode())
        counts[stream] += 1
    facts = {f"stream {stream}": f"{counts[stream]} packets {media.hexdigest()}" for stream, (media, _) in sums.items()}
    for stream, (_, times) in sums.items():
        facts[f"stream {stream} times"] = times.hexdigest()
        facts[f"stream {stream} start"] = str(starts[stream])
    return facts


# The fields of the atoms that edits change, so that a rule can name the field: (name, bytes), where 0 is a time or a
# duration (4 bytes, 8 in version 1) and negative sizes are those of fields that are written in hexadecimal.
FIELDS = {
    "mvhd": [("created", 0), ("modified", 0), ("time scale", 4), ("duration", 0), ("rate to selection", -76), ("next track", 4)],
    "tkhd": [("created", 0), ("modified", 0), ("id", 4), ("", -4), ("duration", 0), ("layer to volume", -16), ("matrix", -36), ("size", -8)],
    "hdlr": [("component", -4), ("type", -4)],
    "stco": [("chunks", 4)],
    "co64": [("chunks", 4)],
    "mdhd": [("created", 0), ("modified", 0), ("time scale", 4), ("duration", 0), ("language", -4)],
}


def digest(data, plain=64):
    return data.hex() if len(data) <= plain else f"{len(data)} bytes {hashlib.md5(data).hexdigest()}"


def fields(kind, data):
    """(name, text) of the parts of an atom's inside."""
    wide = data[:1] == b"\1"
    long = 8 if wide else 4
    count = int.from_bytes(data[4:8], "big")
    end = 8 + count * (2 * long + 4)
    layout = [("version and flags", -4), *((name, size or long) for name, size in FIELDS.get(kind, []))]
    if kind == "elst" and 8 <= end <= len(data):
        yield "version and flags", data[:4].hex()
        edits = struct.iter_unpack(">Qqi" if wide else ">Iii", data[8:end])
        yield "edits", " ".join(f"{length}@{start}*{rate / 65536:g}" for length, start, rate in edits)
    elif len(layout) > 1 and (end := sum(abs(size) for _, size in layout)) <= len(data):
        at = 0
        for name, size in layout:
            part = data[at : at + abs(size)]
            at += abs(size)
            yield name, part.hex() if size < 0 else str(int.from_bytes(part, "big"))
    else:
        end = len(data)
        yield "", digest(data)
    if end < len(data):
        yield "more", digest(data[end:])


def atoms(cli, path):
    """What stands in every atom by its path: the inside of leaves, field by field where they are known, the order of a
    container's children, and its bytes besides them. Left out are places, and free space of the outermost level. A
    compressed header is unpacked."""
    facts = {}
    data = Path(path).read_bytes() if path.stat().st_size <= 64 * MEGABYTE else None

    def read(start, end):
        if data is not None:
            return data[start:end]
        with open(path, "rb") as file:
            file.seek(start)
            return file.read(end - start)

    def walk(nodes, prefix):
        counts = collections.Counter()
        for node in nodes:
            kind, end = node["type"], node["offset"] + node["size"]
            if kind in ("free", "skip", "wide") and not prefix:
                continue
            counts[kind] += 1
            name = f"{prefix}{kind}" + (f"[{counts[kind]}]" if counts[kind] > 1 or kind in ("trak", "mdat", "moof") else "")
            claimed = int.from_bytes(read(node["offset"], node["offset"] + 4), "big")
            if node["sizeForm"] != "32-bit" or claimed != node["size"]:
                facts[name + "/size"] = f"{node['sizeForm']}, {claimed}"
            inside = node["offset"] + (16 if node["sizeForm"] == "64-bit" else 8)
            children = node.get("children")
            if children:
                facts[name + "/children"] = " ".join(child["type"] for child in children)
                ends = [inside, *(child["offset"] + child["size"] for child in children)]
                starts = [*(child["offset"] for child in children), end]
                besides = "|".join(read(after, start).hex() for after, start in zip(ends, starts))
                if besides.strip("|"):
                    facts[name + "/besides"] = re.sub(r"\|+", "|", besides)
                walk(children, name + "/")
                if kind == "cmov":
                    unpack(next((child for child in children if child["type"] == "cmvd"), None), prefix)
            elif kind == "mdat":
                facts[name] = f"{end - inside} bytes"
            elif prefix.endswith("/stsd/"):
                facts[name] = digest(read(inside, end), 65536)
            else:
                for field, text in fields(kind, read(inside, end)):
                    facts[f"{name}/{field}".rstrip("/")] = text

    def unpack(packed, prefix):
        with tempfile.NamedTemporaryFile(suffix=".mov") as header:
            start = packed["offset"] + 12
            header.write(zlib.decompress(read(start, packed["offset"] + packed["size"])))
            header.flush()
            found = atoms(cli, Path(header.name))
        facts.update({key: text for key, text in found.items() if key.startswith(prefix)})

    walk(parsed(said([cli, "atoms", "--json", "--all", path])[1]).get("atoms", []), "")
    return facts
