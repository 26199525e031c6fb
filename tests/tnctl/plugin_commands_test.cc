#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

namespace snmp_status = contracts::snmp_status;

class Plugins : public CommandTest {
  protected:
    Plugins() {
        tn::message loaded, off, refused, next;
        loaded.insert_string(tn::field::Name, "/p/ifx.so");
        loaded.insert_string_array(snmp_status::Serves, {"1.3.6.1.2.1.2", "1.3.6.1.2.1.31"});
        off.insert_string(tn::field::Name, "/p/ucd.so");
        off.insert_string(snmp_status::Text, "disabled");
        off.insert_bool(tn::field::Disabled, true);
        refused.insert_string(tn::field::Name, "/q/shelf.so");
        refused.insert_string(snmp_status::Text, "built for version 0.0.1");
        next.insert_string(tn::field::Name, "/p/host.so");
        next.insert_bool(tn::field::Disabled, true);
        status.answers[tn::cmd::Get].insert_message_array(snmp_status::Plugins, {loaded, off, refused, next});
        settings.answers[tn::cmd::Get].insert_string_array(contracts::snmp::setting::DisabledPlugins, {"host", "ucd"});
    }
};

TEST_F(Plugins, AreListedWithTheirStateNowAndAtTheNextStart) {
    ASSERT_EQ(type("plugin list"), kDone) << err;
    for (const char* line :
         {"PLUG-IN +STATE +FILE +SERVES\n", "\nifx +loaded +/p/ifx.so +1.3.6.1.2.1.2,1.3.6.1.2.1.31\n",
          "\nucd +disabled +/p/ucd.so +-\n", "\nshelf +not loaded: built for version 0.0.1 +/",
          "\nhost +loaded .disabled from the agent's next start on. +/"})
        EXPECT_THAT(out, testing::ContainsRegex(line));
}

TEST_F(Plugins, SwitchingOneLeavesTheOthersAsTheyAreAndAnUnknownNameChangesNothing) {
    ASSERT_EQ(type("plugin enable ucd"), kDone) << err;
    EXPECT_EQ(out, "ucd is enabled from the agent's next start on\n");
    ASSERT_EQ(type("plugin disable ifx"), kDone) << err;
    ASSERT_EQ(type("plugin disable host"), kDone) << err;
    const std::vector<tn::message> changes = settings.changes();
    ASSERT_THAT(changes, SizeIs(3));
    EXPECT_EQ(fieldsOf(changes[0]), parseFields({"40:string[]=host"}));
    EXPECT_EQ(fieldsOf(changes[1]), parseFields({"40:string[]=host,ucd,ifx"}));
    EXPECT_EQ(fieldsOf(changes[2]), parseFields({"40:string[]=ucd,host"})) << "once";
    EXPECT_EQ(type("plugin disable uct"), kFailed);
    EXPECT_EQ(err, "tnctl: no plug-in is called uct: expected host, ifx, shelf or ucd (did you mean ucd?)\n");
    EXPECT_THAT(settings.changes(), SizeIs(3));
}

}  // namespace
}  // namespace tnctl
