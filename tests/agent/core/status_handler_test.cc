#include "agent/core/status_handler.h"

#include "agent/mib/objects.h"
#include "contracts/system.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/said.h"
#include "wire/manager.h"

namespace snmp {
namespace {

using testing::Pair;
using testing::UnorderedElementsAre;

/// 1.3.1.0 is the number 1. User "ops" has security level authPriv.
class StatusHandlerTest : public AgentTest {
  protected:
    StatusHandlerTest() {
        opensCommon();
        addScalarConstNumLeaf(OID{1, 3, 1}, 1, tag::Integer);
        change({{setting::EngineId, "core1"}});
        addEntry("ops", "127.0.0.0/8", 2, {{11, "authentication"}, {12, "encryption"}});
        addEntry("far", "192.0.2.0/24");
        addEntry("blind", "127.0.0.0/8", 0, {{6, false}});
    }

    [[nodiscard]] tn::message status() const {
        return agent->exchangeMessage(tn::request(snmp_status::kPath, tn::cmd::Get));
    }

    /// The counters that have changed since the last call, by how much. Those of requests by version and type are left
    /// out unless `all`.
    std::map<std::string, uint64_t> changes(bool all = false) {
        std::map<std::string, uint64_t> changed;
        const tn::message now = status();
        for (const tn::message& counter : now.get_message_array(snmp_status::Counters)) {
            const std::string name = counter.get_string(tn::field::Name);
            const uint64_t count = counter.get_u64(snmp_status::Count);
            const uint64_t more = count - std::exchange(before_[name], count);
            if (more != 0 && (all || counter.get_u32(snmp_status::Group) != snmp_status::group::Requests))
                changed[name] = more;
        }
        return changed;
    }

    static wire::Message getAs(const std::string& community, uint8_t pdu = pdu::GetRequest) {
        return {.version = kVersion2c, .community = community, .pdu = pdu, .bindings = {null("1.3.1.0")}};
    }
    static wire::Manager manager(const std::string& user = "ops") {
        return {.user = user,
                .level = 2,
                .authPassword = "authentication",
                .privPassword = "encryption",
                .engineId = std::string("\x80\x00\xC3\x4F\x04", 5) + "core1"};
    }
    void askV3(const wire::Manager& m, const std::string& source = "127.0.0.1", uint8_t pdu = pdu::GetRequest) {
        Context c(m.request(getAs("", pdu)));
        (void)createReply(c, *tn::IPAddr6::parse(source));
    }

  private:
    std::map<std::string, uint64_t> before_;
};

TEST_F(StatusHandlerTest, RequestsAreCountedByVersionTypeAndResult) {
    changes();
    get({"1.3.1.0", "1.3.1.0"}, kVersion1);
    next({"1.3"});
    bulk({"1.3"}, 0, 5);
    set({number("1.3.1.0", 5)});
    get({"1.3.9.0"}, 2);
    askV3(manager());
    EXPECT_THAT(changes(true),
                UnorderedElementsAre(Pair("v1", 1), Pair("v2c", 4), Pair("v3", 1), Pair("get", 3), Pair("get-next", 1),
                                     Pair("get-bulk", 1), Pair("set", 1), Pair("varbinds", 7), Pair("answered", 4),
                                     Pair("errors", 2), Pair("write-access", 1)));
}

TEST_F(StatusHandlerTest, EachRefusalIsCountedOnceByItsCause) {
    const auto expectOne = [this](const char* cause, const char* result, const std::function<void()>& request) {
        changes();
        request();
        EXPECT_THAT(changes(), UnorderedElementsAre(Pair(cause, 1), Pair(result, 1))) << cause;
    };
    const auto asks = [this](const wire::Message& request) { return [this, request] { (void)ask(request); }; };
    const auto refuses = [&](const char* cause, const wire::Message& request) {
        expectOne(cause, "dropped", asks(request));
    };
    refuses("community", getAs("nobody"));
    refuses("source", getAs("far"));
    refuses("needs-v3", getAs("ops"));
    refuses("pdu-type", getAs("common", pdu::Response));
    wire::Message unknown = getAs("common");
    unknown.version = 5;
    refuses("version", unknown);
    wire::Message unnamed = getAs("common");
    unnamed.bindings = {null("3.0.1")};
    refuses("malformed", unnamed);
    const wire::Bytes whole = wire::encode(getAs("common"));
    for (const ptrdiff_t length : {0, 4, 8, 20})
        expectOne("malformed", "dropped", [&] { (void)askBytes(wire::Bytes(whole.begin(), whole.begin() + length)); });
    expectOne("read-access", "errors", asks(getAs("blind")));
    expectOne("write-access", "errors", asks(getAs("common", pdu::SetRequest)));
    expectOne("repetitions", "errors", [this] { bulk({"1.3"}, 0, 51); });

    const auto reports = [&](const char* cause, const wire::Manager& m) {
        expectOne(cause, "reports", [&] { askV3(m); });
    };
    wire::Manager m = manager();
    m.engineId = "";
    m.level = 0;
    m.user = "";
    reports("discovery", m);
    m = manager();
    m.level = 1;
    reports("level", m);
    m = manager();
    m.time = 100;
    reports("time-window", m);
    m = manager("nobody");
    m.level = 1;
    reports("user", m);
    m = manager();
    m.authPassword = "mistaken";
    reports("digest", m);
    expectOne("source", "reports", [this] { askV3(manager(), "192.0.2.1"); });

    m = manager();
    m.privPassword = "mistaken";
    expectOne("decryption", "dropped", [&] { askV3(m); });
    expectOne("user", "dropped", [&] { askV3(manager("nobody")); });
    m = manager();
    m.level = 0;  // as Debian's client reports that it can't authenticate a Report
    expectOne("pdu-type", "dropped", [&] { askV3(m, "127.0.0.1", pdu::Report); });
    agent->v3Server().strictDigest = true;
    expectOne("source", "reports", [this] { askV3(manager(), "192.0.2.1"); });
    agent->communities().setEngineId("");
    changeEntry("ops", {{15, 1U}});
    m = manager();
    m.level = 1;
    reports("keys", m);
}

TEST_F(StatusHandlerTest, ALineNamesTheUserButNeverACommunity) {
    agent->v3Server().strictDigest = true;  // checks the digest before the time, which said() changes
    const auto lineOf = [this](const std::string& user, uint32_t level) {
        wire::Manager m = manager(user);
        m.level = level;
        m.authPassword = "mistaken";
        return said([&] { askV3(m); });
    };
    EXPECT_EQ(lineOf("ops", 2), "refused: 127.0.0.1: user ops: authentication password or protocol differs\n");
    EXPECT_EQ(lineOf("far", 0), "refused: 127.0.0.1: source address not allowed\n");
    EXPECT_EQ(said([this] { (void)ask(getAs("secret")); }), "refused: 127.0.0.1: no such community\n");
}

TEST_F(StatusHandlerTest, SourcesOwnersAndTheServiceAreReported) {
    (void)ask(getAs("common"), "192.0.2.1");
    (void)ask(getAs("nobody"), "192.0.2.2");
    sources.uptime += 7;
    const std::vector<uint32_t> path(contracts::identity::kPath.begin(), contracts::identity::kPath.end());
    ScriptedOwner& named = owner(path);
    const auto query = [&] { (void)agent->exchangeMessage(tn::request(path, tn::cmd::Get)); };
    query();
    const std::pair<uint32_t, const char*> errors[] = {
        {tn::error::NotFound, "no row"}, {tn::error::TimedOut, "bus: 24: no answer"}, {tn::error::Refused, "no"}};
    for (const auto& [code, text] : errors) {
        named.reply = tn::errorMsg(code, text);
        query();
    }
    (void)agent->exchangeMessage(tn::request(std::vector<uint32_t>{77}, tn::cmd::Get));

    const tn::message now = status();
    EXPECT_EQ(std::tuple(now.get_u64(snmp_status::Uptime), now.get_bool(snmp_status::Enabled),
                         now.get_bool(snmp_status::Open), now.has(snmp_status::Port)),
              std::tuple(7U, false, false, true));
    for (const auto list : {snmp_status::LastSources, snmp_status::BusiestSources}) {
        std::map<std::string, std::string> seen;
        for (const tn::message& source : now.get_message_array(list)) {
            EXPECT_EQ(std::pair(source.get_u64(snmp_status::Requests), source.get_u64(snmp_status::Age)),
                      std::pair(1UL, 7UL));
            seen[source.get_addr6(snmp_status::Address).str()] = source.get_string(snmp_status::Text);
        }
        EXPECT_THAT(seen, ElementsAre(Pair("192.0.2.1", ""), Pair("192.0.2.2", "no such community")));
    }
    const std::vector<tn::message>& queried = now.get_message_array(snmp_status::Owners);
    ASSERT_THAT(queried, SizeIs(2)) << "the agent's own paths aren't owners";
    const auto counts = [](const tn::message& one) {
        return std::tuple(one.get_u64(snmp_status::Answers), one.get_u64(snmp_status::TimedOut),
                          one.get_u64(snmp_status::Errors), one.get_u64(snmp_status::Absent),
                          one.get_string(snmp_status::Text));
    };
    EXPECT_EQ(queried[0].get_u32_array(snmp_status::Path), path);
    EXPECT_EQ(counts(queried[0]), std::tuple(2U, 1U, 1U, 0U, "no"));
    EXPECT_EQ(std::get<3>(counts(queried[1])), 1U);
    EXPECT_FALSE(agent->findHandler(snmp_status::kPath)->checkPolicy(tn::cmd::Get, 0));
    EXPECT_TRUE(agent->findHandler(snmp_status::kPath)->checkPolicy(tn::cmd::Get, tn::right::Read));
}

}  // namespace
}  // namespace snmp
