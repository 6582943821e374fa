#!/usr/bin/env bash
# Builds the simulator (installing what is missing) and runs long soak runs, several at once, each
# keeping its output in build/soak/<seed>.out; ends with one table row per seed (docs/long-runs.md's
# table) and fails when any run's invariants did not hold.
# Usage: scripts/soak.sh [--days N] [--jobs J] [--build debug|asan|tsan] [SEED...]
#        (default: 28 days, 4 at once, the debug build, seeds 1 to 4)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
days=28
jobs=4
build=debug
seeds=()
while [ $# -gt 0 ]; do
  case "$1" in
    --days) days="$2"; shift 2 ;;
    --jobs) jobs="$2"; shift 2 ;;
    --build) build="$2"; shift 2 ;;
    -h|--help) sed -n '2,6p' "$0"; exit 0 ;;
    *) seeds+=("$1"); shift ;;
  esac
done
[ ${#seeds[@]} -gt 0 ] || seeds=(1 2 3 4)
"$root/scripts/setup.sh" "$build" otsim >&2
out="$root/build/soak"
mkdir -p "$out"

printf '%s\n' "${seeds[@]}" | xargs -P "$jobs" -I{} sh -c \
  '"$1" --soak "$2" --days "$3" > "$4/$2.out" 2>&1; echo "seed $2: exit $?"' \
  _ "$root/build/$build/otsim" {} "$days" "$out"

# One row per seed, from the accounting lines at the end of each run.
echo
echo "| seed | simulated days | steps | events | faults injected | restarts (killed) | reports made | sent | refused | queued | lost by design | lost otherwise | peak memory | peak disk | invariants |"
echo "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|"
failed=0
for seed in "${seeds[@]}"; do
  awk -v seed="$seed" '
    /^  simulated days/ { d = $3 }
    /^  steps/ { s = $2 }
    /^  events/ { e = $2 }
    /^  faults injected/ { f = $3 }
    /^  restarts/ { r = $2 " " $3 " " $4 }
    /^  reports made/ { m = $3 }
    /^    sent/ { sent = $2 }
    /^    refused/ { ref = $2 }
    /^    queued/ { q = $2 }
    /^    lost by design/ { ld = $4 }
    /^    lost otherwise/ { lo = $3 }
    /^  peak memory/ { pm = $3 " " $4 }
    /^  peak disk/ { pd = $3 " " $4 }
    /^  invariants/ { inv = $2 ($3 == "" ? "" : " " $3) }
    END { printf "| %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n",
                 seed, d, s, e, f, r, m, sent, ref, q, ld, lo, pm, pd, (inv == "" ? "did not finish" : inv) }
  ' "$out/$seed.out"
  grep -q '^  invariants            held$' "$out/$seed.out" || failed=1
done
exit "$failed"
