// Addresses, networks and neighbours (RFC 4293).
//
//     ipAddressTable          INDEX { ipAddressAddrType, ipAddressAddr }
//     ipAddressPrefixTable    INDEX { IfIndex, Type, Prefix, Length }
//     ipNetToPhysicalTable    INDEX { IfIndex, NetAddressType, NetAddress }

#include <linux/if_addr.h>
#include <linux/neighbour.h>

#include "agent/mib/providers/get_all_provider.h"
#include "contracts/inet.h"
#include "contracts/object_class.h"
#include "ip_mib.h"

namespace ip_mib {

namespace {

namespace addresses = contracts::inet_addresses;
namespace neighbors = contracts::inet_neighbors;
namespace prefixes = contracts::inet_prefixes;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

constexpr snmp::Constant kActive{1};  // RowStatus

// ---- Addresses

constexpr auto kPrefixEntry = snmp::under(kIp, 32, 1);

struct Address : snmp::Data {
    unsigned int type = 0;  // InetAddressType
    Octets address;
    unsigned int interface = 0;  // ifIndex
    snmp::OID prefix;            // ipAddressPrefixOrigin of its network
    unsigned int origin = 0;
    unsigned int status = 0;
    unsigned int created = 0, changed = 0;  // sysUpTime
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

unsigned int statusOf(uint32_t flags) {
    enum { Preferred = 1, Deprecated = 2, Tentative = 6, Duplicate = 7, Optimistic = 8 };  // IpAddressStatusTC
    if ((flags & IFA_F_DADFAILED) != 0) return Duplicate;
    if ((flags & IFA_F_OPTIMISTIC) != 0) return Optimistic;
    if ((flags & IFA_F_TENTATIVE) != 0) return Tentative;
    return (flags & IFA_F_DEPRECATED) != 0 ? Deprecated : Preferred;
}

std::unique_ptr<snmp::Data> Address::build(const tn::message& m) {
    auto record = std::make_unique<Address>();
    record->type = m.get_u32(addresses::Type);
    record->address = m.get_raw(addresses::Address);
    record->interface = m.get_u32(addresses::Interface);
    const Octets network = m.get_raw(addresses::Network);
    record->prefix = snmp::OID(snmp::under(kPrefixEntry, 5));
    record->prefix += snmp::OID{record->interface, record->type, static_cast<unsigned int>(network.size())};
    record->prefix.insert(record->prefix.end(), network.begin(), network.end());
    record->prefix += m.get_u32(addresses::Length);
    record->origin = m.get_u32(addresses::Origin);
    record->status = statusOf(m.get_u32(addresses::Flags));
    record->created = m.get_u32(addresses::Created);
    record->changed = m.get_u32(addresses::Changed);
    return record;
}

constexpr auto kAddressEntry = snmp::under(kIp, 34, 1);
constexpr snmp::Column<Address> kAddressIndexes[] = {
    // not accessible
    {1, "ipAddressAddrType", tag::Integer, &Address::type},
    {2, "ipAddressAddr", tag::OctetString, &Address::address},
};
constexpr snmp::Column<Address> kAddressColumns[] = {
    {3, "ipAddressIfIndex", tag::Integer, &Address::interface},
    {4, "ipAddressType", tag::Integer, snmp::Constant{1}},  // unicast: the kernel lists no others
    {5, "ipAddressPrefix", tag::ObjectIdentifier, &Address::prefix},
    {6, "ipAddressOrigin", tag::Integer, &Address::origin},
    {7, "ipAddressStatus", tag::Integer, &Address::status},
    {8, "ipAddressCreated", tag::TimeTicks, &Address::created},
    {9, "ipAddressLastChanged", tag::TimeTicks, &Address::changed},
    {10, "ipAddressRowStatus", tag::Integer, kActive},
    {11, "ipAddressStorageType", tag::Integer, snmp::Constant{2}},  // volatile: the kernel doesn't store it
};
static_assert(ascending(kAddressColumns));

// ---- Networks

struct Prefix : snmp::Data {
    unsigned int interface = 0;  // ifIndex
    unsigned int type = 0;       // InetAddressType
    Octets network;
    unsigned int length = 0;  // bits
    unsigned int origin = 0;
    unsigned int isAutonomous = 0;          // TruthValue
    unsigned int preferred = 0, valid = 0;  // s
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

std::unique_ptr<snmp::Data> Prefix::build(const tn::message& m) {
    enum { Manual = 2, WellKnown = 3, Dhcp = 4, RouterAdvertisement = 5 };  // IpAddressPrefixOriginTC
    constexpr unsigned int kLinkLocal = 4;                                  // InetAddressType ipv6z
    auto record = std::make_unique<Prefix>();
    record->interface = m.get_u32(prefixes::Interface);
    record->type = m.get_u32(prefixes::Type);
    record->network = m.get_raw(prefixes::Network);
    record->length = m.get_u32(prefixes::Length);
    const bool isAdvertised = m.get_bool(prefixes::Advertised);
    record->origin = record->type == kLinkLocal                                               ? WellKnown
                     : isAdvertised                                                           ? RouterAdvertisement
                     : m.get_u32(prefixes::Origin) == contracts::inet_addresses::origin::Dhcp ? Dhcp
                                                                                              : Manual;
    record->isAutonomous = isAdvertised ? 1 : 2;
    record->preferred = m.get_u32(prefixes::Preferred);
    record->valid = m.get_u32(prefixes::Valid);
    return record;
}

constexpr snmp::Column<Prefix> kPrefixIndexes[] = {
    // not accessible
    {1, "ipAddressPrefixIfIndex", tag::Integer, &Prefix::interface},
    {2, "ipAddressPrefixType", tag::Integer, &Prefix::type},
    {3, "ipAddressPrefixPrefix", tag::OctetString, &Prefix::network},
    {4, "ipAddressPrefixLength", tag::Gauge32, &Prefix::length},
};
constexpr snmp::Column<Prefix> kPrefixColumns[] = {
    {5, "ipAddressPrefixOrigin", tag::Integer, &Prefix::origin},
    {6, "ipAddressPrefixOnLinkFlag", tag::Integer, snmp::Constant{1}},  // true: it is that of an address
    {7, "ipAddressPrefixAutonomousFlag", tag::Integer, &Prefix::isAutonomous},
    {8, "ipAddressPrefixAdvPreferredLifetime", tag::Gauge32, &Prefix::preferred},
    {9, "ipAddressPrefixAdvValidLifetime", tag::Gauge32, &Prefix::valid},
};
static_assert(ascending(kPrefixColumns));

// ---- Neighbours

struct Neighbor : snmp::Data {
    unsigned int interface = 0;  // ifIndex
    unsigned int type = 0;       // InetAddressType
    Octets address, linkAddress;
    unsigned int changed = 0;  // sysUpTime
    unsigned int kind = 0;
    unsigned int state = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

/// ipNetToPhysicalState of NUD_* bits.
unsigned int stateOf(uint32_t nud) {
    enum { Reachable = 1, Stale = 2, Delay = 3, Probe = 4, Invalid = 5, Unknown = 6, Incomplete = 7 };
    if ((nud & (NUD_REACHABLE | NUD_PERMANENT)) != 0) return Reachable;
    if ((nud & NUD_STALE) != 0) return Stale;
    if ((nud & NUD_DELAY) != 0) return Delay;
    if ((nud & NUD_PROBE) != 0) return Probe;
    if ((nud & NUD_FAILED) != 0) return Invalid;
    return (nud & NUD_INCOMPLETE) != 0 ? Incomplete : Unknown;
}

std::unique_ptr<snmp::Data> Neighbor::build(const tn::message& m) {
    enum { Invalid = 2, Dynamic = 3, Static = 4 };  // ipNetToPhysicalType
    auto record = std::make_unique<Neighbor>();
    record->interface = m.get_u32(neighbors::Interface);
    record->type = m.get_u32(neighbors::Type);
    record->address = m.get_raw(neighbors::Address);
    record->linkAddress = m.get_raw(neighbors::LinkAddress);
    record->changed = m.get_u32(neighbors::Changed);
    const uint32_t nud = m.get_u32(neighbors::State);
    const bool isInvalid = (nud & (NUD_FAILED | NUD_INCOMPLETE)) != 0;
    record->kind = (nud & NUD_PERMANENT) != 0 ? Static : isInvalid ? Invalid : Dynamic;
    record->state = stateOf(nud);
    return record;
}

constexpr auto kNeighborEntry = snmp::under(kIp, 35, 1);
constexpr snmp::Column<Neighbor> kNeighborIndexes[] = {
    // not accessible
    {1, "ipNetToPhysicalIfIndex", tag::Integer, &Neighbor::interface},
    {2, "ipNetToPhysicalNetAddressType", tag::Integer, &Neighbor::type},
    {3, "ipNetToPhysicalNetAddress", tag::OctetString, &Neighbor::address},
};
constexpr snmp::Column<Neighbor> kNeighborColumns[] = {
    {4, "ipNetToPhysicalPhysAddress", tag::OctetString, &Neighbor::linkAddress},
    {5, "ipNetToPhysicalLastUpdated", tag::TimeTicks, &Neighbor::changed},
    {6, "ipNetToPhysicalType", tag::Integer, &Neighbor::kind},
    {7, "ipNetToPhysicalState", tag::Integer, &Neighbor::state},
    {8, "ipNetToPhysicalRowStatus", tag::Integer, kActive},
};
static_assert(ascending(kNeighborColumns));

}  // namespace

void startAddresses() {
    auto* addressRows = snmp::keep<snmp::GetAllProvider>(addresses::kPath, snmp::oneRow<Address::build>, kWhole);
    snmp::MapTable* addressTable = snmp::keepTable(
        addressRows, {{kAddressIndexes[0], addresses::Type.number}, {kAddressIndexes[1], addresses::Address.number}});
    snmp::addTable(snmp::OID(kAddressEntry), "ipAddressEntry", addressTable, kAddressColumns);

    auto* prefixRows = snmp::keep<snmp::GetAllProvider>(prefixes::kPath, snmp::oneRow<Prefix::build>, kWhole);
    snmp::MapTable* prefixTable = snmp::keepTable(prefixRows, {{kPrefixIndexes[0], prefixes::Interface.number},
                                                               {kPrefixIndexes[1], prefixes::Type.number},
                                                               {kPrefixIndexes[2], prefixes::Network.number},
                                                               {kPrefixIndexes[3], prefixes::Length.number}});
    snmp::addTable(snmp::OID(kPrefixEntry), "ipAddressPrefixEntry", prefixTable, kPrefixColumns);

    auto* neighborRows = snmp::keep<snmp::GetAllProvider>(neighbors::kPath, snmp::oneRow<Neighbor::build>, kWhole);
    snmp::MapTable* neighborTable = snmp::keepTable(neighborRows, {{kNeighborIndexes[0], neighbors::Interface.number},
                                                                   {kNeighborIndexes[1], neighbors::Type.number},
                                                                   {kNeighborIndexes[2], neighbors::Address.number}});
    snmp::addTable(snmp::OID(kNeighborEntry), "ipNetToPhysicalEntry", neighborTable, kNeighborColumns);
}

}  // namespace ip_mib
