#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace wire {

using Bytes = std::vector<uint8_t>;
using Oid = std::vector<uint32_t>;

/// Universal and application tags, and the three exceptions (X.690; RFC 2578, 7.1; RFC 3416, 3).
constexpr uint8_t kInteger = 0x02, kOctets = 0x04, kNull = 0x05, kOid = 0x06, kSequence = 0x30;
constexpr uint8_t kNoSuchObject = 0x80, kEndOfMibView = 0x82;

/// Reads 1.3.6.1 and the like. Throws std::invalid_argument with a text for the user.
[[nodiscard]] Oid parseOid(const std::string& dotted);
[[nodiscard]] std::string dotted(const Oid& name);

/// INTEGER, or an application type whose content is a number.
[[nodiscard]] bool isNumber(uint8_t tag);

/// A strict cursor over BER: definite minimal lengths and whole OIDs only. All cursors into one message share `why`,
/// which stays empty until one of them refuses something; from then on that cursor is at its end.
class Reader {
  public:
    /// @param why  outlives the cursor and those that it gives
    Reader(std::span<const uint8_t> octets, std::string& why) : rest_(octets), why_(why) {}

    [[nodiscard]] std::span<const uint8_t> rest() const { return rest_; }
    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }
    [[nodiscard]] bool hasFailed() const { return !why_.empty(); }
    /// The next element's tag; 0 at the end.
    [[nodiscard]] uint8_t peek() const { return rest_.empty() ? 0 : rest_.front(); }

    /// Steps over the next element, which must have this tag; a cursor over its content, at its end on failure.
    Reader enter(uint8_t tag);
    /// Unsigned of at most 64 bits; an INTEGER's low 32 bits, sign extended.
    uint64_t number(uint8_t tag);
    uint32_t integer() { return static_cast<uint32_t>(number(kInteger)); }
    std::string octets(uint8_t tag = kOctets);
    Oid objectId();

    void refuse(const std::string& reason);
    /// Refuses octets that are left.
    void end(const char* of);

  private:
    std::span<const uint8_t> rest_;
    std::string& why_;
};

}  // namespace wire
