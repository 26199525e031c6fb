"""A million routes, of which 10,000 a second change."""
import contextlib
import json
import subprocess
import sys
import time

import harness
from polling import Poller, record, with_user
from session import BUILD, TREE, private_dirty

GOAL = "a million routes with 10,000 changes/s: followed, none lost, requests under 10 ms"
MINUTES = 3
QUICK = None

ROUTES, RATE = 1_000_000, 10_000
PACE = RATE * 51 // 50  # at which they are requested: sleeping takes a little longer than asked for
FILLER = TREE / "bench/fill_routes.py"
CIDR_NUMBER, CIDR_ENTRY = "1.3.6.1.2.1.4.24.3.0", "1.3.6.1.2.1.4.24.4.1"
PROBE = "198.51.100.0"  # a route that comes and goes meanwhile
PROBE_IFINDEX = f"{CIDR_ENTRY}.5.{PROBE}.255.255.255.0.0.10.0.0.2"
FOLLOWED = 1.0  # seconds until a change is served


def walk(agent):
    """The number of routes that a walk returns, whose names must strictly increase."""
    words = [*agent.prefix, BUILD / "udp-walk", "--port", agent.port, "--max-repetitions", 50, f"{CIDR_ENTRY}.5"]
    done = subprocess.run(list(map(str, words)), capture_output=True, text=True, check=True)
    return json.loads(done.stdout)["varbinds"]


def follow(session, namespace, agent):
    """Adds and removes a route until the time is over. Returns the seconds until the agent served each change."""
    delays = []
    while not session.is_over():
        for verb in ("add", "del"):
            namespace.run("ip", "route", verb, f"{PROBE}/24", "via", "10.0.0.2")
            changed, is_there = time.monotonic(), verb == "add"
            harness.eventually(lambda: ("INTEGER" in agent.snmp("get", PROBE_IFINDEX).out) == is_there, f"route {verb}")
            delays.append(time.monotonic() - changed)
        session.progress(f"{len(delays)} changes followed, the slowest in {max(delays):.3f} s")
        time.sleep(1)
    return delays


def run(session):
    namespace = session.namespace("routes", ["link set lo up", "link add uplink type veth peer name there",
                                             "link set there up", "link set uplink up",
                                             "address add 10.0.0.1/24 dev uplink"])
    fill = [*namespace.prefix, sys.executable, FILLER]
    session.note(f"{ROUTES:,} routes added in {namespace.run(sys.executable, FILLER, 'add', ROUTES).strip()} s")
    agent = with_user(session.deployment(prefix=namespace.prefix))
    pid = agent.daemons["node"].pid
    count = lambda: int(agent.get(CIDR_NUMBER).split()[-1])
    harness.eventually(lambda: count() > ROUTES, "all routes are listed")
    before, memory = count(), private_dirty(pid)
    changes = int(session.seconds * RATE)
    with Poller(agent, 100, int(session.seconds) + 2) as poller:
        rows = poller.rows()
        next(rows)  # the first request for what hasn't been read for a while waits for it
        session.start_clock()
        with subprocess.Popen(list(map(str, [*fill, "change", ROUTES, changes, PACE])), stdout=subprocess.PIPE,
                              text=True) as changer:
            try:
                delays = follow(session, namespace, agent)
                took = float(changer.communicate(timeout=session.seconds)[0])
            finally:
                changer.terminate()
        rows = list(rows)
    with contextlib.suppress(AssertionError):
        harness.eventually(lambda: count() == before, "the number of routes is as before", 10)
    session.goal("changes a second", changes / took, RATE, at_least=True)
    session.goal("slowest change to be served", max(delays), FOLLOWED, "s")
    session.goal("routes lost or left", abs(walk(agent) - before), 0)
    session.goal("listings after lost notifications", agent.said().count("notifications lost"), 0)
    record(session, rows)
    session.note(f"memory: {private_dirty(pid) - memory:+} KiB; {len(delays)} changes followed")
