"""Cost of one reply, relative to a bare UDP echo server."""
import statistics
import sys

from arms import running

ARMS = ["echo", "snmpd", "node", "bus"]

SYSTEM = "1.3.6.1.2.1.1"
WORKS = {
    "constant": [f"{SYSTEM}.2.0"],
    "fetched": [f"{SYSTEM}.3.0"],
    "50 values": [f"{SYSTEM}.{1 + i % 7}.0" for i in range(50)],
}
# Aims at window 32, as multiples of the echo server's CPU time.
TARGETS = {
    ("constant", "node"): 1.24,
    ("constant", "bus"): 1.24,
    ("fetched", "node"): 1.48,
    ("fetched", "bus"): 3.2,
    ("50 values", "node"): 3.0,
}


def measure(arms, options):
    """{(work, window, arm name): [figures of each round]}"""
    figures = {}
    for round_number in range(1, options.rounds + 1):
        print(f"round {round_number} of {options.rounds}", file=sys.stderr, flush=True)
        for work in options.works:
            for window in options.windows:
                for arm in arms:
                    one = arm.load(WORKS[work], window, options.requests)
                    figures.setdefault((work, window, arm.name), []).append(one)
    return figures


def median(rounds, key):
    return statistics.median(figures[key] for figures in rounds)


def print_table(figures):
    print(f"{'work':<10} {'window':>6} {'server':<6} {'CPU us':>8} {'x echo':>7} {'aim':>5} {'x snmpd':>8} "
          f"{'p50 us':>8} {'p99 us':>8} {'answers/s':>10} {'resent':>6}")
    for (work, window, name), rounds in figures.items():
        cpu = median(rounds, "cpu_us")

        def ratio(other):
            other_rounds = figures.get((work, window, other))
            return f"{cpu / median(other_rounds, 'cpu_us'):.2f}" if other_rounds else "-"

        aim = TARGETS.get((work, name)) if window == 32 else None
        print(f"{work:<10} {window:>6} {name:<6} {cpu:>8.2f} {ratio('echo'):>7} {aim or '-':>5} {ratio('snmpd'):>8} "
              f"{median(rounds, 'p50_us'):>8.1f} {median(rounds, 'p99_us'):>8.1f} {median(rounds, 'rate'):>10.0f} "
              f"{sum(r['resent'] for r in rounds):>6}")


def add_options(parser):
    parser.add_argument("--works", nargs="+", choices=WORKS, default=list(WORKS), help="kinds of requests")
    parser.add_argument("--windows", nargs="+", type=int, default=[1, 32],
                        help="numbers of outstanding requests, measured one after the other")
    parser.add_argument("--rounds", type=int, default=7, help="measurements of each server")
    parser.add_argument("--requests", type=int, default=20000, help="requests per measurement")


def run(options):
    with running(options.arms, options.build) as arms:
        print_table(measure(arms, options))
