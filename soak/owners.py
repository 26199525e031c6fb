"""The owner of sysName is killed while a request waits for it, and then stopped for long. ifNumber has another owner.
The agent's reply for an owner that doesn't answer is an empty value."""
import statistics
import time

import harness
from session import Client, Failure

GOAL = "owner killed: an error within 10 ms; stopped: at most 6.1 s of silence in 36 s, others served in under 2 ms"
MINUTES = 3
QUICK = 10

NAME, COUNT = harness.SYS_NAME, "1.3.6.1.2.1.2.1.0"
VICTIM, OTHER = "24,1", "20,0"  # {identity}, which has sysName in field 12, and {interfaces}
INTERVAL = 0.01  # seconds between requests while the owner is stopped
WINDOW = 36  # seconds: a timeout of 6 s and the 30 s until the next
SILENT = 0.1  # a wait of this many seconds counts as silence


def end_suddenly(session, agent, client, rounds):
    """Records the longest time between the end of the owner and the errors, for a request that waits and one after."""
    waiting, later = [], []
    for _ in range(rounds):
        owner = session.scripted_owner(agent, "hang", VICTIM)
        number = client.send(NAME)
        time.sleep(0.005)
        killed = time.monotonic()
        owner.end(harness.signal.SIGKILL)
        for times in (waiting, later):
            reply = client.receive(1.0) if times is waiting else client.exchange(NAME)
            times.append(1000 * (time.monotonic() - killed))
            if reply is None or reply.value:
                raise Failure(f"a request whose owner was killed got {reply}")
            if times is waiting and reply.number != number:
                raise Failure("the request didn't wait for the owner")
            killed = time.monotonic()
    session.goal("killed: error to the waiting request", max(waiting), 10, "ms")
    session.goal("killed: error to the next request", max(later), 10, "ms")


def longest_silence(waits):
    """The longest time in any window: the sum of the waits [(begin, seconds)] that are silence."""
    silent = [(begin, wait) for begin, wait in waits if wait > SILENT]
    return max((sum(wait for begin, wait in silent if 0 <= begin - first < WINDOW) for first, _ in silent), default=0.0)


def stop(session, agent, client):
    """Records how the objects of another owner are served meanwhile."""
    owner = session.scripted_owner(agent, "answer 12:string=here", VICTIM)
    client.until(NAME, b"here")
    harness.signal_process(owner.pid, harness.signal.SIGSTOP)
    asker, waits, seconds = Client(agent.port), [], {}
    session.start_clock()
    while not session.is_over():
        asker.send(NAME)
        begin = time.monotonic()
        if not (reply := client.exchange(COUNT, timeout=WINDOW)) or reply.value != b"\x03":
            raise Failure(f"another owner's object: {reply}")
        waits.append((begin, time.monotonic() - begin))
        if waits[-1][1] <= SILENT:
            seconds.setdefault(int(begin), []).append(1000 * waits[-1][1])
        while reply := asker.receive():
            if reply.value:
                raise Failure(f"the object of a stopped owner: {reply}")
        session.goal(f"stopped: silence in any {WINDOW} s", longest_silence(waits), 6.1, "s")
        session.progress(f"{len(waits)} requests, the longest took {max(wait for _, wait in waits):.1f} s")
        time.sleep(INTERVAL)
    full = [sorted(times) for times in seconds.values() if len(times) >= 20]
    typical = min if session.quick else statistics.median  # the short form has three seconds, on a busy machine
    session.goal("stopped: p99 of another owner's objects in a second",
                 typical(times[int(0.99 * len(times))] for times in full), 2, "ms")
    resumed = time.monotonic()
    harness.signal_process(owner.pid, harness.signal.SIGCONT)
    client.until(NAME, b"here")
    session.goal("resumed: its objects are back within", 1000 * (time.monotonic() - resumed), 100, "ms")


def run(session):
    session.go_first()
    agent = harness.Deployment("apart").ends_with(session)
    agent.start_part("snmpd")
    agent.wait_for("34")
    agent.open()
    session.scripted_owner(agent, "answer 0xfe0014:u32=3", OTHER)
    client = Client(agent.port)
    client.until(COUNT, b"\x03")
    end_suddenly(session, agent, client, 10 if session.quick else 100)
    stop(session, agent, client)
