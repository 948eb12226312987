"""tarnctl against the real tarn-snmpd over a temporary TARN_ROOT: the
mistakes it refuses before anything is sent, with the line that says why,
the error replies it explains, and export and import restoring a
configured agent exactly (net-snmp asking through a restored SNMPv3 user).
The tests run in file order and share one configured agent. Run by
run_e2e.sh (root, private network namespace).
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from harness import Daemon, program_env, tarnctl, tool  # noqa: E402


class World:
    def __init__(self):
        self.root = tempfile.mkdtemp(prefix="tarn-tarnctl-")
        self.agent = Daemon(os.environ["E2E_DAEMON"], self.root)
        self.agent.start()
        self.ctl = self.agent.tarnctl
        self.ctl("set", "enabled=yes", "engine-id=tarnctl-e2e", "trap-target=127.0.0.1")
        self.ctl("community", "add", "ops", "read=yes", "security=priv", "auth-protocol=sha256",
                 "auth-password=ops-auth-pass", "priv-protocol=aes", "priv-password=ops-priv-pass")
        self.ctl("set", "trap-community=ops", "trap-version=v3", "trap-generators=start-trap")

    def export(self):
        return self.ctl("export", "--passwords")

    def file(self, name, text):
        path = os.path.join(self.root, name)
        with open(path, "w") as f:
            f.write(text)
        return path

    def close(self):
        self.agent.close()
        shutil.rmtree(self.root, ignore_errors=True)


@pytest.fixture(scope="module")
def world():
    w = World()
    yield w
    w.close()


def bad_import(world):
    """An export whose last community has a netmask with a hole."""
    doc = json.loads(world.export())
    doc["communities"][-1]["netmask"] = "255.0.255.0"
    return world.file("bad.json", json.dumps(doc))


# (tarnctl arguments, exit status, the one line it prints; FILE stands for
# the file that bad_import writes.) Exit status 2 is a refusal: nothing may
# have been sent. 1 is the agent's error reply, explained.
LINES = [
    (["snmp", "set", "trap-community=99"], 2,
     "tarnctl snmp: trap-community=99: no community has the name or id 99 (tarnctl snmp "
     "communities lists them); traps would not be sent"),
    (["snmp", "set", "contact=changed", "trap-generators=12345"], 2,
     "tarnctl snmp: trap-generators=12345: no trap generator has the name or id 12345 (tarnctl "
     "snmp generators lists them)"),
    (["snmp", "set", "trap-version=2"], 2,
     "tarnctl snmp: trap-version=2: expected one of v1, v2c, v3"),
    (["snmp", "community", "set", "mallow", "netmask=255.0.255.0"], 2,
     "tarnctl snmp: community mallow: netmask=255.0.255.0: a netmask is ones, then zeros "
     "(255.255.255.0, not 255.0.255.0); the agent would admit addresses no one meant"),
    (["snmp", "community", "add", "v3", "read=yes", "security=priv"], 2,
     "tarnctl snmp: community v3: security=priv needs auth-password and priv-password, 8 "
     "characters or more; without them no manager can use it"),
    (["snmp", "community", "set", "ops", "priv-password="], 2,
     "tarnctl snmp: community ops: security=priv needs auth-password and priv-password, 8 "
     "characters or more; without them no manager can use it"),
    (["snmp", "community", "add", "v3", "security=auth", "auth-password=seven77"], 2,
     "tarnctl snmp: community v3: auth-password: at least 8 characters (RFC 3414; net-snmp "
     "refuses shorter ones)"),
    (["snmp", "community", "add", ""], 2,
     'tarnctl snmp: name: must not be empty (the agent refuses it as "empty script name")'),
    (["snmp", "community", "set", "ops", "name=mallow"], 2,
     "tarnctl snmp: community ops: name=mallow: community 0 has that name"),
    (["snmp", "community", "set", "99", "read=no"], 2,
     "tarnctl snmp: no community has the name or id 99 (tarnctl snmp communities lists them)"),
    (["snmp", "community", "remove", "ops"], 2,
     "tarnctl snmp: community ops sends the traps (trap-community); set trap-community to "
     "another community or none first"),
    (["snmp", "event", "not.an.oid", "string", "x"], 2,
     "tarnctl snmp: event OID not.an.oid: an OID is two or more numbers joined by dots, the "
     "first 0, 1 or 2, such as 1.3.6.1.2.1.1.5.0"),
    (["snmp", "event", "1.3.6.1.2.1.1.5.0", "gauge", "5"], 2,
     "tarnctl snmp: event type gauge: the agent sends a gauge without its value, and managers "
     "drop the trap (snmptrapd) or call it malformed (tshark); send the value as counter or "
     "integer"),
    (["snmp", "event", "1.3.6.1.2.1.1.5.0", "ipaddress", "192.0.2.1"], 2,
     "tarnctl snmp: event value 192.0.2.1: ipaddress takes an IPv4 address whose first number "
     "is 1 to 127: the agent writes an IpAddress as a plain number, and only those reach "
     "managers as four octets; send others as string"),
    (["snmp", "event", "1.3.6.1.2.1.1.5.0", "integer", "x"], 2,
     "tarnctl snmp: event value x: integer takes a whole number from -2147483648 to 2147483647"),
    (["snmp", "import", "FILE"], 2,
     'tarnctl snmp import: FILE: communities[1] "ops": netmask="255.0.255.0": a netmask is '
     "ones, then zeros (255.255.255.0, not 255.0.255.0); the agent would admit addresses no "
     "one meant"),
    (["send", "161/1", "setobj", "u32:0xfe0001=99", "bool:6=0"], 1,
     "error 0xfe0004: no community has id 99"),
    (["send", "161/1", "add", "str:5="], 1,
     "error 0xfe0006: empty script name (that is: the community name is empty; give it a name)"),
]


@pytest.mark.parametrize("args,status,line", LINES,
                         ids=lambda v: " ".join(v) if isinstance(v, list) else "")
def test_mistakes_are_refused_with_one_line_and_change_nothing(world, args, status, line):
    path = bad_import(world)
    before = world.export()
    args = [path if a == "FILE" else a for a in args]
    assert tarnctl(world.root, *args, status=status) == line.replace("FILE", path) + "\n"
    assert world.export() == before


def test_an_unset_root_names_the_socket_it_tried():
    if os.path.exists("/run/tarn/bus/161.sock"):
        pytest.skip("this host runs the system service")
    env = program_env("")
    del env["TARN_ROOT"]
    r = subprocess.run([os.environ["E2E_TARNCTL"], "snmp", "show"], capture_output=True,
                       text=True, env=env)
    assert (r.returncode, r.stdout) == (1, "error 0xff0011: no such service 161 (nothing listens "
                                           "at /run/tarn/bus/161.sock; TARN_ROOT is unset: set it "
                                           "to the root the services run under, e.g. "
                                           "TARN_ROOT=.run/root in the source tree after "
                                           "scripts/run)\n")


def test_json_names_values_rather_than_numbers(world):
    shown = json.loads(tarnctl(world.root, "--json", "snmp", "show"))
    settings = shown["settings"]
    assert (settings["trap-target"], settings["trap-community"]) == ("127.0.0.1", "ops")
    assert (settings["trap-version"], settings["trap-generators"]) == ("v3", ["start-trap"])
    listed = json.loads(tarnctl(world.root, "--json", "snmp", "communities"))["communities"]
    assert [(c["name"], c["security"], c["auth-protocol"]) for c in listed] == [
        ("mallow", "none", "md5"), ("ops", "priv", "sha256")]
    assert "auth-password" not in listed[1]


def test_export_and_import_restore_a_configured_agent_exactly(world):
    ctl = world.ctl
    ctl("set", "contact=noc \"east\"", "location=rack 4", "bulk=yes", "exceptions=yes",
        "trap-generators=start-trap,interfaces", "time-window=150")
    ctl("community", "set", "mallow", "address=127.0.0.1", "netmask=255.255.255.255")
    ctl("community", "add", "audit", "read=yes", "security=auth", "auth-protocol=md5",
        "auth-password=audit-pass")
    ctl("community", "add", "monitor", "read=yes", "address=192.0.2.0", "netmask=255.255.255.0")
    ctl("community", "add", "zürich", "write=yes")
    saved, without = world.export(), ctl("export")
    assert '"trap-community": "ops"' in saved and "ops-priv-pass" in saved
    assert "ops-priv-pass" not in without and "engine-boots" not in saved

    # Every kind of difference: a removed and an added community, two names
    # swapped, other keys and settings changed.
    ctl("set", "trap-community=none", "contact=x", "engine-id=other", "trap-generators=start-trap")
    ctl("community", "add", "extra", "read=yes")
    ctl("community", "remove", "monitor")
    ctl("community", "set", "ops", "name=swap")
    ctl("community", "set", "audit", "name=ops", "write=yes")
    ctl("community", "set", "swap", "name=audit")
    path = world.file("saved.json", saved)
    # Ordered so that the agent refuses none: the swapped names pass
    # through temporary ones.
    assert ctl("import", "--dry-run", path).splitlines() == [
        'remove community 5 "extra"', 'rename community 1 "tarnctl-import-1" for now',
        'rename community 2 "tarnctl-import-2" for now', 'change community 1 "ops"',
        'change community 2 "audit"', 'add community 3 "monitor"', "change the settings"]
    assert ctl("import", path) == "imported %s: 7 changes\n" % path
    assert world.export() == saved
    code, out = tool(["snmpget", "-v3", "-l", "authPriv", "-u", "ops", "-a", "SHA-256", "-A",
                      "ops-auth-pass", "-x", "AES", "-X", "ops-priv-pass", "-On", "-t", "1",
                      "127.0.0.1", "1.3.6.1.2.1.1.4.0"])
    assert (code, out) == (0, '.1.3.6.1.2.1.1.4.0 = STRING: "noc \\"east\\""'), out

    # Without passwords, the same communities keep the agent's.
    ctl("community", "set", "audit", "read=no")
    ctl("import", world.file("without.json", without))
    assert world.export() == saved
    assert ctl("import", "--dry-run", world.file("again.json", saved)) == "no change\n"


def test_every_program_prints_the_one_version():
    for program in (os.environ[p] for p in ("E2E_DAEMON", "E2E_ROUTERD", "E2E_SUPERVISOR",
                                            "E2E_TARNCTL")):
        out = subprocess.run([program, "--version"], capture_output=True, text=True).stdout
        assert out == "%s %s\n" % (os.path.basename(program), os.environ["E2E_VERSION"])
