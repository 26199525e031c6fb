"""Tables of plug-ins, compared with other sources on this machine. /sys/class is a folder of the test, in a mount
namespace of the agent: libsensors reads nothing but /sys."""

import unittest

from harness import BUILD, Deployment, Namespace, temp_folder, usable

SENSOR_ENTRY, ENTITY_ENTRY, LM_SENSORS = "1.3.6.1.2.1.99.1.1.1", "1.3.6.1.2.1.47.1.1.1.1", "1.3.6.1.4.1.2021.13.16"

HWMON = {"name": "board", "in1_input": "24060", "in1_label": "vin", "temp1_input": "-4400", "temp1_label": "Board",
         "fan1_input": "1500", "curr1_input": "250", "temp2_input": "127000", "temp2_fault": "1"}


class PluginTables(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.namespace = Namespace(cls, "plugins", ["link set lo up"])
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
