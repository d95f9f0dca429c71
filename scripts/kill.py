#!/usr/bin/env python3
"""Kills reelwright-cli (SIGKILL) in the middle of its saves, over and over: ./test --kill

Each kind of save is first done undisturbed, and the system calls that touch a file are counted. Then it is killed

  at calls     before each of these calls (strace stops the program there), so that every step of the save is the last
               one once, whatever else the machine does; the last call is the program's end, when the save is done;
  at moments   at random times after the first byte was written, which fall inside calls as well. Only kills count that
               came before the program had ended; one that came too late is tried again until the time is over.

The file must then be the old movie or the new one (the same report and the same packets), and the next save must leave a
movie with one header and those packets. What the program left in the folder is counted.
Where the system does not let strace stop programs, moments are all there is.
"""

import argparse
import collections
import dataclasses
import json
import os
import random
import re
import shlex
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
CALLS = (
    "pwrite64,write,copy_file_range,ftruncate,fallocate,fdatasync,fsync,flock,chmod,fchmod,chown,fchown,"
    "setxattr,fsetxattr,rename,renameat,renameat2,unlink,unlinkat,utimensat,exit_group"
)
MEGABYTE = 1 << 20


@dataclasses.dataclass
class Kind:
    name: str
    sample: str
    edit: list
    before: tuple = ()  # an edit that is made first, so that there is something to take away
    ballast: str = ""  # where an unknown atom is put that makes single calls long
    old: dict = None  # the movie before the save
    new: dict = None  # and after it
    calls: list = dataclasses.field(default_factory=list)  # (name, how many of that name came by then)
    took: float = 0  # seconds from the first byte that is written to the end
    counts: collections.Counter = dataclasses.field(default_factory=collections.Counter)


KINDS = [
    Kind("in place, same size", "header-first.mp4", ["--rotate", "right"]),
    Kind("in place, same size, at the end", "header-last.mov", ["--rotate", "right"]),
    Kind("in place, grown out of its place", "header-first.mp4", ["--autoplay", "on"]),
    Kind("in place, grown at the end", "header-last.mov", ["--autoplay", "on"]),
    Kind("in place, shrunk", "header-last.mov", ["--autoplay", "off", "--controller", "show"], ("--autoplay", "on", "--controller", "hide")),
    Kind("in place, back to the front", "header-first.mp4", ["--autoplay", "off"], ("--autoplay", "on")),
    Kind("in place, header of 8 MB", "header-last.mov", ["--autoplay", "on"], ballast="in the header"),
    Kind("timecode track changed", "timecode-2997-drop.mov", ["--timecode", "02:03:04:05"]),
    Kind("timecode track added", "header-last.mov", ["--timecode", "02:03:04:05"]),
    Kind("anew", "header-last.mov", ["--force-resave", "--autoplay", "on"]),
    Kind("anew, 32 MB", "header-last.mov", ["--force-resave", "--autoplay", "on"], ballast="behind"),
    Kind("anew with a timecode track", "header-last.mov", ["--force-resave", "--timecode", "02:03:04:05"]),
    Kind("flattened", "fragmented.mp4", ["--rotate", "right"]),
]


class Failed(Exception):
    pass


# Seconds of waiting for a program's end.
PATIENCE = 60


def launched(command, output):
    """In a group of its own, so that what it started ends with it."""
    return subprocess.Popen(
        [os.fspath(part) for part in command], stdin=subprocess.DEVNULL, stdout=output, stderr=output, process_group=0
    )


def ended(child, patience=PATIENCE):
    """What it printed until its end, which must come."""
    try:
        return child.communicate(timeout=patience)
    except BaseException as error:
        os.killpg(child.pid, signal.SIGKILL)
        child.communicate()
        if isinstance(error, subprocess.TimeoutExpired):
            raise Failed(f"{shlex.join(child.args)} does not end") from error
        raise


def said(command):
    child = launched(command, subprocess.PIPE)
    out, errors = ended(child)
    return child.returncode, out, errors.decode(errors="replace").strip()


def may_trace():
    try:
        return said(["strace", "-o", os.devnull, "true"])[0] == 0
    except (FileNotFoundError, Failed):
        return False


def weigh_down(path, place):
    """Puts an atom that nobody knows at the end of the file, which is the end of the header as well."""
    data = bytearray(path.read_bytes())
    size = (8 if place == "in the header" else 32) * MEGABYTE
    if place == "in the header":
        header = data.rindex(b"moov") - 4
        length = int.from_bytes(data[header : header + 4], "big")
        assert header + length == len(data), "the header is not at the end"
        data[header : header + 4] = (length + size).to_bytes(4, "big")
    path.write_bytes(data + size.to_bytes(4, "big") + b"Kest" + random.Random(1).randbytes(size - 8))


class Killer:
    def __init__(self, cli, folder, chance):
        self.cli = cli
        self.chance = chance
        self.originals = folder / "originals"
        self.folder = folder / "work"
        self.log = folder / "calls"
        self.originals.mkdir()
        self.folder.mkdir()

    def movie(self, path):
        """What the report says of the movie, without what belongs to the file, and its packets."""
        status, out, errors = said([self.cli, "info", "--json", path])
        if status != 0:
            raise Failed(f"the file does not open: {errors}")
        facts = json.loads(out)
        for name in ("file", "size", "canUpdate", "warnings"):
            facts.pop(name, None)
        status, out, errors = said(
            ["ffprobe", "-v", "error", "-ignore_editlist", "1", "-show_packets", "-show_data_hash", "md5"]
            + ["-show_entries", "packet=stream_index,size,data_hash", "-of", "csv=p=0", path]
        )
        if status != 0:
            raise Failed(f"ffprobe cannot read the file: {errors}")
        return {"facts": facts, "packets": sorted(out.decode().splitlines())}

    def fresh(self, kind):
        for path in self.folder.iterdir():
            path.unlink()
        return Path(shutil.copy(self.originals / kind.name, self.folder / kind.sample))

    def edit(self, options, path, before=()):
        status, _, errors = said([*before, self.cli, "edit", *options, path])
        if status != 0:
            raise Failed(f"the save fails: {errors}")

    def prepare(self, kind, tracing):
        original = self.originals / kind.name
        shutil.copy(ROOT / "samples" / kind.sample, original)
        if kind.ballast:
            weigh_down(original, kind.ballast)
        if kind.before:
            self.edit(kind.before, original)
        kind.old = self.movie(self.fresh(kind))
        times = []
        for _ in range(3):
            child, start = self.started(kind)
            ended(child)
            times.append(time.perf_counter() - start)
        kind.took = statistics.median(times)
        copy = self.fresh(kind)
        # Only the first thread is followed; the log's own one is no part of the save.
        self.edit(kind.edit, copy, ["strace", "-o", self.log, "-e", f"trace={CALLS}", "-e", "signal=none"] if tracing else [])
        kind.new = self.movie(copy)
        if kind.new["facts"] == kind.old["facts"]:
            raise Failed("the edit changes nothing")
        seen = collections.Counter()
        for name in re.findall(r"^(\w+)\(", self.log.read_text(), re.MULTILINE) if tracing else []:
            seen[name] += 1
            kind.calls.append((name, seen[name]))

    def started(self, kind):
        """The program at work on a copy, and the time when it first wrote there (or ended, without a write)."""
        copy = self.fresh(kind)
        was = os.stat(copy)
        child = launched([self.cli, "edit", *kind.edit, copy], subprocess.DEVNULL)
        end = time.monotonic() + PATIENCE
        while child.poll() is None and len(os.listdir(self.folder)) == 1:
            if time.monotonic() > end:
                ended(child, 0)
            now = os.stat(copy)
            if (now.st_size, now.st_mtime_ns, now.st_ino) != (was.st_size, was.st_mtime_ns, was.st_ino):
                break
        return child, time.perf_counter()

    def at_call(self, kind, call):
        copy = self.fresh(kind)
        name, number = call
        rule = f"inject={name}:signal=KILL:when={number}"
        status, _, errors = said(["strace", "-o", os.devnull, "-e", f"trace={name}", "-e", rule, self.cli, "edit", *kind.edit, copy])
        if status != -signal.SIGKILL:
            raise Failed(f"the program did not come to {name} number {number}: status {status}, {errors}")
        self.judge(kind, copy, "at calls", done=name == "exit_group")

    def at_moment(self, kind):
        child, start = self.started(kind)
        moment = start + self.chance.uniform(0, kind.took)
        while child.poll() is None and time.perf_counter() < moment:
            pass
        child.send_signal(signal.SIGKILL)
        ended(child)
        killed = child.returncode == -signal.SIGKILL
        # How long a save takes moves with what else the machine does, and the moments move with it.
        kind.took *= 1.02 if killed else 0.95
        self.judge(kind, self.folder / kind.sample, "at moments" if killed else "too late", done=not killed)

    def judge(self, kind, copy, how, done):
        found = self.movie(copy)
        if found not in (kind.old, kind.new):
            raise Failed(f"the file is neither the old movie nor the new one: {json.dumps(found['facts'])}")
        if done and found != kind.new:
            raise Failed("a save that was reported done is not there")
        kind.counts[how] += 1
        if how != "too late":
            kind.counts["old" if found == kind.old else "new"] += 1
            left = [name for name in os.listdir(self.folder) if name != copy.name]
            if not all(name.startswith(f".{copy.name}.") for name in left):
                raise Failed(f"files lie beside the movie: {', '.join(left)}")
            kind.counts["left a hidden file"] += bool(left)
        self.edit(["--no-sync", "--autoclose", "on"], copy)
        after = self.movie(copy)
        headers = [atom for atom in json.loads(said([self.cli, "atoms", "--json", copy])[1])["atoms"] if atom["type"] == "moov"]
        if after["packets"] != found["packets"] or not after["facts"]["settings"]["autoClose"] or len(headers) != 1:
            raise Failed(f"the next save does not leave the movie with its change: {len(headers)} headers")


def table(kinds, wanted, tracing):
    heads = ["calls", "at calls", "at moments", "too late", "old", "new", "left a hidden file"]
    width = max(len(kind.name) for kind in kinds)
    print(f"{'save':{width}}  " + "  ".join(heads))
    for kind in kinds:
        numbers = [len(kind.calls) if tracing else "-", *(kind.counts[head] for head in heads[1:])]
        few = f"  fewer moments than the {wanted} asked for" if kind.counts["at moments"] < wanted else ""
        print(f"{kind.name:{width}}  " + "  ".join(f"{number:>{len(head)}}" for number, head in zip(numbers, heads)) + few)
    counts = sum((kind.counts for kind in kinds), collections.Counter())
    kills = counts["at calls"] + counts["at moments"]
    print(f"\n{kills} kills, {counts['at calls']} at calls and {counts['at moments']} at moments: ", end="")
    print(f"{counts['old']} left the old movie, {counts['new']} the new one, with their packets")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--cli", type=Path, default=ROOT / "build/release/bin/reelwright-cli")
    parser.add_argument("--moments", type=int, default=25, metavar="N", help="kills at moments for each kind of save (default 25)")
    parser.add_argument("--minutes", type=float, default=10, help="no more moments after that time (default 10)")
    parser.add_argument("--seed", type=int, help="for the same moments again (default: any)")
    parser.add_argument("--folder", type=Path, help="where the temporary folder is made (default: the system's)")
    options = parser.parse_args()
    if not os.access(options.cli, os.X_OK):
        parser.error(f"{options.cli} is not there; ./run cli --version builds it")
    seed = random.randrange(1 << 32) if options.seed is None else options.seed
    end = time.monotonic() + options.minutes * 60
    if not (tracing := may_trace()):
        print("strace may not stop programs here (or is not installed): the saves are killed at random moments only.\n")
    with tempfile.TemporaryDirectory(prefix="reelwright-kill.", dir=options.folder) as name:
        killer = Killer(options.cli.resolve(), Path(name), random.Random(seed))
        what = ""
        try:
            for kind in KINDS:
                what = f"{kind.name}, undisturbed"
                killer.prepare(kind, tracing)
                for call in kind.calls:
                    what = f"{kind.name}, killed before {call[0]} number {call[1]}"
                    killer.at_call(kind, call)
            while (left := [kind for kind in KINDS if kind.counts["at moments"] < options.moments]) and time.monotonic() < end:
                for kind in left:
                    what = f"{kind.name}, killed at a moment (seed {seed})"
                    killer.at_moment(kind)
        except Failed as failed:
            keep = Path(tempfile.mkdtemp(prefix="reelwright-kill-failed."))
            shutil.copytree(name, keep, dirs_exist_ok=True)
            print(f"{what}: {failed}\nThe files are kept in {keep}")
            return 1
    table(KINDS, options.moments, tracing)
    spared = [kind.name for kind in KINDS if not kind.counts["at moments"] or (tracing and not kind.counts["at calls"])]
    if spared:
        print(f"Not killed at all, at calls or at moments: {'; '.join(spared)}")
    return 1 if spared else 0


if __name__ == "__main__":
    sys.exit(main())
