"""Holds every #include against the rooms: a room sees only the rooms its CMakeLists.txt names (and what those
see), none on a higher floor, and third-party headers stay inside the rooms that own them. Public types say whether
shared libraries export them (quorel/foundation/visibility.h).

A header that begins with "// Private to this room" is included by its own room only, and may show third-party
headers; all others are public.

usage: check_rooms.py SOURCE_DIRECTORY
"""
import pathlib
import re
import sys

# Where each third-party header may be included, and whether in headers too.
OWNERS = [
    (r"boost/url", ["quorel/foundation/url.cpp"]),
    (r"curl/", ["quorel/foundation/"]),
    (r"simdjson", ["quorel/foundation/json.cpp", "quorel/foundation/text.cpp", "quorel/subtitles/"]),
    (r"pcre2", ["quorel/support/"]),
    (r"expat", ["quorel/subtitles/ttml", "engines/vast/xml_tree.cpp"]),
    (r"uchardet", ["quorel/subtitles/"]),
    (r"iconv", ["quorel/support/encoding_converter.cpp"]),
    (r"utf8proc", ["quorel/support/", "quorel/subtitles/"]),
    (r"gst/|glib|gio/", ["engines/gstreamer/"]),
    (r"Q[A-Z]\w+$|QtCore|QtQuick|QtGui", ["hosts/qt/"]),
]
UNMARKED_TYPE = re.compile(r"(class|struct) (?!std::)(\[\[\w+\]\] )?(?!QUOREL_)[\w:]+( final)?( :(?!:)| \{)")
THIRD_PARTY_IN_PUBLIC_HEADERS_OF = re.compile(r"^(boost|curl|simdjson|pcre2|expat|uchardet|utf8proc|gst|glib|png|openssl)")


def declared_rooms(root):
    """name -> (folder, floor, rooms it names), from the quorel_room(...) calls."""
    rooms = {}
    for listing in root.glob("**/CMakeLists.txt"):
        if "build" in listing.relative_to(root).parts:
            continue
        for call in re.findall(r"quorel_room\(([^)]*)\)", listing.read_text()):
            words = call.split()
            uses, key = [], None
            floor = None
            for word in words[1:]:
                if word in ("INSTALL", "COMPONENT", "SOURCES", "USES", "HEADERS", "PUBLIC_LIBRARIES", "PRIVATE_LIBRARIES",
                            "FLOOR"):
                    key = word
                elif key == "USES":
                    uses.append(word)
                elif key == "FLOOR":
                    floor = int(word)
            rooms[words[0]] = (listing.parent.relative_to(root).as_posix(), floor, uses)
    return rooms


def is_private(header):
    return "Private to this room" in "".join(header.read_text(errors="replace").splitlines(True)[:3])


def main():
    root = pathlib.Path(sys.argv[1])
    rooms = declared_rooms(root)
    folder_of = {folder: name for name, (folder, _, _) in rooms.items()}
    problems = []

    for name, (folder, floor, uses) in rooms.items():
        if floor is None:
            problems.append(f"{folder}/CMakeLists.txt: room '{name}' names no FLOOR")
        for used in uses:
            if used not in rooms:
                problems.append(f"{folder}/CMakeLists.txt: room '{name}' uses '{used}', which is no room")
            elif floor is not None and rooms[used][1] is not None and rooms[used][1] >= floor:
                problems.append(f"{folder}/CMakeLists.txt: room '{name}' (floor {floor}) uses '{used}' (floor {rooms[used][1]}), "
                                "which is not below it")

    def visible(name, seen):
        if name not in seen:
            seen.add(name)
            for used in rooms.get(name, ("", 0, []))[2]:
                visible(used, seen)
        return seen

    checked = 0
    for name, (folder, _, _) in rooms.items():
        allowed = visible(name, set())
        for source in sorted((root / folder).glob("**/*")):
            if source.suffix not in (".h", ".cpp"):
                continue
            where = source.relative_to(root).as_posix()
            checked += 1
            is_public = source.suffix == ".h" and not is_private(source) and not where.endswith("_private.h")
            for number, line in enumerate(source.read_text(errors="replace").splitlines(), 1):
                if is_public and not where.startswith("sandbox/") and UNMARKED_TYPE.match(line):
                    problems.append(f"{where}:{number}: a public type is marked with QUOREL_..._API or QUOREL_VISIBLE")
                if not is_public and re.search(r"QUOREL_[A-Z]+_API", line):
                    problems.append(f"{where}:{number}: nothing private is exported")
                match = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
                if not match:
                    continue
                included = match.group(2)
                target = next((f for f in sorted(folder_of, key=len, reverse=True) if included.startswith(f + "/")), None)
                if target and folder_of[target] not in allowed:
                    problems.append(f"{where}:{number}: room '{name}' includes {included} of room '{folder_of[target]}', "
                                    "which it does not name")
                for pattern, owners in OWNERS:
                    if match.group(1) == "<" and re.match(pattern, included) and not any(where.startswith(o) for o in owners):
                        problems.append(f"{where}:{number}: <{included}> belongs to {', '.join(owners)}")
                if target and folder_of[target] != name and (root / included).exists() and is_private(root / included):
                    problems.append(f"{where}:{number}: {included} is private to the room '{folder_of[target]}'")
                if source.suffix == ".h" and not is_private(source) and THIRD_PARTY_IN_PUBLIC_HEADERS_OF.match(included):
                    problems.append(f"{where}:{number}: the third-party header <{included}> shows in a public header")

    for problem in problems:
        print(problem)
    print(f"{len(rooms)} rooms, {checked} files checked, {len(problems)} problems")
    return 1 if problems or not checked else 0


sys.exit(main())
