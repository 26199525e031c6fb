"""No confirmed change is lost when a process is killed at any time. A store that can't be read is never written to."""

import itertools
import random
import re
import signal
import threading
import time
import unittest

from harness import SYS_LOCATION, SYS_SERVICES, Deployment, eventually

LONGEST_STORM = 0.3  # seconds


class Storm:
    """Makes changes of every kind in turn, with increasing numbers. Records the last confirmed change and the last
    requested one, which may have been made or not."""

    def __init__(self, agent, first):
        self.agent = agent
        self.over = threading.Event()
        self.first = first
        self.asked = {}
        self.answered = {}
        self.thread = threading.Thread(target=self.run)

    def set_contact(self, number):
        return self.agent.tnctl("--timeout", 1, "snmp", "set", f"contact={number}").status == 0

    def set_location(self, number):
        answer = self.agent.snmp("set", SYS_LOCATION, "s", number, community="private", timeout=1, retries=0)
        return answer.values().get(SYS_LOCATION) == f'STRING: "{number}"'

    def add_community(self, number):
        return self.agent.tnctl("--timeout", 1, "snmp", "community", "add", f"name=c{number}",
                                "addresses=192.0.2.1/32").status == 0

    def run(self):
        for number in itertools.count(self.first):
            for change in (self.set_contact, self.set_location, self.add_community):
                if self.over.is_set():
                    return
                self.asked[change.__name__] = number
                if change(number):
                    self.answered[change.__name__] = number

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.over.set()
        self.thread.join()


class KilledAtAnyInstant(unittest.TestCase):
    def check(self, kind, victim, rounds):
        """`victim` is the daemon to kill and restart."""
        agent = Deployment(kind).ends_with(self).start().open()
        for round_number in range(rounds):
            with Storm(agent, 1000 * round_number + 1) as storm:
                # The instant is random, but something has been answered before it.
                eventually(lambda: len(storm.answered) == 3, f"changes are answered:\n{agent.said()}")
                time.sleep(random.uniform(0, LONGEST_STORM))
                agent.daemons[victim].process.send_signal(signal.SIGKILL)
            agent.daemons.pop(victim).end(signal.SIGKILL)
            if victim == "hostd":
                gone = lambda: agent.tnctl("--timeout", 0.2, "message", "34", "get").status != 0
                eventually(gone, "the spawned agent went too")
            agent.start_part(victim)
            agent.wait_for("24,2")
            agent.wait_for("34")
            self.assert_kept(agent, storm)

    def assert_kept(self, agent, storm):
        settings = agent.configure().out
        for word, change in (("contact", "set_contact"), ("location", "set_location")):
            kept = int(re.search(rf"(?m)^{word} +(\d+)$", settings).group(1))
            self.assertGreaterEqual(kept, storm.answered[change], agent.said())
            self.assertLessEqual(kept, storm.asked[change])
        kept = [int(n) for n in re.findall(r"(?m)^\d+ +c(\d+) ", agent.configure("community", "list").out)]
        for number in range(storm.first, storm.answered["add_community"] + 1):
            self.assertIn(number, kept)
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")

    def test_confirmed_changes_survive_kills_of_the_node(self):
        self.check("node", "node", 12)

    def test_confirmed_changes_survive_kills_of_the_agent(self):
        self.check("apart", "snmpd", 10)

    def test_confirmed_changes_survive_kills_of_owners_that_spawned_the_agent(self):
        self.check("spawn", "hostd", 8)


class StoreThatCannotBeRead(unittest.TestCase):
    """Logs one line, leaves the file unchanged, and everything else works."""

    def test_unreadable_store_is_left_unchanged_and_the_rest_works(self):
        agent = Deployment("node").ends_with(self).start().open()
        agent.stop()
        for name, refused, works in [  # a change that needs the store, and one that doesn't
                ("snmpd", ["set", "contact=noc"], ["community", "set", "private", "write-access=no"]),
                ("snmp-communities", ["community", "add", "name=x", "addresses=::1/128"], ["set", "contact=noc"])]:
            with self.subTest(store=name):
                store = agent.store(name)
                whole = store.read_bytes()
                spoilt = whole[:4096] + b"\xff" * (len(whole) - 4096)
                store.write_bytes(spoilt)
                agent.output.unlink()
                agent.start()
                answer = agent.tnctl("snmp", *refused)
                self.assertEqual(answer.status, 1, answer)
                self.assertIn(str(store), answer.err)
                self.assertEqual(len(answer.err.splitlines()), 1, answer)
                agent.configure(*works)
                self.assertEqual(agent.stop(), [0])

                complaint, = [line for line in agent.said().splitlines() if line.startswith("store: ")]
                self.assertRegex(complaint, f"^store: {re.escape(str(store))}: .*; file left unchanged$")
                self.assertEqual(store.read_bytes(), spoilt)
                store.write_bytes(whole)

    def test_unreadable_undo_journal_affects_only_undo(self):
        agent = Deployment("node").ends_with(self)
        agent.store("undo").parent.mkdir(parents=True)
        agent.store("undo").write_bytes(b"precious\n" * 20)
        agent.start().open()
        agent.configure("set", "contact=noc")
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")
        agent.stop()
        self.assertEqual(agent.store("undo").read_bytes(), b"precious\n" * 20)
