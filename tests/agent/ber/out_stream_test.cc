#include "agent/ber/out_stream.h"

#include <gtest/gtest.h>

#include "agent/ber/tags.h"
#include "agent/ber/variable_binding.h"
#include "tests/agent/ber/octets.h"
#include "tests/agent/said.h"
#include "wire/codec.h"

namespace snmp {
namespace {

// The octets that are written and the line that says why there are none.
std::string written(const std::function<void(OutStream&)>& write) {
    OutStream out;
    const std::string line = said([&] { write(out); });
    return hex(out.bytes()) + line;
}

TEST(OutStream, NumbersHaveTheShortestFormAndNegativeOnesAnOctetMore) {
    const std::pair<unsigned long long, const char*> cases[] = {
        {0, "02 01 00"},
        {127, "02 01 7F"},
        {128, "02 02 00 80"},
        {0x8000, "42 03 00 80 00"},
        {0x7FFFFFFF, "02 04 7F FF FF FF"},
        {0xFFFFFFFF, "41 05 00 FF FF FF FF"},
        {0xFFFFFFFF, "02 01 FF"},
        {0xFFFFFF00, "02 02 FF 00"},
        {0xFFFEFFFF, "02 04 FF FE FF FF"},
        {0x80000000, "02 05 FF 80 00 00 00"},
        {0, "46 01 00"},
        {0x7FFFFFFFFFFFFFFF, "46 08 7F FF FF FF FF FF FF FF"},
        {0x8000000000000000, "46 09 00 80 00 00 00 00 00 00 00"}};
    for (const auto& [value, expected] : cases) {
        const auto add = [v = value, tag = octets(expected)[0]](OutStream& out) {
            tag == tag::Counter64 ? out.add(v, tag) : out.add(static_cast<unsigned>(v), tag);
        };
        EXPECT_EQ(written(add), expected);
    }
}

TEST(OutStream, OidIsBase128OrNotWritten) {
    const char* const tooShort = "SNMP OutStream: cannot encode OID shorter that 2\n";
    const char* const invalid = "SNMP OutStream: encoding invalid OID\n";
    const std::pair<OID, const char*> cases[] = {{{0, 0}, "06 01 00"},
                                                 {{2, 39}, "06 01 77"},
                                                 {{1, 3, 127, 128}, "06 04 2B 7F 81 00"},
                                                 {{1, 3, 16383, 16384}, "06 06 2B FF 7F 81 80 00"},
                                                 {{1, 3, 4294967295}, "06 06 2B 8F FF FF FF 7F"},
                                                 {{}, tooShort},
                                                 {{3, 0}, invalid},
                                                 {{1, 40}, invalid},
                                                 {{2, 40}, invalid}};
    for (const auto& [oid, expected] : cases)
        EXPECT_EQ(written([name = oid](OutStream& out) { out.addOID(name, tag::ObjectIdentifier); }), expected) << oid;
}

TEST(OutStream, StringsBitsAndNulls) {
    const unsigned char bits[] = {3, 0xF8};
    const unsigned char badBits[] = {8, 0xF8};
    EXPECT_EQ(written([](OutStream& out) { out.add("", tag::OctetString); }), "04 00");
    EXPECT_EQ(written([](OutStream& out) { out.add(std::string("a\0b", 3), tag::Opaque); }), "44 03 61 00 62");
    EXPECT_EQ(written([&](OutStream& out) { out.add(bits, 2, tag::IpAddress); }), "40 02 03 F8");
    EXPECT_EQ(written([&](OutStream& out) { out.addBits(bits, 2, tag::BitString); }), "03 02 03 F8");
    EXPECT_EQ(written([](OutStream& out) { out.addNull(tag::EndOfMibView); }), "82 00");
    const std::string reason = "SNMP OutStream: building invalid bitstring\n";
    EXPECT_EQ(written([&](OutStream& out) { out.addBits(bits, 0, tag::BitString); }), reason);
    EXPECT_EQ(written([&](OutStream& out) { out.addBits(badBits, 2, tag::BitString); }), reason);
}

// Appends one OCTET STRING of this many octets, tag and length included.
void addFiller(OutStream& out, size_t size) {
    const size_t header = size < 130 ? 2 : size < 259 ? 3 : 4;
    out.add(std::string(size - header, '.'), tag::OctetString);
}

TEST(OutStream, LengthsAreWidenedWhenTheValueIsClosed) {
    const std::pair<size_t, const char*> cases[] = {
        {127, "30 7F 04 7D"},          {128, "30 81 80 04 7E"},          {255, "30 81 FF 04 81 FC"},
        {256, "30 82 01 00 04 81 FD"}, {300, "30 82 01 2C 04 82 01 28"}, {65535, "30 82 FF FF 04 82 FF FB"},
        {65536, "30 00 04 82 FF FC"}};
    for (const auto& [length, start] : cases) {
        OutStream out;
        out.startSeq(tag::Sequence);
        addFiller(out, length);
        ASSERT_EQ(out.size(), length + 2);
        EXPECT_EQ(
            said([&] { out.endSeq(), out.endSeq(); }),
            std::string(length < 65536 ? "" : "SNMP OutStream: sequence too long\n") + "SNMP OutStream: no sequence\n");
        EXPECT_EQ(hex(out.bytes()).substr(0, std::string(start).size()), start);
        EXPECT_EQ(out.size(), length + (length < 128 ? 2 : length < 256 ? 3 : length < 65536 ? 4 : 2));
        EXPECT_EQ(out.bytes().back(), '.');
    }
    EXPECT_EQ(written([](OutStream& out) { out.startSeq(pdu::Response), out.endSeq(); }), "A2 00");
}

// A reply whose error fields are filled in again when all else is there, behind a header and before a value whose sizes
// decide which lengths are widened. An `early` index has widened its field before.
OutStream reply(const wire::Message& m, bool early) {
    OutStream out;
    out.startSeq(tag::Sequence);
    out.add(m.version, tag::Integer);
    out.add(m.community, tag::OctetString);
    out.startSeq(m.pdu);
    out.add(m.requestId, tag::Integer);
    out.addErrorStatus(0);
    out.addErrorIndex(0);
    for (int i = 0; i < 2; ++i) out.startSeq(tag::Sequence);
    if (early) out.addErrorIndex(200);
    out.addOID(OID(m.bindings[0].name), tag::ObjectIdentifier);
    out.add(m.bindings[0].value, tag::OctetString);
    out.endSeq();
    out.addErrorIndex(m.errorIndex ^ 1);  // as wide
    for (int i = 0; i < 3; ++i) out.endSeq();
    out.addErrorStatus(static_cast<uint8_t>(m.errorStatus));
    out.addErrorIndex(m.errorIndex);
    return out;
}

TEST(OutStream, ErrorFieldsAreFoundAgainBehindAnyHeader) {
    std::string longName = "1.3";
    for (unsigned i = 0; i < 127; ++i) longName += "." + std::to_string(i * i);
    const size_t headers[] = {0, 118, 125, 127, 250, 256, 64'000}, values[] = {0, 90, 100, 119, 128, 250, 400};
    const unsigned indexes[] = {0, 1, 127, 128, 255, 300, 32'768, 0x80000000};
    const auto fields = [](const wire::Message& m) {
        return std::tuple(m.community, m.requestId, m.errorStatus, m.errorIndex, m.bindings);
    };
    for (size_t cell = 0; cell < 7 * 7 * 8 * 2 * 2; ++cell) {
        const std::string value(values[cell / 7 % 7], 'v'), name = cell / 392 % 2 == 0 ? "1.3.6" : longName;
        const wire::Message m{.community = std::string(headers[cell % 7], 'c'),
                              .pdu = pdu::Response,
                              .requestId = 7,
                              .errorStatus = 5,
                              .errorIndex = indexes[cell / 49 % 8],
                              .bindings = {{name, tag::OctetString, value}}};
        std::string why;
        const auto read = wire::decode(reply(m, cell / 784 == 0).bytes(), why);
        ASSERT_TRUE(read) << why << ": " << cell;
        EXPECT_EQ(fields(*read), fields(m)) << cell;
    }
}

TEST(OutStream, TextBecomesAValueOfTheTypeAsked) {
    const std::tuple<uint8_t, const char*, const char*> cases[] = {
        {tag::ObjectIdentifier, ".1.3.6", "06 02 2B 06"},
        {tag::OctetString, "1.3", "04 03 31 2E 33"},
        {tag::Null, "ignored", "05 00"},
        {tag::IpAddress, "10.1.2.3", "40 04 0A 01 02 03"},
        {tag::IpAddress, "0.0.1.2", "40 04 00 00 01 02"},
        {tag::IpAddress, "nonsense", "40 04 FF FF FF FF"},
        {tag::Integer, " -2x", "02 02 FF FE"},
        {tag::Integer, "", "02 01 00"},
        {tag::Counter32, "-1", "41 05 00 FF FF FF FF"},
        {tag::TimeTicks, "4294967295", "43 05 00 FF FF FF FF"},
        {tag::UInteger32, "128", "47 02 00 80"},
        {tag::Counter64, "1", ""}};
    for (const auto& [type, text, expected] : cases)
        EXPECT_EQ(written([t = type, x = text](OutStream& out) { out.addByType(x, t); }), expected) << text;
    const auto varbind = [](OutStream& out) { out.addVarBind({OID{1, 3, 6}, tag::Gauge32, "5"}); };
    EXPECT_EQ(written(varbind), "30 04 06 02 2B 06") << "its type has no text: the name stands alone";
}

TEST(OutStream, CuttingBackKeepsOpenValuesWhole) {
    OutStream out;
    out.startSeq(tag::Sequence);
    out.addErrorStatus(5);
    out.addErrorIndex(300);
    out.startSeq(tag::Sequence);
    const size_t kept = out.size();
    addFiller(out, 200);
    out.truncate(kept);
    out.addNull(tag::Null);
    out.truncate(999);
    EXPECT_EQ(hex(out.bytes()), "30 00 02 01 05 02 02 01 2C 30 00 05 00");
    out.truncate(0);
    out.endSeq();
    out.addErrorIndex(1);
    out.truncate(2);
    out.addErrorStatus(3);
    out.addErrorIndex(7);
    out.endSeq();
    EXPECT_EQ(hex(out.bytes()), "30 06 02 01 03 02 01 07") << "a field that was cut off is written anew";
}

}  // namespace
}  // namespace snmp
