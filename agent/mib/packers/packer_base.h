#pragma once

#include <cstdint>

#include "agent/ber/oid.h"
#include "agent/mib/context.h"
#include "agent/mib/data.h"
#include "tn/message.h"

namespace snmp {

/// The codec of one value in four directions: record to BER, BER of a Set to record, record to index sub-identifiers
/// (RFC 2578, section 7.7), index sub-identifiers to a field of a key message. One packer serves all records of a
/// class. Packers are immutable and live as long as the process (`keep`).
class Packer {
  public:
    static constexpr uint32_t kNoField = 0xffffffff;  ///< as a field id: the owner doesn't know this index

    /// @param type  BER tag of the value; its low 8 bits count
    explicit Packer(unsigned int type) : type_(static_cast<uint8_t>(type)) {}
    Packer(const Packer&) = delete;
    Packer& operator=(const Packer&) = delete;
    virtual ~Packer() = default;

    /// Appends the value to c.out as one BER element. A value that can't be encoded is left out (compat: 45).
    virtual void pack(Context& c, const Data* record) const = 0;
    /// Reads the value of a Set from c.in into the record, if its tag is of this packer's kind: a number, octets or an
    /// OID. Tags of the same kind aren't distinguished (compat: 30).
    /// @return false, with the record unchanged, for another kind, which is logged, or if unpack() fails
    bool take(Data* record, Context& c) const;
    /// Reads the value from c.in into the record, whatever its tag is.
    /// @return false, with the record unchanged, if it can't be read or is an address of the wrong length
    virtual bool unpack(Data* record, Context& c) const = 0;

    // The checks of a Set before it is performed (Branch::check). They return NoError or the reason against it.

    /// Checks access, type and length, as far as the object is described.
    /// @param object  OID of the scalar or column
    [[nodiscard]] ErrorStatus checkObject(const OID& object, Context& c) const;
    /// Reads the value into a record, which is then discarded.
    [[nodiscard]] ErrorStatus checkValue(Data* record, Context& c) const {
        if (!unpack(record, c)) return ErrorStatus::WrongLength;
        return accepts(record) ? ErrorStatus::NoError : ErrorStatus::WrongValue;
    }
    /// Whether the owner can make use of a record's value.
    [[nodiscard]] virtual bool accepts(const Data*) const { return true; }

    // For indexes. A packer of a type that can't be an index logs a line with BUG, adds nothing, and returns false.

    /// Appends the record's value as index sub-identifiers.
    virtual void addKeyToName(const Data* record, OID& name) const;
    /// The record's value as index sub-identifiers.
    [[nodiscard]] OID getAsKey(const Data* record) const;
    /// Consumes this index from the front of `key` and inserts it into the message.
    /// @return false if the sub-identifiers don't decode as this index. Normally nothing is inserted then. But an
    ///         address or a fixed-length string that is cut short is inserted, padded with zeros, for a search of the
    ///         nearest row (compat: 26)
    virtual bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const;
    /// Inserts the record's value into the message.
    virtual void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const;

  protected:
    const uint8_t type_;  ///< BER tag of the value
};

}  // namespace snmp
