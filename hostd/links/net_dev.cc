#include "hostd/links/net_dev.h"

#include <algorithm>

#include "hostd/source/text_lines.h"

namespace hostd {

namespace {

/// The columns (dev_seq_printf_stats() in the kernel's net/core/net-procfs.c). nullptr: a sum of kinds of errors.
constexpr std::array<__u64 rtnl_link_stats64::*, 16> kColumns = {
    &rtnl_link_stats64::rx_bytes,       &rtnl_link_stats64::rx_packets,     &rtnl_link_stats64::rx_errors,
    &rtnl_link_stats64::rx_dropped,     &rtnl_link_stats64::rx_fifo_errors, nullptr,
    &rtnl_link_stats64::rx_compressed,  &rtnl_link_stats64::multicast,      &rtnl_link_stats64::tx_bytes,
    &rtnl_link_stats64::tx_packets,     &rtnl_link_stats64::tx_errors,      &rtnl_link_stats64::tx_dropped,
    &rtnl_link_stats64::tx_fifo_errors, &rtnl_link_stats64::collisions,     nullptr,
    &rtnl_link_stats64::tx_compressed};

}  // namespace

std::map<std::string_view, NetDevCounters> parseNetDev(std::string_view text) {
    std::map<std::string_view, NetDevCounters> links;
    while (!text.empty()) {
        std::string_view line = takeLine(text);
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        std::string_view head = line.substr(0, colon);
        line.remove_prefix(colon + 1);
        NetDevCounters counters{};
        if (std::ranges::all_of(counters, [&](uint64_t& counter) {
                const auto number = takeNumber(line);
                counter = number.value_or(0);
                return number.has_value();
            }))
            links.emplace(takeWord(head), counters);
    }
    return links;
}

void updateCounters(const NetDevCounters& read, rtnl_link_stats64& counters) {
    for (size_t i = 0; i < kColumns.size(); ++i)
        if (kColumns[i] != nullptr) counters.*kColumns[i] = read[i];
    // Its column also counts the packets that were missed.
    counters.rx_dropped -= std::min(counters.rx_dropped, counters.rx_missed_errors);
}

}  // namespace hostd
