#!/usr/bin/env bash
# Builds one preset (installing what is missing) and runs its whole test suite.
# Usage: scripts/test.sh [debug|release|asan|tsan|clang]
set -euo pipefail
preset="${1:-debug}"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/setup.sh" "$preset"
cd "$root"
ctest --preset "$preset" -j "$(nproc)"
