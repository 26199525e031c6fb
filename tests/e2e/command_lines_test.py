"""Command lines: usage errors, the documented examples, and undo."""

import pathlib
import re
import shlex
import signal
import subprocess
import tempfile
import unittest

from harness import NO_ROOT, TIMEOUT, PROGRAMS, Daemon, Deployment, program, temp_folder

MANUALS = pathlib.Path(__file__).resolve().parents[2] / "docs/man"

DAEMON_MISTAKES = [["--nonsense"], ["word"], ["--log", "nowhere"], ["--log"], ["--root"]]
AGENT_MISTAKES = [["--port", "0"], ["--port", "65536"], ["--port", "snmp"], ["--port", "161x"], ["--port"]]
MISTAKES = {
    "tarnix-snmpd": DAEMON_MISTAKES + AGENT_MISTAKES,
    "tarnix-node": DAEMON_MISTAKES + AGENT_MISTAKES,
    "tarnix-hostd": DAEMON_MISTAKES + [["--port", "161"], ["--spawn"], ["--", "--port", "161"]],
    "tnctl": [[], ["--nonsense", "snmp"], ["smnp"], ["snmp", "trap"], ["undo", "first"], ["message", "24", "fetch"],
              ["watch"], ["snmp", "community", "set", "common"], ["snmp", "community", "add", "addresses=::/0"]],
}


def run(name, *words, root=NO_ROOT):
    return subprocess.run([program(name), *words], capture_output=True, text=True, timeout=TIMEOUT,
                          stdin=subprocess.DEVNULL, env={"TERN_ROOT": root})


class UsageErrors(unittest.TestCase):
    def test_usage_error_prints_one_line_and_exits_with_2(self):
        for name, mistakes in MISTAKES.items():
            for words in mistakes:
                with self.subTest(program=name, words=words):
                    done = run(name, *words)
                    self.assertEqual(done.returncode, 2, done)
                    self.assertEqual(done.stdout, "")
                    self.assertRegex(done.stderr, rf"\A{name}[^\n]*: [^\n]+\n\Z")

    def test_missing_program_to_spawn_is_reported(self):
        done = run("tarnix-hostd", "--spawn", "tarnix-nowhere")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"\Atarnix-hostd: --spawn: tarnix-nowhere [^\n]+\n\Z")

    def test_help_and_version_need_no_root(self):
        for name in PROGRAMS:
            with self.subTest(program=name):
                done = run(name, "--help")
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertIn("--root", done.stdout)
                done = run(name, "--version")
                self.assertRegex(done.stdout, rf"\A{name} \d+\.\d+\.\d+\n\Z")

    def test_root_that_cannot_be_created_is_reported(self):
        with tempfile.NamedTemporaryFile() as file:
            for name in ("tarnix-snmpd", "tarnix-node", "tarnix-hostd"):
                with self.subTest(program=name):
                    done = run(name, root=file.name)
                    self.assertEqual(done.returncode, 1, done)
                    self.assertRegex(done.stderr, r"(?m)^bus: \d+: .*: Not a directory$")

    def test_tnctl_without_daemons_prints_one_line(self):
        done = run("tnctl", "snmp", root=str(temp_folder(self)))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(len(done.stderr.splitlines()), 1, done)


class Examples(unittest.TestCase):
    """Every example in tnctl's help texts and manual page works."""

    def setUp(self):
        self.agent = Deployment("node").ends_with(self).start().open()
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

    def test_every_example_of_the_help_texts_works(self):
        texts = "\n".join(self.help_texts()).replace("\\\n", " ")
        self.check(list(dict.fromkeys(re.findall(r"(?m)^  (tnctl .*)$", texts))))

    def test_every_example_of_the_manual_page_works(self):
        examples = (MANUALS / "tnctl.1").read_text().partition(".SH EXAMPLES\n.nf\n")[2].partition(".fi")[0]
        self.check(examples.replace("\\e\n", "").replace("\\-", "-").splitlines())


class Undo(unittest.TestCase):
    def test_undo_reverts_changes_from_newest_to_oldest(self):
        agent = Deployment("node").ends_with(self).start()
        for contact in ("first", "second"):
            agent.configure("set", f"contact={contact}")
        for contact in ("first", "-"):
            self.assertEqual(agent.tnctl("undo").status, 0)
            self.assertRegex(agent.configure().out, rf"(?m)^contact +{contact}$")
        self.assertEqual(agent.tnctl("undo").status, 1)
