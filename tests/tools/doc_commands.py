#!/usr/bin/env python3
"""Runs the shell commands README.md and docs/ mark runnable and compares what they print.

A fenced block whose info string is "sh runnable" holds commands, one a line (a trailing "# ..."
is a comment); "./build/debug/" in them stands for the build folder under test. The fenced block
right after it, when its info string is "text output", is an excerpt of what they print: each of
its lines must come in that order among the printed lines (a leading time column, "7.02s", is the
run's own and is not compared). Each block runs in a fresh sandbox from the source folder.

Usage: doc_commands.py SOURCE BUILD
"""
import pathlib
import re
import subprocess
import sys
import tempfile

FENCE = re.compile(r"^```(.*)$")
TIME = re.compile(r"^\s*\d+\.\d+s\s+")


def blocks(text):
    """Each fenced block as (info string, lines)."""
    found, info, lines = [], None, []
    for line in text.splitlines():
        fence = FENCE.match(line)
        if fence and info is None:
            info, lines = fence.group(1).strip(), []
        elif fence:
            found.append((info, lines))
            info = None
        elif info is not None:
            lines.append(line)
    return found


def normal(line):
    return TIME.sub("", line).strip()


def check(path, source, build):
    failures = 0
    found = blocks(path.read_text(encoding="utf-8"))
    for index, (info, lines) in enumerate(found):
        if info != "sh runnable":
            continue
        expected = found[index + 1][1] if index + 1 < len(found) and found[index + 1][0] == "text output" else []
        printed = []
        with tempfile.TemporaryDirectory(prefix="corvane-docs-") as sandbox:
            for line in lines:
                command = line.split(" #", 1)[0].strip()
                if not command:
                    continue
                command = command.replace("./build/debug/", str(build) + "/")
                done = subprocess.run(["bash", "-c", command], cwd=source, capture_output=True, text=True,
                                      timeout=300, env={"OT_SANDBOX": sandbox, "PATH": "/usr/bin:/bin"})
                printed += done.stdout.splitlines()
                if done.returncode != 0:
                    failures += 1
                    print("%s: `%s` exited %d" % (path.name, command, done.returncode))
        at = 0
        shown = [normal(line) for line in printed]
        for want in (normal(line) for line in expected):
            while at < len(shown) and shown[at] != want:
                at += 1
            if at == len(shown):
                failures += 1
                print("%s: `%s` did not print, in its place: %s" % (path.name, lines[0], want))
                break
            at += 1
    return failures


def main():
    if len(sys.argv) != 3:
        print(__doc__.strip().splitlines()[-1])
        return 2
    source, build = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    pages = [source / "README.md"] + sorted((source / "docs").glob("*.md"))
    failures = sum(check(page, source, build) for page in pages)
    print("%d pages checked: %d failures" % (len(pages), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
