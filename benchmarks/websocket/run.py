#!/usr/bin/env python3
"""Compares the WebSocket sessions of the embedded server with the echo servers of other libraries.

Each server answers on loopback in a process of its own; one load client asks them in turn, round after round. Told are
messages per second, the 99th percentile of the round trip, and, for 16 sockets, the processor time of the server per
message. The limit is no server: it receives as many bytes as are sent and sends an answer made beforehand.

    run.py --build build/release [--rounds 4] [--quick] [--json FILE]
"""
import os
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import npm  # noqa: E402
import table  # noqa: E402
from servers import Server  # noqa: E402

HERE = Path(__file__).resolve().parent
SDK, FLOOR = "SDK", "a loop that parses nothing"
PROGRAMS = {"quorel": SDK, "beast": "Boost.Beast", "civetweb": "CivetWeb", "libwebsockets": "libwebsockets", "floor": FLOOR}
SIZES = {64: "64 bytes", 64 * 1024: "64 KiB"}


def measure(client, server, size, sockets, seconds):
    before = server.cpu_seconds()
    rate, _, p99 = map(float, subprocess.run([client, str(server.port), str(sockets), str(size), str(seconds)],
                                             check=True, capture_output=True, text=True).stdout.split())
    # The client warms up for a fifth of the time, and that counts here too.
    return rate, p99, (server.cpu_seconds() - before) * 1e6 / (rate * seconds * 1.2)


def prepare(arguments, stack):
    programs = arguments.build / "bin"
    starters = {}
    for name, who in PROGRAMS.items():
        program = programs / f"websocket_bench_{name}"
        if program.exists():
            starters[who] = lambda size, program=program: Server([program, str(size)])
        else:
            table.skipped(who, "its library was not there when this was configured")
    packages = npm.install(arguments.folder, "ws")
    if packages and (packages / "node_modules" / "ws").exists():
        os.environ["NODE_PATH"] = str(packages / "node_modules")
        starters["npm ws"] = lambda size: Server(["node", HERE / "ws_server.js"])

    def turn():
        for size, what in SIZES.items():
            for sockets in (1, 16, 64) if not arguments.quick else (16,):
                task = f"WebSocket echo of {what}, {sockets} socket{'s' if sockets > 1 else ''}"
                for who, start in starters.items():
                    server = start(size)
                    try:
                        rate, p99, cpu = measure(programs / "websocket_bench_client", server, size, sockets, 1)
                    finally:
                        server.close()
                    role = {SDK: "sdk", FLOOR: "limit"}.get(who, "peer")
                    yield table.Figure(task, "messages/s", role, who, [rate])
                    yield table.Figure(f"{task}, p99", "us", role, who, [p99])
                    if sockets == 16:
                        yield table.Figure(f"{task}, processor time", "us", role, who, [cpu])

    return turn


table.main(__doc__, prepare, rounds=4)
