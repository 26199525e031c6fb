"""No change that was answered is lost, whenever a process is killed; and a store that can't be read is left alone."""

import random
import re
import signal
import sqlite3
import threading
import time
import unittest

from harness import SYS_LOCATION, SYS_SERVICES, Deployment, eventually

LONGEST_STORM = 0.3  # seconds


class Storm:
    """Changes of every kind at once, counting up, until nobody answers any more. What was answered last is remembered,
    and so is what was under way, which may have happened or not."""

    def __init__(self, agent, first):
        self.agent = agent
        self.over = threading.Event()
        self.first = first
        self.asked = {}
        self.answered = {}
        self.threads = [threading.Thread(target=self.run, args=(kind,)) for kind in
                        (self.set_contact, self.set_location, self.add_community)]

    def set_contact(self, number):
        return self.agent.tnctl("--timeout", 1, "snmp", "set", f"contact={number}").status == 0

    def set_location(self, number):
        answer = self.agent.snmp("set", SYS_LOCATION, "s", number, community="private", timeout=1, retries=0)
        return answer.values().get(SYS_LOCATION) == f'STRING: "{number}"'

    def add_community(self, number):
        return self.agent.tnctl("--timeout", 1, "snmp", "community", "add", f"name=c{number}",
                                "addresses=192.0.2.1/32").status == 0

    def run(self, change):
        number = self.first
        while not self.over.is_set():
            self.asked[change.__name__] = number
            if change(number):
                self.answered[change.__name__] = number
            number += 1

    def __enter__(self):
        for thread in self.threads:
            thread.start()
        return self

    def __exit__(self, *_):
        self.over.set()
        for thread in self.threads:
            thread.join()


class KilledAtAnyInstant(unittest.TestCase):
    def check(self, kind, victim, rounds):
        """`victim` gives the pids to be killed, or a daemon to be killed and started again."""
        agent = Deployment(kind)
        self.addCleanup(agent.close)
        agent.start().open()
        answered = 0
        for round_number in range(rounds):
            with Storm(agent, 1000 * round_number + 1) as storm:
                # The instant is random, but something has been answered before it.
                eventually(lambda: len(storm.answered) == 3, f"changes are answered:\n{agent.said()}")
                time.sleep(random.uniform(0, LONGEST_STORM))
                agent.daemons[victim].process.send_signal(signal.SIGKILL)
            agent.daemons.pop(victim).end(signal.SIGKILL)
            if victim == "hostd" and kind == "spawn":
                eventually(lambda: b"" == self.left_behind(agent), "the agent went too")
            self.start_again(agent, victim)
            self.assert_kept(agent, storm)
            answered += sum(storm.answered.values())
        self.assertGreater(answered, 0)

    @staticmethod
    def left_behind(agent):
        """What still holds the agent's number: a spawned agent that hasn't noticed yet."""
        return b"" if agent.tnctl("--timeout", 0.2, "message", "34", "get").status != 0 else b"agent"

    @staticmethod
    def start_again(agent, victim):
        agent.start_part(victim)
        agent.wait_for("24,2")
        agent.wait_for("34")

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

    def test_everything_in_one_process(self):
        self.check("node", "node", 12)

    def test_agent(self):
        self.check("apart", "snmpd", 10)

    def test_owner_and_spawner(self):
        self.check("spawn", "hostd", 8)


def cut_off(content):
    return content[:len(content) // 2]


def overwritten(content):
    return content[:4096] + b"\xff" * (len(content) - 4096)


class StoreThatCannotBeRead(unittest.TestCase):
    """For each store and each way to spoil it: one line, the file stays as it is, everything else goes on."""

    def spoil(self, agent, name, how):
        path = agent.store(name)
        if how == "foreign":
            path.write_bytes(b"precious = yes\n" * 20)
        elif how == "another database":
            path.unlink()
            with sqlite3.connect(path) as other:
                other.execute("CREATE TABLE precious (id INTEGER)")
            other.close()
        else:
            path.write_bytes({"cut off": cut_off, "overwritten": overwritten}[how](path.read_bytes()))
        return path.read_bytes()

    def check(self, name, refused, works):
        """`refused` is a change that needs the store, `works` one that doesn't."""
        agent = Deployment("node")
        self.addCleanup(agent.close)
        agent.start().open()
        agent.stop()
        whole = agent.store(name).read_bytes()
        for how in ("foreign", "another database", "cut off", "overwritten"):
            with self.subTest(store=name, how=how):
                spoilt = self.spoil(agent, name, how)
                agent.output.unlink()
                agent.start()
                answer = agent.tnctl("snmp", *refused)
                self.assertEqual(answer.status, 1, answer)
                self.assertIn(str(agent.store(name)), answer.err)
                self.assertEqual(len(answer.err.splitlines()), 1, answer)
                answer = agent.tnctl("snmp", *works)
                self.assertEqual(answer.status, 0, answer)
                self.assertEqual(agent.stop(), [0])

                complaints = [line for line in agent.said().splitlines() if line.startswith("store: ")]
                self.assertEqual(len(complaints), 1, agent.said())
                where = re.escape(str(agent.store(name)))
                self.assertRegex(complaints[0], f"^store: {where}: .*; it is left as it is$")
                self.assertEqual(agent.store(name).read_bytes(), spoilt)
                agent.store(name).write_bytes(whole)

    def test_settings(self):
        self.check("snmpd", ["set", "contact=noc"], ["community", "set", "private", "write-access=no"])

    def test_communities(self):
        self.check("snmp-communities", ["community", "add", "name=other", "addresses=192.0.2.1/32"],
                   ["set", "contact=noc"])

    def test_undo_journal_loses_undo_alone(self):
        agent = Deployment("node")
        self.addCleanup(agent.close)
        agent.store("undo").parent.mkdir(parents=True)
        agent.store("undo").write_bytes(b"precious\n" * 20)
        agent.start().open()
        agent.configure("set", "contact=noc")
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")
        agent.stop()
        self.assertEqual(agent.store("undo").read_bytes(), b"precious\n" * 20)
