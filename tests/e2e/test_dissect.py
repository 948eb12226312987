"""End to end: an independent dissector's view of the agent's traffic.

dumpcap records UDP 161 and 162 on lo while the tests drive the agent
(tarn-snmpd reading the example device model from tarn-routerd): whole-tree
walks in v1 and v2c, GETs and SETs with error replies, SNMPv3 at every
security level with the engine discovery and the refusals, and every kind
of trap (start, vendor event with each value type, linkUp and linkDown) in
v1, v2c and v3. tshark then reads the capture, knowing the SNMPv3 users, so
that it checks every digest and decrypts every encrypted PDU, and must find
no malformed packet and nothing at warning level or above except the rows
of DELIBERATE: the agent's own non-standard encodings and the requests this
test spoils on purpose. Counts of each kind of PDU make sure the capture is
not empty of what the check is about.

Run by run_e2e.sh (root, private network namespace); skipped without tshark.
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import tarnbus as bus  # noqa: E402
from harness import (Daemon, Trapd, start_router, stop, tool, trapd_conf, v3_options,  # noqa: E402
                     wait_for)

KEEP = os.environ.get("DISSECT_KEEP", "")  # a directory to keep the capture in
ENGINE_TEXT = "dissect-engine"

# SNMPv3 users (harness.v3_options says what the numbers mean).
USERS = {
    "plainuser": (0, 0, "", ""),
    "md5user": (1, 0, "md5password", ""),
    "shauser": (1, 1, "shapassword", ""),
    "desuser": (2, 0, "despassword", "desprivpass"),
    "trapuser": (2, 1, "trapauthpass", "trapprivpass"),
    "sha224user": (1, 2, "sha224password", ""),
    "sha256aesuser": (2, 3, "sha256password", "sha256privpass", 1),
    "sha384desuser": (2, 4, "sha384password", "sha384privpass", 0),
    "aestrapuser": (2, 5, "sha512password", "sha512privpass", 1),  # SHA-512, AES
}
# tshark's names of the auth protocols 0-5 and the privacy protocols 0-1.
TSHARK_AUTH = ("MD5", "SHA1", "SHA2-224", "SHA2-256", "SHA2-384", "SHA2-512")
TSHARK_PRIV = ("DES", "AES")

SYS_DESCR, SYS_NAME = "1.3.6.1.2.1.1.1.0", "1.3.6.1.2.1.1.5.0"
MISSING = "1.3.6.1.2.1.1.99.0"
EVENT = "1.3.6.1.4.1.40117.250.9"  # the vendor events' binding names: EVENT.<type>.<n>
LINK_IF = 900  # an interface id the model does not have

# The vendor event's bindings, one trap each: (type, value as text, whether
# the encoding is standard; snmptrapd drops the traps with the others, and
# tarnctl refuses to send those, so they go straight over the bus).
EVENTS = [
    ("integer", "-5", True), ("string", "hello", True), ("null", None, True),
    ("oid", SYS_DESCR, True), ("counter", "7", True), ("timeticks", "100", True),
    ("ipaddress", "10.0.0.1", True),
    ("ipaddress", "0.0.0.5", False),  # IpAddress in 1 octet
    ("ipaddress", "192.0.2.1", False),  # IpAddress in 5 octets
    ("gauge", "5", False),  # a binding without its value
]
TYPE_CODES = {"integer": 2, "string": 4, "null": 5, "oid": 6, "ipaddress": 0x40,
              "counter": 0x41, "gauge": 0x42, "timeticks": 0x43}


def event_name(i):
    return "%s.%d.%d" % (EVENT, TYPE_CODES[EVENTS[i][0]], i)


class World:
    def __init__(self):
        self.dir = tempfile.mkdtemp(prefix="tarn-dissect-")
        self.pcap = os.path.join(self.dir, "agent.pcap")
        dumpcap_err = os.path.join(self.dir, "dumpcap.err")
        self.dumpcap = subprocess.Popen(
            ["dumpcap", "-q", "-i", "lo", "-f", "udp port 161 or udp port 162", "-w", self.pcap],
            stdout=subprocess.DEVNULL, stderr=open(dumpcap_err, "w"))
        wait_for(lambda: "Capturing on" in open(dumpcap_err).read(), what="dumpcap")
        self.root = os.path.join(self.dir, "root")
        os.makedirs(self.root)
        self.trapd = Trapd(self.dir, trapd_conf(ENGINE_TEXT, {u: USERS[u] for u in TRAP_USERS}),
                           "TRAP %P|%v\n")
        self.routerd = start_router(self.root, os.path.join(self.dir, "routerd.log"))
        self.agent = Daemon(os.environ["E2E_DAEMON"], self.root)
        self.agent.start()
        self.tarnctl = self.agent.tarnctl
        self.tarnctl("set", "enabled=yes", "engine-id=" + ENGINE_TEXT)
        self.tarnctl("community", "add", "private", "read=yes", "write=yes")
        for name, user in USERS.items():
            self.agent.add_user(name, *user)
        interfaces = re.search(r"^(0x[0-9a-f]+) interfaces$", self.tarnctl("generators"), re.M)
        self.tarnctl("set", "trap-target=127.0.0.1",
                     "trap-generators=start-trap,%d" % int(interfaces.group(1), 16))
        self.ids = self.agent.community_ids()
        wait_for(lambda: snmp("snmpget", V2C, SYS_DESCR)[0] == 0, what="the agent on UDP 161")

    def link_event(self, state):
        """A link change from the interface list {20, 0}, as the interface
        service notifies its subscribers."""
        bus.send(self.root, [161, 0], 0x10004, {bus.tagged(bus.U32, bus.OBJ_ID): LINK_IF,
                                                bus.tagged(bus.U32, 0x10003): state}, [20, 0])

    def stop_capture(self):
        """Ends the capture, after a moment for dumpcap to read the last
        packets (all sent and received by then)."""
        time.sleep(0.5)
        self.dumpcap.send_signal(signal.SIGINT)
        self.dumpcap.wait(10)

    def close(self):
        stop([self.dumpcap, self.routerd], grace=5)
        self.agent.close()
        self.trapd.close()
        if KEEP:
            shutil.copy(self.pcap, KEEP)
        shutil.rmtree(self.dir, ignore_errors=True)


def snmp(program, options, *names):
    """A net-snmp tool with `options` (version, credentials) against the
    agent, for `names` (and values); (exit code, output)."""
    return tool([program, "-On", "-t", "2", "-r", "0"] + list(options) + ["127.0.0.1"] + list(names))


V1, V2C = ["-v1", "-c", "mallow"], ["-v2c", "-c", "mallow"]
V1_WRITE, V2C_WRITE = ["-v1", "-c", "private"], ["-v2c", "-c", "private"]
V3 = v3_options(USERS)

# Requests and whether the agent answers them without an error; the spoilt
# v3 requests get a report or no answer, which the capture shows.
REQUESTS = [
    ("snmpget", V1, [SYS_DESCR, SYS_NAME], True),
    ("snmpget", V2C, [SYS_DESCR], True),
    ("snmpget", V1, [MISSING], False),  # noSuchName
    ("snmpget", V2C, [MISSING], False),
    ("snmpset", V2C_WRITE, [SYS_NAME, "s", "edge-02"], True),
    ("snmpset", V1_WRITE, [SYS_NAME, "s", "edge-03"], True),
    ("snmpset", V1, [SYS_NAME, "s", "x"], False),  # readOnly: the community may not write
    ("snmpset", V2C, [SYS_NAME, "s", "x"], False),
    ("snmpset", V2C_WRITE, [MISSING, "s", "x"], False),  # noSuchName
] + [("snmpget", V3[name], [SYS_DESCR], True) for name in USERS] + [
    ("snmpgetnext", V3["desuser"], [SYS_DESCR], True),
    ("snmpget", ["-v3", "-u", "nosuchuser", "-l", "noAuthNoPriv"], [SYS_DESCR], False),
    ("snmpget", ["-v3", "-u", "md5user", "-l", "noAuthNoPriv"], [SYS_DESCR], False),
    ("snmpget", ["-v3", "-u", "md5user", "-l", "authNoPriv", "-a", "MD5", "-A", "wrongpassword"],
     [SYS_DESCR], False),
    ("snmpget", ["-v3", "-u", "sha224user", "-l", "authNoPriv", "-a", "SHA-224", "-A",
                 "wrongpassword"], [SYS_DESCR], False),
    ("snmpget", ["-v3", "-u", "desuser", "-l", "authPriv", "-a", "MD5", "-A", "despassword",
                 "-x", "DES", "-X", "wrongprivacy"], [SYS_DESCR], False),
]

# What each trap round sends: (trap version, trap community).
TRAP_USERS = ["trapuser", "aestrapuser"]
TRAP_ROUNDS = [("v1", "mallow"), ("v2c", "mallow")] + [("v3", u) for u in TRAP_USERS]


def drive(world):
    for options in (V1, V2C):
        code, out = snmp("snmpwalk", options, ".1")
        assert code == 0 and out.count("\n") > 100, out[-500:]
    for program, options, names, ok in REQUESTS:
        code, out = snmp(program, options, *names)
        assert (code == 0) == ok, (program, options, names, out)
    for version, community in TRAP_ROUNDS:
        world.tarnctl("set", "trap-version=" + version, "trap-community=%d" % world.ids[community])
        before = len(world.trapd.traps())
        world.agent.restart()  # the start trap
        for i, (kind, value, standard) in enumerate(EVENTS):
            if standard:
                world.tarnctl("event", event_name(i), kind, *([value] if value is not None else []))
            else:
                world.agent.cmd([161], 1, {bus.tagged(bus.STRING, 1001): event_name(i),
                                           bus.tagged(bus.U32, 1002): TYPE_CODES[kind],
                                           bus.tagged(bus.STRING, 1003): value})
        world.link_event(0x500)
        world.link_event(0x000)
        accepted = 1 + len([e for e in EVENTS if e[2]]) + 2
        wait_for(lambda: len(world.trapd.traps()) >= before + accepted,
                 what=lambda: "the %s traps; got %s" % (version, world.trapd.traps()[before:]))
    world.stop_capture()


# The fields read for each packet, by short name; a field that occurs more
# than once is joined with "|". data is the PDU type (0 get, 1 getnext,
# 2 response, 3 set, 4 v1 trap, 7 v2 trap, 8 report), of a decrypted PDU
# too; auth_ok is 1 for a digest that checks out, 0 for one that does not.
FIELDS = [("frame", "frame.number"), ("src", "udp.srcport"), ("dst", "udp.dstport"),
          ("version", "snmp.version"), ("v3", "snmp.msgVersion"), ("data", "snmp.data"),
          ("user", "snmp.msgUserName"), ("auth", "snmp.v3.flags.auth"),
          ("crypt", "snmp.v3.flags.crypt"), ("auth_ok", "snmp.v3.auth"),
          ("status", "snmp.error_status"), ("name", "snmp.name"), ("agent", "snmp.agent_addr"),
          ("ipv4", "snmp.value.ipv4"), ("addr", "snmp.value.addr"),
          ("severity", "_ws.expert.severity"), ("expert", "_ws.expert.message")]
WARNING = 0x600000  # tshark's expert levels: chat 0x200000, note 0x400000, warning, error 0x800000


class Packet(dict):
    def __getattr__(self, name):
        return self[name]

    def has(self, field, value):
        return value in self[field].split("|")

    def from_agent(self):
        return self.src == "161" or self.dst == "162"

    def flagged(self):
        """The expert messages at warning level or above (malformed included)."""
        levels = [int(x) for x in self.severity.split("|") if x]
        return [m for level, m in zip(levels, self.expert.split("|")) if level >= WARNING]


def tshark(world, *args):
    """tshark on the capture, told the users' passwords (for any engine ID)
    so that it checks digests and decrypts DES and AES; a private home keeps
    the preferences of this machine's user out."""
    users = ['uat:snmp_users:"","%s","%s","%s","%s","%s"' % (
        name, TSHARK_AUTH[proto], auth, TSHARK_PRIV[(rest or [0])[0]], priv)
        for name, (_, proto, auth, priv, *rest) in USERS.items()]
    r = subprocess.run(["tshark", "-n", "-r", world.pcap] + [a for u in users for a in ("-o", u)]
                       + list(args), capture_output=True, text=True,
                       env=dict(os.environ, HOME=world.dir, XDG_CONFIG_HOME=world.dir))
    assert r.returncode == 0, r.stderr
    return r.stdout


def dissect(world):
    """tshark's reading of the capture: one Packet per frame."""
    out = tshark(world, "-T", "fields", "-E", "occurrence=a", "-E", "aggregator=|",
                 *[a for _, f in FIELDS for a in ("-e", f)])
    return [Packet(zip([k for k, _ in FIELDS], line.split("\t"))) for line in out.splitlines()]


def gauge_trap(p):
    i = [k for k, e in enumerate(EVENTS) if e[0] == "gauge"][0]
    return p.dst == "162" and p.has("name", event_name(i))


# What tshark flags at warning level or above, each for a reason, each
# expected in exactly `count` packets: (what, which packets, what each
# message starts with, count).
DELIBERATE = [
    # The agent writes no value for a Gauge32 (or Counter64) binding given
    # by an event: the binding ends after its name (one trap per version).
    ("gauge binding without value", gauge_trap, "Malformed Packet (Exception occurred)",
     len(TRAP_ROUNDS)),
    # The requests sent with a wrong authentication password.
    ("wrong digest", lambda p: p.dst == "161" and p.user in ("md5user", "sha224user")
     and p.auth_ok == "0", "SNMP Authentication Error", 2),
    # The request encrypted with a wrong privacy password: decrypted with
    # the right one it is no scoped PDU, and what tshark then says depends
    # on the random bytes ("Decrypted data not formatted as expected",
    # "BER Error: ...", "Malformed Packet").
    ("wrong privacy key", lambda p: p.dst == "161" and p.user == "desuser" and not p.data, "", 1),
]


@pytest.fixture(scope="module")
def world():
    w = World()
    try:
        drive(w)
        yield w
    finally:
        w.close()


@pytest.fixture(scope="module")
def packets(world):
    return dissect(world)


def count(packets, **want):
    """How many packets have the given values (among their fields' values)."""
    return len([p for p in packets if all(p.has(k, str(v)) for k, v in want.items())])


V3_EXCHANGES = [  # (user, the auth and crypt flags of the replies, responses)
    ("plainuser", "0", "0", 1), ("md5user", "1", "0", 1), ("shauser", "1", "0", 1),
    ("desuser", "1", "1", 2), ("trapuser", "1", "1", 1), ("sha224user", "1", "0", 1),
    ("sha256aesuser", "1", "1", 1), ("sha384desuser", "1", "1", 1), ("aestrapuser", "1", "1", 1),
]


def test_capture_holds_every_kind_of_pdu(packets):
    walked = count(packets, src=161, data=2)
    assert walked > 2 * 100, walked
    traps = 1 + len(EVENTS) + 2
    assert count(packets, dst=162, version=0, data=4) == traps
    assert count(packets, dst=162, version=1, data=7) == traps
    for user in TRAP_USERS:
        assert count(packets, dst=162, user=user, data=7, auth=1, crypt=1) == traps, user
    for version in (0, 1):
        for status in (2, 4):  # noSuchName, readOnly
            assert count(packets, src=161, version=version, data=2, status=status), (version, status)
    reports = [p.name for p in packets if p.src == "161" and p.data == "8"]
    assert sorted(set(reports)) == ["1.3.6.1.6.3.15.1.1.%d.0" % n for n in (1, 3, 4, 5)], reports
    discoveries = len([r for r in REQUESTS if r[1][0] == "-v3"])  # one per v3 manager run
    assert reports.count("1.3.6.1.6.3.15.1.1.4.0") == discoveries
    for user, auth, crypt, responses in V3_EXCHANGES:
        assert count(packets, src=161, user=user, data=2, auth=auth, crypt=crypt) == responses, user
    # A report on a wrong digest goes out unauthenticated.
    wrong = [p for p in packets if p.src == "161" and p.has("name", "1.3.6.1.6.3.15.1.1.5.0")]
    assert len(wrong) == 2 and {(p.auth, p.crypt) for p in wrong} == {("0", "0")}, wrong


def test_every_digest_of_the_agent_checks_out_and_every_pdu_decrypts(packets):
    # tshark gives up on the gauge trap before it gets to the digest.
    signed = [p for p in packets if p.from_agent() and p.auth == "1" and not gauge_trap(p)]
    assert len(signed) > 13 and [p.frame for p in signed if p.auth_ok != "1"] == []
    sealed = [p for p in packets if p.from_agent() and p.crypt == "1"]
    assert len(sealed) > 13 and [p.frame for p in sealed if not p.data] == []


# How tshark shows each IpAddress binding of the vendor events: a four-octet
# one as an address, the others as bare octets (the agent writes the value
# in as many octets as it needs, 1 to 5, as for an unsigned INTEGER).
IP_SEEN = {"10.0.0.1": ("ipv4", "10.0.0.1"), "0.0.0.5": ("addr", "05"),
           "192.0.2.1": ("addr", "00c0000201")}


def test_ip_addresses_in_traps(packets):
    for i, (kind, value, _) in enumerate(EVENTS):
        if kind == "ipaddress":
            field, shown = IP_SEEN[value]
            traps = [p for p in packets if p.dst == "162" and p.has("name", event_name(i))]
            assert [p[field] for p in traps] == [shown] * len(TRAP_ROUNDS), value
    v1_traps = [p for p in packets if p.dst == "162" and p.version == "0"]
    assert len(v1_traps) == 13 and {p.agent for p in v1_traps} == {"127.0.0.1"}


def explained(p):
    return any(match(p) and all(m.startswith(message) for m in p.flagged())
               for _, match, message, _ in DELIBERATE)


def test_dissector_flags_only_the_deliberate(world, packets):
    flagged = [p for p in packets if p.flagged()]
    unexplained = [p.frame for p in flagged if not explained(p)]
    if unexplained:
        detail = tshark(world, "-V", "-x", "-Y", " || ".join(
            "frame.number == " + n for n in unexplained))
        raise AssertionError("tshark flags frames %s:\n%s" % (unexplained, detail[-20000:]))
    for what, match, _, n in DELIBERATE:
        assert len([p for p in flagged if match(p)]) == n, what
