#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

constexpr const char* kGeneratorList =
    "0xfe0002:message[]={0xfe0001:u32=0xabc0001 0xfe0010:string=start-trap},{0xfe0001:u32=0 "
    "0xfe0010:string=interfaces},{0xfe0001:u32=1 0xfe0010:string=7}";

class Traps : public CommandTest {
  protected:
    Traps() {
        generators.answers[100] = parseFields({kGeneratorList});
        communities.rows = {parseFields({"0xfe0001:u32=3", "5:string=monitor"})};
        interfaces.rows = {parseFields({"0xfe0001:u32=2", "0x10006:string=eth0"}),
                           parseFields({"0xfe0001:u32=9", "0x10006:string=wan"})};
        settings.answers[tn::cmd::Get] = parseFields(
            {"1:bool=yes", "26:message[]={16:be32=127.0.0.1 28:u32=1162},{14:addr6=::1 28:u32=7},{14:addr6=::2}",
             "17:u32=3", "18:u32=1", "13:u32=9", "19:u32[]=0xabc0001,5,0", "24:message[]={25:u32=9},{25:u32=4}"});
    }

    /// What a line sends to the agent.
    tn::message changeOf(const std::string& line) {
        settings.asked.clear();
        EXPECT_EQ(type(line), kDone) << err;
        return settings.changes().size() == 1 ? fieldsOf(settings.changes()[0]) : tn::message();
    }
    std::string refusal(const std::string& words, int code = kUsage) {
        settings.asked.clear();
        EXPECT_EQ(type("snmp trap send " + words), code) << words;
        EXPECT_THAT(settings.changes(), IsEmpty());
        return err;
    }
};

TEST_F(Traps, SettingsAreShownWithTheNamesOfWhatTheyReferTo) {
    ASSERT_EQ(type("snmp"), kDone) << err;
    EXPECT_EQ(out,
              "enabled          yes\ncontact          -\nlocation         -\nengine-id        -\nengine-boots     9\n"
              "trap-version     2c\ntrap-community   monitor\ntrap-kind        trap\ntrap-targets     "
              "127.0.0.1:1162,[::1]:7,::2\n"
              "trap-generators  start-trap,5,interfaces\ninterfaces       wan,4\nplugins-off      none\n");
    ASSERT_EQ(type("--json snmp"), kDone) << err;
    const Json shown = Json::parse(out);
    EXPECT_EQ(shown["enabled"], true);
    EXPECT_EQ(shown["trap-targets"], (Json{"127.0.0.1:1162", "[::1]:7", "::2"}));
    EXPECT_EQ(shown["trap-generators"], (Json{"start-trap", 5, "interfaces"}));

    generators.answers[100] = tn::errorMsg(tn::error::NoSuchHandler, "no such handler");
    interfaces.rows.clear();
    communities.answers[tn::cmd::GetAll] = tn::errorMsg(tn::error::NotPermitted, "not permitted");
    ASSERT_EQ(type("snmp"), kDone) << err;
    EXPECT_THAT(out, HasSubstr("trap-community   3\n"));
    EXPECT_THAT(out, HasSubstr("trap-generators  180092929,5,0\n"));
    EXPECT_THAT(out, HasSubstr("interfaces       9,4\n"));

    generators.answers[100] = parseFields({kGeneratorList});
    ASSERT_EQ(type("snmp trap list"), kDone) << err;
    EXPECT_EQ(out,
              "ID         NAME        ON\n0          interfaces  yes\n1          7           no\n"
              "180092929  start-trap  yes\n");
}

TEST_F(Traps, GeneratorsAndInterfacesAreSetByNameOrId) {
    EXPECT_EQ(changeOf("snmp set trap-generators=interfaces,start-trap,5 interfaces=wan,2,eth0"),
              parseFields({"19:u32[]=0,0xabc0001,5", "24:message[]={25:u32=9},{25:u32=2},{25:u32=2}"}));
    EXPECT_EQ(changeOf("snmp set trap-generators=none interfaces=none"), parseFields({"19:u32[]=", "24:message[]="}));

    // Ids need nobody to tell names.
    generators.asked.clear();
    interfaces.asked.clear();
    EXPECT_EQ(changeOf("snmp set trap-generators=0xabc0001,0 interfaces=9"),
              parseFields({"19:u32[]=0xabc0001,0", "24:message[]={25:u32=9}"}));
    EXPECT_THAT(generators.asked, IsEmpty());
    EXPECT_THAT(interfaces.asked, IsEmpty());

    settings.asked.clear();
    EXPECT_EQ(type("snmp set trap-generators=interfacs"), kFailed);
    EXPECT_THAT(err, HasSubstr("did you mean interfaces?"));
    EXPECT_EQ(type("snmp set interfaces=lan"), kFailed);
    for (const char* word : {"trap-generators=", "trap-generators=interfaces,", "interfaces=wan,0", "interfaces="})
        EXPECT_EQ(type(std::string("snmp set ") + word), kUsage) << word;
    EXPECT_THAT(settings.changes(), IsEmpty());
}

TEST_F(Traps, TargetsMayHavePorts) {
    EXPECT_EQ(changeOf("snmp set trap-targets=192.0.2.1:65535,[2001:db8::1]:1,::2,::ffff:192.0.2.1"),
              parseFields({"26:message[]={16:be32=192.0.2.1 28:u32=65535},{14:addr6=2001:db8::1 28:u32=1},"
                           "{14:addr6=::2},{16:be32=192.0.2.1}"}));
    for (const char* target :
         {"192.0.2.1:0", "192.0.2.1:65536", "192.0.2.1:", ":162", "[::1]", "[::1]162", "[::1]:", "[192.0.2.1]:162",
          "2001:db8::1:2:3:4:5:6:162", "host:162", "[]:1", "[:1", "192.0.2.1,"}) {
        EXPECT_EQ(type(std::string("snmp set trap-targets=") + target), kUsage) << target;
        EXPECT_THAT(err, HasSubstr("192.0.2.2:1162")) << target;
    }
}

TEST_F(Traps, SendAsksForATrapWithTheVarbind) {
    EXPECT_EQ(changeOf("snmp trap send"), tn::message());
    EXPECT_EQ(commandOf(settings.changes()[0]), 1U);
    const std::string oid = ".1.3.6.1.4.1.49999.1";
    const auto varbind = [&](const std::string& words) {
        const tn::message sent = changeOf("snmp trap send oid=" + oid + " " + words);
        EXPECT_EQ(sent.get_string(contracts::snmp::trap::Oid), oid);
        return std::to_string(sent.get_u32(contracts::snmp::trap::Type)) + ": " +
               sent.get_string(contracts::snmp::trap::Value, "no value");
    };
    EXPECT_EQ(varbind("value=a=b type=string"), "4: a=b");
    EXPECT_EQ(varbind("value="), "4: ");
    EXPECT_EQ(varbind("type=integer value=-2147483648"), "2: -2147483648");
    EXPECT_EQ(varbind("type=oid value=2.39.4294967295"), "6: 2.39.4294967295");
    EXPECT_EQ(varbind("type=ipaddress value=192.0.2.1"), "64: 192.0.2.1");
    EXPECT_EQ(varbind("type=counter32 value=4294967295"), "65: 4294967295");
    EXPECT_EQ(varbind("type=timeticks value=0"), "67: 0");
    EXPECT_EQ(varbind("type=null"), "5: no value");
}

TEST_F(Traps, SendRefusesWhatTheAgentWouldLeaveOut) {
    for (const char* oid : {"", "1", "3.1", "1.40", "1..3", "1.3.", "1.3.x", "1.3.-1", "1.3.4294967296", "sysName.0"})
        EXPECT_THAT(refusal("value=x oid=" + std::string(oid)), HasSubstr("expected an OID")) << oid;
    EXPECT_THAT(refusal("value=x oid=1.3" + std::string(300, '.')), HasSubstr("expected an OID"));
    const std::pair<const char*, std::vector<const char*>> rows[] = {
        {"expected a number", {"integer value=x", "integer value=", "integer value=0x10", "integer value=2147483648"}},
        {"from 0 to 4294967295", {"counter32 value=-1"}},
        {"hundredths of a second", {"timeticks value=4294967296"}},
        {"IPv4", {"ipaddress value=::1", "ipaddress value=::ffff:192.0.2.1"}},
        {"OID", {"oid value=x"}},
        {"no value", {"null value=x"}},
        {"expected string, integer", {"gauge32 value=1"}},
    };
    for (const auto& [why, types] : rows)
        for (const std::string type : types) EXPECT_THAT(refusal("oid=1.3.6 type=" + type), HasSubstr(why)) << type;
    EXPECT_THAT(refusal("oid=1.3.6"), HasSubstr("value=VALUE"));
    EXPECT_THAT(refusal("type=string value=x"), HasSubstr("oid=OID"));
}

TEST_F(Traps, SendTellsWhatKeepsTheAgentFromSending) {
    const std::string on = "1:bool=yes", target = "26:message[]={16:be32=127.0.0.1}";
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{on, target}, "trap-community=NAME"},
        {{on, target, "17:u32=4"}, "trap-community=NAME"},  // it is gone
        {{on, target, "17:u32=0xffffffff"}, "trap-community=NAME"},
        {{on, target, "17:u32=3", "18:u32=3"}, "engine-id=TEXT"},
        {{on, "17:u32=3"}, "trap-targets=ADDRESS"},
        {{"1:bool=no"}, "enabled=yes"},
    };
    for (const auto& [fields, missing] : rows) {
        settings.answers[tn::cmd::Get] = parseFields(fields);
        EXPECT_THAT(refusal("", kFailed), HasSubstr(missing));
    }
}

}  // namespace
}  // namespace tnctl
