"""Hostile traffic against the real daemon (run_hostile.sh), one test per
kind: a datagram flood, bus garbage, a provider that never answers, a bus
connection flood. After each the daemon must still answer, its RSS stay
within a small bound and its store be byte for byte what it was. The users
and engine ID are those of the create_reply fuzz target, so that its seeds
(real net-snmp and pysnmp requests) are valid requests here.
"""
import os
import random
import resource
import shutil
import socket
import struct
import sys
import tempfile
import time

import pytest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
import tarnbus as bus  # noqa: E402
import harness  # noqa: E402
from harness import get_request, wait_for  # noqa: E402

DAEMON, PLUGIN, SEEDS = (os.environ.get("HOSTILE_" + k, "") for k in ("DAEMON", "PLUGIN", "SEEDS"))
# name -> (security, auth protocol, auth, priv); none may write: the store must not change.
USERS = {"alice": (2, 0, "authpass1234", "privpass5678"), "bob": (1, 1, "bobauthpass", ""),
         "carol": (0, 0, "", ""), "dave": (2, 3, "daveauthpass", "daveprivpass", 1)}
FD_LIMIT = 256  # as on a router
# RSS growth (KiB) over a measured phase, after a warm-up of the same mix,
# that fails: a leak of 50 bytes per flooded datagram exceeds it.
RSS_BOUND_KB = 1024
VALUE_OID = "1.3.6.1.4.1.40117.250.1.0"  # served by the plug-in from {77, 1}
CONST_OID = "1.3.6.1.4.1.40117.250.3.0"  # a constant of the plug-in


class Agent(harness.Daemon):
    # Under AddressSanitizer, no quarantine either, so that RSS measures
    # what the daemon keeps rather than what the sanitizer holds back.
    def __init__(self):
        super().__init__(DAEMON, tempfile.mkdtemp(prefix="tarn-hostile-"), PLUGIN,
                         asan_options=("quarantine_size_mb=0",),
                         preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE,
                                                               (FD_LIMIT, FD_LIMIT)))

    def rss_kb(self):
        return int(open("/proc/%d/status" % self.proc.pid).read().split("VmRSS:")[1].split()[0])

    def store(self):
        d = os.path.join(self.root, "tarn", "store")
        return dict((f, open(os.path.join(d, f), "rb").read()) for f in sorted(os.listdir(d)))

    def snmp_get(self, oid="1.3.6.1.2.1.1.1.0"):
        """The reply to a v2c GET, or None; retried, as the socket buffer may be full."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.settimeout(1.0)
            for _ in range(5):
                s.sendto(get_request(oid, 7), ("127.0.0.1", 161))
                try:
                    return s.recv(65536)
                except socket.timeout:
                    pass
        return None

    def still_well(self, rss0, store):
        rss1 = self.rss_kb()
        print("\nRSS %d -> %d KiB" % (rss0, rss1))
        assert self.proc.poll() is None, self.stderr()[-2000:]
        assert self.snmp_get() is not None
        assert rss1 - rss0 <= RSS_BOUND_KB
        assert self.store() == store

    def bus_conn(self):
        s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        s.settimeout(5)
        s.connect(bus.sock_path(self.root, 161))
        return s


@pytest.fixture(scope="module")
def agent():
    a = Agent()
    a.never_answer = False
    a.values = bus.FakeService(a.root, 77, lambda m: None if a.never_answer else bus.Message(
        {bus.tagged(bus.STRING, 1): "hello", bus.tagged(bus.U32, 2): 42}))
    a.start()
    assert not bus.is_error(a.cmd([161], bus.SET, {bus.tagged(bus.BOOL, 1): True,
                                                   bus.tagged(bus.STRING, 10): "router"}))
    for name, user in USERS.items():
        a.add_user(name, *user)
    assert a.snmp_get() is not None
    yield a
    a.values.close()
    a.close()
    shutil.rmtree(a.root, ignore_errors=True)


def hostile_datagrams(rng, count, valid):
    for n in range(count):
        kind, b = n % 10, bytearray(rng.choice(valid))
        if kind < 5:  # mutated: bit flips, odd length bytes, cuts, junk inserted
            for _ in range(rng.randint(1, 8)):
                i, how = rng.randrange(len(b) + 1), rng.randrange(4)
                if how == 0 and i < len(b):
                    b[i] ^= 1 << rng.randrange(8)
                elif how == 1 and i < len(b):
                    b[i] = rng.choice([0x00, 0x7F, 0x80, 0x81, 0x84, 0x85, 0xFF])
                elif how == 2:
                    del b[i:]
                else:
                    b[i:i] = os.urandom(rng.randint(1, 16))
            yield bytes(b)
        elif kind == 5:  # a strict prefix
            yield bytes(b[:rng.randrange(1, 60)])
        elif kind == 6:
            yield os.urandom(rng.randrange(0, 300))
        elif kind == 7:  # a header that promises more than the datagram holds
            yield bytes([0x30, 0x84, 0x7F, 0xFF, 0xFF, 0xFF]) + os.urandom(rng.randrange(0, 64))
        elif kind == 8 and n % 100 == 8:  # the largest UDP payload, a valid start
            yield bytes(b) + os.urandom(65507 - len(b))
        else:  # deep nesting
            yield bytes([0x30, 0x80] * rng.randrange(1, 400))


def flood(agent, rng, count, valid):
    """Sends count datagrams, checking every 100 that the daemon answers
    (which also paces the flood to what the daemon takes)."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 1 << 20)
        s.setblocking(False)
        for i, d in enumerate(hostile_datagrams(rng, count, valid)):
            try:
                s.sendto(d, ("127.0.0.1", 161))
            except BlockingIOError:
                time.sleep(0.001)
            try:
                while s.recv(65536):  # drop whatever it answered
                    pass
            except BlockingIOError:
                pass
            if i % 100 == 99:
                assert agent.snmp_get() is not None, "no answer; " + agent.stderr()[-2000:]


def test_datagram_flood(agent):
    rng = random.Random(11)
    valid = [open(os.path.join(SEEDS, n), "rb").read() for n in sorted(os.listdir(SEEDS))]
    valid += [get_request(CONST_OID, 9), get_request("1.3.6.1.2.1.1", 1)]
    store = agent.store()
    flood(agent, rng, 3000, valid)  # warm-up: allocator pools, caches
    rss0 = agent.rss_kb()
    flood(agent, rng, 20000, valid)
    agent.still_well(rss0, store)


def test_bus_garbage(agent):
    rng, store = random.Random(12), agent.store()
    valid = bus.Message({bus.tagged(bus.U32_ARRAY, bus.DST): [161], bus.tagged(bus.U32, bus.CMD): bus.GET,
                         bus.tagged(bus.U32_ARRAY, bus.SRC): [999, 0],
                         bus.tagged(bus.U32, bus.SEQ): 5}).flatten()

    frame = lambda body: struct.pack("=I", len(body)) + body  # noqa: E731
    def garbage_round():
        for _ in range(100):  # malformed frames: each closes its connection
            body = bytearray(valid)
            for _ in range(rng.randint(1, 4)):
                body[rng.randrange(len(body))] = rng.randrange(256)
            with agent.bus_conn() as s:
                s.sendall(frame(bytes(body)) + frame(os.urandom(rng.randrange(0, 200))))
                s.shutdown(socket.SHUT_WR)
                try:
                    while s.recv(65536):
                        pass
                except ConnectionResetError:
                    pass  # closed by the daemon either way; a time-out fails
        # Huge length prefixes (refused at once, or dropped when the peer
        # goes away mid-frame), then peers gone mid-frame.
        for data in [struct.pack("=I", n) + os.urandom(200000)
                     for n in (0xFFFFFFFF, 0x80000000, (64 << 20) + 1, 60 << 20)] + \
                [frame(valid)[:cut] for cut in (1, 3, 4, 10, len(valid))]:
            with agent.bus_conn() as s:
                try:
                    s.sendall(data)
                except (BrokenPipeError, ConnectionResetError):
                    pass

    for _ in range(2):  # warm-up
        garbage_round()
    rss0 = agent.rss_kb()
    for _ in range(4):
        garbage_round()
    assert not bus.is_error(agent.cmd([161], bus.GET))
    agent.still_well(rss0, store)


def test_service_that_never_answers(agent):
    # The flood may have read the value through a mutated GETNEXT: wait
    # until any cached copy is older than the cache keeps one (200 ticks).
    time.sleep(2.5)
    agent.never_answer = True
    t0 = time.time()
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.settimeout(15)  # a single try: a retry would wait out a second exchange
        s.sendto(get_request(VALUE_OID, 77), ("127.0.0.1", 161))
        try:
            s.recv(65536)
        except socket.timeout:
            pass
    waited = time.time() - t0
    agent.never_answer = False
    assert 5.5 <= waited <= 12, waited  # the one exchange times out after 6000 ms
    assert agent.snmp_get(CONST_OID) is not None
    assert wait_for(lambda: agent.snmp_get(VALUE_OID) is not None, what="the provider again")


def test_bus_connection_flood(agent):
    """More idle connections than the daemon has descriptors: it must not
    spin on its listening socket meanwhile (it did, at about 20% of a CPU),
    and must serve again once they are gone."""
    conns = []
    try:
        while len(conns) < FD_LIMIT + 200:
            s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            s.setblocking(False)
            for _ in range(50):  # until the backlog stays full for 0.5 s
                try:
                    s.connect(bus.sock_path(agent.root, 161))
                    conns.append(s)
                    break
                except BlockingIOError:
                    time.sleep(0.01)
            else:
                s.close()
                break
        fds = len(os.listdir("/proc/%d/fd" % agent.proc.pid))
        cpu0 = harness.cpu_seconds(agent.proc.pid)
        time.sleep(1.0)
        busy = harness.cpu_seconds(agent.proc.pid) - cpu0
        assert fds >= FD_LIMIT - 1, "the flood did not exhaust the descriptors"
        assert busy < 0.08, "the daemon spins while it has no descriptors left"
    finally:
        for s in conns:
            s.close()

    def bus_answers():
        try:
            return not bus.is_error(agent.cmd([161], bus.GET))
        except OSError:  # the backlog of closed peers is still being taken
            return False
    assert wait_for(bus_answers, what="the bus again")
    assert agent.snmp_get() is not None
