"""What the plug-ins mib2 and ip-mib show, compared with /proc, ss and ip, in a network namespace."""

import ipaddress
import re
import subprocess
import sys
import unittest

from harness import BUILD, Deployment, Namespace, eventually, plain

MIB2 = "1.3.6.1.2.1"
LINKS = ["link set lo up", "link add near type veth peer name far", "link set near up", "link set far up",
         "addr add 10.98.1.1/24 dev near", "addr add 2001:db8:98::1/64 dev near nodad",
         "route add 10.98.2.0/24 via 10.98.1.2", "route add default via 10.98.1.3",
         "-6 route add 2001:db8:99::/48 via 2001:db8:98::2 metric 5", "-6 route add default via fe80::98 dev near",
         "-6 route add blackhole 2001:db8:ff::/48",
         "neigh add 2001:db8:98::2 lladdr 02:00:00:00:98:02 dev near nud permanent",
         "neigh add 10.98.1.2 lladdr 02:00:00:00:98:03 dev near nud permanent"]
# Sockets of each kind; ends with its input.
HOLD = """
import socket, sys
held = []
def bound(family, kind, address, port, only=1):
    one = socket.socket(family, kind)
    if family == socket.AF_INET6: one.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, only)
    one.bind((address, port))
    if kind == socket.SOCK_STREAM: one.listen()
    held.append(one)
    return one
for family, address in ((socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::1")):
    server = bound(family, socket.SOCK_STREAM, address, 5001)
    client = socket.socket(family, socket.SOCK_STREAM)
    client.connect((address, 5001))
    held += [client, server.accept()[0]]
    bound(family, socket.SOCK_DGRAM, address, 5002)
bound(socket.AF_INET6, socket.SOCK_STREAM, "::", 5003, 0)
bound(socket.AF_INET6, socket.SOCK_DGRAM, "::", 5004, 0)
print("ready", flush=True)
sys.stdin.read()
"""
STATES = {"LISTEN": "2", "SYN-SENT": "3", "ESTAB": "5", "FIN-WAIT-1": "6", "FIN-WAIT-2": "7", "CLOSE-WAIT": "8",
          "LAST-ACK": "9", "CLOSING": "10", "TIME-WAIT": "11"}


def octets(address, zone=0):
    """The index of an InetAddress with its type; a zone is added to a link-local address."""
    address = ipaddress.ip_address(address)
    raw = list(address.packed)
    if address.version == 6 and address.is_link_local and zone:
        raw += zone.to_bytes(4, "big")
    kind = {4: 1, 16: 2, 20: 4}[len(raw)]
    return ".".join(map(str, [kind, len(raw), *raw]))


class Internet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.net = Namespace(cls, "internet", LINKS)
        cls.agent = Deployment("node", cls.net.prefix, agent_words=["--plugins", BUILD / "shipped-plugins"])
        cls.agent.ends_with(cls).start().open()

    def counters(self, file):
        """{name of the kernel: number} of a file with pairs of lines."""
        lines = self.net.run("cat", f"/proc/net/{file}").splitlines()
        named = {}
        for names, numbers in zip(lines[::2], lines[1::2]):
            group = names.split()[0].rstrip(":")
            named |= {group + name: int(number) for name, number in zip(names.split()[1:], numbers.split()[1:])}
        return named

    def test_scalars_match_proc(self):
        names = {"4.1": "IpForwarding", "4.2": "IpDefaultTTL", "4.3": "IpInReceives", "4.9": "IpInDelivers",
                 "4.10": "IpOutRequests", "5.3": "IcmpInDestUnreachs", "5.16": "IcmpOutDestUnreachs",
                 "5.26": "IcmpOutAddrMaskReps", "6.1": "TcpRtoAlgorithm", "6.3": "TcpRtoMax", "6.4": "TcpMaxConn",
                 "6.5": "TcpActiveOpens", "6.10": "TcpInSegs", "6.15": "TcpOutRsts", "7.1": "UdpInDatagrams",
                 "7.4": "UdpOutDatagrams"}
        self.net.run(sys.executable, "-c", "import socket; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n"
                     "for i in range(3): s.sendto(b'', ('127.0.0.1', 9))")
        before = self.counters("snmp")
        shown = {name: int(plain(self.agent.get(f"{MIB2}.{name}.0"))) for name in names}
        after = self.counters("snmp")
        for name, kernels in names.items():
            low, high = before[kernels], after[kernels]
            self.assertTrue(low <= shown[name] <= high, f"{kernels}: {low} <= {shown[name]} <= {high}")
        self.assertGreaterEqual(shown["5.3"], 3)
        self.assertEqual(plain(self.agent.get(f"{MIB2}.4.13.0")), self.net.run("cat", "/proc/sys/net/ipv4/ipfrag_time").strip())

    def sockets(self, protocol):
        """[(state, local address and port, those of the peer, pid)] as ss says; addresses without a zone."""
        found = []
        for line in self.net.run("ss", "-H", "-a", "-n", "-p", protocol).splitlines():
            state, _, _, *ends, users = (line + " -").split()[:6] if "users" not in line else line.split()[:6]
            pairs = [(re.sub("%.*", "", end.rpartition(":")[0]).strip("[]"), end.rpartition(":")[2]) for end in ends]
            pid = re.search(r"pid=(\d+)", users)
            found.append((state, *pairs, pid[1] if pid else "0"))
        return found

    def test_sockets_match_ss(self):
        holder = subprocess.Popen([*self.net.prefix, sys.executable, "-c", HOLD], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, text=True)
        self.addCleanup(lambda: (holder.communicate(), None))
        self.assertEqual(holder.stdout.readline(), "ready\n")

        def tcp():
            return {f"{address}.{port}.{peer.replace('*', '0.0.0.0')}.{peer_port.replace('*', '0')}": STATES[state]
                    for state, (address, port), (peer, peer_port), _ in self.sockets("-t") if ":" not in address
                    for address in [address.replace("*", "0.0.0.0")]}

        def udp():
            return {f"{address.replace('*', '0.0.0.0')}.{port}"
                    for _, (address, port), _, _ in self.sockets("-u") if ":" not in address}

        shown = lambda: ({index: row[1] for index, row in self.agent.rows(f"{MIB2}.6.13.1").items()},
                         set(self.agent.rows(f"{MIB2}.7.5.1")))
        eventually(lambda: shown() == (tcp(), udp()), lambda: f"{shown()} != {tcp(), udp()}", 10)
        self.assertEqual(shown()[0]["0.0.0.0.5003.0.0.0.0.0"], "2")

        # The tables of all families, with the processes.
        def inet(address):
            return "0.0" if address == "*" else octets(address)

        def all_tcp():
            found = {}
            for state, (address, port), (peer, peer_port), pid in self.sockets("-t"):
                is_any = state == "LISTEN"
                end = "" if is_any else f".{octets(peer)}.{peer_port}"
                found[f"{inet(address)}.{port}{end}"] = pid
            return found

        shown = lambda: {index: row[column] for table, column in ((19, 8), (20, 4))
                         for index, row in self.agent.rows(f"{MIB2}.6.{table}.1").items()}
        eventually(lambda: shown() == all_tcp(), lambda: f"{shown()} != {all_tcp()}", 10)
        self.assertIn(f"{octets('::1')}.5001", shown())
        ends = {f"{inet(address)}.{port}.0.0.0" for _, (address, port), _, _ in self.sockets("-u")}
        self.assertEqual({index.rpartition(".")[0] for index in self.agent.rows(f"{MIB2}.7.7.1")}, ends)

    def test_the_agent_and_its_modules(self):
        first, second = (int(plain(self.agent.get(f"{MIB2}.11.15.0"))) for _ in range(2))
        self.assertEqual(second, first + 1)
        self.assertEqual(plain(self.agent.get("1.3.6.1.6.3.10.2.1.4.0")), "65507")
        texts = {row[3] for row in self.agent.rows(f"{MIB2}.1.9.1").values()}
        self.assertGreaterEqual(texts, {"plug-in mib2", "plug-in ifx", "SNMPv2-MIB (RFC 3418)", "TCP-MIB (RFC 4022)"})

    # --- ip-mib

    def links(self):
        return {link["ifname"]: link for link in self.net.ip("addr") if link.get("ifindex")}

    def becomes(self, shown, expected):
        eventually(lambda: shown() == expected(), lambda: f"{shown()} != {expected()}", 10)

    def test_addresses_networks_and_neighbours_match_ip(self):
        def addresses():
            found = {}
            for link in sorted(self.links().values(), key=lambda link: -link["ifindex"]):
                for one in link["addr_info"]:
                    network = ipaddress.ip_interface(f"{one['local']}/{one['prefixlen']}").network
                    prefix = f"{link['ifindex']}.{octets(network.network_address, link['ifindex'])}.{one['prefixlen']}"
                    status = "6" if one.get("tentative") else "1"
                    found[octets(one["local"], link["ifindex"])] = (
                        str(link["ifindex"]), f".{MIB2}.4.32.1.5.{prefix}", status)
            return found

        shown = lambda: {index: (row[3], row[5], row[7]) for index, row in self.agent.rows(f"{MIB2}.4.34.1").items()}
        self.becomes(shown, addresses)
        self.assertIn(octets("2001:db8:98::1"), shown())
        self.assertLessEqual({pointer for _, pointer, _ in shown().values()},
                             {f".{MIB2}.4.32.1.5.{index}" for index in self.agent.rows(f"{MIB2}.4.32.1")})
        near = self.links()["near"]["ifindex"]
        neighbours = self.agent.rows(f"{MIB2}.4.35.1")
        self.assertEqual([neighbours[f"{near}.{octets(address)}"][4] for address in ("10.98.1.2", "2001:db8:98::2")],
                         ["020000009803", "020000009802"])

    def test_routes_match_ip(self):
        def routes():
            found = {}
            for family, anywhere in (("-4", "0.0.0.0/0"), ("-6", "::/0")):
                for one in self.net.ip(family, "route", "show", "table", "main"):
                    to = anywhere if one["dst"] == "default" else one["dst"]
                    to = ipaddress.ip_network(to)
                    link = self.links()[one["dev"]]["ifindex"] if "dev" in one else 0
                    gateway = octets(one["gateway"], link) if "gateway" in one else "0.0"
                    kind = {"blackhole": "5"}.get(one.get("type"), "4" if "gateway" in one else "3")
                    found[f"{octets(to.network_address, link)}.{to.prefixlen}.2.0.0.{gateway}"] = (
                        str(link), kind, str(one.get("metric", 0)))
            return found

        shown = lambda: {index: (row[7], row[8], row[12]) for index, row in self.agent.rows(f"{MIB2}.4.24.7.1").items()}
        self.becomes(shown, routes)
        self.assertEqual(plain(self.agent.get(f"{MIB2}.4.24.6.0")), str(len(routes())))
        near = self.links()["near"]["ifindex"]
        self.assertEqual(set(self.agent.rows(f"{MIB2}.4.37.1")),
                         {f"{octets('10.98.1.3')}.{near}", f"{octets('fe80::98', near)}.{near}"})
        for change in ("add", "del"):  # the owner follows the kernel
            self.net.run("ip", "-6", "route", change, "2001:db8:aa::/48", "via", "2001:db8:98::3", "dev", "near")
            self.becomes(shown, routes)

    def test_thousands_of_ipv6_routes_are_listed_and_followed(self):
        prefixes = [f"2001:db8:{n:x}::/48" for n in range(0x1000, 0x1000 + 3000)]
        batch = lambda verb, some: self.net.run("ip", "-6", "-batch", "-", stdin="\n".join(
            f"route {verb} {prefix} via 2001:db8:98::2 dev near" for prefix in some))
        number = lambda: int(plain(self.agent.get(f"{MIB2}.4.24.6.0")))
        before = number()
        batch("add", prefixes)
        eventually(lambda: number() == before + 3000, number)
        self.agent.stop()
        self.agent.start()
        number()  # the first request begins the listing
        eventually(lambda: number() == before + 3000, number)
        shown = {f"{first}.{rest}" for first, rest in self.agent.walk(f"{MIB2}.4.24.7.1.12", "bulkwalk", "-Cr50")}
        gateway = octets("2001:db8:98::2")
        self.assertLessEqual({f"{octets(prefix[:-3])}.48.2.0.0.{gateway}" for prefix in prefixes}, shown)
        batch("del", prefixes)
        eventually(lambda: number() == before, number)

    def test_statistics_and_interfaces_match_proc(self):
        near = self.links()["near"]["ifindex"]
        counters = lambda file: dict(line.split() for line in self.net.run("cat", f"/proc/net/{file}").splitlines())
        for index, file in (("31.1.1.{}.2", "snmp6"), (f"31.3.1.{{}}.2.{near}", "dev_snmp6/near")):
            before = counters(file)
            shown = {column: int(plain(self.agent.get(f"{MIB2}.4." + index.format(column)))) for column in (6, 21, 39)}
            after = counters(file)
            for column, name in ((6, "Ip6InOctets"), (21, "Ip6OutRequests"), (39, "Ip6OutMcastPkts")):
                self.assertTrue(int(before[name]) <= shown[column] <= int(after[name]), (name, before, shown, after))
        received = self.counters("snmp")["IpInReceives"]
        self.assertGreaterEqual(int(plain(self.agent.get(f"{MIB2}.4.31.1.1.4.1"))), received)
        sysctl = lambda name: self.net.run("cat", f"/proc/sys/net/ipv6/{name}").strip()
        row = self.agent.rows(f"{MIB2}.4.30.1")[str(near)]
        self.assertEqual((row[6], row[8]), (sysctl("neigh/near/base_reachable_time_ms"),
                                            {"1": "1", "0": "2"}[sysctl("conf/near/forwarding")]))
        self.assertEqual(plain(self.agent.get(f"{MIB2}.4.26.0")), sysctl("conf/default/hop_limit"))
        self.assertEqual(set(self.agent.rows(f"{MIB2}.4.28.1")), {str(one["ifindex"]) for one in self.links().values()})
