#!/usr/bin/env bash
# Builds the optimised programs and prints the figures of bench/figures.yaml: name, value, unit, target, verdict.
# Usage: scripts/bench.sh [NAME...]   (all figures without a name)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
cmake --preset release >/dev/null
cmake --build --preset release
exec /usr/bin/python3 bench/report.py --programs build/release/bin "$@"
