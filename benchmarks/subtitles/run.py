#!/usr/bin/env python3
"""The subtitle coders beside ffmpeg (the program and its libraries), packages of npm, libcsv, and parsers of JSON and
XML, where they are there; then how time grows with size, and memory. Figures are of the processor time.

    run.py --build build/release [--quick] [--json FILE]
"""
import math
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import npm  # noqa: E402
import table  # noqa: E402

HERE = Path(__file__).resolve().parent
CUES = 200_000


def processor_time(command):
    begin = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([str(part) for part in command], check=True, stdout=subprocess.DEVNULL)
    end = resource.getrusage(resource.RUSAGE_CHILDREN)
    return end.ru_utime + end.ru_stime - begin.ru_utime - begin.ru_stime


def whole_processes(programs, files, rounds):
    """As a shell script converts: what starting the program costs is in it."""
    if not shutil.which("ffmpeg"):
        table.skipped("ffmpeg", "not installed")
    tool = [programs / "quorel-subtitles", "convert", "{}", "-o", files / "out.vtt", "--force", "--quiet"]
    contenders = [("sdk", "quorel-subtitles", tool)]
    if shutil.which("ffmpeg"):
        contenders.append(("peer", "ffmpeg", ["ffmpeg", "-v", "error", "-y", "-i", "{}", files / "out.vtt"]))
    contenders.append(("limit", "a program that does nothing", ["true"]))
    for task, name in ("a process that converts SRT, a film", "film.srt"), ("a process that converts SRT, 200,000 cues", "large.srt"):
        values = {who: [] for _, who, _ in contenders}
        for _ in range(rounds):
            for role, who, command in contenders:
                command = [files / name if part == "{}" else part for part in command]
                # Of many short ones, since the system counts in small steps.
                repeats = 20 if name == "film.srt" else 1
                values[who].append(1000 * sum(processor_time(command) for _ in range(repeats)) / repeats)
        for role, who, _ in contenders:
            yield table.Figure(task, "ms", role, who, values[who])


def growth(figures):
    """Time grows as size to the power of what is given: 1 is linear. Least squares of the logarithms."""
    tasks = {}
    for figure in figures:
        task, size = figure.task.split("|")
        tasks.setdefault(task, []).append((math.log(float(size)), math.log(statistics.median(figure.values))))
    powers = {}
    for task, points in tasks.items():
        x0, y0 = (sum(p[i] for p in points) / len(points) for i in (0, 1))
        powers[task] = sum((x - x0) * (y - y0) for x, y in points) / sum((x - x0) ** 2 for x, _ in points)
    decoders = [power for task, power in powers.items() if task.startswith("decode")]
    for task, power in [("SRT to WebVTT", powers["SRT to WebVTT"]), ("the decoders, their median", statistics.median(decoders)),
                        ("the decoders, the worst", max(decoders))]:
        yield table.Figure(f"growth of {task}", "power", "sdk", "SDK", [power])
        yield table.Figure(f"growth of {task}", "power", "limit", "linear", [1])


def prepare(arguments, stack):
    program = arguments.build / "bin" / "subtitles_bench"
    files = Path(stack.enter_context(tempfile.TemporaryDirectory()))
    for name, kind, cues in ("film.srt", "srt", 1500), ("large.srt", "srt", CUES), ("large.csv", "csv", CUES):
        with open(files / name, "wb") as file:
            subprocess.run([program, "make", kind, str(cues)], check=True, stdout=file)
    packages = npm.install(arguments.folder, "subtitle", "subsrt-ts", "udsv", "papaparse")
    quick = ["--quick"] if arguments.quick else []
    is_first = [True]

    def turn():
        for mode in "conversion", "fields":
            yield from table.run(program, mode, *quick)
        if packages:
            out = subprocess.run(["node", HERE / "peers.mjs", *(files / name for name in ("film.srt", "large.srt", "large.csv")),
                                  *quick], cwd=packages, stdout=subprocess.PIPE, text=True, check=True)
            yield from (table.Figure(**table.json.loads(line)) for line in out.stdout.splitlines())
        yield from whole_processes(arguments.build / "bin", files, 1 if arguments.quick else 3)
        if not is_first[0]:
            return
        # No peer of these is outside of the program: its own rounds are enough.
        is_first[0] = False
        yield from table.run(program, "coders", *quick)
        yield from table.run(program, "lookup", *quick)
        for road in "direct", "document":
            yield from table.run(program, "memory", road)
        yield from growth(table.run(program, "growth", *quick))

    return turn


table.main(__doc__, prepare, rounds=2)
