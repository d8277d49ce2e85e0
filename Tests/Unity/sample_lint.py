#!/usr/bin/env python3
"""Checks the package's samples: the ids of their files, and that scenes refer to what is there.

The engine copies a sample with its .meta files into the project, so that a scene finds its scripts by the ids in them.
--fix writes them. What is made when the package is composed may be missing (--made NAME).
"""
import argparse
import json
import pathlib
import re
import sys

from package_lint import make_guid

SAMPLES = "Samples~"
IMPORTERS = {".cs": "MonoImporter", ".unity": "DefaultImporter", ".bytes": "TextScriptImporter"}
TAIL = "  userData: \n  assetBundleName: \n  assetBundleVariant: \n"
SCRIPT, TEXT = "11500000", "4900000"  # ids of the one object in a script, and in a text
CLASSES = {"1": "GameObject", "4": "Transform", "20": "Camera", "23": "MeshRenderer", "33": "MeshFilter",
           "81": "AudioListener", "104": "RenderSettings", "108": "Light", "114": "MonoBehaviour"}


def make_meta(package_name, path, is_folder):
    importer = "DefaultImporter" if is_folder else IMPORTERS[pathlib.PurePath(path).suffix]
    body = "folderAsset: yes\n" if is_folder else ""
    body += f"{importer}:\n  externalObjects: {{}}\n"
    if importer == "MonoImporter":
        body += "  serializedVersion: 2\n  defaultReferences: []\n  executionOrder: 0\n  icon: {instanceID: 0}\n"
    return f"fileFormatVersion: 2\nguid: {make_guid(package_name, path)}\n{body}{TAIL}"


class Lint:
    def __init__(self, package, made):
        self.package, self.made = package, made
        self.name = json.loads((package / "package.json").read_text())["name"]
        self.findings, self.checked = [], 0
        self.files = [file for file in sorted((package / SAMPLES).rglob("*")) if file.suffix != ".meta"
                      and file.parent != package / SAMPLES]
        paths = [file.relative_to(package).as_posix() for file in package.rglob("*") if file.suffix != ".meta"]
        self.assets = {make_guid(self.name, path): path for path in paths + made}

    def find(self, place, text):
        self.findings.append(f"{place.relative_to(self.package)}: {text}")

    def check_metas(self, fix):
        for file in self.files:
            meta = file.with_name(file.name + ".meta")
            if not file.is_dir() and file.suffix not in IMPORTERS:
                self.find(file, "is of a kind that samples do not have")
                continue
            wanted = make_meta(self.name, file.relative_to(self.package).as_posix(), file.is_dir())
            if fix:
                meta.write_text(wanted)
            if not meta.is_file() or meta.read_text() != wanted:
                self.find(meta, "is missing, or is not what --fix writes")
            self.checked += 1

    def check_scene(self, scene):
        parts = re.split(r"^--- !u!(\d+) &(\d+)\n", scene.read_text(), flags=re.M)
        if not parts[0].startswith("%YAML 1.1\n%TAG !u! tag:unity3d.com,2011:\n"):
            self.find(scene, "does not begin as scenes do")
        objects = {}
        for kind, number, text in zip(parts[1::3], parts[2::3], parts[3::3]):
            if number in objects:
                self.find(scene, f"has two objects {number}")
            if not text.startswith(CLASSES.get(kind, "?") + ":\n"):
                self.find(scene, f"object {number} is no {CLASSES.get(kind)}")
            objects[number] = (kind, text)
        for number, (kind, text) in objects.items():
            self.check_object(scene, objects, number, kind, text)

    def check_object(self, scene, objects, number, kind, text):
        for reference, guid in re.findall(r"\{fileID: (\d+)(?:, guid: (\w+), type: 3)?\}", text):
            self.checked += 1
            if guid and guid not in self.assets:
                self.find(scene, f"object {number} refers to {guid}, which nothing in the package has")
            elif guid and reference != (SCRIPT if self.assets[guid].endswith(".cs") else TEXT):
                self.find(scene, f"object {number} refers to {reference} in {self.assets[guid]}")
            elif not guid and reference not in objects and reference != "0":
                self.find(scene, f"object {number} refers to {reference}, which is not there")
        if kind == "1":  # its components say whose they are
            for component in re.findall(r"- component: \{fileID: (\d+)\}", text):
                if f"m_GameObject: {{fileID: {number}}}" not in objects.get(component, ("", ""))[1]:
                    self.find(scene, f"{component} is not a component of {number}")
        script = re.search(r"m_Script: \{fileID: \d+, guid: (\w+)", text)
        if script and script[1] in self.assets:
            source = (self.package / self.assets[script[1]]).read_text()
            for field in re.findall(r"^  (m_\w+):", text, re.M):
                is_engines = field in ("m_ObjectHideFlags", "m_GameObject", "m_Enabled", "m_EditorHideFlags", "m_Script",
                                       "m_Name", "m_EditorClassIdentifier")
                if not is_engines and not re.search(rf"\bprivate \w+ {field}\b", source):
                    self.find(scene, f"sets {field}, which {self.assets[script[1]]} does not have")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("package", type=pathlib.Path)
    parser.add_argument("--made", action="append", default=[], help="path of a file that need not be there")
    parser.add_argument("--fix", action="store_true", help="write the .meta files anew")
    arguments = parser.parse_args()
    lint = Lint(arguments.package, arguments.made)
    lint.check_metas(arguments.fix)
    scenes = list((arguments.package / SAMPLES).rglob("*.unity"))
    for scene in scenes:
        lint.check_scene(scene)
    print("\n".join(lint.findings) or f"{lint.checked} ids and references of samples checked")
    return 1 if lint.findings or not scenes else 0


if __name__ == "__main__":
    sys.exit(main())
