#include "agent/security/community_keep.h"

#include <gtest/gtest.h>

#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

class CommunityKeepTest : public AgentTest {
  protected:
    CommunityKeep& keep() { return agent->communities(); }
    tn::message change(uint32_t command, uint32_t id) {
        tn::message m = tn::request(keep().path(), command);
        m.insert_u32(tn::field::ObjectId, id);
        return m;
    }
    std::string errorOf(const tn::message& request) { return tn::getError(agent->exchangeMessage(request)); }
    static bool admits(const Item* item, const char* source) { return item->accepts(*IPAddr6::parse(source)); }
};

TEST_F(CommunityKeepTest, TheFreshDefaultRefusesEveryoneUntilItIsEdited) {
    ASSERT_NE(keep().find("common"), nullptr);
    EXPECT_FALSE(keep().check("common", *IPAddr6::parse("127.0.0.1")));
    EXPECT_TRUE(keep().canRead("common"));
    EXPECT_FALSE(keep().canWrite("common"));

    EXPECT_EQ(errorOf(change(tn::cmd::SetObj, 0)), "");  // any change fills in 0.0.0.0/0: every IPv4 source
    EXPECT_TRUE(keep().check("common", *IPAddr6::parse("198.51.100.7")));
    EXPECT_FALSE(keep().check("common", *IPAddr6::parse("2001:db8::1")));
}

TEST_F(CommunityKeepTest, TheFreshDefaultIsFilledInByTheNextStart) {
    restart();
    EXPECT_TRUE(keep().check("common", *IPAddr6::parse("198.51.100.7")));
}

TEST_F(CommunityKeepTest, NamesAreUniqueAndTheDefaultStays) {
    addEntry("ops", "10.0.0.0/8");
    const uint32_t ops = keep().find("ops")->id;

    tn::message rename = change(tn::cmd::SetObj, ops);
    rename.insert_string(5, "common");
    EXPECT_EQ(errorOf(rename), "community with the same name already exists!");
    EXPECT_NE(keep().find("ops"), nullptr);
    rename.insert_string(5, "ops");
    EXPECT_EQ(errorOf(rename), "");
    tn::message add = tn::request(keep().path(), tn::cmd::AddObj);
    add.insert_string(5, "ops");
    EXPECT_EQ(errorOf(add), "community with the same name already exists!");

    EXPECT_EQ(errorOf(change(tn::cmd::RemoveObj, 0)), "can not remove default community");
    EXPECT_EQ(errorOf(change(tn::cmd::RemoveObj, ops)), "");
    EXPECT_EQ(keep().find("ops"), nullptr);
}

TEST_F(CommunityKeepTest, UnknownNamesMayDoNothing) {
    EXPECT_FALSE(keep().canRead("Common"));
    EXPECT_FALSE(keep().canWrite(""));
    EXPECT_FALSE(keep().check("commo", IPAddr6()));
    EXPECT_EQ(keep().getSecurity("nobody"), 0U);
}

TEST_F(CommunityKeepTest, EntriesSurviveARestart) {
    addEntry("ops", "2001:db8::/32", 2);
    restart();
    const Item* ops = keep().find("ops");
    ASSERT_NE(ops, nullptr);
    EXPECT_EQ(ops->security, 2U);
    EXPECT_TRUE(admits(ops, "2001:db8:7::1"));
    EXPECT_FALSE(admits(ops, "2001:db9::1"));
}

TEST_F(CommunityKeepTest, AddressesOfEveryShapeAreTaken) {
    Item item;
    tn::message both, nothing, four;
    both.insert_addr6(22, *IPAddr6::parse("2001:db8::"));
    both.insert_u32(23, 32);
    both.insert_be32(8, 0x0a000000);
    both.insert_be32(9, 0xff000000);
    four.insert_be32(8, 0xc0000200);
    four.insert_be32(9, 0xffffff00);
    tn::message config;
    config.insert_message_array(27, {both, nothing, four});
    item.setConfig(config);
    ASSERT_EQ(item.addresses.size(), 2U);
    EXPECT_EQ(item.addresses[0].str(), "2001:db8::/32");  // IPv6 goes first where both stand
    EXPECT_EQ(item.addresses[1].str(), "192.0.2.0/24");

    item.setConfig(four);  // at top level: replaces the list
    EXPECT_EQ(item.addresses.size(), 1U);
    item.setConfig({});  // nothing said: stays
    EXPECT_EQ(item.addresses.size(), 1U);
    config.insert_message_array(27, {});
    item.setConfig(config);
    EXPECT_EQ(item.addresses, (std::vector<IPPrefix6>{IPPrefix6::ofIPv4(0, 0)}));
}

TEST_F(CommunityKeepTest, ConfigurationGoesThereAndBack) {
    Item item;
    item.id = 0;
    item.name = "n";
    item.writeAccess = true;
    item.security = 2;
    item.authenticationProtocol = 1;
    item.authenticationPassword = "secret";
    item.addresses = {IPPrefix6::ofIPv4(0xc0000201, 0xffffffff), *IPPrefix6::parse("2001:db8::/32")};
    tn::message config;
    item.getConfig(config, tn::kTopLevelFirst | tn::kWantDefaults);
    EXPECT_EQ(config.get_be32(8), 0xc0000201U);
    EXPECT_TRUE(config.get_bool(tn::field::IsDefault));
    EXPECT_EQ(config.get_message(tn::field::Defaults).get_string(5), "common");

    Item copy;
    copy.setConfig(config);
    EXPECT_EQ(copy.addresses, item.addresses);
    EXPECT_EQ(copy.authenticationPassword, "secret");
    EXPECT_EQ(copy.security, 2U);
    EXPECT_EQ(copy.authenticationProtocol, 1U);
    EXPECT_TRUE(copy.writeAccess);
}

TEST_F(CommunityKeepTest, KeysAreMadeOneEntryATurnOfTheLoopAndThenKept) {
    const std::string engineId = "engine";
    const auto without = [&] {
        int count = 0;
        for (const char* name : {"common", "one", "two", "three"})
            count += keep().find(name)->hasKeys(engineId) ? 0 : 1;
        return count;
    };
    keep().setEngineId(engineId);
    for (const char* name : {"one", "two", "three"}) addEntry(name, "10.0.0.0/8");
    EXPECT_EQ(without(), 4);
    for (const int left : {3, 2, 1, 0, 0}) {
        agent->runOnce(0);
        EXPECT_EQ(without(), left);
    }

    tn::message password = change(tn::cmd::SetObj, keep().find("two")->id);
    password.insert_string(11, "another");
    EXPECT_EQ(errorOf(password), "");
    EXPECT_EQ(without(), 1);
    const UserKeys& keys = keep().keysOf(*keep().find("two"));  // asked for before its turn
    EXPECT_EQ(without(), 0);
    const uint8_t* const made = keys.digest.data();
    agent->runOnce(0);
    EXPECT_EQ(keep().keysOf(*keep().find("two")).digest.data(), made);
}

TEST_F(CommunityKeepTest, SecretsNeedTheRightToWrite) {
    const tn::message refused = keep().handle(tn::request(keep().path(), tn::cmd::GetAll), tn::right::Reading);
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(refused, &code));
    EXPECT_EQ(code, tn::error::NotPermitted);
    EXPECT_FALSE(tn::isError(keep().handle(tn::request(keep().path(), tn::cmd::GetAll), tn::right::Write)));
}

}  // namespace
}  // namespace snmp
