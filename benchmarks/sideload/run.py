#!/usr/bin/env python3
"""The rewriting of playlists beside a bare one-pass rewrite of the same text: URIs with tokens, parts, masters; and
beside the parsing alone by the npm packages m3u8-parser and hls-parser, where there is node. Figures are of the
processor time.

    run.py --build build/release [--quick] [--json FILE]
"""
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import npm  # noqa: E402
import table  # noqa: E402

HERE = Path(__file__).resolve().parent


def prepare(arguments, stack):
    program = arguments.build / "bin" / "sideload_bench"
    playlist = Path(stack.enter_context(tempfile.TemporaryDirectory())) / "playlist.m3u8"
    with open(playlist, "wb") as file:
        subprocess.run([program, "make", "50000", "plain"], check=True, stdout=file)
    packages = npm.install(arguments.folder, "m3u8-parser@7", "hls-parser@0.13")
    quick = ["--quick"] if arguments.quick else []

    def turn():
        yield from table.run(program, "speed", *quick)
        if packages:
            out = subprocess.run(["node", HERE / "peers.mjs", playlist, "rewrite a playlist, 50,000 segments", *quick],
                                 cwd=packages, stdout=subprocess.PIPE, text=True, check=True)
            yield from (table.Figure(**table.json.loads(line)) for line in out.stdout.splitlines())

    return turn


table.main(__doc__, prepare, rounds=3)
