"""Addresses, ARP, bridges and queues of a running agent, compared with what ip, bridge and tc say. Two bridges
in a network namespace of the test have a port each whose other end stands in a second one, so that frames really pass.
Each test runs in one process and over the bus."""

import json
import re
import signal
import sys
import unittest

from harness import Deployment, Namespace, eventually, plain

ADDRESS_ENTRY, ARP_ENTRY, FORWARDING_ENTRY = "1.3.6.1.2.1.4.20.1", "1.3.6.1.2.1.4.22.1", "1.3.6.1.2.1.17.4.3.1"
BRIDGE_ADDRESS, STP_PRIORITY = "1.3.6.1.2.1.17.1.1.0", "1.3.6.1.2.1.17.2.2.0"
QUEUE_ENTRY, CLASS_ENTRY = "1.3.6.1.4.1.49999.1.1.2.1.1", "1.3.6.1.4.1.49999.1.1.2.2.1"
INVALID, DYNAMIC, STATIC = "2", "3", "4"
LEARNED, SELF = "3", "4"

# MAC addresses with unprintable octets: the client prints the others as text.
LINKS = [["link", "set", "lo", "up"],
         ["link", "add", "br1", "address", "02:00:00:00:01:01", "type", "bridge"],
         ["link", "add", "br2", "address", "02:00:00:00:02:01", "type", "bridge"],
         ["link", "add", "near1", "address", "02:00:00:00:01:02", "type", "veth", "peer", "name", "far1"],
         ["link", "add", "near2", "address", "02:00:00:00:02:02", "type", "veth", "peer", "name", "far2"],
         ["link", "set", "near1", "master", "br1"], ["link", "set", "near2", "master", "br2"],
         *(["link", "set", name, "up"] for name in ("br1", "br2", "near1", "near2")),
         ["addr", "add", "10.97.1.1/24", "dev", "br1"], ["addr", "add", "10.97.2.1/16", "dev", "br2"],
         ["addr", "add", "10.97.1.1/24", "dev", "near2"],  # again: br1 has the lower index
         ["addr", "add", "10.96.0.1", "peer", "10.96.0.2/32", "dev", "near2"],
         ["neigh", "add", "10.97.1.7", "lladdr", "02:00:00:00:01:07", "dev", "br1", "nud", "permanent"]]
SEND = "import socket, sys; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n" \
       "for i in range(int(sys.argv[2])): s.sendto(bytes(1000), (sys.argv[1], 9))"


def octets(mac):
    """The index that a MAC address makes."""
    return ".".join(str(int(octet, 16)) for octet in mac.split(":"))


class Ip:
    """The tests; the classes below say who answers."""

    kind = ""

    @classmethod
    def setUpClass(cls):
        cls.near = Namespace(cls, "near", LINKS)
        cls.far = Namespace(cls, "far")
        for name, mac, address in [("far1", "02:00:00:00:01:03", "10.97.1.2/24"),
                                   ("far2", "02:00:00:00:02:03", "10.97.2.2/16")]:
            cls.near.run("ip", "link", "set", name, "netns", cls.far.name)
            cls.far.run("ip", "link", "set", name, "address", mac, "up")
            cls.far.run("ip", "addr", "add", address, "dev", name)
        is_up = lambda bridge: cls.near.ip("link", "show", bridge)[0]["operstate"] == "UP"
        eventually(lambda: is_up("br1") and is_up("br2"), "the bridges are up")
        cls.agent = Deployment(cls.kind, prefix=cls.near.prefix)
        cls.addClassCleanup(cls.agent.close)
        cls.agent.start().open()

    def ifindex(self, name):
        return str(self.near.ip("link", "show", name)[0]["ifindex"])

    def send(self, address, count=1):
        self.near.run(sys.executable, "-c", SEND, address, str(count))

    def answered(self, address):
        """Sends to a neighbour until it is known."""
        def known():
            self.send(address)
            return [entry for entry in self.near.ip("-4", "neigh", "show", address) if "lladdr" in entry]

        eventually(known, f"{address} answers")

    def rows(self, entry):
        """{index: {column: value}} of a table."""
        rows = {}
        for (column, index), value in self.agent.walk(entry).items():
            rows.setdefault(index, {})[column] = value
        return rows

    def becomes(self, shown, expected, what):
        """Waits until shown() is expected(), for what both tell of a moving thing."""
        last = None

        def agree():
            nonlocal last
            last = shown(), expected()
            return last[0] == last[1]

        try:
            eventually(agree, what, 10)
        except AssertionError:
            self.assertEqual(*last, what)

    # --- addresses and ARP

    def addresses(self):
        """{address: (ifindex, mask)} as ip tells it; of one on several interfaces that with the lowest index."""
        found = {}
        for link in sorted(self.near.ip("-4", "addr"), key=lambda link: link.get("ifindex", 0), reverse=True):
            for address in link.get("addr_info", []):
                mask = (0xFFFFFFFF << 32 - address["prefixlen"] & 0xFFFFFFFF).to_bytes(4, "big")
                found[address["local"]] = str(link["ifindex"]), ".".join(map(str, mask))
        return found

    def shown_addresses(self):
        return {row[1]: (row[2], row[3]) for row in self.rows(ADDRESS_ENTRY).values()}

    def test_addresses_are_those_of_ip_and_follow_it(self):
        expected = self.addresses()
        self.assertEqual(expected["10.97.1.1"], (self.ifindex("br1"), "255.255.255.0"))
        self.assertEqual(len(expected), 4)
        self.assertEqual(self.shown_addresses(), expected)
        self.assertEqual(self.rows(ADDRESS_ENTRY)["10.97.2.1"][5], "65535")
        for change in ("add", "del"):
            self.near.run("ip", "addr", change, "192.0.2.1/31", "dev", "near1")
            self.assertEqual(self.shown_addresses(), self.addresses(), change)
        self.near.run("ip", "addr", "del", "10.97.1.1/24", "dev", "near2")
        self.near.run("ip", "addr", "add", "10.97.1.1/24", "dev", "near2")

    def test_arp_entries_are_those_of_ip(self):
        self.answered("10.97.1.2")
        self.answered("10.97.2.2")
        self.send("10.97.1.9")
        failed = lambda: "FAILED" in str(self.near.ip("-4", "neigh", "show", "10.97.1.9"))
        eventually(failed, "nobody answers for 10.97.1.9", 10)

        def neighbours():
            kinds = {"PERMANENT": STATIC, "FAILED": INVALID, "INCOMPLETE": INVALID}
            return {(self.ifindex(entry["dev"]), entry["dst"]):
                    (entry.get("lladdr", "").replace(":", ""), kinds.get(entry["state"][0], DYNAMIC))
                    for entry in self.near.ip("-4", "neigh")}

        def shown():
            rows = self.rows(ARP_ENTRY)
            self.assertEqual([index for index in rows], [f"{row[1]}.{row[3]}" for row in rows.values()])
            return {(row[1], row[3]): (row[2], row[4]) for row in rows.values()}

        self.becomes(shown, neighbours, "the entries are those of ip")
        br1 = self.ifindex("br1")
        self.assertEqual(shown()[br1, "10.97.1.7"], ("020000000107", STATIC))
        self.assertEqual(shown()[br1, "10.97.1.2"], ("020000000103", DYNAMIC))
        self.assertEqual(shown()[br1, "10.97.1.9"], ("", INVALID))
        self.near.run("ip", "neigh", "add", "10.97.1.8", "lladdr", "02:00:00:00:01:08", "dev", "br1")
        self.assertEqual(plain(self.agent.get(f"{ARP_ENTRY}.4.{br1}.10.97.1.8")), STATIC)
        self.near.run("ip", "neigh", "del", "10.97.1.8", "dev", "br1")
        self.assertNotIn((br1, "10.97.1.8"), shown())

    def test_more_changes_than_fit_into_a_socket_are_caught_up_with(self):
        owner = self.agent.daemons["node" if self.kind == "node" else "hostd"]
        mac = "02:00:00:00:02:09"
        flood = [f"10.97.{64 + i // 256}.{i % 256} lladdr {mac} dev br2 nud permanent" for i in range(15000)]
        owner.process.send_signal(signal.SIGSTOP)
        try:
            for change, entries in [("add", flood), ("del", flood), ("add", flood[-3:])]:
                self.near.run("ip", "-batch", "-", stdin="".join(f"neigh {change} {entry}\n" for entry in entries))
        finally:
            owner.process.send_signal(signal.SIGCONT)
        self.addCleanup(self.near.run, "ip", "neigh", "flush", "dev", "br2", "nud", "permanent")
        shown = lambda: set(self.rows(ARP_ENTRY))
        told = lambda: {f"{self.ifindex(entry['dev'])}.{entry['dst']}" for entry in self.near.ip("-4", "neigh")}
        self.becomes(shown, told, "what was lost is listed anew")
        self.assertIn("ARP entries: notifications were lost", self.agent.said())

    # --- bridges

    def entries(self, bridge):
        """{mac: (port's ifindex, whether it is the bridge's own)} as bridge(8) tells it."""
        told = json.loads(self.near.run("bridge", "-json", "fdb", "show", "br", bridge))
        return {entry["mac"]: (self.ifindex(entry["ifname"]), entry["state"] == "permanent")
                for entry in told if entry.get("master") == bridge}

    def test_forwarding_entries_are_those_of_the_first_bridge(self):
        self.answered("10.97.1.2")
        self.answered("10.97.2.2")

        def shown():
            return {index: (row[2], row[3]) for index, row in self.rows(FORWARDING_ENTRY).items()}

        def expected():
            return {octets(mac): (port, SELF if is_own else LEARNED)
                    for mac, (port, is_own) in self.entries("br1").items()}

        self.becomes(shown, expected, "the entries are those of bridge(8)")
        self.assertEqual(shown()[octets("02:00:00:00:01:01")], (self.ifindex("br1"), SELF))
        self.assertEqual(shown()[octets("02:00:00:00:01:03")], (self.ifindex("near1"), LEARNED))
        self.assertNotIn(octets("02:00:00:00:02:03"), shown())
        self.near.run("bridge", "fdb", "add", "02:00:00:00:01:99", "dev", "near1", "master", "static")
        self.assertEqual(shown()[octets("02:00:00:00:01:99")], (self.ifindex("near1"), LEARNED))
        self.near.run("bridge", "fdb", "del", "02:00:00:00:01:99", "dev", "near1", "master")
        self.assertNotIn(octets("02:00:00:00:01:99"), shown())

    def test_the_scalars_are_those_of_the_first_bridge(self):
        def told():
            link, = self.near.ip("-details", "link", "show", "br1")
            return link["address"].replace(":", ""), str(link["linkinfo"]["info_data"]["priority"])

        shown = lambda: tuple(plain(self.agent.get(name)) for name in (BRIDGE_ADDRESS, STP_PRIORITY))
        self.assertEqual(shown(), told())
        self.addCleanup(self.near.run, "ip", "link", "set", "br1", "type", "bridge", "priority", "32768")
        self.near.run("ip", "link", "set", "br1", "type", "bridge", "priority", "4096")
        self.becomes(shown, told, "a changed priority")
        self.assertEqual(shown()[1], "4096")

    def test_the_owner_has_the_entries_of_every_bridge_in_order(self):
        self.answered("10.97.2.2")

        def listed():
            reply = json.loads(self.agent.tnctl("--json", "message", "16,3", "0xfe0004").out)
            return [(item["5:u32"], item["2:raw"]) for item in reply["0xfe0002:message[]"]]

        def expected():
            return sorted((int(self.ifindex(bridge)), mac.replace(":", ""))
                          for bridge in ("br1", "br2") for mac in self.entries(bridge))

        self.becomes(listed, expected, "both bridges, by their indexes")
        self.assertIn((int(self.ifindex("br2")), "020000000203"), listed())

    # --- queues

    def tc(self, *words):
        return self.near.run("tc", *words)

    def classes(self):
        """{(interface, handle): (octets, packets, drops)} as tc tells it."""
        pattern = r"class \w+ (\S+) .*\n Sent (\d+) bytes (\d+) pkt \(dropped (\d+)"
        return {("near1", handle): (int(sent), int(packets), int(drops))
                for handle, sent, packets, drops in re.findall(pattern, self.tc("-s", "class", "show", "dev", "near1"))}

    def test_queues_are_those_of_tc(self):
        self.answered("10.97.1.2")
        for words in (["qdisc", "add", "dev", "near1", "root", "handle", "1:", "htb", "default", "20"],
                      ["class", "add", "dev", "near1", "parent", "1:", "classid", "1:1", "htb", "rate", "100mbit"],
                      ["class", "add", "dev", "near1", "parent", "1:1", "classid", "1:10", "htb", "rate", "10mbit"],
                      ["class", "add", "dev", "near1", "parent", "1:1", "classid", "1:20", "htb", "rate", "80mbit"],
                      ["qdisc", "add", "dev", "near1", "parent", "1:20", "handle", "2:", "htb", "default", "a"],
                      ["class", "add", "dev", "near1", "parent", "2:", "classid", "2:a", "htb", "rate", "50mbit"],
                      ["qdisc", "add", "dev", "near1", "ingress"],  # which counts once it has a filter
                      ["filter", "add", "dev", "near1", "parent", "ffff:", "u32", "match", "u32", "0", "0"]):
            self.tc(*words)
        self.addCleanup(self.tc, "qdisc", "del", "dev", "near1", "root")
        self.addCleanup(self.tc, "qdisc", "del", "dev", "near1", "ingress")
        self.send("10.97.1.2", 200)
        self.far.run(sys.executable, "-c", SEND, "10.97.1.1", "100")
        index = self.ifindex("near1")

        before = self.classes()
        qdiscs = json.loads(self.tc("-json", "-s", "qdisc", "show", "dev", "near1"))
        root = next(qdisc for qdisc in qdiscs if qdisc.get("root"))
        ingress = next(qdisc for qdisc in qdiscs if qdisc["kind"] == "ingress")

        def read_later():
            interfaces, tree = self.rows(QUEUE_ENTRY), self.rows(CLASS_ENTRY)
            row = interfaces.get(index, {})
            is_later = int(row.get(9, -1)) >= root["bytes"] and int(row.get(8, -1)) >= ingress["bytes"]
            return (interfaces, tree) if is_later else None

        interfaces, tree = eventually(read_later, "counters not older than tc's", 10)
        after = self.classes()

        self.assertEqual(list(interfaces), [index])  # the others don't queue
        row = interfaces[index]
        self.assertEqual((row[2], row[3], row[7]), ("near1", "0.0.0.0", index))
        for column, told in [(9, root["bytes"]), (11, root["packets"]), (13, root["drops"]), (8, ingress["bytes"]),
                             (10, ingress["packets"]), (12, ingress["drops"])]:
            self.assertLessEqual(told, int(row[column]), f"column {column}")
            self.assertLess(int(row[column]), told + 10_000, f"column {column}")
        self.assertGreaterEqual(int(row[9]), 200_000)
        self.assertGreaterEqual(int(row[8]), 100_000)

        names = {row[2]: row for row in tree.values()}
        self.assertEqual(set(names), {f"{interface} {handle}" for interface, handle in before})
        ids = {row[2]: index for index, row in tree.items()} | {"near1": "0"}
        for name, parent in [("near1 1:1", "near1"), ("near1 1:10", "near1 1:1"), ("near1 1:20", "near1 1:1"),
                             ("near1 2:a", "near1 1:20")]:
            self.assertEqual((names[name][3], names[name][4]), (parent, ids[parent]), name)
        for place, counters in before.items():
            row = names[" ".join(place)]
            self.assertEqual(row[5], row[7])
            for column, told, later in zip((7, 6, 8), counters, after[place]):
                self.assertLessEqual(told, int(row[column]), f"{place} column {column}")
                self.assertLessEqual(int(row[column]), later, f"{place} column {column}")
        self.assertGreaterEqual(int(names["near1 2:a"][7]), 200_000)
        self.assertEqual(int(names["near1 1:10"][7]), 0)

    def test_without_queues_their_tables_are_empty(self):
        self.becomes(lambda: (self.rows(QUEUE_ENTRY), self.rows(CLASS_ENTRY)), lambda: ({}, {}), "no rows")


class InOneProcess(Ip, unittest.TestCase):
    kind = "node"


class OverTheBus(Ip, unittest.TestCase):
    kind = "apart"


if __name__ == "__main__":
    unittest.main()
