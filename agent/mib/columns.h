#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "agent/mib/branch.h"
#include "agent/mib/columnar_branch.h"
#include "agent/mib/keep.h"
#include "agent/mib/objects.h"
#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"

/// How a module describes what it serves. One array of rows for each group or table, in the MIB's order with the MIB's
/// names:
///
///     // hrProcessorEntry, RFC 2790. INDEX { hrDeviceIndex }
///     constexpr Column<Cpu> kProcessorColumns[] = {
///         {2, "hrProcessorLoad", tag::Integer, &Cpu::load},   // percent
///     };
///
/// To add a table: 1. a record, a struct derived from Data with one field for each value; 2. its build function, which
/// fills the record from one item of the owner's list; 3. the array of columns; 4. in the module's start function:
///
///     auto* rows = keep<GetAllProvider>(path, oneRow<Cpu::build>, objectClass);
///     MapTable* table = keepTable(rows, {{kIndex, tn::field::ObjectId.number}});
///     addTable(OID(kProcessorEntry), "hrProcessorEntry", table, kProcessorColumns);
///
/// 5. a test with a scripted owner; 6. docs/objects.md, which `tools/check_objects.py --write` makes from all of these.
/// Scalars are the same with addScalars and a GetProvider.
namespace snmp {

/// A value that is the same for every record, and can't be set.
struct Constant {
    int value;
};
struct ConstantOID {
    std::span<const unsigned int> value;
};
struct ConstantText {
    std::string_view value;
};

/// Octets of which every row has the same number: as an index, that many sub-identifiers.
template <class Record>
struct FixedOctets {
    std::vector<unsigned char> Record::*member;
    unsigned int length;
};

/// One element of a record's array of counters.
template <class Record>
struct Element {
    Counters Record::*array;
    size_t index;
};

/// Where a column's value comes from: a member of the record or a constant. A number with syntax IpAddress is an IPv4
/// address, first octet in the most significant byte.
template <class Record>
using ColumnValue = std::variant<unsigned int Record::*, unsigned long long Record::*, std::string Record::*,
                                 std::vector<unsigned char> Record::*, OID Record::*, IPAddr6 Record::*,
                                 FixedOctets<Record>, Element<Record>, Constant, ConstantOID, ConstantText>;

template <class Record>
struct Column {
    unsigned int number;    ///< last sub-identifier of the object
    std::string_view name;  ///< descriptor of the object in its MIB
    uint8_t syntax;         ///< BER tag of the value
    ColumnValue<Record> value;
    Access access = Access::ReadOnly;  ///< ReadWrite: the record's reverseBuild passes a written value on
};

// The codec of a member by its type; a number that is an IpAddress has another.
template <class Member>
struct CodecOf;
template <>
struct CodecOf<unsigned int> : std::type_identity<NumPacker> {};
template <>
struct CodecOf<unsigned long long> : std::type_identity<BignumPacker> {};
template <>
struct CodecOf<std::string> : std::type_identity<StringPacker> {};
template <>
struct CodecOf<std::vector<unsigned char>> : std::type_identity<RawPacker> {};
template <>
struct CodecOf<OID> : std::type_identity<OIDPacker> {};
template <>
struct CodecOf<IPAddr6> : std::type_identity<IP6Packer> {};

/// Makes the packer of a column's value. A member of the record becomes a member of Data: a packer only ever sees
/// records of its own class.
template <class Record>
struct PackerMaker {
    unsigned int syntax;

    template <class Codec, class Member, class... KeyLength>
    const Packer* ofMember(Member Record::*member, KeyLength... keyLength) const {
        return keep<MemberPacker<Codec, Member Data::*>>(static_cast<Member Data::*>(member), syntax, keyLength...);
    }
    template <class Member>
    const Packer* operator()(Member Record::*member) const {
        return ofMember<typename CodecOf<Member>::type>(member);
    }
    const Packer* operator()(unsigned int Record::*member) const {
        return syntax == tag::IpAddress ? ofMember<IPPacker>(member) : ofMember<NumPacker>(member);
    }
    const Packer* operator()(FixedOctets<Record> octets) const {
        return ofMember<RawPacker>(octets.member, octets.length);
    }
    const Packer* operator()(Element<Record> element) const {
        const CounterElement place{static_cast<Counters Data::*>(element.array), element.index};
        return keep<DataElementPacker>(place, syntax);
    }
    const Packer* operator()(ConstantOID constant) const { return keep<ConstOIDPacker>(OID(constant.value), syntax); }
    const Packer* operator()(ConstantText constant) const {
        return keep<ConstStringPacker>(std::string(constant.value), syntax);
    }
    const Packer* operator()(Constant constant) const {
        if (syntax == tag::Counter64)
            return keep<ConstBignumPacker>(static_cast<unsigned long long>(constant.value), syntax);
        return keep<ConstNumPacker>(static_cast<unsigned int>(constant.value), syntax);
    }
};

/// The packer of a column; it lives as long as the process.
template <class Record>
const Packer* packerFor(const Column<Record>& column) {
    return std::visit(PackerMaker<Record>{column.syntax}, column.value);
}

/// Where the values of a column come from: itself when it is constant, else the source of the records.
template <class Record>
std::string sourceOf(const Column<Record>& column, const std::string& records) {
    if (const auto* number = std::get_if<Constant>(&column.value)) return "constant " + std::to_string(number->value);
    if (const auto* oid = std::get_if<ConstantOID>(&column.value)) return "constant " + OID(oid->value).str().substr(1);
    if (const auto* text = std::get_if<ConstantText>(&column.value))
        return text->value.empty() ? "constant, empty" : "constant since the start";
    return records;
}

/// Names an object, whether or not it is served yet.
/// @param records  the source of its records
template <class Record>
void describe(const OID& group, const Column<Record>& object, const std::string& records) {
    objects[group + object.number] = {object.name, object.syntax, object.access, sourceOf(object, records), {}};
}

/// Registers a scalar under its group's prefix.
/// @param provider  the source of its records; nullptr for a constant, which can't be Set
template <class Record>
void addScalar(std::span<const unsigned int> group, const Column<Record>& object, DataProvider* provider) {
    describe(OID(group), object, provider != nullptr ? provider->source() : "");
    addScalarLeaf(OID(group) + object.number, packerFor(object), provider);
}

/// Registers one scalar for each row, under the group's prefix.
/// @param provider  gives records of the rows' class, and must live as long as the process (`keep`)
template <class Record, size_t N>
void addScalars(std::span<const unsigned int> group, const Column<Record> (&rows)[N], DataProvider* provider) {
    for (const Column<Record>& row : rows) addScalar(group, row, provider);
}

/// Registers a table under its entry's OID and name, a literal.
/// @return its branch, for the caller to replace the packers of columns that need their own
template <class Record, size_t N>
ColumnarBranch* addTable(const OID& entry, std::string_view name, MapTable* table, const Column<Record> (&columns)[N]) {
    objects[entry] = {name, kNoTag, Access::ReadOnly, table->source(), table->indexNames()};
    ColumnarBranch* branch = addColumnarBranch(entry, table);
    for (const Column<Record>& column : columns) {
        describe(entry, column, table->source());
        branch->addLeaf(column.number, packerFor(column));
    }
    return branch;
}

/// An index of a table: its column, which needn't be served, and the message field that carries it to the owner
/// (Packer::kNoField for a constant).
struct Index {
    template <class Record>
    Index(const Column<Record>& column, uint32_t fieldId)
        : name(column.name), packer(packerFor(column)), field(fieldId) {}
    std::string_view name;
    const Packer* packer;
    uint32_t field;
};

/// Makes a table with its indexes, in the order in which an instance's name has them. Rows are named by object id when
/// that is the only index, else by a message of all these fields. The table lives as long as the process.
inline MapTable* keepTable(TableProvider* provider, std::initializer_list<Index> indexes) {
    auto* table = keep<MapTable>(provider, /*noStdKey=*/false);
    for (const Index& index : indexes) table->addIndex(index.packer, index.field, index.name);
    return table;
}

/// Whether the numbers of the columns strictly increase, as in the MIB; for a static_assert beside each array.
template <class Record, size_t N>
constexpr bool ascending(const Column<Record> (&columns)[N]) {
    for (size_t i = 1; i < N; ++i)
        if (columns[i - 1].number >= columns[i].number) return false;
    return true;
}

// OIDs as the MIB writes them, parent and numbers: under(kMib2, 1) for { mib-2 1 }.

template <size_t N, class... Numbers>
constexpr std::array<unsigned int, N + sizeof...(Numbers)> under(const std::array<unsigned int, N>& parent,
                                                                 Numbers... numbers) {
    std::array<unsigned int, N + sizeof...(Numbers)> result{};
    size_t i = 0;
    for (const unsigned int number : parent) result[i++] = number;
    ((result[i++] = static_cast<unsigned int>(numbers)), ...);
    return result;
}

constexpr std::array<unsigned int, 4> kInternet = {1, 3, 6, 1};
constexpr auto kMib2 = under(kInternet, 2, 1);
constexpr auto kVendor = under(kInternet, 4, 1, 49999);  ///< Tarnix's enterprise number
constexpr std::array<unsigned int, 2> kZeroDotZero = {0, 0};
constexpr auto kVendorObjects = under(kVendor, 1, 1);

}  // namespace snmp
