"""Doxygen's input filter for the pages: links to what is not on the site (sources, folders, licence) become plain text,
links to pages become those of the site. Prints the page line for line.

usage: pages.py PAGE
"""
import pathlib
import re
import sys

page = pathlib.Path(sys.argv[1])
root = pathlib.Path(__file__).resolve().parents[2]


def link(match):
    text, target = match.groups()
    path, _, anchor = target.partition("#")
    if re.match(r"[a-z]+:", target) or match.group(0).startswith("!"):
        return match.group(0)
    there = (page.parent / path).resolve() if path else page.resolve()
    if there.suffix != ".md":
        return text if text.startswith("`") else f"`{text}`" if "/" in text else text
    name = there.relative_to(root).as_posix()
    label = page_label(name) if not anchor else heading_label(name, anchor)
    return f"[{text}](@ref {label})"


def page_label(name):
    return "page_" + re.sub(r"\W", "_", name.removesuffix(".md"))


def heading_label(name, anchor):
    return page_label(name) + "_" + re.sub(r"\W", "_", anchor)


def anchor_of(title):
    return re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")


name = page.resolve().relative_to(root).as_posix()
code = False
for number, line in enumerate(page.read_text().splitlines()):
    if line.startswith("```"):
        code = not code
        line = re.sub(r"^```(\w+)", lambda m: "```{." + {"qml": "js"}.get(m.group(1), m.group(1)) + "}", line)
    elif not code:
        line = re.sub(r"^<!-- .* -->$", "", line)
        line = re.sub(r"!?\[((?:[^\]`]|`[^`]*`)+)\]\(([^)\s]+)\)", link, line)
        if heading := re.match(r"(#+) (.+)$", line):
            label = page_label(name) if number == 0 else heading_label(name, anchor_of(heading.group(2)))
            line += f" {{#{label}}}"
    print(line)
