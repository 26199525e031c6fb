#include "hostd/inet/inet_addresses.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "contracts/inet.h"

namespace hostd {

namespace inet_addresses = contracts::inet_addresses;
namespace prefixes = contracts::inet_prefixes;

namespace {

constexpr uint8_t kOfAdvertisement = 2;  // IFAPROT_KERNEL_RA, since Linux 5.18
constexpr uint8_t kLinkLocal = 3;        // IFAPROT_KERNEL_LL
constexpr uint32_t kProtocol = 11;       // IFA_PROTO

void requestInetAddresses(NetlinkRequests& requests) {
    requests.add<ifaddrmsg>(RTM_GETADDR, NLM_F_DUMP);
    requests.finish();
}

NetlinkFollower::Subject subjectOf(const char* what) {
    return {what, RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR, requestInetAddresses};
}

uint32_t originOf(uint32_t flags, uint8_t protocol) {
    if ((flags & (IFA_F_TEMPORARY | IFA_F_STABLE_PRIVACY)) != 0) return inet_addresses::origin::Random;
    if (protocol == kOfAdvertisement || protocol == kLinkLocal) return inet_addresses::origin::LinkLayer;
    return (flags & IFA_F_PERMANENT) != 0 ? inet_addresses::origin::Manual : inet_addresses::origin::Dhcp;
}

/// The address with all bits after its prefix cleared.
InetAddress networkOf(InetAddress address, uint32_t length) {
    const size_t octets = address.type == InetAddress::Type::IPv4 ? 4 : 16;
    for (size_t i = 0; i < octets; ++i) {
        const uint32_t bits = length > 8 * i ? std::min<uint32_t>(length - static_cast<uint32_t>(8 * i), 8) : 0;
        address.all[i] &= static_cast<uint8_t>(0xff00 >> bits);
    }
    return address;
}

}  // namespace

std::optional<InterfaceAddress> InterfaceAddress::read(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWADDR && message.nlmsg_type != RTM_DELADDR) return {};
    const auto* header = payload<ifaddrmsg>(message);
    if (header == nullptr) return {};
    const bool isIPv4 = header->ifa_family == AF_INET;
    if (!isIPv4 && header->ifa_family != AF_INET6) return {};
    const Attributes<kProtocol> attributes(message, sizeof *header);
    const auto local = attributes.octets(IFA_LOCAL);
    const auto address = local.empty() ? attributes.octets(IFA_ADDRESS) : local;
    if (address.size() != (isIPv4 ? 4U : 16U) || header->ifa_prefixlen > address.size() * 8) return {};

    InterfaceAddress one{.address = InetAddress(address, header->ifa_index), .network = {}};
    one.ifindex = header->ifa_index;
    one.length = header->ifa_prefixlen;
    one.network = networkOf(one.address, one.length);
    one.flags = attributes.number<uint32_t>(IFA_FLAGS).value_or(header->ifa_flags);
    const uint8_t protocol = attributes.number<uint8_t>(kProtocol).value_or(0);
    one.origin = originOf(one.flags, protocol);
    one.isAdvertised = protocol == kOfAdvertisement;
    if (const auto times = attributes.number<ifa_cacheinfo>(IFA_CACHEINFO)) {
        one.created = times->cstamp;
        one.changed = times->tstamp;
        one.preferred = times->ifa_prefered;
        one.valid = times->ifa_valid;
    }
    return one;
}

InetAddresses::InetAddresses(FirstReading first)
    : KernelTable({inet_addresses::Type, KeyField::variable(inet_addresses::Address, InetAddress::kMaxOctets)},
                  subjectOf("IP addresses"), first) {}

void InetAddresses::apply(const nlmsghdr& message, std::chrono::milliseconds) {
    const auto one = InterfaceAddress::read(message);
    if (!one) return;
    const InetAddressKey key{one->address, one->ifindex, one->length};
    if (message.nlmsg_type == RTM_NEWADDR)
        put(key, *one);
    else
        remove(key);
}

void InetAddresses::writeEntry(const InetAddressKey&, const InterfaceAddress& entry, tn::message& item) const {
    item.insert_u32(inet_addresses::Type, static_cast<uint32_t>(entry.address.type));
    item.insert_raw(inet_addresses::Address, entry.address.octets());
    item.insert_u32(inet_addresses::Interface, entry.ifindex);
    item.insert_u32(inet_addresses::Length, entry.length);
    item.insert_raw(inet_addresses::Network, entry.network.octets());
    item.insert_u32(inet_addresses::Flags, entry.flags);
    item.insert_u32(inet_addresses::Origin, entry.origin);
    item.insert_u32(inet_addresses::Created, entry.created);
    item.insert_u32(inet_addresses::Changed, entry.changed);
}

InetPrefixes::InetPrefixes(FirstReading first)
    : KernelTable({prefixes::Interface, prefixes::Type, KeyField::variable(prefixes::Network, InetAddress::kMaxOctets),
                   prefixes::Length},
                  subjectOf("IP networks"), first) {}

void InetPrefixes::apply(const nlmsghdr& message, std::chrono::milliseconds) {
    const auto one = InterfaceAddress::read(message);
    if (!one) return;
    const InetPrefixKey key{one->ifindex, one->network, one->length, one->address};
    if (message.nlmsg_type == RTM_NEWADDR)
        put(key, *one);
    else
        remove(key);
}

void InetPrefixes::writeEntry(const InetPrefixKey&, const InterfaceAddress& entry, tn::message& item) const {
    item.insert_u32(prefixes::Interface, entry.ifindex);
    item.insert_u32(prefixes::Type, static_cast<uint32_t>(entry.network.type));
    item.insert_raw(prefixes::Network, entry.network.octets());
    item.insert_u32(prefixes::Length, entry.length);
    item.insert_u32(prefixes::Origin, entry.origin);
    if (entry.isAdvertised) item.insert_bool(prefixes::Advertised, true);
    item.insert_u32(prefixes::Preferred, entry.preferred);
    item.insert_u32(prefixes::Valid, entry.valid);
}

}  // namespace hostd
