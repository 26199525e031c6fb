#include "hostd/links/link_monitor.h"

#include <linux/rtnetlink.h>

#include <utility>

#include "hostd/source/pseudo_file.h"

namespace hostd {

namespace {

constexpr size_t kBatch = 64;  // requests in one packet: all replies must fit into a socket's default buffer
// Links that are read together in a walk: waking the helper thread takes as long as reading a few of them.
constexpr size_t kAhead = 8;

void requestLinks(NetlinkRequests& requests) {
    requests.add<ifinfomsg>(RTM_GETLINK, NLM_F_DUMP);
    requests.finish();
}

}  // namespace

LinkMonitor::LinkMonitor(LinkTable& table, std::string netDev, const NetlinkSocketMaker& sockets)
    : table_(table),
      follower_({"interfaces", RTMGRP_LINK, requestLinks}, table, sockets),
      counters_(sockets()),
      netDev_(std::move(netDev)) {}

void LinkMonitor::refreshCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now,
                                  std::chrono::milliseconds maxAge) {
    if (!follower_.isOpen()) return;
    const auto isOld = [&](const Link* link) {
        return link != nullptr && (!link->countersAt || now - *link->countersAt >= maxAge);
    };
    bool isRead = true;
    std::vector<uint32_t> old;
    for (const uint32_t index : indexes) {
        if (!isOld(std::as_const(table_).find(index))) continue;
        old.push_back(index);
        if (old.size() < kBatch) continue;
        isRead = isRead && readCounters(old, now);
        old.clear();
    }
    if (!old.empty()) {
        const bool isWalk = old.size() == 1 && old.front() == next_;
        const Link* next = table_.firstFrom(old.back() + 1);
        for (; isWalk && isOld(next) && old.size() < kAhead; next = table_.firstFrom(next->index + 1))
            old.push_back(next->index);
        next_ = next == nullptr ? 0 : next->index;
        isRead = isRead && readCounters(old, now);
    }
    if (!isRead) table_.applyNetDev(readFile(netDev_), now);
}

bool LinkMonitor::readCounters(std::span<const uint32_t> indexes, std::chrono::milliseconds now) {
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
    return counters_.exchange(std::move(requests), [&](const nlmsghdr& message) { table_.apply(message, now); });
}

}  // namespace hostd
