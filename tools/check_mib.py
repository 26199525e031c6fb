#!/usr/bin/env python3
"""mibs/TARNIX-MIB.txt is proper SMIv2, and has the objects that the modules serve: names, numbers and syntaxes."""
import os
import pathlib
import re
import subprocess
import sys

MIB = "mibs/TARNIX-MIB.txt"
SYNTAX = {"Integer": "Integer32", "OctetString": "OCTET STRING", "IpAddress": "IpAddress", "Counter32": "Counter32",
          "Counter64": "Counter64"}
COUNTERS = "interfaceStatsEntry"  # its columns from 11 on have no names in the module, but a page of their own


def smilint():
    # An index that is served has to be accessible, as ifIndex is.
    words = ["smilint", "-l", "6", "-m", "-i", "index-element-accessible", "./" + MIB]
    done = subprocess.run(words, capture_output=True, text=True, env={**os.environ, "SMIPATH": "mibs/smi"})
    return (done.stdout + done.stderr).splitlines()


def objects_of_mib():
    """{descriptor: (parent, number, syntax)}"""
    definition = re.compile(r"^(\w+) OBJECT-TYPE\s+SYNTAX +(.+?)(?: \(.*?\))*$.*?::= \{ (\w+) (\d+) \}", re.M | re.S)
    return {name: (parent, int(number), syntax)
            for name, syntax, parent, number in definition.findall(pathlib.Path(MIB).read_text())}


def columns_of_modules():
    """{descriptor: (number, tag)}"""
    column = re.compile(r'\{(\d+),\s*"(\w+)",\s*tag::(\w+)')
    sources = "".join(file.read_text() for file in pathlib.Path("agent/modules").glob("*.cc"))
    return {name: (int(number), tag) for number, name, tag in column.findall(sources)}


def faults():
    yield from smilint()
    mib, modules = objects_of_mib(), columns_of_modules()
    counters = {number for parent, number, syntax in mib.values()
                if parent == COUNTERS and number > 2 and syntax == "Counter64"}
    described = re.findall(r"^\| (\d+) \|", pathlib.Path("docs/interface-counters.md").read_text(), re.M)
    if counters != set(map(int, described)):
        yield f"{MIB}: counters of interfaces aren't those of docs/interface-counters.md"
    for name, (parent, number, syntax) in mib.items():
        if syntax[0].isupper() and "Entry" in syntax or parent == COUNTERS and number > 2:
            continue
        if name not in modules:
            yield f"{MIB}: {name}: no module serves it"
        elif (number, syntax) != (modules[name][0], SYNTAX.get(modules[name][1])):
            yield f"{MIB}: {name}: {number}, {syntax}; its module says {modules[name]}"
    ours = {re.match("[a-z]+", name)[0] for name in mib}
    for name in modules:
        if name not in mib and re.match("[a-z]+", name)[0] in ours:
            yield f"{MIB}: {name}, which a module serves, isn't in it"


found = list(faults())
print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
sys.exit(bool(found))
