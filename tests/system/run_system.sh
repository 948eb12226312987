#!/bin/sh
# Runs the system test in a private network namespace, so that the agent
# can take ports 161 and 162 and the test can add links, addresses and
# routes without touching the host. Needs root (unshare); skips (77)
# otherwise.
#   run_system.sh SUPERVISOR TARNCTL
set -e
here=$(dirname "$0")
for tool in unshare ip snmptrapd snmpwalk snmpget; do
  command -v "$tool" >/dev/null || { echo "system: needs $tool; skipped"; exit 77; }
done
if [ "$(id -u)" -ne 0 ]; then
  echo "system: needs root; skipped"
  exit 77
fi
export SYSTEM_SUPERVISOR="$1" SYSTEM_TARNCTL="$2"
exec unshare --net sh -c "ip link set lo up &&
  exec /usr/bin/python3 -m pytest -q -s -p no:cacheprovider '$here/test_system.py'"
