#!/usr/bin/env bash
# Builds the library (installing what is missing) and runs the simulator: with no arguments the
# bundled demo against the embedded dev server. Arguments go to otsim (see `otsim --help`).
# Usage: scripts/run.sh [scenario.jsonl] [--json] [--html DIR] [--log-level N] ...
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# Only the simulator and what it needs: the tests and benchmarks are built by scripts/test.sh.
"$root/scripts/setup.sh" debug otsim >&2
exec "$root/build/debug/otsim" "$@"
