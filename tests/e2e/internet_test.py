"""What the plug-ins mib2 and ip-mib show, compared with /proc, ss and ip, in a network namespace."""

import re
import subprocess
import sys
import unittest

from harness import BUILD, Deployment, Namespace, eventually, plain

MIB2 = "1.3.6.1.2.1"
LINKS = ["link set lo up", "link add near type veth peer name far", "link set near up", "link set far up",
         "addr add 10.98.1.1/24 dev near", "addr add 2001:db8:98::1/64 dev near nodad"]
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

    def test_the_agent_and_its_modules(self):
        first, second = (int(plain(self.agent.get(f"{MIB2}.11.15.0"))) for _ in range(2))
        self.assertEqual(second, first + 1)
        self.assertEqual(plain(self.agent.get("1.3.6.1.6.3.10.2.1.4.0")), "65507")
        texts = {row[3] for row in self.agent.rows(f"{MIB2}.1.9.1").values()}
        self.assertGreaterEqual(texts, {"plug-in mib2", "plug-in ifx", "SNMPv2-MIB (RFC 3418)", "TCP-MIB (RFC 4022)"})
