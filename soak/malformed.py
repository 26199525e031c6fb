"""Datagrams with any one field wrong, of v1, v2c and v3, signed and encrypted around the fault. Both modes of the agent,
one after the other. Run it with TARNIX_BUILD=build/asan as well."""
import json
import subprocess
import time

from session import BUILD, IN_MEMORY, IS_SANITIZED, USER, Failure, add_user, private_dirty

GOAL = "malformed datagrams end nothing, take at most 10 ms and leave no memory"
MINUTES = 10
QUICK = 10  # about

MODES = {"fixed": [], "standard": ["--standard"]}
QUICK_COUNT, COUNT = 55_000, 1_000_000  # datagrams in both modes; COUNT in the default duration, which isn't a limit
MORE_MEMORY = 1024  # KiB, from the warm-up to the end
ALL_MEMORY = 3072  # KiB more than at the start; 1 MiB of it are the buffers of received datagrams
RETURN_TIME = 0.3  # seconds until the memory of large requests is returned, at most
PARTS = 12  # memory is measured after each; the first quarter is the warm-up
LIMIT = 100 if IS_SANITIZED else 10  # ms; the sanitizers multiply the time, and other tests run beside this one


def forge(session, agent, mode, first, count, community="private"):
    """Sends datagrams. Returns forge's numbers."""
    pids = [f"--pid={daemon.pid}" for daemon in agent.daemons.values()]
    words = [*agent.prefix, BUILD / "forge", "--port", agent.port, "--seed", session.seed, "--first", first,
             "--count", count, "--versions", "1,2c,3", "--community", community, "--user", USER, "--limit", LIMIT, *pids]
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
        session.goal(f"{mode}: memory growth", growth(memory), MORE_MEMORY, "KiB")


def settled_memory(server):
    """KiB, when the memory of large requests has been returned."""
    time.sleep(0 if IS_SANITIZED else RETURN_TIME)
    return private_dirty(server.daemons["snmpd"].pid)


def growth(memory):
    """KiB. snmpd retains memory of the largest replies, sometimes less: the maximum is what remains constant."""
    return max(memory[PARTS * 5 // 8:]) - max(memory[PARTS // 4:PARTS * 5 // 8])


def measure(session, mode, count):
    """Records one mode's goals. Returns the numbers of its parts, and the memory after each."""
    # A forged Set may change any object, so nothing of this machine is in reach.
    namespace = session.namespace(f"malformed-{mode}", ["link set lo up"])
    # Unlike tarnix-node, tarnix-snmpd exits with LeakSanitizer's check.
    agent = session.deployment("apart", prefix=namespace.prefix, agent_words=MODES[mode], place=IN_MEMORY)
    add_user(agent, "write-access=yes")
    size, parts, memory = count // PARTS, [], []
    start = settled_memory(agent)
    for part in range(PARTS):
        parts.append(forge(session, agent, mode, part * size, size))
        memory.append(settled_memory(agent))
        record(session, mode, parts, memory)
    if not IS_SANITIZED:
        session.goal(f"{mode}: more memory than at the start", max(memory) - start, ALL_MEMORY, "KiB")
    session.goal(f"{mode}: datagrams", sum(part["sent"] for part in parts), PARTS * size, at_least=True)
    session.goal(f"{mode}: exit status", abs(agent.stop()[0]), 0)
    return parts, memory


def beside_snmpd(session, count, ours, our_memory):
    """The same datagrams to snmpd, which gets no community with write access: it runs as root, and a Set may change the
    machine's clock. So a forged Set is refused."""
    server = session.snmpd(session.namespace("malformed-snmpd", ["link set lo up"]))
    size, parts, memory = count // PARTS, [], []
    for part in range(PARTS):
        parts.append(forge(session, server, "snmpd", part * size, size, "common"))
        memory.append(settled_memory(server))
    session.compare("good Gets answered", answered(ours), answered(parts), "%")
    session.compare(f"datagrams over {LIMIT} ms", *(sum(part["slow"] for part in each) for each in (ours, parts)))
    session.compare("slowest reply", *(max(part["longest_ms"] for part in each) for each in (ours, parts)), "ms")
    session.compare("memory growth", growth(our_memory), growth(memory), "KiB")
    session.compare("memory", our_memory[-1], memory[-1], "KiB")


def answered(parts):
    """Percent of the Gets that follow the datagrams."""
    return 100 * (1 - sum(part["unanswered"] for part in parts) / sum(part["gets"] for part in parts))


def run(session):
    count = QUICK_COUNT if session.quick else int(COUNT * session.seconds / 60 / MINUTES)
    count = max(PARTS, count // len(MODES))
    figures = {mode: measure(session, mode, count) for mode in MODES}
    if session.beside:
        beside_snmpd(session, count, *figures["fixed"])
