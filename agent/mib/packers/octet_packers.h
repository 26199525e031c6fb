#pragma once

#include <string>

#include "agent/mib/packers/packer_base.h"
#include "tn/address.h"

namespace snmp {

using tn::IPAddr6;

/// OCTET STRING. An index is one sub-identifier for each octet; if its length varies, the length comes first. In
/// messages it is a string field.
class StringPacker : public Packer {
  public:
    using Value = std::string;
    /// @param keyLength  octets of an index of fixed length; 0 if the length varies or the value isn't an index
    explicit StringPacker(unsigned int type, unsigned int keyLength = 0) : Packer(type), keyLength_(keyLength) {}

    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    /// A value that hasn't the fixed length is logged, and nothing is appended.
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;

    [[nodiscard]] virtual std::string get(const Data* record) const = 0;
    /// As NumPacker::set. The value can have any length.
    virtual void set(Data* record, const std::string& value) const = 0;
    /// Inserts an index value as a field of the kind that this packer has in messages.
    virtual void insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const;

  protected:
    const unsigned int keyLength_;  ///< octets; 0 if the length varies
};

/// Octets that aren't text, such as a MAC address or an InetAddress (RFC 4001). In messages an index is a raw field, of
/// exactly the fixed length if there is one.
class RawPacker : public StringPacker {
  public:
    using StringPacker::StringPacker;
    void insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const override;
};

/// IpAddress: 4 octets. In the record it is a number, first octet in the most significant byte. An index is 4
/// sub-identifiers, and a be32 field in messages.
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

/// An IPv6 address: 16 octets. An index is 16 sub-identifiers, and an addr6 field in messages.
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
