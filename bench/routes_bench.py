"""Cost of a walk of the routes, with few routes and with a full Internet table, and of changes of routes."""
import math
import time

from arms import SYS_OBJECT_ID, Failure, running, shuffled
from namespace import fill_routes, namespace_with_routes
from report import number, progress

ARMS = ["echo", "snmpd", "node", "bus"]
OURS = ["node", "bus"]
QUICK = {"routes": [1000, 10000], "ipv6": [10000], "snmpd_max": 10000, "rounds": 1, "seconds": 1}
NEEDS_ROOT = True

CIDR_ENTRY = "1.3.6.1.2.1.4.24.4.1"  # ipCidrRouteEntry, RFC 2096
COLUMNS = 16
INET_NUMBER, INET_ENTRY = "1.3.6.1.2.1.4.24.6.0", "1.3.6.1.2.1.4.24.7.1"  # inetCidrRouteNumber, RFC 4292
INET_COLUMNS = 11
RATE = 10000  # changes a second
TIMEOUT = 100  # seconds
EXCHANGES = 20000  # datagrams of a measurement of the echo
LEAST_ROUTES_WALKED = 5000  # per measurement: small tables are walked several times
FIELDS = {  # of the figures: (work, unit, wanted with the most routes)
    "walk": ("{} routes x %d columns, GetBulk 50" % COLUMNS, "s",
             lambda routes: f"node {routes * 10e-6:.3g} s, bus {routes * 13e-6:.3g} s"),
    "row": ("{} routes: CPU of a row of that walk", "us", lambda _: "node 6 us, bus 9 us"),
    "wait": ("{} routes: longest wait of a second client", "ms", lambda _: "3 ms"),
    "start": ("{} routes: launch to last route", "s", None),
    "memory": ("{} routes: memory of one more", "octets", None),
    "change": ("{} routes: CPU of a change", "us", None),
}
IPV6_FIELDS = {
    "first": ("{} IPv6 routes: first answer", "ms"),
    "listed": ("{} IPv6 routes: from then to the last route", "s"),
    "wait": ("{} IPv6 routes: longest wait of a second client meanwhile", "ms"),
    "row": ("{} IPv6 routes: CPU of a row of a walk of %d columns" % INET_COLUMNS, "us"),
}


def add_options(parser):
    parser.add_argument("--routes", default="1000,10000,100000,1000000", metavar="N,N,...",
                        type=lambda text: sorted({int(word) for word in text.split(",") if word}),
                        help="numbers of routes, one namespace each (default: 1000,10000,100000,1000000)")
    parser.add_argument("--ipv6", default="100000,1000000", metavar="N,N,...",
                        type=lambda text: sorted({int(word) for word in text.split(",") if word}),
                        help="numbers of IPv6 routes, with the plug-in ip-mib (default: 100000,1000000)")
    parser.add_argument("--snmpd-max", type=int, default=100000, metavar="N",
                        help="largest number of routes with which snmpd is measured (default: 100000, which takes two "
                             "minutes)")
    parser.add_argument("--rounds", type=int, default=3, help="measurements of each server")
    parser.add_argument("--seconds", type=int, default=5, help="duration of the route changes")


def run(options, report):
    tables = {}  # {routes: {arm: figures}}
    for routes in options.routes:
        progress(f"routes: {routes:,} routes")
        names = [name for name in options.arms if name != "snmpd" or routes <= options.snmpd_max]
        with namespace_with_routes(routes) as namespace, running(names, options.build, namespace) as arms:
            tables[routes] = measure(arms, namespace, routes, options)
        plotted = {name: figures["row"] for name, figures in tables[routes].items() if name != "echo"}
        report.size("routes", routes, plotted)
    if tables:
        add_rows(report, tables)
    for routes in options.ipv6:
        progress(f"routes: {routes:,} IPv6 routes")
        names = [name for name in options.arms if name in OURS]
        with namespace_with_routes(0, ipv6=routes) as namespace, \
                running(names, options.build, namespace, plugins=["ip-mib"]) as arms:
            figures = {arm.name: measure_ipv6(arm, routes) for arm in arms}
        for field, (work, unit) in IPV6_FIELDS.items():
            report.add(work.format(f"{routes:,}"), {name: one[field] for name, one in figures.items()}, unit)


def measure_ipv6(arm, routes):
    """The owner lists the IPv6 routes when the first is requested: during that, a second client queries a constant."""
    arm.end()
    arm.launch()
    arm.wait_until_it_answers()
    # At normal priority: the owner, which lists without a pause, would keep the agent off their processor otherwise.
    with arm.probing(SYS_OBJECT_ID) as second:
        begun = time.monotonic()
        arm.load([INET_NUMBER], 1, "--warmup=1", window=1)
        answered = time.monotonic()
        while not has(arm, last_ipv6_row(routes)):
            time.sleep(0.05)
        listed = time.monotonic()
    figures = walk(arm, INET_ENTRY)
    return {"first": (answered - begun) * 1000, "listed": listed - answered, "wait": second["longest_ms"],
            "row": figures["cpu_seconds"] * 1e6 / (figures["varbinds"] / INET_COLUMNS)}


def has(arm, name):
    try:
        arm.load([name], 1, "--warmup=1", window=1)
    except Failure:
        return False
    return True


def last_ipv6_row(count):
    """Name of the inetCidrRouteIfIndex of the last route added."""
    number = count - 1
    octets = lambda text: ".".join(map(str, text))
    network = octets(((0x2000 << 32) + number).to_bytes(6, "big") + bytes(10))
    gateway = octets([0x20, 1, 0x0d, 0xb8, *bytes(11), 2 + number % 200])
    return f"{INET_ENTRY}.7.2.16.{network}.48.2.0.0.2.16.{gateway}"


def measure(arms, namespace, routes, options):
    """{arm: {field: value}}"""
    slow = [arm for arm in arms if arm.name == "snmpd" and routes > options.routes[0]]
    quick = [arm for arm in arms if arm not in slow and arm.name != "echo"]
    starts, walks, out = {}, {}, {}
    for turn in range(1, options.rounds + 1):
        progress(f"routes: {routes:,} routes, round {turn} of {options.rounds}")
        for arm in shuffled(quick, turn):
            arm.end()
            starts.setdefault(arm, []).append(arm.launch_seconds(last_row(routes)))
            times = math.ceil(LEAST_ROUTES_WALKED / routes)
            walks.setdefault(arm, []).append(walk(arm, CIDR_ENTRY, times=times))
    for arm in quick:
        progress(f"routes: {routes:,} routes, {arm.name} with a second client")
        with arm.before_others():
            _, wait = walk_with_another(arm, CIDR_ENTRY)
        out[arm.name] = {**least(walks[arm]), "start": min(starts[arm]), "wait": wait,
                         "memory": sum(arm.memory().values()) * 2**20}
        if arm.name in OURS:  # snmpd reads the kernel's table on each request
            out[arm.name]["change"] = cost_of_change(arm, namespace, routes, options.seconds)
    for echo in arms:
        if echo.name == "echo" and walks:
            exchange = min(echo.exchange(EXCHANGES) for _ in range(options.rounds))
            out["echo"] = {"row": exchange * min(w[-1]["requests"] / rows(w[-1]) for w in walks.values())}
    for arm in slow:
        progress(f"routes: {routes:,} routes, {arm.name} once, with a timeout of {TIMEOUT} s")
        try:
            # After the last column it would continue into the next table, which takes many minutes.
            once, wait = walk_with_another(arm, *(f"{CIDR_ENTRY}.{column}" for column in range(1, COLUMNS)))
            out[arm.name] = {**least([once]), "wait": wait}
        except Failure as failure:
            progress(str(failure).splitlines()[0])
    return out


def least(walks):
    """The minimum of the rounds, because disturbances only add time. A row is a route with all its columns."""
    return {"walk": min(w["seconds"] for w in walks),
            "row": min(w["cpu_seconds"] for w in walks) * 1e6 / rows(walks[-1])}


def rows(walk):
    return walk["varbinds"] / COLUMNS


def last_row(count):
    """Name of the ipCidrRouteIfIndex of the last route added."""
    number = count - 1
    destination = f"{20 + (number >> 16)}.{number >> 8 & 255}.{number & 255}.0"
    return f"{CIDR_ENTRY}.5.{destination}.255.255.255.0.0.10.0.0.{2 + number % 200}"


def walk(arm, *prefixes, times=1):
    return arm.walk(f"--timeout={TIMEOUT}", "--max-repetitions=50", f"--walks={times}", "--interval=0", *prefixes)


def walk_with_another(arm, *prefixes):
    """The figures of a walk, and the longest wait in milliseconds of a second client meanwhile."""
    with arm.probing(SYS_OBJECT_ID) as second:
        figures = walk(arm, *prefixes)
    return figures, second["longest_ms"]


def cost_of_change(arm, namespace, routes, seconds):
    """Microseconds of CPU time."""
    before = arm.cpu_seconds()
    fill_routes(namespace, "change", routes, RATE * seconds, RATE)
    cost = (arm.cpu_seconds() - before) * 1e6 / (RATE * seconds)
    if "notifications lost" in arm.logs():  # the routes are then listed again
        progress(f"routes: {arm.name}: notifications lost at {RATE:,} changes a second")
    arm.load([last_row(routes)], 1, window=1)
    return cost


def add_rows(report, tables):
    fewest, most = min(tables), max(tables)
    for field, (work, unit, wanted) in FIELDS.items():
        for routes, arms in tables.items():
            cells = {name: figures[field] for name, figures in arms.items() if field in figures}
            if field == "memory":  # of one more route
                if routes == fewest:
                    continue
                cells = {name: (octets - tables[fewest][name]["memory"]) / (routes - fewest)
                         for name, octets in cells.items() if name != "snmpd"}
            largest = max((n for n, arms in tables.items() if "snmpd" in arms and field in arms["snmpd"]), default=0)
            if wanted and routes == most > largest > 0:
                cells["snmpd"] = f"{number(tables[largest]['snmpd'][field])} {unit} at {largest:,}"
            report.add(work.format(f"{routes:,}"), cells, unit,
                       wanted=wanted(routes) if wanted and routes == most else None)
