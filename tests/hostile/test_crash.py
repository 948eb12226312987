"""Crash safety of the store: the daemon is killed with SIGKILL, at a random
moment, while a writer changes its communities and settings over the bus;
after each restart the store loads (no corrupt file, no diagnostic) and
every change that was acknowledged is there. 20 rounds.

Run by run_hostile.sh (root, private network namespace).
"""
import os
import random
import threading
import time

import pytest

from agent import Agent, bus

ROUNDS = 20


@pytest.fixture(scope="module")
def agent():
    a = Agent(plugin=False)
    a.start()
    a.configure()
    yield a
    a.close()


class Writer(threading.Thread):
    """Adds communities and changes the contact until the bus fails."""

    def __init__(self, agent, round_no):
        super().__init__(daemon=True)
        self.agent, self.round = agent, round_no
        self.acked_names, self.acked_contacts = [], []
        self.tried_names, self.tried_contacts = [], []

    def run(self):
        c = bus.Client(self.agent.root)
        try:
            for i in range(1000):
                name = "r%d-%d" % (self.round, i)
                self.tried_names.append(name)
                r = c.request([161, 1], bus.ADD_OBJ, {
                    bus.tagged(bus.STRING, 5): name, bus.tagged(bus.BOOL, 6): True}, timeout=2)
                if bus.is_error(r):
                    return
                self.acked_names.append(name)
                contact = "contact %d-%d" % (self.round, i)
                self.tried_contacts.append(contact)
                r = c.request([161], bus.SET, {bus.tagged(bus.STRING, 2): contact}, timeout=2)
                if bus.is_error(r):
                    return
                self.acked_contacts.append(contact)
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


def test_kill_while_changing(agent):
    rng = random.Random(3)
    seen = set(names(agent))
    for round_no in range(ROUNDS):
        w = Writer(agent, round_no)
        w.start()
        time.sleep(rng.uniform(0.05, 0.4))
        agent.kill()
        w.join(10)
        assert not w.is_alive()
        agent.start()
        err = agent.stderr()
        assert "corrupt" not in err and "cannot" not in err, err
        store = os.path.join(agent.root, "tarn", "store")
        assert not [f for f in os.listdir(store) if f.endswith(".corrupt")]
        now = names(agent)
        # Acknowledged: stored. Beyond those only the one in flight may be.
        assert set(w.acked_names) <= now, sorted(set(w.acked_names) - now)
        extra = now - seen - set(w.acked_names)
        assert extra <= set(w.tried_names[len(w.acked_names):len(w.acked_names) + 1]), extra
        seen = now
        contact = agent.cmd([161], bus.GET).string(2)
        if w.acked_contacts:
            allowed = w.tried_contacts[len(w.acked_contacts) - 1:len(w.acked_contacts) + 1]
            assert contact in allowed, (contact, allowed)
        print("round %d: %d changes acknowledged" % (round_no, len(w.acked_names) + len(w.acked_contacts)))
    assert len(seen) > 20
