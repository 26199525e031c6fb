#include "agent/ber/out_stream.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "agent/ber/in_stream.h"
#include "agent/ber/tags.h"
#include "agent/ber/variable_binding.h"
#include "tests/agent/ber/octets.h"

namespace snmp {
namespace {

std::string written(const std::function<void(OutStream&)>& write) {
    OutStream out;
    write(out);
    return hex(out.bytes());
}

// What a write that adds nothing says.
std::string refusal(const std::function<void(OutStream&)>& write) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(written(write), "");
    return testing::internal::GetCapturedStdout();
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
        testing::internal::CaptureStdout();
        out.endSeq();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), length < 65536 ? "" : "SNMP OutStream: sequence too long\n");
        EXPECT_EQ(hex(out.bytes()).substr(0, std::string(start).size()), start);
        EXPECT_EQ(out.size(), length + (length < 128 ? 2 : length < 256 ? 3 : length < 65536 ? 4 : 2));
        EXPECT_EQ(out.bytes().back(), '.');
    }
    EXPECT_EQ(refusal([](OutStream& out) { out.endSeq(); }), "SNMP OutStream: no sequence\n");
    EXPECT_EQ(written([](OutStream& out) { out.startSeq(pdu::Response), out.endSeq(); }), "A2 00");
}

TEST(OutStream, ValueTooLongIsClosedAllTheSame) {
    OutStream out;
    out.startSeq(tag::Sequence);
    out.startSeq(tag::Sequence);
    addFiller(out, 65536);
    testing::internal::CaptureStdout();
    out.endSeq();
    out.endSeq();
    out.endSeq();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "SNMP OutStream: sequence too long\nSNMP OutStream: sequence too long\nSNMP OutStream: no sequence\n");
}

TEST(OutStream, BareLengthsKeepTheirLowSixteenBits) {
    const std::pair<unsigned, const char*> cases[] = {
        {127, "7F"}, {128, "81 80"}, {256, "82 01 00"}, {65535, "82 FF FF"}, {65537, "82 00 01"}};
    for (const auto& [n, expected] : cases) {
        EXPECT_EQ(written([v = n](OutStream& out) { out.addLen(v); }), expected);
    }
}

// A reply as the agent builds it: a header of this many octets, and bindings whose size decides which lengths widen.
OutStream reply(size_t header, size_t bindings, uint8_t status, unsigned index) {
    OutStream out;
    out.startSeq(tag::Sequence);
    addFiller(out, header);
    out.startSeq(pdu::Response);
    out.add(7U, tag::Integer);
    out.addErrorStatus(0);
    out.addErrorIndex(0);
    out.startSeq(tag::Sequence);
    addFiller(out, bindings);
    out.endSeq();
    out.endSeq();
    out.endSeq();
    out.addErrorStatus(status);
    out.addErrorIndex(index);
    return out;
}

TEST(OutStream, ErrorFieldsAreFoundAgainBehindAnyHeader) {
    for (const size_t header : {2U, 120U, 127U, 250U, 256U, 300U, 65000U}) {
        for (const size_t bindings : {2U, 100U, 119U, 128U, 250U, 400U}) {
            for (const unsigned index : {1U, 127U, 128U, 300U}) {
                InStream in(reply(header, bindings, 5, index).bytes());
                unsigned id = 0, status = 0, read = 0;
                std::string filler;
                ASSERT_GE(in.enterSeq(), 0);
                ASSERT_TRUE(in.getString(&filler));
                ASSERT_EQ(in.getType(), pdu::Response) << header;
                ASSERT_GE(in.enterSeq(), 0);
                ASSERT_TRUE(in.getInt(&id) && in.getInt(&status) && in.getInt(&read));
                EXPECT_EQ(std::tuple(id, status, read), std::tuple(7U, 5U, index)) << header << " " << bindings;
                EXPECT_GE(in.enterSeq(), 0);
                EXPECT_TRUE(in.getString(&filler));
                EXPECT_TRUE(in.isSeqEnd()) << header << " " << bindings;
            }
        }
    }
}

TEST(OutStream, LargeErrorIndexWidensItsFieldInsideOpenValues) {
    for (const unsigned index : {0U, 1U, 127U, 128U, 255U, 300U, 32768U, 0x80000000U}) {
        OutStream out;
        out.startSeq(tag::Sequence);
        out.addErrorStatus(0);
        out.addErrorIndex(0);
        out.startSeq(tag::Sequence);
        out.addErrorIndex(200);  // widens, later ones widen again or are padded
        out.addErrorIndex(index);
        addFiller(out, 140);
        out.endSeq();
        out.addErrorStatus(2);
        out.endSeq();

        InStream in(out.bytes());
        unsigned status = 0, read = 0;
        std::string filler;
        ASSERT_GE(in.enterSeq(), 0);
        ASSERT_TRUE(in.getInt(&status) && in.getInt(&read));
        EXPECT_EQ(status, 2U);
        EXPECT_EQ(read, index);
        ASSERT_EQ(in.enterSeq(), 140) << hex(out.bytes());
        EXPECT_TRUE(in.getString(&filler));
        in.exitSeq();
        EXPECT_TRUE(in.isSeqEnd());
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
}

TEST(OutStream, AVarbindOfATrapKeepsItsNameWhenItsTypeHasNoText) {
    EXPECT_EQ(written([](OutStream& out) {
                  out.addVarBind({OID{1, 3, 6}, tag::Integer, "5"});
              }),
              "30 07 06 02 2B 06 02 01 05");
    EXPECT_EQ(written([](OutStream& out) { out.addVarBind({OID{1, 3, 6}, tag::Gauge32, "5"}); }), "30 04 06 02 2B 06");
}

TEST(OutStream, OverflowIsMoreThanADatagramCarries) {
    OutStream out;
    addFiller(out, kMaxMessage);
    EXPECT_FALSE(out.overflowed());
    out.addNull(tag::Null);
    EXPECT_TRUE(out.overflowed());
    out.truncate(kMaxMessage);
    EXPECT_FALSE(out.overflowed());
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
    out.endSeq();
    EXPECT_EQ(hex(out.bytes()), "30 03 02 01 03") << "a field that was cut off is written anew";
}

// One random value, written and remembered as the read that must give it back.
using Reads = std::vector<std::function<void(InStream&)>>;

void writeRandom(std::mt19937& random, OutStream& out, Reads& reads, unsigned depth) {
    const auto number = static_cast<unsigned>(random() >> random() % 32);
    switch (random() % (depth > 0 ? 6 : 5)) {
        case 0: {
            const uint8_t type = random() % 2 != 0 ? tag::Integer : tag::Gauge32;
            // A negative INTEGER of four octets is written as five, which the reader refuses.
            const unsigned value = type == tag::Integer && number >= 0x80000000 ? number | 0xFF000000 : number;
            out.add(value, type);
            return reads.push_back([=](InStream& in) {
                unsigned read = 0;
                EXPECT_EQ(in.getType(), type);
                EXPECT_TRUE(in.getInt(&read));
                EXPECT_EQ(read, value);
            });
        }
        case 1: {
            const unsigned long long value = (uint64_t{number} << 31 | random()) >> 1;
            out.add(value, tag::Counter64);
            return reads.push_back([=](InStream& in) {
                unsigned long long read = 0;
                EXPECT_TRUE(in.get64(&read));
                EXPECT_EQ(read, value);
            });
        }
        case 2: {
            const std::string text(random() % 400, static_cast<char>(number));
            out.add(text, tag::OctetString);
            return reads.push_back([=](InStream& in) {
                std::string read;
                EXPECT_TRUE(in.getString(&read));
                EXPECT_EQ(read, text);
            });
        }
        case 3: {
            OID oid{static_cast<unsigned>(random() % 3), static_cast<unsigned>(random() % 40)};
            for (size_t n = random() % 130; n > 0; --n) oid += static_cast<unsigned>(random() >> random() % 32);
            out.addOID(oid, tag::ObjectIdentifier);
            return reads.push_back([=](InStream& in) {
                OID read{1, 2, 3};
                EXPECT_TRUE(in.getOID(&read));
                EXPECT_EQ(read, oid);
            });
        }
        case 4:
            out.addNull(tag::NoSuchObject);
            return reads.push_back([](InStream& in) { EXPECT_TRUE(in.getNull()); });
        default:
            out.startSeq(pdu::Response);
            reads.push_back([](InStream& in) { EXPECT_GE(in.enterSeq(), 0); });
            for (size_t n = random() % 8; n > 0; --n) writeRandom(random, out, reads, depth - 1);
            out.endSeq();
            reads.push_back([](InStream& in) {
                EXPECT_TRUE(in.isSeqEnd());
                in.exitSeq();
            });
    }
}

TEST(OutStream, WhatIsWrittenIsReadBack) {
    std::mt19937 random(20);
    for (int message = 0; message < 1000; ++message) {
        OutStream out;
        Reads reads;
        for (int i = 0; i < 10; ++i) writeRandom(random, out, reads, 4);
        InStream in(out.bytes());
        for (const auto& read : reads) read(in);
        ASSERT_TRUE(in.isSeqEnd()) << message << ": " << hex(out.bytes());
        ASSERT_FALSE(HasFailure()) << message << ": " << hex(out.bytes());
    }
}

}  // namespace
}  // namespace snmp
