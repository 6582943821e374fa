#!/usr/bin/env python3
"""Checks that includes point one way between the folders of src/ and the tools.

Folders, lowest first; a file may include its own folder and the ones below it:
  foundation -> platform -> services -> view -> render -> model -> server -> core -> ui -> tagging
  -> facade -> tools
  foundation  formats, texts and small utilities that know nothing of the library or the platform
  platform    the environment seam: its interfaces, with linux/ and deterministic/ implementations
  services    the library's services on the seam: logger, reachability, stores, caches, archiver
  view        the user-interface model the seam speaks in: scene tree, controllers, windows
  render      the headless user interface and the renderers (headless, HTML, JSON scenes)
Inside a folder, a sub-folder implements its parent: it may include the parent's files, the
parent may not include it, and sibling sub-folders do not include each other. The one exception
is the environment, which assembles its default parts from the platform's implementations.
The server protocol stays in server: ui and tagging call the server link's operations and include
none of its request types (calls, outcomes, the login client, the session, the HTTP client).
The engine's parts (core and server) use what they were built with: they reach no shared instance
and no installed environment, except in the shared instances' own accessors and where an engine's
collaborators are first gathered.
Prints each include that points the wrong way and exits 1 when there is any."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LAYERS = ["foundation", "platform", "services", "view", "render", "model", "server", "core", "ui", "tagging",
          "facade", "tools"]
ASSEMBLY = {"src/platform/OTEnvironment.cpp"}
# What builds or answers a request; views ask the server link instead.
REQUEST_TYPES = {"server/OTServerCall.h", "server/OTServerOutcome.h", "server/OTLoginClient.h",
                 "server/OTServerSession.h", "server/OTNetwork.h", "server/OTNetworkConfig.h"}
ASKS_THE_LINK = {"ui", "tagging"}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)
# Where the engine's parts are given what they use.
GIVEN = {"core", "server"}
COMPOSITION_ROOT = {"src/core/OTSDKManagerCollaborators.cpp"}
ACCESSOR_NAMES = r"(?:sharedManager|shared|share|manager|network|defaultConfig|adapter|current)"
REACH = re.compile(r"\b(OT\w+::" + ACCESSOR_NAMES + r")\(\)(?!\s*(?:const\s*)?\{)")
# A shared instance's own accessor: its body may build it from the installed environment.
ACCESSOR_BODY = re.compile(r"^\S[^\n]*\bOT\w+::" + ACCESSOR_NAMES + r"\(\) \{\n.*?^\}", re.M | re.S)


def place(parts):
    """The layer and the sub-folder (or None) of a path given as parts below src/ or as an include."""
    if parts[0] not in LAYERS:
        return None, None
    return parts[0], parts[1] if len(parts) > 2 else None


def problems_of(relative, text):
    if relative.parts[0] == "tools":
        own, sub = "tools", None
    elif relative.parts[0] == "src" and len(relative.parts) > 2:
        own, sub = place(relative.parts[1:])
    else:
        return []
    if own is None:
        return [f"{relative}: a folder of src/ that has no place in the layers"]
    found = []
    for included in INCLUDE.findall(text):
        layer, target_sub = place(pathlib.PurePosixPath(included).parts)
        if layer is None:
            continue
        if LAYERS.index(layer) > LAYERS.index(own):
            found.append(f"{relative}: {own} includes {included}")
        elif own in ASKS_THE_LINK and included in REQUEST_TYPES:
            found.append(f"{relative}: {own} builds requests itself with {included}")
        elif layer == own and target_sub is not None and target_sub != sub and str(relative) not in ASSEMBLY:
            where = "its implementation" if sub is None else "a sibling"
            found.append(f"{relative}: {own}{'/' + sub if sub else ''} includes {where} {included}")
    if own in GIVEN and str(relative) not in COMPOSITION_ROOT:
        for line_number, line in enumerate(ACCESSOR_BODY.sub(lambda m: "\n" * m.group(0).count("\n"), text)
                                           .splitlines(), 1):
            for reach in REACH.findall(line):
                found.append(f"{relative}:{line_number}: {own} reaches {reach}() instead of what it was given")
    return found


def main():
    problems = []
    files = [p for folder in ("src", "tools") for p in (ROOT / folder).rglob("*") if p.suffix in (".h", ".cpp", ".mm")]
    for path in sorted(files):
        problems += problems_of(path.relative_to(ROOT), path.read_text(encoding="utf-8"))
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
