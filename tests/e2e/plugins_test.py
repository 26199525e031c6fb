"""Plug-ins, built like their authors do: only against the files of `cmake --install`."""

import os
import re
import shutil
import socket
import textwrap
import unittest

from harness import BUILD, TIMEOUT, TREE, Deployment, eventually, run, temp_folder

EXAMPLE = "1.3.6.1.4.1.32473"
SPARES = "34,1000"
WARNINGS = "-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"


def succeed(*words):
    answer = run(*words)
    assert answer.status == 0, f"{words}: {answer}"


def built(work, name):
    """The plug-in of folder `name`, built against the installation in `work`."""
    succeed("cmake", "-G", "Ninja", "-S", work / name, "-B", work / f"build-{name}",
            f"-DCMAKE_PREFIX_PATH={work / 'usr'}", f"-DCMAKE_CXX_FLAGS={WARNINGS}")
    succeed("cmake", "--build", work / f"build-{name}")
    return work / f"build-{name}/{name}.so"


class Agent(Deployment):
    """tarnix-node with plug-ins in its folder, and a receiver of its traps."""

    def __init__(self, *plugins):
        self.traps = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.traps.bind(("127.0.0.1", 0))
        self.traps.settimeout(TIMEOUT)
        super().__init__("node", agent_words=["--trap-port", self.traps.getsockname()[1]])
        self.folder = self.root / "tern/lib/snmp"
        self.folder.mkdir(parents=True)
        for plugin in plugins:
            shutil.copy(plugin, self.folder)

    def close(self):
        self.traps.close()
        super().close()


class ExamplePlugin(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        work = temp_folder(cls, "plugin")
        succeed("cmake", "--install", BUILD, "--prefix", work / "usr")
        shutil.copytree(TREE / "plugins/example", work / "example")  # nothing of the source tree is within its reach
        blocks = re.findall(r"(?:^(?: {4}.*)?\n)+", (TREE / "docs/plugins.md").read_text(), re.M)
        (work / "shelf").mkdir()  # the plug-in that the manual prints
        for file, begin in (("CMakeLists.txt", "    cmake_minimum_required"), ("shelf.cc", "    #include")):
            block, = (text.strip("\n") for text in blocks if text.strip("\n").startswith(begin))
            (work / "shelf" / file).write_text(textwrap.dedent(block) + "\n")
        cls.plugins = built(work, "example"), built(work, "shelf")

    def setUp(self):
        self.agent = Agent(*self.plugins).ends_with(self).start().open()

    def add(self, name, count):
        answer = self.agent.tnctl("message", SPARES, "add-object", f"1:string={name}", f"2:u32={count}")
        self.assertEqual(answer.status, 0, answer)

    def test_scalars_show_the_load_and_the_hosts_name(self):
        before = os.getloadavg()
        answers = [self.agent.get(f"{EXAMPLE}.1.{number}.0") for number in (1, 2, 3)]
        for answer, *bounds in zip(answers, before, os.getloadavg()):
            load = int(answer.removeprefix("Gauge32: ")) / 100
            self.assertTrue(min(bounds) - 0.02 < load < max(bounds) + 0.02, (answers, bounds))
        self.assertEqual(self.agent.get(f"{EXAMPLE}.4.1.0"), f'STRING: "{socket.gethostname()}"')

    def test_table_shows_and_changes_the_owners_rows(self):
        self.add("fan", 3)
        self.add("disk", 7)
        rows = {f"{EXAMPLE}.2.1.2.0": 'STRING: "fan"', f"{EXAMPLE}.2.1.2.1": 'STRING: "disk"',
                f"{EXAMPLE}.2.1.3.0": "INTEGER: 3", f"{EXAMPLE}.2.1.3.1": "INTEGER: 7"}
        for client in ("walk", "bulkwalk"):
            self.assertEqual(self.agent.snmp(client, f"{EXAMPLE}.2").values(), rows)
        self.agent.snmp("set", f"{EXAMPLE}.2.1.3.1", "i", "6", community="private")
        self.agent.stop()
        self.agent.start()
        self.assertEqual(self.agent.get(f"{EXAMPLE}.2.1.3.1"), "INTEGER: 6")

    def test_trap_is_sent_when_a_row_changes(self):
        self.agent.configure("set", "trap-version=2c", "trap-community=common", "trap-targets=127.0.0.1")
        self.add("fan", 3)
        trap = self.agent.traps.recv(65536).hex()
        for part in ("2b060106030101040100" "060b" "2b0601040181fd59030001",  # snmpTrapOID.0, EXAMPLE.3.0.1
                     "2b0601040181fd5902010200" "0403" + b"fan".hex(),        # EXAMPLE.2.1.2.0
                     "2b0601040181fd5902010300" "020103"):                    # EXAMPLE.2.1.3.0
            self.assertIn(part, trap)


class PluginFolder(unittest.TestCase):
    def test_agent_serves_whatever_the_folder_contains(self):
        agent = Agent(*(BUILD / f"shared_objects/{name}.so" for name in ("alone", "crashes", "throws"))).ends_with(self)
        (agent.folder / "loop").symlink_to(".")
        agent.start().open()
        self.assertEqual(agent.get(f"{EXAMPLE}.9.0"), "INTEGER: 7")
        self.assertEqual(agent.said().count("Refusing to search for snmp plugins"), 1)
        self.assertNotIn("plugin refused", agent.said())
        self.assertEqual(agent.stop(), [0])  # no destructors run where helper threads may be in a library
        agent.start()
        eventually(lambda: agent.snmp("get", f"{EXAMPLE}.9.0").status == 0, "it serves again")
