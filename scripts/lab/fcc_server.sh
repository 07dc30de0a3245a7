# shellcheck shell=bash
# The server for rapid acquisition and retransmission, a host on the bridge.
# shellcheck disable=SC2154  # the values come from common.sh, options.sh and lab.sh

# Its counts go to the file fcc_server.json, and what it has to complain about to fcc_server.log.
start_server() {
  server_program=$(find_program lab_server "$server_program")
  [ -n "$server_log" ] || server_log=$lab_state/fcc_server.requests
  if [ -n "$server_report" ]; then
    (: >"$server_report") 2>/dev/null || fail "--fcc-server-report $server_report cannot be written"
    echo "$server_report" >"$lab_state/fcc_server.report"
  fi
  echo "$server_log" >"$lab_state/fcc_server.requests_file"
  setsid ip netns exec "$dut" "$server_program" "${server_options[@]}" --log "$server_log" br0 \
    >"$lab_state/fcc_server.json" 2>"$lab_state/fcc_server.log" </dev/null &
  echo $! >"$lab_state/lab_server.pid"
  wait_until "the server did not start" server_is_ready
}

server_is_ready() {
  ! grep -qs '^Serving' "$lab_state/fcc_server.log" || return 0
  kill -0 "$(<"$lab_state/lab_server.pid")" 2>/dev/null ||
    fail "the server did not start: $(head -1 "$lab_state/fcc_server.log")"
  return 1
}

# After the end of the server, before that of its files.
keep_server_report() {
  [ -e "$lab_state/fcc_server.report" ] || return 0
  [ -s "$lab_state/fcc_server.json" ] || echo "lab.sh: the server has ended early: $(<"$lab_state/fcc_server.log")" >&2
  tail -n 1 "$lab_state/fcc_server.json" >"$(<"$lab_state/fcc_server.report")" || true
}

show_server() {
  [ -e "$lab_state/lab_server.pid" ] || return 0
  local lines
  lines=$(wc -l <"$lab_state/fcc_server.json")
  kill -USR1 "$(<"$lab_state/lab_server.pid")" 2>/dev/null || fail "the server has ended: $(<"$lab_state/fcc_server.log")"
  wait_until "the server does not answer" server_has_lines $((lines + 1))
  echo "The server's requests are in $(<"$lab_state/fcc_server.requests_file"), counts so far:"
  tail -n 1 "$lab_state/fcc_server.json"
}

server_has_lines() { [ "$(wc -l <"$lab_state/fcc_server.json")" -ge "$1" ]; }
