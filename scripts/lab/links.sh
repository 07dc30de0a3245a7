# shellcheck shell=bash
# The two namespaces, the links between them, and the relay.
# shellcheck disable=SC2154  # the values come from common.sh, options.sh and lab.sh

make_namespaces() {
  needs_program ip
  needs_program nft
  local namespace
  for namespace in "$tester" "$dut"; do
    needs "network namespaces cannot be made" ip netns add "$namespace"
    # The kernel says nothing of its own on the laboratory's links.
    in_namespace_set "$namespace" net/ipv6/conf/all/disable_ipv6 1
    in_namespace_set "$namespace" net/ipv6/conf/default/disable_ipv6 1
    ip -n "$namespace" link set lo up
  done
}

# in_namespace_set NAMESPACE PATH VALUE: a kernel setting, where the kernel has it.
in_namespace_set() {
  # shellcheck disable=SC2016  # the inner shell expands
  ip netns exec "$1" sh -c '[ ! -e "/proc/sys/$1" ] || echo "$2" >"/proc/sys/$1"' _ "$2" "$3"
}

relay_wanted() { [ "$delay_ms" -gt 0 ] || [ -n "$outer_tag" ]; }

# The device's ends are called head and home, whether a relay lies behind home or not.
make_links() {
  needs "the kernel has no veth links" ip -n "$tester" link add head0 type veth peer name head netns "$dut"
  if relay_wanted; then
    ip -n "$tester" link add home0 type veth peer name home-line netns "$dut"
    ip -n "$dut" link add home type veth peer name home-device
  else
    ip -n "$tester" link add home0 type veth peer name home netns "$dut"
  fi
  local port
  for port in head0 home0; do ip -n "$tester" link set "$port" up; done
  for port in head home; do ip -n "$dut" link set "$port" up; done
  ! relay_wanted || start_relay
}

start_relay() {
  relay_program=$(find_program lab_relay "$relay_program")
  ip -n "$dut" link set home-device up
  ip -n "$dut" link set home-line up
  # An outer tag comes on top of a full frame with an inner one.
  ip -n "$tester" link set home0 mtu 1508
  ip -n "$dut" link set home-line mtu 1508
  local options=(--delay-ms "$delay_ms" --reorder "$reorder_percent")
  [ -z "$outer_tag" ] || options+=(--pop-outer-tag "$outer_tag")
  local ready=$lab_state/relay.ready
  setsid ip netns exec "$dut" "$relay_program" "${options[@]}" home-device home-line \
    >"$ready" 2>"$lab_state/relay.log" </dev/null &
  echo $! >"$lab_state/lab_relay.pid"
  wait_until "the relay did not start" test -s "$ready"
}

# Loses UDP packets that the device forwards to home. The counters tell how many of how many.
lose_on_the_way() {
  local family=bridge lose="counter numgen random mod 100000 < $loss_parts counter drop"
  [ "$loss_parts" -lt 100000 ] || lose="counter counter drop" # no random number is that small
  [ -z "$router_igmp_version" ] || family=ip
  needs "the kernel's packet filter cannot lose packets at random" in_dut nft "
    table $family laboratory {
      chain loss {
        type filter hook forward priority 0
        oifname home ip protocol udp $lose
        $([ $family = ip ] || echo "oifname home ip6 nexthdr udp $lose")
      }
    }"
}
