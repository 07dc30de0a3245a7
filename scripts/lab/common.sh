# shellcheck shell=bash
# Names, messages and processes of a laboratory.

fail() { echo "lab.sh: $*" >&2; exit 1; }
wrong() { echo "lab.sh: $* See: scripts/lab.sh help" >&2; exit 2; }
impossible() { echo "lab.sh: no laboratory on this machine: $*" >&2; exit 3; }

# needs "what is missing" command...: runs the command; when it fails, this machine cannot have a laboratory.
needs() {
  local missing=$1 said
  shift
  said=$("$@" 2>&1) || impossible "$missing ($*: ${said:-exit status $?})"
}

needs_program() {
  command -v "$1" >/dev/null || impossible "the program '$1' is not installed (scripts/install-packages.sh installs it)"
}

# find_program NAME FILE: the file; if there is none, of several builds, the newest.
find_program() {
  local file=$2
  # shellcheck disable=SC2012,SC2154  # names of build folders are ours; lab.sh knows its folder
  [ -n "$file" ] || file=$(ls -t "$lab_folder"/../build/*/bin/"$1" 2>/dev/null | head -1)
  [ -x "$file" ] || fail "there is no $1: cmake --build --preset dev --target $1"
  echo "$file"
}

set_names() {
  lab_name=$1
  tester=$lab_name-tester
  dut=$lab_name-dut
  lab_state=${XDG_RUNTIME_DIR:-/tmp}/$lab_name-lab
}

is_up() { [ -e "/run/netns/$tester" ] && [ -e "/run/netns/$dut" ]; }

in_dut() { ip netns exec "$dut" "$@"; }

# Ends the process with its id in the file NAME.pid, if the kernel calls it NAME: an id may have been
# reused since.
stop_processes() {
  local file pid
  for file in "$lab_state"/*.pid; do
    [ -e "$file" ] || continue
    pid=$(<"$file")
    [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = "$(basename "$file" .pid)" ] || continue
    kill "$pid" 2>/dev/null || true
    wait_for_end "$pid" || kill -KILL "$pid" 2>/dev/null || true
  done
}

# wait_until "what else" command...: until the command succeeds; after ten seconds, fails and shows the logs.
wait_until() {
  local what=$1 _
  shift
  for _ in {1..200}; do
    ! "$@" || return 0
    sleep 0.05
  done
  fail "$what: $(cat "$lab_state"/*.log 2>/dev/null)"
}

wait_for_end() {
  local _
  for _ in {1..100}; do
    kill -0 "$1" 2>/dev/null || return 0
    sleep 0.02
  done
  return 1
}
