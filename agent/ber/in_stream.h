#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/uber_stream.h"

namespace snmp {

/// A cursor over one received message, read as the subset of BER that SNMP uses (RFC 3417, 8).
///
/// Each getter steps over one tag without looking at it (compat: 33): the caller asks getType() first and decides. It
/// reads a length, then the content, and returns true with the cursor after the value. On failure it returns false,
/// leaves its result untouched, logs one line on standard output, and leaves the cursor where the failing step
/// stopped: the caller abandons the message. No read goes past the end of the data, whatever the lengths say; the ends
/// of entered values bound nothing but isSeqEnd() (compat: 34): the agent answers what its lenient peers send.
class InStream : public UberStream {
  public:
    /// A saved cursor.
    struct StreamPos {
        size_t pos = 0;
        std::vector<size_t> seqEnds;
    };

    explicit InStream(std::span<const uint8_t> message) : UberStream(message) {}

    /// Starts over with another message; the memory of the last one is used again.
    void read(std::span<const uint8_t> message);

    /// The tag at the cursor, which stays; kNoTag at the end of the data.
    [[nodiscard]] uint8_t getType() const;
    /// Reads a definite length of at most four octets. Negative on failure; one of 2^31 or more is read and is
    /// negative.
    int getLen();
    /// INTEGER or any 32-bit application type, sign-extended from at most 4 octets; 5 octets when the first is 0.
    bool getInt(unsigned int* value);
    /// Counter64 of at most 8 octets.
    bool get64(unsigned long long* value);
    /// NULL or one of the three exceptions.
    bool getNull();
    /// The content of an OCTET STRING, IpAddress or Opaque.
    bool getString(std::string* text);
    /// The content of a BIT STRING, the count of unused bits (0 to 7) included as the first octet.
    bool getBits(std::vector<unsigned char>* bits);
    /// OBJECT IDENTIFIER. Its first octet is split by 40 whatever the first arc; no content at all is 0.0. Fails once
    /// all names read add up to more than three times the message's size: reading, grouping and repeating them in a v1
    /// error is one pass each, so only overlapping names exceed that.
    bool getOID(OID* oid);

    /// Enters a constructed value: the length of its content, the cursor at its first octet; -1 when the length can't
    /// be read or the content would end past the data.
    int enterSeq();
    /// Leaves the innermost value entered, at its end wherever the cursor is; logs it when none is entered.
    void exitSeq();
    /// Whether the cursor is at or past the end of the innermost value entered, or at the end of the data.
    [[nodiscard]] bool isSeqEnd() const;
    void saveSeq(StreamPos& saved) const;
    void restoreSeq(const StreamPos& saved);
    /// Back to the first octet, with no value entered; the version already read stays known.
    void reset();

    /// The message's version; -1 when it can't be read. The first call enters the message and reads it, later calls
    /// don't touch the stream.
    int getVersion();

    /// Octets before the cursor.
    [[nodiscard]] size_t position() const { return pos_; }

  protected:
    std::vector<size_t> seqEnds_;  ///< ends of the values entered, innermost last
    size_t pos_ = 0;               ///< never past the end of data_

    /// Reads tag and length of a value whose content lies wholly inside the data; the cursor is then at the content.
    /// @return the content's length; -1 when there is no such value, with `overflow` logged when its content is cut off
    int contentLen(std::string_view overflow);

  private:
    [[nodiscard]] bool has(int wanted) const;
    int tagAndLen();
    [[nodiscard]] size_t oidEnd(size_t contentEnd) const;
    bool acceptName(size_t end);
    void readSubIds(size_t end, OID* oid);

    int version_ = 0;
    bool isVersionRead_ = false;
    size_t nameOctets_ = 0;  ///< of all names read so far
};

}  // namespace snmp
