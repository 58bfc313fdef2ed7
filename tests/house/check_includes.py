"""Include what you use: asks the tool of that name about each source and says which includes are missing, which are
not needed. Of its advice it keeps what concerns the house's own headers and the standard library; what other
libraries' headers are to be included by, their documentation says better than a tool.

usage: check_includes.py BUILD_DIRECTORY [SOURCE ...]

The build directory has a compile_commands.json. This is advice, to be read and not to be followed blindly: the tool does
not see names that concepts or defaulted operators need.
"""
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parents[2]

# What the tool takes for the source of a name, and what is included for it.
STANDS_FOR = {
    "quorel/foundation/visibility.h": None,  # by each room's export.h
    "bits/chrono.h": "chrono",
    "bits/std_abs.h": None,  # by <cmath> as well as by <cstdlib>
    "stddef.h": "cstddef",
    "stdint.h": "cstdint",
    "string.h": "cstring",
    "stdlib.h": "cstdlib",
    "stdio.h": "cstdio",
    "errno.h": "cerrno",
    "time.h": "ctime",
    "signal.h": "csignal",
    "limits.h": "climits",
    "math.h": "cmath",
    "ctype.h": "cctype",
}
# Headers that stand for what they include: whoever has one, has those.
UMBRELLAS = ["quorel/engine/engine.h"]
# Not asked for: GStreamer's headers include each other in circles, at which the tool ends.
NOT_ASKED = re.compile(r"engines/gstreamer/|tests/engines/gstreamer/|/hosts/qt|^hosts/|^benchmarks/|^fuzz/")
# Headers whose names come with what one has anyhow, or that libraries place elsewhere.
NEVER_TOUCHED = {
    "bits/std_function.h", "compare", "coroutine", "exception", "ext/alloc_traits.h", "functional", "initializer_list",
    "iosfwd", "istream", "iterator", "locale", "memory", "new", "ostream", "ranges", "ratio", "stdexcept", "system_error",
    "tuple", "type_traits", "utility",
}


def sections(output):
    """file -> (added, removed) of the tool's report."""
    found = {}
    kind = name = None
    for line in output.splitlines():
        heading = re.match(r"(\S+) should (add|remove) these lines:", line)
        if heading:
            name, kind = heading.groups()
            found.setdefault(name, ([], []))
        elif line.startswith("The full include-list") or line == "---":
            kind = None
        elif kind:
            include = re.match(r"(- )?#include ([<\"])([^>\"]+)[>\"]", line)
            if include:
                found[name][kind == "remove"].append((include[2] == '"', include[3]))
    return found


def included(text):
    return set(re.findall(r'^#include [<"]([^>"]+)[>"]', text, re.M))


def reached_through_umbrellas(headers):
    reached = set()
    for umbrella in UMBRELLAS:
        if umbrella in headers and (root / umbrella).exists():
            reached |= included((root / umbrella).read_text())
    return reached


def advice(path, added, removed):
    """What of the tool's advice is taken, as lines."""
    text = path.read_text()
    has = included(text)
    here = path.relative_to(root).as_posix()
    if path.suffix == ".cpp":  # what the headers of its own room include, it need not repeat
        for name in set(has):
            if (root / name).is_file() and (root / name).parent == path.parent:
                has |= included((root / name).read_text())
    has |= reached_through_umbrellas(has)
    plus, minus = [], []
    for quoted, name in added:
        name = STANDS_FOR.get(name, name)
        if name is None or name in has or name in NEVER_TOUCHED or name.endswith("export.h"):
            continue
        if quoted and (root / name).exists():
            plus.append(f'#include "{name}"')
        elif not quoted and re.fullmatch(r"[a-z_]+", name):
            plus.append(f"#include <{name}>")
    for quoted, name in removed:
        if name in NEVER_TOUCHED or name in UMBRELLAS or here in UMBRELLAS or name.endswith("export.h"):
            continue
        if quoted and path.suffix == ".h":  # there for those who include this one
            continue
        if quoted and (root / name).exists():
            minus.append(f'#include "{name}"')
        elif not quoted and re.fullmatch(r"[a-z_]+", name):
            minus.append(f"#include <{name}>")
    return sorted(set(plus)), sorted(set(minus))


def ask(entry):
    command = entry.get("arguments") or entry["command"].split()
    arguments = [word for word in command if not word.startswith(("-W", "-f"))]
    while arguments[0].endswith("ccache") or "/" in arguments[0] and arguments[0].endswith(("c++", "g++", "clang++")):
        arguments.pop(0)
    for option in ("-o", "-MF", "-MT"):
        if option in arguments:
            at = arguments.index(option)
            del arguments[at:at + 2]
    arguments = [word for word in arguments if word not in ("-MD", "-c")]
    run = subprocess.run(["include-what-you-use", "-Xiwyu", "--no_fwd_decls", "-Xiwyu", "--no_comments", "-Xiwyu",
                          "--max_line_length=300", "-w", "-D__cpp_impl_coroutine=201902L", *arguments],
                         cwd=entry["directory"], capture_output=True, text=True)
    return sections(run.stderr)


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    wanted = sys.argv[2:]
    entries = [entry for entry in json.loads((build / "compile_commands.json").read_text())
               if pathlib.Path(entry["file"]).is_relative_to(root)
               and not pathlib.Path(entry["file"]).is_relative_to(build)
               and not NOT_ASKED.search(pathlib.Path(entry["file"]).relative_to(root).as_posix())]
    if wanted:
        entries = [entry for entry in entries if any(word in entry["file"] for word in wanted)]
    verdicts = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(ask, entries):
            for name, (added, removed) in found.items():
                path = pathlib.Path(name).resolve()
                if path.is_relative_to(root) and not path.is_relative_to(build):
                    verdicts[path] = advice(path, added, removed)
    for path, (plus, minus) in sorted(verdicts.items()):
        if not plus and not minus:
            continue
        print(path.relative_to(root).as_posix())
        for line in plus:
            print("  add   ", line)
        for line in minus:
            print("  remove", line)
    print(f"{len(entries)} sources asked")


main()
