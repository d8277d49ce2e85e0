#!/usr/bin/env python3
"""Packs a folder as package managers of npm's kind take it: a .tgz with everything under `package/`. The same files give
the same bytes, whoever packs them and when.

Usage: pack_tarball.py FOLDER ARCHIVE
"""
import gzip
import pathlib
import sys
import tarfile

TIME = 499162500  # npm's own


def main():
    folder, archive = map(pathlib.Path, sys.argv[1:])
    files = sorted(path for path in folder.rglob("*") if path.is_file())
    with open(archive, "wb") as file, gzip.GzipFile("", "wb", 9, file, mtime=0) as packed, \
            tarfile.open(fileobj=packed, mode="w", format=tarfile.USTAR_FORMAT) as tar:
        for path in files:
            member = tarfile.TarInfo("package/" + path.relative_to(folder).as_posix())
            member.size = path.stat().st_size
            member.mtime = TIME
            member.mode = 0o644
            with open(path, "rb") as content:
                tar.addfile(member, content)
    print(f"{archive}: {len(files)} files, {archive.stat().st_size} bytes")


if __name__ == "__main__":
    main()
