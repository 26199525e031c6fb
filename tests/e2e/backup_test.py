"""Settings that are exported and imported come back, whatever happens in between; and what shells complete."""

import random
import re
import shutil
import signal
import threading
import time
import unittest

from harness import BUILD, TREE, Deployment, SYSTEM, eventually, not_tested, run

FIRST = """snmp community add name=first addresses=127.0.0.0/8
snmp community set common addresses=127.0.0.0/8
snmp set contact=first
"""
SECOND = FIRST.replace("first", "second") + "snmp community remove first\n"
LOCAL = "addresses=127.0.0.0/8,::1/128"


class Backup(unittest.TestCase):
    def imported(self, agent, text):
        answer = agent.tnctl("import", "-", stdin=text)
        self.assertEqual(answer.status, 0, answer)
        return answer.out

    def test_export_wipe_import_gives_the_same_walk(self):
        agent = Deployment("node").ends_with(self).start().open()
        agent.configure("set", "contact=it's # me", "trap-targets=192.0.2.1", "trap-community=private",
                        "trap-generators=interfaces", "interfaces=lo")
        agent.configure("community", "add", "name=ops", "security=private", LOCAL, "authentication-password=maplesyrup",
                        "encryption-password=sugarcane")
        backup = agent.tnctl("export", "--secrets").out
        self.assertNotIn("maplesyrup", agent.tnctl("export").out)
        walk = agent.walk(SYSTEM)
        agent.configure("reset")
        self.assertNotIn("private", agent.tnctl("export", "--secrets").out)
        self.assertEqual(agent.snmp("get", f"{SYSTEM}.4.0", retries=0).out, "")
        self.assertEqual(agent.tnctl("undo").status, 0)
        self.assertEqual(agent.tnctl("export", "--secrets").out, backup)

        # On a new machine, before its agent starts for the first time.
        agent.stop()
        other = Deployment("node").ends_with(self)
        self.assertIn("no agent is running", self.imported(other, backup))
        other.start()
        self.assertEqual(other.tnctl("export", "--secrets").out, backup)
        uptime = (3, "0")
        self.assertEqual({**other.walk(SYSTEM), uptime: ""}, {**walk, uptime: ""})
        listed = eventually(lambda: other.tnctl("undo", "list").out, "the undo record")
        self.assertIn("-> it's # me", listed)
        self.assertNotIn("maplesyrup", listed)
        self.assertEqual(other.tnctl("undo").status, 0)
        self.assertNotIn("private", other.tnctl("export", "--secrets").out)

    def test_kill_leaves_the_old_or_the_new_settings(self):
        agent = Deployment("node").ends_with(self).start()
        self.imported(agent, FIRST)
        for _ in range(4):
            over = threading.Event()

            def storm():
                while not over.is_set():
                    for text in (SECOND, FIRST + "snmp community remove second\n"):
                        agent.tnctl("--timeout", 1, "import", "-", stdin=text)

            thread = threading.Thread(target=storm)
            thread.start()
            time.sleep(random.uniform(0.05, 0.3))
            agent.daemons["node"].process.send_signal(signal.SIGKILL)
            agent.daemons.pop("node").end(signal.SIGKILL)
            over.set()
            thread.join()
            agent.start()
            exported = agent.tnctl("export").out
            contact = re.search("contact=(.*)", exported)[1]
            self.assertEqual(re.findall("add name=(.*?) ", exported), [contact], f"{exported}\n{agent.said()}")


# What zsh offers for the last word of each argument, one line each. Completion needs a terminal and an interactive shell.
ZSH = r"""zmodload zsh/zpty
zpty shell zsh -fi
zpty -w shell "PS1= fpath=($1 \$fpath); autoload -Uz compinit; compinit -D; stty -echo
compadd() { local -a hits; builtin compadd -A hits \"\$@\"; print -n \$'\x02'\${(j: :)hits}\$'\x02'; }
offer() { _main_complete; print -n \$'\x03'; }; zle -C offer list-choices offer; bindkey '^I' offer; print -n \$'\x03'"
zpty -r shell out $'*\x03'
for line in $@[2,-1]; do
    zpty -w -n shell $'\x15'$line$'\t'
    zpty -r shell out $'*\x03'
    print -r -- ${(j: :)${(ps:\x02:)out}[2,-2]}
done"""


class Completion(unittest.TestCase):
    LINES = [("tnctl sn", {"snmp"}), ("tnctl snmp community ", {"list", "show", "add", "set", "remove"}),
             ("tnctl snmp set loc", {"location="}), ("tnctl snmp set enabled=", {"yes", "no"}),
             ("tnctl snmp set trap-community=p", {"private"}), ("tnctl --json snmp set interfaces=l", {"lo"}),
             ("tnctl snmp community remove ", {"common", "private"}),
             ("tnctl snmp community set common sec", {"security="}), ("tnctl import --d", {"--dry-run"}),
             ("tnctl --root /x s", {"snmp", "status"})]

    def completed_by_bash(self, agent, line):
        words = line.replace("=", " = ").split(" ") if not line.endswith(" ") else [*line.split(), ""]
        quoted = " ".join(f"'{word}'" for word in words if word or word is words[-1])
        script = f"""source {TREE}/packaging/completion/tnctl.bash
            COMP_WORDS=({quoted}) COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); compopt() {{ :; }}
            _tnctl; printf '%s\\n' "${{COMPREPLY[@]}}" """
        answer = run("bash", "-c", script, env={"PATH": f"{BUILD}:/usr/bin:/bin", "TERN_ROOT": str(agent.root)})
        self.assertEqual((answer.status, answer.err), (0, ""), line)
        return answer.out.split()

    def completed_by_zsh(self, agent, lines):
        answer = run("timeout", 60, "zsh", "-fc", ZSH, "zsh", TREE / "packaging/completion", *lines,
                     env={"PATH": f"{BUILD}:/usr/bin:/bin", "TERN_ROOT": str(agent.root)})
        self.assertEqual((answer.status, answer.err), (0, ""))
        # A word is offered whole; bash offers what follows the =.
        return [[word[line.split(" ")[-1].rfind("=") + 1:] for word in words.split()]
                for line, words in zip(lines, answer.out.splitlines(), strict=True)]

    def test_bash_and_zsh_complete_commands_keys_values_and_names(self):
        agent = Deployment("node").ends_with(self).start().open()
        for line, expected in self.LINES:
            self.assertEqual(set(self.completed_by_bash(agent, line)), expected, line)
        if not shutil.which("zsh"):
            not_tested("completion in zsh: it isn't installed")
        lines = [line for line, _ in self.LINES]
        for (line, expected), offered in zip(self.LINES, self.completed_by_zsh(agent, lines), strict=True):
            self.assertEqual(set(offered), expected, line)
