#!/usr/bin/env python3
"""Checks that includes point one way between the layers of src/ and the tools.

Layers, lowest first; a file may include its own layer and the ones below it:
  platform -> model -> server -> core -> ui -> tagging -> facade -> apple -> tools
Inside platform, the seam's own folder may not reach into its implementations (linux,
deterministic, headless) except where the environment assembles its defaults.
Prints each include that points the wrong way and exits 1 when there is any."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LAYERS = ["platform", "model", "server", "core", "ui", "tagging", "facade", "apple", "tools"]
IMPLEMENTATIONS = {"linux", "deterministic", "headless"}
# The environment picks the Linux and deterministic defaults of its parts.
ASSEMBLY = {"src/platform/OTEnvironment.cpp"}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def layer_of(relative):
    parts = relative.parts
    if parts[0] == "tools":
        return "tools"
    if parts[0] == "src" and len(parts) > 2 and parts[1] in LAYERS:
        return parts[1]
    return None


def main():
    problems = []
    files = [p for folder in ("src", "tools") for p in (ROOT / folder).rglob("*") if p.suffix in (".h", ".cpp", ".mm")]
    for path in sorted(files):
        relative = path.relative_to(ROOT)
        own = layer_of(relative)
        if own is None:
            continue
        for included in INCLUDE.findall(path.read_text(encoding="utf-8")):
            target = pathlib.PurePosixPath(included)
            if target.parts[0] not in LAYERS:
                continue
            if LAYERS.index(target.parts[0]) > LAYERS.index(own):
                problems.append(f"{relative}: {own} includes {included}")
            elif (own == "platform" and len(relative.parts) == 3 and str(relative) not in ASSEMBLY
                  and len(target.parts) > 2 and target.parts[1] in IMPLEMENTATIONS):
                problems.append(f"{relative}: the platform seam includes its implementation {included}")
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
