#!/usr/bin/env bash
# Installs what is needed, builds, and shows what there is: loads the plug-in, lists its classes, and builds, encodes and
# decodes a message.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target orv_show iptv
exec build/release/bin/orv_show build/release/bin/plugins/iptv.so
