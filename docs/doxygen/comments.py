"""Doxygen's input filter: reads the house's plain // comments as documentation. Prints the header line for line, so that
Doxygen's warnings name the right lines.

- The comment that opens a header describes the file, and the type that the file is named after.
- A comment before a declaration describes it, and with it all that follow without a blank line or another comment.
- A comment behind a declaration or an enumerator describes that one.
- Comments in function bodies and in private parts are nobody's documentation; copies that are deleted or defaulted, and
  destructors that say nothing, need none.

usage: comments.py HEADER
       comments.py --check HEADER ...   prints what lacks words; exit code 1 when something does
"""
import pathlib
import re
import sys

COMMENT = re.compile(r"^(\s*)//(?!/) ?(.*)$")
SPECIAL = re.compile(r"([\\@<>#%&*~|\[\]])")
TYPE = re.compile(r"^(?:template\s*<.*>\s*)?(?:inline\s+)?(?:class|struct|union|enum|namespace)\b")
SILENT = re.compile(r"^(?:virtual\s+)?~\w+\(|=\s*(?:default|delete)\s*;$|^friend\s+class\b|^using\s+\w+::\w+;$"
                    r"|^static_assert|^class\s+\w+;$|^struct\s+\w+;$|^template\s*<[^>]*>\s*(?:class|struct)\s+\w+;$")


def prose(text, quoted=False):
    """Escapes what Doxygen or Markdown would take for a command. What stands in backticks or in quotes is taken as it is;
    quotes may go over lines. Gives whether one is open at the end, too."""
    out, code = [], False
    for c in text:
        code ^= c == "`"
        quoted ^= c == '"' and not code
        out.append("\\" + c if SPECIAL.match(c) and not code and not quoted else c)
    return "".join(out), quoted


def markdown(lines):
    """The lines of a comment; those indented by three or more behind an empty line are code."""
    out, code, after_blank, quoted = [], False, True, False
    for line in lines:
        indented = line.startswith("  ") and line.strip()
        if not code and indented and after_blank:
            code, line = True, "~~~{.cpp} " + line
            out.append(("code-begin", line[len("~~~{.cpp} "):]))
            continue
        if code and line.strip() and not indented:
            code = False
        if code:
            out.append(("code", line))
        else:
            text, quoted = prose(line, quoted and not after_blank)
            out.append(("text", text))
        after_blank = not line.strip()
    return out


def document(lines):
    """As many /// lines as there are lines. Code is indented as Markdown wants it."""
    return ["/// " + ("    " + line if kind.startswith("code") else line) for kind, line in markdown(lines)]


def inline(lines):
    """The same on one line, without code: for the later declarations of a group, and for the type of a header's name."""
    return "/** " + " ".join(line.strip() for kind, line in markdown(lines) if kind == "text").replace("*/", "*&#47;").replace("/*", "&#47;*") + " */ "


def without_trailing_comment(line):
    """The code of a line, and what stands behind it as a comment."""
    quote, i = None, 0
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                i += 1
            elif c == quote:
                quote = None
        elif c == '"' or (c == "'" and not (i and line[i - 1].isalnum())):
            quote = c
        elif line.startswith("//", i):
            return line[:i], line[i + 2:].strip(), i
        i += 1
    return line, None, -1


# What says everything by its name and type: a part that overrides, stores, gives back or names another; comparisons; the
# case names of an error; text and flags of a struct that is described itself. Numbers have to say their unit.
NUMBER = re.compile(r"^(?:const )?(?:std::optional<)?(?:double|float|int|unsigned|long|short|std::u?int\d+_t|std::size_t|std::ptrdiff_t|"
                    r"Duration)\b>?\s+\w+(?:\s*=[^;(]*|\{[^}]*\})?;")
UNIT = re.compile(r"second|point|pixel|byte|code unit|frames|from 0 to 1|digits|four edges", re.I)
OBVIOUS = [
    re.compile(pattern)
    for pattern in (
        r"\b(?:override|final)\b(?: =.*|\s*\{.*)?;?$|\boverride\b",
        r"\boperator\b",
        r"^(?:virtual )?(?!double|float|int |unsigned|std::u?int|std::size_t|Duration)[\w:<>&*, ]+ \w+\(\) const(?: noexcept)?(?: = 0)?;$",
        r"^(?:\[\[nodiscard\]\] )?[\w:<>&*, ]+ \w+\(\) const(?: noexcept)? \{",
        r"^(?:template <.*> ?)?(?:requires.*)?(?:explicit )?\w+\([^)]*\)(?: noexcept)? :",
        r"^\w+\(\);$|^\w+\((?:const )?\w+&&?\)(?: noexcept)?;$",
        r"^(?:template <.*> )?using \w+ =",
        r"^enum class Code\b",
        r"^explicit \w*Error\(",
        r"^template <.*> struct std::|^struct std::",
        r"^(?:inline )?constexpr [\w:]+ [\w]+::\w+\{",
        r"^~\w+\(\)|^\w+\((?:std::initializer_list<\w+>|const \w+&) \w+\);$|::\*\w+;$|\(\*\w+\)\(\);$",
        r"^Q_(?:OBJECT|PROPERTY)",
        r"^(?:inline )?\w+(?:::\w+)+\(",
        r"^static (?:std::shared_ptr<\w+>|\w+) make\(\)",
    )
]
SETTER = re.compile(r"^(?:virtual )?void set(\w)(\w*)\(")
FIELD = re.compile(r"^(?:static |inline |const |mutable )*[\w:<>,*& ]+ \w+(?:\s*=[^;]*|\{.*\})?;$")


def needs_words(whole, scope, accessors, described):
    if any(pattern.search(whole) for pattern in OBVIOUS):
        return False
    if match := SETTER.match(whole):
        return match.group(1).lower() + match.group(2) not in accessors and "is" + match.group(1) + match.group(2) not in accessors
    if scope == "type" and FIELD.match(whole) and "(" not in whole.split("=")[0].split("{")[0]:
        return not described or NUMBER.match(whole) is not None and not UNIT.search(described)
    return True


def read(path, check):
    """Prints the header as Doxygen is to read it; with `check`, gives what lacks words."""
    lines = re.sub(r"\bQUOREL_(?:\w+_API|VISIBLE)\b ?", "", path.read_text()).split("\n")
    named_after = re.sub(r"[^a-z0-9]", "", path.stem.lower())
    out = []
    i = 0
    opening = []
    while i < len(lines) and (match := COMMENT.match(lines[i])):
        opening.append(match.group(2))
        i += 1
    out += document(opening)
    if i < len(lines) and lines[i].startswith("#pragma once"):
        out.append("/// \\file")
        i += 1

    scopes = ["namespace"]     # namespace, type, enum, code
    private = [False]
    names, described, accessors, overloads, outer_groups = [""], ["the file"], set(), set(), [None]
    is_described = ""
    statement = ""             # of the declaration that is being read, without comments
    undocumented = []
    group = None               # the comment that stands for the declarations here
    first_of_group = False     # whether nothing has been described by it yet
    heads_types = False        # whether what it was written for is a type: then it is no function's
    pending = []               # of a comment block: its lines
    trailing_at = -1           # the column of the comment behind the line before

    def flush(pending_lines):
        nonlocal group, first_of_group
        if not pending_lines:
            return
        # A comment that ends with a blank comment line, or stands alone, heads nothing.
        group, first_of_group = [text for _, text in pending_lines], True
        out.extend(document(group) if scopes[-1] != "code" and not private[-1] else [raw for raw, _ in pending_lines])

    while i < len(lines):
        line = lines[i]
        i += 1
        declarative = scopes[-1] != "code" and not statement.strip()
        match = COMMENT.match(line)
        if match and scopes[-1] != "code":
            if trailing_at >= 0 and len(match.group(1)) >= trailing_at - 1 and not pending:
                out.append(" " * trailing_at + "///< " + prose(match.group(2))[0] if not private[-1] else line)
                continue
            trailing_at = -1
            if declarative or scopes[-1] == "enum":
                pending.append((line, match.group(2)))
            else:
                out.append(line)
            continue
        flush(pending)
        had_pending, pending = bool(pending), []
        code, comment, column = without_trailing_comment(line)
        trailing_at = column if comment is not None else -1
        if not code.strip():
            if not statement.strip():
                group = None
            out.append(line)
            continue
        if re.match(r"\s*#", code):     # a macro or an include, to the end of its last line
            out.append(line)
            while line.endswith("\\"):
                line = lines[i]
                i += 1
                out.append(line)
            continue
        begins = declarative and not re.match(r"\s*(public|private|protected|Q_SIGNALS)\s*:", code) and not re.match(r"\s*[{}]", code)
        access = re.match(r"\s*(public|private|protected|Q_SIGNALS)\s*:", code)
        if access:
            private[-1] = access.group(1) == "private"
            group = None
        if re.match(r"\s*\}", code):
            comment = None
        prefix = ""
        whole = ""
        if begins and not private[-1] and scopes[-1] != "code":
            whole, depth, j = "", 0, i - 1   # the statement to its end or its first brace
            start_line = i
            while j < len(lines):
                piece = without_trailing_comment(lines[j])[0].strip()
                whole += (" " if whole else "") + piece
                depth += piece.count("(") - piece.count(")")
                if depth <= 0 and re.search(r"[;{]", piece):
                    break
                j += 1
            whole = re.sub(r"\s+", " ", whole)
            if SILENT.search(whole) and "{" not in whole and not had_pending and comment is None and scopes[-1] != "enum":
                statement = ""
                # Leave the lines empty: the usual copies and destructors need no words.
                out.append("")
                while i - 1 < j:
                    out.append("")
                    i += 1
                continue
            kind = TYPE.match(whole)
            accessors.update(re.findall(r"\b(\w+)\(\) const", whole))
            name = re.search(r"\b(?:class|struct)\s+(?:\[\[\w+\]\]\s+)?(?:[A-Z_]+\s+)?((?:\w+::)*)(\w+)", whole) if kind else None
            if kind and whole.startswith("namespace"):
                pass
            elif had_pending:
                first_of_group, heads_types = False, kind is not None
            elif group is not None and bool(kind) == heads_types and scopes[-1] != "enum":
                if first_of_group:
                    first_of_group = False
                elif comment is None:
                    prefix = inline(group)
            elif comment is None and scopes[-1] == "enum":
                pass
            elif comment is None and not (name and whole.rstrip().endswith("{") and re.sub(r"[^a-z0-9]", "", name.group(2).lower()).endswith(named_after)):
                called = re.search(r"\b(\w+)\(", whole)
                if called and called.group(1) in overloads:
                    pass
                elif "detail" not in names and needs_words(whole, scopes[-1], accessors, described[-1]):
                    undocumented.append((start_line, scopes[-1], whole))
            elif (name and scopes[-1] == "namespace" and comment is None and whole.rstrip().endswith("{")
                  and re.sub(r"[^a-z0-9]", "", name.group(2).lower()).endswith(named_after)):
                prefix = inline(opening)
        if begins:
            if (had_pending or comment is not None or group is not None) and (called := re.search(r"\b(\w+)\(", whole)):
                overloads.add(called.group(1))
            said = group if group is not None else opening if prefix else []
            is_described = " ".join([*said, comment or ""]).strip()
        out.append(prefix + (code.rstrip() + "  ///< " + prose(comment)[0] if comment is not None and comment
                             and scopes[-1] != "code" and not private[-1] and not TYPE.match((statement + code).strip())
                             else line))
        # What the line opens and closes.
        quote, k = None, 0
        while k < len(code):
            c = code[k]
            if quote:
                if c == "\\":
                    k += 1
                elif c == quote:
                    quote = None
            elif c == 'R' and code.startswith('R"(', k):
                end = code.find(')"', k)
                k = end + 1 if end >= 0 else len(code)
            elif c == '"' or (c == "'" and not (k and code[k - 1].isalnum())):
                quote = c
            elif c == "{":
                head = re.sub(r"\s+", " ", statement).strip()
                head = re.sub(r"^(public|private|protected|Q_SIGNALS) ?: ?", "", head)
                if "(" not in head.split("{")[0] and TYPE.match(head) or re.match(r"^(template ?<.*> ?)?(requires.*)?(class|struct) ", head) and not head.endswith(")"):
                    kind = "namespace" if head.startswith("namespace") else "enum" if head.startswith("enum") else "type"
                else:
                    kind = "code"
                scopes.append(kind)
                names.append((re.search(r"namespace ([\w:]*)", head) or [None, ""])[1])
                described.append(is_described)
                outer_groups.append(group)
                group = None if kind != "code" else group
                private.append(private[-1] or (kind == "type" and re.match(r"^(template ?<.*> ?)?class\b", head) is not None))
                statement = ""
                k += 1
                continue
            elif c == "}":
                closed = scopes.pop()
                names.pop()
                described.pop()
                group = outer_groups.pop()
                private.pop()
                statement = "" if closed == "code" and not re.match(r"\s*[,);]", code[k + 1:]) or closed == "namespace" else " "
                k += 1
                continue
            elif c == ";" and statement.count("(") <= statement.count(")"):
                statement = ""
                k += 1
                continue
            statement += c
            k += 1
        if access:
            statement = re.sub(r"^\s*(public|private|protected|Q_SIGNALS)\s*:", "", statement)
        if scopes[-1] == "enum":
            statement = ""
    flush(pending)
    if not check:
        sys.stdout.write("\n".join(out))
    return undocumented


headers = [pathlib.Path(name) for name in sys.argv[1:] if name != "--check"]
lacking = 0
for header in headers:
    for number, _, whole in read(header, "--check" in sys.argv):
        if "--check" in sys.argv:
            print(f"{header}:{number}: says nothing of: {whole}")
            lacking += 1
sys.exit(1 if lacking else 0)
