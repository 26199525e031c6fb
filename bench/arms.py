"""The servers to measure. Each has its own temporary folder and ports."""
import contextlib
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import subprocess
import tempfile
import time

SERVER_CPU, LOAD_CPU = 0, 1
SNMPD = "/usr/sbin/snmpd"
IN_MEMORY = "/dev/shm"  # the disk isn't measured, but a start that syncs files would wait for it
PASSWORD = "benchbench"  # both passwords of the SNMPv3 users, built into the load generators
# Protocols of SNMPv3, which are also the names of users. Each pair is followed by snmpd's words for it.
PAIRS = {"md5-des": "MD5 DES", "sha1-des": "SHA DES", "sha224-aes128": "SHA-224 AES", "sha256-aes128": "SHA-256 AES",
         "sha384-aes128": "SHA-384 AES", "sha512-aes128": "SHA-512 AES", "sha256-aes192": "SHA-256 AES-192",
         "sha256-aes256": "SHA-256 AES-256"}
REAL_TIME = os.SCHED_FIFO | os.SCHED_RESET_ON_FORK  # helper threads give way to the one that replies
SYS_OBJECT_ID = "1.3.6.1.2.1.1.2.0"  # a constant of every server


class Failure(Exception):
    """An error with one line for the user."""


def free_port():
    with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as probe:
        probe.bind(("::", 0))
        return probe.getsockname()[1]


def pinned(cpu):
    """Prepares a child process."""
    def prepare():
        os.sched_setaffinity(0, {cpu} & os.sched_getaffinity(0) or os.sched_getaffinity(0))
        if os.sched_getscheduler(0) == os.SCHED_FIFO:
            os.sched_setscheduler(0, REAL_TIME, os.sched_param(1))
    return prepare


class Arm:
    """One server, or several that work together. With a namespace, they and their clients run in it."""
    plugins = []  # names of shipped plug-ins that ours load

    def __init__(self, build, namespace=None):
        self.build = build
        self.prefix = ["ip", "netns", "exec", namespace] if namespace else []
        self.port, self.trap_port = free_port(), free_port()
        self.tree = tempfile.TemporaryDirectory(prefix="tarnix-bench-",
                                                dir=IN_MEMORY if os.path.isdir(IN_MEMORY) else None)
        self.folder = self.tree.name
        self.processes = {}

    def spawn(self, *command, **environment):
        name = pathlib.Path(command[0]).name
        with open(f"{self.folder}/{name}.log", "wb") as log:
            self.processes[name] = subprocess.Popen(
                [*self.prefix, *command], stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd=self.folder,
                env={**os.environ, **environment}, preexec_fn=pinned(SERVER_CPU))

    def start(self):
        """Starts and configures the server, and waits until it answers."""
        self.launch()
        self.configure()
        self.wait_until_it_answers()

    def configure(self):
        pass

    def end(self):
        for process in reversed(self.processes.values()):
            process.terminate()
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.processes = {}

    def remove(self):
        self.end()
        self.tree.cleanup()

    def measure(self, tool, *words, port=None):
        """The output of a load generator, with the CPU time of all processes of this server."""
        pids = [f"--pid={process.pid}" for process in self.processes.values()]
        command = [*self.prefix, f"{self.build}/{tool}", f"--port={port or self.port}", *pids, *words]
        done = subprocess.run(command, capture_output=True, text=True, preexec_fn=pinned(LOAD_CPU))
        if done.returncode:
            raise Failure(f"{self.name}: {done.stderr.strip()}\n{self.logs()}")
        return json.loads(done.stdout)

    def load(self, names, requests, *words, window=32):
        """Microseconds of CPU time for one Get."""
        figures = self.measure("udp-load", f"--window={window}", f"--requests={requests}", *self.load_options(), *words,
                               *names)
        return figures["cpu_us"]

    def walk(self, *words):
        return self.measure("udp-walk", *words)

    def load_options(self):
        return []

    @contextlib.contextmanager
    def probing(self, *words):
        """A second client that queries from now to the end of the block. It fills the dictionary that it yields:
        `first`, the time of the first value (monotonic clock, seconds), and `longest_ms`, the longest wait after it."""
        command = [*self.prefix, f"{self.build}/udp-probe", f"--port={self.port}", *words]
        figures = {}
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              preexec_fn=pinned(LOAD_CPU)) as client:
            try:
                time.sleep(0.1)  # it has started by then
                yield figures
            finally:
                if "--once" not in words:
                    client.send_signal(signal.SIGTERM)
                out, reason = client.communicate()
        if client.returncode:
            raise Failure(f"{self.name}: {reason.strip()}\n{self.logs()}")
        figures.update(json.loads(out))

    def launch_seconds(self, name):
        """Seconds from launching to the first answer with this object's value."""
        with self.probing("--once", name) as figures:
            launched = time.monotonic()
            self.launch()
        return figures["first"] - launched

    def memory(self):
        """{program: MiB of pages that only it has and has written to}"""
        out = {}
        for name, process in self.processes.items():
            pages = pathlib.Path(f"/proc/{process.pid}/smaps_rollup").read_text()
            out[name] = int(pages.split("Private_Dirty:")[1].split()[0]) / 1024
        return out

    def tasks(self):
        """All threads of the server's processes."""
        return [int(task) for process in self.processes.values() for task in os.listdir(f"/proc/{process.pid}/task")]

    def cpu_seconds(self):
        return sum(int(pathlib.Path(f"/proc/{task}/schedstat").read_text().split()[0]) for task in self.tasks()) / 1e9

    @contextlib.contextmanager
    def before_others(self):
        """Gives the server and its clients real-time priority, so that a wait is caused by the server itself."""
        os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(1))  # inherited by what this process starts
        for process in self.processes.values():
            os.sched_setscheduler(process.pid, REAL_TIME, os.sched_param(1))
        try:
            yield
        finally:
            for task in [0, *self.tasks()]:
                with contextlib.suppress(ProcessLookupError):
                    os.sched_setscheduler(task, os.SCHED_OTHER, os.sched_param(0))

    def wait_until_it_answers(self):
        for _ in range(50):
            dead = [name for name, process in self.processes.items() if process.poll() is not None]
            if dead:
                raise Failure(f"{self.name}: {dead[0]} exited:\n{self.logs()}")
            try:
                self.load([SYS_OBJECT_ID], 1, window=1)
                return
            except Failure as failure:
                reason = failure
                time.sleep(0.1)
        raise reason

    def logs(self):
        return "".join(log.read_text(errors="replace")[-2000:] for log in pathlib.Path(self.folder).glob("*.log"))


class Echo(Arm):
    name = "echo"

    def launch(self):
        self.spawn(f"{self.build}/udp-echo", str(self.port))

    def load_options(self):
        return ["--echo"]

    def exchange(self, count):
        """Microseconds of CPU time for one datagram, with one outstanding: a sleep and a wake-up."""
        return self.load([SYS_OBJECT_ID], count, window=1)


class DebianSnmpd(Arm):
    name = "snmpd"
    log = "-Lo"  # option: where, and from which priority

    def __init__(self, build, namespace=None, more=""):
        super().__init__(build, namespace)
        self.more = more  # lines of the configuration

    def launch(self):
        conf = f"{self.folder}/snmpd.conf"
        users = ""
        for name, words in PAIRS.items():
            digest, cipher = words.split()
            users += f'createUser {name} {digest} "{PASSWORD}" {cipher} "{PASSWORD}"\nrouser {name} priv\n'
        pathlib.Path(conf).write_text(
            f"agentaddress udp:127.0.0.1:{self.port}\n"
            f"rocommunity common 127.0.0.0/8\n{users}{self.more}"
            "sysContact noc\nsysLocation bench\nsysServices 72\n")
        self.spawn(SNMPD, "-f", self.log, "-C", "-c", conf, SNMP_PERSISTENT_DIR=self.folder)


class Agent(Arm):
    def launch(self):
        plugins = [f"--plugins={self.folder}/plugins"] if self.plugins else []
        for plugin in self.plugins:
            link = pathlib.Path(f"{self.folder}/plugins/{plugin}.so")
            link.parent.mkdir(exist_ok=True)
            if not link.exists():
                shutil.copy(f"{self.build}/shipped-plugins/{plugin}.so", link)
        for program in self.programs:
            agent = [] if program == "tarnix-hostd" else [f"--port={self.port}", f"--trap-port={self.trap_port}",
                                                             "--strict-usm", *plugins]
            self.spawn(f"{self.build}/{program}", f"--root={self.folder}", "--log=stderr", *agent)

    def configure(self):
        self.tnctl("community", "set", "common", "addresses=127.0.0.0/8")
        for name in PAIRS:
            self.add_user(name, PASSWORD, name)
        self.tnctl("set", "enabled=yes", "engine-id=bench")

    def add_user(self, name, password, protocols="md5-des"):
        digest, cipher = protocols.split("-")
        self.tnctl("community", "add", f"name={name}", "addresses=127.0.0.0/8", "security=private",
                   f"authentication-protocol={digest}", f"authentication-password={password}",
                   f"encryption-protocol={cipher}", f"encryption-password={password}")

    def tnctl(self, *words):
        command = [f"{self.build}/tnctl", f"--root={self.folder}", "snmp", *words]
        for _ in range(50):
            done = subprocess.run(command, capture_output=True, text=True)
            if done.returncode == 0:
                return
            time.sleep(0.1)
        raise Failure(f"{self.name}: tnctl: {done.stderr.strip()}\n{self.logs()}")


class Node(Agent):
    name = "node"
    programs = ["tarnix-node"]


class OverTheBus(Agent):
    name = "bus"
    programs = ["tarnix-hostd", "tarnix-snmpd"]


class NodeWithIfx(Node):
    name = "node+ifx"
    plugins = ["ifx"]


class OverTheBusWithIfx(OverTheBus):
    name = "bus+ifx"
    plugins = ["ifx"]


ARMS = {arm.name: arm for arm in [Echo, DebianSnmpd, Node, OverTheBus, NodeWithIfx, OverTheBusWithIfx]}


@contextlib.contextmanager
def running(names, build, namespace=None, plugins=()):
    """The named servers, started; they are removed afterwards. Ours load these of the shipped plug-ins."""
    arms = []
    try:
        for name in names:
            arms.append(ARMS[name](build, namespace))
            arms[-1].plugins = [*arms[-1].plugins, *plugins]
            arms[-1].start()
        yield arms
    finally:
        for arm in arms:
            arm.remove()


def shuffled(items, seed):
    """A different order in each round, so that no server always follows the same other one."""
    return random.Random(seed).sample(items, len(items))
