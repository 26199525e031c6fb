// The vendor's hardware health: measurements of the board.

#include "agent/modules/health_module.h"

#include <algorithm>
#include <iterator>

#include "agent/log.h"
#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/data_provider.h"
#include "contracts/health.h"
#include "contracts/object_class.h"

namespace snmp {

namespace {

namespace health = contracts::health;
namespace object_class = contracts::object_class;

/// Temperatures are signed numbers in two's complement, as on the bus.
struct Health : Data {
    unsigned int voltage = 0;                          // tenths of a volt
    unsigned int temperature = 0, cpuTemperature = 0;  // tenths of a degree Celsius
    std::string fan;
    static std::unique_ptr<Data> build(const tn::message& m);
};

DataProvider* healthProvider = nullptr;

constexpr auto kHealthBranch = under(kVendorObjects, 3);
constexpr Column<Health> kFanObject[] = {{9, "healthActiveFan", tag::OctetString, &Health::fan}};

/// A reading that is served once its owner has reported it (compat: 76).
struct Reading {
    const char* name;
    tn::u32_id field;
    Column<Health> object;
};
constexpr Reading kReadings[] = {
    {"voltage", health::Voltage, {8, "healthVoltage", tag::Integer, &Health::voltage}},
    {"temperature", health::BoardTemperature, {10, "healthTemperature", tag::Integer, &Health::temperature}},
    {"cpu temperature",
     health::ProcessorTemperature,
     {11, "healthCpuTemperature", tag::Integer, &Health::cpuTemperature}},
};
bool served[std::size(kReadings)];  // once served, always served

void serveNewReadings(const tn::message& m) {
    for (size_t i = 0; i < std::size(kReadings); ++i) {
        const Reading& reading = kReadings[i];
        if (served[i] || !m.has(reading.field)) continue;
        addScalar(kHealthBranch, reading.object, healthProvider);
        sout << "+ " << reading.name;
        served[i] = true;
    }
}

const char* fanString(uint32_t powerSupply) {
    constexpr const char* kNames[] = {"aux", "main", "none"};  // indexed by health::Supply
    return powerSupply < std::size(kNames) ? kNames[powerSupply] : "n/a";
}

std::unique_ptr<Data> Health::build(const tn::message& m) {
    constexpr auto kNotMeasured = static_cast<uint32_t>(-273);  // degrees Celsius
    constexpr uint32_t kNoSupply = 42;
    serveNewReadings(m);
    auto record = std::make_unique<Health>();
    record->voltage = m.get_u32(health::Voltage);
    record->temperature = m.get_u32(health::BoardTemperature, kNotMeasured) * 10;
    record->cpuTemperature = m.get_u32(health::ProcessorTemperature, kNotMeasured) * 10;
    record->fan = fanString(m.get_u32(health::PowerSupply, kNoSupply));
    return record;
}

}  // namespace

void start_health_module() {
    std::ranges::fill(served, false);
    healthProvider = keep<GetProvider>(Health::build, health::kPath, tn::cmd::Get, tn::cmd::Set, object_class::kWhole);
    for (const Reading& reading : kReadings) describe(OID(kHealthBranch), reading.object, healthProvider->source());
    (void)healthProvider->get();  // registers the readings that are already available
    addScalars(kHealthBranch, kFanObject, healthProvider);
}

}  // namespace snmp
