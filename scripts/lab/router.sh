# shellcheck shell=bash
# shellcheck disable=SC2154  # the values come from common.sh, options.sh and lab.sh
# The device under test: a multicast router, FRR, with the links as its interfaces.

frr_folder=/usr/lib/frr

make_router() {
  needs "the router FRR is not installed (scripts/install-packages.sh installs it)" test -x "$frr_folder/pimd"
  ip -n "$dut" address add 10.255.0.1/16 dev head
  ip -n "$dut" address add 10.0.0.1/16 dev home
  in_namespace_set "$dut" net/ipv4/ip_forward 1
  # As a host, of its own groups, the device would speak version 3.
  in_namespace_set "$dut" net/ipv4/conf/all/force_igmp_version "$router_igmp_version"
  write_router_files
  start_daemon zebra
  wait_until "the router's zebra did not start" test -S "$lab_state/zserv.api"
  start_daemon pimd
  wait_until "the router did not become the querier" router_is_querier
}

# The daemons insist on a group of their own, which a user namespace does not have: in theirs it is root's.
write_router_files() {
  sed 's/^frrvty:.*/frrvty:x:0:root/' /etc/group >"$lab_state/group"
  : >"$lab_state/zebra.conf"
  : >"$lab_state/vtysh.conf"
  cat >"$lab_state/pimd.conf" <<END
ip pim rp 10.255.0.1 224.0.0.0/4
interface head
 ip pim
!
interface home
 ip pim
 ip igmp
 ip igmp version $router_igmp_version
 ip igmp last-member-query-interval $((last_member_interval_ms / 100))
 ip igmp last-member-query-count $last_member_count
!
END
}

# Whatever the daemons write outside their folder goes with the mounts, which are theirs alone.
start_daemon() {
  # shellcheck disable=SC2016  # the inner shell expands
  local with_mounts='mount -t tmpfs tmpfs /var/tmp && mount --bind "$1" /etc/group && shift && exec "$@"'
  setsid ip netns exec "$dut" sh -c "$with_mounts" _ "$lab_state/group" "$frr_folder/$1" -u root -g root -P 0 \
    -f "$lab_state/$1.conf" -i "$lab_state/$1.pid" -z "$lab_state/zserv.api" --vty_socket "$lab_state" \
    --log stdout >"$lab_state/$1.log" 2>&1 </dev/null &
  echo $! >"$lab_state/$1.pid"
}

ask_router() { in_dut vtysh --vty_socket "$lab_state" --config_dir "$lab_state" -c "$1" 2>/dev/null; }

router_is_querier() { ask_router "show ip igmp interface" | grep -Eq '^home +up +10\.0\.0\.1 .* local '; }
