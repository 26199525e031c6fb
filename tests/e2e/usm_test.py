"""SNMPv3 with Debian's client: levels and protocols, restarts, and changes of users at run time."""

import itertools
import shlex
import unittest

from harness import SYS_CONTACT, SYS_DESCR, SYS_SERVICES, SYSTEM, Deployment, run, temp_folder

# tnctl's words, and those of the client. Its AES-192 and AES-256 have the key extension that it uses by default.
PROTOCOLS = {"md5": "MD5", "sha1": "SHA", "sha224": "SHA-224", "sha256": "SHA-256", "sha384": "SHA-384",
             "sha512": "SHA-512"}
CIPHERS = {"des": "DES", "aes128": "AES", "aes192": "AES-192", "aes256": "AES-256"}
LEVELS = {"none": "noAuthNoPriv", "authorized": "authNoPriv", "private": "authPriv"}
AUTH, PRIV = "maplesyrup", "sugarcane"
WARNING = "can be impersonated without a password"


class Agent(Deployment):
    def user(self, name, security, protocol="sha1", *words):
        self.configure("community", "add", f"name={name}", f"security={security}", "addresses=127.0.0.0/8",
                       f"authentication-protocol={protocol}", f"authentication-password={AUTH}",
                       f"encryption-password={PRIV}", *words)

    def v3(self, client, user, level, *words, protocol="sha1", cipher="des", auth=AUTH, priv=PRIV):
        return run("snmp" + client, "-v3", "-u", user, "-l", LEVELS[level], "-a", PROTOCOLS[protocol], "-A", auth, "-x",
                   CIPHERS[cipher], "-X", priv, "-On", "-t1", "-r10", f"127.0.0.1:{self.port}", *words)


class Usm(unittest.TestCase):
    def deploy(self, kind="node"):
        return Agent(kind, agent_words=["--strict-usm"]).ends_with(self).start().open()

    def assert_answers(self, agent, *words, **how):
        answer = agent.v3("get", *words, SYS_SERVICES, **how)
        self.assertEqual((answer.status, answer.values()), (0, {SYS_SERVICES: "INTEGER: 78"}), answer)

    def test_every_level_works(self):
        for kind in ("node", "apart"):
            agent = self.deploy(kind)
            pairs = ("md5", "des"), ("sha1", "des"), ("sha256", "aes128")
            for security, (protocol, cipher) in itertools.product(LEVELS, pairs):
                name, how = f"{security}-{protocol}", {"protocol": protocol, "cipher": cipher}
                agent.user(name, security, protocol, "encryption-protocol=" + cipher, "write-access=yes")
                with self.subTest(kind=kind, user=name):
                    for level in list(LEVELS)[list(LEVELS).index(security):]:
                        self.assert_answers(agent, name, level, **how)
                    for client in ("walk", "bulkwalk"):
                        walk = agent.v3(client, name, security, SYSTEM, **how)
                        self.assertEqual(walk.names(), agent.snmp(client, SYSTEM).names(), walk)
                    agent.v3("set", name, security, SYS_CONTACT, "s", name, **how)
                    self.assertEqual(agent.get(SYS_CONTACT), f'STRING: "{name}"')

    def test_every_pair_of_protocols_works_while_a_user_changes(self):
        agent = self.deploy()
        agent.user("ops", "private")
        for protocol, cipher in itertools.product(PROTOCOLS, CIPHERS):
            with self.subTest(protocol=protocol, cipher=cipher):
                agent.configure("community", "set", "ops", f"authentication-protocol={PROTOCOLS[protocol]}",
                                f"encryption-protocol={CIPHERS[cipher]}")
                self.assert_answers(agent, "ops", "private", protocol=protocol, cipher=cipher)
        wrong = agent.v3("get", "ops", "private", SYS_SERVICES, protocol="sha256", cipher="aes256")
        self.assertIn("Authentication fail", wrong.err)

    def test_the_line_printed_for_a_new_user_works(self):
        agent = self.deploy()
        passwords = temp_folder(self) / "passwords"
        passwords.write_text(f"{AUTH}\nsugar 'cane' \\$1\n")
        added = agent.configure("user", "add", "ops", "addresses=127.0.0.0/8", "--passwords-from", passwords, "--secrets")
        client, *words = shlex.split(added.out.splitlines()[-1].replace("HOST", "127.0.0.1"))
        self.assertIn(SYS_DESCR, run(client, "-On", *words).values())
        shown = agent.configure("user", "show", "ops").out
        self.assertNotIn(AUTH, shown)
        self.assertIn("  max_repetitions = 50\n", shown)

    def test_users_survive_a_restart_and_change_at_run_time(self):
        agent = self.deploy()
        agent.user("ops", "private")
        self.assert_answers(agent, "ops", "private")
        agent.stop()
        agent.start()
        self.assertNotIn(WARNING, agent.said())
        self.assertRegex(agent.configure().out, r"engine-boots +1\n")
        self.assert_answers(agent, "ops", "private")
        self.assertIn("Unknown user", agent.v3("get", "nobody", "authorized", SYS_SERVICES).err)
        self.assertIn("Unsupported security level", agent.v3("get", "ops", "authorized", SYS_SERVICES).err)

        agent.configure("community", "set", "ops", "authentication-password=newmaples", "encryption-password=newsugars")
        self.assertIn("Authentication fail", agent.v3("get", "ops", "private", SYS_SERVICES, priv="newsugars").err)
        new = {"auth": "newmaples", "priv": "newsugars"}
        self.assert_answers(agent, "ops", "private", **new)
        agent.configure("community", "set", "ops", "authentication-protocol=md5")
        self.assert_answers(agent, "ops", "private", protocol="md5", **new)
        agent.configure("set", "engine-id=another", "--yes")
        self.assert_answers(agent, "ops", "private", protocol="md5", **new)
