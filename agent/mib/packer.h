#pragma once

#include <array>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "agent/mib/packers/number_packers.h"
#include "agent/mib/packers/octet_packers.h"

// The packers that modules and plug-ins use. Each combines a codec (agent/mib/packers) with the place of the value: a
// constant, or a member of the record. The parameters of a constructor are the place, the BER tag and, for strings, the
// length of a fixed-length index.
namespace snmp {

/// A record's array of counters, with the size of the largest set: contracts/interface_counters.h.
using Counters = std::array<unsigned long long, 65>;

/// The place of one element of a record's array of counters.
struct CounterElement {
    Counters Data::*array;
    size_t index;
};

/// The field at a place of a record. A place is a CounterElement, or a pointer to a member of the record's class that
/// was cast to a pointer to a member of Data.
template <class Record, class Field>
auto& fieldAt(Record* record, Field Data::*member) {
    return record->*member;
}
template <class Record>
auto& fieldAt(Record* record, CounterElement element) {
    return (record->*element.array)[element.index];
}

// The type that a codec's get() returns, and the type of the value passed to its set().
template <class Codec>
using Result = decltype(std::declval<const Codec&>().get(nullptr));
template <class Codec, class Value = typename Codec::Value>
using Argument = std::conditional_t<std::is_integral_v<Value>, Value, const Value&>;

/// A packer that contains the value. A Set changes nothing and succeeds. The record isn't used and may be null.
template <class Codec>
class ConstantPacker : public Codec {
  public:
    template <class... KeyLength>
    ConstantPacker(typename Codec::Value value, unsigned int type, KeyLength... keyLength)
        : Codec(type, keyLength...), value_(std::move(value)) {}
    Result<Codec> get(const Data*) const override { return value_; }
    void set(Data*, Argument<Codec>) const override {}

  protected:
    const typename Codec::Value value_;
};

/// A packer whose value is a field of the record. The field has the codec's type, is a wider number, whose low half is
/// the value, or, for octets, is a container of them. The packer must be used only with records of the class that has
/// this field; nothing checks that.
template <class Codec, class Place = typename Codec::Value Data::*>
class MemberPacker : public Codec {
  public:
    template <class... KeyLength>
    MemberPacker(Place place, unsigned int type, KeyLength... keyLength)
        : Codec(type, static_cast<unsigned int>(keyLength)...), place_(place) {}

    Result<Codec> get(const Data* record) const override {
        const auto& field = fieldAt(record, place_);
        if constexpr (isSameType<decltype(field)>)
            return field;
        else if constexpr (isNumber<decltype(field)>)
            return static_cast<typename Codec::Value>(field);
        else
            return {field.begin(), field.end()};
    }
    void set(Data* record, Argument<Codec> value) const override {
        auto& field = fieldAt(record, place_);
        if constexpr (isSameType<decltype(field)> || isNumber<decltype(field)>)
            field = value;
        else
            field.assign(value.begin(), value.end());
    }

  private:
    template <class Field>
    static constexpr bool isSameType = std::is_same_v<std::decay_t<Field>, typename Codec::Value>;
    template <class Field>
    static constexpr bool isNumber = std::is_integral_v<std::decay_t<Field>>;

    const Place place_;
};

/// A number that is the same in every row. As an index, it matches only that number. With kNoField, it isn't inserted
/// into messages.
class ConstNumPacker : public ConstantPacker<NumPacker> {
  public:
    using ConstantPacker::ConstantPacker;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const override;
};

/// An OID that is the same in every row. As an index, it matches only that OID. It isn't inserted into messages.
class ConstOIDPacker : public ConstantPacker<OIDPacker> {
  public:
    using ConstantPacker::ConstantPacker;
    bool addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const override;
    void addKeyToMessage(const Data*, tn::message&, uint32_t) const override {}
};

using ConstBignumPacker = ConstantPacker<BignumPacker>;
using ConstStringPacker = ConstantPacker<StringPacker>;
using ConstIPPacker = ConstantPacker<IPPacker>;

using DataNumPacker = MemberPacker<NumPacker>;
using DataBignumPacker = MemberPacker<BignumPacker>;
/// The low 32 bits of a counter in a record's array: its value as a Counter32, which wraps, or as an INTEGER.
using LowElementPacker = MemberPacker<NumPacker, CounterElement>;
using DataElementPacker = MemberPacker<BignumPacker, CounterElement>;
using DataStringPacker = MemberPacker<StringPacker>;
using DataRawPacker = MemberPacker<RawPacker, std::vector<unsigned char> Data::*>;
using DataOIDPacker = MemberPacker<OIDPacker>;
using DataIPPacker = MemberPacker<IPPacker>;
using DataIP6Packer = MemberPacker<IP6Packer>;

}  // namespace snmp
