#include "hostd/sensors/sensor_table.h"

#include <algorithm>
#include <cmath>

#include "hostd/sensors/libsensors.h"
#include "hostd/table/row_text.h"
#include "tn/sources.h"

namespace hostd {

namespace sensors = contracts::sensors;
using sensors::Quantity;

namespace {

constexpr size_t kMostSensors = 4096;
constexpr double kThousandths = 1000;
constexpr double kMostThousandths = 1e9;  // RFC 3433, EntitySensorValue
constexpr auto kNoFault = SENSORS_SUBFEATURE_UNKNOWN;

/// Where the value of a feature is. Of two subfeatures the first one is used that the driver reports.
struct Feature {
    sensors_feature_type type;
    Quantity quantity;
    sensors_subfeature_type value, otherValue, fault;
};
constexpr Feature kFeatures[] = {
    {SENSORS_FEATURE_IN, Quantity::Voltage, SENSORS_SUBFEATURE_IN_INPUT, SENSORS_SUBFEATURE_IN_AVERAGE, kNoFault},
    {SENSORS_FEATURE_FAN, Quantity::Fan, SENSORS_SUBFEATURE_FAN_INPUT, kNoFault, SENSORS_SUBFEATURE_FAN_FAULT},
    {SENSORS_FEATURE_TEMP, Quantity::Temperature, SENSORS_SUBFEATURE_TEMP_INPUT, kNoFault,
     SENSORS_SUBFEATURE_TEMP_FAULT},
    {SENSORS_FEATURE_POWER, Quantity::Power, SENSORS_SUBFEATURE_POWER_INPUT, SENSORS_SUBFEATURE_POWER_AVERAGE,
     kNoFault},
    {SENSORS_FEATURE_ENERGY, Quantity::Energy, SENSORS_SUBFEATURE_ENERGY_INPUT, kNoFault, kNoFault},
    {SENSORS_FEATURE_CURR, Quantity::Current, SENSORS_SUBFEATURE_CURR_INPUT, SENSORS_SUBFEATURE_CURR_AVERAGE, kNoFault},
    {SENSORS_FEATURE_HUMIDITY, Quantity::Humidity, SENSORS_SUBFEATURE_HUMIDITY_INPUT, kNoFault, kNoFault},
    {SENSORS_FEATURE_VID, Quantity::Voltage, SENSORS_SUBFEATURE_VID, kNoFault, kNoFault},
    {SENSORS_FEATURE_INTRUSION, Quantity::Intrusion, SENSORS_SUBFEATURE_INTRUSION_ALARM, kNoFault, kNoFault},
};

SensorEntry readSensor(const SensorHandle& handle, const Feature& feature) {
    const Sensor named = describe(handle);
    SensorEntry entry{named.chip + "/" + named.feature, named.chip, named.label, feature.quantity, {}, false, {}};
    entry.isFaulty = valueOf(handle, feature.fault).value_or(0) != 0;
    entry.value = valueOf(handle, feature.value);
    if (!entry.value) entry.value = valueOf(handle, feature.otherValue);
    entry.readAt = tn::sinceBoot();
    return entry;
}

}  // namespace

Reading<SensorEntry> readAllSensors(const std::string& sysfs) {
    Reading<SensorEntry> reading;
    if (sysfs != "/sys") return reading;
    const LibSensors library;
    library.forEach([&](const SensorHandle& handle) {
        const auto* feature = std::ranges::find(kFeatures, handle.feature->type, &Feature::type);
        if (feature != std::end(kFeatures) && reading.rows.size() < kMostSensors)
            reading.rows.push_back(readSensor(handle, *feature));
    });
    return reading;
}

void SensorTable::writeEntry(const SensorEntry& sensor, tn::message& item) const {
    using sensors::Status;
    const Status status = sensor.isFaulty ? Status::Faulty : sensor.value ? Status::Ok : Status::Unreadable;
    insertText(item, sensors::Chip, sensor.chip);
    insertText(item, sensors::Label, sensor.label);
    item.insert_u32(sensors::What, static_cast<uint32_t>(sensor.quantity));
    item.insert_u32(sensors::State, static_cast<uint32_t>(status));
    item.insert_u64(sensors::ReadAt, static_cast<uint64_t>(sensor.readAt.count()));
    if (status != Status::Ok) return;
    const double thousandths = std::clamp(*sensor.value * kThousandths, -kMostThousandths, kMostThousandths);
    item.insert_u32(sensors::Value, static_cast<uint32_t>(static_cast<int32_t>(std::lround(thousandths))));
}

}  // namespace hostd
