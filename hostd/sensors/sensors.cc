#include "hostd/sensors/sensors.h"

#include <sensors/error.h>
#include <sensors/sensors.h>
#include <strings.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include "hostd/sensors/class_sensors.h"

namespace hostd {

namespace {

constexpr std::array<const char*, kMeasures> kNames = {"voltage", "board temperature", "processor temperature"};

/// libsensors, initialized. It reads its configuration and detects chips in the constructor only, so chips and drivers
/// that are added later are found by the next instance. Its state is global: one instance at a time.
class Library {
  public:
    Library() {
        sensors_parse_error_wfn = [](const char*, const char*, int) {};  // the default writes to standard error
        isOpen_ = sensors_init(nullptr) == 0;
    }
    ~Library() {
        if (isOpen_) sensors_cleanup();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// Calls `call` with each pair of a chip and one of its features; never if the library couldn't be initialized.
    template <class Call>
    void forEach(const Call& call) const {
        int chipAt = 0;
        while (const sensors_chip_name* chip = isOpen_ ? sensors_get_detected_chips(nullptr, &chipAt) : nullptr) {
            int featureAt = 0;
            while (const sensors_feature* feature = sensors_get_features(chip, &featureAt)) call(chip, feature);
        }
    }

  private:
    bool isOpen_ = false;
};

/// The library's identification of a sensor. Both pointers are the library's.
struct Handle {
    const sensors_chip_name* chip;
    const sensors_feature* feature;
};

Sensor describe(const Handle& handle) {
    std::array<char, 200> chip{};
    sensors_snprintf_chip_name(chip.data(), chip.size(), handle.chip);
    const std::unique_ptr<char, decltype(&std::free)> label(sensors_get_label(handle.chip, handle.feature), std::free);
    const std::string name = handle.feature->name;
    return {chip.data(), name, label ? label.get() : name, handle.feature->type == SENSORS_FEATURE_IN};
}

std::optional<double> valueOf(const Handle& handle, sensors_subfeature_type type) {
    const sensors_subfeature* found = sensors_get_subfeature(handle.chip, handle.feature, type);
    double value = 0;
    if (found == nullptr || sensors_get_value(handle.chip, found->number, &value) < 0) return {};
    return value;
}

std::optional<double> read(const Handle& handle) {
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
    std::unique_ptr<Library> library;
    if (sysfs == "/sys") library = std::make_unique<Library>();
    std::vector<Sensor> sensors;
    std::vector<std::function<std::optional<double>()>> readers;
    if (library)
        library->forEach([&](const sensors_chip_name* chip, const sensors_feature* feature) {
            if (feature->type != SENSORS_FEATURE_IN && feature->type != SENSORS_FEATURE_TEMP) return;
            const Handle handle{chip, feature};
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
