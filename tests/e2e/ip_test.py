"""Addresses, ARP, bridges and queues of a running agent, compared with ip, bridge and tc. Two bridges in one network
namespace have a port each whose peer is in a second namespace, so that frames really pass. Each test runs in one
process and over the bus."""

import ipaddress
import json
import re
import sys

from harness import SYS_SERVICES, Deployment, Namespace, eventually, for_each_kind, plain, request, request_id_of

ADDRESS_ENTRY, ARP_ENTRY, FORWARDING_ENTRY = "1.3.6.1.2.1.4.20.1", "1.3.6.1.2.1.4.22.1", "1.3.6.1.2.1.17.4.3.1"
BRIDGE_ADDRESS, STP_PRIORITY = "1.3.6.1.2.1.17.1.1.0", "1.3.6.1.2.1.17.2.2.0"
QUEUE_ENTRY, CLASS_ENTRY = "1.3.6.1.4.1.49999.1.1.2.1.1", "1.3.6.1.4.1.49999.1.1.2.2.1"
INVALID, DYNAMIC, STATIC = "2", "3", "4"
LEARNED, SELF = "3", "4"

# MAC addresses with unprintable octets: the client prints the others as text.
LINKS = ["link set lo up",
         "link add br1 address 02:00:00:00:01:01 type bridge", "link add br2 address 02:00:00:00:02:01 type bridge",
         "link add near1 address 02:00:00:00:01:02 type veth peer name far1",
         "link add near2 address 02:00:00:00:02:02 type veth peer name far2",
         "link set near1 master br1", "link set near2 master br2",
         *(f"link set {name} up" for name in ("br1", "br2", "near1", "near2")),
         "addr add 10.97.1.1/24 dev br1", "addr add 10.97.2.1/16 dev br2",
         "addr add 10.97.1.1/24 dev near2",  # again: br1 has the lower index
         "addr add 10.96.0.1 peer 10.96.0.2/32 dev near2",
         "neigh add 10.97.1.7 lladdr 02:00:00:00:01:07 dev br1 nud permanent"]
# Two more addresses of a bridge, of each family, and one of who asks them.
ASKED = ["10.97.1.3", "10.97.1.4", "fd00:97::1", "fd00:97::2"]
ASKER = "fd00:97::100"
# Sends one datagram, given in hex, and prints by whom it is answered and with what. The socket isn't connected, so an
# answer from anybody is seen.
ASK = """
import socket, sys
host, port, datagram = sys.argv[1:]
with socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET, socket.SOCK_DGRAM) as client:
    client.settimeout(20)
    client.sendto(bytes.fromhex(datagram), (host, int(port)))
    answer, peer = client.recvfrom(65536)
    print(peer[0], peer[1], answer.hex())
"""
SEND = "import socket, sys; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n" \
       "for i in range(int(sys.argv[2])): s.sendto(bytes(1000), (sys.argv[1], 9))"


def octets(mac):
    """The table index of a MAC address."""
    return ".".join(str(int(octet, 16)) for octet in mac.split(":"))


@for_each_kind("node", "apart")
class Ip:
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
        cls.agent = Deployment(cls.kind, cls.near.prefix).ends_with(cls).start().open()

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

    def becomes(self, shown, expected, what):
        """Waits until shown() is expected(), for what both tell of a moving thing."""
        eventually(lambda: shown() == expected(), lambda: f"{what}: {shown()} != {expected()}", 10)

    def test_reply_leaves_from_the_address_of_the_request(self):
        for address in ASKED + [ASKER]:
            where, link = (self.far, "far1") if address == ASKER else (self.near, "br1")
            words = [address + "/64", "dev", link, "nodad"] if ":" in address else [address + "/24", "dev", link]
            where.run("ip", "addr", "add", *words)
            self.addCleanup(where.run, "ip", "addr", "del", *words[:3])
        self.agent.configure("community", "set", "private", f"addresses=127.0.0.0/8,10.97.1.2,{ASKER}")
        for address in ASKED:
            asked, port = request(7, SYS_SERVICES, "private").hex(), str(self.agent.port)
            peer, from_port, answer = self.far.run(sys.executable, "-c", ASK, address, port, asked).split()
            self.assertEqual((peer, from_port, request_id_of(bytes.fromhex(answer))), (address, port, 7))

    # --- addresses and ARP

    def addresses(self):
        """{address: (ifindex, prefix length)} as ip tells it; on several interfaces, that with the lowest index."""
        links = sorted(self.near.ip("-4", "addr"), key=lambda link: link.get("ifindex", 0), reverse=True)
        return {one["local"]: (str(link["ifindex"]), one["prefixlen"])
                for link in links for one in link.get("addr_info", [])}

    def shown_addresses(self):
        return {row[1]: (row[2], ipaddress.ip_network(f"0.0.0.0/{row[3]}").prefixlen)
                for row in self.agent.rows(ADDRESS_ENTRY).values()}

    def test_addresses_match_ip_and_follow_changes(self):
        self.assertEqual(self.addresses()["10.97.1.1"], (self.ifindex("br1"), 24))
        self.assertEqual(self.shown_addresses(), self.addresses())
        for change in ("add", "del"):
            self.near.run("ip", "addr", change, "192.0.2.1/31", "dev", "near1")
            self.assertEqual(self.shown_addresses(), self.addresses(), change)

    def test_arp_entries_match_ip(self):
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
            rows = self.agent.rows(ARP_ENTRY)
            self.assertEqual(list(rows), [f"{row[1]}.{row[3]}" for row in rows.values()])
            return {(row[1], row[3]): (row[2], row[4]) for row in rows.values()}

        self.becomes(shown, neighbours, "the entries are those of ip")
        br1 = self.ifindex("br1")
        self.assertEqual([shown()[br1, "10.97.1." + host] for host in "729"],
                         [("020000000107", STATIC), ("020000000103", DYNAMIC), ("", INVALID)])
        self.near.run("ip", "neigh", "add", "10.97.1.8", "lladdr", "02:00:00:00:01:08", "dev", "br1")
        self.assertEqual(plain(self.agent.get(f"{ARP_ENTRY}.4.{br1}.10.97.1.8")), STATIC)
        self.near.run("ip", "neigh", "del", "10.97.1.8", "dev", "br1")
        self.assertNotIn((br1, "10.97.1.8"), shown())

    # --- bridges

    def test_bridge_scalars_and_forwarding_entries_match_the_first_bridge(self):
        self.answered("10.97.1.2")
        self.answered("10.97.2.2")

        def shown():
            return {index: (row[2], row[3]) for index, row in self.agent.rows(FORWARDING_ENTRY).items()}

        def expected():
            told = json.loads(self.near.run("bridge", "-json", "fdb", "show", "br", "br1"))
            kind = lambda entry: SELF if entry["state"] == "permanent" else LEARNED
            return {octets(entry["mac"]): (self.ifindex(entry["ifname"]), kind(entry))
                    for entry in told if entry.get("master") == "br1"}

        self.becomes(shown, expected, "the entries are those of bridge(8)")
        self.assertEqual(shown()[octets("02:00:00:00:01:01")], (self.ifindex("br1"), SELF))
        self.assertEqual(shown()[octets("02:00:00:00:01:03")], (self.ifindex("near1"), LEARNED))
        self.assertNotIn(octets("02:00:00:00:02:03"), shown())
        self.near.run("bridge", "fdb", "add", "02:00:00:00:01:99", "dev", "near1", "master", "static")
        self.assertEqual(shown()[octets("02:00:00:00:01:99")], (self.ifindex("near1"), LEARNED))
        self.near.run("bridge", "fdb", "del", "02:00:00:00:01:99", "dev", "near1", "master")
        self.assertNotIn(octets("02:00:00:00:01:99"), shown())

        told = lambda: self.near.ip("-details", "link", "show", "br1")[0]["linkinfo"]["info_data"]["priority"]
        self.addCleanup(self.near.run, "ip", "link", "set", "br1", "type", "bridge", "priority", "32768")
        self.near.run("ip", "link", "set", "br1", "type", "bridge", "priority", "4096")
        self.becomes(lambda: int(plain(self.agent.get(STP_PRIORITY))), told, "a changed priority")
        self.assertEqual(plain(self.agent.get(BRIDGE_ADDRESS)), "020000000101")

    # --- queues

    def tc(self, *words):
        return self.near.run("tc", *words)

    def counted(self):
        """{"near1", "near1 ingress" or "near1 HANDLE": (octets, packets, drops)} as tc tells it."""
        told = {}
        for qdisc in json.loads(self.tc("-json", "-s", "qdisc", "show", "dev", "near1")):
            name = "near1" if qdisc.get("root") else "near1 " + qdisc["kind"]
            told[name] = qdisc["bytes"], qdisc["packets"], qdisc["drops"]
        for handle, *numbers in re.findall(r"class \w+ (\S+) .*\n Sent (\d+) bytes (\d+) pkt \(dropped (\d+)",
                                           self.tc("-s", "class", "show", "dev", "near1")):
            told[f"near1 {handle}"] = tuple(map(int, numbers))
        told.pop("near1 htb")  # that of a class, which shows in the class
        return told

    def test_queues_match_tc(self):
        self.answered("10.97.1.2")
        for words in (["qdisc", "add", "dev", "near1", "root", "handle", "1:", "htb", "default", "20"],
                      ["class", "add", "dev", "near1", "parent", "1:", "classid", "1:1", "htb", "rate", "100mbit"],
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
        self.assertGreaterEqual(self.counted()["near1 2:a"][0], 200_000)
        self.assertGreaterEqual(self.counted()["near1 ingress"][0], 100_000)

        def shown():
            """{queue: (octets, packets, drops)}"""
            rows = self.agent.rows(QUEUE_ENTRY).values()
            columns = [("near1", 9, 11, 13), ("near1 ingress", 8, 10, 12)]
            found = {name: [row[at] for at in numbers] for row in rows for name, *numbers in columns}
            found |= {row[2]: (row[7], row[6], row[8]) for row in self.agent.rows(CLASS_ENTRY).values()}
            return {name: tuple(map(int, numbers)) for name, numbers in found.items()}

        self.becomes(shown, self.counted, "the queues and counters are those of tc")
        self.assertEqual(list(self.agent.rows(QUEUE_ENTRY)), [self.ifindex("near1")])  # the others don't queue
