"""Holds packaging/quorel.spdx.json against the build: each third-party library that a CMakeLists.txt links is in it with
its licence and with the components that use it, and nothing else is. Benchmarks' peers are left out. Conan's recipe knows
the same rooms as the build, each with what it stands on.

usage: check_packaging.py SOURCE_DIRECTORY
"""
import ast
import json
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
document = json.loads((root / "packaging/quorel.spdx.json").read_text())
listed, used, problems, rooms, component_of = {}, {}, [], {}, {}
for package in document["packages"]:
    if not package["licenseDeclared"] or package["licenseDeclared"] == "NOASSERTION":
        problems.append(f"{package['name']} has no licence")
    told = re.match(r"Targets: (.*)\. Used by: (.*)\.$", package.get("comment", ""))
    for target in told.group(1).split() if told else []:
        listed[target] = set(told.group(2).split())

PLACES = {"tools": "tools", "sandbox": "sandbox", "examples": "tools", "fuzz": "tests", "tests": "tests", "cmake": "tests"}
for listing in [*root.glob("**/CMakeLists.txt"), root / "cmake/QuorelRoom.cmake"]:
    place = listing.relative_to(root).parts
    if place[0] in ("build", "benchmarks") or "consumer" in place:
        continue
    text = re.sub(r"#.*", "", listing.read_text())
    room = re.search(r"quorel_room\((\w+)[^)]*?\bINSTALL\b(?:\s+COMPONENT (\w+))?", text)
    user = (room.group(2) or room.group(1)) if room else PLACES.get(place[0], place[0])
    if room:
        component_of[room.group(1)] = user
        rooms[user] = re.search(r"\bUSES\s+([a-z\s_]*)", text + " USES ").group(1).split()
    words = set(re.findall(r"\b([A-Z]\w+::[\w.-]+|fmt::fmt|simdjson::simdjson)", text))
    words |= {"PkgConfig::" + re.sub(r">.*", "", name) for name in re.findall(r"[\w.+-]+>=[\d.]+", text)}
    for word in words:
        if re.match(r"(Threads|Python3)::|PkgConfig::(TEST_\w+|GSTREAMER|PANGOCAIRO)$|Qt6::Test$", word) or "$" in word:
            continue
        used.setdefault(word, set()).add(user)

for target in sorted(used.keys() | listed.keys()):
    if target not in listed:
        problems.append(f"{target}, which {', '.join(used[target])} links, is not in quorel.spdx.json")
    elif target not in used:
        problems.append(f"{target} of quorel.spdx.json is linked by nobody")
    elif missing := used[target] - listed[target] - {"tests"}:
        problems.append(f"quorel.spdx.json does not say that {target} is used by {', '.join(sorted(missing))}")
recipe = ast.parse((root / "packaging/conan/conanfile.py").read_text())
recipe = next(ast.literal_eval(line.value) for line in recipe.body
              if isinstance(line, ast.Assign) and line.targets[0].id == "ROOMS")
for name in sorted(rooms.keys() | recipe.keys()):
    uses = {component_of[used] for used in rooms.get(name, [])}
    if name not in recipe or name not in rooms or set(recipe[name][0]) != uses:
        problems.append(f"conanfile.py: ROOMS['{name}'] is not what the build has, which is {sorted(uses)}")

print("\n".join(problems) or f"{len(listed)} targets of {len(document['packages']) - 1} packages")
sys.exit(1 if problems else 0)
