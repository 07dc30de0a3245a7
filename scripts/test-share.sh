#!/usr/bin/env bash
# Prints how much of the code plus tests are tests, in lines that are neither blank nor a comment. At most a third is
# wanted: see CONTRIBUTING.md.
set -euo pipefail
cd "$(dirname "$0")/.."

# count COMMENT PATTERN...: lines of the files that match, tracked or new.
count() {
  local comment=$1
  shift
  { git ls-files -z --cached --others --exclude-standard -- "$@" | xargs -0 -r cat; } | grep -cvE "^[[:space:]]*($comment.*)?\$" || true
}

code=$(count // {app,bus,host,il,iptv}/'*.cpp' {app,bus,host,il,iptv}/'*.h')
tests=$(($(count // 'tests/*.cpp' 'tests/*.h') + $(count '#' 'tests/*.py')))
permille=$((1000 * tests / (code + tests)))
printf 'Tests: %d of %d lines, %d.%d %% (at most 33 %% is wanted)\n' "$tests" $((code + tests)) $((permille / 10)) $((permille % 10))
