"""Cost of walks of the interface tables with few and with many links, relative to snmpd."""
import argparse
import contextlib
import math

from arms import running, shuffled
from namespace import middle_link, namespace_with_links
from report import progress

ARMS = ["echo", "snmpd", "node", "bus", "node+ifx", "bus+ifx"]
QUICK = {"links": [20, 200], "rounds": 1, "requests": 4000}
NEEDS_ROOT = True
PLOTTED = ["snmpd", "node", "bus"]

IF_TABLE, IF_X_TABLE = "1.3.6.1.2.1.2.2", "1.3.6.1.2.1.31.1.1"  # RFC 2863
TABLES = [IF_TABLE, IF_X_TABLE]
IF_IN_OCTETS = f"{IF_TABLE}.1.10"
# ifDescr, ifAdminStatus, ifOperStatus, ifInDiscards, ifInErrors, ifOutErrors; ifName, ifHCInOctets, ifHCOutOctets,
# ifHighSpeed: the columns that a typical poller reads
POLLED = [f"{IF_TABLE}.1.{column}" for column in (2, 7, 8, 13, 14, 20)] + [
    f"{IF_X_TABLE}.1.{column}" for column in (1, 6, 10, 15)]
WAYS = {  # name: (arguments of udp-walk, work, kind of request, wanted with the most links)
    "bulk25": (["--max-repetitions=25", *TABLES], "ifTable + ifXTable, {} links, GetBulk 25", "GetBulk 25 of ifTable",
               "node 0.15, bus 0.4"),
    "table": (["--max-repetitions=25", IF_TABLE], "ifTable, {} links, GetBulk 25", None, ""),
    "next": (["--getnext", IF_TABLE], "ifTable, {} links, GetNext", "GetNext in ifTable",
             "node 0.35, bus 0.8"),
    "poller": (["--at-once=10", "--max-repetitions=10", *POLLED], "10 columns, {} links, one GetBulk 10",
               "GetBulk 10 of 10 columns", None),
}
LEAST_LINKS_WALKED = 100  # per measurement: small tables are walked several times


def add_options(parser):
    parser.add_argument("--links", default="20,200,2000", metavar="N,N,...", type=link_counts,
                        help="numbers of links, one namespace each (default: 20,200,2000)")
    parser.add_argument("--ways", nargs="*", choices=WAYS, default=list(WAYS),
                        help="kinds of walks; with an empty list, only the other figures are measured")
    parser.add_argument("--rounds", type=int, default=3, help="measurements of each server")
    parser.add_argument("--requests", type=int, default=20000, help="requests per measurement of a single counter")


def link_counts(text):
    """[numbers], ascending. Links are made in pairs, hence even."""
    words = text.split(",")
    if not all(word.isdecimal() and 2 <= int(word) <= 20000 and int(word) % 2 == 0 for word in words):
        raise argparse.ArgumentTypeError(f"expected even numbers from 2 to 20000 separated by commas, not '{text}'")
    return sorted({int(word) for word in words})


def run(options, report):
    with contextlib.ExitStack() as stack:
        fields = []  # (links, arm, name of a counter)
        for links in options.links:
            progress(f"walk: {links} links")
            namespace = stack.enter_context(namespace_with_links(links))
            counter = f"{IF_IN_OCTETS}.{middle_link(namespace)}"
            fields += [(links, arm, counter) for arm in
                       stack.enter_context(running(options.arms, options.build, namespace))]
        walks, gets, starts, exchanges = measure(fields, options)
    # The minimum of the rounds, because disturbances of the machine only add time.
    for way in options.ways:
        _, work, kind, wanted = WAYS[way]
        for links in options.links:
            cpu = {arm: min(w["cpu_seconds"] for w in rounds) * 1e6 for arm, rounds in walks[way, links].items()}
            if links in exchanges:
                cpu["echo"] = min(exchanges[links]) * min(w[-1]["requests"] for w in walks[way, links].values())
            largest = links == options.links[-1]
            report.add(work.format(f"{links:,}"), cpu, "us", base="snmpd", wanted=wanted if largest else None)
            plotted = {arm: us for arm, us in cpu.items() if arm in PLOTTED}
            if way == "bulk25":
                # A row has the columns of both tables; the loopback has one, too.
                report.size("links", links, {arm: total / (links + 1) for arm, total in plotted.items()})
            if largest and kind:
                report.request(kind, {arm: us / walks[way, links][arm][-1]["requests"] for arm, us in plotted.items()})
    for work, unit, figures in [("Get of ifInOctets, {} links", "us", gets), ("start, {} links", "ms", starts)]:
        for links, rounds in figures.items():
            report.add(work.format(f"{links:,}"), {arm: min(values) for arm, values in rounds.items()}, unit)


def measure(fields, options):
    """({(way, links): {arm: [figures]}}, {links: {arm: [us of a Get]}}, {links: {arm: [ms of a start]}},
    {links: [us of an echoed datagram]})"""
    walks, gets, starts, exchanges = {}, {}, {}, {}
    echoes = [field for field in fields if field[1].name == "echo"]
    fields = [field for field in fields if field not in echoes]
    for number in range(1, options.rounds + 1):
        progress(f"walk: round {number} of {options.rounds}")
        for links, arm, counter in shuffled(fields, number):
            arm.end()
            starts.setdefault(links, {}).setdefault(arm.name, []).append(arm.launch_seconds(counter) * 1000)
        for way in options.ways:
            for links, arm, _ in shuffled(fields, number):
                figures = arm.walk(f"--walks={math.ceil(LEAST_LINKS_WALKED / links)}", *WAYS[way][0])
                walks.setdefault((way, links), {}).setdefault(arm.name, []).append(figures)
        for links, echo, _ in echoes:
            exchanges.setdefault(links, []).append(echo.exchange(options.requests))
        for links, arm, counter in shuffled(fields, number):
            gets.setdefault(links, {}).setdefault(arm.name, []).append(arm.load([counter], options.requests))
    return walks, gets, starts, exchanges
