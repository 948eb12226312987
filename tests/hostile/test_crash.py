"""Crash safety of the store (run_hostile.sh): the daemon is killed with
SIGKILL at a random moment while a writer changes its settings over the bus;
after each restart the store loads cleanly, holds every acknowledged change,
and beyond those at most the one in flight.
"""
import os
import random
import threading
import time

from agent import Agent, bus

ROUNDS = 12


def write_until_killed(root, round_no, acked, tried):
    """Alternates adding a community and setting the contact; tried and
    acked get ("name"|"contact", value) as they are sent and answered."""
    c = bus.Client(root)
    try:
        for i in range(1000):
            for kind, path, code, field in (("name", [161, 1], bus.ADD_OBJ, 5),
                                            ("contact", [161], bus.SET, 2)):
                value = "%s%d-%d" % (kind, round_no, i)
                tried.append((kind, value))
                fields = {bus.tagged(bus.STRING, field): value}
                if kind == "name":
                    fields[bus.tagged(bus.BOOL, 6)] = True
                if bus.is_error(c.request(path, code, fields, timeout=2)):
                    return
                acked.append((kind, value))
    except (OSError, ValueError):
        pass
    finally:
        c.close()


def names(agent):
    """Every community name, page by page."""
    out, fields = set(), {}
    while True:
        r = agent.cmd([161, 1], bus.GET_ALL, fields)
        assert not bus.is_error(r), r
        out |= set(m.string(5) for m in r.messages(bus.OBJ_LIST))
        if r.u32(bus.NEXT) is None:
            return out
        fields = {bus.tagged(bus.U32, bus.NEXT): r.u32(bus.NEXT)}


def test_kill_while_changing():
    agent = Agent(plugin=False)
    try:
        agent.start()
        agent.configure()
        rng = random.Random(3)
        seen = names(agent)
        for round_no in range(ROUNDS):
            acked, tried = [], []
            w = threading.Thread(target=write_until_killed, daemon=True,
                                 args=(agent.root, round_no, acked, tried))
            w.start()
            time.sleep(rng.uniform(0.05, 0.4))
            agent.kill()
            w.join(10)
            assert not w.is_alive()
            agent.start()
            err = agent.stderr()
            assert "corrupt" not in err and "cannot" not in err, err
            assert not [f for f in os.listdir(os.path.join(agent.root, "tarn", "store"))
                        if f.endswith(".corrupt")]
            in_flight = tried[len(acked):len(acked) + 1]
            now = names(agent)
            acked_names = set(v for k, v in acked if k == "name")
            assert acked_names <= now, sorted(acked_names - now)
            assert now - seen - acked_names <= set(v for k, v in in_flight if k == "name")
            seen = now
            contacts = [v for k, v in acked if k == "contact"]
            if contacts:  # the last acknowledged one, or the one in flight
                allowed = contacts[-1:] + [v for k, v in in_flight if k == "contact"]
                contact = agent.cmd([161], bus.GET).string(2)
                assert contact in allowed, (contact, allowed)
        assert len(seen) > 12
    finally:
        agent.close()
