"""Captures the seed corpora of the fuzz targets from real traffic.

Run as root (it makes a private network namespace):
    unshare --net sh -c 'ip link set lo up && python3 fuzz/capture_seeds.py \
        DAEMON TARNCTL fuzz/corpus'
Starts the daemon over a temporary root with the communities and users the
create_reply target knows (engine "router"; alice authPriv MD5/DES, bob
authNoPriv SHA, carol noAuthNoPriv, dave authPriv SHA-256/AES, private
read-write), relays net-snmp's
and pysnmp's requests through a UDP port that records them, records the
frames tarnctl sends through a bus relay, and copies the daemon's store
files. Writes the files under CORPUS/<target>/ and prints what it wrote.
"""
import hashlib
import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
import tarnbus as bus  # noqa: E402

DAEMON, TARNCTL, CORPUS = sys.argv[1:4]
ENV = dict(os.environ, MIBS="", MIBDIRS="")
SYS = "1.3.6.1.2.1.1"


def save(target, data, name):
    d = os.path.join(CORPUS, target)
    os.makedirs(d, exist_ok=True)
    path = os.path.join(d, "seed-%s-%s" % (name, hashlib.sha1(data).hexdigest()[:8]))
    with open(path, "wb") as f:
        f.write(data)
    print(path, len(data))


class UdpRecorder:
    """Relays datagrams from managers on port 1161 to the agent on 161."""

    def __init__(self):
        self.front = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.front.bind(("127.0.0.1", 1161))
        self.back = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.back.connect(("127.0.0.1", 161))
        self.back.settimeout(0.5)
        self.requests = []
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        while True:
            data, peer = self.front.recvfrom(65536)
            self.requests.append(data)
            self.back.send(data)
            try:
                self.front.sendto(self.back.recv(65536), peer)
            except socket.timeout:
                pass


def main():
    root = tempfile.mkdtemp(prefix="tarn-seeds-")
    env = dict(os.environ, TARN_ROOT=root, ASAN_OPTIONS="detect_leaks=0")
    env.pop("TARN_SERVICE_ID", None)
    daemon = subprocess.Popen([DAEMON], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        client = bus.Client(root)
        for _ in range(100):
            try:
                client.request([161], bus.GET, timeout=1)
                break
            except OSError:
                client.close()
                time.sleep(0.05)
        ctl = lambda *a: subprocess.run([TARNCTL, "snmp"] + list(a), check=True, env=env,
                                        stdout=subprocess.DEVNULL)
        ctl("set", "enabled=yes", "engine-id=router", "contact=ops")
        users = [("private", 0, 0, "", "", True, 0),
                 ("alice", 2, 0, "authpass1234", "privpass5678", False, 0),
                 ("bob", 1, 1, "bobauthpass", "", True, 0), ("carol", 0, 0, "", "", False, 0),
                 ("dave", 2, 3, "daveauthpass", "daveprivpass", False, 1)]
        for name, sec, proto, auth, priv, write, priv_proto in users:
            r = client.request([161, 1], bus.ADD_OBJ, {
                bus.tagged(bus.STRING, 5): name, bus.tagged(bus.BOOL, 6): True,
                bus.tagged(bus.BOOL, 7): write, bus.tagged(bus.U32, 15): sec,
                bus.tagged(bus.U32, 20): proto, bus.tagged(bus.U32, 21): priv_proto,
                bus.tagged(bus.STRING, 11): auth, bus.tagged(bus.STRING, 12): priv})
            assert not bus.is_error(r), r
        print("boots", client.request([161], bus.GET).u32(13))
        rec = UdpRecorder()
        target = ["127.0.0.1:1161"]
        runs = [
            ("v1-get", ["snmpget", "-v1", "-c", "mallow"] + target + [SYS + ".1.0", SYS + ".3.0"]),
            ("v2c-next", ["snmpgetnext", "-v2c", "-c", "mallow"] + target + [SYS]),
            ("v2c-set", ["snmpset", "-v2c", "-c", "private"] + target + [SYS + ".4.0", "s", "x",
                                                                         SYS + ".3.0", "t", "5"]),
            ("v2c-set-oid", ["snmpset", "-v2c", "-c", "private"] + target + [SYS + ".2.0", "o", "1.3.6.1.9",
                                                                             SYS + ".5.0", "a", "10.0.0.9"]),
            ("v2c-bulk", ["snmpbulkget", "-v2c", "-c", "mallow"] + target + [SYS]),
            ("v3-noauth", ["snmpget", "-v3", "-l", "noAuthNoPriv", "-u", "carol"] + target + [SYS + ".1.0"]),
            ("v3-authnopriv", ["snmpset", "-v3", "-l", "authNoPriv", "-u", "bob", "-a", "SHA", "-A",
                               "bobauthpass"] + target + [SYS + ".4.0", "s", "bob", SYS + ".7.0", "i", "3"]),
            ("v3-authpriv", ["snmpgetnext", "-v3", "-l", "authPriv", "-u", "alice", "-a", "MD5", "-A",
                             "authpass1234", "-x", "DES", "-X", "privpass5678"] + target + [SYS + ".1.0"]),
            ("v3-authpriv-aes", ["snmpget", "-v3", "-l", "authPriv", "-u", "dave", "-a", "SHA-256", "-A",
                                 "daveauthpass", "-x", "AES", "-X", "daveprivpass"] + target + [SYS + ".1.0"]),
        ]
        for name, cmd in runs:
            before = len(rec.requests)
            subprocess.run(cmd[:1] + ["-On", "-t", "1", "-r", "0"] + cmd[1:], env=ENV,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            for i, d in enumerate(rec.requests[before:]):
                save("create_reply", d, "%s-%d" % (name, i))
        py = ("from pysnmp.hlapi import *\n"
              "r=next(getCmd(SnmpEngine(),UsmUserData('alice','authpass1234','privpass5678',"
              "authProtocol=usmHMACMD5AuthProtocol,privProtocol=usmDESPrivProtocol),"
              "UdpTransportTarget(('127.0.0.1',1161),timeout=1,retries=0),ContextData(),"
              "ObjectType(ObjectIdentity('%s.1.0'))))\n" % SYS)
        before = len(rec.requests)
        subprocess.run(["/usr/bin/python3", "-c", py], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for i, d in enumerate(rec.requests[before:]):
            save("create_reply", d, "pysnmp-v3-%d" % i)
        for d in rec.requests:  # the same datagrams, behind a script byte
            save("in_stream", bytes([0x0E]) + d[:200], "walk")
        # Bus frames: tarnctl's requests, seen by a stand-in service 161.
        daemon.terminate()
        daemon.wait(5)
        frames = []

        def record(m):
            frames.append(m.flatten())
            return bus.Message()
        store = os.path.join(root, "tarn", "store")
        for f in os.listdir(store):
            if not f.endswith(".tmp"):
                save("store_load", open(os.path.join(store, f), "rb").read(), f)
        fake = bus.FakeService(root, 161, record)
        for args in (["show"], ["communities"], ["set", "contact=x", "enabled=yes"],
                     ["community", "add", "z", "read=yes", "address=10.0.0.1", "netmask=255.0.0.0"]):
            subprocess.run([TARNCTL, "snmp"] + args, env=env, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, timeout=10)
        fake.close()
        for i, f in enumerate(frames):
            save("flat_message", f, "tarnctl-%d" % i)
            frame = struct.pack("=I", len(f)) + f
            save("bus_frame", b"\x00" + frame, "request-%d" % i)
            save("bus_frame", b"\x01" + frame, "answer-%d" % i)
    finally:
        if daemon.poll() is None:
            daemon.kill()
        shutil.rmtree(root, ignore_errors=True)


main()
