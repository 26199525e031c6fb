"""The answers of --standard, and those without it, as Debian's clients see them."""

import unittest

from harness import SYS_CONTACT, SYS_DESCR, SYS_NAME, SYS_OBJECT_ID, SYS_SERVICES, SYS_LOCATION, V3, Deployment, run

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

    def test_version_3_in_both_modes(self):
        """What is wrong with a message, and its reply in each mode: `response`, or the counter of a Report below
        snmpModules, each with its level; or nothing."""
        faults = (
            ({}, "response 1", "response 1"),
            ({"ahead": 100}, "15.1.1.2.0 1", "response 1"),
            ({"ahead": 200}, "15.1.1.2.0 1", "15.1.1.2.0 1"),
            ({"user": "nobody"}, "15.1.1.3.0 0", "15.1.1.3.0 0"),
            ({"password": "another one"}, "15.1.1.5.0 1", "15.1.1.5.0 0"),
            ({"flags": 4}, "15.1.1.1.0 0", "15.1.1.1.0 0"),
            ({"flags": 6}, "15.1.1.1.0 0", None),
            ({"model": 2}, "response 1", None),
            ({"max_size": 483}, "response 1", None),
            ({"context": "vlan"}, "response 1", "12.1.5.0 1"),
            ({"context_engine": b"other"}, "response 1", "11.2.1.3.0 1"),
        )
        for is_standard in (False, True):
            agent = Deployment("node", agent_words=["--standard"] * is_standard).ends_with(self).start().open()
            for name, security in (("ops", "authorized"), ("secret", "private")):
                agent.configure("community", "add", "name=" + name, "addresses=127.0.0.0/8", "security=" + security,
                                "authentication-protocol=sha1", "authentication-password=maplesyrup",
                                "encryption-protocol=aes128", "encryption-password=sugarcane")
            manager = V3(agent, "maplesyrup")
            for fault, *replies in faults:
                with self.subTest(standard=is_standard, **fault):
                    reply = manager.ask(**{"user": "ops", "flags": 5, **fault})
                    if reply is not None:
                        what = "response" if reply[0] == 0xA2 else ".".join(map(str, reply[4][0][5:]))
                        reply = f"{what} {reply[1] & 3}"
                    self.assertEqual(reply, replies[is_standard])
            with self.subTest(standard=is_standard):
                pdu, _, limit, status, names, size = manager.ask("ops", flags=5, max_size=484, names=[SYS_DESCR] * 9)
                self.assertEqual((pdu, limit, status, len(names), size > 484),
                                 (0xA2, 65507, 1, 0, False) if is_standard else (0xA2, 484, 0, 9, True))
                for user, password, error in (("secret", "another one", "Decryption error"),
                                              ("nobody", "sugarcane", "Unknown user name")):
                    answer = run("snmpget", "-v3", "-l", "authPriv", "-u", user, "-a", "SHA", "-A", "maplesyrup", "-x",
                                 "AES", "-X", password, "-t1", f"-r{10 * is_standard}", f"127.0.0.1:{agent.port}",
                                 SYS_SERVICES)
                    self.assertIn(error if is_standard else "Timeout", answer.err)
