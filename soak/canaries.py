"""The tests of tests/e2e/secrets_test.py, with secrets that no other run has; then all files that were written meanwhile
are searched for these secrets."""
import contextlib
import os
import pathlib
import stat
import time
import unittest

import secrets_test

GOAL = "no secret in any output, log, process list, core, dump or undo listing"
MINUTES = 1
QUICK = None  # the tests are part of ./dev test

FOLDERS = "/tmp", "/run", "/dev/shm", "/var/log", "/var/tmp"  # where programs and their helpers write


def written_since(begin):
    """The files with contents from `begin` on, a time of the wall clock."""
    for top in FOLDERS:
        for folder, _, names in os.walk(top):
            for file in (pathlib.Path(folder, name) for name in names):
                with contextlib.suppress(OSError):  # removed meanwhile
                    if stat.S_ISREG((status := file.lstat()).st_mode) and status.st_mtime >= begin:
                        yield file, file.read_bytes()


def run(session):
    begin, rounds, failures, searched, holders = time.time(), 0, [], 0, []
    session.start_clock()
    while not session.is_over() or not rounds:
        result = unittest.defaultTestLoader.loadTestsFromModule(secrets_test).run(unittest.TestResult())
        failures += [text for _, text in result.failures + result.errors + result.skipped]
        rounds += 1
        session.progress(f"{rounds} rounds, {len(failures)} failures")
    for file, contents in written_since(begin):
        searched += 1
        if secrets_test.CANARY.encode() in contents:
            holders.append(str(file))
    for text in failures + holders:
        session.note(text)
    session.goal("rounds of the tests", rounds, 1, at_least=True)
    session.goal("tests that failed or were skipped", len(failures), 0)
    session.goal("files searched", searched, 1, at_least=True)
    session.goal("files with secrets", len(holders), 0)
