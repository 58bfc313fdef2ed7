"""Holds docs/security.md against the sources: every test that it names exists, and every line of its tables names one.

usage: check_security.py DIRECTORY_OF_THE_SOURCES
"""
import pathlib
import re
import sys


def has_test(source, name):
    if "." not in name:
        return False
    suite, case = name.split(".")
    if case.startswith("test_"):
        return re.search(rf"class {suite}\b.*?def {case}\(", source, re.S) is not None
    return re.search(rf"TEST(_F|_P)?\(\s*{suite},\s*{case}\)", source) is not None


def main(root):
    problems, named = [], 0
    for number, line in enumerate((root / "docs/security.md").read_text().splitlines(), 1):
        cells = re.split(r"(?<!\\)\|", line)
        if len(cells) < 5 or set(cells[1]) <= set("- ") or cells[3].strip() in ("Shown by", "Who starts it"):
            continue
        if len(cells) > 5:  # the table of services
            continue
        shown, source = cells[3], ""
        found = re.findall(r"`([^`]+)`", shown)
        if not found:
            problems.append(f"line {number} names no test")
        for name in found:
            if "/" in name and not name.startswith("./"):
                path = root / name
                source = path.read_text() if path.is_file() else ""
                if not source:
                    problems.append(f"line {number}: there is no {name}")
                named += name.startswith("fuzz/")
            elif not name.startswith("./"):
                named += 1
                if not has_test(source, name):
                    problems.append(f"line {number}: no test {name} in the file before it")
    for problem in problems:
        print(f"docs/security.md: {problem}")
    print(f"{named} tests named, {len(problems)} problems")
    return 1 if problems or named < 30 else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
