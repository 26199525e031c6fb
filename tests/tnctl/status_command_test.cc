#include "contracts/readings.h"
#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

namespace snmp_status = contracts::snmp_status;

class Status : public CommandTest {
  protected:
    Status() { scripted(12, 9); }

    static tn::message counter(uint32_t group, const std::string& name, const std::string& text, uint64_t count) {
        tn::message m;
        m.insert_u32(snmp_status::Group, group);
        m.insert_string(tn::field::Name, name);
        m.insert_string(snmp_status::Text, text);
        m.insert_u64(snmp_status::Count, count);
        return m;
    }
    static tn::message source(uint8_t last, uint64_t requests, uint64_t refused) {
        tn::message m;
        m.insert_addr6(snmp_status::Address, tn::IPAddr6::ofIPv4(0xc0000200 + last));
        m.insert_u64(snmp_status::Requests, requests);
        m.insert_u64(snmp_status::Refused, refused);
        m.insert_u64(snmp_status::Age, 3);
        if (refused > 0) m.insert_string(snmp_status::Text, "no such community");
        return m;
    }

    /// Scripts a status with this many requests and refusals.
    void scripted(uint64_t requests, uint64_t refused) {
        tn::message m;
        m.insert_u64(snmp_status::Uptime, 3700);
        m.insert_bool(snmp_status::Enabled, true);
        m.insert_bool(snmp_status::Open, true);
        m.insert_u32(snmp_status::Port, 161);
        namespace group = snmp_status::group;
        m.insert_message_array(
            snmp_status::Counters,
            {counter(group::Requests, "v1", "SNMPv1", 0), counter(group::Requests, "v2c", "SNMPv2c", requests),
             counter(group::Refusals, "source", "source address not allowed", 1),
             counter(group::Refusals, "community", "no such community", refused)});
        m.insert_message_array(snmp_status::BusiestSources, {source(1, 8, 0), source(2, 3, 3)});
        m.insert_message_array(snmp_status::LastSources, {source(3, 5, 0), source(2, 2, 2)});
        tn::message owner;
        owner.insert_u32_array(snmp_status::Path, {20, 0});
        owner.insert_u64(snmp_status::Answers, 7);
        owner.insert_u64(snmp_status::Answered, 62);
        tn::message other;
        other.insert_u32_array(snmp_status::Path, {77});
        other.insert_u64(snmp_status::Absent, 2);
        m.insert_message_array(snmp_status::Owners, {owner, other});
        tn::message good;
        good.insert_string(tn::field::Name, "/p/good.so");
        tn::message bad;
        bad.insert_string(tn::field::Name, "/p/bad.so");
        bad.insert_string(snmp_status::Text, "no symbol autorun");
        m.insert_message_array(snmp_status::Plugins, {good, bad});
        status.answers[tn::cmd::Get] = m;
    }
};

TEST_F(Status, IsShownInTablesWithoutZerosAndSorted) {
    ASSERT_EQ(type("status"), kDone) << err;
    EXPECT_THAT(out, testing::StartsWith("SNMP service: on, UDP port 161, agent up 1h1m\n"
                                         "\n"
                                         "REQUESTS  COUNT\n"
                                         "SNMPv2c   12\n"
                                         "\n"
                                         "REFUSED                     COUNT\n"
                                         "no such community           9\n"
                                         "source address not allowed  1\n"
                                         "\n"
                                         "SOURCE     REQUESTS  REFUSED  LAST    LAST REFUSAL\n"
                                         "192.0.2.1  8         0        3s ago  -\n"
                                         "192.0.2.3  5         0        3s ago  -\n"
                                         "192.0.2.2  3         3        3s ago  no such community\n"
                                         "\n"
                                         "OWNER "));
    EXPECT_THAT(out, testing::ContainsRegex("\ninterfaces +20,0 +7 +0 +0 +0 +1m2s ago +[0-9.]+ ms\n"));
    EXPECT_THAT(out, testing::ContainsRegex("\n- +77 +0 +0 +0 +2 +- +bus: 77: Not a directory\n"));
    EXPECT_THAT(out, HasSubstr("\n\ntarnix-hostd doesn't report the age of its data: no such handler\n"));
    EXPECT_THAT(out, testing::EndsWith("\n\nPLUG-IN     STATE\n/p/good.so  loaded\n/p/bad.so   no symbol autorun\n"));

    const std::pair<bool, const char*> closed[] = {{true, "SNMP service: enabled, but UDP port 161 isn't open"},
                                                   {false, "SNMP service: off (tnctl snmp set enabled=yes)"}};
    for (const auto& [enabled, line] : closed) {
        status.answers[tn::cmd::Get].insert_bool(snmp_status::Open, false);
        status.answers[tn::cmd::Get].insert_bool(snmp_status::Enabled, enabled);
        ASSERT_EQ(type("status"), kDone) << err;
        EXPECT_THAT(out, testing::StartsWith(line));
    }
}

TEST_F(Status, JsonHasEverythingUnderFixedNames) {
    ASSERT_EQ(type("--json status"), kDone) << err;
    const Json all = Json::parse(out);
    EXPECT_EQ(all["service"],
              (Json{{"enabled", true}, {"open", true}, {"port", 161}, {"standard", false}, {"uptime", 3700}}));
    EXPECT_EQ(all["requests"], (Json{{"v1", 0}, {"v2c", 12}}));
    EXPECT_EQ(all["refusals"]["community"], 9);
    EXPECT_THAT(all["sources"]["last"], SizeIs(2));
    EXPECT_EQ(all["sources"]["busiest"][1]["last-refusal"], "no such community");
    const Json& rows = all["owners"];
    const auto owner =
        std::find_if(rows.begin(), rows.end(), [](const Json& row) { return row["name"] == "interfaces"; });
    ASSERT_NE(owner, rows.end());
    EXPECT_EQ((*owner)["path"], Json({20, 0}));
    EXPECT_TRUE((*owner)["reply-ms"].is_number() && (*owner)["reply-error"].is_null());
    EXPECT_EQ(all["plugins"][1], (Json{{"file", "/p/bad.so"}, {"fault", "no symbol autorun"}}));
}

TEST_F(Status, ShowsTheAgeAndTheStateOfTheOwnersData) {
    namespace readings = contracts::readings;
    const auto source = [](const std::string& name, std::optional<uint64_t> age, const std::string& problem) {
        tn::message m;
        m.insert_string(tn::field::Name, name);
        if (age) m.insert_u64(readings::Age, *age);
        m.insert_bool(readings::Failing, !problem.empty());
        if (!problem.empty()) m.insert_string(readings::Text, problem);
        return m;
    };
    ASSERT_EQ(type("--json status"), kDone) << err;
    EXPECT_TRUE(Json::parse(out)["readings"].is_null() && Json::parse(out)["readings-error"].is_string()) << out;
    ScriptedOwner held;
    held.rows = {source("disks", 62'999, ""), source("proxy", {}, ""), source("sensors", 0, "no\nchip")};
    looper.addHandler(Path{1, 2}, &held);
    ASSERT_EQ(type("status"), kDone) << err;
    EXPECT_THAT(out, HasSubstr("\n\nDATA     AGE   STATE\n"
                               "disks    1m2s  ok\n"
                               "proxy    -     not read yet\n"
                               "sensors  0s    no\\nchip\n\n"));
    ASSERT_EQ(type("--json status"), kDone) << err;
    EXPECT_EQ(Json::parse(out)["readings"], Json({{{"name", "disks"}, {"age-ms", 62'999}, {"problem", nullptr}},
                                                  {{"name", "proxy"}, {"age-ms", nullptr}, {"problem", nullptr}},
                                                  {{"name", "sensors"}, {"age-ms", 0}, {"problem", "no\nchip"}}}));
}

TEST_F(Status, WatchShowsRatesUntilTheAgentIsGone) {
    struct : tn::Handler {
        tn::message handle(const tn::message&, uint32_t) override {
            if (++calls == 2) next();
            return calls <= 2 ? from->answers[tn::cmd::Get] : tn::errorMsg(tn::error::Unreachable, "bus: 34: no owner");
        }
        ScriptedOwner* from = nullptr;
        std::function<void()> next;
        int calls = 0;
    } agent;
    agent.from = &status;
    agent.next = [this] { scripted(1'000'012, 9); };
    looper.addHandler(Path{34, 3}, &agent);
    EXPECT_EQ(type("status --watch 0.01"), kFailed);
    EXPECT_THAT(err, testing::StartsWith("tnctl: the agent doesn't answer: bus: 34: no owner (looked in "));
    EXPECT_THAT(out, HasSubstr("REQUESTS  COUNT\nSNMPv2c   12\n"));
    EXPECT_THAT(out, testing::ContainsRegex("REQUESTS +COUNT +PER SECOND\nSNMPv2c +1000012 +[0-9]+\\.[0-9]\n"));
    EXPECT_THAT(out, testing::ContainsRegex("no such community +9 +0.0\n"));
    EXPECT_EQ(type("status --watch x"), kUsage);
    EXPECT_EQ(type("status --watch 0"), kUsage);
}

}  // namespace
}  // namespace tnctl
