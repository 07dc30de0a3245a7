#!/usr/bin/env bash
# Builds a laboratory in which the two sides of a test are on machines of their own: the laboratory of scripts/lab.sh, whose ports
# head0 and home0 move to the agents "headend" and "lounge", a NATS server, and a controller's place, from which COMMAND runs.
#
#    namespace NAME-headend       agent headend:  head0 ---- head \
#      | 10.250.0.2                                               br0   NAME-dut, the device under test
#      |                          NAME-lounge                    /
#      |                          agent lounge:   home0 ---- home
#      |                            | 10.250.0.3
#      |  headend-line    lounge-line
#     NAME-tester: server and controller, 10.250.0.1
set -euo pipefail
scripts=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/lab/common.sh
source "$scripts/lab/common.sh"

usage() {
  cat <<END
Usage: scripts/lab-agents.sh run [OPTIONS OF lab.sh] -- COMMAND

COMMAND finds the server's address in IPTVTEST_SERVER, and runs tests with ports at agent://headend/head0 and
agent://lounge/home0. It cuts an agent off with: ip link set lounge-line down. The files of server and agents are in
\$ORV_AGENTS: NAME.log, NAME.pid (server, headend, lounge).

Exit status: that of COMMAND; else as scripts/lab.sh.
END
}

# start NAME NAMESPACE COMMAND...: in the background, with a log and its process id.
start() {
  local name=$1 namespace=$2
  shift 2
  setsid ip netns exec "$namespace" "$@" >"$ORV_AGENTS/$name.log" 2>&1 </dev/null &
  echo $! >"$ORV_AGENTS/$name.pid"
}

# make_agent NAME PORT ADDRESS: a namespace with the port, a line to the server, and the agent.
make_agent() {
  local name=$1 port=$2 address=$3 namespace=${ORV_LAB_TESTER%-tester}-$1
  namespaces+=("$namespace")
  ip netns add "$namespace"
  # The kernel says nothing of its own on the laboratory's links.
  # shellcheck disable=SC2016  # the inner shell expands
  ip netns exec "$namespace" sh -c 'for f in all default; do
    [ ! -e /proc/sys/net/ipv6/conf/$f ] || echo 1 >/proc/sys/net/ipv6/conf/$f/disable_ipv6; done'
  ip link set "$port" netns "$namespace"
  ip link add "$name-line" type veth peer name control netns "$namespace"
  ip link set "$name-line" master management up
  ip -n "$namespace" address add "$address/24" dev control
  ip -n "$namespace" link set control up
  ip -n "$namespace" link set lo up
  ip -n "$namespace" link set "$port" up
  start "$name" "$namespace" iptvtest agent --name "$name" --interface "$port"
}

is_listed() { iptvtest agents 2>/dev/null | grep -q "^$1 "; }

inside() {
  PATH=$PATH:/usr/sbin # where Debian puts the server
  ORV_AGENTS=$(mktemp -d)
  lab_state=$ORV_AGENTS # where the logs are that wait_until shows
  export ORV_AGENTS IPTVTEST_SERVER=nats://10.250.0.1:4222
  namespaces=()
  trap 'take_down' EXIT
  trap : INT TERM
  ip link add management type bridge
  ip address add 10.250.0.1/24 dev management
  ip link set management up
  cat >"$ORV_AGENTS/server.conf" <<END
listen: "10.250.0.1:4222"
jetstream { store_dir: "$ORV_AGENTS/store", max_memory_store: 1G }
END
  start server "$ORV_LAB_TESTER" nats-server --config "$ORV_AGENTS/server.conf"
  make_agent headend head0 10.250.0.2
  make_agent lounge home0 10.250.0.3
  wait_until "agent headend is not there" is_listed headend
  wait_until "agent lounge is not there" is_listed lounge
  local status=0
  "$@" || status=$?
  exit "$status"
}

take_down() {
  local file namespace
  for file in lounge headend server; do
    [ ! -e "$ORV_AGENTS/$file.pid" ] || kill "$(<"$ORV_AGENTS/$file.pid")" 2>/dev/null || true
  done
  wait
  for namespace in "${namespaces[@]}"; do ip netns delete "$namespace"; done
  rm -rf "$ORV_AGENTS"
}

case ${1:-help} in
  run)
    shift
    options=()
    while [ $# -gt 0 ] && [ "$1" != -- ]; do options+=("$1"); shift; done
    [ $# -gt 1 ] || { usage >&2; exit 2; }
    shift
    exec "$scripts/lab.sh" run ${options[@]+"${options[@]}"} -- "${BASH_SOURCE[0]}" inside "$@"
    ;;
  inside) shift; inside "$@" ;;
  help | --help | -h) usage ;;
  *) usage >&2; exit 2 ;;
esac
