"""tarnix-hostd is killed and started again while a manager queries its objects and a link changes its status."""
import socket
import struct
import subprocess
import threading
import time

import harness
from session import Client, Failure

GOAL = "restarts of hostd under load: objects back within 100 ms, subscriptions alive, no wrong value"
MINUTES = 1
QUICK = 10

RESTARTS, QUICK_RESTARTS = 1000, 20
LINKS = ["link set lo up", "link add left index 77 type veth peer name right", "link set left up", "link set right up"]
LEFT = "1.3.6.1.2.1.2.2.1.{}.77"
DESCR, OPER, OCTETS = LEFT.format(2), LEFT.format(8), "1.3.6.1.2.1.31.1.1.1.6.77"  # ifHCInOctets
TRAP_TIMEOUT = 10  # seconds


class Load(threading.Thread):
    """Queries nearly without a break. A value is right, or that of an absent owner: 0, empty or an exception. A counter or the
    time never goes back."""

    def __init__(self, client):
        super().__init__()
        self.client, self.over, self.values, self.wrong = client, threading.Event(), 0, []

    def run(self):
        name, latest = socket.gethostname().encode(), {}
        while not self.over.wait(0.0005):  # other tests need the processor, too
            for oid in (harness.SYS_NAME, DESCR, OPER, OCTETS, harness.SYS_UPTIME):
                reply = self.client.exchange(oid)
                number = int.from_bytes(reply.value, "big") if reply else 0
                if not number:
                    continue
                self.values += 1
                right = {harness.SYS_NAME: reply.value == name, DESCR: reply.value == b"left",
                         OPER: number in (1, 2, 7)}.get(oid, number >= latest.get(oid, 0))
                latest[oid] = number
                if not right:
                    self.wrong.append((oid, reply))

    def stop(self):
        self.over.set()
        self.join()


def has_trap(receiver, kind):
    """Receives traps until linkDown (3) or linkUp (4). False after a timeout."""
    end = time.monotonic() + TRAP_TIMEOUT
    while (left := end - time.monotonic()) > 0:
        receiver.settimeout(left)
        try:
            _, bindings = harness.bindings_of(receiver.recv(65536))
        except TimeoutError:
            return False
        if any(value == b"\x2b\x06\x01\x06\x03\x01\x01\x05" + bytes([kind]) for value in bindings.values()):
            return True
    return False


def run(session):
    namespace = session.namespace("restarts", LINKS)
    session.go_first()
    agent = session.deployment("apart", prefix=namespace.prefix)
    with namespace.entered():
        client, load, receiver = Client(agent.port), Load(Client(agent.port)), socket.socket(type=socket.SOCK_DGRAM)
    receiver.bind(("127.0.0.1", 0))
    agent.configure("set", f"trap-targets=127.0.0.1:{receiver.getsockname()[1]}", "trap-community=common",
                    "trap-version=2c", "trap-generators=interfaces")
    client.until(OPER, b"\x01")
    load.start()
    session.addCleanup(load.stop)

    restarts = QUICK_RESTARTS if session.quick else round(RESTARTS * session.seconds / (60 * MINUTES))
    back, notified, missing = [], [], 0
    for number in range(restarts):
        agent.daemons.pop("hostd").end(harness.signal.SIGKILL)
        kind, text = ((3, "down"), (4, "up"))[number % 2]
        toggle = threading.Timer(session.random.uniform(0, 0.05), namespace.ip,
                                 ("link", "set", "right", text))
        begin = time.monotonic()
        agent.start_part("hostd")
        toggle.start()
        client.until(DESCR, b"left")
        client.until(harness.SYS_NAME, socket.gethostname().encode())
        back.append(1000 * (time.monotonic() - begin))
        toggle.join()
        missing += not has_trap(receiver, kind)
        notified.append(time.monotonic() - begin)
        session.goal("restarts", len(back), restarts, at_least=True)
        session.goal("objects back, longest", max(back), 100, "ms")
        session.goal("link changes without a trap", missing, 0)
        session.goal("restart and change until trap, longest", max(notified), 2, "s")
        session.goal("wrong values", len(load.wrong), 0)
        session.progress(f"{len(back)} restarts, {load.values:,} values, {max(back):.0f} ms")
    session.goal("values under load", load.values, 20 * restarts, at_least=True)
    if load.wrong:
        raise Failure(f"wrong: {load.wrong[:3]}")
