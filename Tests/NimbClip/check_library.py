#!/usr/bin/env python3
"""Checks what a shared library asks of the system, and what it shows.

Usage: check_library.py LIBRARY HEADER
"""
import re
import subprocess
import sys

NEWEST_GLIBC = (2, 28)


def main():
    library, header = sys.argv[1:]
    dynamic = subprocess.run(["readelf", "-d", library], check=True, capture_output=True, text=True).stdout
    symbols = subprocess.run(["objdump", "-T", library], check=True, capture_output=True, text=True).stdout
    problems = []
    needed = set(re.findall(r"\(NEEDED\).*\[(.+)\]", dynamic))
    if any("stdc++" in name for name in needed) or "libc.so.6" not in needed:
        problems.append(f"it needs {sorted(needed)}")
    versions = {tuple(map(int, version.split("."))) for version in re.findall(r"GLIBC_([0-9.]+)", symbols)}
    if not versions or max(versions) > NEWEST_GLIBC:
        problems.append(f"it needs glibc {max(versions, default=None)}")
    shown = {line.split()[-1] for line in symbols.splitlines() if " g " in line and "*UND*" not in line}
    with open(header, encoding="utf-8") as file:
        declared = set(re.findall(r"^NIMB_CLIP_API .*?(nimb_clip_\w+)\(", file.read(), re.MULTILINE))
    if shown != declared or not declared:
        problems.append(f"it shows {sorted(shown ^ declared)} more, or less, than its header declares")
    for problem in problems:
        print(f"{library}: {problem}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
