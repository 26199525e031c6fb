#include "hostd/sensors/sensors.h"

#include <strings.h>

#include <functional>
#include <memory>
#include <vector>

#include "hostd/sensors/class_sensors.h"
#include "hostd/sensors/libsensors.h"

namespace hostd {

namespace {

constexpr std::array<const char*, kMeasures> kNames = {"voltage", "board temperature", "processor temperature"};

std::optional<double> read(const SensorHandle& handle) {
    if (handle.feature->type == SENSORS_FEATURE_IN) return valueOf(handle, SENSORS_SUBFEATURE_IN_INPUT);
    if (valueOf(handle, SENSORS_SUBFEATURE_TEMP_FAULT).value_or(0) != 0) return {};
    return valueOf(handle, SENSORS_SUBFEATURE_TEMP_INPUT);
}

/// True for a sensor of a power supply's input, by the labels that PMBus drivers use.
bool isInput(const Sensor& sensor) {
    return sensor.isVoltage &&
           (::strcasecmp(sensor.label.c_str(), "vin") == 0 || ::strcasecmp(sensor.label.c_str(), "v_in") == 0);
}
constexpr double kDeadInput = 1;  // V; the input of a power supply is close to 0 when the mains fail

}  // namespace

SensorReading readSensors(const std::string& sysfs, const SensorChoice& choice) {
    std::unique_ptr<LibSensors> library;
    if (sysfs == "/sys") library = std::make_unique<LibSensors>();
    std::vector<Sensor> sensors;
    std::vector<std::function<std::optional<double>()>> readers;
    if (library)
        library->forEach([&](const SensorHandle& handle) {
            const sensors_feature_type type = handle.feature->type;
            if (type != SENSORS_FEATURE_IN && type != SENSORS_FEATURE_TEMP) return;
            sensors.push_back(describe(handle));
            readers.emplace_back([handle] { return read(handle); });
        });
    for (ClassSensor& found : findClassSensors(sysfs)) {
        sensors.push_back(found.sensor);
        readers.emplace_back([found = std::move(found)] { return readClassSensor(found); });
    }

    SensorReading reading;
    for (const Measure measure : {kVoltage, kBoardTemperature, kCpuTemperature}) {
        const std::string& chosen = choice[measure];
        const Sensor* sensor = chooseSensor(sensors, measure, chosen);
        if (sensor != nullptr) reading.values[measure] = readers[static_cast<size_t>(sensor - sensors.data())]();
        if (reading.values[measure] || chosen == "none") continue;
        reading.problem += reading.problem.empty() ? "none for " : ", ";
        reading.problem += kNames[measure] + (chosen.empty() ? "" : " (" + chosen + ")");
    }
    for (size_t i = 0; i < sensors.size(); ++i)
        if (const auto volts = isInput(sensors[i]) ? readers[i]() : std::nullopt)
            reading.isFed = reading.isFed.value_or(false) || *volts > kDeadInput;
    return reading;
}

}  // namespace hostd
