#include "hostd/sensors.h"

#include <sensors/error.h>
#include <sensors/sensors.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace hostd {

namespace {

constexpr std::array<const char*, kMeasures> kNames = {"voltage", "board temperature", "processor temperature"};

/// The library, from reading its configuration and looking for chips to forgetting them: those that were plugged in or
/// whose driver was loaded meanwhile are found by the next one.
class Library {
  public:
    Library() {
        sensors_parse_error_wfn = [](const char*, const char*, int) {};  // it would write to standard error each time
        isOpen_ = sensors_init(nullptr) == 0;
    }
    ~Library() {
        if (isOpen_) sensors_cleanup();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// Calls with each chip of the machine and each of its features.
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

/// What the library knows a sensor by.
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

}  // namespace

SensorReading readSensors(const SensorChoice& choice) {
    const Library library;
    std::vector<Handle> handles;
    std::vector<Sensor> sensors;
    library.forEach([&](const sensors_chip_name* chip, const sensors_feature* feature) {
        if (feature->type != SENSORS_FEATURE_IN && feature->type != SENSORS_FEATURE_TEMP) return;
        handles.push_back({chip, feature});
        sensors.push_back(describe(handles.back()));
    });

    SensorReading reading;
    for (const Measure measure : {kVoltage, kBoardTemperature, kCpuTemperature}) {
        const std::string& chosen = choice[measure];
        const Sensor* sensor = chooseSensor(sensors, measure, chosen);
        if (sensor != nullptr) reading.values[measure] = read(handles[static_cast<size_t>(sensor - sensors.data())]);
        if (reading.values[measure] || chosen == "none") continue;
        reading.problem += reading.problem.empty() ? "none for " : ", ";
        reading.problem += kNames[measure] + (chosen.empty() ? "" : " (" + chosen + ")");
    }
    return reading;
}

}  // namespace hostd
