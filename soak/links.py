"""Links that change their state as fast as the kernel can do it, while a receiver counts the traps."""
import contextlib
import re
import socket
import struct
import threading
import time

import harness
from polling import Poller, record, with_user
from session import IS_SANITIZED, private_dirty

GOAL = "100,000 link changes in 10 s: the last state of each link arrives as a trap, little memory, fast replies"
MINUTES = 1 / 6
QUICK = 1

PAIRS = 500
RATE = 10_000  # changes a second
QUICK_RATE = 7_000  # required of the short form, for which other tests leave less of the processors
PACE = 1.02 * RATE  # at which they are requested: sleeping takes a little longer than asked for
BATCH = 50  # changes in one system call
RTM_NEWLINK, NLM_F_REQUEST, IFF_UP = 16, 1, 1
SO_RCVBUFFORCE = 33  # asm-generic/socket.h
CHANGE = struct.Struct("=IHHIIBxHiII")  # nlmsghdr, ifinfomsg
TRAP_PORT = 162
LINK_TRAP = re.compile(rb"\x2b\x06\x01\x06\x03\x01\x01\x05([\x03\x04])"  # linkDown, linkUp
                       rb".*?\x2b\x06\x01\x02\x01\x02\x02\x01\x01\x02(.)", re.S)  # ifIndex, length of its value
TRAP_TIMEOUT = 15.0  # seconds


def create_links(session):
    namespace = session.namespace("links", ["link set lo up"])
    namespace.run("sysctl", "-qw", "net.ipv6.conf.all.disable_ipv6=1", "net.ipv6.conf.default.disable_ipv6=1")
    pairs = [f"link add a{n} type veth peer name b{n}\nlink set a{n} up\nlink set b{n} up" for n in range(PAIRS)]
    namespace.run("ip", "-batch", "-", stdin="\n".join(pairs))
    return namespace


class Receiver(threading.Thread):
    """Receives traps, and retains the last state of each link."""

    def __init__(self, namespace):
        super().__init__(daemon=True)
        with namespace.entered():
            self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 1 << 26)
        self.socket.bind(("127.0.0.1", TRAP_PORT))
        self.is_up, self.count = {}, 0

    def run(self):
        while True:
            octets = self.socket.recv(65536)
            trap = LINK_TRAP.search(octets)
            link = int.from_bytes(octets[trap.end():trap.end() + trap[2][0]], "big")
            self.is_up[link] = trap[1] == b"\x04"
            self.count += 1


class Switches:
    """The links, all up at first."""

    def __init__(self, session, namespace):
        self.session, self.namespace = session, namespace
        with namespace.entered():
            self.kernel = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW)
        self.enabled = {number: True for number in self.running()}

    def running(self):
        """{ifindex: whether both ends are enabled}, from the kernel."""
        links = self.namespace.ip("link")
        return {link["ifindex"]: link["operstate"] == "UP" for link in links if link["ifname"] != "lo"}

    def turn(self, links):
        """Changes each of these links, in order. Returns the rate."""
        messages = []
        for link in links:
            self.enabled[link] = not self.enabled[link]
            flags = IFF_UP if self.enabled[link] else 0
            messages.append(CHANGE.pack(CHANGE.size, RTM_NEWLINK, NLM_F_REQUEST, 0, 0, 0, 0, link, flags, IFF_UP))
        started = time.monotonic()
        for done in range(0, len(messages), BATCH):
            self.kernel.send(b"".join(messages[done:done + BATCH]))
            time.sleep(max(0.0, started + (done + BATCH) / PACE - time.monotonic()))
            self.session.progress(f"{done:,} changes")
        return len(messages) / (time.monotonic() - started)


def storm(session, namespace, switches, receiver, kind):
    agent = with_user(session.deployment(kind, prefix=namespace.prefix))
    agent.configure("set", "trap-targets=127.0.0.1", "trap-community=common", "trap-generators=interfaces")
    settled = lambda: receiver.is_up == switches.running()
    for _ in range(2):  # buffers grow to their size
        switches.turn(list(switches.enabled))
    harness.eventually(settled, "a trap from each link has arrived")
    before, memory = {part: private_dirty(daemon.pid) for part, daemon in agent.daemons.items()}, {}
    receiver.count = 0
    links = session.random.choices(list(switches.enabled), k=int(RATE * session.seconds))
    with Poller(agent, 100, int(session.seconds) + 3) as poller:
        rows = poller.rows()
        next(rows)  # the first request for what hasn't been read for a while waits for it
        rate = switches.turn(links)
        for part, daemon in agent.daemons.items():
            memory[part] = private_dirty(daemon.pid)
        with contextlib.suppress(AssertionError):
            harness.eventually(settled, "the last states have arrived", TRAP_TIMEOUT)
        rows = list(rows)
    session.goal(f"{kind}: changes a second", rate, QUICK_RATE if session.quick else RATE, at_least=True)
    session.goal(f"{kind}: links whose last trap is wrong",
                 sum(receiver.is_up.get(link) != up for link, up in switches.running().items()), 0)
    for part, daemon in agent.daemons.items():
        grown = max(memory[part], private_dirty(daemon.pid)) - before[part]
        if not IS_SANITIZED:
            session.goal(f"{part}: memory", grown, 8192, "KiB")
    record(session, rows, f"{kind}: ")
    session.note(f"{kind}: {receiver.count:,} traps")
    agent.configure("set", "trap-generators=none")


def run(session):
    session.go_first()  # the kernel changes links on this process's account
    namespace = create_links(session)
    receiver = Receiver(namespace)
    receiver.start()
    switches = Switches(session, namespace)
    session.start_clock()
    for kind in ("node", "apart"):
        storm(session, namespace, switches, receiver, kind)
