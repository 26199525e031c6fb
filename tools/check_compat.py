#!/usr/bin/env python3
"""Checks docs/compatibility.md against the code: each number must be in both, and each fixed text must still be in the
code exactly as the page has it."""
import collections
import pathlib
import re
import sys

PAGE = pathlib.Path("docs/compatibility.md")
FOLDERS = ("agent", "contracts", "hostd", "node", "plugins", "tn", "tnctl")
ENTRY = re.compile(r"^\| (\d+) \| (.*?) \|", re.M)
MARK = re.compile(r"//.*?\bcompat: (\d+(?:, \d+)*)")
PLACEHOLDER = re.compile(r" N\b.*|A B C$")


def faults():
    sources = {file: file.read_text() for folder in FOLDERS for file in sorted(pathlib.Path(folder).rglob("*.[ch]*"))}
    marks = {}
    for file, source in sources.items():
        for line in source.splitlines():
            for mark in MARK.findall(line):
                for number in mark.split(", "):
                    marks.setdefault(int(number), file)
    entries = ENTRY.findall(PAGE.read_text())
    numbers = [int(number) for number, _ in entries]
    for number, times in collections.Counter(numbers).items():
        if times > 1:
            yield f"{PAGE}: {number} is there {times} times"
    for number in sorted(set(numbers) - set(marks)):
        yield f"{PAGE}: {number}: no comment in the code has // compat: {number}"
    for number in sorted(set(marks) - set(numbers)):
        yield f"{marks[number]}: compat: {number} isn't in {PAGE}"
    code = "\n".join(sources.values())
    for number, texts in ENTRY.findall(PAGE.read_text().partition("\n## Texts\n")[2]):
        for text in re.findall(r"`(.+?)`", texts):
            if PLACEHOLDER.sub("", text) not in code:
                yield f"{PAGE}: {number}: the code no longer contains {text!r}"


found = list(faults())
print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
sys.exit(bool(found))
