"""Values written to the chassis survive restarts and crashes, and a machine without sensors and devices shows only its
chassis. In one process and over the bus."""

import signal

from harness import Deployment, eventually, for_each_kind, temp_folder

ENTITY_ENTRY, VM_ENTRY = "1.3.6.1.2.1.47.1.1.1.1", "1.3.6.1.4.1.6876.2.1.1"
HEALTH = "1.3.6.1.4.1.49999.1.1.3"
CHASSIS = "65536"
DESCR, CONTAINED_IN, ALIAS, ASSET_ID = 2, 4, 14, 15
CHASSIS_ALIAS, CHASSIS_ASSET_ID = (f"{ENTITY_ENTRY}.{column}.{CHASSIS}" for column in (ALIAS, ASSET_ID))


@for_each_kind("node", "apart")
class Entity:
    def setUp(self):
        tree = temp_folder(self, "bare")  # a machine with no sensors and no devices
        self.agent = Deployment(self.kind, owner_words=["--sysfs", tree]).ends_with(self).start().open()

    def test_alias_and_asset_id_survive_restarts_and_crashes(self):
        self.agent.snmp("set", CHASSIS_ASSET_ID, "s", "0815", community="private")
        for signal_number, alias in ((signal.SIGTERM, "moved to rack 5"), (signal.SIGKILL, "moved to rack 6")):
            self.agent.snmp("set", CHASSIS_ALIAS, "s", alias, community="private")
            self.agent.stop(signal_number)
            self.agent.start()
            eventually(lambda: self.agent.snmp("get", CHASSIS_ALIAS, retries=0).status == 0, "the agent answers")
            self.assertEqual(self.agent.get(CHASSIS_ALIAS), f'STRING: "{alias}"')
            self.assertEqual(self.agent.get(CHASSIS_ASSET_ID), 'STRING: "0815"')

    def test_machine_without_sensors_and_devices_has_only_its_chassis(self):
        for _ in range(3):
            table = self.agent.walk(ENTITY_ENTRY)
            self.assertEqual({index for _, index in table}, {CHASSIS})
            self.assertEqual(self.agent.walk(HEALTH), {(9, "0"): "n/a"})
            self.agent.walk(VM_ENTRY)
        self.assertRegex(table[DESCR, CHASSIS], "^Tarnix .* on .")
        self.assertEqual(table[CONTAINED_IN, CHASSIS], "0")
        for missing in ("sensors", "PCI devices", "USB devices"):
            lines = [line for line in self.agent.said().splitlines() if missing in line]
            self.assertEqual(len(lines), 1, self.agent.said())  # logged once, however often they are queried
