#!/usr/bin/env python3
"""Fails on an #include that runs against the layers.

The links between CMake targets stop most wrong includes, but every target sees the whole tree and everything in the
system's include folder; this reads the lines themselves. Usage: check-layers.py [--self-test]
"""

import re
import sys
import tempfile
from pathlib import Path

from source_tree import run_check, source_files

# Layer (a folder) -> the layers that it may include. Folders below tests/ may include what their namesake may, and the
# namesake. The same arrows stand as links in CMakeLists.txt.
ARROWS = {"movie": set(), "support": set()}
ARROWS["times"] = {"movie", "support"}
ARROWS["tracks"] = ARROWS["times"] | {"times"}
ARROWS["timecode"] = ARROWS["tracks"] | {"tracks"}
ARROWS["chapters"] = ARROWS["timecode"] | {"timecode"}
ARROWS["conform"] = ARROWS["timecode"] | {"timecode"}
ARROWS["attributes"] = ARROWS["tracks"] | {"tracks"}
ARROWS["tasks"] = ARROWS["timecode"] | {"timecode", "attributes"}
ARROWS["report"] = ARROWS["timecode"] | {"timecode", "attributes", "chapters"}
ARROWS["picture"] = {"movie", "support"}
ARROWS["edits"] = ARROWS["tasks"] | {"tasks", "chapters", "conform", "picture"}
ARROWS["saving"] = ARROWS["edits"] | {"edits", "report"}
ARROWS["checks"] = ARROWS["edits"] | {"edits", "report"}
ARROWS["document"] = ARROWS["saving"] | {"saving"}
ARROWS["batch"] = ARROWS["document"] | {"document"}
CORE = set(ARROWS)
ARROWS["cli"] = CORE
ARROWS["app"] = CORE
ARROWS["fuzz"] = CORE | {"cli", "tests/helpers"}
ARROWS["bench"] = CORE | {"app", "tests/helpers"}
ARROWS["tests/helpers"] = {"movie", "support"}

# Includes of other people's libraries that have one home each: what they look like, whose they are, where they may be.
LIBRARIES = [
    (re.compile(r"^(Q[A-Z]\w*|Qt\w*/.+|q[a-z0-9_]+\.h)$"), "Qt", {"app", "bench"}),
    (re.compile(r"^mpv/"), "libmpv", {"app"}),
    (re.compile(r"^CLI/"), "CLI11", {"cli"}),
    (re.compile(r"^nlohmann/"), "nlohmann-json", {"tracks", "attributes", "report", "picture", "chapters", "cli"}),
    (re.compile(r"^lib(av|sw)\w+/(?!log\.h$)"), "FFmpeg", {"picture"}),
    (re.compile(r"^libavutil/log\.h$"), "FFmpeg's log", {"picture", "app"}),
    (re.compile(r"^exiv2/"), "libexiv2", {"timecode"}),
    (re.compile(r"^pugixml\.hpp$"), "pugixml", {"chapters"}),
]
TOOLS_OF_TESTS = {"CLI11", "nlohmann-json", "FFmpeg"}

SUFFIXES = {".h", ".hh", ".hpp", ".ipp", ".c", ".cc", ".cpp", ".cxx"}
COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)
INCLUDE = re.compile(r"^[ \t]*#[ \t]*include\b[ \t]*([^\n]*)", re.MULTILINE)
# Files that Qt's own tools write into the build folder.
GENERATED = re.compile(r"^(ui_\w+\.h|moc_\w+\.cpp|\w+\.moc)$")


def layer_of(name):
    """The layer of a file or of an included name, or None: "tests/movie/X.cpp" is of tests/movie, "movie/X.h" of movie."""
    parts = name.split("/")
    if len(parts) > 2 and parts[0] == "tests":
        return "/".join(parts[:2])
    return parts[0] if len(parts) > 1 else None


def arrows_from(layer):
    """The layers that `layer` may include besides itself, or None for a layer that nobody has drawn."""
    if layer in ARROWS:
        return ARROWS[layer]
    subject = layer.removeprefix("tests/")
    if subject != layer and subject in ARROWS:
        return ARROWS[subject] | {subject, "tests/helpers"}
    return None


def objection(layer, text):
    """Why a file of `layer` may not have `#include text`, or None."""
    match = re.match(r'(?:"([^"]+)"|<([^>]+)>)', text)
    if not match:
        return "names no file"
    quoted, angled = match.groups()
    target = quoted or angled
    for pattern, library, homes in LIBRARIES:
        if not pattern.match(target):
            continue
        if layer.startswith("tests/") and (library in TOOLS_OF_TESTS or layer.removeprefix("tests/") in homes):
            return None
        return None if layer in homes else f"{library} belongs to {'/, '.join(sorted(homes))}/ only"
    to = layer_of(target)
    if angled:
        return f'our own headers stand in quotes: "{angled}"' if to in ARROWS else None
    if layer in ("app", "tests/app") and GENERATED.match(quoted):
        return None
    if to is None or ".." in quoted.split("/"):
        return "headers are included from the root, with their folder"
    if to == layer or to in arrows_from(layer):
        return None
    if to in ARROWS or to.startswith("tests/"):
        return f"no arrow leads from {layer}/ to {to}/"
    return f"there is no layer {to}/"


def without_block_comments(text):
    """`text` with its block comments blanked, lines kept."""
    return COMMENT.sub(lambda comment: "\n" * comment.group().count("\n"), text)


def complaints(root):
    """One line for each wrong include of the tree, and the number of includes that were read."""
    found, count = [], 0
    for name in source_files(root):
        if Path(name).suffix not in SUFFIXES:
            continue
        layer = layer_of(name)
        if layer is None or arrows_from(layer) is None:
            found.append(f"{name}: its folder is in no layer; add it to ARROWS in scripts/check-layers.py")
            continue
        text = without_block_comments((root / name).read_text(encoding="utf-8", errors="replace"))
        for include in INCLUDE.finditer(text):
            count += 1
            why = objection(layer, include.group(1))
            if why:
                line = text.count("\n", 0, include.start()) + 1
                found.append(f"{name}:{line}: #include {include.group(1).strip()}: {why}")
    return found, count


# File, its text, and a part of the complaint about it; None where there must be none.
SELF_TEST = [
    ("movie/Good.cpp", '#include "movie/atoms/Atom.h"\n#include <fmt/format.h>\n#include <vector>\n', None),
    ("movie/Up.cpp", '#include "times/KWTimecode.h"\n', "movie/Up.cpp:1: "),
    ("movie/Log.cpp", '#include "support/KWLog.h"\n', "no arrow leads from movie/ to support/"),
    ("support/Movie.h", '#pragma once\n#include "movie/atoms/Atom.h"\n', "support/Movie.h:2: "),
    ("timecode/Good.cpp", '#include "movie/atoms/Atom.h"\n#include "support/KWLog.h"\n', None),
    ("timecode/Side.cpp", '#include "chapters/X.h"\n', "no arrow leads from timecode/ to chapters/"),
    ("timecode/Up.cpp", '#include "document/MyDocument.h"\n', "no arrow leads from timecode/ to document/"),
    ("tracks/KWMovTrack.cpp", '#include "timecode/KWTimecodeController.h"\n', "no arrow leads from tracks/ to timecode/"),
    ("movie/atoms/Good.cpp", '#include "movie/samples/SampleTable.h"\n', None),
    ("app/panes/Good.cpp", '#include "app/window/X.h"\n', None),
    ("attributes/Good.cpp", '#include "tracks/KWMovTrack.h"\n', None),
    ("document/Good.cpp", '#include "timecode/X.h"\n#include "picture/X.h"\n#include "movie/X.h"\n', None),
    ("document/Batch.cpp", '#include "batch/KWBatchDocument.h"\n', "no arrow leads from document/ to batch/"),
    ("batch/Good.cpp", '#include "document/MyDocument.h"\n', None),
    ("cli/Good.cpp", '#include "batch/X.h"\n#include <CLI/CLI.hpp>\n#include <nlohmann/json.hpp>\n', None),
    ("cli/App.cpp", '#include "app/Main.h"\n', "no arrow leads from cli/ to app/"),
    ("app/Good.cpp", '#include <QWidget>\n#include <QtTest/QTest>\n#include <mpv/client.h>\n#include "ui_a.h"\n', None),
    ("app/Cli.cpp", '#include "cli/Main.h"\n', "no arrow leads from app/ to cli/"),
    ("document/Qt.cpp", "#include <QString>\n", "Qt belongs to app/, bench/ only"),
    ("movie/Qt.cpp", '#include "QtCore/QString"\n', "Qt belongs to app/, bench/ only"),
    ("movie/Qt.h", "  #  include <qstring.h>\n", "Qt belongs to app/, bench/ only"),
    ("movie/Json.cpp", "#include <nlohmann/json.hpp>\n", "nlohmann-json belongs to attributes/, chapters/, cli/, picture/, report/, tracks/ only"),
    ("document/Cli.cpp", "#include <CLI/CLI.hpp>\n", "CLI11 belongs to cli/ only"),
    ("document/Av.cpp", "#include <libavcodec/avcodec.h>\n", "FFmpeg belongs to picture/ only"),
    ("picture/Good.cpp", "#include <libavcodec/avcodec.h>\n", None),
    ("movie/Angle.cpp", "#include <movie/atoms/Atom.h>\n", "our own headers stand in quotes"),
    ("movie/Bare.cpp", '#include "Atom.h"\n', "included from the root"),
    ("movie/Dots.cpp", '#include "../timecode/X.h"\n', "included from the root"),
    ("movie/Inside.cpp", '#include "movie/../timecode/X.h"\n', "included from the root"),
    ("movie/Macro.cpp", "#include HEADER\n", "names no file"),
    ("movie/Unknown.cpp", '#include "widgets/X.h"\n', "there is no layer widgets/"),
    ("movie/Comment.cpp", '/* two\n#include "app/X.h"\n*/\n// #include "app/X.h"\n', None),
    ("movie/AfterComment.cpp", '/* two\nlines */\n#include "app/X.h"\n', "movie/AfterComment.cpp:3: "),
    ("widgets/Stray.cpp", "", "its folder is in no layer"),
    ("tests/movie/Good.cpp", '#include "movie/atoms/Atom.h"\n#include "tests/helpers/X.h"\n#include <gmock/gmock.h>\n', None),
    ("tests/movie/Up.cpp", '#include "document/MyDocument.h"\n', "no arrow leads from tests/movie/ to document/"),
    ("tests/document/Good.cpp", '#include "timecode/X.h"\n#include <nlohmann/json.hpp>\n', None),
    ("tests/document/Qt.cpp", "#include <QString>\n", "Qt belongs to app/, bench/ only"),
    ("tests/app/Good.cpp", '#include "app/Main.h"\n#include <QTest>\n#include "MainTest.moc"\n', None),
    ("tests/helpers/Good.h", '#include "movie/atoms/Atom.h"\n#include "tests/helpers/X.h"\n', None),
    ("movie/Helper.cpp", '#include "tests/helpers/X.h"\n', "no arrow leads from movie/ to tests/helpers/"),
    ("fuzz/Good.cpp", '#include "document/X.h"\n#include "tests/helpers/X.h"\n', None),
]


def self_test():
    """The number of rows of SELF_TEST that come out otherwise than they say."""
    wrong = 0
    for name, text, expected in SELF_TEST:
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / name
            file.parent.mkdir(parents=True)
            file.write_text(text, encoding="utf-8")
            found, _ = complaints(Path(folder))
        good = len(found) == 1 and expected in found[0] if expected else not found
        if not good:
            wrong += 1
            print(f"{name}: expected {expected!r}, got {found}")
    print(f"{len(SELF_TEST) - wrong} of {len(SELF_TEST)} cases come out as they should")
    return wrong


if __name__ == "__main__":
    sys.exit(run_check(complaints, self_test, "includes"))
