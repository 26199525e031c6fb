#include "agent/security/community_keep.h"

#include <tuple>

#include "tests/agent/agent_test.h"
#include "tests/tn/tellers.h"

namespace snmp {
namespace {

namespace community = contracts::snmp::community;

class CommunityKeepTest : public AgentTest {
  protected:
    CommunityKeep& keep() { return agent->communities(); }
    using AgentTest::errorOf;
    std::string errorOf(uint32_t command, uint32_t id, const std::string& name) {
        return errorOf(keep().path(), command, {{tn::field::ObjectId, id}, {community::Name, name}});
    }
    bool admits(const std::string& name, const char* source) {
        return keep().find(name)->accepts(*IPAddr6::parse(source));
    }
};

TEST_F(CommunityKeepTest, TheFreshDefaultRefusesEveryoneUntilAnEditOrAStartFillsItIn) {
    EXPECT_FALSE(admits("common", "127.0.0.1"));
    EXPECT_TRUE(keep().find("common")->readAccess && !keep().find("common")->writeAccess);
    changeEntry("common", {});  // any change fills in 0.0.0.0/0: every IPv4 source
    EXPECT_TRUE(admits("common", "198.51.100.7"));
    EXPECT_FALSE(admits("common", "2001:db8::1"));
}

TEST_F(CommunityKeepTest, TheFreshDefaultIsFilledInByTheNextStart) {
    restart();
    EXPECT_TRUE(admits("common", "198.51.100.7"));
}

TEST_F(CommunityKeepTest, NamesAreExactAndUniqueAndTheDefaultStays) {
    addEntry("ops", "10.0.0.0/8");
    const uint32_t ops = keep().find("ops")->id;
    const std::string taken = "community with the same name already exists!";
    EXPECT_EQ(errorOf(tn::cmd::SetObj, ops, "common"), taken);
    EXPECT_EQ(errorOf(tn::cmd::SetObj, ops, "ops"), "");
    EXPECT_EQ(errorOf(keep().path(), tn::cmd::AddObj, {{community::Name, "ops"}}), taken);
    EXPECT_EQ(errorOf(tn::cmd::RemoveObj, 0, ""), "can not remove default community");
    removeEntry("ops");
    for (const char* name : {"ops", "Common", "commo", "common1", ""}) EXPECT_EQ(keep().find(name), nullptr) << name;
}

TEST_F(CommunityKeepTest, AddressesOfEveryShapeAreTaken) {
    Item item;
    const auto four = messageOf({{community::Address4, Ip4{0xc0000200}}, {community::Netmask4, Ip4{0xffffff00}}});
    tn::message both = messageOf({{community::Address4, Ip4{0x0a000000}}, {community::Netmask4, Ip4{0xff000000}}});
    put(both, {{community::Address6, *IPAddr6::parse("2001:db8::")}, {community::PrefixLength6, 32U}});
    item.setConfig(messageOf({{community::Addresses, Messages{both, {}, four}}}));
    EXPECT_EQ(item.addresses,  // IPv6 goes first where both stand
              (std::vector{*IPPrefix6::parse("2001:db8::/32"), IPPrefix6::ofIPv4(0xc0000200, 0xffffff00)}));

    item.setConfig(four);  // at top level: replaces the list
    EXPECT_EQ(item.addresses.size(), 1U);
    item.setConfig({});  // nothing said: stays
    EXPECT_EQ(item.addresses.size(), 1U);
    item.setConfig(messageOf({{community::Addresses, Messages{}}}));
    EXPECT_EQ(item.addresses, (std::vector<IPPrefix6>{IPPrefix6::ofIPv4(0, 0)}));
}

TEST_F(CommunityKeepTest, EntriesAreReportedAsTheyAreSet) {
    tn::message config;
    Item standard;
    standard.id = 0;
    standard.addresses = {IPPrefix6::ofIPv4(0xc0000201, 0xffffffff), *IPPrefix6::parse("2001:db8::/32")};
    standard.getConfig(config, tn::kTopLevelFirst | tn::kWantDefaults);
    EXPECT_EQ(config.get_be32(community::Address4), 0xc0000201U);
    EXPECT_TRUE(config.get_bool(tn::field::IsDefault));
    EXPECT_EQ(config.get_message(tn::field::Defaults).get_string(community::Name), "common");
    tn::message other;
    standard.id = 1;
    standard.getConfig(other, tn::kWantDefaults);
    EXPECT_FALSE(other.get_bool(tn::field::IsDefault) || other.has(tn::field::Defaults));
    Item copy;
    copy.setConfig(config);
    EXPECT_EQ(copy.addresses, standard.addresses);
}

TEST_F(CommunityKeepTest, KeysAreMadeWhenFirstNeededAndThenCached) {
    const std::string engineId = "engine";
    const auto without = [&] {
        int count = 0;
        for (const char* name : {"common", "one", "two"}) count += keep().find(name)->hasKeys(engineId) ? 0 : 1;
        return count;
    };
    for (const char* name : {"one", "two"}) addEntry(name, "10.0.0.0/8");
    keep().setEngineId(engineId);
    while (agent->runOnce({})) continue;
    EXPECT_EQ(without(), 3);
    const uint8_t* const made = keep().keysOf(*keep().find("two")).digest.data();
    EXPECT_EQ(without(), 2);
    EXPECT_EQ(keep().keysOf(*keep().find("two")).digest.data(), made);
    changeEntry("two", {{community::AuthenticationPassword, "another"}});
    EXPECT_EQ(without(), 3);
}

TEST_F(CommunityKeepTest, KeysFollowPasswordsProtocolAndEngineId) {
    addEntry("ops", "10.0.0.0/8", 2,
             {{community::AuthenticationPassword, "first secret"}, {community::EncryptionPassword, "second secret"}});
    keep().setEngineId("engine");
    const auto keysOfOps = [&] {
        const Item& ops = *keep().find("ops");
        const UserKeys cached = keep().keysOf(ops);
        Item fresh;
        tn::message config;
        ops.getConfig(config, 0);
        fresh.setConfig(config);
        const UserKeys& made = fresh.keys(ops.hasKeys("engine") ? "engine" : "other");
        EXPECT_EQ(std::tie(cached.method, cached.cipher, cached.digest, cached.crypt),
                  std::tie(made.method, made.cipher, made.digest, made.crypt));
        return cached;
    };
    const UserKeys first = keysOfOps();
    changeEntry("ops", {{community::EncryptionPassword, "third secret"}});
    EXPECT_FALSE(keep().find("ops")->hasKeys("engine"));
    EXPECT_EQ(keysOfOps().digest, first.digest);
    EXPECT_NE(keysOfOps().crypt, first.crypt);
    changeEntry("ops", {{community::AuthenticationPassword, "fourth secret"}});
    EXPECT_NE(keysOfOps().digest, first.digest);
    changeEntry("ops", {{community::AuthenticationProtocol, contracts::snmp::authentication::Sha1}});
    EXPECT_EQ(keysOfOps().crypt.size(), 20U);
    changeEntry("ops", {{community::EncryptionProtocol, contracts::snmp::encryption::Aes256}});
    EXPECT_FALSE(keep().find("ops")->hasKeys("engine"));
    EXPECT_EQ(keysOfOps().crypt.size(), 40U);
    keep().setEngineId("other");
    EXPECT_FALSE(keep().find("ops")->hasKeys("other"));
    (void)keysOfOps();
    keep().setEngineId("");
    EXPECT_THAT(keep().keysOf(*keep().find("ops")).digest, testing::IsEmpty());
}

TEST_F(CommunityKeepTest, SecretsNeedTheRightToWrite) {
    addEntry("ops", "10.0.0.0/8", 2, {{community::AuthenticationPassword, "secret"}});
    const uint32_t ops = keep().find("ops")->id;
    EXPECT_EQ(tellers(keep(), ops, "secret", tn::right::Reading), std::set<uint32_t>());
    EXPECT_EQ(tellers(keep(), ops, "secret", tn::right::Write), (std::set{tn::cmd::GetAll, tn::cmd::GetObj}));
    // Notifications of a change hold the whole entry.
    tn::message subscribe = tn::request(keep().path(), tn::cmd::Subscribe);
    put(subscribe, {{tn::field::NotifyCommand, tn::cmd::Changed}, {tn::field::Source, std::vector<uint32_t>{34, 9}}});
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(keep().handle(subscribe, tn::right::Reading), &code));
    EXPECT_EQ(code, tn::error::NotPermitted);
    EXPECT_FALSE(tn::isError(keep().handle(subscribe, tn::right::Write)));
}

}  // namespace
}  // namespace snmp
