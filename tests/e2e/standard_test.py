"""The answers of --standard, and those without it, as Debian's clients see them."""

import unittest

from harness import SYS_CONTACT, SYS_DESCR, SYS_NAME, SYS_OBJECT_ID, SYS_SERVICES, SYS_LOCATION, Deployment

UNKNOWN, NO_INSTANCE, AFTER_ALL = "1.3.6.1.2.1.1.99.0", SYS_NAME[:-1] + "1", "2.5"
HC_IN_OCTETS = "1.3.6.1.2.1.31.1.1.1.6"


class Standard(unittest.TestCase):
    def test_both_kinds_of_answers(self):
        for is_standard in (False, True):
            agent = Deployment("node", agent_words=["--standard"] * is_standard).ends_with(self).start().open()
            chosen = lambda fixed, standard: standard if is_standard else fixed
            with self.subTest(standard=is_standard):
                answer = agent.snmp("get", "-Cf", SYS_SERVICES, UNKNOWN, NO_INSTANCE)
                self.assertEqual("noSuchName" in answer.err, not is_standard, answer)
                self.assertEqual(list(answer.values().items()), chosen([], [
                    (SYS_SERVICES, "INTEGER: 78"), (UNKNOWN, "No Such Object available on this agent at this OID"),
                    (NO_INSTANCE, "No Such Instance currently exists at this OID")]))

                answer = agent.snmp("bulkget", "-Cn1", "-Cr2", SYS_NAME[:-2], SYS_DESCR[:-2], SYS_NAME[:-2])
                order = chosen([SYS_DESCR, SYS_OBJECT_ID, SYS_NAME, SYS_LOCATION],
                               [SYS_DESCR, SYS_NAME, SYS_OBJECT_ID, SYS_LOCATION])
                self.assertEqual([".".join(map(str, name)) for name in answer.names()], [SYS_NAME, *order])
                answer = agent.snmp("bulkget", "-Cn0", "-Cr60", "1.3")
                self.assertEqual((len(answer.names()), "tooBig" in answer.err), chosen((0, True), (60, False)))
                answer = agent.snmp("getnext", AFTER_ALL)
                self.assertEqual("No more variables left" in answer.out, is_standard, answer)

                counter = agent.snmp("getnext", HC_IN_OCTETS)
                self.assertIn("Counter64", counter.out)
                answer = agent.snmp("get", *counter.values(), version="1")
                self.assertIn(chosen("Counter64", "noSuchName"), answer.out + answer.err)

                agent.configure("set", "contact=noc")
                write = [SYS_CONTACT, "s", "desk 7", SYS_NAME, "s", "other"]
                answer = agent.snmp("set", *write, community="private")
                for text in ("notWritable", f"Failed object: .{SYS_NAME}"):
                    self.assertEqual(text in answer.err, is_standard, answer)
                self.assertEqual(agent.get(SYS_CONTACT), chosen('STRING: "desk 7"', 'STRING: "noc"'))
                answer = agent.snmp("set", SYS_CONTACT, "i", "5", community="private")
                self.assertEqual("wrongType" in answer.err, is_standard, answer)
                self.assertIn(chosen("readOnly", "noAccess"), agent.snmp("set", *write).err)
