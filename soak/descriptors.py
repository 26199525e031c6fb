"""Clients that connect until a daemon has no descriptor left, and traps that can't be sent. Debian's
snmpd gets the former at its AgentX socket and sends authentication traps."""
import contextlib
import json
import resource
import socket
import time

import harness
from polling import pids_of
from session import BUILD, cpu_seconds, descriptors, private_dirty

GOAL = "descriptors exhausted: under 5 % CPU, one line a second, back within 1 s; failing traps leave none open"
MINUTES = 1
QUICK = 3  # the clients stay for a quarter of the time, at each of three daemons

SPARE = 16  # descriptors that a daemon may still open when the clients come
MEMORY = "1.3.6.1.2.1.25.2.2.0"  # hrMemorySize, which its owner reads from a file
TRAPS, QUICK_TRAPS = 1_000_000, 10_000
TARGETS = ["203.0.113.1", "2001:db8::1", "198.51.100.1", "127.0.0.9"]  # no route to two; prohibited; refused
LINKS = ["link set lo up", "route add prohibit 198.51.100.0/24"]


def exhaust(seconds, pid, addresses, kind, output, use):
    """Connects more often to each address than there are descriptors left, and calls use() for some seconds. Returns
    the process's CPU time and the lines of its log after the first, both a second, and when the clients had left."""
    _, hard = resource.prlimit(pid, resource.RLIMIT_NOFILE)
    resource.prlimit(pid, resource.RLIMIT_NOFILE, (max(harness.descriptors(pid)) + 1 + SPARE, hard))
    clients = [socket.socket(socket.AF_UNIX, kind | socket.SOCK_NONBLOCK) for _ in range(2 * SPARE * len(addresses))]
    with contextlib.suppress(BlockingIOError):  # all places of the queue are taken
        for number, client in enumerate(clients):
            client.connect(str(addresses[number % len(addresses)]))
    lines, cpu, started = output().count("\n"), cpu_seconds(pid), time.monotonic()
    while time.monotonic() - started < seconds:
        use()
        time.sleep(0.1)
    took = time.monotonic() - started
    figures = (cpu_seconds(pid) - cpu) / took, (output().count("\n") - lines - 1) / took
    for client in clients:
        client.close()
    return *figures, time.monotonic()


def clients_of(session, agent, part):
    """Exhausts the descriptors of one daemon. The other answers the agent's requests meanwhile."""
    bus = {file.name: file for file in (agent.root / "tern/run/bus").iterdir() if file.suffix != ".lock"}
    served = [file for name, file in bus.items() if part == "node" or (name == "34") == (part == "snmpd")]
    replies = []
    daemon = agent.daemons[part]
    cpu, lines, closed = exhaust(session.seconds / 4, daemon.pid, served, socket.SOCK_SEQPACKET, agent.said,
                                 lambda: replies.append(agent.snmp("get", harness.SYS_NAME, MEMORY).status))
    for path in ("34", "24,2"):
        harness.eventually(lambda: agent.tnctl("message", path, "get").status == 0, f"{{{path}}} answers")
    session.goal(f"{part}: back after", time.monotonic() - closed, 1.0, "s")
    session.goal(f"{part}: CPU", 100 * cpu, 5, "%")
    session.goal(f"{part}: log lines a second", lines, 1.1)
    session.goal(f"{part}: requests not answered", sum(status != 0 for status in replies), 0)


def failing_traps(session, namespace, agent):
    """Sends traps to targets that can't be reached."""
    agent.configure("set", "trap-community=common", "trap-targets=" + ",".join(TARGETS))
    pid, count = agent.daemons["node"].pid, QUICK_TRAPS if session.quick else TRAPS
    left = count

    def send(number):
        namespace.run(BUILD / "udp-traps", "--root", agent.root, "--port", harness.free_port(), "--count", number)

    send(100)
    before, memory = descriptors(pid), private_dirty(pid)
    while left > 0:
        send(min(left, QUICK_TRAPS))
        left -= QUICK_TRAPS
        session.progress(f"{left:,} traps left")
    counters = json.loads(agent.tnctl("--json", "status").out)["traps"]
    session.goal("traps that failed", counters["traps-failed"], 3 * count, at_least=True)
    session.goal("descriptors left open", descriptors(pid) - before, 0)
    session.note(f"memory after the traps: {private_dirty(pid) - memory:+} KiB")


def beside_snmpd(session, namespace):
    """The same with Debian's snmpd."""
    agentx = harness.temp_folder(session, "snmpd") / "agentx"
    server = session.snmpd(namespace, f"master agentx\nagentXSocket unix:{agentx}\nauthtrapenable 1\n" + "".join(
        f"trap2sink {target}\n" for target in TARGETS if ":" not in target))
    pid, = pids_of(server)
    before = descriptors(pid)
    with namespace.entered():
        client = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with client:
        client.connect(("127.0.0.1", server.port))
        for number in range(QUICK_TRAPS):
            client.send(harness.request(number, harness.SYS_NAME, "nobody"))
            time.sleep(0.001)
    left_open = descriptors(pid) - before
    cpu, lines, _ = exhaust(session.seconds / 4, pid, [agentx], socket.SOCK_STREAM, server.said, lambda: None)
    ours = {name: goal.measured for name, goal in session.goals.items()}
    session.compare("descriptors left open by traps", ours["descriptors left open"], left_open)
    session.compare("without descriptors: CPU", ours["node: CPU"], 100 * cpu, "%")
    session.compare("without descriptors: log lines a second", ours["node: log lines a second"], lines)


def run(session):
    namespace = session.namespace("descriptors", LINKS)
    for kind in ("node", "apart"):
        agent = session.deployment(kind, prefix=namespace.prefix)
        if kind == "node":
            failing_traps(session, namespace, agent)
        for part in agent.daemons:
            clients_of(session, agent, part)
    if session.beside:
        beside_snmpd(session, namespace)
