#!/usr/bin/env bash
# The route-table scale benchmark; bench/run --scale runs it as root inside
# its private network namespace:
#
#   bench/scale.sh BUILD_DIR OUT_DIR "1000 10000 ..." MODEL_ROUTES
#
# (SCALE_TARN_ONLY=1 leaves snmpd out, to measure tarn-snmpd again alone.)
#
# For each size N: N routes go into the namespace's kernel table with
# `ip -batch`; tarn-snmpd (over tarn-routerd --host) and Debian's snmpd are
# each started fresh and asked, one after the other:
#   fill  one GETNEXT into ipCidrRouteDest on a cold agent (time-out 600 s,
#         no retry): the time the agent takes to load the table;
#   walk  snmpwalk -v2c of ipCidrRouteDest right after, with net-snmp's
#         default time-outs (1 s, 5 retries), for what is left of the
#         10 minutes.
# Then, unless MODEL_ROUTES is 0, tarn-snmpd alone over tarn-routerd --model
# with a generated model of MODEL_ROUTES routes.
#
# Per row: fill and walk seconds, µs per varbind, varbinds, the agent's CPU
# per varbind (tarn-routerd's beside it for tarn), the agent's VmHWM, bus
# exchanges (tarn-routerd's replies), retries (the walk's requests beyond
# one per varbind and one more, counted as snmpwalk's send calls by a perf
# tracepoint) and whether the walk finished. An agent that has not
# finished fill and walk within 10 minutes is stopped ("did not finish").
set -euo pipefail
b=$1 out=$2 sizes=$3 model_routes=$4
here=$(cd "$(dirname "$0")" && pwd)
top=$(dirname "$here")
raw="$out/scale-raw.txt"
work=$(mktemp -d /tmp/tarn-scale.XXXXXX)
column=1.3.6.1.2.1.4.24.4.1.1
limit=600
TARN_PORT=16100 SNMPD_PORT=16200
export MIBS= MIBDIRS=
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

now() { date +%s.%N; }
hwm() { awk '/VmHWM/ {print $2}' "/proc/$1/status"; }
cpu() { awk '{print $14 + $15}' "/proc/$1/stat"; }  # clock ticks

# start_tarn ROUTERD_ARGS...: tarn-routerd and tarn-snmpd over a fresh
# root; sets TARN_PID and ROUTERD_PID.
start_tarn() {
  local root="$work/root-$RANDOM"
  mkdir -p "$root/tarn/run/bus" "$root/tarn/store" "$root/tarn/log"
  chmod 700 "$root/tarn/run/bus" "$root/tarn/store" "$root/tarn/log"
  TARN_ROOT="$root" "$b/router/tarn-routerd" "$@" 2>>"$work/routerd.err" &
  ROUTERD_PID=$!; pids+=("$ROUTERD_PID")
  for _ in $(seq 1200); do [ -S "$root/tarn/run/bus/44.sock" ] && break; sleep 0.05; done
  TARN_ROOT="$root" TARN_SNMP_PORT=$TARN_PORT "$b/service/tarn-snmpd" \
    >>"$work/tarn.out" 2>>"$work/tarn.err" &
  TARN_PID=$!; pids+=("$TARN_PID")
  for _ in $(seq 200); do
    TARN_ROOT="$root" "$b/busclient/tarnctl" snmp set enabled=yes >/dev/null 2>&1 && break
    sleep 0.1
  done
  wait_agent $TARN_PORT mallow
}

start_snmpd() {
  mkdir -p "$work/snmpd"
  printf 'rocommunity public 127.0.0.1\n' > "$work/snmpd.conf"
  SNMP_PERSISTENT_DIR="$work/snmpd" snmpd -f -Lf "$work/snmpd.log" -C -c "$work/snmpd.conf" \
    udp:127.0.0.1:$SNMPD_PORT 2>>"$work/snmpd.err" &
  SNMPD_PID=$!; pids+=("$SNMPD_PID")
  wait_agent $SNMPD_PORT public
}

wait_agent() {
  for _ in $(seq 200); do
    snmpget -v2c -c "$2" -t 0.2 -r 0 "127.0.0.1:$1" 1.3.6.1.2.1.1.3.0 >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  echo "bench/scale: nothing answers on UDP $1"; exit 1
}

# stop PID...: SIGTERM, then SIGKILL after 5 s (snmpd busy loading a table
# looks at its signals only when the load is done).
stop() {
  for p in "$@"; do kill "$p" 2>/dev/null || true; done
  for _ in $(seq 50); do
    local alive=0
    for p in "$@"; do  # running, not a zombie waiting for wait
      [ "$(awk '{print $3}' "/proc/$p/stat" 2>/dev/null || echo Z)" != Z ] && alive=1
    done
    [ $alive = 1 ] || break
    sleep 0.1
  done
  for p in "$@"; do kill -KILL "$p" 2>/dev/null || true; done
  for p in "$@"; do wait "$p" 2>/dev/null || true; done
}

# measure LABEL N PORT COMMUNITY AGENT_PID [ROUTERD_PID]: fill, then walk,
# within $limit seconds; one line to raw.
measure() {
  local label=$1 n=$2 port=$3 community=$4 agent=$5 routerd=${6:-}
  local perfpid="" c0 r0=0 t0 t1 t2 left fill walk finished=yes code=0
  if [ -n "$routerd" ]; then
    perf stat -x, -e syscalls:sys_enter_sendto -o "$work/perf.txt" -p "$routerd" 2>/dev/null &
    perfpid=$!
    sleep 0.3
    r0=$(cpu "$routerd")
  fi
  c0=$(cpu "$agent")
  t0=$(now)
  timeout $limit snmpgetnext -v2c -c "$community" -t $limit -r 0 -On "127.0.0.1:$port" "$column" \
    >/dev/null 2>&1 || finished=no
  t1=$(now)
  left=$(echo "$limit - ($t1 - $t0)" | bc | cut -d. -f1)
  if [ "$finished" = yes ] && [ "${left:-0}" -gt 0 ]; then
    perf stat -e syscalls:sys_enter_sendto,syscalls:sys_enter_sendmsg -o "$work/sends.txt" \
      -- timeout "$left" snmpwalk -v2c -c "$community" -On "127.0.0.1:$port" "$column" \
      >"$work/walk.txt" 2>"$work/walk.err" || code=$?
    [ $code -eq 0 ] || finished=no
  else
    echo "no walk: the fill did not end in time" >"$work/walk.err"
    : >"$work/walk.txt" >"$work/sends.txt"
    finished=no
  fi
  t2=$(now)
  local vbs ticks rticks=0 requests retries=0 exchanges=""
  vbs=$(grep -c "^\.$column\." "$work/walk.txt" || true)
  ticks=$(( $(cpu "$agent") - c0 ))
  [ -n "$routerd" ] && rticks=$(( $(cpu "$routerd") - r0 ))
  # One request per varbind and one more (past the end, or the one that
  # went unanswered); the rest were sent again.
  requests=$(awk '/sys_enter_send/ {gsub(",", "", $1); n += $1} END {print n + 0}' "$work/sends.txt")
  [ "$requests" -gt 0 ] && retries=$(( requests - vbs - 1 ))
  if [ -n "$perfpid" ]; then
    kill -INT "$perfpid"; wait "$perfpid" 2>/dev/null || true
    exchanges=" exchanges=$(awk -F, '/sys_enter_sendto/ {print $1}' "$work/perf.txt")"
  fi
  # The walk's time is snmpwalk's own, as perf timed it: perf's start-up
  # would otherwise count.
  fill=$(echo "$t1 - $t0" | bc)
  walk=$(awk '/seconds time elapsed/ {print $1}' "$work/sends.txt")
  [ -n "$walk" ] || walk=$(echo "$t2 - $t1" | bc)
  local hz; hz=$(getconf CLK_TCK)
  echo "scale: label=$label routes=$n fill_s=$fill walk_s=$walk varbinds=$vbs" \
    "us_per_vb=$(echo "scale=1; $walk * 1000000 / ($vbs + ($vbs == 0))" | bc)" \
    "agent_cpu_us_per_vb=$(echo "scale=1; $ticks * 1000000 / $hz / ($vbs + ($vbs == 0))" | bc)" \
    "routerd_cpu_us_per_vb=$(echo "scale=1; $rticks * 1000000 / $hz / ($vbs + ($vbs == 0))" | bc)" \
    "hwm_kb=$(hwm "$agent")${exchanges} retries=$retries finished=$finished" \
    "walk_error=\"$(tail -1 "$work/walk.err" 2>/dev/null | tr -d '"')\"" | tee -a "$raw"
}

# The routes go through v0; taking the link away takes a million routes
# away at once, where `ip route flush` gives up after a minute.
fresh_link() {
  ip link del v0 2>/dev/null || true
  ip link add v0 type veth peer v1
  ip link set v0 up; ip link set v1 up
  ip addr add 10.9.0.1/16 dev v0
}

ip link set lo up
fresh_link
{
  echo "# scale: $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)," \
    "$(awk '/MemTotal/ {print int($2 / 1024)}' /proc/meminfo) MB"
  echo "# cpu: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //')"
  echo "# kernel $(uname -r); $(snmpwalk -V 2>&1 | head -1); snmpd $(snmpd -v 2>/dev/null | grep -m1 -o 'version: *[0-9.]*' | tr -s ' ')"
} | tee -a "$raw"

for n in $sizes; do
  fresh_link
  # N /24 routes from 100.0.0.0 on, all via one gateway on v0.
  awk -v n="$n" 'BEGIN { for (i = 0; i < n; i++) { a = 1677721600 + i * 256;
    printf "route add %d.%d.%d.0/24 via 10.9.0.2 dev v0 proto static\n",
      int(a / 16777216), int(a / 65536) % 256, int(a / 256) % 256 } }' > "$work/routes.batch"
  t0=$(now); ip -batch "$work/routes.batch"; t1=$(now)
  echo "scale: label=kernel routes=$n ip_batch_s=$(echo "$t1 - $t0" | bc)" | tee -a "$raw"
  start_tarn --host
  measure tarn-host "$n" $TARN_PORT mallow "$TARN_PID" "$ROUTERD_PID"
  stop "$TARN_PID" "$ROUTERD_PID"
  if [ -z "${SCALE_TARN_ONLY:-}" ]; then
    start_snmpd
    measure snmpd "$n" $SNMPD_PORT public "$SNMPD_PID"
    stop "$SNMPD_PID"
  fi
done
ip link del v0

if [ "$model_routes" != 0 ]; then
  m="$work/model.json"
  /usr/bin/python3 "$top/router/models/generate.py" --interfaces 10 --routes "$model_routes" \
    --arp 10 --fdb 10 > "$m"
  t0=$(now)
  start_tarn --model "$m"
  t1=$(now)
  echo "scale: label=model-load routes=$model_routes load_s=$(echo "$t1 - $t0" | bc)" \
    "routerd_hwm_kb=$(hwm "$ROUTERD_PID")" | tee -a "$raw"
  measure tarn-model "$model_routes" $TARN_PORT mallow "$TARN_PID" "$ROUTERD_PID"
  stop "$TARN_PID" "$ROUTERD_PID"
fi

echo
/usr/bin/python3 - "$raw" <<'EOF' | tee "$out/scale-summary.txt"
import re, sys
rows = [dict(re.findall(r'(\w+)=("[^"]*"|\S+)', l)) for l in open(sys.argv[1]) if l.startswith("scale: ")]
print("| agent | routes | fill s | walk s | µs/varbind | varbinds | agent CPU µs/varbind | VmHWM MB | exchanges | retries | finished |")
print("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---|")
for r in rows:
    if "fill_s" not in r:
        continue
    some = r["varbinds"] != "0"
    cpu = r["agent_cpu_us_per_vb"] + ("" if r["label"] == "snmpd" else " (+%s routerd)" % r["routerd_cpu_us_per_vb"])
    print("| %s | %s | %.2f | %.2f | %s | %s | %s | %.0f | %s | %s | %s |" % (
        r["label"], r["routes"], float(r["fill_s"]), float(r["walk_s"]),
        "%.0f" % float(r["us_per_vb"]) if some else "–", r["varbinds"], cpu if some else "–",
        int(r["hwm_kb"]) / 1024, r.get("exchanges", "-"), r["retries"],
        "yes" if r["finished"] == "yes" else "did not finish"))
EOF
