#!/bin/sh
# Runs one end-to-end test module in a private network namespace, so that
# the daemon can take ports 161 and 162 and extra loopback addresses without
# touching the host. Needs root (unshare) and net-snmp; skips (77) otherwise.
#   run_e2e.sh TEST.py [E2E_NAME=VALUE...]   (the module's settings;
#   E2E_NEEDS=PROGRAM skips too when PROGRAM is missing)
set -e
here=$(dirname "$0")
test=$1
shift
if [ "$(id -u)" -ne 0 ] || ! command -v unshare >/dev/null || ! command -v snmptrapd >/dev/null \
   || ! command -v snmpwalk >/dev/null; then
  echo "e2e: needs root, unshare and net-snmp; skipped"
  exit 77
fi
export "$@"
if [ -n "$E2E_NEEDS" ] && ! command -v "$E2E_NEEDS" >/dev/null; then
  echo "e2e: needs $E2E_NEEDS; skipped"
  exit 77
fi
exec unshare --net sh -c "ip link set lo up && exec /usr/bin/python3 -m pytest -q -s -p no:cacheprovider -W ignore::DeprecationWarning '$here/$test'"
