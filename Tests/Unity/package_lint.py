#!/usr/bin/env python3
"""Checks the Unity package: ids, import settings, manifests, and the native functions that the scripts declare.

Every finding is a line with the file that it is about; the exit status says whether there was any. Ids follow from the
package's name and the file's path, so a file keeps its id for as long as it keeps its place. --fix writes the .meta
files; --composed checks a package that has its native libraries inside.
"""
import argparse
import hashlib
import itertools
import json
import os
import pathlib
import re
import subprocess
import sys

IGNORED = re.compile(r"(^|/)(\.[^/]*|[^/]*~)(/|$)")  # what the engine ignores: hidden, or ending in a tilde
STAGED = "Native~"  # holds the import settings of the native libraries as they will stand in Runtime
LEFT_OUT = STAGED + "/missing.txt"  # in a composed package: each library that is not in it, and why
LIBRARIES = {  # place: platforms, processor, the editor's system
    "Runtime/Plugins/Android/arm64-v8a/libNimbUnityPluginML.so": ({"Android", "Lumin"}, "ARM64", None),
    "Runtime/Plugins/Linux/x86_64/libNimbUnityPluginML.so": ({"Linux64"}, "x86_64", "Linux"),
    "Runtime/Plugins/Linux/x86_64/libNimbPlatformDesktop.so": ({"Linux64"}, "x86_64", "Linux"),
    "Runtime/Plugins/Linux/x86_64/libnimb_clip.so": ({"Linux64"}, "x86_64", "Linux"),
    "Runtime/Plugins/Source/nimb_clip.cpp": ({"Android", "iOS"}, "ARM64", None),
    "Runtime/Plugins/Windows/x86_64/nimb_clip.dll": ({"Win64"}, "x86_64", "Windows"),
    "Runtime/Plugins/macOS/nimb_clip.bundle": ({"OSXUniversal"}, "AnyCPU", "OSX"),
}
GROUPS = {"Android": "Android", "Lumin": "Lumin", "Linux64": "Standalone", "OSXUniversal": "Standalone",
          "Win64": "Standalone", "iOS": "iPhone"}
# Of the C and C++ libraries of a Linux system, which no headset has.
LINUX_RUNTIME = re.compile(r"(libc|libm|libdl|librt|libpthread|libstdc\+\+|libgcc_s)\.so\.\d+$|ld-linux")
IMPORTERS = {".cs": "MonoImporter", ".asmdef": "AssemblyDefinitionImporter", ".shader": "ShaderImporter",
             ".cginc": "ShaderIncludeImporter", ".md": "TextScriptImporter", ".so": "PluginImporter",
             ".dll": "PluginImporter", ".bundle": "PluginImporter", ".cpp": "PluginImporter"}
MANAGED = r"static extern \S+ (\w+)\(([^)]*)\);"
TAIL = "  userData: \n  assetBundleName: \n  assetBundleVariant: \n"


def importer_of(path):
    return "PackageManifestImporter" if path == "package.json" else IMPORTERS.get(pathlib.PurePath(path).suffix)


def make_guid(package_name, path):
    return hashlib.md5(f"{package_name}/{path}".encode()).hexdigest()


def plugin_settings(path):
    platforms, cpu, system = LIBRARIES[path]
    text = "  serializedVersion: 2\n  iconMap: {}\n  executionOrder: {}\n  defineConstraints: []\n  isPreloaded: 0\n" \
           "  isOverridable: 0\n  isExplicitlyReferenced: 0\n  validateReferences: 1\n  platformData:\n" \
           "  - first:\n      Any: \n    second:\n      enabled: 0\n      settings: {}\n"
    text += f"  - first:\n      Editor: Editor\n    second:\n      enabled: {int(bool(system))}\n      settings:\n"
    text += f"        CPU: {cpu if system else 'AnyCPU'}\n        DefaultValueInitialized: true\n"
    text += f"        OS: {system or 'AnyOS'}\n"
    for platform, group in GROUPS.items():
        enabled = platform in platforms
        text += f"  - first:\n      {group}: {platform}\n    second:\n      enabled: {int(enabled)}\n      settings:\n"
        if platform == "iOS":  # older versions of the engine make projects of C++11
            text += "        AddToEmbeddedBinaries: false\n        CPU: AnyCPU\n        CompileFlags: " + \
                    "-std=c++14" * enabled + "\n        FrameworkDependencies: \n"
        else:
            text += f"        CPU: {cpu if enabled else 'None'}\n"
    return text


def elf_problem(file, machine):
    """Why a library is not one for this processor, and for Android where that is Arm; None when it is."""
    found = subprocess.run(["readelf", "-hdVW", file], capture_output=True, text=True, check=False,
                           env={**os.environ, "LC_ALL": "C"}).stdout
    if not re.search(rf"Machine:.*\b{machine}", found) or not re.search(r"Type:\s+DYN", found):
        return f"is not a library for {machine}"
    if machine != "AArch64":
        return None
    needed = [name for name in re.findall(r"\(NEEDED\).*\[(.+)\]", found) if LINUX_RUNTIME.match(name)]
    needed = needed or sorted(set(re.findall(r"Name: (GLIBC\w*_[\d.]+)", found)))
    return f"needs glibc ({', '.join(needed)}), which no headset has: it is linked against stand-ins. Build it with the " \
           "SDK's compiler, as Docs/headset.md says" if needed else None


def pe_problem(file):
    data = file.read_bytes()
    at = int.from_bytes(data[0x3c:0x40], "little")
    return None if data[:2] == b"MZ" and data[at:at + 6] == b"PE\0\0\x64\x86" else "is not a library for Windows, x86-64"


def macho_problem(file):
    return None if file.read_bytes()[:4] == b"\xca\xfe\xba\xbe" else "is not a universal library for macOS"


def make_meta(package_name, path, is_folder):
    head = f"fileFormatVersion: 2\nguid: {make_guid(package_name, path)}\n"
    importer = "DefaultImporter" if is_folder else importer_of(path)
    if is_folder:
        head += "folderAsset: yes\n"
    body = "  externalObjects: {}\n"
    if importer == "MonoImporter":
        body += "  serializedVersion: 2\n  defaultReferences: []\n  executionOrder: 0\n  icon: {instanceID: 0}\n"
    elif importer == "PluginImporter":
        body += plugin_settings(path)
    return f"{head}{importer}:\n{body}{TAIL}"


def functions(declaration, text):
    """How many parameters each function has that a pattern finds."""
    text = re.sub(r"\[MarshalAs\([^)]*\)\]", "", text)
    return {m[1]: 0 if m[2].strip() in ("", "void") else m[2].count(",") + 1 for m in re.finditer(declaration, text, re.M)}


class Lint:
    def __init__(self, package, composed):
        self.package = package
        self.composed = composed
        self.findings = []
        self.checked = 0
        self.name = self.read_json("package.json").get("name", "")

    def find(self, path, text):
        self.findings.append(f"{path}: {text}")

    def read_json(self, path):
        try:
            return json.loads((self.package / path).read_text())
        except (OSError, ValueError) as error:
            self.find(path, error)
            return {}

    def assets(self):
        """Where each asset is, by its path in the composed package."""
        found = {}
        for file in self.package.rglob("*"):
            path = file.relative_to(self.package).as_posix()
            if path.startswith(STAGED + "/") and path != STAGED + "/README.md" and not self.composed:
                found["Runtime" + path[len(STAGED):]] = file
            elif not IGNORED.search(path):
                found[path] = file
        return found

    def fix(self):
        for path in LIBRARIES if not self.composed else ():
            (self.package / STAGED / pathlib.PurePath(path).relative_to("Runtime")).parent.mkdir(parents=True, exist_ok=True)
        assets = self.assets()
        for path in [p for p in LIBRARIES if p not in assets and not self.composed]:
            assets[path] = self.package / STAGED / pathlib.PurePath(path).relative_to("Runtime")
        for path, file in assets.items():
            if file.suffix != ".meta":
                file.with_name(file.name + ".meta").write_text(make_meta(self.name, path, file.is_dir()))

    def check_metas(self):
        assets = self.assets()
        for path, file in sorted(assets.items()):
            if file.suffix != ".meta":
                if path + ".meta" not in assets:
                    self.find(path, "has no .meta")
                if not file.is_dir() and not importer_of(path):
                    self.find(path, "is of a kind that the package does not have")
                continue
            self.checked += 1
            of = path[:-len(".meta")]
            if of not in assets and (self.composed or of not in LIBRARIES):
                self.find(path, "belongs to nothing")
                continue
            wanted = make_meta(self.name, of, of in assets and assets[of].is_dir()).splitlines()
            found = file.read_text().splitlines()
            for number, (is_line, should) in enumerate(itertools.zip_longest(found, wanted), 1):
                if is_line != should:
                    self.find(f"{path}:{number}", f"is {is_line!r}, not {should!r}")
                    break
        for path in LIBRARIES:
            if path + ".meta" not in assets and path not in self.left_out():
                self.find(path, "has no import settings")

    def left_out(self):
        """Libraries that a composed package says it does not have."""
        file = self.package / LEFT_OUT
        lines = file.read_text().splitlines() if self.composed and file.is_file() else []
        return {"Runtime/Plugins/" + line.partition(": ")[0] for line in lines}

    def check_editor(self):
        """The editor's list of libraries, with their platforms, is the one here."""
        path = "Editor/NativeLibrary.cs"
        source = (self.package / path).read_text()
        for name, value in re.findall(r"(\w+) = (\"\w+\")[,;]", source):
            source = source.replace(name, value)
        found = {}
        for line in re.findall(r"new NativeLibrary\(([^)]*)\)", source):
            place, cpu, system, *platforms = [part.strip().strip('"') for part in line.split(",")]
            found["Runtime/Plugins/" + place] = (set(platforms), cpu, None if system == "null" else system)
        for library in sorted(found.keys() | LIBRARIES.keys()):
            if found.get(library) != LIBRARIES.get(library):
                self.find(path, f"{library} is {found.get(library)}, in {pathlib.Path(__file__).name} {LIBRARIES.get(library)}")

    def check_libraries(self):
        for path in sorted(LIBRARIES.keys() - self.left_out()):
            file = self.package / path
            problem = None
            if not file.is_file():
                problem = f"is missing, and not in {LEFT_OUT}"
            elif path.endswith(".so"):
                problem = elf_problem(file, "AArch64" if "/Android/" in path else "X86-64")
            elif path.endswith(".dll"):
                problem = pe_problem(file)
            elif path.endswith(".bundle"):
                problem = macho_problem(file)
            if problem:
                self.find(path, problem)

    def check_manifest(self):
        manifest = self.read_json("package.json")
        rules = {"name": r"[a-z0-9-]+(\.[a-z0-9-]+){2,}", "version": r"\d+\.\d+\.\d+(-[\w.]+)?", "unity": r"20\d\d\.\d",
                 "displayName": r".{1,50}", "description": r".+"}
        for key, rule in rules.items():
            if not re.fullmatch(rule, str(manifest.get(key, ""))):
                self.find("package.json", f"{key} is {manifest.get(key)!r}")
        listed = {sample.get("path") for sample in manifest.get("samples", [])}
        there = {f"Samples~/{folder.name}" for folder in (self.package / "Samples~").glob("*") if folder.is_dir()}
        for path in sorted(listed ^ there, key=str):
            self.find("package.json", f"{path} is listed as a sample or is there, but not both")
        for page in ("README.md", "CHANGELOG.md", "Documentation~/index.md"):
            if not (self.package / page).is_file():
                self.find(page, "is missing")
        changelog = self.package / "CHANGELOG.md"
        if changelog.is_file() and f"[{manifest.get('version')}]" not in changelog.read_text():
            self.find("CHANGELOG.md", f"does not tell of version {manifest.get('version')}")

    def check_assemblies(self):
        files = [file.relative_to(self.package) for file in self.package.rglob("*.asmdef")]
        assemblies = {self.read_json(file).get("name"): file for file in files}
        for file in files:
            settings = self.read_json(file)
            if settings.get("name") != file.stem:
                self.find(file, "is named otherwise than its file")
            if file.parts[0] == "Editor" and settings.get("includePlatforms") != ["Editor"]:
                self.find(file, "is not for the editor alone")
            for reference in settings.get("references", []):
                if reference.startswith("Nimb.") and reference not in assemblies:
                    self.find(file, f"refers to {reference}, which is not there")

    def check_functions(self, header):
        """What the scripts declare is what the header declares, with as many parameters."""
        native = functions(r"^NIMB_API [^(]*?(\w+)\(([^)]*)\);", header.read_text())
        path = "Runtime/Native/NimbUnityPluginML.cs"
        managed = functions(MANAGED, (self.package / path).read_text())
        for name in sorted(native.keys() | managed.keys()):
            if native.get(name) != managed.get(name):
                self.find(path, f"{name} has {managed.get(name)} parameters, the library's {native.get(name)}")
        for file in self.package.rglob("*.cs"):
            if file.name != "NimbUnityPluginML.cs" and "NimbUnityPluginML.Library)]" in file.read_text():
                self.find(file.relative_to(self.package), "declares functions of the library elsewhere")
        self.checked += len(native)

    def check_clip_functions(self, header):
        """Of the library that the portable player uses, scripts declare what they call."""
        native = functions(r"^NIMB_CLIP_API [^(]*?(\w+)\(([^)]*)\);", header.read_text())
        for file in self.package.rglob("*.cs"):
            managed = functions(MANAGED, file.read_text())
            for name in sorted(name for name in managed if name.startswith("nimb_clip_")):
                self.checked += 1
                if native.get(name) != managed[name]:
                    self.find(file.relative_to(self.package), f"{name} has {managed[name]} parameters, the library's {native.get(name)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("package", type=pathlib.Path)
    parser.add_argument("--header", type=pathlib.Path, help="of the native library")
    parser.add_argument("--clip-header", type=pathlib.Path, help="of NimbClip")
    parser.add_argument("--composed", action="store_true", help="the native libraries are inside")
    parser.add_argument("--fix", action="store_true", help="write the .meta files anew")
    arguments = parser.parse_args()

    lint = Lint(arguments.package, arguments.composed)
    if arguments.fix:
        lint.fix()
    lint.check_metas()
    lint.check_manifest()
    lint.check_assemblies()
    lint.check_editor()
    if arguments.composed:
        lint.check_libraries()
    if arguments.header:
        lint.check_functions(arguments.header)
    if arguments.clip_header:
        lint.check_clip_functions(arguments.clip_header)
    print("\n".join(lint.findings) or f"{lint.checked} ids and functions checked")
    return 1 if lint.findings else 0


if __name__ == "__main__":
    sys.exit(main())
