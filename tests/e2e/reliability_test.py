"""The quick forms of the scenarios in soak/: their goals are met. ./dev soak NAME runs the long form."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "soak"))

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


for name, scenario in session.scenarios().items():
    if scenario.QUICK is not None:
        setattr(Reliability, f"test_{name.replace('-', '_')}", lambda self, module=scenario: self.check(module))
