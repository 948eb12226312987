"""A large table whose service dies or stops answering in the middle of a
filling: the agent ends the filling with the pages it has, answers the
request that started it, and serves the next request as usual.

The route service here is a fake that lists routes 1000 a page and, after
a set number of pages, either closes its socket for good or keeps the
connection and never answers again (the agent then waits out its 6 s bus
time-out for that page).
"""
import os
import struct
import tempfile
import time

import pytest

import tarnbus as bus
from harness import Daemon, tool

ROUTES = (44, 1)
PAGE = 1000
CIDR_DEST = "1.3.6.1.2.1.4.24.4.1.1"
SYS_UPTIME = "1.3.6.1.2.1.1.3.0"


def be32(address):
    """An address as the bus holds it: network byte order in memory."""
    return struct.unpack("=I", struct.pack(">I", address))[0]


def route(n):
    """Route n: 10.x.y.0/24 by way of 192.168.0.1 on interface 1."""
    return bus.Message({bus.tagged(bus.U32, bus.OBJ_ID): n + 1,
                        bus.tagged(bus.U32, 1): be32(0x0A000000 + (n << 8)),
                        bus.tagged(bus.U32, 2): be32(0xFFFFFF00),
                        bus.tagged(bus.U32_ARRAY, 4): [be32(0xC0A80001)],
                        bus.tagged(bus.U32_ARRAY, 5): [1],
                        bus.tagged(bus.U32, 7): 3})


class RouteService:
    """Pages of routes; after `good_pages` pages, `failure` happens: "die"
    closes the service, "stall" leaves every later request unanswered."""

    def __init__(self, root, good_pages, failure):
        self.root, self.good_pages, self.failure, self.pages = root, good_pages, failure, 0
        self.service = bus.FakeService(root, ROUTES[0], self.serve)

    def serve(self, m):
        if m.u32(bus.CMD) != bus.GET_ALL:
            return bus.Message({bus.tagged(bus.U32, bus.ERR_CODE): 1,
                                bus.tagged(bus.STRING, bus.ERR_TEXT): "unsupported"})
        if self.pages == self.good_pages:
            if self.failure == "die":
                self.service.close()
            return None
        start = m.u32(bus.NEXT, 0)
        self.pages += 1
        return bus.Message({bus.tagged(bus.MESSAGE_ARRAY, bus.OBJ_LIST):
                            [route(n) for n in range(start, start + PAGE)],
                            bus.tagged(bus.U32, bus.NEXT): start + PAGE})


@pytest.fixture
def agent():
    root = tempfile.mkdtemp(prefix="tarn-fill-")
    daemon = Daemon(os.environ["E2E_DAEMON"], root)
    daemon.start()
    daemon.tarnctl("set", "enabled=yes")
    yield daemon
    daemon.close()


def snmp(program, *args, timeout=10):
    return tool([program, "-v2c", "-c", "mallow", "-t", str(timeout), "-r", "0", "-On",
                 "127.0.0.1"] + list(args))


def row(n):
    """The index of route n in ipCidrRouteTable."""
    a = 0x0A000000 + (n << 8)
    return "%d.%d.%d.0.255.255.255.0.0.192.168.0.1" % (a >> 24, (a >> 16) & 255, (a >> 8) & 255)


@pytest.mark.parametrize("failure", ["die", "stall"])
def test_a_service_that_fails_mid_filling_leaves_the_agent_serving(agent, failure):
    service = RouteService(agent.root, 3, failure)
    started = time.time()
    # One request, so that all three names are answered from one filling:
    # the first row, the last row that came, and what follows it.
    code, out = snmp("snmpgetnext", CIDR_DEST, CIDR_DEST + "." + row(3 * PAGE - 2),
                     CIDR_DEST + "." + row(3 * PAGE - 1))
    took = time.time() - started
    assert code == 0, out
    names = [line.split(" = ")[0] for line in out.splitlines()]
    assert names == ["." + CIDR_DEST + "." + row(0), "." + CIDR_DEST + "." + row(3 * PAGE - 1),
                     ".1.3.6.1.2.1.4.24.4.1.2." + row(0)], out
    assert service.pages == 3
    # A stalled service costs one bus time-out, a dead one nothing.
    assert (took > 5) == (failure == "stall"), took
    started = time.time()
    code, out = snmp("snmpget", SYS_UPTIME, timeout=1)
    assert code == 0 and "Timeticks" in out, out
    assert time.time() - started < 1
    if failure == "die":
        # Once that filling is dropped, the table is empty: the walk of the
        # column ends at once.
        time.sleep(0.5)
        code, out = snmp("snmpgetnext", CIDR_DEST)
        assert code == 0 and not out.startswith("." + CIDR_DEST + "."), out
    assert agent.proc.poll() is None, agent.stderr()
