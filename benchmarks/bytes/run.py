#!/usr/bin/env python3
"""Byte readers and writers beside memcpy and a byte-swap loop over memory that is got in the same way, and beside the
streams of the standard libraries with Boost.Endian. Figures are of the processor time.

    run.py --build build/release [--quick] [--json FILE]
"""
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import table  # noqa: E402


def prepare(arguments, stack):
    folder = stack.enter_context(tempfile.TemporaryDirectory())
    quick = ["--quick"] if arguments.quick else []
    return lambda: table.run(arguments.build / "bin" / "bytes_bench", folder, *quick)


table.main(__doc__, prepare, rounds=1)
