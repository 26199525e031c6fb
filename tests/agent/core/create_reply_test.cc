#include "agent/core/create_reply.h"

#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

/// 1.3.1 to 1.3.4 are the numbers 1 to 4.
class CreateReplyTest : public AgentTest {
  protected:
    CreateReplyTest() {
        opensCommon();
        for (unsigned i = 1; i <= 4; ++i) addScalarConstNumLeaf(OID{1, 3, i}, static_cast<int>(i), tag::Integer);
    }

    static wire::Message getOf(const std::string& name) { return {.pdu = pdu::GetRequest, .bindings = {null(name)}}; }
};

TEST_F(CreateReplyTest, TheNameOfAUserAloneOpensNothing) {
    addEntry("user", "0.0.0.0/0", 1);
    wire::Message request = getOf("1.3.1.0");
    request.community = "user";
    EXPECT_FALSE(ask(request));
}

TEST_F(CreateReplyTest, SaysNothingToWhatIsNoRequestItServes) {
    wire::Message request = getOf("1.3.1.0");
    for (const uint32_t version : {3U, 5U, 0xffffffffU}) {
        request.version = version;
        EXPECT_FALSE(ask(request)) << version;
    }
    request.version = kVersion2c;
    for (const uint8_t tag :
         {pdu::Response, pdu::TrapV1, pdu::InformRequest, pdu::TrapV2, pdu::Report, tag::Sequence}) {
        request.pdu = tag;
        EXPECT_FALSE(ask(request)) << unsigned{tag};
    }
    EXPECT_FALSE(ask(getOf("3.0.1")));  // a name that can't be written again
    const wire::Bytes whole = wire::encode(getOf("1.3.1.0"));
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(askBytes(wire::Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
}

TEST_F(CreateReplyTest, V1ErrorCarriesTheWholeListAndV2cEndsWithTheFailure) {
    for (const uint32_t version : {kVersion1, kVersion2c}) {
        const wire::Message reply = get({"1.3.1.0", "1.3.9.0", "1.3.2.0"}, version);
        EXPECT_EQ(std::pair(reply.errorStatus, reply.errorIndex), std::pair(2U, 2U));
        std::vector<wire::Binding> bindings = {number("1.3.1.0", 1), null("1.3.9.0")};
        if (version == kVersion1) bindings.push_back(null("1.3.2.0"));
        EXPECT_EQ(reply.bindings, bindings);
    }
}

TEST_F(CreateReplyTest, ErrorIndexIsThePositionInTheRequestWhateverWasWalked) {
    std::vector<std::string> names(299, "1.3.1");
    names.emplace_back("1.4");
    const wire::Message reply = next(names);
    EXPECT_EQ(std::pair(reply.errorStatus, reply.errorIndex), std::pair(2U, 300U));
    EXPECT_EQ(reply.bindings.size(), 300U);
    EXPECT_EQ(bulk(names, 299, 50).bindings.size(), 300U);
    EXPECT_EQ(get({"1.3.1.0", "1.3.2.0", "1.3.2.1"}).errorIndex, 3U);
}

TEST_F(CreateReplyTest, AccessRightsDecideReadsAndWrites) {
    const wire::Message denied = set({number("1.3.1.0", 5)});
    EXPECT_EQ(std::pair(denied.errorStatus, denied.errorIndex), std::pair(4U, 0U));
    EXPECT_THAT(denied.bindings, ElementsAre(null("1.3.1.0")));

    changeEntry("common", {{6, false}});
    const wire::Message unreadable = get({"1.3.1.0"});
    EXPECT_EQ(std::pair(unreadable.errorStatus, unreadable.errorIndex), std::pair(2U, 1U));
}

TEST_F(CreateReplyTest, BulkLimits) {
    const std::tuple<uint32_t, uint32_t, uint32_t> cases[] = {
        {0, 50, 0}, {0, 51, 1}, {0xffffffff, 51, 1}, {0, 0, 3}};  // non-repeaters, max-repetitions, error-status
    for (const uint32_t version : {kVersion1, kVersion2c}) {
        for (const auto& [nonRepeaters, repetitions, status] : cases) {
            const wire::Message reply = bulk({"1.3"}, nonRepeaters, repetitions, version);
            EXPECT_EQ(std::tuple(reply.errorStatus, reply.errorIndex, reply.bindings.empty()),
                      std::tuple(status, 0U, status != 0));
        }
    }
}

TEST_F(CreateReplyTest, AReplyThatCanNotBeSentIsTooBigAndEmpty) {
    addScalarConstStringLeaf(OID{1, 3, 5}, std::string(30000, 'x'), tag::OctetString);
    EXPECT_EQ(get({"1.3.5.0", "1.3.5.0"}).bindings.size(), 2U);
    EXPECT_EQ(bulk({"1.3.4", "1.3.4", "1.3.4"}, 0, 50).errorStatus, 1U);
    std::string longName = "1.3.9";
    while (longName.size() < 12'000) longName += ".1";
    // Neither a third long value fits, nor the long name of a failure.
    for (const std::string& last : {std::string("1.3.5.0"), longName}) {
        for (const uint32_t version : {kVersion1, kVersion2c}) {
            const wire::Message reply = get({"1.3.5.0", "1.3.5.0", last}, version);
            EXPECT_EQ(std::tuple(reply.errorStatus, reply.errorIndex, reply.bindings.size()), std::tuple(1U, 0U, 0U));
        }
    }
}

}  // namespace
}  // namespace snmp
