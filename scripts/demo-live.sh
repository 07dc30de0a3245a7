#!/usr/bin/env bash
# Installs what is needed, builds the programs, and runs each live example in a laboratory of network namespaces with a bridge as
# the device under test: with a server for bursts and retransmissions on it, and with loss, where the example needs them. Shows
# what each found, and takes the laboratory down. Works without root where user namespaces are allowed; exit status 3 where no
# laboratory can be made.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target iptvtest iptv lab_server

export PATH="$PWD/build/release/bin:$PATH" ORV_LAB_SERVER="$PWD/build/release/bin/lab_server"
show() { printf '\n$ %s\n' "$(printf '%q ' "$@")"; "$@"; }

# demonstrate EXAMPLE VIEW LAB_OPTIONS...
demonstrate() {
  local example=examples/$1.yaml database=build/demo-$1.db view=$2
  shift 2
  rm -f "$database"*
  printf '\n'
  sed -n 's/^# //p' "$example" | sed '/Verdict/q'
  show scripts/lab.sh run "$@" -- iptvtest run "$example" --db "$database"
  show iptvtest results "$database" "$view"
}

demonstrate live-zapping "Port Result"
demonstrate live-fast-channel-change "Channel Result" --fcc-server "--burst-rate 1.5"
demonstrate live-retransmission "IPV4 STB Result" --fcc-server "" --loss 0.5
demonstrate live-both "Channel Result" --fcc-server "--burst-rate 1.5" --loss 0.5
