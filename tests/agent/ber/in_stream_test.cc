#include "agent/ber/in_stream.h"

#include <gtest/gtest.h>

#include <sstream>

#include "agent/ber/tags.h"
#include "tests/agent/ber/octets.h"
#include "tests/agent/said.h"

namespace snmp {
namespace {

using Read = bool (*)(InStream& in);

// A getter that is to fail: its result stays as it was.
template <auto getter, class T>
bool keeps(InStream& in, T old) {
    T value = old;
    const bool ok = (in.*getter)(&value);
    EXPECT_EQ(value, old) << hex(in.bytes());
    return ok;
}

const Read kInt = [](InStream& in) { return keeps<&InStream::getInt>(in, 77U); };
const Read k64 = [](InStream& in) { return keeps<&InStream::get64>(in, 77ULL); };
const Read kNull = [](InStream& in) { return in.getNull(); };
const Read kString = [](InStream& in) { return keeps<&InStream::getString>(in, std::string("old")); };
const Read kBits = [](InStream& in) { return keeps<&InStream::getBits>(in, std::vector<unsigned char>{7}); };
const Read kOid = [](InStream& in) { return keeps<&InStream::getOID>(in, OID{7}); };
const Read kSeq = [](InStream& in) { return in.enterSeq() >= 0; };
const Read kLen = [](InStream& in) { return in.getLen() >= 0; };

TEST(InStream, RefusedOctetsGiveTheirReasonAndStopWhereTheyFail) {
    using Case = std::tuple<Read, const char*, const char*, size_t>;  // the octets, a reason or "" for silence
    const Case cases[] = {{kLen, "", "", 0},
                          {kLen, "80", "we don't support indefinite lengths", 0},
                          {kLen, "85 00 00 00 00 01", "we can't support data lengths that long", 0},
                          {kLen, "82 01", "malformed in getLen", 1},
                          {kLen, "84 80 00 00 00", "", 5},
                          {kInt, "", "", 0},
                          {kInt, "02 84 FF FF FF FF 01", "", 6},
                          {kInt, "02 84 7F FF FF FF 01", "get int overflow of message", 6},
                          {kInt, "02 02 01", "get int overflow of message", 2},
                          {kInt, "02 05 01 00 00 00 00", "I don't support such large integers 2", 2},
                          {kInt, "02 06 00 00 00 00 00 01", "I don't support such large integers", 2},
                          {k64, "46 02 01", "get 64 overflow of message", 2},
                          {k64, "46 09 00 FF FF FF FF FF FF FF FF", "invalig counter64 size", 2},
                          {kNull, "05 01 00", "malformed null", 2},
                          {kNull, "05 84 FF FF FF FF", "", 6},
                          {kString, "04 03 41 42", "get string overflow of message", 2},
                          {kBits, "03 02 00", "get bits overflow of message", 2},
                          {kBits, "03 00", "Invalid bitstring", 2},
                          {kBits, "03 02 08 FF", "Invalid bitstring", 2},
                          {kOid, "06 03 2B 06", "get oid overflow of message2 3 4", 2},
                          {kOid, "06 03 2B 06 81", "malformed oid", 5},
                          {kSeq, "30 02 01", "", 2},
                          {kSeq, "30 84 80 00 00 00", "", 6}};
    for (const auto& [read, message, reason, position] : cases) {
        InStream in(octets(message));
        const std::string line = *reason == '\0' ? "" : "SNMP InStream: " + std::string(reason) + "\n";
        const auto fails = [&, readValue = read] { EXPECT_FALSE(readValue(in)); };
        EXPECT_EQ(said(fails), line) << message;
        EXPECT_EQ(in.position(), position) << message;
    }
}

TEST(InStream, NamesThatOverlapAreRefusedAndAnotherMessageStartsAfresh) {
    const auto message = octets("06 03 2B 06 01");
    InStream in(message);
    OID name;
    for (int i = 0; i < 5; ++i) {  // 15 octets of names in a message of 5
        in.reset();
        EXPECT_TRUE(in.getOID(&name));
    }
    in.reset();
    EXPECT_FALSE(in.getOID(&name));
    in.read(message);
    EXPECT_TRUE(in.getOID(&name));
}

template <auto getter, class T>
void expectReads(const std::vector<std::pair<const char*, T>>& cases, const T& longer = T{}) {
    for (const auto& [text, expected] : cases) {
        InStream in(octets(text));
        T value = longer;
        EXPECT_TRUE((in.*getter)(&value)) << text;
        EXPECT_EQ(value, expected) << text;
        EXPECT_TRUE(in.isSeqEnd()) << text;
    }
}

TEST(InStream, ReadsLenientForms) {
    expectReads<&InStream::getInt, unsigned>({{"02 00", 0},
                                              {"02 02 FF 80", 0xFFFFFF80},
                                              {"02 05 00 FF FF FF FF", 0xFFFFFFFF},
                                              {"02 84 00 00 00 01 07", 7},
                                              {"41 02 80 00", 0xFFFF8000}});  // sign-extended whatever the tag
    expectReads<&InStream::get64, unsigned long long>(
        {{"46 00", 0}, {"46 01 FF", 0xFF}, {"46 08 FF FF FF FF FF FF FF FE", 0xFFFFFFFFFFFFFFFE}});
    expectReads<&InStream::getOID, OID>(
        {
            {"06 00", {0, 0}},
            {"06 01 78", {3, 0}},
            {"06 02 2B 7F", {1, 3, 127}},
            {"06 03 2B 80 01", {1, 3, 1}},
            {"06 06 2B 8F FF FF FF 7F", {1, 3, 4294967295}},
            {"06 06 2B 9F FF FF FF 7F", {1, 3, 4294967295}},  // bits past 32 fall out
            {"06 02 2B 81 82 03", {1, 3, 16643}},             // reads on behind its content
        },
        OID{7, 7, 7, 7, 7, 7, 7});
    expectReads<&InStream::getString, std::string>({{"04 00", ""}, {"40 81 02 41 00", std::string("A\0", 2)}});
    expectReads<&InStream::getBits, std::vector<unsigned char>>({{"03 01 07", {7}}, {"03 02 03 F8", {3, 0xF8}}});
}

TEST(InStream, LeavingAValueSkipsWhatIsLeftOrReadTooFarAndNeedsOneEntered) {
    InStream in(octets("30 03 06 01 2A 30 01 04 02 41 42 05 00"));
    ASSERT_EQ(in.enterSeq(), 3);
    EXPECT_FALSE(in.isSeqEnd());
    in.exitSeq();
    ASSERT_EQ(in.enterSeq(), 1);
    std::string text;
    ASSERT_TRUE(in.getString(&text)) << "inner ends bound no read";
    EXPECT_TRUE(in.isSeqEnd()) << "past the end counts as the end";
    in.exitSeq();
    EXPECT_EQ(in.position(), 8U);
    EXPECT_EQ(said([&] { in.exitSeq(); }), "SNMP InStream: exitSeq when seqEndp is empty!\n");
    EXPECT_EQ(in.position(), 8U);

    in.read(octets("05 00"));
    EXPECT_EQ(in.getType(), tag::Null);
    EXPECT_FALSE(in.isSeqEnd());
    EXPECT_TRUE(in.getNull());
    EXPECT_TRUE(in.isSeqEnd());
    EXPECT_EQ(in.getType(), kNoTag);
}

TEST(InStream, VersionIsReadOnceAndKept) {
    InStream in(octets("30 03 02 01 03"));
    EXPECT_EQ(in.getVersion(), 3);
    in.reset();
    EXPECT_EQ(in.getVersion(), 3);
    EXPECT_EQ(in.position(), 0U);
    for (const char* bad : {"", "30", "30 05 02 01 03", "30 02 02 01"}) {
        InStream broken(octets(bad));
        EXPECT_EQ(broken.getVersion(), -1) << bad;
    }
}

TEST(UberStream, DumpHasSixteenOctetsALine) {
    std::ostringstream stream;
    UberStream(octets("00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E FF 10")).dump(stream);
    stream << 16;
    EXPECT_EQ(stream.str(), "00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e ff \n10 \n16");
}

}  // namespace
}  // namespace snmp
