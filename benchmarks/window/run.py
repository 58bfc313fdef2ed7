#!/usr/bin/env python3
"""Measures what a playing window costs: the player with its controls beside the least that shows the same stream in a
texture of the same window. Qt draws without a display, with its software renderer.

The programs take turns, each in a process of its own; the server is another one. Told are medians of processor time
over some seconds of playing, and the median of the ratios of each turn. In these seconds the player shows its controls,
as it does at the beginning of each title; "without its controls" is how the rest of a title plays.

    run.py --build build/release [--rounds 5] [--seconds 8] [--json FILE]
"""

import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/release", type=Path)
    parser.add_argument("--rounds", default=5, type=int)
    parser.add_argument("--seconds", default=8, type=float)
    parser.add_argument("--json", type=Path)
    arguments = parser.parse_args()
    programs = arguments.build.resolve() / "bin"
    if not (programs / "window_player").exists():
        print("window: not built, since Qt was not found")
        return
    server = subprocess.Popen([programs / "window_server"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    figures = {"bare": [], "player without its controls": [], "player": []}
    repaints = []
    with tempfile.TemporaryDirectory() as runtime:
        environment = {"QT_QPA_PLATFORM": "offscreen", "QT_QUICK_BACKEND": "software", "XDG_RUNTIME_DIR": runtime}
        try:
            base = server.stdout.readline().strip()
            commands = {"bare": [programs / "window_playbin", f"{base}/media/sample/720/playlist.m3u8"],
                        "player without its controls": [programs / "window_player", base, "sample-720"],
                        "player": [programs / "window_player", base, "sample-720"]}
            for _ in range(arguments.rounds):
                for who, command in commands.items():
                    more = ["bare"] if "without" in who else []
                    output = subprocess.run([*command, str(arguments.seconds), *more], check=True, capture_output=True, text=True,
                                            env={**os.environ, **environment}).stdout
                    figure = json.loads([line for line in output.splitlines() if line.startswith("{")][-1])
                    if figure["frames"] < 20 * arguments.seconds:
                        print(f"{who}: {figure['frames']} frames only; the machine is busy", file=sys.stderr)
                    figures[who].append(1000 * figure["processor"] / arguments.seconds)
                    if who == "player":
                        repaints.append((figure["repaints"], 1000 * figure["repaint"]))
        finally:
            server.stdin.close()
            server.wait()

    print(f"{'processor, ms per second played':<34}{'median':>10}{'least':>9}{'most':>9}{'ratio':>8}")
    result = []
    for who, values in figures.items():
        ratio = statistics.median(own / bare for own, bare in zip(values, figures["bare"]))
        print(f"{who:<34}{statistics.median(values):>10.1f}{min(values):>9.1f}{max(values):>9.1f}{ratio:>8.2f}")
        result.append({"who": who, "median": statistics.median(values), "values": values, "ratio": ratio})
    count, cost = (statistics.median(column) for column in zip(*repaints))
    print(f"controls drawn {count:.0f} times from the start, {cost:.2f} ms of processor time each")
    result.append({"who": "controls", "repaints": count, "milliseconds": cost})
    if arguments.json:
        arguments.json.write_text(json.dumps(result, indent=1) + "\n")


if __name__ == "__main__":
    main()
