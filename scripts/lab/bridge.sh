# shellcheck shell=bash
# The device under test: a bridge that snoops IGMP and MLD and is the querier.
# shellcheck disable=SC2154  # the values come from common.sh, options.sh and lab.sh

make_bridge() {
  needs_program bridge
  needs "the kernel has no bridge" ip -n "$dut" link add br0 type bridge
  needs "the kernel's bridge has no multicast snooping" ip -n "$dut" link set br0 type bridge mcast_snooping 1
  ip -n "$dut" link set br0 type bridge \
    mcast_igmp_version "$igmp_version" mcast_mld_version "$mld_version" \
    mcast_last_member_interval $((last_member_interval_ms / 10)) mcast_last_member_count "$last_member_count"
  give_link_local_address
  local port
  for port in head home; do
    ip -n "$dut" link set "$port" master br0
    in_dut bridge link set dev "$port" fastleave "$fast_leave"
  done
  ip -n "$dut" link set br0 up
  start_querier
}

# MLD queries come from a link-local address; one that has not been checked for duplicates can be used at once.
give_link_local_address() {
  ip -n "$dut" link set br0 addrgenmode none
  in_namespace_set "$dut" net/ipv6/conf/br0/disable_ipv6 0
  needs "the kernel has no IPv6" ip -n "$dut" address add fe80::1/64 dev br0 nodad
}

# A bridge floods unknown groups until the hosts have had their time to answer its first query: ten seconds, unless the
# response interval is shorter when the querier starts.
start_querier() {
  ip -n "$dut" link set br0 type bridge mcast_query_response_interval 100
  ip -n "$dut" link set br0 type bridge mcast_querier 1
  sleep 1.2
}
