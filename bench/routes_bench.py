"""Cost of a walk of the routes, with few routes and with a full Internet table, and of changes of routes."""
import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys

from arms import LOAD_CPU, SYS_OBJECT_ID, Failure, pinned, running
from namespace import ip
from walk_bench import least, quotient, shuffled

ARMS = ["snmpd", "node", "bus"]

CIDR_ENTRY = "1.3.6.1.2.1.4.24.4.1"  # ipCidrRouteEntry, RFC 2096
COLUMNS = 16
FILLER = pathlib.Path(__file__).with_name("fill_routes.py")
RATE = 10000  # changes a second
TIMEOUT = 100  # seconds
# With 1,000,000 routes: microseconds per route with all columns, milliseconds, seconds, octets per route
ROW_TARGET, WAIT_TARGET, START_TARGET, MEMORY_TARGET = 10, 5, 5, 200


def add_options(parser):
    parser.add_argument("--routes", default="1000,100000,1000000", metavar="N,N,...",
                        type=lambda text: sorted({int(word) for word in text.split(",")}),
                        help="numbers of routes, one namespace each (default: 1000,100000,1000000)")
    parser.add_argument("--snmpd-max", type=int, default=100000, metavar="N",
                        help="largest number of routes with which snmpd is measured (default: 100000, a walk of two minutes)")
    parser.add_argument("--rounds", type=int, default=3, help="measurements of each server")
    parser.add_argument("--seconds", type=int, default=5, help="duration of the route changes")


def run(options):
    if os.geteuid() != 0:
        raise Failure("routes: needs root to create network namespaces")
    figures, changes = {}, {}
    for routes in options.routes:
        with namespace_with_routes(routes) as namespace:
            names = [name for name in options.arms if name != "snmpd" or routes <= options.snmpd_max]
            with running(names, options.build, namespace) as arms:
                measure(arms, routes, options, figures)
                changes.update(measure_changes(arms, namespace, routes, options.seconds))
    print_figures(figures)
    print_changes(changes)


@contextlib.contextmanager
def namespace_with_routes(count):
    """The namespace's name."""
    name = f"tarnix-bench-{os.getpid()}-routes"
    ip("netns", "add", name)
    try:
        for words in [["link", "set", "lo", "up"], ["link", "add", "uplink", "type", "veth", "peer", "name", "there"],
                      ["link", "set", "uplink", "up"], ["link", "set", "there", "up"],
                      ["address", "add", "10.0.0.1/24", "dev", "uplink"]]:
            ip("-n", name, *words)
        print(f"{count} routes: filled in {fill(name, 'add', count):.1f} s", file=sys.stderr, flush=True)
        yield name
    finally:
        ip("netns", "del", name)


def fill(namespace, *words):
    """Returns the seconds it took."""
    command = ["ip", "netns", "exec", namespace, sys.executable, str(FILLER), *map(str, words)]
    done = subprocess.run(command, capture_output=True, text=True, preexec_fn=pinned(LOAD_CPU))
    if done.returncode:
        raise Failure(done.stderr.strip())
    return float(done.stdout)


def last_row(count):
    """Name of the ipCidrRouteIfIndex of the last route added."""
    number = count - 1
    destination = f"{20 + (number >> 16)}.{number >> 8 & 255}.{number & 255}.0"
    return f"{CIDR_ENTRY}.5.{destination}.255.255.255.0.0.10.0.0.{2 + number % 200}"


def measure(arms, routes, options, figures):
    slow = [arm for arm in arms if arm.name == "snmpd" and routes > options.routes[0]]
    quick = [arm for arm in arms if arm not in slow]
    for arm in quick:
        figures[routes, arm.name] = {"start": [], "walk": []}
    for number in range(1, options.rounds + 1):
        print(f"{routes} routes: round {number} of {options.rounds}", file=sys.stderr, flush=True)
        for arm in shuffled(quick, number):
            arm.end()
            figures[routes, arm.name]["start"].append(arm.launch_seconds(last_row(routes)))
            figures[routes, arm.name]["walk"].append(walk(arm))
    for arm in quick:
        with before_others(arm):
            wait = walk_with_another(arm)[1]
        figures[routes, arm.name].update(wait=wait, memory=arm.memory("VmRSS"))
    for arm in slow:
        print(f"{routes} routes: {arm.name} once, with a timeout of {TIMEOUT} s", file=sys.stderr, flush=True)
        try:
            # After the last column it would continue into the next table, which takes many minutes.
            once, wait = walk_with_another(arm, *(f"{CIDR_ENTRY}.{column}" for column in range(1, COLUMNS)))
            figures[routes, arm.name] = {"start": [], "walk": [once], "wait": wait, "memory": arm.memory("VmRSS")}
        except Failure as failure:
            print(str(failure).splitlines()[0], file=sys.stderr)


def walk(arm, *prefixes):
    return arm.measure("udp-walk", f"--timeout={TIMEOUT}", "--max-repetitions=50", *(prefixes or [CIDR_ENTRY]))


@contextlib.contextmanager
def before_others(arm):
    """Gives the server and its clients real-time priority, so that a wait is caused by the server itself."""
    tasks = [0, *tasks_of(arm)]  # clients inherit the priority of this process
    for task in tasks:
        os.sched_setscheduler(task, os.SCHED_FIFO, os.sched_param(1))
    try:
        yield
    finally:
        for task in tasks:
            with contextlib.suppress(ProcessLookupError):
                os.sched_setscheduler(task, os.SCHED_OTHER, os.sched_param(0))


def walk_with_another(arm, *prefixes):
    """The figures of a walk during which a second client sends requests, and that client's longest wait in milliseconds."""
    command = [*arm.prefix, f"{arm.build}/udp-probe", f"--port={arm.port}", SYS_OBJECT_ID]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, preexec_fn=pinned(LOAD_CPU)) as probe:
        try:
            figures = walk(arm, *prefixes)
        finally:
            probe.send_signal(signal.SIGTERM)
        return figures, json.loads(probe.communicate()[0])["longest_ms"]


def measure_changes(arms, namespace, routes, seconds):
    """{(routes, arm): figures}"""
    out = {}
    for arm in arms:
        if arm.name == "snmpd":  # reads the kernel's table on each request
            continue
        before = cpu_seconds(arm)
        took = fill(namespace, "change", routes, RATE * seconds, RATE)
        cost = (cpu_seconds(arm) - before) * 1e6 / (RATE * seconds)
        lost = "notifications lost" in arm.logs()
        arm.load([last_row(routes)], 1, 1)
        out[routes, arm.name] = {"micros": cost, "rate": RATE * seconds / took, "lost": lost}
    return out


def tasks_of(arm):
    """All threads of the server's processes."""
    return [int(task) for process in arm.processes.values() for task in os.listdir(f"/proc/{process.pid}/task")]


def cpu_seconds(arm):
    return sum(int(pathlib.Path(f"/proc/{task}/schedstat").read_text().split()[0]) for task in tasks_of(arm)) / 1e9


def print_figures(figures):
    few = min(routes for routes, _ in figures)
    print(f"{'routes':>8} {'server':<6} {'start s':>8} {'walk s':>8} {'rows/s':>8} {'CPU us/row':>10} {'x fewest':>8} "
          f"{'x snmpd':>7} {'wait ms':>8}   {'program':<13} {'MiB':>7} {'B/route':>7}")
    for (routes, name), mine in figures.items():
        def per_row(at):
            return least(at["walk"], "cpu_seconds") * 1e6 / (at["walk"][-1]["varbinds"] / COLUMNS)

        seconds, cost = least(mine["walk"], "seconds"), per_row(mine)
        snmpd = figures.get((routes, "snmpd"))
        start = f"{min(mine['start']):.3f}" if mine["start"] else "-"
        left = (f"{routes:>8} {name:<6} {start:>8} {seconds:>8.2f} "
                f"{mine['walk'][-1]['varbinds'] / COLUMNS / seconds:>8.0f} {cost:>10.2f} "
                f"{quotient(cost, per_row(figures[few, name])):>8} {quotient(cost, snmpd and per_row(snmpd)):>7} "
                f"{mine['wait']:>8.1f}")
        for program, mebibytes in mine["memory"].items():
            base = figures[few, name]["memory"][program]
            each = f"{(mebibytes - base) * 2**20 / (routes - few):.0f}" if routes > few else "-"
            print(f"{left}   {program:<13} {mebibytes:>7.1f} {each:>7}")
            left = " " * len(left)
    print(f"aims with 1,000,000: start {START_TARGET} s, {ROW_TARGET} us/row in one process and 1.00 x fewest, wait "
          f"{WAIT_TARGET} ms, {MEMORY_TARGET} B/route")


def print_changes(changes):
    print(f"\n{'routes':>8} {'server':<6} {'changes/s':>9} {'CPU us each':>11} {'of a CPU':>8} {'lost':>5}")
    for (routes, name), mine in changes.items():
        share = mine["micros"] * mine["rate"] / 1e6
        print(f"{routes:>8} {name:<6} {mine['rate']:>9.0f} {mine['micros']:>11.2f} {share:>8.1%} "
              f"{'yes' if mine['lost'] else 'no':>5}")
