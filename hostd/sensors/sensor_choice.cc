#include "hostd/sensors/sensor_choice.h"

#include <fnmatch.h>

#include <algorithm>

namespace hostd {

namespace {

/// Matches sensors by patterns (glob(7)) of the chip's name and the feature's label. Case doesn't matter.
struct Rule {
    const char* chip;
    const char* label;
};

constexpr Rule kVoltageRules[] = {
    {"*", "+12V*"},  {"*", "12V*"},  {"*", "P12V*"}, {"*", "v_out +12V*"}, {"*", "+24V*"},
    {"*", "24V*"},   {"*", "+48V*"}, {"*", "48V*"},  {"*", "VIN*"},        {"*", "v_in"},
    {"*", "input*"}, {"*", "+5V"},   {"*", "5V"},    {"*", "P5V"},         {"power_supply-*", "battery"},
};
constexpr Rule kBoardRules[] = {
    {"*", "SYSTIN*"}, {"*", "M/B*"},         {"*", "MB[ _]*"},     {"*", "*motherboard*"}, {"*", "*board*"},
    {"*", "system*"}, {"*", "*ambient*"},    {"*", "*inlet*"},     {"acpitz-*", "*"},      {"thermal_zone*", "acpitz"},
    {"lm75-*", "*"},  {"tmp10[0-9]-*", "*"}, {"pmbus-*", "temp1"},
};
constexpr Rule kCpuRules[] = {
    {"coretemp-*", "Package id*"},
    {"k10temp-*", "Tdie"},
    {"zenpower-*", "Tdie"},
    {"coretemp-*", "*"},
    {"k10temp-*", "*"},
    {"k8temp-*", "*"},
    {"via_cputemp-*", "*"},
    {"cpu*thermal-*", "*"},
    {"soc*thermal-*", "*"},
    {"thermal_zone*", "x86_pkg_temp"},
    {"*", "CPU*"},
    {"thermal_zone*", "soc*"},
    {"thermal_zone*", "TCPU*"},
};

bool matches(const char* pattern, const std::string& text) {
    return ::fnmatch(pattern, text.c_str(), FNM_CASEFOLD) == 0;
}

template <class Condition>
const Sensor* firstOf(std::span<const Sensor> sensors, Measure measure, const Condition& condition) {
    const auto found = std::ranges::find_if(
        sensors, [&](const Sensor& sensor) { return sensor.isVoltage == (measure == kVoltage) && condition(sensor); });
    return found == sensors.end() ? nullptr : &*found;
}

const Sensor* firstByRules(std::span<const Sensor> sensors, Measure measure, std::span<const Rule> rules) {
    for (const Rule& rule : rules) {
        const Sensor* found = firstOf(sensors, measure, [&](const Sensor& sensor) {
            return matches(rule.chip, sensor.chip) && matches(rule.label, sensor.label);
        });
        if (found != nullptr) return found;
    }
    return nullptr;
}

}  // namespace

std::string checkChoice(const std::string& choice) {
    const size_t slash = choice.find('/');
    const bool isPair = slash != std::string::npos && slash > 0 && slash + 1 < choice.size();
    return isPair || choice == "none"
               ? ""
               : "expected CHIP/FEATURE as sensors(1) prints them, or none, not '" + choice + "'";
}

const Sensor* chooseSensor(std::span<const Sensor> sensors, Measure measure, const std::string& choice) {
    if (choice == "none") return nullptr;
    if (!choice.empty()) {
        const size_t slash = choice.find('/');
        const std::string chip = choice.substr(0, slash);
        const std::string feature = choice.substr(slash + 1);
        return firstOf(sensors, measure, [&](const Sensor& sensor) {
            return matches(chip.c_str(), sensor.chip) && (sensor.feature == feature || sensor.label == feature);
        });
    }
    switch (measure) {
        case kVoltage:
            return firstByRules(sensors, measure, kVoltageRules);
        case kBoardTemperature:
            return firstByRules(sensors, measure, kBoardRules);
        default:
            return firstByRules(sensors, measure, kCpuRules);
    }
}

}  // namespace hostd
