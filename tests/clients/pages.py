"""The first pages of pollers: what they show of this host through an agent, as numbers that tests/clients/truth.py has
from the kernel at the same moment. A page is a row of PAGES: the command, which of its output is which item, and which
items have to be shown."""

import fnmatch
import json
import os
import pathlib
import re
import sys
import time

import pollers
import scene
import truth
from harness import TREE, eventually, run, temp_folder
from truth import STATES

CHECKS = "/usr/lib/nagios/plugins"
CENTREON = f"perl {CHECKS}/centreon_plugins.pl --plugin=os::linux::snmp::plugin"
COUNT = None  # the value of a rule: how often its pattern occurs


class Page:
    """What a client shows of a host.

    `how` is a command line with {agent}, {port}, {folder} and {pause}, or an operation of a target and a folder that
    returns {item: value}. `rules` find the items in what the command prints: (pattern, item, value). The pattern's last
    group is the value, the one before it replaces {} in the item. The value is multiplied by the rule's, or looked up
    in it, or remains a text with str. `items` are patterns of the items of truth.sample() that have to be shown."""

    def __init__(self, name, title, package, how, rules, items, runs=1, objects=()):
        self.name, self.title, self.package, self.how = name, title, package, how
        self.rules, self.items, self.runs = rules, items.split("; "), runs
        self.objects = objects  # items that have to be shown, with whatever value

    def wrong(self, shown, samples):
        """How many items there are, those that aren't shown as the samples have them, and those that aren't shown."""
        expected = [item for item in samples[-1] if any(fnmatch.fnmatchcase(item, pattern) for pattern in self.items)]
        wrong = [item for item in expected if item in shown and not truth.agrees(item, shown[item], samples)]
        absent = [item for item in [*expected, *self.objects] if item not in shown]
        return len(expected) + len(self.objects), wrong, absent

    def show(self, target, folder):
        if callable(self.how):
            return self.how(target, folder)
        for number in range(self.runs):  # rates need several
            time.sleep(target.pause * (number > 0))
            words = self.how.format(agent=f"127.0.0.1:{target.port}", port=target.port, folder=folder,
                                    pause=int(target.pause))
            environment = {**ENVIRONMENT, "MUNIN_PLUGSTATE": str(folder), "port": str(target.port)}
            answer = run(*words.split(), env={**os.environ, **environment})
        return {**items_of(answer.out, self.rules), "output": answer.out + answer.err}


def items_of(text, rules):
    items = {}
    for pattern, item, value in rules:
        found = [match.groups() for match in re.finditer(pattern, text, re.M)]
        if value is COUNT:
            items[item] = len(found)
            continue
        for *name, shown in found:
            if isinstance(value, dict):
                items[item.format(*name)] = value.get(shown)
            else:
                items[item.format(*name)] = shown if value is str else value * float(shown)
    return items


def munin(plugin, rules, items):
    """A row of PAGES for one of Munin's plug-ins, as munin-node would run it; if its name ends with _, for left1."""
    def show(target, folder):
        link = folder / plugin.replace("__", "_127.0.0.1_", 1)
        link = link.with_name(link.name + target.indexes["left1"]) if plugin.endswith("_") else link
        if not link.is_symlink():
            link.symlink_to(f"/usr/share/munin/plugins/{plugin}")
        return Page("", "", "", f"perl {link}", rules, "").show(target, folder)

    return Page("munin", plugin, "munin-plugins-core", show, rules, items)


def centreon(mode, rules, items, words="", runs=1):
    how = (f"{CENTREON} --mode={mode} --hostname=127.0.0.1 --snmp-port={{port}} --snmp-version=2c"
           f" --snmp-community=common --verbose {words}")
    if runs > 1:
        how += " --statefile-dir={folder}"
    return Page("centreon", f"{mode}", "centreon-plugins", how, rules, items, runs)


def check(name, words, rules, items, runs=1):
    how = f"perl {CHECKS}/{name}.pl -H 127.0.0.1 -p {{port}} -C common -2 {words}"
    title = words.replace(" -d {pause}", "")  # only the test doesn't wait for five minutes
    return Page(name, f"`{name} {title}`", "nagios-snmp-plugins", how, rules, items, runs)


def standard(name, rules, items):
    how = f"perl {CHECKS}/{name} -H 127.0.0.1 -p {{port}} -C common -v 2"
    return Page(name, f"`{name}`", "monitoring-plugins-standard", how, rules, items)


def snmp(name, words, rules, items):
    """One of Debian's programs; those that need names of objects find them in the folder: see write_mibs."""
    how = f"{name} -M {{folder}} -v2c -ccommon {words} {{agent}}"
    return Page(name, f"`{name} {words}`".replace(" `", "`"), "snmp", how, rules, items)


ENVIRONMENT = {"MUNIN_LIBDIR": "/usr/share/munin", "community": "common", "version": "2"}
DF = [(r"^(/\S*) +(\d+) +\d+ +\d+ +\d+%", "size {}", 1024), (r"^(/\S*) +\d+ +(\d+) +\d+ +\d+%", "used {}", 1024)]
DETAILS = "user|nice|system|idle|wait|interrupt|softirq|steal"
PAGES = [
    Page("cfgmaker", "`cfgmaker`", "mrtg", "cfgmaker --noreversedns --snmp-options=:{port}::::2 common@127.0.0.1",
         [(r"^MaxBytes\[127\.0\.0\.1_(\S+)\]: (\d+)", "speed {}", 8), (r"^noHC", "interfaces without HC", COUNT),
          # MRTG leaves out loopback links, always
          (r"^### The following interface is commented out because:\n(?!### \* it is a Software Loopback)",
           "interfaces left out", COUNT)], "speed *; interfaces without HC; interfaces left out"),
    check("check_snmp_int", "-n . -k -g -w 0,0 -c 0,0 -f -e -S -d {pause}",
          [(r"'(\S+)_in_octet'=(\d+)c", "in {}", 1), (r"'(\S+)_out_octet'=(\d+)c", "out {}", 1),
           (r"'(\S+)_in_error'=(\d+)c", "errors in {}", 1), (r"'(\S+)_out_error'=(\d+)c", "errors out {}", 1),
           (r"'(\S+)_speed_bps'=(\d+)", "speed {}", 1), (r"(\w+):(UP|DOWN) ", "state {}", STATES)],
          "in *; out *; errors in *; errors out *; speed *; state *", runs=2),
    check("check_snmp_load", "-T stand -w 99 -c 99 -f", [(r"cpu_prct_used=([\d.]+)%", "cpu %", 1)], "cpu %"),
    check("check_snmp_load", "-T netsl -w 99,99,99 -c 99,99,99 -f", [(r"load_(\d+)_min=([\d.]+)", "load {}", 1)],
          "load *"),
    check("check_snmp_mem", "-N -b -w 99,99 -c 99,99 -f",
          [(r"ram_used=\d+;\d+;\d+;0;(\d+)", "memory", 1024), (r"ram_used=(\d+);", "memory used", 1024),
           (r"swap_used=\d+;\d+;\d+;0;(\d+)", "swap", 1024)], "memory; memory used; swap"),
    check("check_snmp_storage", "-q FixedDisk -m . -w 98 -c 99 -f",
          [(r"'(\S+)'=([\d.]+)MB;", "used {}", 2**20), (r"'(\S+)'=[\d.]+MB;\d+;\d+;0;(\d+)", "size {}", 2**20)],
          "size /; used /"),
    check("check_snmp_process", "-n pollee -w 0 -c 0 -m 900,1000 -u 99,99 -d {pause}",
          [(r"^(\d+) process", "processes pollee", 1), (r"Mem : ([\d.]+)MB", "memory pollee", 2**20),
           (r"CPU : (\d+)%", "cpu pollee", 1)], "* pollee", runs=3),
    standard("check_ifstatus", [(r"\bup=(\d+)", "interfaces up", 1), (r"\bdown=(\d+)", "interfaces down", 1)],
             "interfaces up; interfaces down"),
    centreon("cpu", [(r"'total_cpu_avg'=([\d.]+)%", "cpu %", 1)], "cpu %"),
    centreon("cpu-detailed", [(rf"'({DETAILS})'=([\d.]+)%", "rate cpu {}", 1)], "rate cpu *", runs=2),
    centreon("load", [(r"'load(\d+)'=([\d.]+)", "load {}", 1)], "load *"),
    centreon("memory", [(r"'used'=(\d+)B;;;0;\d+", "memory used", 1), (r"'used'=\d+B;;;0;(\d+)", "memory", 1),
                        (r"'buffer'=(\d+)B", "buffers", 1), (r"'cached'=(\d+)B", "cached", 1)],
             "memory; memory used; buffers; cached"),
    centreon("storage", [(r"'used'=(\d+)B", "used /", 1)], "used /", "--storage=^/$ --name --regexp"),
    centreon("disk-usage", [(r"'used_(/\S*)'=(\d+)B", "used {}", 1), (r"'used_(/\S*)'=\d+B;;;0;(\d+)", "size {}", 1),
                            (r"'inodes_(/\S*)'=(\d+)%", "inodes % {}", 1)],
             "size *; used /*; inodes *", "--diskpath=. --name --regexp"),
    centreon("inodes", [(r"'used_(/\S*)'=(\d+)%", "inodes % {}", 1)], "inodes *", "--diskpath=. --name --regexp"),
    centreon("diskio", [(r"^Device '(\S+)' Read I/O : ([\d.]+)", "rate read {}", 1)], "rate read *", runs=2),
    centreon("list-interfaces", [(r"^'(\S+)' \[speed = (\d+)\]", "speed {}", 10**6),
                                 (r"^'(\S+)' .*\[status = (\w+)\]", "state {}", {"up": 1, "down": 2})],
             "speed *; state *"),
    centreon("interfaces", [(r"^Interface '(\S+)' Status : (\w+)", "state {}", {"up": 1, "down": 2}),
                            (r"'traffic_in_(\S+)'=([\d.]+)b/s", "rate in {}", 1),
                            (r"'traffic_out_(\S+)'=([\d.]+)b/s", "rate out {}", 1)],
             "state *; rate in *; rate out *", "--interface=.* --name --add-status --add-traffic", runs=2),
    centreon("processcount", [(r"'nbproc'=(\d+)", "processes", 1)], "processes", "--process-status="),
    centreon("tcpcon", [(r"'con_established'=(\d+)", "tcp established", 1)], "tcp established"),
    centreon("uptime", [(r"'uptime'=(\d+)s", "uptime", 1)], "uptime"),
    centreon("time", [(r"'offset'=(-?\d+)s", "clock offset", 1)], "clock offset"),
    munin("snmp__cpuload", [(r"^(cpu)\d*\.value ([\d.]+)", "{} %", 1)], "cpu %"),
    munin("snmp__df", [(r"^p_\.value ([\d.]+)", "used % /", 1)], "used % /"),
    munin("snmp__if_", [(r"^recv\.value (\d+)", "in left1", 1), (r"^send\.value (\d+)", "out left1", 1)],
          "in left1; out left1"),
    munin("snmp__if_err_", [(r"^recv\.value (\d+)", "errors in left1", 1),
                            (r"^send\.value (\d+)", "errors out left1", 1)], "errors * left1"),
    munin("snmp__load", [(r"^load\.value ([\d.]+)", "load 5", 1)], "load 5"),
    munin("snmp__memory", [(r"^memory\.value (\d+)", "memory of processes", 1)], "memory of processes"),
    munin("snmp__netstat", [(r"^established\.value (\d+)", "tcp established", 1),
                            (r"^listen\.value (\d+)", "tcp listen", 1)], "tcp established; tcp listen"),
    munin("snmp__processes", [(r"^processes\.value (\d+)", "processes", 1)], "processes"),
    munin("snmp__uptime", [(r"^uptime\.value ([\d.]+)", "uptime", 86400)], "uptime"),
    munin("snmp__users", [(r"^users\.value (\d+)", "users", 1)], "users"),
    snmp("snmpdf", "-m HOST-RESOURCES-MIB", DF, "size /; used /"),
    snmp("snmpdf", "-m UCD-SNMP-MIB -Cu", DF, "size *; used /*"),
    snmp("snmpnetstat", "-Cn -Ci", [(r"^(\S+?)\*? +(\d+) ", "mtu {}", 1),
                                    (r"^(\S+?)\*? +\d+ .*?(\d+) +\d+ +\d+ +\d+ +\S+$", "packets in {}", 1),
                                    (r"^(\S+?)\*? +\d+ .*?(\d+) +\d+ +\S+$", "packets out {}", 1)],
         "mtu *; packets *"),
    snmp("snmpnetstat", "-Cs", [(r"^ +(\d+) current.* established connections", "tcp established", 1),
                                (r"^ +(\d+) active opens", "tcp opens", 1),
                                (r"^ +(\d+) segments received", "tcp in", 1),
                                (r"^ +(\d+) total datagrams received", "udp in", 1),
                                (r"^ip:\n(?:.*\n)*? +(\d+) datagrams input", "ip in", 1),
                                (r"^ip6:\n(?:.*\n)*? +(\d+) output datagram requests", "ip6 out", 1),
                                (r"^icmp:\n +(\d+) input messages", "icmp in", 1)],
         "tcp established; tcp opens; tcp in; udp in; ip in; ip6 out; icmp in"),
    snmp("snmpnetstat", "-Cn -Ca", [(r"^tcp4 .*ESTABLISHED", "tcp established", COUNT)], "tcp established"),
    snmp("snmpnetstat", "-Cn -Cr", [(r"^(\S+) +(\S+) +<U\w*>", "route {}", str)], "route *"),
    snmp("snmpstatus", "", [(r"^Interfaces: (\d+)", "interfaces", 1), (r"\| IP: (\d+)/", "ip in", 1),
                            (r"\| IP: \d+/(\d+)", "ip out", 1)], "interfaces; ip in; ip out"),
]

# What the OIDs that pollers read are. Rows have the name that another column of their index has.
IF, IFX, STORAGE = "1.3.6.1.2.1.2.2.1", "1.3.6.1.2.1.31.1.1.1", "1.3.6.1.2.1.25.2.3.1"
UCD, SENSOR = "1.3.6.1.4.1.2021", "1.3.6.1.2.1.99.1.1.1"
ROW_NAMES = {IF: f"{IF}.2", IFX: f"{IFX}.1", STORAGE: f"{STORAGE}.3", f"{UCD}.10.1": f"{UCD}.10.1.2",
             f"{UCD}.9.1": f"{UCD}.9.1.2", f"{UCD}.13.15.1.1": f"{UCD}.13.15.1.1.2", SENSOR: "1.3.6.1.2.1.47.1.1.1.1.2"}
OBJECTS = {
    "1.3.6.1.2.1.1.5": ("name", str), "1.3.6.1.2.1.25.1.1": ("uptime", 0.01), "1.3.6.1.2.1.25.1.5": ("users", 1),
    "1.3.6.1.2.1.25.1.6": ("processes", 1), "1.3.6.1.2.1.25.2.2": ("memory", 1024),
    f"{UCD}.4.3": ("swap", 1024), f"{UCD}.4.4": ("swap free", 1024), f"{UCD}.4.5": ("memory", 1024),
    f"{UCD}.4.6": ("memory free", 1024), f"{UCD}.4.14": ("buffers", 1024), f"{UCD}.4.15": ("cached", 1024),
    **{f"{UCD}.11.{number}": (f"cpu {kind}", 1) for number, kind in
       ((50, "user"), (51, "nice"), (52, "system"), (53, "idle"), (54, "wait"), (61, "softirq"), (64, "steal"))},
    f"{UCD}.11.59": ("interrupts", 1), f"{UCD}.11.60": ("contexts", 1), f"{UCD}.10.1.3": ("load {}", 1),
    f"{UCD}.9.1.6": ("size {}", 1024), f"{UCD}.9.1.8": ("used {}", 1024), f"{UCD}.9.1.10": ("inodes % {}", 1),
    f"{UCD}.13.15.1.1.5": ("reads {}", 1), f"{UCD}.13.15.1.1.6": ("writes {}", 1),
    f"{UCD}.13.15.1.1.12": ("read {}", 1), f"{UCD}.13.15.1.1.13": ("written {}", 1),
    f"{IF}.4": ("mtu {}", 1), f"{IF}.8": ("state {}", 1), f"{IF}.14": ("errors in {}", 1),
    f"{IF}.20": ("errors out {}", 1), f"{IFX}.6": ("in {}", 1), f"{IFX}.10": ("out {}", 1),
    f"{IFX}.15": ("speed {}", 10**6), f"{STORAGE}.5": ("size {}", 1), f"{STORAGE}.6": ("used {}", 1),
    f"{SENSOR}.4": ("sensor {}", 1),
    "1.0.8802.1.1.2.1.4.1.1.9": ("neighbor", str)}
SYSTEM = [f"1.3.6.1.2.1.1.{number}.0" for number in range(1, 7)] + ["1.3.6.1.2.1.25.1.1.0"]
INTERFACE = [*(f"{IF}.{column}" for column in (2, 3, 4, 7, 8, 13, 14, 19, 20)),
             *(f"{IFX}.{column}" for column in (1, 6, 10, 15, 18)), "1.3.6.1.2.1.10.7.2.1.19"]
HOST = [*(f"{UCD}.4.{number}.0" for number in (3, 4, 5, 6, 14, 15)),
        *(f"{UCD}.11.{number}.0" for number in (50, 51, 52, 53, 54, 56, 59, 60, 61, 64, 65, 66)),
        *(f"{STORAGE}.{column}" for column in (2, 3, 4, 5, 6)), "1.3.6.1.2.1.25.3.3.1.2",
        *(f"{UCD}.9.1.{column}" for column in (2, 10)), *(f"{UCD}.10.1.{column}" for column in (2, 3)),
        *(f"{UCD}.13.15.1.1.{column}" for column in (2, 5, 6, 9))]


def items_of_cells(cells):
    """{item: value} of {OID: value}."""
    items = {}
    for name, value in cells.items():
        for column in OBJECTS:
            if name.startswith(column + "."):
                item, factor = OBJECTS[column]
                entry, index = column.rpartition(".")[0], name[len(column) + 1:]
                row = cells.get(f"{ROW_NAMES.get(entry)}.{index}", "").removeprefix("Load-")
                if entry == STORAGE:
                    factor = int(cells[f"{STORAGE}.4.{index}"])
                items[item.format(row)] = value if factor is str else factor * float(value)
    return items


def zabbix(objects):
    """A row of PAGES: items for these objects, the columns with all rows that the target has."""
    def show(target, folder):
        names = [name for name in objects if name.endswith(".0")]
        for column in (name for name in objects if not name.endswith(".0")):
            names += target.cells(column)
        hosts = {1: ("127.0.0.1", target.port, names)}
        values = pollers.zabbix_proxy(folder, hosts, lambda daemon, known: eventually(
            lambda: known() == len(names) or not daemon.alive(), daemon.said))[1]
        good = {name: value for name, (value, state) in values.items() if state == 0}
        failed = [name for name in names if name not in good]
        return {**items_of_cells(good), "unsupported items": len(failed), "output": f"failed: {failed}"}

    return show


def facts(mib):
    """[OID, name, syntax, access, index] of each object of a MIB that the agent serves with its plug-ins. A plug-in
    replaces whole tables."""
    found = {}
    for file in *TREE.glob("plugins/*/objects.tsv"), TREE / "mibs/standard-objects.tsv":
        section, earlier = "", tuple(oid + "." for oid, row in found.items() if row[2] == "-")
        for line in file.read_text().splitlines():
            if line.startswith("# "):
                section = line[2:].partition(",")[0]
            elif section == mib and line and not line.startswith(earlier):
                found[line.partition("\t")[0]] = line.split("\t")
    return [found[oid] for oid in sorted(found, key=lambda oid: list(map(int, oid.split("."))))]


# Objects that the host of the test hasn't: only disks of some machines have partitions.
ABSENT = () if any(pathlib.Path("/sys/class/block").glob("*/partition")) else ("hrPartition",)
EXPORTER_TYPES = {"Counter32": "counter", "Counter64": "counter", "OCTET STRING": "OctetString", "Opaque": "Float",
                  "IpAddress": "InetAddressIPv4"}
ADDRESSES = "Addr", "Address", "Prefix"  # in names of indexes with a length and octets


def exporter_module(mib):
    """A module of the exporter's configuration, as its generator makes it from a MIB. It can't have object ids."""
    entries, indexes, metrics, scalars = {}, {}, [], []
    for oid, name, syntax, access, index in facts(mib):
        if syntax == "-":
            entries[oid] = name
            indexes[name] = indexes[index.split()[1]] if index.startswith("AUGMENTS") else index.split()
        elif access != "not-accessible" and syntax != "OBJECT IDENTIFIER" and not name.startswith(ABSENT):
            entry = entries.get(oid.rpartition(".")[0])
            scalars += [] if entry else [oid + ".0"]
            labels = [{"labelname": label, "type": "OctetString" if label.endswith(ADDRESSES) else "gauge"}
                      for label in indexes.get(entry, [])]
            metrics.append({"name": name, "oid": oid, "type": EXPORTER_TYPES.get(syntax, "gauge"), "help": oid,
                            "indexes": labels})
    return {"walk": list(entries), "get": scalars, "version": 2, "timeout": "5s", "auth": {"community": "common"},
            "metrics": metrics}


def exporter(mib):
    """A row of PAGES: a scrape of a MIB's module. Each object is an item, too."""
    module = exporter_module(mib)

    def show(target, folder):
        (folder / "snmp.yml").write_text(json.dumps({"all": module}))
        good, text = pollers.scrape(folder, f"target=127.0.0.1:{target.port}&module=all")
        if not good:
            return {"output": text}
        oids, cells = {metric["name"]: metric["oid"] for metric in module["metrics"]}, {}
        indexes = {metric["name"]: [index["labelname"] for index in metric["indexes"]] for metric in module["metrics"]}
        for name, labels, value in re.findall(r"^(\w+)(?:\{(.*)\})? (\S+)$", text, re.M):
            if name not in oids:
                continue
            labels = dict(re.findall(r'(\w+)="(.*?)"', labels))
            value = labels.get(name, value)
            if value.startswith("0x"):
                value = bytes.fromhex(value[2:]).decode(errors="replace")
            cells[".".join([oids[name], *([labels[index] for index in indexes[name]] or "0")])] = value
        shown = [name for name, oid in oids.items() if any(cell.startswith(oid + ".") for cell in cells)]
        for entry, names in ROW_NAMES.items():  # as the exporter's lookups do
            cells |= target.cells(names) if any(oid.startswith(entry + ".") for oid in oids.values()) else {}
        return {**{f"object {name}": 1 for name in shown}, **items_of_cells(cells), "output": text}

    return show


MODULES = {  # and the numbers that are compared
    "IF-MIB": "in *; out *; speed *; mtu *; state *; errors *",
    "HOST-RESOURCES-MIB": "uptime; users; processes; memory; size *; used /*",
    "UCD-SNMP-MIB": "memory; memory free; swap; buffers; cached; cpu user; cpu idle; load *; interrupts; contexts;"
                    " size *; used /*",
    "UCD-DISKIO-MIB": "reads *; writes *; read *; written *", "IP-MIB": "", "ENTITY-SENSOR-MIB": "sensor *",
    "LLDP-MIB": "neighbor"}
PAGES += [Page("exporter", f"module {mib}", "prometheus-snmp-exporter", exporter(mib), [], numbers,
               objects=[f"object {metric['name']}" for metric in exporter_module(mib)["metrics"]])
          for mib, numbers in MODULES.items()]

DEVICE = "unsupported items; name; uptime; in *; out *; errors *; speed *; state *"
PAGES += [Page("zabbix", "Linux by SNMP", "zabbix-proxy-sqlite3", zabbix(SYSTEM + INTERFACE + HOST), [],
               DEVICE + "; load *; cpu user; cpu nice; cpu system; cpu idle; cpu wait; cpu softirq; cpu steal;"
               " interrupts; contexts; memory; memory free; buffers; cached; swap; swap free; size *; used /*;"
               " inodes *; reads *; writes *"),
          Page("zabbix", "Network Generic Device by SNMP", "zabbix-proxy-sqlite3", zabbix(SYSTEM + INTERFACE), [],
               DEVICE)]


def write_mibs(folder):
    """The names of the objects that snmpdf looks for. Debian has the MIBs themselves in a package that isn't free."""
    for mib in "HOST-RESOURCES-MIB", "UCD-SNMP-MIB":
        objects = "".join(f"{name} OBJECT IDENTIFIER ::= {{ iso {' '.join(oid.split('.')[1:])} }}\n"
                          for oid, name, *_ in facts(mib))
        (folder / f"{mib}.txt").write_text(f"{mib} DEFINITIONS ::= BEGIN\n{objects}END\n")


def summary(title, items):
    """Some of the items, for a table."""
    names = [item.removeprefix("object ") for item in items]
    if len(names) > 5:
        names[4:] = [f"and {len(names) - 4} others"]
    return f"; {title} {', '.join(names)}" if names else ""


def check(clean, names, beside, record, fail):
    """Runs the pages of these clients against the agent, and beside it, if that is wanted, against snmpd. Returns
    [[page, text for each target]]."""
    scene.make(clean)
    starts = [scene.start_agent] + [scene.start_snmpd] * bool(beside)
    pause = 6 if beside else 1.2  # s; as long as snmpd caches the processors' counters
    targets = [scene.Target(start(clean), temp_folder(clean, "pages"), pause) for start in starts]
    rows, samples = [], [truth.sample()]
    for number, page in enumerate(page for page in PAGES if page.name in names):
        texts = []
        for target in targets:
            folder = target.folder / str(number)
            folder.mkdir()
            write_mibs(folder)
            samples.append(truth.sample())
            try:
                shown = page.show(target, folder)
            except Exception as error:  # clients fail in many ways
                shown = {"output": repr(error)}
            forget(target)
            samples.append(truth.sample())
            recent = samples[-2:] if target is targets[0] else samples  # snmpd caches values, up to 30 s
            count, wrong, absent = page.wrong(shown, recent)
            values = [f"{item} ({shown[item]}, not {samples[-1][item]})" for item in wrong]
            texts.append(f"{count - len(wrong + absent)} of {count}" + summary("wrong", values) + summary("no", absent))
            if wrong + absent and target is targets[0]:
                fail(f"{page.name}: {page.title}: wrong: {values}; absent: {absent}: {shown['output'][-3000:]}")
            elif wrong + absent:
                print(f"snmpd: {shown['output'][-3000:]}", file=sys.stderr)
        record(page, texts[0])
        rows.append([page, *texts])
    return rows


def forget(target):
    """Removes what the checks keep in /tmp from one run to the next."""
    for file in pathlib.Path("/tmp").glob("tmp_Icinga_*.127.0.0.1.*"):
        if f".{target.port}." in file.name or file.name.endswith("." + truth.SLEEPER):
            file.unlink()
