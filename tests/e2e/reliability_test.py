"""The quick forms of the scenarios in soak/: their goals are met. ./dev soak NAME runs the long form."""

import os
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "soak"))

import malformed
import session


ATTEMPTS = 3  # a goal may be missed because the machine is busy, but not every time


class Reliability(unittest.TestCase):
    """One test for each scenario."""

    def check(self, module):
        for left in reversed(range(ATTEMPTS)):
            with session.Session(module.QUICK, quick=True, quiet=True) as run:
                module.run(run)
            self.assertTrue(run.goals, "no goal was measured")
            if not run.missed():
                break
            print(f"seed {run.seed}\n{run.summary()}", file=sys.stderr)
            self.assertTrue(left, f"missed {ATTEMPTS} times: {run.missed()}")


class Comparison(unittest.TestCase):
    def test_malformed_beside_snmpd(self):
        """Debian's snmpd gets the datagrams of ./dev soak --beside snmpd, and its figures are shown beside the agent's."""
        if not os.path.exists(session.arms.SNMPD):
            session.harness.not_tested("snmpd isn't installed")
        ours, memory = [{"slow": 0, "gets": 4, "unanswered": 1, "longest_ms": 1.0}], [1] * malformed.PARTS
        with session.Session(1, seed=1, quick=True, quiet=True, beside="snmpd") as run:
            malformed.beside_snmpd(run, 50 * malformed.PARTS, ours, memory)
        figures = {name: cells for name, *cells in run.figures}
        self.assertEqual(figures["good Gets answered"], ["75 %", "100 %", "1.333"])
        self.assertRegex(figures["slowest reply"][1], "[1-9].* ms")
        self.assertIn("\n\nfigure ", run.summary())


for name, scenario in session.scenarios().items():
    if scenario.QUICK is not None:
        setattr(Reliability, f"test_{name.replace('-', '_')}", lambda self, module=scenario: self.check(module))
