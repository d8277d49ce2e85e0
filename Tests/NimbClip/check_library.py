#!/usr/bin/env python3
"""Checks what NimbClip shows, and what it needs: of a shared library for Linux or Windows, or of the source plug-in that
an engine compiles in its own way.

Usage: check_library.py HEADER LIBRARY
       check_library.py HEADER SOURCE COMPILER
"""
import re
import subprocess
import sys
import tempfile

NEWEST_GLIBC = (2, 28)
EVERY_WINDOWS = {"KERNEL32.dll", "msvcrt.dll"}
# All that an engine's build for Android says of C++; the language is the compiler's oldest that it can be.
ENGINE = ["-std=c++14", "-fexceptions", "-fno-rtti", "-fvisibility=hidden", "-O2", "-Wall", "-Wextra", "-Werror", "-c"]
# What several files may define alike: the standard library's templates, and the runtime's.
SHARED = re.compile(r"(.*\b)?(std|__gnu_cxx)::|DW\.ref\.|__clang_call_terminate|operator |nimb_clip::~?nimb_clip\(")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def check_linux(library):
    dynamic = run("readelf", "-d", library)
    symbols = run("objdump", "-T", library)
    needed = set(re.findall(r"\(NEEDED\).*\[(.+)\]", dynamic))
    if any("stdc++" in name for name in needed) or "libc.so.6" not in needed:
        yield f"it needs {sorted(needed)}"
    versions = {tuple(map(int, version.split("."))) for version in re.findall(r"GLIBC_([0-9.]+)", symbols)}
    if not versions or max(versions) > NEWEST_GLIBC:
        yield f"it needs glibc {max(versions, default=None)}"
    yield {line.split()[-1] for line in symbols.splitlines() if " g " in line and "*UND*" not in line}


def check_windows(library):
    text = run("x86_64-w64-mingw32-objdump", "-p", library)
    needed = set(re.findall(r"DLL Name: (\S+)", text))
    if not needed or needed - EVERY_WINDOWS:
        yield f"it needs {sorted(needed)}"
    if not re.search(r"Time/Date\s+Thu Jan  1 00:00:00 1970", text):
        yield "it says when it was made"
    names = text.partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    yield set(re.findall(r"\[ *\d+\] (?:\+base\[ *\d+\] +)?(?:[0-9a-f]+ )?(\w+)$", names, re.M))


def check_source(source, compiler):
    with tempfile.NamedTemporaryFile(suffix=".o") as made:
        run(compiler, *ENGINE, source, "-o", made.name)
        symbols = [line.split(None, 2)[1:] for line in
                   run("nm", "--demangle", "--defined-only", "--extern-only", made.name).splitlines()]
    shown = {name for kind, name in symbols if kind not in "WVu"}
    weak = sorted(name for kind, name in symbols if kind in "WVu" and not SHARED.match(name))
    if weak:
        yield f"it shares {weak} with other files"
    yield shown


def main():
    header, library, *compiler = sys.argv[1:]
    if compiler:
        *problems, shown = check_source(library, *compiler)
    else:
        *problems, shown = check_windows(library) if library.endswith(".dll") else check_linux(library)
    with open(header, encoding="utf-8") as file:
        declared = set(re.findall(r"^NIMB_CLIP_API .*?(nimb_clip_\w+)\(", file.read(), re.MULTILINE))
    if shown != declared or not declared:
        problems.append(f"it shows {sorted(shown ^ declared)} more, or less, than its header declares")
    for problem in problems:
        print(f"{library}: {problem}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
