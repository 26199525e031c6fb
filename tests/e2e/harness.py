"""Shared code of the end-to-end tests: the real programs in a separate root, and clients. Every process is ended and
reaped and every root removed however the test ends, by the kernel if it is killed. Tests remove folders and signal
processes only through the functions here: a test once emptied the machine it ran on. Tests wait for conditions."""

import collections
import contextlib
import ctypes
import hashlib
import hmac
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["TARNIX_BUILD"]).resolve()
TIMEOUT = 60.0  # seconds; long enough for a sanitizer build on a busy machine
# What a daemon may gain after its start: connections to each bus number and to clients, and stores opened on first use.
# Three tables of hostd open the counters of IP. Any other file, pipe or timer may be opened once more. In 60 classes of
# tests, memory grows by 1.2 MiB at most.
MORE_DESCRIPTORS = {"socket": 16, "/proc/net/snmp": 3, "/proc/net/snmp6": 3}
MORE_MEMORY = 4096  # KiB of private dirty memory; the sanitizers' own isn't bounded
GRACE_PERIOD = 5.0  # seconds until descriptors are closed and memory is returned
NO_ROOT = "/dev/null/no-root"  # where not even root can create anything

SYSTEM = "1.3.6.1.2.1.1"
SYS_DESCR, SYS_OBJECT_ID, SYS_UPTIME, SYS_CONTACT, SYS_NAME, SYS_LOCATION, SYS_SERVICES = (
    f"{SYSTEM}.{i}.0" for i in range(1, 8))

# Starts each daemon through a command such as soak/confine; a path in it is relative to the tree.
WRAP = [str(TREE / word) if "/" in word else word for word in shlex.split(os.environ.get("TARNIX_WRAP", ""))]
DAEMONS = {"tarnix-node", "tarnix-hostd", "tarnix-snmpd"}

os.environ["TERN_ROOT"] = NO_ROOT  # for programs started without a root
os.umask(0o022)  # group-writable folders are refused

_libc = ctypes.CDLL(None, use_errno=True)
_PR_SET_PDEATHSIG = 1
_CLONE_NEWNET = 0x40000000


def program(name):
    return str(BUILD / name)


_folders = set()  # created here, so ours to remove


def _cleanup_of(test):
    """Adds a clean-up to a test, or to a class of tests."""
    return test.addClassCleanup if isinstance(test, type) else test.addCleanup


def _make_folder(name, place=None):
    folder = pathlib.Path(tempfile.mkdtemp(prefix=f"tarnix-e2e-{name}", dir=place)).resolve()
    _folders.add(folder)
    return folder


def temp_folder(test, name=""):
    """An empty folder, removed after the test or the class of tests."""
    folder = _make_folder(name)
    _cleanup_of(test)(remove_tree, folder)
    return folder


def remove_tree(path):
    """Removes a folder created here, or one in it, recursively."""
    path = pathlib.Path(path).resolve()
    assert _folders & {path, *path.parents}, f"{path} isn't this test's to remove"
    shutil.rmtree(path, ignore_errors=True)


def signal_process(pid, how=signal.SIGKILL):
    """Signals one process: pids like 0 and -1 would address many."""
    assert isinstance(pid, int) and pid > 1, pid
    os.kill(pid, how)


def eventually(condition, what, timeout=TIMEOUT):
    """Polls until condition() is true and returns its value; fails with `what`, or its result, after the timeout."""
    end = time.monotonic() + timeout
    while not (value := condition()):
        assert time.monotonic() < end, f"not within {timeout:g} s: {what() if callable(what) else what}"
        time.sleep(0.01)
    return value


def for_a_while(seconds, condition, what):
    """Fails with `what` as soon as condition() isn't true within the time: for states that must not change."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        assert condition(), what
        time.sleep(0.05)


def free_port():
    """An unused UDP port outside the kernel's range of client ports."""
    for port in random.sample(range(12000, 32000), 1000):
        with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as probe, contextlib.suppress(OSError):
            probe.bind(("::", port))
            return port
    raise AssertionError("no free UDP port")


def is_sanitized(file):
    """Whether a program has AddressSanitizer in it, which has a quarantine of freed memory."""
    return b"__asan_init" in pathlib.Path(file).read_bytes()


def descriptors(pid):
    """What each descriptor of a process refers to: {number: text}; empty if the process has ended."""
    found = {}
    with contextlib.suppress(OSError):
        for entry in os.scandir(f"/proc/{pid}/fd"):
            with contextlib.suppress(OSError):  # closed meanwhile
                found[int(entry.name)] = os.readlink(entry.path)
    return found


def kinds_of_descriptors(pid):
    """The number of descriptors that refer to each file, and of sockets, pipes and so on."""
    return collections.Counter(re.sub(r":\[\d+\]$", "", re.sub(r"^/proc/\d+/(net/\w+).*", r"/proc/\1", text))
                               for text in descriptors(pid).values())


def private_dirty(pid):
    """KiB of memory that only this process has and has written to."""
    pages = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return int(pages.split("Private_Dirty:")[1].split()[0])


def text_of(file):
    return file.read_text(errors="replace") if file.exists() else ""


class Daemon:
    """One process with its output in a file."""

    def __init__(self, words, output, prefix=(), pass_fds=()):
        self.words = [str(word) for word in words]
        self.output = pathlib.Path(output)
        self.warm = None  # descriptors and memory after the start
        with open(self.output, "ab") as sink:
            wrap = WRAP if pathlib.Path(self.words[0]).name in DAEMONS else []
            self.process = subprocess.Popen([*prefix, *wrap, *self.words], stdin=subprocess.DEVNULL, stdout=sink,
                                            stderr=sink, pass_fds=pass_fds,
                                            preexec_fn=lambda: _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL))

    @property
    def pid(self):
        return self.process.pid

    def alive(self):
        return self.process.poll() is None

    def end(self, how=signal.SIGTERM):
        """Ends and reaps it. Returns its exit status, negative for a signal."""
        if self.process.poll() is None:
            self.process.send_signal(how)
            try:
                self.process.wait(TIMEOUT)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
                raise AssertionError(f"{self.words[0]} didn't end:\n{self.said()}") from None
        return self.process.returncode

    def note_warm(self):
        """The process has started: growth() counts from the first call."""
        if self.warm is None and self.alive():
            self.warm = kinds_of_descriptors(self.pid), private_dirty(self.pid)

    def growth(self, more_memory):
        """What the process has more of than it may have, since it was warm; one line each. more_memory: KiB."""
        if self.warm is None or not self.alive():
            return []
        end = time.monotonic() + GRACE_PERIOD
        while (lines := self.growth_now(more_memory)) and time.monotonic() < end:
            time.sleep(0.1)
        return lines

    def growth_now(self, more_memory):
        """The same without the grace period."""
        kinds, memory = self.warm
        lines = []
        for kind, count in kinds_of_descriptors(self.pid).items():
            if count > kinds[kind] + MORE_DESCRIPTORS.get(kind, 1):
                lines.append(f"{self.words[0]}: {count} descriptors of {kind}, after the start {kinds[kind]}")
        grown = private_dirty(self.pid) - memory
        if grown > more_memory and not is_sanitized(self.words[0]):
            lines.append(f"{self.words[0]}: {grown} KiB more private memory than after the start")
        return lines

    def said(self):
        return text_of(self.output)

    def children(self):
        """Pids of its living children."""
        with contextlib.suppress(OSError):
            pids = pathlib.Path(f"/proc/{self.pid}/task/{self.pid}/children").read_text().split()
            return [int(pid) for pid in pids if not has_ended(pid)]
        return []


def has_ended(pid):
    """Reaped or not."""
    with contextlib.suppress(OSError):
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] in "ZX"
    return True


def not_tested(why):
    """Skips a test or a class of tests, loudly."""
    print(f"\n*** NOT TESTED: {why.strip()} ***", file=sys.stderr)
    raise unittest.SkipTest(why)


def run(*words, stdin="", **how):
    """The Answer of a command that ends by itself."""
    return Answer(subprocess.run([str(word) for word in words], input=stdin, capture_output=True, text=True,
                                 timeout=5 * TIMEOUT, **how))


def usable(*prefix):
    """The prefix of command lines. Skips the test or the class of tests if nothing can be run with it."""
    answer = run(*prefix, program("tnctl"), "--version")
    return prefix if answer.status == 0 else not_tested(f"{prefix}: {answer.err}")


def for_each_kind(*kinds):
    """Makes one TestCase of a class for each kind of Deployment, with the kind in `kind`."""
    def decorate(tests):
        for kind in kinds:
            name, members = f"{tests.__name__}_{kind}", {"kind": kind, "__module__": tests.__module__}
            setattr(sys.modules[tests.__module__], name, type(name, (tests, unittest.TestCase), members))
        return tests

    return decorate


class Answer:
    """A client's output and exit status."""

    def __init__(self, done):
        self.status, self.out, self.err = done.returncode, done.stdout, done.stderr

    def __repr__(self):
        return f"status {self.status}\n{self.out}{self.err}"

    def values(self):
        """{name: value} of a client that was told to print -On."""
        pairs = re.findall(r"^\.?([\d.]+) = (.*?)(?=^\.?[\d.]+ = |\Z)", self.out, re.M | re.S)
        return {name: value.rstrip("\n") for name, value in pairs}

    def names(self):
        """The names of objects in the order in which they came, as tuples of numbers."""
        return [tuple(int(part) for part in name.split("."))
                for name in re.findall(r"^\.?([\d.]+) = (?!No more variables)", self.out, re.M)]


def plain(value):
    """The value without the client's type: text unquoted, octets as lower-case hex, numbers as they are."""
    kind, _, rest = value.partition(": ")
    if kind == "Hex-STRING":
        return rest.replace(" ", "").replace("\n", "").lower()
    return rest.strip('"') if rest else value.strip('"')


class Namespace:
    """A network namespace of a test or a class of tests, which is skipped if it, or one of these links, can't be
    created."""

    def __init__(self, test, name, links=()):
        self.name = f"tarnix-e2e-{os.getpid()}-{name}"
        self.prefix = ("ip", "netns", "exec", self.name)  # of a command line that runs in it
        _cleanup_of(test)(run, "ip", "netns", "del", self.name)
        for words in (["netns", "add", self.name], *(["-n", self.name, *line.split()] for line in links)):
            made = run("ip", *words)
            if made.status != 0:
                not_tested(f"{words}: {made.err}")

    def run(self, *words, stdin=""):
        """What a command prints that runs in it, and has to succeed."""
        answer = run(*self.prefix, *words, stdin=stdin)
        assert answer.status == 0, f"{words}: {answer}"
        return answer.out

    @contextlib.contextmanager
    def entered(self):
        """Sockets that this thread creates in the block are the namespace's."""
        with open("/proc/thread-self/ns/net") as own, open(f"/run/netns/{self.name}") as other:
            assert _libc.setns(other.fileno(), _CLONE_NEWNET) == 0, os.strerror(ctypes.get_errno())
            try:
                yield
            finally:
                assert _libc.setns(own.fileno(), _CLONE_NEWNET) == 0, os.strerror(ctypes.get_errno())

    def ip(self, *words):
        """What ip(8) says, from its JSON."""
        return json.loads(self.run("ip", "-json", *words) or "[]")


class Deployment:
    """The agent and its owners on a root: kind "node" is tarnix-node, "spawn" tarnix-hostd --spawn tarnix-snmpd,
    "apart" each started by itself."""

    def __init__(self, kind, prefix=(), owner_words=(), agent_words=(), place=None):
        self.kind = kind
        self.prefix = tuple(prefix)  # of every command line: a network namespace
        self.owner_words, self.agent_words = owner_words, agent_words  # options of the programs that have these in them
        self.root, self.port, self.daemons = _make_folder(kind, place), free_port(), {}  # place: of the root
        self.output = self.root / "output"
        self.more_memory = MORE_MEMORY  # a test with an unusual load sets its own bound

    def ends_with(self, test):
        """Everything is cleaned up after the test, or after the class of tests."""
        _cleanup_of(test)(self.close)
        return self

    # --- processes

    def start(self):
        self.start_part("node" if self.kind == "node" else "hostd")
        self.wait_for("24,2")
        if self.kind == "apart":  # the agent asks for the system's description once, when it starts
            self.start_part("snmpd")
        self.wait_for("34")
        if "--plugins" in self.agent_words or (self.root / "tern/lib/snmp").exists():
            eventually(lambda: "being tested" not in self.tnctl("plugin", "list").out, "no plug-in is late")
        return self

    def start_part(self, part):
        words = [program("tarnix-" + part), "--root", self.root, "--log", "stderr"]
        if part != "snmpd":
            words += self.owner_words
        if part != "hostd":
            words += ["--port", self.port, *self.agent_words]
        elif self.kind == "spawn":
            words += ["--spawn", "tarnix-snmpd", "--", "--port", self.port, *self.agent_words]
        self.daemons[part] = Daemon(words, self.output, self.prefix)
        return self.daemons[part]

    def wait_for(self, path):
        """Until who serves that path answers on the bus."""
        def answers():
            assert any(daemon.alive() for daemon in self.daemons.values()), f"no daemon lives:\n{self.said()}"
            return self.tnctl("message", path, "get").status == 0

        eventually(answers, f"{{{path}}} answers")
        for daemon in self.daemons.values():
            daemon.note_warm()

    def stop(self, how=signal.SIGTERM):
        """Ends all daemons, the agent first. Returns their exit statuses."""
        return [self.daemons.pop(part).end(how) for part in ("snmpd", "node", "hostd") if part in self.daemons]

    def close(self):
        """The last clean-up: nothing stays. Fails if a daemon has more descriptors or memory than it should."""
        grown = [text for daemon in self.daemons.values() for text in daemon.growth(self.more_memory)]
        try:
            self.stop()
        finally:
            for daemon in self.daemons.values():
                daemon.end(signal.SIGKILL)
            remove_tree(self.root)
        assert not grown, "\n".join(grown)

    def agent_pids(self):
        """The process that serves {34}; none while a spawned agent has left."""
        if self.kind == "spawn":
            return self.daemons["hostd"].children()
        agent = self.daemons["node" if self.kind == "node" else "snmpd"]
        return [agent.pid] if agent.alive() else []

    def said(self):
        return text_of(self.output)

    # --- clients

    def tnctl(self, *words, stdin=""):
        return run(program("tnctl"), "--root", self.root, *words, stdin=stdin)

    def configure(self, *words):
        """tnctl snmp WORDS, which has to work."""
        answer = self.tnctl("snmp", *words)
        assert answer.status == 0, f"tnctl snmp {words}: {answer}\n{self.said()}"
        return answer

    def open(self):
        """The first configuration: requests from this machine are answered, and `private` may write."""
        loopback = "addresses=127.0.0.0/8,::1/128"
        self.configure("community", "set", "common", loopback)
        self.configure("community", "add", "name=private", "write-access=yes", loopback)
        self.configure("set", "enabled=yes", "engine-id=e2e")
        return self

    def snmp(self, client, *words, version="2c", community="common", timeout=1, retries=10):
        """Runs one of Debian's clients, snmp + `client`. It retries, as a busy machine may be slow."""
        how = ["-v" + version, "-c", community, "-On", f"-t{timeout}", f"-r{retries}", f"127.0.0.1:{self.port}"]
        return run(*self.prefix, "snmp" + client, *how, *words)

    def get(self, name, **how):
        """The value of one object as the client prints it."""
        answer = self.snmp("get", name, **how)
        assert answer.status == 0, f"get {name}: {answer}\n{self.said()}"
        return answer.values()[name]

    def walk(self, prefix, client="bulkwalk", *words):
        """{(column, index): plain value} of a table, given its entry; empty when it has no rows."""
        answer = self.snmp(client, *words, prefix)
        assert answer.status == 0, answer
        names = answer.names() if "No Such" not in answer.out else []
        assert names == sorted(set(names)), f"the walk goes back or repeats itself: {answer}"
        start = len(prefix.split("."))
        keys = [(name[start], ".".join(map(str, name[start + 1:]))) for name in names]
        return dict(zip(keys, map(plain, answer.values().values())))

    def rows(self, prefix):
        """{index: {column: plain value}} of a table, given its entry."""
        rows = {}
        for (column, index), value in self.walk(prefix).items():
            rows.setdefault(index, {})[column] = value
        return rows


# --- requests made by hand, for what Debian's clients can't show: silence, and whom an answer comes from

_FIRST_ID = 0x10000000  # so that BER writes each request id with four octets


def _tlv(tag, *content):
    """BER, with lengths below 64 KiB."""
    content = b"".join(content)
    size = len(content)
    return bytes([tag, *([size] if size < 128 else [0x82, size >> 8, size & 255])]) + content


def _number(value):
    return _tlv(0x02, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def _elements(octets):
    """The elements of BER: sequences as lists of theirs, PDUs as (tag, list), others as octets."""
    found = []
    while octets:
        tag, size, at = octets[0], octets[1], 2
        if size > 127:
            at += size - 128
            size = int.from_bytes(octets[2:at], "big")
        content, octets = octets[at:at + size], octets[at + size:]
        found.append((tag, _elements(content)) if tag > 0x9F else _elements(content) if tag == 0x30 else content)
    return found


def _oid(name):
    return bytes([0x2B, *map(int, name.split(".")[2:])])  # 1.3 is one octet


def request(request_id, name, community="common", text=None):
    """A v2c Get of one object, or a Set to a text. All numbers of the name are below 128."""
    pdu, value = (0xA0, b"\x05\x00") if text is None else (0xA3, _tlv(0x04, text.encode()))
    bindings = _tlv(0x30, _tlv(0x30, _tlv(0x06, _oid(name)) + value))
    numbers = _tlv(0x02, (_FIRST_ID + request_id).to_bytes(4, "big")) + b"\x02\x01\x00\x02\x01\x00"
    return _tlv(0x30, b"\x02\x01\x01" + _tlv(0x04, community.encode()) + _tlv(pdu, numbers + bindings))


def request_id_of(reply):
    """The number of the request() that this responds to; None if it isn't a response."""
    found = re.search(rb"\xa2(?:[\x00-\x7f]|\x81.|\x82..)\x02\x04(....)", reply, re.S)
    return int.from_bytes(found.group(1), "big") - _FIRST_ID if found else None


def bindings_of(message):
    """(error-status, {name octets: value octets}) of a v2c message. An exception has no octets."""
    _, _, (_, (_, status, _, bindings)) = _elements(message)[0]
    return status[0], dict(bindings)


class V3:
    """A v3 manager with SHA-1 and without encryption, which can send faulty messages: the arguments of message()."""

    def __init__(self, agent, password):
        self.at, self.password, self.engine, self.boots, self.time = ("127.0.0.1", agent.port), password, b"", 0, 0
        self.engine, boots, time, *_ = _elements(_elements(self.exchange(self.message(user="")))[0][2])[0]
        self.boots, self.time = int.from_bytes(boots, "big"), int.from_bytes(time, "big")

    def message(self, user, flags=4, model=3, max_size=65507, ahead=0, context="", context_engine=None, password=None,
                names=(SYS_SERVICES,)):
        bindings = b"".join(_tlv(0x30, _tlv(0x06, _oid(name)), b"\5\0") for name in names)
        body = _tlv(0x30, _tlv(0x04, self.engine if context_engine is None else context_engine),
                    _tlv(0x04, context.encode()),
                    _tlv(0xA0, _number(7), _number(0), _number(0), _tlv(0x30, bindings)))
        head = _tlv(0x30, _number(7), _number(max_size), _tlv(0x04, bytes([flags])), _number(model))
        sealed = lambda digest: _tlv(0x30, _number(3), head, _tlv(0x04, _tlv(
            0x30, _tlv(0x04, self.engine), _number(self.boots), _number(self.time + ahead), _tlv(0x04, user.encode()),
            _tlv(0x04, digest), _tlv(0x04))), body)
        if not flags & 1:
            return sealed(b"")
        key = (password or self.password).encode()  # RFC 3414, A.2.2
        key = hashlib.sha1((key * (1048576 // len(key) + 1))[:1048576]).digest()
        key = hashlib.sha1(key + self.engine + key).digest()
        return sealed(hmac.new(key, sealed(bytes(12)), "sha1").digest()[:12])

    def exchange(self, message):
        """The reply; None if the request after it is answered first."""
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
            client.settimeout(TIMEOUT)
            for datagram in (message, request(1, SYS_SERVICES)):
                client.sendto(datagram, self.at)
            reply = client.recv(65536)
            return reply if request_id_of(reply) != 1 else None

    def ask(self, user, **how):
        """(PDU, flags, msgMaxSize, error-status, names, size) of the reply; None for silence. Names are the octets of
        OIDs."""
        reply = self.exchange(self.message(user, **how))
        if reply is None:
            return None
        _, (_, size, flags, _), _, (_, _, (pdu, (_, status, _, bindings))) = _elements(reply)[0]
        names = [name for name, _ in bindings]
        return pdu, flags[0], int.from_bytes(size, "big"), status[0], names, len(reply)
