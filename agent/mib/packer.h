#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/mib/context.h"
#include "agent/mib/data.h"
#include "tn/address.h"
#include "tn/message.h"

namespace snmp {

using tn::IPAddr6;

/// The codec of one typed value: record to BER, BER of a Set to record, record to index sub-identifiers, index
/// sub-identifiers to a key field of a message. It reads the value through a pointer to a member of the record, or
/// holds it as a constant; one packer serves every record of a class.
class Packer {
  public:
    static constexpr uint32_t kNoField = 0xffffffff;  ///< as a field id: the owner doesn't know this index

    explicit Packer(unsigned int type) : type_(static_cast<uint8_t>(type)) {}
    Packer(const Packer&) = delete;
    Packer& operator=(const Packer&) = delete;
    virtual ~Packer() = default;

    /// Appends the value as one BER element.
    virtual void pack(Context& c, const Data* record) const = 0;
    /// Reads a Set's value into the record with unpack(), if it is of this packer's kind: a number, octets or an OID.
    /// Within a kind tags aren't checked, on purpose. False when the record is unchanged.
    bool take(Data* record, Context& c) const;
    /// Reads the value, whatever its tag. One that can't be read or has the wrong size leaves the record unchanged; the
    /// result is the read's.
    virtual bool unpack(Data* record, Context& c) const = 0;
    /// Appends the value as index sub-identifiers (RFC 2578, section 7.7); none for a type without an index form.
    virtual void addKeyToName(const Data* record, OID& name) const;
    [[nodiscard]] OID getAsKey(const Data* record) const;
    /// Consumes this index from the front of `key` and puts it into the message; false when it isn't well formed.
    virtual bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const;
    /// Puts the record's value into the message.
    virtual void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const;

  protected:
    const uint8_t type_;  ///< BER tag of the value
};

/// INTEGER, Counter32, Gauge32, TimeTicks.
class NumPacker : public Packer {
  public:
    using Packer::Packer;
    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;
    [[nodiscard]] virtual unsigned int get(const Data* record) const = 0;
    virtual void set(Data* record, unsigned int value) const = 0;
};

/// Counter64.
class BignumPacker : public Packer {
  public:
    using Packer::Packer;
    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    [[nodiscard]] virtual unsigned long long get(const Data* record) const = 0;
    virtual void set(Data* record, unsigned long long value) const = 0;
};

/// OCTET STRING. As an index: with a key length the octets alone, else their number first.
class StringPacker : public Packer {
  public:
    StringPacker(unsigned int type, unsigned int keyLength) : Packer(type), keyLength_(keyLength) {}
    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;
    [[nodiscard]] virtual std::string get(const Data* record) const = 0;
    virtual void set(Data* record, const std::string& value) const = 0;
    virtual void insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const;

  protected:
    unsigned int keyLength_;  ///< octets of a fixed-length index; 0 for variable length
};

class OIDPacker : public Packer {
  public:
    using Packer::Packer;
    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    [[nodiscard]] virtual const OID& get(const Data* record) const = 0;
    virtual void set(Data* record, const OID& value) const = 0;
};

/// IpAddress: 4 octets; in the record a number with the first octet in the most significant byte.
class IPPacker : public Packer {
  public:
    using Packer::Packer;
    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;
    [[nodiscard]] virtual unsigned int get(const Data* record) const = 0;
    virtual void set(Data* record, unsigned int value) const = 0;
};

/// An IPv6 address: 16 octets.
class IP6Packer : public Packer {
  public:
    using Packer::Packer;
    void pack(Context& c, const Data* record) const override;
    bool unpack(Data* record, Context& c) const override;
    void addKeyToName(const Data* record, OID& name) const override;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;
    [[nodiscard]] virtual IPAddr6 get(const Data* record) const = 0;
    virtual void set(Data* record, const IPAddr6& value) const = 0;
};

// Constants: the packer holds the value, and a Set leaves it alone.

class ConstNumPacker : public NumPacker {
  public:
    ConstNumPacker(unsigned int value, unsigned int type) : NumPacker(type), value_(value) {}
    /// As an index: any other number names no row. A constant that is bound to no field doesn't go into the message.
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;
    unsigned int get(const Data*) const override { return value_; }
    void set(Data*, unsigned int) const override {}

  private:
    unsigned int value_;
};

class ConstBignumPacker : public BignumPacker {
  public:
    ConstBignumPacker(unsigned long long value, unsigned int type) : BignumPacker(type), value_(value) {}
    unsigned long long get(const Data*) const override { return value_; }
    void set(Data*, unsigned long long) const override {}

  private:
    unsigned long long value_;
};

class ConstStringPacker : public StringPacker {
  public:
    ConstStringPacker(std::string value, unsigned int type, unsigned int keyLength)
        : StringPacker(type, keyLength), value_(std::move(value)) {}
    std::string get(const Data*) const override { return value_; }
    void set(Data*, const std::string&) const override {}

  private:
    std::string value_;
};

class ConstOIDPacker : public OIDPacker {
  public:
    ConstOIDPacker(OID value, unsigned int type) : OIDPacker(type), value_(std::move(value)) {}
    const OID& get(const Data*) const override { return value_; }
    void set(Data*, const OID&) const override {}

  private:
    OID value_;
};

class ConstIPPacker : public IPPacker {
  public:
    ConstIPPacker(unsigned int value, unsigned int type) : IPPacker(type), value_(value) {}
    unsigned int get(const Data*) const override { return value_; }
    void set(Data*, unsigned int) const override {}

  private:
    unsigned int value_;
};

// Members: the value is a field of the record.

class DataNumPacker : public NumPacker {
  public:
    DataNumPacker(unsigned int Data::*member, unsigned int type) : NumPacker(type), member_(member) {}
    unsigned int get(const Data* record) const override { return record->*member_; }
    void set(Data* record, unsigned int value) const override { record->*member_ = value; }

  private:
    unsigned int Data::*member_;
};

class DataBignumPacker : public BignumPacker {
  public:
    DataBignumPacker(unsigned long long Data::*member, unsigned int type) : BignumPacker(type), member_(member) {}
    unsigned long long get(const Data* record) const override { return record->*member_; }
    void set(Data* record, unsigned long long value) const override { record->*member_ = value; }

  private:
    unsigned long long Data::*member_;
};

/// A record's array of counters, as many as the largest set of statistics has.
using Counters = std::array<unsigned long long, 65>;

class DataElementPacker : public BignumPacker {
  public:
    DataElementPacker(Counters Data::*member, size_t index, unsigned int type)
        : BignumPacker(type), member_(member), index_(index) {}
    unsigned long long get(const Data* record) const override { return (record->*member_)[index_]; }
    void set(Data* record, unsigned long long value) const override { (record->*member_)[index_] = value; }

  private:
    Counters Data::*member_;
    size_t index_;
};

class DataStringPacker : public StringPacker {
  public:
    DataStringPacker(std::string Data::*member, unsigned int type, unsigned int keyLength)
        : StringPacker(type, keyLength), member_(member) {}
    std::string get(const Data* record) const override { return record->*member_; }
    void set(Data* record, const std::string& value) const override { record->*member_ = value; }

  private:
    std::string Data::*member_;
};

/// Octets that aren't text (a MAC address); as a key field a raw field of exactly the key length.
class DataRawPacker : public StringPacker {
  public:
    DataRawPacker(std::vector<unsigned char> Data::*member, unsigned int type, unsigned int keyLength)
        : StringPacker(type, keyLength), member_(member) {}
    std::string get(const Data* record) const override;
    void set(Data* record, const std::string& value) const override;
    void insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const override;

  private:
    std::vector<unsigned char> Data::*member_;
};

class DataOIDPacker : public OIDPacker {
  public:
    DataOIDPacker(OID Data::*member, unsigned int type) : OIDPacker(type), member_(member) {}
    const OID& get(const Data* record) const override { return record->*member_; }
    void set(Data* record, const OID& value) const override { record->*member_ = value; }

  private:
    OID Data::*member_;
};

class DataIPPacker : public IPPacker {
  public:
    DataIPPacker(unsigned int Data::*member, unsigned int type) : IPPacker(type), member_(member) {}
    unsigned int get(const Data* record) const override { return record->*member_; }
    void set(Data* record, unsigned int value) const override { record->*member_ = value; }

  private:
    unsigned int Data::*member_;
};

class DataIP6Packer : public IP6Packer {
  public:
    DataIP6Packer(IPAddr6 Data::*member, unsigned int type) : IP6Packer(type), member_(member) {}
    IPAddr6 get(const Data* record) const override { return record->*member_; }
    void set(Data* record, const IPAddr6& value) const override { record->*member_ = value; }

  private:
    IPAddr6 Data::*member_;
};

}  // namespace snmp
