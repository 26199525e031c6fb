"""soak/poller: a poller's mix of requests at a constant rate, and their latencies."""
import contextlib
import json
import os
import statistics
import subprocess

from session import BUILD, IS_SANITIZED, USER, Failure, add_user

REAL_TIME = os.SCHED_FIFO | os.SCHED_RESET_ON_FORK  # helper threads give way to the one that replies


def with_user(agent):
    """The deployment, whose poller may use SNMPv3. Its daemons get real-time priority, if that is permitted."""
    add_user(agent)
    return with_priority(agent)


def with_priority(server):
    for pid in pids_of(server):
        give_priority(pid)
    return server


def give_priority(pid):
    with contextlib.suppress(PermissionError):
        os.sched_setscheduler(pid, REAL_TIME, os.sched_param(1))


def pids_of(server):
    return [daemon.pid for daemon in server.daemons.values()]


def record(session, rows, name=""):
    """Records the goals for the requests of a Poller."""
    longest = [row["longest_ms"] for row in rows]
    if session.quick and not IS_SANITIZED:
        # Looser: other tests run beside the short form, and the kernel's locks may be held by processes that wait for a
        # processor meanwhile. A single long request is noted only.
        session.goal(f"{name}longest request in a second, median", statistics.median(longest), 10, "ms")
        session.note(f"{name}longest request of all: {max(longest):.1f} ms")
    elif not IS_SANITIZED:
        session.goal(f"{name}longest request", max(longest), 10, "ms")
        session.note(f"{name}longest request in a second, median: {statistics.median(longest):.1f} ms")
    session.goal(f"{name}requests not answered", sum(row["lost"] + row["wrong"] for row in rows), 0)


class Poller(subprocess.Popen):
    """Polls an agent that is with_user(), or a session.Snmpd, for so many seconds or until the end of the with-block.

    @param rate      requests a second
    @param interval  seconds covered by one of the rows
    @param young     another such agent, which gets some of the same requests
    """

    def __init__(self, agent, rate, seconds, interval=1, young=None):
        words = [*agent.prefix, BUILD / "poller", "--port", agent.port, "--rate", rate, "--interval", interval,
                 "--seconds", seconds, "--v3", USER, *(f"--pid={pid}" for pid in pids_of(agent))]
        if young:
            words += ["--compare", young.port, *(f"--compared-pid={pid}" for pid in pids_of(young))]
        super().__init__(list(map(str, words)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        give_priority(self.pid)

    def rows(self):
        """Yields a dictionary for each interval, as soak/poller_main.cc prints it, until the time is over."""
        for line in self.stdout:
            yield json.loads(line)
        if self.wait():
            raise Failure(self.stderr.read().strip())

    def __exit__(self, *failure):
        self.terminate()
        super().__exit__(*failure)
