#!/usr/bin/env python3
"""Measures the subtitle coders and the regular expressions beneath them.

Told are times per match beside the bare engine, megabytes per second of each line-based coder, conversion of a film's
subtitles and of 200,000 cues with its peak memory, lookups, and the same conversion by other programs that are
installed. All figures are the fastest of several rounds, in processor time.

    run.py --build build/release [--json FILE]
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

CUES = 200_000


def report(program, *arguments):
    return json.loads(subprocess.run([program, *arguments], check=True, capture_output=True, text=True).stdout)


def fastest(action, rounds=3):
    times = []
    for _ in range(rounds):
        begin = os.times()
        action()
        end = os.times()
        times.append(end.children_user + end.children_system - begin.children_user - begin.children_system)
    return min(times)


def peers(program, figures):
    """SRT to WebVTT by others, whose process starts on a small file are taken off their time."""
    ffmpeg = shutil.which("ffmpeg")
    if not ffmpeg:
        print("Benchmark peer ffmpeg: skipped, not installed", file=sys.stderr)
        return
    with tempfile.TemporaryDirectory() as folder:
        times = []
        for cues in (1, CUES):
            source = Path(folder, f"{cues}.srt")
            source.write_bytes(subprocess.run([program, "make", str(cues)], check=True, capture_output=True).stdout)
            command = [ffmpeg, "-v", "error", "-y", "-i", str(source), str(source.with_suffix(".vtt"))]
            times.append(fastest(lambda: subprocess.run(command, check=True)))
        size = Path(folder, f"{CUES}.srt").stat().st_size
        figures["large SRT to WebVTT, ffmpeg (MB/s)"] = size / (times[1] - times[0]) / 1e6


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True, type=Path)
    parser.add_argument("--json", type=Path)
    arguments = parser.parse_args()
    program = str(arguments.build.resolve() / "bin" / "subtitles_bench")

    figures = report(program, "speed")
    figures |= report(str(arguments.build.resolve() / "bin" / "subtitles_structured_bench"))
    for road in ("direct", "document"):
        for name, value in report(program, "memory", road).items():
            figures[f"large memory, {road}: {name}"] = value
    peers(program, figures)
    figures["regex Matcher per bare, timing line"] = (
        figures["regex Matcher, timing line (ns)"] / figures["regex bare, timing line (ns)"])

    width = max(map(len, figures))
    for name, value in figures.items():
        print(f"{name:<{width}}  {value:12,.2f}")
    if arguments.json:
        arguments.json.write_text(json.dumps(figures, indent=2) + "\n")


if __name__ == "__main__":
    main()
