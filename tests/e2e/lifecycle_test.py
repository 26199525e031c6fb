"""Processes that exit, are killed, hang or restart, and the effect on their clients."""

import os
import random
import signal
import threading
import time
import unittest

from harness import SYS_NAME, SYS_SERVICES, SYSTEM, Daemon, Deployment, eventually, for_a_while, program, signal_process

LEAVES_AFTER = 1.0  # seconds without a message, when its service is off


class Lifecycle(unittest.TestCase):
    def test_walks_continue_while_the_owner_restarts(self):
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
            self.assertEqual((answer.status, answer.names()), (0, sorted(set(answer.names()))), answer)
            self.assertIn(SYS_SERVICES, answer.values(), "the walk continues after unavailable values")
        self.assertEqual(agent.get(SYS_NAME), f'STRING: "{os.uname().nodename}"')
        self.assertEqual(agent.agent_pids(), pids)

    def seconds_of_getnext(self, agent, names):
        start = time.monotonic()
        answer = agent.snmp("getnext", *names, timeout=100, retries=0)
        self.assertEqual(len(answer.names()), len(names), answer)
        return time.monotonic() - start

    def test_hung_processes_share_one_timeout_in_one_request(self):
        agent = Deployment("apart").ends_with(self)
        agent.start_part("snmpd")
        agent.wait_for("34")
        agent.open()
        names = {24: SYSTEM + ".4", 20: "1.3.6.1.2.1.2.2", 44: "1.3.6.1.2.1.4.21"}
        script = agent.root / "script"
        script.write_text("hang")
        for number in names:
            hung = Daemon([program("scripted-owner"), "--root", agent.root, "--script", script, number], agent.output)
            self.addCleanup(hung.end, signal.SIGKILL)
            eventually((agent.root / "tern/run/bus" / str(number)).exists, "it listens")
        seconds = self.seconds_of_getnext(agent, names.values())
        self.assertTrue(5 < seconds < 9, f"not one time-out of 6 s: {seconds}")
        later = min(self.seconds_of_getnext(agent, names.values()) for _ in range(5))
        self.assertLess(max(later, self.seconds_of_getnext(agent, [SYSTEM + ".7"])), 0.2, "another time-out")

    def test_agent_exits_while_its_service_is_off_and_restarts_on_demand(self):
        agent = Deployment("spawn").ends_with(self).start()
        for _ in range(2):
            eventually(lambda: not agent.agent_pids(), "the agent exits")
            self.assertTrue(agent.daemons["hostd"].alive())
            self.assertRegex(agent.configure().out, r"(?m)^enabled +no$")
            self.assertEqual(len(agent.agent_pids()), 1)
        eventually(lambda: not agent.agent_pids(), "the agent exits")

        agent.open()
        pids = agent.agent_pids()
        for_a_while(2 * LEAVES_AFTER, lambda: agent.agent_pids() == pids, "an agent that is on stays")
        signal_process(*pids)
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")
        self.assertIn("signal 9 (Killed); restarting it", agent.said())

        agent.configure("set", "enabled=no")
        eventually(lambda: not agent.agent_pids(), "the agent exits once it is off")
        answer = agent.snmp("get", SYS_SERVICES, timeout=0.2, retries=0)
        self.assertEqual(answer.status, 1, answer)
        self.assertEqual(agent.stop(), [0])
