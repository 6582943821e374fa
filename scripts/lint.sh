#!/usr/bin/env bash
# Checks the tree (installing what is missing): includes point one way between the layers, every
# source file is formatted as .clang-format says, and (unless --no-tidy) clang-tidy finds nothing
# with the checks of .clang-tidy. Exits non-zero on the first kind of finding.
# Usage: scripts/lint.sh [--no-tidy] [--fix]   (--fix reformats instead of checking the format)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
tidy=1
fix=0
for argument in "$@"; do
  case "$argument" in
    --no-tidy) tidy=0 ;;
    --fix) fix=1 ;;
    *) echo "lint: unknown option $argument" >&2; exit 2 ;;
  esac
done
# shellcheck source=packages.sh
. "$root/scripts/packages.sh"
ensure_packages python3 clang-format-14 clang-tidy-14 clang-14 cmake ninja-build pkg-config \
  libcurl4-openssl-dev nlohmann-json3-dev libssl-dev libcpp-httplib-dev libcli11-dev \
  libgtest-dev libgmock-dev libbenchmark-dev

cd "$root"
echo "lint: layers"
python3 scripts/check-layers.py

mapfile -t sources < <(git ls-files 'src/*.h' 'src/*.cpp' 'include/*.h' 'tools/*.h' 'tools/*.cpp' \
  'tests/*.h' 'tests/*.cpp' 'bench/*.cpp' 'fuzz/*.h' 'fuzz/*.cpp' 'examples/*.cpp' \
  'tests/*.c' 'examples/*.c')
if [ "$fix" -eq 1 ]; then
  clang-format-14 -i "${sources[@]}"
else
  echo "lint: format"
  clang-format-14 --dry-run -Werror "${sources[@]}"
fi

[ "$tidy" -eq 1 ] || exit 0
echo "lint: clang-tidy"
# A compilation database for clang, file by file and without precompiled headers; clang-tidy
# needs no build.
cmake -S . -B build/lint -G Ninja -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DOT_UNITY_BUILD=OFF >/dev/null
run-clang-tidy-14 -p build/lint -j "$(nproc)" -quiet "$root/(src|tools)/"
