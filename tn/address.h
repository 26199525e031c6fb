#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sockaddr;

namespace tn {

/// An IPv6 address of 16 octets. An IPv4 address is stored in mapped form (::ffff:a.b.c.d, RFC 4291).
class IPAddr6 {
  public:
    constexpr IPAddr6() = default;
    explicit constexpr IPAddr6(const std::array<uint8_t, 16>& octets) : octets_(octets) {}
    /// The mapped form of an IPv4 address in host byte order.
    static IPAddr6 ofIPv4(uint32_t address);
    /// The address in an AF_INET or AF_INET6 socket address; empty for any other family.
    static IPAddr6 ofSockaddr(const sockaddr& address);
    /// Parses dotted IPv4 or RFC 4291 IPv6 text; nullopt if it is neither.
    static std::optional<IPAddr6> parse(std::string_view text);

    /// Whether it is a mapped IPv4 address.
    [[nodiscard]] bool isIPv4() const;
    /// The last four octets in host byte order, also of an address that isn't IPv4.
    [[nodiscard]] uint32_t getIPv4() const;
    /// Whether it is the unspecified address, ::.
    [[nodiscard]] bool empty() const { return *this == IPAddr6(); }
    [[nodiscard]] const std::array<uint8_t, 16>& octets() const { return octets_; }
    [[nodiscard]] std::array<uint8_t, 16>& octets() { return octets_; }
    /// Text that parse() reads: dotted for a mapped IPv4 address, else as RFC 5952.
    [[nodiscard]] std::string str() const;

    friend auto operator<=>(const IPAddr6&, const IPAddr6&) = default;  // NOLINT(modernize-use-nullptr): a false alarm

  private:
    std::array<uint8_t, 16> octets_{};
};

/// The addresses that agree with one address in all bits of a 128-bit mask. IPv4 prefixes are stored in mapped form:
/// 0.0.0.0/0 contains every IPv4 address and no IPv6 address; ::/0 contains both.
class IPPrefix6 {
  public:
    IPPrefix6() = default;  ///< ::/0
    /// Address and mask are in host byte order. The mask may be non-contiguous.
    static IPPrefix6 ofIPv4(uint32_t address, uint32_t mask);
    /// @param length  0 to 128; more counts as 128
    static IPPrefix6 ofIPv6(const IPAddr6& address, uint32_t length);
    /// Parses "192.0.2.0/24", "192.0.2.0/255.255.255.0", "2001:db8::/32" or a bare address, which is a prefix of that
    /// address alone. nullopt for any other text.
    static std::optional<IPPrefix6> parse(std::string_view text);

    /// Whether the prefix contains this address.
    [[nodiscard]] bool has(const IPAddr6& address) const;
    /// Whether the prefix contains only IPv4 addresses.
    [[nodiscard]] bool isIPv4() const;
    /// The address as given: bits outside the mask may be set.
    [[nodiscard]] const IPAddr6& address() const { return address_; }
    /// The last 32 bits of the mask, in host byte order: the mask of an IPv4 prefix.
    [[nodiscard]] uint32_t mask4() const { return mask_.getIPv4(); }
    /// Number of leading one bits of the 128-bit mask: for an IPv4 prefix, its length plus 96.
    [[nodiscard]] uint32_t length() const;
    /// ADDRESS/LENGTH, where LENGTH is at most 32 for an IPv4 prefix; ADDRESS/MASK for a non-contiguous IPv4 mask.
    [[nodiscard]] std::string str() const;

    friend bool operator==(const IPPrefix6&, const IPPrefix6&) = default;

  private:
    IPAddr6 address_;
    IPAddr6 mask_;
};

}  // namespace tn
