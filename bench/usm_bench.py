"""Cost of SNMPv3, authenticated and encrypted, relative to snmpd, and of its protocols relative to v2c; and the delays
that many users' keys cause."""
import statistics
import time

from arms import PAIRS, SYS_OBJECT_ID, running, shuffled
from namespace import namespace_with_links
from report import number as digits
from report import progress
from walk_bench import TABLES

ARMS = ["echo", "snmpd", "node", "bus"]
QUICK = {"rounds": 1, "requests": 2000, "users": 50}
NEEDS_ROOT = True

SYS_UPTIME = "1.3.6.1.2.1.1.3.0"
LINKS = 200
WALK = f"v3 authPriv (MD5, DES), ifTable + ifXTable, {LINKS} links, GetBulk 25"
GET = "Get of one fetched value, v3 authPriv"
PAIR_GET = "Get of one fetched value, v3 authPriv, cost relative to v2c"
PAIR_WALK = "GetBulk 25 of ifTable + ifXTable, v3 authPriv, cost relative to v2c"
PROBED = 3  # seconds after the first answer


def add_options(parser):
    parser.add_argument("--rounds", type=int, default=5, help="measurements of each server")
    parser.add_argument("--requests", type=int, default=10000, help="requests per measurement of a Get")
    parser.add_argument("--walks", type=int, default=3, help="walks per measurement")
    parser.add_argument("--users", type=int, default=200, help="number of users, each with two passwords")


def run(options, report):
    gets, walks, exchanges, requests = {}, {}, [], 0
    with namespace_with_links(LINKS) as namespace, running(options.arms, options.build, namespace) as arms:
        for number in range(1, options.rounds + 1):
            progress(f"usm: round {number} of {options.rounds}")
            for arm in shuffled(arms, number):
                if arm.name == "echo":
                    exchanges.append(arm.exchange(options.requests))
                    continue
                gets.setdefault(arm.name, []).append(arm.load([SYS_UPTIME], options.requests, "--v3"))
                walked = arm.walk(f"--walks={options.walks}", "--max-repetitions=25", "--v3", *TABLES)
                walks.setdefault(arm.name, []).append(walked["cpu_seconds"] * 1e6)
                requests = walked["requests"]
    cost = medians(gets)
    report.add(GET, cost, "us", base="snmpd")
    report.request(GET, cost)
    cost = medians(walks)
    if exchanges:
        cost["echo"] = statistics.median(exchanges) * requests
    report.add(WALK, cost, "us", base="snmpd", wanted="node 0.3, bus 0.5")
    options.arms = [name for name in options.arms if name != "echo"]
    measure_pairs(options, report)
    measure_keys(options, report)


def medians(figures):
    return {name: statistics.median(rounds) for name, rounds in figures.items()}


def measure_pairs(options, report):
    gets, walks = {}, {}  # {(server, pair): [microseconds]}
    with namespace_with_links(LINKS) as namespace, running(options.arms, options.build, namespace) as arms:
        for number in range(1, options.rounds + 1):
            progress(f"usm: protocols, round {number} of {options.rounds}")
            for arm in shuffled(arms, number):
                for pair in shuffled(["", *PAIRS], number):
                    words = [f"--v3={pair}"] if pair else []
                    get = arm.load([SYS_UPTIME], options.requests, *words)
                    gets.setdefault((arm.name, pair), []).append(get)
                    walked = arm.walk("--max-repetitions=25", *words, *TABLES)
                    walks.setdefault((arm.name, pair), []).append(walked["cpu_seconds"])
    for title, figures in (PAIR_GET, medians(gets)), (PAIR_WALK, medians(walks)):
        for pair in PAIRS:
            ratios = {name: figures[name, pair] / figures[name, ""] for name in options.arms}
            report.add(f"{title}: {pair}", {name: digits(ratio) for name, ratio in ratios.items()}, "")


def measure_keys(options, report):
    """Users with different passwords: keys of equal ones could be shared. snmpd stores keys and isn't measured."""
    first, longest = {}, {}
    with running([name for name in options.arms if name != "snmpd"], options.build) as arms:
        for arm in arms:
            progress(f"usm: {options.users} users, {arm.name}")
            for user in range(options.users):
                arm.add_user(f"user{user}", f"password{user}")
        for number in range(1, options.rounds + 1):
            progress(f"usm: keys, round {number} of {options.rounds}")
            for arm in shuffled(arms, number):
                arm.end()
                seconds, wait = start_with_another(arm)
                first.setdefault(arm.name, []).append(seconds * 1000)
                longest.setdefault(arm.name, []).append(wait)
    report.add(f"keys of {options.users} users: first answer", medians(first), "ms", wanted="50 ms")
    report.add(f"keys of {options.users} users: longest wait", medians(longest), "ms", wanted="5 ms")


def start_with_another(arm):
    """(seconds to a user's first answer, the longest wait in milliseconds afterwards)"""
    with arm.before_others(), arm.probing("--v3", SYS_OBJECT_ID) as figures:
        launched = time.monotonic()
        arm.launch()
        time.sleep(PROBED)
    return figures["first"] - launched, figures["longest_ms"]
