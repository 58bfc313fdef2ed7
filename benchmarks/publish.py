"""Writes the measured ratios into a page, between two marks, one table for each benchmark.

usage: publish.py DIR/bench/all.json docs/performance.md
"""
import json
import sys
from pathlib import Path

import table

BEGIN, END = "<!-- figures: written by ./dev bench --publish -->", "<!-- end of the figures -->"


def ratios(entries):
    return "; ".join(f"{entry['who']} {bold(entry['ratio'])}" for entry in entries if "ratio" in entry) or "-"


def bold(ratio):
    text = table.ratio_text(ratio)
    return f"**{text}**" if ratio < 0.95 else text


def lines_of(document):
    yield f"### {document['benchmark']}"
    yield ""
    yield "| | SDK | of the limit | beside others |"
    yield "|---|---:|---|---|"
    for row in document["rows"]:
        sdk, limits, others = table.parts(row)
        figure = f"{table.number(sdk['value'])} {row['unit']}" if sdk else "-"
        of_limit = "; ".join(f"{table.ratio_text(entry['ratio'])}: {entry['who']}" for entry in limits if "ratio" in entry)
        yield f"| {row['task']} | {figure} | {of_limit or '-'} | {ratios(others)} |"
    yield ""
    yield f"Measured in {table.load_line(document['machine'])}."
    yield ""


def publish(source, page):
    documents = json.loads(Path(source).read_text())
    quick = [document["benchmark"] for document in documents if document["quick"]]
    if quick:
        sys.exit(f"publish: {', '.join(quick)} ran with --quick; measure in full first")
    text = Path(page).read_text()
    if text.count(BEGIN) != 1 or text.count(END) != 1:
        sys.exit(f"publish: {page} lacks the marks that the figures go between")
    head, rest = text.split(BEGIN)
    tail = rest.split(END)[1]
    figures = "\n".join(line for document in documents for line in lines_of(document))
    Path(page).write_text(f"{head}{BEGIN}\n\n{figures}\n{END}{tail}")
    print(f"{page} has the figures of {source} now")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    publish(*sys.argv[1:])
