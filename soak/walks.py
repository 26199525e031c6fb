"""Walks of links, routes, guests and processes, of which 100 a second come and go."""
import os
import subprocess
import threading
import time

import harness
from session import BUILD

GOAL = "walks while 100 rows a second come and go: strictly increasing, no row lost that was there throughout"
MINUTES = 10
QUICK = 4

RATE = 100
WINDOW = 8  # rows of each kind that exist for a while, beside the permanent ones
LINKS, ROUTES, GUESTS, PROCESSES = 20, 200, 20, 20  # permanent: pairs, and rows
RUN_ENTRY = "1.3.6.1.2.1.25.4.2.1"
ENTRIES = {"links": "1.3.6.1.2.1.2.2.1", "routes": "1.3.6.1.2.1.4.24.4.1", "guests": "1.3.6.1.4.1.6876.2.1.1",
           "processes": RUN_ENTRY}  # ifEntry, ipCidrRouteEntry, vmwVmEntry, hrSWRunEntry
NODE = """<node>
<cpu><mhz>1000</mhz><model>any</model><active>1</active><nodes>1</nodes><sockets>1</sockets>
<cores>1</cores><threads>1</threads></cpu><memory>8000000</memory>{}</node>"""
GUEST = ("<domain type='test'><name>g{0}</name><uuid>00000000-0000-4000-8000-{0:012}</uuid><memory>1024</memory>"
         "<os><type>hvm</type></os></domain>")


class Churn(threading.Thread):
    """Adds a row of each kind and removes an older one, in turn, until it is stopped."""

    def __init__(self, session, namespace):
        super().__init__()
        self.session, self.namespace = session, namespace
        self.over, self.changes, self.failure = threading.Event(), 0, None
        self.guests = harness.temp_folder(session, "guests") / "node.xml"
        self.write_guests(())
        self.processes = []
        self.ip = subprocess.Popen([*namespace.prefix, "ip", "-batch", "-"], stdin=subprocess.PIPE, text=True,
                                   stderr=subprocess.PIPE)
        session.addCleanup(self.stop)

    def write_guests(self, extra):
        new = self.guests.with_suffix(".new")
        new.write_text(NODE.format("".join(GUEST.format(number) for number in [*range(GUESTS), *extra])))
        os.replace(new, self.guests)

    def link(self, number):
        """Each is a pair, which counts as one row of the rate."""
        self.write_ip(f"link add c{number} type veth peer name d{number}")
        if number >= WINDOW:
            self.write_ip(f"link del c{number - WINDOW}")

    def route(self, number):
        route = lambda n: f"10.1.{n % 250}.0/24 via 10.0.0.{2 + n % 100}"
        self.write_ip(f"route add {route(number)}")
        if number >= WINDOW:
            self.write_ip(f"route del {route(number - WINDOW)}")

    def guest(self, number):
        self.write_guests(range(GUESTS + number, GUESTS + number + WINDOW))

    def process(self, _):
        self.processes.append(self.session.daemon(["sleep", "infinity"], os.devnull))
        if len(self.processes) > WINDOW:
            self.processes.pop(0).end()

    def write_ip(self, line):
        self.ip.stdin.write(line + "\n")
        self.ip.stdin.flush()

    def run(self):
        started = time.monotonic()
        try:
            while not self.over.wait(max(0.0, started + self.changes / RATE - time.monotonic())):
                kinds = (self.link, self.route, self.guest, self.process)
                number, kind = divmod(self.changes // 2, len(kinds))
                kinds[kind](number)
                self.changes += 2  # one comes, one goes
        except (AssertionError, OSError) as failure:
            self.failure = f"{failure} {self.ip.stderr.read()}"

    def stop(self):
        self.over.set()
        if self.is_alive():
            self.join()
        self.ip.kill()
        self.ip.communicate()


def set_up(session):
    namespace = session.namespace("walks", ["link set lo up", "link add uplink type veth peer name there",
                                            "link set there up", "link set uplink up",
                                            "address add 10.0.0.1/24 dev uplink"])
    lines = [f"link add a{n} type veth peer name b{n}" for n in range(LINKS)]
    lines += [f"route add 10.{n % 2 * 2}.{n + 1}.0/24 via 10.0.0.2" for n in range(ROUTES)]  # below and above 10.1
    namespace.run("ip", "-batch", "-", stdin="\n".join(lines))
    churn = Churn(session, namespace)
    agent = session.deployment(prefix=namespace.prefix, owner_words=["--guests-uri", f"test://{churn.guests}"],
                               agent_words=["--plugins", BUILD / "shipped-plugins"])
    return agent, churn


def permanent_rows(session, agent):
    """{entry: (column, index) of the rows that stay}."""
    pids = {str(session.daemon(["sleep", "infinity"], os.devnull).pid) for _ in range(PROCESSES)}
    # The list of processes is read ahead: a request may still get the one from before they were started.
    harness.eventually(lambda: pids <= {index for _, index in agent.walk(RUN_ENTRY)},
                       lambda: f"new processes are listed\n{agent.said()}")
    rows = {entry: set(agent.walk(entry)) for entry in ENTRIES.values()}
    rows[RUN_ENTRY] = {(column, index) for column, index in rows[RUN_ENTRY] if index in pids}
    return rows


def run(session):
    agent, churn = set_up(session)
    permanent = permanent_rows(session, agent)
    for (name, entry), count in zip(ENTRIES.items(), (2 * LINKS, ROUTES, GUESTS, PROCESSES)):
        rows = {index for _, index in permanent[entry]}
        assert len(rows) >= count, f"{name}: {len(rows)} rows, not {count}\n{agent.said()}"
    churn.start()
    session.start_clock()
    walks, lost, seen = 0, set(), {entry: set() for entry in ENTRIES.values()}
    while not session.is_over():
        for entry in ENTRIES.values():
            client = session.random.choice(("walk", "bulkwalk", "bulkwalk"))
            words = [f"-Cr{session.random.randint(1, 50)}"] if client == "bulkwalk" else []
            found = set(agent.walk(entry, client, *words))  # fails if the names don't strictly increase
            lost |= permanent[entry] - found
            seen[entry] |= found - permanent[entry]
            walks += 1
        session.progress(f"{walks} walks, {churn.changes} changes")
    churn.stop()
    assert not churn.failure, churn.failure
    session.goal("changes a second", churn.changes / session.elapsed(), 0.9 * RATE, at_least=True)
    session.goal("permanent rows lost", len(lost), 0)
    for name, entry in ENTRIES.items():
        session.goal(f"{name} that came and went", len({index for _, index in seen[entry]}), 2, at_least=True)
    session.note(f"{walks} walks; lost, at most five: {sorted(lost)[:5]}")
