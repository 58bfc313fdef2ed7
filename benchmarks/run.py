"""Runs the benchmarks one after the other: every folder here with a run.py of its own.

usage: run.py --build DIR [NAME ...]

Each prints its table and leaves its figures as JSON in DIR/bench/NAME.json. Figures are ratios of what ran in
turns in the same run; absolute numbers say more about the machine than about the code.
"""
import argparse
import pathlib
import subprocess
import sys

here = pathlib.Path(__file__).resolve().parent
parser = argparse.ArgumentParser()
parser.add_argument("--build", required=True, type=pathlib.Path)
parser.add_argument("names", nargs="*")
args = parser.parse_args()

available = sorted(p.parent.name for p in here.glob("*/run.py"))
unknown = [name for name in args.names if name not in available]
if unknown:
    sys.exit(f"bench: there is no {', '.join(unknown)}; there are: {', '.join(available)}")
out = args.build / "bench"
out.mkdir(parents=True, exist_ok=True)
failed = []
for name in args.names or available:
    print(f"\n== {name}", flush=True)
    result = subprocess.run([sys.executable, str(here / name / "run.py"), "--build", str(args.build),
                             "--json", str(out / f"{name}.json")])
    if result.returncode != 0:
        failed.append(name)
if failed:
    sys.exit("bench: failed: " + ", ".join(failed))
