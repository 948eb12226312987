#!/bin/sh
# Runs the end-to-end tests in a private network namespace, so that the
# daemon can take ports 161 and 162 and extra loopback addresses without
# touching the host. Needs root (unshare); skips (77) otherwise.
#   run_e2e.sh DAEMON PLUGIN TARNCTL
set -e
here=$(dirname "$0")
if [ "$(id -u)" -ne 0 ] || ! command -v unshare >/dev/null || ! command -v snmptrapd >/dev/null; then
  echo "e2e: needs root, unshare and net-snmp; skipped"
  exit 77
fi
export E2E_DAEMON="$1" E2E_PLUGIN="$2" E2E_TARNCTL="$3"
exec unshare --net sh -c "ip link set lo up && exec /usr/bin/python3 -m pytest -q -s -p no:cacheprovider -W ignore::DeprecationWarning '$here/test_agent.py'"
