"""Cost of a Get, relative to a bare UDP echo server."""
import statistics

from arms import running, shuffled
from report import progress

ARMS = ["echo", "snmpd", "node", "bus"]
QUICK = {"rounds": 1, "requests": 4000}

SYSTEM = "1.3.6.1.2.1.1"
WORKS = {  # name: (names of the Get, work, wanted)
    "constant": ([f"{SYSTEM}.2.0"], "Get of a constant", "node 0.85, bus 0.95"),
    "fetched": ([f"{SYSTEM}.3.0"], "Get of one fetched value", "node 1.3, bus 3"),
    "same50": ([f"{SYSTEM}.3.0"] * 50, "one Get of 50 names: sysUpTime fifty times", "node 3, bus 5"),
    "group50": ([f"{SYSTEM}.{1 + i % 7}.0" for i in range(50)], "one Get of 50 names: the system group in turn",
                "node 3, bus 5"),
}


def add_options(parser):
    parser.add_argument("--works", nargs="+", choices=WORKS, default=list(WORKS), help="kinds of requests")
    parser.add_argument("--rounds", type=int, default=5, help="measurements of each server")
    parser.add_argument("--requests", type=int, default=20000, help="requests per measurement")


def run(options, report):
    figures = {}
    with running(options.arms, options.build) as arms:
        for number in range(1, options.rounds + 1):
            progress(f"requests: round {number} of {options.rounds}")
            for work in options.works:
                for arm in shuffled(arms, number):
                    cost = arm.load(WORKS[work][0], options.requests)
                    figures.setdefault(work, {}).setdefault(arm.name, []).append(cost)
    for work, costs in figures.items():
        medians = {name: statistics.median(rounds) for name, rounds in costs.items()}
        report.add(WORKS[work][1], medians, "us", base="echo", wanted=WORKS[work][2])
        report.request(WORKS[work][1], medians)
