#include "agent/mib/packer.h"

#include <gtest/gtest.h>

#include "agent/mib/columns.h"
#include "tests/agent/fields.h"
#include "wire/codec.h"

namespace snmp {
namespace {

struct Row : Data {
    unsigned int number = 0;
    unsigned int address = 0;
    unsigned long long big = 0;
    std::string text;
    std::vector<unsigned char> raw;
    OID oid;
    IPAddr6 address6;
};

const DataRawPacker kMacPacker(static_cast<std::vector<unsigned char> Data::*>(&Row::raw), tag::OctetString, 6);

template <class Member>
const Packer* packerOf(uint8_t syntax, Member member) {
    return packerFor(Column<Row>{1, "sample", syntax, member});
}

wire::Bytes packed(const Packer& packer, const Row& row) {
    Context c({});
    packer.pack(c, &row);
    return {c.out.bytes().begin(), c.out.bytes().end()};
}

bool unpacked(const Packer& packer, Row& row, const wire::Bytes& value) {
    Context c(value);
    return packer.unpack(&row, c);
}

constexpr tn::be32_id kSecondField{2};

TEST(PackerTest, WhatIsPackedUnpacksToTheSame) {
    Row row;
    row.number = 0xffffffff;
    row.address = 0x0a010203;
    row.big = 0x7fffffffffffffff;  // the reader takes at most 8 octets
    row.text = std::string("a\0b", 3);
    row.raw = {0, 255, 7};
    row.oid = OID{1, 3, 6, 4294967295};
    row.address6 = *IPAddr6::parse("2001:db8::1");
    const Packer* const number = packerOf(tag::Counter32, &Row::number);
    const Packer* const address = packerOf(tag::IpAddress, &Row::address);
    const Packer* const address6 = packerOf(tag::OctetString, &Row::address6);
    const auto fields = [](const Row& r) {
        return std::tie(r.number, r.address, r.big, r.text, r.raw, r.oid, r.address6);
    };
    Row copy;
    for (const Packer* packer :
         {number, address, address6, packerOf(tag::Counter64, &Row::big), packerOf(tag::OctetString, &Row::text),
          packerOf(tag::OctetString, &Row::raw), packerOf(tag::ObjectIdentifier, &Row::oid)})
        EXPECT_TRUE(unpacked(*packer, copy, packed(*packer, row)));
    EXPECT_EQ(fields(copy), fields(row));
    EXPECT_EQ(packed(*address, row), (wire::Bytes{tag::IpAddress, 4, 10, 1, 2, 3}));
    // Values of another length change nothing.
    EXPECT_FALSE(unpacked(*address, copy, wire::tlv(tag::IpAddress, wire::Bytes(5, 1))));
    EXPECT_FALSE(unpacked(*address6, copy, wire::tlv(tag::OctetString, wire::Bytes(15, 1))));
    EXPECT_FALSE(unpacked(*number, copy, wire::tlv(tag::Counter32, wire::Bytes(6, 1))));
    EXPECT_EQ(fields(copy), fields(row));
}

TEST(PackerTest, IndexFormsGoThereAndBack) {
    Row row;
    row.number = 4000000000;
    row.address = 0x0a010203;
    row.text = "ab";
    row.raw = {0, 1, 2, 3, 4, 255};
    row.oid = OID{1, 3, 6};
    const DataStringPacker fixed(static_cast<std::string Data::*>(&Row::text), tag::OctetString, 2);
    const std::pair<const Packer*, OID> forms[] = {{packerOf(tag::Integer, &Row::number), {4000000000}},
                                                   {packerOf(tag::IpAddress, &Row::address), {10, 1, 2, 3}},
                                                   {packerOf(tag::OctetString, &Row::text), {2, 97, 98}},
                                                   {&kMacPacker, {0, 1, 2, 3, 4, 255}}};
    EXPECT_EQ(fixed.getAsKey(&row), (OID{97, 98}));
    EXPECT_EQ(packerOf(tag::ObjectIdentifier, &Row::oid)->getAsKey(&row), (OID{3, 1, 3, 6}));
    EXPECT_TRUE(packerOf(tag::Counter64, &Row::big)->getAsKey(&row).empty());
    OID index;
    for (const auto& [packer, form] : forms) {
        EXPECT_EQ(packer->getAsKey(&row), form);
        index = index + form;
    }
    // One index after the other is consumed from the front, and gives the message that the record itself gives.
    tn::message fromIndex, fromRecord;
    uint32_t field = 1;
    for (const auto& [packer, form] : forms) {
        EXPECT_TRUE(packer->addKeyToMessage(index, fromIndex, field));
        packer->addKeyToMessage(&row, fromRecord, field++);
    }
    EXPECT_TRUE(index.empty());
    EXPECT_EQ(fromIndex, fromRecord);
    EXPECT_EQ(fromIndex.get_be32(kSecondField), 0x0a010203U);
    // What is missing is filled up, and said to be incomplete.
    OID four{1, 2, 3, 4}, two{10, 0};
    tn::message filledUp;
    EXPECT_FALSE(kMacPacker.addKeyToMessage(four, filledUp, 1));
    EXPECT_FALSE(forms[1].first->addKeyToMessage(two, filledUp, kSecondField.number));
    EXPECT_EQ(filledUp, messageOf({{1, Raw{1, 2, 3, 4, 0, 0}}, {kSecondField, Ip4{0x0a000000}}}));
}

TEST(PackerTest, ConstantsIgnoreWritesAndMatchTheirOwnIndexOnly) {
    const ConstNumPacker number(7, tag::Integer);
    Row row;
    EXPECT_TRUE(unpacked(number, row, {tag::Integer, 1, 9}));
    EXPECT_EQ(packed(number, row), (wire::Bytes{tag::Integer, 1, 7}));
    tn::message m;
    OID own{7, 1}, other{8};
    EXPECT_TRUE(number.addKeyToMessage(own, m, Packer::kNoField));
    EXPECT_EQ(own, OID{1});
    EXPECT_FALSE(number.addKeyToMessage(other, m, Packer::kNoField)) << "no row has another number there";
    EXPECT_TRUE(m.empty());
    EXPECT_EQ(packed(ConstIPPacker(0xc0000201, tag::IpAddress), row), (wire::Bytes{tag::IpAddress, 4, 192, 0, 2, 1}));
}

}  // namespace
}  // namespace snmp
