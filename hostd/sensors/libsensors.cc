#include "hostd/sensors/libsensors.h"

#include <sensors/error.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <mutex>

namespace hostd {

namespace {

std::mutex mutex;  // guards the next two
int users = 0;     // LibSensors objects
bool isReady = false;

}  // namespace

LibSensors::LibSensors() {
    const std::lock_guard lock(mutex);
    if (users++ == 0) {
        sensors_parse_error_wfn = [](const char*, const char*, int) {};  // the default writes to standard error
        isReady = sensors_init(nullptr) == 0;
    }
    isOpen_ = isReady;
}

LibSensors::~LibSensors() {
    const std::lock_guard lock(mutex);
    if (--users == 0 && isReady) sensors_cleanup();
}

Sensor describe(const SensorHandle& handle) {
    std::array<char, 200> chip{};
    sensors_snprintf_chip_name(chip.data(), chip.size(), handle.chip);
    const std::unique_ptr<char, decltype(&std::free)> label(sensors_get_label(handle.chip, handle.feature), std::free);
    const std::string name = handle.feature->name;
    return {chip.data(), name, label ? label.get() : name, handle.feature->type == SENSORS_FEATURE_IN};
}

std::optional<double> valueOf(const SensorHandle& handle, sensors_subfeature_type type) {
    const sensors_subfeature* found = sensors_get_subfeature(handle.chip, handle.feature, type);
    double value = 0;
    if (found == nullptr || sensors_get_value(handle.chip, found->number, &value) < 0) return {};
    return value;
}

}  // namespace hostd
