"""Measures the subtitle coders beside ffmpeg (the program and its libraries), packages of npm, libcsv, and parsers of
JSON and XML, where they are there; then how time grows with size, and memory.

Figures are the fastest of several rounds, in processor time (in wall time inside node). Packages of npm are installed
into the build folder.

usage: run.py --build build/release [--json FILE]
"""
import argparse
import math
import pathlib
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import table  # noqa: E402

CUES = 200_000


def skipped(peer, why):
    print(f"Benchmark peer {peer}: skipped, {why}", file=sys.stderr)
    return []


def ffmpeg_process(files):
    if not shutil.which("ffmpeg"):
        return skipped("ffmpeg", "not installed")
    figures = []
    for task, name in ("SRT to WebVTT, a film", "film.srt"), ("SRT to WebVTT, 200,000 cues", "large.srt"):
        time = table.processor_time(["ffmpeg", "-v", "error", "-y", "-i", files / name, files / "out.vtt"])
        size = (files / name).stat().st_size
        figures.append({"task": task, "unit": "MB/s", "who": "ffmpeg, its process", "value": size / time / 1e6})
    return figures


def tool_process(build, files):
    figures = []
    program = build / "bin" / "quorel-subtitles"
    if not program.exists():
        return skipped("quorel-subtitles", "not built")
    for task, name in ("SRT to WebVTT, a film", "film.srt"), ("SRT to WebVTT, 200,000 cues", "large.srt"):
        time = table.processor_time([program, "convert", files / name, "-o", files / "out.vtt", "--force", "--quiet"])
        size = (files / name).stat().st_size
        figures.append({"task": task, "unit": "MB/s", "who": "quorel-subtitles, its process", "value": size / time / 1e6})
    return figures


def npm(build, files):
    if not shutil.which("node") or not shutil.which("npm"):
        return skipped("npm", "no node or no npm")
    folder = build / "bench" / "npm"
    folder.mkdir(parents=True, exist_ok=True)
    for package in "subtitle", "subsrt-ts", "udsv", "papaparse":
        if not (folder / "node_modules" / package).exists():
            (folder / "package.json").exists() or (folder / "package.json").write_text('{"private":true}')
            done = subprocess.run(["npm", "install", "--silent", "--no-audit", "--no-fund", package], cwd=folder)
            if done.returncode != 0:
                skipped(f"npm {package}", "npm install failed")
    script = pathlib.Path(__file__).resolve().parent / "peers.mjs"
    out = subprocess.run(["node", script, *(files / name for name in ("film.srt", "large.srt", "large.csv"))],
                         cwd=folder, stdout=subprocess.PIPE, text=True)
    if out.returncode != 0:
        skipped("npm", "node failed")
    return [table.json.loads(line) for line in out.stdout.splitlines()]


def exponents(figures):
    """Time grows as size to the power of what is given: 1 is linear. Least squares of the logarithms."""
    tasks = {}
    for figure in figures:
        tasks.setdefault(figure["task"], []).append((math.log(float(figure["unit"])), math.log(figure["value"])))
    fits = {}
    for task, points in tasks.items():
        x0, y0 = (sum(p[i] for p in points) / len(points) for i in (0, 1))
        fits[task] = sum((x - x0) * (y - y0) for x, y in points) / sum((x - x0) ** 2 for x, _ in points)
    return fits


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, type=pathlib.Path)
    parser.add_argument("--json", type=pathlib.Path)
    args = parser.parse_args()
    build = args.build.resolve()
    program = build / "bin" / "subtitles_bench"

    figures = table.run(program, "speed")
    with tempfile.TemporaryDirectory() as folder:
        files = pathlib.Path(folder)
        for name, kind, cues in ("film.srt", "srt", 1500), ("large.srt", "srt", CUES), ("large.csv", "csv", CUES):
            with open(files / name, "wb") as file:
                subprocess.run([program, "make", kind, str(cues)], check=True, stdout=file)
        figures += tool_process(build, files) + ffmpeg_process(files) + npm(build, files)
    for road in "direct", "document":
        figures += table.run(program, "memory", road)
    fits = exponents(table.run(program, "growth"))
    table.show(figures + [{"task": f"growth of {task}", "unit": "power", "who": "100,000 to 600,000 cues", "value": value}
                          for task, value in fits.items()], args.json)


if __name__ == "__main__":
    main()
