#!/usr/bin/env bash
# tarn-supervisor with stand-in programs over real processes and sockets:
# the agent starts at once and leaves when idle without being started again;
# a bus command to its socket starts it; crashes (and an agent ending with
# status 0 too soon to be an idle leave) are restarted with growing delays;
# SIGTERM stops everything (a router ignoring it is killed after the grace).
#   supervisor_test.sh SUPERVISOR STANDIN TARNCTL
set -u
supervisor=$(realpath "$1") standin=$(realpath "$2") tarnctl=$(realpath "$3")
dir=$(mktemp -d /tmp/supervisor-test-XXXXXX)
root=$dir/root log=$dir/log starts=$dir/root/tarn/starts
mkdir "$dir/bin"
ln -s "$standin" "$dir/bin/tarn-snmpd"
ln -s "$standin" "$dir/bin/tarn-routerd"
export TARN_ROOT=$root
unset TARN_SERVICE_ID LISTEN_PID LISTEN_FDS

"$supervisor" --root "$root" --bin "$dir/bin" --grace 1 --host -- --ignore-term 2>"$log" &
sup=$!
cleanup() {
  kill -KILL "$sup" 2>/dev/null
  for p in $(awk '{print $2}' "$starts" 2>/dev/null); do kill -KILL "$p" 2>/dev/null; done
  rm -rf "$dir"
}
trap cleanup EXIT

fail=0
bad() { echo "FAIL: $*"; fail=1; }
# wait_log TEXT: waits (10 s at most) for a log line holding TEXT.
wait_log() {
  for _ in $(seq 200); do grep -qF -- "$1" "$log" && return 0; sleep 0.05; done
  bad "no '$1' in the log"
}
starts_of() { awk -v k="$1" '$1 == k { n++ } END { print n + 0 }' "$starts" 2>/dev/null; }
last_pid() { awk -v k="$1" '$1 == k { p = $2 } END { print p }' "$starts" 2>/dev/null; }
# ask SERVICE COMMAND [TIMEOUT_MS]: the pid in the answer, empty if none.
ask() {
  "$tarnctl" --json --timeout "${3:-10000}" send "$1" "$2" 2>/dev/null |
    sed -n 's/.*"id":1,"value":\([0-9]*\).*/\1/p'
}
# new_pid KIND OLD: waits (10 s at most) for a start of KIND after pid OLD.
new_pid() {
  for _ in $(seq 200); do
    p=$(last_pid "$1")
    [ -n "$p" ] && [ "$p" != "$2" ] && { echo "$p"; return; }
    sleep 0.05
  done
}
alive() { kill -0 "$1" 2>/dev/null; }
# crash KIND PID TEXT: PID of KIND dies with TEXT in the log, another starts.
crash() {
  wait_log "$3"
  [ -n "$(new_pid "$1" "$2")" ] || bad "$1 not restarted after: $3"
}

echo "== start: router with its options, agent at once, then idle leave"
wait_log "started tarn-routerd"
wait_log "left by itself; the next connection starts it again"
first=$(last_pid agent)
grep -q "^router [0-9]* --host --ignore-term$" "$starts" || bad "router args: $(cat "$starts")"
grep -q "^agent $first activated$" "$starts" || bad "agent not handed its socket"
alive "$first" && bad "agent $first still runs after leaving"
sleep 1.5
[ "$(starts_of agent)" = 1 ] || bad "agent started again without a connection"

echo "== a bus command starts the agent and is answered"
pid=$(ask 161 get)
[ -n "$pid" ] && [ "$pid" != "$first" ] && grep -q "^agent $pid activated$" "$starts" ||
  bad "on-demand agent: answered by '$pid'"
grep -qF "connection for service 161; starting tarn-snmpd" "$log" || bad "no connection line"

echo "== crashes are restarted after 0.1 s, 0.2 s, 0.4 s"
pid=$(ask 161 0x79)   # stays up now, so it is there to be killed
kill -KILL "$pid"
crash agent "$pid" "tarn-snmpd (pid $pid) killed by signal 9 (Killed); restarting in 0.1 s"
pid=$(ask 161 0x79)
kill -KILL "$pid"
crash agent "$pid" "tarn-snmpd (pid $pid) killed by signal 9 (Killed); restarting in 0.2 s"
"$tarnctl" --timeout 3000 send 161 0x78 >/dev/null 2>&1
wait_log "exited with status 3; restarting in 0.4 s"
[ -n "$(ask 161 get)" ] || bad "agent does not serve after exiting with status 3"

echo "== a killed router is restarted"
rpid=$(last_pid router)
kill -KILL "$rpid"
crash router "$rpid" "tarn-routerd (pid $rpid) killed by signal 9 (Killed); restarting in 0.1 s"

echo "== an agent ending at once with status 0 is restarted, not left waiting"
touch "$root/tarn/quit-at-start"
"$tarnctl" --timeout 1000 send 161 0x78 >/dev/null 2>&1
wait_log "exited with status 0 before it could have been idle; restarting in"
rm "$root/tarn/quit-at-start"
[ -n "$(ask 161 get)" ] || bad "agent does not serve after quitting at start"

echo "== SIGTERM stops everything"
apid=$(ask 161 0x79)
rpid=$(last_pid router)
kill -TERM "$sup"
wait "$sup"
rc=$?
[ "$rc" = 0 ] || bad "supervisor exit status $rc"
for line in "stopping on signal 15 (Terminated)" \
            "tarn-snmpd (pid $apid) killed by signal 15 (Terminated)" \
            "tarn-routerd (pid $rpid) did not stop within 1 s; killing it" \
            "tarn-routerd (pid $rpid) killed by signal 9 (Killed)" "tarn-supervisor: stopped"; do
  grep -qF -- "$line" "$log" || bad "no '$line' in the log"
done
for p in $(awk '{print $2}' "$starts"); do alive "$p" && bad "pid $p still runs"; done
[ -e "$root/tarn/run/bus/161.sock" ] && bad "agent socket left behind"

[ "$fail" = 0 ] || { echo "--- supervisor log"; cat "$log"; echo "--- starts"; cat "$starts"; }
exit $fail
