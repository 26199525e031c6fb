"""The plug-ins that show this machine, compared with what df(1), free(1) and /proc say at the same moment."""

import os
import pathlib
import re
import socket
import unittest

from harness import BUILD, Daemon, Deployment, eventually, run

UCD = "1.3.6.1.4.1.2021"


def df(*words):
    """{mount point: numbers} of the file systems that df lists: blocks of 1 KiB, used, available, percent."""
    lines = run("df", "-kP", *words).out.splitlines()[1:]
    return {line.split()[5]: [int(word.rstrip("%")) for word in line.split()[1:5]] for line in lines
            if "-" not in line.split()[1:5]}


def free():
    """The words of free(1) in KiB: total, used, free, shared, buffers, cache, available."""
    lines = run("free", "-kw").out.splitlines()
    return [int(word) for word in lines[1].split()[1:]], [int(word) for word in lines[2].split()[1:]]


class Machine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.agent = Deployment("node", agent_words=["--plugins", BUILD / "shipped-plugins"]).ends_with(cls)
        cls.agent.start().open()

    def scalars(self, group):
        return {number: value for (number, _), value in self.agent.walk(group).items()}

    def assert_between(self, values, before, after, slack=0):
        """A value that changes is between those read before and after it."""
        for value, *bounds in zip(values, before, after, strict=True):
            self.assertTrue(min(bounds) - slack <= int(value) <= max(bounds) + slack, (values, before, after))


class Ucd(Machine):
    def test_memory_is_that_of_free(self):
        before, swap = free()
        group = self.scalars(f"{UCD}.4")
        after, _ = free()
        self.assertEqual([group[3], group[5], group[20]], [str(swap[0]), str(before[0]), str(before[0])])
        self.assert_between([group[number] for number in (6, 13, 14, 15, 27)],
                            *([all[at] for at in (2, 3, 4, 5, 6)] for all in (before, after)), slack=50_000)

    def test_file_systems_are_those_of_df(self):
        before = df()
        rows = {row[2]: row for row in self.agent.rows(f"{UCD}.9.1").values()}
        after = df()
        self.assertIn("/", rows)
        for point in rows.keys() & before.keys() & after.keys():
            self.assertEqual(rows[point][6], str(before[point][0]))
            self.assert_between([rows[point][column] for column in (8, 7, 9)], before[point][1:], after[point][1:],
                                slack=50_000)
            self.assertEqual(rows[point][11], str(before[point][0] % 2**32))

    def test_load_and_counters_are_those_of_proc(self):
        def proc():
            loads = [round(float(word) * 100) for word in pathlib.Path("/proc/loadavg").read_text().split()[:3]]
            stat = pathlib.Path("/proc/stat").read_text()
            vmstat = dict(line.split() for line in pathlib.Path("/proc/vmstat").read_text().splitlines())
            ticks = [int(word) for word in re.match(r"cpu +(.*)", stat)[1].split()]
            return loads, [*ticks[:8], *(int(re.search(rf"^{word} (\d+)", stat, re.M)[1]) for word in ("intr", "ctxt")),
                           int(vmstat["pgpgin"]) * 2, int(vmstat["pgpgout"]) * 2, int(vmstat["pswpin"])]

        before = proc()
        loads = self.agent.rows(f"{UCD}.10.1")
        group = self.scalars(f"{UCD}.11")
        after = proc()
        self.assert_between([loads[index][5] for index in "123"], before[0], after[0], slack=1)
        numbers = (50, 51, 52, 53, 54, 56, 61, 64, 59, 60, 58, 57, 62)
        self.assert_between([group[number] for number in numbers],
                            *([value % 2**32 for value in counters] for _, counters in (before, after)), slack=20)
        self.assertEqual(group[67], str(os.cpu_count()))
        self.assertLessEqual(sum(int(group[number]) for number in (9, 10, 11)), 101)

    def test_disks_are_those_of_diskstats(self):
        def proc():
            lines = pathlib.Path("/proc/diskstats").read_text().splitlines()
            return {words[2]: [int(words[5]) * 512, int(words[9]) * 512, int(words[12]) * 1000]
                    for words in map(str.split, lines) if int(words[3])}

        before = proc()
        rows = {row[2]: row for row in self.agent.rows(f"{UCD}.13.15.1.1").values()}
        after = proc()
        self.assertLessEqual(set(before), set(rows))
        for name in before:
            self.assert_between([rows[name][column] for column in (12, 13, 14)], before[name], after[name])


class Host(Machine):
    HOST = "1.3.6.1.2.1.25"

    def test_system_is_that_of_proc_and_who(self):
        def count():
            return [sum(name.isdigit() for name in os.listdir("/proc"))]

        before = count()
        group = self.scalars(f"{self.HOST}.1")
        self.assert_between([group[6]], before, count(), slack=20)
        self.assertEqual(group[4], pathlib.Path("/proc/cmdline").read_text().rstrip("\n")[:128])
        self.assertEqual(int(group[5]), len(run("who").out.splitlines()))

    def test_storage_and_file_systems_are_those_of_df(self):
        before, memory = df(), free()[0]
        rows = self.agent.rows(f"{self.HOST}.2.3.1")
        mounted = self.agent.rows(f"{self.HOST}.3.8.1")
        after = df()
        self.assertEqual(int(rows["1"][5]) * int(rows["1"][4]), memory[0] * 1024)
        self.assertIn("/", {row[2] for row in mounted.values()})
        for row in mounted.values():
            storage = rows[row[7]]
            self.assertEqual(storage[3][:128], row[2])
            if row[2] in before and row[2] in after:
                sizes = [int(storage[column]) * int(storage[4]) // 1024 for column in (5, 6)]
                self.assert_between(sizes, before[row[2]][:2], after[row[2]][:2], slack=50_000)

    def test_devices_are_those_of_the_kernel(self):
        devices = self.agent.rows(f"{self.HOST}.3.2.1")
        networks = self.agent.rows(f"{self.HOST}.3.4.1")
        links = {str(socket.if_nametoindex(name)): name for _, name in socket.if_nameindex()}
        self.assertEqual({row[1]: devices[index][3] for index, row in networks.items()},
                         {index: f"network interface {name}" for index, name in links.items()})
        capacities = {devices[index][3].partition(":")[0]: int(row[4])
                      for index, row in self.agent.rows(f"{self.HOST}.3.6.1").items()}
        blocks = [block for block in pathlib.Path("/sys/block").iterdir() if (block / "device").exists()]
        self.assertEqual(capacities, {block.name: min(int((block / "size").read_text()) // 2, 2**31 - 1)
                                      for block in blocks})
        processors = self.agent.rows(f"{self.HOST}.3.3.1")
        self.assertEqual((len(processors), len(devices)), (os.cpu_count(), len(processors) + len(links) + len(blocks)))

    def test_processes_are_those_of_ps(self):
        sleeper = Daemon(["sleep", "1000"], self.agent.root / "sleeper")
        self.addCleanup(sleeper.end)
        entry, index = f"{self.HOST}.4.2.1", str(sleeper.pid)
        # The list of processes is read ahead: a walk may get a new one between two columns.
        rows = eventually(lambda: (found := self.agent.rows(entry)) and 2 in found.get(index, {}) and found, "it's listed")
        self.assertEqual([rows[index][column] for column in (2, 4, 5, 6, 7)], ["sleep", "sleep", "1000", "4", "2"])
        memory = int(self.agent.rows(f"{self.HOST}.5.1.1")[index][2])
        self.assertAlmostEqual(memory, int(run("ps", "-o", "rss=", "-p", index).out), delta=2000)
        self.assertEqual(rows["1"][2], run("ps", "-o", "comm=", "-p", "1").out.strip())

    def test_packages_are_those_of_dpkg(self):
        listed = run("dpkg-query", "-Wf", "${db:Status-Status} ${Package}_${Version}_${Architecture}\n").out
        expected = [line.split()[1][:64] for line in listed.splitlines() if line.startswith("installed ")]
        rows = self.agent.rows(f"{self.HOST}.6.3.1")
        self.assertEqual(sorted(row[2] for row in rows.values()), sorted(expected))
