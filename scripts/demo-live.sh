#!/usr/bin/env bash
# Installs what is needed, builds the program, makes a laboratory of network namespaces with a bridge as the device under
# test, runs the live example in it, shows what it found, and takes the laboratory down. Works without root where user
# namespaces are allowed; exit status 3 where no laboratory can be made.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target iptvtest iptv

export PATH="$PWD/build/release/bin:$PATH"
show() { printf '\n$ %s\n' "$(printf '%q ' "$@")"; "$@"; }

example=examples/live-zapping.yaml
database=build/demo-live.db
rm -f "$database"*
printf '\n'
sed -n 's/^# //p' "$example" | sed '/Verdict/q'
show scripts/lab.sh run -- iptvtest run "$example" --db "$database"
show iptvtest results "$database"
show iptvtest results "$database" "Port Result"
