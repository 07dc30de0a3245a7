#!/usr/bin/env bash
# Installs what is needed, builds the program, runs an example test with it, and shows what it found.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target product

export PATH="$PWD/build/release/bin:$PATH"
show() { printf '\n$ %s\n' "$(printf '%q ' "$@")"; "$@"; }

example=examples/zapping-ipv4.yaml
database=build/demo.db
rm -f "$database"*
printf '\n'
sed -n 's/^# //p' "$example" | sed '/Verdict/q'
show iptvtest run "$example" --db "$database"
show iptvtest results "$database"
show iptvtest results "$database" "Port Result"
