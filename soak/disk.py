"""The disk of the stores is full, read-only or faulty while clients query and change settings; then it works again.
Stores, undo journal and log are on a tmpfs of 1 MiB. soak/failing_disk_preload.cc injects errors of a faulty one."""
import errno
import os
import pathlib
import time

import harness
from session import BUILD, Client, Failure

GOAL = "disk full, read-only, I/O errors: an error to the client, the old value kept, service continues, recovers"
MINUTES = 2
QUICK = 10

CONTACT = "1.3.6.1.2.1.1.4.0"
COMMIT_FAILED = 14  # RFC 3416
MAX_CHANGES = 200  # until one fails: a full disk may have room in the stores' files
QUERIES = 50  # while the disk fails
MOUNT = 'mkdir -p "$0" && mount -t tmpfs -o size=1m,mode=700 tmpfs "$0" && exec "$@"'
LOG = 'touch "$0" && exec "$@" 2>>"$0"; exec "$@"'  # on the disk, unless that is read-only


class SmallDisk:
    """A node whose stores are on a disk that fails when told to. Its mount namespace lives as long as `holder`."""

    def __init__(self, session):
        self.agent = harness.Deployment("node", agent_words=["--standard"]).ends_with(session)
        self.store, self.control = self.agent.root / "tern/store", self.agent.root / "failing"
        mounted = ("unshare", "--mount", "bash", "-c", MOUNT, str(self.store))
        harness.usable(*mounted)  # else it is skipped
        self.holder = session.daemon(["sleep", "infinity"], self.agent.output, mounted)
        self.inside = pathlib.Path(f"/proc/{self.holder.pid}/root{self.store}")
        harness.eventually(lambda: os.path.ismount(self.inside), "the disk is mounted")
        self.enter = ("nsenter", f"--mount=/proc/{self.holder.pid}/ns/mnt")
        self.agent.prefix = (*self.enter, "bash", "-c", LOG, str(self.store / "log"), "env",
                             f"FAILING_DISK={self.control}", f"LD_PRELOAD={BUILD / 'soak/failing-disk.so'}",
                             "ASAN_OPTIONS=verify_asan_link_order=0")
        self.agent.start().open()
        self.client, self.value = Client(self.agent.port, "private"), 0
        self.longest = 0.0

    # --- faults

    def fill(self):
        for size in (65536, 4096, 1):
            try:
                with open(self.inside / "filler", "ab", buffering=0) as file:
                    while file.write(bytes(size)) == size:
                        pass
            except OSError as failure:
                if failure.errno != errno.ENOSPC:
                    raise

    def empty(self):
        (self.inside / "filler").unlink()

    def fail(self, number, what=""):
        self.control.write_text(f"{number} {what}")

    def work(self):
        self.control.unlink()

    def remount(self, mode):
        done = harness.run(*self.enter, "mount", "-o", f"remount,{mode}", self.store)
        if done.status:
            raise Failure(f"mount: {done}")

    # --- clients

    def change(self):
        """Changes sysContact. False if that gives an error."""
        reply = self.client.exchange(CONTACT, str(self.value + 1), timeout=10)
        if reply is None or reply.status not in (0, COMMIT_FAILED):
            raise Failure(f"a Set got {reply}\n{self.log()}")
        self.value += reply.status == 0
        return reply.status == 0

    def query(self):
        """The service answers, with the value that was confirmed last."""
        begin = time.monotonic()
        for name, value in ((CONTACT, str(self.value).encode()), (harness.SYS_SERVICES, b"\x4e")):
            reply = self.client.exchange(name)
            if reply is None or reply.value != value:
                raise Failure(f"{name} isn't {value} but {reply}\n{self.log()}")
        self.longest = max(self.longest, 1000 * (time.monotonic() - begin))

    def refuses(self):
        """Every way to change something gives an error, in one line."""
        changes = 0
        while self.change():
            changes += 1
            if changes > MAX_CHANGES:
                return False
        for words in (["set", "contact=refused"], ["community", "add", "name=refused", "addresses=::1/128"]):
            answer = self.agent.tnctl("snmp", *words)
            if answer.status != 1 or answer.err.count("\n") != 1:
                raise Failure(f"{words}: {answer}")
        for _ in range(QUERIES):
            self.query()
        return True

    def log(self):
        text = harness.text_of(self.inside / "log") + self.agent.said()
        return "\n".join(line for line in text.splitlines() if "store" in line)


def run(session):
    session.use_memory()
    disk, refused, back = SmallDisk(session), 0, []
    running = {"full": (disk.fill, disk.empty),
               "read-only": (lambda: disk.fail(errno.EROFS, "w"), disk.work),
               "can't be written": (lambda: disk.fail(errno.EIO, "w"), disk.work),
               "can't be read or written": (lambda: disk.fail(errno.EIO), disk.work)}
    starting = {"full": (disk.fill, disk.empty),
                "read-only": (lambda: disk.remount("ro"), lambda: disk.remount("rw"))}
    cases = [(name, None, *fault) for name, fault in running.items()]
    cases += [(name, how, *fault) for name, fault in starting.items()
              for how in (harness.signal.SIGTERM, harness.signal.SIGKILL)]
    rounds = 0
    session.start_clock()
    while rounds == 0 or not (session.quick or session.is_over()):
        rounds += 1
        for name, stopped_by, begin, end in cases:
            disk.change()
            if stopped_by:
                disk.agent.stop(stopped_by)
            begin()
            if stopped_by:
                disk.agent.start_part("node")
                disk.client.until(CONTACT, str(disk.value).encode())
            pids = disk.agent.agent_pids()
            refused += disk.refuses()
            end()
            fixed = time.monotonic()
            harness.eventually(disk.change, lambda: f"changes are stored again\n{disk.log()}", 10)
            back.append(1000 * (time.monotonic() - fixed))
            disk.query()
            if not pids or disk.agent.agent_pids() != pids:
                raise Failure(f"{name}: the agent ended\n{disk.log()}")
            disk.agent.stop()
            os.truncate(disk.inside / "log", 0)
            disk.agent.start()
            disk.query()  # what was confirmed is stored
            session.progress(f"{rounds} rounds, {name}")
    session.goal("faults in which changes were refused", refused, rounds * len(cases), at_least=True)
    session.goal("longest reply meanwhile", disk.longest, 1000, "ms")
    session.goal("changes stored again, longest", max(back), 1000, "ms")
