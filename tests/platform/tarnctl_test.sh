#!/usr/bin/env bash
# The bus client against a stand-in service over real sockets: text and JSON
# output, paging, typed fields, and exit statuses.
#   tarnctl_test.sh TARNCTL ECHO_SERVICE
set -u
tarnctl=$1 echo_service=$2
export TARN_ROOT=$(mktemp -d /tmp/tarnctl-test-XXXXXX)
unset TARN_SERVICE_ID
"$echo_service" 930 &
pid=$! fail=0
trap 'kill $pid 2>/dev/null; wait $pid 2>/dev/null; rm -rf "$TARN_ROOT"' EXIT
for _ in $(seq 100); do [ -S "$TARN_ROOT/tarn/run/bus/930.sock" ] && break; sleep 0.05; done
check() {  # check NAME EXPECTED_STATUS EXPECTED_OUTPUT -- ARGS...
  local name=$1 want_rc=$2 want=$3 out rc; shift 4
  out=$("$tarnctl" "$@" 2>&1); rc=$?
  [ "$rc" = "$want_rc" ] && [ "$out" = "$want" ] || { echo "FAIL $name: $rc ($want_rc) got: $out want: $want"; fail=1; }
}

check "typed fields echo" 0 '{u32:0xfe0001=3 str:0x10006="ether 1" u32:1=0x1010101 bool:2=1 raw:1001=001a2b u32[]:5=[1,2]}' -- \
  send 930/0 getobj u32:0xfe0001=3 'str:0x10006=ether 1' be32:1=1.1.1.1 bool:2=1 raw:1001=00:1a:2b u32[]:5=[1,2]
check "by code" 0 '{u32:0xfe0001=4}' -- send 930 0xfe0002 u32:0xfe0001=4
check "json" 0 '{"ok":true,"fields":[{"kind":"u32","id":16646145,"value":3},{"kind":"str[]","id":7,"value":["a","b"]}]}' -- \
  --json send 930/0 getobj u32:0xfe0001=3 str[]:7=a,b
check "error reply" 1 'error 0xfe0004: no such object' -- send 930 0x77
check "json error" 1 '{"ok":false,"error":{"code":16646148,"text":"no such object"},"fields":[]}' -- --json send 930 0x77
check "list pages" 0 $'{u32:0xfe0001=0 str:0xfe0010="obj0"}\n{u32:0xfe0001=1 str:0xfe0010="obj1"}\n{u32:0xfe0001=2 str:0xfe0010="obj2"}' -- list 930/0
check "absent service" 1 "error 0xff0011: no such service 931 (nothing listens at $TARN_ROOT/tarn/run/bus/931.sock; TARN_ROOT=$TARN_ROOT)" -- send 931 get
check "bad field" 2 "tarnctl: unknown field kind 'i32'" -- send 930 get i32:1=2
check "bad command" 2 "tarnctl: unknown command 'fetch'" -- send 930 fetch
exit $fail
