#include "agent/ber/out_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "agent/ber/tags.h"
#include "agent/ber/variable_binding.h"
#include "tests/agent/ber/octets.h"
#include "tn/sources.h"
#include "wire/codec.h"

namespace snmp {
namespace {

std::string written(const std::function<void(OutStream&)>& write) {
    OutStream out;
    write(out);
    return hex(out.bytes());
}

// What is said meanwhile, a minute after all that was said before: a stranger's lines are few in a second.
std::string said(const std::function<void()>& f) {
    struct : tn::Sources {
        uint64_t bootNanoseconds() override { return now; }
        uint64_t now = tn::sources().bootNanoseconds();
    } clock;
    static uint64_t minutes = 0;
    clock.now += ++minutes * 60'000'000'000;
    tn::setSources(&clock);
    testing::internal::CaptureStdout();
    f();
    tn::setSources(nullptr);
    return testing::internal::GetCapturedStdout();
}

// What a write that adds nothing says.
std::string refusal(const std::function<void(OutStream&)>& write) {
    return said([&] { EXPECT_EQ(written(write), ""); });
}

TEST(OutStream, NumbersHaveTheShortestFormAndNegativeOnesAnOctetMore) {
    const std::tuple<unsigned, uint8_t, const char*> cases[] = {
        {0, tag::Integer, "02 01 00"},
        {127, tag::Integer, "02 01 7F"},
        {128, tag::Integer, "02 02 00 80"},
        {0x7FFF, tag::Gauge32, "42 02 7F FF"},
        {0x8000, tag::Gauge32, "42 03 00 80 00"},
        {0x7FFFFFFF, tag::Integer, "02 04 7F FF FF FF"},
        {0x80000000, tag::Counter32, "41 05 00 80 00 00 00"},
        {0xFFFFFFFF, tag::Counter32, "41 05 00 FF FF FF FF"},
        {0xFFFFFFFF, tag::Integer, "02 01 FF"},
        {0xFFFFFFFE, tag::Integer, "02 02 FF FE"},
        {0xFFFFFF80, tag::Integer, "02 02 FF 80"},
        {0xFFFFFF7F, tag::Integer, "02 02 FF 7F"},
        {0xFFFFFF00, tag::Integer, "02 02 FF 00"},
        {0xFFFEFFFF, tag::Integer, "02 04 FF FE FF FF"},
        {0x80000000, tag::Integer, "02 05 FF 80 00 00 00"},
    };
    for (const auto& [value, type, expected] : cases) {
        EXPECT_EQ(written([&, v = value, t = type](OutStream& out) { out.add(v, t); }), expected) << value;
    }
    const std::pair<unsigned long long, const char*> wide[] = {
        {0, "46 01 00"},
        {255, "46 02 00 FF"},
        {0x7FFFFFFFFFFFFFFF, "46 08 7F FF FF FF FF FF FF FF"},
        {0x8000000000000000, "46 09 00 80 00 00 00 00 00 00 00"},
    };
    for (const auto& [value, expected] : wide) {
        EXPECT_EQ(written([v = value](OutStream& out) { out.add(v, tag::Counter64); }), expected) << value;
    }
}

TEST(OutStream, OidIsBase128OrNotWritten) {
    const std::pair<OID, const char*> cases[] = {
        {{1, 3, 6, 1, 4, 1, 49999}, "06 08 2B 06 01 04 01 83 86 4F"},
        {{0, 0}, "06 01 00"},
        {{2, 39}, "06 01 77"},
        {{1, 3, 127, 128}, "06 04 2B 7F 81 00"},
        {{1, 3, 16383, 16384}, "06 06 2B FF 7F 81 80 00"},
        {{1, 3, 4294967295}, "06 06 2B 8F FF FF FF 7F"},
    };
    for (const auto& [oid, expected] : cases) {
        EXPECT_EQ(written([name = oid](OutStream& out) { out.addOID(name, tag::ObjectIdentifier); }), expected) << oid;
    }
    const std::pair<OID, const char*> refused[] = {
        {{}, "cannot encode OID shorter that 2"}, {{1}, "cannot encode OID shorter that 2"},
        {{3, 0}, "encoding invalid OID"},         {{1, 40}, "encoding invalid OID"},
        {{2, 40}, "encoding invalid OID"},
    };
    for (const auto& [oid, reason] : refused) {
        EXPECT_EQ(refusal([name = oid](OutStream& out) { out.addOID(name, tag::ObjectIdentifier); }),
                  "SNMP OutStream: " + std::string(reason) + "\n");
    }
    const std::string flood = refusal([](OutStream& out) {
        for (int i = 0; i < 100; ++i) out.addOID(OID{1}, tag::ObjectIdentifier);
    });
    EXPECT_EQ(std::count(flood.begin(), flood.end(), '\n'), 10) << "a Report repeats a stranger's names";
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
    EXPECT_EQ(refusal([&](OutStream& out) { out.addBits(bits, 0, tag::BitString); }), reason);
    EXPECT_EQ(refusal([&](OutStream& out) { out.addBits(badBits, 2, tag::BitString); }), reason);
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
        {65536, "30 00 04 82 FF FC"},
    };
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
    out.startSeq(tag::Sequence);
    out.startSeq(tag::Sequence);
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
    for (const std::string& name : {std::string("1.3.6"), longName}) {
        for (const size_t header : {0U, 118U, 125U, 127U, 250U, 256U, 64000U}) {
            for (const size_t value : {0U, 90U, 100U, 119U, 128U, 250U, 400U}) {
                for (const unsigned index : {0U, 1U, 127U, 128U, 255U, 300U, 32768U, 0x80000000U}) {
                    wire::Message m{.community = std::string(header, 'c'),
                                    .pdu = pdu::Response,
                                    .requestId = 7,
                                    .errorStatus = 5,
                                    .errorIndex = index,
                                    .bindings = {{name, tag::OctetString, std::string(value, 'v')}}};
                    for (const bool early : {false, true}) {
                        std::string why;
                        const auto read = wire::decode(reply(m, early).bytes(), why);
                        ASSERT_TRUE(read) << why << ": " << header << " " << value << " " << index;
                        EXPECT_EQ(std::tuple(read->requestId, read->errorStatus, read->errorIndex),
                                  std::tuple(7U, 5U, index))
                            << header << " " << value;
                        EXPECT_EQ(std::pair(read->community, read->bindings), std::pair(m.community, m.bindings));
                    }
                }
            }
        }
    }
    EXPECT_EQ(written([](OutStream& out) { out.addErrorIndex(127); }), "02 01 7F");
    EXPECT_EQ(written([](OutStream& out) { out.addErrorIndex(0), out.addErrorIndex(128); }), "02 02 00 80");
    EXPECT_EQ(written([](OutStream& out) { out.addErrorStatus(0), out.addErrorStatus(5); }), "02 01 05");
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
        {tag::Gauge32, "1", ""},
        {tag::Opaque, "1", ""},
        {tag::Counter64, "1", ""},
    };
    for (const auto& [type, text, expected] : cases) {
        EXPECT_EQ(written([t = type, x = text](OutStream& out) { out.addByType(x, t); }), expected) << text;
    }
    const auto varbind = [](uint8_t type) {
        return written([=](OutStream& out) { out.addVarBind({OID{1, 3, 6}, type, "5"}); });
    };
    EXPECT_EQ(varbind(tag::Integer), "30 07 06 02 2B 06 02 01 05");
    EXPECT_EQ(varbind(tag::Gauge32), "30 04 06 02 2B 06");  // its type has no text: the name stands alone
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
