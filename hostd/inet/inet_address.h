#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstdint>
#include <span>

#include "hostd/table/row_key.h"
#include "tn/address.h"

namespace hostd {

/// An address with its type, as in the indexes of tables (INET-ADDRESS-MIB, RFC 4001). Addresses are ordered as there:
/// by type, length and octets.
struct InetAddress {
    enum class Type : uint8_t { Unknown = 0, IPv4 = 1, IPv6 = 2, IPv6z = 4 };
    static constexpr size_t kMaxOctets = 20;

    Type type = Type::Unknown;
    uint8_t size = 0;  ///< number of octets
    std::array<uint8_t, kMaxOctets> all{};

    InetAddress() = default;  ///< unknown, without octets
    /// @param address  4 octets of an IPv4 or 16 of an IPv6 address; with another length, the address is unknown
    /// @param link     ifindex: the zone of an IPv6 address that is local to a link; 0 if it isn't known
    explicit InetAddress(std::span<const uint8_t> address, uint32_t link = 0) {
        if (address.size() != 4 && address.size() != 16) return;
        std::ranges::copy(address, all.begin());
        size = static_cast<uint8_t>(address.size());
        type = size == 4 ? Type::IPv4 : Type::IPv6;
        if (link == 0 || !isLinkLocal()) return;
        type = Type::IPv6z;
        for (int shift = 24; shift >= 0; shift -= 8) all[size++] = static_cast<uint8_t>(link >> shift);
    }
    [[nodiscard]] std::span<const uint8_t> octets() const { return std::span(all).first(size); }
    /// Whether it is in fe80::/10 (RFC 4291).
    [[nodiscard]] bool isLinkLocal() const { return size >= 16 && all[0] == 0xfe && (all[1] & 0xc0) == 0x80; }
    friend auto operator<=>(const InetAddress&,
                            const InetAddress&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

constexpr size_t kAddressOctets = 4 + 1 + InetAddress::kMaxOctets;  ///< that type and octets have in a key

/// The address in the part of a key that begins at `at`. It needn't be a valid one, but is in the same order.
inline InetAddress addressAt(const RowKey& key, size_t at) {
    InetAddress address;
    address.type = static_cast<InetAddress::Type>(std::min<uint32_t>(key.u32(at), UINT8_MAX));
    const auto place = key.part(at + 4, 1 + InetAddress::kMaxOctets);
    address.size = static_cast<uint8_t>(std::min<size_t>(place[0], InetAddress::kMaxOctets));
    std::ranges::copy(place.subspan(1), address.all.begin());
    return address;
}

/// Composes the key of a row, field by field in their order.
class KeyComposer {
  public:
    KeyComposer& u32(uint32_t value) {
        room(4);
        key_.putU32(key_.size() - 4, value);
        return *this;
    }
    /// Two fields: the type, and the octets as a KeyField of variable length.
    KeyComposer& address(const InetAddress& address) {
        u32(static_cast<uint32_t>(address.type));
        room(1 + InetAddress::kMaxOctets);
        const auto place = key_.part(key_.size() - 1 - InetAddress::kMaxOctets, 1 + InetAddress::kMaxOctets);
        place[0] = address.size;
        std::ranges::copy(address.octets(), place.begin() + 1);
        return *this;
    }
    [[nodiscard]] const RowKey& key() const { return key_; }

  private:
    void room(size_t octets) { key_.grow(octets); }
    RowKey key_;
};

}  // namespace hostd
