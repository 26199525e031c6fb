#include "agent/core/v3_reply.h"

#include <gmock/gmock.h>

#include "agent/modules/usm_module.h"
#include "tests/agent/core/v3_test.h"

namespace snmp {
namespace {

using testing::Each;

class V3ReplyTest : public V3Test {
  protected:
    static void expectEngine(const wire::Manager::Reply& reply) {
        EXPECT_EQ(reply.header.engineId, engineId("core1"));
        EXPECT_EQ(reply.scoped.contextEngineId, engineId("core1"));
        EXPECT_EQ(std::pair(reply.header.boots, reply.header.time), std::pair(kBoots, kTime));
    }
    static wire::Manager withDigestOf(size_t octets) {
        wire::Manager m = manager(1);
        m.authSize = octets;
        return m;
    }
};

TEST_F(V3ReplyTest, DiscoveryReportsEngineBootsAndTime) {
    for (uint32_t count = 1; count <= 2; ++count) {
        const auto reply = ask(wire::Manager(), {.pdu = pdu::GetRequest, .bindings = {}});
        EXPECT_EQ(errorOf(reply), 3);
        EXPECT_EQ(Context::v3counters[3], count);
        expectEngine(*reply);
    }
    wire::Manager longest;
    longest.user.assign(65'450, 'u');
    EXPECT_FALSE(send(longest, longest.request(getOne()))) << "its Report doesn't fit a datagram";
}

TEST_F(V3ReplyTest, TheCountersOfReportsAreServed) {
    start_usm_module();
    Context::v3counters = {10, 20, 30, 40, 50, 60};
    wire::Message body = getOne();
    const std::string stats = "1.3.6.1.6.3.15.1.1.";
    body.bindings = {null(stats + "1.0"), null(stats + "4.0"), null(stats + "6.0")};
    const auto reply = ask(manager(1), body);
    ASSERT_TRUE(reply);
    EXPECT_EQ(shown(reply->scoped.body.bindings), "10 40 60");
    EXPECT_EQ(reply->scoped.body.bindings[0].tag, tag::Counter32);
}

TEST_F(V3ReplyTest, AMessageIsAcceptedWithin15SecondsOfItsTimeAndNotBefore) {
    const auto errorAt = [this](uint32_t boots, uint32_t time) {
        wire::Manager m = manager(1);
        m.boots = boots;
        m.time = time;
        const auto reply = ask(m);
        EXPECT_EQ(reply->header.flags[0] & 3, 1);  // signed: managers set their clocks by it
        expectEngine(*reply);
        return errorOf(reply);
    };
    EXPECT_EQ(errorAt(kBoots, kTime - 15), -1);
    EXPECT_EQ(errorAt(kBoots, kTime - 16), 1);
    EXPECT_EQ(errorAt(kBoots, kTime + 1), 1);
    EXPECT_EQ(errorAt(kBoots - 1, kTime), 1);
    EXPECT_EQ(errorAt(kBoots + 1, kTime), 1);
    for (const uint32_t extreme : {0U, 0x7fffffffU, 0xffffffffU}) {
        EXPECT_EQ(errorAt(kBoots, extreme), 1);
        EXPECT_EQ(errorAt(extreme, kTime), 1);
    }
    wire::Manager unsigned_ = manager(0);  // nothing proves such a time, so it doesn't count
    unsigned_.time = 1;
    EXPECT_EQ(errorOf(unsigned_), -1);
}

TEST_F(V3ReplyTest, OfSeveralFaultsTheFirstIsReported) {
    addUser("strict", false, "authentication", 2, "192.0.2.0/24");
    wire::Manager m = manager(1, "strict");
    m.engineId = "other";
    m.time = 1;
    m.authPassword = "wrong";
    const auto error = [&](const char* source = "127.0.0.1") {
        // The reply is signed with what the agent knows, not with what this manager believes.
        wire::Manager right = manager(1, "strict");
        return errorOf(send(right, m.request(getOne()), source));
    };
    EXPECT_EQ(error(), 0);
    m.level = 2;
    EXPECT_EQ(error(), std::nullopt);  // what can't be decrypted tells nothing
    changeEntry("strict", {{15, 1U}});
    m.level = 1;
    EXPECT_EQ(error(), 3);
    m.engineId = engineId("core1");
    EXPECT_EQ(error(), 1);
    m.time = kTime;
    EXPECT_EQ(error(), 4);
    m.authPassword = "authentication";
    EXPECT_EQ(error(), 2);
    EXPECT_EQ(error("192.0.2.1"), -1);
    EXPECT_EQ(Context::v3counters, (std::array<uint32_t, kV3Errors>{1, 1, 1, 1, 1, 0}));
}

TEST_F(V3ReplyTest, ALevelBelowTheUsersIsNotEnough) {
    addUser("private", false, "authentication", 2);
    EXPECT_EQ(errorOf(manager(0, "private")), 0);
    EXPECT_EQ(errorOf(manager(1, "private")), 0);
    EXPECT_EQ(errorOf(manager(2, "private")), -1);

    wire::V3Message header = manager(0).header();
    header.flags = "\2";  // privacy without authentication
    const auto reply = send(manager(0), manager(0).seal(header, wire::encode(wire::ScopedPdu{"", "", getOne()})));
    EXPECT_EQ(errorOf(reply), 0);
    EXPECT_EQ(reply->header.flags, std::string(1, '\0'));
}

TEST_F(V3ReplyTest, UnknownUsersAndAddressesGetAnUnsignedReport) {
    addUser("inside", false, "authentication", 1, "192.0.2.0/24");
    EXPECT_EQ(errorOf(manager(0, "nobody")), 2);
    for (const char* user : {"nobody", "inside"}) {
        const wire::Manager m = manager(1, user);
        const auto reply = ask(m);
        EXPECT_EQ(errorOf(reply), 2);
        EXPECT_EQ(reply->header.flags, "\4");
        EXPECT_EQ(reply->header.auth, "");
    }
    wire::Manager elsewhere = manager(1, "nobody");  // there is no key to sign with, whatever was found first
    elsewhere.time = 1;
    const auto reply = ask(elsewhere);
    EXPECT_EQ(errorOf(reply), 1);
    EXPECT_EQ(reply->header.flags, "\4");

    const wire::Manager encrypted = manager(2, "inside");
    EXPECT_EQ(errorOf(send(encrypted, encrypted.request(getOne()))), 2);
    EXPECT_FALSE(ask(manager(2, "nobody")));
}

// CVE-2008-0960: a digest field of one octet is guessed in 256 attempts, one of none needs no guess.
TEST_F(V3ReplyTest, ShortDigestsAreComparedOverTheirOwnLengthUnlessStrict) {
    for (const size_t size : {0U, 1U, 11U, 13U, 64U}) {
        const auto reply = ask(withDigestOf(size));
        EXPECT_EQ(errorOf(reply), -1) << size;
        EXPECT_EQ(reply->header.auth.size(), size);
    }
    const auto forged = [](uint8_t guess) {
        wire::Bytes octets = withDigestOf(1).request(getOne());
        std::string why;
        octets[wire::decodeV3(octets, why)->authAt] = guess;
        Context c(octets);
        return createReply(c, IPAddr6::ofIPv4(0x7f000001)) && c.v3Error == V3Error::None;
    };
    unsigned accepted = 0;
    for (unsigned guess = 0; guess < 256; ++guess) accepted += forged(static_cast<uint8_t>(guess)) ? 1 : 0;
    EXPECT_EQ(accepted, 1U);

    agent->v3Server().strictDigest = true;
    for (const size_t size : {0U, 1U, 11U, 13U, 16U, 64U}) {
        const auto reply = ask(withDigestOf(size));
        EXPECT_EQ(errorOf(reply), 4) << size;
        EXPECT_EQ(reply->header.auth, "");
    }
    for (unsigned guess = 0; guess < 256; ++guess) EXPECT_FALSE(forged(static_cast<uint8_t>(guess)));
    EXPECT_EQ(errorOf(manager(1)), -1);
    EXPECT_EQ(errorOf(manager(2)), -1);
}

// Anything signed for a stranger lets him try passwords on it.
TEST_F(V3ReplyTest, AStrictAgentSignsReportsOnAuthenticatedRequestsAlone) {
    addUser("ops", false, "authentication", 2, "192.0.2.0/24");
    struct Case {
        bool strict;
        const char* source;
        uint32_t level;
        bool knowsPassword, inTime;
        int error;
        bool isSigned;
    };
    const Case cases[] = {
        {false, "192.0.2.1", 2, false, true, 4, true},  {false, "192.0.2.1", 2, false, false, 1, true},
        {true, "192.0.2.1", 2, true, true, -1, true},   {true, "192.0.2.1", 2, true, false, 1, true},
        {true, "192.0.2.1", 1, true, true, 0, true},    {true, "192.0.2.1", 1, true, false, 1, true},
        {true, "192.0.2.1", 2, false, false, 4, false}, {true, "192.0.2.1", 1, false, false, 4, false},
        {true, "192.0.2.1", 0, false, false, 0, false}, {true, "127.0.0.1", 2, true, true, 2, false},
        {true, "127.0.0.1", 1, true, false, 2, false},  {true, "127.0.0.1", 0, false, false, 2, false},
    };
    for (const auto& [strict, source, level, knowsPassword, inTime, error, isSigned] : cases) {
        agent->v3Server().strictDigest = strict;
        wire::Manager m = manager(level, "ops");
        if (!knowsPassword) m.authPassword = "guess";
        if (!inTime) m.time = 1;
        const auto reply = send(manager(level, "ops"), m.request(getOne()), source);
        EXPECT_EQ(errorOf(reply), error) << strict << " " << source << " " << level;
        EXPECT_EQ(reply->header.flags[0] & 3, isSigned ? m.header().flags[0] & 3 : 0) << source << " " << level;
        EXPECT_EQ(reply->header.auth.size(), isSigned ? 12U : 0U);
        EXPECT_EQ(reply->scoped.body.requestId, level == 2 && !isSigned ? 0U : 99U);
        expectEngine(*reply);
    }
    wire::Manager m = manager(1);
    m.engineId = "other";
    EXPECT_EQ(ask(m)->header.flags, "\4");

    // If the PDU can't be read, a flag says whether a Report may be sent. None of this has a lasting effect.
    m = manager(2);
    wire::V3Message header = m.header();
    header.flags = "\3";
    m.authPassword = "guess";
    const wire::Bytes sealed = m.seal(header, wire::encode(wire::ScopedPdu{m.engineId, "", getOne()}));
    Context c(sealed);
    EXPECT_FALSE(createReply(c, IPAddr6::ofIPv4(0x7f000001)));
    opensCommon();
    c.begin(wire::encode(getOne()));
    EXPECT_TRUE(createReply(c, IPAddr6::ofIPv4(0x7f000001)));
}

TEST_F(V3ReplyTest, WhatCanNotBeDecryptedIsDroppedAndNotCounted) {
    const wire::Manager m = manager(2);
    const wire::Bytes scoped = wire::encode(wire::ScopedPdu{m.engineId, "", getOne()});
    wire::V3Message header = m.header();
    // A manager that signs what it doesn't encrypt, so that only the ciphertext is at fault.
    wire::Manager signer = manager(1);
    std::string why;
    for (const size_t size : {0U, 1U, 7U, 9U, 15U}) {
        EXPECT_FALSE(send(m, signer.seal(header, wire::tlv(tag::OctetString, wire::Bytes(size, 0xAA))))) << size;
    }
    EXPECT_FALSE(send(m, signer.seal(header, scoped)));  // in clear, although the flags say otherwise
    // In clear behind a ciphertext: an empty one, and the first block of one that was recorded.
    const auto recorded = wire::decodeV3(m.request(getOne()), why);
    ASSERT_TRUE(recorded) << why;
    for (const std::ptrdiff_t size : {0, 8}) {
        wire::Bytes behind =
            wire::tlv(tag::OctetString, std::span(recorded->data).subspan(2).first(static_cast<size_t>(size)));
        behind.insert(behind.end(), scoped.begin() + size, scoped.end());
        EXPECT_FALSE(send(m, signer.seal(header, behind))) << size;
    }
    header.priv = "8octets";
    EXPECT_FALSE(send(m, signer.seal(header, wire::tlv(tag::OctetString, wire::Bytes(64, 0xAA)))));
    wire::Manager wrong = manager(2);
    wrong.privPassword = "mistaken";
    EXPECT_FALSE(ask(wrong));
    EXPECT_EQ(Context::v3counters, (std::array<uint32_t, kV3Errors>{}));
}

TEST_F(V3ReplyTest, WhatNeedsNoAnswerGetsNoneNeitherResponseNorReport) {
    for (const uint8_t tag : {pdu::Response, pdu::TrapV1, pdu::TrapV2, pdu::Report}) {
        wire::Message body = getOne();
        body.pdu = tag;
        wire::Manager late = manager(2);
        late.time = 1;
        for (const wire::Manager& m : {wire::Manager(), manager(1), late}) EXPECT_FALSE(send(m, m.request(body)));
    }
}

TEST_F(V3ReplyTest, EncryptedRepliesArePaddedWith5AndNeverShareASalt) {
    std::set<std::string> salts;
    for (size_t length = 0; length < 8; ++length) {
        addScalarConstStringLeaf(OID{1, 3, 5}, std::string(length, 'x'), tag::OctetString);
        const auto reply = ask(manager(2, "sha"), getOne("1.3.5.0"));
        ASSERT_TRUE(reply);
        const size_t size = wire::encode(reply->scoped).size();
        EXPECT_EQ(reply->data.size(), (size + 7) / 8 * 8);
        EXPECT_THAT(std::span(reply->data).subspan(size), Each(5));
        EXPECT_EQ(reply->header.priv.substr(0, 4), std::string("\0\0\0\5", 4));  // boots
        salts.insert(reply->header.priv);
    }
    EXPECT_EQ(salts.size(), 8U);
}

TEST_F(V3ReplyTest, PasswordsAndEngineIdChangeWhileTheAgentRuns) {
    EXPECT_EQ(errorOf(manager(2)), -1);
    changeEntry("md5", {{11, "another one"}});
    const wire::Manager before = manager(1);
    wire::Manager now = manager(2);
    now.authPassword = "another one";
    EXPECT_EQ(errorOf(send(now, before.request(getOne()))), 4);
    EXPECT_EQ(errorOf(now), -1);

    change({{setting::EngineId, "core2"}});
    wire::Manager moved = now;
    moved.engineId = engineId("core2");
    now.level = 1;
    EXPECT_EQ(errorOf(send(moved, now.request(getOne()))), 3);
    EXPECT_EQ(errorOf(moved), -1);
}

TEST_F(V3ReplyTest, TheLargestReplyThatFitsIsSentAtEveryLevel) {
    for (uint32_t level = 0; level <= 2; ++level) {
        size_t largest = 0;
        for (size_t length = 65330; length <= 65480; ++length) {
            addScalarConstStringLeaf(OID{1, 3, 5}, std::string(length, 'x'), tag::OctetString);
            const wire::Bytes octets = manager(level).request(getOne("1.3.5.0"));
            Context c(octets);
            ASSERT_TRUE(createReply(c, IPAddr6::ofIPv4(0x7f000001)));
            ASSERT_LE(c.out.size(), kMaxMessage);
            largest = std::max(largest, c.out.size());
        }
        EXPECT_GT(largest, kMaxMessage - 16) << level;
    }
}

TEST_F(V3ReplyTest, AnAlteredMessageGetsNoValueIntoASignedAnswer) {
    for (uint32_t level = 1; level <= 2; ++level) {
        const wire::Manager m = manager(level);
        const wire::Bytes request = m.request(getOne());
        for (size_t at = 0; at < request.size(); ++at) {
            for (const unsigned flip : {1U, 4U, 0x80U, 0xffU}) {
                wire::Bytes altered = request;
                altered[at] = static_cast<uint8_t>(altered[at] ^ flip);
                const auto reply = send(m, altered);
                if (!reply || (reply->header.flags[0] & 1) == 0) continue;
                EXPECT_EQ(reply->scoped.body.pdu, pdu::Report) << at << "^" << flip;
            }
        }
    }
}

}  // namespace
}  // namespace snmp
