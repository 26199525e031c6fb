// The scalars of ip, icmp, tcp and udp (RFC 1213), from the kernel's counters.

#include "agent/mib/providers/data_provider.h"
#include "contracts/ip_counters.h"
#include "contracts/object_class.h"
#include "mib2.h"

namespace mib2 {

namespace {

namespace ip_counters = contracts::ip_counters;
namespace tag = snmp::tag;

struct Protocols : snmp::Data {
    snmp::Counters ip{}, icmp{}, tcp{}, udp{};  // by the number of the object in its group
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Protocols>();
        for (uint32_t n = 1; n <= ip_counters::kMost; ++n) {
            record->ip[n] = m.get_u64(tn::u64_id(ip_counters::kIp + n));
            record->icmp[n] = m.get_u64(tn::u64_id(ip_counters::kIcmp + n));
            record->tcp[n] = m.get_u64(tn::u64_id(ip_counters::kTcp + n));
            record->udp[n] = m.get_u64(tn::u64_id(ip_counters::kUdp + n));
        }
        return record;
    }
};

using Counter = snmp::Element<Protocols>;
constexpr Counter ip(size_t n) { return {&Protocols::ip, n}; }
constexpr Counter icmp(size_t n) { return {&Protocols::icmp, n}; }
constexpr Counter tcp(size_t n) { return {&Protocols::tcp, n}; }
constexpr Counter udp(size_t n) { return {&Protocols::udp, n}; }

constexpr snmp::Column<Protocols> kIpObjects[] = {
    {1, "ipForwarding", tag::Integer, ip(1)},        {2, "ipDefaultTTL", tag::Integer, ip(2)},  // hops
    {3, "ipInReceives", tag::Counter32, ip(3)},      {4, "ipInHdrErrors", tag::Counter32, ip(4)},
    {5, "ipInAddrErrors", tag::Counter32, ip(5)},    {6, "ipForwDatagrams", tag::Counter32, ip(6)},
    {7, "ipInUnknownProtos", tag::Counter32, ip(7)}, {8, "ipInDiscards", tag::Counter32, ip(8)},
    {9, "ipInDelivers", tag::Counter32, ip(9)},      {10, "ipOutRequests", tag::Counter32, ip(10)},
    {11, "ipOutDiscards", tag::Counter32, ip(11)},   {12, "ipOutNoRoutes", tag::Counter32, ip(12)},
    {13, "ipReasmTimeout", tag::Integer, ip(13)},  // seconds
    {14, "ipReasmReqds", tag::Counter32, ip(14)},    {15, "ipReasmOKs", tag::Counter32, ip(15)},
    {16, "ipReasmFails", tag::Counter32, ip(16)},    {17, "ipFragOKs", tag::Counter32, ip(17)},
    {18, "ipFragFails", tag::Counter32, ip(18)},     {19, "ipFragCreates", tag::Counter32, ip(19)},
};
static_assert(ascending(kIpObjects));

constexpr snmp::Column<Protocols> kIcmpObjects[] = {
    {1, "icmpInMsgs", tag::Counter32, icmp(1)},
    {2, "icmpInErrors", tag::Counter32, icmp(2)},
    {3, "icmpInDestUnreachs", tag::Counter32, icmp(3)},
    {4, "icmpInTimeExcds", tag::Counter32, icmp(4)},
    {5, "icmpInParmProbs", tag::Counter32, icmp(5)},
    {6, "icmpInSrcQuenchs", tag::Counter32, icmp(6)},
    {7, "icmpInRedirects", tag::Counter32, icmp(7)},
    {8, "icmpInEchos", tag::Counter32, icmp(8)},
    {9, "icmpInEchoReps", tag::Counter32, icmp(9)},
    {10, "icmpInTimestamps", tag::Counter32, icmp(10)},
    {11, "icmpInTimestampReps", tag::Counter32, icmp(11)},
    {12, "icmpInAddrMasks", tag::Counter32, icmp(12)},
    {13, "icmpInAddrMaskReps", tag::Counter32, icmp(13)},
    {14, "icmpOutMsgs", tag::Counter32, icmp(14)},
    {15, "icmpOutErrors", tag::Counter32, icmp(15)},
    {16, "icmpOutDestUnreachs", tag::Counter32, icmp(16)},
    {17, "icmpOutTimeExcds", tag::Counter32, icmp(17)},
    {18, "icmpOutParmProbs", tag::Counter32, icmp(18)},
    {19, "icmpOutSrcQuenchs", tag::Counter32, icmp(19)},
    {20, "icmpOutRedirects", tag::Counter32, icmp(20)},
    {21, "icmpOutEchos", tag::Counter32, icmp(21)},
    {22, "icmpOutEchoReps", tag::Counter32, icmp(22)},
    {23, "icmpOutTimestamps", tag::Counter32, icmp(23)},
    {24, "icmpOutTimestampReps", tag::Counter32, icmp(24)},
    {25, "icmpOutAddrMasks", tag::Counter32, icmp(25)},
    {26, "icmpOutAddrMaskReps", tag::Counter32, icmp(26)},
};
static_assert(ascending(kIcmpObjects));

constexpr snmp::Column<Protocols> kTcpObjects[] = {
    {1, "tcpRtoAlgorithm", tag::Integer, tcp(1)},   {2, "tcpRtoMin", tag::Integer, tcp(2)},  // ms
    {3, "tcpRtoMax", tag::Integer, tcp(3)},                                                  // ms
    {4, "tcpMaxConn", tag::Integer, tcp(4)},                                                 // -1: no limit
    {5, "tcpActiveOpens", tag::Counter32, tcp(5)},  {6, "tcpPassiveOpens", tag::Counter32, tcp(6)},
    {7, "tcpAttemptFails", tag::Counter32, tcp(7)}, {8, "tcpEstabResets", tag::Counter32, tcp(8)},
    {9, "tcpCurrEstab", tag::Gauge32, tcp(9)},      {10, "tcpInSegs", tag::Counter32, tcp(10)},
    {11, "tcpOutSegs", tag::Counter32, tcp(11)},    {12, "tcpRetransSegs", tag::Counter32, tcp(12)},
    {14, "tcpInErrs", tag::Counter32, tcp(14)},     {15, "tcpOutRsts", tag::Counter32, tcp(15)},
};
static_assert(ascending(kTcpObjects));

constexpr snmp::Column<Protocols> kUdpObjects[] = {
    {1, "udpInDatagrams", tag::Counter32, udp(1)},
    {2, "udpNoPorts", tag::Counter32, udp(2)},
    {3, "udpInErrors", tag::Counter32, udp(3)},
    {4, "udpOutDatagrams", tag::Counter32, udp(4)},
};
static_assert(ascending(kUdpObjects));

}  // namespace

void startProtocols() {
    auto* counters = snmp::keep<snmp::GetProvider>(Protocols::build, ip_counters::kPath, tn::cmd::Get, tn::cmd::Set,
                                                   contracts::object_class::kWhole);
    snmp::addScalars(snmp::under(snmp::kMib2, 4), kIpObjects, counters);
    snmp::addScalars(snmp::under(snmp::kMib2, 5), kIcmpObjects, counters);
    snmp::addScalars(snmp::under(snmp::kMib2, 6), kTcpObjects, counters);
    snmp::addScalars(snmp::under(snmp::kMib2, 7), kUdpObjects, counters);
}

}  // namespace mib2
