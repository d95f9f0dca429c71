#!/usr/bin/env python3
"""Writes fuzz/atoms.dict: the four-character codes that the code knows, and bytes that sizes and counts like to be."""

import re
from pathlib import Path

HERE = Path(__file__).resolve().parent
FOLDERS = ["movie", "timecode", "document", "cli", "tests/helpers"]
# Of files that are no movies, and of atoms that the code keeps without knowing them.
OTHER_WORDS = ["RIFF", "RF64", "WAVE", "ds64", "FORM", "AIFF", "AIFC", "COMM", "SSND", "mdta", "mdir", "uuid", "data", "zlib",
    "<plist", "<dict>", "<array>", "<key>", "<string>", "<integer>", "<real>", "<true/>", "<data>", "<date>", "bplist00", "&lt;", "&#x41;",
    "<![CDATA[", "-->", ";", ":", "/600", "0:00:00:00.00/30000"]
NUMBERS = {
    "zero": "00000000", "one": "00000001", "eight": "00000008", "sixteen": "00000010", "ones": "ffffffff", "most": "7fffffff",
    "sign": "80000000", "zero64": "0000000000000000", "most64": "7fffffffffffffff", "ones64": "ffffffffffffffff",
    "above32": "0000000100000000", "top": "4000000000000000",
}


def codes():
    found = set()
    for folder in FOLDERS:
        for path in sorted((HERE.parent / folder).glob("*.*")):
            text = path.read_text(encoding="utf-8")
            found.update(re.findall(r'"([ -~]{4})"_cc', text))
            found.update("\\xA9" + word for word in re.findall(r'"\\xA9"?\s*"?([a-z]{3})"_cc', text))
    return sorted(found)


def main():
    lines = ["# Made by fuzz/make-dictionary.py."]
    lines += [f'"{word}"' for word in [*codes(), *OTHER_WORDS] if '"' not in word]
    for name, digits in NUMBERS.items():
        text = "".join("\\x" + digits[i : i + 2] for i in range(0, len(digits), 2))
        lines.append(f'{name}="{text}"')
    (HERE / "atoms.dict").write_text("\n".join(lines) + "\n", encoding="ascii")
    print(f"{len(lines) - 1} entries")


if __name__ == "__main__":
    main()
