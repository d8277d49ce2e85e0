#!/usr/bin/env python3
"""Composes the Unity package in a folder, and checks what is packed, and what is refused.

Usage: compose_test.py FOLDER COMPILER COMMAND... -P SCRIPT    the command without OUTPUT, HEADSET_LIBRARY and MACOS_LIBRARY
"""
import hashlib
import pathlib
import subprocess
import sys
import tarfile

HEADSET = "Runtime/Plugins/Android/arm64-v8a/libNimbUnityPluginML.so"
WITHOUT_SDK = {"Runtime/Plugins/Linux/x86_64/libNimbUnityPluginML.so", "Runtime/Plugins/Linux/x86_64/libNimbPlatformDesktop.so",
               "Runtime/Plugins/Linux/x86_64/libnimb_clip.so", "Runtime/Plugins/Windows/x86_64/nimb_clip.dll",
               "Runtime/Plugins/Source/nimb_clip.cpp"}


def make_library(path, compiler, *options):
    """A shared library that says it is for 64-bit Arm."""
    subprocess.run([compiler, "-shared", "-o", path, "-x", "c", "/dev/null", *options], check=True)
    data = bytearray(path.read_bytes())
    data[18:20] = (183).to_bytes(2, "little")
    path.write_bytes(data)


def main():
    folder, compiler, *command = sys.argv[1:]
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    problems = []

    def compose(headset="", macos=""):
        for archive in folder.glob("*.tgz"):
            archive.unlink()
        options = [f"-DOUTPUT={folder}", f"-DHEADSET_LIBRARY={headset}", f"-DMACOS_LIBRARY={macos}"]
        result = subprocess.run([*command[:-2], *options, *command[-2:]], capture_output=True, text=True, check=False)
        return " ".join((result.stdout + result.stderr).split()), next(folder.glob("*.tgz"), None)

    def expect(condition, what):
        if not condition:
            problems.append(what)

    text, archive = compose()
    expect(archive and HEADSET.rpartition("/Plugins/")[2] in text, f"a package, and a word on what it lacks: {text}")
    if archive:
        with tarfile.open(archive) as tar:
            names = {name.removeprefix("package/") for name in tar.getnames()}
            missing = tar.extractfile("package/Native~/missing.txt").read().decode()
        libraries = {name for name in names if name.startswith("Runtime/Plugins/") and not name.endswith(".meta")}
        expect("package.json" in names and libraries == WITHOUT_SDK, f"the libraries are {libraries}")
        expect(not any("Android" in name or "macOS" in name for name in names), "nothing is left of what is not there")
        expect(len(missing.splitlines()) == 2, f"two libraries are missing: {missing}")
        first = hashlib.sha256(archive.read_bytes()).digest()
        _, archive = compose()
        expect(archive and hashlib.sha256(archive.read_bytes()).digest() == first, "the same package twice")

    library = folder / "libNimbUnityPluginML.so"
    make_library(library, compiler, "-nostdlib")
    text, archive = compose(library)
    with tarfile.open(archive or sys.exit(f"a library for the headset is refused: {text}")) as tar:
        expect("package/" + HEADSET in tar.getnames(), "the library for the headset is in the package")
        missing = tar.extractfile("package/Native~/missing.txt").read().decode()
    expect("Android" not in missing, "and not among the missing")

    make_library(library, compiler, "-Wl,--no-as-needed", "-lc")
    text, archive = compose(library)
    expect(not archive and "needs glibc (" in text and "libc.so.6" in text, f"a library that needs glibc is refused: {text}")
    library.write_text("no library")
    text, archive = compose(library)
    expect(not archive and "is not a library for AArch64" in text, f"what is no library is refused: {text}")
    text, archive = compose(macos=library)
    expect(not archive and "is not a universal library for macOS" in text, f"nor for macOS: {text}")
    print("\n".join(problems) or "composed, and refused, as it should")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
