#!/usr/bin/env python3
"""Compares the WebSocket sessions of the embedded server with the echo servers of other libraries.

Each server answers on loopback in a process of its own; one load client asks them in turn, round after round, so that
a change in the machine's mood meets all of them. Told per server, message size and number of sockets: messages per
second, the median and 99th percentile of the round trip, CPU time of the server per message, and messages per second
relative to ours. All figures are medians over the rounds.

    run.py --build build/release [--rounds 3] [--seconds 1] [--sockets 1,16,64] [--json FILE]

The npm package "ws" takes part when NODE_PATH leads to it: npm install --prefix DIR ws, NODE_PATH=DIR/node_modules.
"""

import argparse
import json
import shutil
import statistics
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
from servers import Server  # noqa: E402

SERVERS = ["quorel", "beast", "civetweb", "libwebsockets", "ws"]
SIZES = [64, 64 * 1024]
HERE = Path(__file__).resolve().parent


def measure(client, server, size, sockets, seconds):
    before = server.cpu_seconds()
    rate, median, p99 = map(float, subprocess.run(
        [client, str(server.port), str(sockets), str(size), str(seconds)],
        check=True, capture_output=True, text=True).stdout.split())
    # The client warms up for a fifth of the time, and that counts here too.
    used = server.cpu_seconds() - before
    return {"messages_per_second": rate, "median_us": median, "p99_us": p99,
            "cpu_us_per_message": used * 1e6 / (rate * seconds * 1.2)}


def commands(build):
    found = {name: [path] for name in SERVERS if (path := build / "bin" / f"websocket_bench_{name}").exists()}
    node = shutil.which("node")
    if node and subprocess.run([node, "-e", "require('ws')"], capture_output=True).returncode == 0:
        found["ws"] = [node, HERE / "ws_server.js"]
    return found


def compare(client, servers, args):
    results = []
    for size in SIZES:
        for sockets in args.sockets:
            rounds = {name: [] for name in servers}
            for _ in range(args.rounds):
                for name, command in servers.items():
                    server = Server(command)
                    try:
                        rounds[name].append(measure(client, server, size, sockets, args.seconds))
                    finally:
                        server.close()
            ours = [r["messages_per_second"] for r in rounds["quorel"]]
            for name, measured in rounds.items():
                ratios = [r["messages_per_second"] / o for r, o in zip(measured, ours)]
                results.append({"server": name, "bytes": size, "sockets": sockets,
                                **{key: statistics.median(r[key] for r in measured) for key in measured[0]},
                                "ratio_to_ours": statistics.median(ratios)})
                print_row(results[-1])
    return results


def print_row(r):
    print(f"{r['server']:<14}{r['bytes']:>6} B{r['sockets']:>8}{r['messages_per_second']:>12.0f}"
          f"{r['median_us']:>11.1f}{r['p99_us']:>11.1f}{r['cpu_us_per_message']:>10.2f}{r['ratio_to_ours']:>8.2f}",
          flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/release", type=Path, help="where the programs were built")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=float, default=1, help="length of one measurement")
    parser.add_argument("--sockets", type=lambda s: [int(n) for n in s.split(",")], default=[1, 16, 64])
    parser.add_argument("--json", metavar="FILE", help="write the figures there too")
    args = parser.parse_args()

    client = args.build / "bin" / "websocket_bench_client"
    servers = commands(args.build)
    if "quorel" not in servers or not client.exists():
        sys.exit(f"websocket: no websocket_bench_quorel below {args.build}/bin; build with QUOREL_BUILD_BENCHMARKS")
    for name in SERVERS:
        if name not in servers:
            print(f"{name}: skipped, its library was not there")
    print(f"{'server':<14}{'message':>8}{'sockets':>8}{'messages/s':>12}{'median us':>11}{'p99 us':>11}{'CPU us/m':>10}{'ratio':>8}")
    results = compare(client, servers, args)
    if args.json:
        Path(args.json).write_text(json.dumps({"websocket": results}, indent=2) + "\n")


if __name__ == "__main__":
    main()
