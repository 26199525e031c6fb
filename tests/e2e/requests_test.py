"""Debian's clients query a running agent, in one process with its owners and over the bus. The replies are compared
with other sources on this machine."""

import datetime
import os
import pathlib
import re
import socket

from harness import (SYS_CONTACT, SYS_DESCR, SYS_LOCATION, SYS_NAME, SYS_OBJECT_ID, SYS_SERVICES, SYS_UPTIME, SYSTEM,
                     Deployment, for_each_kind, request, request_id_of)

HR_SYSTEM_UPTIME, HR_SYSTEM_DATE, HR_MEMORY_SIZE = (f"1.3.6.1.2.1.25.{i}.0" for i in ("1.1", "1.2", "2.2"))
SYSTEM_GROUP = [SYS_DESCR, SYS_OBJECT_ID, SYS_UPTIME, SYS_CONTACT, SYS_NAME, SYS_LOCATION, SYS_SERVICES]


def uptime():
    return float(pathlib.Path("/proc/uptime").read_text().split()[0])


@for_each_kind("node", "spawn")
class Requests:
    @classmethod
    def setUpClass(cls):
        cls.agent = Deployment(cls.kind).ends_with(cls).start().open()

    def setUp(self):
        # A value that another test left behind would hide one that isn't written.
        self.agent.configure("set", "contact=noc", "location=rack 4")

    def system_group(self):
        """{name: value} as this machine tells it, but for the uptime."""
        lines = pathlib.Path("/etc/os-release").read_text().splitlines()
        release = dict(line.split("=", 1) for line in lines if "=" in line)
        host = os.uname()
        description = f'{release["PRETTY_NAME"].strip(chr(34))}, {host.sysname} {host.release} {host.machine}'
        return {SYS_DESCR: f'STRING: "Tarnix {description}"', SYS_OBJECT_ID: "OID: .1.3.6.1.4.1.49999.1",
                SYS_CONTACT: 'STRING: "noc"', SYS_NAME: f'STRING: "{socket.gethostname()}"',
                SYS_LOCATION: 'STRING: "rack 4"', SYS_SERVICES: "INTEGER: 78"}

    def assert_uptime(self, value, before, after):
        seconds = int(re.match(r"Timeticks: \((\d+)\)", value).group(1)) / 100
        self.assertGreaterEqual(seconds, int(before) - 1)  # whole seconds, and a sample may be a second old
        self.assertLessEqual(seconds, after + 0.1)

    def test_system_group_is_served_in_every_version_by_every_operation(self):
        for version, client, *words in (("1", "get", *SYSTEM_GROUP), ("2c", "get", *SYSTEM_GROUP),
                                        ("1", "walk", SYSTEM), ("2c", "bulkget", "-Cn0", "-Cr7", SYSTEM),
                                        ("2c", "walk", SYSTEM), ("2c", "bulkwalk", "-Cr3", SYSTEM)):
            with self.subTest(version=version, client=client, words=words):
                before = uptime()
                answer = self.agent.snmp(client, *words, version=version)
                self.assertEqual(answer.status, 0, answer)
                values = answer.values()
                self.assertEqual(list(values), SYSTEM_GROUP)
                self.assert_uptime(values.pop(SYS_UPTIME), before, uptime())
                self.assertEqual(values, self.system_group())

    def test_host_resources_match_this_machine(self):
        before = uptime()
        value = self.agent.get(HR_SYSTEM_UPTIME)
        self.assert_uptime(value, before, uptime())
        total = re.search(r"^MemTotal: +(\d+) kB", pathlib.Path("/proc/meminfo").read_text(), re.M).group(1)
        self.assertEqual(self.agent.get(HR_MEMORY_SIZE), f"INTEGER: {total}")

        before = datetime.datetime.now().astimezone().replace(microsecond=0)
        octets = bytes.fromhex(self.agent.get(HR_SYSTEM_DATE).removeprefix("Hex-STRING: "))
        self.assertEqual(len(octets), 11)
        zone = datetime.timedelta(hours=octets[9], minutes=octets[10]) * (1 if octets[8:9] == b"+" else -1)
        told = datetime.datetime(octets[0] << 8 | octets[1], *octets[2:7], tzinfo=datetime.timezone(zone))
        self.assertTrue(before <= told <= datetime.datetime.now().astimezone())
        self.assertEqual(zone, before.utcoffset())

    def test_walk_of_everything_strictly_increases_and_ends(self):
        walks = [self.agent.snmp(*words, "1.3").names() for words in (("walk", "-Cc"), ("bulkwalk", "-Cc", "-Cr20"))]
        for names in walks:
            self.assertGreater(len(names), len(SYSTEM_GROUP))
            self.assertEqual(names, sorted(set(names)))
        self.assertEqual(*(names[:len(SYSTEM_GROUP)] for names in walks))

    def test_set_needs_write_access_and_is_visible_at_once(self):
        self.assertIn("readOnly", self.agent.snmp("set", SYS_CONTACT, "s", "intruder").err)
        self.assertEqual(self.agent.get(SYS_CONTACT), 'STRING: "noc"')
        answer = self.agent.snmp("set", SYS_CONTACT, "s", "desk 7", SYS_LOCATION, "s", "roof", community="private")
        self.assertEqual(answer.status, 0, answer)
        self.assertEqual([self.agent.get(name) for name in (SYS_CONTACT, SYS_LOCATION)],
                         ['STRING: "desk 7"', 'STRING: "roof"'])
        self.assertRegex(self.agent.tnctl("snmp").out, r"(?m)^contact +desk 7$")

    def test_unknown_community_or_source_address_gets_no_reply(self):
        self.assert_silence("127.0.0.1", "wrong")
        self.agent.configure("community", "set", "common", "addresses=127.0.0.7/32")
        self.addCleanup(self.agent.configure, "community", "set", "common", "addresses=127.0.0.0/8,::1/128")
        self.assertEqual(self.agent.get(SYS_SERVICES, community="private"), "INTEGER: 78")
        self.assertEqual(self.agent.snmp("get", "--clientaddr=127.0.0.7", SYS_SERVICES).status, 0)
        self.assert_silence("127.0.0.1")
        self.assert_silence("::1")

    def assert_silence(self, address, community="common"):
        """Requests are answered in their order: after the answer to a later one, an earlier one gets none."""
        with socket.socket(socket.AF_INET6 if ":" in address else socket.AF_INET, socket.SOCK_DGRAM) as client:
            client.settimeout(10)
            client.bind((address, 0))
            client.connect((address, self.agent.port))
            client.send(request(1, SYS_SERVICES, community))
            client.send(request(2, SYS_SERVICES, "private"))
            self.assertEqual(request_id_of(client.recv(65536)), 2)
