"""Pollers that are daemons or plug-ins of one: each operation runs one on a configuration made for it, and returns
{way: {name: value}} as the scripts of the other clients print it. Folders are the caller's to remove."""

import contextlib
import gzip
import os
import re
import sqlite3
import time
import urllib.request

from harness import Daemon, eventually, run

IF_DESCR = "1.3.6.1.2.1.2.2.1.2"
HC_IN, HC_OUT, IF_ALIAS = (f"1.3.6.1.2.1.31.1.1.1.{column}" for column in (6, 10, 18))


def munin(plan, folder):
    """The plug-in as munin-node would run it."""
    plugin = folder / "snmp_127.0.0.1_if_multi"
    plugin.symlink_to("/usr/share/munin/plugins/snmp__if_multi")
    environment = {**os.environ, "MUNIN_LIBDIR": "/usr/share/munin", "MUNIN_PLUGSTATE": str(folder),
                   "MUNIN_CAP_MULTIGRAPH": "1", "port": str(plan["port"]), "community": "common", "version": "2",
                   "ifTypeOnly": "ALL"}
    shown, cells = {}, {}
    for words in (["config"], []):
        answer = run("perl", plugin, *words, env=environment)
        if answer.status:
            cells["error"] = answer.err.strip().splitlines()[-1]
        for graph, text in re.findall(r"^multigraph (\S+)\n(.*?)(?=^multigraph|\Z)", answer.out, re.M | re.S):
            shown.setdefault(graph, {}).update(re.findall(r"^(\S+) (.*)$", text, re.M))
    for graph, lines in shown.items():
        if interface := re.fullmatch(r"if_bytes\.if_(\d+)", graph):
            cells[f"{IF_ALIAS}.{interface[1]}"] = re.sub(r"Interface (.*) traffic", r"\1", lines.get("graph_title", ""))
            values = {HC_IN: lines.get("recv.value"), HC_OUT: lines.get("send.value")}
            cells |= {f"{column}.{interface[1]}": value for column, value in values.items() if value not in (None, "U")}
    return {"if_multi": cells}


def exporter(plan, folder):
    """One scrape with the default of 25 repetitions and one with 60."""
    metrics = "".join(f"""
    - {{name: cell{number}, oid: {column}, type: {"counter" if column in plan["counters"] else "DisplayString"},
       help: "{column}", indexes: [{{labelname: index, type: gauge}}]}}"""
                      for number, column in enumerate(plan["columns"]))
    (folder / "snmp.yml").write_text("".join(f"""
{module}:
  walk: [{", ".join(plan["columns"])}]
  version: 2
  max_repetitions: {repetitions}
  timeout: 2s
  auth: {{community: common}}
  metrics:{metrics}
""" for module, repetitions in (("usual", 25), ("large", 60))))
    shown = {}
    for way, module in (("scrape", "usual"), ("scrape, 60 rows", "large")):
        good, text = scrape(folder, f"target=127.0.0.1:{plan['port']}&module={module}")
        shown[way] = {} if good else {"error": text.strip().splitlines()[-1]}
        for number, labels, value in re.findall(r"^cell(\d+)\{(.*)\} (\S+)$", text, re.M):
            labels = dict(re.findall(r'(\w+)="(.*?)"', labels))
            name = f"{plan['columns'][int(number)]}.{labels['index']}"
            shown[way][name] = labels.get(f"cell{number}") if f"cell{number}" in labels else f"{float(value):.0f}"
    return shown


def scrape(folder, query):
    """Whether the exporter, configured by snmp.yml in the folder, answered with success, and what it said."""
    daemon = Daemon(["prometheus-snmp-exporter", f"--config.file={folder}/snmp.yml",
                     "--web.listen-address=127.0.0.1:9116"], folder / "output")
    try:
        eventually(lambda: fetch("http://127.0.0.1:9116/")[0] or not daemon.alive(), daemon.said)
        assert daemon.alive(), daemon.said()
        return fetch(f"http://127.0.0.1:9116/snmp?{query}")
    finally:
        daemon.end()


def zabbix(plan, folder):
    """Two interfaces of a host in one proxy: over IPv4 with known items only, over IPv6 with an unknown one as well."""
    hosts = {1: ("127.0.0.1", plan["port"], plan["items"]), 2: ("::1", plan["port"], [*plan["items"], plan["unknown"]])}
    values = zabbix_proxy(folder, hosts, lambda daemon, _: plan["settle"](daemon))
    return {"get of " + way: {name: value for name, (value, state) in values[number].items() if state == 0}
            for way, number in (("known items", 1), ("known and unknown items", 2))}


def zabbix_proxy(folder, hosts, settle):
    """Runs a proxy that has these hosts, {number: (address, port, names)}, until settle(daemon, known) returns. `known`
    tells how many items have been polled. Returns {number: {name: (last value, state)}}; state 0 is supported."""
    file = folder / "zabbix.db"
    with contextlib.closing(sqlite3.connect(file)) as database, database:
        with gzip.open("/usr/share/zabbix-proxy-sqlite3/schema.sql.gz", "rt") as schema:
            database.executescript(schema.read())
        for number, (address, port, names) in hosts.items():
            database.execute("INSERT INTO hosts (hostid, host, name) VALUES (?, ?, ?)", (number, address, address))
            database.execute("INSERT INTO interface (interfaceid, hostid, main, type, ip, port)"
                             " VALUES (?, ?, 1, 2, ?, ?)", (number, number, address, port))
            database.execute("INSERT INTO interface_snmp (interfaceid, community) VALUES (?, 'common')", (number,))
            for item, name in enumerate(names, 1000 * number):
                database.execute("INSERT INTO items (itemid, hostid, interfaceid, type, value_type, delay, key_,"
                                 " snmp_oid) VALUES (?, ?, ?, 20, 1, '1s', ?, ?)",
                                 (item, number, number, f"item{item}", name))
                database.execute("INSERT INTO item_rtdata (itemid) VALUES (?)", (item,))

    def history(columns):
        with contextlib.closing(sqlite3.connect(file)) as database:
            return database.execute(f"SELECT {columns} FROM proxy_history ORDER BY id").fetchall()

    (folder / "zabbix.conf").write_text(
        f"ProxyMode=1\nServer=127.0.0.1\nHostname=proxy\nListenIP=127.0.0.1\nAllowRoot=1\n"
        f"LogType=console\nPidFile={folder}/pid\nSocketDir={folder}\nDBName={file}\nTimeout=3\n"
        "StartPollers=2\nStartPingers=0\nStartDiscoverers=0\nStartHTTPPollers=0\nStartPreprocessors=1\n")
    daemon = Daemon(["zabbix_proxy", "-f", "-c", folder / "zabbix.conf"], folder / "output")
    try:
        settle(daemon, lambda: len(set(history("itemid"))))
    finally:
        daemon.end()
    shown = {number: {} for number in hosts}
    for item, value, state in history("itemid, value, state"):
        shown[item // 1000][hosts[item // 1000][2][item % 1000]] = value, state
    return shown


def collectd(plan, folder):
    """The octets of each interface, by its name, without and with bulk requests. A table has one type: 64 bits."""
    shown = {}
    for way, bulk in (("table", 0), ("table, BulkSize 10", 10)):
        output = folder / str(bulk)
        (folder / "collectd.conf").write_text(f"""
Hostname "collector"
BaseDir "{folder}"
PIDFile "{folder}/pid"
PluginDir "/usr/lib/collectd"
TypesDB "/usr/share/collectd/types.db"
Interval 1
LoadPlugin logfile
<Plugin logfile>
  File "stderr"
</Plugin>
LoadPlugin csv
<Plugin csv>
  DataDir "{output}"
  StoreRates false
</Plugin>
LoadPlugin snmp
<Plugin snmp>
  <Data "octets">
    Table true
    Type "if_octets"
    TypeInstanceOID "{IF_DESCR}"
    Values "{HC_IN}" "{HC_OUT}"
  </Data>
  <Host "agent">
    Address "127.0.0.1:{plan['port']}"
    Version 2
    Community "common"
    Collect "octets"
    {f"BulkSize {bulk}" if bulk else ""}
  </Host>
</Plugin>
""")
        daemon = Daemon(["collectd", "-f", "-C", folder / "collectd.conf"], folder / "output")
        time.sleep(3.5)
        daemon.end()
        shown[way] = {}
        for file in output.glob("agent/snmp/if_octets-*"):
            name = re.fullmatch(r"if_octets-(.*)-\d{4}-\d\d-\d\d", file.name)[1]
            _, received, sent = file.read_text().splitlines()[-1].split(",")
            index = plan["indexes"].get(name, name)
            shown[way].update({f"{HC_IN}.{index}": received, f"{HC_OUT}.{index}": sent})
    return shown


def fetch(url):
    """Whether the server answered with success, and what it said."""
    try:
        with urllib.request.urlopen(url, timeout=30) as reply:
            return True, reply.read().decode()
    except urllib.error.HTTPError as error:
        return False, error.read().decode()
    except OSError as error:
        return False, str(error)

