"""Tables of plug-ins, compared with other sources on this machine. /sys/class is a folder of the test, in a mount
namespace of the agent: libsensors reads nothing but /sys."""

import json
import unittest

from harness import BUILD, Deployment, Namespace, eventually, not_tested, run, temp_folder, usable

SENSOR_ENTRY, ENTITY_ENTRY, LM_SENSORS = "1.3.6.1.2.1.99.1.1.1", "1.3.6.1.2.1.47.1.1.1.1", "1.3.6.1.4.1.2021.13.16"
BRIDGE, Q_BRIDGE = "1.3.6.1.2.1.17", "1.3.6.1.2.1.17.7.1"
EXTEND = "1.3.6.1.4.1.8072.1.3.2"

HWMON = {"name": "board", "in1_input": "24060", "in1_label": "vin", "temp1_input": "-4400", "temp1_label": "Board",
         "fan1_input": "1500", "curr1_input": "250", "temp2_input": "127000", "temp2_fault": "1"}

# The second port of the bridge is left out, so that numbers of ports aren't those of interfaces.
LINKS = ["link set lo up", "link add br0 type bridge stp_state 1 forward_delay 400",
         *(f"link add port{i} address 02:00:00:00:01:0{i} type veth peer name peer{i}" for i in (1, 2, 3)),
         *(f"link set port{i} master br0" for i in (1, 2, 3)), "link set port2 nomaster",
         *(f"link set {name} up" for name in ("br0", "port1", "peer1", "port3"))]
VLANS = ["vlan add dev port3 vid 11 untagged pvid", "vlan del dev port3 vid 1",
         "fdb add 02:00:00:00:02:02 dev port3 master static vlan 11", "vlan add dev port1 vid 10-12"]


def octets(address):
    return bytes(int(part, 16) for part in address.split(":"))


def dotted(host):
    return ".".join(map(str, octets(host["mac"])))


class PluginTables(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.namespace = Namespace(cls, "plugins", LINKS)
        cls.namespace.run("bridge", "fdb", "add", "02:00:00:00:02:01", "dev", "port3", "master", "static")
        classes = temp_folder(cls, "class")
        (classes / "hwmon/hwmon0").mkdir(parents=True)
        for name, value in HWMON.items():
            (classes / "hwmon/hwmon0" / name).write_text(value + "\n")
        script = f'mount --bind {classes} /sys/class && exec "$@"'
        prefix = usable(*cls.namespace.prefix, "unshare", "--mount", "sh", "-c", script, "sh")
        words = ["--plugins", BUILD / "shipped-plugins"]
        cls.agent = Deployment("node", prefix, agent_words=words).ends_with(cls).start().open()

    def test_all_sensors_are_entities_with_values(self):
        values, entities = self.agent.rows(SENSOR_ENTRY), self.agent.rows(ENTITY_ENTRY)
        shown = {entities[index][2]: [row[column] for column in (1, 2, 4, 5)] for index, row in values.items()}
        self.assertEqual(shown, {"vin": ["4", "8", "24060", "1"], "Board": ["8", "8", "-4400", "1"],
                                 "fan1": ["10", "9", "1500", "1"], "curr1": ["5", "8", "250", "1"],
                                 "temp2": ["8", "8", "0", "3"]})
        lm = [{row[2]: row[3] for row in self.agent.rows(f"{LM_SENSORS}.{table}.1").values()} for table in (2, 3, 4, 5)]
        self.assertEqual(lm, [{"board-virtual-0/Board": str(2**32 - 4400)}, {"board-virtual-0/fan1": "1500"},
                              {"board-virtual-0/vin": "24060"}, {"board-virtual-0/curr1": "250"}])

    def test_commands_of_the_administrator_are_run(self):
        file = self.agent.root / "etc/tarnix-snmp/extend.conf"
        file.parent.mkdir(parents=True)
        file.write_text('kernel /bin/uname -sr\nlist "/bin/sh" -c "echo one; echo two; exit 4"\n')
        kernel, two = (".".join(map(str, [len(name), *name.encode()])) for name in ("kernel", "list"))
        shown = self.agent.rows(f"{EXTEND}.3.1")
        self.assertEqual(shown[kernel], {1: run("uname", "-sr").out.strip(), 2: run("uname", "-sr").out.strip(),
                                         3: "1", 4: "0"})
        self.assertEqual([shown[two][i] for i in (1, 3, 4)], ["one", "2", "4"])
        self.assertEqual(self.agent.walk(f"{EXTEND}.4.1")[2, f"{two}.2"], "two")

    def bridge(self):
        """The interfaces by name, with the bridge's numbers of those that are its ports."""
        links = {link["ifname"]: link for link in self.namespace.ip("-d", "-s", "link")}
        data = {name: links[name]["linkinfo"]["info_slave_data"] for name in ("port1", "port3")}
        return links, data, {name: int(port["no"], 16) for name, port in data.items()}

    def hosts(self):
        return [entry for entry in json.loads(self.namespace.run("bridge", "-json", "fdb", "show", "br", "br0"))
                if entry.get("master") == "br0"]

    def test_bridge_is_as_the_kernel_says(self):
        links, data, number = self.bridge()
        self.assertEqual({row[1]: row[2] for row in self.agent.rows(f"{BRIDGE}.1.4.1").values()},
                         {str(number[name]): str(links[name]["ifindex"]) for name in number})
        state, scalars = links["br0"]["linkinfo"]["info_data"], self.agent.walk(f"{BRIDGE}.2", "walk")
        self.assertEqual([scalars[i, "0"] for i in (6, 7, 8, 9, 11, 14)],
                         [str(state[name]) for name in ("root_path_cost", "root_port", "max_age", "hello_time",
                                                        "forward_delay", "forward_delay")])
        ports, frames = self.agent.rows(f"{BRIDGE}.2.15.1"), self.agent.rows(f"{BRIDGE}.4.4.1")
        states = {"disabled": "1", "blocking": "2", "listening": "3", "learning": "4", "forwarding": "5"}
        for name, port in data.items():
            row = ports[str(number[name])]
            self.assertEqual([row[i] for i in (3, 4, 11)], [states[port["state"]], "1", str(port["cost"])])
            self.assertEqual(row[6], "8000" + octets(state["root_id"].split(".")[1]).hex())
        row, after = frames[str(number["port1"])], self.namespace.ip("-s", "link", "show", "port1")[0]["stats64"]
        self.assertEqual([row[2], row[5]], [str(links["port1"]["mtu"]), "0"])
        self.assertTrue(0 < int(row[4]) <= after["tx"]["packets"], row)
        shown = {index: row[2] for index, row in self.agent.rows(f"{BRIDGE}.4.3.1").items()}
        self.assertEqual(shown, {dotted(host): str(number[host["ifname"]]) for host in self.hosts()})
        self.assertEqual(self.agent.get(f"{BRIDGE}.4.3.1.3.2.0.0.0.2.1"), "INTEGER: 5")
        self.assertEqual(self.agent.walk(Q_BRIDGE), {}, "it isn't VLAN-aware")

    def test_vlans_are_as_the_kernel_says(self):
        made = run("ip", "-n", self.namespace.name, "link", "set", "br0", "type", "bridge", "vlan_filtering", "1")
        if made.status != 0:
            not_tested(f"VLANs of bridges: {made.err}")
        for words in VLANS:
            self.namespace.run("bridge", *words.split())
        eventually(lambda: len(self.agent.rows(f"{Q_BRIDGE}.4.3.1")) == 4, "the VLANs are there")
        number = self.bridge()[2]
        bit = lambda *names: bytes([sum(0x80 >> number[name] - 1 for name in names)]).hex()
        table = self.agent.walk(f"{Q_BRIDGE}.4.3.1", "bulkwalk", "-Ox")
        self.assertEqual({vlan: (table[2, vlan], table[4, vlan]) for column, vlan in table if column == 2},
                         {"1": (bit("port1"), bit("port1")), "10": (bit("port1"), bit()),
                          "11": (bit("port1", "port3"), bit("port3")), "12": (bit("port1"), bit())})
        self.assertEqual({i: row[1] for i, row in self.agent.rows(f"{Q_BRIDGE}.4.5.1").items()},
                         {str(number["port1"]): "1", str(number["port3"]): "11"})
        self.assertEqual({i: row[2] for i, row in self.agent.rows(f"{Q_BRIDGE}.2.2.1").items()},
                         {f"{host['vlan']}.{dotted(host)}": str(number.get(host["ifname"], 0))
                          for host in self.hosts() if "vlan" in host})
