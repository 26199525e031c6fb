#include "hostd/inet/ip_counters.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>

#include "contracts/ip_counters.h"
#include "hostd/source/text_lines.h"

namespace hostd {

namespace ip_counters = contracts::ip_counters;

namespace {

constexpr uint32_t kReassemblyTimeout = ip_counters::kIp + 13;

/// Removes the text up to the separator, and the separator, from the front of `text`, and returns it.
std::string_view takeUpTo(char separator, std::string_view& text) {
    const std::string_view taken = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(taken.size() + 1, text.size()));
    return taken;
}

std::optional<uint64_t> numberOf(std::string_view word) {
    uint64_t value = 0;
    const bool isNegative = word.starts_with('-');
    if (isNegative) word.remove_prefix(1);
    const auto [rest, failed] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (failed != std::errc() || rest != word.data() + word.size()) return {};
    return isNegative ? 0 - value : value;
}

/// The kernel's names of the objects of a group, by their number in it from 1 on; "" for one that isn't a counter.
struct Group {
    uint32_t first;  ///< field of the object 0
    std::span<const std::string_view> names;
};
constexpr std::string_view kIpNames[] = {"IpForwarding",
                                         "IpDefaultTTL",
                                         "IpInReceives",
                                         "IpInHdrErrors",
                                         "IpInAddrErrors",
                                         "IpForwDatagrams",
                                         "IpInUnknownProtos",
                                         "IpInDiscards",
                                         "IpInDelivers",
                                         "IpOutRequests",
                                         "IpOutDiscards",
                                         "IpOutNoRoutes",
                                         "",
                                         "IpReasmReqds",
                                         "IpReasmOKs",
                                         "IpReasmFails",
                                         "IpFragOKs",
                                         "IpFragFails",
                                         "IpFragCreates"};
constexpr std::string_view kIcmpNames[] = {
    "IcmpInMsgs",          "IcmpInErrors",     "IcmpInDestUnreachs", "IcmpInTimeExcds",      "IcmpInParmProbs",
    "IcmpInSrcQuenchs",    "IcmpInRedirects",  "IcmpInEchos",        "IcmpInEchoReps",       "IcmpInTimestamps",
    "IcmpInTimestampReps", "IcmpInAddrMasks",  "IcmpInAddrMaskReps", "IcmpOutMsgs",          "IcmpOutErrors",
    "IcmpOutDestUnreachs", "IcmpOutTimeExcds", "IcmpOutParmProbs",   "IcmpOutSrcQuenchs",    "IcmpOutRedirects",
    "IcmpOutEchos",        "IcmpOutEchoReps",  "IcmpOutTimestamps",  "IcmpOutTimestampReps", "IcmpOutAddrMasks",
    "IcmpOutAddrMaskReps"};
constexpr std::string_view kTcpNames[] = {"TcpRtoAlgorithm",
                                          "TcpRtoMin",
                                          "TcpRtoMax",
                                          "TcpMaxConn",
                                          "TcpActiveOpens",
                                          "TcpPassiveOpens",
                                          "TcpAttemptFails",
                                          "TcpEstabResets",
                                          "TcpCurrEstab",
                                          "TcpInSegs",
                                          "TcpOutSegs",
                                          "TcpRetransSegs",
                                          "",
                                          "TcpInErrs",
                                          "TcpOutRsts"};
constexpr std::string_view kUdpNames[] = {"UdpInDatagrams", "UdpNoPorts", "UdpInErrors", "UdpOutDatagrams"};
constexpr Group kCounterGroups[] = {{ip_counters::kIp, kIpNames},
                                    {ip_counters::kIcmp, kIcmpNames},
                                    {ip_counters::kTcp, kTcpNames},
                                    {ip_counters::kUdp, kUdpNames}};

}  // namespace

void addPairedCounters(std::string_view text, KernelCounters& all) {
    std::string_view names = takeUpTo('\n', text);
    while (!text.empty()) {
        std::string_view numbers = takeUpTo('\n', text);
        const std::string_view next = numbers;
        std::string_view group = takeWord(names);
        if (group.ends_with(':') && takeWord(numbers) == group) {
            group.remove_suffix(1);
            for (auto name = takeWord(names); !name.empty(); name = takeWord(names))
                if (const auto value = numberOf(takeWord(numbers))) all[std::string(group).append(name)] = *value;
            names = takeUpTo('\n', text);
        } else {
            names = next;
        }
    }
}

void addListedCounters(std::string_view text, KernelCounters& all) {
    while (!text.empty()) {
        std::string_view line = takeUpTo('\n', text);
        const std::string_view name = takeWord(line);
        if (const auto value = numberOf(takeWord(line))) all[std::string(name)] = *value;
    }
}

uint64_t valueOf(const KernelCounters& all, std::string_view name) {
    const auto found = all.find(name);
    return found == all.end() ? 0 : found->second;
}

IpCounters::IpCounters(const std::string& proc)
    : snmp_(proc + "/net/snmp"), snmp6_(proc + "/net/snmp6"), fragmentTime_(proc + "/sys/net/ipv4/ipfrag_time") {}

tn::message IpCounters::getObject(uint32_t) {
    KernelCounters all;
    addPairedCounters(snmp_.read(), all);
    addListedCounters(snmp6_.read(), all);
    tn::message reply;
    for (const Group& group : kCounterGroups) {
        for (uint32_t i = 0; i < group.names.size(); ++i) {
            const auto found = all.find(group.names[i]);
            if (found == all.end()) continue;
            // The kernel counts UDP over IPv6 separately, but not TCP.
            const bool isUdp = group.first == ip_counters::kUdp;
            const uint64_t ipv6 = isUdp ? valueOf(all, "Udp6" + found->first.substr(3)) : 0;
            reply.insert_u64(tn::u64_id(group.first + 1 + i), found->second + ipv6);
        }
    }
    std::string_view timeout = fragmentTime_.read();
    if (const auto seconds = numberOf(takeUpTo('\n', timeout)))
        reply.insert_u64(tn::u64_id(kReassemblyTimeout), *seconds);  // the kernel counts timeouts under this name
    return reply;
}

}  // namespace hostd
