#!/usr/bin/env python3
"""Byte readers and writers beside memcpy and a byte-swap loop over memory that is got in the same way.

    run.py --build build/release [--json FILE]
"""

import argparse
import json
import subprocess
import sys
from pathlib import Path


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/release", type=Path, help="where the program was built")
    parser.add_argument("--json", metavar="FILE", help="write the figures there too")
    args = parser.parse_args()
    program = args.build / "bin" / "bytes_bench"
    if not program.exists():
        sys.exit(f"bytes: no {program}; build with QUOREL_BUILD_BENCHMARKS")

    results = []
    print(f"{'bulk':<20}{'bytes':>10}{'ours GB/s':>11}{'loop GB/s':>11}{'ratio':>8}")
    for line in subprocess.run([program], check=True, capture_output=True, text=True).stdout.splitlines():
        name, size, *figures = line.split()
        figures = [float(f) for f in figures]
        if size == "each":
            results.append({"case": name, "ns": figures[0], "allocations": figures[1]})
            print(f"{name:<20}{figures[0]:>10.2f} ns each, {figures[1]:g} allocations each")
        else:
            results.append({"case": name, "bytes": int(size), "ours_gbs": figures[0], "loop_gbs": figures[1],
                            "ratio": figures[2]})
            print(f"{name:<20}{size:>10}{figures[0]:>11.2f}{figures[1]:>11.2f}{figures[2]:>8.2f}")
    if args.json:
        Path(args.json).write_text(json.dumps({"bytes": results}, indent=2) + "\n")


if __name__ == "__main__":
    main()
