#include "hostd/sensors/class_sensors.h"

#include <unistd.h>

#include <charconv>

#include "hostd/source/sysfs.h"

namespace hostd {

namespace {

// Units of the values in SYSFS/class, from the kernel's Documentation/driver-api/thermal/sysfs-api and
// Documentation/ABI/testing/sysfs-class-power.
constexpr double kMilli = 1e-3;
constexpr double kMicro = 1e-6;
constexpr double kTenth = 0.1;

constexpr double kAbsoluteZero = -273.15;  // degrees Celsius; a zone that hasn't measured yet reports less

}  // namespace

std::vector<ClassSensor> findClassSensors(const std::string& sysfs) {
    std::vector<ClassSensor> found;
    const auto add = [&found](Sensor sensor, const std::string& folder, double unit) {
        std::string file = folder + sensor.feature;
        if (::access(file.c_str(), F_OK) == 0) found.push_back({std::move(sensor), std::move(file), unit});
    };
    const std::string zones = sysfs + "/class/thermal/";
    for (const std::string& name : namesIn(zones)) {
        if (!name.starts_with("thermal_zone")) continue;
        const std::string folder = zones + name + "/";
        add({name, "temp", readAttribute(folder + "type"), false}, folder, kMilli);
    }
    const std::string supplies = sysfs + "/class/power_supply/";
    for (const std::string& name : namesIn(supplies)) {
        const std::string folder = supplies + name + "/";
        if (readAttribute(folder + "scope") == "Device") continue;
        const std::string type = readAttribute(folder + "type");
        const std::string chip = "power_supply-" + name;
        add({chip, "voltage_now", type == "Mains" ? "input" : type, true}, folder, kMicro);
        for (const char* feature : {"temp", "temp_ambient"}) add({chip, feature, feature, false}, folder, kTenth);
    }
    return found;
}

std::optional<double> readClassSensor(const ClassSensor& sensor) {
    const std::string text = readAttribute(sensor.file);
    int64_t number = 0;
    const auto [rest, failed] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failed != std::errc() || rest != text.data() + text.size()) return {};
    const double value = static_cast<double>(number) * sensor.unit;
    if (!sensor.sensor.isVoltage && value < kAbsoluteZero) return {};
    return value;
}

}  // namespace hostd
