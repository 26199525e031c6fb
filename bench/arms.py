"""The servers to measure. Each has its own temporary folder and port."""
import contextlib
import json
import os
import pathlib
import socket
import subprocess
import tempfile
import time

SERVER_CPU, LOAD_CPU = 0, 1
IN_MEMORY = "/dev/shm"  # the disk isn't measured, but a start that syncs files would wait for it
PASSWORD = "benchbench"  # both passwords of the SNMPv3 user bench, built into udp-load and udp-walk
SYS_OBJECT_ID = "1.3.6.1.2.1.1.2.0"  # a constant of every server


class Failure(Exception):
    """An error with one line for the user."""


def free_port():
    with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as probe:
        probe.bind(("::", 0))
        return probe.getsockname()[1]


def pinned(cpu):
    return lambda: os.sched_setaffinity(0, {cpu} & os.sched_getaffinity(0) or os.sched_getaffinity(0))


class Arm:
    """One server, or several that work together. With a namespace, they and their clients run in it."""

    def __init__(self, build, namespace=None):
        self.build = build
        self.prefix = ["ip", "netns", "exec", namespace] if namespace else []
        self.port = free_port()
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

    def measure(self, tool, *words):
        """The output of udp-load or udp-walk, with the CPU time of all processes of this server."""
        pids = [f"--pid={process.pid}" for process in self.processes.values()]
        command = [*self.prefix, f"{self.build}/{tool}", f"--port={self.port}", *pids, *words]
        done = subprocess.run(command, capture_output=True, text=True, preexec_fn=pinned(LOAD_CPU))
        if done.returncode:
            raise Failure(f"{self.name}: {done.stderr.strip()}\n{self.logs()}")
        return json.loads(done.stdout)

    def load(self, names, window, requests, *words):
        return self.measure("udp-load", f"--window={window}", f"--requests={requests}", *self.load_options(), *words,
                            *names)

    def load_options(self):
        return []

    def launch_seconds(self, name):
        """Seconds from launching to the first answer with this object's value."""
        command = [*self.prefix, f"{self.build}/udp-wait", f"--port={self.port}", name]
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, preexec_fn=pinned(LOAD_CPU)) as client:
            time.sleep(0.1)  # udp-wait has started by then
            launched = time.monotonic()
            self.launch()
            answered = client.communicate()[0]
        if client.returncode:
            raise Failure(f"{self.name}: no value of {name} after launching\n{self.logs()}")
        return float(answered) - launched

    def memory(self, field):
        """{program: MiB}; field is a line of /proc/PID/status, such as VmRSS or VmHWM."""
        out = {}
        for name, process in self.processes.items():
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            out[name] = int(status.split(f"{field}:")[1].split()[0]) / 1024
        return out

    def wait_until_it_answers(self):
        for _ in range(50):
            dead = [name for name, process in self.processes.items() if process.poll() is not None]
            if dead:
                raise Failure(f"{self.name}: {dead[0]} exited:\n{self.logs()}")
            try:
                self.load([SYS_OBJECT_ID], 1, 1)
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


class DebianSnmpd(Arm):
    name = "snmpd"

    def launch(self):
        conf = f"{self.folder}/snmpd.conf"
        pathlib.Path(conf).write_text(
            f"agentaddress udp:127.0.0.1:{self.port}\n"
            "rocommunity common 127.0.0.1\n"
            f'createUser bench SHA "{PASSWORD}" DES "{PASSWORD}"\nrouser bench priv\n'
            "sysContact noc\nsysLocation bench\nsysServices 72\n")
        self.spawn("/usr/sbin/snmpd", "-f", "-Lo", "-C", "-c", conf, SNMP_PERSISTENT_DIR=self.folder)


class Agent(Arm):
    def launch(self):
        for program in self.programs:
            agent = [] if program == "tarnix-hostd" else [f"--port={self.port}", "--strict-usm"]
            self.spawn(f"{self.build}/{program}", f"--root={self.folder}", "--log=stderr", *agent)

    def configure(self):
        self.tnctl("community", "set", "common", "addresses=127.0.0.0/8")
        self.tnctl("community", "add", "name=bench", "addresses=127.0.0.0/8", "security=private",
                   "authentication-protocol=sha1", f"authentication-password={PASSWORD}",
                   f"encryption-password={PASSWORD}")
        self.tnctl("set", "enabled=yes", "engine-id=bench")

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


ARMS = {arm.name: arm for arm in [Echo, DebianSnmpd, Node, OverTheBus]}


@contextlib.contextmanager
def running(names, build, namespace=None):
    """The named servers, started; they are removed afterwards."""
    arms = []
    try:
        for name in names:
            arms.append(ARMS[name](build, namespace))
            arms[-1].start()
        yield arms
    finally:
        for arm in arms:
            arm.remove()
