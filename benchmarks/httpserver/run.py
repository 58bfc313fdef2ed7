#!/usr/bin/env python3
"""Compares the embedded HTTP server with nginx and with blocking thread-per-connection servers of other libraries.

Each server answers on loopback in a process of its own; wrk asks them in turn, round after round. Told are requests per
second, the 99th percentile of the latency, and, for some, the processor time of the server per request. The limit is no
server: it parses nothing and shows what the system calls cost. Files are of 1 MiB; the SDK answers each on a connection
of its own, so all are asked to, and once those who can may keep theirs.

    run.py --build build/release [--rounds 3] [--quick] [--json FILE]
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import urllib.request
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import nginx  # noqa: E402
import table  # noqa: E402
from servers import Server  # noqa: E402

SDK, FLOOR = "SDK", "the loop that parses nothing"
PROGRAMS = {"quorel": SDK, "beast": "Boost.Beast", "microhttpd": "libmicrohttpd", "civetweb": "CivetWeb",
            "httplib": "cpp-httplib", "floor": FLOOR}
UNITS = {"us": 1e-3, "ms": 1.0, "s": 1e3, "m": 60e3}
# What is asked, its name, the header Connection, and by how many connections.
CASES = [("small", "13 bytes", "keep-alive", (1, 16, 64, 256)),
         ("large", "64 KiB", "keep-alive", (1, 16, 64, 256)),
         ("files/film.bin", "a 1 MiB file", "close", (1, 16, 64)),
         ("files/film.bin", "a 1 MiB file, kept alive", "keep-alive", (16,))]


def measure(server, path, connection, connections, seconds):
    url = f"http://127.0.0.1:{server.port}/{path}"
    with urllib.request.urlopen(url) as answer:  # also tells whether it is the right one
        size = len(answer.read())
    before = server.cpu_seconds()
    output = subprocess.run(
        ["wrk", "-t", str(min(2, connections)), "-c", str(connections), "-d", f"{seconds}s", "--latency",
         "-H", f"Connection: {connection}", url], check=True, capture_output=True, text=True).stdout
    used = server.cpu_seconds() - before
    requests = int(re.search(r"(\d+) requests in", output)[1])
    p99 = re.search(r"99%\s+([\d.]+)(us|ms|s|m)\b", output)
    bad = re.search(r"Non-2xx or 3xx responses: (\d+)", output)
    if requests == 0 or bad:
        raise RuntimeError(f"no good answers: {output}")
    return {"size": size, "rate": float(re.search(r"Requests/sec:\s+([\d.]+)", output)[1]),
            "p99": float(p99[1]) * UNITS[p99[2]], "cpu": used * 1e6 / requests}


def prepare(arguments, stack):
    if not shutil.which("wrk"):
        sys.exit("httpserver: wrk is not installed")
    files = Path(stack.enter_context(tempfile.TemporaryDirectory()))
    files.chmod(0o755)
    (files / "film.bin").write_bytes(os.urandom(1 << 20))
    (files / "large").write_bytes(b"x" * 64 * 1024)
    starters = {}
    for name, who in PROGRAMS.items():
        program = arguments.build / "bin" / f"httpserver_bench_{name}"
        if program.exists():
            starters[who] = lambda program=program: Server([program, files])
        else:
            table.skipped(who, "its library was not there when this was configured")
    if program := nginx.find(arguments.folder):
        starters["nginx"] = lambda: nginx.start(program, arguments.folder, files)

    def turn():
        for path, what, connection, counts in CASES:
            for connections in counts if not arguments.quick else [count for count in counts if count in (1, 16)]:
                task = f"GET {what}, {connections} connection{'s' if connections > 1 else ''}"
                sizes = set()
                for who, start in starters.items():
                    server = start()
                    try:
                        figures = measure(server, path, connection, connections, 1)
                    finally:
                        server.close()
                    sizes.add(figures["size"])
                    role = {SDK: "sdk", FLOOR: "limit"}.get(who, "peer")
                    yield table.Figure(task, "requests/s", role, who, [figures["rate"]])
                    yield table.Figure(f"{task}, p99", "ms", role, who, [figures["p99"]])
                    if connections == 16:
                        yield table.Figure(f"{task}, processor time", "us", role, who, [figures["cpu"]])
                if len(sizes) != 1:
                    raise RuntimeError(f"{task}: the servers answer with {sizes} bytes")

    return turn


table.main(__doc__, prepare, rounds=3)
