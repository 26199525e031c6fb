#include "hostd/inet/routes.h"

#include <linux/rtnetlink.h>
#include <sys/epoll.h>

#include <bit>

#include "contracts/routes.h"
#include "hostd/netlink/ipv4_mask.h"
#include "tn/looper.h"

namespace hostd {

namespace routes = contracts::routes;

namespace {

constexpr size_t kMaskAt = 4;  // octets of a key
constexpr size_t kGatewayAt = 8;
constexpr size_t kKeySize = 12;

bool discards(uint8_t type) {
    return type == RTN_BLACKHOLE || type == RTN_UNREACHABLE || type == RTN_PROHIBIT || type == RTN_THROW;
}

uint32_t kindOf(const RouteEntry& entry) {
    if (discards(entry.type)) return routes::kind::Discarding;
    if (!entry.hasGateway && entry.link != 0) return routes::kind::Connected;
    switch (entry.protocol) {
        case RTPROT_STATIC:
        case RTPROT_BOOT:
            return routes::kind::Static;
        case RTPROT_RIP:
            return routes::kind::Rip;
        case RTPROT_OSPF:
            return routes::kind::Ospf;
        case RTPROT_BGP:
            return routes::kind::Bgp;
        default:
            return routes::kind::Other;
    }
}

/// The lowest key of a route that isn't below this row key, whose mask may be non-contiguous.
RouteKey routeKey(const RowKey& key) {
    RouteKey first{.destination = key.u32(0), .length = 0, .gateway = key.u32(kGatewayAt)};
    const uint32_t mask = key.u32(kMaskAt);
    const auto ones = static_cast<unsigned>(std::countl_one(mask));
    const bool hasHoles = mask != maskOf(ones);
    if (hasHoles) first.gateway = 0;
    first.length = static_cast<uint8_t>(hasHoles ? ones + 1 : ones);
    return first;
}

}  // namespace

Routes::Routes() : OwnerTable({routes::Destination, routes::Mask, routes::Gateway}) {}

Routes::~Routes() {
    tn::Looper* looper = tn::getLooper();
    if (looper != nullptr && watchedFd_ >= 0) looper->removeSocket(watchedFd_);
}

void Routes::loadPermData() {
    isStarted_ = true;
    const auto started = tn::sinceBoot();
    monitor_.open(started);
    for (auto now = started; monitor_.due() <= now && now < started + kListedAtStart; now = tn::sinceBoot())
        monitor_.work(now);
    schedule();
}

void Routes::refresh() { drain(kPacketsPerRequest); }

void Routes::drain(size_t packets) {
    if (!isStarted_) return;
    monitor_.drain(tn::sinceBoot(), packets);
    schedule();
}

void Routes::work() {
    scheduledFor_ = RouteMonitor::kNever;
    monitor_.work(tn::sinceBoot());
    schedule();
}

void Routes::schedule() {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    watchNotices(*looper);
    const auto due = monitor_.due();
    if (due >= scheduledFor_) return;
    scheduledFor_ = due;
    timer_.stop();
    const auto now = tn::sinceBoot();
    if (due > now) return timer_.start(due - now, [this] { work(); });
    // Not a timer: one of 0 ms may be 1 ms late, which is as long as a slice.
    looper->defer([this, here = std::weak_ptr<void>(isHere_)] {
        if (!here.expired()) work();
    });
}

void Routes::watchNotices(tn::Looper& looper) {
    if (!monitor_.isOpen() || watchedFd_ == monitor_.noticesFd()) return;
    watchedFd_ = monitor_.noticesFd();
    looper.addSocket(
        watchedFd_, [this](int, unsigned) { drain(kPacketsAtOnce); }, EPOLLIN);
}

std::optional<const RouteEntry*> Routes::lowerBound(const RowKey& key) const {
    const RouteEntry* found = table_.firstFrom(routeKey(key));
    return found == nullptr ? std::nullopt : std::optional(found);
}

std::optional<const RouteEntry*> Routes::after(const RouteEntry* row) const {
    const RouteEntry* next = table_.after(*row);
    return next == nullptr ? std::nullopt : std::optional(next);
}

RowKey Routes::keyOf(const RouteEntry* row) const {
    RowKey key(kKeySize);
    key.putU32(0, row->destination);
    key.putU32(kMaskAt, maskOf(row->length));
    key.putU32(kGatewayAt, row->gateway);
    return key;
}

void Routes::writeRow(const RouteEntry* row, tn::message& item) const {
    const RouteEntry& entry = *row;
    if (!wanted().areAll()) return writeWanted(entry, item);
    const uint32_t kind = kindOf(entry);
    // In ascending order, which a message appends without searching: by kind, then by number.
    item.reserve(7);
    item.insert_be32(routes::Destination, entry.destination);
    item.insert_be32(routes::Mask, maskOf(entry.length));
    item.insert_be32(routes::Gateway, entry.gateway);
    item.insert_u32(routes::Kind, kind);
    item.insert_u32(routes::Distance, entry.metric);
    if (kind != routes::kind::Connected) item.insert_be32_array(routes::Gateways, {{entry.gateway}});
    item.insert_u32_array(routes::Interfaces, {entry.link});
}

void Routes::writeWanted(const RouteEntry& entry, tn::message& item) const {
    item.reserve(7);
    item.insert_bool(routes::Single, true);
    item.insert_be32(routes::Destination, entry.destination);
    item.insert_be32(routes::Mask, maskOf(entry.length));
    item.insert_be32(routes::Gateway, entry.gateway);
    if (wanted().has(routes::Kind)) item.insert_u32(routes::Kind, kindOf(entry));
    if (wanted().has(routes::Distance)) item.insert_u32(routes::Distance, entry.metric);
    if (wanted().has(routes::Interfaces)) item.insert_u32_array(routes::Interfaces, {entry.link});
}

}  // namespace hostd
