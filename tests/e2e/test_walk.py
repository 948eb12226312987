"""End to end: net-snmp walks of the example device model (served by
tarn-routerd, read over the bus by tarn-snmpd) must equal
tests/e2e/expected/<group>.walk line for line: OID, type, value. After a
deliberate change, WALK_UPDATE=1 ctest -R e2e_walk regenerates them; review
the diff. The model fixes uptime, clock and counters, TZ=UTC the DateAndTime
objects; the OS identity (...40117.1.1.4.4.0, from uname) is @OS_VERSION@.

The health group registers voltage, temperature and cpu temperature
(...40117.1.1.3.8, .10, .11) on its first fetch: a fresh agent's first walk
reaches .3.9 first, then .10 and .11, and misses .8, which sorts before it.
The tests share one world in file order: that walk, the group walks, two
whole walks, then the SETs, whose every bus command a tap records.
Run by run_e2e.sh (root, private network namespace, port 161).
"""
import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import tarnbus as bus  # noqa: E402
from harness import (ROUTER_SERVICES, TOOL_ENV, Daemon, start_router, stop, tarnctl,  # noqa: E402
                     tool, wait_for)

os.environ["TZ"] = "UTC"  # for every program the tests start
UPDATE = os.environ.get("WALK_UPDATE", "") not in ("", "0")
HERE = os.path.dirname(os.path.abspath(__file__))
EXPECTED = os.path.join(HERE, "expected")
MIBS = os.path.join(HERE, "..", "..", "mibs")
OS_LINE = ".1.3.6.1.4.1.40117.1.1.4.4.0 = STRING: "
OS_VERSION = "%s %s" % (os.uname().sysname, os.uname().release)
VOLTAGE = ".1.3.6.1.4.1.40117.1.1.3.8.0 = "

# The groups in OID order: together they are the whole served tree.
GROUPS = [
    ("system", "1.3.6.1.2.1.1"),
    ("interfaces", "1.3.6.1.2.1.2"),
    ("ip", "1.3.6.1.2.1.4"),
    ("bridge", "1.3.6.1.2.1.17"),
    ("host", "1.3.6.1.2.1.25"),
    ("ifx", "1.3.6.1.2.1.31"),
    ("vendor", "1.3.6.1.4.1.40117"),
]


class Tap:
    """Takes the place of one service's bus socket (moved aside) and passes
    every connection on to it frame by frame, unchanged, both ways; the
    commands that go through are recorded, parsed, in `seen`."""

    def __init__(self, root, service):
        path = bus.sock_path(root, service)
        self.moved, self.seen = path + ".tapped", []
        os.rename(path, self.moved)
        self.srv = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.srv.bind(path)
        self.srv.listen(16)
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                down, _ = self.srv.accept()
            except OSError:
                return
            up = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            up.connect(self.moved)
            for src, dst, record in ((down, up, True), (up, down, False)):
                threading.Thread(target=self._pump, args=(src, dst, record), daemon=True).start()

    def _pump(self, src, dst, record):
        try:
            while True:
                head = bus.read_exact(src, 4)
                body = head and bus.read_exact(src, struct.unpack("=I", head)[0])
                if body is None:
                    break
                if record:
                    self.seen.append(bus.Message.parse(body))
                dst.sendall(head + body)
        except OSError:
            pass
        for s in (src, dst):
            try:
                s.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


class World:
    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="tarn-walk-")
        self.router_err = os.path.join(self.root, "routerd.log")
        # Both actions are carried out (and logged) by a model, harmlessly.
        self.routerd = start_router(self.root, self.router_err, "--allow-reboot", "--allow-scripts")
        self.taps = {service: Tap(self.root, service) for service in ROUTER_SERVICES}
        self.agent = Daemon(os.environ["E2E_DAEMON"], self.root)
        self.agent.start()
        self.agent.tarnctl("set", "enabled=yes", "contact=noc@example.net", "location=rack 4")
        self.agent.tarnctl("community", "add", "private", "read=yes", "write=yes")
        wait_for(lambda: snmp("snmpget", "mallow", "1.3.6.1.2.1.1.1.0")[0] == 0,
                 what="the agent on UDP 161")

    def close(self):
        stop([self.routerd], grace=5)
        self.agent.close()
        for tap in self.taps.values():
            tap.srv.close()
        shutil.rmtree(self.root, ignore_errors=True)


def snmp(program, community, *args):
    return tool([program, "-v2c", "-c", community, "-On", "-Oe", "-t", "3", "-r", "0",
                 "127.0.0.1"] + list(args))


def walk(oid):
    code, out = snmp("snmpwalk", "mallow", oid)
    assert code == 0, out
    lines = [line.rstrip() for line in out.splitlines()]
    for i, line in enumerate(lines):
        if line.startswith(OS_LINE):
            assert line == OS_LINE + '"%s"' % OS_VERSION, line
            lines[i] = OS_LINE + '"@OS_VERSION@"'
    return lines


def expected(group):
    with open(os.path.join(EXPECTED, group + ".walk")) as f:
        return [line.rstrip() for line in f.read().splitlines() if not line.startswith("#")]


def whole_tree():
    return [line for group, _ in GROUPS for line in expected(group)]


@pytest.fixture(scope="module")
def world():
    w = World()
    yield w
    w.close()


def test_first_walk_misses_only_the_voltage(world):
    first = walk(".1")
    if UPDATE:
        return
    assert first == [line for line in whole_tree() if not line.startswith(VOLTAGE)]
    assert "+ voltage\n+ temperature\n+ cpu temperature\n" in world.agent.stdout()


@pytest.mark.parametrize("group,oid", GROUPS)
def test_group_walk(world, group, oid):
    got = walk(oid)
    if UPDATE:
        with open(os.path.join(EXPECTED, group + ".walk"), "w") as f:
            f.write("# snmpwalk -v2c -On -Oe %s of router/models/small-router.json "
                    "(TZ=UTC); regenerate: WALK_UPDATE=1\n" % oid)
            f.write("\n".join(got) + "\n")
    assert got == expected(group)


def test_whole_tree_walks_identically_every_time(world):
    first, second = walk(".1"), walk(".1")
    assert first == second
    assert first == whole_tree()


END_OF_MIB_VIEW = "No more variables left in this MIB View (It is past the end of the MIB tree)"


def normalised(out):
    lines = [line.rstrip() for line in out.splitlines()]
    return [OS_LINE + '"@OS_VERSION@"' if line.startswith(OS_LINE) else line for line in lines]


def pysnmp_walk(command, oid, v1=False, **options):
    """(OID, value) text pairs of a pysnmp walk under `oid`, without the
    endOfMibView that ends a walk of the last subtree; raises on an error
    indication or status."""
    from pysnmp import hlapi
    args = [hlapi.SnmpEngine(), hlapi.CommunityData("mallow", mpModel=0 if v1 else 1),
            hlapi.UdpTransportTarget(("127.0.0.1", 161), timeout=3, retries=0), hlapi.ContextData()]
    if command == "bulkCmd":
        args += [0, 25]
    got = []
    for err, status, index, binds in getattr(hlapi, command)(
            *args, hlapi.ObjectType(hlapi.ObjectIdentity(oid)), lexicographicMode=False, **options):
        assert not err and not status, (err, status, index)
        got += [(str(name), value.prettyPrint()) for name, value in binds
                if type(value).__name__ != "EndOfMibView"]
    return got


# With bulk and exceptions on, every bulk client gets exactly the rows of the
# GETNEXT walk, which itself does not change; v1 managers see no Counter64.
def test_bulk_walks_equal_the_getnext_walk(world):
    world.agent.tarnctl("set", "bulk=yes", "exceptions=yes")
    # The walk of everything now ends at an endOfMibView, not noSuchName.
    tree = whole_tree()
    assert tree[-1] == "End of MIB"
    tree[-1] = tree[-2].split(" = ")[0] + " = " + END_OF_MIB_VIEW
    try:
        assert walk(".1") == tree
        for oid, rows in ((".1", tree), ("1.3.6.1.2.1.2.2", expected("interfaces")[1:])):
            code, out = snmp("snmpbulkwalk", "mallow", "-Cr25", oid)
            assert code == 0 and normalised(out) == rows, out
        code, out = snmp("snmpbulkget", "mallow", "-Cn1", "-Cr2", SYS_DESCR, "1.3.6.1.2.1.2.2.1.2")
        assert code == 0 and normalised(out) == [
            line for line in whole_tree() if line.startswith((".1.3.6.1.2.1.1.2.0 =", ".1.3.6.1.2.1.2.2.1.2.1 =",
                                                              ".1.3.6.1.2.1.2.2.1.2.2 ="))], out
        for module, table in (("TARN-ROUTER-MIB", "tarnPeerTable"), ("IP-FORWARD-MIB", "ipCidrRouteTable")):
            tables = [tool(["snmptable", "-v2c", "-c", "mallow", "-M", MIBS, "-m", module,
                            "-Cf", "|", *flags, "127.0.0.1", table]) for flags in ([], ["-CB"])]
            assert tables[0][0] == 0 and tables[0] == tables[1], tables
        # The route table's rows, named by the compact IP-FORWARD-MIB, are the walk's.
        routes = [line for line in expected("ip") if line.startswith(".1.3.6.1.2.1.4.24.4.1.1.")]
        assert [row.split("|")[0] for row in tables[0][1].splitlines()[3:]] == [
            route.split("IpAddress: ")[1] for route in routes] != [], tables[0][1]
        for tree in ("1.3.6.1.2.1.2", "1.3.6.1.4.1.40117.1.1.11"):
            assert pysnmp_walk("bulkCmd", tree) == pysnmp_walk("nextCmd", tree)
        # Version 1: the Counter64 rows of ifXTable are stepped over, and a GET of one
        # is noSuchName at once.
        v1 = pysnmp_walk("nextCmd", "1.3.6.1.2.1.31", v1=True)
        assert [name for name, _ in v1] == [
            line.split(" ")[0][1:] for line in expected("ifx") if "Counter64" not in line]
        code, out = tool(["snmpget", "-v1", "-c", "mallow", "-t", "3", "-r", "0", "-On", "127.0.0.1",
                          "1.3.6.1.2.1.31.1.1.1.6.1", SYS_DESCR])
        assert code != 0 and "noSuchName" in out and "Failed object: .1.3.6.1.2.1.31.1.1.1.6.1" in out, out
        # Version 2c: an absent name takes its exception, the others their values.
        code, out = snmp("snmpget", "mallow", SYS_DESCR, "1.3.6.1.2.1.1.99.0", "1.3.6.1.2.1.1.1.1")
        assert code == 0 and normalised(out) == [
            "." + SYS_DESCR + " = " + served(SYS_DESCR),
            ".1.3.6.1.2.1.1.99.0 = No Such Object available on this agent at this OID",
            ".1.3.6.1.2.1.1.1.1 = No Such Instance currently exists at this OID"], out
    finally:
        world.agent.tarnctl("set", "bulk=no", "exceptions=no")


def named(program, oid):
    r = subprocess.run([program, "-v2c", "-c", "mallow", "-M", MIBS, "-m", "TARN-ROUTER-MIB",
                        "-t", "3", "-r", "0", "127.0.0.1", oid],
                       capture_output=True, text=True, env=TOOL_ENV)
    assert r.returncode == 0 and r.stderr == "", r.stderr
    return r.stdout.splitlines()


def test_the_vendor_mib_names_every_served_object(world):
    # With the project's MIB files alone, net-snmp names every vendor
    # object and finds every value of the syntax the module declares.
    lines = named("snmpwalk", "1.3.6.1.4.1.40117")
    assert len(lines) == len(expected("vendor"))
    assert [line for line in lines if not line.startswith("TARN-ROUTER-MIB::")] == ["End of MIB"]
    assert [line for line in lines if "Wrong Type" in line] == []
    assert named("snmpget", "1.3.6.1.2.1.1.2.0")[0].endswith(" = OID: TARN-ROUTER-MIB::tarnRouter")


def get(oid):
    code, out = snmp("snmpget", "mallow", oid)
    assert code == 0, out
    return out.split(" = ", 1)[1]


def served(oid):
    """The value of `oid` in the expected walk."""
    prefix = "." + oid + " = "
    return [line[len(prefix):] for line in whole_tree() if line.startswith(prefix)][0]


ENVELOPE = (bus.DST, bus.SRC, bus.SEQ, bus.CMD)
READS = (bus.GET, bus.GET_OBJ, bus.GET_ALL, bus.GET_COUNT)


def writes(world, since):
    """Every command other than a read that reached a service since `since`
    (a snapshot of the taps' lengths): (path, command, data fields), sorted."""
    out = []
    for service, tap in world.taps.items():
        for m in tap.seen[since[service]:]:
            if m.u32(bus.CMD) in READS:
                continue
            data = sorted((tid, v) for tid, v in m.items() if tid & 0x07FFFFFF not in ENVELOPE)
            out.append((tuple(m.u32s(bus.DST)), m.u32(bus.CMD), data))
    return sorted(out)


def S(n, v): return (bus.tagged(bus.STRING, n), v)  # noqa: E704
def U(n, v): return (bus.tagged(bus.U32, n), v)  # noqa: E704


SYS_NAME, REBOOT = "1.3.6.1.2.1.1.5.0", "1.3.6.1.4.1.40117.1.1.7.1.0"
SCRIPT = "1.3.6.1.4.1.40117.1.1.8.1.1."
SYS_UPTIME, SYS_DESCR = "1.3.6.1.2.1.1.3.0", "1.3.6.1.2.1.1.1.0"
SYS_CONTACT, SYS_LOCATION = "1.3.6.1.2.1.1.4.0", "1.3.6.1.2.1.1.6.0"
IF_DESCR, PEER_IDENTITY = "1.3.6.1.2.1.2.2.1.2.1", "1.3.6.1.4.1.40117.1.1.11.1.1.4.1"
ROUTE_METRIC = "1.3.6.1.2.1.4.24.4.1.11.0.0.0.0.0.0.0.0.0.203.0.113.1"
CONTROL = (24, 2)  # the reboot object's own service, written with no fields

# Each SET and every write it sends to a service: (path, command, fields).
# The agent answers every SET of an existing object with success, echoing
# the value (a write that the object refuses is not reported back); what
# tells a refused SET is that no write with a field reaches a service.
SETS = [
    (SYS_NAME, "s", "edge-02", [((24, 1), bus.SET, [S(12, "edge-02")])]),
    (REBOOT, "i", "0", [(CONTROL, bus.SET, [])]),
    (REBOOT, "i", "1", [((24,), 5, []), (CONTROL, bus.SET, [])]),
    (SCRIPT + "2.2", "s", "failover-2", [((48, 101), bus.SET_OBJ, [U(bus.OBJ_ID, 2), S(102, "failover-2")])]),
    (SCRIPT + "3.1", "i", "1", [((48, 101), 1, [U(bus.OBJ_ID, 1)])]),
    # Refused: the agent's own settings, constants, read-only records.
    (SYS_CONTACT, "s", "x", []),
    (SYS_LOCATION, "s", "x", []),
    (SYS_DESCR, "s", "x", []),
    (SYS_UPTIME, "t", "5", [(CONTROL, bus.SET, [])]),
    (IF_DESCR, "s", "x", [((20, 0), bus.SET_OBJ, [])]),
    (ROUTE_METRIC, "i", "5", [((44, 1), bus.SET_OBJ, [])]),
    (PEER_IDENTITY, "s", "x", [((10, 1), bus.SET_OBJ, [])]),
]


@pytest.mark.parametrize("oid,kind,value,sent", SETS)
def test_set_sends_exactly(world, oid, kind, value, sent):
    since = {service: len(tap.seen) for service, tap in world.taps.items()}
    code, out = snmp("snmpset", "private", oid, kind, value)
    assert code == 0, out
    assert writes(world, since) == sorted(sent)


# The value each SET object reads after the agent's cache of its SETs is
# dropped (its timer looks every 25 ticks for 25 ticks without a read, so at
# most 0.5 s after the last one): a refused object reads as it was served.
AFTER = [(SYS_NAME, 'STRING: "edge-02"'), (SCRIPT + "2.2", 'STRING: "failover-2"'),
         (SCRIPT + "3.1", "INTEGER: 0"), (REBOOT, "INTEGER: 0")] + [
    (oid, None) for oid in (SYS_CONTACT, SYS_LOCATION, SYS_DESCR, SYS_UPTIME, IF_DESCR,
                            ROUTE_METRIC, PEER_IDENTITY)]


def test_sets_changed_only_the_writable_objects(world):
    time.sleep(1.0)
    for oid, value in AFTER:
        assert get(oid) == (value or served(oid)), oid
    assert 'str:12="edge-02"' in tarnctl(world.root, "send", "24/1", "get")
    scripts = tarnctl(world.root, "list", "48/101")
    assert '"failover-2"' in scripts and '"backup"' in scripts, scripts
    log = open(world.router_err).read()
    assert log.count("reboot requested by 161/0: rebooting\n") == 1, log
    assert log.count("run of script 1 requested by 161/0: done\n") == 1, log
    assert 'contact: "noc@example.net"' in world.agent.tarnctl("show")
