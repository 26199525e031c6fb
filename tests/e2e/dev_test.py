"""The effects of ./dev on the machine it runs on."""

import os
import pathlib
import shutil
import tempfile
import unittest

from harness import BUILD, TREE, not_tested, remove_tree, run, temp_folder

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
