#include <fstream>

#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

class Users : public CommandTest {
  protected:
    Users() {
        settings.answers[tn::cmd::Get] = parseFields({"10:string=core1"});
        status.answers[tn::cmd::Get] = parseFields({"2:bool=yes", "4:u32=161", "22:bool=no"});
        communities.rows = {communityRow(0, "common", "::1")};
    }

    const std::string add = "snmp user add ops addresses=::1";
};

TEST_F(Users, PasswordsAreTypedTwiceOrReadFromAFileAndNeverShown) {
    const std::string lines = "maplesyrup\nsugarcane\n";
    const std::string file = testing::TempDir() + "tnctl_passwords";
    std::ofstream(file) << lines;
    ASSERT_EQ(type(add, "maplesyrup\nmaplesyrup\nsugarcane\nsugarcane\n", /*interactive=*/true), kDone) << err;
    ASSERT_EQ(type(add + " --passwords-from " + file), kDone) << err;
    ASSERT_EQ(type(add + " --passwords-from -", lines), kDone) << err;
    EXPECT_EQ(out,
              "ops may read from ::1/128 with SNMPv3, authenticated and encrypted\n"
              "snmpwalk -v3 -l authPriv -u ops -a SHA-256 -A AUTHENTICATION-PASSWORD -x AES -X ENCRYPTION-PASSWORD "
              "HOST 1.3.6.1.2.1.1\n");
    ASSERT_THAT(communities.changes(), SizeIs(3));
    for (const tn::message& change : communities.changes()) {
        EXPECT_EQ(commandOf(change), tn::cmd::AddObj);
        EXPECT_EQ(change.get_string(community::AuthenticationPassword), "maplesyrup");
        EXPECT_EQ(change.get_string(community::EncryptionPassword), "sugarcane");
        EXPECT_EQ(change.get_u32(community::Security), contracts::snmp::security::Private);
        EXPECT_EQ(change.get_u32(community::AuthenticationProtocol), contracts::snmp::authentication::Sha256);
        EXPECT_EQ(change.get_u32(community::EncryptionProtocol), contracts::snmp::encryption::Aes128);
    }
    ASSERT_EQ(type(add + " security=auth authentication-protocol=SHA", "maplesyrup\nmaplesyrup\n", true), kDone) << err;
    EXPECT_FALSE(communities.changes().back().has(community::EncryptionPassword));
    EXPECT_THAT(out, HasSubstr("-l authNoPriv -u ops -a SHA -A AUTHENTICATION-PASSWORD HOST"));
    std::remove(file.c_str());
}

TEST_F(Users, AreNotAddedWhenTheyCouldNotWork) {
    const std::string from = add + " --passwords-from -";
    const std::tuple<std::string, std::string, ExitCode, const char*> cases[] = {
        {from, "maplesyrup\nshort\n", kUsage, "encryption-password: expected at least 8 characters"},
        {from, "maplesyrup\n", kUsage, "standard input: expected a line with the encryption password"},
        {add, "", kUsage, "use --passwords-from FILE"},
        {add + " --passwords-from /nowhere", "", kUsage, "/nowhere: No such file"},
        {add + " security=none", "", kUsage, "expected authorized or private"},
        {add + " name=x", "", kUsage, "unknown key"},
        {"snmp user add common addresses=::1", "", kFailed, "common: exists already"},
        {"snmp user add " + std::string(33, 'x'), "", kUsage, "1 to 32 octets"},
        {"snmp user add ops --passwords-from -", "maplesyrup\nsugarcane\n", kUsage, "--yes"}};
    for (const auto& [line, input, code, text] : cases) {
        EXPECT_EQ(type(line, input), code) << line;
        EXPECT_THAT(err, HasSubstr(text)) << line;
    }
    EXPECT_EQ(type(add, "maplesyrup\nmaplesirup\n", /*interactive=*/true), kUsage);
    EXPECT_THAT(err, HasSubstr("the two differ"));
    settings.answers[tn::cmd::Get] = {};
    EXPECT_EQ(type(add), kFailed);
    EXPECT_THAT(err, HasSubstr("engine-id isn't set"));
    EXPECT_THAT(communities.changes(), IsEmpty());
}

TEST_F(Users, ShowHasTheLinesOfEachManagerWithSecretsOnRequestOnly) {
    tn::message user = communityRow(3, "ops", "192.0.2.0/24");
    user.insert_u32(community::Security, contracts::snmp::security::Private);
    user.insert_u32(community::AuthenticationProtocol, contracts::snmp::authentication::Sha1);
    user.insert_u32(community::EncryptionProtocol, contracts::snmp::encryption::Aes256);
    user.insert_string(community::AuthenticationPassword, R"(it's "a\b")");
    user.insert_string(community::EncryptionPassword, "two\nlines");
    communities.rows.push_back(user);
    status.answers[tn::cmd::Get] = parseFields({"2:bool=no", "4:u32=1161", "22:bool=no"});
    ASSERT_EQ(type("snmp user show ops"), kDone);
    EXPECT_THAT(out, Not(AnyOf(HasSubstr("it's"), HasSubstr("lines"))));
    EXPECT_THAT(out, HasSubstr("more than 50 repetitions"));
    EXPECT_THAT(err, HasSubstr("the service is off"));

    ASSERT_EQ(type("--json snmp community show 3 --secrets"), kDone);
    const Json clients = Json::parse(out)["clients"];
    EXPECT_EQ(clients["snmpwalk"],
              R"(snmpwalk -v3 -l authPriv -u ops -a SHA -A 'it'\''s "a\b"' -x AES-256 -X $'two\nlines' HOST:1161 )"
              "1.3.6.1.2.1.1");
    EXPECT_THAT(clients["prometheus"], HasSubstr("\n    auth_protocol: SHA\n    password: \"it's \\\"a\\\\b\\\"\"\n"
                                                 "    priv_protocol: AES256\n    priv_password: \"two\\nlines\"\n"));
    EXPECT_THAT(clients["prometheus-0.22"], HasSubstr("if_mib:\n  version: 3\n  max_repetitions: 50\n  auth:\n"
                                                      "    username: \"ops\"\n    security_level: authPriv\n"));
    EXPECT_THAT(clients["zabbix"],
                HasSubstr("Authentication protocol: SHA1\nAuthentication passphrase: it's \"a\\b\""));
    EXPECT_THAT(clients["telegraf"], HasSubstr("agents = [\"udp://HOST:1161\"]\n  version = 3\n"));
    EXPECT_THAT(clients["librenms"], HasSubstr("--privacy-protocol=AES-256"));
    for (const char* limited : {"prometheus", "zabbix", "telegraf", "librenms"})
        EXPECT_THAT(clients[limited], HasSubstr("50")) << limited;

    status.answers[tn::cmd::Get] = parseFields({"2:bool=yes", "4:u32=161", "22:bool=yes"});
    ASSERT_EQ(type("snmp community show common"), kDone);
    EXPECT_THAT(out, AllOf(HasSubstr("snmpwalk -v2c -c common HOST 1.3.6.1.2.1.1\n"), Not(HasSubstr("50"))));
    EXPECT_EQ(err, "");
}

}  // namespace
}  // namespace tnctl
