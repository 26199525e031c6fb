"""The effects of ./dev on the machine it runs on."""

import os
import pathlib
import shutil
import signal
import sys
import tempfile
import unittest

from harness import BUILD, MORE_MEMORY, TREE, Daemon, eventually, not_tested, remove_tree, run, temp_folder

PROGRAMS = {
    "cmake": """[ "$1" = --install ] || exit 0
file=${4:-installed}  # where --prefix says
touch "$file" && printf %s "$file" > build/release/install_manifest.txt""",
    "dpkg-query": "echo installed",
    "sudo": 'exec "$@"',
}


class Installation(unittest.TestCase):
    def test_uninstall_removes_its_files_despite_later_installations_elsewhere(self):
        tree = temp_folder(self, "dev")
        (tree / "build/release").mkdir(parents=True)
        for name, text in PROGRAMS.items():
            (tree / name).write_text(f"#!/bin/sh\n{text}\n")
            (tree / name).chmod(0o755)
        shutil.copy(TREE / "dev", tree)
        where = {"cwd": tree, "env": {**os.environ, "PATH": f"{tree}:{os.environ['PATH']}"}}
        for words, files in [(["./dev", "install"], [True, False]),
                             (["cmake", "--install", "build/release", "--prefix", "elsewhere"], [True, True]),
                             (["./dev", "uninstall"], [False, True])]:
            self.assertEqual(run(*words, **where).status, 0, words)
            self.assertEqual([(tree / name).exists() for name in ("installed", "elsewhere")], files)
        self.assertEqual(run("./dev", "uninstall", **where).status, 1)


class Confinement(unittest.TestCase):
    def test_daemon_in_the_filter_of_its_unit_ends_at_a_call_that_the_unit_denies(self):
        folder = temp_folder(self)
        for name, target in (("tarnix-node", "/usr/sbin/chroot"), ("tarnix-snmpd", "/bin/true")):
            (folder / name).symlink_to(target)
        confine = TREE / "soak/confine"
        if run(confine, "--filter", folder / "tarnix-snmpd").status == 1:
            not_tested("the groups of system calls aren't known: systemd-analyze is missing")
        for words, status in ((["--filter", folder / "tarnix-snmpd"], 0),
                              (["--filter", folder / "tarnix-node", "/", "true"], -signal.SIGSYS),
                              (["--files", 64, "/bin/sh", "-c", "exit $(ulimit -n)"], 64),
                              (["--filter", "/bin/true"], 1)):
            self.assertEqual(run(confine, *words).status, status, words)

    def test_growth_of_a_daemon_is_noticed(self):
        go = temp_folder(self) / "go"
        script = ("import os, socket, sys, time; print(flush=True)\n"
                  "while not os.path.exists(sys.argv[1]): time.sleep(0.01)\n"
                  "sockets = [socket.socket() for _ in range(40)]; files = [os.open(sys.executable, 0) for _ in 'ab']\n"
                  "memory = bytearray(os.urandom(9 << 20)); time.sleep(600)")
        daemon = Daemon([sys.executable, "-c", script, go], go.with_name("output"))
        self.addCleanup(daemon.end)
        eventually(daemon.said, "it has started")
        daemon.note_warm()
        self.assertEqual(daemon.growth_now(MORE_MEMORY), [])
        go.touch()
        eventually(lambda: len(daemon.growth_now(MORE_MEMORY)) == 3, lambda: daemon.growth_now(MORE_MEMORY))

    def test_tests_write_and_remove_only_in_their_own_folders(self):
        mine, other = temp_folder(self), pathlib.Path(tempfile.mkdtemp())  # which harness.py doesn't know
        self.addCleanup(lambda: other.exists() and other.rmdir())
        (mine / "link").symlink_to(other)
        for elsewhere in (other, mine / ".." / other.name, mine / "link"):
            with self.assertRaises(AssertionError):
                remove_tree(elsewhere)
        if os.geteuid() != 0:
            not_tested("only root's tests are confined")
        places = TREE / "tests/written", BUILD / "written", mine / "written"
        for place in places:
            self.addCleanup(lambda place=place: place.exists() and place.unlink())  # nothing unlinks read-only
        answer = run(TREE / "tools/confined", "sh", "-c", 'for f; do echo x > "$f"; done', "sh", *places)
        if "NOT PROTECTED: the whole machine" in answer.err:
            not_tested(answer.err)
        self.assertNotIn("NOT PROTECTED", answer.err)
        self.assertEqual([place.exists() for place in places], [False, True, True], answer)
