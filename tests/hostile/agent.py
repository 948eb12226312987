"""The daemon under attack (run_hostile.sh): a temporary TARN_ROOT, a small
descriptor limit as on a router, configuration over the bus, and the numbers
the hostile tests watch (RSS, CPU time, store files). The users and engine
ID are those of the create_reply fuzz target, so that its seeds (real
net-snmp and pysnmp requests) are valid requests here.
"""
import os
import resource
import shutil
import signal
import socket
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
import tarnbus as bus  # noqa: E402,F401
import harness  # noqa: E402
from harness import get_request, wait_for  # noqa: E402,F401

DAEMON, PLUGIN, SEEDS = (os.environ.get("HOSTILE_" + k, "") for k in ("DAEMON", "PLUGIN", "SEEDS"))
# name -> (security, auth protocol, auth password, priv password); no write
# access anywhere, so that no request may change the store.
USERS = {
    "alice": (2, 0, "authpass1234", "privpass5678"),
    "bob": (1, 1, "bobauthpass", ""),
    "carol": (0, 0, "", ""),
}
FD_LIMIT = 256


def seeds():
    return [open(os.path.join(SEEDS, n), "rb").read() for n in sorted(os.listdir(SEEDS))]


class Agent(harness.Daemon):
    # Under AddressSanitizer, no quarantine either, so that RSS measures
    # what the daemon keeps rather than what the sanitizer holds back.
    def __init__(self, plugin=True):
        super().__init__(DAEMON, tempfile.mkdtemp(prefix="tarn-hostile-"),
                         PLUGIN if plugin else None, asan_options=("quarantine_size_mb=0",),
                         preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE,
                                                               (FD_LIMIT, FD_LIMIT)))

    def alive(self):
        return self.proc.poll() is None

    def kill(self):
        self.proc.send_signal(signal.SIGKILL)
        self.proc.wait(5)

    def close(self):
        super().close()
        shutil.rmtree(self.root, ignore_errors=True)

    def rss_kb(self):
        status = open("/proc/%d/status" % self.proc.pid).read()
        return int(status.split("VmRSS:")[1].split()[0])

    def cpu_seconds(self):
        return harness.cpu_seconds(self.proc.pid)

    def store_files(self):
        d = os.path.join(self.root, "tarn", "store")
        return dict((f, open(os.path.join(d, f), "rb").read()) for f in sorted(os.listdir(d)))

    def configure(self):
        r = self.cmd([161], bus.SET, {bus.tagged(bus.BOOL, 1): True,
                                      bus.tagged(bus.STRING, 10): "router"})
        assert not bus.is_error(r), r
        for name, user in USERS.items():
            self.add_user(name, *user)

    def snmp_get(self, oid="1.3.6.1.2.1.1.1.0"):
        """The reply datagram to a v2c GET, or None. Retries like a manager
        does: during a flood a request may find the socket buffer full."""
        s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        s.settimeout(1.0)
        try:
            for _ in range(5):
                s.sendto(get_request(oid, 7), ("127.0.0.1", 161))
                try:
                    return s.recv(65536)
                except socket.timeout:
                    pass
            return None
        finally:
            s.close()
