"""Datagrams with any one field wrong, of v1, v2c and v3, signed and encrypted around the fault. Both modes of the agent,
one after the other. Run it with TARNIX_BUILD=build/asan as well."""
import json
import subprocess

from session import BUILD, IN_MEMORY, IS_SANITIZED, Failure, private_dirty

GOAL = "malformed datagrams end nothing, take at most 10 ms and leave no memory"
MINUTES = 10
QUICK = 10  # not a limit: the number of datagrams is

MODES = {"fixed": [], "standard": ["--standard"]}
COUNT = {True: 55_000, False: 1_000_000}  # in all modes, for the quick form or not
MORE_MEMORY = {True: 4096, False: 1024}  # KiB
PARTS = 12  # memory is measured after each; the first quarter is the warm-up
USER, PASSWORD = "sha256-aes128", "benchbench"
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


def measure(session, mode, count):
    # A forged Set may change any object, so nothing of this machine is in reach.
    namespace = session.namespace(f"malformed-{mode}", ["link set lo up"])
    # Unlike tarnix-node, tarnix-snmpd exits with LeakSanitizer's check.
    agent = session.deployment("apart", prefix=namespace.prefix, agent_words=MODES[mode], place=IN_MEMORY)
    digest, cipher = USER.split("-")
    agent.configure("community", "add", f"name={USER}", "addresses=127.0.0.0/8", "security=private", "write-access=yes",
                    f"authentication-protocol={digest}", f"authentication-password={PASSWORD}",
                    f"encryption-protocol={cipher}", f"encryption-password={PASSWORD}")
    size, parts, memory = count // PARTS, [], []
    for part in range(PARTS):
        parts.append(forge(session, agent, mode, part * size, size))
        memory.append(private_dirty(agent.daemons["snmpd"].pid))
    session.goal(f"{mode}: datagrams", sum(part["sent"] for part in parts), PARTS * size, at_least=True)
    session.goal(f"{mode}: datagrams over {LIMIT} ms", sum(part["slow"] for part in parts), 0)
    session.goal(f"{mode}: Gets that had to be repeated", sum(part["unanswered"] for part in parts), 0)
    if not IS_SANITIZED:  # it retains freed memory; LeakSanitizer makes the exit status 23 instead
        # The allocator retains a few MiB of the largest replies, sometimes less: the maximum is what remains constant.
        begin, end = memory[PARTS // 4:PARTS * 5 // 8], memory[PARTS * 5 // 8:]
        session.goal(f"{mode}: memory growth", max(end) - max(begin), MORE_MEMORY[session.quick], "KiB")
    session.goal(f"{mode}: exit status", abs(agent.stop()[0]), 0)


def run(session):
    for mode in MODES:
        measure(session, mode, COUNT[session.quick] // len(MODES))
