"""Processes that end, are killed, leave and come back, and what the ones that ask them see of it."""

import os
import pathlib
import random
import signal
import threading
import unittest

from harness import (SYS_CONTACT, SYS_DESCR, SYS_LOCATION, SYS_NAME, SYS_OBJECT_ID, SYS_SERVICES, SYS_UPTIME, SYSTEM,
                     Daemon, Deployment, eventually, for_a_while, is_zombie, program)

LEAVES_AFTER = 1.0  # seconds without a message, when its service is off
KINDS = ("node", "spawn", "apart")


def started_at(pid):
    """When a process was started: seconds after boot, to a hundredth (proc(5), stat)."""
    stat = pathlib.Path(f"/proc/{pid}/stat").read_text()
    return int(stat.rpartition(")")[2].split()[19]) / os.sysconf("SC_CLK_TCK")


class Lifecycle(unittest.TestCase):
    def deploy(self, kind):
        agent = Deployment(kind)
        self.addCleanup(agent.close)
        return agent.start()

    def setting(self, agent, name):
        for line in agent.configure().out.splitlines():
            if line.split()[0] == name:
                return " ".join(line.split()[1:])
        self.fail(f"no setting {name}")

    def test_restart_keeps_what_was_set(self):
        for kind in KINDS:
            with self.subTest(kind=kind):
                agent = self.deploy(kind).open()
                agent.configure("set", "contact=noc", 'location=räck "4"')
                agent.configure("community", "set", "private", "read-access=no")
                communities = agent.configure("community", "list").out
                boots = int(self.setting(agent, "engine-boots"))

                self.assertEqual(set(agent.stop()), {0}, agent.said())
                agent.start()

                self.assertEqual(agent.get(SYS_CONTACT), 'STRING: "noc"')
                self.assertEqual(self.setting(agent, "location"), 'räck "4"')
                self.assertEqual(agent.configure("community", "list").out, communities)
                self.assertGreater(int(self.setting(agent, "engine-boots")), boots)

    def test_owner_killed_and_started_again_in_the_middle_of_a_walk(self):
        agent = self.deploy("apart").open()
        agent.configure("set", "contact=noc")
        pids = agent.agent_pids()
        following = lambda name: agent.snmp("getnext", name).values()
        whole = agent.snmp("walk", SYSTEM).values()

        self.assertEqual(list(following(SYS_OBJECT_ID)), [SYS_UPTIME])
        agent.daemons.pop("hostd").end(signal.SIGKILL)
        # Scalars of an owner that is missing are empty, on purpose; what the agent knows itself stays.
        self.assertEqual(following(SYS_OBJECT_ID), {SYS_UPTIME: "Timeticks: (0) 0:00:00.00"})
        self.assertEqual(following(SYS_UPTIME), {SYS_CONTACT: 'STRING: "noc"'})
        self.assertEqual(following(SYS_CONTACT), {SYS_NAME: '""'})
        agent.start_part("hostd")
        agent.wait_for("24,2")
        self.assertEqual(following(SYS_CONTACT), {SYS_NAME: whole[SYS_NAME]})
        self.assertEqual(list(agent.snmp("walk", SYSTEM).values()), list(whole))
        self.assertEqual(agent.agent_pids(), pids)

    def test_walks_go_on_while_the_owner_comes_and_goes(self):
        agent = self.deploy("apart").open()
        pids = agent.agent_pids()
        walks, over = [], threading.Event()

        def walk():
            while not over.is_set():
                walks.append(agent.snmp("bulkwalk", "-Cr2", SYSTEM))

        walker = threading.Thread(target=walk)
        walker.start()
        try:
            for _ in range(10):
                done = len(walks)
                eventually(lambda: len(walks) > done, "a walk ends")
                threading.Event().wait(random.uniform(0, 0.02))
                agent.daemons.pop("hostd").end(signal.SIGKILL)
                agent.start_part("hostd")
        finally:
            over.set()
            walker.join()
        agent.wait_for("24,2")
        for answer in walks:
            self.assertEqual(answer.status, 0, answer)
            self.assertEqual(answer.names(), sorted(set(answer.names())))
            self.assertIn(SYS_SERVICES, answer.values(), "the walk goes on behind what can't be had")
        self.assertEqual(agent.get(SYS_NAME), f'STRING: "{os.uname().nodename}"')
        self.assertEqual(agent.agent_pids(), pids)

    def test_spawner_killed_takes_the_agent_along_and_brings_it_back(self):
        agent = self.deploy("spawn").open()
        pids = agent.agent_pids()
        agent.daemons.pop("hostd").end(signal.SIGKILL)
        eventually(lambda: all(map(is_zombie, pids)), "the agent ends with its spawner")
        agent.start()
        self.assertEqual(agent.get(SYS_NAME), f'STRING: "{os.uname().nodename}"')

    def test_agent_that_is_off_leaves_and_comes_back_when_called(self):
        agent = self.deploy("spawn")
        for _ in range(2):
            eventually(lambda: not agent.agent_pids(), "the agent leaves")
            self.assertTrue(agent.daemons["hostd"].alive())
            self.assertEqual(self.setting(agent, "enabled"), "no")
            self.assertEqual(len(agent.agent_pids()), 1)
        eventually(lambda: not agent.agent_pids(), "the agent leaves")

        agent.open()
        pids = agent.agent_pids()
        for_a_while(2 * LEAVES_AFTER, lambda: agent.agent_pids() == pids, "an agent that is on stays")
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")

        agent.configure("set", "enabled=no")
        eventually(lambda: not agent.agent_pids(), "the agent leaves once it is off")
        answer = agent.snmp("get", SYS_SERVICES, timeout=0.2, retries=0)
        self.assertEqual(answer.status, 1, answer)

    def test_agent_that_nobody_would_start_again_stays(self):
        for kind in ("node", "apart"):
            with self.subTest(kind=kind):
                agent = self.deploy(kind)
                pids = agent.agent_pids()
                for_a_while(2 * LEAVES_AFTER, lambda: agent.agent_pids() == pids, f"{kind} left:\n{agent.said()}")
                self.assertEqual(self.setting(agent, "enabled"), "no")

    def test_crashed_agent_is_started_again_at_most_once_a_second(self):
        agent = self.deploy("spawn").open()
        starts = []
        for _ in range(4):
            pid, = eventually(agent.agent_pids, "the agent is started again")
            starts.append(started_at(pid))
            os.kill(pid, signal.SIGKILL)
            eventually(lambda: is_zombie(pid), "the agent is killed")
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")
        for earlier, later in zip(starts, starts[1:]):
            self.assertGreaterEqual(later - earlier, 0.98)
        self.assertIn("signal 9 (Killed); starting it again", agent.said())

    def test_second_process_on_one_root_refuses_with_one_line(self):
        agent = self.deploy("apart").open()
        before = agent.configure().out
        for part, number in (("snmpd", 34), ("node", 34), ("hostd", 1)):
            with self.subTest(part=part):
                output = agent.root / f"second-{part}"
                second = Daemon([program(f"tarnix-{part}"), "--root", agent.root, "--log", "stderr"], output)
                self.addCleanup(second.end, signal.SIGKILL)
                eventually(lambda: not second.alive(), f"the second {part} refuses: {second.said()}")
                self.assertEqual(second.end(), 1)
                complaints = [line for line in second.said().splitlines() if line.startswith("bus: ")]
                self.assertEqual(complaints, [f"bus: {number}: another process serves this number"])
        self.assertEqual(agent.get(SYS_DESCR).partition(" ")[0], "STRING:")
        self.assertEqual(agent.configure().out, before)

    def test_marker_file_takes_the_vendors_object_id_away(self):
        agent = Deployment("node")
        self.addCleanup(agent.close)
        (agent.root / "etc").mkdir()
        (agent.root / "etc/snmp_no_sysObjectID").touch()
        agent.start().open()
        self.assertEqual(agent.get(SYS_OBJECT_ID), "OID: .0.0")
