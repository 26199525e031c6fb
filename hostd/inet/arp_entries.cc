#include "hostd/inet/arp_entries.h"

#include <arpa/inet.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <optional>

#include "contracts/addresses.h"

namespace hostd {

namespace arp = contracts::arp;

namespace {

void requestNeighbours(NetlinkRequests& requests) {
    requests.add<ndmsg>(RTM_GETNEIGH, NLM_F_DUMP).ndm_family = AF_INET;
    requests.finish();
}

/// The state for NUD_* bits; nothing for a neighbour without a row.
std::optional<ArpEntry::State> stateOf(unsigned nud) {
    if ((nud & NUD_PERMANENT) != 0) return ArpEntry::State::Static;
    if ((nud & (NUD_FAILED | NUD_INCOMPLETE)) != 0) return ArpEntry::State::Invalid;
    if ((nud & (NUD_REACHABLE | NUD_STALE | NUD_DELAY | NUD_PROBE)) != 0) return ArpEntry::State::Dynamic;
    return {};
}

}  // namespace

RowKey ArpKey::row() const {
    RowKey row(8);
    row.putU32(0, ifindex);
    row.putU32(4, address);
    return row;
}

ArpKey ArpKey::least(const RowKey& row) { return {.ifindex = row.u32(0), .address = row.u32(4)}; }

ArpEntries::ArpEntries()
    : KernelTable({arp::Interface, arp::Address}, {"ARP entries", RTMGRP_NEIGH, requestNeighbours}) {}

void ArpEntries::apply(const nlmsghdr& message, std::chrono::milliseconds) {
    if (message.nlmsg_type != RTM_NEWNEIGH && message.nlmsg_type != RTM_DELNEIGH) return;
    const auto* header = payload<ndmsg>(message);
    if (header == nullptr || header->ndm_family != AF_INET || (header->ndm_flags & NTF_PROXY) != 0) return;
    const Attributes<NDA_MAX> attributes(message, sizeof *header);
    const auto address = attributes.number<uint32_t>(NDA_DST);
    if (!address || header->ndm_ifindex <= 0) return;

    const ArpKey key{static_cast<uint32_t>(header->ndm_ifindex), ntohl(*address)};
    const auto state = stateOf(header->ndm_state);
    if (message.nlmsg_type == RTM_DELNEIGH || !state) {
        remove(key);
        return;
    }
    ArpEntry entry{.state = *state};
    const auto linkAddress = attributes.octets(NDA_LLADDR);
    if (linkAddress.size() <= entry.linkAddress.size()) {
        std::ranges::copy(linkAddress, entry.linkAddress.begin());
        entry.size = static_cast<uint8_t>(linkAddress.size());
    }
    put(key, entry);
}

void ArpEntries::writeEntry(const ArpKey& key, const ArpEntry& entry, tn::message& item) const {
    if (entry.state == ArpEntry::State::Dynamic) item.insert_bool(arp::Dynamic, true);
    if (entry.state == ArpEntry::State::Invalid) item.insert_bool(tn::field::Invalid, true);
    item.insert_be32(arp::Address, key.address);
    item.insert_u32(arp::Interface, key.ifindex);
    if (entry.size > 0) item.insert_raw(arp::LinkAddress, std::span(entry.linkAddress).first(entry.size));
}

}  // namespace hostd
