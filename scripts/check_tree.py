#!/usr/bin/env python3
"""Checks what no compiler sees: include arrows between the rooms, functions that nobody calls, links of all Markdown,
headers without a guard, versions that differ.

Usage: check_tree.py    (in a checkout; needs git)
"""

import json
import os
import re
import subprocess
import sys

# Each room and the rooms that it may include, besides itself. Docs/architecture.md has the picture.
CORE = ["Nimb", "NimbCore"]
AUTHORING = CORE + ["Authoring/Codec", "Authoring/Frame", "Authoring/Scene"]
CLIP = AUTHORING + ["Media"]
TOOL = CLIP + ["Authoring/Source", "Authoring/Export", "Authoring/Surface", "Authoring/Track", "Clip/Read", "Clip/Write",
               "Clip/Remux", "Clip/Job", "Demo", "EngineStandIn"]
ROOMS = {
    "Nimb": [],
    "NimbCore": ["Nimb"],
    "NimbClip": CORE,
    "NimbUnityPluginML": CORE + ["NimbClip"],  # the reader of a file's index alone
    "Platform/Interface": [],
    "Platform/Headset": ["Platform/Interface"],
    "Platform/Desktop": ["Nimb", "Media", "Platform/Interface"],
    "EngineStandIn": ["NimbUnityPluginML"],  # the exported header alone
    "Media": [],
    "Authoring/Codec": CORE,
    "Authoring/Frame": CORE + ["Authoring/Codec"],
    "Authoring/Scene": CORE + ["Authoring/Codec"],
    "Authoring/Source": AUTHORING,
    "Authoring/Surface": AUTHORING,
    "Authoring/Track": AUTHORING + ["Authoring/Surface"],
    "Authoring/Export": AUTHORING + ["Authoring/Source"],
    "Clip/Read": CLIP + ["NimbClip"],
    "Clip/Write": CLIP + ["Authoring/Track"],
    "Clip/Job": CLIP + ["Authoring/Source", "Clip/Write"],
    "Clip/Remux": CLIP + ["NimbClip", "Clip/Read", "Clip/Write"],
    "Demo": AUTHORING + ["Authoring/Surface"],
    "Tools/nimb": TOOL,
    "Web": [],  # its module is made of the amalgamated NimbClip
    "Bench": TOOL + ["NimbClip", "NimbUnityPluginML", "Platform/Interface"],
    "Fuzz": AUTHORING + ["NimbClip", "Tests/Support", "Bench"],
}
SHARED_HEADERS = {"EngineStandIn": {"NimbUnityPluginML/NimbUnityPluginML.h"}}


def git(*arguments):
    return subprocess.run(["git", *arguments], check=True, capture_output=True, text=True).stdout.splitlines()


def room_of(path):
    return max((room for room in ROOMS if path.startswith(room + "/")), key=len, default=None)


def check_includes(files):
    for path in files:
        room = room_of(path)
        if room is None or not path.endswith((".h", ".cpp")):
            continue
        with open(path, encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                match = re.match(r'\s*#include "([^"]+)"', line)
                target = room_of(match[1]) if match else None
                if target is None or target == room:
                    continue
                allowed = SHARED_HEADERS.get(room)
                if target not in ROOMS[room] or (allowed is not None and match[1] not in allowed):
                    yield f"{path}:{number}: {room} must not include {match[1]}"


# Called by the engine, by the platform's libraries, by the language or by other people's programs.
CALLED_FROM_OUTSIDE = re.compile(
    r"main|LLVMFuzzer\w+|Unity\w+|StandIn_\w+|NimbUnexpectedExport|SetUpTestSuite|TearDownTestSuite|operator|__wrap_\w+|pthread_\w+|__declspec"
)

CALLED_FROM_OUTSIDE_ROOMS = ("Unity/", "Platform/Interface/", "Platform/Headset/", "Web/")


def code_of(path):
    """The file without comments, literals and preprocessor lines, on the same lines."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    keep_lines = lambda match: re.sub(r"[^\n]", " ", match[0])
    return re.sub(r'//[^\n]*|/\*.*?\*/|R"\w*\(.*?\)\w*"|"(?:\\.|[^"\\\n])*"|^[ \t]*#[ \t]*(?:include|pragma|error)[^\n]*',
                  keep_lines, text, flags=re.S | re.M)


def check_unused(files):
    """Functions whose name stands nowhere but where they are declared and defined."""
    places = {}
    for path in files:
        if path.endswith((".h", ".cpp")) and not path.startswith(CALLED_FROM_OUTSIDE_ROOMS):
            text = code_of(path)
            for match in re.finditer(r"[A-Za-z_]\w*", text):
                places.setdefault(match[0], []).append((path, text, match))
    # A declaration: a type, perhaps a class, and the name.
    before = re.compile(r"(?:\w|[\w>*]>|[\w>][&*]+)\s+(?!std::)(?:\w+::)*$")
    statement = re.compile(r"\b(?:return|throw|else|new|case|goto|delete|using|class|struct|and|or|not)\s+(?:\w+::)*$")
    for name, found in places.items():
        if len(found) > 2 or CALLED_FROM_OUTSIDE.fullmatch(name):
            continue
        def is_declaration(path, text, match):
            line = text[text.rfind("\n", 0, match.start()) + 1:match.start()]
            return (re.match(r"\s*\(", text[match.end():]) and before.search(line) and not statement.search(line)
                    and not re.search(r"\bconst \S*(?:Guard|MutexLock|lock_guard<\S*|unique_lock<\S*) $", line))
        if all(is_declaration(*place) for place in found):
            path, text, match = found[-1]
            number = text.count("\n", 0, match.start()) + 1
            yield f"{path}:{number}: nobody calls {name}"


def anchors_of(path):
    anchors = set()
    with open(path, encoding="utf-8") as file:
        for line in file:
            match = re.match(r"#+ (.+)", line)
            if match:
                text = re.sub(r"[^\w\- ]", "", match[1].lower())
                anchors.add(text.replace(" ", "-"))
    return anchors


def check_links(files):
    for path in files:
        if not path.endswith(".md"):
            continue
        with open(path, encoding="utf-8") as file:
            text = re.sub(r"```.*?```", lambda m: "\n" * m[0].count("\n"), file.read(), flags=re.S)
        for match in re.finditer(r"\]\(([^)\s]+)\)", text):
            target, _, anchor = match[1].partition("#")
            if re.match(r"[a-z]+:", target):
                continue
            number = text.count("\n", 0, match.start()) + 1
            full = os.path.normpath(os.path.join(os.path.dirname(path), target)) if target else path
            if not os.path.exists(full):
                yield f"{path}:{number}: there is no {match[1]}"
            elif anchor and full.endswith(".md") and anchor not in anchors_of(full):
                yield f"{path}:{number}: {full} has no heading #{anchor}"


def check_guards(files):
    for path in files:
        if path.endswith(".h"):
            with open(path, encoding="utf-8") as file:
                text = file.read()
            if "#pragma once" not in text and not re.search(r"#ifndef \w+_H\n#define", text):
                yield f"{path}: no #pragma once"


def check_versions():
    with open("CMakeLists.txt", encoding="utf-8") as file:
        version = re.search(r"project\(Nimb VERSION (\S+)", file.read())[1]
    for path in ("Unity/package.json", "Web/package.json", "Web/package-lock.json"):
        with open(path, encoding="utf-8") as file:
            if json.load(file)["version"] != version:
                yield f"{path}: the version is not {version}, as in CMakeLists.txt"


def main():
    os.chdir(git("rev-parse", "--show-toplevel")[0])
    files = git("ls-files")
    problems = [*check_includes(files), *check_unused(files), *check_links(files), *check_guards(files),
                *check_versions()]
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
