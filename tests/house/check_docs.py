"""Holds the pages against what they speak of:

- every room has its page in docs/rooms, and docs/architecture.md links it;
- every relative link of a page leads somewhere, to a heading too;
- every file that a page names in backticks is there;
- C++ and QML stand below a line <!-- FILE: REGION -->, and are, to the letter, what stands in that source between
  // [REGION] and // [/REGION]; --write puts it there;
- every public header has words for what it declares (docs/doxygen/comments.py says for what).

usage: check_docs.py SOURCE_DIRECTORY [--write]
"""
import pathlib
import re
import subprocess
import sys
import textwrap

ROOT = pathlib.Path(sys.argv[1])
WRITE = "--write" in sys.argv
FILE = re.compile(r"`([\w./-]*\w\.(?:h|cpp|py|sh|md|txt|qml|qrc|cmake|supp|mjs|js|json\.in|in|srt))`")
CODE = re.compile(r"<!-- ([\w./-]+): ([\w-]+) -->\n```\w*\n(.*?)```", re.S)
# Files that a reader makes, or that are only examples of names.
NOT_OURS = re.compile(r"film|a\.srt|pt\.srt|out\.|index\.html|en\.srt|^main\.|^app|^CMakeLists\.txt$|^master|xyz|^my|\*")
problems = []


def pages():
    return sorted(p for p in [*ROOT.glob("*.md"), *ROOT.glob("docs/**/*.md"), *ROOT.glob("examples/**/*.md")])


def anchors(page):
    """The headings of a page as GitHub and Doxygen name them."""
    text = re.sub(r"```.*?```", "", page.read_text(), flags=re.S)
    titles = re.findall(r"^#+ +(.+?)(?: +\{#[\w-]+\})?$", text, re.M)
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


def rooms():
    """The folders that declare a room, and tools."""
    for listing in ROOT.glob("**/CMakeLists.txt"):
        folder = listing.parent.relative_to(ROOT)
        if folder.parts[:1] != ("build",) and re.search(r"^\s*quorel_room\(", listing.read_text(), re.M):
            yield folder.as_posix()
    yield "tools"


def page_of(folder):
    return "docs/rooms/" + folder.removeprefix("quorel/").replace("/", "-") + ".md"


def region(source, name):
    text = (ROOT / source).read_text() if (ROOT / source).is_file() else ""
    found = re.search(rf"^[ \t]*// \[{name}\]\n(.*?)^[ \t]*// \[/{name}\]$", text, re.S | re.M)
    return textwrap.dedent(found.group(1)) if found else None


folders = {page_of(folder): folder for folder in rooms()}
overview = (ROOT / "docs/architecture.md").read_text()
for page, folder in folders.items():
    if not (ROOT / page).is_file():
        problems.append(f"{folder}: the room has no page {page}")
    elif page.removeprefix("docs/") not in overview:
        problems.append(f"docs/architecture.md: does not link {page}")
for page in (ROOT / "docs/rooms").glob("*.md"):
    if page.relative_to(ROOT).as_posix() not in folders:
        problems.append(f"{page.relative_to(ROOT)}: a page without a room")

snippets = 0
for page in pages():
    name = page.relative_to(ROOT).as_posix()
    text = page.read_text()
    prose = re.sub(r"^```.*?^```", "", text, flags=re.S | re.M)
    for target in re.findall(r"\]\(([^)\s]+)\)", prose):
        if re.match(r"[a-z]+:", target):
            continue
        path, _, anchor = target.partition("#")
        there = (page.parent / path).resolve() if path else page
        if not there.exists():
            problems.append(f"{name}: the link {target} leads nowhere")
        elif anchor and there.suffix == ".md" and anchor not in anchors(there):
            problems.append(f"{name}: {target} has no such heading")
    folder = ROOT / folders.get(name, "")
    tests = ROOT / "tests" / folders.get(name, "").removeprefix("quorel/")
    for file in FILE.findall(prose) if name.startswith(("docs/", "README", "CONTRIBUTING")) else []:
        if not NOT_OURS.search(file) and not any((base / file).exists() for base in (ROOT, ROOT / "quorel", page.parent, folder, tests)):
            problems.append(f"{name}: there is no {file}")

    def checked(match):
        global snippets
        snippets += 1
        source, wanted, code = match.groups()
        given = region(source, wanted)
        if given is None:
            problems.append(f"{name}: {source} has no region [{wanted}]")
        elif given != code and not WRITE:
            problems.append(f"{name}: the code is not that of {source} [{wanted}]; mend it with\n"
                            f"    python3 tests/house/check_docs.py . --write")
        return match.group(0) if given is None else match.group(0)[: -len(code) - 3] + given + "```"

    written = CODE.sub(checked, text)
    if WRITE and written != text:
        page.write_text(written)
    if len(CODE.findall(text)) != len(re.findall(r"^```(?:cpp|qml)$", text, re.M)):
        problems.append(f"{name}: every block of C++ and QML stands below the name of its source and region")

def is_public(header):
    return not header.name.endswith("_private.h") and "Private to this room" not in "".join(header.open().readlines()[:3])


headers = [h for top in ("quorel", "engines", "hosts", "sandbox") for h in sorted((ROOT / top).glob("**/*.h")) if is_public(h)]
silent = subprocess.run([sys.executable, "-B", ROOT / "docs/doxygen/comments.py", "--check", *headers], stdout=subprocess.PIPE, text=True)
problems += silent.stdout.splitlines()

for problem in problems:
    print(problem)
print(f"{len(pages())} pages, {len(folders)} rooms, {snippets} pieces of code, {len(headers)} headers checked, {len(problems)} problems")
sys.exit(1 if problems or not snippets else 0)
