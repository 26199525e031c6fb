#pragma once

#include "agent/mib/packers/packer_base.h"

namespace snmp {

/// INTEGER, Counter32, Gauge32, TimeTicks. An index is one sub-identifier, and a u32 field in messages.
class NumPacker : public Packer {
  public:
    using Value = unsigned int;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;

    // A packer whose value isn't simply a field overrides these two. All packers have such a pair.

    /// The record's value. A negative INTEGER is in two's complement.
    [[nodiscard]] virtual unsigned int get(const Data* record) const = 0;
    /// Changes the record only: the provider writes the record to its owner afterwards. The value is as received,
    /// without a check of its range. There is no error: a set() that wants to refuse a value ignores it.
    virtual void set(Data* record, unsigned int value) const = 0;
};

/// Counter64. It can't be an index.
class BignumPacker : public Packer {
  public:
    using Value = unsigned long long;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;

    [[nodiscard]] virtual unsigned long long get(const Data* record) const = 0;
    virtual void set(Data* record, unsigned long long value) const = 0;
};

/// OBJECT IDENTIFIER. An index is its length, then its sub-identifiers. It can't be a field of a key message.
class OIDPacker : public Packer {
  public:
    using Value = OID;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;

    /// Valid until the record is changed or destroyed.
    [[nodiscard]] virtual const OID& get(const Data* record) const = 0;
    virtual void set(Data* record, const OID& value) const = 0;
};

}  // namespace snmp
