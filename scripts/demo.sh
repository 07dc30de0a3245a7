#!/usr/bin/env bash
# Installs what is needed, builds the program, runs an example test with it, shows what it found, and searches the load at
# which a network breaks.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target product

export PATH="$PWD/build/release/bin:$PATH"
show() { printf '\n$ %s\n' "$(printf '%q ' "$@")"; "$@"; }

example=examples/zapping-ipv4.yaml
database=build/demo.db
sweep=build/demo-sweep.db
rm -f "$database"* "$sweep"*
printf '\n'
sed -n 's/^# //p' "$example" | sed '/Verdict/q'
show iptvtest run "$example" --db "$database" --report build/demo.html
show iptvtest results "$database"
show iptvtest results "$database" "Port Result"
show iptvtest run examples/sweep-search.yaml --db "$sweep" --report build/demo-sweep.html
printf '\nReports for a browser: build/demo.html, build/demo-sweep.html\n'
