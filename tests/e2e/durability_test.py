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
KINDS = "contact", "location", "community"


class Storm:
    """Makes changes of every kind in turn, with increasing numbers. Records the last confirmed change of each kind and
    the last requested one, which may have been made or not."""

    def __init__(self, agent, first):
        self.agent, self.first = agent, first
        self.over = threading.Event()
        self.asked, self.answered = {}, {}
        self.thread = threading.Thread(target=self.run)

    def change(self, kind, number):
        """True once it is confirmed."""
        if kind == "contact":
            return self.agent.tnctl("--timeout", 1, "snmp", "set", f"contact={number}").status == 0
        if kind == "location":
            answer = self.agent.snmp("set", SYS_LOCATION, "s", number, community="private", timeout=1, retries=0)
            return answer.values().get(SYS_LOCATION) == f'STRING: "{number}"'
        return self.agent.tnctl("--timeout", 1, "snmp", "community", "add", f"name=c{number}",
                                "addresses=192.0.2.1/32").status == 0

    def run(self):
        for number, kind in ((n, kind) for n in itertools.count(self.first) for kind in KINDS):
            if self.over.is_set():
                return
            self.asked[kind] = number
            if self.change(kind, number):
                self.answered[kind] = number

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
                eventually(lambda: len(storm.answered) == len(KINDS), f"changes are answered:\n{agent.said()}")
                time.sleep(random.uniform(0, LONGEST_STORM))
                agent.daemons[victim].process.send_signal(signal.SIGKILL)
            agent.daemons.pop(victim).end(signal.SIGKILL)
            if victim == "hostd":
                gone = lambda: agent.tnctl("--timeout", 0.2, "message", "34", "get").status != 0
                eventually(gone, "the spawned agent went too")
            agent.start_part(victim)
            agent.wait_for("24,2")
            agent.wait_for("34")
            self.assert_stored(agent, storm)

    def assert_stored(self, agent, storm):
        settings = agent.configure().out
        for kind in ("contact", "location"):
            stored = int(re.search(rf"(?m)^{kind} +(\d+)$", settings).group(1))
            self.assertTrue(storm.answered[kind] <= stored <= storm.asked[kind], agent.said())
        stored = set(map(int, re.findall(r"(?m)^\d+ +c(\d+) ", agent.configure("community", "list").out)))
        self.assertLessEqual(set(range(storm.first, storm.answered["community"] + 1)), stored)
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")

    def test_confirmed_changes_survive_kills(self):
        for kind, victim, rounds in (("node", "node", 12), ("apart", "snmpd", 10), ("spawn", "hostd", 8)):
            with self.subTest(kind=kind, victim=victim):
                self.check(kind, victim, rounds)


class StoreThatCannotBeRead(unittest.TestCase):
    def test_unreadable_store_is_logged_once_and_left_unchanged_and_the_rest_works(self):
        agent = Deployment("node").ends_with(self).start().open()
        agent.configure("set", "contact=desk")  # which the undo journal has
        agent.stop()
        settings, communities = ["set", "contact=noc"], ["community", "add", "name=x", "addresses=::1/128"]
        for name, refused, works in [("snmpd", settings, communities), ("snmp-communities", communities, settings),
                                     ("undo", None, settings)]:
            with self.subTest(store=name):
                store = agent.root / "tern/store" / name
                whole = store.read_bytes()
                spoilt = whole[:4096] + b"\xff" * (len(whole) - 4096)
                store.write_bytes(spoilt)
                agent.output.unlink()
                agent.start()
                if refused:
                    answer = agent.tnctl("snmp", *refused)
                    self.assertEqual(answer.status, 1, answer)
                    self.assertRegex(answer.err, rf"\A[^\n]*{re.escape(str(store))}[^\n]*\n\Z")
                agent.configure(*works)
                self.assertEqual(agent.stop(), [0])
                complaint, = [line for line in agent.said().splitlines() if line.startswith("store: ")]
                self.assertRegex(complaint, f"^store: {re.escape(str(store))}: .*; file left unchanged$")
                self.assertEqual(store.read_bytes(), spoilt)
                store.write_bytes(whole)
