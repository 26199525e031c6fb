// The load averages.
//
//     laTable    INDEX { laIndex }     three rows: of 1, 5 and 15 minutes

#include <bit>

#include "agent/mib/providers/get_all_provider.h"
#include "contracts/activity.h"
#include "contracts/object_class.h"
#include "ucd.h"

namespace ucd {

namespace {

namespace load_averages = contracts::load_averages;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Load : snmp::Data {
    unsigned int index = 0;
    std::string name, text;
    unsigned int hundredths = 0;
    std::vector<unsigned char> real;  // Float: an ASN.1 FLOATTYPE in an Opaque
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

/// The textual convention Float: tag 9f78, length 4, the octets of an IEEE 754 number.
std::vector<unsigned char> floatOctets(float value) {
    std::vector<unsigned char> octets = {0x9f, 0x78, 4};
    const auto bits = std::bit_cast<uint32_t>(value);
    for (int shift = 24; shift >= 0; shift -= 8) octets.push_back(static_cast<unsigned char>(bits >> shift));
    return octets;
}

std::unique_ptr<snmp::Data> Load::build(const tn::message& m) {
    auto record = std::make_unique<Load>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->name = "Load-" + std::to_string(m.get_u32(load_averages::Minutes));
    record->hundredths = m.get_u32(load_averages::Load);
    const std::string cents = std::to_string(record->hundredths % 100);
    record->text = std::to_string(record->hundredths / 100) + (cents.size() == 1 ? ".0" : ".") + cents;
    record->real = floatOctets(static_cast<float>(record->hundredths) / 100);
    return record;
}

constexpr auto kEntry = snmp::under(kUcd, 10, 1);
constexpr snmp::Column<Load> kColumns[] = {
    {1, "laIndex", tag::Integer, &Load::index},
    {2, "laNames", tag::OctetString, &Load::name},
    {3, "laLoad", tag::OctetString, &Load::text},
    {4, "laConfig", tag::OctetString, snmp::ConstantText{""}},  // no limit is set
    {5, "laLoadInt", tag::Integer, &Load::hundredths},
    {6, "laLoadFloat", tag::Opaque, &Load::real},
    {100, "laErrorFlag", tag::Integer, snmp::Constant{0}},
    {101, "laErrMessage", tag::OctetString, snmp::ConstantText{""}},
};
static_assert(snmp::ascending(kColumns));

}  // namespace

void startLoad() {
    auto* rows = snmp::keep<snmp::GetAllProvider>(load_averages::kPath, snmp::oneRow<Load::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kEntry), "laEntry", table, kColumns);
}

}  // namespace ucd
