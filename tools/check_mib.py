#!/usr/bin/env python3
"""Checks that mibs/TARNIX-MIB.txt is valid SMIv2, and that docs/interface-counters.md lists its interface counters.
tools/check_objects.py checks it against the objects that the agent serves."""
import os
import pathlib
import re
import subprocess
import sys

MIB = "mibs/TARNIX-MIB.txt"


def smilint():
    # A served index must be accessible, like ifIndex.
    words = ["smilint", "-l", "6", "-m", "-i", "index-element-accessible", "./" + MIB]
    done = subprocess.run(words, capture_output=True, text=True, env={**os.environ, "SMIPATH": "mibs/smi"})
    return (done.stdout + done.stderr).splitlines()


def faults():
    yield from smilint()
    counters = set(re.findall(r"^    SYNTAX      Counter64$(?:(?!^\w).)*?::= \{ interfaceStatsEntry (\d+) \}",
                              pathlib.Path(MIB).read_text(), re.M | re.S))
    described = set(re.findall(r"^\| (\d+) \|", pathlib.Path("docs/interface-counters.md").read_text(), re.M))
    for number in sorted(counters ^ described, key=int):
        yield f"{MIB} or docs/interface-counters.md: only one of them has the counter {number}"


found = list(faults())
print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
sys.exit(bool(found))
