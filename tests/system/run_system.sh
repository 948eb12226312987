#!/bin/sh
# Runs the system test in a private network namespace, so that the agent can
# take ports 161 and 162 and the test can add links, addresses and routes
# without touching the host; with a private mount of /sys, so that
# /sys/class/net shows the namespace's links. Needs root; skips (77)
# otherwise.
#   run_system.sh SUPERVISOR TARNCTL
for tool in unshare ip snmptrapd snmpwalk snmpget; do
  command -v "$tool" >/dev/null || { echo "system: needs $tool; skipped"; exit 77; }
done
[ "$(id -u)" -eq 0 ] || { echo "system: needs root; skipped"; exit 77; }
export SYSTEM_SUPERVISOR="$1" SYSTEM_TARNCTL="$2"
exec unshare --net --mount sh -c "mount -t sysfs sysfs /sys && ip link set lo up &&
  exec /usr/bin/python3 -m pytest -q -s -p no:cacheprovider '$(dirname "$0")/test_system.py'"
