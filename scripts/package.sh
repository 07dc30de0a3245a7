#!/usr/bin/env bash
# Installs what is needed, builds the program, and makes a Debian package of it: build/release/iptvtest_*.deb.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release --target product
cd build/release
cpack
