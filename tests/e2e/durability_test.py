"""A store that can't be read is never written to. soak/kills.py kills processes while they write."""

import re
import unittest

from harness import Deployment


class StoreThatCannotBeRead(unittest.TestCase):
    def test_unreadable_store_is_logged_once_and_left_unchanged_and_the_rest_works(self):
        agent = Deployment("node").ends_with(self).start().open()
        agent.configure("set", "contact=desk")  # which the undo journal has
        agent.stop()
        settings, communities = ["set", "contact=noc"], ["community", "add", "name=x", "addresses=::1/128"]
        for name, refused, works in [("snmpd", settings, communities), ("snmp-communities", communities, settings),
                                     ("undo", None, settings)]:
            with self.subTest(store=name):
                store = agent.root / "tern/store" / name
                whole = store.read_bytes()
                spoilt = whole[:4096] + b"\xff" * (len(whole) - 4096)
                store.write_bytes(spoilt)
                agent.output.unlink()
                agent.start()
                if refused:
                    answer = agent.tnctl("snmp", *refused)
                    self.assertEqual(answer.status, 1, answer)
                    self.assertRegex(answer.err, rf"\A[^\n]*{re.escape(str(store))}[^\n]*\n\Z")
                agent.configure(*works)
                self.assertEqual(agent.stop(), [0])
                complaint, = [line for line in agent.said().splitlines() if line.startswith("store: ")]
                self.assertRegex(complaint, f"^store: {re.escape(str(store))}: .*; file left unchanged$")
                self.assertEqual(store.read_bytes(), spoilt)
                store.write_bytes(whole)
