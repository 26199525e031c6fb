#pragma once

#include "agent/mib/packers/packer_base.h"

namespace snmp {

/// INTEGER, Counter32, Gauge32, TimeTicks. As an index one sub-identifier, in messages a u32 field.
class NumPacker : public Packer {
  public:
    using Value = unsigned int;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;

    // A packer with a place of its own (an enumeration of the owner's, say) overrides these two.

    /// The record's value; a negative INTEGER in two's complement.
    [[nodiscard]] virtual unsigned int get(const Data* record) const = 0;
    /// Changes the record only; the provider writes it to its owner.
    virtual void set(Data* record, unsigned int value) const = 0;
};

/// Counter64. It has no index form.
class BignumPacker : public Packer {
  public:
    using Value = unsigned long long;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;

    [[nodiscard]] virtual unsigned long long get(const Data* record) const = 0;
    virtual void set(Data* record, unsigned long long value) const = 0;
};

/// OBJECT IDENTIFIER. As an index its length, then its sub-identifiers; no message carries it.
class OIDPacker : public Packer {
  public:
    using Value = OID;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;

    [[nodiscard]] virtual const OID& get(const Data* record) const = 0;
    virtual void set(Data* record, const OID& value) const = 0;
};

}  // namespace snmp
