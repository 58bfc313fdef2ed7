"""Figures of benchmarks as one table: a row for each task and contender, with the ratio to the first of the task."""
import json
import resource
import subprocess


def run(*command):
    """The figures that a program prints, one JSON object per line."""
    out = subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE, text=True).stdout
    return [json.loads(line) for line in out.splitlines()]


def processor_time(command, rounds=3):
    """Of the fastest of several runs, in seconds."""
    times = []
    for _ in range(rounds):
        begin = resource.getrusage(resource.RUSAGE_CHILDREN)
        subprocess.run([str(part) for part in command], check=True, stdout=subprocess.DEVNULL)
        end = resource.getrusage(resource.RUSAGE_CHILDREN)
        times.append(end.ru_utime + end.ru_stime - begin.ru_utime - begin.ru_stime)
    return min(times)


def show(figures, json_file=None):
    # Of speeds the larger is the better one, of times the smaller.
    tasks = {}
    for figure in figures:
        tasks.setdefault((figure["task"], figure["unit"]), []).append(figure)
    width = max(len(task) for task, _ in tasks)
    for (task, unit), entries in tasks.items():
        first = entries[0]["value"]
        for entry in entries:
            ratio = entry["value"] / first if unit.endswith("/s") else first / entry["value"]
            entry["ratio"] = ratio
            name = task if entry is entries[0] else ""
            compared = "" if entry is entries[0] else f"  {1 / ratio:8.2f} x behind" if ratio < 1 else f"  {ratio:8.2f} x ahead"
            print(f"{name:<{width}}  {entry['who']:<34} {entry['value']:12,.2f} {unit:<6}{compared}")
    if json_file:
        json_file.write_text(json.dumps([entry for entries in tasks.values() for entry in entries], indent=1) + "\n")
