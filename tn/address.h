#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct sockaddr;

namespace tn {

/// An IPv6 address of 16 octets; an IPv4 address is held in its mapped form (::ffff:a.b.c.d, RFC 4291).
class IPAddr6 {
  public:
    constexpr IPAddr6() = default;
    explicit constexpr IPAddr6(const std::array<uint8_t, 16>& octets) : octets_(octets) {}
    /// @param address  first octet in the most significant byte
    static IPAddr6 ofIPv4(uint32_t address);
    /// Reads the address of an AF_INET or AF_INET6 socket address; any other family gives the empty address.
    static IPAddr6 ofSockaddr(const sockaddr& address);
    /// Parses dotted IPv4 or RFC 4291 IPv6 text; nothing when it is neither.
    static std::optional<IPAddr6> parse(std::string_view text);

    /// Whether it is a mapped IPv4 address.
    [[nodiscard]] bool isIPv4() const;
    /// The last four octets, first in the most significant byte, whether it is an IPv4 address or not.
    [[nodiscard]] uint32_t getIPv4() const;
    /// Whether it is the unspecified address, ::.
    [[nodiscard]] bool empty() const { return *this == IPAddr6(); }
    [[nodiscard]] const std::array<uint8_t, 16>& octets() const { return octets_; }
    [[nodiscard]] std::array<uint8_t, 16>& octets() { return octets_; }
    /// Text that parse() reads: dotted for a mapped IPv4 address, else as RFC 5952.
    [[nodiscard]] std::string str() const;

    friend auto operator<=>(const IPAddr6&, const IPAddr6&) = default;

  private:
    std::array<uint8_t, 16> octets_{};
};

/// A set of addresses given by an address and a mask of 128 bits. IPv4 prefixes are held in mapped form, so 0.0.0.0/0
/// contains every IPv4 source and no IPv6 source; ::/0 contains both.
class IPPrefix6 {
  public:
    IPPrefix6() = default;  ///< ::/0
    /// @param mask  as a mask, not a length; it may have holes
    static IPPrefix6 ofIPv4(uint32_t address, uint32_t mask);
    /// @param length  0 to 128; more counts as 128
    static IPPrefix6 ofIPv6(const IPAddr6& address, uint32_t length);
    /// Parses "192.0.2.0/24", "192.0.2.0/255.255.255.0", "2001:db8::/32" or a bare address; nothing when it is none.
    static std::optional<IPPrefix6> parse(std::string_view text);

    /// Whether the address agrees in all bits that the mask selects.
    [[nodiscard]] bool has(const IPAddr6& address) const;
    /// Whether it holds IPv4 addresses only.
    [[nodiscard]] bool isIPv4() const;
    /// As it was given: bits outside the mask may be set.
    [[nodiscard]] const IPAddr6& address() const { return address_; }
    /// The last 32 bits of the mask: for an IPv4 prefix, its own mask.
    [[nodiscard]] uint32_t mask4() const { return mask_.getIPv4(); }
    /// Leading one bits of the 128-bit mask: 96 more than its own length for an IPv4 prefix.
    [[nodiscard]] uint32_t length() const;
    /// ADDRESS/LENGTH, with an IPv4 prefix's own length; ADDRESS/MASK for an IPv4 mask with holes.
    [[nodiscard]] std::string str() const;

    friend bool operator==(const IPPrefix6&, const IPPrefix6&) = default;

  private:
    IPAddr6 address_;
    IPAddr6 mask_;
};

}  // namespace tn
