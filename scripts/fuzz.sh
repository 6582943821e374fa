#!/usr/bin/env bash
# The long fuzzing campaign: builds the clang preset (ASan, UBSan, libFuzzer) and runs each target
# over its seeds for RUNS inputs (default a million), on all cores. New interesting inputs stay in
# build/clang/fuzz-found/<target>; a crash is written to build/clang/fuzz-crashes/<target>/ and
# belongs, once fixed, in fuzz/regressions/<target>/, which the test suite replays.
# Usage: scripts/fuzz.sh [RUNS] [target ...]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
runs="${1:-1000000}"
shift || true
targets=("$@")
[ "${#targets[@]}" -gt 0 ] || targets=(property_list campaign event matching answers scenario html banner)

"$root/scripts/setup.sh" clang
build="$root/build/clang"
status=0
for target in "${targets[@]}"; do
  found="$build/fuzz-found/$target"
  crashes="$build/fuzz-crashes/$target"
  mkdir -p "$found" "$crashes"
  echo "fuzz: $target, $runs inputs"
  if ! "$build/fuzz_$target" -runs="$runs" -max_len=65536 -timeout=30 -rss_limit_mb=4096 \
      -print_final_stats=1 -artifact_prefix="$crashes/" \
      "$found" "$root/fuzz/corpus/$target" "$root/fuzz/regressions/$target" 2>"$build/fuzz-$target.log"; then
    echo "fuzz: $target FAILED, see $build/fuzz-$target.log and $crashes"
    status=1
  fi
  grep -E "stat::number_of_executed_units|stat::peak_rss_mb" "$build/fuzz-$target.log" || true
done
exit "$status"
