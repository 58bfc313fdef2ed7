#!/usr/bin/env python3
"""Compares the embedded HTTP server with blocking thread-per-connection servers of other libraries.

Each server answers on loopback in a process of its own; wrk asks them in turn, round after round, so that a change
in the machine's mood meets all of them. Told per server, body and number of connections: requests per second, CPU
time of the server per request, the 99th percentile of the latency, and requests per second relative to ours. All
figures are medians over the rounds. "floor" is no server: it parses nothing and shows what the system calls cost.

    run.py --build build/release [--rounds 3] [--seconds 1] [--connections 16,64,256] [--json FILE]
"""

import argparse
import json
import re
import shutil
import statistics
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from servers import Server  # noqa: E402

SERVERS = ["quorel", "microhttpd", "civetweb", "beast", "httplib", "floor"]
BODIES = {"small": 13, "large": 64 * 1024}
UNITS = {"us": 1e-3, "ms": 1.0, "s": 1e3, "m": 60e3}


def measure(server, body, connections, seconds):
    before = server.cpu_seconds()
    output = subprocess.run(
        ["wrk", "-t", str(min(2, connections)), "-c", str(connections), "-d", f"{seconds}s", "--latency",
         "-H", "Connection: keep-alive", f"http://127.0.0.1:{server.port}/{body}"],
        check=True, capture_output=True, text=True).stdout
    used = server.cpu_seconds() - before
    requests = int(re.search(r"(\d+) requests in", output)[1])
    errors = re.search(r"Socket errors: (.*)", output)
    p99 = re.search(r"99%\s+([\d.]+)(us|ms|s|m)\b", output)
    return {
        "requests_per_second": float(re.search(r"Requests/sec:\s+([\d.]+)", output)[1]),
        "cpu_us_per_request": used * 1e6 / max(requests, 1),
        "p99_ms": float(p99[1]) * UNITS[p99[2]],
        "errors": errors[1] if errors else "",
    }


def find_programs(build):
    return {name: path for name in SERVERS
            if (path := Path(build) / "bin" / f"httpserver_bench_{name}").exists()}


def compare(programs, args):
    results = []
    for body in BODIES:
        for connections in args.connections:
            rounds = {name: [] for name in programs}
            for _ in range(args.rounds):
                for name, program in programs.items():
                    server = Server([program])
                    try:
                        measure(server, body, connections, 1)  # warms up
                        rounds[name].append(measure(server, body, connections, args.seconds))
                    finally:
                        server.close()
            ours = [r["requests_per_second"] for r in rounds["quorel"]]
            for name, measured in rounds.items():
                ratios = [r["requests_per_second"] / o for r, o in zip(measured, ours)]
                results.append({
                    "server": name, "body_bytes": BODIES[body], "connections": connections,
                    **{key: statistics.median(r[key] for r in measured)
                       for key in ("requests_per_second", "cpu_us_per_request", "p99_ms")},
                    "ratio_to_ours": statistics.median(ratios),
                    "errors": [r["errors"] for r in measured if r["errors"]],
                })
                print_row(results[-1])
    return results


def print_row(r):
    print(f"{r['server']:<11}{r['body_bytes']:>7} B{r['connections']:>6}{r['requests_per_second']:>12.0f}"
          f"{r['cpu_us_per_request']:>10.2f}{r['p99_ms']:>10.2f}{r['ratio_to_ours']:>8.2f}"
          + ("  errors: " + "; ".join(r["errors"]) if r["errors"] else ""), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/release", help="where the programs were built")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=int, default=1, help="length of one measurement")
    parser.add_argument("--connections", type=lambda s: [int(n) for n in s.split(",")], default=[16, 64, 256])
    parser.add_argument("--json", metavar="FILE", help="write the figures there too")
    args = parser.parse_args()

    if not shutil.which("wrk"):
        print("httpserver: skipped, wrk is not installed")
        return
    programs = find_programs(args.build)
    if "quorel" not in programs:
        sys.exit(f"httpserver: no httpserver_bench_quorel below {args.build}/bin; build with QUOREL_BUILD_BENCHMARKS")
    for name in SERVERS:
        if name not in programs:
            print(f"{name}: skipped, its library was not there when this was configured")
    print(f"{'server':<11}{'body':>9}{'conns':>6}{'requests/s':>12}{'CPU us/r':>10}{'p99 ms':>10}{'ratio':>8}")
    results = compare(programs, args)
    if args.json:
        Path(args.json).write_text(json.dumps({"httpserver": results}, indent=2) + "\n")


if __name__ == "__main__":
    main()
