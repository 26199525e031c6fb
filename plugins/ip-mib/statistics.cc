// Counters of IP and ICMP (RFC 4293), and those of TCP (RFC 4022) and UDP (RFC 4113) that RFC 1213 doesn't have.
//
//     ipSystemStatsTable    INDEX { ipSystemStatsIPVersion }
//     ipIfStatsTable        INDEX { ipIfStatsIPVersion, ipIfStatsIfIndex }    rows of IPv6 only
//     icmpStatsTable        INDEX { icmpStatsIPVersion }
//     icmpMsgStatsTable     INDEX { icmpMsgStatsIPVersion, icmpMsgStatsType }
//
// The kernel doesn't count datagrams that are to be forwarded or fragmented, nor broadcasts of IPv6: they aren't
// served.

#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/inet.h"
#include "contracts/ip_counters.h"
#include "contracts/object_class.h"
#include "ip_mib.h"

namespace ip_mib {

namespace {

namespace icmp_messages = contracts::icmp_messages;
namespace ip_counters = contracts::ip_counters;
namespace ip_statistics = contracts::ip_statistics;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Statistics : snmp::Data {
    unsigned int version = 0;    // 1 or 2 for IPv4 and IPv6
    unsigned int interface = 0;  // ifIndex
    snmp::Counters counts{};     // by column
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Statistics>();
        record->version = m.get_u32(ip_statistics::Version);
        record->interface = m.get_u32(ip_statistics::Interface);
        for (uint32_t n = 1; n <= ip_statistics::kMost; ++n)
            record->counts[n] = m.get_u64(tn::u64_id(ip_statistics::kColumns + n));
        return record;
    }
};

constexpr snmp::Element<Statistics> at(size_t column) { return {&Statistics::counts, column}; }

constexpr snmp::Column<Statistics> kIndexes[] = {
    // not accessible
    {1, "ipSystemStatsIPVersion", tag::Integer, &Statistics::version},
    {1, "ipIfStatsIPVersion", tag::Integer, &Statistics::version},
    {2, "ipIfStatsIfIndex", tag::Integer, &Statistics::interface},
};
constexpr auto kSystemEntry = snmp::under(kIp, 31, 1, 1);
constexpr snmp::Column<Statistics> kSystemColumns[] = {
    {3, "ipSystemStatsInReceives", tag::Counter32, at(3)},
    {4, "ipSystemStatsHCInReceives", tag::Counter64, at(3)},
    {5, "ipSystemStatsInOctets", tag::Counter32, at(5)},
    {6, "ipSystemStatsHCInOctets", tag::Counter64, at(5)},
    {7, "ipSystemStatsInHdrErrors", tag::Counter32, at(7)},
    {8, "ipSystemStatsInNoRoutes", tag::Counter32, at(8)},
    {9, "ipSystemStatsInAddrErrors", tag::Counter32, at(9)},
    {10, "ipSystemStatsInUnknownProtos", tag::Counter32, at(10)},
    {11, "ipSystemStatsInTruncatedPkts", tag::Counter32, at(11)},
    {14, "ipSystemStatsReasmReqds", tag::Counter32, at(14)},
    {15, "ipSystemStatsReasmOKs", tag::Counter32, at(15)},
    {16, "ipSystemStatsReasmFails", tag::Counter32, at(16)},
    {17, "ipSystemStatsInDiscards", tag::Counter32, at(17)},
    {18, "ipSystemStatsInDelivers", tag::Counter32, at(18)},
    {19, "ipSystemStatsHCInDelivers", tag::Counter64, at(18)},
    {20, "ipSystemStatsOutRequests", tag::Counter32, at(20)},
    {21, "ipSystemStatsHCOutRequests", tag::Counter64, at(20)},
    {22, "ipSystemStatsOutNoRoutes", tag::Counter32, at(22)},
    {23, "ipSystemStatsOutForwDatagrams", tag::Counter32, at(23)},
    {24, "ipSystemStatsHCOutForwDatagrams", tag::Counter64, at(23)},
    {25, "ipSystemStatsOutDiscards", tag::Counter32, at(25)},
    {27, "ipSystemStatsOutFragOKs", tag::Counter32, at(27)},
    {28, "ipSystemStatsOutFragFails", tag::Counter32, at(28)},
    {29, "ipSystemStatsOutFragCreates", tag::Counter32, at(29)},
    {30, "ipSystemStatsOutTransmits", tag::Counter32, at(30)},
    {31, "ipSystemStatsHCOutTransmits", tag::Counter64, at(30)},
    {32, "ipSystemStatsOutOctets", tag::Counter32, at(32)},
    {33, "ipSystemStatsHCOutOctets", tag::Counter64, at(32)},
    {34, "ipSystemStatsInMcastPkts", tag::Counter32, at(34)},
    {35, "ipSystemStatsHCInMcastPkts", tag::Counter64, at(34)},
    {36, "ipSystemStatsInMcastOctets", tag::Counter32, at(36)},
    {37, "ipSystemStatsHCInMcastOctets", tag::Counter64, at(36)},
    {38, "ipSystemStatsOutMcastPkts", tag::Counter32, at(38)},
    {39, "ipSystemStatsHCOutMcastPkts", tag::Counter64, at(38)},
    {40, "ipSystemStatsOutMcastOctets", tag::Counter32, at(40)},
    {41, "ipSystemStatsHCOutMcastOctets", tag::Counter64, at(40)},
    {42, "ipSystemStatsInBcastPkts", tag::Counter32, at(42)},
    {43, "ipSystemStatsHCInBcastPkts", tag::Counter64, at(42)},
    {44, "ipSystemStatsOutBcastPkts", tag::Counter32, at(44)},
    {45, "ipSystemStatsHCOutBcastPkts", tag::Counter64, at(44)},
    {46, "ipSystemStatsDiscontinuityTime", tag::TimeTicks, snmp::Constant{0}},  // none since boot
    {47, "ipSystemStatsRefreshRate", tag::Gauge32, snmp::Constant{0}},          // ms; read for each request
};
static_assert(ascending(kSystemColumns));

constexpr auto kInterfaceEntry = snmp::under(kIp, 31, 3, 1);
constexpr snmp::Column<Statistics> kInterfaceColumns[] = {
    {3, "ipIfStatsInReceives", tag::Counter32, at(3)},
    {4, "ipIfStatsHCInReceives", tag::Counter64, at(3)},
    {5, "ipIfStatsInOctets", tag::Counter32, at(5)},
    {6, "ipIfStatsHCInOctets", tag::Counter64, at(5)},
    {7, "ipIfStatsInHdrErrors", tag::Counter32, at(7)},
    {8, "ipIfStatsInNoRoutes", tag::Counter32, at(8)},
    {9, "ipIfStatsInAddrErrors", tag::Counter32, at(9)},
    {10, "ipIfStatsInUnknownProtos", tag::Counter32, at(10)},
    {11, "ipIfStatsInTruncatedPkts", tag::Counter32, at(11)},
    {14, "ipIfStatsReasmReqds", tag::Counter32, at(14)},
    {15, "ipIfStatsReasmOKs", tag::Counter32, at(15)},
    {16, "ipIfStatsReasmFails", tag::Counter32, at(16)},
    {17, "ipIfStatsInDiscards", tag::Counter32, at(17)},
    {18, "ipIfStatsInDelivers", tag::Counter32, at(18)},
    {19, "ipIfStatsHCInDelivers", tag::Counter64, at(18)},
    {20, "ipIfStatsOutRequests", tag::Counter32, at(20)},
    {21, "ipIfStatsHCOutRequests", tag::Counter64, at(20)},
    {23, "ipIfStatsOutForwDatagrams", tag::Counter32, at(23)},
    {24, "ipIfStatsHCOutForwDatagrams", tag::Counter64, at(23)},
    {25, "ipIfStatsOutDiscards", tag::Counter32, at(25)},
    {27, "ipIfStatsOutFragOKs", tag::Counter32, at(27)},
    {28, "ipIfStatsOutFragFails", tag::Counter32, at(28)},
    {29, "ipIfStatsOutFragCreates", tag::Counter32, at(29)},
    {30, "ipIfStatsOutTransmits", tag::Counter32, at(30)},
    {31, "ipIfStatsHCOutTransmits", tag::Counter64, at(30)},
    {32, "ipIfStatsOutOctets", tag::Counter32, at(32)},
    {33, "ipIfStatsHCOutOctets", tag::Counter64, at(32)},
    {34, "ipIfStatsInMcastPkts", tag::Counter32, at(34)},
    {35, "ipIfStatsHCInMcastPkts", tag::Counter64, at(34)},
    {36, "ipIfStatsInMcastOctets", tag::Counter32, at(36)},
    {37, "ipIfStatsHCInMcastOctets", tag::Counter64, at(36)},
    {38, "ipIfStatsOutMcastPkts", tag::Counter32, at(38)},
    {39, "ipIfStatsHCOutMcastPkts", tag::Counter64, at(38)},
    {40, "ipIfStatsOutMcastOctets", tag::Counter32, at(40)},
    {41, "ipIfStatsHCOutMcastOctets", tag::Counter64, at(40)},
    {46, "ipIfStatsDiscontinuityTime", tag::TimeTicks, snmp::Constant{0}},  // none since boot
    {47, "ipIfStatsRefreshRate", tag::Gauge32, snmp::Constant{0}},          // ms; read for each request
};
static_assert(ascending(kInterfaceColumns));

struct Icmp : snmp::Data {
    unsigned int version = 0;  // 1 or 2 for ICMP and ICMPv6
    snmp::Counters counts{};   // by column
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Icmp>();
        record->version = m.get_u32(ip_statistics::Version);
        for (uint32_t n = 2; n <= ip_statistics::kMostIcmp; ++n)
            record->counts[n] = m.get_u64(tn::u64_id(ip_statistics::kIcmp + n));
        return record;
    }
};

constexpr snmp::Column<Icmp> kIcmpVersion{1, "icmpStatsIPVersion", tag::Integer, &Icmp::version};  // not accessible
constexpr auto kIcmpEntry = snmp::under(kIcmp, 29, 1);
constexpr snmp::Column<Icmp> kIcmpColumns[] = {
    {2, "icmpStatsInMsgs", tag::Counter32, snmp::Element<Icmp>{&Icmp::counts, 2}},
    {3, "icmpStatsInErrors", tag::Counter32, snmp::Element<Icmp>{&Icmp::counts, 3}},
    {4, "icmpStatsOutMsgs", tag::Counter32, snmp::Element<Icmp>{&Icmp::counts, 4}},
    {5, "icmpStatsOutErrors", tag::Counter32, snmp::Element<Icmp>{&Icmp::counts, 5}},
};
static_assert(ascending(kIcmpColumns));

struct IcmpMessage : snmp::Data {
    unsigned int version = 0, type = 0;
    unsigned long long received = 0, sent = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<IcmpMessage>();
        record->version = m.get_u32(icmp_messages::Version);
        record->type = m.get_u32(icmp_messages::Type);
        record->received = m.get_u64(icmp_messages::Received);
        record->sent = m.get_u64(icmp_messages::Sent);
        return record;
    }
};

constexpr snmp::Column<IcmpMessage> kMessageIndexes[] = {
    // not accessible
    {1, "icmpMsgStatsIPVersion", tag::Integer, &IcmpMessage::version},
    {2, "icmpMsgStatsType", tag::Integer, &IcmpMessage::type},
};
constexpr auto kMessageEntry = snmp::under(kIcmp, 30, 1);
constexpr snmp::Column<IcmpMessage> kMessageColumns[] = {
    {3, "icmpMsgStatsInPkts", tag::Counter32, &IcmpMessage::received},
    {4, "icmpMsgStatsOutPkts", tag::Counter32, &IcmpMessage::sent},
};
static_assert(ascending(kMessageColumns));

struct Transports : snmp::Data {
    unsigned long long inSegments = 0, outSegments = 0, inDatagrams = 0, outDatagrams = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Transports>();
        record->inSegments = m.get_u64(tn::u64_id(ip_counters::kTcp + 10));
        record->outSegments = m.get_u64(tn::u64_id(ip_counters::kTcp + 11));
        record->inDatagrams = m.get_u64(tn::u64_id(ip_counters::kUdp + 1));
        record->outDatagrams = m.get_u64(tn::u64_id(ip_counters::kUdp + 4));
        return record;
    }
};

constexpr snmp::Column<Transports> kTcpObjects[] = {
    {17, "tcpHCInSegs", tag::Counter64, &Transports::inSegments},
    {18, "tcpHCOutSegs", tag::Counter64, &Transports::outSegments},
};
constexpr snmp::Column<Transports> kUdpObjects[] = {
    {8, "udpHCInDatagrams", tag::Counter64, &Transports::inDatagrams},
    {9, "udpHCOutDatagrams", tag::Counter64, &Transports::outDatagrams},
};

}  // namespace

void startStatistics() {
    auto* ofSystem =
        snmp::keep<snmp::GetAllProvider>(ip_statistics::kSystemPath, snmp::oneRow<Statistics::build>, kWhole);
    snmp::MapTable* system = snmp::keepTable(ofSystem, {{kIndexes[0], ip_statistics::Version.number}});
    snmp::addTable(snmp::OID(kSystemEntry), "ipSystemStatsEntry", system, kSystemColumns);

    auto* ofInterfaces =
        snmp::keep<snmp::GetAllProvider>(ip_statistics::kInterfacesPath, snmp::oneRow<Statistics::build>, kWhole);
    snmp::MapTable* interfaces = snmp::keepTable(
        ofInterfaces, {{kIndexes[1], ip_statistics::Version.number}, {kIndexes[2], ip_statistics::Interface.number}});
    snmp::addTable(snmp::OID(kInterfaceEntry), "ipIfStatsEntry", interfaces, kInterfaceColumns);

    auto* ofIcmp = snmp::keep<snmp::GetAllProvider>(ip_statistics::kSystemPath, snmp::oneRow<Icmp::build>, kWhole);
    snmp::MapTable* icmp = snmp::keepTable(ofIcmp, {{kIcmpVersion, ip_statistics::Version.number}});
    snmp::addTable(snmp::OID(kIcmpEntry), "icmpStatsEntry", icmp, kIcmpColumns);

    auto* ofMessages = snmp::keep<snmp::GetAllProvider>(icmp_messages::kPath, snmp::oneRow<IcmpMessage::build>, kWhole);
    snmp::MapTable* messages = snmp::keepTable(ofMessages, {{kMessageIndexes[0], icmp_messages::Version.number},
                                                            {kMessageIndexes[1], icmp_messages::Type.number}});
    snmp::addTable(snmp::OID(kMessageEntry), "icmpMsgStatsEntry", messages, kMessageColumns);

    auto* transports =
        snmp::keep<snmp::GetProvider>(Transports::build, ip_counters::kPath, tn::cmd::Get, tn::cmd::Set, kWhole);
    snmp::addScalars(kTcp, kTcpObjects, transports);
    snmp::addScalars(kUdp, kUdpObjects, transports);
}

}  // namespace ip_mib
