"""Traps as Debian's snmptrapd receives them, in a network namespace of the test: asked for, of the start, and of links
that lose and regain their peers. Each test runs in one process and over the bus."""

import contextlib
import ctypes
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import threading
import time
import unittest

from harness import SYS_SERVICES, Daemon, Deployment, eventually, for_a_while, request, request_id_of

NAMESPACE = f"tarnix-e2e-{os.getpid()}-traps"
INSIDE = ("ip", "netns", "exec", NAMESPACE)
UNREACHABLE, IPV4, IPV6 = "203.0.113.1", "127.0.0.1", "::1"
TARGETS = f"trap-targets={UNREACHABLE},{IPV4},{IPV6}"
WARM_START = ".1.3.6.1.6.3.1.1.5.2"
ASKED = ".1.3.6.1.4.1.49999.1.1.9"
UP, DOWN = "linkUp", "linkDown"
ENGINE = "8000c34f04" + b"e2e".hex()

RECEIVER = f"""
authCommunity log monitor
createUser -e 0x{ENGINE} open
createUser -e 0x{ENGINE} signed MD5 authentication
createUser -e 0x{ENGINE} secret SHA authentication DES encryption
authUser log open noauth
authUser log signed auth
authUser log secret priv
format1 v1|%b|%N %w %q|%v\\n
format2 v2|%b||%v\\n
"""

SO_RCVBUFFORCE = 33
RTMGRP_LINK, RTM_NEWLINK = 1, 16
IFF_UP, IFF_RUNNING, IFF_LOWER_UP = 1, 1 << 6, 1 << 16

# A sanitizer build would keep what is freed, and seem to grow.
os.environ.setdefault("ASAN_OPTIONS", "quarantine_size_mb=4")

# A storm: so many pairs of links, of which one end each goes down and comes up so often.
PAIRS, TOGGLES = 250, 40


def ip(*words, text=None):
    return subprocess.run(["ip", "-n", NAMESPACE, *words], input=text, capture_output=True, text=True)


def must(done):
    assert done.returncode == 0, f"{done.args}: {done.stderr}"
    return done


def inside(family, kind, protocol=0):
    """A socket in the namespace that loses nothing."""
    libc = ctypes.CDLL(None, use_errno=True)
    with open("/proc/thread-self/ns/net") as ours, open(f"/run/netns/{NAMESPACE}") as theirs:
        assert libc.setns(theirs.fileno(), 0) == 0, os.strerror(ctypes.get_errno())
        try:
            made = socket.socket(family, kind, protocol)
        finally:
            assert libc.setns(ours.fileno(), 0) == 0
    made.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 256 << 20)
    return made


class Traps:
    """The tests; the classes below say who sends."""

    kind = ""

    @classmethod
    def setUpClass(cls):
        cls.addClassCleanup(subprocess.run, ["ip", "netns", "del", NAMESPACE], capture_output=True)
        made = subprocess.run(["ip", "netns", "add", NAMESPACE], capture_output=True, text=True)
        if made.returncode != 0:
            print(f"\n*** NOT TESTED: {made.args}: {made.stderr.strip()} ***", file=sys.stderr)
            raise unittest.SkipTest(made.stderr)
        must(ip("link", "set", "lo", "up"))
        must(ip("link", "add", "left", "type", "veth", "peer", "name", "right"))
        for end in ("left", "right"):
            must(ip("link", "set", end, "up"))
        cls.agent = Deployment(cls.kind, prefix=INSIDE)
        cls.addClassCleanup(cls.agent.close)
        cls.agent.start().open()
        cls.agent.configure("community", "add", "name=monitor", "addresses=127.0.0.0/8")
        users = ("open", "none", "md5"), ("signed", "authorized", "md5"), ("secret", "private", "sha1")
        for name, security, protocol in users:
            cls.agent.configure("community", "add", "name=" + name, "addresses=127.0.0.1/32", "security=" + security,
                                "authentication-protocol=" + protocol, "authentication-password=authentication",
                                "encryption-password=encryption")
        cls.agent.configure("set", TARGETS, "trap-community=monitor", "trap-version=2c")
        cls.indexes = {link["ifname"]: str(link["ifindex"]) for link in json.loads(ip("-json", "link").stdout)}

    def setUp(self):
        self.settles()
        folder = self.agent.root / "receiver"
        folder.mkdir()
        self.addCleanup(shutil.rmtree, folder)
        (folder / "conf").write_text(RECEIVER)
        receiver = shutil.which("snmptrapd", path=os.environ["PATH"] + ":/usr/sbin")
        self.assertTrue(receiver, "snmptrapd isn't installed")
        self.received = Daemon([receiver, "-f", "-n", "-On", "-m", "", "-C", "-c", folder / "conf", "-Lo",
                                f"udp:{IPV4}:162", f"udp6:[{IPV6}]:162"], folder / "output",
                               prefix=[*INSIDE, "env", f"SNMP_PERSISTENT_DIR={folder}"])
        self.addCleanup(self.received.end)
        eventually(lambda: "NET-SNMP version" in self.received.said(), "snmptrapd listens")

    def settles(self):
        """Until both links are up."""
        eventually(lambda: {"left", "right"} <= {link["ifname"] for link in json.loads(ip("-json", "link").stdout)
                                                 if link["operstate"] == "UP"}, "the links are up")

    def generators(self, *ids):
        reply = self.agent.tnctl("message", "34", "set", "19:u32[]=" + ",".join(map(str, ids)))
        self.assertEqual(reply.status, 0, reply)

    def asks(self):
        reply = self.agent.tnctl("message", "34", "1", "1001:string=1.3.6.1.4.1.49999.1", "1002:u32=4",
                                 "1003:string=hello")
        self.assertEqual(reply.status, 0, reply)

    def traps(self):
        """[(version, "v4" or "v6", enterprise and numbers of version 1, varbinds)] in the order of arrival."""
        found = re.findall(r"(v[12])\|UDP(/IPv6)?: [^|]*\|([^|]*)\|(.*)", self.received.said())
        return [(version, "v6" if six else "v4", head, body) for version, six, head, body in found]

    def both(self, count):
        """The traps, once `count` of them have reached each of the two addresses; the same to both."""
        def arrived():
            traps = self.traps()
            return traps if all(sum(t[1] == family for t in traps) >= count for family in ("v4", "v6")) else None

        traps = eventually(arrived, f"{count} traps at both addresses\n{self.agent.said()}")
        bodies = lambda family: sorted((t[0], t[2], re.sub(r"Timeticks: \S+ \S+", "", t[3]))
                                       for t in traps if t[1] == family)
        self.assertEqual(bodies("v4"), bodies("v6"))
        return [t for t in traps if t[1] == "v4"]

    def links(self, count):
        """[(name, linkUp or linkDown, ifAdminStatus, ifOperStatus)], once so many link traps have come."""
        found = []
        for _, _, _, body in self.both(count):
            numbers = re.search(r"OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.([34])\t.*\.1 = INTEGER: (\d+)\t"
                                r".*\.7 = INTEGER: (\d)\t.*\.8 = INTEGER: (\d)", body)
            self.assertTrue(numbers, body)
            name = next(name for name, index in self.indexes.items() if index == numbers[2])
            found.append((name, UP if numbers[1] == "4" else DOWN, int(numbers[3]), int(numbers[4])))
        return found

    def toggle(self, link="left"):
        """Down and up again, each as slowly as the other end sees it."""
        must(ip("link", "set", link, "down"))
        other = "right" if link == "left" else "left"
        eventually(lambda: json.loads(ip("-json", "link", "show", other).stdout)[0]["operstate"] != "UP", "no carrier")
        must(ip("link", "set", link, "up"))
        self.settles()

    # --- the tests

    def test_versions_and_targets(self):
        """One of the targets can't be reached; the others get the trap in each version and at each level."""
        senders = ("1", "monitor"), ("2c", "monitor"), ("3", "open"), ("3", "signed"), ("3", "secret")
        for done, (version, community) in enumerate(senders, 1):
            with self.subTest(version=version, community=community):
                self.agent.configure("set", "trap-version=" + version, "trap-community=" + community)
                self.asks()
                kind, _, head, body = self.both(done)[-1]
                self.assertIn('.1.3.6.1.4.1.49999.1 = STRING: "hello"', body)
                self.assertEqual(kind, "v1" if version == "1" else "v2")
                self.assertEqual(head, ASKED + " 6 .1" if version == "1" else "")
                if version != "1":
                    self.assertIn(f"OID: {ASKED}.0.1\t", body)
        self.agent.configure("set", "trap-version=2c", "trap-community=monitor")
        self.assertIn("send_trap: failed to connect: Network is unreachable", self.agent.said())

    def test_start(self):
        self.generators(0xabc0001)
        self.addCleanup(self.generators)
        self.agent.stop()
        self.agent.start()
        self.assertIn(f"OID: {WARM_START}", self.both(1)[0][3])
        # No link has changed, so nothing else is told.
        for_a_while(0.5, lambda: len(self.traps()) == 2, self.received.said())

    def test_each_change_of_a_link_is_told_once(self):
        self.generators(0)
        self.addCleanup(self.generators)
        down_and_up = lambda name: [(name, DOWN, 2, 2), (name, UP, 1, 1)]
        for _ in range(3):
            self.toggle()
        # Longer than half-way states are waited for: nothing may come late.
        self.links(12)
        for_a_while(2.0, lambda: len(self.traps()) == 24, self.received.said())
        told = self.links(12)
        for name in ("left", "right"):
            self.assertEqual([trap for trap in told if trap[0] == name], down_and_up(name) * 3)

    def test_filter(self):
        self.generators(0)
        self.addCleanup(self.generators)
        self.addCleanup(self.agent.configure, "set", "interfaces=none")
        done = 0
        for interfaces, names in (("all", {"left", "right"}), (self.indexes["right"], {"right"}),
                                  ("none", {"left", "right"}), ("99999", set())):
            with self.subTest(interfaces=interfaces):
                self.agent.configure("set", "interfaces=" + interfaces)
                before, done = done, done + 2 * len(names)
                self.toggle()
                self.assertEqual({trap[0] for trap in self.links(done)[before:]}, names)
        for_a_while(0.5, lambda: len(self.traps()) == 2 * done, self.received.said())

    def test_a_restarted_owner_is_subscribed_to_again(self):
        if self.kind == "node":
            self.skipTest("agent and owners are one process")
        self.generators(0)
        self.addCleanup(self.generators)
        self.toggle()
        self.links(4)
        pids = self.agent.agent_pids()
        self.agent.daemons.pop("hostd").end(signal.SIGKILL)
        self.agent.start_part("hostd")

        def tells():
            self.toggle()
            return len(self.traps()) > 8

        eventually(tells, "traps of the new owner's notifications")
        self.assertEqual(self.agent.agent_pids(), pids)

    def test_storm(self):
        """500 links that flap at once: the agent answers meanwhile, and the last state of each arrives."""
        names = [f"s{i}" for i in range(PAIRS)]
        lines = [line for name in names for line in (f"link add {name} group 7 type veth peer name {name}p group 8",
                                                     f"link set {name}p up", f"link set {name} up")]
        self.addCleanup(ip, "link", "del", "group", "7")
        must(ip("-batch", "-", text="\n".join(lines)))
        eventually(lambda: all(link["operstate"] == "UP" for link in json.loads(ip("-json", "link").stdout)
                               if link["ifname"].startswith("s")), "the links are up")
        self.generators(0)
        self.addCleanup(self.generators)
        self.addCleanup(self.agent.configure, "set", TARGETS)
        with inside(socket.AF_INET, socket.SOCK_DGRAM) as sink, inside(socket.AF_INET, socket.SOCK_DGRAM) as client, \
                inside(socket.AF_NETLINK, socket.SOCK_RAW) as kernel:
            sink.bind(("127.0.0.2", 162))
            kernel.bind((0, RTMGRP_LINK))
            self.agent.configure("set", "trap-targets=127.0.0.2")
            pids = [daemon.pid for daemon in self.agent.daemons.values()]
            before = sum(map(resident, pids))
            told, over = [], threading.Event()
            listener = threading.Thread(target=collect, args=(sink, told, over))
            listener.start()
            toggles = [f"link set group 7 {'up' if i % 2 else 'down'}" for i in range(TOGGLES)]
            toggles += [f"link set {name} down" for name in names[::5]]
            started = time.monotonic()
            storm = subprocess.Popen(["ip", "-n", NAMESPACE, "-batch", "-"], stdin=subprocess.PIPE, text=True)
            storm.stdin.write("\n".join(toggles))
            storm.stdin.close()

            changes = Changes(kernel)
            waits = []
            try:
                while storm.poll() is None or not told or len(waits) < 100:
                    waits.append(self.answer_takes(client, len(waits)))
                self.assertEqual(storm.wait(), 0)
                lasted = time.monotonic() - started
                eventually(lambda: changes.last().items() <= dict(told).items(), "the last state of each")
                current = time.monotonic() - started
                for_a_while(2.0, lambda: len(told) <= 2 * PAIRS * (TOGGLES + 1), "traps without end")
            finally:
                storm.wait()
                over.set()
                listener.join()
        grown = sum(map(resident, pids)) - before
        print(f"\n{self.kind}: storm of {2 * PAIRS} links, {changes.count} changes in {lasted:.1f} s: {len(told)} "
              f"traps, all told after {current:.1f} s; {len(waits)} Gets, worst {max(waits) * 1000:.0f} ms; memory grown "
              f"by {grown} KiB", file=sys.stderr)
        self.assertLessEqual(len(told), changes.count + 2 * PAIRS)  # a link that stays half way is told of too
        self.assertLess(grown, 64 * 1024)

    def answer_takes(self, client, number):
        """Seconds until one Get is answered."""
        client.settimeout(20)
        began = time.monotonic()
        client.sendto(request(number, SYS_SERVICES), (IPV4, self.agent.port))
        while request_id_of(client.recv(65536)) != number:
            pass
        return time.monotonic() - began


def resident(pid):
    """KiB."""
    return int(re.search(r"VmRSS:\s+(\d+)", pathlib.Path(f"/proc/{pid}/status").read_text())[1])


def collect(sink, told, over):
    """Takes link traps of version 2c in, as (interface id, linkUp or linkDown)."""
    link_trap = re.compile(rb"\x2b\x06\x01\x06\x03\x01\x01\x05([\x03\x04])"
                           rb"\x30.\x06\x09\x2b\x06\x01\x02\x01\x02\x02\x01\x01\x02(.)", re.S)
    sink.settimeout(0.1)
    while not over.is_set():
        try:
            trap = sink.recv(65536)
        except TimeoutError:
            continue
        found = link_trap.search(trap)
        index = trap[found.end():found.end() + found[2][0]]
        told.append((int.from_bytes(index, "big"), UP if found[1] == b"\4" else DOWN))


class Changes:
    """The links that came up and went down, by the kernel's messages (rtnetlink(7)). All are up at first."""

    def __init__(self, kernel):
        self.kernel, self.count, self.states = kernel, 0, {}
        kernel.setblocking(False)

    def last(self):
        """{interface id: linkUp or linkDown} of those that changed."""
        with contextlib.suppress(BlockingIOError):
            while True:
                self.take(self.kernel.recv(65536))
        return self.states

    def take(self, message):
        kind, family, index, flags = struct.unpack_from("=4xH10xB3xiI", message)
        up, running, carrier = (flags & bit != 0 for bit in (IFF_UP, IFF_RUNNING, IFF_LOWER_UP))
        state = UP if running else DOWN
        # One that is half way isn't anywhere.
        if kind == RTM_NEWLINK and family == 0 and running == (up and carrier) and self.states.get(index, UP) != state:
            self.count += 1
            self.states[index] = state


class InOneProcess(Traps, unittest.TestCase):
    kind = "node"


class OverTheBus(Traps, unittest.TestCase):
    kind = "apart"
