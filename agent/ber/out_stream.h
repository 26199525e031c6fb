#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/tags.h"
#include "agent/ber/uber_stream.h"

namespace snmp {

struct VariableBinding;

/// Builds one message as BER. Values are appended. A constructed value is opened with a length of one octet, which is
/// widened when the value is closed. Nothing here fails: a value that can't be encoded is logged on standard output and
/// left out, and the message continues without it.
class OutStream : public UberStream {
  public:
    OutStream();
    /// Starts over with an empty message. Reuses the memory of the last one.
    void clear();

    /// Opens a constructed value.
    void startSeq(uint8_t tag);
    /// Closes the innermost open value. If its content has 65,536 octets or more, that is logged, and its length
    /// remains 0: the message is then invalid.
    void endSeq();

    /// A definite length; only its low 16 bits are written.
    void addLen(unsigned int n);
    /// A 32-bit number: signed when the tag is INTEGER, else unsigned.
    void add(unsigned int value, uint8_t tag);
    /// An unsigned 64-bit number.
    void add(unsigned long value, uint8_t tag);
    void add(unsigned long long value, uint8_t tag) { add(static_cast<unsigned long>(value), tag); }
    void add(std::string_view text, uint8_t tag);
    void add(const unsigned char* octets, unsigned int n, uint8_t tag);
    /// Left out: fewer than two sub-identifiers, a first one above 2, a second one above 39 (whatever the first is).
    void addOID(std::span<const unsigned int> oid, uint8_t tag);
    void addNull(uint8_t tag);
    /// A BIT STRING. The first octet is the count of unused bits. Left out: no octets, a count above 7.
    void addBits(const unsigned char* octets, unsigned int n, uint8_t tag);

    /// The PDU's error-status. The first call appends the field, later calls change it in place.
    void addErrorStatus(uint8_t status);
    /// The error-status that was added last; 0 before that.
    [[nodiscard]] uint8_t errorStatus() const { return errorStatusPos_ == 0 ? 0 : data_[errorStatusPos_]; }
    /// The PDU's error-index. The first call appends the field, later calls change it in place. An index above 127
    /// widens the field and moves the octets after it.
    void addErrorIndex(unsigned int index);

    /// A value given as text: an OID, an OCTET STRING, NULL (the text is ignored), an IpAddress (in dotted form;
    /// anything else becomes 255.255.255.255), or a decimal number as INTEGER, Counter32, TimeTicks or UInteger32. For
    /// any other tag, nothing is written or logged.
    void addByType(const std::string& text, uint8_t tag);
    /// A whole varbind, its value by addByType.
    void addVarBind(const VariableBinding& binding);

    /// Appends whole values that are encoded already.
    void append(std::span<const uint8_t> values);

    /// Limits the message to what its receiver accepts. Without it, the limit is kMaxMessage; it can't be higher.
    void setLimit(size_t octets) { limit_ = std::min(octets, kMaxMessage); }
    [[nodiscard]] size_t limit() const { return limit_; }
    /// Octets that can be added before the message exceeds its limit.
    [[nodiscard]] size_t room() const { return limit_ - std::min(limit_, closedSize()); }
    /// Whether the message will be larger than its limit, once its open values are closed and it is encrypted.
    [[nodiscard]] bool hasOverflowed() const { return closedSize() > limit_; }
    /// Cuts the output back to `position` octets, but not into or before the header of the innermost open value. An
    /// error-status or error-index that is cut off is appended anew by the next call.
    void truncate(size_t position);

  protected:
    /// Appends n octets with undefined content. @return the first one, valid until the next octet is appended
    uint8_t* grow(size_t n);

    std::vector<size_t> seqStarts_;  ///< position of each open value's content, innermost last
    size_t digestPos_ = 0;           ///< position of a v3 digest; 0 until it is written
    size_t reserved_ = 0;            ///< octets that encryption will add at most

  private:
    uint8_t* startValue(size_t contentLen, uint8_t tag);
    void addUnsigned(uint64_t value, uint8_t tag);
    void insert(size_t at, size_t n);
    [[nodiscard]] size_t closedSize() const;

    size_t limit_ = kMaxMessage;
    size_t errorStatusPos_ = 0;  ///< position of its content octet; 0 until it is written
    size_t errorIndexPos_ = 0;   ///< position of its first content octet; 0 until it is written
};

}  // namespace snmp
