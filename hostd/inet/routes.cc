#include "hostd/inet/routes.h"

#include <linux/rtnetlink.h>
#include <sys/epoll.h>

#include <bit>

#include "contracts/routes.h"
#include "hostd/netlink/ipv4_mask.h"
#include "tn/looper.h"
#include "tn/sources.h"

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

/// The first key of a route that isn't before this one, whose mask may have holes.
RouteKey routeKey(const RowKey& key) {
    RouteKey first{.destination = key.u32(0), .length = 0, .gateway = key.u32(kGatewayAt)};
    const uint32_t mask = key.u32(kMaskAt);
    const auto ones = static_cast<unsigned>(std::countl_one(mask));
    const bool hasHoles = mask != maskOf(ones);
    if (hasHoles) first.gateway = 0;
    first.length = static_cast<uint8_t>(hasHoles ? ones + 1 : ones);
    return first;
}

const RouteEntry& entryOf(uint64_t row) { return *reinterpret_cast<const RouteEntry*>(row); }

}  // namespace

Routes::Routes() : OwnerTable({routes::Destination, routes::Mask, routes::Gateway}) {}

Routes::~Routes() {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    if (watchedFd_ >= 0) looper->removeSocket(watchedFd_);
    looper->removeTimer(timer_);
}

void Routes::loadPermData() {
    isWatching_ = true;
    const uint64_t started = tn::getMilliseconds();
    monitor_.open(started);
    for (uint64_t now = started; monitor_.due() <= now && now < started + kFirst; now = tn::getMilliseconds())
        monitor_.work(now);
    arrange();
}

void Routes::refresh() { drain(kPacketsBefore); }

void Routes::drain(size_t packets) {
    if (!isWatching_) return;
    monitor_.drain(tn::getMilliseconds(), packets);
    arrange();
}

void Routes::work() {
    arrangedFor_ = RouteMonitor::kNever;
    monitor_.work(tn::getMilliseconds());
    arrange();
}

/// Sees to it that the loop calls when there is something to do.
void Routes::arrange() {
    tn::Looper* looper = tn::getLooper();
    if (looper == nullptr) return;
    if (monitor_.isOpen() && watchedFd_ != monitor_.noticesFd()) {
        watchedFd_ = monitor_.noticesFd();
        looper->addSocket(
            watchedFd_, [this](int, unsigned) { drain(kPacketsAtOnce); }, EPOLLIN);
    }
    const uint64_t due = monitor_.due();
    if (due >= arrangedFor_) return;
    arrangedFor_ = due;
    looper->removeTimer(timer_);
    const uint64_t now = tn::getMilliseconds();
    if (due > now) {
        timer_ = looper->addTimer([this] { work(); }, std::chrono::milliseconds(due - now));
        return;
    }
    // A timer of 0 ms may be late by one, as long as a slice takes.
    looper->defer([this, here = std::weak_ptr<void>(isHere_)] {
        if (!here.expired()) work();
    });
}

Routes::Row Routes::lowerBound(const RowKey& key) const {
    const RouteEntry* found = table_.firstFrom(routeKey(key));
    return found == nullptr ? kEnd : reinterpret_cast<Row>(found);
}

Routes::Row Routes::after(Row row) const {
    const RouteEntry* next = table_.after(entryOf(row));
    return next == nullptr ? kEnd : reinterpret_cast<Row>(next);
}

RowKey Routes::keyOf(Row row) const {
    const RouteEntry& entry = entryOf(row);
    RowKey key(kKeySize);
    key.putU32(0, entry.destination);
    key.putU32(kMaskAt, maskOf(entry.length));
    key.putU32(kGatewayAt, entry.gateway);
    return key;
}

void Routes::writeRow(Row row, tn::message& item) const {
    const RouteEntry& entry = entryOf(row);
    const uint32_t kind = kindOf(entry);
    // In the order in which a message takes fields without looking for them: by kind, then by number.
    item.reserve(7);
    item.insert_be32(routes::Destination, entry.destination);
    item.insert_be32(routes::Mask, maskOf(entry.length));
    item.insert_be32(routes::Gateway, entry.gateway);
    item.insert_u32(routes::Kind, kind);
    item.insert_u32(routes::Distance, entry.metric);
    if (kind != routes::kind::Connected) item.insert_be32_array(routes::Gateways, {{entry.gateway}});
    item.insert_u32_array(routes::Interfaces, {entry.link});
}

}  // namespace hostd
