#!/usr/bin/env python3
"""Edits copies of movies and asks other programs what changed: ./test --interop [FOLDER...]

For each file and each kind of edit: the report of ffprobe, exiftool and mediainfo, the checksums of every packet, and what
stands in every atom, before and after. What an edit may change is written down in interop_rules.py; everything else must
be the same in every program's eyes. The exit status is 1 when something else differs, or nothing was saved.

Files that the tool does not open are counted and left out. Files larger than --largest get the first edit only, and
their media are compared by the packets' sizes and places, not their bytes. A program that does not answer about a file
as it was does not judge it; the run says so, and fails when that is every file.

--self-test damages what was saved, byte by byte, and requires that each damage is found.
"""

import argparse
import collections
import concurrent.futures
import dataclasses
import hashlib
import os
import re
import shutil
import sys
import tempfile
from pathlib import Path

from interop_reports import MEGABYTE, Stuck, atoms, exiftool, ffprobe, mediainfo, packets, parsed, said
from interop_rules import EDITS, RULES, Change, is_explained

ROOT = Path(__file__).resolve().parent.parent


# ---- One file -------------------------------------------------------------------------------------------------------


def added_stream(before, after):
    """The number of the timecode stream that is new."""

    def codes(facts):
        return {int(re.match(r"streams\[(\d+)\]", key)[1]): text for key, text in facts.items() if key.endswith("/codec_tag_string")}

    old, new = codes(before), codes(after)
    added = [number for number, code in new.items() if code == "tmcd" and old.get(number) != "tmcd"]
    return added[0] if len(new) == len(old) + 1 and len(added) == 1 else None


def renumbered(program, facts, added):
    """The facts with the new stream left out: streams behind it, such as cover pictures, keep their numbers."""
    if added is None:
        return facts
    found = {}
    for key, text in facts.items():
        form = re.match(r"(streams\[|stream )(\d+)(.*)", key)
        if form and int(form[2]) == added:
            continue
        if form and int(form[2]) > added:
            if key.endswith("/index"):
                text = str(int(text) - 1)
            key = f"{form[1]}{int(form[2]) - 1}{form[3]}"
        found[key] = text
    return found


@dataclasses.dataclass
class Outcome:
    edit: str
    mode: str  # in-place, flattened, unchanged, refused
    explained: list = dataclasses.field(default_factory=list)
    unexplained: list = dataclasses.field(default_factory=list)


PROGRAMS = ["ffprobe", "mediainfo", "exiftool", "packets", "atoms"]


def tags_of(mode, info, before):
    """The way of saving, and what is special about a file."""
    facts = before.get("atoms", {})
    special = {
        "fragmented": info["fragmented"],
        "compressed": "moov/cmov/children" in facts,
        "index": "sidx" in facts,
    }
    return " ".join([mode, *(name for name, so in special.items() if so)])


def compared(edit, mode, before, after, info):
    """The differences that rules explain, and those that none does."""
    explained, unexplained = [], []
    tags = tags_of(mode, info, before)
    for program in before:
        was, now = before[program], after[program]
        if "the program" in now:
            unexplained.append((program, "the program", "answers", "does not answer"))
            continue
        if program in ("ffprobe", "packets"):
            now = renumbered(program, now, added_stream(before.get("ffprobe", {}), after.get("ffprobe", {})))
        for key in sorted(was.keys() | now.keys()):
            old, new = was.get(key), now.get(key)
            if old != new:
                change = Change(edit, tags, program, key, str(old), str(new), before, after)
                (explained if is_explained(change) else unexplained).append((program, key, old, new))
    return explained, unexplained


class Judge:
    def __init__(self, cli, largest):
        self.cli = cli
        self.largest = largest
        self.stuck = []

    def reports(self, path, programs):
        small = path.stat().st_size <= self.largest
        ask = {
            "ffprobe": lambda: ffprobe(path),
            "mediainfo": lambda: mediainfo(path),
            "exiftool": lambda: exiftool(path),
            "packets": lambda: packets(path, small),
            "atoms": lambda: atoms(self.cli, path),
        }
        reports = {}
        for program in programs:
            for _ in range(2):  # a busy machine is given a second time
                try:
                    reports[program] = ask[program]()
                    break
                except Stuck:
                    reports[program] = {"the program": "does not answer"}
        return reports

    def fingerprint(self, path):
        with open(path, "rb") as file:
            return hashlib.file_digest(file, "md5").hexdigest() if hasattr(hashlib, "file_digest") else hashlib.md5(file.read()).hexdigest()

    def info(self, path):
        status, out, _ = said([self.cli, "info", "--json", path])
        return parsed(out) if status == 0 else None

    def run(self, source, folder, edits):
        """The outcomes of all edits of one file; nothing for a file that does not open."""
        info = self.info(source)
        if info is None:
            return None
        copy = folder / source.name
        shutil.copy(source, copy)
        copy.chmod(0o644)
        before = self.reports(copy, PROGRAMS)
        # Where a program never answers about the file as it was, it is no judge of it.
        for program in [program for program in PROGRAMS if "the program" in before[program]]:
            del before[program]
            self.stuck.append((source.name, program))
        print_before = self.fingerprint(copy)
        outcomes = []
        for number, edit in enumerate(edits):
            if number > 0 and source.stat().st_size > self.largest:
                break
            shutil.copy(source, copy)
            copy.chmod(0o644)
            outcomes.append(self.judge(edit, copy, before, print_before, info))
        copy.unlink()
        return outcomes

    def judge(self, name, copy, before, print_before, info):
        status, out, errors = said([self.cli, "edit", "--json", "--no-sync", *EDITS[name], copy])
        result = parsed(out)
        if status != 0 or result.get("status") != "updated":
            unchanged = status == 0 and result.get("status") == "unchanged"
            outcome = Outcome(name, "unchanged" if unchanged else "refused")
            if self.fingerprint(copy) != print_before:
                outcome.unexplained.append(("bytes", "the file", "as it was", "different, after nothing was saved"))
            if not unchanged and not (result.get("error") or errors):
                outcome.unexplained.append(("status", "error", "a reason", "none"))
            if not unchanged:
                outcome.explained.append(("refused", str(result.get("error") or errors.strip()), "", ""))
            return outcome
        after = self.reports(copy, before)
        return Outcome(name, result["mode"], *compared(name, result["mode"], before, after, info))


# ---- Can it fail? ----------------------------------------------------------------------------------------------------


def self_test(judge, edits, jobs, folder):
    """Changes every byte of the header that an edit saved, one at a time; how many no program reports."""
    source, saved = ROOT / "samples/header-last.mov", folder / "header-last.mov"
    shutil.copy(source, saved)
    before, info = judge.reports(saved, PROGRAMS), judge.info(saved)
    missed = 0
    for name in edits:
        shutil.copy(source, saved)
        _, out, errors = said([judge.cli, "edit", "--json", "--no-sync", *EDITS[name], saved])
        result = parsed(out)
        if result.get("status") != "updated":
            raise SystemExit(f"{name}: not saved: {result.get('error') or errors.strip() or result.get('status') or 'no reason'}")
        data = saved.read_bytes()
        header = next(atom for atom in parsed(said([judge.cli, "atoms", "--json", saved])[1])["atoms"] if atom["type"] == "moov")

        def told(programs, path, at=None):
            if at is not None:
                path.write_bytes(data[:at] + bytes([data[at] ^ 1]) + data[at + 1 :])
            return compared(name, result["mode"], {program: before[program] for program in programs}, judge.reports(path, programs), info)[1]

        def told_by_atoms(at):
            copy = folder / f"{at}.mov"
            unexplained = told(["atoms"], copy, at)
            copy.unlink()
            return unexplained

        if told(PROGRAMS, saved):
            raise SystemExit(f"{name}: something differs without any damage")
        places = range(header["offset"], header["offset"] + header["size"])
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            others = [at for at, unexplained in zip(places, pool.map(told_by_atoms, places)) if not unexplained]
        unseen = [at - header["offset"] for at in others if not told(PROGRAMS, saved, at)]
        missed += len(unseen)
        told_first, told_then = len(places) - len(others), len(others) - len(unseen)
        print(f"{name:12} {len(places)} bytes, {told_first} told by the atoms, {told_then} by others, missed: {unseen}", flush=True)
    return missed


# ---- All files ------------------------------------------------------------------------------------------------------

LETTERS = {"in-place": "i", "flattened": "f", "unchanged": "=", "refused": "r"}
SAVED = ("in-place", "flattened")


def movies(folders):
    for folder in folders:
        yield from sorted(path for path in ([folder] if folder.is_file() else folder.rglob("*")) if path.is_file())


def show(rows, edits, skipped):
    width = max([len(path.name) for path, _ in rows] + [4])
    names = edits
    print(f"{'file':{width}}  " + " ".join(names))
    for path, outcomes in rows:
        cells = [("!" if outcome.unexplained else "") + LETTERS.get(outcome.mode, "?") for outcome in outcomes]
        print(f"{path.name:{width}}  " + " ".join(f"{cell:{len(name)}}" for cell, name in zip(cells, names)))
    print("\ni saved in place, f written anew, = nothing to change, r refused, ! something else differs\n")

    every = [(path, outcome) for path, outcomes in rows for outcome in outcomes]
    print(f"{'edit':12} {'files':>6} {'in place':>9} {'anew':>6} {'nothing':>8} {'refused':>8} {'explained':>10} {'unexplained':>12}")
    for name in names:
        of = [outcome for _, outcome in every if outcome.edit == name]
        count = collections.Counter(outcome.mode for outcome in of)
        explained = sum(len(outcome.explained) for outcome in of if outcome.mode != "refused")
        print(
            f"{name:12} {len(of):6} {count['in-place']:9} {count['flattened']:6} {count['unchanged']:8} {count['refused']:8}"
            f" {explained:10} {sum(len(outcome.unexplained) for outcome in of):12}"
        )

    print("\nWhat the edits changed, by program (number of files):")
    for name in names:
        changed = collections.Counter()
        for _, outcome in every:
            if outcome.edit == name and outcome.mode in SAVED:
                changed.update({(program, re.sub(r"\d+", "N", key)) for program, key, _, _ in outcome.explained if not ignored(program, key)})
        line = ", ".join(f"{program} {key} ({count})" for (program, key), count in changed.most_common(12))
        print(f"  {name}: {line}")
    reasons = collections.Counter(outcome.explained[0][1].split(": ")[-1] for _, outcome in every if outcome.mode == "refused")
    if reasons:
        print("\nWhy edits were refused:")
        for reason, count in reasons.most_common():
            print(f"  {count} times: {reason}")
    if skipped:
        print(f"\n{len(skipped)} files are no movies that open, and were left out: {', '.join(path.name for path in skipped)}")
    wrong = [(path, outcome) for path, outcome in every if outcome.unexplained]
    if wrong:
        print("\nUnexplained:")
    for path, outcome in wrong:
        for program, key, old, new in outcome.unexplained:
            print(f"  {path.name}, {outcome.edit} ({outcome.mode}): {program} {key}: {old} -> {new}")
    total = sum(len(outcome.unexplained) for _, outcome in every)
    print(f"\n{len(rows)} files, {len(every)} edits, {total} unexplained differences")
    return total


def ignored(program, key):
    """Is it about the file, whatever the edit?"""
    return any(re.fullmatch(rule[3], key) for rule in RULES if rule[:3] == (".*", ".*", program))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folders", nargs="*", type=Path, help="folders or files (default: samples and, where it is, the corpus)")
    parser.add_argument("--cli", type=Path, default=ROOT / "build/release/bin/reelwright-cli")
    parser.add_argument("--jobs", type=int, default=2, help="files at a time (default 2)")
    parser.add_argument("--largest", type=int, default=64, metavar="MB", help="larger files get the first edit only (default 64)")
    parser.add_argument("--self-test", action="store_true", help="shows that damage of each byte of a saved header is found")
    parser.add_argument("--only", help="edits, with commas between them")
    options = parser.parse_args()
    missing = [program for program in ["ffprobe", "exiftool", "mediainfo"] if not shutil.which(program)]
    if missing:
        parser.error(f"not installed: {', '.join(missing)}")
    if not os.access(options.cli, os.X_OK):
        parser.error(f"{options.cli} is not there; ./run cli --version builds it")

    only = list(EDITS) if options.only is None else options.only.split(",")
    if unknown := [name for name in only if name not in EDITS]:
        parser.error(f"no such edits: {', '.join(map(repr, unknown))}; there are {', '.join(EDITS)}")
    edits = [edit for edit in EDITS if edit in only]
    judge = Judge(options.cli.resolve(), options.largest * MEGABYTE)
    if options.self_test:
        with tempfile.TemporaryDirectory(prefix="reelwright-interop.") as work:
            return 1 if self_test(judge, edits, options.jobs, Path(work)) else 0

    folders = options.folders
    if not folders:
        corpus = Path(os.environ.get("REELWRIGHT_CORPUS", ROOT.parent / "shared/corpus"))
        folders = [ROOT / "samples", *([corpus] if corpus.is_dir() else [])]
        if not corpus.is_dir():
            print("The folder of real files is not there; only the samples are used.")
    if absent := [folder for folder in folders if not folder.exists()]:
        parser.error(f"not there: {', '.join(map(str, absent))}")
    rows, skipped = [], []
    with tempfile.TemporaryDirectory(prefix="reelwright-interop.") as work:
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:

            def one(numbered):
                number, path = numbered
                folder = Path(work, str(number))
                folder.mkdir()
                return path, judge.run(path, folder, edits)

            for path, outcomes in pool.map(one, enumerate(movies(folders))):
                if outcomes is None:
                    skipped.append(path)
                else:
                    rows.append((path, outcomes))
    if not rows:
        print("No movie was found.")
        return 1
    for name, program in judge.stuck:
        print(f"{program} does not answer about {name} as it was, and does not judge it.")
    unexplained = show(rows, edits, skipped)
    silent = [program for program in PROGRAMS if sum(program == name for _, name in judge.stuck) == len(rows)]
    if silent:
        print(f"About no file an answer came from {', '.join(silent)}.")
    saved = any(outcome.mode in SAVED for _, outcomes in rows for outcome in outcomes)
    if not saved:
        print("No edit was saved, so nothing was compared.")
    return 1 if unexplained or silent or not saved else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    finally:
        exiftool.close()
