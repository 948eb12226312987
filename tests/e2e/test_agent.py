"""End to end: the real tarn-snmpd over a temporary TARN_ROOT, with a plug-in
(e2e_plugin.cc) that serves 1.3.6.1.4.1.40117.250.{1,2,3}.0 from a fake
service {77, 1} and adds the event source "links" (the daemon's link trap
maker, subscribed to a fake interface service {20, 0}). Managers are
net-snmp's tools, pysnmp and raw sockets; snmptrapd on 127.0.0.1:162
receives the traps. The tests run in file order and share one world.
Run by run_e2e.sh (root, private network namespace, ports 161/162).
"""
import os
import re
import shutil
import socket
import sys
import tempfile

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import tarnbus as bus  # noqa: E402
from harness import Daemon, Trapd, get_request, tool, trapd_conf, v3_options, wait_for  # noqa: E402
from harness import AUTH_NAMES, PRIV_NAMES  # noqa: E402

BASE = "1.3.6.1.4.1.40117.250"
ENGINE_TEXT = "e2e-engine"

# SNMPv3 users (harness.v3_options says what the numbers mean).
USERS = {
    "md5user": (1, 0, "md5password", ""),
    "desuser": (2, 0, "despassword", "desprivpass"),
    "trapuser": (2, 3, "trapauthpass", "trapprivpass", 1),  # SHA-256, AES
    "shadesuser": (2, 1, "shaauthpass", "shaprivpass"),  # the one v3 user that may write
    "md5aesuser": (2, 0, "md5aesauthpass", "md5aesprivpass", 1),
    "sha224user": (1, 2, "sha224authpass", ""),
    "sha224aesuser": (2, 2, "sha224authpass", "sha224privpass", 1),
    "sha256desuser": (2, 3, "sha256authpass", "sha256privpass", 0),
    "sha384aesuser": (2, 4, "sha384authpass", "sha384privpass", 1),
    "sha512aesuser": (2, 5, "sha512authpass", "sha512privpass", 1),
}
V3 = v3_options(USERS)
# The users of the protocols that came after MD5, SHA-1 and DES.
NEWER = ["md5aesuser", "sha224user", "sha224aesuser", "sha256desuser", "sha384aesuser",
         "sha512aesuser", "trapuser"]
# pysnmp's names of the authentication and privacy protocols, by number.
PYSNMP_AUTH = ("usmHMACMD5AuthProtocol", "usmHMACSHAAuthProtocol", "usmHMAC128SHA224AuthProtocol",
               "usmHMAC192SHA256AuthProtocol", "usmHMAC256SHA384AuthProtocol",
               "usmHMAC384SHA512AuthProtocol")
PYSNMP_PRIV = ("usmDESPrivProtocol", "usmAesCfb128Protocol")


class World:
    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="tarn-e2e-")
        self.values = {"name": "hello", "level": 42}
        self.sets, self.subscriptions = [], []
        self.services = [bus.FakeService(self.root, 77, self.serve_values),
                         bus.FakeService(self.root, 20, self.serve_interfaces)]
        self.trapd = Trapd(self.root, trapd_conf(ENGINE_TEXT, {"trapuser": USERS["trapuser"]}),
                           "TRAP %P|%N|%w|%q|%v\n")
        self.agent = Daemon(os.environ["E2E_DAEMON"], self.root, os.environ["E2E_PLUGIN"])
        self.agent.start()
        self.tarnctl, self.stdout, self.stderr = self.agent.tarnctl, self.agent.stdout, self.agent.stderr

    def serve_values(self, m):
        if m.u32(bus.CMD) == bus.GET:
            return bus.Message({bus.tagged(bus.STRING, 1): self.values["name"],
                                bus.tagged(bus.U32, 2): self.values["level"]})
        if m.u32(bus.CMD) == bus.SET:
            self.sets.append(m)
            self.values["name"] = m.string(1, self.values["name"])
        return bus.Message()

    def serve_interfaces(self, m):
        if m.u32(bus.CMD) in (bus.SUBSCRIBE, bus.UNSUBSCRIBE):
            self.subscriptions.append(m)
        return bus.Message()

    def link_event(self, if_id, state):
        bus.send(self.root, [161, 0], 0x10004, {bus.tagged(bus.U32, bus.OBJ_ID): if_id,
                                                bus.tagged(bus.U32, 0x10003): state}, [20, 0])

    def settings(self):
        return self.agent.cmd([161], bus.GET)

    def traps(self):
        return self.trapd.traps()

    def wait_trap(self, count_before, pattern):
        return wait_for(lambda: [t for t in self.traps()[count_before:] if re.search(pattern, t)],
                        what=lambda: "trap %s; traps since: %s; agent said: %s" % (
                            pattern, self.traps()[count_before:], self.stderr()[-300:]))[0]

    def close(self):
        self.agent.close()
        self.trapd.close()
        for s in self.services:
            s.close()
        shutil.rmtree(self.root, ignore_errors=True)


def snmp(program, *args):
    return tool([program, "-On", "-t", "1", "-r", "0"] + list(args))


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
    assert "trap-version: v1\n" in shown and "trap-community: mallow\n" in shown
    listed = world.tarnctl("communities")
    assert 'name: "desuser"' in listed and "despassword" not in listed
    assert "security: priv\n" in listed and "auth-protocol: sha\n" in listed
    assert "auth-protocol: sha384\npriv-protocol: aes\n" in listed
    assert "cmd_set from 0" in world.stderr()


def pysnmp_get(data, oid):
    """One pysnmp GET: (errorIndication, errorStatus, bindings)."""
    from pysnmp import hlapi
    err, status, _, binds = next(hlapi.getCmd(
        hlapi.SnmpEngine(), data, hlapi.UdpTransportTarget(("127.0.0.1", 161), timeout=1, retries=0),
        hlapi.ContextData(), hlapi.ObjectType(hlapi.ObjectIdentity(oid))))
    return err, status, binds


def pysnmp_user(name, password=None):
    """pysnmp's UsmUserData of a user of USERS (with `password` for both of
    its passwords if given)."""
    from pysnmp import hlapi
    sec, proto, auth, priv, *rest = USERS[name]
    return hlapi.UsmUserData(name, password or auth, (password or priv) if priv else None,
                             authProtocol=getattr(hlapi, PYSNMP_AUTH[proto]),
                             privProtocol=getattr(hlapi, PYSNMP_PRIV[(rest or [0])[0]] if sec == 2
                                                  else "usmNoPrivProtocol"))


@pytest.mark.parametrize("security", ["v1", "v2c", "md5user", "desuser", "shadesuser"] + NEWER)
def test_pysnmp_reads(world, security):
    from pysnmp import hlapi
    if security in ("v1", "v2c"):
        data = hlapi.CommunityData("mallow", mpModel=security == "v2c")
    else:
        data = pysnmp_user(security)
    err, status, binds = pysnmp_get(data, BASE + ".2.0")
    assert not err and not status, err or status
    assert int(binds[0][1]) == 42


@pytest.mark.parametrize("user", NEWER)
def test_netsnmp_reads_with_every_protocol(world, user):
    code, out = snmp("snmpget", *V3[user], "127.0.0.1", BASE + ".2.0")
    assert code == 0 and out.endswith(" 42"), out


# Wrong passwords get a report that the manager can read without the key it
# failed to prove (at authPriv whatever the privacy password): net-snmp
# says so, pysnmp reports a wrong digest at once (rather than timing out).
@pytest.mark.parametrize("user", ["md5user", "sha224user", "sha512aesuser"])
def test_wrong_password_is_reported(world, user):
    options = ["wrongpassword" if prev in ("-A", "-X") else o
               for prev, o in zip([None] + V3[user], V3[user])]
    code, out = snmp("snmpget", *options, "127.0.0.1", BASE + ".2.0")
    assert code != 0 and out == "snmpget: Authentication failure (incorrect password, community or key)", out
    err, _, _ = pysnmp_get(pysnmp_user(user, "wrongpassword"), BASE + ".2.0")
    assert type(err).__name__ == "WrongDigest", repr(err)


def test_getbulk_gets_no_answer(world):
    for program in ("snmpbulkget", "snmpbulkwalk"):
        code, out = snmp(program, "-v2c", "-c", "mallow", "127.0.0.1", BASE)
        assert code != 0 and "Timeout" in out, out
    assert "unknown request command\n" in world.stderr()


@pytest.mark.parametrize("options,writes", [
    (["-v2c", "-c", "private"], True),
    (["-v1", "-c", "mallow"], False),
    (V3["shadesuser"], True),
    (V3["desuser"], False),
])
def test_set_needs_a_writing_community(world, options, writes):
    sets = len(world.sets)
    code, out = snmp("snmpset", *options, "127.0.0.1", BASE + ".1.0", "s", "renamed")
    assert (code == 0) == writes and len(world.sets) == sets + writes, out
    assert not writes or world.sets[-1].string(1) == "renamed"


@pytest.mark.parametrize("community", ["nosuch", "elsewhere"])
def test_refused_community_gets_no_answer(world, community):
    code, out = snmp("snmpget", "-v2c", "-c", community, "127.0.0.1", BASE + ".3.0")
    assert code != 0 and "Timeout" in out


def test_community_changes_apply_at_once(world):
    def answered():
        return snmp("snmpget", "-v2c", "-c", "elsewhere", "127.0.0.1", BASE + ".3.0")[0] == 0
    elsewhere = str(world.agent.community_ids()["elsewhere"])
    assert world.tarnctl("community", "set", elsewhere, "address=127.0.0.1").strip() == "ok"
    assert answered()
    world.tarnctl("community", "remove", elsewhere)
    assert not answered() and "elsewhere" not in world.agent.community_ids()


def test_reply_leaves_from_the_requested_address(world):
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.settimeout(2)
    s.sendto(get_request(BASE + ".3.0", 1), ("127.0.0.9", 161))
    reply, sender = s.recvfrom(2048)
    s.close()
    assert sender[0] == "127.0.0.9" and reply[13] == 0xA2


def test_vendor_event_trap(world):
    before = len(world.traps())
    world.tarnctl("event", "1.3.6.1.2.1.1.5.0", "string", "x")
    trap = world.wait_trap(before, r"SNMP v1, community mallow\|\.1\.3\.6\.1\.4\.1\.40117\.1\.1\.9\|6\|\.?1\|")
    assert '.1.3.6.1.2.1.1.5.0 = STRING: "x"' in trap


def test_link_events_become_link_traps(world):
    links = re.search(r"^(0x[0-9a-f]+) links$", world.tarnctl("generators"), re.M).group(1)
    world.tarnctl("set", "trap-version=v2c", "trap-generators=start-trap,%d" % int(links, 16))
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


def test_engine_id_longer_than_the_wire_allows_is_refused(world):
    long_id = "core-router-01.dc1.example.net"
    out = world.tarnctl("set", "engine-id=" + long_id, "contact=elsewhere", status=2)
    assert out == ("tarnctl snmp: engine-id=%s: too long: at most 27 octets (32 on the wire with "
                   "its 5-octet prefix)\n" % long_id)
    r = world.agent.cmd([161], bus.SET, {bus.tagged(bus.STRING, 10): "x" * 28,
                                         bus.tagged(bus.STRING, 2): "elsewhere"})
    assert bus.is_error(r) and r.u32(0xff0005) == 0xfe0006, r
    assert r.string(0xff0006) == "engine-id: at most 27 octets (32 on the wire with its prefix)"
    s = world.settings()
    assert s.string(10) == ENGINE_TEXT and s.string(2) == "ops"
    assert snmp("snmpget", *V3["sha224user"], "127.0.0.1", BASE + ".2.0")[0] == 0


def test_empty_generator_list_changes_nothing(world):
    before = world.tarnctl("show")
    out = world.tarnctl("set", "trap-generators=", status=2)
    assert out.startswith("tarnctl snmp: trap-generators=: an empty list changes nothing;"), out
    assert world.tarnctl("show") == before


@pytest.mark.parametrize("version,community,seen", [
    ("v1", "0", r"SNMP v1, community mallow\|\.1\.3\.6\.1\.6\.3\.1\.1\.5\.2\|1\|0\|$"),
    ("v2c", "0", r"SNMP v2c, community mallow\|.*OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.2$"),
    ("v3", "trapuser", r"SNMP v3, user trapuser.*OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.2$"),
])
def test_restart_sends_start_trap_and_keeps_state(world, version, community, seen):
    if community == "trapuser":
        community = str(world.agent.community_ids()[community])
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
    code, out = snmp("snmpget", *V3["desuser"], "127.0.0.1", BASE + ".1.0")
    assert code == 0 and '"renamed"' in out, out
