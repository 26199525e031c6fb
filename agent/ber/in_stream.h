#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/uber_stream.h"

namespace snmp {

/// A cursor over one received message, read as the subset of BER that SNMP uses (RFC 3417, 8).
///
/// Each getter steps over one tag without checking it (compat: 33): where the tag matters, the caller looks at
/// getType() first. The getter then reads a length and the content. On success it returns true, and the cursor is after
/// the value. On failure it returns false, its result is untouched, and the cursor is where the failing step stopped:
/// the caller abandons the message. A fault is one line on standard output; nothing is logged at the end of the data,
/// for a length of 2^31 or more, and by enterSeq() for a value that is cut off.
///
/// No read goes past the end of the data, whatever the lengths say. The end of an entered value limits only isSeqEnd(),
/// not the getters (compat: 34): clients with slightly wrong encoders are answered.
class InStream : public UberStream {
  public:
    /// A saved cursor.
    struct StreamPos {
        size_t pos = 0;
        std::vector<size_t> seqEnds;
    };

    explicit InStream(std::span<const uint8_t> message) : UberStream(message) {}

    /// Starts over with a copy of another message. Reuses the memory of the last one.
    void read(std::span<const uint8_t> message);

    /// The tag at the cursor; kNoTag at the end of the data. Doesn't move the cursor.
    [[nodiscard]] uint8_t getType() const;
    /// Reads a definite length of at most four octets. Negative on failure, and for a length of 2^31 or more.
    int getLen();
    /// INTEGER or any 32-bit application type: at most 4 octets, sign-extended, or 5 if the first is 0.
    bool getInt(unsigned int* value);
    /// Counter64: at most 8 octets, unsigned.
    bool get64(unsigned long long* value);
    /// NULL or one of the three exceptions.
    bool getNull();
    /// The content of an OCTET STRING, IpAddress or Opaque.
    bool getString(std::string* text);
    /// The content of a BIT STRING. Its first octet is the count of unused bits, 0 to 7.
    bool getBits(std::vector<unsigned char>* bits);
    /// OBJECT IDENTIFIER. The first octet is divided by 40 into two arcs, whatever the first arc is. An empty content
    /// is 0.0. Fails once the contents of all names read exceed three times the message's size. A message's names are
    /// read at most three times (to serve them, to group them, to repeat them in a v1 error), so only names that
    /// overlap exceed that.
    bool getOID(OID* oid);

    /// Enters a constructed value: moves the cursor to the first octet of its content.
    /// @return octets of the content; -1, with nothing entered, if the length can't be read or exceeds the data
    int enterSeq();
    /// Leaves the innermost entered value: moves the cursor to its end, forward or back. If no value is entered, logs
    /// that and does nothing.
    void exitSeq();
    /// Whether the cursor is at or past the end of the innermost entered value, or at the end of the data.
    [[nodiscard]] bool isSeqEnd() const;
    /// The octets from the cursor to the end of the innermost entered value. Valid until the next read().
    [[nodiscard]] std::span<const uint8_t> restOfSeq() const;
    void saveSeq(StreamPos& saved) const;
    /// @param saved  from saveSeq on the same message
    void restoreSeq(const StreamPos& saved);
    /// Moves the cursor to the first octet, with no value entered. A version that was read remains known.
    void reset();

    /// The message's version; -1 if it can't be read. The first call enters the message and reads the version. Later
    /// calls return the same and don't touch the stream.
    int getVersion();

    /// Octets before the cursor.
    [[nodiscard]] size_t position() const { return pos_; }

  protected:
    std::vector<size_t> seqEnds_;  ///< ends of the entered values, innermost last
    size_t pos_ = 0;               ///< never past the end of data_

    /// Reads tag and length of a value. The cursor is then at the content, which is complete.
    /// @param overflow  logged if the content ends past the data
    /// @return octets of the content; -1 on failure
    int contentLen(std::string_view overflow);

  private:
    [[nodiscard]] bool has(int wanted) const;
    int tagAndLen();
    [[nodiscard]] size_t oidEnd(size_t contentEnd) const;
    bool acceptName(size_t end);
    void readSubIds(size_t end, OID* oid);

    int version_ = 0;
    bool isVersionRead_ = false;
    size_t nameOctets_ = 0;  ///< octets of the contents of all names read so far
};

}  // namespace snmp
