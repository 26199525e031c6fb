#include "agent/core/snmp_looper.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "agent/core/service_socket.h"
#include "agent/mib/packer.h"
#include "agent/status/statistics.h"
#include "contracts/supervisor.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/said.h"
#include "tests/tn/peers.h"
#include "tn/store.h"

namespace snmp {
namespace {

namespace change = contracts::snmp::change;

using SnmpLooperTest = AgentTest;

/// A socket bound to a free port of the loopback.
int boundSocket(sockaddr_in& address) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    socklen_t length = sizeof address;
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
    return fd;
}

TEST_F(SnmpLooperTest, ATakenPortIsLoggedAndOneFreedCanBeBound) {
    sockaddr_in address{};
    const int other = boundSocket(address);
    agent.reset();
    agent = std::make_unique<SnmpLooper>(ntohs(address.sin_port));
    const auto logged = [this] { return said([this] { agent->enable(); }); };
    const std::string port = std::to_string(ntohs(address.sin_port));
    EXPECT_EQ(logged(), "cannot create service connection\nUDP port " + port + ": Address already in use\n");
    EXPECT_FALSE(agent->isEnabled());
    close(other);
    EXPECT_EQ(logged(), "");
    EXPECT_TRUE(agent->isEnabled());
    agent->disable();
    close(boundSocket(address));  // the port is free again
}

/// Changes of settings and access entries together.
class ChangeTogether : public AgentTest {
  protected:
    ChangeTogether() {
        agent->init();
        addEntry("gone", "10.0.0.0/8");
        entries = {entry(0, "gone"), entry(9, "added")};
        wanted = {{change::Entries, entries}, {change::Removed, ids("gone")}, {setting::Contact, "new"}};
    }
    static tn::message entry(uint32_t id, const std::string& name) {
        return messageOf({{tn::field::ObjectId, id}, {contracts::snmp::community::Name, name}});
    }
    std::vector<uint32_t> ids(const std::string& name) { return {agent->communities().find(name)->id}; }
    std::string apply(const Fields& fields) { return errorOf(agent->path(), change::kApply, fields); }
    /// Ids and names of the entries, and the contact.
    std::string state() {
        std::string text = agent->settings().get(setting::Contact);
        for (uint32_t id = 0; id < 20; ++id)
            if (const Item* item = agent->communities().findId(id)) text += " " + std::to_string(id) + item->name;
        return text;
    }
    Messages entries;
    Fields wanted;
};

TEST_F(ChangeTogether, IsOneUndoRecordAndRefusedWhole) {
    ScriptedOwner& supervisor = owner(contracts::supervisor::kPath);
    const std::string before = state();
    const Field contact{setting::Contact, "x"};
    const auto refused = [&](const Fields& fields) {
        EXPECT_NE(apply(fields), "");
        EXPECT_EQ(state(), before);
    };
    refused({contact, {change::Removed, std::vector<uint32_t>{0}}});
    refused({contact, {change::Entries, Messages{entry(3, "common")}}});
    refused({contact, {change::Entries, Messages{entry(3, "a"), entry(3, "b")}}});
    refused({contact, {change::Entries, Messages{entry(tn::kNoId, "a")}}});
    EXPECT_THAT(supervisor.requests, IsEmpty());

    EXPECT_EQ(apply(wanted), "");
    EXPECT_EQ(state(), "new 0gone 9added");
    restart();
    EXPECT_EQ(state(), "new 0gone 9added");
    ASSERT_THAT(supervisor.requests, SizeIs(1));
    tn::message undo = supervisor.requests[0].get_message(tn::undo::Old);
    undo.insert_bool(tn::field::NoUndo, true);
    EXPECT_EQ(tn::getError(agent->exchangeMessage(undo)), "");
    EXPECT_EQ(state(), before);
    EXPECT_TRUE(agent->communities().find("common")->addresses.empty()) << "the undo opened it";
    EXPECT_THAT(supervisor.requests, SizeIs(1));
}

TEST_F(ChangeTogether, IsCompletedByTheNextStartWhateverHadBeenWritten) {
    const tn::message request = messageOf(wanted);
    for (const bool isHalfMade : {false, true}) {
        if (isHalfMade) (void)agent->communities().apply(messageOf({{change::Entries, entries}}));
        agent.reset();
        EXPECT_TRUE(tn::Store("/tern/store/snmpd").set(contracts::snmp::store::kPending, request));
        restart();
        EXPECT_EQ(state(), "new 0gone 9added");
        EXPECT_FALSE(tn::Store("/tern/store/snmpd").find(contracts::snmp::store::kPending));
        AgentTest::change({{setting::Contact, "old"}});
    }
    agent.reset();
    const tn::message bad = messageOf({{setting::Contact, "x"}, {change::Removed, std::vector<uint32_t>{0}}});
    EXPECT_TRUE(tn::Store("/tern/store/snmpd").set(contracts::snmp::store::kPending, bad));
    EXPECT_THAT(said([this] { restart(); }), HasSubstr("pending change of settings not made: can not remove"));
    EXPECT_EQ(state(), "old 0gone 9added");
    EXPECT_FALSE(tn::Store("/tern/store/snmpd").find(contracts::snmp::store::kPending));
}

/// Calls its hook for each Get and Set, and answers with an error.
class Hooked : public Branch {
  public:
    Answer get(Context&) override { return hook(), kNotMine; }
    Answer getNext(Context&) override { return kNotMine; }
    Answer set(Context&) override { return hook(), kNotMine; }
    std::function<void()> hook;
};

/// A manager's socket, connected: it receives only what comes from the address that it queries.
class Client {
  public:
    explicit Client(sockaddr_in agent, uint32_t address = INADDR_LOOPBACK) {
        agent.sin_addr.s_addr = htonl(address);
        fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(fd_, reinterpret_cast<sockaddr*>(&agent), sizeof agent), 0);
    }
    ~Client() { close(fd_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void query(uint32_t id, const std::string& name = "1.3.1.0", uint8_t pdu = pdu::GetRequest) const {
        const wire::Bytes request =
            wire::encode({.pdu = pdu, .requestId = id, .bindings = {{name, tag::Integer, "1"}}});
        EXPECT_GT(send(fd_, request.data(), request.size(), 0), 0);
    }
    /// The request ids of the replies that have arrived.
    [[nodiscard]] std::vector<uint32_t> answers() const {
        std::vector<uint32_t> ids;
        std::string why;
        uint8_t reply[2000];
        for (ssize_t size = 0; (size = recv(fd_, reply, sizeof reply, MSG_DONTWAIT)) > 0;)
            ids.push_back(wire::decode(std::span(reply).first(static_cast<size_t>(size)), why).value().requestId);
        return ids;
    }

  private:
    int fd_;
};

/// The agent on a free port, with a constant at 1.3.1 and a hook at 1.3.9.
class ServiceTest : public AgentTest {
  protected:
    ServiceTest() {
        close(boundSocket(address));
        agent.reset();
        agent = std::make_unique<SnmpLooper>(ntohs(address.sin_port));
        opensCommon(true);
        agent->enable();
        addScalarLeaf(OID{1, 3, 1}, &packer, nullptr);
        addBranch(OID{1, 3, 9}) = &hooked;
    }
    sockaddr_in address{};
    ConstNumPacker packer{1U, tag::Integer};
    Hooked hooked;
};

TEST_F(ServiceTest, AnInheritedSocketKeepsWhatArrivesDuringARestartAndDropsWhatArrivedWhileTheServiceWasOff) {
    agent.reset();
    address = {};
    const int inherited = boundSocket(address);
    tn::Child child([&] {
        tn::receiveSocket(inherited, kServiceSocketName);
        const Client client(address);
        client.query(1);
        agent = std::make_unique<SnmpLooper>(uint16_t{161});
        opensCommon(true);
        addScalarLeaf(OID{1, 3, 1}, &packer, nullptr);
        agent->enable();
        while (agent->runOnce({})) continue;
        EXPECT_THAT(client.answers(), ElementsAre(1));
        agent->disable();
        client.query(2);
        change({{setting::Enabled, true}});
        client.query(3);
        while (agent->runOnce({})) continue;
        EXPECT_THAT(client.answers(), ElementsAre(3));
        const tn::message status = agent->exchangeMessage(tn::request(snmp_status::kPath, tn::cmd::Get));
        EXPECT_EQ(status.get_u32(snmp_status::Port), ntohs(address.sin_port));
        return testing::Test::HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.exitStatus(), 0);
    close(inherited);
}

TEST(InheritedServiceSocket, IsTheFirstUdpSocketOfThisProcess) {
    const std::string isWrong = "service: the inherited descriptor isn't a UDP socket\n";
    const auto opened = [](int family, int kind) { return socket(family, kind | SOCK_CLOEXEC, 0); };
    const int udp4 = opened(AF_INET, SOCK_DGRAM);
    const int udp6 = opened(AF_INET6, SOCK_DGRAM);
    const int tcp = opened(AF_INET6, SOCK_STREAM);
    const struct {
        std::vector<int> sockets;
        int expected;
        std::string said;
        const char* listenPid = nullptr;
        int closed = -1;
    } cases[] = {
        {{udp4}, 3, ""},
        {{udp6}, 3, ""},
        {{udp6}, -1, "", "1"},
        {{tcp}, -1, isWrong},
        {{opened(AF_UNIX, SOCK_DGRAM)}, -1, isWrong},
        {{open("/dev/null", O_RDWR | O_CLOEXEC)}, -1, isWrong},
        {{udp6, udp4}, -1, "", nullptr, 4},  // reported by tn::startDaemon
        {{tcp, udp4}, 4, isWrong},
        {{udp6, udp4}, 3, "service: several inherited sockets; only the first is served\n"},
    };
    for (const auto& given : cases) {
        tn::Child child([&] {
            tn::receiveSockets(given.sockets, kServiceSocketName);
            if (given.listenPid != nullptr) setenv("LISTEN_PID", given.listenPid, 1);
            int found = -2;
            const auto take = [&] {
                close(given.closed);  // now: the capture would reuse it
                found = inheritedServiceSocket();
            };
            EXPECT_EQ(said(take), given.said);
            EXPECT_EQ(found, given.expected);
            return testing::Test::HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(child.exitStatus(), 0) << &given - cases;
    }
}

TEST_F(ServiceTest, TheLoopGetsItsTurnAfterEachBatchOr20Milliseconds) {
    const Client client(address);
    hooked.hook = [this] { sources.nanoseconds += 10'000'000; };
    for (const auto& [name, atOnce] : {std::pair("1.3.1.0", Datagrams::kMax), std::pair("1.3.9.0", size_t{2})}) {
        for (uint32_t id = 0; id < 2 * Datagrams::kMax + 1; ++id) client.query(id, name);
        ASSERT_TRUE(agent->runOnce(std::chrono::seconds(1)));
        EXPECT_EQ(client.answers().size(), atOnce);
        while (agent->runOnce({})) continue;
        EXPECT_EQ(client.answers().size(), 2 * Datagrams::kMax + 1 - atOnce);
    }
}

TEST_F(ServiceTest, RepliesLeaveInOrderFromTheAddressQueriedToTheirSender) {
    const Client first(address), second(address, INADDR_LOOPBACK + 1), third(address);
    for (const uint32_t id : {1U, 4U, 7U}) {
        first.query(id);
        second.query(id + 1);
        third.query(id + 2);
    }
    EXPECT_TRUE(agent->runOnce(std::chrono::seconds(1)));
    EXPECT_THAT(first.answers(), ElementsAre(1, 4, 7));
    EXPECT_THAT(second.answers(), ElementsAre(2, 5, 8));
    EXPECT_THAT(third.answers(), ElementsAre(3, 6, 9));
}

TEST_F(ServiceTest, AReplyThatIsReadyWaitsForNoExchangeNoSetAndNoSlowRequest) {
    const Client client(address);
    std::vector<uint32_t> early;
    const auto answersDuring = [&](uint8_t pdu) {
        client.query(1);
        client.query(2, "1.3.9.0", pdu);
        client.query(3, "1.3.9.0");
        while (agent->runOnce({})) continue;
        return client.answers();
    };
    const std::vector<uint32_t> path{77};
    tn::RawPeer peer(77, {[&](int connection) {
                         const tn::message request = tn::RawPeer::read(connection);
                         early = client.answers();
                         tn::RawPeer::answer(connection, request);
                         tn::RawPeer::answerNext(connection);
                     }});
    hooked.hook = [&] { EXPECT_FALSE(tn::isError(agent->exchangeMessage(tn::request(path, tn::cmd::Get)))); };
    EXPECT_THAT(answersDuring(pdu::GetRequest), ElementsAre(2, 3));
    EXPECT_THAT(early, ElementsAre(1));

    early.clear();
    hooked.hook = [&, calls = 0]() mutable {
        if (++calls == 1) early = client.answers();
    };
    EXPECT_THAT(answersDuring(pdu::SetRequest), ElementsAre(2, 3));
    EXPECT_THAT(early, ElementsAre(1));

    hooked.hook = [&] {
        early = client.answers();
        sources.nanoseconds += 1'000'000;
    };
    EXPECT_THAT(answersDuring(pdu::GetRequest), ElementsAre(3));
    EXPECT_THAT(early, ElementsAre(1, 2));
}

TEST_F(ServiceTest, RepeatedRefusalsAreLoggedWhenTheirMinuteIsOverAlsoWithoutFurtherRequests) {
    agent.reset();
    agent = std::make_unique<SnmpLooper>(ntohs(address.sin_port), kTrapPort, std::chrono::milliseconds(1));
    changeEntry("common", {{6, false}});
    agent->enable();
    const Client client(address);
    const std::string line = "refused: 127.0.0.1: no read access";
    const auto next = [this] {
        testing::internal::CaptureStderr();
        agent->runOnce(std::chrono::seconds(1));
        return testing::internal::GetCapturedStderr();
    };
    for (int minute = 0; minute < 2; ++minute) {
        for (uint32_t id = 0; id < 3; ++id) client.query(id);
        EXPECT_EQ(next(), line + "\n");
        sources.uptime += 59;
        EXPECT_EQ(next(), "");
        sources.uptime += 1;
        EXPECT_EQ(next(), line + " (2 times)\n");
        sources.uptime += 60;
        EXPECT_EQ(next(), "");
        EXPECT_FALSE(statistics.refusals.isPending());
    }
}

TEST_F(ServiceTest, WhatHasBeenReceivedIsAnsweredBeforeTheProcessEnds) {
    const Client client(address);
    hooked.hook = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        agent->shutdown();
    };
    for (uint32_t id = 1; id <= 3; ++id) client.query(id, "1.3.9.0");
    agent->ThinRunner::run();
    EXPECT_THAT(client.answers(), ElementsAre(1, 2, 3));
}

TEST_F(ServiceTest, SwitchingTheServiceOffSendsWhatIsReadyAndServesNothingMore) {
    const Client client(address);
    int calls = 0;
    hooked.hook = [&] {
        ++calls;
        agent->disable();
    };
    client.query(1);
    client.query(2, "1.3.9.0");
    client.query(3, "1.3.9.0");
    while (agent->runOnce({})) continue;
    EXPECT_THAT(client.answers(), ElementsAre(1));
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace snmp
