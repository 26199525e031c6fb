// What this system and its neighbours announce on the links (IEEE 802.1AB). Ports are numbered by ifIndex; the time
// mark is 0 in all rows.
//
//     lldpLocPortTable       INDEX { lldpLocPortNum }
//     lldpLocManAddrTable    INDEX { lldpLocManAddrSubtype, lldpLocManAddr }
//     lldpRemTable           INDEX { lldpRemTimeMark, lldpRemLocalPortNum, lldpRemIndex }
//     lldpRemManAddrTable    INDEX { lldpRemTimeMark, lldpRemLocalPortNum, lldpRemIndex, lldpRemManAddrSubtype,
//                                    lldpRemManAddr }

#include "agent/core/autorun.h"
#include "agent/mib/columns.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/lldp_systems.h"
#include "contracts/object_class.h"
#include "tn/fields.h"

namespace lldp {

namespace {

namespace addresses = contracts::lldp_addresses;
namespace ports = contracts::lldp_ports;
namespace systems = contracts::lldp_systems;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;
using Octets = std::vector<unsigned char>;

constexpr int kIfIndex = 2;  // LldpManAddrIfSubtype

/// BITS: the first capability is the most significant bit.
Octets bitsOf(uint32_t capabilities) {
    unsigned char bits = 0;
    for (unsigned i = 0; i < 8; ++i)
        if ((capabilities >> i & 1) != 0) bits = static_cast<unsigned char>(bits | 0x80U >> i);
    return {bits};
}

/// This system, or a neighbour with its port.
struct System : snmp::Data {
    unsigned int port = 0, index = 0, chassisIdSubtype = 0, portIdSubtype = 0;
    Octets chassisId, portId, capabilities, enabledCapabilities;
    std::string name, description, portDescription;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<System>();
        record->port = m.get_u32(systems::Port);
        record->index = m.get_u32(systems::Index);
        record->chassisIdSubtype = m.get_u32(systems::ChassisIdSubtype);
        record->chassisId = m.get_raw(systems::ChassisId);
        record->name = m.get_string(systems::Name);
        record->description = m.get_string(systems::Description);
        record->capabilities = bitsOf(m.get_u32(systems::Capabilities));
        record->enabledCapabilities = bitsOf(m.get_u32(systems::EnabledCapabilities));
        record->portIdSubtype = m.get_u32(systems::PortIdSubtype);
        record->portId = m.get_raw(systems::PortId);
        record->portDescription = m.get_string(systems::PortDescription);
        return record;
    }
};

/// Without lldpd, this system's objects aren't served.
class LocalProvider : public snmp::GetProvider {
  public:
    LocalProvider() : GetProvider(System::build, systems::kLocalPath, tn::cmd::Get, tn::cmd::Set, kWhole) {}

  protected:
    std::unique_ptr<snmp::Data> getData() override {
        std::unique_ptr<snmp::Data> record = GetProvider::getData();
        return static_cast<const System&>(*record).chassisId.empty() ? nullptr : std::move(record);
    }
};

struct Port : snmp::Data {
    unsigned int number = 0, idSubtype = 0;
    Octets id;
    std::string description;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Port>();
        record->number = m.get_u32(tn::field::ObjectId);
        record->idSubtype = m.get_u32(systems::PortIdSubtype);
        record->id = m.get_raw(systems::PortId);
        record->description = m.get_string(systems::PortDescription);
        return record;
    }
};

struct Address : snmp::Data {
    unsigned int port = 0, index = 0, family = 0, interface = 0, length = 0;
    Octets octets;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Address>();
        record->port = m.get_u32(addresses::Port);
        record->index = m.get_u32(addresses::Index);
        record->family = m.get_u32(addresses::Family);
        record->octets = m.get_raw(addresses::Address);
        record->interface = m.get_u32(addresses::Interface);
        record->length = static_cast<unsigned int>(record->octets.size() + 1);  // with the subtype
        return record;
    }
};

constexpr auto kLldpObjects = std::array<unsigned int, 7>{1, 0, 8802, 1, 1, 2, 1};

constexpr auto kLocal = snmp::under(kLldpObjects, 3);
constexpr snmp::Column<System> kLocalObjects[] = {
    {1, "lldpLocChassisIdSubtype", tag::Integer, &System::chassisIdSubtype},
    {2, "lldpLocChassisId", tag::OctetString, &System::chassisId},
    {3, "lldpLocSysName", tag::OctetString, &System::name},
    {4, "lldpLocSysDesc", tag::OctetString, &System::description},
    {5, "lldpLocSysCapSupported", tag::OctetString, &System::capabilities},
    {6, "lldpLocSysCapEnabled", tag::OctetString, &System::enabledCapabilities},
};
static_assert(snmp::ascending(kLocalObjects));

constexpr snmp::Column<Port> kPortIndex[] = {{1, "lldpLocPortNum", tag::Integer, &Port::number}};
constexpr snmp::Column<Port> kPortColumns[] = {
    {2, "lldpLocPortIdSubtype", tag::Integer, &Port::idSubtype},
    {3, "lldpLocPortId", tag::OctetString, &Port::id},
    {4, "lldpLocPortDesc", tag::OctetString, &Port::description},
};
static_assert(snmp::ascending(kPortColumns));

constexpr snmp::Column<Address> kLocalAddressIndexes[] = {
    {1, "lldpLocManAddrSubtype", tag::Integer, &Address::family},
    {2, "lldpLocManAddr", tag::OctetString, &Address::octets},
};
constexpr snmp::Column<Address> kLocalAddressColumns[] = {
    {3, "lldpLocManAddrLen", tag::Integer, &Address::length},
    {4, "lldpLocManAddrIfSubtype", tag::Integer, snmp::Constant{kIfIndex}},
    {5, "lldpLocManAddrIfId", tag::Integer, &Address::interface},
    {6, "lldpLocManAddrOID", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
};
static_assert(snmp::ascending(kLocalAddressColumns));

constexpr auto kRemote = snmp::under(kLldpObjects, 4);
constexpr snmp::Column<System> kRemoteIndexes[] = {
    {1, "lldpRemTimeMark", tag::TimeTicks, snmp::Constant{0}},
    {2, "lldpRemLocalPortNum", tag::Integer, &System::port},
    {3, "lldpRemIndex", tag::Integer, &System::index},
};
constexpr snmp::Column<System> kRemoteColumns[] = {
    {4, "lldpRemChassisIdSubtype", tag::Integer, &System::chassisIdSubtype},
    {5, "lldpRemChassisId", tag::OctetString, &System::chassisId},
    {6, "lldpRemPortIdSubtype", tag::Integer, &System::portIdSubtype},
    {7, "lldpRemPortId", tag::OctetString, &System::portId},
    {8, "lldpRemPortDesc", tag::OctetString, &System::portDescription},
    {9, "lldpRemSysName", tag::OctetString, &System::name},
    {10, "lldpRemSysDesc", tag::OctetString, &System::description},
    {11, "lldpRemSysCapSupported", tag::OctetString, &System::capabilities},
    {12, "lldpRemSysCapEnabled", tag::OctetString, &System::enabledCapabilities},
};
static_assert(snmp::ascending(kRemoteColumns));

constexpr snmp::Column<Address> kRemoteAddressIndexes[] = {
    {1, "lldpRemTimeMark", tag::TimeTicks, snmp::Constant{0}},
    {2, "lldpRemLocalPortNum", tag::Integer, &Address::port},
    {3, "lldpRemIndex", tag::Integer, &Address::index},
    {1, "lldpRemManAddrSubtype", tag::Integer, &Address::family},
    {2, "lldpRemManAddr", tag::OctetString, &Address::octets},
};
constexpr snmp::Column<Address> kRemoteAddressColumns[] = {
    {3, "lldpRemManAddrIfSubtype", tag::Integer, snmp::Constant{kIfIndex}},
    {4, "lldpRemManAddrIfId", tag::Integer, &Address::interface},
    {5, "lldpRemManAddrOID", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
};
static_assert(snmp::ascending(kRemoteAddressColumns));

template <std::unique_ptr<snmp::Data> (*Build)(const tn::message&)>
snmp::GetAllProvider* keepRows(std::span<const uint32_t> path) {
    return snmp::keep<snmp::GetAllProvider>(path, snmp::oneRow<Build>, kWhole);
}

void start() {
    constexpr uint32_t kNone = snmp::Packer::kNoField;
    snmp::addScalars(kLocal, kLocalObjects, snmp::keep<LocalProvider>());
    snmp::MapTable* table =
        snmp::keepTable(keepRows<Port::build>(ports::kPath), {{kPortIndex[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(snmp::under(kLocal, 7, 1)), "lldpLocPortEntry", table, kPortColumns);
    table = snmp::keepTable(
        keepRows<Address::build>(addresses::kLocalPath),
        {{kLocalAddressIndexes[0], addresses::Family.number}, {kLocalAddressIndexes[1], addresses::Address.number}});
    snmp::addTable(snmp::OID(snmp::under(kLocal, 8, 1)), "lldpLocManAddrEntry", table, kLocalAddressColumns);

    table =
        snmp::keepTable(keepRows<System::build>(systems::kRemotePath), {{kRemoteIndexes[0], kNone},
                                                                        {kRemoteIndexes[1], systems::Port.number},
                                                                        {kRemoteIndexes[2], systems::Index.number}});
    snmp::addTable(snmp::OID(snmp::under(kRemote, 1, 1)), "lldpRemEntry", table, kRemoteColumns);
    table = snmp::keepTable(keepRows<Address::build>(addresses::kRemotePath),
                            {{kRemoteAddressIndexes[0], kNone},
                             {kRemoteAddressIndexes[1], addresses::Port.number},
                             {kRemoteAddressIndexes[2], addresses::Index.number},
                             {kRemoteAddressIndexes[3], addresses::Family.number},
                             {kRemoteAddressIndexes[4], addresses::Address.number}});
    snmp::addTable(snmp::OID(snmp::under(kRemote, 2, 1)), "lldpRemManAddrEntry", table, kRemoteAddressColumns);
}

}  // namespace

}  // namespace lldp

void autorun() { lldp::start(); }
