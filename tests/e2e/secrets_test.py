"""Passwords and communities don't leak, and only root can read the memory that contains them."""

import os
import pathlib
import re
import resource
import signal
import time
import unittest

from harness import (BUILD, SYS_CONTACT, Daemon, eventually, not_tested, program, run, signal_process, temp_folder,
                     text_of, usable)
from usm_test import Agent

NOBODY = 65534

# One for each way to enter a secret. A wrong guess is a secret, too: it may be a password elsewhere.
CANARY = f"canary-{os.urandom(4).hex()}"  # differs from those of other runs on the machine
COMMUNITIES = {place: f"{CANARY}-{place}" for place in ("own", "renamed", "trap", "guessed")}
PASSWORDS = {place: f"{CANARY}-{place}" for place in ("word", "priv-word", "input", "file", "message", "last", "guess")}
PASSWORDS["too-short"] = "can-ary"
READINGS = (["snmp"], ["processes"], ["status"], ["undo", "list"], ["--json", "snmp", "community", "list"], ["export"],
            ["message", "34", "get"], ["message", "34,1", "get-all"], ["message", "1,1", "get-all"])


def as_nobody(*groups):
    """Command-line prefix for another user in these groups."""
    groups = "--groups=" + ",".join(map(str, groups)) if groups else "--clear-groups"
    return usable("setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", groups)


class Canaries(unittest.TestCase):
    def setUp(self):
        self.agent = Agent("spawn", agent_words=["--strict-usm", "--debug"]).ends_with(self).start().open()
        self.agent.root.chmod(0o755)
        self.printed = []  # by tnctl with full rights

    def tnctl(self, *words, stdin="", status=0):
        answer = self.agent.tnctl(*words, stdin=stdin)
        self.assertEqual(answer.status, status, answer)
        self.printed.append(str(answer))
        return answer.out

    def watch(self, *words, prefix=()):
        """Starts tnctl watch for each path with secrets, with its output in a file."""
        watchers = []
        for path in ("34", "34,1", "1,1"):
            command = [*prefix, program("tnctl"), "--root", self.agent.root, "watch", *words, path]
            watchers.append(Daemon(command, self.agent.root / f"watched-{len(command)}-{path}"))
            self.addCleanup(watchers[-1].end)
        return watchers

    def assert_user_has(self, auth, priv, has=True):
        answer = self.agent.v3("get", "user", "private", SYS_CONTACT, auth=PASSWORDS[auth], priv=PASSWORDS[priv])
        self.assertEqual(answer.status == 0, has, answer)

    def use_every_place(self):
        """Enters, uses and changes each secret, undoes the change, and reads everything."""
        self.tnctl("snmp", "set", "trap-targets=127.0.0.1")
        for place in ("own", "trap"):
            self.tnctl("snmp", "community", "add", f"name={COMMUNITIES[place]}", "addresses=127.0.0.0/8")
        self.tnctl("snmp", "set", f"trap-community={COMMUNITIES['trap']}")
        self.tnctl("snmp", "trap", "send")
        for version in ("1", "2c"):
            self.agent.get(SYS_CONTACT, version=version, community=COMMUNITIES["own"])
            self.agent.snmp("get", SYS_CONTACT, version=version, community=COMMUNITIES["guessed"],
                            timeout=0.1, retries=0)

        user, file = ("snmp", "community", "set", "user"), self.agent.root / "password"
        self.tnctl("snmp", "community", "add", "name=user", "addresses=127.0.0.0/8", "security=private",
                   "authentication-protocol=sha1", f"authentication-password={PASSWORDS['word']}",
                   f"encryption-password={PASSWORDS['priv-word']}")
        self.assert_user_has("word", "priv-word")
        self.assert_user_has("guess", "priv-word", has=False)
        file.write_text(PASSWORDS["file"] + "\n")
        self.tnctl(*user, "authentication-password=-", f"encryption-password=@{file}", stdin=PASSWORDS["input"] + "\n")
        file.unlink()
        self.assert_user_has("input", "file")
        self.tnctl(*user, f"authentication-password={PASSWORDS['too-short']}", status=2)
        row = re.search(r"(?m)^(\d+) +user ", self.tnctl("snmp", "community", "list"))[1]
        self.tnctl("message", "34,1", "set-object", f"0xfe0001:u32={row}", f"11:string={PASSWORDS['message']}")
        self.assert_user_has("message", "file")
        self.tnctl(*user, f"authentication-password={PASSWORDS['last']}")
        self.tnctl("undo")
        self.assert_user_has("message", "file")
        self.tnctl("snmp", "community", "set", COMMUNITIES["own"], f"name={COMMUNITIES['renamed']}")
        self.tnctl("snmp", "community", "remove", COMMUNITIES["renamed"])
        for words in READINGS:
            self.tnctl(*words)
        self.assertIn(PASSWORDS["message"], self.agent.tnctl("export", "--secrets").out)

    def assert_none(self, secrets, text, where):
        self.assertEqual([place for place, secret in secrets.items() if secret in text], [], where)

    def test_secrets_appear_in_no_output(self):
        agent, every, reader = self.agent, COMMUNITIES | PASSWORDS, as_nobody(os.getegid())
        owner, readers = self.watch(), self.watch(prefix=reader) + self.watch("--secrets", prefix=reader)

        def told():
            agent.configure("set", f"contact=noc {time.monotonic()}")
            return all("noc" in watchers[0].said() for watchers in (owner, readers, readers[3:]))

        eventually(told, "watchers report settings")
        self.use_every_place()
        for words in (*READINGS, ["export", "--secrets"]):
            answer = run(*reader, program("tnctl"), "--root", agent.root, *words)
            self.assert_none(every, str(answer), f"{words} without the right to write")
        for pid in [agent.daemons["hostd"].pid, *agent.agent_pids()]:
            for file in ("cmdline", "environ", "status"):
                self.assert_none(every, pathlib.Path(f"/proc/{pid}/{file}").read_text(errors="replace"), file)
        agent.stop()
        agent.start().stop()  # reads everything from its store again

        self.assert_none(every, agent.said(), "log")
        self.assert_none(PASSWORDS, "\n".join(self.printed), "tnctl")
        for watcher in readers:
            self.assert_none(every, watcher.said(), watcher.words)
        holders = set()  # includes the other watchers' files
        for file in filter(pathlib.Path.is_file, agent.root.rglob("*")):
            if any(secret.encode() in file.read_bytes() for secret in PASSWORDS.values()):
                holders.add(file.name)
                self.assertEqual(file.stat().st_mode & 0o777, 0o600, file)
        self.assertEqual(holders, {"snmp-communities", "undo"})


class Memory(unittest.TestCase):
    def test_memory_is_accessible_to_root_only(self):
        if "CMAKE_BUILD_TYPE:STRING=Debug\n" in (BUILD / "CMakeCache.txt").read_text():
            not_tested("debug builds can be dumped and traced")
        agent = Agent("spawn", prefix=as_nobody()).ends_with(self)
        os.chown(agent.root, NOBODY, NOBODY)
        agent.start()
        for pid in [agent.daemons["hostd"].pid, *agent.agent_pids()]:
            # Files of a process that can't be dumped belong to root: proc(5).
            self.assertEqual(pathlib.Path(f"/proc/{pid}/environ").stat().st_uid, 0)
        for unit in ("hostd", "node", "snmpd"):
            text = (BUILD / f"packaging/systemd/tarnix-{unit}.service").read_text()
            self.assertIn("\nLimitCORE=0\nUMask=0077\n", text)

    def test_a_crash_leaves_no_core(self):
        if "CMAKE_BUILD_TYPE:STRING=Debug\n" in (BUILD / "CMakeCache.txt").read_text():
            not_tested("debug builds can be dumped and traced")
        limits = resource.getrlimit(resource.RLIMIT_CORE)
        resource.setrlimit(resource.RLIMIT_CORE, (limits[1], limits[1]))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_CORE, limits)
        folder = ("env", f"--chdir={temp_folder(self, 'cores')}")

        def leaves_core(daemon):
            signal_process(daemon.pid, signal.SIGABRT)
            return os.waitid(os.P_PID, daemon.pid, os.WEXITED | os.WNOWAIT).si_code == os.CLD_DUMPED

        agent = Agent("apart", prefix=folder).ends_with(self).start()
        other = Daemon(["sleep", "60"], agent.output, folder)
        self.addCleanup(other.end)
        eventually(lambda: text_of(pathlib.Path(f"/proc/{other.pid}/comm")) == "sleep\n", "it runs in its folder")
        if not re.match(r"[\w.%]+$", text_of(pathlib.Path("/proc/sys/kernel/core_pattern"))) or not leaves_core(other):
            not_tested("cores are off, or aren't written to the working folder")
        for daemon in agent.daemons.values():
            self.assertFalse(leaves_core(daemon), daemon.words)
