#!/usr/bin/env bash
# Builds the library (installing what is missing) and runs the simulator: with no arguments the
# bundled demo against the embedded dev server. Arguments go to otsim (see `otsim --help`).
# Usage: scripts/run.sh [scenario.jsonl] [--json] [--html DIR] [--log-level N] ...
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/setup.sh" debug >&2
exec "$root/build/debug/otsim" "$@"
