// A packet of netlink messages about routes and nexthop objects, as notifications and as a listing: whatever it
// contains, the rows stay in order, and a sweep keeps every route that was listed or notified.
#include <linux/rtnetlink.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "hostd/inet/route_sync.h"
#include "hostd/netlink/attributes.h"

namespace {

/// The rows are counted, in order, and found by their keys.
void check(const hostd::RouteTable& routes) {
    size_t rows = 0;
    const hostd::RouteEntry* last = nullptr;
    for (const auto* row = routes.firstFrom({}); row != nullptr; row = routes.after(*row)) {
        if (last != nullptr && !(last->key() < row->key())) std::abort();
        if (row->length > 32 || !row->isUsable) std::abort();
        if (row->length < 32 && row->destination << row->length != 0) std::abort();
        if (row->link != 0 && !routes.usesLink(row->link)) std::abort();
        last = row;
        ++rows;
    }
    if (rows != routes.size() || (last != nullptr && routes.firstFrom(last->key()) != last)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint32_t> packet(size / 4 + 1);  // aligned like the kernel's
    if (size > 0) std::memcpy(packet.data(), data, size);
    hostd::RouteTable routes;
    hostd::RouteSync sync(routes);
    const std::span bytes(reinterpret_cast<const uint8_t*>(packet.data()), size);
    bool isListing = false;
    hostd::forEachMessage(bytes, [&](const nlmsghdr& message) {
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
    return 0;
}
