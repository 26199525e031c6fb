#include "hostd/inet/ip_statistics.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "contracts/inet.h"

namespace hostd {

namespace ip_statistics = contracts::ip_statistics;

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

void writeCounters(const KernelCounters& all, bool isIPv4, tn::message& item) {
    for (const Source& source : kSources) {
        const auto found = all.find(isIPv4 ? source.ipv4 : source.ipv6);
        if (found != all.end()) item.insert_u64(tn::u64_id(ip_statistics::kColumns + source.column), found->second);
    }
}

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
    : OwnerTable({ip_statistics::Version, ip_statistics::Interface}),
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

std::optional<size_t> IpInterfaceStatistics::lowerBound(const RowKey& key) const {
    if (key.u32(0) > kIPv6) return {};
    const uint32_t ifindex = key.u32(0) == kIPv6 ? key.u32(4) : 0;
    const auto found = std::ranges::lower_bound(rows_, ifindex, {}, &Row::ifindex);
    return found == rows_.end() ? std::nullopt : std::optional(static_cast<size_t>(found - rows_.begin()));
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

}  // namespace hostd
