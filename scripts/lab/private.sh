# shellcheck shell=bash
# A private view of the machine: laboratories in it cannot meet others, and go with it whatever happens.
# shellcheck disable=SC2154  # the values come from common.sh, options.sh and lab.sh

# Processes get a namespace of their own where /proc can be mounted for it, so that none outlives the view.
enter_private_view() {
  needs_program unshare
  local view=(unshare --mount --fork --kill-child)
  # Root in a container need not have the right to do that.
  if [ "$EUID" -ne 0 ] || ! "${view[@]}" true 2>/dev/null; then
    view+=(--user --map-root-user --net)
  fi
  local processes=(--pid --mount-proc)
  "${view[@]}" "${processes[@]}" true 2>/dev/null || processes=()
  needs "neither root's rights nor user namespaces" "${view[@]}" "${processes[@]}" true
  exec "${view[@]}" "${processes[@]}" -- "$lab_script" enter-inside "$@"
}

# This shell stays, to collect the processes whose parents have ended.
in_private_view() {
  needs "a file system for the names of namespaces cannot be mounted" mount -t tmpfs -o mode=755 tmpfs /run
  export XDG_RUNTIME_DIR=/run/lab
  mkdir -m 700 "$XDG_RUNTIME_DIR"
  trap : INT TERM
  local status=0
  "$@" || status=$?
  exit "$status"
}
