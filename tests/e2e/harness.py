"""What the Python harnesses (tests/e2e, tests/system, tests/hostile) share:
polling with a deadline, net-snmp's tools without MIB files, the environment
of a tarn program under a temporary TARN_ROOT, tarn-snmpd as a process with
its bus commands and tarnctl, tarn-routerd on the example device model,
snmptrapd on 127.0.0.1:162, and hand-built requests. The other folders put
tests/e2e on sys.path to import it (and tarnbus).
"""
import os
import re
import shutil
import signal
import struct
import subprocess
import time

import tarnbus as bus

# net-snmp's names (-a, -x, snmptrapd's createUser) of the agent's
# authentication protocols 0-5 and privacy protocols 0-1.
AUTH_NAMES = ("MD5", "SHA", "SHA-224", "SHA-256", "SHA-384", "SHA-512")
PRIV_NAMES = ("DES", "AES")

# net-snmp's tools with no MIB files: numeric output, and no "Cannot find
# module" lines for the hundreds of modules Debian does not ship.
TOOL_ENV = dict(os.environ, MIBS="", MIBDIRS="")
TARNCTL = os.environ.get("E2E_TARNCTL", "")
MODEL = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "router", "models",
                     "small-router.json")
ROUTER_SERVICES = (10, 12, 16, 20, 24, 44, 48, 65)


def wait_for(check, timeout=10.0, what="condition"):
    """The first true value of check(), polled until `timeout` seconds have
    passed (with one last try then); `what`, a text or a function giving
    one, names what was awaited in the failure."""
    end = time.time() + timeout
    while True:
        value = check()
        if value:
            return value
        if time.time() > end:
            raise AssertionError("timed out waiting for " + (what() if callable(what) else what))
        time.sleep(0.02)


def tool(argv):
    """Runs a net-snmp tool: (exit code, its stdout and stderr, stripped)."""
    r = subprocess.run(list(argv), capture_output=True, text=True, env=TOOL_ENV)
    return r.returncode, (r.stdout + r.stderr).strip()


def program_env(root, *asan_options):
    """The environment of a tarn program under `root`, as if started by
    hand rather than by a supervisor."""
    env = dict(os.environ, TARN_ROOT=root)
    for name in ("TARN_SERVICE_ID", "LISTEN_FDS", "LISTEN_PID"):
        env.pop(name, None)
    # Under AddressSanitizer: the programs never free their start-up objects
    # (MIB leaves, providers, service objects live as long as the process),
    # so the exit leak check would report them; every other check stays on.
    env["ASAN_OPTIONS"] = ":".join(filter(None, [os.environ.get("ASAN_OPTIONS"),
                                                 "detect_leaks=0", *asan_options]))
    return env


def stop(procs, grace=0):
    """Ends the processes still running: SIGTERM and up to `grace` seconds
    to leave if grace is given, then SIGKILL."""
    for p in procs:
        if p is None or p.poll() is not None:
            continue
        if grace:
            p.send_signal(signal.SIGTERM)
            try:
                p.wait(grace)
                continue
            except subprocess.TimeoutExpired:
                pass
        p.kill()
        p.wait()


def cpu_seconds(pid):
    fields = open("/proc/%d/stat" % pid).read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class Daemon:
    """tarn-snmpd under `root` (the caller owns the directory), with the
    test plug-in installed as tarn/lib/snmp/e2e.so if `plugin` is given.
    Run N logs to root/out-N.log and root/err-N.log."""

    def __init__(self, program, root, plugin=None, asan_options=(), preexec_fn=None):
        self.program, self.root, self.runs, self.proc = program, root, 0, None
        self.asan_options, self.preexec_fn = asan_options, preexec_fn
        if plugin:
            plugins = os.path.join(root, "tarn", "lib", "snmp")
            os.makedirs(plugins)
            shutil.copy(plugin, os.path.join(plugins, "e2e.so"))

    def start(self):
        """Starts it and returns once it answers on the bus."""
        self.runs += 1
        self.out = os.path.join(self.root, "out-%d.log" % self.runs)
        self.err = os.path.join(self.root, "err-%d.log" % self.runs)
        self.proc = subprocess.Popen([self.program], env=program_env(self.root, *self.asan_options),
                                     stdout=open(self.out, "w"), stderr=open(self.err, "w"),
                                     preexec_fn=self.preexec_fn)

        def answers():
            try:
                return not bus.is_error(self.cmd([161], bus.GET, timeout=1))
            except OSError:
                return False
        wait_for(answers, what="the daemon on the bus")

    def tarnctl(self, *args, status=0):
        return tarnctl(self.root, "snmp", *args, status=status)

    def community_ids(self):
        """The ids of the communities (and users), by name."""
        return dict((name, int(i)) for i, name in re.findall(
            r'^id: (\d+)\nname: "([^"]*)"', self.tarnctl("communities"), re.M))

    def restart(self):
        self.proc.send_signal(signal.SIGTERM)
        self.proc.wait(5)
        self.start()

    def close(self):
        stop([self.proc])

    def stdout(self):
        return open(self.out).read()

    def stderr(self):
        return open(self.err).read()

    def cmd(self, path, code, fields=None, timeout=5):
        """One bus command to `path`; the reply message."""
        c = bus.Client(self.root)
        try:
            return c.request(path, code, fields, timeout=timeout)
        finally:
            c.close()

    def add_user(self, name, security=0, auth_proto=0, auth="", priv="", priv_proto=0,
                 write=False):
        """A community entry, enabled (and writing if `write`), that is also
        an SNMPv3 user: security 0 noAuthNoPriv, 1 authNoPriv, 2 authPriv;
        auth_proto 0 MD5, 1 SHA, 2-5 SHA-224/256/384/512 (AUTH_NAMES);
        priv_proto 0 DES, 1 AES."""
        r = self.cmd([161, 1], bus.ADD_OBJ, {
            bus.tagged(bus.STRING, 5): name, bus.tagged(bus.BOOL, 6): True,
            bus.tagged(bus.BOOL, 7): write,
            bus.tagged(bus.U32, 15): security, bus.tagged(bus.U32, 20): auth_proto,
            bus.tagged(bus.U32, 21): priv_proto,
            bus.tagged(bus.STRING, 11): auth, bus.tagged(bus.STRING, 12): priv})
        assert not bus.is_error(r), r


def tarnctl(root, *args, status=0):
    """Runs tarnctl under `root`, which must exit with `status`; its
    output (standard error too when the status is not 0)."""
    r = subprocess.run([TARNCTL] + list(args), capture_output=True, text=True, env=program_env(root))
    assert r.returncode == status, r.stdout + r.stderr
    return r.stdout + (r.stderr if status else "")


def start_router(root, log, *options):
    """tarn-routerd serving the example device model under `root`, once all
    its services listen."""
    p = subprocess.Popen([os.environ["E2E_ROUTERD"], "--model", MODEL] + list(options),
                         env=program_env(root),
                         stdout=subprocess.DEVNULL, stderr=open(log, "w"))
    for service in ROUTER_SERVICES:
        wait_for(lambda: os.path.exists(bus.sock_path(root, service)),
                 what="tarn-routerd's service %d" % service)
    return p


def v3_options(users):
    """net-snmp's options for each user of `users`: name -> (security: 0
    noAuthNoPriv, 1 authNoPriv, 2 authPriv; auth protocol (AUTH_NAMES);
    auth password; priv password[; priv protocol (PRIV_NAMES), default
    DES])."""
    return {name: ["-v3", "-u", name, "-l", ("noAuthNoPriv", "authNoPriv", "authPriv")[sec]]
            + (["-a", AUTH_NAMES[proto], "-A", auth] if sec else [])
            + (["-x", PRIV_NAMES[(rest or [0])[0]], "-X", priv] if sec == 2 else [])
            for name, (sec, proto, auth, priv, *rest) in users.items()}


def trapd_conf(engine_text, users):
    """snmptrapd settings: take every v1 and v2c trap, and v3 traps of the
    authPriv `users` (name -> as for v3_options) of the agent whose engine
    ID is `engine_text`."""
    conf = ["disableAuthorization yes"]
    for name, (_, proto, auth, priv, *rest) in users.items():
        conf += ["authUser log %s priv" % name,
                 "createUser -e 0x80009cb504%s %s %s %s %s %s" % (
                     engine_text.encode().hex(), name, AUTH_NAMES[proto], auth,
                     PRIV_NAMES[(rest or [0])[0]], priv)]
    return conf


class Trapd:
    """snmptrapd in the foreground on udp:127.0.0.1:162, configured with
    `conf` (lines), logging each trap to workdir/traps.log as `fmt`."""

    def __init__(self, workdir, conf, fmt):
        path = os.path.join(workdir, "snmptrapd.conf")
        with open(path, "w") as f:
            f.write("".join(line + "\n" for line in conf))
        self.log = os.path.join(workdir, "traps.log")
        env = dict(TOOL_ENV, SNMP_PERSISTENT_DIR=os.path.join(workdir, "trapd"))
        self.proc = subprocess.Popen(["snmptrapd", "-f", "-C", "-c", path, "-Lf", self.log, "-On",
                                      "-F", fmt, "-n", "udp:127.0.0.1:162"],
                                     env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(lambda: os.path.exists(self.log) and "NET-SNMP" in open(self.log).read(),
                 what="snmptrapd")

    def traps(self):
        """The logged traps (`fmt` must start with "TRAP ")."""
        return [t for t in open(self.log).read().splitlines() if t.startswith("TRAP ")]

    def close(self):
        stop([self.proc])


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
