#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/uber_stream.h"

namespace snmp {

struct VariableBinding;

/// Builds one message as BER. Values are appended; a constructed value gets a length of one octet that is widened when
/// it is closed. A value that can't be encoded isn't written but logged on standard output, and the message continues
/// without it: nothing here fails.
class OutStream : public UberStream {
  public:
    OutStream();
    /// Starts over with an empty message; the memory of the last one is used again.
    void clear();

    void startSeq(uint8_t tag);
    /// Closes the innermost open value. One of 65,536 octets or more keeps the length 0.
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
    /// Refused: fewer than two sub-identifiers, a first one above 2, a second one above 39 whatever the first.
    void addOID(std::span<const unsigned int> oid, uint8_t tag);
    void addNull(uint8_t tag);
    /// A BIT STRING whose content starts with the count of unused bits. Refused: no content, a count above 7.
    void addBits(const unsigned char* octets, unsigned int n, uint8_t tag);

    /// The PDU's error-status: the first call writes the field, later calls change it in place.
    void addErrorStatus(uint8_t status);
    /// The PDU's error-index likewise. An index above 127 widens the field, and what follows moves.
    void addErrorIndex(unsigned int index);

    /// A value given as text, as trap settings hold it: an OID, an OCTET STRING, NULL (the text is ignored), an
    /// IpAddress (what is no dotted address becomes 255.255.255.255), or a number as INTEGER, Counter32, TimeTicks or
    /// UInteger32. Any other type writes nothing.
    void addByType(const std::string& text, uint8_t tag);
    /// A whole varbind, its value by addByType.
    void addVarBind(const VariableBinding& binding);

    /// Whether the message, once closed, is larger than a UDP datagram carries.
    [[nodiscard]] bool hasOverflowed() const;
    /// Cuts the output back to this size, but never in front of the content of the innermost open value.
    void truncate(size_t position);

  protected:
    /// Appends n octets of any content. @return the first one, valid until the next octet is added
    uint8_t* grow(size_t n);

    std::vector<size_t> seqStarts_;  ///< first content octet of each open value, innermost last
    size_t digestPos_ = 0;           ///< first octet of a v3 digest; 0 while not written
    size_t reserved_ = 0;            ///< octets that encryption will still add

  private:
    uint8_t* startValue(size_t contentLen, uint8_t tag);
    void addUnsigned(uint64_t value, uint8_t tag);
    void insert(size_t at, size_t n);

    size_t errorStatusPos_ = 0;  ///< its content octet; 0 while not written
    size_t errorIndexPos_ = 0;   ///< its first content octet; 0 while not written
};

}  // namespace snmp
