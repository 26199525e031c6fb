"""Processes that end, are killed, leave and come back, and what the ones that ask them see of it."""

import os
import random
import signal
import threading
import unittest

from harness import SYS_NAME, SYS_SERVICES, SYSTEM, Deployment, eventually, for_a_while, signal_process

LEAVES_AFTER = 1.0  # seconds without a message, when its service is off


class Lifecycle(unittest.TestCase):
    def test_walks_go_on_while_the_owner_comes_and_goes(self):
        agent = Deployment("apart").ends_with(self).start().open()
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

    def test_agent_that_is_off_leaves_and_comes_back_when_called(self):
        agent = Deployment("spawn").ends_with(self).start()
        for _ in range(2):
            eventually(lambda: not agent.agent_pids(), "the agent leaves")
            self.assertTrue(agent.daemons["hostd"].alive())
            self.assertRegex(agent.configure().out, r"(?m)^enabled +no$")
            self.assertEqual(len(agent.agent_pids()), 1)
        eventually(lambda: not agent.agent_pids(), "the agent leaves")

        agent.open()
        pids = agent.agent_pids()
        for_a_while(2 * LEAVES_AFTER, lambda: agent.agent_pids() == pids, "an agent that is on stays")
        signal_process(*pids)
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")
        self.assertIn("signal 9 (Killed); starting it again", agent.said())

        agent.configure("set", "enabled=no")
        eventually(lambda: not agent.agent_pids(), "the agent leaves once it is off")
        answer = agent.snmp("get", SYS_SERVICES, timeout=0.2, retries=0)
        self.assertEqual(answer.status, 1, answer)
        self.assertEqual(agent.stop(), [0])
