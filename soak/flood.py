"""Junk from one address at 80 % of the rate at which the kernel drops datagrams of the agent's socket, while another
address polls. The rate is measured first: the highest without drops for a moment."""
import contextlib
import os
import pathlib
import subprocess

from polling import Poller, give_priority, pids_of, with_priority, with_user
from session import BUILD, IN_MEMORY, IS_SANITIZED, Failure, private_dirty

GOAL = "a flood of junk at 80 % of what the kernel drops disturbs no other client"
MINUTES = 5
QUICK = 3

POLLS = 100  # requests a second of the other client
# The short form has 300 requests on a busy machine: one is 0.3 %, and the flood may keep the client from sending.
ANSWERED = {True: 99, False: 99.9}  # percent
SENT = {True: 0.5, False: 0.98}
FIRST_RATE, LAST_RATE = 4_000, 400_000
PROBE_SECONDS = {True: 0.25, False: 3}  # for each rate, in the quick form or not
MOST_SECONDS = 60  # of snmpd at each rate: its log is in memory
RESOLUTION = {True: 1.25, False: 1.05}  # ratio of the rates between which the limit is


def drops(agent):
    """Datagrams that the kernel dropped because the agent's socket buffer was full."""
    total, (pid,) = 0, pids_of(agent)
    for table in ("udp", "udp6"):
        lines = pathlib.Path(f"/proc/{pid}/net/{table}").read_text().splitlines()[1:]
        for fields in map(str.split, lines):
            if int(fields[1].rpartition(":")[2], 16) == agent.port:
                total += int(fields[-1])
    return total


def start_flood(session, agent, rate, seconds):
    words = [*agent.prefix, BUILD / "flood", "--port", agent.port, "--rate", int(rate), "--seconds", seconds, "--seed",
             session.seed]
    process = subprocess.Popen(list(map(str, words)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    give_priority(process.pid)  # a busy machine doesn't thin the flood
    return process


def finish(process):
    """Datagrams sent."""
    out, error = process.communicate()
    if process.returncode:
        raise Failure(error.strip())
    return int(out)


def drops_at(session, agent, rate):
    """Whether the kernel drops datagrams at this rate."""
    seconds = PROBE_SECONDS[session.quick]
    before = drops(agent)
    sent = finish(start_flood(session, agent, rate, seconds))
    if sent < 0.8 * rate * seconds:
        return True  # this machine can't send more
    return drops(agent) > before


def highest_rate(session, agent):
    """Datagrams a second at which nothing is dropped yet."""
    low, high = FIRST_RATE, FIRST_RATE * 2
    while high < LAST_RATE and not drops_at(session, agent, high):
        low, high = high, high * 2
    while high / low > RESOLUTION[session.quick]:
        middle = (low * high) ** 0.5
        low, high = (low, middle) if drops_at(session, agent, middle) else (middle, high)
    return low


@contextlib.contextmanager
def apart(pid):
    """The agent has a processor of its own, and what is started meanwhile the others, if there are two."""
    before = os.sched_getaffinity(0)
    first = min(before)
    if len(before) > 1:
        os.sched_setaffinity(pid, {first})
        os.sched_setaffinity(0, before - {first})
    try:
        yield
    finally:
        os.sched_setaffinity(0, before)


def run(session):
    namespace = session.namespace("flood", ["link set lo up"])
    agent = with_user(session.deployment("node", prefix=namespace.prefix, place=IN_MEMORY))
    with apart(*pids_of(agent)):
        rate = 0.8 * highest_rate(session, agent)
        session.note(f"flood of {rate:,.0f} datagrams a second")
        numbers = measure(session, agent, rate, session.seconds, lambda answered: record(session, answered))
    session.goal("other client: requests sent", numbers["sent"], SENT[session.quick] * POLLS, "a second", at_least=True)
    session.goal("log lines", numbers["lines"], 10, "a second")
    session.goal("junk sent, of the intended rate", 100 * numbers["junk"] / rate, 90, "%", at_least=True)
    if not IS_SANITIZED:
        session.goal("memory growth", numbers["growth"], 1024, "KiB")
    if session.beside:
        beside_snmpd(session, namespace, rate, numbers)


def record(session, answered):
    session.goal("other client: requests answered", answered, ANSWERED[session.quick], "%", at_least=True)


def measure(session, server, rate, seconds, on_answered=lambda answered: None):
    """Floods the server while another client polls, and calls on_answered() each second with the percentage so far.
    Returns the numbers at the end: requests sent, percent answered, log lines and junk a second, KiB of growth."""
    pid, = pids_of(server)
    memory, lines = private_dirty(pid), server.said().count("\n")
    session.start_clock()
    flood = start_flood(session, server, rate, seconds + 1)
    sent = lost = 0
    with Poller(server, POLLS, int(seconds)) as poller:
        for numbers in poller.rows():
            sent, lost = sent + numbers["sent"], lost + numbers["lost"] + numbers["wrong"]
            answered = 100 * (1 - lost / sent)
            on_answered(answered)
            session.progress(f"{sent} requests, {lost} lost, p99 {numbers['p99_us']} us")
    junk = finish(flood)
    return {"sent": sent / int(seconds), "answered": answered, "junk": junk / (seconds + 1),
            "lines": (server.said().count("\n") - lines) / (seconds + 1), "growth": private_dirty(pid) - memory}


def beside_snmpd(session, namespace, rate, ours):
    """snmpd at the agent's rate, and at 80 % of what the kernel drops of its own socket."""
    server = with_priority(session.snmpd(namespace))
    with apart(*pids_of(server)):
        own_rate = 0.8 * highest_rate(session, server)
        seconds = min(session.seconds, MOST_SECONDS)
        for name, numbers in (("own rate", measure(session, server, own_rate, seconds)),
                              ("agent's rate", measure(session, server, rate, seconds))):
            session.compare(f"{name}: junk", ours["junk"], numbers["junk"], "a second")
            session.compare(f"{name}: other client's requests sent", ours["sent"], numbers["sent"], "a second")
            session.compare(f"{name}: of these answered", ours["answered"], numbers["answered"], "%")
            session.compare(f"{name}: log lines", ours["lines"], numbers["lines"], "a second")
            session.compare(f"{name}: memory growth", ours["growth"], numbers["growth"], "KiB")
