"""The effects of other local users, unauthenticated senders and the log's reader on the daemons."""

import fcntl
import os
import re
import socket
import time
import unittest

from harness import SYS_SERVICES, Deployment, eventually

GARBAGE = (b"\x30\x80", b"\x30\x85", b"\x30\x02\x02\x01", b"\x30\x06\x02\x01\x01\x04\x7f\x41",
           b"\x30\x0d\x02\x01\x03\x30\x02\x02\x00\x04\x00\x30\x02\x05\x00")


def send(port, *datagrams):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stranger:
        for datagram in datagrams:
            stranger.sendto(datagram, ("127.0.0.1", port))


class Port(unittest.TestCase):
    def test_no_other_process_can_bind_the_agents_port(self):
        agent = Deployment("node").ends_with(self).start().open()
        for option in (socket.SO_REUSEADDR, socket.SO_REUSEPORT):
            for family, host in ((socket.AF_INET6, "::"), (socket.AF_INET, ""), (socket.AF_INET, "127.0.0.1")):
                with socket.socket(family, socket.SOCK_DGRAM) as thief, self.subTest(host=host, option=option):
                    thief.setsockopt(socket.SOL_SOCKET, option, 1)
                    with self.assertRaisesRegex(OSError, "Address already in use"):
                        thief.bind((host, agent.port))


class Log(unittest.TestCase):
    def test_unauthenticated_datagrams_cause_at_most_ten_log_lines_in_two_seconds(self):
        agent = Deployment("node").ends_with(self).start().open()
        began, before = time.monotonic(), len(agent.said())
        for _ in range(5):
            send(agent.port, *GARBAGE * 5)
            agent.get(SYS_SERVICES)  # everything before it has been received
        seconds = int(time.monotonic() - began) + 1
        lines = re.findall(r"(?m)^(SNMP InStream: .*|v3 packet: .*|\d+ lines suppressed.*)$", agent.said()[before:])
        self.assertGreaterEqual(len(lines), 10)
        self.assertLessEqual(len(lines), 10 * (seconds // 2 + 1), lines)
        eventually(lambda: send(agent.port, *GARBAGE) or "lines suppressed about received datagrams" in agent.said(),
                   "a count of the suppressed lines")

    def test_daemons_run_on_when_the_log_reader_stops_or_exits(self):
        for kind in ("node", "spawn"):
            agent = Deployment(kind).ends_with(self)
            os.mkfifo(agent.output)
            reader, filler = (os.open(agent.output, way | os.O_NONBLOCK) for way in (os.O_RDONLY, os.O_WRONLY))
            fcntl.fcntl(reader, fcntl.F_SETPIPE_SZ, 4096)
            agent.said = lambda: "it is in a pipe"
            agent.start().open()
            pids = agent.agent_pids()
            with self.assertRaises(BlockingIOError):
                while True:
                    os.write(filler, b"x")
            for ends, state in ((), "full"), ((filler, reader), "gone"):
                for end in ends:
                    os.close(end)
                time.sleep(2)  # until lines about strangers are admitted again
                send(agent.port, *GARBAGE)
                self.assertEqual(agent.get(SYS_SERVICES), "INTEGER: 78", f"the reader of its log is {state}")
            self.assertEqual((agent.agent_pids(), agent.stop()), (pids, [0]))
