#!/bin/sh
# Runs one hostile test file in a private network namespace, so that the
# daemon can take port 161 without touching the host. Needs root (unshare);
# skips (77) otherwise.
#   run_hostile.sh TEST_FILE DAEMON PLUGIN SEEDS_DIR
set -e
if [ "$(id -u)" -ne 0 ] || ! command -v unshare >/dev/null; then
  echo "hostile: needs root and unshare; skipped"
  exit 77
fi
export HOSTILE_DAEMON="$2" HOSTILE_PLUGIN="$3" HOSTILE_SEEDS="$4"
exec unshare --net sh -c "ip link set lo up && exec /usr/bin/python3 -m pytest -q -s -p no:cacheprovider -W ignore::DeprecationWarning '$1'"
