#pragma once

#include <array>
#include <cstddef>
#include <optional>
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

/// How a module describes the objects it serves: one array for each group or table, with one row for each object, in
/// the order and with the names of the MIB:
///
///     // hrProcessorEntry, RFC 2790. INDEX { hrDeviceIndex }
///     constexpr Column<Cpu> kProcessorColumns[] = {
///         {2, "hrProcessorLoad", tag::Integer, &Cpu::load},   // percent
///     };
///
/// To add a table, write:
///
/// 1. a record: a struct derived from Data, with one field for each value;
/// 2. its build function, which fills the record from one item of the owner's list;
/// 3. the array of columns;
/// 4. in the module's start function:
///
///     auto* rows = keep<GetAllProvider>(path, oneRow<Cpu::build>, objectClass);
///     MapTable* table = keepTable(rows, {{kIndex, tn::field::ObjectId.number}});
///     addTable(OID(kProcessorEntry), "hrProcessorEntry", table, kProcessorColumns);
///
/// 5. a test with a scripted owner;
/// 6. docs/objects.md: `tools/check_objects.py --write` generates it.
///
/// For scalars, use a GetProvider and addScalars.
namespace snmp {

// Values that are the same for every record and can't be set.

struct Constant {
    int value;
};
struct ConstantOID {
    std::span<const unsigned int> value;  ///< copied by packerFor
};
struct ConstantText {
    std::string_view value;  ///< copied by packerFor
};

/// Octets with the same length in every row. As an index they are that many sub-identifiers, without a length.
template <class Record>
struct FixedOctets {
    std::vector<unsigned char> Record::*member;
    unsigned int length;  ///< in octets
};

/// One element of a record's array of counters. If the syntax isn't Counter64, the value is the counter's low 32 bits.
template <class Record>
struct Element {
    Counters Record::*array;
    size_t index;
};

/// The place of a column's value: a member of the record, or a constant. If the syntax is IpAddress, a number is an
/// IPv4 address, first octet in the most significant byte. If it is Counter32, a 64-bit number is a counter whose low
/// half is shown, which wraps: one member can be the place of a Counter32 and of its Counter64. Octets and texts as an
/// index are their length and as many sub-identifiers.
template <class Record>
using ColumnPlace = std::variant<unsigned int Record::*, unsigned long long Record::*, std::string Record::*,
                                 std::vector<unsigned char> Record::*, OID Record::*, IPAddr6 Record::*,
                                 FixedOctets<Record>, Element<Record>, Constant, ConstantOID, ConstantText>;

/// The source of a column's value: its place in the record and, optionally, the message fields that the build function
/// makes it of, at most three. If they are given, a request for the column fetches no other fields, which pays in
/// tables that are large or wide.
template <class Record>
struct ColumnValue {
    ColumnPlace<Record> place;
    std::array<uint32_t, 3> fields{};  ///< full ids
    size_t fieldCount = 0;
    bool areFieldsKnown = false;  ///< false: the value may be made of any field

    template <class Place>
    constexpr ColumnValue(Place at) : place(at) {}  // NOLINT: implicit, so that a row of a table is one list
    template <class Place, class FieldId, class... FieldIds>
    constexpr ColumnValue(Place at, FieldId id, FieldIds... more)
        : place(at), fields{id.full(), more.full()...}, fieldCount(1 + sizeof...(more)), areFieldsKnown(true) {}

    /// The fields that a request for this column needs; nothing if it may need all.
    [[nodiscard]] std::optional<WantedFields> wanted() const {
        const bool isConstant = std::holds_alternative<Constant>(place) || std::holds_alternative<ConstantOID>(place) ||
                                std::holds_alternative<ConstantText>(place);
        if (!areFieldsKnown && !isConstant) return {};
        return WantedFields(fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(fieldCount));
    }
};

/// One object: a scalar, or a column of a table.
/// @tparam Record  the class of the records that the provider of this object returns; nothing checks that
template <class Record>
struct Column {
    unsigned int number;    ///< last sub-identifier of the object
    std::string_view name;  ///< descriptor of the object in its MIB
    uint8_t syntax;         ///< BER tag of the value
    ColumnValue<Record> value;
    Access access = Access::ReadOnly;  ///< ReadWrite: the record's reverseBuild sends the value to the owner
    unsigned int maxLength = 255;      ///< of an OCTET STRING in a Set, in octets (RFC 3411, SnmpAdminString)
};

// The codec for the type of a member. The syntax determines that of numbers.
template <class Member>
struct CodecOf;
template <>
struct CodecOf<std::string> : std::type_identity<StringPacker> {};
template <>
struct CodecOf<std::vector<unsigned char>> : std::type_identity<RawPacker> {};
template <>
struct CodecOf<OID> : std::type_identity<OIDPacker> {};
template <>
struct CodecOf<IPAddr6> : std::type_identity<IP6Packer> {};

/// Makes the packer of a column's value. A pointer to a member of Record is cast to one of Data. That is safe because a
/// packer is used only with records of its own class.
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
    const Packer* operator()(unsigned long long Record::*member) const {
        return syntax == tag::Counter32 ? ofMember<NumPacker>(member) : ofMember<BignumPacker>(member);
    }
    const Packer* operator()(FixedOctets<Record> octets) const {
        return ofMember<RawPacker>(octets.member, octets.length);
    }
    const Packer* operator()(Element<Record> element) const {
        const CounterElement place{static_cast<Counters Data::*>(element.array), element.index};
        if (syntax != tag::Counter64) return keep<LowElementPacker>(place, syntax);
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

/// A new packer for a column. It lives as long as the process; never null.
template <class Record>
const Packer* packerFor(const Column<Record>& column) {
    return std::visit(PackerMaker<Record>{column.syntax}, column.value.place);
}

/// Object::source of a column: its constant, or else the source of the records.
template <class Record>
std::string sourceOf(const Column<Record>& column, const std::string& records) {
    if (const auto* number = std::get_if<Constant>(&column.value.place))
        return "constant " + std::to_string(number->value);
    if (const auto* oid = std::get_if<ConstantOID>(&column.value.place))
        return "constant " + OID(oid->value).str().substr(1);
    if (const auto* text = std::get_if<ConstantText>(&column.value.place))
        return text->value.empty() ? "constant, empty" : "constant, set at startup";
    return records;
}

/// Adds an object to `objects`, without registering a branch: also for objects that are served later or not at all.
/// @param records  Object::source, unless the column is a constant
template <class Record>
void describe(const OID& group, const Column<Record>& object, const std::string& records) {
    objects[group + object.number] = {object.name, object.syntax,   object.access, sourceOf(object, records),
                                      {},          object.maxLength};
}

/// Registers a scalar as { group number }, and describes it.
/// @param provider  as for addScalars
template <class Record>
void addScalar(std::span<const unsigned int> group, const Column<Record>& object, DataProvider* provider) {
    describe(OID(group), object, provider != nullptr ? provider->source() : "");
    addScalarLeaf(OID(group) + object.number, packerFor(object), provider);
}

/// Registers one scalar for each row of the array.
/// @param provider  returns records of the class Record and must live as long as the process (`keep`); nullptr if all
///                  rows are constants, which then can't be set
template <class Record, size_t N>
void addScalars(std::span<const unsigned int> group, const Column<Record> (&rows)[N], DataProvider* provider) {
    for (const Column<Record>& row : rows) addScalar(group, row, provider);
}

/// Registers a table, and describes it.
/// @param entry  OID of the entry: the table's OID, then 1
/// @param name   descriptor of the entry, in static storage
/// @param table  its rows are of the class Record; must live as long as the process (keepTable)
/// @return its branch, with which the caller can replace the packers of single columns
template <class Record, size_t N>
ColumnarBranch* addTable(const OID& entry, std::string_view name, MapTable* table, const Column<Record> (&columns)[N]) {
    objects[entry] = {name, kNoTag, Access::ReadOnly, table->source(), table->indexNames(), 0};
    ColumnarBranch* branch = addColumnarBranch(entry, table);
    for (const Column<Record>& column : columns) {
        describe(entry, column, table->source());
        branch->addLeaf(column.number, packerFor(column), column.value.wanted());
    }
    return branch;
}

/// An index of a table.
struct Index {
    /// @param column   describes the index; needn't be one of the columns served
    /// @param fieldId  the field that contains this index in messages to the owner; Packer::kNoField for a constant
    template <class Record>
    Index(const Column<Record>& column, uint32_t fieldId)
        : name(column.name), packer(packerFor(column)), field(fieldId) {}
    std::string_view name;  ///< descriptor, in static storage
    const Packer* packer;
    uint32_t field;
};

/// Makes a table with these indexes, in their order in an instance's name. Requests to the owner identify a row by its
/// object id if that is the only index, otherwise by a key message with the fields of all indexes.
/// @param provider  must live as long as the process (`keep`)
/// @return never null; lives as long as the process
inline MapTable* keepTable(TableProvider* provider, std::initializer_list<Index> indexes) {
    auto* table = keep<MapTable>(provider, /*noStdKey=*/false);
    for (const Index& index : indexes) table->addIndex(index.packer, index.field, index.name);
    return table;
}

/// Whether the numbers of the columns strictly increase, as in the MIB. Each array has a static_assert of this.
template <class Record, size_t N>
constexpr bool ascending(const Column<Record> (&columns)[N]) {
    for (size_t i = 1; i < N; ++i)
        if (columns[i - 1].number >= columns[i].number) return false;
    return true;
}

/// An OID as the MIB writes it, parent and numbers: under(kMib2, 1) for { mib-2 1 }.
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
