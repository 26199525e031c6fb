"""Why there is no answer: `tnctl status` and the log of refusals."""

import json
import re

from harness import SYS_SERVICES, Deployment, eventually, for_each_kind, program, run, temp_folder


@for_each_kind("node", "apart")
class Status:
    def test_status_and_log_say_why_requests_are_refused(self):
        agent = Deployment(self.kind).ends_with(self).start().open()
        self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78")
        for _ in range(3):
            self.assertIn("Timeout", agent.snmp("get", SYS_SERVICES, community="secret", retries=0).err)
        self.assertIn("tooBig", repr(agent.snmp("bulkget", "-Cr60", "1.3.6.1.2.1.2")))

        shown = agent.tnctl("status")
        self.assertEqual((shown.status, shown.err), (0, ""))
        self.assertRegex(shown.out, rf"\ASNMP service: on, UDP port {agent.port}, agent up \d+s\n")
        for line in (r"SNMPv2c +\d+", r"GetBulk +\d+", r"no such community +3", r"more than 50 repetitions +\d+",
                     r"127\.0\.0\.1 +\d+ +\d+ +\d+s ago +more than 50 repetitions",
                     r"interfaces +20,0 .* \d+s ago +[\d.]+ ms"):
            self.assertRegex(shown.out, rf"(?m)^{line}$")
        counts = json.loads(agent.tnctl("--json", "status").out)
        self.assertEqual((counts["refusals"]["community"], counts["results"]["dropped"]), (3, 3))

        lines = re.findall(r"(?m)^refused: .*", agent.said())
        self.assertEqual(lines, ["refused: 127.0.0.1: no such community",
                                 "refused: 127.0.0.1: more than 50 repetitions"])

    def test_the_age_of_the_owners_data_is_shown_until_hostd_stops(self):
        agent = Deployment(self.kind).ends_with(self).start().open()
        readings = lambda: json.loads(agent.tnctl("--json", "status").out)["readings"]
        disks = lambda: next(row for row in readings() if row["name"] == "disks")
        eventually(lambda: disks()["age-ms"] is not None, "disks are read")
        self.assertLess(disks()["age-ms"], 90_000)
        self.assertRegex(agent.tnctl("status").out, r"(?m)^routes +0s +ok$")
        if self.kind == "apart":
            agent.daemons.pop("hostd").end()
            self.assertRegex(agent.tnctl("status").out,
                             r"(?m)^tarnix-hostd doesn't report the age of its data: bus: 1: no owner ")
            self.assertIsNone(readings())

    def test_an_absent_agent_is_a_clear_error(self):
        answer = run(program("tnctl"), "--root", temp_folder(self), "status")
        self.assertEqual((answer.status, answer.out), (1, ""))
        self.assertRegex(answer.err, r"\Atnctl: the agent doesn't answer: bus: 34: no owner \(looked in .*\)\n\Z")
