# shellcheck shell=bash
# Command line of a laboratory.
# shellcheck disable=SC2034  # other files use the values

lab_option_help() {
  cat <<'END'
  --name NAME                 prefix of everything the laboratory makes [orv, or ORV_LAB_NAME]
  --igmp-version 2|3          of the device's querier [3]
  --mld-version 1|2           of the device's querier [2]
  --router igmpv2|igmpv3      a multicast router in place of the bridge, IPv4 without VLAN tags; the interval below is then
                              a multiple of 100; source-specific groups are those of 232.0.0.0/8
  --last-member-interval MS   between queries after a leave, a multiple of 10 [1000]
  --last-member-count N       so many queries after a leave before the stream stops [2]
  --fast-leave                the stream stops at once after a leave
  --delay MS                  every frame reaches home0 so much later; the other direction is not delayed [0]
  --reorder PERCENT           so many frames towards home0 overtake the frame before; needs a delay [0]
  --loss PERCENT              of the UDP packets towards home0, at random, up to three decimals [0]
  --pop-outer-tag ID          home0 is a line whose frames carry an outer VLAN tag, which the device does not see
  --relay FILE                the program lab_relay, for --delay and --pop-outer-tag [ORV_LAB_RELAY, or the newest in build]
  --fcc-server "OPTIONS"      a server for rapid acquisition and retransmission on the bridge, with these options (lab_server
                              --help lists them; there may be none): 10.0.255.1 and 2001:db8::255:1, port 5006
  --fcc-server-report FILE    gets the server's counts when the laboratory is taken down, a line of JSON
  --fcc-server-log FILE       gets a line of JSON per request
  --fcc-server-program FILE   the program lab_server [ORV_LAB_SERVER, or the newest in build]
END
}

set_defaults() {
  set_names "${ORV_LAB_NAME:-orv}"
  igmp_version=3
  mld_version=2
  router_igmp_version=
  last_member_interval_ms=1000
  last_member_count=2
  fast_leave=off
  delay_ms=0
  reorder_percent=0
  loss_parts=0 # of 100,000
  outer_tag=
  relay_program=${ORV_LAB_RELAY:-}
  server_wanted=
  server_options=()
  server_report=
  server_log=
  server_program=${ORV_LAB_SERVER:-}
}

# Leaves what follows the options in lab_arguments.
parse_options() {
  set_defaults
  while [ $# -gt 0 ]; do
    case $1 in
      --) shift; break ;;
      --fast-leave) fast_leave=on; shift ;;
      --*=*) set_option "${1%%=*}" "${1#*=}"; shift ;;
      --*) [ $# -ge 2 ] || wrong "Option $1 needs a value."; set_option "$1" "$2"; shift 2 ;;
      *) break ;;
    esac
  done
  lab_arguments=("$@")
  check_together
}

check_together() {
  [ "$reorder_percent" -eq 0 ] || [ "$delay_ms" -gt 0 ] ||
    wrong "--reorder needs --delay: only frames that wait can be overtaken."
  [ -n "$server_wanted" ] || [ -z "$server_report$server_log" ] || wrong "A report or log of which server? --fcc-server"
  [ -n "$router_igmp_version" ] || return 0
  [ -z "$server_wanted" ] || wrong "--fcc-server is on the bridge, not on --router."
  [ "$fast_leave" = off ] || wrong "--fast-leave is for the bridge, not for --router."
  [ $((last_member_interval_ms % 100)) -eq 0 ] || wrong "--last-member-interval: a router's is a multiple of 100."
}

set_option() {
  local option=$1 value=$2
  case $option in
    --name) check_name "$value"; set_names "$value" ;;
    --igmp-version) check_range "$option" "$value" 2 3; igmp_version=$value ;;
    --mld-version) check_range "$option" "$value" 1 2; mld_version=$value ;;
    --last-member-interval) check_range "$option" "$value" 10 25000; last_member_interval_ms=$value
      [ $((value % 10)) -eq 0 ] || wrong "--last-member-interval $value: not a multiple of 10." ;;
    --last-member-count) check_range "$option" "$value" 1 255; last_member_count=$value ;;
    --router) case $value in
        igmpv2 | igmpv3) router_igmp_version=${value#igmpv} ;;
        *) wrong "--router $value: neither igmpv2 nor igmpv3." ;;
      esac ;;
    --delay) check_range "$option" "$value" 0 10000; delay_ms=$value ;;
    --reorder) check_range "$option" "$value" 0 100; reorder_percent=$value ;;
    --loss) set_loss "$value" ;;
    --pop-outer-tag) check_range "$option" "$value" 1 4094; outer_tag=$value ;;
    --fcc-server) server_wanted=yes; read -ra server_options <<<"$value" ;;
    --fcc-server-report) server_report=$(absolute "$value") ;;
    --fcc-server-log) server_log=$(absolute "$value") ;;
    --fcc-server-program) [ -x "$value" ] || wrong "--fcc-server-program $value: no such program."; server_program=$value ;;
    --relay) [ -x "$value" ] || wrong "--relay $value: no such program."; relay_program=$value ;;
    *) wrong "There is no option $option." ;;
  esac
}

check_name() { [[ $1 =~ ^[a-z][a-z0-9_-]{0,30}$ ]] || wrong "--name $1: small letters, digits, - and _ make a name."; }

check_range() {
  if ! [[ $2 =~ ^(0|[1-9][0-9]{0,5})$ ]] || [ "$2" -lt "$3" ] || [ "$2" -gt "$4" ]; then
    wrong "$1 $2: not from $3 to $4."
  fi
}

# Also when the server and `down` run elsewhere.
absolute() {
  case $1 in
    /*) echo "$1" ;;
    *) echo "$PWD/$1" ;;
  esac
}

set_loss() {
  [[ $1 =~ ^([0-9]{1,3})(\.([0-9]{1,3}))?$ ]] || wrong "--loss $1: not a percentage."
  local decimals=${BASH_REMATCH[3]}000
  loss_parts=$((10#${BASH_REMATCH[1]} * 1000 + 10#${decimals:0:3}))
  [ "$loss_parts" -le 100000 ] || wrong "--loss $1: more than 100."
}

no_arguments() { [ "${#lab_arguments[@]}" -eq 0 ] || wrong "'${lab_arguments[0]}' is one word too many."; }
some_arguments() { [ "${#lab_arguments[@]}" -gt 0 ] || wrong "Which command?"; }
