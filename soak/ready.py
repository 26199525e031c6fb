"""The agent starts without owners; then it restarts again and again with an inherited socket, as under a service
manager, while a client sends requests. Some are for an object whose owner is slow, so that the agent often ends in the
middle of the datagrams that it has received together."""
import socket
import statistics
import threading
import time

import harness
from session import Client, Failure

GOAL = "ready within 50 ms of exec without owners; restarts with inherited sockets lose no datagram"
MINUTES = 2
QUICK = 5

STARTS, DATAGRAMS = 10, 10_000  # of the quick form; the long one has as many datagrams more as it lasts longer
RATE = 4000  # datagrams a second
BUFFER = 2 << 20  # octets, as in the socket units
SLOW = 16  # consecutive requests of 256, which take 3 ms each
MAX_OUTSTANDING = 1000  # requests, which fit the buffer however long a restart takes on a busy machine
WAIT = 5  # seconds for a reply
# A service manager's part. The socket is descriptor 3, SD_LISTEN_FDS_START.
INHERITS = ("bash", "-c", 'exec 3<&"$0"; LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=snmp exec "$@"')


def starts(session, agent):
    """Records the time from exec to the first reply."""
    times = []
    for _ in range(STARTS if session.quick else 10 * STARTS):
        begin = time.monotonic()
        agent.start_part("snmpd")
        client = Client(agent.port)
        client.until(harness.SYS_SERVICES, b"\x4e")
        times.append(1000 * (time.monotonic() - begin))
        agent.stop()
    session.goal("first reply after exec, median", statistics.median(times), 50, "ms")
    session.goal("first reply after exec, longest", max(times), 50, "ms")


class Sender(threading.Thread):
    """Sends requests at a constant rate, or slower while many wait, and collects the numbers of those answered."""

    def __init__(self, client, count):
        super().__init__()
        self.client, self.count, self.answered = client, count, set()

    def run(self):
        begin = time.monotonic()
        for number in range(self.count):
            while (early := begin + number / RATE - time.monotonic()) > 0:
                self.receive(early)
            while number - len(self.answered) >= MAX_OUTSTANDING:
                if not self.receive(WAIT):
                    return
            self.client.send(harness.SYS_NAME if number % 256 < SLOW else harness.SYS_SERVICES)
        while len(self.answered) < self.count and self.receive(WAIT):
            pass

    def receive(self, timeout):
        if reply := self.client.receive(timeout):
            self.answered.add(reply.number)
        return reply


def restarts(session, agent):
    """Records what is lost."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as service:
        service.setsockopt(socket.SOL_SOCKET, 33, BUFFER)  # SO_RCVBUFFORCE
        service.bind(("127.0.0.1", 0))

        def start():
            words = [harness.program("tarnix-snmpd"), "--root", agent.root, "--log", "stderr"]
            return session.daemon(words, agent.output, [*INHERITS, str(service.fileno())],
                                  pass_fds=[service.fileno()])

        daemon, count = start(), 0
        client = Client(service.getsockname()[1])
        client.until(harness.SYS_NAME, b"here")
        client.socket.setsockopt(socket.SOL_SOCKET, 33, BUFFER)
        sender = Sender(client, DATAGRAMS if session.quick else round(DATAGRAMS * session.seconds / QUICK))
        client.number = 0
        session.start_clock()
        sender.start()
        while sender.is_alive():
            sender.join(session.random.uniform(0.05, 0.3))
            if daemon.end() not in (0, -harness.signal.SIGTERM):  # the latter: before it handled the signal
                raise Failure(f"the agent failed:\n{agent.said()}")
            daemon, count = start(), count + 1
            session.progress(f"{len(sender.answered):,} replies, {count} restarts")
        session.goal("restarts meanwhile", count, 5, at_least=True)
        session.goal(f"requests lost of {sender.count:,}", sender.count - len(sender.answered), 0)
        daemon.end()


def run(session):
    session.go_first()
    agent = harness.Deployment("apart").ends_with(session)
    agent.start_part("snmpd")
    agent.wait_for("34")
    agent.open()
    agent.stop()
    starts(session, agent)
    session.scripted_owner(agent, "delay 3ms\nanswer 12:string=here\nrepeat", "24,1")
    restarts(session, agent)
