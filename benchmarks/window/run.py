#!/usr/bin/env python3
"""Measures what a playing window costs: the player with its controls beside the least that shows the same stream in a
texture of the same window. Qt draws without a display, with its software renderer.

The programs take turns, each in a process of its own; the server is another one. Told are processor time per second of
playing, and what drawing the controls takes. In these seconds the player shows its controls, as it does at the
beginning of each title; "without its controls" is how the rest of a title plays.

    run.py --build build/release [--rounds 3] [--quick] [--json FILE]
"""
import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import table  # noqa: E402


def prepare(arguments, stack):
    programs = arguments.build / "bin"
    if not (programs / "window_player").exists():
        table.skipped("window", "not built, since Qt was not found")
        return list
    folder = stack.enter_context(tempfile.TemporaryDirectory())
    server = subprocess.Popen([programs / "window_server"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    stack.callback(lambda: (server.stdin.close(), server.wait()))
    base = server.stdout.readline().strip()
    environment = {**os.environ, "QT_QPA_PLATFORM": "offscreen", "QT_QUICK_BACKEND": "software", "XDG_RUNTIME_DIR": folder,
                   "XDG_STATE_HOME": folder}
    seconds = 2 if arguments.quick else 6
    player = [programs / "window_player", base, "sample-720", str(seconds)]
    contenders = [("sdk", "SDK", player), ("variant", "SDK: without its controls", [*player, "bare"]),
                  ("limit", "playbin3 in a texture",
                   [programs / "window_playbin", f"{base}/media/sample/720/playlist.m3u8", str(seconds)])]

    def turn():
        for role, who, command in contenders:
            output = subprocess.run(command, check=True, capture_output=True, text=True, env=environment).stdout
            figure = json.loads([line for line in output.splitlines() if line.startswith("{")][-1])
            if figure["frames"] < 20 * seconds:
                print(f"{who}: {figure['frames']} frames only; the machine is busy", file=sys.stderr)
            yield table.Figure("a window: processor time for a second of playing", "ms", role, who,
                               [1000 * figure["processor"] / seconds])
            if role == "sdk":
                yield table.Figure("a window: drawing its controls once", "ms", role, who, [1000 * figure["repaint"]])

    return turn


table.main(__doc__, prepare, rounds=3)
