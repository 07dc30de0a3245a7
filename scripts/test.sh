#!/usr/bin/env bash
# Installs what is needed, builds, and runs every test: the fuzz target briefly, the concurrency tests under
# ThreadSanitizer, all tests in the everyday build, and all tests under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh

scripts/test-share.sh

jobs=$(nproc)
step() { printf '\n=== %s\n' "$*"; }

step "Fuzzing, briefly"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz_targets
ctest --preset fuzz

step "Concurrency tests under ThreadSanitizer"
cmake --preset tsan >/dev/null
cmake --build --preset tsan --target concurrency_tests
ctest --preset tsan

step "All tests"
cmake --preset dev >/dev/null
cmake --build --preset dev
ctest --preset dev -j"$jobs" --label-exclude lab

step "Tests in laboratories of network namespaces"
ctest --preset dev -j"$jobs" --label-regex lab

step "All tests under AddressSanitizer and UndefinedBehaviorSanitizer"
cmake --preset asan-ubsan >/dev/null
cmake --build --preset asan-ubsan
ctest --preset asan-ubsan -j"$jobs"
