"""Two agents and their owners, each pair on its own root of the same machine: the agents start first, then any of the
four processes is ended or killed and started again, in random order."""
import signal

import harness

GOAL = "two roots on one machine, each process restarted at random: no mixing, no stale sockets"
MINUTES = 10
QUICK = 4

ROOTS = ("north", "south")
PARTS = {"snmpd": "34", "hostd": "24,2"}  # and a path that each serves
SCRIPTS = "1.3.6.1.4.1.49999.1.1.8.1.1"  # scriptEntry: the owner's data, which differ between the roots


def prepare(session, name):
    """A root with a script of its name."""
    site = harness.Deployment("apart").ends_with(session)
    site.more_memory = float("inf")
    script = site.root / "tern/scripts" / name
    script.parent.mkdir(parents=True)
    script.write_text("#!/bin/sh\n")
    script.chmod(0o755)
    return site


def start(sites):
    """In the wrong order: agents before their owners."""
    for name, site in sites.items():
        site.start_part("snmpd")
        site.wait_for("34")
        site.open().configure("set", f"contact={name}")
    for site in reversed(sites.values()):
        site.start_part("hostd")
        site.wait_for("24,2")


def answers(site):
    """The agent's and the owner's texts; fewer if the owner is away."""
    texts = [harness.plain(site.get(harness.SYS_CONTACT))]
    return texts + [row[2] for row in site.rows(SCRIPTS).values() if 2 in row]


def sockets(site):
    return {path.name for path in (site.root / "tern/run/bus").iterdir() if path.is_socket()}


def restart(site, part, how):
    """Returns the exit status, when the new process answers."""
    status = site.daemons.pop(part).end(how)
    site.start_part(part)
    site.wait_for(PARTS[part])
    return status


def run(session):
    sites = {name: prepare(session, name) for name in ROOTS}
    start(sites)
    before = {name: sockets(site) for name, site in sites.items()}
    rounds = mixed = lost = ends = 0
    session.start_clock()
    while not session.is_over():
        chosen, part = session.random.choice(ROOTS), session.random.choice(list(PARTS))
        how = session.random.choice((signal.SIGTERM, signal.SIGKILL))
        status = restart(sites[chosen], part, how)
        ends += status != (0 if how == signal.SIGTERM else -how)
        for name, site in sites.items():
            harness.eventually(lambda: len(answers(site)) == 2, f"{name}: the owner's data return after {part}, {how}")
            texts = answers(site)
            mixed += any(text != name for text in texts)
            lost += sockets(site) != before[name]
            ends += not all(daemon.alive() for daemon in site.daemons.values())
        rounds += 1
        session.progress(f"{rounds} restarts, seed {session.seed}")
    left = sum(len(sockets(site)) for site in sites.values() if not any(site.stop()))
    session.goal("restarts", rounds, 5, at_least=True)
    session.goal("answers of the other root", mixed, 0)
    session.goal("other sockets than at the start", lost, 0)
    session.goal("sockets after the end", left, 0)
    session.goal("unexpected ends of processes", ends, 0)
