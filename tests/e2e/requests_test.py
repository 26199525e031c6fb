"""Debian's clients ask a running agent, in one process with its owners and over the bus; the answers are compared with
what this machine says of itself."""

import datetime
import os
import pathlib
import re
import socket
import unittest

from harness import (GET_NEXT, HR_MEMORY_SIZE, HR_SYSTEM_DATE, HR_SYSTEM_UPTIME, SYS_CONTACT, SYS_DESCR, SYS_LOCATION,
                     SYS_NAME, SYS_OBJECT_ID, SYS_SERVICES, SYS_UPTIME, SYSTEM, Deployment, request, request_id_of)

SYSTEM_GROUP = [SYS_DESCR, SYS_OBJECT_ID, SYS_UPTIME, SYS_CONTACT, SYS_NAME, SYS_LOCATION, SYS_SERVICES]
VENDOR = ".1.3.6.1.4.1.49999.1"


def ticks_of(value):
    """The hundredths of a second in "Timeticks: (413800) 1:08:58.00"."""
    return int(re.match(r"Timeticks: \((\d+)\)", value).group(1))


def uptime():
    return float(pathlib.Path("/proc/uptime").read_text().split()[0])


class Requests:
    """The tests; the classes below say who answers."""

    kind = ""

    @classmethod
    def setUpClass(cls):
        cls.agent = Deployment(cls.kind)
        cls.addClassCleanup(cls.agent.close)
        cls.agent.start().open()

    def setUp(self):
        # A value that another test left behind would hide one that isn't written.
        self.agent.configure("set", "contact=noc", "location=rack 4")

    def assert_system_group(self, values, before, after):
        lines = pathlib.Path("/etc/os-release").read_text().splitlines()
        release = dict(line.split("=", 1) for line in lines if "=" in line)
        host = os.uname()
        description = f'{release["PRETTY_NAME"].strip(chr(34))}, {host.sysname} {host.release} {host.machine}'
        self.assertEqual(values[SYS_DESCR], f'STRING: "Tarnix {description}"')
        self.assertEqual(values[SYS_OBJECT_ID], f"OID: {VENDOR}")
        self.assertEqual(values[SYS_CONTACT], 'STRING: "noc"')
        self.assertEqual(values[SYS_NAME], f'STRING: "{socket.gethostname()}"')
        self.assertEqual(values[SYS_LOCATION], 'STRING: "rack 4"')
        self.assertEqual(values[SYS_SERVICES], "INTEGER: 78")
        self.assert_uptime(values[SYS_UPTIME], before, after)

    def assert_uptime(self, value, before, after):
        seconds = ticks_of(value) / 100
        self.assertGreaterEqual(seconds, int(before) - 1)  # whole seconds, and a sample may be a second old
        self.assertLessEqual(seconds, after + 0.1)

    def test_system_group_in_every_version_and_by_every_way_of_asking(self):
        for version in ("1", "2c"):
            ways = [("get", SYSTEM_GROUP), ("walk", [SYSTEM])]
            if version == "2c":
                ways += [("bulkget", ["-Cn0", "-Cr7", SYSTEM]), ("bulkwalk", [SYSTEM]), ("bulkwalk", ["-Cr3", SYSTEM])]
            for client, words in ways:
                with self.subTest(version=version, client=client, words=words):
                    before = uptime()
                    answer = self.agent.snmp(client, *words, version=version)
                    self.assertEqual(answer.status, 0, answer)
                    self.assertEqual(list(answer.values()), SYSTEM_GROUP)
                    self.assert_system_group(answer.values(), before, uptime())

    def test_getnext_goes_on_behind_any_name(self):
        for version in ("1", "2c"):
            for name, following in (("1.3", SYS_DESCR), (SYSTEM, SYS_DESCR), (SYS_DESCR, SYS_OBJECT_ID),
                                    (SYSTEM + ".4.0.9", SYS_NAME), (SYSTEM + ".5", SYS_NAME)):
                with self.subTest(version=version, name=name):
                    answer = self.agent.snmp("getnext", name, version=version)
                    self.assertEqual(list(answer.values()), [following], answer)

    def test_host_resources_are_this_machines(self):
        before = uptime()
        value = self.agent.get(HR_SYSTEM_UPTIME)
        self.assert_uptime(value, before, uptime())

        total = re.search(r"^MemTotal: +(\d+) kB", pathlib.Path("/proc/meminfo").read_text(), re.M).group(1)
        self.assertEqual(self.agent.get(HR_MEMORY_SIZE), f"INTEGER: {total}")

        before = datetime.datetime.now().astimezone().replace(microsecond=0)
        octets = bytes.fromhex(self.agent.get(HR_SYSTEM_DATE).removeprefix("Hex-STRING: "))
        after = datetime.datetime.now().astimezone()
        self.assertEqual(len(octets), 11)
        zone = datetime.timedelta(hours=octets[9], minutes=octets[10]) * (1 if octets[8:9] == b"+" else -1)
        told = datetime.datetime(octets[0] << 8 | octets[1], *octets[2:7], tzinfo=datetime.timezone(zone))
        self.assertLessEqual(before, told)
        self.assertLessEqual(told, after)
        self.assertEqual(zone, after.utcoffset())

    def test_a_walk_of_everything_strictly_increases_and_ends(self):
        one_by_one = self.agent.snmp("walk", "-Cc", "1.3")
        in_bulk = self.agent.snmp("bulkwalk", "-Cc", "-Cr20", "1.3")
        for answer in (one_by_one, in_bulk):
            names = answer.names()
            self.assertGreater(len(names), len(SYSTEM_GROUP), answer)
            self.assertEqual(names, sorted(set(names)))
        self.assertEqual(one_by_one.names()[:len(SYSTEM_GROUP)], in_bulk.names()[:len(SYSTEM_GROUP)])

    def test_what_is_not_there(self):
        for version, reason in (("1", "noSuchName"), ("2c", "")):
            with self.subTest(version=version):
                answer = self.agent.snmp("get", SYS_DESCR, SYSTEM + ".99.0", version=version)
                # snmpget takes the failing name out and asks for the rest.
                self.assertIn(reason, answer.err)
                self.assertIn(SYS_DESCR, answer.values(), answer)
                there = [name for name, value in answer.values().items() if not value.startswith("No Such")]
                self.assertNotIn(SYSTEM + ".99.0", there)

    def test_set_is_seen_by_the_next_request_and_by_tnctl(self):
        for version in ("1", "2c"):
            with self.subTest(version=version):
                answer = self.agent.snmp("set", SYS_CONTACT, "s", f"desk {version}", SYS_LOCATION, "s", "roof",
                                         version=version, community="private")
                self.assertEqual(answer.status, 0, answer)
                self.assertEqual(self.agent.get(SYS_CONTACT), f'STRING: "desk {version}"')
                self.assertEqual(self.agent.get(SYS_LOCATION), 'STRING: "roof"')
                self.assertRegex(self.agent.tnctl("snmp").out, rf"(?m)^contact +desk {version}$")

    def test_set_without_the_right_changes_nothing(self):
        for version in ("1", "2c"):
            with self.subTest(version=version):
                answer = self.agent.snmp("set", SYS_CONTACT, "s", "intruder", version=version)
                self.assertEqual(answer.status, 2, answer)
                self.assertIn("readOnly", answer.err)
                self.assertEqual(self.agent.get(SYS_CONTACT), 'STRING: "noc"')

    def test_as_many_repetitions_as_are_allowed_and_one_more(self):
        fifty = self.agent.snmp("bulkget", "-Cn0", "-Cr50", "1.3")
        self.assertEqual(fifty.status, 0, fifty)
        self.assertEqual(len(re.findall(r"(?m)^\.1\.", fifty.out)), 50, "objects, then end of MIB view")
        more = self.agent.snmp("bulkget", "-Cn0", "-Cr51", "1.3")
        self.assertEqual(more.status, 2, more)
        self.assertIn("(tooBig)", more.err)

    def test_ipv6_and_ipv4_on_one_port(self):
        for host in ("127.0.0.1", "127.8.9.10", "udp6:[::1]"):
            with self.subTest(host=host):
                self.assertEqual(self.agent.get(SYS_SERVICES, host=host), "INTEGER: 78")

    def test_wrong_community_gets_silence(self):
        answer = self.agent.snmp("get", SYS_SERVICES, community="wrong", timeout=0.5, retries=0)
        self.assertEqual(answer.status, 1, answer)
        self.assertIn("Timeout: No Response", answer.err)
        self.assert_silence("127.0.0.1", "127.0.0.1", community="wrong")

    def test_source_address_not_allowed_gets_silence(self):
        self.agent.configure("community", "set", "common", "addresses=127.0.0.7/32")
        self.addCleanup(self.agent.configure, "community", "set", "common", "addresses=127.0.0.0/8,::1/128")
        self.assertEqual(self.agent.get(SYS_SERVICES, community="private"), "INTEGER: 78")
        self.assertEqual(self.agent.snmp("get", "--clientaddr=127.0.0.7", SYS_SERVICES).status, 0)
        self.assert_silence("127.0.0.1", "127.0.0.1")
        self.assert_silence("::1", "::1")

    def assert_silence(self, source, destination, community="common"):
        """Requests are answered in the order in which they come, so once a later one that is allowed has its answer,
        an earlier one gets none."""
        family = socket.AF_INET6 if ":" in source else socket.AF_INET
        with socket.socket(family, socket.SOCK_DGRAM) as client:
            client.settimeout(10)
            client.bind((source, 0))
            client.connect((destination, self.agent.port))
            client.send(request(1, SYS_SERVICES, community))
            client.send(request(2, SYSTEM, community, GET_NEXT))
            client.send(request(3, SYS_SERVICES, "private"))
            self.assertEqual(request_id_of(client.recv(65536)), 3)


class OneProcess(Requests, unittest.TestCase):
    kind = "node"


class OverTheBus(Requests, unittest.TestCase):
    kind = "spawn"
