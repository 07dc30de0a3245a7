#!/usr/bin/env bash
# Looks for inputs that break the readers of foreign bytes: fuzz.sh MINUTES [TARGET...]
#
# Runs each fuzz target (tests/fuzz) for so many minutes, as many at once as there are cores, from its seeds and from what
# earlier runs have found. Prints inputs and coverage of each; inputs that break something are made small and kept in
# build/fuzz/findings. Exit status: 0 nothing was found, 1 something was, 2 a wrong command line.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage="Usage: scripts/fuzz.sh MINUTES [TARGET...]"
if ! [[ ${1:-} =~ ^[1-9][0-9]*$ ]]; then
  echo "$usage" >&2
  exit 2
fi
minutes=$1
shift

scripts/install-packages.sh
cmake --preset fuzz >/dev/null
list=build/fuzz/tests/fuzz/targets.txt
for target in "$@"; do
  cut -d' ' -f1 "$list" | grep -qx "$target" ||
    { echo "There is no target $target; there are: $(cut -d' ' -f1 "$list" | paste -sd' ')" >&2; exit 2; }
done
cmake --build --preset fuzz --target fuzz_targets

# Runs one target, whose row is given.
fuzz() {
  local target=$1 longest=$2
  shift 2
  local found=build/fuzz/found/$target findings=build/fuzz/findings/$target log=build/fuzz/found/$target.log
  mkdir -p "$found" "$findings"
  local program=build/fuzz/bin/fuzz_$target status=0
  "$program" -max_total_time=$((60 * minutes)) -max_len="$longest" -entropic=0 -reload=0 -print_final_stats=1 \
    -artifact_prefix="$findings/" "$found" "$@" >"$log" 2>&1 || status=$?
  # The smallest inputs that reach what all of them reach.
  local merged=$found.merged
  rm -rf "$merged"
  mkdir "$merged"
  if "$program" -merge=1 -max_len="$longest" "$merged" "$found" "$@" >/dev/null 2>&1; then
    rm -rf "$found"
    mv "$merged" "$found"
  else
    rm -rf "$merged"
  fi
  for input in "$findings"/crash-* "$findings"/oom-* "$findings"/timeout-*; do
    [[ -e $input && $input != *.small && ! -e $input.small ]] || continue
    "$program" -minimize_crash=1 -max_total_time=60 -exact_artifact_path="$input.small" "$input" >/dev/null 2>&1 || true
  done
  local inputs edges all
  inputs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  edges=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | cut -d' ' -f2)
  all=$(grep -o '([0-9]* inline 8-bit counters' "$log" | tr -dc '0-9\n' | awk '{ sum += $1 } END { print sum }')
  printf '%-12s %10s inputs, %6s of %6s edges%s\n' "$target" "${inputs:-?}" "${edges:-?}" "${all:-?}" \
    "$([ "$status" -eq 0 ] || echo ": SOMETHING FOUND, see $log and $findings")"
  return "$status"
}

export ASAN_SYMBOLIZER_PATH=/usr/bin/llvm-symbolizer-16
status=0
while read -r target longest seeds; do
  [[ $# -eq 0 || " $* " == *" $target "* ]] || continue
  while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do wait -n || status=1; done
  # shellcheck disable=SC2086  # several folders
  fuzz "$target" "$longest" $seeds &
done <"$list"
while [ -n "$(jobs -p)" ]; do wait -n || { [ $? -eq 127 ] && break || status=1; }; done
exit "$status"
