"""Walks of tables with few and with many rows: what a row costs, and how long other objects wait meanwhile."""
import contextlib
import json
import subprocess
import sys
import time

import harness
from polling import Poller, pids_of, with_user
from session import BUILD, TREE

GOAL = "10,000 processes and connections, a million IPv6 routes: a row costs as in a tenth of them, others within 2 ms"
MINUTES = 4
QUICK = None  # a tenth of the rows says nothing

FEW, MANY = 1_000, 10_000
ROUTES = FEW * 100, MANY * 100
FLAT = 1.2  # the cost of a row, in proportion
REPETITIONS = 25
PROCESSES = "i=0; while [ $i -lt {0} ]; do sleep infinity & i=$((i+1)); done; echo ready; wait"
CONNECTIONS = """
import resource, socket
resource.setrlimit(resource.RLIMIT_NOFILE, ({0} + 100, {0} + 100))
server = socket.create_server(("127.0.0.1", 0))
pairs = [(socket.create_connection(server.getsockname()), server.accept()) for _ in range({0} // 2)]
print("ready", flush=True)
input()
"""


@contextlib.contextmanager
def processes(session, _, count):
    """They end with the first one of their PID namespace."""
    own = ["unshare", "--map-root-user", "--pid", "--fork", "--kill-child", "sh", "-c", PROCESSES.format(count)]
    with ready(own):
        yield


@contextlib.contextmanager
def connections(session, namespace, count):
    """Both ends of each are in the namespace."""
    with ready([*namespace.prefix, sys.executable, "-c", CONNECTIONS.format(count)]):
        yield


@contextlib.contextmanager
def routes(session, namespace, count):
    namespace.run(sys.executable, TREE / "bench/fill_routes.py", "add", str(count), "--ipv6")
    yield
    namespace.run("ip", "-6", "route", "flush", "dev", "uplink", "proto", "bgp")


@contextlib.contextmanager
def ready(words):
    """The program, until the end of the with-block, once it has printed a line."""
    with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as program:
        try:
            assert program.stdout.readline() == "ready\n", words
            yield
        finally:
            program.kill()


# name: what makes the rows, few and many of them, and what is walked: hrSWRunEntry, tcpConnectionEntry,
# inetCidrRouteIfIndex
TABLES = {"processes": (processes, (FEW, MANY), "1.3.6.1.2.1.25.4.2.1"),
          "connections": (connections, (FEW, MANY), "1.3.6.1.2.1.6.19.1"),
          "IPv6 routes": (routes, ROUTES, "1.3.6.1.2.1.4.24.7.1.7")}


def walk(agent, entry):
    """The varbinds of one walk, and what each cost the daemons, in microseconds of CPU time."""
    words = [*agent.prefix, BUILD / "udp-walk", "--port", agent.port, "--max-repetitions", REPETITIONS,
             *(f"--pid={pid}" for pid in pids_of(agent)), entry]
    done = json.loads(subprocess.run(list(map(str, words)), capture_output=True, text=True, check=True).stdout)
    return done["varbinds"], done["cpu_seconds"] / max(1, done["varbinds"]) * 1e6


def run(session):
    namespace = session.namespace("tables", ["link set lo up", "link add uplink type veth peer name there",
                                             "link set there up", "link set uplink up",
                                             "address add 10.0.0.1/24 dev uplink",
                                             "address add 2001:db8::1/64 dev uplink nodad"])
    agent = with_user(session.deployment(prefix=namespace.prefix, agent_words=["--plugins", BUILD / "shipped-plugins"]))
    session.start_clock()
    for name, (make, counts, entry) in TABLES.items():
        costs = []
        for count in counts:
            with make(session, namespace, count):
                harness.eventually(lambda: walk(agent, entry)[0] >= count, f"{count} {name} are served")
                costs.append(min(walk(agent, entry)[1] for _ in range(3)))
                session.progress(f"{count:,} {name}: {costs[-1]:.2f} us a value")
                if count == max(counts):
                    poll_during_walks(session, agent, name, entry)
        session.goal(f"{name}: cost of a value, {counts[1]:,} to {counts[0]:,}", costs[1] / costs[0], FLAT)


def poll_during_walks(session, agent, name, entry):
    """Polls other objects while the table is walked."""
    walks, seconds = 0, max(10, int(session.seconds / len(TABLES) / 3))
    with Poller(agent, 100, seconds) as poller:
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            walk(agent, entry)
            walks += 1
        rows = list(poller.rows())
    session.goal(f"{name}: others' p99, longest of a second", max(row["p99_us"] for row in rows) / 1000, 2, "ms")
    session.goal(f"{name}: others not answered", sum(row["lost"] + row["wrong"] for row in rows), 0)
    session.note(f"{name}: others' longest wait {max(row['longest_ms'] for row in rows):.1f} ms, {walks} walks")
