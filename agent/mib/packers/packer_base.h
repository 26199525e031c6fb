#pragma once

#include <cstdint>

#include "agent/ber/oid.h"
#include "agent/mib/context.h"
#include "agent/mib/data.h"
#include "tn/message.h"

namespace snmp {

/// The codec of one typed value: record to BER, BER of a Set to record, record to index sub-identifiers (RFC 2578,
/// section 7.7), index sub-identifiers to a key field of a message. One packer serves every record of a class. Packers
/// are immutable, and live as long as the process (`keep`).
class Packer {
  public:
    static constexpr uint32_t kNoField = 0xffffffff;  ///< as a field id: the owner doesn't know this index

    /// @param type  BER tag of the value; its low 8 bits count
    explicit Packer(unsigned int type) : type_(static_cast<uint8_t>(type)) {}
    Packer(const Packer&) = delete;
    Packer& operator=(const Packer&) = delete;
    virtual ~Packer() = default;

    /// Appends the value to c.out as one BER element.
    virtual void pack(Context& c, const Data* record) const = 0;
    /// Reads a Set's value from c.in into the record, if its tag is of this packer's kind: a number, octets or an OID.
    /// Within a kind tags aren't checked (compat: 30).
    /// @return false, and the record is unchanged, for another kind and when unpack() fails
    bool take(Data* record, Context& c) const;
    /// Reads the value from c.in, whatever its tag. A value that can't be read leaves the record unchanged and returns
    /// false. An address that isn't 4 or 16 octets is logged and leaves the record unchanged, too.
    virtual bool unpack(Data* record, Context& c) const = 0;

    /// Appends the value as index sub-identifiers. A type without an index form logs a BUG line and appends none.
    virtual void addKeyToName(const Data* record, OID& name) const;
    /// The same as an OID of its own.
    [[nodiscard]] OID getAsKey(const Data* record) const;
    /// Consumes this index from the front of `key` and inserts it into the message.
    /// @return false when the sub-identifiers aren't this index. An address or a fixed-length string cut short is
    ///         inserted all the same, padded with zeros: the key of the nearest row
    virtual bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const;
    /// Inserts the record's value into the message.
    virtual void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const;

  protected:
    const uint8_t type_;  ///< BER tag of the value
};

}  // namespace snmp
