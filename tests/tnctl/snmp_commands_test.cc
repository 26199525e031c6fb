#include <cstdio>
#include <fstream>

#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

class Settings : public CommandTest {};
class Communities : public CommandTest {
  protected:
    Communities() { communities.rows = {communityRow(0, "common"), communityRow(3, "7", "192.0.2.0/24")}; }
};

TEST_F(Settings, SetSendsOnlyWhatWasNamed) {
    communities.rows = {communityRow(5, "monitor", "10.0.0.0/8")};
    ASSERT_EQ(type("snmp set contact=noc trap-version=2c trap-community=monitor interfaces=all "
                   "trap-targets=192.0.2.1,2001:db8::1"),
              kDone)
        << err;
    expectOne(settings.asked, tn::cmd::Set,
              {"2:string=noc", "18:u32=1", "17:u32=5", "26:message[]={16:be32=192.0.2.1},{14:addr6=2001:db8::1}",
               "24:message[]={25:u32=0}"});
    EXPECT_EQ(out, "");
    ASSERT_EQ(type("snmp set trap-targets=none trap-community=none"), kDone) << err;
    EXPECT_EQ(fieldsOf(settings.asked.back()), parseFields({"26:message[]=", "17:u32=0xffffffff"}));
}

TEST_F(Settings, NothingIsAskedOrSentUnlessEveryWordIsRight) {
    for (const char* line : {"snmp set trap-community=x enabled=yes contat=noc", "snmp set", "snmp st contact=noc",
                             "snmp set contact=noc --jsn", "snmp --timeout 0 set contact=noc"}) {
        EXPECT_EQ(type(line), kUsage) << line;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    }
    EXPECT_EQ(type("snmp set trap-community=nobody"), kFailed);
    EXPECT_THAT(settings.asked, IsEmpty());
}

TEST_F(Settings, OutputThatCannotBeWrittenIsAFailure) {
    std::istringstream in;
    std::ostringstream full, errors;
    full.setstate(std::ios::badbit);
    EXPECT_EQ(run({"snmp"}, {in, full, errors, false}), kFailed);
    EXPECT_EQ(errors.str(), "tnctl: standard output: can't be written\n");
}

TEST_F(Settings, SwitchingOnTellsWhoMayReadAndAsksWhenThatIsEveryone) {
    const std::string on = "snmp set enabled=yes";
    communities.rows = {communityRow(0, "common"), communityRow(1, "lan", "192.0.2.0/24")};
    ASSERT_EQ(type(on), kDone) << err;
    EXPECT_THAT(out, HasSubstr("common has no access yet"));
    EXPECT_THAT(out, HasSubstr("lan may read from 192.0.2.0/24 with SNMPv1, v2c or v3"));
    settings.asked.clear();

    communities.rows.push_back(communityRow(2, "open", "192.0.2.0/24,0.0.0.0/0"));
    EXPECT_EQ(type(on), kUsage);
    EXPECT_THAT(err, HasSubstr("open may read from everywhere"));
    EXPECT_THAT(err, HasSubstr("--yes"));
    EXPECT_EQ(type(on, "n\n", /*interactive=*/true), kFailed);
    EXPECT_EQ(type(on, "", /*interactive=*/true), kFailed);
    EXPECT_THAT(settings.asked, IsEmpty());

    EXPECT_EQ(type(on, "y\n", /*interactive=*/true), kDone);
    EXPECT_EQ(type(on + " --yes"), kDone);
    EXPECT_THAT(out, HasSubstr("open may read from everywhere"));
    EXPECT_THAT(settings.asked, SizeIs(2));

    communities.rows[2].insert_bool(community::ReadAccess,
                                    false);  // open to all, but grants nothing
    EXPECT_EQ(type(on), kDone) << err;
    EXPECT_EQ(type("snmp set enabled=no"), kDone);
}

TEST_F(Communities, AddSendsItsFieldsAndTellsTheAccess) {
    ASSERT_EQ(type("snmp community add name=monitor addresses=127.0.0.0/8,::1/128 security=private "
                   "authentication-protocol=sha1 authentication-password=- encryption-password=-",
                   "first secret\nsecond secret\n"),
              kDone)
        << err;
    expectOne(communities.changes(), tn::cmd::AddObj,
              {"5:string=monitor", "27:message[]={8:be32=127.0.0.0 9:be32=255.0.0.0},{22:addr6=::1 23:u32=128}",
               "15:u32=2", "20:u32=1", "11:string=first secret", "12:string=second secret"});
    EXPECT_EQ(out, "monitor may read from 127.0.0.0/8,::1/128 with SNMPv3, authenticated and encrypted\n");
}

TEST_F(Communities, EveryWayToLetEveryoneInIsAskedFor) {
    for (const char* addresses : {"0.0.0.0/0", "::/0", "10.0.0.0/8,::/0", "1.2.3.4/0.0.0.0", "::ffff:0.0.0.0/96"}) {
        SCOPED_TRACE(addresses);
        const std::string add = "snmp community add name=x addresses=" + std::string(addresses);
        EXPECT_EQ(type(add), kUsage);
        EXPECT_EQ(type(add + " read-access=no"), kDone) << err;
        EXPECT_EQ(type(add + " read-access=no write-access=yes"), kUsage);
    }
    EXPECT_THAT(communities.changes(), SizeIs(5));
    // An entry without addresses is made one for 0.0.0.0/0 by any edit.
    EXPECT_EQ(type("snmp community add name=x"), kUsage);
    EXPECT_EQ(type("snmp community set common name=y"), kUsage);
    EXPECT_THAT(err, HasSubstr("y may read from everywhere (0.0.0.0/0)"));
    EXPECT_EQ(type("snmp community set common addresses=127.0.0.1"), kDone) << err;
}

TEST_F(Communities, AreFoundByNameBeforeId) {
    communities.rows.push_back(communityRow(7, "other", "10.0.0.0/8"));
    ASSERT_EQ(type("snmp community set 7 write-access=yes"), kDone) << err;  // the one called 7
    ASSERT_EQ(type("snmp community remove 3"), kDone) << err;                // the same one by its id
    ASSERT_THAT(communities.changes(), SizeIs(2));
    EXPECT_EQ(fieldsOf(communities.changes()[0]), parseFields({"0xfe0001:u32=3", "7:bool=yes"}));
    EXPECT_EQ(commandOf(communities.changes()[1]), tn::cmd::RemoveObj);
    EXPECT_EQ(fieldsOf(communities.changes()[1]), parseFields({"0xfe0001:u32=3"}));

    EXPECT_EQ(type("snmp community remove othr"), kFailed);
    EXPECT_THAT(err, HasSubstr("did you mean other?"));
    EXPECT_THAT(communities.changes(), SizeIs(2));
}

TEST_F(Communities, ViewsAreSubtreesWithAtLeastOneIncluded) {
    ASSERT_EQ(type("snmp community set 7 views=1.3.6.1.2.1,-.1.3.6.1.2.1.25"), kDone) << err;
    EXPECT_EQ(
        fieldsOf(communities.changes().back()),
        parseFields({"0xfe0001:u32=3", "28:message[]={29:u32[]=1,3,6,1,2,1},{29:u32[]=1,3,6,1,2,1,25 30:bool=yes}"}));
    EXPECT_THAT(out, HasSubstr("7 may read what its views include from 192.0.2.0/24"));
    communities.rows[1].insert_message_array(community::Views,
                                             communities.changes().back().get_message_array(community::Views));
    ASSERT_EQ(type("--json snmp community list"), kDone);
    EXPECT_EQ(Json::parse(out)[1]["views"], Json({"1.3.6.1.2.1", "-1.3.6.1.2.1.25"}));
    ASSERT_EQ(type("snmp community set 7 views=all"), kDone) << err;
    EXPECT_THAT(communities.changes().back().get_message_array(community::Views), IsEmpty());
    for (const char* bad : {"", "-1.3.6", "1.3.6,", "1.3.6,--1.3", "1", "ifTable", "!1.3.6"})
        EXPECT_EQ(type(std::string("snmp community set 7 views=") + bad), kUsage) << bad;
}

TEST_F(Communities, WeakPasswordsNeedForce) {
    for (const char* weak : {"authentication-password=sesame", "encryption-password=", "security=authorized",
                             "security=private authentication-password=long-enough"}) {
        const std::string set = "snmp community set 7 " + std::string(weak);
        EXPECT_EQ(type(set), kUsage);
        EXPECT_THAT(err, HasSubstr("at least 8 characters"));
        EXPECT_THAT(err, Not(HasSubstr("sesame")));
        EXPECT_EQ(type(set + " --force"), kDone) << err;
    }
    communities.rows[1].insert_string(community::AuthenticationPassword, "long enough");
    EXPECT_EQ(type("snmp community set 7 security=authorized"), kDone) << err;
    communities.rows[1].insert_u32(community::Security, contracts::snmp::security::Private);  // forced
    EXPECT_EQ(type("snmp community set 7 write-access=yes"), kDone) << err;
    const std::string add = "snmp community add name=x addresses=::1 security=private authentication-password=12345678";
    EXPECT_EQ(type(add + " encryption-password=1234567"), kUsage);
    EXPECT_EQ(type(add + " encryption-password=12345678"), kDone) << err;
}

TEST_F(Communities, PasswordsComeFromFilesAndFromNobodyWhenThereIsNone) {
    const std::string name = testing::TempDir() + "tnctl_password";
    std::ofstream(name) << "from a file\nsecond line\n";
    const std::string set = "snmp community set 7 authentication-password=";
    EXPECT_EQ(type(set + "@" + name), kDone) << err;
    EXPECT_EQ(communities.changes().back().get_string(community::AuthenticationPassword), "from a file");
    std::remove(name.c_str());
    EXPECT_EQ(type(set + "@" + name), kUsage);
    EXPECT_THAT(err, HasSubstr("No such file"));
    EXPECT_EQ(type(set + "-"), kUsage);
    EXPECT_THAT(communities.changes(), SizeIs(1));
}

TEST_F(Communities, ListHidesPasswordsAndShowsWhoIsRefused) {
    communities.rows[1].insert_string(community::AuthenticationPassword, "geheim");
    communities.rows[1].insert_string(community::EncryptionPassword, "geheim");
    communities.rowsPerPage = 1;
    ASSERT_EQ(type("snmp community list"), kDone) << err;
    EXPECT_EQ(
        out,
        "ID  NAME    READ  WRITE  SECURITY  AUTH  PRIV  AUTH-PASSWORD  PRIV-PASSWORD  VIEWS  ADDRESSES\n"
        "0   common  yes   no     none      md5   des   -              -              all    none: refuses everyone "
        "until edited, or until the agent restarts\n"
        "3   7       yes   no     none      md5   des   ***            ***            all    192.0.2.0/24\n");
    ASSERT_EQ(type("--json snmp community list"), kDone) << err;
    EXPECT_THAT(out, Not(HasSubstr("geheim")));
    EXPECT_EQ(Json::parse(out)[0]["addresses"], Json::array());
    ASSERT_EQ(type("snmp community list --secrets"), kDone) << err;
    EXPECT_THAT(out, HasSubstr("geheim"));
}

}  // namespace
}  // namespace tnctl
