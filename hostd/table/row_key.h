#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tn/message.h"

namespace hostd {

/// One of the fields that distinguish a table's rows. It occupies width() octets of a row's key.
class KeyField {
  public:
    // Implicit, so that a table's key can be written as a list of field ids.
    constexpr KeyField(tn::u32_id id) : KeyField(Kind::U32, id.number, 4) {}       // NOLINT
    constexpr KeyField(tn::be32_id id) : KeyField(Kind::Be32, id.number, 4) {}     // NOLINT
    constexpr KeyField(tn::addr6_id id) : KeyField(Kind::Addr6, id.number, 16) {}  // NOLINT
    /// @param width  octets of every value of the field, such as 6 for a MAC address
    constexpr KeyField(tn::raw_id id, size_t width) : KeyField(Kind::Raw, id.number, width) {}
    /// A field whose values have different lengths: octets or a text. Its part of a key is the length, then the octets
    /// and zeros, so that a shorter value sorts before a longer one, as in an SNMP index.
    /// @param most  octets of the longest value, at most 254
    static constexpr KeyField variable(tn::raw_id id, size_t most) {
        return {Kind::Raw, id.number, 1 + most, /*isVariable=*/true};
    }
    static constexpr KeyField variable(tn::string_id id, size_t most) {
        return {Kind::Text, id.number, 1 + most, /*isVariable=*/true};
    }

    [[nodiscard]] constexpr size_t width() const { return width_; }  ///< octets
    /// True if the message contains this field.
    [[nodiscard]] bool isIn(const tn::message& m) const;
    /// Copies the field's value from a message into its part of a key; zeros if the message lacks it. False when a raw
    /// value has another width: it is then cut, or padded with zeros. False, too, when a value of variable length is
    /// too long: it then sorts after all others.
    /// @param place  the part of the key, width() octets
    bool read(const tn::message& m, std::span<uint8_t> place) const;
    /// Inserts the value from its part of a key, width() octets, into a message.
    void write(std::span<const uint8_t> place, tn::message& m) const;

  private:
    /// The field's kind in messages.
    enum class Kind { U32, Be32, Addr6, Raw, Text };
    constexpr KeyField(Kind kind, uint32_t number, size_t width, bool isVariable = false)
        : kind_(kind), isVariable_(isVariable), number_(number), width_(width) {}
    /// The value of a raw field or a text.
    [[nodiscard]] std::vector<uint8_t> octetsIn(const tn::message& m) const;

    Kind kind_;
    bool isVariable_;  ///< its part of a key begins with the value's length
    uint32_t number_;
    size_t width_;
};

/// The sort key of a table's row: the octets of its key fields, concatenated. Numbers have their most significant octet
/// first, so that keys sort as the SNMP indexes of their rows do.
class RowKey {
  public:
    static constexpr size_t kMaxOctets = 64;  ///< two addresses with types and lengths, and three numbers

    /// A key of zeros.
    /// @param size  octets, at most kMaxOctets
    explicit RowKey(size_t size = 0) : size_(size) {}
    /// The key of a row in a table with ids.
    static RowKey ofId(uint32_t id) {
        RowKey key(4);
        key.putU32(0, id);
        return key;
    }

    [[nodiscard]] size_t size() const { return size_; }  ///< octets
    /// Appends octets, which are 0.
    void grow(size_t octets) { size_ += octets; }
    /// A part of the key, valid as long as this object.
    /// @param at     octets before the part
    /// @param width  octets; the part must be inside the key, which isn't checked
    [[nodiscard]] std::span<uint8_t> part(size_t at, size_t width) { return {octets_.data() + at, width}; }
    [[nodiscard]] std::span<const uint8_t> part(size_t at, size_t width) const { return {octets_.data() + at, width}; }
    /// The number in the four octets that begin at `at`.
    [[nodiscard]] uint32_t u32(size_t at) const;
    void putU32(size_t at, uint32_t value);

    /// The order of the octets, for keys of one size.
    friend bool operator<(const RowKey& a, const RowKey& b) { return a.octets_ < b.octets_; }

    /// True if both keys have the same leading octets.
    /// @param octets  number of octets to compare
    [[nodiscard]] bool sharesFirst(size_t octets, const RowKey& other) const;
    /// The lowest key of this size that is above all keys with the same leading octets as this one. Nothing when there
    /// is none, because these octets are all 0xff.
    /// @param octets  number of leading octets
    [[nodiscard]] std::optional<RowKey> pastFirst(size_t octets) const;

  private:
    std::array<uint8_t, kMaxOctets> octets_{};
    size_t size_;
};

/// Inserts all fields of a row's key into a message.
void writeKey(std::span<const KeyField> fields, const RowKey& key, tn::message& m);

}  // namespace hostd
