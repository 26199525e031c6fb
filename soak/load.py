"""A poller's mix of requests at 1,000 a second, with links, routes and processes coming and going in a network
namespace. Every sample goes to build/soak-load.csv.

The drift of the latency is that of the ratio to a young agent, which is started anew every few minutes and gets some of
the same requests at the same time: what else the machine does slows both. For the same reason all daemons have
real-time priority, if that is permitted, and the time that they wait for a processor doesn't count."""
import contextlib
import csv
import os
import statistics
import subprocess
import sys
import threading

import harness
from polling import Poller, pids_of, with_priority, with_user
from session import IS_SANITIZED, TREE, Failure, cpu_seconds, descriptors, maps, private_dirty

GOAL = "1,000 requests/s with rows coming and going: constant memory, descriptors and latency"
MINUTES = 120
QUICK = 6

KIND = "apart"  # two daemons, so that the bus is measured, too
RATE = 1000
LINKS = 10  # pairs that stay; as many more come and go
ROUTES, ROUTE_CHANGES = 1000, 50  # all, and changes a second
CHANGE_INTERVAL = 0.5  # seconds between changes of links, each of which starts three processes
TURN = 5  # seconds for which one server is polled, if two are compared
MIN_SLOPE_SECONDS = 1200  # shorter runs have a limit of the growth instead: one page would be a steep slope
# tarnix-hostd reads sources on helper threads. The allocator retains the heap of each thread for the next one: two
# mappings, 32 MiB of addresses and hardly any memory. Whenever more threads run at once than ever before, there is one
# more, which is rare after the warm-up.
MORE_MAPS = {"snmpd": 0, "hostd": 2 * 2}
FILLER = TREE / "bench/fill_routes.py"


class Churn(threading.Thread):
    """Adds and removes links, routes and processes until it is stopped."""

    def __init__(self, namespace):
        super().__init__()
        self.namespace, self.over, self.failure = namespace, threading.Event(), None

    def stop(self):
        self.over.set()
        self.join()

    def run(self):
        try:
            with self.routes():
                number = 0
                while not self.over.wait(CHANGE_INTERVAL):
                    self.change_links(number)
                    number += 1
        except AssertionError as failure:  # of a command
            self.failure = failure

    @contextlib.contextmanager
    def routes(self):
        """Changes routes in the background."""
        day = ROUTE_CHANGES * 86400
        words = [*self.namespace.prefix, sys.executable, FILLER, "change", ROUTES, day, ROUTE_CHANGES]
        with subprocess.Popen(list(map(str, words)), stdout=subprocess.DEVNULL) as changer:
            try:
                yield
            finally:
                changer.terminate()

    def change_links(self, number):
        """A pair comes, an earlier one goes, and one that stays changes its status."""
        lines = [f"link add c{number} type veth peer name d{number}", f"link set c{number} up",
                 f"link set a{number % LINKS} {'down' if number // LINKS % 2 else 'up'}"]
        if number >= LINKS:
            lines.append(f"link del c{number - LINKS}")
        self.namespace.run("ip", "-batch", "-", stdin="\n".join(lines))


def set_up(session):
    """The network namespace, in which everything changes."""
    links = ["link set lo up", "link add uplink type veth peer name there", "link set there up", "link set uplink up",
             "address add 10.0.0.1/24 dev uplink"]
    links += [f"link add a{n} type veth peer name b{n}" for n in range(LINKS)]
    namespace = session.namespace("load", links)
    namespace.run(sys.executable, FILLER, "add", ROUTES)
    churn = Churn(namespace)
    churn.start()
    session.addCleanup(churn.stop)
    return namespace, churn


def poll(agent, seconds, interval):
    """Polls the agent and a young one for this time. Yields the poller's numbers for each interval."""
    with contextlib.ExitStack() as stack:
        young = harness.Deployment(KIND, prefix=agent.prefix)
        stack.callback(young.close)
        with_user(young.start().open())
        yield from stack.enter_context(Poller(agent, RATE, seconds, interval, young)).rows()


def samples(session, agent, churn):
    """Yields one dictionary of numbers for each interval."""
    interval = 1 if session.quick else 10
    round_seconds = int(max(session.seconds / 12, 3 * interval)) // interval * interval
    session.start_clock()
    while not session.is_over():
        for numbers in poll(agent, round_seconds, interval):
            sample = {"seconds": round(session.elapsed(), 1), **numbers}
            for part, daemon in agent.daemons.items():
                sample |= {f"{part}_kib": private_dirty(daemon.pid), f"{part}_descriptors": descriptors(daemon.pid),
                           f"{part}_maps": maps(daemon.pid)}
            yield sample
        if churn.failure:
            raise Failure(f"the changes of links ended: {churn.failure}")


def slope(points):
    """Of the line through the points (seconds, value), an hour: the median of the slopes between any two of them, on
    which a single step has no effect."""
    thinned = points[::len(points) // 300 + 1]
    slopes = [(b[1] - a[1]) / (b[0] - a[0]) for i, a in enumerate(thinned) for b in thinned[i + 1:]]
    return statistics.median(slopes) * 3600 if slopes else 0.0


def middle(rows, name):
    return statistics.median(row[name] for row in rows)


def relative_p99(rows):
    """The p99 as a ratio to that of the young agent."""
    return statistics.median(row["paired_p99_us"] / row["compared_p99_us"] for row in rows)


def measure(session, rows):
    """Records the goals. The first hour, or the first third, is the warm-up."""
    warm_up = min(3600, session.elapsed() / 3)
    warm = [row for row in rows if row["seconds"] > warm_up]
    if len(warm) < 3:
        return
    third = max(1, len(warm) // 3)
    begin, end = warm[:third], warm[-third:]
    sent = sum(row["sent"] for row in rows)
    interval = rows[1]["seconds"] - rows[0]["seconds"]
    session.goal("requests a second", middle(rows, "sent") / round(interval), RATE * 0.99, at_least=True)
    session.goal("requests answered", 100 * (1 - sum(row["lost"] for row in rows) / sent), 99.99, "%", at_least=True)
    session.goal("wrong answers", sum(row["wrong"] for row in rows), 0)
    for part in ("snmpd", "hostd"):
        if IS_SANITIZED:
            pass  # the sanitizer retains freed memory
        elif session.elapsed() >= MIN_SLOPE_SECONDS:
            memory = [(row["seconds"], row[f"{part}_kib"]) for row in warm]
            session.goal(f"{part}: memory slope", slope(memory), 10, "KiB/h")
        else:
            session.goal(f"{part}: memory growth", middle(end, f"{part}_kib") - middle(begin, f"{part}_kib"), 256, "KiB")
        for what, limit in ("descriptors", 0), ("maps", MORE_MAPS[part]):
            name = f"{part}_{what}"
            session.goal(f"{part}: growth of {what}", middle(end, name) - middle(begin, name), limit)
    if not session.quick:
        session.goal("drift of p99", 100 * (relative_p99(end) / relative_p99(begin) - 1), 10, "%")


def beside_snmpd(session, namespace, agent):
    """The agent and snmpd get the same load by turns, among the same changes, for the scenario's time once more."""
    server, rows = with_priority(session.snmpd(namespace)), {"agent": [], "snmpd": []}
    session.start_clock()
    while not session.is_over():
        for name, each in ("agent", agent), ("snmpd", server):
            before = sum(map(cpu_seconds, pids_of(each)))
            with Poller(each, RATE, TURN, TURN) as poller:
                row, = poller.rows()
            cpu = sum(map(cpu_seconds, pids_of(each))) - before
            rows[name].append({**row, "cpu_us": cpu / row["sent"] * 1e6,
                               "kib": sum(map(private_dirty, pids_of(each)))})
            session.progress(f"beside snmpd: {name} {row}")
    pairs = list(rows.values())
    session.compare("CPU of a request", *(middle(each, "cpu_us") for each in pairs), "us")
    session.compare("median", *(middle(each, "p50_us") for each in pairs), "us")
    session.compare("p99", *(middle(each, "p99_us") for each in pairs), "us")
    session.compare("requests a second", *(middle(each, "sent") / TURN for each in pairs))
    session.compare("requests not answered", *(sum(row["lost"] + row["wrong"] for row in each) for each in pairs))
    session.compare("memory", *(each[-1]["kib"] for each in pairs), "KiB")
    session.compare("memory growth after a third", *(each[-1]["kib"] - each[len(each) // 3]["kib"] for each in pairs),
                    "KiB")


def run(session):
    namespace, churn = set_up(session)
    agent = with_user(session.deployment(KIND, prefix=namespace.prefix))
    file = harness.BUILD.parent / "soak-load.csv"
    rows = []
    with open(os.devnull if session.quick else file, "w", newline="") as out:
        for sample in samples(session, agent, churn):
            if not rows:
                table = csv.DictWriter(out, sample)
                table.writeheader()
            table.writerow(sample)
            out.flush()
            rows.append(sample)
            measure(session, rows)
            session.progress(", ".join(f"{name} {value}" for name, value in sample.items() if name != "seconds"))
    if not session.quick:
        session.note(f"samples: {file}; p99 {middle(rows, 'p99_us'):.0f} us, "
                     f"{relative_p99(rows):.3f} of the young agent's; median {middle(rows, 'p50_us'):.0f} us")
    if session.beside:
        beside_snmpd(session, namespace, agent)
