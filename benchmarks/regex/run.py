"""Measures the regular expressions beside bare PCRE2, RE2, ICU and std::regex, in processor time per match.

usage: run.py --build build/release [--json FILE]
"""
import argparse
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import table  # noqa: E402

parser = argparse.ArgumentParser()
parser.add_argument("--build", required=True, type=pathlib.Path)
parser.add_argument("--json", type=pathlib.Path)
args = parser.parse_args()
table.show(table.run(args.build / "bin" / "regex_bench"), args.json)
