#include "agent/traps/informs.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "agent/status/statistics.h"
#include "tests/agent/agent_test.h"
#include "wire/manager.h"

namespace snmp {
namespace {

namespace trap_kind = contracts::snmp::trap_kind;

/// A socket at ::1, and the agent's address once a datagram has come from it.
class Receiver {
  public:
    Receiver() : fd_(socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        at_.sin6_family = AF_INET6;
        at_.sin6_addr = in6addr_loopback;
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&at_), size_), 0);
        EXPECT_EQ(getsockname(fd_, reinterpret_cast<sockaddr*>(&at_), &size_), 0);
    }
    ~Receiver() { close(fd_); }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    [[nodiscard]] uint16_t port() const { return ntohs(at_.sin6_port); }
    std::vector<wire::Bytes> received() {
        std::vector<wire::Bytes> all;
        std::vector<uint8_t> buffer(kMaxDatagram);
        for (ssize_t n = 0;
             (n = recvfrom(fd_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&agent), &size_)) >= 0;)
            all.emplace_back(buffer.begin(), buffer.begin() + n);
        return all;
    }
    void send(const wire::Bytes& datagram) {
        EXPECT_GT(sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&agent), size_), 0);
    }
    sockaddr_in6 agent{};

  private:
    int fd_;
    sockaddr_in6 at_{};
    socklen_t size_ = sizeof at_;
};

class InformsTest : public AgentTest {
  protected:
    InformsTest() {
        trapMakers.push_back(alderTrapMaker);
        const tn::message at =
            messageOf({{setting::Target6, *IPAddr6::parse("::1")}, {setting::TargetPort, uint32_t{target.port()}}});
        change({{setting::Enabled, true},
                {setting::EngineId, "informer"},
                {setting::TrapTargets, Messages{at}},
                {setting::TrapVersion, kVersion2c},
                {setting::TrapCommunity, 0U},
                {setting::TrapKind, trap_kind::Inform}});
        name = "[::1]:" + std::to_string(target.port());
    }
    /// Has the agent send this many informs. @return what has reached the target
    std::vector<wire::Bytes> inform(int count = 1, const std::string& value = "hello") {
        namespace trap = contracts::snmp::trap;
        for (int i = 0; i < count; ++i) {
            tn::message m = tn::request(std::vector<uint32_t>{34}, trap::kSend);
            put(m, {{trap::Oid, "1.3.6.1.4.1.49999.1"}, {trap::Type, 4U}, {trap::Value, value}});
            EXPECT_TRUE(agent->exchangeMessage(m).empty());
        }
        return target.received();
    }
    /// Passes the time. @return what has reached the target then
    std::vector<wire::Bytes> after(std::chrono::milliseconds time) {
        sources.nanoseconds += static_cast<uint64_t>(time.count()) * 1'000'000;
        agent->informs().retryDue();
        return target.received();
    }
    /// @return what has reached the target then
    std::vector<wire::Bytes> answer(const wire::Bytes& datagram) {
        target.send(datagram);
        for (int i = 0; i < 5 && agent->runOnce({}); ++i) continue;
        return target.received();
    }
    wire::Message decoded(const wire::Bytes& datagram) {
        std::string why;
        const auto message = wire::decode(datagram, why);
        EXPECT_TRUE(message) << why;
        return message.value_or(wire::Message{});
    }
    /// Sent, acknowledged, lost.
    static std::array<uint64_t, 3> counts() {
        const auto& c = statistics.counters;
        return {c[Counter::InformsSent], c[Counter::InformsAcknowledged], c[Counter::InformsLost]};
    }
    static std::string logged(const std::function<void()>& call) {
        testing::internal::CaptureStderr();
        call();
        return testing::internal::GetCapturedStderr();
    }
    Receiver target;
    std::string name;
};

TEST_F(InformsTest, AnInformIsRepeatedUntilItsTargetAcknowledgesIt) {
    const auto first = inform();
    ASSERT_THAT(first, SizeIs(1));
    wire::Message reply = decoded(first[0]);
    EXPECT_EQ(reply.pdu, pdu::InformRequest);
    EXPECT_EQ(shown(reply.bindings), "0 1.3.6.1.4.1.49999.1.1.9.0.1 hello");
    for (const int wait : {1500, 3000, 6000}) {
        EXPECT_THAT(after(std::chrono::milliseconds(wait - 1)), IsEmpty()) << wait;
        EXPECT_THAT(after(std::chrono::milliseconds(1)), ElementsAre(first[0]));
    }
    reply.pdu = pdu::Response;
    wire::Message other = reply, stranger = reply, request = reply;
    ++other.requestId;
    stranger.community = "private";
    request.pdu = pdu::InformRequest;
    for (const wire::Message& wrong : {other, stranger, request}) answer(wire::encode(wrong));
    Receiver elsewhere;
    elsewhere.agent = target.agent;
    elsewhere.send(wire::encode(reply));
    answer({0x30});
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{1, 0, 0}));
    for (int i = 0; i < 2; ++i) answer(wire::encode(reply));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{1, 1, 0}));
    EXPECT_THAT(after(std::chrono::minutes(2)), IsEmpty());
}

TEST_F(InformsTest, LossesAreCountedAndLoggedOnceAMinute) {
    const auto giveUp = [&] {
        for (const int wait : {1500, 3000, 6000, 12000, 24000}) after(std::chrono::milliseconds(wait));
    };
    inform(3);
    EXPECT_EQ(logged(giveUp), "not acknowledged: " + name + ": 3 informs\n");
    inform();
    EXPECT_EQ(logged(giveUp), "");  // 46.5 s later
    EXPECT_EQ(logged([&] { after(std::chrono::milliseconds(13'500)); }), "not acknowledged: " + name + ": 1 inform\n");
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{4, 0, 4}));
    // What waits for a target that isn't one any more is lost at once.
    inform();
    EXPECT_THAT(logged([&] {
                    change({{setting::TrapTargets, Messages()}});
                }),
                HasSubstr("1 inform: no longer a target"));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{5, 0, 5}));
    EXPECT_THAT(after(std::chrono::minutes(2)), IsEmpty());
}

TEST_F(InformsTest, AQueueDropsItsOldestInforms) {
    const std::string log = logged([&] { inform(Informs::kMaxQueued + 3); });
    EXPECT_THAT(log, HasSubstr("not acknowledged: " + name + ": 1 inform: too many wait\n"));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{67, 0, 3}));
    inform(1, std::string(60'000, 'x'));
    EXPECT_EQ(counts()[2], 4U);
    inform(4, std::string(60'000, 'x'));  // four of them are all that fits
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{72, 0, 68}));
}

TEST_F(InformsTest, Version1HasNoInforms) {
    EXPECT_THAT(errorOf(agent->path(), tn::cmd::Set, {{setting::TrapVersion, kVersion1}}), HasSubstr("2c or 3"));
    change({{setting::TrapVersion, kVersion1}, {setting::TrapKind, trap_kind::Trap}});
    EXPECT_THAT(errorOf(agent->path(), tn::cmd::Set, {{setting::TrapKind, trap_kind::Inform}}), HasSubstr("2c or 3"));
    inform();
    EXPECT_EQ(counts()[0], 0U);
    EXPECT_EQ(statistics.counters[Counter::TrapsSent], 1U);
}

/// The target as the authoritative engine of its informs.
class SecuredInformsTest : public InformsTest {
  protected:
    SecuredInformsTest() {
        addEntry("informer", "0.0.0.0/0", 2, {{11, "authentication"}, {12, "encryption"}, {20, 3U}, {21, 1U}});
        change(
            {{setting::TrapVersion, kVersion3}, {setting::TrapCommunity, agent->communities().find("informer")->id}});
    }
    wire::V3Message probe(const std::vector<wire::Bytes>& datagrams) {
        std::string why;
        EXPECT_THAT(datagrams, SizeIs(1));
        const auto message = datagrams.empty() ? std::nullopt : wire::decodeV3(datagrams[0], why);
        EXPECT_TRUE(message) << why;
        return message.value_or(wire::V3Message{});
    }
    /// The one inform that came, which must be secured for the target's engine.
    wire::Manager::Reply opened(const std::vector<wire::Bytes>& datagrams) {
        std::string why = "none, or too many";
        const auto message = datagrams.size() != 1 ? std::nullopt : engine.open(datagrams[0], why);
        EXPECT_TRUE(message) << why;
        if (!message) return {};
        EXPECT_EQ(message->header.flags, "\7");
        EXPECT_EQ(message->scoped.body.pdu, pdu::InformRequest);
        return *message;
    }
    wire::Bytes sealed(const wire::Manager& as, uint32_t id, const wire::Message& body,
                       uint32_t maxSize = 65507) const {
        wire::V3Message header = as.header();
        header.maxSize = maxSize;
        header.id = id;
        return as.seal(header, wire::encode(wire::ScopedPdu{as.engineId, "", body}));
    }
    wire::Bytes report(uint32_t id, uint32_t error, uint32_t level, uint32_t maxSize = 65507) const {
        wire::Manager as = engine;
        as.level = level;
        if (error == 4) as.user.clear();
        const std::string counter = "1.3.6.1.6.3.15.1.1." + std::to_string(error) + ".0";
        return sealed(as, id, {.pdu = pdu::Report, .bindings = {{counter, tag::Counter32, "1"}}}, maxSize);
    }
    wire::Bytes response(const wire::Manager& as, const wire::Manager::Reply& to, uint32_t status = 0) const {
        wire::Message body = to.scoped.body;
        body.pdu = pdu::Response;
        body.errorStatus = status;
        return sealed(as, to.header.id, body);
    }
    wire::Manager engine{"informer", 2, 3, 1, "authentication", "encryption", "\x80target", 7, 1000};
};

TEST_F(SecuredInformsTest, TheTargetsEngineIsDiscoveredAndItsTimeFollowed) {
    const wire::V3Message first = probe(inform());
    EXPECT_EQ(first.engineId + first.user + first.auth + first.priv, "");
    EXPECT_EQ(first.flags, "\4");
    // The time of an unauthenticated Report isn't believed.
    auto sent = opened(answer(report(first.id, 4, 0)));
    EXPECT_EQ(std::pair(sent.header.boots, sent.header.time), std::pair(0U, 0U));
    EXPECT_THAT(answer(report(first.id, 2, 0)), IsEmpty());
    sent = opened(answer(report(first.id, 2, 1)));
    EXPECT_EQ(std::pair(sent.header.boots, sent.header.time), std::pair(7U, 1000U));
    EXPECT_EQ(sent.scoped.contextEngineId, agent->v3Server().engineId);
    EXPECT_EQ(shown(sent.scoped.body.bindings), "0 1.3.6.1.4.1.49999.1.1.9.0.1 hello");

    wire::Manager unsecured = engine, weak = engine, forger = engine, old = engine;
    unsecured.level = 0;
    weak.level = 1;
    forger.authPassword = "another password";
    old.time -= 151;
    for (const wire::Manager& wrong : {unsecured, weak, forger, old}) answer(response(wrong, sent));
    wire::Manager::Reply other = sent;
    ++other.scoped.body.requestId;
    answer(response(engine, other));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{1, 0, 0}));
    answer(response(engine, sent));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{1, 1, 0}));

    after(std::chrono::seconds(10));
    sent = opened(inform());
    EXPECT_EQ(std::pair(sent.header.boots, sent.header.time), std::pair(7U, 1010U));
    engine.boots = 8;  // it has restarted
    engine.time = 5;
    sent = opened(answer(report(sent.header.id, 2, 1)));
    EXPECT_EQ(std::pair(sent.header.boots, sent.header.time), std::pair(8U, 5U));
    engine.boots = 7;  // recorded before
    EXPECT_THAT(answer(report(sent.header.id, 2, 1)), IsEmpty());
    // It has lost count of its boots: it is discovered anew once an inform is lost.
    for (const int wait : {1500, 3000, 6000, 12000, 24000}) after(std::chrono::milliseconds(wait));
    engine.boots = 1;
    sent = opened(answer(report(probe(inform()).id, 4, 0)));
    sent = opened(answer(report(sent.header.id, 2, 1)));
    answer(response(engine, sent));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{3, 2, 1}));
}

TEST_F(SecuredInformsTest, AnInformLongerThanTheTargetAcceptsIsDroppedAndLogged) {
    const std::string longer(600, 'x');
    const wire::V3Message first = probe(inform(1, longer));
    EXPECT_EQ(logged([&] { EXPECT_THAT(answer(report(first.id, 4, 0, 600)), IsEmpty()); }),
              "not acknowledged: " + name + ": 1 inform: longer than the target accepts\n");
    EXPECT_THAT(inform(1, longer), IsEmpty());  // known now
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{2, 0, 2}));
    answer(response(engine, opened(inform(1, std::string(300, 'x')))));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{3, 1, 2}));
    const auto sent = opened(inform());
    EXPECT_THAT(answer(report(sent.header.id, 4, 0, 483)), IsEmpty()) << "no engine may accept less than 484";
    answer(response(engine, sent));
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{4, 2, 2}));
}

TEST_F(SecuredInformsTest, ErrorsOfTheTargetAreLoggedAndNoTargetCanDemandMoreForever) {
    const std::pair<uint32_t, const char*> cases[] = {
        {3, "no such user"}, {5, "authentication password"}, {77, "a Report"}};
    for (const auto& row : cases) {
        sources.uptime += 60;
        const auto fails = [&] { EXPECT_THAT(answer(report(probe(inform()).id, row.first, 0)), IsEmpty()); };
        EXPECT_THAT(logged(fails), HasSubstr(name + ": 1 inform: " + row.second));
    }
    const uint32_t id = probe(inform()).id;
    size_t repeats = 0;
    for (int i = 0; i < 10; ++i) {
        engine.engineId = "\x80target" + std::to_string(i);
        repeats += answer(report(id, 4, 0)).size();
    }
    EXPECT_EQ(repeats, 4U);
    engine.engineId = "tiny";  // no SnmpEngineID
    EXPECT_THAT(answer(report(probe(after(std::chrono::minutes(1))).id, 4, 0)), IsEmpty());
    EXPECT_EQ(counts(), (std::array<uint64_t, 3>{4, 0, 3}));
    engine.engineId = "\x80target9";
    removeEntry("informer");
    EXPECT_THAT(after(std::chrono::minutes(1)), IsEmpty());
}

}  // namespace
}  // namespace snmp
