#!/usr/bin/env bash
# Whole runs under seeded schedules of mishaps: soak.sh SCHEDULES [SEED]
#
# Schedules SEED, SEED + 1, ... (tests/soak), as many at once as there are cores. One that fails is printed with the command
# that repeats it, and with those of its mishaps that it takes. PRESET=asan-ubsan runs them under sanitizers.
# Exit status: 0 none failed, 1 some did, 2 a wrong command line.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

if ! [[ ${1:-} =~ ^[1-9][0-9]*$ && ${2:-1} =~ ^[0-9]+$ && $# -le 2 ]]; then
  echo "Usage: scripts/soak.sh SCHEDULES [SEED]" >&2
  exit 2
fi
schedules=$1 seed=${2:-1} preset=${PRESET:-dev}
scripts/install-packages.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target soak

cores=$(nproc) processes=()
for ((core = 0; core < cores; ++core)); do
  share=$(((schedules + core) / cores))
  ((share > 0)) || continue
  "build/$preset/bin/soak" "$share" "$seed" &
  processes+=($!)
  seed=$((seed + share))
done
status=0
for process in "${processes[@]}"; do wait "$process" || status=1; done
exit "$status"
