#!/usr/bin/env python3
"""Checks the package's shaders: their structure, and that every variant of every pass compiles.

The engine's own includes are stood in for by declarations. Programs are compiled with glslang from HLSL, for both colour
spaces, with and without instances and eyes, for an old and a new engine, and with every choice of a pass's keywords.
"""
import argparse
import concurrent.futures
import itertools
import os
import pathlib
import re
import subprocess
import sys
import tempfile

# What the engine sets by itself, as lists of keywords of which one holds.
BUILT_IN = {
    "multi_compile_instancing": [["", "INSTANCING_ON", "STEREO_INSTANCING_ON"]],
    "multi_compile_fog": [["", "FOG_EXP2"]],
    "multi_compile_fwdbase": [["DIRECTIONAL"], ["", "SHADOWS_SCREEN"]],
    "multi_compile_shadowcaster": [["SHADOWS_DEPTH", "SHADOWS_CUBE"]],
}
COLOUR_SPACES = ["", "UNITY_COLORSPACE_GAMMA"]
ENGINES = ["UNITY_VERSION=202030", "UNITY_VERSION=202230"]
PICTURE = "Hidden/Nimb/Picture"  # copies; no renderer has it
ENGINE_INCLUDES = {"UnityCG.cginc", "AutoLight.cginc"}
# By pipeline: the passes that a sub-shader must have, and no other.
PASSES = {
    "UniversalPipeline": ["DepthNormals", "DepthNormalsOnly", "DepthOnly", "ShadowCaster", "UniversalForwardOnly"],
    "": {"Unlit": ["", "ShadowCaster"], "Lit": ["ForwardBase", "ShadowCaster"]},
}


def block_at(text, opening):
    """The text between this brace and the one that closes it, and where it ends."""
    depth = 0
    for place in range(opening, len(text)):
        depth += {"{": 1, "}": -1}.get(text[place], 0)
        if depth == 0:
            return text[opening + 1:place], place + 1
    raise ValueError("a brace is not closed")


def blocks(text, keyword):
    """The blocks with this keyword, as far as they are not inside one another."""
    found, place = [], 0
    while match := re.compile(rf"\b{keyword}\b[^{{}}\n]*\{{|\b{keyword}\b\s*\{{").search(text, place):
        block, place = block_at(text, match.end() - 1)
        found.append(block)
    return found


class Pass:
    def __init__(self, text, shared, program):
        tags = re.search(r"Tags\s*\{([^}]*)\}", text)
        mode = re.search(r'"LightMode"\s*=\s*"(\w+)"', tags[1] if tags else "")
        name = re.search(r'\bName\s+"(\w+)"', text)
        self.mode = mode[1] if mode else ""
        self.name = name[1] if name else self.mode or "unnamed"
        self.program = shared + program

    def variants(self):
        # Only normals are written otherwise by a new engine.
        choices = [COLOUR_SPACES, ENGINES if self.mode.startswith("DepthNormals") else ENGINES[1:]]
        for kind, keywords in re.findall(r"#pragma (multi_compile\w*)[ \t]*(.*)", self.program):
            choices += BUILT_IN.get(kind) or [["" if word == "_" else word for word in keywords.split("//")[0].split()]]
        for variant in itertools.product(*choices):
            yield [word for word in variant if word]


class Shader:
    def __init__(self, file, find):
        self.file, self.find = file, find
        text = re.sub(r"^\s*//.*|\s//.*", "", file.read_text(), flags=re.M)
        programs = []

        def keep(match):
            programs.append(match[2])
            return f"@{match[1]}{len(programs) - 1}@"

        text = re.sub(r"\bCG(INCLUDE|PROGRAM)\b(.*?)\bENDCG\b", keep, text, flags=re.S)
        shared = "".join(programs[int(number)] for number in re.findall(r"@INCLUDE(\d+)@", text))
        self.name = re.search(r'Shader\s+"([^"]+)"', text)[1]
        self.properties = set(re.findall(r"^\s*(?:\[[^\]]*\]\s*)*(_\w+)\(", blocks(text, "Properties")[0], re.M))
        self.sub_shaders = []
        for sub_shader in blocks(text, "SubShader"):
            own = [Pass(block, shared, programs[int(re.search(r"@PROGRAM(\d+)@", block)[1])])
                   for block in blocks(sub_shader, "Pass")]
            pipeline = re.search(r'"RenderPipeline"\s*=\s*"(\w+)"', sub_shader)
            used = re.findall(r'UsePass\s+"(.+)/(\w+)"', sub_shader)
            batching = re.search(r'"DisableBatching"\s*=\s*"True"', sub_shader)
            self.sub_shaders.append((pipeline[1] if pipeline else "", own, used, bool(batching)))

    def passes(self):
        return [each for _, own, _, _ in self.sub_shaders for each in own]


class Lint:
    def __init__(self, folder, declarations):
        self.folder, self.declarations = folder, declarations
        self.findings, self.programs, self.materials = [], 0, []
        self.command = ["glslangValidator", "-D", "--hlsl-dx9-compatible", "--auto-map-bindings", "--auto-map-locations",
                        f"-I{folder}", f"-I{declarations}"]
        self.shaders = {shader.name: shader for shader in
                        (Shader(file, self.find) for file in sorted(folder.glob("*.shader")))}

    def find(self, place, text):
        self.findings.append(f"{place}: {text}")

    def check_includes(self):
        for file in self.folder.iterdir():
            if file.suffix in (".shader", ".cginc"):
                for name in re.findall(r'#include "([^"]+)"', file.read_text()):
                    if name not in ENGINE_INCLUDES and not (self.folder / name).is_file():
                        self.find(file.name, f"includes {name}, which is neither the package's nor always the engine's")

    def check_structure(self, shader):
        for pipeline, own, used, batching in shader.sub_shaders:
            modes = [each.mode for each in own]
            for name, title in used:
                target = [each for each in self.shaders[name].passes() if each.name.upper() == title] \
                    if name in self.shaders else []
                if len(target) != 1:
                    self.find(shader.file.name, f"uses {name}/{title}, of which there are {len(target)}")
                modes += [each.mode for each in target]
            if shader.name.startswith("Nimb/"):
                wanted = PASSES[pipeline] if pipeline else PASSES[""][shader.name[len("Nimb/"):]]
                if sorted(modes) != sorted(wanted):
                    self.find(shader.file.name, f"{pipeline or 'built-in'} has the passes {sorted(modes)}, not {wanted}")
                if not batching:
                    self.find(shader.file.name, "may be batched from vertices in memory")

    def compile(self, each, variant, source):
        """Findings of one variant."""
        defines = [f"-D{word if '=' in word else word + '=1'}" for word in variant]
        found = []
        for stage, kind in (("vert", "vertex"), ("frag", "fragment")):
            entry = re.search(rf"#pragma {kind} (\w+)", each.program)
            if not entry:
                return [f"has no {kind} program"]
            result = subprocess.run([*self.command, *defines, "-V", "-S", stage, "-e", entry[1], "-o", os.devnull,
                                     str(source)], capture_output=True, text=True)
            if result.returncode:
                errors = [line for line in result.stdout.splitlines() if line.startswith("ERROR")]
                found.append(f"{kind} {' '.join(variant)}: {errors[0] if errors else result.stdout}")
        return found

    def material_of(self, source):
        """The block of material properties that a program declares."""
        text = subprocess.run([*self.command, "-E", "-S", "frag", str(source)], capture_output=True, text=True).stdout
        material = re.search(r"cbuffer UnityPerMaterial\s*\{(.*?)\};", text, re.S)
        return " ".join(material[1].split()) if material else None

    def check_programs(self):
        with tempfile.TemporaryDirectory() as work, \
                concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
            jobs = []
            for shader in self.shaders.values():
                for each in shader.passes():
                    source = pathlib.Path(work) / f"{shader.file.stem}-{each.name}.hlsl"
                    source.write_text(each.program)
                    if shader.name != PICTURE:
                        self.check_material(shader, each, self.material_of(source))
                    jobs += [(f"{shader.file.name} {each.name}", pool.submit(self.compile, each, variant, source))
                             for variant in each.variants()]
            for place, job in jobs:
                self.programs += 2
                for text in job.result():
                    self.find(place, text)

    def check_material(self, shader, each, material):
        place = f"{shader.file.name} {each.name}"
        self.materials.append(material)
        if not material or material != self.materials[0]:
            self.find(place, f"has the material properties {material}, others have {self.materials[0]}")
        for name in re.findall(r"(_\w+);", material or ""):
            if name not in shader.properties:
                self.find(place, f"{name} is no property of the shader")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path, help="with the shaders")
    parser.add_argument("declarations", type=pathlib.Path, help="folder with what stands in for the engine's includes")
    arguments = parser.parse_args()
    lint = Lint(arguments.folder, arguments.declarations)
    lint.check_includes()
    for shader in lint.shaders.values():
        lint.check_structure(shader)
    lint.check_programs()
    unique = list(dict.fromkeys(lint.findings))
    print("\n".join(unique[:40]) or f"{len(lint.shaders)} shaders, {lint.programs} programs compiled")
    return 1 if unique or not lint.programs else 0


if __name__ == "__main__":
    sys.exit(main())
