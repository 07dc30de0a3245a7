#!/usr/bin/env bash
# Installs what is needed, builds the program, and runs a live zapping test whose head end and living rooms are two agents, each on
# a machine of its own (a network namespace), over a NATS server. Works without root where user namespaces are allowed; exit status
# 3 where no laboratory can be made.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target product

export PATH="$PWD/build/release/bin:$PATH"
example=examples/live-zapping-agents.yaml
database=build/demo-agents.db
rm -f "$database"*
sed -n 's/^# //p' "$example" | sed '/Verdict/q'
# shellcheck disable=SC2016  # the inner shell expands
scripts/lab-agents.sh run -- sh -ec '
  show() { printf "\n$ %s\n" "$*"; "$@"; }
  show iptvtest agents
  show iptvtest run "$1" --db "$2"
  show iptvtest results "$2" "Port Result"' _ "$example" "$database"
