"""The files that belong to the source tree, for the checks beside this module."""

import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# Left out where there is no git to say what is ignored.
IGNORED_FOLDERS = {".git", ".cache", "build", "__pycache__"}


def git_files(root):
    """Names below `root` that git tracks, or would if they were added; nothing where `root` is no top of a git tree."""
    git = ["git", "-C", str(root)]
    try:
        top = subprocess.run(git + ["rev-parse", "--show-toplevel"], capture_output=True, check=True, text=True)
        # A source archive unpacked inside somebody's other repository is not that repository's business.
        if Path(top.stdout.rstrip("\n")).resolve() != root.resolve():
            return []
        names = subprocess.run(
            git + ["ls-files", "-z", "--cached", "--others", "--exclude-standard"], capture_output=True, check=True
        )
    except (OSError, subprocess.CalledProcessError):
        return []
    return [os.fsdecode(name) for name in names.stdout.split(b"\0") if name]


def walked_files(root):
    """Names below `root` as the folders have them."""
    names = []
    for folder, subfolders, files in os.walk(root):
        subfolders[:] = [name for name in subfolders if name not in IGNORED_FOLDERS]
        names += [str((Path(folder) / name).relative_to(root)) for name in files]
    return names


def source_files(root=ROOT):
    """Sorted names, relative to `root`, of the files that are there. A git worktree's `.git` file is not one of them."""
    names = git_files(root) or walked_files(root)
    return sorted(name for name in set(names) if name != ".git" and (root / name).is_file())


def run_check(complaints, self_test, what):
    """What a check does as a program: its self-test when asked for, else what it complains about. The exit status."""
    if sys.argv[1:] == ["--self-test"]:
        return 1 if self_test() else 0
    found, count = complaints(ROOT)
    print(*found, sep="\n", end="\n" if found else "")
    print(f"{count} {what} read, {len(found)} wrong")
    return 1 if found or not count else 0
