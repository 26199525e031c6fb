"""What a scenario works with: time, a seed, daemons and clients, progress, and its goals. The processes, folders and
namespaces are those of tests/e2e/harness.py, and are ended and removed with the session."""
import contextlib
import importlib
import os
import pathlib
import random
import sys
import time

sys.dont_write_bytecode = True  # leaves no files in the tree

TREE = pathlib.Path(__file__).resolve().parent.parent
os.environ.setdefault("TARNIX_BUILD", str(TREE / "build/release"))
sys.path[:0] = [str(TREE / "tests/e2e"), str(TREE / "soak")]

import harness  # noqa: E402, after its path and its environment are set

BUILD = harness.BUILD
IS_SANITIZED = harness.is_sanitized(BUILD / "tarnix-node")
TERMINAL_INTERVAL, FILE_INTERVAL = 1.0, 30.0  # seconds between progress lines
IN_MEMORY = "/dev/shm" if os.path.isdir("/dev/shm") else None  # place of a root whose writes aren't to be measured
HELPERS = {"session"}  # modules that aren't scenarios


USER, PASSWORD = "sha256-aes128", "benchbench"  # of the load generators: protocols, which are the name, and passwords


class Failure(Exception):
    """Ends a scenario, with one line for the user."""


def scenarios():
    """{name: module} of all scenarios: the modules in this folder that have a GOAL."""
    modules = {}
    for file in sorted(pathlib.Path(__file__).parent.glob("*.py")):
        if file.stem in HELPERS:
            continue
        module = importlib.import_module(file.stem)
        if hasattr(module, "GOAL"):
            modules[file.stem.replace("_", "-")] = module
    return modules


class Goal:
    def __init__(self, measured, limit, unit, at_least):
        self.measured, self.limit, self.unit, self.at_least = measured, limit, unit, at_least

    @property
    def met(self):
        return self.measured >= self.limit if self.at_least else self.measured <= self.limit

    def texts(self):
        """Measured value, limit and result."""
        def number(value):
            return f"{value:,.4g}" if isinstance(value, float) and value < 1000 else f"{value:,.0f}"

        return (f"{number(self.measured)} {self.unit}".rstrip(), f"{'≥' if self.at_least else '≤'} {number(self.limit)}",
                "met" if self.met else "MISSED")


class Session(contextlib.ExitStack):
    """One run of a scenario. Use it as a context manager: its end ends the daemons."""

    def __init__(self, seconds, seed=None, quick=False, quiet=False):
        super().__init__()
        self.seconds, self.quick, self.quiet = seconds, quick, quiet
        self.seed = random.randrange(1 << 32) if seed is None else seed
        self.random = random.Random(self.seed)
        self.goals = {}
        self.started = self.shown = time.monotonic()
        self.is_line_open = False  # the last progress line can be overwritten

    # --- time

    def start_clock(self):
        """Counts the duration from now: called when everything is set up."""
        self.started = time.monotonic()

    def elapsed(self):
        return time.monotonic() - self.started

    def is_over(self):
        return self.elapsed() >= self.seconds

    # --- clean-up, with the names that harness.py calls

    def addCleanup(self, function, *words):
        self.callback(function, *words)

    def deployment(self, kind="node", **how):
        """A started harness.Deployment that answers requests from this machine. Its memory is the scenario's concern."""
        deployment = harness.Deployment(kind, **how).ends_with(self)
        deployment.more_memory = float("inf")
        return deployment.start().open()

    def namespace(self, name, links=()):
        return harness.Namespace(self, name, links)

    def daemon(self, words, output, prefix=()):
        """Any program, which ends with the session."""
        daemon = harness.Daemon(words, output, prefix)
        self.addCleanup(daemon.end)
        return daemon

    def scripted_owner(self, deployment, script, *paths):
        """soak/scripted_owner on these bus paths of a deployment's root, reading lines such as "answer"."""
        lines = harness.temp_folder(self, "script") / "lines"
        lines.write_text(script)
        owner = self.daemon([BUILD / "scripted-owner", "--root", deployment.root, "--script", lines, *paths],
                            deployment.output, deployment.prefix)

        def answers():
            if not owner.alive():
                raise Failure(f"scripted-owner: {owner.said()}")
            return deployment.tnctl("message", paths[0], "get-policies").status == 0

        harness.eventually(answers, f"the scripted owner of {paths[0]} answers")
        return owner

    # --- results

    def progress(self, text):
        """Shows what has been done so far. May be called as often as convenient."""
        now = time.monotonic()
        on_terminal = sys.stderr.isatty()
        if self.quiet or now - self.shown < (TERMINAL_INTERVAL if on_terminal else FILE_INTERVAL):
            return
        self.shown = now
        left = max(0, self.seconds - self.elapsed())
        line = f"{self.elapsed():.0f} s, {left:.0f} s left: {text}"
        self.is_line_open = on_terminal
        print(f"\r\033[K{line}" if on_terminal else line, end="" if on_terminal else "\n", file=sys.stderr, flush=True)

    def note(self, text):
        """Shows a line that stays."""
        if self.quiet:
            return
        if self.is_line_open:
            print(file=sys.stderr)
            self.is_line_open = False
        print(text, file=sys.stderr, flush=True)

    def goal(self, name, measured, limit, unit="", at_least=False):
        """Records a measured value and its limit: the maximum, or the minimum for `at_least`. A later call with the
        same name replaces it, so a long scenario records intermediate values, which Ctrl-C then leaves."""
        self.goals[name] = Goal(measured, limit, unit, at_least)

    def missed(self):
        return [name for name, goal in self.goals.items() if not goal.met]

    def summary(self):
        """A table of the goals."""
        rows = [("goal", "measured", "limit", "result")]
        rows += [(name, *goal.texts()) for name, goal in self.goals.items()]
        widths = [max(map(len, column)) for column in zip(*rows)]
        return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows)


def add_user(agent, *words):
    """The SNMPv3 user of the load generators. words: more of its entry, such as write-access=yes."""
    digest, cipher = USER.split("-")
    agent.configure("community", "add", f"name={USER}", "addresses=127.0.0.0/8", "security=private",
                    f"authentication-protocol={digest}", f"authentication-password={PASSWORD}",
                    f"encryption-protocol={cipher}", f"encryption-password={PASSWORD}", *words)


def private_dirty(pid):
    """KiB of memory that only this process has and has written to."""
    return harness.private_dirty(pid)


def descriptors(pid):
    return len(harness.descriptors(pid))


def maps(pid):
    """Memory mappings. The count is nearly constant, unlike the addresses."""
    with open(f"/proc/{pid}/maps", encoding="ascii", errors="replace") as file:
        return sum(1 for _ in file)
