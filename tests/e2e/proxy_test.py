"""The web proxy's scalars of a running agent, compared with squid's cache manager. squid and an origin server run in a
network namespace of the test."""

import os
import re
import shutil
import signal
import sys
import time
import unittest

from harness import Daemon, Deployment, Namespace, eventually, not_tested, plain, temp_folder

CACHE = "1.3.6.1.4.1.3495.1"
MEMORY, STORAGE, UPTIME = (f"{CACHE}.1.{i}.0" for i in (1, 2, 3))
HITS, CLIENT_OUT, SERVER_REQUESTS, SERVER_IN, SERVER_OUT = (f"{CACHE}.3.2.{i}.0" for i in (2, 5, 10, 12, 13))
PROXY, SERVER = "127.0.0.1:3999", "127.0.0.1:8000"
OBJECT = 100_000  # octets

FETCH = "import sys, urllib.request as r\n" \
        "o = r.build_opener(r.ProxyHandler({'http': sys.argv[1]} if len(sys.argv) > 3 else {}))\n" \
        "print(o.open(sys.argv[2], timeout=30).read().decode(errors='replace'))"
CONFIGURATION = """
http_port {proxy}
pid_filename none
access_log none
cache_log {folder}/cache.log
pinger_enable off
http_access allow localhost
"""


class Proxy(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if shutil.which("squid") is None:
            not_tested("squid isn't installed")
        cls.namespace = Namespace(cls, "proxy", ["link set lo up"])
        cls.folder = temp_folder(cls, "squid")
        cls.folder.chmod(0o777)  # squid gives up its rights
        (cls.folder / "squid.conf").write_text(CONFIGURATION.format(proxy=PROXY, folder=cls.folder))
        content = cls.folder / "content"
        content.mkdir()
        (content / "object").write_bytes(b"x" * OBJECT)
        os.utime(content / "object", (0, time.time() - 30 * 86400))  # so old that a cache may keep it
        host, port = SERVER.split(":")
        for words in ([sys.executable, "-m", "http.server", port, "--bind", host, "--directory", content],
                      ["squid", "-N", "-f", cls.folder / "squid.conf"]):
            cls.addClassCleanup(Daemon(words, cls.folder / "output", cls.namespace.prefix).end, signal.SIGKILL)
        eventually(lambda: "LISTEN" in cls.namespace.run("ss", "-Hltn", "src", PROXY), "squid listens")
        cls.agent = Deployment("node", cls.namespace.prefix, ["--proxy-url", f"http://{PROXY}"]).ends_with(cls)
        cls.agent.start().open()

    def fetch(self, url, *through):
        return self.namespace.run(sys.executable, "-c", FETCH, f"http://{PROXY}", url, *through)

    def figures(self):
        """{name: number} of both pages of the cache manager."""
        pages = "".join(self.fetch(f"http://{PROXY}/squid-internal-mgr/{page}") for page in ("info", "counters"))
        return {name: float(value) for name, value in re.findall(r"^\s*([\w .]+?)\s*[:=]\s*([\d.]+)", pages, re.M)}

    def shown(self):
        """{object: number} as the agent answers."""
        return {name: int(plain(value)) for name, value in self.agent.snmp("walk", CACHE).values().items()}

    def test_counters_match_squids_cache_manager(self):
        for _ in range(3):
            self.fetch(f"http://{SERVER}/object", "through")
        told = self.figures()
        self.assertEqual((told["client_http.hits"], told["server.all.requests"]), (2, 1))

        # The agent's own questions count as what is sent to clients, a few KiB each.
        found = lambda: self.shown()[CLIENT_OUT] >= told["client_http.kbytes_out"] * 1024
        eventually(found, "the agent has found squid", 60)
        shown = self.shown()
        self.assertEqual([shown[name] for name in (HITS, SERVER_REQUESTS, SERVER_IN, SERVER_OUT, STORAGE)],
                         [told["client_http.hits"], told["server.all.requests"], told["server.all.kbytes_in"] * 1024,
                          told["server.all.kbytes_out"] * 1024, 0])
        self.assertGreaterEqual(shown[SERVER_IN], OBJECT - 1024)
        self.assertGreaterEqual(shown[MEMORY], OBJECT)
        self.assertLess(abs(shown[MEMORY] - told["Storage Mem size"] * 1024), OBJECT)
        self.assertTrue(int(told["UP Time"]) - 1 <= shown[UPTIME] < told["UP Time"] + 30, (shown, told))
