"""What each edit of interop.py may change in the eyes of other programs: the RULES at the end, and the tests that they name.

A rule speaks of the exact fact, and where it can of its exact value: that which follows from the old one, from the edit, or from
what another program says. The atoms' fields are compared with what the edit is; of the other programs' facts some are
numbers that they count from these in their own ways, and only have to be numbers (DERIVED).
"""

import collections
import dataclasses
import itertools
import math
import re
import struct

EDITS = {
    "autoplay": ["--autoplay", "on"],
    "autoclose": ["--autoclose", "on"],
    "autoquit": ["--autoquit", "on"],
    "controller": ["--controller", "hide"],
    "aperture": ["--aperture", "production"],
    "rotate": ["--rotate", "right"],
    "flip": ["--flip"],
    "flop": ["--flop"],
    "disable": ["--track", "*:enabled=off"],
    "in": ["--track", "*:in=1."],
    "duration": ["--track", "*:duration=2."],
    "anew": ["--force-resave", "--autoplay", "on"],
    "timecode": ["--timecode", "02:03:04:05"],
    "pixel-aspect": ["--pixel-aspect", "40:33"],
    "gamma": ["--gamma", "2.2"],
    "color": ["--color", "9-16-9"],
    "color-space": ["--color-space", "srgb"],
    "fields": ["--fields", "interlaced"],
    "field-dominance": ["--field-dominance", "6"],
    "encoded-width": ["--encoded-width", "1234"],
    "encoded-height": ["--encoded-height", "678"],
    "bit-depth": ["--bit-depth", "30"],
    "name": ["--track", "*:name=Interop"],
    "language": ["--track", "*:language=fra"],
    "volume": ["--track", "a*:volume=0.5"],
    "balance": ["--track", "a*:balance=-0.5"],
    "layer": ["--track", "v*:layer=3"],
    "group": ["--track", "a*:group=2"],
    "title": ["--title", "Interop title"],
    "metadata": ["--metadata", "com.apple.quicktime.producer=Ilse Brandt"],
    "copyright": ["--copyright", "2024 Nordkai"],
}


@dataclasses.dataclass
class Change:
    """One fact that is not what it was."""

    edit: str
    tags: str  # the way of saving, and what is special about the file: "flattened fragmented"
    program: str
    key: str
    old: str  # "None" for none
    new: str
    was: dict  # all reports
    now: dict

    def atom(self, name, report=None):
        """Another field of the same track's atoms (or of the movie's), after the edit; or before it."""
        track = re.match(r"moov/trak\[\d+\]/|moov/", self.key)[0]
        return (self.now if report is None else report)["atoms"].get(name if name.startswith("moov/") else track + name, "")


def movie_scales(change):
    return [int(reports["atoms"]["moov/mvhd/time scale"]) for reports in (change.was, change.now)]


def edit_list(text):
    """[[length, start, rate], ...] of an edit list's text."""
    return [[int(part) for part in re.split("[@*]", entry.split("*")[0])] + [entry.split("*")[1]] for entry in text.split()]


def tracks(report):
    """The paths of all tracks."""
    return [key.removesuffix("children") for key in report["atoms"] if re.fullmatch(r"moov/trak\[\d+\]/children", key)]


def seconds(report):
    """Every length that the header states: of the movie, tracks, media and of what the edit lists show, empty edits included or not."""
    facts = report["atoms"]
    scale = int(facts.get("moov/mvhd/time scale", 0)) or 1
    found = {int(facts.get("moov/mvhd/duration", 0)) / scale}
    for track in tracks(report):
        edits = edit_list(facts.get(track + "edts/elst/edits", ""))
        media = int(facts.get(track + "mdia/mdhd/duration", 0)) / (int(facts.get(track + "mdia/mdhd/time scale", 0)) or 1)
        shown = sum(length for length, start, _ in edits if start >= 0) / scale
        found |= {media, shown, int(facts.get(track + "tkhd/duration", 0)) / scale, media + lead(report, track)}
    return found


def lead(report, track):
    """Seconds of empty edits before a track's first media."""
    edits = edit_list(report["atoms"].get(track + "edts/elst/edits", ""))
    empty = itertools.takewhile(lambda edit: edit[1] < 0, edits)
    return sum(length for length, _, _ in empty) / (int(report["atoms"]["moov/mvhd/time scale"]) or 1)


def media_starts(report):
    """Seconds from the movie's start to that of each track's media, whether shown or not."""
    starts = [lead(report, track) for track in tracks(report)]
    for track in tracks(report):
        edits = [edit for edit in edit_list(report["atoms"].get(track + "edts/elst/edits", "")) if edit[1] >= 0]
        starts += [lead(report, track) - edit[1] / (int(report["atoms"][track + "mdia/mdhd/time scale"]) or 1) for edit in edits[:1]]
    return starts


def a_length(change, precise=0.0015):
    """Says the program how long something is that the header says is so long?"""
    value = float(change.new) / (1000 if "/extra/" in change.key else 1)
    return any(abs(value - length) <= precise + 1e-5 * length for length in seconds(change.now))


# ---- Tests of single rules: does the new fact follow from the old one, or from others? ------------------------------


def family(come="", go=""):
    """A container's children and their order stay, but for one more of each kind that may come, and those that may go."""
    come, go = come.split(), go.split()

    def test(change):
        old, new = ([] if text == "None" else text.split() for text in (change.old, change.new))
        more, less = collections.Counter(new) - collections.Counter(old), collections.Counter(old) - collections.Counter(new)
        kept = [[kind for kind in kinds if kind not in {*come, *go}] for kinds in (old, new)]
        return kept[0] == kept[1] and set(more) <= set(come) and set(less) <= set(go) and all(count == 1 for count in more.values())

    return test


def product(matrix, turn):
    return [sum(matrix[3 * row + k] * turn[3 * k + column] for k in range(3)) for row in range(3) for column in range(3)]


TURNS = {"rotate": [0, 1, 0, -1, 0, 0, 0, 0, 1], "flip": [-1, 0, 0, 0, -1, 0, 0, 0, 1], "flop": [-1, 0, 0, 0, 1, 0, 0, 0, 1]}


def matrix_of(text):
    """A matrix of an atom (hexadecimal), of exiftool (decimal) or of ffprobe (lines with numbers of their own)."""
    if re.fullmatch(r"[0-9a-f]{72}", text):
        return [entry / (1 << (30 if at % 3 == 2 else 16)) for at, (entry,) in enumerate(struct.iter_unpack(">i", bytes.fromhex(text)))]
    if "\n" in text:
        rows = [line.split(":")[1].split() for line in text.strip().splitlines()]
        return [int(entry) / (1 << (30 if at % 3 == 2 else 16)) for at, entry in enumerate(itertools.chain(*rows))]
    return [float(entry) for entry in text.split()] if text != "None" else [1, 0, 0, 0, 1, 0, 0, 0, 1]


def turned(change):
    """A video track's matrix is the old one and the turn, exactly."""
    number = re.search(r"trak\[(\d+)\]|Track(\d+)", change.key)
    if change.was["atoms"].get(f"moov/trak[{number[1] or number[2]}]/mdia/hdlr/type") != b"vide".hex():
        return False
    wanted = product(matrix_of(change.old), TURNS[change.edit])
    precise = 0 if change.program == "atoms" else 1e-4
    return all(abs(a - b) <= precise for a, b in zip(wanted, matrix_of(change.new)))


def shown_matrix(change):
    """ffprobe shows the product of a track's matrix and the movie's."""
    movie = matrix_of(change.now["atoms"]["moov/mvhd/rate to selection"][32:104])
    products = [product(matrix_of(change.now["atoms"][track + "tkhd/matrix"]), movie) for track in tracks(change.now)]
    return any(all(abs(a - b) < 1e-4 for a, b in zip(matrix_of(change.new), wanted)) for wanted in products)


def angle(change):
    """Is it the angle of a track's matrix, with either sign?"""
    if change.new == "None":
        return True
    for track in tracks(change.now):
        a, b, *_ = matrix_of(change.now["atoms"][track + "tkhd/matrix"])
        if any(abs((float(change.new) - sign * math.degrees(math.atan2(b, a))) % 360) < 0.01 for sign in (1, -1)):
            return True
    return False


def mirrored(change):
    """A mirrored picture has pixels of negative width, says mediainfo, and keeps what it said before as the original's."""
    key = change.key.removesuffix("_Original")
    old, new = change.was["mediainfo"][key], change.now["mediainfo"][key]
    original = change.now["mediainfo"].get(key + "_Original", old)
    return (new == "-" + old or new.startswith("-") and original == old) and change.old in (old, "None")


def sizes_of_picture(change):
    """Encoded pixels are what the sample description says; exiftool reads both."""
    report, track = change.now["exiftool"], change.key.split(":")[0]
    first = [report.get(f"{track}:SourceImage{name}", "").split(", ")[0] for name in ("Width", "Height")]
    return change.new == " ".join(first)


def same_chunks(change):
    """As many chunks as there were, in the other form of the table."""
    path = change.key.rsplit("/", 2)[0]
    keys = [f"{path}/{form}/chunks" for form in ("stco", "co64")]
    counts = [[report["atoms"][key] for key in keys if key in report["atoms"]] for report in (change.was, change.now)]
    return len(counts[0]) == 1 and counts[0] == counts[1]


def disabled(change):
    return int(change.new, 16) == int(change.old, 16) & ~1


def later(change):
    """A second of nothing comes first, in place of what empty edits there were; the rest of the list stays."""
    edits = edit_list(change.new)
    length = 0 if "fragmented" in change.tags else int(change.atom("tkhd/duration", change.was))
    old = edit_list(change.old) if change.old != "None" else [[length, 0, "1"]]
    stay = list(itertools.dropwhile(lambda edit: edit[1] < 0, old))
    # No length stands for the rest of the media, of which fragments tell more than the header.
    same = len(stay) == len(edits) - 1 and all(a == b or a[0] == 0 and a[1:] == b[1:] for a, b in zip(stay, edits[1:]))
    return same and edits[0][1:] == [-1, "1"] and 0.99 < edits[0][0] / movie_scales(change)[1] < 1.01


def cut(change):
    """The edits stay in their order; the last one that stays is shorter or longer, or a stretch of nothing follows. Without
    what is empty at the start it is two seconds."""
    edits = edit_list(change.new)
    old = edit_list(change.old) if change.old != "None" else [[0, 0, "1"]]
    shown = edits[:-1] if edits[-1][1:] == [-1, "1"] and len(edits) > 1 else edits
    same = all(a[1:] == b[1:] for a, b in zip(shown, old)) and [edit[0] for edit in shown[:-1]] == [edit[0] for edit in old[: len(shown) - 1]]
    nothing = sum(edit[0] for edit in itertools.takewhile(lambda edit: edit[1] < 0, edits))
    return len(shown) <= len(old) and same and 1.98 < (sum(edit[0] for edit in edits) - nothing) / movie_scales(change)[1] < 2.02


def sum_of_edits(change):
    """A track is as long as its edit list."""
    edits = edit_list(change.atom("edts/elst/edits"))
    return bool(edits) and int(change.new) == sum(length for length, _, _ in edits)


def longest_track(change):
    return int(change.new) == max(int(change.now["atoms"][track + "tkhd/duration"]) for track in tracks(change.now))


def rescaled(change):
    """The same time in the movie's new scale."""
    old, new = movie_scales(change)
    return abs(int(change.new) * old - int(change.old) * new) * 2 <= old


def rescaled_edits(change):
    old, new = (edit_list(text) for text in (change.old, change.new))
    scales = movie_scales(change)
    return [edit[1:] for edit in old] == [edit[1:] for edit in new] and all(
        abs(b[0] * scales[0] - a[0] * scales[1]) * 2 <= scales[0] for a, b in zip(old, new)
    )


def finer(change):
    return int(change.new) > int(change.old)


def next_number(change):
    """It is that behind the new track's, which nobody had."""
    path = [track for track in tracks(change.now) if track not in tracks(change.was)]
    number = int(change.new) - 1
    used = [int(change.was["atoms"][track + "tkhd/id"]) for track in tracks(change.was)]
    return len(path) == 1 and int(change.now["atoms"][path[0] + "tkhd/id"]) == number >= int(change.old) and number not in used


def is_timecode(report, track):
    return report["atoms"].get(track + "mdia/minf/stbl/stsd/children") == "tmcd"


def is_new(change, path):
    return path not in tracks(change.was) and is_timecode(change.now, path)


def defines_timecode(change):
    """In the movie's time scale, and with as many frames a second as the duration of a frame tells."""
    form = re.fullmatch("0{14}010{8}0{8}([0-9a-f]{8})([0-9a-f]{8})([0-9a-f]{2})00(0{6}0c6e616d650{8})?0{8}", change.new)
    scale, duration, number = (int(part, 16) for part in form.groups()[:3])
    as_many = 0 <= number - scale / duration < 1 or number == int(scale / duration)
    return str(scale) == change.atom("moov/mvhd/time scale") and as_many and in_rate(change.now, scale / duration)


def in_rate(report, rate):
    """Is it the rate of a picture whose frames are all of one length? Where there is none, nobody can tell."""
    rates = []
    for track in tracks(report):
        times = re.fullmatch("0{15}1[0-9a-f]{8}([0-9a-f]{8})", report["atoms"].get(track + "mdia/minf/stbl/stts", ""))
        if times and report["atoms"].get(track + "mdia/hdlr/type") == b"vide".hex() and int(times[1], 16):
            rates.append(int(report["atoms"][track + "mdia/mdhd/time scale"]) / int(times[1], 16))
    # A movie with an edit list that cannot be read keeps its time scale, whatever the rate.
    unread = any(track + "edts/elst" in report["atoms"] for track in tracks(report))
    return unread or not rates or any(abs(rate - other) < 1e-6 * other for other in rates)


def size_of_a_track(change):
    """The movie's size, which is that of its picture, turned or not, or that of several."""
    new = [change.new[:8], change.new[8:]]
    sides = {size[at : at + 8] for track in tracks(change.was) if (size := change.was["atoms"].get(track + "tkhd/size", "")) for at in (0, 8)}
    return all(side in sides or side == "00000000" for side in new)


def one_sample(change):
    """The table of times holds one, as long as the track."""
    return change.new == f"00000000{1:08x}{1:08x}{int(change.atom('tkhd/duration')):08x}"


def new_track(change):
    """What the track that came is made of, field by field."""
    path = re.match(r"moov/trak\[\d+\]/", change.key)[0]
    wanted = NEW_TRACK[change.key.removeprefix(path)]
    return change.old == "None" and is_new(change, path) and (wanted(change) if callable(wanted) else re.fullmatch(wanted, change.new))


def said_of_new_track(change):
    return change.old == "None" and is_new(change, f"moov/trak[{re.search(r'[0-9]+', change.key)[0]}]/")


def holds(before_and_after, change):
    """Two expressions or a test."""
    if callable(before_and_after):
        return before_and_after(change)
    return all(re.fullmatch(form, text) for form, text in zip(before_and_after, (change.old, change.new)))


def own(before_and_after):
    """A fact of the timecode track that was there before, whose media are made again."""

    def test(change):
        if change.program in ("ffprobe", "packets"):
            stream = re.search(r"\d+", change.key)[0]
            is_own = change.was["ffprobe"].get(f"streams[{stream}]/codec_tag_string") == "tmcd"
        else:
            number = re.search(r"trak\[(\d+)\]|Track(\d+)", change.key)
            path = f"moov/trak[{number[1] or number[2]}]/"
            is_own = path in tracks(change.was) and is_timecode(change.now, path)
        return is_own and holds(before_and_after, change)

    return test


def same_definition(change):
    """The time scale, frame duration, number of frames and reel stay; the flags are what the edit says."""
    return change.old[32:] == change.new[32:] and change.new[24:32] == "00000000"


def made_with_movie(change):
    atoms = ["moov/mvhd"] if "/tkhd/" in change.key else ["moov/mvhd", "tkhd"]
    return change.new in [change.atom(f"{atom}/{name}") for atom in atoms for name in ("created", "modified")]


def new_section(change):
    """Nothing was said of this track of mediainfo's before, and now it says that it is timecode."""
    section = change.key.split("/")[0] + "/"
    return change.now["mediainfo"].get(section + "Format") == "QuickTime TC" and section + "@type" not in change.was["mediainfo"]


def refers_to_timecode(change):
    ids = [change.now["atoms"][track + "tkhd/id"] for track in tracks(change.now) if is_timecode(change.now, track)]
    return change.old == "None" and change.new in [f"{int(number):08x}" for number in ids]


def definitions(report):
    """(time scale, frame duration, number of frames) of the timecode tracks."""
    for track in tracks(report):
        text = report["atoms"].get(track + "mdia/minf/stbl/stsd/tmcd", "")
        if re.fullmatch(r"[0-9a-f]{50,}", text):
            scale, duration = int(text[32:40], 16), int(text[40:48], 16)
            yield scale, duration, int(text[48:50], 16)


START = (2 * 60 + 3) * 60 + 4, 5  # seconds and frames


def starts_at_timecode(change):
    """In seconds, or thousandths, and with what the media's own start adds."""
    value = float(change.new) / (1000 if "/extra/" in change.key else 1)
    before = 0 if "/extra/" not in change.key or change.old == "None" else float(change.old) / 1000
    own_start = change.was["mediainfo"].get(change.key.replace("extra/Source_Delay", "Delay"), "0") if "/extra/" in change.key else "0"
    starts = [
        (START[0] * number + START[1]) * duration / scale
        for scale, duration, named in definitions(change.now)
        for number in (named, -(-scale // duration))
    ]
    leads = [0, *media_starts(change.now)]
    return any(abs(value - start - more) < 0.003 for start in starts for more in [before, before - float(own_start), *leads])


def counts_from_timecode(change):
    """Hours to frames, counted with the number of frames that the definition names."""
    hours, minutes, seconds_, frames = (int(part) for part in re.split("[:;]", change.new))
    found = [(((hours * 60 + minutes) * 60 + seconds_) * number + frames) for _, _, number in definitions(change.now)]
    return any(count == START[0] * -(-scale // duration) + START[1] for count, (scale, duration, _) in zip(found, definitions(change.now)))


def later_by_the_edit(change):
    """What a program says of the start moved as much as the empty edit at the start of a track grew."""
    old, new = in_seconds(change, change.old), in_seconds(change, change.new)
    grown = [lead(change.now, track) - lead(change.was, track) for track in tracks(change.now)]
    return any(abs(new - old - more) < 0.03 for more in grown) or any(abs(new - lead(change.now, track)) < 0.03 for track in tracks(change.now))


def starts_with_edit(change):
    """Where the empty edits of a track end, or at once."""
    new = in_seconds(change, change.new)
    return any(abs(new - lead(change.now, track)) < 0.002 for track in tracks(change.now))


def in_seconds(change, text):
    """What ffprobe says of a start, in its own unit or in seconds."""
    base = "1/1" if change.key.endswith("_time") else change.now["ffprobe"][change.key.rsplit("/", 1)[0] + "/time_base"]
    return 0 if text == "None" else float(text) * int(base.split("/")[0]) / int(base.split("/")[1])


def moved_to_source(change):
    """What was said of the track is now said of its media, of which the edit list does not show all; or no longer."""
    if change.new == "None":
        return True
    if change.key.endswith("_Source"):
        return change.new == "Container"
    before = change.was["mediainfo"]
    if change.key.endswith("Source_Delay"):
        starts = media_starts(change.now)
        timecode = float(before.get(change.key.replace("extra/Source_Delay", "Delay"), "0").split(" ")[0])
        return any(abs(float(change.new) / 1000 - timecode - start) < 0.002 for start in starts)
    olds = [before.get(change.key.replace("Source_", "") + more) for more in ("", "_Encoded")]
    return olds == [None, None] or any(old and abs(float(change.new) - float(old)) <= max(0.002, float(old) * 0.002) for old in olds)


def one_sided(change):
    """Something came or went, and did not become something else."""
    return "None" in (change.old, change.new)


# The key and the text of each edit of metadata.
METADATA = {
    "metadata": ("com.apple.quicktime.producer", "Ilse Brandt"),
    "copyright": ("com.apple.quicktime.copyright", "2024 Nordkai"),
}


def new_key(change):
    """The name of the edit's key, or the number of names, which is one more."""
    if change.key.endswith("/besides"):
        old, new = (int(text.rstrip("|")[-8:] or "0", 16) if text != "None" else 0 for text in (change.old, change.new))
        return new == old + 1
    return change.old == "None" and change.new == METADATA[change.edit][0].encode().hex()


def new_text(change):
    """The edit's text as UTF-8, in an item of its own, or in one that had another text of the same type and language."""
    if not re.fullmatch(r"None|00000001[0-9a-f]{8}.*", change.old):
        return False
    kept = "0000000100000000" if change.old == "None" else change.old[:16]
    return change.new == kept + METADATA[change.edit][1].encode().hex()


def with_text(change):
    """Another list of texts with the edit's one in it, for items of the user data."""
    return change.old != "None" and METADATA[change.edit][1].encode().hex() in change.new


def says_text(change):
    return change.new == METADATA[change.edit][1]


def one_more(change):
    """The same in the same order, and one behind them."""
    old, new = ([] if text == "None" else text.split() for text in (change.old, change.new))
    return new[: len(old)] == old and len(new) == len(old) + 1


def same_chapters(change):
    """The same titles in the same order, at other times; of a movie that is cut or longer the first of them."""
    section = change.key.split("_")[0]
    old, new = ([text for key, text in sorted(report["mediainfo"].items()) if key.startswith(section + "_")] for report in (change.was, change.now))
    return old == new or change.edit == "duration" and (old[: len(new)] == new or new[: len(old)] == old)


def same_rate(change):
    """Bits a second, from the size of the file and its length, as the program says them."""
    facts = change.now["ffprobe"]
    if "None" in (change.new, facts.get("format/duration", "None")):
        return True
    return abs(int(change.new) - int(facts["format/size"]) * 8 / float(facts["format/duration"])) < 2 + int(change.new) / 1000


def size_of_file(change):
    return change.new == change.now["ffprobe"].get("format/size") == change.now["mediainfo"].get("General/FileSize")


def a_track_length(change):
    """As long as its edit list, or as its media."""
    scale = movie_scales(change)[1]
    media = int(change.atom("mdia/mdhd/duration")) / int(change.atom("mdia/mdhd/time scale"))
    return sum_of_edits(change) or abs(int(change.new) - media * scale) <= 1


def to_the_end(change):
    """An edit of no length, which stands for the rest of the fragments, has theirs."""
    old, new = (edit_list(text) for text in (change.old, change.new))
    return [edit[1:] for edit in old] == [edit[1:] for edit in new] and all(a[0] == b[0] or a[0] == 0 for a, b in zip(old, new))


def description(text):
    """Of a video description: the fields, with a palette, the extensions as [type, payload] and what is behind them."""
    data = bytes.fromhex(text)
    start = 78
    if data[74:78] in (bytes([0, depth, 0, 0]) for depth in (1, 2, 4, 8, 33, 34, 36, 40)):
        start += 8 + 8 * (int.from_bytes(data[84:86], "big") + 1)
    at, found = start, []
    while at + 8 <= len(data) and 8 <= (size := int.from_bytes(data[at : at + 4], "big")) <= len(data) - at:
        found.append([data[at + 4 : at + 8], data[at + 8 : at + size]])
        at += size
    return data[:start], found, data[at:]


def extended(kind, payload, starts=(b"",)):
    """A description in which one extension got this start, and nothing else is new. Behind the start stays what was there."""

    def test(change):
        (old_fields, old, old_tail), (fields, new, tail) = description(change.old), description(change.new)
        index = next((i for i, (name, data) in enumerate(old) if name == kind and data.startswith(tuple(starts))), len(old))
        was = old[index][1] if index < len(old) else b""
        start = payload(was)
        expected = old[:index] + [[kind, start + was[len(start) :]]] + old[index + 1 :]
        return (fields, new, tail) == (old_fields, expected, old_tail)

    return test


def color_tag(was):
    return (was[:4] or b"nclc") + bytes([0, 9, 0, 16, 0, 9])


def new_color_tag(change):
    """A tag that was there keeps its form; a new one has the file's."""
    plain = extended(b"colr", color_tag, (b"nclc", b"nclx"))(change)
    return plain or extended(b"colr", lambda was: was or b"nclx" + bytes([0, 9, 0, 16, 0, 9, 0]), (b"nclc", b"nclx"))(change)


def profiled(change):
    """A description that has one profile, of sRGB, and all else as before."""
    parts = [description(text) for text in (change.old, change.new)]
    profiles = [[data for kind, data in extensions if kind == b"colr" and data[:4] in (b"prof", b"rICC")] for _, extensions, _ in parts]
    others = [[entry for entry in extensions if entry[1] not in found] for (_, extensions, _), found in zip(parts, profiles)]
    return others[0] == others[1] and len(profiles[1]) == max(1, len(profiles[0])) and profiles[1][0][40:44] == b"acsp" and parts[0][::2] == parts[1][::2]


def fielded(change):
    """Fields that were not there come with their order, and an order with its fields."""

    def start(was):
        if change.edit == "fields":
            return bytes([2, *(was[1:2] or b"\0")])
        return bytes([*(was[:1] or b"\2"), 6])

    return extended(b"fiel", start)(change)


def follows_aperture(change):
    """The track has the size of its clean aperture, or where it has no apertures, of its pixels in their new shape."""
    clean = change.atom("tapt/clef")
    return change.new == clean[8:] if clean else re.fullmatch("(?!0{8})[0-9a-f]{8}(?!0{4})[0-9a-f]{4}[0-9a-f]{4}", change.new)


def field_changed(at, value):
    """A description of which one field of 16 bits is another."""
    return lambda change: bytes.fromhex(change.new) == (old := bytes.fromhex(change.old))[:at] + value.to_bytes(2, "big") + old[at + 2 :]


NUMBER = r"-?[\d.]+"
def part_set(at, part):
    """One field of an atom's hexadecimal text is what the edit says, the rest as before."""
    return lambda change: change.new == change.old[:at] + part + change.old[at + len(part) :]


def appended(text):
    """One more of a list, behind the others."""
    return lambda change: change.new in (text, f"{change.old} {text}")


def next_item(change):
    """The number of the last key, which is new."""
    items = change.new.split(" ")
    return (items[:-1] == change.old.split(" ") or change.old == "None") and len(items[-1]) == 16


OR_NONE = rf"{NUMBER}|None"
DERIVED = (OR_NONE, OR_NONE)  # numbers that a program counts from others, which are compared on their own
DATA = r"(\(Binary data \d+ bytes, use -b option to extract\)(, )?)*"
GONE = (r"(?s).*", "None")
SAID = ("None", r"(?s).+")
TRACK = r"moov/trak\[\d+\]"
STREAM = r"streams\[\d+\]"
SECTION = r"(General|Video|Audio|Text|Other|Menu|Image) ?[^/]*"

# The item of user data that a setting is, and what exiftool calls it.
SETTINGS = [
    ("autoplay|anew", "play", "01", "Unknown_play", r"\(Binary data 1 bytes, .*\)"),
    ("autoclose", "aclo", "01", "Unknown_aclo", r"\(Binary data 1 bytes, .*\)"),
    ("autoquit", "aqui", "01", "Unknown_aqui", r"\(Binary data 1 bytes, .*\)"),
    ("controller", "ctyp", b"none".hex(), "Unknown_ctyp", "none"),
    ("aperture", "apmd", b"prod".hex(), "ApertureMode", "prod"),
]
# What a new metadata item says of itself: its edit, key, text, and what exiftool, ffprobe and mediainfo call it.
ITEMS = [
    ("title", b"com.apple.quicktime.displayname", "Interop title", "Keys:DisplayName", "com.apple.quicktime.displayname", "Title|Movie|Track"),
]
TABLES = (
    "SampleSizes|SampleToChunk|TimeToSampleTable|SyncSampleTable|CompositionTimeToSample|IdependentAndDisposableSamples"
)
SETTING = "|".join(edits for edits, *_ in SETTINGS)
TURN = "|".join(TURNS)

NEW_TRACK = {
    "children": "tkhd edts mdia",
    "tkhd": "0{8}",
    "tkhd/version and flags": "00000007",
    "tkhd/created": made_with_movie,
    "tkhd/modified": made_with_movie,
    "tkhd/id": lambda change: int(change.new) == int(change.atom("moov/mvhd/next track")) - 1,
    "tkhd/duration": sum_of_edits,
    "tkhd/layer to volume": "0{32}",
    "tkhd/matrix": "000100000{24}000100000{24}40000000",
    "tkhd/size": size_of_a_track,
    "edts/children": "elst",
    "edts/elst/version and flags": "0{8}",
    "edts/elst/edits": lambda change: change.new == change.atom("moov/mvhd/duration") + "@0*1",
    "mdia/children": "mdhd hdlr minf",
    "mdia/mdhd/version and flags": "0{8}",
    "mdia/mdhd/created": made_with_movie,
    "mdia/mdhd/modified": made_with_movie,
    "mdia/mdhd/time scale": lambda change: change.new == change.atom("moov/mvhd/time scale"),
    "mdia/mdhd/duration": lambda change: change.new == change.atom("tkhd/duration"),
    "mdia/mdhd/language": "0{8}",
    "mdia/hdlr/version and flags": "0{8}",
    "mdia/hdlr/component": f"{b'mhlr'.hex()}|0{{8}}",
    "mdia/hdlr/type": b"tmcd".hex(),
    "mdia/hdlr/more": f"0{{24}}(17)?{b'Time Code Media Handler'.hex()}(00)?",
    "mdia/minf/children": "gmhd (hdlr )?dinf stbl",
    "mdia/minf/gmhd/children": "gmin tmcd",
    "mdia/minf/gmhd/gmin": "0{8}00408000800080000{8}",
    "mdia/minf/gmhd/tmcd/children": "tcmi",
    "mdia/minf/gmhd/tmcd/tcmi": f"0{{16}}000c0{{16}}f{{12}}09{b'Helvetica'.hex()}",
    "mdia/minf/hdlr/version and flags": "0{8}",
    "mdia/minf/hdlr/component": b"dhlr".hex(),
    "mdia/minf/hdlr/type": b"alis".hex(),
    "mdia/minf/hdlr/more": f"0{{24}}0c{b'Data Handler'.hex()}",
    "mdia/minf/dinf/children": "dref",
    "mdia/minf/dinf/dref/children": "alis|url ",
    "mdia/minf/dinf/dref/besides": r"0{15}1\|",
    "mdia/minf/dinf/dref/alis": "00000001",
    "mdia/minf/dinf/dref/url ": "00000001",
    "mdia/minf/stbl/children": "stsd stts stsc stsz stco",
    "mdia/minf/stbl/stsd/children": "tmcd",
    "mdia/minf/stbl/stsd/besides": r"0{15}1\|",
    "mdia/minf/stbl/stsd/tmcd": defines_timecode,
    "mdia/minf/stbl/stts": one_sample,
    "mdia/minf/stbl/stsc": "0{8}(0{7}1){4}",
    "mdia/minf/stbl/stsz": "0{8}0000000400000001",
    "mdia/minf/stbl/stco/version and flags": "0{8}",
    "mdia/minf/stbl/stco/chunks": "1",
    "mdia/minf/stbl/stco/more": "[0-9a-f]{8}",
}

TEXTS = "metadata|copyright"
# What an edit makes of a video description.
DESCRIBED = {
    "pixel-aspect": extended(b"pasp", lambda was: bytes([0, 0, 0, 40, 0, 0, 0, 33])),
    "gamma": extended(b"gama", lambda was: (144179).to_bytes(4, "big")),
    "color": new_color_tag,
    "color-space": profiled,
    "fields|field-dominance": fielded,
    "encoded-width": field_changed(24, 1234),
    "encoded-height": field_changed(26, 678),
    "bit-depth": field_changed(74, 30),
}

# What may differ: (edits, tags of the save and the file, program, key, before and after). The first four are expressions that
# match the whole; the last is two such expressions, or a test of the change.
RULES = [
    # -- Every save: the file itself
    (".*", ".*", "ffprobe", "format/size", size_of_file),
    (".*", ".*", "ffprobe", "format/bit_rate", same_rate),
    (".*", ".*", "mediainfo", "General/(FileSize|StreamSize|OverallBitRate|HeaderSize|DataSize|FooterSize)", DERIVED),
    (".*", ".*", "mediainfo", "General/IsStreamable", ("Yes|No|None", "Yes|No")),
    (".*", ".*", "mediainfo", "General/File_Modified_Date(_Local)?", (".*", r"[-\d]+ [\d:.]+( UTC)?")),
    (".*", ".*", "exiftool", "System:(FileSize|FileModifyDate|FileAccessDate|FileInodeChangeDate)", (".*", ".*")),
    (".*", ".*", "exiftool", "Composite:AvgBitrate", DERIVED),
    (".*", ".*", "exiftool", "QuickTime:(Free|Wide)", (DATA + "|None", DATA + "|None")),
    # A file without ftyp whose first atom is free space or media instead of the header, or the other way round.
    (".*", ".*in-place.*", "ffprobe", "format/probe_score", ("100|95", "95|100")),
    # mediainfo estimates a stream's rate from the size of the file where it counts no samples.
    (".*", ".*", "mediainfo", r"Video [^/]+/(BitRate|StreamSize)", (r"\d+", r"\d+")),
    # A last media atom without a size gets one when something is put behind it; exiftool then reads on behind it.
    (".*", ".*in-place.*", "atoms", r"mdat\[\d+\]/size", ("to-end, 0", "None|64-bit, 1")),
    (".*", ".*in-place.*", "exiftool", "QuickTime:MediaData", (DATA, rf"{DATA}, {DATA}")),
    # -- A file that is written anew
    (".*", ".*flattened.*", "atoms", TRACK + r"/mdia/minf/stbl/(stco|co64)/more", (".*", ".*")),
    (".*", ".*flattened.*", "atoms", TRACK + r"/mdia/minf/stbl/(stco|co64)/(chunks|version and flags)", same_chunks),
    (".*", ".*flattened.*", "atoms", TRACK + r"/mdia/minf/stbl/children", family("stco co64", "co64 stco")),
    (".*", ".*flattened.*", "atoms", r"mdat\[\d+\](/size)?", (r"\d+ bytes|64-bit, 1|to-end, 0|None", r"\d+ bytes|64-bit, 1|None")),
    (".*", ".*flattened.*", "exiftool", "QuickTime:(MediaData|MediaDataOffset|MediaDataSize)", (rf"({DATA}|[\d, ]+|None)", rf"{DATA}|[\d, ]+|None")),
    (".*", ".*flattened.*", "exiftool", r"Track\d+:ChunkOffset(64)?", (DATA + "|None", DATA + "|None")),
    # Metadata of eight bytes that name the place of an atom, which moves.
    (".*", ".*flattened.*", "atoms", r"moov/meta/ilst/\\x00\\x00\\x00\\x02/data", (r"0000004e0{16}[0-9a-f]{8}", r"0000004e0{16}[0-9a-f]{8}")),
    # The samples of fragments stand in tables afterwards, and the fragments, and what leads to them, are gone.
    (".*", ".*fragmented.*", "atoms", r"(moof\[\d+\]|mfra|sidx|ssix|styp|moov/mvex)(\[\d+\])?(/.*)?", GONE),
    (".*", ".*fragmented.*", "atoms", "moov/children", family("udta trak", "mvex")),
    (".*", ".*fragmented.*", "atoms", TRACK + "/mdia/minf/stbl/children", family("stco ctts stss sdtp", "co64 ctts")),
    (".*", ".*fragmented.*", "atoms", TRACK + "/mdia/minf/stbl/(stts|stsc|stsz|ctts|(stco|co64)/(chunks|version and flags))", (".*", ".*")),
    (".*", ".*fragmented.*", "atoms", TRACK + "/mdia/minf/stbl/(stss|sdtp)", SAID),
    (".*", ".*fragmented.*", "atoms", TRACK + "/mdia/mdhd/duration", (r"\d+", r"[1-9]\d*")),
    (".*", ".*fragmented.*", "atoms", TRACK + "/tkhd/duration", a_track_length),
    (".*", ".*fragmented.*", "atoms", "moov/mvhd/duration", longest_track),
    (".*", ".*fragmented.*", "atoms", TRACK + "/edts/elst/edits", to_the_end),
    (".*", ".*fragmented.*", "exiftool", r"QuickTime:(MovieFragmentSequence|Unknown_(mfra|mvex|sidx|styp|tfdt|tfhd|trun|sdtp))", GONE),
    (".*", ".*fragmented.*", "exiftool", rf"Track\d+:({TABLES})", (DATA + "|None", DATA + "|None")),
    (".*", ".*fragmented.*", "exiftool", r"QuickTime:Duration|Track\d+:(TrackDuration|MediaDuration)", a_length),
    (".*", ".*fragmented.*", "exiftool", r"Track\d+:VideoFrameRate", ("None", NUMBER)),
    (".*", ".*fragmented.*", "exiftool", "QuickTime:Unknown_skip", ("(, )*", "(, )*")),
    (".*", ".*fragmented.*", "ffprobe", f"(format|{STREAM})/duration", a_length),
    (".*", ".*fragmented.*", "ffprobe", f"(format|{STREAM})/start_(time|pts)", starts_with_edit),
    (".*", ".*fragmented.*", "ffprobe", f"{STREAM}/nb_frames", (r"None|\d+", r"\d+")),
    (".*", ".*fragmented.*", "ffprobe", f"{STREAM}/(bit_rate|duration_ts|has_b_frames)", DERIVED),
    (".*", ".*fragmented.*", "packets", r"stream \d+ start", DERIVED),
    (".*", ".*fragmented.*", "mediainfo", SECTION + "/Duration", a_length),
    (".*", ".*fragmented.*", "mediainfo", SECTION + "/(BitRate|OverallBitRate)_Mode", ("None", "CBR|VBR")),
    (".*", ".*fragmented.*", "mediainfo", SECTION + r"/(BitRate|StreamSize|Duration_(First|Last)Frame|FrameRate(_Num|_Den|_Maximum|_Minimum)?)", DERIVED),
    (".*", ".*fragmented.*", "mediainfo", SECTION + "/FrameRate_Mode", ("VFR", "CFR")),
    (".*", ".*fragmented.*", "mediainfo", r"Audio [^/]+/extra/Errors", ("Missing ID_END", "None")),
    (".*", ".*fragmented.*", "mediainfo", SECTION + r"/(extra/)?Source_\w+", moved_to_source),
    # A compressed header is saved plain; exiftool cannot read a compressed one.
    (".*", ".*compressed.*", "atoms", "moov/cmov/(children|dcom|cmvd)", GONE),
    (".*", ".*compressed.*", "mediainfo", "General/Format_Settings", ("Compressed header", "None")),
    (".*", ".*compressed.*", "exiftool", r"(QuickTime|Track\d+|UserData|Composite):\w+", SAID),
    (".*", ".*compressed.*", "exiftool", "QuickTime:(Compression|Unknown_cmvd)", (r"zlib|\(Binary data \d+ bytes, .*\)", "None")),
    # A file cut short in its index of segments: it does not come along, and ffprobe took the duration from it.
    (".*", "flattened index", "atoms", "sidx(/size)?", GONE),
    (".*", "flattened index", "exiftool", "ExifTool:Warning", (r"Truncated 'sidx' data \(missing \d+ bytes\)", "None")),
    (".*", "flattened index", "mediainfo", "General/extra/IsTruncated", ("Yes", "None")),
    (".*", "flattened index", "ffprobe", f"(format|{STREAM})/duration", a_length),
    (".*", "flattened index", "ffprobe", f"{STREAM}/duration_ts", DERIVED),
    # -- Settings
    *((edits, ".*", "atoms", f"moov/udta/{item}", (r"None|[0-9a-f]{2}|[0-9a-f]{8}", value)) for edits, item, value, _, _ in SETTINGS),
    *((edits, ".*", "atoms", "moov/udta/children", family(item)) for edits, item, *_ in SETTINGS),
    *((edits, ".*", "exiftool", f"UserData:{name}", (r"None|\w{4}", text)) for edits, _, _, name, text in SETTINGS),
    (SETTING, ".*", "atoms", "moov/children", family("udta")),
    # Empty user data, some with a closing zero, become a list, which keeps the zero.
    (SETTING, ".*", "atoms", "moov/udta", ("|00000000", "None")),
    (SETTING, ".*", "atoms", "moov/udta/besides", ("None", r"\|00000000")),
    ("aperture", ".*", "atoms", TRACK + "/children", family("tapt")),
    ("aperture", ".*", "atoms", TRACK + "/tapt/children", ("None", "clef prof enof")),
    ("aperture", ".*", "atoms", TRACK + "/tapt/(clef|prof)", ("None|[0-9a-f]{24}", r"0{8}(?!0{8})[0-9a-f]{8}(?!0{8})[0-9a-f]{8}")),
    ("aperture", ".*", "atoms", TRACK + "/tapt/enof", ("None", r"0{8}(?!0{4})[0-9a-f]{4}0000(?!0{4})[0-9a-f]{4}0000")),
    ("aperture", ".*", "exiftool", r"Track\d+:(CleanAperture|ProductionAperture)Dimensions", (rf"None|{NUMBER} {NUMBER}", f"{NUMBER} {NUMBER}")),
    ("aperture", ".*", "exiftool", r"Track\d+:EncodedPixelsDimensions", sizes_of_picture),
    # The track's size follows the mode.
    ("aperture", ".*", "atoms", TRACK + "/tkhd/size", lambda change: change.new == change.atom("tapt/prof")[8:]),
    ("aperture", ".*", "exiftool", r"Track\d+:Image(Width|Height)|Composite:(ImageSize|Megapixels)", (".*", r"[\dx .]+")),
    ("aperture", ".*", "ffprobe", STREAM + "/(sample|display)_aspect_ratio", ("None|.*", r"None|\d+:\d+")),
    ("aperture", ".*", "mediainfo", r"Video [^/]+/(Width|Height|(Display|Pixel)AspectRatio)(_Original|_CleanAperture)?", DERIVED),
    # -- Metadata
    (TEXTS, ".*", "atoms", "moov/children", family("meta")),
    (TEXTS, ".*fragmented.*", "atoms", "moov/children", family("meta", "mvex")),
    (TEXTS, ".*", "atoms", "moov/meta/children", family("hdlr keys ilst")),
    (TEXTS, ".*", "atoms", "moov/meta/hdlr/(component|more|version and flags)", ("None", "0+")),
    (TEXTS, ".*", "atoms", "moov/meta/hdlr/type", ("None", b"mdta".hex())),
    (TEXTS, ".*", "atoms", r"moov/meta/keys/(besides|mdta(\[\d+\])?)", new_key),
    (TEXTS, ".*", "atoms", "moov/meta/(keys|ilst)/children", one_more),
    (TEXTS, ".*", "atoms", r"moov/meta/ilst/[^/]+/children", ("None", "data")),
    (TEXTS, ".*", "atoms", r"moov/(udta/)?meta/ilst/[^/]+/data", new_text),
    ("copyright", ".*", "atoms", r"moov/udta/(©cpy|cprt)(\[\d+\])?", with_text),
    ("metadata", ".*", "exiftool", "Keys:Producer", says_text),
    ("copyright", ".*", "exiftool", r"(Keys|UserData|ItemList):Copyright(-\w+)*", says_text),
    (TEXTS, ".*", "ffprobe", r"format/tags/(com\.apple\.quicktime\.(producer|copyright)|copyright(-\w+)*)", says_text),
    (TEXTS, ".*", "mediainfo", "General/(extra/com_apple_quicktime_producer|Copyright)", says_text),
    # -- What a video description says
    *((edit, ".*", "atoms", TRACK + r"/mdia/minf/stbl/stsd/[^/]+", test) for edit, test in DESCRIBED.items()),
    ("pixel-aspect", ".*", "atoms", "moov/udta/apmd", (r"None|[0-9a-f]{8}", b"clea".hex())),
    ("pixel-aspect", ".*", "atoms", "moov/udta/children", family("apmd")),
    ("pixel-aspect", ".*", "atoms", "moov/children", family("udta")),
    ("pixel-aspect", ".*", "atoms", "moov/udta", ("|00000000", "None")),
    ("pixel-aspect", ".*", "atoms", "moov/udta/besides", ("None", r"\|00000000")),
    ("pixel-aspect", ".*", "exiftool", "UserData:ApertureMode", (r"None|\w{4}", "clea")),
    ("pixel-aspect", ".*", "atoms", TRACK + "/tkhd/size", follows_aperture),
    ("pixel-aspect", ".*", "atoms", TRACK + "/children", family("tapt")),
    ("pixel-aspect", ".*", "atoms", TRACK + "/tapt/children", ("None", "clef prof enof")),
    ("pixel-aspect", ".*", "atoms", TRACK + "/tapt/(clef|prof|enof)", ("None|[0-9a-f]{24}", r"0{8}(?!0{8})[0-9a-f]{8}(?!0{8})[0-9a-f]{8}")),
    ("pixel-aspect", ".*", "exiftool", r"Track\d+:(CleanAperture|ProductionAperture)Dimensions", (rf"None|{NUMBER} {NUMBER}", f"{NUMBER} {NUMBER}")),
    ("pixel-aspect", ".*", "exiftool", r"Track\d+:EncodedPixelsDimensions", sizes_of_picture),
    ("pixel-aspect", ".*", "exiftool", r"Track\d+:PixelAspectRatio", ("None|.*", "40:33")),
    ("pixel-aspect", ".*", "exiftool", r"Track\d+:Image(Width|Height)|Composite:(ImageSize|Megapixels)", (".*", rf"[\dx .]+")),
    ("pixel-aspect", ".*", "ffprobe", STREAM + "/sample_aspect_ratio", ("None|.*", "40:33")),
    ("pixel-aspect", ".*", "ffprobe", STREAM + "/display_aspect_ratio", ("None|.*", r"\d+:\d+")),
    ("pixel-aspect", ".*", "mediainfo", r"Video [^/]+/(Display|Pixel)AspectRatio(_Original|_CleanAperture)?", DERIVED),
    ("pixel-aspect", ".*", "mediainfo", r"Video [^/]+/(Width|Height)(_Original|_CleanAperture)?", DERIVED),
    ("gamma", ".*", "exiftool", r"Track\d+:Gamma", ("None|.*", "2.2|2.19999.*")),
    ("gamma", ".*", "mediainfo", r"Video [^/]+/extra/Gamma", ("None|.*", "2.200")),
    ("color", ".*", "exiftool", r"Track\d+:(ColorProfiles|ColorPrimaries|TransferCharacteristics|MatrixCoefficients|VideoFullRangeFlag)", ("None|.*", "nclc|nclx|9|(14, )?16|0|BT.2020.*|SMPTE ST 2084.*|Video")),
    ("color", ".*", "ffprobe", STREAM + "/(color_primaries|color_transfer|color_space|color_range)", ("None|.*", "bt2020|smpte2084|bt2020nc|tv")),
    ("color", ".*", "mediainfo", r"Video [^/]+/(colour_\w+|extra/\w+|HDR_Format\w*|ColorSpace|transfer_\w+|matrix_\w+)", ("None|.*", ".*")),
    ("color-space", ".*", "exiftool", r"(ICC_Profile|ICC-\w+|ICC_Profile#?|Track\d+):\w+", (".*", r"(?s).*")),
    ("color-space", ".*", "ffprobe", STREAM + r"/side_data_list\[ICC Profile\]/\w+", ("None|.*", "ICC Profile|\\d+")),
    ("fields|field-dominance", ".*", "ffprobe", STREAM + "/field_order", ("None|.*", "tt|bb|tb|bt|None")),
    ("fields|field-dominance", ".*", "mediainfo", r"Video [^/]+/(Scan(Type|Order)\w*|extra/\w+)", ("None|.*", ".*")),
    # Of Motion JPEG with two fields it takes the height for that of one.
    ("fields|field-dominance", ".*", "mediainfo", r"Video [^/]+/(Sampled_Height|Height_Original)", (OR_NONE, NUMBER)),
    ("fields|field-dominance", ".*", "exiftool", r"Track\d+:\w*(fiel|Field)\w*", (".*", ".*")),
    ("encoded-width|encoded-height", ".*", "exiftool", r"Track\d+:SourceImage(Width|Height)", (r"\d+.*", "(1234|678).*")),
    ("encoded-width|encoded-height", ".*", "ffprobe", STREAM + "/(width|height|coded_width|coded_height|sample_aspect_ratio|display_aspect_ratio)", ("None|.*", "None|[\\d:/]+")),
    ("encoded-width|encoded-height", ".*", "mediainfo", r"Video [^/]+/(Sampled_)?(Width|Height|DisplayAspectRatio|PixelAspectRatio)(_Original|_CleanAperture)?", DERIVED),
    ("encoded-width|encoded-height", ".*", "mediainfo", r"Video [^/]+/Standard", ("NTSC|PAL", "None")),
    ("bit-depth", ".*", "exiftool", r"Track\d+:BitDepth", (r"\d+.*", "30.*")),
    ("bit-depth", ".*", "ffprobe", STREAM + "/(bits_per_raw_sample|bits_per_coded_sample|pix_fmt)", ("None|.*", "None|.*")),
    ("bit-depth", ".*", "mediainfo", r"Video [^/]+/(BitDepth|ColorSpace|ChromaSubsampling|extra/\w+)", ("None|.*", "None|.*")),
    # -- Turns
    (TURN, ".*", "atoms", TRACK + "/tkhd/matrix", turned),
    (TURN, ".*", "exiftool", r"Track\d+:MatrixStructure", turned),
    (TURN, ".*", "ffprobe", STREAM + r"/side_data_list\[Display Matrix\]/displaymatrix", shown_matrix),
    (TURN, ".*", "ffprobe", STREAM + r"/side_data_list\[Display Matrix\]/side_data_type", ("None|Display Matrix", "None|Display Matrix")),
    (TURN, ".*", "ffprobe", STREAM + r"/side_data_list\[Display Matrix\]/rotation", angle),
    (TURN, ".*", "exiftool", "Composite:Rotation", angle),
    (TURN, ".*", "mediainfo", r"Video [^/]+/Rotation", angle),
    (TURN, ".*", "mediainfo", r"Video [^/]+/(Display|Pixel)AspectRatio(_Original)?", mirrored),
    # -- What a track header and its neighbours say
    ("volume", ".*", "atoms", TRACK + "/tkhd/layer to volume", part_set(24, "0080")),
    ("volume", ".*", "exiftool", r"Track\d+:TrackVolume", (NUMBER, "0.5")),
    ("balance", ".*", "atoms", TRACK + "/mdia/minf/smhd", part_set(8, "ff80")),
    ("balance", ".*", "exiftool", r"Track\d+:Balance", (NUMBER, "-0.5")),
    ("layer", ".*", "atoms", TRACK + "/tkhd/layer to volume", part_set(16, "0003")),
    ("layer", ".*", "exiftool", r"Track\d+:TrackLayer", (NUMBER, "3")),
    ("group", ".*", "atoms", TRACK + "/tkhd/layer to volume", part_set(20, "0002")),
    ("group", ".*", "mediainfo", SECTION + "/AlternateGroup", (r"None|\d+", "2")),
    ("group", ".*", "mediainfo", SECTION + "/Default", ("None", "Yes")),  # it tells so of enabled tracks in groups
    ("language", ".*", "atoms", TRACK + "/mdia/mdhd/language", part_set(0, "1a41")),
    ("language", ".*", "ffprobe", STREAM + "/tags/language", (r"None|\w+", "fra")),
    ("language", ".*", "mediainfo", SECTION + "/Language", ("None|.*", "fr")),
    ("language", ".*", "exiftool", r"Track\d+:MediaLanguageCode", (r"None|\w+", "fra")),
    ("name", ".*", "atoms", TRACK + "/udta/name", ("None|[0-9a-f]*", b"Interop".hex())),
    ("name", ".*", "atoms", TRACK + "/udta/children", family("name")),
    ("name", ".*", "atoms", TRACK + "/children", family("udta")),
    ("name", ".*", "atoms", TRACK + "/udta", ("|00000000", "None")),
    ("name", ".*", "atoms", TRACK + "/udta/besides", ("None", r"\|00000000")),
    ("name", ".*", "exiftool", r"Track(\d+):(Track\1)?Name", ("None|.*", "Interop")),
    ("name", ".*", "ffprobe", STREAM + "/tags/(name|title)", ("None|.*", "Interop")),
    # mediainfo puts the name behind that of the handler.
    ("name", ".*", "mediainfo", SECTION + "/Title", lambda change: change.new in ("Interop", f"{change.old} / Interop")),
    # -- Metadata: one more keyed item, or the title where it stands
    ("title", ".*", "atoms", "moov/(udta/)?meta/ilst/[^/]+/data", lambda change: change.new == change.old[:16] + b"Interop title".hex()),
    ("title", ".*", "ffprobe", r"format/tags/(title|com\.apple\.quicktime\.displayname)(-\w+)?", (".*", "Interop title")),
    ("title", ".*", "exiftool", r"(Keys|ItemList|UserData):(DisplayName|Title)(-[\w-]+)?", (".*", "Interop title")),
    # Handlers' names are titles to mediainfo only where the file has no other.
    ("title|copyright|metadata", ".*", "mediainfo", SECTION + "/Title", (".*", "None")),
    *((edit, ".*", "atoms", "moov/meta/keys/mdta.*", ("None", key.hex())) for edit, key, *_ in ITEMS),
    *((edit, ".*", "atoms", r"moov/meta/ilst/(\\x..){4}/data", ("None", "0000000100000000" + text.encode().hex())) for edit, _, text, *_ in ITEMS),
    *((edit, ".*", "exiftool", name, ("None", text)) for edit, _, text, name, *_ in ITEMS),
    *((edit, ".*", "ffprobe", "format/tags/" + re.escape(name), ("None", text)) for edit, _, text, _, name, _ in ITEMS),
    *((edit, ".*", "mediainfo", f"General/({name})", ("None|.*", text)) for edit, _, text, *_, name in ITEMS),
    ("title|copyright|metadata", ".*", "exiftool", "QuickTime:HandlerType", ("None|mdir", "(mdir, )?mdta")),
    ("title|copyright|metadata", ".*", "atoms", "moov/children", family("meta", "mvex")),
    ("title|copyright|metadata", ".*", "atoms", "moov/meta/children", family("hdlr keys ilst")),
    ("title|copyright|metadata", ".*", "atoms", "moov/meta/besides", ("None", r"0{8}\|")),
    ("title|copyright|metadata", ".*", "atoms", "moov/meta/hdlr/(version and flags|component|type|more)", ("None", f"0{{8}}|{b'mdta'.hex()}|0{{26}}")),
    ("title|copyright|metadata", ".*", "atoms", "moov/meta/keys/children", appended("mdta")),
    ("title|copyright|metadata", ".*", "atoms", "moov/meta/keys/besides", lambda change: int(change.new[:-1], 16) == (0 if change.old == "None" else int(change.old[:-1], 16)) + 1),
    ("title|copyright|metadata", ".*", "atoms", "moov/meta/ilst/children", next_item),
    ("title|copyright|metadata", ".*", "atoms", r"moov/meta/ilst/(\\x..){4}/children", ("None", "data")),
    # -- Tracks that are disabled
    ("disable", ".*", "atoms", TRACK + "/tkhd/version and flags", disabled),
    ("disable", ".*", "ffprobe", STREAM + "/disposition/default", ("1", "0")),
    ("disable", ".*", "mediainfo", SECTION + "/Default", ("None|Yes", "No")),
    # -- Times
    ("in", ".*", "atoms", TRACK + "/edts/elst/edits", later),
    ("duration", ".*", "atoms", TRACK + "/edts/elst/edits", cut),
    ("in|duration", ".*", "atoms", TRACK + "/children", family("edts")),
    ("in|duration", ".*", "atoms", TRACK + "/edts/children", ("None", "elst")),
    ("in|duration", ".*", "atoms", TRACK + "/edts/elst/version and flags", ("None", "0[01]000000")),
    ("in|duration", ".*", "atoms", TRACK + "/tkhd/duration", sum_of_edits),
    ("in|duration", ".*", "atoms", "moov/mvhd/duration", longest_track),
    ("in|duration", ".*", "exiftool", r"(QuickTime:Duration|Track\d+:TrackDuration)", a_length),
    ("in|duration", ".*", "exiftool", r"Track\d+:Unknown_edts", (DATA + "|None", DATA)),
    ("in|duration", ".*", "ffprobe", f"(format|{STREAM})/duration", a_length),
    ("in|duration", ".*", "ffprobe", f"{STREAM}/duration_ts", DERIVED),
    ("in|duration", ".*", "ffprobe", f"(format|{STREAM})/start_(pts|time)", later_by_the_edit),
    ("in|duration", ".*", "mediainfo", SECTION + "/Duration", a_length),
    ("in|duration", ".*", "mediainfo", SECTION + r"/(extra/)?Source_\w+", moved_to_source),
    ("in|duration", ".*", "mediainfo", SECTION + r"/(extra/)?(FrameCount|SamplingCount|StreamSize(_Encoded)?|BitRate(_Maximum|_Nominal)?)", DERIVED),
    ("in|duration", ".*", "mediainfo", SECTION + r"/(extra/)?Duration_(First|Last)Frame", (NUMBER, "None")),
    ("in|duration", ".*", "mediainfo", r"Other [^/]+/TimeCode_LastFrame", (r"[\d:;]+", r"[\d:;]+")),
    # Rates of texts, and of a picture that lasts as long as the file, are their number by the length.
    ("in|duration", ".*", "mediainfo", r"(General|Text [^/]+|Video [^/]+)/FrameRate(_Num|_Den)?", DERIVED),
    ("in|duration", ".*", "ffprobe", STREAM + "/avg_frame_rate", (r"\d+/\d+", "0/0")),
    ("in|duration", ".*", "ffprobe", STREAM + "/(bit_rate|has_b_frames)", (r"\d+", r"\d+")),
    # ffprobe ends a stream of fragments, and takes its end from what it shows of it.
    ("duration", ".*fragmented.*", "ffprobe", f"{STREAM}/duration", (NUMBER, NUMBER)),
    ("in|duration", ".*fragmented.*", "mediainfo", SECTION + "/Source_StreamSize", ("None", r"\d+")),
    # A movie header without a time scale.
    ("in", ".*", "ffprobe", STREAM + "/duration", (r"0\.0+", r"1\.0+")),
    # Chapters lie in a text track, whose times move or which ends sooner.
    ("in", ".*", "ffprobe", r"chapters\[\d+\]/(start|end)(_time)?", (NUMBER, NUMBER)),
    ("duration", ".*", "ffprobe", r"chapters\[\d+\]/(id|start|end)(_time)?", DERIVED),
    ("duration", ".*", "ffprobe", r"chapters\[\d+\]/(tags/title|time_base)", one_sided),
    ("duration", ".*", "ffprobe", r"chapters\[\d+\]/time_base", (r"1/\d+", r"1/\d+")),
    ("in|duration|timecode", ".*", "mediainfo", r"Menu[^/]*/extra/_[\d_]+", same_chapters),
    # -- Timecode: the track that came, or what the one that was there says now
    ("timecode", ".*", "atoms", TRACK + "/.*", new_track),
    ("timecode", ".*", "exiftool", r"Track\d+:\w+", said_of_new_track),
    ("timecode", ".*", "mediainfo", r"Other [^/]+/.*", new_section),
    ("timecode", ".*", "mediainfo", r"Other ?[^/]*/@typeorder", (r"None|\d", r"\d")),
    ("timecode", ".*", "mediainfo", "General/OtherCount", (r"None|\d+", r"\d+")),
    ("timecode", ".*", "ffprobe", "format/nb_streams", (r"\d+", r"\d+")),
    ("timecode", ".*", "atoms", "moov/children", family("trak")),
    ("timecode", ".*", "atoms", "moov/mvhd/next track", next_number),
    ("timecode", ".*", "atoms", r"mdat\[\d+\]", ("None", "4 bytes")),
    ("timecode", ".*", "exiftool", "QuickTime:(MediaData|MediaDataOffset|MediaDataSize)", (rf"({DATA}|[\d, ]+|None)", rf"({DATA}|[\d, ]+)")),
    ("timecode", ".*", "exiftool", "QuickTime:NextTrackID", (r"\d+", r"\d+")),
    # Other tracks refer to it.
    ("timecode", ".*", "atoms", TRACK + "/children", family("tref")),
    ("timecode", ".*", "atoms", TRACK + "/tref/children", family("tmcd")),
    ("timecode", ".*", "atoms", TRACK + "/tref/tmcd", refers_to_timecode),
    ("timecode", ".*", "exiftool", r"Track\d+:TimeCode", ("None", r"\d+")),
    # The movie's time scale may be finer, and all that counts in it follows.
    ("timecode", ".*", "atoms", "moov/mvhd/time scale", finer),
    ("timecode", ".*", "exiftool", "QuickTime:TimeScale", finer),
    ("timecode", ".*", "atoms", f"moov/mvhd/duration|{TRACK}/tkhd/duration", rescaled),
    ("timecode", ".*", "atoms", TRACK + "/edts/elst/edits", rescaled_edits),
    # The longest track counts where the old header named a shorter one.
    ("timecode", ".*", "atoms", "moov/mvhd/duration", longest_track),
    ("timecode", ".*", "exiftool", "QuickTime:Duration", a_length),
    ("timecode", ".*", "ffprobe", f"(format|{STREAM})/duration", a_length),
    ("timecode", ".*", "mediainfo", SECTION + "/Duration", a_length),
    # What programs say of the start.
    ("timecode", ".*", "ffprobe", f"(format|{STREAM})/tags/timecode", (r"None|[\d:;]+", "02:03:04:0?5")),
    ("timecode", ".*", "mediainfo", r"Other [^/]+/TimeCode_FirstFrame", counts_from_timecode),
    ("timecode", ".*", "mediainfo", r"Other [^/]+/TimeCode_LastFrame", (r"[\d:;]+", r"02:[0-2]\d:\d\d:\d\d")),
    ("timecode", ".*", "mediainfo", SECTION + "/(Delay|extra/Source_Delay)", starts_at_timecode),
    ("timecode", ".*", "mediainfo", SECTION + "/Delay_DropFrame", ("None|Yes", "No( / No)?")),
    ("timecode", ".*", "mediainfo", SECTION + "/(Delay_Source|extra/Source_Delay_Source)", ("None|Stream", "Container( / Container)?")),
    ("timecode", ".*", "mediainfo", r"Video [^/]+/Delay_Settings", (".*", "DropFrame=No / 24HourMax=No / IsVisual=(No|Yes)")),
    ("timecode", ".*", "mediainfo", r"Video [^/]+/Delay_Original(_DropFrame|_Source)?", ("None", "0.000|Yes|No|Stream")),
    ("timecode", ".*", "mediainfo", SECTION + "/Video_Delay", ("None", "-?0.000")),
    # Nothing could be read from media that are missing; the timecode's sample can, and sets the start. Priming is taken
    # from the tags of a movie with one stream only.
    ("timecode", ".*", "ffprobe", f"(format|{STREAM})/start_(pts|time)", (OR_NONE, r"0(\.0+)?")),
    # The movie's time scale is finer: a stretch that was rounded to the media's own length is now told from it, and nothing
    # is left over in the first and last sample.
    ("timecode", ".*", "mediainfo", SECTION + r"/Source_\w+", moved_to_source),
    ("timecode", ".*", "mediainfo", r"(Audio|Video) [^/]+/Duration_(First|Last)Frame", (NUMBER, "None")),
    ("timecode", ".*", "mediainfo", r"((Audio|Video) [^/]+|General)/(FrameCount|StreamSize|BitRate|SamplingCount)", DERIVED),
    # The timecode track that was there.
    ("timecode", ".*", "atoms", TRACK + "/children", own(family("edts"))),
    ("timecode", ".*", "atoms", TRACK + "/edts/(children|elst/version and flags)", own(("None", "elst|00000000"))),
    ("timecode", ".*", "atoms", TRACK + "/edts/elst/edits", own(("None", r"\d+@0\*1"))),
    ("timecode", ".*", "atoms", TRACK + "/tkhd/duration", own(sum_of_edits)),
    ("timecode", ".*", "atoms", TRACK + "/mdia/mdhd/(created|modified)", own(made_with_movie)),
    ("timecode", ".*", "atoms", TRACK + "/mdia/mdhd/language", own(("[0-9a-f]{4}0000", "00000000"))),
    ("timecode", ".*", "atoms", TRACK + "/mdia/mdhd/time scale", own(lambda change: change.new == change.atom("moov/mvhd/time scale"))),
    ("timecode", ".*", "atoms", TRACK + "/mdia/mdhd/duration", own(lambda change: change.new == change.atom("tkhd/duration"))),
    ("timecode", ".*", "atoms", TRACK + "/mdia/minf/dinf/dref/(children|alis|url )", own(("url |alis|00000001|None", "url |alis|00000001|None"))),
    ("timecode", ".*", "atoms", TRACK + "/mdia/minf/stbl/stco/more", own(("[0-9a-f]{8}", "[0-9a-f]{8}"))),
    ("timecode", ".*", "atoms", TRACK + "/mdia/minf/stbl/stsz", own(("0{16}0000000100000004", "0{8}0000000400000001"))),
    ("timecode", ".*", "atoms", TRACK + "/mdia/minf/stbl/stts", own(one_sample)),
    ("timecode", ".*", "atoms", TRACK + "/mdia/minf/stbl/stsd/tmcd", own(same_definition)),
    ("timecode", ".*", "exiftool", r"Track\d+:(Media(CreateDate|ModifyDate|TimeScale|Duration)|TrackDuration|SampleSizes)", own((".+", ".+"))),
    ("timecode", ".*", "exiftool", r"Track\d+:MediaLanguageCode", own((r"und|\d+", "None"))),
    ("timecode", ".*", "exiftool", r"Track\d+:OtherName", own(("None", ""))),
    ("timecode", ".*", "exiftool", r"Track\d+:Unknown_(alis|edts)", own((DATA + "|None", DATA + "|None"))),
    ("timecode", ".*", "ffprobe", STREAM + "/(duration_ts|start_pts|extradata_size)", own(DERIVED)),
    ("timecode", ".*", "ffprobe", STREAM + "/time_base", own((r"1/\d+", r"1/\d+"))),
    ("timecode", ".*", "ffprobe", STREAM + "/tags/creation_time", own((r"[-\d]+T.*Z", r"[-\d]+T.*Z"))),
    ("timecode", ".*", "ffprobe", STREAM + "/tags/language", own(("None|und", "eng"))),
    ("timecode", ".*", "ffprobe", STREAM + "/duration_ts", (r"\d+", r"\d+")),
    ("timecode", ".*", "packets", r"stream \d+", own(("1 packets .*", "1 packets .*"))),
    ("timecode", ".*", "mediainfo", r"Other [^/]+/Language", ("None", "en")),
    ("timecode", ".*", "mediainfo", r"Other ?[^/]*/(FrameCount|StreamSize)", DERIVED),
    ("timecode", ".*", "mediainfo", r"Other [^/]+/BitRate_Mode", ("CBR", "None")),
    ("timecode", ".*", "mediainfo", r"Other [^/]+/extra/Duration_(First|Last)Frame", (NUMBER, "None")),
    ("timecode", ".*", "mediainfo", "General/OverallBitRate_Mode", ("CBR", "None")),
]


def is_explained(change):
    said_of_it = [change.edit, change.tags, change.program, change.key]
    for *expressions, before_and_after in RULES:
        if all(re.fullmatch(expression, text) for expression, text in zip(expressions, said_of_it)):
            try:
                if holds(before_and_after, change):
                    return True
            except (AttributeError, ValueError, IndexError, KeyError):  # texts that are not what the rule is about
                pass
    return False
