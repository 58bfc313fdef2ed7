#!/usr/bin/env python3
"""Measures the rewriting of playlists: 50,000 segments beside a bare one-pass rewrite of the same text, its growth with
the number of segments, URIs with tokens, parts, masters and live reloads; and beside the parsing alone by m3u8-parser
and hls-parser, which are installed into a temporary folder where there are node and npm. All figures are the fastest
of several rounds, in processor time, of one run.

    run.py --build build/release [--json FILE]
"""

import argparse
import json
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent


def peers(program, figures):
    if not shutil.which("node") or not shutil.which("npm"):
        print("Benchmark peers m3u8-parser and hls-parser: skipped, node is not installed", file=sys.stderr)
        return
    with tempfile.TemporaryDirectory() as folder:
        install = subprocess.run(["npm", "install", "--silent", "--no-audit", "--no-fund", "--prefix", folder,
                                  "m3u8-parser@7", "hls-parser@0.13"], capture_output=True, text=True)
        if install.returncode != 0:
            print(f"Benchmark peers: skipped, npm failed: {install.stderr.strip()[:200]}", file=sys.stderr)
            return
        playlist = Path(folder, "playlist.m3u8")
        playlist.write_bytes(subprocess.run([program, "make", "50000", "plain"], check=True, capture_output=True).stdout)
        run = subprocess.run(["node", str(HERE / "peers.mjs"), str(playlist)], check=True, capture_output=True,
                             text=True, cwd=folder)
        figures |= json.loads(run.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True, type=Path)
    parser.add_argument("--json", type=Path)
    arguments = parser.parse_args()
    program = str(arguments.build.resolve() / "bin" / "sideload_bench")

    figures = json.loads(subprocess.run([program, "speed"], check=True, capture_output=True, text=True).stdout)
    peers(program, figures)
    ours = figures["plain, 50,000 segments (ms)"]
    figures["growth, 500,000 to 50,000 segments (1 is linear)"] = figures["plain, 500,000 segments (ms)"] / ours / 10
    figures["growth, 50,000 to 5,000 segments (1 is linear)"] = ours / figures["plain, 5,000 segments (ms)"] / 10
    figures["rewrite per bare one-pass rewrite"] = ours / figures["bare one-pass rewrite, 50,000 segments (ms)"]
    for peer in ("m3u8-parser", "hls-parser"):
        if f"{peer}, parse alone (ms)" in figures:
            figures[f"{peer} per rewrite"] = figures[f"{peer}, parse alone (ms)"] / ours

    width = max(map(len, figures))
    for name, value in figures.items():
        print(f"{name:<{width}}  {value:12,.3f}")
    if arguments.json:
        arguments.json.write_text(json.dumps(figures, indent=2) + "\n")


if __name__ == "__main__":
    main()
