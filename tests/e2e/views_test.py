"""Communities and users that see only a part of the tree."""

import unittest

from harness import SYS_DESCR, SYS_NAME, SYSTEM, Deployment

IF_TABLE, HOST = "1.3.6.1.2.1.2", "1.3.6.1.2.1.25"


class Views(unittest.TestCase):
    def test_walks_and_gets_end_at_the_view_in_both_modes(self):
        for words in ((), ("--standard",)):
            agent = Deployment("node", agent_words=words).ends_with(self).start().open()
            everything = agent.snmp("walk", "1.3").names()
            agent.configure("community", "add", "name=part", "addresses=127.0.0.0/8",
                            f"views={SYSTEM},-{SYS_NAME},{HOST}.2,-{HOST}.2.3.1.3")
            agent.stop()
            agent.start()
            visible = [name for name in everything
                       if self.begins(name, SYSTEM, f"{HOST}.2") and not self.begins(name, SYS_NAME, f"{HOST}.2.3.1.3")]
            self.assertGreater(len(visible), 8)
            for client, version in (("walk", "1"), ("walk", "2c"), ("bulkwalk", "2c")):
                with self.subTest(words=words, client=client, version=version):
                    answer = agent.snmp(client, "1.3", community="part", version=version)
                    self.assertEqual(answer.names(), visible, answer)
            hidden = repr(agent.snmp("get", SYS_DESCR, SYS_NAME, community="part"))
            self.assertIn("No Such Object" if words else "noSuchName", hidden)
            self.assertIn("noAccess" if words else "noSuchName",
                          repr(agent.snmp("set", SYS_NAME, "s", "x", community=self.writer(agent))))
            self.assertIn("No more variables",
                          repr(agent.snmp("getnext", f"{HOST}.3", community="part")))

    @staticmethod
    def begins(name, *prefixes):
        return any(name[:len(prefix)] == prefix for prefix in (tuple(map(int, p.split("."))) for p in prefixes))

    @staticmethod
    def writer(agent):
        agent.configure("community", "set", "part", "write-access=yes")
        return "part"
