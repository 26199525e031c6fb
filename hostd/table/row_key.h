#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tn/message.h"

namespace hostd {

/// One of the fields that distinguish a table's rows.
class KeyField {
  public:
    // Implicit: a table's key is written as a list of its fields' ids.
    constexpr KeyField(tn::u32_id id) : form_(Form::U32), number_(id.number), width_(4) {}       // NOLINT
    constexpr KeyField(tn::be32_id id) : form_(Form::Be32), number_(id.number), width_(4) {}     // NOLINT
    constexpr KeyField(tn::addr6_id id) : form_(Form::Addr6), number_(id.number), width_(16) {}  // NOLINT
    constexpr KeyField(tn::raw_id id, size_t width) : form_(Form::Raw), number_(id.number), width_(width) {}

    [[nodiscard]] constexpr size_t width() const { return width_; }  ///< octets
    [[nodiscard]] bool isIn(const tn::message& m) const;
    /// Reads the field into its part of a key, which has width() octets. False when a raw value has another width: it
    /// is then cut, or filled up with zeros.
    bool read(const tn::message& m, std::span<uint8_t> place) const;
    /// Writes the field from its part of a key.
    void write(std::span<const uint8_t> place, tn::message& m) const;

  private:
    enum class Form { U32, Be32, Addr6, Raw };
    Form form_;
    uint32_t number_;
    size_t width_;
};

/// The sort key of a table's row: the octets of its key fields one after the other, each number with its most
/// significant octet first, so that keys compare as their SNMP indexes do.
class RowKey {
  public:
    static constexpr size_t kMaxOctets = 40;  ///< two IPv6 addresses and two numbers

    /// A key of zeros.
    /// @param size  octets, at most kMaxOctets
    explicit RowKey(size_t size = 0) : size_(size) {}
    /// The key of a row that is known by its id alone.
    static RowKey ofId(uint32_t id) {
        RowKey key(4);
        key.putU32(0, id);
        return key;
    }

    [[nodiscard]] size_t size() const { return size_; }  ///< octets
    /// A part of the key; `at` and `width` are octets and must lie inside it.
    [[nodiscard]] std::span<uint8_t> part(size_t at, size_t width) { return {octets_.data() + at, width}; }
    [[nodiscard]] std::span<const uint8_t> part(size_t at, size_t width) const { return {octets_.data() + at, width}; }
    [[nodiscard]] uint32_t u32(size_t at) const;
    void putU32(size_t at, uint32_t value);

    [[nodiscard]] bool sharesFirst(size_t octets, const RowKey& other) const;
    /// The lowest key, of the same size, after all that share this one's first octets; nothing when there is none.
    [[nodiscard]] std::optional<RowKey> pastFirst(size_t octets) const;

  private:
    std::array<uint8_t, kMaxOctets> octets_{};
    size_t size_;
};

}  // namespace hostd
