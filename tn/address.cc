#include "tn/address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>

namespace tn {

namespace {

constexpr size_t kMappedAt = 12;  // octets before the IPv4 part of a mapped address
constexpr std::array<uint8_t, kMappedAt> kMappedPrefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

/// A mask with the first `length` bits set.
IPAddr6 maskOfLength(uint32_t length) {
    std::array<uint8_t, 16> octets{};
    for (size_t i = 0; i < octets.size(); ++i) {
        const size_t ones = std::clamp<size_t>(length, 8 * i, 8 * i + 8) - 8 * i;
        octets[i] = static_cast<uint8_t>(0xff00U >> ones);
    }
    return IPAddr6(octets);
}

std::string text6(const IPAddr6& address) {
    char text[INET6_ADDRSTRLEN] = {};
    inet_ntop(AF_INET6, address.octets().data(), text, sizeof text);
    return text;
}

std::optional<uint32_t> parseNumber(std::string_view text, uint32_t greatest) {
    uint32_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size() || number > greatest) return std::nullopt;
    return number;
}

}  // namespace

IPAddr6 IPAddr6::ofIPv4(uint32_t address) {
    IPAddr6 made;
    std::copy(kMappedPrefix.begin(), kMappedPrefix.end(), made.octets_.begin());
    for (size_t i = 0; i < 4; ++i) made.octets_[kMappedAt + i] = static_cast<uint8_t>(address >> (24 - 8 * i));
    return made;
}

IPAddr6 IPAddr6::ofSockaddr(const sockaddr& address) {
    if (address.sa_family == AF_INET) {
        sockaddr_in in{};
        std::memcpy(&in, &address, sizeof in);
        return ofIPv4(ntohl(in.sin_addr.s_addr));
    }
    IPAddr6 made;
    if (address.sa_family == AF_INET6) {
        sockaddr_in6 in6{};
        std::memcpy(&in6, &address, sizeof in6);
        std::memcpy(made.octets_.data(), &in6.sin6_addr, made.octets_.size());
    }
    return made;
}

std::optional<IPAddr6> IPAddr6::parse(std::string_view text) {
    const std::string terminated(text);
    if (terminated.find('\0') != std::string::npos) return std::nullopt;
    in_addr v4{};
    if (inet_pton(AF_INET, terminated.c_str(), &v4) == 1) return ofIPv4(ntohl(v4.s_addr));
    IPAddr6 made;
    if (inet_pton(AF_INET6, terminated.c_str(), made.octets_.data()) == 1) return made;
    return std::nullopt;
}

bool IPAddr6::isIPv4() const { return std::equal(kMappedPrefix.begin(), kMappedPrefix.end(), octets_.begin()); }

uint32_t IPAddr6::getIPv4() const {
    uint32_t address = 0;
    for (size_t i = kMappedAt; i < octets_.size(); ++i) address = address << 8 | octets_[i];
    return address;
}

std::string IPAddr6::str() const {
    if (!isIPv4()) return text6(*this);
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &octets_[kMappedAt], text, sizeof text);
    return text;
}

IPPrefix6 IPPrefix6::ofIPv4(uint32_t address, uint32_t mask) {
    IPPrefix6 made;
    made.address_ = IPAddr6::ofIPv4(address);
    made.mask_ = IPAddr6::ofIPv4(mask);
    std::fill_n(made.mask_.octets().begin(), kMappedAt, uint8_t{0xff});
    return made;
}

IPPrefix6 IPPrefix6::ofIPv6(const IPAddr6& address, uint32_t length) {
    IPPrefix6 made;
    made.address_ = address;
    made.mask_ = maskOfLength(std::min(length, 128U));
    return made;
}

std::optional<IPPrefix6> IPPrefix6::parse(std::string_view text) {
    const size_t slash = text.find('/');
    const std::string_view host = text.substr(0, slash);
    const std::optional<IPAddr6> address = IPAddr6::parse(host);
    if (!address) return std::nullopt;
    if (slash == std::string_view::npos) return ofIPv6(*address, 128);

    const std::string_view size = text.substr(slash + 1);
    const bool dotted = host.find(':') == std::string_view::npos;
    if (const auto length = parseNumber(size, dotted ? 32 : 128)) {
        return ofIPv6(*address, dotted ? 96 + *length : *length);
    }
    const std::optional<IPAddr6> mask = IPAddr6::parse(size);
    if (!dotted || !mask || size.find(':') != std::string_view::npos) return std::nullopt;
    return ofIPv4(address->getIPv4(), mask->getIPv4());
}

bool IPPrefix6::has(const IPAddr6& address) const {
    for (size_t i = 0; i < mask_.octets().size(); ++i) {
        if (((address.octets()[i] ^ address_.octets()[i]) & mask_.octets()[i]) != 0) return false;
    }
    return true;
}

bool IPPrefix6::isIPv4() const {
    // ::ffff:0:0/64 holds more than IPv4, although its address is a mapped one.
    return address_.isIPv4() && length() >= 8 * kMappedAt;
}

uint32_t IPPrefix6::length() const {
    uint32_t ones = 0;
    for (const uint8_t octet : mask_.octets()) {
        ones += static_cast<uint32_t>(std::countl_one(octet));
        if (octet != 0xff) break;
    }
    return ones;
}

std::string IPPrefix6::str() const {
    if (!isIPv4()) return text6(address_) + "/" + std::to_string(length());
    const auto ones = static_cast<uint32_t>(std::countl_one(mask4()));
    const bool holes = static_cast<uint32_t>(std::popcount(mask4())) != ones;
    return address_.str() + "/" + (holes ? IPAddr6::ofIPv4(mask4()).str() : std::to_string(ones));
}

}  // namespace tn
