"""Runs the benchmarks one after the other, every folder here with a run.py of its own, and shows all as one table.

usage: run.py --build DIR [--quick] [--publish] [NAME ...]

Each leaves its rows in DIR/bench/NAME.json; DIR/bench/all.json has those of all (table.py tells their form). Figures
are medians, and ratios of what ran in turns in the same run; absolute numbers say more about the machine than about the
code. With --publish the figures of docs/performance.md are rewritten.
"""
import argparse
import json
import pathlib
import subprocess
import sys
import time

import publish
import table

here = pathlib.Path(__file__).resolve().parent
parser = argparse.ArgumentParser()
parser.add_argument("--build", required=True, type=pathlib.Path)
parser.add_argument("--quick", action="store_true", help="a few minutes: fewer rounds and cases")
parser.add_argument("--publish", action="store_true", help="rewrite the figures of docs/performance.md")
parser.add_argument("names", nargs="*")
args = parser.parse_args()

available = sorted(p.parent.name for p in here.glob("*/run.py"))
unknown = [name for name in args.names if name not in available]
if unknown:
    sys.exit(f"bench: there is no {', '.join(unknown)}; there are: {', '.join(available)}")
out = args.build / "bench"
out.mkdir(parents=True, exist_ok=True)
begin = time.monotonic()
failed = []
for name in args.names or available:
    print(f"\n== {name}", flush=True)
    result = subprocess.run([sys.executable, str(here / name / "run.py"), "--build", str(args.build), "--quiet",
                             "--json", str(out / f"{name}.json"), *(["--quick"] if args.quick else [])])
    if result.returncode != 0:
        failed.append(name)

# Those that did not run now keep what they measured last.
documents = [json.loads((out / f"{name}.json").read_text()) for name in available if (out / f"{name}.json").exists()]
documents = [document for document in documents if document.get("rows")]  # older versions wrote other things
(out / "all.json").write_text(json.dumps(documents, indent=1) + "\n")
print(f"\n== all, after {time.monotonic() - begin:.0f} s; as JSON in {out / 'all.json'}\n")
table.show([row for document in documents if not args.names or document["benchmark"] in args.names
            for row in document["rows"]])
for document in documents:
    if not args.names or document["benchmark"] in args.names:
        print(f"{document['benchmark']}: {table.load_line(document['machine'])}")
if failed:
    sys.exit("bench: failed: " + ", ".join(failed))
if args.publish:
    publish.publish(out / "all.json", here.parent / "docs" / "performance.md")
