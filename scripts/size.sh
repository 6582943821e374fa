#!/usr/bin/env bash
# Builds the shared library as an app ships it (the `small` preset: -Os, link-time optimisation,
# a section per function with unused ones dropped, hidden visibility with the exports of
# cmake/corvane_ostrel.map) and prints its size, stripped, beside the 1 MB it must stay under.
# Usage: scripts/size.sh
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/setup.sh" small corvane_ostrel_shared >&2
library="$(readlink -f "$root/build/small/libcorvane_ostrel.so")"
stripped="$(mktemp)"
trap 'rm -f "$stripped"' EXIT
strip -o "$stripped" "$library"
bytes=$(stat -c %s "$stripped")
echo "$(basename "$library"): $(stat -c %s "$library") bytes, $bytes stripped (bound 1,000,000), before libcurl and OpenSSL"
size "$stripped" | sed 's|'"$stripped"'|(stripped)|'
echo "exported symbols: $(nm -D --defined-only "$stripped" | wc -l)"
[ "$bytes" -lt 1000000 ] || { echo "size: the stripped library is over 1 MB" >&2; exit 1; }
