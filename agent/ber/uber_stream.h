#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>
#include <vector>

namespace snmp {

/// The octets of one message: the base of reader and writer.
class UberStream {
  public:
    UberStream() = default;
    /// Copies the octets: the caller may reuse its buffer at once.
    explicit UberStream(std::span<const uint8_t> octets) : data_(octets.begin(), octets.end()), size_(octets.size()) {}

    [[nodiscard]] size_t size() const { return size_; }
    /// Octets of memory allocated for the message.
    [[nodiscard]] size_t capacity() const { return data_.capacity(); }
    /// The message. Valid until it is changed.
    [[nodiscard]] std::span<const uint8_t> bytes() const { return {data_.data(), size_}; }
    /// Writes each octet as two hexadecimal digits and a space, sixteen to a line, and a line break at the end.
    void dump(std::ostream& stream) const;

  protected:
    std::vector<uint8_t> data_;  ///< the message; in a writer with unused octets after it
    size_t size_ = 0;            ///< octets of the message
};

}  // namespace snmp
