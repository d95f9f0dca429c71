#!/usr/bin/env python3
"""Conforms a clip of each usual rate to each other one, both ways, and prints what ffprobe and mediainfo then say as
the table of docs/CONFORM.md. Usage: conform-table.py REELWRIGHT-CLI
"""

import json
import subprocess
import sys
import tempfile
from pathlib import Path

RATES = {"23.976": "24000/1001", "24": "24", "25": "25", "29.97": "30000/1001", "30": "30", "50": "50", "59.94": "60000/1001"}


def run(*arguments):
    done = subprocess.run(arguments, capture_output=True, text=True, check=False)
    return done.returncode, done.stdout, done.stderr


def said(path):
    """Rate and sound rate as ffprobe has them, the rate as mediainfo has it."""
    streams = json.loads(run("ffprobe", "-v", "error", "-of", "json", "-show_streams", str(path))[1])["streams"]
    video = next(s for s in streams if s["codec_type"] == "video")
    audio = next(s for s in streams if s["codec_type"] == "audio")
    info = json.loads(run("mediainfo", "--Output=JSON", str(path))[1])["media"]["track"]
    rate = next(t.get("FrameRate", "none") for t in info if t["@type"] == "Video")
    return video["avg_frame_rate"], audio["sample_rate"], rate


def main():
    tool = sys.argv[1]
    print("| from | to | `--conform`: ffprobe | mediainfo | sound | `--conform-exact`: ffprobe | mediainfo | sound |")
    print("| --- | --- | --- | --- | --- | --- | --- | --- |")
    with tempfile.TemporaryDirectory() as folder:
        for name, rate in RATES.items():
            source = Path(folder) / f"{name}.mov"
            run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=s=64x48:d=4:r={rate}", "-f", "lavfi", "-i",
                "sine=d=4:r=48000", "-c:v", "mpeg4", "-c:a", "pcm_s16le", "-timecode", "01:00:00:00", str(source))
            for target in RATES:
                if target == name:
                    continue
                cells = []
                for option in ("--conform", "--conform-exact"):
                    output = Path(folder) / "out.mov"
                    status, _, errors = run(tool, "edit", option, target, "--overwrite", "-o", str(output), str(source))
                    if status != 0:
                        cells += ["refused: " + errors.strip().splitlines()[-1].split(": ", 2)[-1], "", ""]
                        continue
                    cells += said(output)
                    sound = [line for line in errors.splitlines() if "samples a second, which" in line]
                    if sound:
                        cells[-2] += " (wrong, said)"
                    first, sound_rate, info = cells[-3], cells[-2], cells[-1]
                    cells[-3:] = [first, info, sound_rate]
                print(f"| {name} | {target} | " + " | ".join(cells) + " |", flush=True)


if __name__ == "__main__":
    main()
