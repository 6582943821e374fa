#!/usr/bin/env bash
# Builds the Swift package against one preset's shared library (building it when missing), warning
# about nothing under complete concurrency checking, runs its tests against the dev server, and
# builds and runs the Swift example host. Without swift on PATH it says so in one line and stops.
# Usage: scripts/swift.sh [debug|release]
set -euo pipefail
preset="${1:-debug}"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
if ! command -v swift >/dev/null; then
  echo "swift: not on PATH, the Swift package was neither built nor tested"
  exit 0
fi
build="$root/build/$preset"
[ -f "$build/libcorvane_ostrel.so" ] && [ -x "$build/otserver" ] || \
  "$root/scripts/setup.sh" "$preset" corvane_ostrel_shared otserver >/dev/null

# The package as an app would take it: installed under a prefix, found through pkg-config.
stage="$build/swift-stage"
cmake --install "$build" --prefix "$stage" >/dev/null
export PKG_CONFIG_PATH="$stage/lib/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
export LD_LIBRARY_PATH="$stage/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
export OTSERVER="$build/otserver"
scratch="$root/build/swift"

cd "$root"
echo "swift: building the package"
log="$(mktemp)"
trap 'rm -f "$log"' EXIT
swift build --scratch-path "$scratch" -Xswiftc -strict-concurrency=complete 2>&1 | tee "$log"
if grep -q "warning:" "$log"; then
  echo "swift: the package builds with warnings" >&2
  exit 1
fi
echo "swift: the example host"
swift build --package-path examples/swift --scratch-path "$scratch-example" -Xswiftc -strict-concurrency=complete
"$build/otserver" -- "$scratch-example/debug/swift-host" "{url}"
echo "swift: tests"
# XCTest only: the package has no Swift Testing suite, whose runner would close on "0 tests".
swift test --scratch-path "$scratch" --disable-swift-testing
