"""Figures of the benchmarks as rows of one table.

A benchmark measures its contenders in turns and yields a Figure for each; a row is one task with all who do it. In
JSON:

    {"benchmark": "httpserver", "task": "13 bytes, 16 connections", "unit": "requests/s", "better": "more",
     "entries": [{"role": "sdk",   "who": "SDK",   "value": 61034.2, "least": 60011.0, "most": 61902.5, "ratio": 1.0},
                 {"role": "peer",  "who": "nginx", "value": 58211.9, ..., "ratio": 1.05},
                 {"role": "limit", "who": "a loop that parses nothing", "value": 70112.0, ..., "ratio": 0.87}]}

"value" is the median of all rounds; "ratio" is how many times better the SDK is, the median of the ratios of each
round, in which both ran one behind the other. Below 1 the SDK is behind. Of units with "/s" more is better, of all
others less. The roles: "sdk", "variant" (another way through the SDK), "peer", and "limit": what the machine gives at
best.
"""
import argparse
import contextlib
import json
import os
import resource
import statistics
import subprocess
import sys
import textwrap
import time
from pathlib import Path
from typing import NamedTuple


class Figure(NamedTuple):
    task: str
    unit: str
    role: str
    who: str
    values: list  # of one turn, one per round


def run(*command):
    """The figures that a program prints, one JSON object per line."""
    out = subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE, text=True).stdout
    return [Figure(**json.loads(line)) for line in out.splitlines() if line.startswith("{")]


def skipped(peer, why):
    print(f"Benchmark peer {peer}: skipped, {why}", file=sys.stderr)


def main(description, prepare, rounds, quick_rounds=1):
    """Runs one benchmark. `prepare(arguments, stack)` gives the function that measures every contender once and yields
    the figures; what has to end with the benchmark is pushed on the stack."""
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build/release", type=Path, help="where the programs were built")
    parser.add_argument("--json", metavar="FILE", type=Path, help="write the rows there too")
    parser.add_argument("--rounds", type=int)
    parser.add_argument("--quick", action="store_true", help="fewer rounds and cases: a look, not a result")
    parser.add_argument("--quiet", action="store_true", help="print no table")
    arguments = parser.parse_args()
    arguments.build = arguments.build.resolve()
    arguments.folder = arguments.build / "bench"  # for what a benchmark leaves for the next run
    arguments.folder.mkdir(parents=True, exist_ok=True)
    benchmark = Path(sys.argv[0]).resolve().parent.name
    machine = Machine()
    turns = []
    with contextlib.ExitStack() as stack:
        turn = prepare(arguments, stack)
        for _ in range(arguments.rounds or (quick_rounds if arguments.quick else rounds)):
            turns.append(list(turn()))
    rows = rows_of(benchmark, turns)
    document = {"benchmark": benchmark, "quick": arguments.quick, "machine": machine.state(), "rows": rows}
    if not arguments.quiet:
        show(rows)
    print(load_line(document["machine"]))
    if arguments.json:
        arguments.json.write_text(json.dumps(document, indent=1) + "\n")


class Machine:
    """What else went on while a benchmark ran."""

    def __init__(self):
        self.begin, self.load = self.now(), os.getloadavg()[0]

    @staticmethod
    def now():
        fields = [int(field) for field in Path("/proc/stat").read_text().split("\n", 1)[0].split()[1:]]
        ticks = os.sysconf("SC_CLK_TCK")
        own = sum(sum(resource.getrusage(who)[:2]) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN))
        return {"wall": time.monotonic(), "busy": sum(fields[:3]) / ticks, "stolen": fields[7] / ticks, "own": own}

    def state(self):
        spent = {key: value - self.begin[key] for key, value in self.now().items()}
        capacity = spent["wall"] * os.cpu_count()
        return {"processors": os.cpu_count(), "seconds": round(spent["wall"], 1), "load_before": round(self.load, 2),
                "others": round(max(0.0, (spent["busy"] - spent["own"]) / capacity), 3),
                "stolen": round(spent["stolen"] / capacity, 3)}


def load_line(machine):
    return (f"{machine['seconds']:.0f} s on {machine['processors']} processors; load before: {machine['load_before']:.2f}; "
            f"of the processors' time other programs took {100 * machine['others']:.0f} %, other machines "
            f"{100 * machine['stolen']:.0f} %")


def rows_of(benchmark, turns):
    tasks = {}
    for number, turn in enumerate(turns):
        for figure in turn:
            row = tasks.setdefault((figure.task, figure.unit), {})
            entry = row.setdefault((figure.role, figure.who), {})
            entry.setdefault(number, []).extend(figure.values)
    rows = []
    for (task, unit), entries in tasks.items():
        better = "more" if unit.endswith("/s") else "less"
        base = next((turns for (role, _), turns in entries.items() if role == "sdk"), None)
        row = {"benchmark": benchmark, "task": task, "unit": unit, "better": better, "entries": []}
        for (role, who), by_turn in entries.items():
            values = [value for turn in by_turn.values() for value in turn]
            entry = {"role": role, "who": who, "value": statistics.median(values), "least": min(values),
                     "most": max(values)}
            if base is not None:
                ratios = [ratio for turn in by_turn if turn in base
                          for ratio in [ratio_of(base[turn], by_turn[turn], better)] if ratio is not None]
                if ratios:
                    entry["ratio"] = statistics.median(ratios)
            row["entries"].append(entry)
        rows.append(row)
    return rows


def ratio_of(ours, theirs, better):
    # Who takes part in some rounds of a turn only is compared by the turn's median.
    pairs = zip(ours, theirs) if len(ours) == len(theirs) else [(statistics.median(ours), statistics.median(theirs))]
    ratios = [(own / other if better == "more" else other / own) for own, other in pairs if own > 0 and other > 0]
    return statistics.median(ratios) if ratios else None


def number(value):
    digits = 0 if abs(value) >= 1000 or value == 0 else 1 if abs(value) >= 100 else 2 if abs(value) >= 1 else 3
    return f"{value:,.{digits}f}"


def parts(row):
    """The SDK's entry (or nothing), the limits, and the others, the best one first."""
    entries = row["entries"]
    sdk = next((entry for entry in entries if entry["role"] == "sdk"), None)
    limits = [entry for entry in entries if entry["role"] == "limit"]
    others = [entry for entry in entries if entry["role"] in ("peer", "variant")]
    others.sort(key=lambda entry: entry["value"], reverse=row["better"] == "more")
    return sdk, limits, others


def ratio_text(ratio):
    return f"{ratio:.0f}" if ratio >= 100 else f"{ratio:.1f}" if ratio >= 10 else f"{ratio:.2f}" if ratio >= 0.1 else f"{ratio:.2g}"


def compared(entry):
    return f"{entry['who']} {number(entry['value'])}" + (f" ({ratio_text(entry['ratio'])})" if "ratio" in entry else "")


def show(rows):
    width = max((len(row["task"]) for row in rows), default=0)
    print(f"{'':<{width}}  {'SDK':>10}            (how many times better the SDK is than each)")
    for row in rows:
        sdk, limits, others = parts(row)
        text = "; ".join([f"limit: {compared(entry)}" for entry in limits] + [compared(entry) for entry in others])
        lines = textwrap.wrap(text, 110, break_long_words=False) or [""]
        figure = number(sdk["value"]) if sdk else "-"
        print(f"{row['task']:<{width}}  {figure:>10} {row['unit']:<11}{lines[0]}")
        for line in lines[1:]:
            print(f"{'':<{width + 24}}{line}")
