#!/usr/bin/env python3
"""Checks #includes against the layers. The longest matching row applies; a folder may always include itself."""
import pathlib
import re
import sys

MAY_INCLUDE = {
    "tn": [],
    "contracts": ["tn"],
    "hostd": ["tn", "contracts"],
    "tnctl": ["tn", "contracts"],
    "node": ["tn", "agent", "hostd"],
    "plugins": ["tn", "contracts", "agent"],
    "wire": [],
    "soak": ["tn", "contracts", "tnctl", "wire", "bench", "agent/crypto"],
    "tests": ["tn", "contracts", "agent", "hostd", "tnctl", "wire", "soak"],
    "fuzz": ["tn", "contracts", "agent", "hostd", "tnctl", "tests", "wire"],
    "bench": ["tn", "contracts", "wire"],
    "tools": ["agent"],
    # Lowest first: each folder may include the earlier ones that it lists.
    "agent/log": ["tn"],
    "agent/crypto": [],
    "agent/ber": ["tn", "agent/crypto"],
    "agent/status": ["tn", "contracts", "agent/log"],
    "agent/mib": ["tn", "agent/log", "agent/ber", "agent/status"],
    "agent/security": ["tn", "contracts", "agent/log", "agent/ber", "agent/crypto", "agent/status"],
    "agent/system": ["tn", "contracts", "agent/log", "agent/ber", "agent/mib", "agent/security"],
    "agent/traps": ["tn", "contracts", "agent/log", "agent/ber", "agent/status", "agent/mib", "agent/security",
                    "agent/system"],
    "agent/modules": ["tn", "contracts", "agent/log", "agent/ber", "agent/mib", "agent/security", "agent/system",
                      "agent/traps"],
    "agent/core": ["tn", "contracts", "agent"],
}


def under(path, folder):
    return path == folder or path.startswith((folder + "/", folder + "."))


def faults():
    for top in sorted({row.split("/")[0] for row in MAY_INCLUDE}):
        for file in sorted(pathlib.Path(top).rglob("*.[ch]*")):
            row = max((r for r in MAY_INCLUDE if under(str(file), r)), key=len, default=None)
            if row is None:
                yield f"{file}: a folder without a row in tools/check_layers.py"
                continue
            for number, line in enumerate(file.read_text().splitlines(), 1):
                include = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
                if include is None or (file.parent / include[1]).exists():
                    continue
                if not any(under(include[1], allowed) for allowed in [row, *MAY_INCLUDE[row]]):
                    yield f'{file}:{number}: {row} may not include "{include[1]}"'


found = list(faults())
print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
sys.exit(bool(found))
