#!/usr/bin/env python3
"""Checks that docs/messages.md contains the text of every log statement."""
import pathlib
import re
import sys

FOLDERS = ("tn", "agent", "hostd", "node")  # tnctl prints to its caller and has no log
SAYS = re.compile(r"\b(?:serr|sout|swarn|strangersErr|strangersOut|refusals|slog|hostLog|std::cerr)\s*<<(.*?);|\b(?:logFault|logRefusal)\((.*?)\)", re.S)
TEXT = re.compile(r'"((?:[^"\\]|\\.)*)"')
# The causes of refusals, which are logged by agent/status/refusal_log.cc.
CAUSE = re.compile(r'group::Refusals,\s+"[^"]*",\s+"([^"]*)"')
COMMENT = re.compile(r"^\s*//.*$", re.M)

explained = pathlib.Path("docs/messages.md").read_text()
missing = []
for file in sorted(f for folder in FOLDERS for f in pathlib.Path(folder).rglob("*.[ch]*")):
    source = COMMENT.sub("", file.read_text())
    for statement in SAYS.finditer(source):
        for text in TEXT.findall(statement[1] or statement[2] or ""):
            text = text.replace("\\n", "").replace('\\"', '"').strip()
            if re.search("[A-Za-z]{3}", text) and text not in explained:
                missing.append(f'{file}: "{text}" isn\'t explained in docs/messages.md')
for cause in CAUSE.findall(pathlib.Path("agent/status/counters.h").read_text()):
    if cause not in explained:
        missing.append(f'agent/status/counters.h: "{cause}" isn\'t explained in docs/messages.md')
print(*missing, sep="\n", end="\n" if missing else "", file=sys.stderr)
sys.exit(bool(missing))
