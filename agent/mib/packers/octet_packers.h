#pragma once

#include <string>

#include "agent/mib/packers/packer_base.h"
#include "tn/address.h"

namespace snmp {

using tn::IPAddr6;

/// OCTET STRING. As an index one sub-identifier an octet, their number first unless every row has as many; in messages
/// a string field.
class StringPacker : public Packer {
  public:
    using Value = std::string;
    /// @param keyLength  octets of a fixed-length index; 0 for variable length
    explicit StringPacker(unsigned int type, unsigned int keyLength = 0) : Packer(type), keyLength_(keyLength) {}

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    /// A value that isn't as long as a fixed-length index is logged and appends nothing.
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;

    [[nodiscard]] virtual std::string get(const Data* record) const = 0;
    virtual void set(Data* record, const std::string& value) const = 0;
    /// Inserts the value as the field that carries it in messages.
    virtual void insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const;

  protected:
    const unsigned int keyLength_;
};

/// Octets that aren't text (a MAC address): in messages a raw field of exactly the key length.
class RawPacker : public StringPacker {
  public:
    using StringPacker::StringPacker;
    void insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const override;
};

/// IpAddress: 4 octets, in the record a number with the first octet in the most significant byte. As an index 4
/// sub-identifiers, in messages a be32 field.
class IPPacker : public Packer {
  public:
    using Value = unsigned int;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;

    [[nodiscard]] virtual unsigned int get(const Data* record) const = 0;
    virtual void set(Data* record, unsigned int value) const = 0;
};

/// An IPv6 address: 16 octets. As an index 16 sub-identifiers, in messages an addr6 field.
class IP6Packer : public Packer {
  public:
    using Value = IPAddr6;
    using Packer::Packer;

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;

    [[nodiscard]] virtual IPAddr6 get(const Data* record) const = 0;
    virtual void set(Data* record, const IPAddr6& value) const = 0;
};

}  // namespace snmp
