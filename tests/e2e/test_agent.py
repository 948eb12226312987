"""End to end: the real tarn-snmpd in a private network namespace.

The daemon runs over a temporary TARN_ROOT with a plug-in (e2e_plugin.cc)
that serves 1.3.6.1.4.1.40117.250.{1,2,3}.0 from a fake service {77, 1} and
adds the event source "links" (the daemon's link trap maker plus a
subscription to the fake interface service {20, 0}); the built-in interfaces
module, which registers the real "interfaces" source, is not needed for the
link trap path this way. Managers are net-snmp's tools, pysnmp and raw
sockets; snmptrapd on 127.0.0.1:162 receives the traps. The tests run in
file order and share one world: configuration, requests, traps, restarts.

Run by run_e2e.sh (needs root for the namespace and ports 161/162).
"""
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import tarnbus as bus  # noqa: E402
from harness import Daemon, Trapd, cpu_seconds, get_request, tool, wait_for  # noqa: E402

DAEMON = os.environ.get("E2E_DAEMON", "")
PLUGIN = os.environ.get("E2E_PLUGIN", "")
TARNCTL = os.environ.get("E2E_TARNCTL", "")

BASE = "1.3.6.1.4.1.40117.250"
ENGINE_TEXT = "e2e-engine"
ENGINE_HEX = "80009cb504" + ENGINE_TEXT.encode().hex()

# SNMPv3 users: name -> (security, auth protocol, auth password, priv password)
USERS = {
    "noauthuser": (0, 0, "", ""),
    "md5user": (1, 0, "md5password", ""),
    "shauser": (1, 1, "shapassword", ""),
    "desuser": (2, 0, "despassword", "desprivpass"),
    "trapuser": (2, 1, "trapauthpass", "trapprivpass"),
    "shadesuser": (2, 1, "shaauthpass", "shaprivpass"),  # the one v3 user that may write
}
SHA_DES = ["-l", "authPriv", "-u", "shadesuser", "-a", "SHA", "-A", "shaauthpass",
           "-x", "DES", "-X", "shaprivpass"]


class World:
    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="tarn-e2e-")
        self.values = {"name": "hello", "level": 42}
        self.sets = []
        self.subscriptions = []
        self.values_service = bus.FakeService(self.root, 77, self.serve_values)
        self.interfaces = bus.FakeService(self.root, 20, self.serve_interfaces)
        self.trapd = Trapd(self.root, [
            "disableAuthorization yes",
            "createUser -e 0x%s trapuser SHA trapauthpass DES trapprivpass" % ENGINE_HEX,
            "authUser log trapuser priv"], "TRAP %P|%N|%w|%q|%v\n")
        self.agent = Daemon(DAEMON, self.root, PLUGIN)
        self.agent.start()
        self.cmd, self.stdout, self.stderr = self.agent.cmd, self.agent.stdout, self.agent.stderr

    # --- fake services -------------------------------------------------
    def serve_values(self, m):
        if m.u32(bus.CMD) == bus.GET:
            return bus.Message({bus.tagged(bus.STRING, 1): self.values["name"],
                                bus.tagged(bus.U32, 2): self.values["level"]})
        if m.u32(bus.CMD) == bus.SET:
            self.sets.append(m)
            self.values["name"] = m.string(1, self.values["name"])
            self.values["level"] = m.u32(2, self.values["level"])
        return bus.Message()

    def serve_interfaces(self, m):
        if m.u32(bus.CMD) in (bus.SUBSCRIBE, bus.UNSUBSCRIBE):
            self.subscriptions.append(m)
        return bus.Message()

    def link_event(self, if_id, state):
        self.interfaces.notify([161, 0], 0x10004, {bus.tagged(bus.U32, bus.OBJ_ID): if_id,
                                                   bus.tagged(bus.U32, 0x10003): state}, [20, 0])

    def close(self):
        self.agent.close()
        self.trapd.close()
        self.values_service.close()
        self.interfaces.close()
        shutil.rmtree(self.root, ignore_errors=True)

    # --- clients -------------------------------------------------------
    def tarnctl(self, *args):
        r = subprocess.run([TARNCTL, "snmp"] + list(args), capture_output=True, text=True,
                           env=dict(os.environ, TARN_ROOT=self.root))
        assert r.returncode == 0, r.stdout + r.stderr
        return r.stdout

    def settings(self):
        return self.cmd([161], bus.GET)

    def traps(self):
        return self.trapd.traps()

    def wait_trap(self, count_before, pattern):
        def seen():
            new = self.traps()[count_before:]
            return [t for t in new if re.search(pattern, t)]
        return wait_for(seen, what=lambda: "trap %s; traps since: %s; agent said: %s" % (
            pattern, self.traps()[count_before:], self.stderr()[-300:]))[0]


def snmp(program, *args, timeout=1):
    return tool([program, "-On", "-t", str(timeout), "-r", "0"] + list(args))


@pytest.fixture(scope="module")
def world():
    w = World()
    yield w
    w.close()


def test_first_start_serves_nothing_and_reports_defaults(world):
    s = world.settings()
    assert s.string(4) == "mallow" and s.flag(1) is False and s.u32(13) == 0
    assert s.u32(17) == 0xFFFFFFFF and s.u32(14) == 15
    err = world.stderr()
    assert err.startswith("loop = new SnmpLooper();\ncommunityKeep = new CommunityKeep;\n")
    assert "plugin loaded: %s/tarn/lib/snmp/e2e.so\n" % world.root in err
    assert "engineBoots" not in world.stdout()
    code, out = snmp("snmpget", "-v2c", "-c", "mallow", "127.0.0.1", BASE + ".3.0")
    assert code != 0 and "Timeout" in out
    # Disabled and idle, it leaves after a second; the platform starts it
    # again on demand, as the test does here.
    assert world.agent.proc.wait(5) == 0
    world.agent.start()


def test_configure_over_the_bus(world):
    world.tarnctl("set", "enabled=yes")
    assert world.tarnctl("community", "add", "private", "read=yes", "write=yes").strip() == "id 1"
    world.tarnctl("community", "add", "elsewhere", "read=yes", "address=10.1.1.1",
                  "netmask=255.255.255.255")
    for name, user in USERS.items():
        world.agent.add_user(name, *user, write=name == "shadesuser")
    world.tarnctl("set", "enabled=yes", "contact=ops", "location=lab", "engine-id=" + ENGINE_TEXT,
                  "trap-target=127.0.0.1", "trap-community=0", "trap-version=v1",
                  "trap-generators=start-trap")
    shown = world.tarnctl("show")
    assert "enabled: yes" in shown and 'engine-id: "%s"' % ENGINE_TEXT in shown
    assert "trap-version: v1\n" in shown and "trap-community: 0\n" in shown
    listed = world.tarnctl("communities")
    assert 'name: "desuser"' in listed and "despassword" not in listed
    assert "security: priv\n" in listed and "auth-protocol: sha\n" in listed
    assert "cmd_set from 0" in world.stderr()


@pytest.mark.parametrize("version", ["1", "2c"])
def test_get_and_getnext(world, version):
    code, out = snmp("snmpget", "-v", version, "-c", "mallow", "127.0.0.1", BASE + ".1.0", BASE + ".2.0")
    assert code == 0, out
    assert '.%s.1.0 = STRING: "hello"' % BASE in out and ".%s.2.0 = INTEGER: 42" % BASE in out
    code, out = snmp("snmpgetnext", "-v", version, "-c", "mallow", "127.0.0.1", BASE)
    assert code == 0 and out.startswith(".%s.1.0 = STRING" % BASE), out


def test_pysnmp_reads(world):
    from pysnmp.hlapi import (CommunityData, ContextData, ObjectIdentity, ObjectType,
                              SnmpEngine, UdpTransportTarget, getCmd)
    err, status, _, binds = next(getCmd(SnmpEngine(), CommunityData("mallow", mpModel=1),
                                        UdpTransportTarget(("127.0.0.1", 161), timeout=1, retries=0),
                                        ContextData(), ObjectType(ObjectIdentity(BASE + ".2.0"))))
    assert not err and not status
    assert int(binds[0][1]) == 42


def test_getbulk_gets_no_answer(world):
    for program in ("snmpbulkget", "snmpbulkwalk"):
        code, out = snmp(program, "-v2c", "-c", "mallow", "127.0.0.1", BASE)
        assert code != 0 and "Timeout" in out, out
    assert "unknown request command\n" in world.stderr()


def test_set_reaches_the_service(world):
    code, out = snmp("snmpset", "-v2c", "-c", "private", "127.0.0.1", BASE + ".1.0", "s", "renamed")
    assert code == 0, out
    assert world.sets and world.sets[-1].string(1) == "renamed"
    sets = len(world.sets)
    code, out = snmp("snmpset", "-v1", "-c", "mallow", "127.0.0.1", BASE + ".1.0", "s", "nope")
    assert code != 0 and len(world.sets) == sets, out


@pytest.mark.parametrize("community", ["nosuch", "elsewhere"])
def test_refused_community_gets_no_answer(world, community):
    code, out = snmp("snmpget", "-v2c", "-c", community, "127.0.0.1", BASE + ".3.0")
    assert code != 0 and "Timeout" in out


def test_community_changes_apply_at_once(world):
    def answered():
        return snmp("snmpget", "-v2c", "-c", "elsewhere", "127.0.0.1", BASE + ".3.0")[0] == 0
    ids = dict((name, int(i)) for i, name in
               re.findall(r'^id: (\d+)\nname: "([^"]*)"', world.tarnctl("communities"), re.M))
    assert not answered()
    assert world.tarnctl("community", "set", str(ids["elsewhere"]), "address=127.0.0.1").strip() == "ok"
    assert answered()
    world.tarnctl("community", "remove", str(ids["elsewhere"]))
    assert not answered()
    assert 'name: "elsewhere"' not in world.tarnctl("communities")


def test_reply_leaves_from_the_requested_address(world):
    request = bytes.fromhex("302902010104066d616c6c6f77a01c0204000000010201000201003"
                            "00e300c06082b06010201010100" "0500")
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.settimeout(2)
    s.sendto(request, ("127.0.0.9", 161))
    reply, sender = s.recvfrom(2048)
    s.close()
    assert sender[0] == "127.0.0.9" and reply[13] == 0xA2


@pytest.mark.parametrize("args", [
    ["-l", "noAuthNoPriv", "-u", "noauthuser"],
    ["-l", "authNoPriv", "-u", "md5user", "-a", "MD5", "-A", "md5password"],
    ["-l", "authNoPriv", "-u", "shauser", "-a", "SHA", "-A", "shapassword"],
    ["-l", "authPriv", "-u", "desuser", "-a", "MD5", "-A", "despassword", "-x", "DES", "-X", "desprivpass"],
    SHA_DES,
])
def test_v3_levels(world, args):
    code, out = snmp("snmpget", "-v3", *args, "127.0.0.1", BASE + ".3.0")
    assert code == 0 and '= STRING: "constant"' in out, out


def test_v3_set_needs_a_writing_user(world):
    sets = len(world.sets)
    code, out = snmp("snmpset", "-v3", *SHA_DES, "127.0.0.1", BASE + ".1.0", "s", "renamed")
    assert code == 0 and len(world.sets) == sets + 1 and world.sets[-1].string(1) == "renamed", out
    code, out = snmp("snmpset", "-v3", "-l", "authPriv", "-u", "desuser", "-a", "MD5",
                     "-A", "despassword", "-x", "DES", "-X", "desprivpass", "127.0.0.1",
                     BASE + ".1.0", "s", "nope")
    assert code != 0 and "readOnly" in out and len(world.sets) == sets + 1, out


@pytest.mark.parametrize("user,auth,priv,protocols", [
    ("md5user", "md5password", None, ("usmHMACMD5AuthProtocol", "usmNoPrivProtocol")),
    ("desuser", "despassword", "desprivpass", ("usmHMACMD5AuthProtocol", "usmDESPrivProtocol")),
    ("shadesuser", "shaauthpass", "shaprivpass", ("usmHMACSHAAuthProtocol", "usmDESPrivProtocol")),
])
def test_pysnmp_v3_reads(world, user, auth, priv, protocols):
    from pysnmp import hlapi
    data = hlapi.UsmUserData(user, auth, priv, authProtocol=getattr(hlapi, protocols[0]),
                             privProtocol=getattr(hlapi, protocols[1]))
    err, status, _, binds = next(hlapi.getCmd(
        hlapi.SnmpEngine(), data, hlapi.UdpTransportTarget(("127.0.0.1", 161), timeout=1, retries=0),
        hlapi.ContextData(), hlapi.ObjectType(hlapi.ObjectIdentity(BASE + ".2.0"))))
    assert not err and not status, err or status
    assert int(binds[0][1]) == 42


@pytest.mark.parametrize("args", [
    ["-l", "authNoPriv", "-u", "md5user", "-a", "MD5", "-A", "wrongpassword"],
    ["-l", "authPriv", "-u", "desuser", "-a", "MD5", "-A", "despassword", "-x", "DES", "-X", "wrongprivacy"],
    ["-l", "noAuthNoPriv", "-u", "md5user"],
])
def test_v3_refusals(world, args):
    code, out = snmp("snmpget", "-v3", *args, "127.0.0.1", BASE + ".3.0")
    assert code != 0 and "constant" not in out, out


def test_vendor_trap_with_binding(world):
    before = len(world.traps())
    r = world.cmd([161], 1, {bus.tagged(bus.STRING, 1001): "1.3.6.1.2.1.1.5.0",
                             bus.tagged(bus.U32, 1002): 4, bus.tagged(bus.STRING, 1003): "x"})
    assert not bus.is_error(r)
    trap = world.wait_trap(before, r"SNMP v1, community mallow\|\.1\.3\.6\.1\.4\.1\.40117\.1\.1\.9\|6\|\.?1\|")
    assert '.1.3.6.1.2.1.1.5.0 = STRING: "x"' in trap
    before = len(world.traps())
    world.tarnctl("event", "1.3.6.1.2.1.1.6.0", "null")
    trap = world.wait_trap(before, r"\.1\.3\.6\.1\.4\.1\.40117\.1\.1\.9\|6\|")
    assert ".1.3.6.1.2.1.1.6.0 = NULL" in trap


def test_link_events_become_link_traps(world):
    listed = world.tarnctl("generators")
    links = int(re.search(r"^(0x[0-9a-f]+) links$", listed, re.M).group(1), 16)
    world.tarnctl("set", "trap-version=v2c", "trap-generators=start-trap,%d" % links)
    assert "subscribed to links" in world.stdout()
    sub = wait_for(lambda: [m for m in world.subscriptions if m.u32(bus.CMD) == bus.SUBSCRIBE],
                   what="subscription")[-1]
    assert sub.u32(0xfe0021) == 0x10004 and sub.u32s(bus.SRC) == [161, 0]
    filt = sub.messages(0xfe0022)[0]
    assert filt.u32(0x10002) == 0 and filt.u32(0x10003) == 128
    before = len(world.traps())
    world.link_event(7, 0x500)
    up = world.wait_trap(before, r"OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.4")
    assert ".1.3.6.1.2.1.2.2.1.1 = INTEGER: 7" in up and ".1.3.6.1.2.1.2.2.1.8 = INTEGER: 1" in up
    world.link_event(7, 0x500)  # unchanged: no trap, the event is dumped
    wait_for(lambda: "Could not handle trap, msg dump:" in world.stdout(), what="dump")
    world.link_event(7, 0x000)
    down = world.wait_trap(before + 1, r"OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.3")
    assert ".1.3.6.1.2.1.2.2.1.7 = INTEGER: 2" in down
    assert len(world.traps()) == before + 2


def trap_user_id(world):
    for line_id, name in re.findall(r'^id: (\d+)\nname: "([^"]*)"', world.tarnctl("communities"), re.M):
        if name == "trapuser":
            return int(line_id)
    raise AssertionError("no trapuser")


@pytest.mark.parametrize("version,community,seen", [
    ("v1", "0", r"SNMP v1, community mallow\|\.1\.3\.6\.1\.6\.3\.1\.1\.5\.2\|1\|0\|$"),
    ("v2c", "0", r"SNMP v2c, community mallow\|.*OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.2$"),
    ("v3", "trapuser", r"SNMP v3, user trapuser.*OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.2$"),
])
def test_restart_sends_start_trap_and_keeps_state(world, version, community, seen):
    if community == "trapuser":
        community = str(trap_user_id(world))
    world.tarnctl("set", "trap-version=" + version, "trap-community=" + community)
    boots = world.settings().u32(13)
    subscriptions = len(world.subscriptions)
    before = len(world.traps())
    world.agent.restart()
    world.wait_trap(before, seen)
    s = world.settings()
    assert s.u32(13) == boots + 1 and "engineBoots = %d\n" % (boots + 1) in world.stdout()
    assert s.string(2) == "ops" and s.flag(1) is True and s.string(10) == ENGINE_TEXT
    wait_for(lambda: len(world.subscriptions) > subscriptions, what="the event source restarted")
    code, out = snmp("snmpget", "-v3", "-l", "authPriv", "-u", "desuser", "-a", "MD5", "-A",
                     "despassword", "-x", "DES", "-X", "desprivpass", "127.0.0.1", BASE + ".1.0")
    assert code == 0 and '"renamed"' in out, out


def test_measure_cpu_per_get(world):
    """Prints (never asserts) the daemon's CPU time per GET."""
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.settimeout(2)
    s.connect(("127.0.0.1", 161))
    for label, oid in (("constant", BASE + ".3.0"), ("provider", BASE + ".1.0")):
        request = get_request(oid, 1)
        n = 5000
        cpu0, wall0 = cpu_seconds(world.agent.proc.pid), time.time()
        for _ in range(n):
            s.send(request)
            s.recv(2048)
        cpu, wall = cpu_seconds(world.agent.proc.pid) - cpu0, time.time() - wall0
        print("\nCPU per GET (%s leaf): %.1f us; round trip %.1f us" % (label, cpu / n * 1e6, wall / n * 1e6))
    s.close()
