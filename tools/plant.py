#!/usr/bin/env python3
"""Plants faults, one at a time, and reports which the tests catch. Not part of CI: a hundred faults take an hour.

LIST has a block for each fault. Blank lines separate the blocks; indentation is ignored when lines are compared:

    @ hostd/inet/route_monitor.cc: a listing that failed isn't repeated
    -if (!list()) retry();
    +list();

Works on copies of the tracked files below build/plant, never on the checkout. For each fault: the lines are replaced,
that part's tests and the programs are built, and the unit tests run; if none fails, the end-to-end tests run, too. Then
the lines are restored. The exit status is 1 if a fault wasn't caught or couldn't be planted.
"""
import argparse
import concurrent.futures
import os
import pathlib
import queue
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PARTS = {"tn": ("tn", "agent", "hostd", "tnctl"), "agent": ("agent",), "hostd": ("hostd",), "tnctl": ("tnctl",),
         "contracts": ("agent", "hostd", "tnctl"), "node": ()}
PROGRAMS = ("tarnix-node", "tarnix-snmpd", "tarnix-hostd", "tnctl")
FAILED_TEST = re.compile(r"^\[  FAILED  \] (\S+?),? ", re.M)
UNIT_LIMIT, E2E_LIMIT = 180, 600  # seconds: a fault that makes a test hang is caught


def parse(text):
    """Yields (file, title, old lines, new lines)."""
    for block in re.split(r"\n\s*\n", text.strip()):
        lines = [line for line in block.splitlines() if not line.startswith("#")]
        if not lines:
            continue
        head = re.fullmatch(r"@ (\S+): (.+)", lines[0])
        if head is None:
            sys.exit(f"plant: expected '@ FILE: WHAT', not {lines[0]!r}")
        yield (head[1], head[2], [line[1:].strip() for line in lines[1:] if line.startswith("-")],
               [line[1:].strip() for line in lines[1:] if line.startswith("+")])


def replaced(text, old, new):
    """The text with the lines replaced; None unless they are there exactly once."""
    lines = text.split("\n")
    bare = [line.strip() for line in lines]
    places = [i for i in range(len(lines) - len(old) + 1) if bare[i:i + len(old)] == old]
    if len(places) != 1 or not old:
        return None
    return "\n".join(lines[:places[0]] + new + lines[places[0] + len(old):])


class Tree:
    """A copy of the tracked files with a build of its own."""

    def __init__(self, number):
        self.path = ROOT / "build" / "plant" / str(number)
        self.build = self.path / "build"
        self.path.mkdir(parents=True, exist_ok=True)
        listing = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True, text=True).stdout
        tracked = set(filter(None, listing.split("\0")))
        for old in [file for file in self.path.rglob("*") if file.is_file() and self.build not in file.parents]:
            if str(old.relative_to(self.path)) not in tracked:
                old.unlink()
        for name in tracked:
            copy, octets = self.path / name, (ROOT / name).read_bytes()
            if not copy.exists() or copy.read_bytes() != octets:  # so that a second run builds only what has changed
                copy.parent.mkdir(parents=True, exist_ok=True)
                copy.write_bytes(octets)
                copy.chmod((ROOT / name).stat().st_mode)
        subprocess.run(["cmake", "-S", self.path, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                        "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_CXX_FLAGS=-w", "--log-level=WARNING"],
                       check=True, stdout=subprocess.DEVNULL)
        if self.compile(["all"]) is not None:
            sys.exit("plant: the tree doesn't build without a fault")
        self.failing = {name: self.failing_without_fault(name) for name in PARTS["tn"]}

    def failing_without_fault(self, name):
        """Patterns of the tests that fail as it is, in one process and on this machine: they don't count."""
        done = self.execute([self.build / f"test-{name}", "--gtest_brief=1"], UNIT_LIMIT)
        failed = sorted(set(FAILED_TEST.findall(done.stdout)))
        if failed:
            print(f"plant: not counted, fail without a fault: {' '.join(failed)}", flush=True)
        return ":".join(failed)

    def compile(self, targets):
        """None, or the first error."""
        done = subprocess.run(["ninja", "-C", self.build, *targets], capture_output=True, text=True)
        return None if done.returncode == 0 else next(iter(re.findall(r".*error.*", done.stdout)), "build failed")

    def run(self, command, limit, pattern):
        """None, or the name of the test that failed."""
        try:
            done = self.execute(command, limit)
        except subprocess.TimeoutExpired:
            return f"{pathlib.Path(command[0]).name}: hangs"
        if done.returncode == 0:
            return None
        named = pattern.findall(done.stdout + done.stderr)
        return named[0] if named else f"{pathlib.Path(command[0]).name}: status {done.returncode}"

    def execute(self, command, limit):
        environment = {**os.environ, "TERN_ROOT": "/dev/null/no-root", "TARNIX_BUILD": str(self.build)}
        return subprocess.run([self.path / "tools" / "confined", *command], cwd=self.path / "tests" / "e2e",
                              env=environment, timeout=limit, capture_output=True, text=True, errors="replace",
                              stdin=subprocess.DEVNULL)

    def test(self, part, unit):
        """None, or the name of the test that failed. Unit tests of the part, then all end-to-end tests."""
        for name in PARTS[part]:
            failed = self.run([self.build / f"test-{name}", "--gtest_brief=1", "--gtest_fail_fast",
                               f"--gtest_filter=-{self.failing[name]}"], UNIT_LIMIT, FAILED_TEST)
            if failed:
                return failed
        for script in () if unit else sorted((self.path / "tests" / "e2e").glob("*_test.py")):
            failed = self.run([sys.executable, "-B", "-m", "unittest", "-f", script.stem], E2E_LIMIT,
                              re.compile(r"^(?:FAIL|ERROR): (\S+)", re.M))
            if failed:
                return f"e2e/{script.stem} {failed}"
        return None

    def plant(self, file, old, new, unit):
        """(is it caught, what to print)"""
        source = self.path / file
        text = source.read_text()
        faulty = replaced(text, old, new)
        if faulty is None:
            return False, "NOT PLANTED: its lines aren't there exactly once"
        source.write_text(faulty)
        try:
            part = file.split("/")[0]
            error = self.compile([*(f"test-{name}" for name in PARTS[part]), *(() if unit else PROGRAMS)])
            if error:
                return False, f"NOT PLANTED: {error}"
            caught = self.test(part, unit)
            return caught is not None, caught or "NOT CAUGHT"
        finally:
            source.write_text(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("list", type=pathlib.Path, metavar="LIST")
    parser.add_argument("--workers", type=int, default=1, help="trees built and tested at the same time (1)")
    parser.add_argument("--unit", action="store_true", help="run only unit tests: faster, but misses more faults")
    parser.add_argument("--only", default="",
                        help="plant only the faults whose title line matches this regular expression")
    options = parser.parse_args()
    faults = [fault for fault in parse(options.list.read_text()) if re.search(options.only, f"{fault[0]}: {fault[1]}")]
    trees = queue.Queue()
    for number in range(min(options.workers, len(faults))):
        trees.put(Tree(number))

    def plant(fault):
        tree, started = trees.get(), time.monotonic()
        try:
            caught, what = tree.plant(fault[0], fault[2], fault[3], options.unit)
        finally:
            trees.put(tree)
        print(f"{fault[0]}: {fault[1]}: {what} ({time.monotonic() - started:.0f} s)", flush=True)
        return caught

    with concurrent.futures.ThreadPoolExecutor(options.workers) as pool:
        caught = sum(pool.map(plant, faults))
    print(f"plant: {len(faults)} faults, {caught} caught")
    sys.exit(caught != len(faults))


if __name__ == "__main__":
    main()
