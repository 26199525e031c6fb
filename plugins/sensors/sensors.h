#pragma once

/// The machine's sensors (ENTITY-SENSOR-MIB, LM-SENSORS-MIB): all that libsensors knows.
namespace sensors {

// Each is called once, from autorun().
void startEntitySensors();  ///< entPhySensorTable, and the sensors in entPhysicalTable
void startLmSensors();      ///< lmTempSensorsTable, lmFanSensorsTable, lmVoltSensorsTable, lmMiscSensorsTable

}  // namespace sensors
