"""End to end: the pollers operators run against the example device model
(served by tarn-routerd), with bulk and exceptions on as scripts/run sets
them. Prometheus' SNMP exporter scrapes ifDescr, ifInOctets and
ifHCInOctets at v1, v2c and v3 authPriv SHA-256 with AES, from a
hand-written snmp.yml of numeric OIDs; Nagios' check_snmp reads single
values at v2c and v3. Each must see exactly what the GETNEXT walk serves
(tests/e2e/expected). Run by run_e2e.sh (root, private network namespace);
skipped without the exporter, and check_snmp's case without the plug-in.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import urllib.error
import urllib.request

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from harness import Daemon, TOOL_ENV, start_router, stop, tool, wait_for  # noqa: E402

EXPECTED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "expected")
EXPORTER = "prometheus-snmp-exporter"
CHECK_SNMP = "/usr/lib/nagios/plugins/check_snmp"
LISTEN = "127.0.0.1:9116"
USER, AUTH, PRIV = "dave", "daveauthpass", "daveprivpass"

COLUMNS = [("ifDescr", "1.3.6.1.2.1.2.2.1.2", "DisplayString"),
           ("ifInOctets", "1.3.6.1.2.1.2.2.1.10", "counter"),
           ("ifHCInOctets", "1.3.6.1.2.1.31.1.1.1.6", "counter")]
AUTHS = {
    1: "      community: mallow",
    2: "      community: mallow",
    3: ("      username: %s\n      security_level: authPriv\n      password: %s\n"
        "      auth_protocol: SHA256\n      priv_protocol: AES\n      priv_password: %s")
    % (USER, AUTH, PRIV),
}


def snmp_yml():
    """One exporter module per SNMP version, each walking COLUMNS."""
    metrics = "".join(
        "    - name: %s\n      oid: %s\n      type: %s\n"
        "      indexes:\n        - labelname: ifIndex\n          type: gauge\n" % column
        for column in COLUMNS)
    walk = "".join("    - %s\n" % oid for _, oid, _ in COLUMNS)
    return "".join(
        "v%d:\n  version: %d\n  max_repetitions: 25\n  retries: 0\n  timeout: 3s\n"
        "  auth:\n%s\n  walk:\n%s  metrics:\n%s" % (v, v, AUTHS[v], walk, metrics)
        for v in AUTHS)


def served():
    """metric name -> {ifIndex: value} of COLUMNS in the expected walks;
    strings as the exporter labels them, numbers as numbers."""
    lines = []
    for group in ("interfaces", "ifx"):
        with open(os.path.join(EXPECTED, group + ".walk")) as f:
            lines += [line.rstrip() for line in f if not line.startswith("#")]
    out = {}
    for name, oid, _ in COLUMNS:
        prefix = "." + oid + "."
        for line in lines:
            if line.startswith(prefix):
                index, value = line[len(prefix):].split(" = ")
                value = value.split(": ", 1)[1]
                out.setdefault(name, {})[index] = value.strip('"') if value[0] == '"' else int(value)
    return out


class World:
    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="tarn-pollers-")
        self.routerd = start_router(self.root, os.path.join(self.root, "routerd.log"))
        self.agent = Daemon(os.environ["E2E_DAEMON"], self.root)
        self.agent.start()
        self.agent.tarnctl("set", "enabled=yes", "bulk=yes", "exceptions=yes", "engine-id=pollers")
        self.agent.add_user(USER, 2, 3, AUTH, PRIV, 1)
        wait_for(lambda: tool(["snmpget", "-v2c", "-c", "mallow", "-t", "1", "-r", "0",
                               "127.0.0.1", "1.3.6.1.2.1.1.3.0"])[0] == 0,
                 what="the agent on UDP 161")
        conf = os.path.join(self.root, "snmp.yml")
        with open(conf, "w") as f:
            f.write(snmp_yml())
        self.exporter = subprocess.Popen(
            [EXPORTER, "--config.file=" + conf, "--web.listen-address=" + LISTEN],
            stdout=subprocess.DEVNULL, stderr=open(os.path.join(self.root, "exporter.log"), "w"))
        wait_for(lambda: self.exporter.poll() is not None or self.scrape("v2", probe=True) is not None,
                 what="the exporter on " + LISTEN)
        assert self.exporter.poll() is None, open(os.path.join(self.root, "exporter.log")).read()

    def scrape(self, module, probe=False):
        """The exporter's answer for `module`: metric name -> {ifIndex:
        value}, plus "up" -> whether the scrape succeeded."""
        try:
            url = "http://%s/snmp?module=%s&target=127.0.0.1" % (LISTEN, module)
            text = urllib.request.urlopen(url, timeout=10).read().decode()
        except OSError:
            if probe:
                return None
            raise
        got = {}
        for line in text.splitlines():
            if line.startswith("#") or "{" not in line:
                continue
            name, rest = line.split("{", 1)
            labels, value = rest.rsplit("} ", 1)
            labels = dict(item.split("=", 1) for item in labels.split(","))
            if "ifIndex" in labels:
                index = labels["ifIndex"].strip('"')
                got.setdefault(name, {})[index] = (labels[name].strip('"') if name in labels
                                                   else int(float(value)))
        return got

    def close(self):
        stop([self.exporter, self.routerd], grace=5)
        self.agent.close()
        shutil.rmtree(self.root, ignore_errors=True)


@pytest.fixture(scope="module")
def world():
    w = World()
    yield w
    w.close()


@pytest.mark.parametrize("module", ["v1", "v2", "v3"])
def test_the_exporter_scrapes_what_a_walk_serves(world, module):
    want = served()
    if module == "v1":
        del want["ifHCInOctets"]  # Counter64 has no place in a v1 reply
    assert world.scrape(module) == want


def test_without_bulk_only_the_v1_module_scrapes(world):
    # The exporter cannot be told not to use GetBulk at v2c and v3; the
    # agent drops GetBulk while bulk is off.
    world.agent.tarnctl("set", "bulk=no")
    try:
        with pytest.raises(urllib.error.HTTPError) as refused:
            world.scrape("v2")
        assert "request timeout" in refused.value.read().decode()
        assert world.scrape("v1")["ifDescr"] == served()["ifDescr"]
    finally:
        world.agent.tarnctl("set", "bulk=yes")


@pytest.mark.skipif(not os.path.exists(CHECK_SNMP), reason="needs monitoring-plugins-standard")
def test_check_snmp_reads_and_judges_values(world):
    v3 = ["-P", "3", "-L", "authPriv", "-U", USER, "-a", "SHA256", "-A", AUTH, "-x", "AES", "-X", PRIV]
    cases = [
        (["-P", "2c", "-C", "mallow", "-o", "1.3.6.1.2.1.2.2.1.2.2"], 0, 'SNMP OK - "ether2"'),
        (["-P", "2c", "-C", "mallow", "-o", "1.3.6.1.2.1.2.2.1.10.2", "-w", "100", "-c", "4000"],
         2, "SNMP CRITICAL - *5000*"),
        (v3 + ["-o", "1.3.6.1.2.1.31.1.1.1.6.1"], 0, "SNMP OK - 4294967301"),
        (["-P", "2c", "-C", "wrong", "-t", "2", "-o", "1.3.6.1.2.1.1.3.0"], 3, ""),
    ]
    for args, status, head in cases:
        r = subprocess.run([CHECK_SNMP, "-H", "127.0.0.1"] + args,
                           capture_output=True, text=True, env=TOOL_ENV)
        assert r.returncode == status and r.stdout.startswith(head), (args, r.stdout, r.stderr)
