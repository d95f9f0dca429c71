#!/usr/bin/env python3
"""Kills reelwright-cli (SIGKILL) at random moments of its saves, over and over: ./test --kill

Each round edits a copy of a movie, in place or written anew, and kills the program at a random moment of the time that
such a save takes (measured before, with and without --dry-run). The file must then open as the old movie or the new one (the same report, but for the edit), hold the
same packets, and be clean for the next save; what the program left in the folder is counted.
Whatever the round, the same seed chooses the same kinds and moments; the machine decides what they hit.
"""

import argparse
import collections
import hashlib
import json
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def said(command):
    done = subprocess.run([os.fspath(part) for part in command], capture_output=True, check=False, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout, done.stderr.decode(errors="replace")


class Failed(Exception):
    pass


class Killer:
    def __init__(self, cli, folder, chance):
        self.cli = cli
        self.folder = folder
        self.chance = chance

    def facts(self, path):
        """What the report says, without what belongs to the file and not to the movie."""
        status, out, errors = said([self.cli, "info", "--json", path])
        if status != 0:
            raise Failed(f"the file does not open: {errors.strip()}")
        facts = json.loads(out)
        for name in ("file", "size", "canUpdate", "warnings"):
            facts.pop(name, None)
        return facts

    @staticmethod
    def packets(path):
        status, out, errors = said(
            ["ffprobe", "-v", "error", "-ignore_editlist", "1", "-show_packets", "-show_data_hash", "md5"]
            + ["-show_entries", "packet=stream_index,size,data_hash", "-of", "csv=p=0", path]
        )
        if status != 0:
            raise Failed(f"ffprobe cannot read the file: {errors.strip()}")
        return collections.Counter(hashlib.md5(line).hexdigest() for line in out.splitlines())

    def options(self, kind):
        # The controller's item and the turn change with every save, whatever the movie was.
        return ["edit", "--rotate", "right", "--autoplay", "on", *(["--force-resave"] if kind == "anew" else [])]

    def prepare(self, source):
        """Old and new facts, and the time at which a save begins and ends, in seconds after the start."""
        copy = self.folder / source.name
        shutil.copy(source, copy)
        old, packets = self.facts(copy), self.packets(copy)
        took, new = {}, {}
        for kind in ("in place", "anew"):
            # A dry run does all but the save.
            runs = [["--dry-run"], []]
            times = [[], []]
            for _ in range(3):
                shutil.copy(source, copy)
                for more, list_of in zip(runs, times):
                    start = time.perf_counter()
                    status, _, errors = said([self.cli, *self.options(kind), *more, copy])
                    list_of.append(time.perf_counter() - start)
                    if status != 0:
                        raise Failed(errors)
            begin, finish = (sorted(list_of)[1] for list_of in times)
            took[kind] = (begin, max(finish, begin + 0.001))
            new[kind] = self.facts(copy)
            if new[kind] == old:
                raise Failed(f"{source.name}: the edit changes nothing")
        return old, new, packets, took

    def round(self, source, kind, known):
        """Which movie the file was after the kill, and whether something lay beside it."""
        old, new, packets, took = known
        copy = self.folder / source.name
        for path in self.folder.iterdir():
            path.unlink()
        shutil.copy(source, copy)
        child = subprocess.Popen(
            [self.cli, *self.options(kind), copy], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )
        begin, finish = took[kind]
        time.sleep(max(0, self.chance.uniform(begin - (finish - begin) / 4, finish + (finish - begin) / 8)))
        child.send_signal(signal.SIGKILL)
        killed = child.wait() == -signal.SIGKILL
        found = self.facts(copy)
        if found not in (old, new[kind]):
            raise Failed(f"the file is neither the old movie nor the new one: {json.dumps(found)}")
        if not killed and found != new[kind]:
            raise Failed("a save that was reported done is not there")
        if self.packets(copy) != packets:
            raise Failed("the packets differ")
        left = [path for path in self.folder.iterdir() if path != copy]
        status, _, errors = said([self.cli, "edit", "--no-sync", "--autoclose", "on", copy])
        if status != 0 or self.packets(copy) != packets:
            raise Failed(f"the next save fails: {errors.strip()}")
        return "saved before the kill" if not killed else "old" if found == old else "new", bool(left)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", type=Path, help="movies (default: three of the samples)")
    parser.add_argument("--cli", type=Path, default=ROOT / "build/release/bin/reelwright-cli")
    parser.add_argument("--rounds", type=int, default=400, help="(default 400)")
    parser.add_argument("--minutes", type=float, default=10, help="ends after that time at the latest (default 10)")
    parser.add_argument("--seed", type=int, default=1, help="(default 1)")
    parser.add_argument("--folder", type=Path, help="where the temporary folder is made (default: the system's)")
    options = parser.parse_args()
    if not os.access(options.cli, os.X_OK):
        parser.error(f"{options.cli} is not there; ./run cli --version builds it")
    files = options.files or [ROOT / "samples" / name for name in ("header-first.mp4", "header-last.mov", "timecode-2997-drop.mov")]
    end = time.monotonic() + options.minutes * 60
    counts = collections.Counter()
    done = 0
    with tempfile.TemporaryDirectory(prefix="reelwright-kill.", dir=options.folder) as name:
        killer = Killer(options.cli.resolve(), Path(name), random.Random(options.seed))
        try:
            known = {path: killer.prepare(path) for path in files}
            for number in range(options.rounds):
                if time.monotonic() > end:
                    break
                source = files[number % len(files)]
                kind = killer.chance.choice(["in place", "anew"])
                verdict, left = killer.round(source, kind, known[source])
                counts[kind, verdict] += 1
                counts[kind, "left a hidden file"] += left
                done += 1
        except Failed as failed:
            keep = Path(tempfile.mkdtemp(prefix="reelwright-kill-failed."))
            shutil.copytree(name, keep, dirs_exist_ok=True)
            print(f"Round {done + 1} (seed {options.seed}): {failed}\nThe files are kept in {keep}")
            return 1
    verdicts = ["old", "new", "saved before the kill", "left a hidden file"]
    print(f"{'save':10} " + " ".join(f"{verdict:>22}" for verdict in verdicts))
    for kind in ("in place", "anew"):
        print(f"{kind:10} " + " ".join(f"{counts[kind, verdict]:22}" for verdict in verdicts))
    print(f"\n{done} rounds, seed {options.seed}: every file was the old movie or the new one, with the same packets")
    killed = sum(counts[kind, verdict] for kind in ("in place", "anew") for verdict in ("old", "new"))
    if killed < done / 2:
        print(f"Only {killed} rounds killed the program during its run; the machine is too fast or too slow for this test.")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
