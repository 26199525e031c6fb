"""Ten plug-ins with one fault each, and a good one: starts the agent again and again with all of them."""
import shutil
import statistics
import time

import harness
from plugins_test import EXAMPLE, Agent
from session import BUILD, Client

GOAL = "ten bad plug-ins: the agent answers within 1 s, each is named in one line"
MINUTES = 1
QUICK = 1.5  # and three starts at least

BUILT = {"symbol": "needy", "throws": "throws", "crashes": "aborts", "constructor": "hangs", "autorun": "stalls",
         "version": "old", "writable": "speaks", "good": "crashes"}  # files in tests/shared_objects
LATE = {"constructor", "autorun"}  # refused after 10 s
OTHER_MACHINE = {62: 183, 183: 62}  # e_machine of x86-64 and of AArch64


def fill(folder):
    """Writes the plug-ins. Returns the names of the bad ones."""
    for name, built in BUILT.items():
        shutil.copy(BUILD / f"shared_objects/{built}.so", folder / f"{name}.so")
    (folder / "writable.so").chmod(0o666)
    sound = (BUILD / "shared_objects/speaks.so").read_bytes()
    machine = OTHER_MACHINE.get(int.from_bytes(sound[18:20], "little"), 62)
    (folder / "machine.so").write_bytes(sound[:18] + machine.to_bytes(2, "little") + sound[20:])
    (folder / "library.so").write_bytes(sound.replace(b"libc.so.6", b"absent.so"))
    (folder / "empty.so").write_bytes(b"")
    return {file.stem for file in folder.iterdir()} - {"good"}


def seconds_to_answer(agent):
    """Starts the agent. Returns the time until it answers a Get."""
    begin = time.monotonic()
    agent.start_part("node")
    Client(agent.port).until(harness.SYS_SERVICES, b"\x4e")
    return time.monotonic() - begin


def named(lines, name, *beginnings):
    """The number of lines with these beginnings about a plug-in."""
    return sum(line.startswith(beginnings) and f"/{name}.so" in line for line in lines)


def run(session):
    agent = Agent().ends_with(session)
    if harness.run("chrt", "--fifo", "1", "true").status == 0:
        agent.prefix = ("chrt", "--fifo", "1")  # other programs don't delay it
    agent.start().open().stop()
    bad = fill(agent.folder)
    seconds, unnamed, served = [], [], []
    session.start_clock()
    while len(seconds) < 3 or not session.is_over():
        said = len(agent.said())
        seconds.append(seconds_to_answer(agent))
        lines = agent.said()[said:].splitlines()
        faults = ("failed dlopen: ", "plugin refused: ", "plugin failed in autorun: ", "plugin built for another version: ",
                  "plugin late: ")
        unnamed += [name for name in bad if named(lines, name, *faults) != 1]
        served.append(agent.snmp("get", f"{EXAMPLE}.9.0").status == 0)
        session.progress(f"{len(seconds)} starts, the last one {seconds[-1]:.3f} s")
        if not session.quick and len(seconds) == 1:
            harness.eventually(lambda: all(named(agent.said().splitlines(), name, "plugin refused: ") for name in LATE),
                               "those that hang are refused")
        agent.stop()
    session.goal("bad plug-ins", len(bad), 10, at_least=True)
    session.goal("first answer (median)", statistics.median(seconds), 1, "s")
    session.goal("bad plug-ins not named in one line", len(unnamed), 0)
    session.goal("starts without the good one", served.count(False), 0)
    if unnamed:
        session.note(f"not named in one line: {', '.join(sorted(set(unnamed)))}\n{agent.said()[-3000:]}")
