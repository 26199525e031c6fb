"""Tables of a running agent, compared with other sources on this machine: links in a network namespace of the test,
disks, memory and processors. Each test runs in one process and over the bus."""

import os
import pathlib
import re
import signal
import sys
import time
import unittest

from harness import Daemon, Deployment, Namespace, eventually, for_each_kind, plain, temp_folder, usable

IF_NUMBER, IF_ENTRY, IFX_ENTRY = "1.3.6.1.2.1.2.1.0", "1.3.6.1.2.1.2.2.1", "1.3.6.1.2.1.31.1.1.1"
STATS_ENTRY = "1.3.6.1.4.1.49999.1.1.14.1.1"
STORAGE_ENTRY, DEVICE_ENTRY, PROCESSOR_ENTRY = (f"1.3.6.1.2.1.25.{table}.1" for table in ("2.3", "3.2", "3.3"))
_, DESCR, TYPE, MTU, _, MAC, ADMIN, OPER = range(1, 9)
COUNTERS = {("rx", "bytes"): 10, ("rx", "packets"): 11, ("rx", "dropped"): 13, ("rx", "errors"): 14,
            ("tx", "bytes"): 16, ("tx", "packets"): 17, ("tx", "dropped"): 19, ("tx", "errors"): 20}
LAST, HC_OUT_OCTETS, ALIAS = 22, 10, 18
UP, DOWN = "1", "2"

# The client prints octets as text when they happen to be printable: these addresses never are.
LINKS = ["link set lo up", "link add br0 address 02:00:00:00:00:03 type bridge",
         "link add left address 02:00:00:00:00:01 type veth peer name right address 02:00:00:00:00:02",
         "link add mac0 link left address 02:00:00:00:00:04 type macvlan mode bridge",
         "tuntap add tun0 mode tun", "link set right master br0",
         *(f"link set {name} up" for name in ("left", "right", "br0")), "link set left alias to-the-right"]


@for_each_kind("node", "apart")
class Tables:
    @classmethod
    def setUpClass(cls):
        cls.namespace = Namespace(cls, "tables", LINKS)
        up = lambda: {link["ifname"] for link in cls.links().values() if link["operstate"] == "UP"}
        eventually(lambda: up() >= {"left", "right", "br0"}, "the links are up")
        cls.agent = Deployment(cls.kind, cls.namespace.prefix, ["--allow-link-changes"]).ends_with(cls).start().open()

    @classmethod
    def links(cls):
        """{ifindex: link} as the kernel tells it."""
        return {link["ifindex"]: link for link in cls.namespace.ip("-s", "-d", "link")}

    def link(self, name):
        return next(link for link in self.links().values() if link["ifname"] == name)

    def test_interfaces_match_the_kernel(self):
        self.namespace.run("ip", "addr", "add", "10.98.0.1/24", "dev", "left")
        self.namespace.run("ip", "neigh", "replace", "10.98.0.2", "lladdr", "02:00:00:00:00:02", "dev", "left")
        send = "import socket; s = socket.socket(type=socket.SOCK_DGRAM)\n" \
               "for i in range(100): s.sendto(bytes(1000), ('10.98.0.2', 9))"
        self.namespace.run(sys.executable, "-c", send)
        before = self.links()
        self.assertGreater(self.link("left")["stats64"]["tx"]["bytes"], 100_000)
        time.sleep(0.3)  # counters shown may be 250 ms old
        table, extension = self.agent.rows(IF_ENTRY), self.agent.rows(IFX_ENTRY)
        after = self.links()
        self.assertEqual(self.agent.get(IF_NUMBER), f"INTEGER: {len(before)}")
        self.assertEqual([(index, len(row)) for index, row in table.items()], [(str(i), LAST) for i in sorted(before)])
        for ifindex, link in before.items():
            with self.subTest(link=link["ifname"]):
                row, more = table[str(ifindex)], extension[str(ifindex)]
                mac = link["address"].replace(":", "") if link["link_type"] == "ether" else ""
                oper = {"UP": UP, "DOWN": DOWN}.get(link["operstate"], row[OPER])
                self.assertEqual([row[column] for column in (DESCR, MTU, MAC, ADMIN, OPER)],
                                 [link["ifname"], str(link["mtu"]), mac, UP if "UP" in link["flags"] else DOWN, oper])
                self.assertEqual((more[1], more[ALIAS]), (link["ifname"], link.get("ifalias", "")))
                stats, later = link["stats64"], after[ifindex]["stats64"]
                for (side, counter), column in COUNTERS.items():
                    self.assertTrue(stats[side][counter] <= int(row[column]) <= later[side][counter], column)
                self.assertGreaterEqual(int(more[HC_OUT_OCTETS]), stats["tx"]["bytes"])
        types = {link["ifname"]: table[str(ifindex)][TYPE] for ifindex, link in before.items()}
        self.assertEqual((types["left"], types["br0"]), ("6", "209"))
        self.assertIn((11, str(self.link("left")["ifindex"])), self.agent.walk(STATS_ENTRY))

    def test_link_change_is_visible_in_the_next_request(self):
        index = str(self.link("mac0")["ifindex"])
        changes = [(["mtu", "1280"], IF_ENTRY, MTU, "1280"), (["alias", "spare"], IFX_ENTRY, ALIAS, "spare"),
                   (["address", "02:00:00:aa:bb:cc"], IF_ENTRY, MAC, "020000aabbcc"),
                   (["up"], IF_ENTRY, ADMIN, UP), (["down"], IF_ENTRY, ADMIN, DOWN)]
        for words, entry, column, expected in changes:
            self.namespace.run("ip", "link", "set", "mac0", *words)
            eventually(lambda: plain(self.agent.get(f"{entry}.{column}.{index}")) == expected, f"{words} shows", 5)

    def test_links_are_switched_only_where_allowed(self):
        name = f"{IF_ENTRY}.{ADMIN}.{self.link('mac0')['ifindex']}"

        def state_after(agent, value):
            answer = agent.snmp("set", name, "i", value, community="private")
            self.assertEqual((answer.status, answer.out.split()[-1]), (0, value), answer)
            self.assertEqual(plain(agent.get(name)), UP if "UP" in self.link("mac0")["flags"] else DOWN)
            return plain(agent.get(name))

        self.assertEqual([state_after(self.agent, value) for value in (UP, "3", DOWN, UP)], [UP, UP, DOWN, UP])
        careful = Deployment(self.kind, self.namespace.prefix).ends_with(self).start().open()
        self.assertEqual(state_after(careful, DOWN), UP)
        self.assertIn("link change refused: mac0 down", careful.said())

    def test_walks_succeed_while_links_are_added_and_removed(self):
        permanent = {link["ifname"] for link in self.links().values()}
        loop = "for i in $(seq 10000); do ip link add come type veth peer name go; ip link del come; done"
        churn = Daemon(["sh", "-c", loop], self.agent.root / "churn", self.namespace.prefix)
        self.addCleanup(churn.end, signal.SIGKILL)
        for turn in range(30):
            client, words = ("walk", ()) if turn % 2 else ("bulkwalk", (f"-Cr{turn + 1}",))
            table = self.agent.walk(IF_ENTRY, client, *words)  # which checks that it strictly increases
            self.assertLessEqual(permanent, {value for (column, _), value in table.items() if column == DESCR})
            self.assertIn(LAST, {column for column, _ in table}, "the walk ended early")
        self.assertTrue(churn.alive())

    def test_storage_matches_memory_and_mounted_disks(self):
        table = self.agent.rows(STORAGE_ENTRY)
        self.assertEqual(table["65536"][3], "main memory")
        memory = dict(re.findall(r"^(\w+):\s+(\d+)", pathlib.Path("/proc/meminfo").read_text(), re.M))
        self.assertEqual(table["65536"][5], memory["MemTotal"])
        for row in list(table.values())[1:]:
            size = os.statvfs(row[3].removeprefix("disk: "))
            self.assertEqual(int(row[5]), size.f_blocks * size.f_frsize // 1024, row)
            used = (size.f_blocks - size.f_bfree) * size.f_frsize // 1024
            self.assertAlmostEqual(int(row[6]), used, delta=2 * 1024 * 1024, msg=row)

    def test_processors_report_their_load(self):
        loads = lambda: [int(row[2]) for row in self.agent.rows(PROCESSOR_ENTRY).values()]
        self.assertEqual(len(loads()), len(re.findall(r"^cpu\d", pathlib.Path("/proc/stat").read_text(), re.M)))
        self.assertEqual({row[2] for row in self.agent.rows(DEVICE_ENTRY).values()}, {".1.3.6.1.2.1.25.3.1.3"})
        # Keep a processor busy for part of the minute that the load covers.
        self.addCleanup(Daemon([sys.executable, "-c", "while True: pass"], "/dev/null").end)
        eventually(lambda: max(loads()) >= 20, "a load is seen", 40)


# Mounts a file system whose server never answers, then executes the program: the server ends with it.
HANGING_MOUNT = """
import ctypes, os, sys
point, *program = sys.argv[1:]
server = os.open("/dev/fuse", os.O_RDWR)
os.set_inheritable(server, True)
options = f"fd={server},rootmode=40000,user_id=0,group_id=0"
libc = ctypes.CDLL(None, use_errno=True)
if libc.mount(b"server:/export", point.encode(), b"fuse.sshfs", 0, options.encode()) != 0:
    sys.exit(os.strerror(ctypes.get_errno()))
os.execvp(program[0], program)
"""


class HangingFileSystem(unittest.TestCase):
    def test_hanging_file_system_affects_only_its_own_row(self):
        folder = temp_folder(self, "mount")
        prefix = usable("unshare", "--mount", "--propagation", "private", sys.executable, "-c", HANGING_MOUNT, folder)
        agent = Deployment("node", prefix).ends_with(self).start().open()
        disks = {row[3] for row in agent.rows(STORAGE_ENTRY).values()} - {"main memory"}
        self.assertTrue(disks - {f"disk: {folder}"} == disks != set(), "the others are listed at once")
        self.assertIn(f"disks: no answer: {folder}", agent.said())
        self.assertEqual(agent.stop(), [0])
