// The sensors as physical entities in the chassis, and their values (RFC 3433).
//
//     entPhySensorTable    INDEX { entPhysicalIndex }

#include "agent/mib/columns.h"
#include "agent/mib/providers/get_all_multi_provider.h"
#include "agent/mib/time_ticks.h"
#include "agent/modules/entity_module.h"
#include "contracts/object_class.h"
#include "contracts/sensors.h"
#include "sensors.h"
#include "tn/fields.h"

namespace sensors {

namespace {

namespace all_sensors = contracts::sensors;
namespace tag = snmp::tag;
using all_sensors::Quantity;
using contracts::object_class::kWhole;

constexpr uint32_t kSensorIndexes = 0x80000;  // entPhysicalIndex of a sensor is its id with this bit set

// EntitySensorDataType and EntitySensorDataScale
enum Type : unsigned int { Other = 1, VoltsDc = 4, Amperes, Watts, Celsius = 8, PercentRh, Rpm, TruthValue = 12 };
enum Scale : unsigned int { Milli = 8, Units = 9 };

struct Kind {
    Quantity quantity;
    Type type;
    Scale scale;
    const char* units;
};
constexpr Kind kKinds[] = {
    {Quantity::Voltage, VoltsDc, Milli, "volts"},
    {Quantity::Fan, Rpm, Units, "RPM"},
    {Quantity::Temperature, Celsius, Milli, "degrees Celsius"},
    {Quantity::Power, Watts, Milli, "watts"},
    {Quantity::Energy, Other, Milli, "joules"},
    {Quantity::Current, Amperes, Milli, "amperes"},
    {Quantity::Humidity, PercentRh, Milli, "percent"},
    {Quantity::Intrusion, TruthValue, Units, "intrusion"},
};

const Kind& kindOf(uint32_t what) {
    for (const Kind& kind : kKinds)
        if (static_cast<uint32_t>(kind.quantity) == what) return kind;
    static constexpr Kind kOther{Quantity{}, Other, Milli, ""};
    return kOther;
}

/// The value in units of the scale.
int scaled(const Kind& kind, int thousandths) {
    enum TruthValues { True = 1, False = 2 };
    if (kind.type == TruthValue) return thousandths != 0 ? True : False;
    return kind.scale == Units ? thousandths / 1000 : thousandths;
}

struct Value : snmp::Data {
    unsigned int index = 0, type = 0, scale = 0, value = 0, status = 0, readAt = 0;
    std::string units;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Value>();
        const Kind& kind = kindOf(m.get_u32(all_sensors::What));
        record->index = m.get_u32(tn::field::ObjectId) | kSensorIndexes;
        record->type = kind.type;
        record->scale = kind.scale;
        record->units = kind.units;
        record->status = m.get_u32(all_sensors::State);  // the values are those of EntitySensorStatus
        record->readAt = snmp::sysUpTimeAt(std::chrono::milliseconds(m.get_u64(all_sensors::ReadAt)));
        if (m.has(all_sensors::Value))
            record->value = static_cast<unsigned int>(scaled(kind, static_cast<int>(m.get_u32(all_sensors::Value))));
        return record;
    }
};

std::unique_ptr<snmp::Data> buildEntity(const tn::message& m) {
    auto record = std::make_unique<snmp::Entity>();
    record->index = m.get_u32(tn::field::ObjectId) | kSensorIndexes;
    record->physicalClass = static_cast<unsigned int>(snmp::PhysicalClass::Sensor);
    record->descr = m.get_string(all_sensors::Label);
    record->name = m.get_string(all_sensors::Chip) + "/" + m.get_string(all_sensors::Label);
    return record;
}

constexpr snmp::Column<Value> kIndex[] = {{1, "entPhysicalIndex", tag::Integer, &Value::index}};

constexpr auto kSensorEntry = snmp::under(snmp::kMib2, 99, 1, 1, 1);
constexpr snmp::Column<Value> kSensorColumns[] = {
    {1, "entPhySensorType", tag::Integer, {&Value::type, all_sensors::What}},
    {2, "entPhySensorScale", tag::Integer, {&Value::scale, all_sensors::What}},
    {3, "entPhySensorPrecision", tag::Integer, snmp::Constant{0}},
    {4, "entPhySensorValue", tag::Integer, {&Value::value, all_sensors::Value, all_sensors::What}},
    {5, "entPhySensorOperStatus", tag::Integer, {&Value::status, all_sensors::State}},
    {6, "entPhySensorUnitsDisplay", tag::OctetString, {&Value::units, all_sensors::What}},
    {7, "entPhySensorValueTimeStamp", tag::TimeTicks, {&Value::readAt, all_sensors::ReadAt}},
    {8, "entPhySensorValueUpdateRate", tag::Gauge32, snmp::Constant{all_sensors::kMaxAge.count()}},  // ms
};
static_assert(snmp::ascending(kSensorColumns));

}  // namespace

void startEntitySensors() {
    snmp::addEntities(snmp::oneRow<buildEntity>, all_sensors::kPath, kWhole, kSensorIndexes);

    auto* values = snmp::keep<snmp::GetAllMultiProvider>();
    values->addSource(snmp::oneRow<Value::build>, all_sensors::kPath, kWhole, kSensorIndexes);
    snmp::MapTable* table = snmp::keepTable(values, {{kIndex[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kSensorEntry), "entPhySensorEntry", table, kSensorColumns);
}

}  // namespace sensors
