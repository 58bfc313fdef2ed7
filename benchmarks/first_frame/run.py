#!/usr/bin/env python3
"""Measures how long a viewer waits for the first picture, and what playing costs, through the whole SDK beside a bare
playbin3 program on the same stream of one local server.

Three contenders take turns, each in a process of its own: playbin3 with an appsink; the SDK from setup() on, the time
of its backend calls taken off; the SDK with three SRT files sideloaded and one of them drawn. "cold" is the first
stream of a process, which loads GStreamer's plugins, "warm" the second one. Told are medians, and the median of
the ratios of each turn. Processor time is that of the whole process, for some seconds of playing at normal speed.

    run.py --build build/release [--rounds 10] [--seconds 6] [--json FILE]
"""

import argparse
import json
import os
import statistics
import subprocess
import sys
from pathlib import Path

BARE, SDK, SUBTITLED = "playbin3", "SDK", "SDK, 3 subtitles"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/release", type=Path)
    parser.add_argument("--rounds", default=10, type=int)
    parser.add_argument("--seconds", default=6, type=float, help="played to measure processor time")
    parser.add_argument("--json", type=Path)
    arguments = parser.parse_args()
    programs = arguments.build.resolve() / "bin"
    if not (programs / "first_frame_sdk").exists():
        sys.exit(f"first_frame: no {programs / 'first_frame_sdk'}; build with QUOREL_BUILD_BENCHMARKS")

    server = subprocess.Popen([programs / "first_frame_server"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    try:
        base = server.stdout.readline().strip()
        commands = {
            BARE: [programs / "first_frame_playbin", f"{base}/media/sample/master.m3u8"],
            SDK: [programs / "first_frame_sdk", base, "plain"],
            SUBTITLED: [programs / "first_frame_sdk", base, "sample"],
        }

        def run(who, seconds, streams):
            output = subprocess.run([*commands[who], str(seconds), str(streams)], check=True, capture_output=True,
                                    text=True).stdout
            return [json.loads(line) for line in output.splitlines() if line.startswith("{")]

        figures = {(task, who): [] for task in ("cold", "warm", "processor") for who in commands}
        widths = set()
        for who in commands:
            run(who, 0, 1)  # brings the files into memory
        for turn in range(arguments.rounds):
            for who in commands:
                for task, stream in zip(("cold", "warm"), run(who, 0, 2)):
                    figures[task, who].append(1000 * (stream["picture"] - stream["backend"]))
        for turn in range(max(3, arguments.rounds // 3)):
            for who in commands:
                stream, = run(who, arguments.seconds, 1)
                figures["processor", who].append(1000 * stream["processor"] / arguments.seconds)
                widths.add(stream["width"])
    finally:
        server.stdin.close()
        server.wait()

    result = []
    print(f"{'':<34}{'contender':<20}{'median':>10}{'least':>9}{'most':>9}{'ratio':>8}")
    names = {"cold": "first picture, cold (ms)", "warm": "first picture, warm (ms)",
             "processor": "processor, ms per second played"}
    for (task, who), values in figures.items():
        ratio = statistics.median(own / bare for own, bare in zip(values, figures[task, BARE]))
        print(f"{names[task] if who == BARE else '':<34}{who:<20}{statistics.median(values):>10.1f}{min(values):>9.1f}"
              f"{max(values):>9.1f}{ratio:>8.2f}")
        result.append({"task": names[task], "who": who, "median": statistics.median(values), "values": values,
                       "ratio": ratio})
    # On a machine that does other things too, the absolute times mean little, and the ratios less than they could.
    print(f"widths of the pictures at the end: {sorted(widths)}; load of the machine: {os.getloadavg()[0]:.1f} on "
          f"{os.cpu_count()} processors")
    if arguments.json:
        arguments.json.write_text(json.dumps(result, indent=1) + "\n")


if __name__ == "__main__":
    main()
