"""An agent whose wall clock jumps by a year, and whose machine is suspended for an hour, beside another agent whose
clock runs on. soak/shifted_clock_preload.cc shifts the clocks: a time namespace can't do it while a process runs, and
has no wall clock. The agent runs in one nevertheless: that of a machine that was suspended before."""
import calendar
import re
import struct
import time

import harness
from session import BUILD

GOAL = "clock a year forward and back: nothing changes but hrSystemDate; suspend of an hour: nothing but uptimes"
MINUTES = 0.1
QUICK = 5

YEAR, HOUR = 365 * 86400, 3600
SUSPENDED = 7200  # seconds, before the agent starts
PASSWORD = "authentication"
DATE = "1.3.6.1.2.1.25.1.2.0"  # hrSystemDate
SYS_UPTIME, HOST_UPTIME, ENGINE_TIME = "1.3.6.1.2.1.1.3.0", "1.3.6.1.2.1.25.1.1.0", "1.3.6.1.6.3.10.2.1.3.0"
# Processes; what the clients cause; disks; load averages; rates, which are compared by themselves.
OTHERS = re.compile(r"1\.3\.6\.1\.(2\.1\.(25\.2\.3|25\.[45]|6|7|11)|4\.1\.2021\.(9|10|11\.[3-8]))\.")
SWITCH_RATE = "1.3.6.1.4.1.2021.11.8.0"  # ssSysContext, a mean like ssIOSent, but never near 0
SPACING = 5  # seconds between the readings of which it is the difference
RESPONSE = 0xA2
TOLERANCE = 900  # hundredths of a second, or of other numbers: between two agents that are walked one after the other
LATENESS = 60  # seconds of the date


class Clock:
    """The shifts of one agent's clocks, in seconds."""

    def __init__(self, session):
        self.file = harness.temp_folder(session, "clock") / "shifts"
        self.shift(0, 0)
        self.prefix = ["env", f"LD_PRELOAD={BUILD / 'soak/shifted-clock.so'}", f"SHIFTED_CLOCK={self.file}"]

    def shift(self, wall, boot):
        with open(self.file, "r+b" if self.file.exists() else "wb") as file:
            file.write(struct.pack("=qq", wall, boot))


def values(agent):
    """{name: value} of everything, as numbers where they are; of counters only the name."""
    answer = agent.snmp("bulkwalk", "-Cr50", "-t5", "1")
    assert answer.status == 0, answer
    answer.out = re.sub(r"(?m)^.* = No more variables.*\n", "", answer.out)  # under names that have values, too
    found = {name: value for name, value in answer.values().items() if not OTHERS.match(name)}
    numbers = {name: re.match(r"(?:Timeticks: \(|INTEGER: |Gauge32: )(-?\d+)\b", value)
               for name, value in found.items()}
    return {name: int(numbers[name][1]) if numbers[name] else "" if value.startswith("Counter") else value
            for name, value in found.items()}


def differing(ours, others, shifts):
    """The names whose values differ, in a shifted agent and another one, by something else than the shifts."""
    def differs(name):
        if name not in ours or name not in others:
            return True
        if isinstance(ours[name], int) and isinstance(others[name], int):
            difference = abs(ours[name] - others[name] - shifts.get(name, 0))
            return difference > (TOLERANCE if name in shifts else max(TOLERANCE, abs(others[name]) / 2))
        return ours[name] != others[name]

    return {name for name in ours.keys() | others.keys() if differs(name)}


def date_of(agent):
    """hrSystemDate in seconds since 1970."""
    octets = bytes.fromhex(agent.get(DATE).partition(": ")[2])
    return calendar.timegm((int.from_bytes(octets[:2], "big"), *octets[2:7]))  # the machine's time is UTC, or the same


def check(session, what, shifted, steady, clock, wall=0, boot=0):
    """Shifts the clocks and compares the agents."""
    clock.shift(wall, boot)
    started = time.monotonic()
    answer = shifted.snmp("get", SYS_UPTIME, HOST_UPTIME, retries=0)
    session.goal(f"{what}: first reply", 1000 * (time.monotonic() - started), 500, "ms")
    session.goal(f"{what}: requests not answered", int(answer.status != 0), 0)
    shifts = {SYS_UPTIME: 100 * (SUSPENDED + boot), HOST_UPTIME: 100 * (SUSPENDED + boot), ENGINE_TIME: boot}
    ours, others = values(shifted), values(steady)
    wrong = differing(ours, others, shifts) - {DATE}
    for name in sorted(wrong)[:5]:
        session.note(f"{what}: {name}: {ours.get(name)}, without shift {others.get(name)}")
    session.goal(f"{what}: other objects changed", len(wrong), 0)
    session.goal(f"{what}: error of hrSystemDate", abs(date_of(shifted) - date_of(steady) - wall), LATENESS, "s")


def run(session):
    namespace = session.namespace("clock", ["link set lo up", "link add left type veth peer name right"])
    clock = Clock(session)
    words = {"agent_words": ["--plugins", BUILD / "shipped-plugins"]}
    slept = ["unshare", "--time", "--boottime", str(SUSPENDED)]
    shifted = session.deployment(prefix=[*namespace.prefix, *slept, *clock.prefix], **words)
    steady = session.deployment(prefix=namespace.prefix, **words)
    shifted.configure("community", "add", "name=manager", "addresses=127.0.0.1/32", "security=authorized",
                      "authentication-protocol=sha1", f"authentication-password={PASSWORD}")
    with namespace.entered():
        manager = harness.V3(shifted, PASSWORD)
    check(session, "no shift", shifted, steady, clock)
    read = time.monotonic()
    for agent in (shifted, steady):  # the first walk opens what stays open
        for daemon in agent.daemons.values():
            daemon.warm = None
            daemon.note_warm()
    for what, wall in (("year forward", YEAR), ("year back", -YEAR), ("back again", 0)):
        check(session, what, shifted, steady, clock, wall)
    with namespace.entered():
        session.goal("managers that lose the engine's time", int(manager.ask("manager", flags=5)[0] != RESPONSE), 0)
    time.sleep(max(0.0, read + SPACING - time.monotonic()))
    check(session, "suspend of an hour", shifted, steady, clock, HOUR, HOUR)
    ours, others = (int(agent.get(SWITCH_RATE).split()[-1]) for agent in (shifted, steady))
    session.goal("suspend of an hour: rate, compared with that without", 100 * ours / max(1, others), 50, "%", True)
    with namespace.entered():  # a manager that doesn't know of the suspend learns the time from a Report
        reports = int(manager.ask("manager", flags=5)[0] != RESPONSE)
        session.goal("suspend of an hour: Reports", reports, 1, at_least=True)
        manager = harness.V3(shifted, PASSWORD)
        session.goal("suspend of an hour: managers refused", int(manager.ask("manager", flags=5)[0] != RESPONSE), 0)
