#!/usr/bin/env bash
# Builds the simulator (Release, installing what is missing) and runs many seeds of
# `otsim --simulate` across the cores; prints one table of the runs (docs/long-runs.md's) and the replay
# command of every seed that breached, and fails when any did.
# Usage: scripts/simulate.sh [--seeds N] [--first S] [--days D] [--jobs J]
#        (default: 100 seeds from 1, 30 days each, one run per core)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seeds=100
first=1
days=30
jobs="$(nproc)"
while [ $# -gt 0 ]; do
  case "$1" in
    --seeds) seeds="$2"; shift 2 ;;
    --first) first="$2"; shift 2 ;;
    --days) days="$2"; shift 2 ;;
    --jobs) jobs="$2"; shift 2 ;;
    -h|--help) sed -n '2,6p' "$0"; exit 0 ;;
    *) echo "simulate.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done
"$root/scripts/setup.sh" release otsim >&2
out="$root/build/simulate"
rm -rf "$out"
mkdir -p "$out"

started=$(date +%s)
seq "$first" $((first + seeds - 1)) | xargs -P "$jobs" -I{} sh -c \
  '"$1" --simulate "$2" --days "$3" > "$4/$2.out" 2>&1 || true' _ "$root/build/release/otsim" {} "$days" "$out"
elapsed=$(( $(date +%s) - started ))

# The last line of each transcript is its summary.
python3 - "$out" "$elapsed" "$jobs" <<'EOF'
import json, pathlib, sys
folder, elapsed, jobs = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
runs, broken = [], []
for path in sorted(folder.glob("*.out"), key=lambda p: int(p.stem)):
    lines = path.read_text(errors="replace").splitlines()
    try:
        summary = json.loads(lines[-1])
    except (IndexError, ValueError):
        broken.append((path.stem, "no summary (the run died): see " + str(path)))
        continue
    runs.append(summary)
    if summary["breaches"]:
        broken.append((path.stem, next((l for l in lines if l.startswith("replay: ")), "")))
total = lambda key: sum(r[key] for r in runs)
report = lambda key: sum(r["reports"][key] for r in runs)
print()
print("| seeds | simulated days | steps | lives | crashes | inside writes | dialogs | reports made | sent | refused "
      "| queued | dropped, queue full | lost by design | lost otherwise | seeds breached |")
print("|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|")
print(f"| {len(runs)} | {total('days'):,.0f} | {total('steps'):,} | {total('lives'):,} | {total('crashes'):,} "
      f"| {total('crashesInWrites'):,} | {total('dialogs'):,} | {report('made'):,} | {report('sent'):,} "
      f"| {report('refused'):,} | {report('queued'):,} | {report('droppedByBound'):,} | {report('lostByDesign'):,} "
      f"| {report('lostOtherwise'):,} | {len(broken)} |")
print(f"\n{len(runs)} runs in {elapsed} s on {jobs} cores; transcripts in {folder}")
for seed, line in broken:
    print(f"seed {seed}: {line}")
sys.exit(1 if broken else 0)
EOF
