"""Traps as Debian's snmptrapd receives them, in a network namespace of the test: test traps, and traps of links that
lose and regain their peers. Each test runs in one process and over the bus."""

import json
import os
import re
import shutil
import time

from harness import SYS_UPTIME, Daemon, Deployment, Namespace, eventually, for_a_while, for_each_kind, temp_folder

LINKS = ["link set lo up", "link add left type veth peer name right", "link set left up", "link set right up"]
UNREACHABLE, IPV4, IPV6 = "203.0.113.1", "127.0.0.1", "::1"
TRAPS = f"trap-targets={UNREACHABLE},{IPV4},{IPV6}", "trap-community=monitor", "trap-version=2c", "trap-kind=trap"
ASKED = ".1.3.6.1.4.1.49999.1.1.9"
UP, DOWN = "linkUp", "linkDown"
ENGINE = "8000c34f04" + b"e2e".hex()

RECEIVER = f"""
authCommunity log monitor
createUser -e 0x{ENGINE} open
createUser -e 0x{ENGINE} signed MD5 authentication
createUser -e 0x{ENGINE} secret SHA authentication DES encryption
createUser -e 0x{ENGINE} modern SHA-512 authentication AES-256 encryption
createUser informer SHA-256 authentication AES encryption
authUser log open noauth
authUser log signed auth
authUser log secret priv
authUser log modern priv
authUser log informer priv
format1 v1|%b|%N %w %q|%v\\n
format2 v2|%b||%v\\n
"""


class Receiving:
    """An agent of one kind, or a node with --standard, and a receiver."""

    @classmethod
    def setUpClass(cls):
        cls.namespace, cls.begun = Namespace(cls, "traps", LINKS), time.monotonic()
        kind, words = ("node", ["--standard"]) if cls.kind == "standard" else (cls.kind, [])
        cls.agent = Deployment(kind, cls.namespace.prefix, agent_words=words).ends_with(cls).start().open()
        cls.agent.configure("community", "add", "name=monitor", "addresses=127.0.0.0/8")
        users = (("open", "none", "md5", "des"), ("signed", "authorized", "md5", "des"),
                 ("secret", "private", "sha1", "des"), ("modern", "private", "sha512", "aes256"),
                 ("informer", "private", "sha256", "aes128"))
        for name, security, protocol, cipher in users:
            cls.agent.configure("community", "add", "name=" + name, "addresses=127.0.0.1/32", "security=" + security,
                                "authentication-protocol=" + protocol, "encryption-protocol=" + cipher,
                                "authentication-password=authentication", "encryption-password=encryption")
        cls.agent.configure("set", *TRAPS)
        cls.indexes = {link["ifname"]: str(link["ifindex"]) for link in cls.namespace.ip("link")}

    def setUp(self):
        self.settle()
        self.start_receiver()

    def start_receiver(self):
        folder = temp_folder(self, "receiver")
        (folder / "conf").write_text(RECEIVER)
        receiver = shutil.which("snmptrapd", path=os.environ["PATH"] + ":/usr/sbin")
        self.received = Daemon([receiver, "-f", "-n", "-On", "-m", "", "-C", "-c", folder / "conf", "-Lo",
                                f"udp:{IPV4}:162", f"udp6:[{IPV6}]:162"], folder / "output",
                               [*self.namespace.prefix, "env", f"SNMP_PERSISTENT_DIR={folder}"])
        self.addCleanup(self.received.end)
        eventually(lambda: "NET-SNMP version" in self.received.said(), "snmptrapd listens")

    def settle(self):
        up = lambda: {link["ifname"] for link in self.namespace.ip("link") if link["operstate"] == "UP"}
        eventually(lambda: up() >= {"left", "right"}, "the links are up")

    def generators(self, names):
        self.agent.configure("set", "trap-generators=" + names)
        self.addCleanup(self.agent.configure, "set", "trap-generators=none")

    def traps(self):
        """[(version, "v4" or "v6", enterprise and numbers of version 1, varbinds)] in the order of arrival."""
        return [(version, "v6" if six else "v4", head, body) for version, six, head, body in
                re.findall(r"(v[12])\|UDP(/IPv6)?: [^|]*\|([^|]*)\|(.*)", self.received.said())]

    def both(self, count):
        """The traps, once `count` of them have reached each of the two addresses; the same to both."""
        arrived = lambda: all(sum(t[1] == family for t in self.traps()) >= count for family in ("v4", "v6"))
        eventually(arrived, f"{count} traps at both addresses\n{self.agent.said()}")
        traps = self.traps()
        bodies = lambda family: sorted((t[0], t[2], re.sub(r"Timeticks: \S+ \S+", "", t[3]))
                                       for t in traps if t[1] == family)
        self.assertEqual(bodies("v4"), bodies("v6"))
        return [t for t in traps if t[1] == "v4"]

    def links(self, traps):
        """[(name, linkUp or linkDown, ifAdminStatus, ifOperStatus)] of link traps."""
        found = []
        for _, _, _, body in traps:
            numbers = re.search(r"OID: \.1\.3\.6\.1\.6\.3\.1\.1\.5\.([34])\t.*\.1 = INTEGER: (\d+)\t"
                                r".*\.7 = INTEGER: (\d)\t.*\.8 = INTEGER: (\d)", body)
            self.assertTrue(numbers, body)
            name = next(name for name, index in self.indexes.items() if index == numbers[2])
            found.append((name, UP if numbers[1] == "4" else DOWN, int(numbers[3]), int(numbers[4])))
        return found

    def toggle(self):
        """Down and up again, each as slowly as the other end sees it."""
        self.namespace.run("ip", "link", "set", "left", "down")
        eventually(lambda: self.namespace.ip("link", "show", "right")[0]["operstate"] != "UP", "no carrier")
        self.namespace.run("ip", "link", "set", "left", "up")
        self.settle()


@for_each_kind("node", "standard")
class LinkTraps(Receiving):
    def test_names_values_and_times_in_both_modes(self):
        """The peer of a link that is enabled loses its carrier."""
        chosen = lambda fixed, standard: standard if self.kind == "standard" else fixed
        index = self.indexes["left"]
        self.generators("interfaces")
        self.addCleanup(self.agent.configure, "set", "interfaces=none", "trap-version=2c")
        for done, version in ((0, "2c"), (2, "1")):
            self.agent.configure("set", "interfaces=" + index, "trap-version=" + version)
            self.namespace.run("ip", "link", "set", "right", "down")
            _, _, head, body = self.both(done + 1)[-1]
            for column, value in ((1, index), (7, chosen("2", "1")), (8, "2")):
                name = f"1.3.6.1.2.1.2.2.1.{column}" + chosen("", "." + index)
                self.assertIn(f".{name} = INTEGER: {value}\t", body + "\t")
            if version == "1":
                self.assertEqual(head, ".1.3.6.1.6.3.1.1.5" + chosen(".3", "") + " 2 0")
            else:
                ticks = lambda text: int(re.search(r"Timeticks: \((\d+)\)", text)[1])
                ago = ticks(self.agent.get(SYS_UPTIME)) - ticks(body)
                running = 100 * (time.monotonic() - self.begun)
                self.assertLess(chosen(ticks(body), ago), running)
                self.assertGreaterEqual(ago, 0)
            self.namespace.run("ip", "link", "set", "right", "up")
            self.both(done + 2)


@for_each_kind("node", "apart")
class Traps(Receiving):
    def test_traps_reach_every_target_in_every_version(self):
        """One of the targets can't be reached; the others get the trap in each version and at each level."""
        senders = ("1", "monitor"), ("2c", "monitor"), ("3", "open"), ("3", "signed"), ("3", "secret"), ("3", "modern")
        for done, (version, community) in enumerate(senders, 1):
            with self.subTest(version=version, community=community):
                self.agent.configure("set", "trap-version=" + version, "trap-community=" + community)
                self.agent.configure("trap", "send", "oid=1.3.6.1.4.1.49999.1", "value=hello")
                kind, _, head, body = self.both(done)[-1]
                self.assertIn('.1.3.6.1.4.1.49999.1 = STRING: "hello"', body)
                self.assertEqual((kind, head), ("v1", ASKED + " 6 .1") if version == "1" else ("v2", ""))
                self.assertTrue(version == "1" or f"OID: {ASKED}.0.1\t" in body, body)
        self.agent.configure("set", "trap-version=2c", "trap-community=monitor")
        self.assertIn("send_trap: failed to connect: Network is unreachable", self.agent.said())

    def test_informs_are_repeated_until_each_target_acknowledges_them(self):
        """Two targets come up late, a third one never answers. In version 3 the receiver's engine is found out."""
        counts = lambda: [json.loads(self.agent.tnctl("--json", "status").out)["traps"]["informs-" + name]
                          for name in ("sent", "acknowledged", "lost")]
        self.received.end()
        self.addCleanup(self.agent.configure, "set", *TRAPS)
        self.agent.configure("set", "trap-kind=inform", f"trap-targets={IPV4},[{IPV6}]:162,{IPV4}:9")
        self.agent.configure("trap", "send", "oid=1.3.6.1.4.1.49999.1", "value=late")
        self.assertEqual(counts(), [3, 0, 0])
        self.start_receiver()
        self.assertIn('STRING: "late"', self.both(1)[0][3])
        self.agent.configure("set", "trap-version=3", "trap-community=informer")
        self.agent.configure("trap", "send", "oid=1.3.6.1.4.1.49999.1", "value=secured")
        self.assertIn('STRING: "secured"', self.both(2)[1][3])
        eventually(lambda: counts() == [6, 4, 0], lambda: f"{counts()}\n{self.agent.said()}")
        self.agent.configure("set", f"trap-targets={IPV4}")
        self.assertEqual(counts(), [6, 4, 2])
        self.assertIn(f"not acknowledged: {IPV4}:9: 2 informs", self.agent.said())
        self.assertIn("2c or 3", self.agent.tnctl("snmp", "set", "trap-version=1").err)

    def test_each_change_of_a_selected_link_causes_one_trap(self):
        self.generators("interfaces")
        self.addCleanup(self.agent.configure, "set", "interfaces=none")
        done = 0
        for interfaces, names in (("all", ["left", "right"]), (self.indexes["right"], ["right"]),
                                  ("none", ["left", "right"]), ("99999", [])):
            with self.subTest(interfaces=interfaces):
                self.agent.configure("set", "interfaces=" + interfaces)
                before, done = done, done + 2 * len(names)
                self.toggle()
                told = sorted(self.links(self.both(done))[before:], key=lambda trap: trap[0])
                self.assertEqual(told, [trap for name in names for trap in ((name, DOWN, 2, 2), (name, UP, 1, 1))])
        # Longer than half-way states are waited for: nothing may come late.
        for_a_while(2.0, lambda: len(self.traps()) == 2 * done, self.received.said())
