"""Cost of SNMPv3: authenticated and encrypted Gets and bulk walks, relative to v2c."""
import os
import random
import shutil
import statistics
import sys

from arms import Failure, running
from namespace import namespace_with

ARMS = ["snmpd", "node", "bus"]

SYS_UPTIME = "1.3.6.1.2.1.1.3.0"
TABLES = ["1.3.6.1.2.1.2.2", "1.3.6.1.2.1.31.1.1"]  # ifTable, ifXTable
LINKS = 100
VERSIONS = {"v2c": [], "v3": ["--v3"]}  # v3: authPriv, SHA and DES


def add_options(parser):
    parser.add_argument("--rounds", type=int, default=7, help="measurements of each server")
    parser.add_argument("--requests", type=int, default=10000, help="requests per measurement of a Get")
    parser.add_argument("--walks", type=int, default=5, help="walks per measurement")


def run(options):
    if os.geteuid() != 0:
        raise Failure("usm: needs root to create a network namespace")
    if not shutil.which("ip"):
        raise Failure("usm: ip not found: install iproute2")
    works = {
        "get": lambda arm, words: arm.load([SYS_UPTIME], 32, options.requests, *words)["cpu_us"],
        "bulk25": lambda arm, words: walk_cpu(arm, options.walks, words),
    }
    figures = {}
    with namespace_with(LINKS) as namespace, running(options.arms, options.build, namespace) as arms:
        for number in range(1, options.rounds + 1):
            print(f"round {number} of {options.rounds}", file=sys.stderr, flush=True)
            for work, measured in works.items():
                for arm in random.Random(number).sample(arms, len(arms)):
                    for version, words in VERSIONS.items():
                        figures.setdefault((work, arm.name, version), []).append(measured(arm, words))
    print_table(figures)


def walk_cpu(arm, walks, words):
    """Microseconds per request of the walk."""
    done = arm.measure("udp-walk", f"--walks={walks}", "--max-repetitions=25", *words, *TABLES)
    return done["cpu_seconds"] * 1e6 / done["requests"]


def print_table(figures):
    cost = {key: statistics.median(rounds) for key, rounds in figures.items()}
    print(f"{'work':<7} {'server':<6} {'v2c us':>8} {'v3 us':>8} {'v3 - v2c':>8} {'x v2c':>6} {'x snmpd':>8} "
          f"{'x snmpd v2c':>11}")
    for work, name, _ in [key for key in cost if key[2] == "v3"]:
        plain, secured = (cost[work, name, version] for version in VERSIONS)

        def quotient(version):
            snmpd = cost.get((work, "snmpd", version))
            return f"{cost[work, name, version] / snmpd:.2f}" if snmpd else "-"

        print(f"{work:<7} {name:<6} {plain:>8.2f} {secured:>8.2f} {secured - plain:>8.2f} {secured / plain:>6.2f} "
              f"{quotient('v3'):>8} {quotient('v2c'):>11}")
