#include "hostd/inet/ip_statistics.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <utility>

#include "contracts/inet.h"

namespace hostd {

namespace ip_statistics = contracts::ip_statistics;
namespace icmp_messages = contracts::icmp_messages;

namespace {

constexpr uint32_t kIPv4 = 1;  // InetVersion
constexpr uint32_t kIPv6 = 2;

/// A column of RFC 4293, and the kernel's counters for it; "" if there is none. The kernel doesn't count datagrams to
/// be forwarded or fragmented, only those that were.
struct Source {
    uint32_t column;
    std::string_view ipv4, ipv6;
};
constexpr Source kSources[] = {
    {3, "IpInReceives", "Ip6InReceives"},
    {5, "IpExtInOctets", "Ip6InOctets"},
    {7, "IpInHdrErrors", "Ip6InHdrErrors"},
    {8, "IpExtInNoRoutes", "Ip6InNoRoutes"},
    {9, "IpInAddrErrors", "Ip6InAddrErrors"},
    {10, "IpInUnknownProtos", "Ip6InUnknownProtos"},
    {11, "IpExtInTruncatedPkts", "Ip6InTruncatedPkts"},
    {14, "IpReasmReqds", "Ip6ReasmReqds"},
    {15, "IpReasmOKs", "Ip6ReasmOKs"},
    {16, "IpReasmFails", "Ip6ReasmFails"},
    {17, "IpInDiscards", "Ip6InDiscards"},
    {18, "IpInDelivers", "Ip6InDelivers"},
    {20, "IpOutRequests", "Ip6OutRequests"},
    {22, "IpOutNoRoutes", "Ip6OutNoRoutes"},
    {23, "IpForwDatagrams", "Ip6OutForwDatagrams"},
    {25, "IpOutDiscards", "Ip6OutDiscards"},
    {27, "IpFragOKs", "Ip6FragOKs"},
    {28, "IpFragFails", "Ip6FragFails"},
    {29, "IpFragCreates", "Ip6FragCreates"},
    {30, "IpOutTransmits", "Ip6OutTransmits"},
    {32, "IpExtOutOctets", "Ip6OutOctets"},
    {34, "IpExtInMcastPkts", "Ip6InMcastPkts"},
    {36, "IpExtInMcastOctets", "Ip6InMcastOctets"},
    {38, "IpExtOutMcastPkts", "Ip6OutMcastPkts"},
    {40, "IpExtOutMcastOctets", "Ip6OutMcastOctets"},
    {42, "IpExtInBcastPkts", ""},
    {44, "IpExtOutBcastPkts", ""},
};

/// The columns of icmpStatsTable.
constexpr Source kIcmpSources[] = {
    {2, "IcmpInMsgs", "Icmp6InMsgs"},
    {3, "IcmpInErrors", "Icmp6InErrors"},
    {4, "IcmpOutMsgs", "Icmp6OutMsgs"},
    {5, "IcmpOutErrors", "Icmp6OutErrors"},
};

void writeCounters(const KernelCounters& all, bool isIPv4, tn::message& item) {
    const auto write = [&](const Source& source, uint32_t first) {
        const auto found = all.find(isIPv4 ? source.ipv4 : source.ipv6);
        if (found != all.end()) item.insert_u64(tn::u64_id(first + source.column), found->second);
    };
    for (const Source& source : kSources) write(source, ip_statistics::kColumns);
    for (const Source& source : kIcmpSources) write(source, ip_statistics::kIcmp);
}

/// The kernel's counters of messages by type are named PREFIX and the number of the type.
struct MessageCounter {
    std::string_view prefix;
    uint32_t version;
    bool isSent;
};
constexpr MessageCounter kMessageCounters[] = {{"IcmpMsgInType", kIPv4, false},
                                               {"IcmpMsgOutType", kIPv4, true},
                                               {"Icmp6InType", kIPv6, false},
                                               {"Icmp6OutType", kIPv6, true}};

}  // namespace

IpStatistics::IpStatistics(const std::string& proc)
    : OwnerTable({ip_statistics::Version}),
      snmp_(proc + "/net/snmp"),
      netstat_(proc + "/net/netstat"),
      snmp6_(proc + "/net/snmp6") {}

void IpStatistics::refresh() {
    all_.clear();
    addPairedCounters(snmp_.read(), all_);
    addPairedCounters(netstat_.read(), all_);
    addListedCounters(snmp6_.read(), all_);
}

std::optional<uint32_t> IpStatistics::lowerBound(const RowKey& key) const {
    return key.u32(0) <= kIPv6 ? std::optional(std::max(key.u32(0), kIPv4)) : std::nullopt;
}

std::optional<uint32_t> IpStatistics::after(uint32_t version) const {
    return version < kIPv6 ? std::optional(version + 1) : std::nullopt;
}

void IpStatistics::writeRow(uint32_t version, tn::message& item) const {
    item.insert_u32(ip_statistics::Version, version);
    writeCounters(all_, version == kIPv4, item);
}

IpInterfaceStatistics::IpInterfaceStatistics(std::string proc, std::function<const LinkTable&()> links)
    : PositionTable({ip_statistics::Version, ip_statistics::Interface}),
      proc_(std::move(proc)),
      links_(std::move(links)) {}

void IpInterfaceStatistics::refresh() {
    const LinkTable& links = links_();
    if (version_ == links.version()) return;
    version_ = links.version();
    rows_.clear();
    for (const Link* link = links.firstFrom(0); link != nullptr; link = links.firstFrom(link->index + 1)) {
        std::string file = proc_ + "/net/dev_snmp6/" + link->name;
        if (::access(file.c_str(), R_OK) == 0) rows_.push_back({link->index, std::move(file)});
    }
}

RowKey IpInterfaceStatistics::keyOf(size_t row) const {
    RowKey key(8);
    key.putU32(0, kIPv6);
    key.putU32(4, rows_[row].ifindex);
    return key;
}

void IpInterfaceStatistics::writeRow(size_t row, tn::message& item) const {
    item.insert_u32(ip_statistics::Version, kIPv6);
    item.insert_u32(ip_statistics::Interface, rows_[row].ifindex);
    KernelCounters all;
    addListedCounters(readFile(rows_[row].file), all);
    writeCounters(all, false, item);
}

IcmpMessages::IcmpMessages(const std::string& proc)
    : OwnerTable({icmp_messages::Version, icmp_messages::Type}),
      snmp_(proc + "/net/snmp"),
      snmp6_(proc + "/net/snmp6") {}

void IcmpMessages::refresh() {
    KernelCounters all;
    addPairedCounters(snmp_.read(), all);
    addListedCounters(snmp6_.read(), all);
    std::map<std::pair<uint32_t, uint32_t>, Row> rows;  // by version and type
    for (const MessageCounter& counter : kMessageCounters) {
        for (const auto& [name, value] : all) {
            uint8_t type = 0;
            if (!name.starts_with(counter.prefix)) continue;
            const char* end = name.data() + name.size();
            const auto [rest, failed] = std::from_chars(name.data() + counter.prefix.size(), end, type);
            if (failed != std::errc() || rest != end) continue;
            Row& row = rows.try_emplace({counter.version, type}, Row{counter.version, type, 0, 0}).first->second;
            (counter.isSent ? row.sent : row.received) = value;
        }
    }
    rows_.clear();
    for (const auto& [key, row] : rows) rows_.push_back(row);
}

std::optional<size_t> IcmpMessages::lowerBound(const RowKey& key) const {
    const auto isBelow = [&key](const Row& row) {
        return std::pair(row.version, row.type) < std::pair(key.u32(0), key.u32(4));
    };
    const auto found = std::ranges::partition_point(rows_, isBelow);
    return found == rows_.end() ? std::nullopt : std::optional(static_cast<size_t>(found - rows_.begin()));
}

RowKey IcmpMessages::keyOf(size_t row) const {
    RowKey key(8);
    key.putU32(0, rows_[row].version);
    key.putU32(4, rows_[row].type);
    return key;
}

void IcmpMessages::writeRow(size_t row, tn::message& item) const {
    item.insert_u32(icmp_messages::Version, rows_[row].version);
    item.insert_u32(icmp_messages::Type, rows_[row].type);
    item.insert_u64(icmp_messages::Received, rows_[row].received);
    item.insert_u64(icmp_messages::Sent, rows_[row].sent);
}

}  // namespace hostd
