#include "hostd/inet/ip_family.h"

#include <array>

#include "hostd/netlink/ipv4_mask.h"

namespace hostd {

uint32_t Ipv4::address(std::span<const uint8_t> octets, uint32_t) {
    if (octets.size() != 4) return 0;
    uint32_t address = 0;
    for (const uint8_t octet : octets) address = address << 8 | octet;
    return address;
}

uint32_t Ipv4::network(std::span<const uint8_t> octets, uint8_t length, uint32_t link) {
    return address(octets, link) & maskOf(length);
}

InetAddress Ipv6::address(std::span<const uint8_t> octets, uint32_t link) {
    return octets.size() == 16 ? InetAddress(octets, link) : InetAddress();
}

InetAddress Ipv6::network(std::span<const uint8_t> octets, uint8_t length, uint32_t link) {
    std::array<uint8_t, 16> network{};
    if (octets.size() == network.size()) std::ranges::copy(octets, network.begin());
    for (size_t bit = length; bit < network.size() * 8; bit = (bit / 8 + 1) * 8)
        network[bit / 8] = static_cast<uint8_t>(network[bit / 8] & ~(0xff >> bit % 8));
    return InetAddress(network, link);
}

}  // namespace hostd
