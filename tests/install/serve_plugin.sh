#!/bin/sh
# Inside a private network namespace (run_install.sh --serve): the installed
# supervisor runs the installed tarn-routerd on the installed device model
# and tarn-snmpd with the example plug-in in $root/tarn/lib/snmp. SNMP is
# enabled with tarnctl as the operator's guide says, then the plug-in's
# objects are read and written with net-snmp and its trap reaches snmptrapd.
set -e
export TARN_ROOT=$root MIBS= MIBDIRS=
bin=$prefix/bin
site=1.3.6.1.4.1.40117.250
log=$root/supervisor.log traps=$root/traps.log
fail() {
  echo "FAIL: $*"
  echo "--- supervisor and agent:"; cat "$log"
  echo "--- traps:"; cat "$traps" 2>/dev/null || true
  exit 1
}
# Polls "$@" for up to 10 s; its output is kept in $out.
until_ok() {
  i=0
  until out=$("$@" 2>&1); do
    i=$((i + 1))
    [ $i -lt 100 ] || return 1
    sleep 0.1
  done
}
get() { snmpget -v2c -c mallow -On -t 1 -r 1 127.0.0.1 "$@"; }

snmptrapd -f -C -c /dev/null -Lf "$traps" -On -F "TRAP %v\n" -n udp:127.0.0.1:162 \
  --disableAuthorization=yes >/dev/null 2>&1 &
trapd=$!
"$bin/tarn-supervisor" --root "$root" --model "$prefix/share/tarn/models/small-router.json" \
  >"$log" 2>&1 &
supervisor=$!
trap 'kill $supervisor $trapd 2>/dev/null; wait $supervisor $trapd 2>/dev/null || true' EXIT
trap 'exit 1' INT TERM HUP PIPE

until_ok "$bin/tarnctl" snmp set enabled=yes trap-target=127.0.0.1 trap-version=v2c \
  trap-community=0 || fail "tarnctl snmp set: $out"
until_ok "$bin/tarnctl" snmp community add ops read=yes write=yes ||
  fail "tarnctl snmp community add: $out"
grep -q "plugin loaded: $root/tarn/lib/snmp/site_plugin.so" "$log" || fail "the plug-in was not loaded"
# The store and the history hold passwords: files 0600 in directories 0700.
[ -f "$root/tarn/store/snmpd" ] || fail "no store file after the settings were set"
loose=$(find "$root/tarn/store" "$root/tarn/log" "$root/tarn/run/bus" \
          \( -type d ! -perm 0700 \) -o \( -type f ! -perm 0600 \) 2>&1) || true
[ -z "$loose" ] || fail "store modes: $(ls -ld $loose)"

until_ok get "$site.1.0" || fail "no answer: $out"
[ "$out" = ".$site.1.0 = STRING: \"example site\"" ] || fail "siteName: $out"
routes=$("$bin/tarnctl" send 44/1 count | sed -n 's/^{u32:0xfe0014=\([0-9]*\)}$/\1/p')
[ -n "$routes" ] && [ "$routes" -gt 0 ] || fail "the model's route count: $routes"
out=$(get "$site.2.0") && [ "$out" = ".$site.2.0 = Gauge32: $routes" ] || fail "routeCount: $out"

out=$(snmpset -v2c -c mallow -On -t 1 -r 0 127.0.0.1 "$site.3.0" s refused 2>&1) &&
  fail "a read-only community changed siteNote: $out"
out=$(snmpset -v2c -c ops -On -t 1 -r 1 127.0.0.1 "$site.3.0" s "core room" 2>&1) ||
  fail "snmpset siteNote: $out"
out=$(get "$site.3.0") && [ "$out" = ".$site.3.0 = STRING: \"core room\"" ] || fail "siteNote: $out"

"$bin/tarnctl" send 161 1 'str:2001=door open' >/dev/null || fail "the alarm event was refused"
trap_seen() { grep "OID: .$site.0.1" "$traps"; }
until_ok trap_seen || fail "no site alarm trap"
echo "$out" | grep -q ".$site.4.0 = STRING: \"door open\"" || fail "site alarm trap: $out"
# An event without the plug-in's field is still the agent's own vendor trap.
"$bin/tarnctl" snmp event 1.3.6.1.2.1.1.5.0 string x >/dev/null
vendor_seen() { grep "OID: .1.3.6.1.4.1.40117.1.1.9.0.1" "$traps"; }
until_ok vendor_seen || fail "the vendor event was taken by the plug-in"
echo "example plug-in served by the installed agent"
