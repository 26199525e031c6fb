#include "hostd/inet/addresses.h"

#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <optional>

#include "contracts/addresses.h"
#include "hostd/netlink/ipv4_mask.h"

namespace hostd {

namespace addresses = contracts::addresses;

namespace {

constexpr uint32_t kBits = 32;

void requestAddresses(NetlinkRequests& requests) {
    requests.add<ifaddrmsg>(RTM_GETADDR, NLM_F_DUMP).ifa_family = AF_INET;
    requests.finish();
}

/// Parses an RTM_NEWADDR or RTM_DELADDR. Nothing if the address isn't IPv4 or the message is malformed.
std::optional<AddressKey> readAddress(const nlmsghdr& message) {
    const auto* header = payload<ifaddrmsg>(message);
    if (header == nullptr || header->ifa_family != AF_INET || header->ifa_prefixlen > kBits) return {};
    const Attributes<IFA_MAX> attributes(message, sizeof *header);
    const auto peer = attributes.number<uint32_t>(IFA_ADDRESS);
    const auto local = attributes.number<uint32_t>(IFA_LOCAL);
    if (!local && !peer) return {};
    return AddressKey{ntohl(local.value_or(*peer)), header->ifa_index, header->ifa_prefixlen,
                      ntohl(peer.value_or(*local))};
}

}  // namespace

RowKey AddressKey::row() const {
    RowKey row(4);
    row.putU32(0, address);
    return row;
}

AddressKey AddressKey::least(const RowKey& row) { return {.address = row.u32(0)}; }

Addresses::Addresses() : KernelTable({addresses::Address}, {"addresses", RTMGRP_IPV4_IFADDR, requestAddresses}) {}

void Addresses::apply(const nlmsghdr& message, std::chrono::milliseconds) {
    if (message.nlmsg_type != RTM_NEWADDR && message.nlmsg_type != RTM_DELADDR) return;
    const auto key = readAddress(message);
    if (!key) return;
    if (message.nlmsg_type == RTM_NEWADDR)
        put(*key, {});
    else
        remove(*key);
}

void Addresses::writeEntry(const AddressKey& key, const std::monostate&, tn::message& item) const {
    item.insert_be32(addresses::Address, key.address);
    item.insert_be32(addresses::Mask, maskOf(key.prefix));
    item.insert_u32(addresses::Interface, key.ifindex);
}

}  // namespace hostd
