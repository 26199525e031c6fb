"""Command lines: usage errors, and the documented examples."""

import re
import shlex
import signal
import tempfile
import unittest

from harness import BUILD, NO_ROOT, TREE, Daemon, Deployment, program, run, temp_folder

DAEMON_MISTAKES = ["--nonsense", "word", "--log nowhere", "--log", "--root"]
AGENT_MISTAKES = ["--port 0", "--port 65536", "--port snmp", "--port 161x", "--port"]
MISTAKES = {
    "tarnix-snmpd": DAEMON_MISTAKES + AGENT_MISTAKES,
    "tarnix-node": DAEMON_MISTAKES + AGENT_MISTAKES,
    "tarnix-hostd": DAEMON_MISTAKES + ["--port 161", "--spawn", "-- --port 161"],
    "tnctl": ["", "--nonsense snmp", "smnp", "snmp trap", "undo first", "message 24 fetch", "watch",
              "snmp community set common", "snmp community add addresses=::/0"],
}


class UsageErrors(unittest.TestCase):
    def assert_fails(self, status, pattern, name, words="", root=NO_ROOT):
        """It prints nothing but a complaint."""
        with self.subTest(program=name, words=words):
            answer = run(program(name), *words.split(), env={"TERN_ROOT": root})
            self.assertEqual((answer.status, answer.out), (status, ""), answer)
            self.assertRegex(answer.err, pattern)

    def test_mistake_is_reported_in_one_line(self):
        for name, mistakes in MISTAKES.items():
            for words in mistakes:
                self.assert_fails(2, rf"\A{name}[^\n]*: [^\n]+\n\Z", name, words)
        self.assert_fails(1, r"\Atarnix-hostd: --spawn: tarnix-nowhere [^\n]+\n\Z", "tarnix-hostd",
                          "--spawn tarnix-nowhere")
        self.assert_fails(1, r"\A[^\n]+\n\Z", "tnctl", "snmp", root=str(temp_folder(self)))
        with tempfile.NamedTemporaryFile() as file:
            for name in ("tarnix-snmpd", "tarnix-node", "tarnix-hostd"):
                self.assert_fails(1, r"(?m)^bus: \d+: .*: Not a directory$", name, root=file.name)

    def test_help_and_version_need_no_root(self):
        for name in MISTAKES:
            with self.subTest(program=name):
                helped = run(program(name), "--help")
                self.assertEqual((helped.status, helped.err), (0, ""))
                self.assertIn("--root", helped.out)
                self.assertRegex(run(program(name), "--version").out, rf"\A{name} \d+\.\d+\.\d+\n\Z")


class Examples(unittest.TestCase):
    """Every example in tnctl's help texts and manual page works."""

    def setUp(self):
        self.agent = Deployment("node", agent_words=["--plugins", BUILD / "shipped-plugins"]).ends_with(self).start().open()
        self.key = self.agent.root / "key"
        self.key.write_text("long enough a key\nanother of this length\n")
        self.files = {"settings": self.agent.tnctl("export", "--secrets").out,
                      "/etc/snmp/snmpd.conf": "rocommunity old 192.0.2.0/24\n"}
        for name, text in self.files.items():
            (self.agent.root / name.rpartition("/")[2]).write_text(text)

    def run_example(self, line):
        line = re.split(r" [|>] ", line)[0]
        if "user add" in line:
            self.agent.tnctl("snmp", "community", "remove", "ops")
            line = line.replace(" --passwords-from FILE", "") + " --passwords-from @FILE"
        words = [re.sub("@(FILE|/root/key)", f"@{self.key}", word) for word in shlex.split(line)[1:]]
        words = [str(self.key) if words[i - 1] == "--passwords-from" else word for i, word in enumerate(words)]
        words = [str(self.agent.root / word.rpartition("/")[2]) if word in self.files else word for word in words]
        if {"watch", "--watch"} & set(words):  # it never ends by itself
            watcher = Daemon([program("tnctl"), "--root", self.agent.root, *words], self.agent.root / "watched")
            self.addCleanup(watcher.end, signal.SIGKILL)
            self.agent.configure()
            self.assertTrue(watcher.alive(), watcher.said())
            return
        if words[:3] == ["snmp", "trap", "send"]:
            self.agent.configure("set", "trap-targets=127.0.0.1", "trap-community=common")
        if words[:2] == ["undo", "17"]:
            words[1] = re.findall(r"(?m)^(\d+)", self.agent.tnctl("undo", "list").out)[-1]
        answer = self.agent.tnctl(*words, stdin="long enough a password\n")
        self.assertEqual((answer.status, answer.err), (0, ""), f"{line}: {answer}")
        if "undo reverts it" in answer.out and words[0] == "import":
            self.agent.tnctl("undo")  # other examples need what it removed
        if "trap-targets" in line:
            self.agent.configure("set", "trap-targets=none")  # no test sends anything to another machine

    def help_texts(self, *command):
        text = self.agent.tnctl(*command, "--help").out
        yield text
        for inner in re.findall(r"(?m)^  ([a-z]+)  ", text.partition("Commands:\n")[2].partition("\nKeys:")[0]):
            yield from self.help_texts(*command, inner)

    def test_every_example_of_the_help_texts_and_the_manual_page_works(self):
        texts = "\n".join(self.help_texts()).replace("\\\n", " ")
        helped = re.findall(r"(?m)^  (tnctl .*)$", texts)
        manual = (TREE / "docs/man/tnctl.1").read_text().partition(".SH EXAMPLES\n.nf\n")[2].partition(".fi")[0]
        shown = manual.replace("\\e\n", "").replace("\\-", "-").splitlines()
        self.assertGreater(min(len(helped), len(shown)), 4)
        # Names and ids that examples speak of, and something to take back.
        for number in (3, 4, 5):
            self.agent.tnctl("snmp", "community", "add", f"name=spare{number}", "addresses=192.0.2.1/32")
        for line in dict.fromkeys(helped + shown):
            with self.subTest(line=line):
                if "remove monitor" in line or "trap-community=monitor" in line:
                    self.agent.tnctl("snmp", "community", "add", "name=monitor", "addresses=192.0.2.1/32")
                elif "add name=monitor" in line:
                    self.agent.tnctl("snmp", "community", "remove", "monitor")
                self.run_example(line)
