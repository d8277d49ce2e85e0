#!/usr/bin/env python3
"""Writes the package's API reference, Documentation~/api.md, from the declarations and XML comments of its scripts.

Usage: make_api.py PACKAGE            writes the page
       make_api.py PACKAGE --check    says whether it is what would be written

Relies on the layout of the scripts: four spaces a level, braces on lines of their own, a type's name on its first line.
What the compiler thinks of the comments, it says when it compiles the scripts with -doc.
"""
import difflib
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

HEAD = """\
# API reference

Made by `Tests/Unity/make_api.py` of the repository from the comments in the scripts: changes belong there.
"""
# What users meet first comes first; then by name; what declares the native library comes last.
FIRST = ["NimbPlayer", "NimbPlayerClock", "NimbPlaylist"]
MODIFIERS = r"(?:(?:static|sealed|abstract|partial|unsafe|readonly|virtual|extern|new|async) )*"
TYPE = re.compile(rf" *(public |internal |protected |private )?({MODIFIERS})(class|struct|enum|interface) (\w+)(.*)")
MEMBER = re.compile(r" *public (?!override |class |struct |enum |interface )")
KINDS = ["Values", "Constructors", "Properties", "Functions", "Events", "Fields"]


def prose(element):
    """An XML comment's element as Markdown, on one line."""
    text = element.text or ""
    for child in element:
        name = child.get("cref") or child.get("langword") or child.get("name")
        if name:
            text += f"`{re.sub(r'^[A-Z]:', '', name)}`"
        elif child.tag == "c":
            text += f"`{child.text}`"
        else:
            text += " " + prose(child) + " "
        text += child.tail or ""
    return " ".join(text.split())


class Comment:
    def __init__(self, lines, where):
        try:
            root = ElementTree.fromstring("<doc>" + "\n".join(lines) + "</doc>")
        except ElementTree.ParseError as error:
            sys.exit(f"{where}: the comment is not well formed: {error}")
        self.text = " ".join(prose(root.find(tag)) for tag in ("summary", "remarks") if root.find(tag) is not None)
        self.details = [f"`{part.get('name')}`: {prose(part)}" for part in root.iter("param")]
        self.details += [f"Returns: {prose(part)}" for part in [*root.iter("returns"), *root.iter("value")]]
        self.details += [f"Throws `{part.get('cref')}`: {prose(part)}" for part in root.iter("exception")]


class Type:
    def __init__(self, declaration, comment, is_native):
        self.declaration = declaration
        self.comment = comment
        self.is_native = is_native
        self.members = {kind: [] for kind in KINDS}


def outside_parentheses(text, pattern):
    """Where the pattern is found first outside parentheses and angle brackets; the text's length otherwise."""
    depth = 0
    for at, char in enumerate(text):
        depth += (char in "(<") - (char in ")>" and text[at - 1] != "=")
        if depth == 0 and re.match(pattern, text[at:]):
            return at
    return len(text)


def kind_of(declaration, name, rest):
    if declaration.startswith("event "):
        return "Events"
    if "(" in declaration:
        return "Constructors" if declaration.startswith(name.rpartition(".")[2] + "(") else "Functions"
    return "Properties" if rest.lstrip().startswith(("{", "=>")) else "Fields"


def accessors(rest, indent):
    """What of `{ get ... set ... }` others may use: the block that begins `rest`, given the lines from there on."""
    if rest.lstrip().startswith("=>"):
        return " { get; }"
    lines = rest.split("\n")
    block = lines[0] if lines[0].count("{") == lines[0].count("}") > 0 else rest.partition("\n" + indent + "}")[0]
    found = re.findall(r"(private |internal |protected )?\b(get|set)\b\s*(?=[{;]|=>|$)", block, re.M)
    names = [name for hidden, name in found if not hidden]
    return " { " + " ".join(f"{name};" for name in ("get", "set") if name in names) + " }"


def read_file(path, types, is_native):
    lines = path.read_text(encoding="utf-8").splitlines()
    comment = []
    stack = []  # of open types: indentation, name; None when it is hidden, as is what is in it
    for number, line in enumerate(lines):
        where = f"{path}:{number + 1}"
        line = re.sub(r"^( *)(\[[^\]]*\] )+", r"\1", line)
        text = line.strip()
        if text.startswith("///"):
            comment.append(text[3:])
            continue
        if not text or text.startswith(("[", "#", "//")):
            if not text:
                comment = []
            continue
        indent = len(line) - len(line.lstrip())
        while stack and indent <= stack[-1][0] and text not in "{}":
            stack.pop()
        declared = TYPE.match(line)
        if declared:
            is_hidden = declared[1] != "public " or any(name is None for _, name in stack)
            stack.append((indent, None if is_hidden else declared[4]))
            if is_hidden:
                comment = []
                continue
            name = ".".join(name for _, name in stack)
            bases = declared[5].partition("{")[0].strip()
            known = types.setdefault(name, Type("", None, is_native))
            if not known.declaration or bases:  # of a partial type, the part that says most
                known.declaration = " ".join(f"{declared[2].replace('partial ', '')}{declared[3]} {name} {bases}".split())
            if comment:
                known.comment = Comment(comment, where)
            if declared[3] == "enum":
                read_values([declared[5].strip(" {}"), "}"] if "}" in declared[5] else lines[number + 1:], known, where)
        elif stack and all(name for _, name in stack) and indent == stack[-1][0] + 4 and MEMBER.match(line):
            name = ".".join(name for _, name in stack)
            whole = "\n".join([line, *lines[number + 1:]])[indent + len("public "):]
            end = outside_parentheses(whole, r"[{;]|\s=>?\s")
            declaration = re.sub(rf"^{MODIFIERS}", "", " ".join(whole[:end].split()))
            kind = kind_of(declaration, name, whole[end:])
            if kind == "Constructors":
                if "()" in declaration and not comment:
                    continue
                declaration = declaration.partition(") :")[0].rstrip(")") + ")"
            if kind == "Properties":
                declaration += accessors(whole[end:].lstrip(), " " * indent)
            if "static " in whole[:end]:
                declaration = "static " + declaration
            types[name].members[kind].append((declaration, Comment(comment, where) if comment else None))
        comment = []


def read_values(lines, into, where):
    comment = []
    for line in lines:
        text = line.strip()
        if text == "}":
            break
        if text.startswith("///"):
            comment.append(text[3:])
        elif text not in ("{", "") and not text.startswith("//"):
            for value in filter(None, map(str.strip, re.sub(r"//.*", "", text).split(","))):
                into.members["Values"].append((value, Comment(comment, where) if comment else None))
                comment = []


def write_page(types):
    order = sorted(types, key=lambda name: (types[name].is_native, FIRST.index(name) if name in FIRST else len(FIRST), name))
    page = [HEAD]
    for name in order:
        of = types[name]
        page.append(f"## {name}\n\n`{of.declaration}`\n")
        if of.comment and of.comment.text:
            page.append(of.comment.text + "\n")
        for kind in KINDS:
            if not of.members[kind]:
                continue
            page.append(f"**{kind}**\n")
            for declaration, comment in of.members[kind]:
                page.append(f"- `{declaration}`" + (f": {comment.text}" if comment and comment.text else ""))
                page += [f"  - {detail}" for detail in comment.details] if comment else []
            page.append("")
    return "\n".join(page).rstrip("\n") + "\n"


def main():
    if len(sys.argv) not in (2, 3) or sys.argv[2:] not in ([], ["--check"]):
        sys.exit(__doc__)
    package = pathlib.Path(sys.argv[1])
    types = {}
    for path in sorted([*(package / "Runtime").rglob("*.cs"), *(package / "Timeline").glob("*.cs")]):
        read_file(path, types, "Native" in path.parts)
    page = package / "Documentation~" / "api.md"
    text = write_page(types)
    if sys.argv[2:] != ["--check"]:
        page.write_text(text, encoding="utf-8")
        return 0
    there = page.read_text(encoding="utf-8") if page.exists() else ""
    for line in list(difflib.unified_diff(there.splitlines(), text.splitlines(), "api.md", "the scripts", lineterm="", n=0))[:40]:
        print(line)
    if there != text:
        print(f"Write it anew: {sys.argv[0]} {package}")
    return 0 if there == text else 1


if __name__ == "__main__":
    sys.exit(main())
