#!/usr/bin/env python3
"""Runs the tests of interrupted saves and prints what they tried as a table: ./test --crash-matrix

A row is a kind of save: where the header stands in the file, the room beside it, what the edit does to the header, and how
it is saved. The save is stopped after each of its steps, and each step is made to fail; each time every state that a
power failure can leave on the disk, or sixty and the extreme ones where there are too many, must be the old movie or the
new one.
"""

import argparse
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SUITES = "*CrashSafety*"
STOPPED = "EveryCrashLeavesTheOldMovieOrTheNewOne"
FAILED = "EveryFailingStepIsReportedAndLeavesAMovie"


def words(name):
    """"HeaderFirst" as "header first"."""
    return re.sub(r"(?<=[a-z])(?=[A-Z])", " ", name).lower()


def table(head, rows):
    widths = [max(len(str(row[i])) for row in [head, *rows]) for i in range(len(head))]
    for row in [head, *rows]:
        cells = [f"{str(cell):{width}}" if i < 4 else f"{str(cell):>{width}}" for i, (cell, width) in enumerate(zip(row, widths))]
        print("  ".join(cells).rstrip())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tests", type=Path, default=ROOT / "build/release/bin/test_movie", help="the test program")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        report = Path(folder, "report.json")
        done = subprocess.run(
            [options.tests.resolve(), f"--gtest_filter={SUITES}", f"--gtest_output=json:{report}"], capture_output=True, text=True, check=False
        )
        if not report.exists():
            print(done.stdout[-3000:], done.stderr[-3000:], sep="\n")
            return 1
        suites = json.loads(report.read_text())["testsuites"]
    tests = [test for suite in suites for test in suite["testsuite"]]
    stopped = {test["name"].split("/")[-1]: test for test in tests if test["name"].startswith(STOPPED)}
    failed = {test["name"].split("/")[-1]: test for test in tests if test["name"].startswith(FAILED)}
    if not stopped or stopped.keys() != failed.keys():
        print("The tests of interrupted saves are not what this table expects.")
        return 1

    def count(test, name):
        return int(test.get(name, 0))

    rows, totals = [], [0] * 6
    for name, test in stopped.items():
        numbers = [
            count(test, "steps"),
            count(test, "crashStates"),
            count(test, "oldMovies"),
            count(test, "crashStates") - count(test, "oldMovies"),
            2 * count(test, "steps"),
            count(failed[name], "crashStates"),
        ]
        totals = [a + b for a, b in zip(totals, numbers)]
        broken = "BROKEN" if "failures" in test or "failures" in failed[name] else ""
        rows.append([*map(words, name.split("_")), *numbers, broken])
    head = ["header", "room", "edit", "saved", "steps", "states", "old", "new", "failures", "states", ""]
    table(head, [*rows, ["all", "", "", "", *totals, ""]])
    print(
        "\nsteps: writes, flushes and renames of the save, stopped after each; states: contents of the disk that were judged;"
        "\nold, new: which movie they were; failures: steps that failed (no room, input/output error), and the states after them"
    )
    others = [test for test in tests if not test["name"].startswith((STOPPED, FAILED))]
    for test in others:
        if "crashStates" in test:
            print(f"{test['classname']}.{test['name']}: {int(test['crashStates'])} states")
    everything = sum(count(test, "crashStates") for test in tests)
    bad = [test["name"] for test in tests if "failures" in test]
    print(f"\n{everything} states in all, {len(bad)} tests failed{': ' + ', '.join(bad) if bad else ''}")
    return 1 if bad or done.returncode else 0


if __name__ == "__main__":
    sys.exit(main())
