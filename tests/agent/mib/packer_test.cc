#include "agent/mib/packer.h"

#include <gtest/gtest.h>

#include "agent/mib/columns.h"
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

template <class Member>
const Packer* packerOf(uint8_t syntax, Member member) {
    return packerFor(Column<Row>{1, "sample", syntax, member});
}

wire::Bytes packed(const Packer& packer, const Row& row) {
    Context c({});
    packer.pack(c, &row);
    const auto bytes = c.out.bytes();
    return {bytes.begin(), bytes.end()};
}

bool unpacked(const Packer& packer, Row& row, const wire::Bytes& value) {
    Context c(value);
    return packer.unpack(&row, c);
}

TEST(PackerTest, WhatIsPackedUnpacksToTheSame) {
    Row row;
    row.number = 0xffffffff;
    row.address = 0x0a010203;
    row.big = 0x7fffffffffffffff;  // the reader takes at most 8 octets
    row.text = std::string("a\0b", 3);
    row.raw = {0, 255, 7};
    row.oid = OID{1, 3, 6, 4294967295};
    row.address6 = *IPAddr6::parse("2001:db8::1");
    const Packer* packers[] = {
        packerOf(tag::Counter32, &Row::number),     packerOf(tag::IpAddress, &Row::address),
        packerOf(tag::Counter64, &Row::big),        packerOf(tag::OctetString, &Row::text),
        packerOf(tag::OctetString, &Row::raw),      packerOf(tag::ObjectIdentifier, &Row::oid),
        packerOf(tag::OctetString, &Row::address6),
    };
    Row copy;
    for (const Packer* packer : packers) EXPECT_TRUE(unpacked(*packer, copy, packed(*packer, row)));
    EXPECT_EQ(copy.number, row.number);
    EXPECT_EQ(copy.address, row.address);
    EXPECT_EQ(copy.big, row.big);
    EXPECT_EQ(copy.text, row.text);
    EXPECT_EQ(copy.raw, row.raw);
    EXPECT_EQ(copy.oid, row.oid);
    EXPECT_EQ(copy.address6, row.address6);
    EXPECT_EQ(packed(*packers[1], row), (wire::Bytes{tag::IpAddress, 4, 10, 1, 2, 3}));
}

TEST(PackerTest, AddressesOfAnotherLengthChangeNothing) {
    Row row;
    row.address = 1;
    const auto refuses = [&](const Packer* packer, uint8_t type, size_t length) {
        return !unpacked(*packer, row, wire::tlv(type, wire::Bytes(length, 1)));
    };
    EXPECT_TRUE(refuses(packerOf(tag::IpAddress, &Row::address), tag::IpAddress, 5));
    EXPECT_TRUE(refuses(packerOf(tag::OctetString, &Row::address6), tag::OctetString, 15));
    EXPECT_TRUE(refuses(packerOf(tag::Counter32, &Row::number), tag::Counter32, 6));
    EXPECT_EQ(row.address, 1U);
    EXPECT_TRUE(row.address6.empty());
}

TEST(PackerTest, IndexFormsGoThereAndBack) {
    Row row;
    row.number = 4000000000;
    row.address = 0x0a010203;
    row.text = "ab";
    row.raw = {0, 1, 2, 3, 4, 255};
    const DataStringPacker fixed(static_cast<std::string Data::*>(&Row::text), tag::OctetString, 2);
    const DataRawPacker mac(static_cast<std::vector<unsigned char> Data::*>(&Row::raw), tag::OctetString, 6);
    const Packer* number = packerOf(tag::Integer, &Row::number);
    const Packer* address = packerOf(tag::IpAddress, &Row::address);
    const Packer* text = packerOf(tag::OctetString, &Row::text);

    EXPECT_EQ(number->getAsKey(&row), (OID{4000000000}));
    EXPECT_EQ(address->getAsKey(&row), (OID{10, 1, 2, 3}));
    EXPECT_EQ(text->getAsKey(&row), (OID{2, 97, 98}));
    EXPECT_EQ(fixed.getAsKey(&row), (OID{97, 98}));
    EXPECT_EQ(mac.getAsKey(&row), (OID{0, 1, 2, 3, 4, 255}));
    row.oid = OID{1, 3, 6};
    EXPECT_EQ(packerOf(tag::ObjectIdentifier, &Row::oid)->getAsKey(&row), (OID{3, 1, 3, 6}));

    // One index after the other is consumed from the front, and gives the message that the record itself gives.
    OID index = number->getAsKey(&row) + address->getAsKey(&row) + text->getAsKey(&row) + mac.getAsKey(&row);
    tn::message fromIndex, fromRecord;
    constexpr tn::be32_id kAddress{2};  // of the second packer
    uint32_t field = kAddress.number - 1;
    for (const Packer* packer : {number, address, text, static_cast<const Packer*>(&mac)}) {
        EXPECT_TRUE(packer->addKeyToMessage(index, fromIndex, field));
        packer->addKeyToMessage(&row, fromRecord, field++);
    }
    EXPECT_TRUE(index.empty());
    EXPECT_EQ(fromIndex, fromRecord);
    EXPECT_EQ(fromIndex.get_be32(kAddress), 0x0a010203U);
}

TEST(PackerTest, IncompleteIndexes) {
    Row row;
    row.raw = {1, 2, 3, 4, 5};
    const DataRawPacker mac(static_cast<std::vector<unsigned char> Data::*>(&Row::raw), tag::OctetString, 6);
    EXPECT_TRUE(mac.getAsKey(&row).empty());  // a value of another length has no index

    constexpr tn::raw_id kMac{1};
    constexpr tn::string_id kText{2};
    constexpr tn::be32_id kAddress{3};
    tn::message m;
    OID four{1, 2, 3, 4};
    EXPECT_FALSE(mac.addKeyToMessage(four, m, kMac.number));
    EXPECT_EQ(m.get_raw(kMac), (std::vector<uint8_t>{1, 2, 3, 4, 0, 0}));

    const Packer* text = packerOf(tag::OctetString, &Row::text);
    for (OID bad : {OID{3, 97, 98}, OID{2, 97, 256}, OID{}}) EXPECT_FALSE(text->addKeyToMessage(bad, m, kText.number));
    EXPECT_FALSE(m.has(kText));

    OID two{10, 0};
    EXPECT_FALSE(packerOf(tag::IpAddress, &Row::address)->addKeyToMessage(two, m, kAddress.number));
    EXPECT_EQ(m.get_be32(kAddress), 0x0a000000U);
    EXPECT_TRUE(packerOf(tag::Counter64, &Row::big)->getAsKey(&row).empty());
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
