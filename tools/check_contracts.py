#!/usr/bin/env python3
"""Checks that bus fields are accessed by name, as contracts/ and tn/ define them, and that each path is defined once."""
import pathlib
import re
import sys

FOLDERS = ("agent", "hostd", "tnctl", "node", "plugins", "bench", "fuzz", "tests")
EXEMPT = ("tests/tn",)  # tests of messages themselves
PRODUCT = ("agent", "hostd", "tnctl", "node")
OWN_FIELDS = {"agent/modules/entity_module.cc"}  # of a store that no other process reads

KIND = r"(?:bool|u32|be32|u64|addr6|string|raw|message|u32_array|be32_array|string_array|message_array)"
NUMBER = r"(?:0[xX])?[0-9a-fA-F']+[uU]?\b"
RULES = [  # what, pattern, folders
    ("accesses a field by its number",
     re.compile(rf"(?:\.|->)\s*(?:(?:get|insert)_(?:{KIND}(?:_ref)?|vector)|has|has_array|remove)\(\s*(?=\d){NUMBER}"),
     FOLDERS),
    ("makes a field id of a number", re.compile(rf"\b{KIND}_id\s*[({{]\s*(?=\d){NUMBER}"), FOLDERS),
    ("declares a field outside its contract", re.compile(rf"\b{KIND}_id\s+\w+\s*[({{]\s*(?=\d){NUMBER}"), PRODUCT),
]
COMMENT = re.compile(r"//[^\n]*")


def faults():
    for file in sorted(f for folder in FOLDERS for f in pathlib.Path(folder).rglob("*.[ch]*")):
        if str(file).startswith(EXEMPT):
            continue
        code = COMMENT.sub("", file.read_text())  # calls may span lines; a comment's line stays
        for what, pattern, folders in RULES:
            if file.parts[0] not in folders or (str(file) in OWN_FIELDS and "declares" in what):
                continue
            for match in pattern.finditer(code):
                line = code.count("\n", 0, match.start()) + 1
                yield f"{file}:{line}: {what}: name it in contracts/"


def shared_paths():
    seen = {}
    for file in sorted(pathlib.Path("contracts").glob("*.h")):
        for path in re.findall(r"k\w*Path = (\{[\d, ]+\});", file.read_text()):
            if path in seen:
                yield f"{file}: the path {path} is that of {seen[path]}"
            seen[path] = file


found = [*faults(), *shared_paths()]
print(*found, sep="\n", end="\n" if found else "", file=sys.stderr)
sys.exit(bool(found))
