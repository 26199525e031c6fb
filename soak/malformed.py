"""Datagrams with any one field wrong, of v1, v2c and v3, signed and encrypted around the fault. Both modes of the agent,
one after the other. Run it with TARNIX_BUILD=build/asan as well."""
import json
import subprocess

from session import BUILD, IN_MEMORY, IS_SANITIZED, USER, Failure, add_user, private_dirty

GOAL = "malformed datagrams end nothing, take at most 10 ms and leave no memory"
MINUTES = 10
QUICK = 10  # about

MODES = {"fixed": [], "standard": ["--standard"]}
QUICK_COUNT, COUNT = 55_000, 1_000_000  # datagrams in both modes; COUNT in the default duration, which isn't a limit
MORE_MEMORY = {True: 4096, False: 1024}  # KiB
PARTS = 12  # memory is measured after each; the first quarter is the warm-up
LIMIT = 10  # ms


def forge(session, agent, mode, first, count):
    """Sends datagrams. Returns forge's numbers."""
    pids = [f"--pid={daemon.pid}" for daemon in agent.daemons.values()]
    words = [*agent.prefix, BUILD / "forge", "--port", agent.port, "--seed", session.seed, "--first", first,
             "--count", count, "--versions", "1,2c,3", "--community", "private", "--user", USER, "--limit", LIMIT, *pids]
    with subprocess.Popen(list(map(str, words)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        numbers = {}
        for line in process.stdout:
            numbers = json.loads(line)
            session.progress(f"{mode}: {numbers['sent'] + first} of {first + count} datagrams")
        complaints = process.stderr.read()
    if process.returncode or not numbers:
        raise Failure(f"{mode}, seed {session.seed}: {complaints}{agent.said()[-3000:]}")
    if complaints:
        session.note(complaints.strip())
    return numbers


def record(session, mode, parts, memory):
    """Records the goals, with the parts that are done."""
    session.goal(f"{mode}: datagrams over {LIMIT} ms", sum(part["slow"] for part in parts), 0)
    session.goal(f"{mode}: Gets that had to be repeated", sum(part["unanswered"] for part in parts), 0)
    if not IS_SANITIZED and len(memory) > PARTS * 5 // 8:  # it retains freed memory; LeakSanitizer's exit status is 23
        # The allocator retains a few MiB of the largest replies, sometimes less: the maximum is what remains constant.
        begin, end = memory[PARTS // 4:PARTS * 5 // 8], memory[PARTS * 5 // 8:]
        session.goal(f"{mode}: memory growth", max(end) - max(begin), MORE_MEMORY[session.quick], "KiB")


def measure(session, mode, count):
    # A forged Set may change any object, so nothing of this machine is in reach.
    namespace = session.namespace(f"malformed-{mode}", ["link set lo up"])
    # Unlike tarnix-node, tarnix-snmpd exits with LeakSanitizer's check.
    agent = session.deployment("apart", prefix=namespace.prefix, agent_words=MODES[mode], place=IN_MEMORY)
    add_user(agent, "write-access=yes")
    size, parts, memory = count // PARTS, [], []
    for part in range(PARTS):
        parts.append(forge(session, agent, mode, part * size, size))
        memory.append(private_dirty(agent.daemons["snmpd"].pid))
        record(session, mode, parts, memory)
    session.goal(f"{mode}: datagrams", sum(part["sent"] for part in parts), PARTS * size, at_least=True)
    session.goal(f"{mode}: exit status", abs(agent.stop()[0]), 0)


def run(session):
    count = QUICK_COUNT if session.quick else int(COUNT * session.seconds / 60 / MINUTES)
    for mode in MODES:
        measure(session, mode, max(PARTS, count // len(MODES)))
