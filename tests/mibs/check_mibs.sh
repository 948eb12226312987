#!/bin/sh
# Checks the MIB files in mibs/ with two independent MIB compilers, using
# only those files (no system MIB path): libsmi's smilint at its strictest
# level must report nothing for TARN-ROUTER-MIB, and net-snmp must load it
# without a parse warning and name the product OID served as sysObjectID
# and the event notification; net-snmp must also load the compact
# IP-FORWARD-MIB (copied from an RFC whose own style smilint would flag).
# Skips (77) when smilint or snmptranslate is missing.
#   check_mibs.sh MIBDIR
mibs=$1
if ! command -v smilint >/dev/null || ! command -v snmptranslate >/dev/null; then
  echo "mibs: needs smilint (smitools) and snmptranslate (snmp); skipped"
  exit 77
fi
status=0
lint=$(SMIPATH="$mibs" smilint -l 6 "$mibs/TARN-ROUTER-MIB.txt" 2>&1)
if [ -n "$lint" ]; then
  echo "smilint -l 6 reports:"; echo "$lint"; status=1
fi
# The product OID served as sysObjectID and the event notification's OID.
for pair in 1.3.6.1.4.1.40117.1=tarnRouter 1.3.6.1.4.1.40117.1.1.9.0.1=tarnEvent; do
  name=$(MIBDIRS="$mibs" MIBS=TARN-ROUTER-MIB snmptranslate "${pair%=*}" 2>&1)
  if [ "$name" != "TARN-ROUTER-MIB::${pair#*=}" ]; then
    echo "snmptranslate ${pair%=*} gives: $name"; status=1
  fi
done
tree=$(MIBDIRS="$mibs" MIBS=TARN-ROUTER-MIB:IP-FORWARD-MIB snmptranslate -Tp 2>&1 >/dev/null)
if [ -n "$tree" ]; then
  echo "net-snmp reports while loading the module:"; echo "$tree"; status=1
fi
[ $status -eq 0 ] && echo "mibs: smilint -l 6 clean, net-snmp loads and names the module"
exit $status
