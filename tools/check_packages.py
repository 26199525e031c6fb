#!/usr/bin/env python3
"""Checks that every included header belongs to a package that ./dev run installs."""
import pathlib
import re
import subprocess
import sys

FOLDERS = ("tn", "agent", "hostd", "tnctl", "node", "plugins", "wire", "bench", "soak")
INCLUDE = re.compile(r"^\s*#\s*(?:include|if.*__has_include\()\s*<([\w/.+-]+\.(?:h|hpp))>", re.M)
COMPILER = re.compile(r"libc6-dev|linux-libc-dev|libstdc\+\+-\d+-dev|libgcc-\d+-dev")

packages = re.search(r"^packages\(\) \{.*?^\}", pathlib.Path("dev").read_text(), re.M | re.S)[0]
run = set(subprocess.run(["bash", "-c", packages + "\npackages run"], capture_output=True, text=True,
                         check=True).stdout.split())
triplet = subprocess.run(["gcc", "-print-multiarch"], capture_output=True, text=True, check=True).stdout.strip()

users = {}
for file in sorted(f for folder in FOLDERS for f in pathlib.Path(folder).rglob("*.[ch]*")):
    for header in INCLUDE.findall(file.read_text()):
        users.setdefault(header, file)
places = {}
for header in users:
    candidates = (pathlib.Path("/usr/include", triplet, header), pathlib.Path("/usr/include", header))
    places[header] = str(next((place for place in candidates if place.exists()), None))
said = subprocess.run(["dpkg", "-S", *places.values()], capture_output=True, text=True).stdout
owners = {line.rpartition(": ")[2]: line.split(":")[0] for line in said.splitlines()}
missing = []
for header, place in places.items():
    owner = owners.get(place, "no package")
    if owner not in run and not COMPILER.fullmatch(owner):
        missing.append(f"{users[header]}: <{header}>: of {owner}, which isn't in the run list of packages() in ./dev")
print(*missing, sep="\n", end="\n" if missing else "", file=sys.stderr)
sys.exit(bool(missing))
