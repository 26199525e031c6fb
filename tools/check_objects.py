#!/usr/bin/env python3
"""Checks that the agent and its plug-ins serve the objects of their MIBs, and that docs/objects.md lists them.

usage: tools/check_objects.py [--write] LIST-OBJECTS

LIST-OBJECTS is the program of tools/list_objects.cc, with the folder shipped-plugins beside it. Names, numbers,
syntaxes, access and indexes are compared with mibs/standard-objects.tsv and mibs/TARNIX-MIB.txt, and those of the
plug-in NAME with plugins/NAME/objects.tsv, in both directions. --write generates docs/objects.md.
"""
import collections
import os
import pathlib
import re
import subprocess
import sys

PLUGINS = pathlib.Path("plugins")
STANDARD, VENDOR, PAGE = (pathlib.Path(p) for p in
                          ("mibs/standard-objects.tsv", "mibs/TARNIX-MIB.txt", "docs/objects.md"))
COMPATIBILITY = pathlib.Path("docs/compatibility.md")
NO_ROOT = "/dev/null/no-root"  # the program reads and writes nothing
Object = collections.namedtuple("Object", "oid name syntax access source index module")

# Intended differences from the MIBs; docs/compatibility.md names the objects and gives the reasons.
COUNTERS_OF_THE_CACHE = ("cacheHttpHits", "cacheHttpOutKb", "cacheServerRequests", "cacheServerInKb",
                         "cacheServerOutKb")
DIFFERENCES = {"entPhysicalIndex": {"access"}, "cacheUptime": {"syntax"},
               **{name: {"oid", "syntax"} for name in COUNTERS_OF_THE_CACHE}}

HEAD = """# Objects

This page lists every object that the agent serves, in the order of a walk. `tools/check_objects.py --write` generates
it from the agent's column tables. `./dev lint` checks that it is current, and that the tables agree with the MIBs.

- A scalar has one instance, OID.0; the instances of a column are OID.INDEX. An object in bold type is the row of a
  table, with the table's index.
- "read-only": a Set succeeds but changes nothing; for a constant scalar, and with `--standard`, it fails. "read-write":
  the agent passes a Set on to the owner, which may refuse it; see [operating.md](operating.md).
- "value" is the owner that provides the value, with its path on the bus (see [architecture.md](architecture.md)). If no
  owner provides it, it is a constant. "counted" means the number of the owner's rows. While an owner isn't running, its
  tables have no rows, and its scalars are 0 or empty.
- "differs" has the numbers of the entries in [compatibility.md](compatibility.md#objects) that say how the object
  differs from its MIB.
- The objects of the plug-ins that ship with the agent are in the last sections. While such a plug-in is loaded, they
  replace those of the agent with the same OID. [plugins.md](plugins.md#plug-ins-that-ship) describes the plug-ins."""


def served(program, *plugin):
    environment = {**os.environ, "TERN_ROOT": NO_ROOT}
    done = subprocess.run([program, *plugin], capture_output=True, text=True, check=True, env=environment)
    rows = (line.split("\t") for line in done.stdout.splitlines() if "\t" in line)  # a log line has no tab
    return [Object(*row, module=None) for row in rows]


def standard(file):
    module = None
    for line in file.read_text().splitlines():
        if line.startswith("# "):
            module = line[2:]
        elif line:
            oid, name, syntax, access, index = line.split("\t")
            yield Object(oid, name, syntax, access, None, "" if index == "-" else index.replace(" ", ", "), module)


def vendor():
    text = re.sub(r'"[^"]*"', '""', VENDOR.read_text())
    oids = {"iso": "1"}
    named = re.compile(r"^(\w+) +(?:OBJECT IDENTIFIER|MODULE-IDENTITY|OBJECT-TYPE)(.*?)::= \{ (\w+)((?: [\w()]+)+) \}",
                       re.M | re.S)
    for name, body, parent, numbers in named.findall(text):
        oids[name] = ".".join([oids[parent], *re.findall(r"\b\d+\b", numbers)])
        syntax = re.search(r"SYNTAX +(.+?)(?: \(.*?\))*$", body, re.M)
        if syntax is None or syntax[1].startswith("SEQUENCE"):
            continue
        index = re.search(r"INDEX \{ (.*?) \}", body)
        yield Object(oids[name], name, "-" if index else syntax[1], re.search(r"MAX-ACCESS +(\S+)", body)[1], None,
                     index[1] if index else "", "TARNIX-MIB")


def differences(ours, mib, rows):
    """Yields the fields that differ from the MIB."""
    if ours.oid != mib.oid:
        yield "oid"
    if ours.syntax != mib.syntax:
        yield "syntax"
    may_write = mib.access in ("read-write", "read-create")
    if ours.syntax != "-" and (mib.access == "not-accessible" or ours.access == "read-write" and not may_write):
        yield "access"
    index = rows[mib.index.split()[1]].index if mib.index.startswith("AUGMENTS") else mib.index
    if ours.index != index:
        yield "index"


def faults(objects, mibs, file, known_differences):
    """Yields how objects differ from `mibs`, which come from `file`."""
    for ours in objects:
        mib = mibs.get(ours.name)
        if mib is None:
            yield f"{ours.name}, {ours.oid}: no MIB has it: its name is wrong, or {file} lacks its line"
            continue
        found, known = set(differences(ours, mib, mibs)), known_differences.get(ours.name, set())
        for field in sorted(found - known):
            yield f"{ours.name}: {field} is {getattr(ours, field)!r}; its MIB says {getattr(mib, field)!r}"
        for field in sorted(known - found):
            yield f"{ours.name}: {field} agrees with its MIB: remove it from DIFFERENCES"
        if known and not entries(ours.name):
            yield f"{ours.name}: {COMPATIBILITY} doesn't say why it differs from its MIB"
    names = {ours.name for ours in objects}
    for mib in mibs.values():
        if mib.name not in names and not (mib.module == "TARNIX-MIB" and mib.access == "not-accessible"):
            yield f"{mib.name}: {file} has it, but it isn't served"


def entries(name):
    """The numbers of the objects' entries in docs/compatibility.md that name this one."""
    section = COMPATIBILITY.read_text().partition("\n## Objects\n")[2].partition("\n## ")[0]
    return [number for number, text in re.findall(r"^\| (\d+) \| (.*?) \|", section, re.M)
            if re.search(rf"\b{name}\b", text)]


def owners():
    """{path: name of the owner's contract}"""
    names = {}
    for file in sorted(pathlib.Path("contracts").glob("*.h")):
        contract = r"^namespace contracts::(\w+) \{(?:(?!^\}).)*?\bkPath = (\{.*?\})"
        for name, path in re.findall(contract, file.read_text(), re.M | re.S):
            names[path] = name.replace("_", " ")
    return names


def tables(objects, mibs, plugin=None):
    """The lines of docs/objects.md for the agent's objects, or for those of a plug-in."""
    names, lines, module = owners(), [], None
    for ours in objects:
        mib = mibs.get(ours.name)
        if mib and mib.module != module:
            module = mib.module
            title = f"Plug-in {plugin}: {module}" if plugin else module
            lines.append(f"\n## {title}\n\n| OID | object | syntax | access | value | differs |\n|---|---|---|---|---|---|")
        value = re.sub(r"\{.*?\}", lambda path: " ".join(filter(None, (names.get(path[0]), path[0]))), ours.source)
        number = "" if plugin else ", ".join(entries(ours.name))
        if ours.syntax == "-":
            cells = f"**{ours.name}**", f"INDEX {{ {ours.index} }}", "", value, number
        else:
            cells = ours.name, ours.syntax, ours.access, value, number
        lines.append(" | ".join((f"| {ours.oid}", *cells)).rstrip() + " |")
    return lines


def main(words):
    write = words[:1] == ["--write"]
    if len(words) != 1 + write or words[-1].startswith("-"):
        sys.exit(__doc__)
    program = words[-1]
    objects = served(program)
    mibs = {mib.name: mib for mib in [*standard(STANDARD), *vendor()]}
    found = list(faults(objects, mibs, STANDARD, DIFFERENCES))
    lines = [HEAD, *tables(objects, mibs)]
    for file in sorted(PLUGINS.glob("*/objects.tsv")):
        plugin = file.parent.name
        objects = served(program, pathlib.Path(program).parent / f"shipped-plugins/{plugin}.so")
        mibs = {mib.name: mib for mib in standard(file)}
        found += [f"plug-in {plugin}: {fault}" for fault in faults(objects, mibs, file, {})]
        lines += tables(objects, mibs, plugin)
    made = "\n".join(lines) + "\n"
    if write:
        PAGE.write_text(made)
    elif not PAGE.exists() or PAGE.read_text() != made:
        found.append(f"{PAGE} isn't current: run tools/check_objects.py --write {words[-1]}")
    print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
    return bool(found)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
