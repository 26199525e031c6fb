#include "contracts/interface_stack.h"
#include "hostd/links/link_stack.h"
#include "tests/hostd/links/link_messages.h"
#include "tests/plugins/plugin_test.h"

namespace snmp {
namespace {

/// The real owner, with links from messages such as the kernel sends: eth0 and eth1 are ports of br0, vlan5 is on br0.
class IfStackTest : public PluginTest {
  protected:
    IfStackTest() : PluginTest("ifx") {
        links.beginListing();
        link(hostd::LinkMessage(1, "lo", hostd::kUp, ARPHRD_LOOPBACK));
        for (const int port : {2, 3}) link(port_(port, 4));
        link(hostd::LinkMessage(4, "br0", hostd::kUp).kind("bridge"));
        hostd::LinkMessage vlan(5, "vlan5", hostd::kUp);
        vlan.value(IFLA_LINK, uint32_t{4});
        link(vlan.kind("vlan"));
        links.endListing(true);
        agent->addHandler(contracts::interface_stack::kPath, &owner);
        load();
    }
    static hostd::LinkMessage port_(int index, uint32_t master) {
        hostd::LinkMessage message(index, ("eth" + std::to_string(index)).c_str(), hostd::kUp);
        if (master != 0) message.value(IFLA_MASTER, master);
        return message;
    }
    void link(const hostd::LinkMessage& message) { links.apply(message.message(), tn::sinceBoot()); }
    /// The indexes of the rows.
    std::vector<std::string> rows() {
        std::vector<std::string> all;
        for (const wire::Binding& cell : walk(entry + "3", 2)) {
            EXPECT_EQ(cell.value, "1");  // active
            all.push_back(cell.name.substr(entry.size() + 2));
        }
        return all;
    }
    hostd::LinkTable links{[](const std::string&) { return false; }, [](const hostd::Link&, uint32_t, uint32_t) {}};
    hostd::LinkStack owner{[this]() -> const hostd::LinkTable& { return links; }};
    const std::string entry = "1.3.6.1.2.1.31.1.2.1.";
    const std::string lastChange = "1.3.6.1.2.1.31.1.6.0", tableLastChange = "1.3.6.1.2.1.31.1.5.0";
};

TEST_F(IfStackTest, PortsAreBelowTheirBridgeAndVlansAboveTheirLink) {
    EXPECT_THAT(rows(), ElementsAre("0.1", "0.5", "1.0", "2.0", "3.0", "4.2", "4.3", "5.4"));
    EXPECT_EQ(value(entry + "3.4.3"), "1");
    EXPECT_EQ(value(entry + "3.0.2"), "-") << "the bridge is above it";
    EXPECT_EQ(next({entry + "3.4.2147483647"}).bindings[0].name, entry + "3.5.4");
}

TEST_F(IfStackTest, LastChangeIsThatOfTheRelationsAlone) {
    EXPECT_EQ(value(lastChange), "0") << "since the start";
    sources.uptime = 2000;
    link(port_(2, 4));  // reported again
    EXPECT_EQ(value(lastChange), "0");
    link(port_(2, 0));
    EXPECT_EQ(value(lastChange), "200000");
    EXPECT_THAT(rows(), ElementsAre("0.1", "0.2", "0.5", "1.0", "2.0", "3.0", "4.3", "5.4"));
    EXPECT_EQ(value(tableLastChange), "0") << "no link was added or removed";
    sources.uptime = 3000;
    link(hostd::LinkMessage(6, "new"));
    EXPECT_EQ(value(tableLastChange), "300000");
    sources.uptime = 4000;
    link(hostd::LinkMessage(6, "new", 0, ARPHRD_ETHER, RTM_DELLINK));
    EXPECT_EQ(values({lastChange, tableLastChange}), "400000 400000");
    // A link below that is in another network namespace isn't among ours.
    link(port_(3, 99));
    EXPECT_THAT(rows(), ElementsAre("0.1", "0.2", "0.3", "0.5", "1.0", "2.0", "3.0", "4.0", "5.4"));
}

}  // namespace
}  // namespace snmp
