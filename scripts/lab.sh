#!/usr/bin/env bash
# Builds a laboratory out of network namespaces: a tester, and a device under test between the tester's two ports.
# `lab.sh help` lists commands and options; scripts/lab/README.md draws the picture.
set -euo pipefail
lab_folder=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/lab/common.sh
source "$lab_folder/lab/common.sh"
# shellcheck source=scripts/lab/options.sh
source "$lab_folder/lab/options.sh"
# shellcheck source=scripts/lab/links.sh
source "$lab_folder/lab/links.sh"
# shellcheck source=scripts/lab/bridge.sh
source "$lab_folder/lab/bridge.sh"
# shellcheck source=scripts/lab/router.sh
source "$lab_folder/lab/router.sh"
# shellcheck source=scripts/lab/fcc_server.sh
source "$lab_folder/lab/fcc_server.sh"
# shellcheck source=scripts/lab/private.sh
source "$lab_folder/lab/private.sh"

usage() {
  cat <<END
Usage: scripts/lab.sh COMMAND

  up [OPTIONS]                  builds the laboratory; returns when it no longer floods unknown groups
  down [--name NAME]            takes it down, or what is left of it
  status [--name NAME]          says whether it is up, and shows the device's groups; exit status 1 when it is down
  exec [--name NAME] COMMAND... runs COMMAND on the tester's side
  run [OPTIONS] -- COMMAND...   up, exec, down in a private view of the machine; works as an ordinary user
  enter -- COMMAND...           the private view alone, in which COMMAND can use all of these commands

The tester's ports are head0 (streams come from here) and home0 (set-top boxes live here). COMMAND finds the names of the
namespaces in ORV_LAB_TESTER and ORV_LAB_DUT: ip netns exec "\$ORV_LAB_DUT" bridge mdb

Options, each also as --option=value:
$(lab_option_help)

Exit status: that of COMMAND; 1 something failed; 2 a wrong command line; 3 no laboratory can be made on this machine.
END
}

build() {
  if [ "$EUID" -ne 0 ]; then
    fail "Only root can build a laboratory that stays. As an ordinary user: scripts/lab.sh run OPTIONS -- COMMAND"
  fi
  if [ -e "/run/netns/$tester" ] || [ -e "/run/netns/$dut" ]; then
    fail "Laboratory '$lab_name' is there already: scripts/lab.sh down --name $lab_name"
  fi
  trap 'take_down' EXIT
  trap 'exit 130' INT
  trap 'exit 143' TERM
  rm -rf "$lab_state"
  mkdir -m 700 "$lab_state"
  make_namespaces
  make_links
  if [ -n "$router_igmp_version" ]; then
    make_router
  else
    make_bridge
  fi
  [ "$loss_parts" -eq 0 ] || lose_on_the_way
  [ -z "$server_wanted" ] || start_server
  trap - EXIT INT TERM
}

take_down() {
  stop_processes
  keep_server_report
  local namespace
  for namespace in "$tester" "$dut"; do
    [ ! -e "/run/netns/$namespace" ] || ip netns delete "$namespace" || rm -f "/run/netns/$namespace"
  done
  rm -rf "$lab_state"
}

show_status() {
  if ! is_up; then
    echo "Laboratory '$lab_name' is down."
    return 1
  fi
  echo "Laboratory '$lab_name' is up: namespaces $tester and $dut."
  if [ -e "$lab_state/pimd.pid" ]; then
    ask_router "show ip igmp sources" || true
    ip -n "$dut" mroute show
  else
    in_dut bridge mdb show
  fi
  in_dut nft list ruleset
  show_server
}

on_tester() {
  is_up || fail "There is no laboratory '$lab_name': scripts/lab.sh up --name $lab_name"
  export ORV_LAB_TESTER=$tester ORV_LAB_DUT=$dut
  ip netns exec "$tester" "$@"
}

# Signals that COMMAND gets too, as from Ctrl-C, end COMMAND; then the laboratory goes.
up_exec_down() {
  build
  trap 'take_down' EXIT
  trap : INT TERM
  local status=0
  on_tester "$@" || status=$?
  exit "$status"
}

main() {
  local command=${1:-help}
  [ $# -eq 0 ] || shift
  case $command in
    up) parse_options "$@"; no_arguments; build ;;
    down) parse_options "$@"; no_arguments; take_down ;;
    status) parse_options "$@"; no_arguments; show_status ;;
    exec) parse_options "$@"; some_arguments; on_tester "${lab_arguments[@]}" ;;
    run) parse_options "$@"; some_arguments; enter_private_view "$lab_script" run-inside "$@" ;;
    run-inside) parse_options "$@"; up_exec_down "${lab_arguments[@]}" ;;
    enter) parse_options "$@"; some_arguments; enter_private_view "${lab_arguments[@]}" ;;
    enter-inside) in_private_view "$@" ;;
    help | --help | -h) usage ;;
    *) wrong "There is no command '$command'." ;;
  esac
}

lab_script=$lab_folder/$(basename "${BASH_SOURCE[0]}")
main "$@"
