#include "hostd/links/link_monitor.h"

#include <linux/rtnetlink.h>

#include <utility>

namespace hostd {

namespace {

constexpr size_t kBatch = 64;  // requests in one packet: all replies must fit into a socket's default buffer

void requestLinks(NetlinkRequests& requests) {
    requests.add<ifinfomsg>(RTM_GETLINK, NLM_F_DUMP);
    requests.finish();
}

}  // namespace

LinkMonitor::LinkMonitor(LinkTable& table)
    : table_(table), follower_({"interfaces", RTMGRP_LINK, requestLinks}, table) {}

void LinkMonitor::refreshCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now,
                                  std::chrono::milliseconds maxAge) {
    if (!follower_.isOpen() || (!requests_.isOpen() && !requests_.open(NETLINK_ROUTE, 0))) return;
    std::vector<uint32_t> old;
    for (const uint32_t index : indexes) {
        const Link* link = std::as_const(table_).find(index);
        if (link == nullptr || (link->countersAt && now - *link->countersAt < maxAge)) continue;
        old.push_back(index);
        if (old.size() < kBatch) continue;
        readCounters(old, now);
        old.clear();
    }
    if (!old.empty()) readCounters(old, now);
}

void LinkMonitor::readCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now) {
    NetlinkRequests requests;
    for (const uint32_t index : indexes) {
        const Link* link = std::as_const(table_).find(index);
        if (link != nullptr && !link->isEnabled()) {
            // Some changes of a link that is down (alias, MTU) aren't notified, so it is read as a whole.
            requests.add<ifinfomsg>(RTM_GETLINK, 0).ifi_index = static_cast<int>(index);
        } else {
            auto& header = requests.add<if_stats_msg>(RTM_GETSTATS, 0);
            header.ifindex = index;
            header.filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
        }
        requests.finish();
    }
    // The kernel answers or refuses each request within send(): all replies are queued now.
    if (!requests_.send(requests)) return;
    (void)requests_.receive(SIZE_MAX, [&](const nlmsghdr& message) { table_.apply(message, now); });
}

}  // namespace hostd
