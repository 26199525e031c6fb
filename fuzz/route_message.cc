// A packet of netlink messages about routes and nexthop objects, as notifications and as a listing: whatever it
// contains, the rows stay in order, and a sweep keeps every route that was listed or notified.
#include <linux/rtnetlink.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "hostd/inet/route_sync.h"
#include "hostd/netlink/attributes.h"

namespace {

using hostd::Ipv4;
using hostd::Ipv6;

bool isMasked(uint32_t network, unsigned length) { return length == 32 || network << length == 0; }
bool isMasked(const hostd::InetAddress& network, unsigned length) {
    for (unsigned bit = length; bit < 128; ++bit)
        if ((network.all[bit / 8] >> (7 - bit % 8) & 1) != 0) return false;
    return true;
}

/// The rows are counted, in order, and found by their keys.
template <class Family>
void check(const hostd::RouteTable<Family>& routes) {
    size_t rows = 0;
    const hostd::RouteEntry<Family>* last = nullptr;
    for (const auto* row = routes.firstFrom({}); row != nullptr; row = routes.after(*row)) {
        if (last != nullptr && !(last->key() < row->key())) std::abort();
        if (row->length > Family::kMaxLength || !row->isUsable) std::abort();
        if (!isMasked(row->destination, row->length)) std::abort();
        if (row->link != 0 && !routes.usesLink(row->link)) std::abort();
        last = row;
        ++rows;
    }
    if (rows != routes.size() || (last != nullptr && routes.firstFrom(last->key()) != last)) std::abort();
}

template <class Family>
void apply(std::span<const uint8_t> packet) {
    hostd::RouteTable<Family> routes;
    hostd::RouteSync<Family> sync(routes);
    bool isListing = false;
    hostd::forEachMessage(packet, [&](const nlmsghdr& message) {
        if (message.nlmsg_type == NLMSG_NOOP) {
            sync.beginListing();
            isListing = true;
        } else if (message.nlmsg_type == NLMSG_DONE && isListing) {
            while (!sync.sweep(1)) continue;
            isListing = false;
        } else if (message.nlmsg_type == NLMSG_ERROR && isListing) {
            sync.endNexthops();
        } else if (isListing && (message.nlmsg_flags & NLM_F_MULTI) != 0) {
            sync.list(message);
        } else {
            sync.applyRoute(message);
            sync.applyNexthop(message);
        }
    });
    check(routes);
    sync.beginListing();
    while (!sync.sweep(1)) continue;
    if (routes.size() != 0 || routes.firstFrom({}) != nullptr) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint32_t> packet(size / 4 + 1);  // aligned like the kernel's
    if (size > 0) std::memcpy(packet.data(), data, size);
    const std::span bytes(reinterpret_cast<const uint8_t*>(packet.data()), size);
    apply<Ipv4>(bytes);
    apply<Ipv6>(bytes);
    return 0;
}
