"""Sensors, power supply, USB devices and guests of a running node, and a machine that has none. /sys/class and /sys/bus
are folders of the test, in mount namespaces of the processes: libsensors reads nothing but /sys. Guests are those of
libvirt's test driver."""

import unittest

from harness import Deployment, eventually, for_each_kind, remove_tree, temp_folder, usable

HEALTH, ENTITY_ENTRY, VM_ENTRY = "1.3.6.1.4.1.49999.1.1.3", "1.3.6.1.2.1.47.1.1.1.1", "1.3.6.1.4.1.6876.2.1.1"
CHASSIS, DESCR, CONTAINED_IN = "65536", 2, 4
VOLTAGE, SUPPLY, TEMPERATURE, CPU_TEMPERATURE = (f"{HEALTH}.{i}.0" for i in (8, 9, 10, 11))

HWMON = {"name": "board", "in1_input": "24060", "in1_label": "vin", "temp1_input": "-4400", "temp1_label": "Board"}
STICK = {"busnum": "1", "devnum": "7", "idVendor": "0951", "idProduct": "1666", "manufacturer": "Kingston",
         "product": "DataTraveler 3.0"}
STICK_DESCR = f"{ENTITY_ENTRY}.2.{0x40000 + 128 + 7}"


def write(folder, attributes):
    folder.mkdir(parents=True, exist_ok=True)
    for name, value in attributes.items():
        (folder / name).write_text(value + "\n")


class Sensors(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tree = temp_folder(cls, "sys")
        cls.hwmon, cls.stick = cls.tree / "class/hwmon/hwmon0", cls.tree / "bus/usb/devices/1-1.4"
        write(cls.hwmon, HWMON)
        write(cls.tree / "class/power_supply/AC", {"type": "Mains", "online": "1"})
        write(cls.stick, STICK)
        script = f'mount --bind {cls.tree}/class /sys/class && mount --bind {cls.tree}/bus /sys/bus && exec "$@"'
        prefix = usable("unshare", "--mount", "sh", "-c", script, "sh")
        guests = ["--guests-uri", "test:///default", "--podhost-uri", "test:///default"]
        cls.agent = Deployment("node", prefix, guests).ends_with(cls).start().open()

    def shows(self, name, value):
        eventually(lambda: self.agent.snmp("get", name).values().get(name) == value, f"{name} is {value}", 30)

    def test_sensors_are_served_once_they_exist(self):
        self.assertEqual(self.agent.get(VOLTAGE), "INTEGER: 241")
        self.assertEqual(self.agent.get(TEMPERATURE), "INTEGER: -40")
        self.assertEqual(self.agent.get(SUPPLY), 'STRING: "main"')
        self.assertNotIn(CPU_TEMPERATURE, self.agent.snmp("walk", HEALTH).values())
        # A driver without a hwmon chip is loaded later, and the mains fail. Readings are a few seconds old at most.
        write(self.tree / "class/thermal/thermal_zone0", {"type": "x86_pkg_temp", "temp": "61500"})
        write(self.tree / "class/power_supply/AC", {"online": "0"})
        self.shows(SUPPLY, 'STRING: "none"')
        self.shows(CPU_TEMPERATURE, "INTEGER: 620")

    def test_usb_devices_follow_plugging(self):
        self.shows(STICK_DESCR, 'STRING: "Kingston DataTraveler 3.0"')
        remove_tree(self.stick)
        gone = lambda: STICK_DESCR not in self.agent.snmp("walk", f"{ENTITY_ENTRY}.2").values()
        eventually(gone, "the device has gone", 10)

    def test_guests_of_both_kinds_are_in_one_walk(self):
        walk = lambda: self.agent.snmp("bulkwalk", VM_ENTRY)
        eventually(lambda: len(walk().names()) == 12, "one guest of each kind is listed")
        self.assertEqual({name[-1] >> 16 for name in walk().names()}, {1, 2})
        states = self.agent.snmp("bulkwalk", f"{VM_ENTRY}.6").values()
        self.assertEqual(list(states.values()), ['STRING: "running"'] * 2)


@for_each_kind("node", "apart")
class BareMachine:
    def test_machine_without_sensors_and_devices_has_only_its_chassis(self):
        agent = Deployment(self.kind, owner_words=["--sysfs", temp_folder(self)]).ends_with(self).start().open()
        for _ in range(3):
            table = agent.rows(ENTITY_ENTRY)
            self.assertEqual(list(table), [CHASSIS])
            self.assertEqual(agent.walk(HEALTH), {(9, "0"): "n/a"})
            agent.walk(VM_ENTRY)
        self.assertRegex(table[CHASSIS][DESCR], "^Tarnix .* on .")
        self.assertEqual(table[CHASSIS][CONTAINED_IN], "0")
        for missing in ("sensors", "PCI devices", "USB devices"):
            lines = [line for line in agent.said().splitlines() if missing in line]
            self.assertEqual(len(lines), 1, agent.said())  # logged once, however often they are queried
