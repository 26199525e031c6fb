"""The interface tables of the plug-ins ifx and etherlike, compared with ip(8) and /sys, in a network namespace."""

import sys
import unittest

from harness import BUILD, SYS_UPTIME, Deployment, Namespace, eventually, plain, run

IF_ENTRY, IFX_ENTRY, STACK_ENTRY, DOT3_ENTRY = (
    f"1.3.6.1.2.1.{table}.1" for table in ("2.2", "31.1.1", "31.1.2", "10.7.2"))
TABLE_LAST_CHANGE, STACK_LAST_CHANGE = "1.3.6.1.2.1.31.1.5.0", "1.3.6.1.2.1.31.1.6.0"
ETHERNET, NOMINAL_SPEED, YES, NO, FULL_DUPLEX = "6", 10_000, "1", "2", "3"
TYPES = {"bridge": "209", "bond": "161", "vlan": "135", "vxlan": "131"}

LINKS = ["link set lo up", "link add left type veth peer name right", "link add br0 type bridge",
         "link set right master br0", "link add mac0 link left type macvlan",
         *(f"link set {name} up" for name in ("left", "right", "br0", "mac0")),
         "link add vx0 type vxlan id 5 dstport 4789 dev left", "link set vx0 up", "addr add 10.96.0.1/24 dev left",
         "route add default dev left"]
IF_POSSIBLE = ["link add dummy0 type dummy", "link set dummy0 up", "link add bond0 type bond",
               "link add vlan5 link left type vlan id 5", "link set vlan5 up"]  # not every kernel has these

SEND = """
import socket
s = socket.socket(type=socket.SOCK_DGRAM)
s.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
for i in range(50):
    for address in ("10.96.0.255", "224.0.0.251", "10.96.0.2"): s.sendto(bytes(100), (address, 9))
"""


class InterfacePlugins(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.namespace = Namespace(cls, "ifx", LINKS)
        for words in IF_POSSIBLE:
            run("ip", "-n", cls.namespace.name, *words.split())
        up = lambda: {link["ifname"] for link in cls.links().values() if link["operstate"] == "UP"}
        eventually(lambda: up() >= {"left", "right", "br0"}, "the links are up")
        words = ["--plugins", BUILD / "shipped-plugins"]
        cls.agent = Deployment("node", cls.namespace.prefix, agent_words=words).ends_with(cls).start().open()

    @classmethod
    def links(cls):
        return {str(link["ifindex"]): link for link in cls.namespace.ip("-s", "-d", "link")}

    def speed(self, link, row):
        """Mbit/s. A running link whose speed the kernel doesn't know has a nominal one."""
        known = run(*self.namespace.prefix, "cat", f"/sys/class/net/{link['ifname']}/speed").out.strip()
        if known and int(known) > 0:
            return int(known)
        return NOMINAL_SPEED if row[8] == "1" else 0

    def test_interfaces_are_as_the_kernel_says(self):
        self.namespace.run("ip", "neigh", "replace", "10.96.0.2", "lladdr", "02:00:00:00:00:02", "dev", "left")
        self.namespace.run(sys.executable, "-c", SEND)
        before = self.links()
        eventually(lambda: int(self.agent.rows(IFX_ENTRY)[self.index("left")][10]) >=
                   before[self.index("left")]["stats64"]["tx"]["bytes"], "the counters are read", 10)
        table, extension, dot3 = (self.agent.rows(entry) for entry in (IF_ENTRY, IFX_ENTRY, DOT3_ENTRY))
        after = self.links()
        self.assertEqual({len(row) for row in table.values()}, {22})
        self.assertEqual({len(row) for row in extension.values()}, {19})
        self.assertEqual(list(table), list(before))
        for index, link in before.items():
            with self.subTest(link=link["ifname"]):
                row, more = table[index], extension[index]
                kind = link.get("linkinfo", {}).get("info_kind")
                self.assertEqual(row[3], "24" if link["ifname"] == "lo" else TYPES.get(kind, ETHERNET))
                speed = self.speed(link, row)
                self.assertEqual((row[5], more[15]), (str(min(speed * 1_000_000, 2**32 - 1)), str(speed)))
                self.assertEqual((more[14], more[16], more[17]), (NO, YES if link["promiscuity"] else NO, NO))
                for side, unicast, multicast, broadcast in (("rx", 7, 8, 9), ("tx", 11, 12, 13)):
                    low, high = (stats[index]["stats64"][side]["packets"] for stats in (before, after))
                    self.assertTrue(low <= sum(int(more[i]) for i in (unicast, multicast, broadcast)) <= high)
                low, high = (stats[index]["stats64"]["rx"]["multicast"] for stats in (before, after))
                self.assertTrue(low <= int(more[8]) <= high)
                self.assertEqual([row[11], row[12]], [more[7], str(int(more[2]) + int(more[3]))])
        self.assertEqual(set(dot3), {index for index, row in table.items() if row[3] == ETHERNET})
        self.assertEqual(dot3[self.index("left")][19], FULL_DUPLEX)

    def index(self, name):
        return next(index for index, link in self.links().items() if link["ifname"] == name)

    def test_stack_is_as_the_kernel_says(self):
        links = self.links()
        index = {link["ifname"]: index for index, link in links.items()}
        pairs = {(index[link["master"]], lower) for lower, link in links.items() if "master" in link}
        pairs |= {(higher, index[link["link"]]) for higher, link in links.items()
                  if link.get("linkinfo", {}).get("info_kind") in ("vlan", "macvlan")}
        tops, bottoms = set(links) - {lower for _, lower in pairs}, set(links) - {higher for higher, _ in pairs}
        expected = pairs | {("0", lower) for lower in tops} | {(higher, "0") for higher in bottoms}
        self.assertEqual({tuple(key.split(".")) for _, key in self.agent.walk(STACK_ENTRY)}, expected)

    def test_times_of_changes_are_those_of_sysuptime(self):
        ticks = lambda name: int(plain(self.agent.get(name)).partition("(")[2].partition(")")[0])
        index = self.index("mac0")
        self.assertEqual(ticks(f"{IF_ENTRY}.9.{index}"), 0)
        before = ticks(SYS_UPTIME)
        self.namespace.run("ip", "link", "set", "mac0", "down")
        eventually(lambda: ticks(f"{IF_ENTRY}.9.{index}") >= before, "the change is seen", 5)
        self.namespace.run("ip", "link", "add", "new", "type", "bridge")
        times = TABLE_LAST_CHANGE, STACK_LAST_CHANGE, f"{IF_ENTRY}.9.{index}", f"{IFX_ENTRY}.19.{self.index('new')}"
        eventually(lambda: min(ticks(name) for name in times[:2]) >= before, "the link is seen", 5)
        for name in times:
            self.assertTrue(before <= ticks(name) <= ticks(SYS_UPTIME), name)
        self.assertEqual(ticks(f"{IFX_ENTRY}.19.{index}"), 0)
        self.namespace.run("ip", "link", "del", "new")
