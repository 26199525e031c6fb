"""Every vendor object that the agent serves has a name and the right type in mibs/."""

import pathlib
import re
import subprocess
import unittest

from harness import TIMEOUT, Deployment

MIBS = pathlib.Path(__file__).resolve().parents[2] / "mibs"
VENDOR = "1.3.6.1.4.1.49999"


class VendorMib(unittest.TestCase):
    def client(self, *words):
        done = subprocess.run([words[0], "-M", MIBS, "-m", "TARNIX-MIB", *words[1:]], capture_output=True, text=True,
                              timeout=TIMEOUT)
        self.assertEqual(done.returncode, 0, done)
        self.assertNotIn("Cannot find module", done.stderr)
        return done.stdout

    def test_every_served_branch_and_value_has_a_name_and_its_type(self):
        agent = Deployment("node").ends_with(self)
        script = agent.root / "tern/scripts/hello"
        script.parent.mkdir(parents=True)
        script.write_text("#!/bin/sh\n")
        script.chmod(0o755)
        agent.start().open()
        branches = re.findall(rf"(?m)^addBranch \.?({VENDOR}\.\S+)", agent.said())
        self.assertGreater(len(branches), 6)
        for name in self.client("snmptranslate", "-OS", *branches).split():
            self.assertRegex(name, r"^TARNIX-MIB::\w+$")
        walk = self.client("snmpbulkwalk", "-v2c", "-c", "common", "-t1", "-r10", f"127.0.0.1:{agent.port}", "tarnix")
        self.assertNotIn("Wrong Type", walk)
        for name in ("systemReboot.0", "scriptName.", "healthActiveFan.0", "interfaceStatsName.1",
                     "interfaceStatsTxCompressed.1"):
            self.assertIn(f"TARNIX-MIB::{name}", walk)
        for line in walk.splitlines():
            self.assertRegex(line, r"^TARNIX-MIB::[a-zA-Z0-9]+\.\d+ = ")
