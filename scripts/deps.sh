#!/usr/bin/env bash
# Installs, with apt-get, the Debian packages the build and the tests need,
# but only those that are missing. Sourced by the other scripts.

# Packages needed to build and to run every test.
TEST_PACKAGES=(cmake make g++ clang libssl-dev libgtest-dev libgmock-dev
               iproute2 snmp snmptrapd python3 python3-pysnmp4 python3-pytest
               libclang-rt-14-dev smitools tshark prometheus-snmp-exporter
               monitoring-plugins-standard)

# Packages bench/run needs besides: the peer agent it compares against.
BENCH_PACKAGES=(snmpd)

install_missing() {
  local missing=()
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" \
      || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
