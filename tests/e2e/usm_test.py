"""SNMPv3 with Debian's client: levels and protocols, restarts, and users that change while the agent runs."""

import itertools
import subprocess
import unittest

from harness import PATIENCE, SYS_CONTACT, SYS_SERVICES, SYSTEM, Answer, Deployment

PROTOCOLS = {"md5": "MD5", "sha1": "SHA"}  # tnctl's words, and those of the client
LEVELS = {"none": "noAuthNoPriv", "authorized": "authNoPriv", "private": "authPriv"}
AUTH, PRIV = "maplesyrup", "sugarcane"
WARNING = "can be forged without a password"


class Agent(Deployment):
    def user(self, name, security, protocol="sha1", *words, addresses="127.0.0.0/8"):
        self.configure("community", "add", f"name={name}", f"security={security}", f"addresses={addresses}",
                       f"authentication-protocol={protocol}", f"authentication-password={AUTH}",
                       f"encryption-password={PRIV}", *words)

    def v3(self, client, user, level, *words, protocol="sha1", auth=AUTH, priv=PRIV, retries=10):
        return Answer(subprocess.run(
            ["snmp" + client, "-v3", "-u", user, "-l", LEVELS[level], "-a", PROTOCOLS[protocol], "-A", auth, "-x", "DES",
             "-X", priv, "-On", "-t1", f"-r{retries}", f"127.0.0.1:{self.port}", *words],
            capture_output=True, text=True, timeout=PATIENCE * 2))


class Usm(unittest.TestCase):
    def deploy(self, kind="node", words=("--strict-usm",)):
        agent = Agent(kind, agent_words=words)
        self.addCleanup(agent.close)
        return agent.start().open()

    def assert_answers(self, answer):
        self.assertEqual(answer.status, 0, answer)
        self.assertEqual(answer.values(), {SYS_SERVICES: "INTEGER: 78"})

    def assert_refuses(self, answer):
        self.assertNotEqual(answer.status, 0, answer)
        self.assertEqual(answer.values(), {})

    def test_every_level_and_protocol(self):
        for kind in ("node", "apart"):
            agent = self.deploy(kind)
            for security, protocol in itertools.product(LEVELS, PROTOCOLS):
                name = f"{security}-{protocol}"
                agent.user(name, security, protocol, "write-access=yes")
                with self.subTest(kind=kind, user=name):
                    for level in list(LEVELS)[list(LEVELS).index(security):]:
                        self.assert_answers(agent.v3("get", name, level, SYS_SERVICES, protocol=protocol))
                    walks = [agent.v3(walk, name, security, SYSTEM, protocol=protocol) for walk in ("walk", "bulkwalk")]
                    community = agent.snmp("walk", SYSTEM)
                    for walk in walks:
                        self.assertEqual(walk.names(), community.names(), walk)
                    done = agent.v3("set", name, security, SYS_CONTACT, "s", name, protocol=protocol)
                    self.assertEqual(done.status, 0, done)
                    self.assertEqual(agent.get(SYS_CONTACT), f'STRING: "{name}"')

    def test_who_is_refused_and_what_is_told(self):
        agent = self.deploy()
        agent.user("ops", "private")
        agent.user("elsewhere", "authorized", addresses="192.0.2.0/24")
        once = {"retries": 1}
        for what, told, answer in [
            ("unknown user", "Unknown user name", agent.v3("get", "nobody", "authorized", SYS_SERVICES, **once)),
            ("another address", "Unknown user name", agent.v3("get", "elsewhere", "authorized", SYS_SERVICES, **once)),
            ("too low a level", "Unsupported security level", agent.v3("get", "ops", "authorized", SYS_SERVICES, **once)),
            ("no authentication", "Unsupported security level", agent.v3("get", "ops", "none", SYS_SERVICES, **once)),
            ("wrong password", "Authentication fail", agent.v3("get", "ops", "private", SYS_SERVICES, auth="x" * 8, **once)),
            ("other protocol", "", agent.v3("get", "ops", "private", SYS_SERVICES, protocol="md5", **once)),
            ("wrong encryption", "Timeout", agent.v3("get", "ops", "private", SYS_SERVICES, priv="x" * 8, **once)),
            ("the name as community", "Timeout", agent.snmp("get", SYS_SERVICES, community="ops", **once)),
        ]:
            with self.subTest(what):
                self.assert_refuses(answer)
                self.assertIn(told, answer.err)
        self.assert_answers(agent.v3("get", "ops", "private", SYS_SERVICES))
        denied = agent.v3("set", "ops", "private", SYS_CONTACT, "s", "intruder", **once)
        self.assertIn("readOnly", denied.err)

    def test_restart_counts_boots_and_keeps_users(self):
        agent = self.deploy("apart")
        agent.user("ops", "private")
        for boots in range(3):
            self.assertRegex(agent.configure().out, rf"engine-boots +{boots}\n")
            self.assert_answers(agent.v3("get", "ops", "private", SYS_SERVICES))
            agent.stop()
            agent.start()

    def test_passwords_and_engine_id_change_while_it_runs(self):
        agent = self.deploy()
        agent.user("ops", "private")
        self.assert_answers(agent.v3("get", "ops", "private", SYS_SERVICES))
        agent.configure("community", "set", "ops", "authentication-password=newmaples", "encryption-password=newsugars")
        self.assert_refuses(agent.v3("get", "ops", "private", SYS_SERVICES, retries=1))
        new = {"auth": "newmaples", "priv": "newsugars"}
        self.assert_answers(agent.v3("get", "ops", "private", SYS_SERVICES, **new))
        agent.configure("community", "set", "ops", "authentication-protocol=md5")
        self.assert_answers(agent.v3("get", "ops", "private", SYS_SERVICES, protocol="md5", **new))
        agent.configure("set", "engine-id=another")
        self.assert_answers(agent.v3("get", "ops", "private", SYS_SERVICES, protocol="md5", **new))
        self.assert_refuses(agent.v3("get", "ops", "private", SYS_SERVICES, protocol="md5", retries=1))

    def test_agent_that_takes_short_digests_says_so(self):
        for words, warns in ((), True), (("--strict-usm",), False):
            with self.subTest(words=words):
                agent = self.deploy(words=words)
                self.assertNotIn(WARNING, agent.said())
                agent.user("ops", "authorized")
                agent.stop()
                agent.start()
                self.assertEqual(WARNING in agent.said(), warns)
                self.assert_answers(agent.v3("get", "ops", "authorized", SYS_SERVICES))


if __name__ == "__main__":
    unittest.main()
