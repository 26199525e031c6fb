"""The agent is killed at random instants while settings and an access entry are changed all the time, through SNMP and
the bus. After each start, every confirmed change must be there; the last one requested may be."""
import re
import subprocess
import threading
import time

import harness
from session import IS_SANITIZED, Client, Failure

GOAL = "kill -9 during settings writes: no acknowledged value lost, no store unreadable"
MINUTES = 20
QUICK = 15

KILLS, QUICK_KILLS = 10_000, 200
LONGEST = 0.04  # seconds of changes before a kill
KINDS = ("node", "node"), ("apart", "snmpd"), ("spawn", "hostd")  # deployment, and the daemon that is killed
OBJECTS = "1.3.6.1.2.1.1.4.0", harness.SYS_LOCATION


class Victim:
    """A deployment, and the numbers that have been requested and confirmed for each object and for the entry."""

    def __init__(self, session, kind, victim):
        self.session, self.victim = session, victim
        self.agent = session.deployment(kind)
        self.agent.configure("community", "add", "name=probe", "addresses=10.0.0.0/32")
        self.client = Client(self.agent.port, "private")
        self.asked = dict.fromkeys((*OBJECTS, "entry"), 0)
        self.confirmed = dict(self.asked)
        self.lost, self.confirmations = [], 0
        for name in OBJECTS:
            self.client.exchange(name, "0")

    def change(self, name, number):
        self.asked[name] = number
        if not self.client.exchange(name, str(number), timeout=0.05):
            return False
        self.confirmed[name] = number
        self.confirmations += 1
        return True

    def change_entry(self, number):
        """Starts a change; ended by entry_changed()."""
        self.asked["entry"] = number
        self.changer = subprocess.Popen(
            [harness.program("tnctl"), "--root", self.agent.root, "--timeout", "0.5", "snmp", "community", "set",
             "probe", f"addresses={address(number)}"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def entry_changed(self, number):
        if self.changer.wait() == 0:
            self.confirmed["entry"] = number
            self.confirmations += 1

    def round(self, number):
        """Changes everything until the kill, and starts again."""
        pids = self.agent.agent_pids()
        killer = threading.Timer(self.session.random.uniform(0, LONGEST), self.agent.daemons[self.victim].process.kill)
        self.change_entry(number)
        killer.start()
        part = 0
        while killer.is_alive():
            self.change(OBJECTS[part % 2], 1000 * number + part)
            part += 1
        self.entry_changed(number)
        self.agent.daemons.pop(self.victim).end()
        harness.eventually(lambda: all(map(harness.has_ended, pids)), "a spawned agent ended, too")
        self.agent.start_part(self.victim)
        self.check(is_entry_due=number % 5 == 0)

    def check(self, is_entry_due):
        end = time.monotonic() + harness.TIMEOUT
        stored = {}
        for name in OBJECTS:
            while not (reply := self.client.exchange(name, timeout=0.05)):
                if time.monotonic() > end:
                    raise Failure(f"the agent doesn't answer:\n{self.agent.said()}")
                time.sleep(0.002)
            stored[name] = int(reply.value or -1)
        if is_entry_due:
            listed = self.agent.configure("community", "list").out
            a, b, c = map(int, re.search(r"probe .*?\b10\.(\d+)\.(\d+)\.(\d+)", listed).groups())
            stored["entry"] = a << 16 | b << 8 | c
        for name, number in stored.items():
            if not self.confirmed[name] <= number <= self.asked[name]:
                self.lost.append((name, number, self.confirmed[name], self.asked[name]))

    def unreadable(self):
        return [line for line in self.agent.said().splitlines() if line.startswith("store: ")]


def address(number):
    return f"10.{number >> 16 & 255}.{number >> 8 & 255}.{number & 255}/32"


def run(session):
    kills = QUICK_KILLS if session.quick else round(KILLS * session.seconds / (60 * MINUTES))
    if IS_SANITIZED and session.quick:
        kills //= 10  # a start takes that much longer
    session.use_memory()
    victims = []
    for kind, victim in KINDS:
        victims.append(Victim(session, kind, victim))
        for number in range(1, kills // len(KINDS) + 2):
            victims[-1].round(number)
            done = (len(victims) - 1) * (kills // len(KINDS) + 1) + number
            session.goal("kills", done, kills, at_least=True)
            session.goal("acknowledged values lost", sum(len(v.lost) for v in victims), 0)
            session.progress(f"{done:,} kills, {sum(v.confirmations for v in victims):,} confirmed changes")
        session.goal("stores unreadable", sum(len(v.unreadable()) for v in victims), 0)
        session.goal(f"{kind}: confirmed changes", victims[-1].confirmations, kills // len(KINDS), at_least=True)
        victims[-1].agent.stop()
    if lost := [loss for v in victims for loss in v.lost]:
        raise Failure(f"object, stored, confirmed, requested: {lost[:3]}\n{victims[0].agent.said()[-2000:]}")
