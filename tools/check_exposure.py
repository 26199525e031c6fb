#!/usr/bin/env python3
"""check_exposure.py BUILD: checks that the services stay as sandboxed as they are: the overall exposure that
systemd-analyze(1) gives each unit, from 0.0 to 10.0, is at most this."""
import pathlib
import re
import subprocess
import sys

MOST = {"tarnix-snmpd": 1.6, "tarnix-hostd": 1.5, "tarnix-node": 1.8}

failed = False
for name, most in MOST.items():
    unit = pathlib.Path(sys.argv[1], "packaging/systemd", name + ".service")
    said = subprocess.run(["systemd-analyze", "security", "--offline=yes", "--no-pager", f"--threshold={most * 10:.0f}",
                           str(unit)], capture_output=True, text=True)
    exposure = re.search(r"Overall exposure level for \S+: ([\d.]+)", said.stdout)
    print(f"{name}: exposure {exposure[1] if exposure else 'unknown'}, at most {most}")
    if said.returncode != 0 or not exposure:
        print(said.stderr, *re.findall(r"^✗.*\d$", said.stdout, re.M), sep="\n", file=sys.stderr)
        failed = True
sys.exit(failed)
