"""What this host is, from the kernel and its tools: the numbers that pollers show on a host's first page, by the names
of items such as "in left1" and "size /". Units: octets, packets, bits per second, seconds; 1/100 s of processors."""

import array
import fcntl
import fnmatch
import json
import os
import pathlib
import socket
import struct

from harness import run

SECTOR = 512
SIOCETHTOOL, ETHTOOL_GSET = 0x8946, 1
scene = {"name": socket.gethostname()}  # what the test has made or chosen itself is added
STATES = {"UP": 1, "DOWN": 2}  # ifOperStatus
SLEEPER = "pollee"  # name of the processes that a poller has to find
ESTABLISHED, LISTEN = "01", "0A"  # of /proc/net/tcp
TICKS = os.sysconf("SC_CLK_TCK") / 100
MEMORY = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")

# By how much a value may be older than the samples around it, or rounded. Others have to be exact.
SLACK = {"memory": 2**20, "memory pollee": 2**20, "memory of processes": MEMORY / 20, "memory *": MEMORY / 100,
         "buffers": MEMORY / 100, "cached": MEMORY / 100, "swap free": 2**20, "load *": 0.2, "uptime": 10, "cpu %": 50,
         "cpu pollee": 5, "cpu *": 600, "rate cpu *": 50, "rate *": 10**9, "interrupts": 10**5, "contexts": 10**6,
         "processes": 12, "size *": 2**20, "used % *": 2, "used *": 2**28, "inodes % *": 2, "reads *": 10**4,
         "writes *": 10**4, "read *": 2**27, "written *": 2**27, "clock offset": 3, "tcp in": 4, "tcp opens": 4,
         "udp in": 100, "ip in": 100, "ip out": 100, "ip6 out": 100, "in lo": 10**5, "out lo": 10**5,
         "packets * lo": 1000}


def sample():
    """{item: value}, at this moment."""
    memory = {line.split(":")[0]: 1024 * int(line.split()[1]) for line in lines("/proc/meminfo")}
    cached = memory["Cached"] + memory["SReclaimable"]
    items = {"memory": memory["MemTotal"], "memory free": memory["MemFree"], "buffers": memory["Buffers"],
             "cached": cached, "swap": memory["SwapTotal"], "swap free": memory["SwapFree"],
             "memory used": memory["MemTotal"] - memory["MemFree"] - memory["Buffers"] - cached}
    items |= zip(("load 1", "load 5", "load 15"), map(float, lines("/proc/loadavg")[0].split()))
    items["uptime"] = float(lines("/proc/uptime")[0].split()[0])
    items |= {"cpus": os.cpu_count(), "cpu %": 50, "clock offset": 0, "users": len(run("who").out.splitlines())}
    return items | statistics() | processes() | disks() | links() | sockets() | routes() | scene


def lines(file):
    return pathlib.Path(file).read_text().splitlines()


def statistics():
    stat = {line.split()[0]: list(map(int, line.split()[1:])) for line in lines("/proc/stat")}
    kinds = "user", "nice", "system", "idle", "wait", "interrupt", "softirq", "steal"
    return {**{f"cpu {kind}": ticks / TICKS for kind, ticks in zip(kinds, stat["cpu"])},
            **{f"rate cpu {kind}": 50 for kind in kinds}, "interrupts": stat["intr"][0], "contexts": stat["ctxt"][0]}


def processes():
    """All, and those that the caller started for the pollers to find."""
    all_, resident, sleeping = 0, 0, []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            status = dict(line.split(":", 1) for line in lines(folder / "status"))
        except OSError:
            continue  # it has ended
        size = 1024 * int(status.get("VmRSS", "0 kB").split()[0])
        all_, resident = all_ + 1, resident + size
        if status["Name"].strip() == SLEEPER:
            sleeping.append(size)
    return {"processes": all_, "memory of processes": resident, "processes pollee": len(sleeping),
            "memory pollee": max(sleeping, default=0), "cpu pollee": 0}


def disks():
    items = {}
    for name, reads, _, read, _, writes, _, written, *_ in (line.split()[2:] for line in lines("/proc/diskstats")):
        if int(reads):
            items |= {f"reads {name}": int(reads), f"read {name}": SECTOR * int(read), f"writes {name}": int(writes),
                      f"written {name}": SECTOR * int(written), f"rate read {name}": 0}
    for folder in "/", "/dev/shm":
        items |= file_system(folder)
    return items


def file_system(folder):
    """As df(1) shows it."""
    sizes = os.statvfs(folder)
    used = sizes.f_blocks - sizes.f_bfree
    inodes = 100 * (sizes.f_files - sizes.f_ffree) / max(sizes.f_files, 1)
    return {f"size {folder}": sizes.f_frsize * sizes.f_blocks, f"used {folder}": sizes.f_frsize * used,
            f"used % {folder}": 100 * used / sizes.f_blocks, f"inodes % {folder}": inodes}


def links():
    items, states = {}, []
    for link in json.loads(run("ip", "-json", "-s", "link").out):
        name, received, sent = link["ifname"], link["stats64"]["rx"], link["stats64"]["tx"]
        states.append(2 if link["operstate"] == "DOWN" else 1)  # a loopback, UNKNOWN, is up
        items |= {f"in {name}": received["bytes"], f"out {name}": sent["bytes"], f"mtu {name}": link["mtu"],
                  f"packets in {name}": received["packets"], f"packets out {name}": sent["packets"],
                  f"errors in {name}": received["errors"], f"errors out {name}": sent["errors"],
                  f"state {name}": states[-1], f"rate in {name}": 0, f"rate out {name}": 0}
        if speed := speed_of(name):
            items[f"speed {name}"] = speed
    return {**items, "interfaces": len(states), "interfaces up": states.count(1), "interfaces down": states.count(2),
            "interfaces without HC": 0, "interfaces left out": 0, "unsupported items": 0}


def speed_of(name):
    """As ethtool(8) shows it; 0 if it is unknown. sysfs shows the links of the namespace that it was mounted in."""
    settings = array.array("B", struct.pack("I40x", ETHTOOL_GSET))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as link:
        try:
            fcntl.ioctl(link, SIOCETHTOOL, struct.pack("16sP", name.encode(), settings.buffer_info()[0]))
        except OSError:
            return 0
    megabits = struct.unpack_from("H", settings, 28)[0] << 16 | struct.unpack_from("H", settings, 12)[0]
    return 10**6 * megabits if megabits != 0xFFFFFFFF else 0


def sockets():
    counts, rows = {}, lines("/proc/net/snmp")
    for heads, values in zip(rows[::2], rows[1::2]):
        kind = heads.split(":")[0]
        counts |= {f"{kind} {head}": int(value) for head, value in zip(heads.split()[1:], values.split()[1:])}
    counts6 = {line.split()[0]: int(line.split()[1]) for line in lines("/proc/net/snmp6")}
    states = [line.split()[3] for file in ("tcp", "tcp6") for line in lines(f"/proc/net/{file}")[1:]]
    return {"tcp established": states.count(ESTABLISHED), "tcp listen": states.count(LISTEN),
            "tcp in": counts["Tcp InSegs"], "tcp opens": counts["Tcp ActiveOpens"], "icmp in": counts["Icmp InMsgs"],
            "udp in": counts["Udp InDatagrams"] + counts6["Udp6InDatagrams"], "ip in": counts["Ip InReceives"],
            "ip out": counts["Ip OutRequests"], "ip6 out": counts6["Ip6OutRequests"]}


def routes():
    """The next hop of each, "0.0.0.0" or "::" for a network of a link. Without those that are local to a link."""
    found = {}
    for family, none in (("-4", "0.0.0.0"), ("-6", "::")):
        for route in json.loads(run("ip", "-json", family, "route").out or "[]"):
            if not route["dst"].startswith("fe80:"):
                found["route " + route["dst"]] = route.get("gateway", none)
    return found


def agrees(item, shown, samples):
    """Whether a value that a client showed while these samples were taken is right."""
    values = [sample[item] for sample in samples if item in sample]
    if isinstance(values[0], str):
        return shown == values[0]
    slack = next((slack for pattern, slack in SLACK.items() if fnmatch.fnmatchcase(item, pattern)), 0)
    return min(values) - slack <= float(shown) <= max(values) + slack
