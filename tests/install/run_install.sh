#!/bin/sh
# The installed tree and the example plug-in, as an operator meets them:
# install, check the layout, build the example from the installed copy
# against the installed headers only, and check that the operator's guide
# shows that very file. With --serve, also run the installed programs in a
# private network namespace with the plug-in loaded (serve_plugin.sh; needs
# root, unshare, net-snmp; skips with 77 otherwise).
#   run_install.sh BUILD_DIR SOURCE_DIR CXX [--serve]
set -e
build=$1 src=$2 cxx=$3 serve=$4
if [ "$serve" = --serve ]; then
  for tool in unshare ip snmpget snmpset snmptrapd; do
    command -v "$tool" >/dev/null || { echo "example_plugin: needs $tool; skipped"; exit 77; }
  done
  [ "$(id -u)" -eq 0 ] || { echo "example_plugin: needs root; skipped"; exit 77; }
fi

tmp=$(mktemp -d /tmp/tarn-install-XXXXXX)
trap 'rm -rf "$tmp"' EXIT
trap 'exit 1' INT TERM HUP PIPE
prefix=$tmp/prefix
fail() { echo "FAIL: $*"; exit 1; }

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in bin/tarn-snmpd bin/tarn-routerd bin/tarn-supervisor bin/tarnctl; do
  [ -x "$prefix/$f" ] || fail "$f not installed"
done
for f in include/tarn-snmp/engine/plugin_api.h include/tarn-snmp/data/exchange.h \
         include/tarn-snmp/platform/message.h include/tarn-snmp/codec/wire.h \
         share/tarn/mibs/TARN-ROUTER-MIB.txt share/tarn/mibs/SNMPv2-SMI.txt \
         share/tarn/models/small-router.json \
         share/tarn/examples/plugin/site_plugin.cc lib/tmpfiles.d/tarn.conf \
         lib/sysusers.d/tarn.conf lib/systemd/system/tarn-snmpd.socket; do
  [ -f "$prefix/$f" ] || fail "$f not installed"
done
# Plug-ins see the plug-in interface only, not the agent's inner layers.
for d in security service mib; do
  [ ! -e "$prefix/include/tarn-snmp/$d" ] || fail "include/tarn-snmp/$d installed"
done
for unit in "tarn-snmpd" "tarn-routerd --host"; do
  grep -qx "ExecStart=$prefix/bin/$unit" "$prefix/lib/systemd/system/${unit%% *}.service" ||
    fail "${unit%% *}.service does not start $prefix/bin/$unit"
done
# The units are sandboxed: systemd's own exposure score (0 safe to 10
# unsafe) is at most 3.0. Needs systemd-analyze with --offline (252 on).
if systemd-analyze --help 2>/dev/null | grep -q -- --offline; then
  for unit in tarn-snmpd tarn-routerd; do
    score=$(systemd-analyze security --offline=yes --no-pager \
              "$prefix/lib/systemd/system/$unit.service" 2>&1 |
            sed -n 's/^.*Overall exposure level for .*: \([0-9.]*\) .*$/\1/p')
    echo "systemd-analyze security: $unit.service exposure ${score:-unknown}"
    awk "BEGIN { exit !(\"$score\" != \"\" && $score <= 3.0) }" ||
      fail "$unit.service scores ${score:-nothing}, not at most 3.0"
  done
else
  echo "systemd-analyze security --offline unavailable: unit scores not measured"
fi

# The example is built where an operator would build it: a copy of the
# installed folder, outside the source tree, with both of its build files.
cp -r "$prefix/share/tarn/examples/plugin" "$tmp/plugin"
cmake -S "$tmp/plugin" -B "$tmp/plugin/build" -DTARN_PREFIX="$prefix" \
      -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
cmake --build "$tmp/plugin/build" >/dev/null || fail "the example does not build with CMake"
make -s -C "$tmp/plugin" CXX="$cxx" TARN_PREFIX="$prefix" >/dev/null ||
  fail "the example does not build with make"
nm -D --defined-only "$tmp/plugin/build/site_plugin.so" | grep -q " T autorun$" ||
  fail "site_plugin.so exports no autorun"
sed -n '/^<!-- example-plugin: begin -->$/,/^<!-- example-plugin: end -->$/p' \
    "$src/docs/operators-guide.md" | sed '1,2d' | sed '$d' | sed '$d' >"$tmp/guide.cc"
cmp -s "$tmp/guide.cc" "$prefix/share/tarn/examples/plugin/site_plugin.cc" ||
  fail "docs/operators-guide.md does not show examples/plugin/site_plugin.cc as it is"
echo "installed and built: $prefix"
[ "$serve" = --serve ] || exit 0

root=$tmp/root
mkdir -p "$root/tarn/lib/snmp"
cp "$tmp/plugin/build/site_plugin.so" "$root/tarn/lib/snmp/"
export prefix root
# The agent never frees what lives as long as it does; under AddressSanitizer
# the leak report at its exit would count as a crash.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
unshare --net sh -c "ip link set lo up && exec sh '$(dirname "$0")/serve_plugin.sh'"
