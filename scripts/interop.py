#!/usr/bin/env python3
"""Edits copies of movies and asks other programs what changed: ./test --interop [FOLDER...]

For each file and each kind of edit: the report of ffprobe, exiftool and mediainfo, the checksum of every packet, and every
atom's bytes, before and after. What an edit is meant to change is written down in EDITS below; everything else must be
the same in every program's eyes. The exit status is 1 when something else differs.

Files that the tool does not open are counted and left out. Files larger than --largest get the first edit only, and
their media are compared by the packets' sizes and places, not their bytes.
"""

import argparse
import collections
import concurrent.futures
import ctypes
import dataclasses
import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MEGABYTE = 1_000_000


# ---- What the programs say ------------------------------------------------------------------------------------------


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
    """A program did not end."""


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
    facts = dict(flat(parsed(out)))
    facts["exit status"] = str(status)
    return facts


def mediainfo(path):
    _, out, _ = said(["mediainfo", "--Output=JSON", path])
    report = parsed(out)
    facts = {}
    counts = collections.Counter()
    for track in (report.get("media") or {}).get("track", []):
        kind = track.get("@type", "?")
        counts[kind] += 1
        facts.update((f"{kind}{counts[kind]}/{key}", text) for key, text in flat(track))
    return facts


class ExifTool:
    """One exiftool process for each thread; starting it takes longer than its work."""

    local = threading.local()
    processes = []

    @staticmethod
    def end_with_us():
        """Left alone, exiftool would wait for more arguments for ever, and busily."""
        ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG

    def close(self):
        for process in self.processes:
            process.kill()
            process.wait()

    def __call__(self, path):
        process = getattr(self.local, "process", None)
        if process is None:
            process = self.local.process = subprocess.Popen(
                ["exiftool", "-stay_open", "True", "-@", "-"],
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL,
                preexec_fn=self.end_with_us,
            )
            self.processes.append(process)
        arguments = ["-j", "-a", "-u", "-G1:4", "-s", "-n", os.fspath(path), "-execute"]
        process.stdin.write(("\n".join(arguments) + "\n").encode())
        process.stdin.flush()
        lines = []
        while (line := process.stdout.readline()) and line.strip() != b"{ready}":
            lines.append(line)
        report = parsed(b"".join(lines).decode(errors="replace"))
        # Of several facts with one name the second and later ones are numbered; together they are one list.
        facts = collections.defaultdict(list)
        for key, text in flat(report[0] if isinstance(report, list) and report else report):
            facts[re.sub(r"Copy\d+:", "", key)].append(text)
        return {key: ", ".join(sorted(texts)) for key, texts in facts.items()}


exiftool = ExifTool()


def packets(path, with_bytes):
    """Checksum of every stream's packets. Edit lists are left out of it, so that only the media speak."""
    entries = "packet=stream_index,size" + (",data_hash" if with_bytes else ",pos")
    command = ["ffprobe", "-v", "quiet", "-ignore_editlist", "1", "-show_packets", "-show_entries", entries, "-of", "json=compact=1"]
    if with_bytes:
        command += ["-show_data_hash", "md5"]
    _, out, _ = said([*command, path])
    sums = collections.defaultdict(hashlib.md5)
    counts = collections.Counter()
    # Side data are left out too: samples to skip at the ends, which are no media.
    for packet in parsed(out).get("packets", []):
        stream = packet.get("stream_index")
        sums[stream].update(f"{packet.get('size')},{packet.get('data_hash', packet.get('pos'))}\n".encode())
        counts[stream] += 1
    return {f"stream {stream}": f"{counts[stream]} packets {total.hexdigest()}" for stream, total in sums.items()}


def atoms(cli, path):
    """The bytes of every leaf atom by its path. Free space and the places of atoms are left out."""
    _, out, _ = said([cli, "atoms", "--json", "--all", path])
    facts = {}
    with open(path, "rb") as file:

        def bytes_at(offset, size):
            file.seek(offset)
            if size > 64 * MEGABYTE:
                return f"{size} bytes"
            return f"{size} bytes {hashlib.md5(file.read(size)).hexdigest()}"

        def walk(nodes, prefix):
            counts = collections.Counter()
            for node in nodes:
                kind = node["type"]
                if kind in ("free", "skip", "wide") and not prefix:
                    continue
                counts[kind] += 1
                name = f"{prefix}{kind}" + (f"[{counts[kind]}]" if counts[kind] > 1 or kind in ("trak", "mdat", "moof") else "")
                if node.get("children"):
                    walk(node["children"], name + "/")
                else:
                    facts[name] = bytes_at(node["offset"], node["size"])

        walk(parsed(out).get("atoms", []), "")
    return facts


# ---- What edits are meant to change ---------------------------------------------------------------------------------

# By program: expressions that a whole key matches.
ALWAYS = {
    "ffprobe": [r"format/(filename|size|bit_rate)"],
    # The header may have moved: what is said of places and sizes of the file as a whole.
    "mediainfo": [
        r"General1/(CompleteName|FolderName|FileName\w*|FileExtension|File_\w+|FileSize|OverallBitRate|HeaderSize|DataSize|FooterSize)",
        r"General1/(IsStreamable|StreamSize|StreamSize_Proportion)",
        # Places of the metadata in the file.
        r"\w+/extra/(Delay_SDTI|Encoded_Library_Settings)",
    ],
    "exiftool": [r"SourceFile", r"System:.*", r"ExifTool:.*", r"Composite:(AvgBitrate|Directory|FileName)", r"QuickTime:(Free|Wide|Skip)"],
    "atoms": [],
    "packets": [],
}
# A file that is written anew: media offsets, what says where media lie, and what only fragments have.
FLATTENED = {
    "atoms": [r"(moov/trak\[\d+\]/mdia/minf/stbl/(stco|co64)(\[\d+\])?)", r"mdat\[\d+\]", r"ftyp(\[\d+\])?"],
    "exiftool": [r".*(MediaDataOffset|MediaDataSize|MediaData|ChunkOffset(64)?)"],
    "mediainfo": [r"General1/(Format_Profile|CodecID_Version)"],
}
# The samples of fragments stand in tables afterwards, of which programs say more, and count exactly.
GATHERED = {
    "atoms": [r"(moof|sidx|ssix|styp|mfra|moov/mvex).*", r"moov/(mvhd|trak\[\d+\]/(tkhd|edts/elst|mdia/mdhd|mdia/minf/stbl/\w+))"],
    "ffprobe": [r"streams\[\d+\]/(nb_frames|bit_rate|duration|duration_ts|avg_frame_rate|r_frame_rate|start_time|start_pts)", r"format/(duration|start_time)"],
    "mediainfo": [r"\w+/(FrameRate\w*|Duration\w*|Source_\w+|BitRate\w*|FrameCount|SamplingCount|StreamSize\w*|Delay\w*|Video_Delay|extra/.*)"],
    "exiftool": [r"\w+:(MovieFragmentSequence|Unknown_\w+|Duration|TrackDuration|MediaDuration|VideoFrameRate|\w*Fragment\w*|SampleSizes|SampleToChunk|TimeToSampleTable|SyncSampleTable|SampleTable\w*|Track\w*Duration|SegmentIndex.*|\w*Sample\w*|CompositionTimeToSample)"],
}
# A file cut short in its index of segments: neither they nor it come along, and ffprobe took the duration from it.
INDEX_LOST = {
    "atoms": [r"sidx"],
    "ffprobe": [r"(format/duration|streams\[\d+\]/duration(_ts)?)"],
    "mediainfo": [r"General1/extra/IsTruncated"],
}


@dataclasses.dataclass
class Edit:
    name: str
    options: list
    explained: dict


SETTING = {"atoms": [r"moov/udta(/.*)?"], "exiftool": [r"UserData:.*", r"QuickTime:(PlayAllFrames|WindowLocation|PlaySelection)"]}
TRACK_HEADER = r"moov/trak\[\d+\]/tkhd"
TURNED = {
    "atoms": [TRACK_HEADER],
    "ffprobe": [r"streams\[\d+\]/(side_data_list.*|tags/rotate)"],
    "mediainfo": [r"Video\d+/(Rotation|extra/.*)"],
    "exiftool": [r"Track\d+:MatrixStructure", r"Composite:Rotation"],
}
TIMES = {
    "atoms": [TRACK_HEADER, r"moov/trak\[\d+\]/edts(/elst)?", r"moov/mvhd", r"moov/trak\[\d+\]/edts/.*"],
    "ffprobe": [
        r"streams\[\d+\]/(start_pts|start_time|duration_ts|duration|nb_frames|bit_rate|avg_frame_rate|r_frame_rate|has_b_frames|nb_read_frames|closed_captions)",
        r"format/(start_time|duration)",
        r"chapters\[\d+\]/.*",
    ],
    "mediainfo": [
        r"\w+/(Duration|Delay|Delay_\w+|Source_\w+|BitRate\w*|FrameRate\w*|FrameCount|SamplingCount|Video_Delay|StreamSize\w*|extra/.*|TimeCode_\w+)",
        r"Menu\d+/.*",
    ],
    "exiftool": [r"QuickTime:Duration", r"Track\d+:(TrackDuration|Edit\w*|Unknown_edts|Duration|MediaDuration)", r"QuickTime:(PreviewDuration|SelectionDuration)"],
}

EDITS = [
    Edit("autoplay", ["--autoplay", "on"], SETTING),
    Edit("autoclose", ["--autoclose", "on"], SETTING),
    Edit("autoquit", ["--autoquit", "on"], SETTING),
    Edit("controller", ["--controller", "hide"], SETTING),
    Edit(
        "aperture",
        ["--aperture", "production"],
        {
            "atoms": [r"moov/udta(/.*)?", r"moov/trak\[\d+\]/tapt(/.*)?", TRACK_HEADER],
            "exiftool": [*SETTING["exiftool"], r"Track\d+:(CleanApertureDimensions|ProductionApertureDimensions|EncodedPixelsDimensions)"],
            "mediainfo": [r"Video\d+/(extra/.*|\w*CleanAperture\w*|Width_CleanAperture|Height_CleanAperture)"],
        },
    ),
    Edit("rotate", ["--rotate", "right"], TURNED),
    Edit("flip", ["--flip"], TURNED),
    Edit("flop", ["--flop"], TURNED),
    Edit(
        "disable",
        ["--track", "*:enabled=off"],
        {
            "atoms": [TRACK_HEADER],
            "ffprobe": [r"streams\[\d+\]/disposition/default"],
            "mediainfo": [r"\w+/(Default|Title_More|extra/.*|AlternateGroup)"],
            "exiftool": [r"Track\d+:TrackHeaderFlags", r"Track\d+:TrackFlags"],
        },
    ),
    Edit("in", ["--track", "*:in=1."], TIMES),
    Edit("duration", ["--track", "*:duration=2."], TIMES),
    Edit("anew", ["--force-resave", "--autoplay", "on"], SETTING),
]
# The timecode track itself may be new, or say something else; OWN stands for everything that is said of it.
TIMECODE = Edit(
    "timecode",
    ["--timecode", "02:03:04:05"],
    {
        "atoms": [TRACK_HEADER, r"moov/mvhd", r"moov/trak\[\d+\]/edts/.*", r"moov/trak\[\d+\]/tref(/.*)?", r"mdat\[\d+\]", "OWN"],
        "ffprobe": [r"streams\[\d+\]/tags/timecode", r"format/(nb_streams|tags/timecode)", "OWN"],
        "mediainfo": [
            r"\w+/(TimeCode\w*|Delay|Delay_\w+|Video_Delay|extra/.*)",
            r"General1/(OtherCount|OverallBitRate_Mode)",
            r"(Other|Menu)\d+/.*",
        ],
        "exiftool": [
            r"QuickTime:(TimeScale|NextTrackID|Duration|MediaData|MediaDataOffset|MediaDataSize)",
            r"Track\d+:(TrackDuration|TimeCode|Unknown_edts)",
            "OWN",
        ],
        "packets": ["OWN"],
    },
)


# Truthful differences that harm nobody, by what was said before and after: (edits, modes, program, key, before, after).
HARMLESS = [
    # A file without ftyp whose first atom is free space or media instead of the header, or the other way round.
    (".*", "in-place", "ffprobe", r"format/probe_score", "100|95", "95|100"),
    # Edit lists no longer begin and end where the media do, so nothing is left over in the first and last sample.
    ("in|duration|timecode", ".*", "mediainfo", r"(Audio|Video)\d+/(Source_)?Duration_(First|Last)Frame", ".*", ".*"),
    # The movie's time scale is finer: a stretch that was rounded to the media's own length is now told from it.
    ("timecode", ".*", "mediainfo", r"(Audio|Video)\d+/Source_(Duration|FrameCount|StreamSize)", "None", r"[\d.]+"),
    # Counted from the rounded length of the edit, and left out where it is not that of the media; packets and tables are
    # compared on their own.
    ("timecode", ".*", "mediainfo", r"(Audio|Video)\d+/(FrameCount|StreamSize|BitRate|SamplingCount)", ".*", ".*"),
    ("timecode", ".*", "mediainfo", r"General1/(FrameCount|Duration)", ".*", ".*"),
    # Nothing could be read from media that are missing; the timecode's sample can, and sets the start.
    ("timecode", ".*", "ffprobe", r"(format|streams\[\d+\])/start_(pts|time)", "None", r"0(\.0+)?"),
    # Priming is taken from the tags of a movie with one stream only.
    ("timecode", ".*", "ffprobe", r"(format|streams\[0\])/start_(pts|time)", r"[\d.]+", r"0(\.0+)?"),
    # The longest track counts where the old header named a shorter one; tracks without an edit list take it from there.
    ("timecode", ".*", "ffprobe", r"(format/duration|streams\[\d+\]/duration(_ts)?)", r"[\d.]+", r"[\d.]+"),
    # A mirrored picture has pixels of negative width, says mediainfo.
    ("flip|flop|rotate", ".*", "mediainfo", r"Video\d+/(Display|Pixel)AspectRatio", r"[\d.]+", r"-[\d.]+"),
    ("flip|flop|rotate", ".*", "mediainfo", r"Video\d+/(Display|Pixel)AspectRatio_Original", "None", r"[\d.]+"),
    # Tables tell variable rates that fragments do not.
    (".*", "flattened", "mediainfo", r"General1/OverallBitRate_Mode", "None", "VBR"),
    # A compressed header is saved plain.
    (".*", ".*", "mediainfo", r"General1/Format_Settings", "Compressed header", "None"),
    # An estimate from the size of the file, of streams whose samples mediainfo does not count; packets are compared.
    (".*", ".*", "mediainfo", r"Video\d+/(BitRate|StreamSize)", r"\d+", r"\d+"),
    # How far ffprobe looks ahead in a stream that it need not gather from fragments.
    (".*", "flattened", "ffprobe", r"streams\[\d+\]/has_b_frames", r"\d+", r"\d+"),
    # Where the offset that the metadata hold is that of an atom that moved.
    (".*", "flattened", "atoms", r"moov/meta/ilst/\\x00\\x00\\x00\\x02/data", "24 bytes .*", "24 bytes .*"),
]


def is_harmless(edit, mode, program, key, old, new):
    facts = [edit, mode, program, key, str(old), str(new)]
    return any(all(re.fullmatch(rule, fact) for rule, fact in zip(row, facts)) for row in HARMLESS)


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


def own_keys(program, after):
    """An expression for the keys that speak of timecode tracks."""
    tracks = [re.match(r"moov/trak\[(\d+)\]", key)[1] for key in after.get("atoms", {}) if key.endswith("/stbl/stsd/tmcd")]
    streams = [re.match(r"streams\[(\d+)\]", key)[1] for key, text in after.get("ffprobe", {}).items() if key.endswith("/codec_tag_string") and text == "tmcd"]
    form = {"atoms": r"moov/trak\[(?:%s)\]/.*", "ffprobe": r"streams\[(?:%s)\]/.*", "exiftool": r"Track(?:%s):.*", "packets": r"stream (?:%s)"}[program]
    return form % "|".join((tracks if program in ("atoms", "exiftool") else streams) or ["none"])


# ---- One file -------------------------------------------------------------------------------------------------------


@dataclasses.dataclass
class Outcome:
    edit: str
    mode: str  # in-place, flattened, unchanged, refused
    explained: list = dataclasses.field(default_factory=list)
    unexplained: list = dataclasses.field(default_factory=list)


PROGRAMS = ["ffprobe", "mediainfo", "exiftool", "packets", "atoms"]


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
                    reports[program] = {"the program": "does not end"}
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
        # Where a program never ends on the file as it was, it is no judge of it.
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

    def judge(self, edit, copy, before, print_before, info):
        status, out, errors = said([self.cli, "edit", "--json", "--no-sync", *edit.options, copy])
        result = parsed(out)
        if status != 0 or result.get("status") != "updated":
            unchanged = status == 0 and result.get("status") == "unchanged"
            outcome = Outcome(edit.name, "unchanged" if unchanged else "refused")
            if self.fingerprint(copy) != print_before:
                outcome.unexplained.append(("bytes", "the file", "as it was", "different, after nothing was saved"))
            if not unchanged and not (result.get("error") or errors):
                outcome.unexplained.append(("status", "error", "a reason", "none"))
            if not unchanged:
                outcome.explained.append(("refused", str(result.get("error") or errors.strip()), "", ""))
            return outcome
        outcome = Outcome(edit.name, result["mode"])
        after = self.reports(copy, before)
        for program in before:
            rules = [*ALWAYS[program], *edit.explained.get(program, [])]
            rules += self.rules_of_file(program, result["mode"], info, before)
            rules = [own_keys(program, after) if rule == "OWN" else rule for rule in rules]
            matcher = re.compile("|".join(f"(?:{rule})" for rule in rules)) if rules else None
            was, now = before[program], after[program]
            if "the program" in now:
                outcome.unexplained.append((program, "the program", "ends", "does not end"))
                continue
            if program in ("ffprobe", "packets"):
                now = renumbered(program, now, added_stream(before.get("ffprobe", {}), after.get("ffprobe", {})))
            for key in sorted(was.keys() | now.keys()):
                old, new = was.get(key), now.get(key)
                if old == new:
                    continue
                known = (matcher and matcher.fullmatch(key)) or is_harmless(edit.name, result["mode"], program, key, old, new)
                (outcome.explained if known else outcome.unexplained).append((program, key, old, new))
        return outcome

    @staticmethod
    def rules_of_file(program, mode, info, before):
        """More that may differ, for reasons that lie in the file."""
        rules = []
        if mode == "flattened":
            rules += FLATTENED.get(program, [])
            if "sidx" in before.get("atoms", {}):
                rules += INDEX_LOST.get(program, [])
        if info["fragmented"]:
            rules += GATHERED.get(program, [])
        atoms_before = before.get("atoms", {})
        if any(key.startswith("moov/cmov") for key in atoms_before) and program == "atoms":
            rules += [r"moov/.*"]  # a compressed header is saved plain
        if any(key.startswith("moov/cmov") for key in atoms_before) and program == "exiftool":
            rules += [r"(QuickTime|Track\d+|UserData|Composite):.*"]  # and exiftool cannot read a compressed one
        return rules


# ---- All files ------------------------------------------------------------------------------------------------------

LETTERS = {"in-place": "i", "flattened": "f", "unchanged": "=", "refused": "r"}


def movies(folders):
    for folder in folders:
        yield from sorted(path for path in ([folder] if folder.is_file() else folder.rglob("*")) if path.is_file())


def show(rows, edits, skipped):
    width = max([len(path.name) for path, _ in rows] + [4])
    names = [edit.name for edit in edits]
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
            if outcome.edit == name and outcome.mode in ("in-place", "flattened"):
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
    return any(re.fullmatch(rule, key) for rule in ALWAYS[program])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folders", nargs="*", type=Path, help="folders or files (default: samples and, where it is, the corpus)")
    parser.add_argument("--cli", type=Path, default=ROOT / "build/release/bin/reelwright-cli")
    parser.add_argument("--jobs", type=int, default=2, help="files at a time (default 2)")
    parser.add_argument("--largest", type=int, default=64, metavar="MB", help="larger files get the first edit only (default 64)")
    parser.add_argument("--only", help="edits, with commas between them")
    options = parser.parse_args()
    missing = [program for program in ["ffprobe", "exiftool", "mediainfo"] if not shutil.which(program)]
    if missing:
        parser.error(f"not installed: {', '.join(missing)}")
    if not os.access(options.cli, os.X_OK):
        parser.error(f"{options.cli} is not there; ./run cli --version builds it")

    folders = options.folders
    if not folders:
        corpus = Path(os.environ.get("REELWRIGHT_CORPUS", ROOT.parent / "shared/corpus"))
        folders = [ROOT / "samples", *([corpus] if corpus.is_dir() else [])]
        if not corpus.is_dir():
            print("The folder of real files is not there; only the samples are used.")
    if absent := [folder for folder in folders if not folder.exists()]:
        parser.error(f"not there: {', '.join(map(str, absent))}")
    edits = list(EDITS)
    if "--timecode" in said([options.cli, "edit", "--help"])[1]:
        edits.append(TIMECODE)
    else:
        print("reelwright-cli has no --timecode; that edit is left out.")
    if options.only:
        edits = [edit for edit in edits if edit.name in options.only.split(",")]

    judge = Judge(options.cli.resolve(), options.largest * MEGABYTE)
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
        print(f"{program} does not end on {name} as it was, and does not judge it.")
    return 1 if show(rows, edits, skipped) else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    finally:
        exiftool.close()
