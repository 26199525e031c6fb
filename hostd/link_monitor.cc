#include "hostd/link_monitor.h"

#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "hostd/log.h"

namespace hostd {

namespace {

constexpr int kRoom = 8 * 1024 * 1024;  // octets: some thousand links that change at once
constexpr size_t kBatch = 64;           // requests in one call: their answers must fit into a socket's usual room
constexpr uint64_t kPause = 1000;       // ms between attempts
constexpr int kListings = 3;            // while links come and go during them

}  // namespace

bool LinkMonitor::open(uint64_t now) {
    tried_ = now;
    if (!notices_.open(NETLINK_ROUTE, RTMGRP_LINK, kRoom) || !requests_.open(NETLINK_ROUTE, 0)) {
        if (!std::exchange(isLogged_, true)) hostLog << "interfaces: no netlink socket: " << std::strerror(errno);
        notices_.close();
        return false;
    }
    isLogged_ = false;
    list(now);
    return true;
}

void LinkMonitor::drain(uint64_t now, size_t packets) {
    if (!isOpen()) {
        if (now - tried_ >= kPause) open(now);
        return;
    }
    switch (notices_.take(packets, [&](const nlmsghdr& message) { table_.take(message, now); })) {
        case NetlinkSocket::Outcome::Empty:
        case NetlinkSocket::Outcome::Full:
            break;
        case NetlinkSocket::Outcome::Overrun:
        case NetlinkSocket::Outcome::Failed:
            hostLog << "interfaces: notifications were lost: listing them anew";
            // What still waits is older than the listing will be.
            (void)notices_.take(SIZE_MAX, [](const nlmsghdr&) {});
            list(now);
            return;
    }
    if (isBehind_ && now - tried_ >= kPause) list(now);
}

void LinkMonitor::list(uint64_t now) {
    tried_ = now;
    for (int i = 0; i < kListings; ++i) {
        NetlinkRequests requests;
        requests.add<ifinfomsg>(RTM_GETLINK, NLM_F_DUMP, 0);
        requests.finish();
        table_.beginListing();
        isBehind_ = !requests_.send(requests.bytes()) ||
                    !requests_.takeAnswer([&](const nlmsghdr& message) { table_.take(message, now); });
        if (!isBehind_) {
            table_.endListing();
            return;
        }
    }
    hostLog << "interfaces: not listed whole: they change too fast, or the kernel doesn't answer";
    (void)requests_.open(NETLINK_ROUTE, 0);  // what is left of an answer is gone with the socket
}

void LinkMonitor::refreshCounters(std::span<const uint32_t> indexes, uint64_t now, uint64_t maxAge) {
    if (!requests_.isOpen()) return;
    std::vector<uint32_t> old;
    for (const uint32_t index : indexes) {
        const Link* link = std::as_const(table_).find(index);
        if (link == nullptr || (link->countersAt != 0 && now - link->countersAt < maxAge)) continue;
        old.push_back(index);
        if (old.size() < kBatch) continue;
        readCounters(old, now);
        old.clear();
    }
    if (!old.empty()) readCounters(old, now);
}

void LinkMonitor::readCounters(std::span<const uint32_t> indexes, uint64_t now) {
    NetlinkRequests requests;
    for (const uint32_t index : indexes) {
        const Link* link = std::as_const(table_).find(index);
        if (link != nullptr && !link->isEnabled()) {
            // Of a link that is down the kernel doesn't tell every change (its alias, its MTU): it is read whole.
            requests.add<ifinfomsg>(RTM_GETLINK, 0, index).ifi_index = static_cast<int>(index);
        } else {
            auto& header = requests.add<if_stats_msg>(RTM_GETSTATS, 0, index);
            header.ifindex = index;
            header.filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
        }
        requests.finish();
    }
    // The kernel has answered, or refused, each by the time the sending returns.
    if (!requests_.send(requests.bytes())) return;
    (void)requests_.take(SIZE_MAX, [&](const nlmsghdr& message) { table_.take(message, now); });
}

}  // namespace hostd
