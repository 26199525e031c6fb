"""The host whose first page the pollers of tests/clients/pages.py show, and the agents that they query."""

import os
import pathlib
import shutil
import socket
import sys
import time

import truth
from harness import BUILD, Daemon, Deployment, eventually, free_port, plain, run, temp_folder

BRIDGE, ADDRESSES, NEIGHBOR = "lan0", ("192.0.2.1/24", "2001:db8:7::1/64"), "192.0.2.2"
ROUTES = ("default", NEIGHBOR), ("198.51.100.0/24", NEIGHBOR), ("2001:db8:8::/64", "2001:db8:7::2")
EXPERIMENTAL = b"\x88\xb5"  # EtherType for local use
SENSORS = {"name": "board", "in1_input": "24060", "in1_label": "vin", "temp1_input": "-4400", "temp1_label": "Board"}
NAMES_OF_LINKS = "1.3.6.1.2.1.2.2.1.2"


class Target:
    """An agent that answers on a port of 127.0.0.1, with a folder for its pollers, which wait for a pause where they
    poll several times."""

    def __init__(self, port, folder, pause):
        self.port, self.folder, self.pause = port, folder, pause
        self.indexes = {name: oid.rpartition(".")[2] for oid, name in self.cells(NAMES_OF_LINKS).items()}

    def cells(self, prefix):
        """{OID: value} below a prefix."""
        answer = run("snmpbulkwalk", "-m", "", "-v2c", "-ccommon", "-On", "-Oe", f"127.0.0.1:{self.port}", prefix)
        return {name: plain(value) for name, value in answer.values().items() if not value.startswith("No ")}


def make(clean):
    """Sensors, a bridge, addresses, routes, a connection, processes and a neighbor, in the namespaces of this process.
    What can't be made is reported and left out of the truth."""
    add_sensors(clean)
    for words in (f"link add {BRIDGE} address 02:00:00:00:07:01 type bridge forward_delay 0",
                  f"link set right7 master {BRIDGE}", f"link set {BRIDGE} up",
                  *(f"addr add {address} dev {BRIDGE} nodad" for address in ADDRESSES),
                  f"neigh add {NEIGHBOR} lladdr 02:00:00:00:07:03 dev {BRIDGE}",
                  *(f"route add {network} via {gateway}" for network, gateway in ROUTES)):
        made = run("ip", *words.split())
        assert made.status == 0, f"ip {words}: {made}"
    for link in "left7", BRIDGE:  # both directions of the bridge: MRTG takes a counter of 0 for none
        send(link, b"\xff" * 6 + b"\2\0\0\0\7\2" + EXPERIMENTAL + bytes(46))
    listener = clean.enter_context(socket.create_server(("127.0.0.1", 0)))
    clean.enter_context(socket.create_connection(listener.getsockname()))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(b"", ("127.0.0.1", free_port()))  # ICMP reports that nobody listens
    folder = temp_folder(clean, "scene")
    (folder / truth.SLEEPER).symlink_to(shutil.which("sleep"))
    for _ in range(3):
        clean.callback(Daemon([folder / truth.SLEEPER, "900"], folder / "output").end)
    if os.geteuid() or not shutil.which("lldpd") or run("mount", "-t", "tmpfs", "tmpfs", "/run").status:
        print("*** NOT TESTED: neighbors: lldpd isn't installed, or this isn't root ***", file=sys.stderr)
    else:
        add_neighbor(clean, folder / "lldpd")


def add_sensors(clean):
    """libsensors reads nothing but /sys."""
    folder = temp_folder(clean, "class") / "hwmon/hwmon0"
    folder.mkdir(parents=True)
    for name, value in SENSORS.items():
        (folder / name).write_text(value + "\n")
    layers = f"lowerdir={folder.parents[1]}:/sys/class"
    if run("mount", "-t", "overlay", "overlay", "-o", layers, "/sys/class").status:
        print("*** NOT TESTED: sensors: no overlay of /sys/class ***", file=sys.stderr)
        return
    truth.scene |= {f"sensor {SENSORS[name + '_label']}": int(SENSORS[name + "_input"]) for name in ("in1", "temp1")}


def add_neighbor(clean, output):
    """A system that lldpd hears of. Its socket has a fixed name in /run."""
    pathlib.Path("/run/lldpd").mkdir()
    daemon = Daemon(["lldpd", "-d", "-r"], output)
    clean.callback(daemon.end)
    eventually(lambda: pathlib.Path("/run/lldpd.socket").exists() or not daemon.alive(), daemon.said)
    assert daemon.alive(), daemon.said()
    chassis, port, seconds, address = "040200000000fe", "05706f727431", "ffff", "0501c0000207020000000100"
    texts = (1, chassis), (2, port), (3, seconds), (5, b"switch1".hex()), (8, address), (0, "")
    frame = b"".join((kind << 9 | len(text) // 2).to_bytes(2, "big") + bytes.fromhex(text) for kind, text in texts)
    time.sleep(1)  # until it listens on all links
    send("left1", bytes.fromhex("0180c200000e0200000000fe88cc") + frame)
    truth.scene["neighbor"] = "switch1"


def send(link, frame):
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as sender:
        sender.bind((link, 0))
        sender.send(frame)


def start_agent(clean):
    words = ["--strict-usm", "--standard", "--plugins", BUILD / "shipped-plugins"]
    return Deployment("node", agent_words=words).ends_with(clean).start().open().port


def start_snmpd(clean):
    """Debian's snmpd, with read access as its only setting."""
    folder, port = temp_folder(clean, "snmpd"), free_port()
    (folder / "snmpd.conf").write_text("rocommunity common 127.0.0.1\n")
    daemon = Daemon(["snmpd", "-f", "-Le", "-C", "-c", folder / "snmpd.conf", "-p", folder / "pid",
                     f"udp:127.0.0.1:{port}"], folder / "output")
    clean.callback(daemon.end)
    time.sleep(65)  # then it knows the processors' load
    return port
