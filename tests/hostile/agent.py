"""The daemon under attack: a temporary TARN_ROOT, start, stop, SIGKILL,
configuration over the bus and the numbers the hostile tests watch (RSS,
CPU time, store files). The users and the engine ID are those of the
create_reply fuzz target, so that its seeds (real net-snmp and pysnmp
requests) are valid requests here.
"""
import os
import resource
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
import tarnbus as bus  # noqa: E402

DAEMON = os.environ.get("HOSTILE_DAEMON", "")
PLUGIN = os.environ.get("HOSTILE_PLUGIN", "")
SEEDS = os.environ.get("HOSTILE_SEEDS", "")

# name -> (security, auth protocol, auth password, priv password); no write
# access anywhere, so that no request may change the store.
USERS = {
    "alice": (2, 0, "authpass1234", "privpass5678"),
    "bob": (1, 1, "bobauthpass", ""),
    "carol": (0, 0, "", ""),
}

SYS_DESCR = "1.3.6.1.2.1.1.1.0"
# The daemon's descriptor limit: small, as on a router, so that a test can
# exhaust it cheaply.
FD_LIMIT = 256


def wait_for(check, timeout=10.0, what="condition"):
    end = time.time() + timeout
    while time.time() < end:
        value = check()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError("timed out waiting for " + what)


def tlv(tag, body):
    if len(body) < 0x80:
        return bytes([tag, len(body)]) + body
    return bytes([tag, 0x82, len(body) >> 8, len(body) & 0xFF]) + body


def encode_oid(dotted):
    arcs = [int(a) for a in dotted.strip(".").split(".")]
    out = bytearray([arcs[0] * 40 + arcs[1]])
    for a in arcs[2:]:
        chunk = [a & 0x7F]
        a >>= 7
        while a:
            chunk.insert(0, 0x80 | (a & 0x7F))
            a >>= 7
        out += bytes(chunk)
    return bytes(out)


def get_request(oid, request_id, community=b"mallow"):
    """A v2c GetRequest for one name."""
    vb = tlv(0x30, tlv(0x30, tlv(0x06, encode_oid(oid)) + b"\x05\x00"))
    pdu = tlv(0xA0, tlv(0x02, struct.pack(">I", request_id)) + b"\x02\x01\x00\x02\x01\x00" + vb)
    return tlv(0x30, b"\x02\x01\x01" + tlv(0x04, community) + pdu)


def seeds():
    out = []
    for name in sorted(os.listdir(SEEDS)):
        with open(os.path.join(SEEDS, name), "rb") as f:
            out.append(f.read())
    return out


class Agent:
    def __init__(self, plugin=True):
        self.root = tempfile.mkdtemp(prefix="tarn-hostile-")
        if plugin:
            plugins = os.path.join(self.root, "tarn", "lib", "snmp")
            os.makedirs(plugins)
            shutil.copy(PLUGIN, os.path.join(plugins, "e2e.so"))
        self.proc = None
        self.runs = 0

    # --- process -------------------------------------------------------
    def start(self):
        self.runs += 1
        self.err = os.path.join(self.root, "err-%d.log" % self.runs)
        env = dict(os.environ, TARN_ROOT=self.root)
        env.pop("TARN_SERVICE_ID", None)
        # Under AddressSanitizer: no exit leak check (the daemon keeps its
        # start-up objects for life; growth is watched through RSS instead)
        # and no quarantine, so that RSS measures what the daemon keeps
        # rather than what the sanitizer holds back.
        env["ASAN_OPTIONS"] = ":".join(filter(None, [
            os.environ.get("ASAN_OPTIONS"), "detect_leaks=0", "quarantine_size_mb=0"]))
        self.proc = subprocess.Popen(
            [DAEMON], env=env, stdout=subprocess.DEVNULL, stderr=open(self.err, "w"),
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (FD_LIMIT, FD_LIMIT)))

        def answers():
            try:
                return not bus.is_error(self.cmd([161], bus.GET, timeout=1))
            except OSError:
                return False
        wait_for(answers, what="the daemon on the bus")

    def alive(self):
        return self.proc.poll() is None

    def kill(self):
        self.proc.send_signal(signal.SIGKILL)
        self.proc.wait(5)

    def close(self):
        if self.proc and self.proc.poll() is None:
            self.proc.kill()
            self.proc.wait()
        shutil.rmtree(self.root, ignore_errors=True)

    def stderr(self):
        return open(self.err).read()

    def rss_kb(self):
        for line in open("/proc/%d/status" % self.proc.pid):
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
        raise AssertionError("no VmRSS")

    def cpu_seconds(self):
        fields = open("/proc/%d/stat" % self.proc.pid).read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def store_files(self):
        d = os.path.join(self.root, "tarn", "store")
        return dict((f, open(os.path.join(d, f), "rb").read()) for f in sorted(os.listdir(d)))

    # --- bus -----------------------------------------------------------
    def cmd(self, path, code, fields=None, timeout=5):
        c = bus.Client(self.root)
        try:
            return c.request(path, code, fields, timeout=timeout)
        finally:
            c.close()

    def configure(self):
        r = self.cmd([161], bus.SET, {bus.tagged(bus.BOOL, 1): True,
                                      bus.tagged(bus.STRING, 10): "router"})
        assert not bus.is_error(r), r
        for name, (security, proto, auth, priv) in USERS.items():
            r = self.cmd([161, 1], bus.ADD_OBJ, {
                bus.tagged(bus.STRING, 5): name, bus.tagged(bus.BOOL, 6): True,
                bus.tagged(bus.U32, 15): security, bus.tagged(bus.U32, 20): proto,
                bus.tagged(bus.STRING, 11): auth, bus.tagged(bus.STRING, 12): priv})
            assert not bus.is_error(r), r

    # --- SNMP ----------------------------------------------------------
    def snmp_get(self, oid=SYS_DESCR, timeout=1.0, tries=5, request_id=7):
        """The reply datagram to a v2c GET, or None. Retries like a manager
        does: during a flood a request may find the socket buffer full."""
        s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        s.settimeout(timeout)
        try:
            for _ in range(tries):
                s.sendto(get_request(oid, request_id), ("127.0.0.1", 161))
                try:
                    return s.recv(65536)
                except socket.timeout:
                    pass
            return None
        finally:
            s.close()
