#!/usr/bin/env bash
# tarn-supervisor over stand-in programs: the agent starts at once with its
# socket, leaves when idle and waits for a bus command; crashes (and a status
# 0 too soon for an idle leave) restart with growing delays; on SIGTERM a
# router ignoring it is killed after the grace.
#   supervisor_test.sh SUPERVISOR STANDIN TARNCTL
set -u
supervisor=$(realpath "$1") standin=$(realpath "$2") tarnctl=$(realpath "$3")
dir=$(mktemp -d /tmp/supervisor-test-XXXXXX)
root=$dir/root log=$dir/log starts=$dir/root/tarn/starts
mkdir "$dir/bin"; for p in snmpd routerd; do ln -s "$standin" "$dir/bin/tarn-$p"; done
export TARN_ROOT=$root
unset TARN_SERVICE_ID LISTEN_PID LISTEN_FDS
"$supervisor" --root "$root" --bin "$dir/bin" --grace 1 --host -- --ignore-term 2>"$log" & sup=$!
cleanup() {
  kill -KILL "$sup" 2>/dev/null
  for p in $(awk '{print $2}' "$starts" 2>/dev/null); do kill -KILL "$p" 2>/dev/null; done
  rm -rf "$dir"
}
trap cleanup EXIT
fail=0
bad() { echo "FAIL: $*"; fail=1; }
# wait_log TEXT: waits (10 s at most) for a log line holding TEXT.
wait_log() { for _ in $(seq 200); do grep -qF -- "$1" "$log" && return; sleep 0.05; done
  bad "no '$1'"; }
last_pid() { awk -v k="$1" '$1 == k { p = $2 } END { print p }' "$starts" 2>/dev/null; }
# restarted PID: waits (10 s at most) for an agent started after PID, unasked.
restarted() { for _ in $(seq 200); do [ "$(last_pid agent)" != "$1" ] && return; sleep 0.05; done
  bad "agent $1 not restarted"; }
# ask COMMAND [TIMEOUT_MS]: the pid of the agent that answered, empty if none.
ask() {
  "$tarnctl" --json --timeout "${2:-10000}" send 161 "$1" 2>/dev/null |
    sed -n 's/.*"id":1,"value":\([0-9]*\).*/\1/p'
}

echo "== start: router with its options, agent at once, idle leave, no start without a connection"
wait_log "left by itself; the next connection starts it again"
first=$(last_pid agent)
grep -q "^router [0-9]* --host --ignore-term$" "$starts" || bad "router args: $(cat "$starts")"
sleep 1.5
[ "$(grep -c "^agent $first activated$" "$starts")/$(grep -c ^agent "$starts")" = 1/1 ] ||
  bad "agent not started once with its socket: $(cat "$starts")"

echo "== a bus command starts the agent; crashes restart it after 0.1 s, 0.2 s, 0.4 s"
for delay in 0.1 0.2 0.4; do
  pid=$(ask 0x79)   # answered, and the agent stays up now to be ended
  if [ "$delay" = 0.1 ]; then
    grep -q "^agent $pid activated$" "$starts" || bad "on-demand agent: answered by '$pid'"
  fi
  if [ "$delay" = 0.4 ]; then ask 0x78 3000 >/dev/null; how="exited with status 3"
  else kill -KILL "$pid"; how="killed by signal 9 (Killed)"; fi
  wait_log "tarn-snmpd (pid $pid) $how; restarting in $delay s"
  restarted "$pid"
done
[ -n "$(ask get)" ] || bad "agent does not serve after exiting with status 3"

echo "== an agent ending at once with status 0 is restarted, not left waiting"
touch "$root/tarn/quit-at-start"
ask 0x78 1000 >/dev/null
wait_log "exited with status 0 before it could have been idle; restarting in"
rm "$root/tarn/quit-at-start"
[ -n "$(ask get)" ] || bad "agent does not serve after quitting at start"

echo "== SIGTERM: a router ignoring it is killed after the grace"
apid=$(ask 0x79) rpid=$(last_pid router)
kill -TERM "$sup"
wait "$sup" || bad "supervisor exit status $?"
for line in "tarn-snmpd (pid $apid) killed by signal 15 (Terminated)" \
            "tarn-routerd (pid $rpid) did not stop within 1 s; killing it" \
            "tarn-routerd (pid $rpid) killed by signal 9 (Killed)" "tarn-supervisor: stopped"; do
  grep -qF -- "$line" "$log" || bad "no '$line' in the log"
done
for p in $(awk '{print $2}' "$starts"); do kill -0 "$p" 2>/dev/null && bad "pid $p still runs"; done
[ "$fail" = 0 ] || { echo "--- supervisor log"; cat "$log"; echo "--- starts"; cat "$starts"; }
exit $fail
