#include "hostd/inet/forwarding.h"

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>

#include "contracts/bridge.h"

namespace hostd {

namespace bridge = contracts::bridge;

namespace {

void requestEntries(NetlinkRequests& requests) {
    requests.add<ndmsg>(RTM_GETNEIGH, NLM_F_DUMP).ndm_family = AF_BRIDGE;
    requests.finish();
}

}  // namespace

RowKey ForwardingKey::row() const {
    RowKey row(4 + mac.size());
    row.putU32(0, bridge);
    std::ranges::copy(mac, row.part(4, mac.size()).begin());
    return row;
}

ForwardingKey ForwardingKey::least(const RowKey& row) {
    ForwardingKey key{.bridge = row.u32(0)};
    std::ranges::copy(row.part(4, key.mac.size()), key.mac.begin());
    return key;
}

Forwarding::Forwarding()
    : KernelTable({bridge::Bridge, KeyField(bridge::Mac, std::tuple_size_v<MacAddress>)},
                  {"forwarding entries", RTMGRP_NEIGH, requestEntries}) {}

void Forwarding::apply(const nlmsghdr& message, std::chrono::milliseconds) {
    if (message.nlmsg_type != RTM_NEWNEIGH && message.nlmsg_type != RTM_DELNEIGH) return;
    const auto* header = payload<ndmsg>(message);
    if (header == nullptr || header->ndm_family != AF_BRIDGE || header->ndm_ifindex <= 0) return;
    const Attributes<NDA_MAX> attributes(message, sizeof *header);
    // An entry without a master isn't a bridge's: it is an address filter of a device, or belongs to a VXLAN.
    const auto bridge = attributes.number<uint32_t>(NDA_MASTER);
    const auto mac = attributes.number<MacAddress>(NDA_LLADDR);
    if (!bridge || !mac) return;

    const ForwardingKey key{*bridge, *mac, attributes.number<uint16_t>(NDA_VLAN).value_or(0)};
    if (message.nlmsg_type == RTM_DELNEIGH)
        remove(key);
    else
        put(key, {static_cast<uint32_t>(header->ndm_ifindex), (header->ndm_state & NUD_PERMANENT) != 0});
}

void Forwarding::writeEntry(const ForwardingKey& key, const ForwardingEntry& entry, tn::message& item) const {
    if (entry.isLocal) item.insert_bool(bridge::Local, true);
    item.insert_u32(bridge::Port, entry.port);
    item.insert_u32(bridge::Bridge, key.bridge);
    item.insert_raw(bridge::Mac, key.mac);
}

}  // namespace hostd
