"""Cost of traps to three targets, v2c and v3, and how many arrive."""
import statistics

from arms import running, shuffled
from report import progress

ARMS = ["node", "bus"]
QUICK = {"rounds": 1, "traps": 2000}

TARGETS = "127.0.0.1,127.0.0.2,127.0.0.3"  # where udp-traps receives them
VERSIONS = {  # the community, or user, that traps are sent as; arguments of udp-traps
    "2c": ("common", []),
    "3": ("md5-des", ["--v3=md5-des"]),
}


def add_options(parser):
    parser.add_argument("--traps", type=int, default=10000, help="traps per measurement, each to three targets")
    parser.add_argument("--rounds", type=int, default=3, help="measurements of each server")


def run(options, report):
    figures = {}
    with running(options.arms, options.build) as arms:
        for number in range(1, options.rounds + 1):
            progress(f"traps: round {number} of {options.rounds}")
            for version, (community, words) in VERSIONS.items():
                for arm in shuffled(arms, number):
                    arm.tnctl("set", f"trap-targets={TARGETS}", f"trap-version={version}",
                              f"trap-community={community}")
                    done = arm.measure("udp-traps", f"--root={arm.folder}", f"--count={options.traps}", *words,
                                       port=arm.trap_port)
                    figures.setdefault(version, {}).setdefault(arm.name, []).append(done)
    for version, arms in figures.items():
        work = f"{options.traps:,} traps to three targets, v{version.replace('3', '3 authPriv')}"
        cost = {name: statistics.median(done["cpu_us"] for done in rounds) for name, rounds in arms.items()}
        report.add(f"{work}: CPU of each", cost, "us", wanted="")
        arrived = {name: f"{min(done['arrived'] for done in rounds):,}" for name, rounds in arms.items()}
        report.add(f"{work}: arrived", arrived, "", wanted=f"{arms[options.arms[0]][0]['sent']:,}")
