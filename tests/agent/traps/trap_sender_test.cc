#include "agent/traps/trap_sender.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>

#include "agent/status/statistics.h"
#include "agent/traps/interface_traps.h"
#include "contracts/interfaces.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/ber/octets.h"
#include "wire/manager.h"

namespace snmp {
namespace {

namespace interfaces = contracts::interfaces;
using ::testing::Pair;

/// Traps of the agent, at a port of this machine's loopback where `receiver` listens.
class TrapSenderTest : public AgentTest {
  protected:
    TrapSenderTest() : receiver_(socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        trapMakers.push_back(alderTrapMaker);
        EXPECT_GE(receiver_, 0);
    }
    ~TrapSenderTest() override { close(receiver_); }

    /// Puts the receiver at ::1, and an agent in place that sends there.
    void listens() {
        sockaddr_in6 at{};
        at.sin6_family = AF_INET6;
        at.sin6_addr = in6addr_loopback;
        socklen_t length = sizeof at;
        ASSERT_EQ(bind(receiver_, reinterpret_cast<sockaddr*>(&at), length), 0);
        ASSERT_EQ(getsockname(receiver_, reinterpret_cast<sockaddr*>(&at), &length), 0);
        agent.reset();
        agent = std::make_unique<SnmpLooper>(uint16_t{0}, ntohs(at.sin6_port));
    }
    void set(uint32_t version, std::initializer_list<const char*> targets, uint32_t community = 0) {
        Messages list;
        for (const char* target : targets) {
            const auto address = *tn::IPAddr6::parse(target);
            list.push_back(address.isIPv4() ? messageOf({{setting::Target4, Ip4{address.getIPv4()}}})
                                            : messageOf({{setting::Target6, address}}));
        }
        change({{setting::Enabled, true}, {setting::EngineId, "trapper"}, {setting::TrapTargets, list}});
        change({{setting::TrapVersion, version}, {setting::TrapCommunity, community}});
    }
    static tn::message ask() {
        namespace trap = contracts::snmp::trap;
        tn::message m = tn::request(std::vector<uint32_t>{34}, trap::kSend);
        return put(m, {{trap::Oid, "1.3.6.1.4.1.49999.1"}, {trap::Type, 4U}, {trap::Value, "hello"}});
    }
    std::optional<wire::Bytes> created(const tn::message& message, const char* local = "192.0.2.1") {
        UsmWriter out;
        std::optional<Trap> trap;
        if (!agent->traps().createTrap(out, message, *tn::IPAddr6::parse(local), trap)) return {};
        return wire::Bytes(out.bytes().begin(), out.bytes().end());
    }
    /// Has the agent send a trap.
    void sends(const tn::message& message = ask()) { EXPECT_TRUE(agent->exchangeMessage(message).empty()); }
    /// The traps that have come since the last call.
    [[nodiscard]] std::vector<wire::Message> received() const {
        std::vector<wire::Message> all;
        std::array<uint8_t, 2048> buffer;
        for (ssize_t n = 0; (n = recv(receiver_, buffer.data(), buffer.size(), 0)) >= 0;) {
            std::string why;
            const auto trap = wire::decode(std::span(buffer).first(static_cast<size_t>(n)), why);
            EXPECT_TRUE(trap) << why;
            if (trap) all.push_back(*trap);
        }
        return all;
    }

  private:
    int receiver_;
};

TEST_F(TrapSenderTest, Version1) {
    set(kVersion1, {"192.0.2.9"});
    sources.uptime += 3;
    const std::string head =
        "30 40 02 01 00 04 06 63 6F 6D 6D 6F 6E A4 33 06 0B 2B 06 01 04 01 83 86 4F 01 01 09 40 04 ";
    const std::string tail =
        " 02 01 06 02 01 01 43 02 01 2C 30 14 30 12 06 09 2B 06 01 04 01 83 86 4F 01 04 05 68 65 6C 6C 6F";
    EXPECT_EQ(hex(*created(ask())), head + "C0 00 02 01" + tail);
    EXPECT_EQ(hex(*created(ask(), "2001:db8::1")), head + "00 00 00 00" + tail);
    trapMakers.push_back(startupTrapMaker);
    EXPECT_EQ(hex(*created({})),
              "30 2A 02 01 00 04 06 63 6F 6D 6D 6F 6E A4 1D 06 09 2B 06 01 06 03 01 01 05 02 "
              "40 04 C0 00 02 01 02 01 01 02 01 00 43 02 01 2C 30 00");
}

TEST_F(TrapSenderTest, StandardTrapsHaveTheUptimeOfAGetAndVersion1NamesThemByRfc3584) {
    agent->setRules(kStandardRules);
    set(kVersion1, {"192.0.2.9"});
    sources.uptime = 0x1234;
    sources.nanoseconds = 990'000'000;  // sysUpTime has whole seconds
    const std::string time = "43 03 07 1C 50 ";
    EXPECT_THAT(hex(*created(ask())),
                HasSubstr("06 0B 2B 06 01 04 01 83 86 4F 01 01 09 40 04 C0 00 02 01 02 01 06 02 01 01 " + time));
    trapMakers.push_back([](auto&, const tn::message& message, OID& oid, unsigned& generic, unsigned&) {
        oid = OID(message.get_string(contracts::snmp::trap::Oid));
        generic = oid.size() > 10 ? 0U : 2U;
        return true;
    });
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"1.3.6.1.6.3.1.1.5.3", "06 08 2B 06 01 06 03 01 01 05 ", "02 01 02 02 01 00 "},  // snmpTraps
        {"1.3.6.1.6.3.1.1.5.7", "06 08 2B 06 01 06 03 01 01 05 ", "02 01 06 02 01 07 "},
        {"1.3.6.1.4.1.8.7", "06 06 2B 06 01 04 01 08 ", "02 01 06 02 01 07 "},
        {"1.3.6.1.4.1.8.0.7", "06 06 2B 06 01 04 01 08 ", "02 01 06 02 01 07 "}};
    for (const auto& [oid, enterprise, numbers] : cases)
        EXPECT_THAT(hex(*created(messageOf({{contracts::snmp::trap::Oid, oid}}))),
                    HasSubstr(enterprise + std::string("40 04 C0 00 02 01 ") + numbers + time))
            << oid;
}

TEST_F(TrapSenderTest, Version2cTrapsHaveRequestIdsOf31BitsThatDiffer) {
    set(kVersion2c, {"192.0.2.9"});
    sources.uptime += 3;
    std::set<uint32_t> requestIds;
    for (int i = 0; i < 10; ++i) {
        std::string why;
        const auto trap = wire::decode(*created(ask()), why);
        ASSERT_TRUE(trap) << why;
        EXPECT_EQ(shown(trap->bindings), "300 1.3.6.1.4.1.49999.1.1.9.0.1 hello");
        EXPECT_LT(trap->requestId, 0x80000000U);
        requestIds.insert(trap->requestId);
    }
    EXPECT_EQ(requestIds.size(), 10U);
}

TEST_F(TrapSenderTest, Version3CarriesTheAgentsTimeAndNoSaltTwiceAndEndsWithItsUser) {
    addEntry("trapper", "0.0.0.0/0", 2, {{11, "authentication"}, {12, "encryption"}});
    set(kVersion3, {"192.0.2.9"}, agent->communities().find("trapper")->id);
    sources.uptime += 60;
    const std::string engineId = std::string("\x80\x00\xC3\x4F\x04", 5) + "trapper";
    for (const auto& [auth, priv] : {std::pair{0U, 0U}, std::pair{2U, 1U}, std::pair{4U, 2U}, std::pair{5U, 3U}}) {
        changeEntry("trapper", {{20, auth}, {21, priv}});
        const wire::Manager manager{"trapper", 2, auth, priv, "authentication", "encryption", engineId};
        std::string why;
        const auto trap = manager.open(*created(ask()), why);
        ASSERT_TRUE(trap) << auth << " " << priv << ": " << why;
        EXPECT_EQ(std::pair(trap->header.boots, trap->header.time),
                  std::pair(agent->v3Server().engineBoots, agent->v3Server().engineTime()));
        EXPECT_EQ(trap->scoped.contextEngineId, engineId);
    }
    EXPECT_NE(created(ask()), created(ask()));
    removeEntry("trapper");
    EXPECT_FALSE(created(ask())) << "sent for a user that has gone";
}

TEST_F(TrapSenderTest, Version3WithoutAnEngineIdSendsNoUnprotectedTrap) {
    for (const uint32_t security : {1U, 2U}) {
        addEntry("trapper", "0.0.0.0/0", security);
        change({{setting::TrapVersion, kVersion3}, {setting::TrapCommunity, agent->communities().find("trapper")->id}});
        EXPECT_FALSE(created(ask()));
        removeEntry("trapper");
    }
}

TEST_F(TrapSenderTest, NothingIsSentWithoutServiceTargetsOrCommunity) {
    listens();
    for (const Field& without : {Field{setting::Enabled, false},
                                 {setting::TrapTargets, Messages()},
                                 {setting::TrapCommunity, tn::kNoId},
                                 {setting::TrapCommunity, 77U}}) {
        set(kVersion2c, {"::1"});
        sends();
        EXPECT_EQ(received().size(), 1U);
        change({without});
        sends();
        EXPECT_EQ(received().size(), 0U) << without.number;
    }
    EXPECT_EQ(statistics.counters[Counter::TrapsFailed], 1U) << "that without its community";
    set(kVersion2c, {"255.255.255.255", "::1"});  // no process may send to the first one
    sends();
    EXPECT_EQ(received().size(), 1U);
    EXPECT_EQ(std::pair(statistics.counters[Counter::TrapsSent], statistics.counters[Counter::TrapsFailed]),
              std::pair(uint64_t{5}, uint64_t{2}));
}

TEST_F(TrapSenderTest, AnyNumberOfStoppedTrapsHoldsOneDescriptor) {
    listens();
    set(kVersion2c, {"::1"});
    const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = descriptors();
    const tn::message unknown = tn::request(std::vector<uint32_t>{34}, tn::cmd::Changed);
    for (int i = 0; i < 20; ++i) sends(unknown);
    EXPECT_LE(descriptors(), before + 1);
    sends();
    EXPECT_EQ(received().size(), 1U);
    EXPECT_EQ(descriptors(), before);
}

TEST_F(TrapSenderTest, TheStartIsReportedWhenTheSettingsSaySo) {
    listens();
    set(kVersion2c, {"::1"});
    agent->startup();
    EXPECT_EQ(received().size(), 0U);
    change({{setting::TrapGenerators, std::vector<uint32_t>{0xabc0001}}});
    agent->startup();
    EXPECT_EQ(shown(received().at(0).bindings).substr(2), "1.3.6.1.6.3.1.1.5.2");
    EXPECT_THAT(trapMakers, ElementsAre(&alderTrapMaker));
    sends(tn::request(std::vector<uint32_t>{34}, 2));  // an unknown command is answered, and makes no trap
    EXPECT_EQ(received().size(), 0U);
}

TEST_F(TrapSenderTest, WhatChangedWhileTheInterfaceOwnerWasAwayIsReported) {
    listens();
    set(kVersion2c, {"::1"});
    trapMakers.push_back(interfaceTrapMaker);
    seedLinkStates();  // no owner
    using States = std::map<uint32_t, uint32_t>;
    const auto reported = [&](const States& states) {
        Messages items;
        for (const auto& [id, status] : states)
            items.push_back(
                messageOf({{tn::field::ObjectId, id}, {interfaces::Flags, 0U}, {interfaces::Status, status}}));
        owner(interfaces::kPath).reply = messageOf({{tn::field::Objects, items}});
        agent->resubscribed(interfaces::kPath, interfaces::kStatusChanged);
        std::map<std::string, std::string> all;  // ifIndex: ifAdminStatus
        for (const wire::Message& trap : received()) all[trap.bindings.at(2).value] = trap.bindings.at(3).value;
        return all;
    };
    EXPECT_THAT(reported({{1, 0x500}, {2, 0}, {3, 0x500}, {4, 0x500}}), IsEmpty());  // as at the start
    // The third is in a transitional state, the fourth has gone.
    EXPECT_THAT(reported({{1, 0x500}, {2, 0x500}, {3, 0x400}, {5, 0x500}, {6, 0}}),
                ElementsAre(Pair("2", "1"), Pair("5", "1")));
    interfaceFilter = {2};
    EXPECT_THAT(reported({{1, 0}, {2, 0}}), ElementsAre(Pair("2", "2")));
    EXPECT_THAT(reported({{1, 0}, {2, 0}}), IsEmpty());
}

}  // namespace
}  // namespace snmp
