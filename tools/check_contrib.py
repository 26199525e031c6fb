#!/usr/bin/env python3
"""Checks the files of contrib/: those that are generated are current, all can be parsed, the agent or a plug-in that
ships with it serves each OID, and rules and the dashboard use only metrics that contrib/prometheus/snmp.yml has.

usage: tools/check_contrib.py [--write]

--write generates the files of tools/contrib_files.py.
"""
import ast
import json
import pathlib
import re
import sys
import tomllib

import yaml

import check_objects
import contrib_files

CONTRIB = pathlib.Path("contrib")
PROMETHEUS = CONTRIB / "prometheus"
OID = re.compile(r"(?<![\d.])\.?(1(?:\.\d+){5,})")
VALUES = ("1.3.6.1.2.1.25.2.1",)  # values of hrStorageType, not objects
PARSERS = {".yml": yaml.safe_load, ".yaml": yaml.safe_load, ".json": json.loads, ".py": ast.parse}
PROMQL = {"sum", "avg", "max", "rate", "by", "on", "and", "or", "up", "job", "instance"}


def objects():
    files = [check_objects.STANDARD, *sorted(check_objects.PLUGINS.glob("*/objects.tsv"))]
    known = [known for file in files for known in check_objects.standard(file)]
    return {known.name: known for known in [*known, *check_objects.vendor()]}


def is_served(oid, served):
    """True for a served object, one of its instances, and a subtree with such objects."""
    parts = oid.split(".")
    return (any(".".join(parts[:length]) in served["objects"] for length in range(6, len(parts) + 1)) or
            oid in served["subtrees"] or oid.startswith(VALUES))


def faults(mibs):
    oids = {known.oid for known in mibs.values() if known.syntax != "-"}
    served = {"objects": oids, "subtrees": {oid[:dot.start()] for oid in oids for dot in re.finditer(r"\.", oid)}}
    for file in sorted(path for path in CONTRIB.rglob("*") if path.is_file()):
        text = file.read_text()
        try:
            parser = tomllib.loads if file.parent.name == "telegraf" else PARSERS.get(file.suffix, str)
            parser(text)
        except (ValueError, SyntaxError, yaml.YAMLError) as error:
            yield f"{file}: {error}"
        for number, line in enumerate(text.splitlines(), 1):
            for oid in OID.findall(line):
                if not is_served(oid, served):
                    yield f"{file}:{number}: {oid} isn't served"
    yield from unknown_metrics()


def unknown_metrics():
    modules = yaml.safe_load((PROMETHEUS / "snmp.yml").read_text())["modules"].values()
    metrics = [metric for module in modules for metric in module["metrics"]]
    known = {metric["name"] for metric in metrics} | PROMQL
    known |= {label["labelname"] for metric in metrics 
              for label in [*metric.get("indexes", []), *metric.get("lookups", [])]}
    groups = yaml.safe_load((PROMETHEUS / "rules.yml").read_text())["groups"]
    rules = [rule for group in groups for rule in group["rules"]]
    known |= {rule["record"] for rule in rules if "record" in rule}
    panels = json.loads((PROMETHEUS / "dashboard.json").read_text())["panels"]
    for place, expression in [*(("rules.yml", rule["expr"]) for rule in rules),
                              *(("dashboard.json", target["expr"]) for panel in panels for target in panel["targets"])]:
        bare = re.sub(r'"[^"]*"|\[[^\]]*\]', "", expression)
        for word in sorted(set(re.findall(r"[A-Za-z_][\w:]*", bare)) - known):
            yield f"{PROMETHEUS / place}: {word} is no metric of snmp.yml: {expression}"


def main(words):
    if words not in ([], ["--write"]):
        sys.exit(__doc__)
    mibs, found = objects(), []
    for name, generate in contrib_files.FILES.items():
        file, made = CONTRIB / name, generate(mibs)
        if words:
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(made)
        elif not file.exists() or file.read_text() != made:
            found.append(f"{file} isn't current: run tools/check_contrib.py --write")
    found += faults(mibs)
    print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
    return bool(found)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
