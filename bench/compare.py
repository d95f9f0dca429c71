#!/usr/bin/env python3
"""Measures reelwright-cli against what one would use instead, on the same files and in one run.

  bench/compare.py                      everything; takes some minutes and 4 GB in the temporary folder
  bench/compare.py --only open,samples  some of it: open samples media jobs metadata batch edit timecode flatten
  bench/compare.py --json results.json  the numbers as well

Each row is the median of several rounds after one that does not count. In every round each program has its turn, so
that what else the machine does falls on all of them alike. "wall" is what a user waits for, "cpu" is user and system
time, "peak" is the largest resident memory, of the warm-up. The goals are printed at the end, reached or short.
"""

import argparse
import dataclasses
import itertools
import json
import os
import shutil
import signal
import statistics
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
MEGABYTE = 1e6
SECTIONS = ["open", "samples", "media", "many", "jobs", "metadata", "batch", "edit", "timecode", "flatten"]
# Two medians of the same work differ by that much on a machine that does other things as well.
SAME = 1.25


# ---- Measuring ------------------------------------------------------------------------------------------------------


@dataclasses.dataclass
class Turn:
    wall: float
    cpu: float
    peak: int


class Failed(Exception):
    pass


# A program starts with the memory of the one that started it, for that instant, and its peak counts that; time(1) is
# small, and its answer is the program's own.
TIME = shutil.which("time")


def peak_memory(command, log):
    """Runs a command and answers the most memory that it held."""
    if not TIME:
        return measure(command, log).peak
    answer = f"{log}.peak"
    measure([TIME, "-q", "-f", "%M", "-o", answer, *command], log)
    return int(Path(answer).read_text()) * 1024


def measure(command, log):
    """Runs a command with its output thrown away and answers what it took."""
    command = [os.fspath(part) for part in command]
    output = [
        (os.POSIX_SPAWN_OPEN, 0, os.devnull, os.O_RDONLY, 0),
        (os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0),
        (os.POSIX_SPAWN_OPEN, 2, log, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600),
    ]
    start = time.perf_counter()
    pid = os.posix_spawnp(command[0], command, os.environ, file_actions=output)
    _, status, used = os.wait4(pid, 0)
    wall = time.perf_counter() - start
    if os.waitstatus_to_exitcode(status) != 0:
        raise Failed(f"{' '.join(command)}\n{Path(log).read_text(errors='replace')[-2000:]}")
    return Turn(wall, used.ru_utime + used.ru_stime, used.ru_maxrss * 1024)


@dataclasses.dataclass
class Contender:
    name: str
    command: list | None = None
    # Called before each turn, outside the measured time; what it answers (if anything) is the command of this turn.
    prepare: object = None
    missing: str = ""


@dataclasses.dataclass
class Row:
    name: str
    turns: list
    peak: int = 0

    @property
    def wall(self):
        return statistics.median(turn.wall for turn in self.turns)

    @property
    def cpu(self):
        return statistics.median(turn.cpu for turn in self.turns)

    @property
    def best(self):
        return min(turn.wall for turn in self.turns)


def race(contenders, rounds, log):
    """Rows by name. The order of the turns moves on with each round."""
    rows = {contender.name: Row(contender.name, []) for contender in contenders}
    for number in range(rounds + 1):
        shift = number % len(contenders)
        for contender in contenders[shift:] + contenders[:shift]:
            command = contender.prepare() if contender.prepare else None
            command = command or contender.command
            if number == 0:
                rows[contender.name].peak = peak_memory(command, log)
            else:
                rows[contender.name].turns.append(measure(command, log))
    return rows


# ---- Showing --------------------------------------------------------------------------------------------------------


def duration_text(seconds):
    return f"{seconds * 1000:.1f} ms" if seconds < 1 else f"{seconds:.2f} s"


def table(heads, lines):
    widths = [max(len(line[i]) for line in [heads, *lines]) for i in range(len(heads))]
    for line in [heads, *lines]:
        cells = [cell.ljust(width) if i == 0 else cell.rjust(width) for i, (cell, width) in enumerate(zip(line, widths))]
        print("  " + "  ".join(cells).rstrip())


class Report:
    def __init__(self):
        self.goals = []
        self.sections = {}

    def show(self, title, rows, base, note=""):
        """A section's rows, each as so many times what `base` takes."""
        print(f"\n{title}")
        if note:
            print(f"  {note}")
        lines = [
            [
                row.name,
                duration_text(row.wall),
                duration_text(row.best),
                duration_text(row.cpu),
                f"{row.peak / MEGABYTE:.1f} MB",
                f"{row.wall / rows[base].wall:.2f}",
                f"{row.cpu / rows[base].cpu:.2f}" if rows[base].cpu else "-",
            ]
            for row in rows.values()
        ]
        table(["", "wall", "best", "cpu", "peak", "wall ratio", "cpu ratio"], lines)
        sys.stdout.flush()
        self.sections[title] = {row.name: dataclasses.asdict(row) for row in rows.values()}

    def faster(self, what, ours, other, wanted):
        """The goal that we are `wanted` times as fast as another."""
        ratio = other.wall / ours.wall
        self.goals.append((ratio >= wanted, what, f"{ratio:.1f}", f"{other.cpu / ours.cpu:.1f}", f"at least {wanted:g} times"))

    def as_fast(self, what, ours, other, wanted):
        """The goal that we take no more than `wanted` times what another takes."""
        ratio = ours.wall / other.wall
        self.goals.append((ratio <= wanted, what, f"{ratio:.2f}", f"{ours.cpu / other.cpu:.2f}", f"at most {wanted:g} times"))

    def at_most(self, what, ours, seconds):
        self.goals.append((ours.wall <= seconds, what, duration_text(ours.wall), duration_text(ours.cpu), f"at most {seconds:g} s"))

    def memory(self, what, ours, header):
        """The goal of memory: twice the header and 20 MB."""
        wanted = 2 * header + 20e6
        self.goals.append(
            (ours.peak <= wanted, what, f"{ours.peak / MEGABYTE:.1f} MB", "", f"at most {wanted / MEGABYTE:.1f} MB")
        )

    def show_goals(self):
        print("\nGoals (wall time decides)")
        lines = [[what, "reached" if reached else "SHORT", *rest] for reached, what, *rest in self.goals]
        table(["", "", "by wall", "by cpu", "wanted"], lines)


# ---- The files ------------------------------------------------------------------------------------------------------


class Files:
    """Makes the movies, and lets them go."""

    def __init__(self, folder):
        self.folder = folder

    def make(self, kind, amount, header="last"):
        command = [sys.executable, HERE / "make-movies.py", self.folder, kind, amount, "--header", header]
        return Path(subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip())

    def copy(self, path, name):
        target = self.folder / name
        subprocess.run(["cp", "--reflink=never", path, target], check=True)
        return target

    @staticmethod
    def remove(*paths):
        for path in paths:
            if path.is_dir():
                shutil.rmtree(path)
            else:
                path.unlink(missing_ok=True)


def header_size(path):
    """Bytes of the movie header of a file."""
    with open(path, "rb") as file:
        size = os.fstat(file.fileno()).st_size
        offset = 0
        while offset + 8 <= size:
            file.seek(offset)
            length, kind = struct.unpack(">I4s", file.read(8))
            if length == 1:
                (length,) = struct.unpack(">Q", file.read(8))
            if kind == b"moov":
                return length
            offset += length or size
    raise Failed(f"{path}: no movie header")


def settle():
    """Nothing written earlier is still on its way to the disk."""
    os.sync()


def forget(path):
    """The file is read from the disk the next time."""
    descriptor = os.open(path, os.O_RDONLY)
    os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_DONTNEED)
    os.close(descriptor)


# ---- The sections ---------------------------------------------------------------------------------------------------


class Bench:
    def __init__(self, cli, files, rounds, quick):
        self.cli = cli
        self.files = files
        self.rounds = rounds
        self.quick = quick
        self.log = os.fspath(files.folder / "messages.txt")
        self.report = Report()
        self.autoplays = {}  # of each file, as the last edit left it
        self.hours = {}
        self.ours = "reelwright-cli"

    def race(self, contenders, rounds=None):
        present = []
        for contender in contenders:
            if contender.missing and not shutil.which(contender.missing):
                print(f"  {contender.missing} is not installed, and is left out")
            else:
                present.append(contender)
        return race(present, rounds or self.rounds, self.log)

    def readers(self, path):
        return [
            Contender(self.ours + " info --json", [self.cli, "info", "--json", path]),
            Contender("ffprobe", ["ffprobe", "-v", "error", "-show_format", "-show_streams", path], missing="ffprobe"),
            Contender("mediainfo", ["mediainfo", path], missing="mediainfo"),
            Contender("exiftool", ["exiftool", "-fast2", path], missing="exiftool"),
        ]

    def autoplay(self, path, name, *options):
        """An edit in place that changes something each time."""

        def prepare():
            settle()
            state = self.autoplays[path] = "off" if self.autoplays.get(path) == "on" else "on"
            return [self.cli, "edit", "--autoplay", state, *options, path]

        return Contender(name, prepare=prepare)

    def change_timecode(self, path, name):
        """An edit in place that gives the movie another timecode each time; the first, which warms up, adds the track."""

        def prepare():
            settle()
            hour = self.hours[path] = (self.hours.get(path, 0) + 1) % 24
            return [self.cli, "edit", "--timecode", f"{hour:02}:00:00:00", path]

        return Contender(name, prepare=prepare)

    def open(self):
        report = self.report
        for header in ["last", "first"]:
            path = self.files.make("samples", "1e6", header)
            size = header_size(path)
            contenders = self.readers(path)
            rows = self.race(contenders)
            ours = rows[contenders[0].name]
            report.show(
                f"Open and report: a million samples, header {header}",
                rows,
                ours.name,
                f"header of {size / MEGABYTE:.1f} MB, media a hole of 12 GB; everything in the page cache",
            )
            for other in ["ffprobe", "mediainfo", "exiftool"]:
                if other in rows:
                    report.faster(f"report on a million samples, header {header}: faster than {other}", ours, rows[other], 10)
            report.memory(f"report on a million samples, header {header}: memory", ours, size)
            self.files.remove(path)

    def samples(self):
        counts = ["1e3", "1e4", "1e5", "1e6"] + ([] if self.quick else ["1e7"])
        for count in counts:
            path = self.files.make("samples", count)
            contenders = [*self.readers(path), self.autoplay(path, self.ours + " edit, in place")]
            rows = self.race(contenders)
            size = header_size(path)
            self.report.show(
                f"Growth with the number of samples: {count}", rows, contenders[0].name, f"header of {size / MEGABYTE:.2f} MB"
            )
            if count == counts[-1]:
                self.report.memory(f"report on {count} samples: memory", rows[contenders[0].name], size)
                self.report.memory(f"edit of {count} samples: memory", rows[contenders[-1].name], size)
            self.files.remove(path)

    def media(self):
        paths = {size: self.files.make("media", size) for size in ["1M", "100M", "10G", "100G"]}
        infos = [Contender(f"info, {size}B", [self.cli, "info", "--json", path]) for size, path in paths.items()]
        edits = [self.autoplay(path, f"edit, {size}B") for size, path in paths.items()]
        timecodes = [self.change_timecode(path, f"timecode, {size}B") for size, path in paths.items()]
        probes = [
            Contender(f"ffprobe, {size}B", ["ffprobe", "-v", "error", "-show_format", "-show_streams", path], missing="ffprobe")
            for size, path in paths.items()
        ]
        for title, contenders in [("report", infos), ("edit in place", edits), ("timecode in place", timecodes), ("for comparison, ffprobe", probes)]:
            rows = self.race(contenders, 2 * self.rounds)
            if not rows:
                continue
            base, *_, largest = rows.values()
            self.report.show(f"Growth with the size of the media: {title}", rows, base.name, "100 000 samples, media a hole")
            if contenders is not probes:
                self.report.as_fast(f"{title}: 100 GB of media against 1 MB", largest, base, SAME)
        self.files.remove(*paths.values())

    def many(self):
        """Movies with a great number of one thing, and with twice as many: what that costs, and that it costs twice as much."""
        for kind, count, thing in [
            ("tracks", 2000, "tracks that refer to each other"),
            ("free", 50_000, "free atoms"),
            ("items", 50_000, "items of user data, all of one type"),
            ("keys", 25_000, "metadata items with keys"),
        ]:
            paths = [self.files.make(kind, str(number)) for number in (count, 2 * count)]
            steps = {
                "info": lambda path, name: Contender(name, [self.cli, "info", "--json", path]),
                "edit": self.autoplay,
                "all tracks": lambda path, name: Contender(name, [self.cli, "edit", "--dry-run", "--track", "*:in=1.", path]),
                "title": lambda path, name: Contender(name, [self.cli, "edit", "--dry-run", "--title", "T", path]),
                "verify": lambda path, name: Contender(name, [self.cli, "verify", path]),
            }
            rows = self.race([make(path, f"{step}, {number}") for step, make in steps.items() for path, number in zip(paths, (count, 2 * count))])
            base = f"info, {count}"
            self.report.show(f"Growth with the number of one thing: {thing}", rows, base)
            for step in steps:
                half, whole = rows[f"{step}, {count}"], rows[f"{step}, {2 * count}"]
                self.report.as_fast(f"{step} with {2 * count} {thing} against {count}", whole, half, 3)
                self.report.at_most(f"{step} with {2 * count} {thing}", whole, 1)
            self.files.remove(*paths)

    def jobs(self):
        model = self.files.make("samples", "1e3")
        for count in [1, 10, 100] + ([] if self.quick else [1000]):
            folder = self.files.folder / f"files-{count}"
            folder.mkdir()
            paths = [self.files.copy(model, f"files-{count}/{number:04}.mov") for number in range(count)]
            contenders = [
                Contender(self.ours + " info --json", [self.cli, "info", "--json", *paths]),
                Contender("mediainfo", ["mediainfo", *paths], missing="mediainfo"),
            ]
            if count <= 10:  # ffprobe takes one file at a time, so the rest is known
                script = 'for f; do ffprobe -v error -show_format -show_streams "$f" || exit; done'
                contenders.append(Contender("ffprobe, one by one", ["sh", "-c", script, "sh", *paths], missing="ffprobe"))
            rounds = self.rounds if count < 1000 else max(2, self.rounds // 2)
            rows = self.race(contenders, rounds)
            self.report.show(f"Number of files: report on {count}", rows, contenders[0].name)
            edits = [self.edit_many(paths, jobs) for jobs in [1, 2, 4]]
            rows = self.race(edits, rounds)
            self.report.show(
                f"Number of files: edit {count} in place, each flushed", rows, edits[0].name, f"{os.cpu_count()} processors"
            )
            self.files.remove(folder)
        self.files.remove(model)

    def edit_many(self, paths, jobs):
        single = self.autoplay(paths[0], f"edit --jobs {jobs}", "--jobs", str(jobs))
        first = single.prepare
        single.prepare = lambda: [*first(), *paths[1:]]
        return single

    def metadata(self):
        """One field in many files: one process of each program, which sets another value each time."""
        model = HERE.parent / "samples/timecode-25.mov"  # small, so that who copies a file to change it is not punished for its media
        count = 100 if self.quick else 1000
        folders = {who: self.files.folder / f"metadata-{who}" for who in ["ours", "flushed", "exiftool"]}
        paths = {}
        for who, folder in folders.items():
            folder.mkdir()
            paths[who] = [self.files.copy(model, f"{folder.name}/{number:04}.mov") for number in range(count)]
        takes = itertools.count(1)

        def take(command, who):
            def prepare():
                settle()
                return [part.format(next(takes)) for part in command] + paths[who]

            return prepare

        ours = [os.fspath(self.cli), "edit", "--metadata", "com.apple.quicktime.author=Take {}"]
        contenders = [
            Contender("edit --metadata --no-sync", prepare=take([*ours, "--no-sync"], "ours")),
            Contender("edit --metadata", prepare=take(ours, "flushed")),
            Contender("exiftool, one process", prepare=take(["exiftool", "-q", "-overwrite_original", "-Keys:Author=Take {}"], "exiftool"), missing="exiftool"),
        ]
        rows = self.race(contenders, max(2, self.rounds // 2))
        flush = self.flush_time()
        names = [contender.name for contender in contenders]
        self.report.show(
            f"Set one metadata field in {count} files of {model.stat().st_size / 1000:.0f} kB",
            rows,
            names[0],
            f"--no-sync flushes nothing, as exiftool; edit flushes each file up to three times, of which this disk needs {duration_text(flush)} each",
        )
        if names[2] in rows:
            what = f"one field in {count} files: faster than one process of exiftool"
            self.report.faster(f"{what}, neither flushed", rows[names[0]], rows[names[2]], 20)
        each = rows[names[1]].wall / count
        print(f"  flushed: {duration_text(each)} a file, {each / flush:.1f} times what the disk needs for one flush")
        self.files.remove(*folders.values())

    def flush_time(self):
        """Seconds that the disk needs to flush a small write, as the median of many."""
        path = self.files.folder / "flush"
        times = []
        with open(path, "wb") as file:
            for _ in range(50):
                file.write(b"x" * 4096)
                file.flush()
                start = time.perf_counter()
                os.fdatasync(file.fileno())
                times.append(time.perf_counter() - start)
        self.files.remove(path)
        return statistics.median(times)

    def batch(self):
        """Ten edits in each of many files, beside one field set by one exiftool process."""
        count = 100 if self.quick else 1000
        model = self.files.make("dense", "1M")
        folder = self.files.folder / "batch"
        folder.mkdir()
        paths = [self.files.copy(model, f"batch/{number:04}.mov") for number in range(count)]
        turns = itertools.count(1)

        def ten_edits(*options, files=paths):
            def prepare():
                settle()
                turn = next(turns)
                on, off = ("on", "off") if turn % 2 else ("off", "on")
                edits = ["--autoplay", on, "--autoclose", off, "--autoquit", off, "--controller", "show" if turn % 2 else "hide"]
                edits += ["--rotate", "left", "--flop", "--title", f"Take {turn}", "--copyright", f"{2000 + turn}"]
                edits += ["--metadata", f"com.apple.quicktime.artist=Ilse {turn}", "--gamma", f"2.{turn % 9 + 1}"]
                return [self.cli, "edit", *edits, *options, *files]

            return prepare

        def retitle():
            settle()
            return ["exiftool", "-q", "-overwrite_original", f"-Title=Take {next(turns)}", *paths]

        contenders = [
            Contender("ten edits, --no-sync", prepare=ten_edits("--no-sync", "--jobs", str(os.cpu_count()))),
            Contender("ten edits, flushed", prepare=ten_edits("--jobs", str(os.cpu_count()))),
            Contender("ten edits, flushed, --journal", prepare=self.with_new_journal(ten_edits, folder)),
            Contender("a tenth of the files, --no-sync", prepare=ten_edits("--no-sync", "--jobs", str(os.cpu_count()), files=paths[: count // 10])),
            Contender("exiftool, one field", prepare=retitle, missing="exiftool"),
        ]
        rows = self.race(contenders, max(2, self.rounds // 2))
        self.report.show(f"Batch: {count} files of {model.stat().st_size / 1e6:.1f} MB", rows, contenders[0].name, "exiftool flushes nothing")
        unflushed, flushed, _, few = (rows[contender.name] for contender in contenders[:4])
        if "exiftool, one field" in rows:
            other = rows["exiftool, one field"]
            self.report.faster(f"ten edits in {count} files, --no-sync: faster than one field by exiftool", unflushed, other, 20)
            self.report.faster(f"the same, ours flushed (a flush takes {duration_text(self.flush_time())})", flushed, other, 1)
        grown = unflushed.peak - few.peak
        self.report.goals.append((grown <= 4e6, f"memory: {count} files against {count // 10}", f"{grown / MEGABYTE:+.1f} MB", "", "at most 4 MB more"))
        self.count_flushes(ten_edits(files=paths[:50])(), 50)
        self.time_to_first(ten_edits("--no-sync", "--json-lines")())
        self.files.remove(folder, model)

    @staticmethod
    def with_new_journal(ten_edits, folder):
        def prepare():
            (folder / "journal").unlink(missing_ok=True)
            return ten_edits("--journal", folder / "journal", "--jobs", str(os.cpu_count()))()

        return prepare

    def flush_time(self):
        """The median time of a flush of some new bytes."""
        path = self.files.folder / "flushed"
        times = []
        with open(path, "wb", buffering=0) as file:
            for _ in range(20):
                file.write(b"x" * 4096)
                start = time.perf_counter()
                os.fdatasync(file.fileno())
                times.append(time.perf_counter() - start)
        path.unlink()
        return statistics.median(times)

    def count_flushes(self, command, count):
        if not shutil.which("strace"):
            print("  strace is not installed: flushes are not counted")
            return
        trace = self.files.folder / "flushes.txt"
        subprocess.run(["strace", "-f", "-qq", "-e", "trace=fsync,fdatasync,sync_file_range,syncfs", "-o", trace, *command], stdout=subprocess.DEVNULL, check=True)
        flushes = sum(1 for line in trace.read_text().splitlines() if "sync" in line and "resumed" not in line)
        self.report.goals.append((flushes <= 3 * count, "flushes of an edit in place", f"{flushes / count:.2f} a file", "", "at most 3 a file"))

    def time_to_first(self, command):
        """How long until the first file is done."""
        start = time.perf_counter()
        process = subprocess.Popen([os.fspath(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        process.stdout.readline()
        first = time.perf_counter() - start
        process.stdout.read()
        process.wait()
        self.report.goals.append((first <= 0.1, "the first file of a batch is done after", duration_text(first), "", "at most 0.1 s"))

    def edit(self):
        size = "200M" if self.quick else "1G"
        for header in ["last", "first"]:
            self.edit_one(size, header)

    def edit_one(self, size, header):
        ours = self.files.make("dense", size, header)
        theirs = self.files.copy(ours, "exiftool.mov")
        output = self.files.folder / "remuxed.mov"
        titles = itertools.count(1)
        and_sync = ["sh", "-c", '"$@" && for last; do :; done && sync "$last"', "sh"]

        def remux():
            output.unlink(missing_ok=True)
            settle()

        def retitle(*before):
            def prepare():
                settle()
                return [*before, "exiftool", "-q", "-overwrite_original", f"-Title=Take {next(titles)}", theirs]

            return prepare

        copy = ["ffmpeg", "-nostdin", "-v", "error", "-i", ours, "-map", "0", "-c", "copy", "-metadata", "title=Take", output]
        contenders = [
            self.autoplay(ours, self.ours + " edit"),
            self.autoplay(ours, self.ours + " edit --no-sync", "--no-sync"),
            Contender("ffmpeg -c copy", copy, prepare=remux, missing="ffmpeg"),
            Contender("ffmpeg -c copy, then sync", [*and_sync, *copy], prepare=remux, missing="ffmpeg"),
            Contender("exiftool", prepare=retitle(), missing="exiftool"),
            Contender("exiftool, then sync", prepare=retitle(*and_sync), missing="exiftool"),
        ]
        rows = self.race(contenders)
        flushed, unflushed = (rows[contender.name] for contender in contenders[:2])
        self.report.show(
            f"Edit in place: {ours.stat().st_size / 1e9:.2f} GB of real media, header {header}",
            rows,
            flushed.name,
            "edit flushes between its steps; --no-sync does not, as the others, unless sync follows. All in the page cache",
        )
        for other in ["ffmpeg -c copy", "exiftool"]:
            if other in rows:
                what = f"edit {size}B in place, header {header}: faster than {other}"
                self.report.faster(f"{what}, both flushed", flushed, rows[f"{other}, then sync"], 100)
                self.report.faster(f"{what}, neither flushed", unflushed, rows[other], 100)
                self.report.faster(f"{what}, only ours flushed", flushed, rows[other], 100)
        self.files.remove(ours, theirs, output)

    def timecode(self):
        """Adds a timecode track to a file that has none."""
        usage = subprocess.run([self.cli, "edit", "--help"], capture_output=True, text=True, check=True).stdout
        if "--timecode" not in usage:
            print("\nAdd a timecode track: left out, reelwright-cli has no --timecode")
            return
        size = "200M" if self.quick else "1G"
        source = self.files.make("dense", size)
        target = self.files.folder / "target.mov"

        def fresh_copy(*command):
            def prepare():
                subprocess.run(["cp", "--reflink=never", source, target], check=True)
                settle()
                return list(command)

            return prepare

        def no_target():
            target.unlink(missing_ok=True)
            settle()

        ours = [self.cli, "edit", "--timecode", "01:00:00:00"]
        copy = ["ffmpeg", "-nostdin", "-v", "error", "-i", source, "-map", "0", "-c", "copy", "-timecode", "01:00:00:00", target]
        contenders = [
            Contender("edit --timecode", prepare=fresh_copy(*ours, target)),
            Contender("edit --timecode --no-sync", prepare=fresh_copy(*ours, "--no-sync", target)),
            Contender("ffmpeg -c copy -timecode", copy, prepare=no_target, missing="ffmpeg"),
            Contender("ffmpeg, then sync", ["sh", "-c", '"$@" && for last; do :; done && sync "$last"', "sh", *copy], prepare=no_target, missing="ffmpeg"),
        ]
        rows = self.race(contenders)
        flushed, unflushed = (rows[contender.name] for contender in contenders[:2])
        self.report.show(
            f"Add a timecode track: {source.stat().st_size / 1e9:.2f} GB of real media", rows, flushed.name, "ours in place; ffmpeg writes a copy"
        )
        if "ffmpeg, then sync" in rows:
            self.report.faster(f"add timecode to {size}B: faster than ffmpeg -c copy, both flushed", flushed, rows["ffmpeg, then sync"], 20)
            self.report.faster(f"add timecode to {size}B: faster than ffmpeg -c copy, neither flushed", unflushed, rows["ffmpeg -c copy -timecode"], 20)
        self.files.remove(source, target)

    def flatten(self):
        size = "200M" if self.quick else "1G"
        source = self.files.make("dense", size)
        output = self.files.folder / "copy.mov"

        def fresh(cold):
            def prepare():
                output.unlink(missing_ok=True)
                settle()
                if cold:
                    forget(source)

            return prepare

        for cold in [False, True]:
            prepare = fresh(cold)
            flatten = [self.cli, "edit", "--autoplay", "on", "-o", output]
            contenders = [
                Contender("edit -o", [*flatten, source], prepare=prepare),
                Contender("edit -o --no-sync", [*flatten, "--no-sync", source], prepare=prepare),
                Contender("cp", ["cp", source, output], prepare=prepare),
                Contender("cp, then sync", ["sh", "-c", 'cp "$0" "$1" && sync "$1"', source, output], prepare=prepare),
            ]
            rows = self.race(contenders)
            state = "read from the disk" if cold else "in the page cache"
            self.report.show(
                f"Flatten: {source.stat().st_size / 1e9:.2f} GB, the source {state}",
                rows,
                "cp",
                "edit -o flushes the new file before it takes its name, as cp with sync does; --no-sync does not, as cp",
            )
            for ours, theirs, note in [
                ("edit -o", "cp, then sync", "both flushed"),
                ("edit -o --no-sync", "cp", "neither flushed"),
                ("edit -o", "cp", "only ours flushed"),
            ]:
                self.report.as_fast(f"flatten, source {state}: against cp, {note}", rows[ours], rows[theirs], 1.1)
            output.unlink(missing_ok=True)
        self.files.remove(source)


def machine(folder, cli):
    model = next((line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "?")
    volume = subprocess.run(["stat", "-f", "-c", "%T", folder], capture_output=True, text=True, check=False).stdout.strip()
    version = subprocess.run([cli, "--version"], capture_output=True, text=True, check=False).stdout.strip()
    print(f"{version}; {os.cpu_count()} processors ({model}), Linux {os.uname().release}, temporary folder on {volume}")


def load():
    return ", ".join(f"{value:.1f}" for value in os.getloadavg())


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the temporary folder goes
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--cli", type=Path, default=HERE.parent / "build/release/bin/reelwright-cli")
    parser.add_argument("--folder", type=Path, help="where the temporary folder is made (default: the system's)")
    parser.add_argument("--rounds", type=int, default=7, help="rounds that count (default 7)")
    parser.add_argument("--only", default=",".join(SECTIONS), help="sections, with commas between them")
    parser.add_argument("--quick", action="store_true", help="smaller files, for a first look; says nothing about the goals")
    parser.add_argument("--json", type=Path, help="write every turn to this file")
    parser.add_argument("--strict", action="store_true", help="exit status 1 when a goal is short")
    options = parser.parse_args()
    sections = options.only.split(",")
    if unknown := set(sections) - set(SECTIONS):
        parser.error(f"no such section: {', '.join(sorted(unknown))}; there are {' '.join(SECTIONS)}")
    if not os.access(options.cli, os.X_OK):
        parser.error(f"{options.cli} is not there; ./run cli --version builds it")

    with tempfile.TemporaryDirectory(prefix="reelwright-bench.", dir=options.folder) as name:
        folder = Path(name)
        machine(folder, options.cli.resolve())
        bench = Bench(options.cli.resolve(), Files(folder), options.rounds, options.quick)
        nothing = race([Contender("true", ["true"])], 20, bench.log)["true"]
        print(
            f"{options.rounds} rounds after a warm-up; load before: {load()}. A program that does nothing takes"
            f" {duration_text(nothing.wall)} (cpu {duration_text(nothing.cpu)}) and {nothing.peak / MEGABYTE:.1f} MB."
        )
        try:
            for section in sections:
                getattr(bench, section)()
        except Failed as failed:
            print(f"\nFailed: {failed}")
            return 2
        bench.report.show_goals()
        print(f"\nLoad after: {load()}")
        if options.json:
            options.json.write_text(json.dumps(bench.report.sections, indent=1))
    return 1 if options.strict and not all(goal[0] for goal in bench.report.goals) else 0


if __name__ == "__main__":
    sys.exit(main())
