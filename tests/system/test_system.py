"""The whole system in a private network namespace (run_system.sh):
tarn-supervisor running the real tarn-routerd --host and tarn-snmpd, driven
as an operator would, in file order over one world. Waits poll with deadlines.
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

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
from harness import Trapd, program_env, stop, tool, wait_for  # noqa: E402

SUPERVISOR, TARNCTL = os.environ.get("SYSTEM_SUPERVISOR", ""), os.environ.get("SYSTEM_TARNCTL", "")
LINK, PEER = "tsys0", "tsys1"
ADDRESS, ROUTE, GATEWAY = "10.77.0.1", "10.78.0.0", "10.77.0.2"
IF_DESCR, SYS_DESCR = "1.3.6.1.2.1.2.2.1.2", "1.3.6.1.2.1.1.1.0"
LINK_DOWN, LINK_UP = r"\.1\.3\.6\.1\.6\.3\.1\.1\.5\.3", r"\.1\.3\.6\.1\.6\.3\.1\.1\.5\.4"


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
        subprocess.run(["ip", "link", "del", LINK], capture_output=True)
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


def test_walk_shows_the_hosts_interfaces_addresses_and_routes(world):
    run("ip", "addr", "add", ADDRESS + "/24", "dev", LINK)
    run("ip", "route", "add", ROUTE + "/16", "via", GATEWAY)
    for column, index, value in ((IF_DESCR, if_index(LINK), 'STRING: "%s"' % LINK),
                                 ("1.3.6.1.2.1.4.20.1.1", ADDRESS, "IpAddress: " + ADDRESS),
                                 ("1.3.6.1.2.1.4.21.1.1", ROUTE, "IpAddress: " + ROUTE)):
        # Answers are cached for a few seconds: a walk may first show the old state.
        line, walks = ".%s.%s = %s" % (column, index, value), []

        def shows():
            walks.append(answer("snmpwalk", column) or "")
            return line in walks[-1].splitlines()
        wait_for(shows, timeout=15, what=lambda: "%s in %s" % (line, walks[-1:]))


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
