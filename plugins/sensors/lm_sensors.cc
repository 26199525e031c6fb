// The sensors by what they measure, as lm-sensors names them. A sensor that can't be read has no row.
//
//     lmTempSensorsTable    INDEX { lmTempSensorsIndex }    and the same for fans, voltages and all others

#include "agent/mib/columns.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/object_class.h"
#include "contracts/sensors.h"
#include "sensors.h"
#include "tn/fields.h"

namespace sensors {

namespace {

namespace all_sensors = contracts::sensors;
namespace tag = snmp::tag;
using all_sensors::Quantity;

struct Sensor : snmp::Data {
    unsigned int index = 0, value = 0;  // the value may be negative, in two's complement
    std::string device;                 // CHIP/LABEL
};

enum class Group { Temperatures, Fans, Voltages, Others };

Group groupOf(uint32_t what) {
    switch (Quantity(what)) {
        case Quantity::Temperature:
            return Group::Temperatures;
        case Quantity::Fan:
            return Group::Fans;
        case Quantity::Voltage:
            return Group::Voltages;
        default:
            return Group::Others;
    }
}

template <Group group>
std::unique_ptr<snmp::Data> build(const tn::message& m, snmp::Rows& rows) {
    if (groupOf(m.get_u32(all_sensors::What)) != group || !m.has(all_sensors::Value)) return nullptr;
    auto record = std::make_unique<Sensor>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->device = m.get_string(all_sensors::Chip) + "/" + m.get_string(all_sensors::Label);
    record->value = m.get_u32(all_sensors::Value);
    if (group == Group::Fans) record->value /= 1000;
    rows.push_back(std::move(record));
    return nullptr;
}

constexpr auto kLmSensors = snmp::under(snmp::kInternet, 4, 1, 2021, 13, 16);

constexpr snmp::Column<Sensor> kTempColumns[] = {
    {1, "lmTempSensorsIndex", tag::Integer, &Sensor::index},
    {2, "lmTempSensorsDevice", tag::OctetString, &Sensor::device},
    {3, "lmTempSensorsValue", tag::Gauge32, &Sensor::value},  // thousandths of a degree Celsius
};
constexpr snmp::Column<Sensor> kFanColumns[] = {
    {1, "lmFanSensorsIndex", tag::Integer, &Sensor::index},
    {2, "lmFanSensorsDevice", tag::OctetString, &Sensor::device},
    {3, "lmFanSensorsValue", tag::Gauge32, &Sensor::value},  // turns per minute
};
constexpr snmp::Column<Sensor> kVoltColumns[] = {
    {1, "lmVoltSensorsIndex", tag::Integer, &Sensor::index},
    {2, "lmVoltSensorsDevice", tag::OctetString, &Sensor::device},
    {3, "lmVoltSensorsValue", tag::Gauge32, &Sensor::value},  // mV
};
constexpr snmp::Column<Sensor> kMiscColumns[] = {
    {1, "lmMiscSensorsIndex", tag::Integer, &Sensor::index},
    {2, "lmMiscSensorsDevice", tag::OctetString, &Sensor::device},
    {3, "lmMiscSensorsValue", tag::Gauge32,
     &Sensor::value},  // thousandths of W, J, A or percent; of 1 if the case was opened
};

template <Group group, size_t N>
void addGroup(unsigned int number, std::string_view entry, const snmp::Column<Sensor> (&columns)[N]) {
    auto* rows = snmp::keep<snmp::GetAllProvider>(all_sensors::kPath, build<group>, contracts::object_class::kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{columns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(snmp::under(kLmSensors, number, 1)), entry, table, columns);
}

}  // namespace

void startLmSensors() {
    addGroup<Group::Temperatures>(2, "lmTempSensorsEntry", kTempColumns);
    addGroup<Group::Fans>(3, "lmFanSensorsEntry", kFanColumns);
    addGroup<Group::Voltages>(4, "lmVoltSensorsEntry", kVoltColumns);
    addGroup<Group::Others>(5, "lmMiscSensorsEntry", kMiscColumns);
}

}  // namespace sensors
