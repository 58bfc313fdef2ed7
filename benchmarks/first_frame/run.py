#!/usr/bin/env python3
"""Measures how long a viewer waits for the first picture, what playing costs and what memory it takes: the whole SDK
beside the bare pipeline (playbin3 with an appsink) and mpv, on the same stream of one variant from one local server.

They take turns, beginning with another one each time, each in a process of its own, which plays four streams one
behind the other. "from the start of the process" is until the first picture of the first: loading the libraries,
starting, for the SDK also its two calls to the backend, for mpv reading its command from a socket. "of a further
stream" is from the call that asks for a stream to its first picture, in a process that has played one before and
rested for half a second; the SDK's backend calls are taken off there, and a line tells what it is with them. Another
line tells what it is without the rest: the SDK then has the stream before still at its teardown, which the others end
before they begin the next. The first picture is seen where the appsink, or mpv's video output, gets it. Processor time
and memory are the process's, over some seconds of the last stream and at their end; all decode 1280 x 720 and convert
to BGRx. Memory that is not of files is heap, stacks and what libraries change of their data.

    run.py --build build/release [--rounds 4] [--quick] [--json FILE]
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import table  # noqa: E402
from mpv import Mpv  # noqa: E402
from servers import cpu_seconds  # noqa: E402

SDK, SUBTITLED, BARE, MPV = "SDK", "SDK: three SRT files, one of them drawn", "playbin3, bare", "mpv"
ROLES = {SDK: "sdk", SUBTITLED: "variant", BARE: "limit", MPV: "peer"}
STREAMS, REST = 4, 0.5


def memory(process):
    """In MB: the share of all that is mapped, and what of it is not of files."""
    text = Path(f"/proc/{process}/smaps_rollup").read_text()
    return [int(re.search(rf"^{name}:\s+(\d+) kB", text, re.M)[1]) * 1024 / 1e6 for name in ("Pss", "Anonymous")]


class Program:
    """One of our own programs."""

    def __init__(self, command, environment):
        self.process = subprocess.Popen([str(part) for part in command], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                        env=environment, stderr=subprocess.DEVNULL)
        self.pid = self.process.pid

    def next(self):
        for line in self.process.stdout:
            if line.startswith("{"):
                return json.loads(line)
        raise RuntimeError(f"{self.process.args[0]} has ended")

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.process.stdout.close()


def play(command, environment, seconds, rest=REST):
    begin = time.monotonic()
    program = Program([*command, seconds, STREAMS, rest], environment)
    try:
        first = program.next()
        result = {"cold": 1000 * (time.monotonic() - begin), "warm": [], "with backend": []}
        for _ in range(STREAMS - 1):
            picture = program.next()
            result["warm"].append(1000 * (picture["picture"] - picture["backend"]))
            result["with backend"].append(1000 * picture["picture"])
        return {**result, **at_end(program.pid, seconds, lambda: program.next()["pictures"])}
    finally:
        program.close()


def play_by_mpv(url, environment, seconds):
    begin = time.monotonic()
    mpv = Mpv([["loadfile", url]])
    try:
        mpv.wait_for_picture()
        result = {"cold": 1000 * (time.monotonic() - begin), "warm": []}
        for _ in range(STREAMS - 1):
            mpv.send(["stop"])
            mpv.wait_for_event("idle")
            time.sleep(REST)
            begin = time.monotonic()
            mpv.send(["loadfile", url])
            mpv.wait_for_picture()
            result["warm"].append(1000 * (time.monotonic() - begin))

        def to_end():
            time.sleep(seconds)
            return mpv.ask("estimated-frame-number")

        return {**result, **at_end(mpv.pid, seconds, to_end)}
    finally:
        mpv.close()


def at_end(process, seconds, to_end):
    """Called at the first picture of the last stream."""
    before, begin = cpu_seconds(process), time.monotonic()
    pictures = to_end()
    took = time.monotonic() - begin
    used = cpu_seconds(process) - before
    if pictures < 20 * seconds:
        print(f"only {pictures} pictures in {seconds} s; the machine is busy", file=sys.stderr)
    return {"processor": 1000 * used / took, "memory": memory(process)}


def idle(who, programs, environment):
    if who == MPV:
        waiting = Mpv()
        waiting.ask("mpv-version")
    else:
        waiting = Program([programs / ("first_frame_sdk" if who == SDK else "first_frame_playbin")], environment)
        waiting.next()
    try:
        return memory(waiting.pid)
    finally:
        waiting.close()


def prepare(arguments, stack):
    programs = arguments.build / "bin"
    if not (programs / "first_frame_sdk").exists():
        sys.exit(f"first_frame: no {programs / 'first_frame_sdk'}; build with QUOREL_BUILD_BENCHMARKS")
    folder = Path(stack.enter_context(tempfile.TemporaryDirectory()))
    environment = {**os.environ, "XDG_RUNTIME_DIR": str(folder), "XDG_STATE_HOME": str(folder)}
    server = subprocess.Popen([programs / "first_frame_server", folder / "media"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              text=True)
    stack.callback(lambda: (server.stdin.close(), server.wait()))
    base = server.stdout.readline().strip()
    url = f"{base}/media/sample/one.m3u8"
    seconds = 2 if arguments.quick else 5
    contenders = {
        SDK: lambda seconds: play([programs / "first_frame_sdk", base, "one"], environment, seconds),
        BARE: lambda seconds: play([programs / "first_frame_playbin", url], environment, seconds),
        SUBTITLED: lambda seconds: play([programs / "first_frame_sdk", base, "one-subtitled"], environment, seconds),
    }
    if shutil.which("mpv"):
        contenders[MPV] = lambda seconds: play_by_mpv(url, environment, seconds)
    else:
        table.skipped(MPV, "not installed")
    for play_it in contenders.values():
        play_it(0)  # brings the files into memory

    order = list(contenders)

    def turn():
        order.append(order.pop(0))  # whoever comes behind a rest may find a faster processor
        for who in order:
            figures, role = contenders[who](seconds), ROLES[who]
            yield table.Figure("first picture, from the start of the process", "ms", role, who, [figures["cold"]])
            yield table.Figure("first picture, of a further stream", "ms", role, who, figures["warm"])
            if who == SDK:
                yield table.Figure("first picture, of a further stream", "ms", "variant", "SDK: with its calls to the backend",
                                   figures["with backend"])
            yield table.Figure("processor time for a second of playing", "ms", role, who, [figures["processor"]])
            for what, value in zip(("memory while playing", "memory while playing that is not of files"), figures["memory"]):
                yield table.Figure(what, "MB", role, who, [value])
        in_a_row = play([programs / "first_frame_sdk", base, "one"], environment, 0, rest=0)["warm"]
        yield table.Figure("first picture, of a further stream", "ms", "variant", "SDK: without a rest", in_a_row)
        for who in SDK, BARE, MPV:
            if who in contenders:
                for what, value in zip(("memory before the first player", "memory before the first player that is not of files"),
                                       idle(who, programs, environment)):
                    yield table.Figure(what, "MB", ROLES[who], who, [value])

    return turn


table.main(__doc__, prepare, rounds=4)
