#!/usr/bin/env python3
"""Checks docs/first-page.md: which groups of objects that pollers read on a host's first page the agent answers.

usage: tools/first_page.py [--write | --query HOST:PORT] LIST-OBJECTS

The groups are in docs/first-page.tsv. LIST-OBJECTS is the program of tools/list_objects.cc, with the folder
shipped-plugins beside it. --write generates the page. --query walks a running agent, as the community common, and
prints how many groups have values there; it needs snmpwalk.
"""
import collections
import pathlib
import subprocess
import sys
import textwrap

import check_contrib
import check_objects

GROUPS, PAGE = pathlib.Path("docs/first-page.tsv"), pathlib.Path("docs/first-page.md")
POLLERS = {"L": "LibreNMS", "Z": "Zabbix", "P": "snmp_exporter", "C": "Cacti", "K": "Checkmk", "N": "Centreon",
           "I": "Icinga", "M": "Munin", "R": "MRTG", "D": "Datadog", "O": "OpenNMS"}
Group = collections.namedtuple("Group", "mib name objects pollers")

HEAD = """# The first page of a poller

{number} groups of objects that pollers read when they show a host for the first time, and what the agent answers
without and with the [plug-ins that ship](plugins.md#plug-ins-that-ship). `tools/first_page.py --write` generates this
page from first-page.tsv and the agent's column tables; `./dev lint` checks that it is current.

| | without plug-ins | with plug-ins |
|---|---|---|
{counts}

"constant": the same value on each machine. "partly": some of the objects are absent. An answered group has no values on
a machine without what it describes, for example a bridge or sensors.

{readers}

| MIB | group | objects | readers | without plug-ins | with plug-ins |
|---|---|---|---|---|---|
"""
READERS = ("The readers are {}. Zabbix means its templates \"Linux by SNMP\" and \"Network Generic Device by SNMP\", "
           "snmp_exporter modules generated from the MIB, Icinga the monitoring plug-ins, MRTG cfgmaker. This is what "
           "is known of them, not what was run; [pollers.md](pollers.md) has that.")
STATES = ("answered", "partly", "constant", "absent")


def groups():
    lines = (line.split("\t") for line in GROUPS.read_text().splitlines() if not line.startswith("#"))
    return [Group(mib, name, objects.split(), pollers) for mib, name, objects, pollers in lines]


def unknown_names():
    known = check_contrib.objects()
    return [name for group in groups() for name in group.objects if name not in known and "=" not in name]


def sources(program):
    """Where values come from: {name: source} without plug-ins, and with all that ship."""
    bare = {served.name: served.source for served in check_objects.served(program)}
    full = dict(bare)
    for plugin in sorted((pathlib.Path(program).parent / "shipped-plugins").glob("*.so")):
        full |= {served.name: served.source for served in check_objects.served(program, plugin)}
    return bare, full


def state(group, source):
    values = [source.get(name.partition("=")[0]) for name in group.objects]
    if not any(values):
        return "absent"
    if None in values:
        return "partly"
    return "constant" if all(value.startswith("constant") for value in values) else "answered"


def page(program):
    found, modes = groups(), sources(program)
    counted = [collections.Counter(state(group, source) for group in found) for source in modes]
    counts = "\n".join(f"| {kind} | {counted[0][kind]} | {counted[1][kind]} |" for kind in STATES)
    readers = textwrap.fill(READERS.format(", ".join(f"{letter} {name}" for letter, name in POLLERS.items())), 120)
    rows = (" | ".join((f"| {group.mib}", group.name, ", ".join(name.partition("=")[0] for name in group.objects),
                        group.pollers, *(state(group, source) for source in modes))) + " |\n" for group in found)
    return HEAD.format(number=len(found), counts=counts, readers=readers) + "".join(rows)


def query(program, agent):
    oids = {known.name: known.oid for known in check_contrib.objects().values()}
    words = ["snmpwalk", "-v2c", "-c", "common", "-On", "-Oq", agent, "1"]
    walk = subprocess.run(words, capture_output=True, text=True)
    names = sorted(line.split(" ")[0].lstrip(".") for line in walk.stdout.splitlines() if line.startswith("."))
    missing = []
    for group in groups():
        roots = tuple((name.partition("=")[2] or oids[name]) + "." for name in group.objects)
        if not any(name.startswith(roots) for name in names):
            missing.append(f"{group.mib}, {group.name}")
    print(f"{len(groups()) - len(missing)} of {len(groups())} groups have values; not:", *missing, sep="\n  ")
    return not names


def main(words):
    if len(words) == 3 and words[0] == "--query":
        return query(words[2], words[1])
    if words[:-1] not in ([], ["--write"]) or not words or words[-1].startswith("-"):
        sys.exit(__doc__)
    if unknown := unknown_names():
        print(f"{GROUPS}: no MIB has {', '.join(unknown)}", file=sys.stderr)
        return True
    made = page(words[-1])
    if words[:-1]:
        PAGE.write_text(made)
    elif not PAGE.exists() or PAGE.read_text() != made:
        print(f"{PAGE} isn't current: run tools/first_page.py --write {words[-1]}", file=sys.stderr)
        return True
    return False


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
