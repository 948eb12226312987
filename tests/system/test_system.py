"""The whole system in a private network namespace (run_system.sh):
tarn-supervisor running the real tarn-routerd --host and tarn-snmpd, driven
as an operator would, in file order over one world. Waits poll with deadlines.
The host walk is compared with what ip, df, /proc and uname say of the same
host; values the agent fixes by design are listed in docs/mib.md instead.
"""
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
from harness import Trapd, program_env, stop, tool, wait_for  # noqa: E402

SUPERVISOR, TARNCTL = os.environ.get("SYSTEM_SUPERVISOR", ""), os.environ.get("SYSTEM_TARNCTL", "")
LINK, PEER = "tsys0", "tsys1"
ADDRESS, ROUTE, GATEWAY = "10.77.0.1", "10.78.0.0", "10.77.0.2"
IF_DESCR, SYS_DESCR = "1.3.6.1.2.1.2.2.1.2", "1.3.6.1.2.1.1.1.0"
LINK_DOWN, LINK_UP = r"\.1\.3\.6\.1\.6\.3\.1\.1\.5\.3", r"\.1\.3\.6\.1\.6\.3\.1\.1\.5\.4"
# Two veth pairs of known state: tsysa0-tsysa1 up with a set MTU, MAC and
# address on a0; tsysb0 up but its peer tsysb1 down (no carrier).
KNOWN_LINKS = {"tsysa0": ("up", "1400", "02:00:00:79:00:01"),
               "tsysa1": ("up", "1500", "02:00:00:79:00:02"),
               "tsysb0": ("up", "1500", "02:00:00:79:00:03"),
               "tsysb1": ("down", "1500", "02:00:00:79:00:04")}
KNOWN_ADDRESS = "10.79.0.1"


def run(*args):
    r = subprocess.run(list(args), capture_output=True, text=True)
    assert r.returncode == 0, "%s: %s" % (" ".join(args), r.stdout + r.stderr)
    return r.stdout


def answer(program, *args):
    """The tool's output if the agent answered, else None (to poll with)."""
    code, out = tool([program, "-v2c", "-c", "mallow", "-On", "-t", "1", "-r", "0", "127.0.0.1"]
                     + list(args))
    return out if code == 0 else None


def if_index(name):
    # From ip, not /sys: sysfs still shows the namespace it was mounted in.
    return int(run("ip", "-o", "link", "show", "dev", name).split(":", 1)[0])


class World:
    def __init__(self):
        self.dir = tempfile.mkdtemp(prefix="tarn-system-")
        self.root, self.log = os.path.join(self.dir, "root"), os.path.join(self.dir, "supervisor.log")
        self.trapd = Trapd(self.dir, ["authCommunity log mallow"], "TRAP %P|%v\n")
        with open(self.log, "w") as out:
            self.supervisor = subprocess.Popen([SUPERVISOR, "--root", self.root, "--host"],
                                               env=program_env(self.root), stdout=out,
                                               stderr=subprocess.STDOUT)

    def close(self):
        stop([self.supervisor, self.trapd.proc])
        for pid in self.started("tarn-snmpd") + self.started("tarn-routerd"):
            self.kill(pid)
        for link in (LINK,) + tuple(KNOWN_LINKS):
            subprocess.run(["ip", "link", "del", link], capture_output=True)
        shutil.rmtree(self.dir, ignore_errors=True)

    def text(self, tail=False):
        return open(self.log).read()[-800 if tail else 0:]

    def started(self, program):
        return [int(p) for p in re.findall(r"started %s \(pid (\d+)\)" % program, self.text())]

    def agent_pid(self):
        return (self.started("tarn-snmpd") or [None])[-1]

    def kill(self, pid):
        """SIGKILL to pid if it is a child of our supervisor (never anything else)."""
        try:
            ours = int(open("/proc/%d/stat" % pid).read().rsplit(")", 1)[1].split()[1]) == self.supervisor.pid
            return ours and not os.kill(pid, signal.SIGKILL)
        except OSError:
            return False

    def tarnctl(self, *args):
        r = subprocess.run([TARNCTL, "--timeout", "10000"] + list(args), capture_output=True,
                           text=True, env=dict(os.environ, TARN_ROOT=self.root))
        assert r.returncode == 0, "%s: %s%s; %s" % (" ".join(args), r.stdout, r.stderr, self.text(True))
        return r.stdout

    def link_traps(self, before, oid=""):
        binding = ".1.3.6.1.2.1.2.2.1.1 = INTEGER: %d" % if_index(LINK)
        return [t for t in self.trapd.traps()[before:] if re.search(oid, t) and binding in t]

    def flip(self, state, oid):
        """Sets the link up or down; the trap that reports it."""
        before = len(self.trapd.traps())
        run("ip", "link", "set", LINK, state)
        return wait_for(lambda: self.link_traps(before, oid), what=lambda: "trap %s; traps: %s; %s" % (
            oid, self.trapd.traps()[before:], self.text(True)))[0]


@pytest.fixture(scope="module")
def world():
    w = World()
    yield w
    w.close()


def test_supervisor_starts_both_and_snmp_is_enabled_over_the_bus(world):
    sock = os.path.join(world.root, "tarn", "run", "bus", "161.sock")
    wait_for(lambda: os.path.exists(sock) and world.started("tarn-routerd") and world.agent_pid(),
             what=lambda: "start; " + world.text(True))
    world.tarnctl("snmp", "set", "enabled=yes")
    assert re.search(r"^enabled: yes$", world.tarnctl("snmp", "show"), re.M)
    assert SYS_DESCR in wait_for(lambda: answer("snmpget", SYS_DESCR), what="an answer on UDP 161")


def test_veth_link_changes_reach_snmptrapd(world):
    run("ip", "link", "add", LINK, "type", "veth", "peer", "name", PEER)
    run("ip", "link", "set", PEER, "up")
    interfaces = re.search(r"^(0x[0-9a-f]+) interfaces$", world.tarnctl("snmp", "generators"), re.M)
    mallow = re.search(r'^id: (\d+)\nname: "mallow"', world.tarnctl("snmp", "communities"), re.M)
    world.tarnctl("snmp", "set", "trap-target=127.0.0.1", "trap-version=v2c",
                  "trap-community=" + mallow.group(1), "trap-generators=" + interfaces.group(1))
    wait_for(lambda: "subscribed to interfaces" in world.text(), what="the subscription")
    # The agent sends its subscription without waiting for an answer; a
    # round trip to the same service lets tarn-routerd take it in first.
    world.tarnctl("list", "20/0")
    up = world.flip("up", LINK_UP)
    assert "SNMP v2c, community mallow" in up and ".1.3.6.1.2.1.2.2.1.7 = INTEGER: 1" in up
    down = world.flip("down", LINK_DOWN)
    assert ".1.3.6.1.2.1.2.2.1.7 = INTEGER: 2" in down and ".1.3.6.1.2.1.2.2.1.8 = INTEGER: 2" in down
    world.flip("up", LINK_UP)


def walk(*subtrees):
    """{numeric OID: "TYPE: value"} of snmpwalk -On over the subtrees."""
    values = {}
    for tree in subtrees:
        for line in (answer("snmpwalk", tree) or "").splitlines():
            oid, _, value = line.partition(" = ")
            values[oid.lstrip(".")] = value.strip()
    return values


def host_view():
    """What the agent should serve, from ip, /sys, df, /proc and uname."""
    want = {}
    for link in json.loads(run("ip", "-j", "-s", "link", "show")):
        if link["ifname"] not in KNOWN_LINKS:
            continue
        i, rx, tx = link["ifindex"], link["stats64"]["rx"], link["stats64"]["tx"]
        try:  # the kernel's Mbit/s; no figure for a link that is down
            mbit = int(open("/sys/class/net/%s/speed" % link["ifname"]).read())
        except (OSError, ValueError):
            mbit = -1
        # The agent's link-rate rule: only 10M, 100M and 1G have a speed.
        speed = {10: 10000000, 100: 100000000, 1000: 1000000000}.get(mbit, 0)
        for column, value in ((2, 'STRING: "%s"' % link["ifname"]), (4, "INTEGER: %d" % link["mtu"]),
                              (5, "Gauge32: %d" % speed),
                              (6, "Hex-STRING: " + link["address"].replace(":", " ").upper()),
                              (7, "INTEGER: %d" % (1 if "UP" in link["flags"] else 2)),
                              (8, "INTEGER: %d" % (1 if link["operstate"] in ("UP", "UNKNOWN") else 2))):
            want["1.3.6.1.2.1.2.2.1.%d.%d" % (column, i)] = value
        for column, stats in ((10, rx), (16, tx)):  # octets, packets, -, discards, errors
            for offset, key in ((0, "bytes"), (1, "packets"), (3, "dropped"), (4, "errors")):
                want["1.3.6.1.2.1.2.2.1.%d.%d" % (column + offset, i)] = "Counter32: %d" % (stats[key] % 2**32)
        for column, value in ((1, 'STRING: "%s"' % link["ifname"]), (6, rx["bytes"]), (7, rx["packets"]),
                              (10, tx["bytes"]), (11, tx["packets"]), (15, "Gauge32: 0")):
            want["1.3.6.1.2.1.31.1.1.1.%d.%d" % (column, i)] = (
                value if isinstance(value, str) else "Counter64: %d" % value)
    want["1.3.6.1.2.1.4.20.1.2." + KNOWN_ADDRESS] = "INTEGER: %d" % if_index("tsysa0")
    # The link, address and route the earlier tests added, once the cache lets them show.
    want["%s.%d" % (IF_DESCR, if_index(LINK))] = 'STRING: "%s"' % LINK
    want["1.3.6.1.2.1.4.20.1.1." + ADDRESS] = "IpAddress: " + ADDRESS
    want["1.3.6.1.2.1.4.21.1.1." + ROUTE] = "IpAddress: " + ROUTE
    want["1.3.6.1.2.1.4.20.1.3." + KNOWN_ADDRESS] = "IpAddress: 255.255.255.0"
    meminfo = open("/proc/meminfo").read()
    want["1.3.6.1.2.1.25.2.2.0"] = "INTEGER: " + re.search(r"^MemTotal:\s+(\d+)", meminfo, re.M).group(1)
    want["1.3.6.1.2.1.1.5.0"] = 'STRING: "%s"' % socket.gethostname()
    uname = os.uname()
    want["1.3.6.1.4.1.40117.1.1.4.4.0"] = 'STRING: "%s %s"' % (uname.sysname, uname.release)
    return want


def df_root():
    """(size, used) of / in KiB, as df counts them."""
    return [int(v) for v in run("df", "-k", "--output=size,used", "/").split()[-2:]]


def test_walk_matches_ip_df_proc_and_uname(world):
    run("ip", "addr", "add", ADDRESS + "/24", "dev", LINK)
    run("ip", "route", "add", ROUTE + "/16", "via", GATEWAY)
    for name, (state, mtu, mac) in KNOWN_LINKS.items():
        if name.endswith("0"):
            run("ip", "link", "add", name, "type", "veth", "peer", "name", name[:-1] + "1")
    for name, (state, mtu, mac) in KNOWN_LINKS.items():
        # No IPv6: its neighbour discovery would move the counters meanwhile.
        with open("/proc/sys/net/ipv6/conf/%s/disable_ipv6" % name, "w") as f:
            f.write("1")
        run("ip", "link", "set", name, "mtu", mtu, "address", mac, state)
    run("ip", "addr", "add", KNOWN_ADDRESS + "/24", "dev", "tsysa0")
    # Known traffic: five raw frames from tsysa1 to tsysa0.
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as raw:
        raw.bind(("tsysa1", 0))
        frame = bytes.fromhex("020000790001" "020000790002" "88b5") + bytes(86)
        for _ in range(5):
            raw.send(frame)
    trees = ("1.3.6.1.2.1.1.5", "1.3.6.1.2.1.2.2", "1.3.6.1.2.1.31.1.1", "1.3.6.1.2.1.4.20",
             "1.3.6.1.2.1.4.21.1.1", "1.3.6.1.2.1.25.2.2", "1.3.6.1.4.1.40117.1.1.4.4")
    seen = {}

    def agrees():
        want, got = host_view(), walk(*trees)
        seen["diff"] = {k: (v, got.get(k)) for k, v in want.items() if got.get(k) != v}
        return not seen["diff"]
    # Answers are cached for up to 2 s: a walk may first show the old state.
    wait_for(agrees, timeout=15, what=lambda: "agent vs host (want, got): %s" % seen["diff"])
    in_packets = "1.3.6.1.2.1.2.2.1.11.%d" % if_index("tsysa0")
    assert walk(in_packets)[in_packets] == "Counter32: 5"  # the frames were counted
    run("ip", "link", "set", "tsysb1", "up")  # carrier for tsysb0: a link change
    wait_for(agrees, timeout=15, what=lambda: "after a link change: %s" % seen["diff"])

    # Disk: size as df has it, used as df's "Used" (blocks not free), read
    # between two df runs since other writers may be at work.
    def disk():
        before = df_root()
        got = walk("1.3.6.1.2.1.25.2.3.1.5.1", "1.3.6.1.2.1.25.2.3.1.6.1")
        after = df_root()
        size, used = (int(got.get("1.3.6.1.2.1.25.2.3.1.%d.1" % c, "x: -1").split()[-1]) for c in (5, 6))
        slack = before[0] // 1000
        seen["disk"] = "agent size %d used %d; df before %s, after %s" % (size, used, before, after)
        return size == before[0] and min(before[1], after[1]) - slack <= used <= max(before[1], after[1]) + slack
    wait_for(disk, timeout=15, what=lambda: seen["disk"])

    # Uptime within a few seconds; the software identifier names the OS,
    # kernel and machine as os-release and uname do.
    got = walk("1.3.6.1.2.1.25.1.1", "1.3.6.1.4.1.40117.1.1.4.1")
    ticks = int(re.search(r"\((\d+)\)", got["1.3.6.1.2.1.25.1.1.0"]).group(1))
    assert abs(ticks / 100 - float(open("/proc/uptime").read().split()[0])) < 5, got
    ident, uname = got["1.3.6.1.4.1.40117.1.1.4.1.0"], os.uname()
    pretty = re.search(r'^PRETTY_NAME="?([^"\n]*)', open("/etc/os-release").read(), re.M)
    for part in ([pretty.group(1)] if pretty else []) + [uname.release, uname.machine]:
        assert part in ident, (part, ident)


def test_disabled_agent_leaves_and_a_bus_command_starts_it(world):
    left = "tarn-snmpd (pid %d) left by itself" % world.agent_pid()
    world.tarnctl("snmp", "set", "enabled=no")
    wait_for(lambda: left in world.text(), what=lambda: world.text(True))
    assert answer("snmpget", SYS_DESCR) is None
    assert re.search(r"^enabled: no$", world.tarnctl("snmp", "show"), re.M)  # starts it
    after = world.text().split(left)[-1]
    assert "connection for service 161; starting tarn-snmpd" in after
    world.tarnctl("snmp", "set", "enabled=yes")
    wait_for(lambda: answer("snmpget", SYS_DESCR), what="an answer after enabling")


def test_a_taken_port_is_named_by_the_supervisor_and_tarnctl(world):
    world.tarnctl("snmp", "set", "enabled=no")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as taken:  # as snmpd would
        taken.bind(("0.0.0.0", 161))
        before = len(world.text())
        world.tarnctl("snmp", "set", "enabled=yes")
        line = r"tarn-supervisor: tarn-snmpd \(pid \d+\) cannot open UDP port 161: errno 98 \(Address already in use\)"
        log = wait_for(lambda: re.search(line, world.text()[before:]) and world.text()[before:],
                       what=lambda: "the supervisor's line; " + world.text(True))
        assert log.index("cannot create service connection\n") < re.search(line, log).start(), log
        show = world.tarnctl("snmp", "show")
        assert re.search(r"^socket: not open: UDP port 161 is held by python3 \(pid %d\)$" % os.getpid(),
                         show, re.M), show
    world.tarnctl("snmp", "set", "enabled=yes")  # the port is free: this time it opens
    assert re.search(r"^socket: open, UDP port 161 \(pid \d+\)$", world.tarnctl("snmp", "show"), re.M)
    wait_for(lambda: answer("snmpget", SYS_DESCR), what="an answer once the port is free")


def test_restarted_router_services_are_followed_again(world):
    # tarn-routerd forgets its subscribers when it dies; the agent sends its
    # subscription again every few seconds, so link traps resume without
    # touching the agent. The link is flipped until a trap shows it.
    pids = world.started("tarn-routerd")
    assert world.kill(pids[-1])
    wait_for(lambda: len(world.started("tarn-routerd")) > len(pids), what=lambda: world.text(True))
    before, flips = len(world.trapd.traps()), []

    def flip_and_look():
        flips.append("up" if len(flips) % 2 == 0 else "down")
        run("ip", "link", "set", LINK, flips[-1])
        time.sleep(0.5)
        return world.link_traps(before)
    wait_for(flip_and_look, timeout=30, what=lambda: "a link trap after %d flips; %s" % (
        len(flips), world.text(True)))


def test_sigterm_stops_everything(world):
    pids = world.started("tarn-snmpd") + world.started("tarn-routerd")
    world.supervisor.send_signal(signal.SIGTERM)
    assert world.supervisor.wait(20) == 0
    assert "tarn-supervisor: stopped" in world.text()
    assert [p for p in pids if os.path.exists("/proc/%d" % p)] == []
    bus = os.path.join(world.root, "tarn", "run", "bus")
    assert [f for f in os.listdir(bus) if f.endswith(".sock")] == []
