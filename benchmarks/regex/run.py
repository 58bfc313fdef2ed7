#!/usr/bin/env python3
"""Regular expressions beside bare PCRE2, RE2, ICU and std::regex, in processor time: the timing line of SRT, matched
line by line and found all through a film.

    run.py --build build/release [--quick] [--json FILE]
"""
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import table  # noqa: E402

quick = ["--quick"] if "--quick" in sys.argv else []
table.main(__doc__, lambda arguments, _: lambda: table.run(arguments.build / "bin" / "regex_bench", *quick), rounds=1)
