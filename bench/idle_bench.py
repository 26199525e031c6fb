"""CPU time and memory of an idle server, and the growth of its memory by a walk and a storm of requests."""
import time

from arms import running
from namespace import namespace_with_links
from report import progress
from requests_bench import WORKS
from walk_bench import TABLES

ARMS = ["snmpd", "node", "bus"]
QUICK = {"links": 200, "seconds": 5, "requests": 4000}
NEEDS_ROOT = True

SETTLING = 8  # seconds, in which a server returns the memory that its start or a load needed
FEW_LINKS = 20


def add_options(parser):
    parser.add_argument("--links", type=int, default=2000, metavar="N", help="number of links, even")
    parser.add_argument("--seconds", type=int, default=20, help="duration of the measurement")
    parser.add_argument("--requests", type=int, default=20000, help="number of requests in the storm, each of 50 names")


def run(options, report):
    progress("idle: memory")
    with namespace_with_links(FEW_LINKS) as namespace, running(options.arms, options.build, namespace) as arms:
        idle = settled_memory(arms)
    with namespace_with_links(options.links) as namespace, running(options.arms, options.build, namespace) as arms:
        progress(f"idle: {options.links:,} links, {options.seconds} s without requests")
        before = settled_memory(arms)
        cpu = {arm.name: arm.cpu_seconds() for arm in arms}
        time.sleep(options.seconds)  # of all at the same time: idle servers don't compete
        cpu = {arm.name: arm.cpu_seconds() - cpu[arm.name] for arm in arms}
        for arm in arms:
            progress(f"idle: {options.links:,} links, walk and storm, {arm.name}")
            arm.walk("--max-repetitions=50", *TABLES)
            arm.load(WORKS["group50"][0], options.requests)
        grown = {name: {program: mebibytes - before[name][program] for program, mebibytes in programs.items()}
                 for name, programs in settled_memory(arms).items()}
    report.add(f"idle, {options.links:,} links: CPU of {options.seconds} s",
               {name: f"{seconds:.3f} s" for name, seconds in cpu.items()}, "s",
               wanted=f"{0.01 * options.seconds / 20:.3f} s")
    report.add(f"idle, {FEW_LINKS} links: private dirty memory, MiB", shown(idle, ".1f"), "MiB",
               wanted="node 2.9, agent 1.8")
    report.add(f"its growth by a walk of {options.links:,} links and a storm, MiB", shown(grown, "+.1f"), "MiB",
               wanted="2 at most")


def settled_memory(arms):
    """{arm: {program: MiB}}"""
    time.sleep(SETTLING)
    return {arm.name: arm.memory() for arm in arms}


def shown(memory, form):
    """{arm: text}, with the names of the programs if there are two."""
    names = {"tarnix-snmpd": "agent ", "tarnix-hostd": "owners "}
    return {arm: ", ".join(f"{names[program] if len(programs) > 1 else ''}{mebibytes:{form}}"
                           for program, mebibytes in programs.items())
            for arm, programs in memory.items()}
