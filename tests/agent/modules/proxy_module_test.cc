#include "agent/modules/proxy_module.h"

#include "contracts/proxy.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

namespace proxy = contracts::proxy;

using ProxyModuleTest = AgentTest;

TEST_F(ProxyModuleTest, ScalarsWrapAsTheirOwnersCountersDo) {
    opensCommon();
    startWebProxy();
    sources.uptime = 1000;
    tn::message& squid = owner(proxy::kPath).reply;
    EXPECT_EQ(value("1.3.6.1.4.1.3495.1.1.3.0"), "1000");
    put(squid, {{proxy::StartedAt, 400U}, {proxy::ServerRequests, 4'000'000'000U}, {proxy::ClientOut, 2'097'152U}});
    put(squid, {{proxy::Memory, 4'194'304U}, {proxy::Storage, 4'194'305U}});  // KiB: 4 GiB
    put(squid, {{proxy::Hits, 3U}, {proxy::ServerIn, 5U}, {proxy::ServerOut, 6U}});
    EXPECT_EQ(shown(walk("1.3.6.1.4.1.3495")), "0 1024 600 3 -2147483648 -294967296 5120 6144");
    squid = tn::errorMsg(tn::error::Unreachable, "no owner");
    EXPECT_EQ(value("1.3.6.1.4.1.3495.1.3.2.13.0"), "0");
}

}  // namespace
}  // namespace snmp
