#!/usr/bin/env bash
# Builds one preset (installing what is missing) and runs its whole test suite, then (debug and
# release) the Swift package's build, example and tests when swift is on PATH.
# Usage: scripts/test.sh [debug|release|asan|tsan|clang]
set -euo pipefail
preset="${1:-debug}"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/setup.sh" "$preset"
cd "$root"
ctest --preset "$preset" -j "$(nproc)"
# The Swift package over the shared library, which only the uninstrumented presets build.
case "$preset" in
  debug | release) "$root/scripts/swift.sh" "$preset" ;;
esac
