#!/usr/bin/env python3
"""Runs clang-tidy on a compile database, one file per processor at a time.

In a unity build a file is a batch of sources: parsing system headers is most of the work, and is done once per batch. A
clean file is skipped until it, one of our files that it includes, its command or a .clang-tidy changes. The stamps are
in BUILD/tidy.
"""
import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def stamp_of(entry, options):
    """The name of the stamp: a digest of everything that determines the result; None if the file doesn't preprocess."""
    words = shlex.split(entry["command"])
    command = [word for word in words[:words.index("-o")] if "ccache" not in word]  # without the output file
    depends = subprocess.run([*command, "-MM", entry["file"]], cwd=entry["directory"], capture_output=True, text=True)
    if depends.returncode:
        return None
    digest = hashlib.sha256(repr((command, options.extra)).encode())
    files = depends.stdout.replace("\\\n", " ").split(":", 1)[1].split()
    for file in [*files, *map(str, sorted(ROOT.rglob(".clang-tidy")))]:
        digest.update(pathlib.Path(entry["directory"], file).read_bytes())
    return digest.hexdigest()


def check(entry, options):
    """None when the file is clean, else what clang-tidy says."""
    stamp = stamp_of(entry, options)
    if stamp and (options.stamps / stamp).exists():
        return None
    done = subprocess.run(["clang-tidy", "-quiet", "-p", options.build, *options.extra, entry["file"]],
                          capture_output=True, text=True)
    if done.returncode:
        return done.stdout + "".join(line + "\n" for line in done.stderr.splitlines() if "generated." not in line)
    if stamp:
        (options.stamps / stamp).touch()
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", help="the folder with compile_commands.json")
    parser.add_argument("--quick", action="store_true", help="omit the static analyser, which takes most of the time")
    options = parser.parse_args()
    options.extra = ["--checks=-clang-analyzer-*"] if options.quick else []
    options.stamps = pathlib.Path(options.build, "tidy")
    options.stamps.mkdir(exist_ok=True)
    entries = json.loads(pathlib.Path(options.build, "compile_commands.json").read_text())
    # Files that are compiled for several programs are checked once.
    entries = list({entry["file"]: entry for entry in entries
                    if not entry["file"].startswith(str(ROOT / "build")) or "/Unity/" in entry["file"]}.values())
    bad = 0
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for number, said in enumerate(pool.map(lambda entry: check(entry, options), entries), 1):
            if said is not None:
                bad += 1
                print(said, flush=True)
            if sys.stderr.isatty():
                print(f"\r{number} of {len(entries)} ", end="", file=sys.stderr, flush=True)
    print(f"clang-tidy: {len(entries)} files, {bad} with faults", file=sys.stderr)
    sys.exit(bad > 0)


if __name__ == "__main__":
    main()
