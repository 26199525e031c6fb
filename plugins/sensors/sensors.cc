#include "sensors.h"

#include "agent/core/autorun.h"

void autorun() {
    sensors::startEntitySensors();
    sensors::startLmSensors();
}
