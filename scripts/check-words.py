#!/usr/bin/env python3
"""Fails on words that mean nothing to a reader of this tree: papers that are not in it, folders of one machine.

Usage: check-words.py [--self-test]
"""

import os
import re
import sys
import tempfile
from pathlib import Path

from source_tree import run_check, source_files

# The licence is another author's text.
EXCLUDED = {"LICENSE"}

# Put together from pieces, so that this file does not hold what it looks for.
PAPER = "spec"
WORDS = re.compile(
    "|".join(
        [
            rf"\b[{PAPER[0].upper()}{PAPER[0]}]{PAPER[1:]}ification\b",
            rf"\bthe {PAPER}\b",
            r"\bPa" + r"rt [0-9]+(\.[0-9]+)?\b",
            PAPER + r"\.md",
        ]
    )
)
# Reasons that are somebody else's: a comment gives its own.
LEANING = re.compile("|".join([r"readers of these \w+ know", r"what users have " + "stored", "deliberately " + "approximate", r"\bas de" + r"fined\b", r"\bby de" + r"finition\b"]))
# Folders in which people and build machines keep their work.
FOLDERS = re.compile(r"(?<![\w.$}~-])/(" + "|".join(["home", "root", "work"]) + r")/[\w.]")


def own_folders(root):
    """Folders of the machine that runs this, where they are long enough to mean something."""
    folders = {str(root), os.path.expanduser("~")}
    return [folder + "/" for folder in folders if folder.count("/") > 1]


def complaints(root):
    """One line for each find, and the number of text files that were read."""
    own = own_folders(root)
    found, count = [], 0
    for name in source_files(root):
        data = (root / name).read_bytes()
        if name in EXCLUDED or b"\0" in data:
            continue
        count += 1
        for number, line in enumerate(data.decode("utf-8", errors="replace").splitlines(), 1):
            match = WORDS.search(line)
            if match:
                found.append(f'{name}:{number}: "{match.group()}" names a paper that is not in the tree')
            elif match := LEANING.search(line):
                found.append(f'{name}:{number}: "{match.group()}" leans on something that is not in the tree; say why in its own terms')
            elif FOLDERS.search(line) or any(folder in line for folder in own):
                found.append(f"{name}:{number}: a path of one machine: {line.strip()[:120]}")
    return found, count


# A line, and whether it is to be found.
SELF_TEST = [
    (f"as the {PAPER} says", True),
    (f"see {PAPER}.md", True),
    (f"the {PAPER}ification of the format", True),
    (f"{PAPER.capitalize()}ification", True),
    ("clause in Pa" + "rt 3", True),
    ("clause in Pa" + "rt 12.4, below", True),
    ("/" + "home/somebody/clip.mov", True),
    ('"/' + 'work/tree"', True),
    ("cd /" + "root/x", True),
    ("as readers of these " + "logs know it", True),
    ("rounded as de" + "fined", True),
    ("as it is defined in atoms.h", False),
    (f"{PAPER}ial and {PAPER}ific words", False),
    ("the first part 3 times", False),
    ("https://example.com/" + "home/page", False),
    ("$prefix/" + "work/x and ./" + "home/x", False),
    ("Apart 3, Parts 4", False),
]


def self_test():
    """The number of cases that come out otherwise than they say."""
    wrong = 0
    with tempfile.TemporaryDirectory() as folder:
        root = Path(folder)
        cases = [(line + "\n", expected) for line, expected in SELF_TEST]
        cases += [(f"{root}/file\n", True), (f"the {PAPER}\0binary\n", False)]
        for text, expected in cases:
            (root / "file.txt").write_text(text, encoding="utf-8")
            found, _ = complaints(root)
            if bool(found) != expected:
                wrong += 1
                print(f"{text!r}: expected {expected}, got {found}")
    print(f"{len(cases) - wrong} of {len(cases)} cases come out as they should")
    return wrong


if __name__ == "__main__":
    sys.exit(run_check(complaints, self_test, "files"))
