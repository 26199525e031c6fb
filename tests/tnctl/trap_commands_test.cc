#include <gmock/gmock.h>

#include "tests/tnctl/scripted_bus.h"
#include "tnctl/message_fields.h"

namespace tnctl {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kGeneratorList =
    "0xfe0002:message[]={0xfe0001:u32=0xabc0001 0xfe0010:string=start-trap},"
    "{0xfe0001:u32=0 0xfe0010:string=interfaces},{0xfe0001:u32=1 0xfe0010:string=7}";

class Traps : public CommandTest {
  protected:
    Traps() {
        generators.answers[100] = parseFields({kGeneratorList});
        communities.rows = {parseFields({"0xfe0001:u32=3", "5:string=monitor"})};
        interfaces.rows = {parseFields({"0xfe0001:u32=2", "0x10006:string=eth0"}),
                           parseFields({"0xfe0001:u32=9", "0x10006:string=wan"})};
        settings.answers[tn::cmd::Get] = parseFields({"1:bool=yes", "26:message[]={16:be32=127.0.0.1}", "17:u32=3",
                                                      "19:u32[]=0xabc0001,5,0", "24:message[]={25:u32=9},{25:u32=4}"});
    }

    tn::message changeOf(const std::vector<std::string>& words) {
        settings.asked.clear();
        EXPECT_EQ(type(words), kDone) << err;
        return settings.changes().size() == 1 ? fieldsOf(settings.changes()[0]) : tn::message();
    }
    tn::message sent(const std::vector<std::string>& words) {
        std::vector<std::string> all{"snmp", "trap", "send"};
        all.insert(all.end(), words.begin(), words.end());
        return changeOf(all);
    }
    std::string refusal(const std::vector<std::string>& words, int code = kUsage) {
        settings.asked.clear();
        std::vector<std::string> all{"snmp", "trap", "send"};
        all.insert(all.end(), words.begin(), words.end());
        EXPECT_EQ(type(all), code);
        EXPECT_THAT(settings.changes(), IsEmpty());
        return err;
    }
};

TEST_F(Traps, GeneratorsAndInterfacesAreShownByNameAsFarAsTheyHaveOne) {
    ASSERT_EQ(type({"snmp"}), kDone) << err;
    EXPECT_THAT(out, HasSubstr("trap-generators  start-trap,5,interfaces\n"));
    EXPECT_THAT(out, HasSubstr("interfaces       wan,4\n"));
    ASSERT_EQ(type({"--json", "snmp"}), kDone) << err;
    EXPECT_EQ(Json::parse(out)["trap-generators"], (Json{"start-trap", 5, "interfaces"}));

    generators.answers[100] = tn::errorMsg(tn::error::NoSuchHandler, "no such handler");
    interfaces.rows.clear();
    ASSERT_EQ(type({"snmp"}), kDone) << err;
    EXPECT_THAT(out, HasSubstr("trap-generators  180092929,5,0\n"));
    EXPECT_THAT(out, HasSubstr("interfaces       9,4\n"));

    generators.answers[100] = parseFields({kGeneratorList});
    ASSERT_EQ(type({"snmp", "trap", "list"}), kDone) << err;
    EXPECT_EQ(out,
              "ID         NAME        ON\n0          interfaces  yes\n1          7           no\n"
              "180092929  start-trap  yes\n");
}

TEST_F(Traps, GeneratorsAndInterfacesAreSetByNameOrId) {
    EXPECT_EQ(changeOf({"snmp", "set", "trap-generators=interfaces,start-trap,5", "interfaces=wan,2,eth0"}),
              parseFields({"19:u32[]=0,0xabc0001,5", "24:message[]={25:u32=9},{25:u32=2},{25:u32=2}"}));
    EXPECT_EQ(changeOf({"snmp", "set", "trap-generators=none", "interfaces=none"}),
              parseFields({"19:u32[]=", "24:message[]="}));

    // Ids need nobody to tell names.
    generators.asked.clear();
    interfaces.asked.clear();
    EXPECT_EQ(changeOf({"snmp", "set", "trap-generators=0xabc0001,0", "interfaces=9"}),
              parseFields({"19:u32[]=0xabc0001,0", "24:message[]={25:u32=9}"}));
    EXPECT_THAT(generators.asked, IsEmpty());
    EXPECT_THAT(interfaces.asked, IsEmpty());

    settings.asked.clear();
    EXPECT_EQ(type({"snmp", "set", "trap-generators=interfacs"}), kFailed);
    EXPECT_THAT(err, HasSubstr("did you mean interfaces?"));
    EXPECT_EQ(type({"snmp", "set", "interfaces=lan"}), kFailed);
    for (const char* word : {"trap-generators=", "trap-generators=interfaces,", "interfaces=wan,0", "interfaces="})
        EXPECT_EQ(type({"snmp", "set", word}), kUsage) << word;
    EXPECT_THAT(settings.changes(), IsEmpty());
}

TEST_F(Traps, SendAsksForATrapWithTheVarbind) {
    EXPECT_EQ(sent({}), tn::message());
    EXPECT_EQ(settings.changes()[0].get_u32(tn::field::Command), 1U);
    const std::string oid = "oid=.1.3.6.1.4.1.49999.1";
    const std::string name = "1001:string=.1.3.6.1.4.1.49999.1";
    const auto varbind = [&](const char* type, const std::string& value) {
        return parseFields({name, std::string("1002:u32=") + type, "1003:string=" + value});
    };
    EXPECT_EQ(sent({oid, "type=string", "value=a b=c"}), varbind("4", "a b=c"));
    EXPECT_EQ(sent({"value=", oid}), varbind("4", ""));
    EXPECT_EQ(sent({oid, "type=integer", "value=-2147483648"}), varbind("2", "-2147483648"));
    EXPECT_EQ(sent({oid, "type=oid", "value=2.39.4294967295"}), varbind("6", "2.39.4294967295"));
    EXPECT_EQ(sent({oid, "type=ipaddress", "value=192.0.2.1"}), varbind("0x40", "192.0.2.1"));
    EXPECT_EQ(sent({oid, "type=counter32", "value=4294967295"}), varbind("0x41", "4294967295"));
    EXPECT_EQ(sent({oid, "type=timeticks", "value=0"}), varbind("0x43", "0"));
    EXPECT_EQ(sent({oid, "type=null"}), parseFields({name, "1002:u32=5"}));
}

TEST_F(Traps, SendRefusesWhatTheAgentWouldLeaveOut) {
    const std::string oid = "oid=1.3.6";
    for (const char* wrong : {"oid=", "oid=1", "oid=3.1", "oid=1.40", "oid=1..3", "oid=1.3.", "oid=1.3.x", "oid=1.3.-1",
                              "oid=1.3.4294967296", "oid=sysName.0"})
        EXPECT_THAT(refusal({wrong, "value=x"}), HasSubstr("expected an OID")) << wrong;
    EXPECT_THAT(refusal({"oid=1.3" + std::string(300, '.'), "value=x"}), HasSubstr("expected an OID"));
    for (const char* wrong : {"x", "", "0x10", "2147483648", " 1"})
        EXPECT_THAT(refusal({oid, "type=integer", std::string("value=") + wrong}), HasSubstr("expected a number"));
    EXPECT_THAT(refusal({oid, "type=counter32", "value=-1"}), HasSubstr("from 0 to 4294967295"));
    EXPECT_THAT(refusal({oid, "type=timeticks", "value=4294967296"}), HasSubstr("hundredths of a second"));
    for (const char* wrong : {"value=::1", "value=::ffff:192.0.2.1"})
        EXPECT_THAT(refusal({oid, "type=ipaddress", wrong}), HasSubstr("IPv4"));
    EXPECT_THAT(refusal({oid, "type=oid", "value=x"}), HasSubstr("OID"));
    EXPECT_THAT(refusal({oid, "type=null", "value=x"}), HasSubstr("no value"));
    EXPECT_THAT(refusal({oid, "type=gauge32", "value=1"}), HasSubstr("expected string, integer"));
    EXPECT_THAT(refusal({oid}), HasSubstr("value=VALUE"));
    EXPECT_THAT(refusal({"type=string", "value=x"}), HasSubstr("oid=OID"));
}

TEST_F(Traps, SendTellsWhatKeepsTheAgentFromSending) {
    settings.answers[tn::cmd::Get] = parseFields({"1:bool=yes", "26:message[]={16:be32=127.0.0.1}"});
    EXPECT_THAT(refusal({}, kFailed), HasSubstr("trap-community=NAME"));
    for (const char* community : {"17:u32=4", "17:u32=0xffffffff"}) {  // the first one is gone
        settings.answers[tn::cmd::Get] = parseFields({"1:bool=yes", "26:message[]={16:be32=127.0.0.1}", community});
        EXPECT_THAT(refusal({}, kFailed), HasSubstr("trap-community=NAME"));
    }
    settings.answers[tn::cmd::Get] =
        parseFields({"1:bool=yes", "26:message[]={16:be32=127.0.0.1}", "17:u32=3", "18:u32=3"});
    EXPECT_THAT(refusal({}, kFailed), HasSubstr("engine-id=TEXT"));
    settings.answers[tn::cmd::Get] = parseFields({"1:bool=yes", "17:u32=3"});
    EXPECT_THAT(refusal({}, kFailed), HasSubstr("trap-targets=ADDRESS"));
    settings.answers[tn::cmd::Get] = parseFields({"1:bool=no"});
    EXPECT_THAT(refusal({}, kFailed), HasSubstr("enabled=yes"));
}

}  // namespace
}  // namespace tnctl
