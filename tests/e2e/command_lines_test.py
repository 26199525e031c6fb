"""What people type: wrong words, the documented examples, and what is asked before everyone is let in."""

import pathlib
import re
import shlex
import signal
import subprocess
import tempfile
import unittest

from harness import PATIENCE, PROGRAMS, SYS_SERVICES, Daemon, Deployment, eventually, program

MANUALS = pathlib.Path(__file__).resolve().parents[2] / "docs/man"

DAEMON_MISTAKES = [["--nonsense"], ["word"], ["--log", "nowhere"], ["--log"], ["--root"]]
AGENT_MISTAKES = [["--port", "0"], ["--port", "65536"], ["--port", "snmp"], ["--port", "161x"], ["--port"]]
MISTAKES = {
    "tarnix-snmpd": DAEMON_MISTAKES + AGENT_MISTAKES,
    "tarnix-node": DAEMON_MISTAKES + AGENT_MISTAKES,
    "tarnix-hostd": DAEMON_MISTAKES + [["--port", "161"], ["--spawn"], ["--", "--port", "161"]],
    "tnctl": [[], ["--nonsense", "snmp"], ["smnp"], ["snmp", "set"], ["snmp", "set", "contact"],
              ["snmp", "set", "contakt=noc"], ["snmp", "set", "enabled=maybe"],
              ["snmp", "set", "trap-targets=somewhere"], ["snmp", "trap"], ["snmp", "trap", "send", "value=x"], ["snmp", "set", "engine-id=" + 28 * "x"],
              ["snmp", "community"], ["snmp", "community", "add", "addresses=::/0"],
              ["snmp", "community", "add", "name=x", "addresses=1.2.3.4/33"], ["snmp", "community", "set", "common"],
              ["undo", "first"], ["message", "24", "fetch"], ["message", "24,x", "get"],
              ["message", "24,2", "get", "1:u32=x"], ["watch"], ["--timeout", "soon", "snmp"]],
}


def run(name, *words, root="/nonexistent"):
    return subprocess.run([program(name), *words], capture_output=True, text=True, timeout=PATIENCE,
                          stdin=subprocess.DEVNULL, env={"TERN_ROOT": root})


class WrongWords(unittest.TestCase):
    def test_each_gets_one_line_and_status_2(self):
        for name, mistakes in MISTAKES.items():
            for words in mistakes:
                with self.subTest(program=name, words=words):
                    done = run(name, *words)
                    self.assertEqual(done.returncode, 2, done)
                    self.assertEqual(done.stdout, "")
                    self.assertRegex(done.stderr, rf"\A{name}[^\n]*: [^\n]+\n\Z")

    def test_program_to_spawn_that_is_nowhere(self):
        done = run("tarnix-hostd", "--spawn", "tarnix-nowhere")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"\Atarnix-hostd: --spawn: tarnix-nowhere [^\n]+\n\Z")

    def test_help_and_version(self):
        for name in PROGRAMS:
            with self.subTest(program=name):
                done = run(name, "--help")
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertIn("--root", done.stdout)
                done = run(name, "--version")
                self.assertRegex(done.stdout, rf"\A{name} \d+\.\d+\.\d+\n\Z")

    def test_root_that_cannot_be_made(self):
        with tempfile.NamedTemporaryFile() as file:
            for name in ("tarnix-snmpd", "tarnix-node", "tarnix-hostd"):
                with self.subTest(program=name):
                    done = run(name, root=file.name)
                    self.assertEqual(done.returncode, 1, done)
                    self.assertRegex(done.stderr, r"(?m)^bus: \d+: .*: Not a directory$")

    def test_nobody_there(self):
        with tempfile.TemporaryDirectory() as root:
            done = run("tnctl", "snmp", root=root)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(len(done.stderr.splitlines()), 1, done)


class Examples(unittest.TestCase):
    """Each example of tnctl's help texts and of its manual page does what it says."""

    def setUp(self):
        self.agent = Deployment("node")
        self.addCleanup(self.agent.close)
        self.agent.start().open()
        self.key = self.agent.root / "key"
        self.key.write_text("long enough a key\n")

    def run_example(self, line):
        words = shlex.split(line)[1:]
        words = [word.replace("@FILE", f"@{self.key}").replace("@/root/key", f"@{self.key}") for word in words]
        if "watch" in words:
            return self.run_watch(words)
        if words[:3] == ["snmp", "trap", "send"]:
            self.agent.configure("set", "trap-targets=127.0.0.1", "trap-community=common")
        if words[:2] == ["undo", "17"]:
            words[1] = re.findall(r"(?m)^(\d+)", self.agent.tnctl("undo", "list").out)[-1]
        answer = self.agent.tnctl(*words, stdin="long enough a password\n")
        self.assertEqual(answer.status, 0, f"{line}: {answer}")
        self.assertEqual(answer.err, "", line)
        if "trap-targets" in line:
            self.agent.configure("set", "trap-targets=none")  # no test sends anything to another machine

    def run_watch(self, words):
        """It never ends by itself: it has to be still there once the agent has answered something else."""
        watcher = Daemon([program("tnctl"), "--root", self.agent.root, *words], self.agent.root / "watched")
        try:
            self.agent.configure()
            self.assertTrue(watcher.alive(), watcher.said())
        finally:
            watcher.end(signal.SIGKILL)

    def help_texts(self, *command):
        text = self.agent.tnctl(*command, "--help").out
        yield text
        for inner in re.findall(r"(?m)^  ([a-z]+)  ", text.partition("Subcommands:\n")[2].partition("\nWords:")[0]):
            yield from self.help_texts(*command, inner)

    def check(self, lines):
        # Names and ids that examples speak of, and something to take back.
        for number in (3, 4, 5):
            self.agent.tnctl("snmp", "community", "add", f"name=spare{number}", "addresses=192.0.2.1/32")
        self.assertGreater(len(lines), 4)
        for line in lines:
            with self.subTest(line=line):
                if "remove monitor" in line or "trap-community=monitor" in line:
                    self.agent.tnctl("snmp", "community", "add", "name=monitor", "addresses=192.0.2.1/32")
                elif "add name=monitor" in line:
                    self.agent.tnctl("snmp", "community", "remove", "monitor")
                self.run_example(line)

    def test_of_the_help_texts(self):
        texts = "\n".join(self.help_texts()).replace("\\\n", " ")
        self.check(list(dict.fromkeys(re.findall(r"(?m)^  (tnctl .*)$", texts))))

    def test_of_the_manual_page(self):
        examples = (MANUALS / "tnctl.1").read_text().partition(".SH EXAMPLES\n.nf\n")[2].partition(".fi")[0]
        self.check(examples.replace("\\e\n", "").replace("\\-", "-").splitlines())


class EveryoneIsNotLetInByAccident(unittest.TestCase):
    def setUp(self):
        self.agent = Deployment("node")
        self.addCleanup(self.agent.close)
        self.agent.start()

    def test_fresh_agent_refuses_everyone_until_it_is_edited(self):
        answer = self.agent.configure("set", "enabled=yes")
        self.assertIn("everyone is refused", answer.out)
        self.assertEqual(self.agent.snmp("get", SYS_SERVICES, timeout=0.3, retries=0).status, 1)

    def test_everywhere_has_to_be_meant(self):
        anywhere = ["snmp", "community", "set", "common", "addresses=0.0.0.0/0,::/0"]
        answer = self.agent.tnctl(*anywhere)
        self.assertEqual(answer.status, 2, answer)
        self.assertIn("--yes", answer.err)
        self.assertIn("refuses everyone", self.agent.configure("community", "list").out)
        answer = self.agent.tnctl(*anywhere, "--yes")
        self.assertEqual(answer.status, 0, answer)
        self.assertIn("common may read from everywhere", answer.out)
        self.agent.configure("set", "enabled=yes", "--yes")
        self.assertEqual(self.agent.get(SYS_SERVICES, host="udp6:[::1]"), "INTEGER: 78")

    def test_passwords_are_long_and_not_shown(self):
        words = ["snmp", "community", "add", "name=op", "addresses=127.0.0.1/32", "security=authorized"]
        answer = self.agent.tnctl(*words, "authentication-password=short")
        self.assertEqual(answer.status, 2, answer)
        self.assertNotIn("short", answer.err.replace("too short", ""))
        self.agent.tnctl(*words, "authentication-password=-", stdin="correct horse\n")
        self.assertNotIn("correct horse", self.agent.configure("community", "list").out)
        self.assertIn("correct horse", self.agent.configure("community", "list", "--secrets").out)

    def test_undo_takes_changes_back_one_after_the_other(self):
        for contact in ("first", "second"):
            self.agent.configure("set", f"contact={contact}")
        for contact in ("first", "-"):
            self.assertEqual(self.agent.tnctl("undo").status, 0)
            self.assertRegex(self.agent.configure().out, rf"(?m)^contact +{contact}$")
        answer = self.agent.tnctl("undo")
        self.assertEqual(answer.status, 1, answer)

    def test_watch_prints_a_change(self):
        watcher = Daemon([program("tnctl"), "--root", self.agent.root, "--json", "watch", "34"],
                         self.agent.root / "watched")
        self.addCleanup(watcher.end, signal.SIGKILL)

        def told():  # the change may come before the subscription: it is made until it is seen
            self.agent.configure("set", "contact=noc")
            return "noc" in watcher.said()

        eventually(told, "the change is printed")
