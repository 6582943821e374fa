#!/usr/bin/env bash
# Installs the Debian packages the build needs (when missing), then configures and builds one preset:
# all of it, or only the targets named (and what they need) without the tests and benchmarks.
# Usage: scripts/setup.sh [debug|release|asan|tsan|clang] [target ...]
set -euo pipefail
preset="${1:-debug}"
shift || true
targets=()
[ "$#" -eq 0 ] || targets=(--target "$@")
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

# shellcheck source=packages.sh
. "$root/scripts/packages.sh"
ensure_packages g++ cmake ninja-build pkg-config ccache \
  libcurl4-openssl-dev nlohmann-json3-dev libssl-dev libcpp-httplib-dev libcli11-dev
# clang 14 by its full name: the Swift toolchain brings a `clang` of its own, which has no
# libFuzzer of Debian's and other warnings.
[ "$preset" != clang ] || ensure_packages clang-14 libclang-rt-14-dev
# The tests and benchmarks (and what they need) only for a whole build: the demo goes without.
suite=ON
[ "$#" -eq 0 ] || suite=OFF
# Chromium and a Chinese font for the tests that draw pages to pictures; json-c for the C example host.
[ "$suite" = OFF ] || ensure_packages libgtest-dev libgmock-dev libbenchmark-dev chromium fonts-noto-cjk libjson-c-dev

cd "$root"
cmake --preset "$preset" -DOT_BUILD_TESTS="$suite" -DOT_BUILD_BENCHMARKS="$suite" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)" "${targets[@]}"
