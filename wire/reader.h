#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace wire {

using Bytes = std::vector<uint8_t>;
using Oid = std::vector<uint32_t>;

/// Tags (X.690), and the first and last of the three exceptions (RFC 3416, 3).
constexpr uint8_t kInteger = 0x02, kOctets = 0x04, kNull = 0x05, kOid = 0x06, kSequence = 0x30;
constexpr uint8_t kNoSuchObject = 0x80, kEndOfMibView = 0x82;

/// Parses an OID such as "1.3.6.1". Throws std::invalid_argument with a text for the user.
[[nodiscard]] Oid parseOid(const std::string& dotted);
[[nodiscard]] std::string dotted(const Oid& name);

/// Whether it is the tag of INTEGER or of an application type whose content is a number (RFC 2578, 7.1).
[[nodiscard]] bool isNumber(uint8_t tag);

/// A strict cursor over BER, which accepts only definite minimal lengths and complete OIDs. A cursor that refuses
/// something is at its end from then on: its later operations return 0 or empty. All cursors of a message share `why`,
/// the reason of the first refusal.
class Reader {
  public:
    /// @param why  empty, or the reason of an earlier failure; must outlive this cursor and those from enter()
    Reader(std::span<const uint8_t> octets, std::string& why) : rest_(octets), why_(why) {}

    [[nodiscard]] std::span<const uint8_t> rest() const { return rest_; }
    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }
    [[nodiscard]] bool hasFailed() const { return !why_.empty(); }
    /// The tag of the next element; 0 at the end.
    [[nodiscard]] uint8_t peek() const { return rest_.empty() ? 0 : rest_.front(); }

    /// Skips the next element, which must have this tag. @return a cursor over its content, at its end on failure
    Reader enter(uint8_t tag);
    /// Reads a number of at most 64 bits. For INTEGER it returns the low 32 bits, two's complement.
    uint64_t number(uint8_t tag);
    uint32_t integer() { return static_cast<uint32_t>(number(kInteger)); }
    std::string octets(uint8_t tag = kOctets);
    Oid objectId();

    /// Puts this cursor at its end, and sets `why` unless it has a reason already.
    void refuse(const std::string& reason);
    /// Refuses octets that are left. @param of  the element, for the reason: "the PDU"
    void end(const char* of);

  private:
    std::span<const uint8_t> rest_;
    std::string& why_;
};

}  // namespace wire
