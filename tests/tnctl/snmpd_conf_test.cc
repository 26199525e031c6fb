#include "tnctl/snmpd_conf.h"

#include "tests/tnctl/scripted_bus.h"
#include "tnctl/settings_file.h"

namespace tnctl {
namespace {

/// The commands, each after its line, then the lines that aren't translated, with their reasons.
std::string translated(std::string_view text) {
    const SnmpdConf conf = translateSnmpdConf(text);
    std::string result;
    for (const FileCommand& command : conf.commands) {
        result += std::to_string(command.line) + ":";
        for (size_t i = 1; i < command.words.size(); ++i) result += " " + command.words[i];
        result += "\n";
    }
    for (const Untranslated& each : conf.untranslated)
        result += std::to_string(each.line) + "! " + each.directive + ": " + each.reason + "\n";
    const auto asTyped = [](const Word&, std::string_view value) { return std::string(value); };
    EXPECT_NO_THROW((void)parseSettings(conf.commands, asTyped));
    return result;
}

constexpr char kOff[] = " read-access=no write-access=no security=none\n";

TEST(SnmpdConf, WhatHasACounterpartIsTranslated) {
    const std::string ro = " read-access=yes write-access=no security=none\n";
    const std::string rw = " read-access=yes write-access=yes security=none\n";
    for (const auto& [text, expected] : std::vector<std::pair<std::string, std::string>>{
             {"# x\n\n rocommunity  public\r\n", "3: community add name=public addresses=0.0.0.0/0" + ro},
             {"rocommunity public 10.0.0.0/8\nROcommunity6 public localhost\nrocommunity public 192.0.2.1 .1",
              "1: community add name=public addresses=10.0.0.0/8,::1/128,192.0.2.1/32" + ro},
             {"rocommunity v default -V sys\nview sys included .1.3.6.1.2.1\nview sys excluded .1.3.6.1.2.1.25\n"
              "rocommunity o 10.0.0.1 .1.3.6.1.2.1.1",
              "4: community add name=o addresses=10.0.0.1/32 views=1.3.6.1.2.1.1" + ro +
                  "1: community add name=v addresses=0.0.0.0/0 views=1.3.6.1.2.1,-1.3.6.1.2.1.25" + ro},
             {"rwcommunity \"my \\\"x\" 10.0.0.0/255.0.0.0", "1: community add name=my \"x addresses=10.0.0.0/8" + rw},
             {"rocommunity6 six", "1: community add name=six addresses=2000::/3,fc00::/7,fe80::/10,::1/128" + ro},
             {"rouser -s usm ops priv\ncreateUser ops SHA-256 maplesyrup AES\n[snmp] x\n[snmpd]\nsysContact a b",
              "2: community add name=ops addresses=::/0 read-access=yes write-access=no security=private "
              "authentication-protocol=SHA-256 authentication-password=maplesyrup encryption-protocol=AES "
              "encryption-password=maplesyrup\n5: set contact=a b\n3! x: it is in the section of another program\n"},
             {"trapcommunity t\ntrap2sink 192.0.2.1\ntrap2sink udp6:[2001:db8::1]:1162",
              std::string("2: community add name=t addresses=127.0.0.1/32") + kOff +
                  "2: set trap-version=2c trap-kind=trap trap-community=t trap-targets=192.0.2.1,[2001:db8::1]:1162\n"},
             {"trapsess -Ci -v3 -l authNoPriv -u u -a SHA -A maplesyrup 192.0.2.1",
              "1: community add name=u addresses=127.0.0.1/32 read-access=no write-access=no security=authorized "
              "authentication-protocol=SHA authentication-password=maplesyrup\n"
              "1: set trap-version=3 trap-kind=inform trap-community=u trap-targets=192.0.2.1\n"}})
        EXPECT_EQ(translated(text), expected) << text;
}

TEST(SnmpdConf, WhatCannotBeExpressedExactlyIsNamedAndNeverWidened) {
    for (const char* line : {"rocommunity public default -V systemonly",
                             "rocommunity public 10.0.0.0/8 system",
                             "rocommunity public default -V x ctx",
                             "rocommunity",
                             "rocommunity public !10.0.0.1",
                             "rocommunity public host.example",
                             "rocommunity6 public 10.0.0.1",
                             "rouser ops noauth",
                             "rouser ops auth .1.3.6.1.2",
                             "view a included .1 ff",
                             "view a some .1",
                             "rouser ops",
                             "createUser ops SHA",
                             "rocommunity \"",
                             "createUser -e 0x80 ops SHA maplesyrup",
                             "createUser ops SHA -m 0x80",
                             "createUser ops ROT13 maplesyrup",
                             "createUser ops SHA maplesyrup",
                             "trapsink host.example",
                             "trapsink 192.0.2.1 public 70000",
                             "trapsess -Ci -v 1 -c x 192.0.2.1",
                             "trapsess -v 3 -u x 192.0.2.1",
                             "trapsess -v 2c",
                             "trapsess -",
                             "trap2sink tcp:192.0.2.1",
                             "informsink tcp:192.0.2.1",
                             "extend x /bin/true",
                             "agentaddress udp:1161",
                             "sysName x",
                             "unheard of",

                             "[snmpd]rocommunity"})
        EXPECT_THAT(translated(line), testing::AllOf(testing::StartsWith("1! "), Not(HasSubstr("1: ")))) << line;
    EXPECT_THAT(translated("rocommunity x 10.0.0.1\nrwcommunity x 10.0.0.2"), HasSubstr("2! rwcommunity: an entry"));
    EXPECT_THAT(translated("rocommunity x 10.0.0.1 .1.3.6.1\nrocommunity x 10.0.0.2"), HasSubstr("2! rocommunity: an"));
    EXPECT_THAT(translated("rocommunity x 10.0.0.1 -V a\nview a included .1\nview a excluded system"),
                Not(HasSubstr("add")));
    EXPECT_THAT(translated("trapsink 192.0.2.1\ntrap2sink 192.0.2.2"), HasSubstr("2! trap2sink: all traps"));
    EXPECT_THAT(translated("createUser u SHA maplesyrup\nrouser u priv"), Not(HasSubstr("add")));
}

}  // namespace
}  // namespace tnctl
