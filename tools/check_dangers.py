#!/usr/bin/env python3
"""Checks that only guarded helpers remove folders or signal processes: a test once emptied the machine it ran on."""
import pathlib
import re
import subprocess
import sys

FOLDERS = ("agent", "bench", "debian", "fuzz", "hostd", "node", "packaging", "plugins", "soak", "tests", "tn", "tnctl", "tools",
           "wire", "dev", ".ci")
RULES = [  # what, pattern, files where it is allowed
    ("removes a folder recursively",
     re.compile(r"\b(?:remove_all|rmtree|removedirs|TemporaryDirectory|nftw|fts_open)\b|\brm[\s\"',]+-\w*[rR]|\s-delete\b"),
     {"tests/tn/temp_root.h", "tests/e2e/harness.py", "bench/arms.py", "tools/trees.py",
      "debian/tarnix-node.postrm", "packaging/Containerfile"}),
    ("signals a process by its pid",  # Popen.kill() first checks that the child still runs
     re.compile(r"(?<![\w.])kill\s*\(|\bos\.kill(?:pg)?\b|\b(?:killpg|tgkill|sigqueue|pidfd_send_signal|pkill|killall)\b"),
     {"tests/tn/child.h", "tests/e2e/harness.py", "hostd/supervisor/spawner.cc",
      "hostd/services/program.cc"}),
]
SHELL = re.compile(r"#!.*\b(?:ba|da)?sh\b")
SHELL_RULES = [  # a negative pid means many processes; a variable without quotes may be several words or none
    ("signals what isn't one quoted variable, as in kill -TERM \"$pid\"",
     re.compile(r"(?<!systemctl )\bkill\b(?! -\w+ \"\$\w+\" *(?:2?>|[;&|)']|$))"), set()),
]
COMMENT = {".cc": r"//.*", ".h": r"//.*", ".py": r"(?<!['\"])#.*"}

listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *FOLDERS],
                        capture_output=True, text=True, check=True)
found = []
for file in map(pathlib.Path, listed.stdout.splitlines()):
    if file.name == pathlib.Path(__file__).name or "corpus" in file.parts or file.is_symlink() or not file.exists():
        continue
    lines = file.read_text().splitlines()
    rules = RULES + (SHELL_RULES if lines and SHELL.match(lines[0]) else [])
    for number, line in enumerate(lines, 1):
        code = re.sub(COMMENT.get(file.suffix, r"^\s*#.*"), "", line)
        for what, pattern, allowed in rules:
            if str(file) not in allowed and pattern.search(code):
                found.append(f"{file}:{number}: {what}; in tests, use TempTree, Child or harness.py")
print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
sys.exit(bool(found))
