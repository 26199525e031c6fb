"""Cost of a walk of ifTable and ifXTable with few and with many links."""
import argparse
import contextlib
import math
import os
import random
import shutil
import sys

from arms import Failure, running
from namespace import middle_link, namespace_with

ARMS = ["snmpd", "node", "bus"]

IF_ENTRY, IF_X_ENTRY = "1.3.6.1.2.1.2.2.1", "1.3.6.1.2.1.31.1.1.1"  # RFC 2863
IF_IN_OCTETS = f"{IF_ENTRY}.10"
TABLES = ["1.3.6.1.2.1.2.2", "1.3.6.1.2.1.31.1.1"]
# ifDescr, ifAdminStatus, ifOperStatus, ifInDiscards, ifInErrors, ifOutErrors; ifName, ifHCInOctets, ifHCOutOctets,
# ifHighSpeed: the columns that a typical poller reads
POLLED = [f"{IF_ENTRY}.{column}" for column in (2, 7, 8, 13, 14, 20)] + [
    f"{IF_X_ENTRY}.{column}" for column in (1, 6, 10, 15)]
WAYS = {
    "next": ["--operation=getnext", *TABLES],
    "bulk10": ["--max-repetitions=10", *TABLES],
    "bulk25": ["--max-repetitions=25", *TABLES],
    "bulk50": ["--max-repetitions=50", *TABLES],
    "poller": ["--at-once=10", "--max-repetitions=10", *POLLED],
}
# With 2,000 links; walks as multiples of snmpd's CPU time.
WALK_TARGETS = {("bulk25", "node"): 0.05 / 0.29, ("bulk25", "bus"): 0.15 / 0.29}
START_TARGET = 50  # ms
IDLE_TARGETS = {"tarnix-snmpd": 8, "tarnix-node": 8}  # MiB
TARGET_LINKS = 2000
LEAST_LINKS_WALKED = 100  # per measurement: small tables are walked several times


def add_options(parser):
    parser.add_argument("--links", default="20,200,2000", metavar="N,N,...", type=link_counts,
                        help="numbers of links, one namespace each (default: 20,200,2000)")
    parser.add_argument("--ways", nargs="*", choices=WAYS, default=list(WAYS),
                        help="kinds of walks; with an empty list, only the other figures are measured")
    parser.add_argument("--rounds", type=int, default=5, help="measurements of each server")
    parser.add_argument("--requests", type=int, default=20000, help="requests per measurement of a single counter")


def link_counts(text):
    """[numbers], ascending. Links are made in pairs, hence even."""
    words = text.split(",")
    if not all(word.isdecimal() and 2 <= int(word) <= 20000 and int(word) % 2 == 0 for word in words):
        raise argparse.ArgumentTypeError(f"expected even numbers from 2 to 20000 separated by commas, not '{text}'")
    return sorted({int(word) for word in words})


def run(options):
    if os.geteuid() != 0:
        raise Failure("walk: needs root to create network namespaces")
    if not shutil.which("ip"):
        raise Failure("walk: ip not found: install iproute2")
    with contextlib.ExitStack() as stack:
        fields = []  # (links, arm, name of a counter)
        for links in options.links:
            print(f"{links} links", file=sys.stderr, flush=True)
            namespace = stack.enter_context(namespace_with(links))
            counter = f"{IF_IN_OCTETS}.{middle_link(namespace)}"
            arms = stack.enter_context(running(options.arms, options.build, namespace))
            fields += [(links, arm, counter) for arm in arms]
        starts, idle = measure_starts(fields, options.rounds)
        walks, gets = measure_walks(fields, options)
        peaks = {(links, arm.name): arm.memory("VmHWM") for links, arm, _ in fields}
        if walks:
            print_walks(walks)
        print_gets(gets)
        print_starts(starts, idle, peaks)


def measure_starts(fields, rounds):
    """({(links, arm): [seconds]}, {(links, arm): {program: MiB}})"""
    starts, idle = {}, {}
    for number in range(1, rounds + 1):
        print(f"starts: round {number} of {rounds}", file=sys.stderr, flush=True)
        for links, arm, counter in fields:
            arm.end()
            starts.setdefault((links, arm.name), []).append(arm.launch_seconds(counter))
            idle[links, arm.name] = arm.memory("VmRSS")
    return starts, idle


def measure_walks(fields, options):
    """({(way, links, arm): [figures]}, {(links, arm): [figures of a Get]})"""
    walks = {(way, links, arm.name): [] for way in options.ways for links, arm, _ in fields}
    gets = {(links, arm.name): [] for links, arm, _ in fields}
    for number in range(1, options.rounds + 1):
        print(f"walks: round {number} of {options.rounds}", file=sys.stderr, flush=True)
        for way in options.ways:
            for links, arm, _ in shuffled(fields, number):
                times = math.ceil(LEAST_LINKS_WALKED / links)
                figures = arm.measure("udp-walk", f"--walks={times}", *WAYS[way])
                walks[way, links, arm.name].append(figures)
        for links, arm, counter in shuffled(fields, number):
            gets[links, arm.name].append(arm.load([counter], 32, options.requests))
    return walks, gets


def shuffled(fields, seed):
    """A different order in each round, so that no server always follows the same other one."""
    return random.Random(seed).sample(fields, len(fields))


def least(rounds, key):
    """The minimum, because disturbances of the machine only add time."""
    return min(figures[key] for figures in rounds)


def micros_per_row(rounds):
    return least(rounds, "cpu_seconds") * 1e6 / rounds[-1]["varbinds"]


def quotient(value, other):
    return f"{value / other:.2f}" if other else "-"


def shown(target):
    return f"{target:.2f}" if target else "-"


def print_walks(walks):
    print(f"{'walk':<7} {'links':>6} {'server':<6} {'rows':>7} {'requests':>8} {'wall s':>8} {'CPU s':>8} "
          f"{'us/row':>7} {'x fewest':>8} {'x snmpd':>7} {'aim':>5}")
    for (way, links, name), rounds in walks.items():
        cpu, row = least(rounds, "cpu_seconds"), micros_per_row(rounds)
        fewest = micros_per_row(next(r for (w, _, n), r in walks.items() if (w, n) == (way, name)))
        snmpd = walks.get((way, links, "snmpd"))
        aim = WALK_TARGETS.get((way, name)) if links == TARGET_LINKS else None
        print(f"{way:<7} {links:>6} {name:<6} {rounds[-1]['varbinds']:>7} {rounds[-1]['requests']:>8} "
              f"{least(rounds, 'seconds'):>8.3f} {cpu:>8.4f} {row:>7.2f} {quotient(row, fewest):>8} "
              f"{quotient(cpu, snmpd and least(snmpd, 'cpu_seconds')):>7} {shown(aim):>5}")


def print_gets(gets):
    print(f"\n{'get':<11} {'links':>6} {'server':<6} {'CPU us':>8} {'x fewest':>8} {'x snmpd':>7}")
    for (links, name), rounds in gets.items():
        cpu = least(rounds, "cpu_us")
        fewest = least(next(r for (_, n), r in gets.items() if n == name), "cpu_us")
        snmpd = gets.get((links, "snmpd"))
        print(f"{'ifInOctets':<11} {links:>6} {name:<6} {cpu:>8.2f} {quotient(cpu, fewest):>8} "
              f"{quotient(cpu, snmpd and least(snmpd, 'cpu_us')):>7}")


def print_starts(starts, idle, peaks):
    print(f"\n{'links':>6} {'server':<6} {'start ms':>8} {'aim':>5} {'x snmpd':>7}   "
          f"{'program':<13} {'idle MiB':>8} {'aim':>5} {'x snmpd':>7} {'peak MiB':>8}")
    for (links, name), rounds in starts.items():
        seconds = min(rounds)
        snmpd = min(starts.get((links, "snmpd"), [0]))
        at_target = links == TARGET_LINKS and name != "snmpd"
        left = (f"{links:>6} {name:<6} {seconds * 1000:>8.1f} {at_target and START_TARGET or '-':>5} "
                f"{quotient(seconds, snmpd):>7}")
        for program, mebibytes in idle[links, name].items():
            snmpd_idle = idle.get((links, "snmpd"), {}).get("snmpd")
            aim = at_target and IDLE_TARGETS.get(program)
            print(f"{left}   {program:<13} {mebibytes:>8.1f} {aim or '-':>5} {quotient(mebibytes, snmpd_idle):>7} "
                  f"{peaks[links, name][program]:>8.1f}")
            left = " " * len(left)
