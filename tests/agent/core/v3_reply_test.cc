#include "agent/core/v3_reply.h"

#include "agent/modules/usm_module.h"
#include "agent/security/v3_errors.h"
#include "tests/agent/agent_test.h"
#include "wire/manager.h"

namespace snmp {
namespace {

using testing::Each;

/// An agent with an engine id and a user for each protocol, 200 s up; 1.3.1.0 is the number 1.
class V3ReplyTest : public AgentTest {
  protected:
    static constexpr uint32_t kBoots = 5;
    static constexpr uint32_t kTime = 200;

    V3ReplyTest() {
        change({{setting::EngineId, "core1"}, {setting::EngineBoots, kBoots}});
        for (const char* name : {"md5", "sha"}) addUser(name);
        addScalarConstNumLeaf(OID{1, 3, 1}, 1, tag::Integer);
        sources.uptime += kTime;
        Context::v3counters = {};
    }

    void addUser(const std::string& name, uint32_t security = 0, const std::string& addresses = "0.0.0.0/0") {
        const uint32_t method = name == "sha" ? digest_method::Sha1 : digest_method::Md5;
        addEntry(name, addresses, security, {{20, method}, {11, "authentication"}, {12, "encryption"}});
    }

    static wire::Manager manager(uint32_t level, const std::string& user = "md5") {
        return {.user = user,
                .level = level,
                .auth = user == "sha" ? 1U : 0U,
                .authPassword = "authentication",
                .privPassword = "encryption",
                .engineId = engineId("core1"),
                .boots = kBoots,
                .time = kTime};
    }
    static std::string engineId(const std::string& text) { return std::string("\x80\x00\xC3\x4F\x04", 5) + text; }
    static wire::Message getOne(const std::string& name = "1.3.1.0") {
        return {.pdu = pdu::GetRequest, .requestId = 99, .bindings = {null(name)}};
    }

    /// What the agent answers, read by that manager; nothing when it stays silent.
    std::optional<wire::Manager::Reply> send(const wire::Manager& m, const wire::Bytes& octets,
                                             const std::string& source = "127.0.0.1") {
        context_.begin(octets);
        if (!createReply(context_, *tn::IPAddr6::parse(source))) return std::nullopt;
        EXPECT_LE(context_.out.size(), kMaxMessage);
        std::string why;
        const auto reply = m.open(context_.out.bytes(), why);
        EXPECT_TRUE(reply) << why;
        return reply;
    }
    std::optional<wire::Manager::Reply> ask(const wire::Manager& m, const wire::Message& body = getOne()) {
        return send(m, m.request(body));
    }

    /// The number of the error that the agent reports; -1 for a response, nothing for silence.
    static std::optional<int> errorOf(const std::optional<wire::Manager::Reply>& reply) {
        if (!reply) return std::nullopt;
        const auto& [header, data, scoped] = *reply;
        const std::string engine = engineId("core1");
        EXPECT_EQ(std::tuple(header.engineId, scoped.contextEngineId, header.boots, header.time),
                  std::tuple(engine, engine, kBoots, kTime));
        const wire::Message& body = scoped.body;
        if (body.pdu == pdu::Response) return -1;
        EXPECT_EQ(body.pdu, pdu::Report);
        if (body.bindings.size() != 1) return std::nullopt;
        const std::string prefix = "1.3.6.1.6.3.15.1.1.";  // usmStats
        const auto& [name, tag, value] = body.bindings.front();
        EXPECT_EQ(std::pair(name.substr(0, prefix.size()), tag), std::pair(prefix, tag::Counter32));
        const int error = std::stoi(name.substr(prefix.size())) - 1;
        EXPECT_EQ(value, std::to_string(Context::v3counters.at(static_cast<size_t>(error))));
        return error;
    }
    std::optional<int> errorOf(const wire::Manager& m) { return errorOf(ask(m)); }

    Context context_{{}};  // one for all requests, as the agent has it
};

TEST_F(V3ReplyTest, TheCountersOfReportsAreServed) {
    start_usm_module();
    opensCommon();
    Context::v3counters = {10, 20, 30, 40, 50, 60};
    EXPECT_EQ(shown(walk("1.3.6.1.6.3.15")), "10 20 30 40 50 60");
}

TEST_F(V3ReplyTest, AMessageIsAcceptedWithin15SecondsOfItsTimeAndNotBefore) {
    // With --standard, 150 seconds before and after.
    const std::tuple<uint32_t, uint32_t, int, int> cases[] = {
        {kBoots, kTime - 15, -1, -1}, {kBoots, kTime - 16, 1, -1},  {kBoots, kTime + 1, 1, -1},
        {kBoots - 1, kTime, 1, 1},    {kBoots + 1, kTime, 1, 1},    {kBoots, 0, 1, 1},
        {kBoots, 0xffffffff, 1, 1},   {0xffffffff, kTime, 1, 1},    {kBoots, kTime - 150, 1, -1},
        {kBoots, kTime - 151, 1, 1},  {kBoots, kTime + 150, 1, -1}, {kBoots, kTime + 151, 1, 1},
    };
    for (const auto& [boots, time, error, standardError] : cases) {
        wire::Manager m = manager(1);
        m.boots = boots;
        m.time = time;
        const auto reply = ask(m);
        EXPECT_EQ(errorOf(reply), error) << boots << " " << time;
        EXPECT_EQ(reply->header.flags[0] & 3, 1) << "managers set their clocks by it: signed";
        agent->setRules(kStandardRules);
        EXPECT_EQ(errorOf(m), standardError) << boots << " " << time;
        agent->setRules(kFixedRules);
    }
    wire::Manager unsigned_ = manager(0);  // nothing proves such a time, so it doesn't count
    unsigned_.time = 1;
    EXPECT_EQ(errorOf(unsigned_), -1);
}

TEST_F(V3ReplyTest, OfSeveralFaultsTheFirstIsReported) {
    addUser("strict", 2, "192.0.2.0/24");
    wire::Manager m = manager(1, "strict");
    m.engineId = "other";
    m.time = 1;
    m.authPassword = "wrong";
    const auto error = [&](const char* source = "127.0.0.1") {  // the reply is signed with the agent's key
        return errorOf(send(manager(1, "strict"), m.request(getOne()), source));
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

/// A query of user "ops", who must encrypt.
struct Query {
    wire::Manager m;
    wire::ScopedPdu scoped;
    std::string source = "192.0.2.1";
    uint32_t model = 3;
    uint32_t maxSize = 484;
    int flags = 7;  ///< those not among them are cleared
};

// Each row's fault comes with those of the rows below it.
TEST_F(V3ReplyTest, TheStandardOrderOfChecksAndTheLevelOfReports) {
    struct Row {
        void (*commit)(Query&);
        std::string report;  // counter below snmpModules and level, "response" and level, or nothing
        Counter cause;
    };
    const Row rows[] = {
        {[](Query& q) { q.model = 2; }, "", Counter::SecurityModel},
        {[](Query& q) { q.maxSize = 483; }, "", Counter::InvalidHeader},
        {[](Query& q) { q.m.engineId = "other"; }, "15.1.1.4.0 0", Counter::UnknownEngine},
        {[](Query& q) { q.m.user = "nobody"; }, "15.1.1.3.0 0", Counter::UnknownUser},
        {[](Query& q) { q.source = "127.0.0.1"; }, "15.1.1.3.0 0", Counter::WrongSource},
        {[](Query&) {}, "15.1.1.1.0 0", Counter::LowLevel},  // at level 1 only
        {[](Query& q) { q.m.authPassword = "mistaken"; }, "15.1.1.5.0 0", Counter::WrongDigest},
        {[](Query& q) { q.m.time = 500; }, "15.1.1.2.0 1", Counter::TimeWindow},
        {[](Query& q) { q.m.privPassword = "mistaken"; }, "15.1.1.6.0 0", Counter::Decryption},
        {[](Query& q) { q.scoped.contextEngineId = "other"; }, "11.2.1.3.0 2", Counter::ContextEngine},
        {[](Query& q) { q.scoped.contextName = "vlan-10"; }, "12.1.5.0 2", Counter::UnknownContext},
        {[](Query&) {}, "response 2", Counter::None},
    };
    constexpr size_t kLevelRow = 5, kDecryptionRow = 8;
    addUser("ops", 2, "192.0.2.0/24");
    agent->setRules(kStandardRules);
    const auto outcome = [this](const Query& q, const Row& row) -> std::string {
        Context::v3counters = {};
        wire::V3Message header = q.m.header();
        header.flags[0] = static_cast<char>(header.flags[0] & q.flags);
        header.model = q.model;
        header.maxSize = q.maxSize;
        const auto reply = send(manager(2, "ops"), q.m.seal(header, wire::encode(q.scoped)), q.source);
        EXPECT_EQ(context_.refusal, row.cause);
        EXPECT_EQ(std::ranges::count(Context::v3counters, 1U), row.cause == Counter::None ? 0 : 1);
        if (!reply) return "";
        EXPECT_EQ(std::pair(reply->header.maxSize, reply->header.flags[0] & kReportableFlag), std::pair(65507U, 0));
        const std::string level = " " + std::to_string(std::popcount(static_cast<uint8_t>(reply->header.flags[0])));
        const bool isReport = reply->scoped.body.pdu == pdu::Report;
        return (isReport ? reply->scoped.body.bindings.at(0).name.substr(12) : "response") + level;
    };
    for (const uint32_t level : {1U, 2U}) {
        for (size_t first = 0; first < std::size(rows); ++first) {
            if (level == 1 ? first > kLevelRow : first == kLevelRow) continue;
            Query q{manager(level, "ops"), {engineId("core1"), "", getOne()}};
            for (size_t row = first; row < std::size(rows); ++row) rows[row].commit(q);
            EXPECT_EQ(outcome(q, rows[first]), rows[first].report) << level << " " << first;
            // Without the reportable flag, only a PDU that can be read shows that a Report may be sent.
            q.flags = 3;
            const bool isSealed = level == 2 && first <= kDecryptionRow;
            EXPECT_EQ(outcome(q, rows[first]), isSealed ? "" : rows[first].report) << level << " " << first;
        }
    }
    Query q{manager(2, "ops"), {engineId("core1"), "", getOne()}};
    q.flags = 2;
    EXPECT_EQ(outcome(q, rows[1]), "") << "encrypted without authentication";
}

TEST_F(V3ReplyTest, TheReportOfAGetBulkWithUnusableCountersHasAnErrorStatusUnlessStandard) {
    const std::tuple<uint32_t, uint32_t, uint32_t> cases[] = {{0, 0, 3}, {0, 51, 1}, {0, 50, 0}, {1, 0, 0}};
    for (const auto& [nonRepeaters, repetitions, status] : cases) {
        const wire::Message bulk{.pdu = pdu::GetBulkRequest,
                                 .errorStatus = nonRepeaters,
                                 .errorIndex = repetitions,
                                 .bindings = {null("1.3.1.0")}};
        for (const bool isStandard : {false, true}) {
            context_.rules = isStandard ? &kStandardRules : &kFixedRules;
            agent->setRules(*context_.rules);
            const auto reply = ask(manager(0, "nobody"), bulk);
            ASSERT_TRUE(reply);
            const wire::Message& body = reply->scoped.body;
            EXPECT_EQ(body.pdu, pdu::Report);
            const bool isError = status != 0 && !isStandard;
            EXPECT_EQ(body.errorStatus, isError ? status : 0) << nonRepeaters << " " << repetitions;
            EXPECT_THAT(body.bindings, SizeIs(isError ? 0 : 1));
        }
    }
}

TEST_F(V3ReplyTest, PrivacyWithoutAuthenticationIsNoLevel) {
    const wire::Manager m = manager(0);
    wire::V3Message header = m.header();
    header.flags = "\2";
    const auto reply = send(m, m.seal(header, wire::encode(wire::ScopedPdu{m.engineId, "", getOne()})));
    EXPECT_EQ(errorOf(reply), 0);
    EXPECT_EQ(reply->header.flags, std::string(1, '\0'));
}

// CVE-2008-0960: a digest field of one octet is guessed in 256 attempts, one of none needs no guess.
TEST_F(V3ReplyTest, ShortDigestsAreComparedOverTheirOwnLengthUnlessStrict) {
    wire::Manager m = manager(1);
    for (const bool strict : {false, true}) {
        agent->v3Server().strictDigest = strict;
        for (const size_t size : {0U, 1U, 11U, 13U, 16U, 64U}) {
            m.authSize = size;
            const auto reply = ask(m);
            EXPECT_EQ(errorOf(reply), strict ? 4 : -1) << size;
            EXPECT_EQ(reply->header.auth.size(), strict ? 0 : size);
        }
        m.authSize = 1;
        m.authPassword = "guess";
        EXPECT_EQ(errorOf(send(manager(1), m.request(getOne()))), 4);
        m.authPassword = "authentication";
        for (const uint32_t level : {1U, 2U}) EXPECT_EQ(errorOf(manager(level)), -1);
    }
}

// One user that changes its protocols while the agent runs. The manager's cryptography is libcrypto's own HMAC and CFB.
TEST_F(V3ReplyTest, EachPairOfProtocolsIsAnsweredAndNoOther) {
    addUser("ops", 2);
    for (uint32_t auth = 0; auth <= 5; ++auth) {
        for (uint32_t priv = 0; priv <= 3; ++priv) {
            SCOPED_TRACE(testing::Message() << auth << " " << priv);
            changeEntry("ops", {{20, auth}, {21, priv}});
            for (const bool strict : {false, true}) {
                agent->v3Server().strictDigest = strict;
                wire::Manager m = manager(2, "ops");
                m.auth = auth;
                m.priv = priv;
                EXPECT_EQ(errorOf(m), -1);
                wire::Manager other = m;
                other.priv = (priv + 1) % 4;
                EXPECT_FALSE(send(m, other.request(getOne()))) << "decrypted with another protocol";
                other = m;
                other.privPassword = "mistaken";
                EXPECT_FALSE(send(m, other.request(getOne())));
                m.level = 1;
                EXPECT_EQ(errorOf(m), 0);
                changeEntry("ops", {{15, 1U}});
                EXPECT_EQ(errorOf(m), -1);
                other = m;
                other.auth = (auth + 1) % 6;
                EXPECT_EQ(errorOf(send(m, other.request(getOne()))), 4);
                other = m;
                other.authPassword = "mistaken";
                EXPECT_EQ(errorOf(send(m, other.request(getOne()))), 4);
                changeEntry("ops", {{15, 2U}});
            }
        }
    }
    changeEntry("ops", {{21, 4U}});  // unknown: nothing is decrypted with another protocol's key
    wire::Manager m = manager(2, "ops");
    m.auth = 5;
    for (m.priv = 0; m.priv <= 3; ++m.priv) EXPECT_FALSE(ask(m)) << m.priv;
}

TEST_F(V3ReplyTest, DigestsOfSha2HaveTheirLengthAlsoWithoutStrictUsm) {
    addUser("ops");
    for (uint32_t auth = 2; auth <= 5; ++auth) {
        changeEntry("ops", {{20, auth}});
        wire::Manager right = manager(1, "ops");
        right.auth = auth;
        const size_t whole = right.header().auth.size();
        for (const size_t size : {size_t{0}, size_t{1}, size_t{12}, whole - 1, whole + 1}) {
            wire::Manager m = right;
            m.authSize = size;
            const auto reply = send(right, m.request(getOne()));
            EXPECT_EQ(errorOf(reply), 4) << auth << " " << size;
            EXPECT_EQ(reply->header.auth.size(), whole);
        }
    }
}

// Anything signed for a stranger lets him try passwords on it.
TEST_F(V3ReplyTest, NothingIsSignedForOtherAddressesNorByAStrictAgentForForgers) {
    addUser("ops", 2, "192.0.2.0/24");
    // strict, source, level, whether the manager knows the password and the time; the error, whether the reply is
    // signed
    const std::tuple<bool, const char*, uint32_t, bool, bool, int, bool> cases[] = {
        {false, "127.0.0.1", 2, true, true, 2, false},  {false, "192.0.2.1", 1, true, true, 0, true},
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
        EXPECT_EQ(reply->scoped.body.requestId, strict && level == 2 && !isSigned ? 0U : 99U);
    }
    // If the PDU can't be read, a flag says whether a Report may be sent. None of this has a lasting effect.
    wire::Manager m = manager(2);
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

// With --standard, it is reported. Nothing of it is read in either case.
TEST_F(V3ReplyTest, WhatCanNotBeDecryptedIsDroppedAndNotCounted) {
    const wire::Manager m = manager(2);
    const wire::Bytes scoped = wire::encode(wire::ScopedPdu{m.engineId, "", getOne()});
    wire::V3Message header = m.header();
    const auto isRefused = [this, &m](const wire::Bytes& octets) {
        agent->setRules(kStandardRules);
        Context::v3counters = {};
        EXPECT_EQ(errorOf(send(m, octets)), 5);
        agent->setRules(kFixedRules);
        const bool isDropped = !send(m, octets);
        EXPECT_EQ(Context::v3counters, (std::array<uint32_t, kV3Errors>{0, 0, 0, 0, 0, 1})) << "by the standard one";
        return isDropped;
    };
    // A manager that signs what it doesn't encrypt, so that only the ciphertext is at fault.
    wire::Manager signer = manager(1);
    for (const size_t size : {0U, 1U, 7U, 9U, 15U})
        EXPECT_TRUE(isRefused(signer.seal(header, wire::tlv(tag::OctetString, wire::Bytes(size, 0xAA))))) << size;
    EXPECT_TRUE(isRefused(signer.seal(header, scoped)));  // in clear, although the flags say otherwise
    // In clear behind a ciphertext: an empty one, and the first block of one that was recorded.
    std::string why;
    const auto recorded = wire::decodeV3(m.request(getOne()), why);
    ASSERT_TRUE(recorded) << why;
    for (const int size : {0, 8}) {
        wire::Bytes behind =
            wire::tlv(tag::OctetString, std::span(recorded->data).subspan(2, static_cast<size_t>(size)));
        behind.insert(behind.end(), scoped.begin() + size, scoped.end());
        EXPECT_TRUE(isRefused(signer.seal(header, behind))) << size;
    }
    header.priv = "8octets";
    EXPECT_TRUE(isRefused(signer.seal(header, wire::tlv(tag::OctetString, wire::Bytes(64, 0xAA)))));
    wire::Manager wrong = manager(2);
    wrong.privPassword = "mistaken";
    EXPECT_TRUE(isRefused(wrong.request(getOne())));
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

TEST_F(V3ReplyTest, RepliesEncryptedWithDesArePaddedWith5AndNeverShareASalt) {
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

TEST_F(V3ReplyTest, TheLargestReplyThatFitsIsSentAtEveryLevel) {
    const std::tuple<const Rules&, uint32_t, size_t> cases[] = {
        {kFixedRules, 484, kMaxMessage}, {kStandardRules, 484, 484}, {kStandardRules, 1472, 1472}};
    for (uint32_t n = 0; n < 3 * std::size(cases); ++n) {
        const auto& [rules, maxSize, limit] = cases[n / 3];
        agent->setRules(rules);
        const wire::Manager m = manager(n % 3);
        wire::V3Message header = m.header();
        header.maxSize = maxSize;
        size_t largest = 0;
        for (size_t length = limit - 177; length <= limit - 27; ++length) {
            addScalarConstStringLeaf(OID{1, 3, 5}, std::string(length, 'x'), tag::OctetString);
            Context c(m.seal(header, wire::encode(wire::ScopedPdu{m.engineId, "", getOne("1.3.5.0")})));
            ASSERT_TRUE(createReply(c, IPAddr6::ofIPv4(0x7f000001)));
            ASSERT_LE(c.out.size(), limit);
            largest = std::max(largest, c.out.size());
        }
        EXPECT_GT(largest, limit - 16) << n;
    }
    wire::Manager longest;
    longest.user.assign(65'450, 'u');
    EXPECT_FALSE(send(longest, longest.request(getOne()))) << "its Report doesn't fit a datagram";
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
