"""An answer leaves from the address that was asked: two network namespaces joined by a veth pair, the agent in the one
with two addresses of each family."""

import os
import subprocess
import sys
import unittest

from harness import SYS_SERVICES, Deployment, request, request_id_of

SERVER, CLIENT = (f"tarnix-e2e-{os.getpid()}-{end}" for end in ("server", "client"))
ADDRESSES = ["10.99.0.1", "10.99.0.2", "fd00:99::1", "fd00:99::2"]

# Sends one datagram, given in hex, and prints who answered and what. The socket isn't connected, so an answer from
# anybody is seen.
ASK = """
import socket, sys
host, port, datagram = sys.argv[1:]
with socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET, socket.SOCK_DGRAM) as client:
    client.settimeout(1)
    for attempt in range(20):
        client.sendto(bytes.fromhex(datagram), (host, int(port)))
        try:
            answer, peer = client.recvfrom(65536)
        except TimeoutError:
            continue
        print(peer[0], peer[1], answer.hex())
        break
"""


def ip(*words):
    return subprocess.run(["ip", *words], capture_output=True, text=True)


def make_network():
    """Returns why it can't be made, or nothing."""
    steps = [["netns", "add", SERVER], ["netns", "add", CLIENT],
             ["-n", SERVER, "link", "add", "s0", "type", "veth", "peer", "name", "c0", "netns", CLIENT],
             ["-n", SERVER, "link", "set", "lo", "up"],
             ["-n", SERVER, "link", "set", "s0", "up"], ["-n", CLIENT, "link", "set", "c0", "up"],
             ["-n", CLIENT, "addr", "add", "10.99.0.100/24", "dev", "c0"],
             ["-n", CLIENT, "addr", "add", "fd00:99::100/64", "dev", "c0", "nodad"]]
    for address in ADDRESSES:
        plain = ["-n", SERVER, "addr", "add", address + ("/64" if ":" in address else "/24"), "dev", "s0"]
        steps.append(plain + (["nodad"] if ":" in address else []))
    for step in steps:
        done = ip(*step)
        if done.returncode != 0:
            return f"ip {' '.join(step)}: {done.stderr.strip()}"
    return ""


class TwoAddresses(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for namespace in (SERVER, CLIENT):
            cls.addClassCleanup(ip, "netns", "del", namespace)
        if why := make_network():
            print(f"\n*** NOT TESTED: no network namespaces can be made here ({why}) ***", file=sys.stderr)
            raise unittest.SkipTest(why)

    def check(self, kind):
        agent = Deployment(kind, prefix=["ip", "netns", "exec", SERVER])
        self.addCleanup(agent.close)
        agent.start()
        agent.configure("community", "set", "common", "addresses=10.99.0.100/32,fd00:99::100/128")
        agent.configure("set", "enabled=yes")
        for address in ADDRESSES:
            with self.subTest(kind=kind, address=address):
                done = subprocess.run(["ip", "netns", "exec", CLIENT, sys.executable, "-c", ASK, address,
                                       str(agent.port), request(7, SYS_SERVICES).hex()],
                                      capture_output=True, text=True, timeout=60)
                peer, port, answer = (done.stdout.split() + ["nobody", 0, ""])[:3]
                self.assertEqual((peer, int(port)), (address, agent.port), done.stderr)
                self.assertEqual(request_id_of(bytes.fromhex(answer)), 7)

    def test_in_one_process(self):
        self.check("node")

    def test_over_the_bus(self):
        self.check("apart")
