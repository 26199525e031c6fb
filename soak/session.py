"""What a scenario works with: time, a seed, daemons and clients, progress, and its goals. The processes, folders and
namespaces are those of tests/e2e/harness.py, and are ended and removed with the session."""
import collections
import contextlib
import importlib
import os
import pathlib
import random
import socket
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # leaves no files in the tree

TREE = pathlib.Path(__file__).resolve().parent.parent
os.environ.setdefault("TARNIX_BUILD", str(TREE / "build/release"))
sys.path[:0] = [str(TREE / "tests/e2e"), str(TREE / "soak")]
sys.path.append(str(TREE / "bench"))

import harness  # noqa: E402, after its path and its environment are set
import arms  # noqa: E402

BUILD = harness.BUILD
IS_SANITIZED = harness.is_sanitized(BUILD / "tarnix-node")
TERMINAL_INTERVAL, FILE_INTERVAL = 1.0, 30.0  # seconds between progress lines
IN_MEMORY = "/dev/shm" if os.path.isdir("/dev/shm") else None  # place of a root whose writes aren't to be measured
QUICK_TIME, SANITIZED_TIME = 5, 10  # factors of limits in ms
FIGURES = ("figure", "agent", "snmpd", "ratio")  # of a comparison
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


Reply = collections.namedtuple("Reply", "number status value")  # value: its octets, none for an exception


class Client:
    """A v2c manager with one socket: for loops in which starting one of Debian's clients would take too long."""

    def __init__(self, port, community="common"):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.connect(("127.0.0.1", port))
        self.community, self.number = community, 0

    def __del__(self):
        self.socket.close()

    def send(self, name, text=None):
        """Sends a Get, or a Set to a text. Returns its number."""
        self.number += 1
        with contextlib.suppress(ConnectionRefusedError):  # of an earlier datagram
            self.socket.send(harness.request(self.number, name, self.community, text))
        return self.number

    def receive(self, timeout=0.0):
        """The next Reply; None after the timeout, or if the port is closed."""
        self.socket.settimeout(timeout)
        try:
            octets = self.socket.recv(65536)
        except (BlockingIOError, TimeoutError, ConnectionRefusedError):
            return None
        status, bindings = harness.bindings_of(octets)
        return Reply(harness.request_id_of(octets), status, next(iter(bindings.values())))

    def exchange(self, name, text=None, timeout=1.0):
        """The Reply to this request, or None."""
        number, end = self.send(name, text), time.monotonic() + timeout
        while (left := end - time.monotonic()) > 0 and (reply := self.receive(left)):
            if reply.number == number:
                return reply
        return None

    def until(self, name, expected, timeout=harness.TIMEOUT):
        """Queries until the value is as expected, octet for octet."""
        end = time.monotonic() + timeout
        while not ((reply := self.exchange(name, timeout=0.1)) and reply.value == expected):
            if time.monotonic() > end:
                raise Failure(f"{name} isn't {expected} but {reply} after {timeout:g} s")
            time.sleep(0.0005)


class Snmpd(arms.DebianSnmpd):
    """Debian's snmpd, read-only, with the attributes of a harness.Deployment that the load generators use. It runs in a
    namespace, with the user and the community of the agents."""
    log = "-LOw"  # warnings and worse, as in Debian's unit

    def __init__(self, namespace, more=""):
        super().__init__(BUILD, namespace.name, more)

    @property
    def daemons(self):
        return self.processes

    def said(self):
        return harness.text_of(pathlib.Path(self.folder, "snmpd.log"))


def number(value):
    return f"{value:,.4g}" if isinstance(value, float) and abs(value) < 1000 else f"{value:,.0f}"


class Goal:
    def __init__(self, measured, limit, unit, at_least):
        self.measured, self.limit, self.unit, self.at_least = measured, limit, unit, at_least

    @property
    def met(self):
        return self.measured >= self.limit if self.at_least else self.measured <= self.limit

    def texts(self):
        """Measured value, limit and result."""
        return (f"{number(self.measured)} {self.unit}".rstrip(), f"{'≥' if self.at_least else '≤'} {number(self.limit)}",
                "met" if self.met else "MISSED")


class Session(contextlib.ExitStack):
    """One run of a scenario. Use it as a context manager: its end ends the daemons."""

    def __init__(self, seconds, seed=None, quick=False, quiet=False, beside=None):
        super().__init__()
        self.seconds, self.quick, self.quiet = seconds, quick, quiet
        self.beside = beside  # what the agent is compared with: None, or "snmpd"
        self.figures = []  # of the comparison: rows of texts
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

    def go_first(self):
        """Gives this thread, and what it starts from now on, real-time priority, if that is permitted: waits are then
        caused by the programs themselves, not by what else the machine does."""
        with contextlib.suppress(PermissionError):
            os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(1))
            self.callback(os.sched_setscheduler, 0, os.SCHED_OTHER, os.sched_param(0))

    def use_memory(self):
        """Puts the roots of later deployments in memory, where writing through takes no time."""
        if os.path.isdir("/dev/shm"):
            self.callback(setattr, tempfile, "tempdir", tempfile.tempdir)
            tempfile.tempdir = "/dev/shm"

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

    def daemon(self, words, output, prefix=(), pass_fds=()):
        """Any program, which ends with the session."""
        daemon = harness.Daemon(words, output, prefix, pass_fds)
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

    def snmpd(self, namespace, more=""):
        """A started Snmpd. more: lines of its configuration."""
        server = Snmpd(namespace, more)
        self.addCleanup(server.remove)
        server.start()
        for process in server.processes.values():
            os.sched_setaffinity(process.pid, os.sched_getaffinity(0))  # those that a deployment's daemons have
        return server

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
        same name replaces it, so a long scenario records intermediate values, which Ctrl-C then leaves. Limits in
        milliseconds are longer for a sanitizer build and in the short form, which runs beside other tests and builds."""
        if unit == "ms":
            limit *= SANITIZED_TIME if IS_SANITIZED else QUICK_TIME if self.quick else 1
        self.goals[name] = Goal(measured, limit, unit, at_least)

    def compare(self, name, ours, snmpd, unit=""):
        """Adds a row to the comparison, which has no limits. The ratio is that of snmpd to the agent."""
        ratio = number(float(snmpd / ours)) if ours > 0 and snmpd > 0 else ""
        self.figures.append((name, *(f"{number(value)} {unit}".rstrip() for value in (ours, snmpd)), ratio))

    def missed(self):
        return [name for name, goal in self.goals.items() if not goal.met]

    def summary(self):
        """A table of the goals, and one of the comparison."""
        goals = [("goal", "measured", "limit", "result"), *((name, *goal.texts()) for name, goal in self.goals.items())]
        return _table(goals) + ("\n\n" + _table([FIGURES, *self.figures]) if self.figures else "")


def _table(rows):
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


def cpu_seconds(pid):
    """Of all threads, in user and kernel mode."""
    with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as file:
        fields = file.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def maps(pid):
    """Memory mappings. The count is nearly constant, unlike the addresses."""
    with open(f"/proc/{pid}/maps", encoding="ascii", errors="replace") as file:
        return sum(1 for _ in file)
