#include "hostd/inet/inet_neighbors.h"

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "contracts/inet.h"

namespace hostd {

namespace neighbors = contracts::inet_neighbors;

namespace {

constexpr unsigned kShown =
    NUD_PERMANENT | NUD_FAILED | NUD_INCOMPLETE | NUD_REACHABLE | NUD_STALE | NUD_DELAY | NUD_PROBE;

void requestInetNeighbors(NetlinkRequests& requests) {
    requests.add<ndmsg>(RTM_GETNEIGH, NLM_F_DUMP);
    requests.finish();
}

}  // namespace

InetNeighbors::InetNeighbors(FirstReading first)
    : KernelTable(
          {neighbors::Interface, neighbors::Type, KeyField::variable(neighbors::Address, InetAddress::kMaxOctets)},
          {"IP neighbours", RTMGRP_NEIGH, requestInetNeighbors}, first) {}

void InetNeighbors::apply(const nlmsghdr& message, std::chrono::milliseconds now) {
    if (message.nlmsg_type != RTM_NEWNEIGH && message.nlmsg_type != RTM_DELNEIGH) return;
    const auto* header = payload<ndmsg>(message);
    if (header == nullptr || (header->ndm_flags & NTF_PROXY) != 0 || header->ndm_ifindex <= 0) return;
    if (header->ndm_family != AF_INET && header->ndm_family != AF_INET6) return;
    const Attributes<NDA_MAX> attributes(message, sizeof *header);
    const InetNeighborKey key{static_cast<uint32_t>(header->ndm_ifindex), InetAddress(attributes.octets(NDA_DST))};
    if (key.address.size != (header->ndm_family == AF_INET ? 4 : 16)) return;
    if (message.nlmsg_type == RTM_DELNEIGH || (header->ndm_state & kShown) == 0) {
        remove(key);
        return;
    }
    InetNeighbor entry{.state = header->ndm_state};
    const auto hundredths = static_cast<uint32_t>(now.count() / 10);
    const auto times = attributes.number<nda_cacheinfo>(NDA_CACHEINFO);
    entry.changed = hundredths - std::min(hundredths, times ? times->ndm_updated : 0);
    const auto linkAddress = attributes.octets(NDA_LLADDR);
    if (linkAddress.size() <= entry.linkAddress.size()) {
        std::ranges::copy(linkAddress, entry.linkAddress.begin());
        entry.size = static_cast<uint8_t>(linkAddress.size());
    }
    put(key, entry);
}

void InetNeighbors::writeEntry(const InetNeighborKey& key, const InetNeighbor& entry, tn::message& item) const {
    item.insert_u32(neighbors::Interface, key.ifindex);
    item.insert_u32(neighbors::Type, static_cast<uint32_t>(key.address.type));
    item.insert_raw(neighbors::Address, key.address.octets());
    if (entry.size > 0) item.insert_raw(neighbors::LinkAddress, std::span(entry.linkAddress).first(entry.size));
    item.insert_u32(neighbors::State, entry.state);
    item.insert_u32(neighbors::Changed, entry.changed);
}

}  // namespace hostd
