#include "hostd/sensors/health.h"

#include <cmath>

#include "hostd/log.h"
#include "hostd/source/sysfs.h"

namespace hostd {

namespace health = contracts::health;

namespace {

constexpr double kTenths = 10;

uint32_t rounded(double value) { return static_cast<uint32_t>(static_cast<int32_t>(std::lround(value))); }

}  // namespace

std::optional<Supply> readSupply(const std::string& sysfs) {
    const std::string folder = sysfs + "/class/power_supply/";
    bool isKnown = false;
    bool drains = false;
    bool isFed = false;
    for (const std::string& name : namesIn(folder)) {
        const std::string at = folder + name + "/";
        if (readAttribute(at + "scope") == "Device") continue;
        const std::string type = readAttribute(at + "type");
        const std::string status = readAttribute(at + "status");
        isKnown = true;
        if (type == "Battery" || type == "UPS") {
            drains = drains || status == "Discharging";
            isFed = isFed || status == "Charging" || status == "Full" || status == "Not charging";
        } else if (readNumber(at + "online", 10).value_or(0) != 0) {
            return Supply::Main;
        }
    }
    if (!isKnown) return {};
    if (drains) return Supply::Auxiliary;
    return isFed ? Supply::Main : Supply::None;  // a battery is charging or full: only the mains can feed it
}

HealthReading readHealth(const std::string& sysfs, const SensorChoice& choice) {
    HealthReading reading{readSensors(sysfs, choice), readSupply(sysfs)};
    if (const auto& isFed = reading.sensors.isFed; isFed && !reading.supply)
        reading.supply = *isFed ? Supply::Main : Supply::None;
    return reading;
}

Health::Health(std::function<HealthReading()> read) : watch_("sensors", std::move(read), kMaxAge) {}

tn::message Health::cmdGet(const tn::message&) {
    tn::message reply;
    const auto reading = watch_.latest();
    if (!reading) return reply;
    const SensorReading& sensors = reading->sensors;
    problems_.report(sensors.problem);
    const auto insert = [&](tn::u32_id field, Measure measure, double scale) {
        if (const auto& value = sensors.values[measure]) reply.insert_u32(field, rounded(*value * scale));
    };
    if (reading->supply) reply.insert_u32(health::PowerSupply, static_cast<uint32_t>(*reading->supply));
    insert(health::Voltage, kVoltage, kTenths);
    insert(health::BoardTemperature, kBoardTemperature, 1);
    insert(health::ProcessorTemperature, kCpuTemperature, 1);
    return reply;
}

}  // namespace hostd
