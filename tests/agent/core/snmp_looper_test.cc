#include "agent/core/snmp_looper.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "agent/mib/data_provider.h"
#include "agent/mib/packer.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

using SnmpLooperTest = AgentTest;

TestSources* slowClock = nullptr;
std::unique_ptr<Data> recordThatTakesASecond() {
    ++slowClock->uptime;
    return std::make_unique<Data>();
}

TEST_F(SnmpLooperTest, TheLoopGetsItsTurnAfter32DatagramsOr20Milliseconds) {
    const auto loopbackSocket = [](auto bindOrConnect, sockaddr_in& address) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bindOrConnect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return fd;
    };
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const int probe = loopbackSocket(bind, address);  // for a port that is free
    EXPECT_EQ(getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length), 0);
    close(probe);
    agent.reset();
    agent = std::make_unique<SnmpLooper>(ntohs(address.sin_port));
    opensCommon();
    agent->enable();
    const int client = loopbackSocket(connect, address);

    static const ConstNumPacker packer(1U, tag::Integer);
    slowClock = &sources;
    ProxyDataProvider slow(recordThatTakesASecond);
    addScalarLeaf(OID{1, 3, 1}, &packer, nullptr);
    addScalarLeaf(OID{1, 3, 2}, &packer, &slow);
    for (const auto& [name, atOnce] : {std::pair("1.3.1.0", 32), std::pair("1.3.2.0", 1)}) {
        const wire::Bytes request = wire::encode({.pdu = pdu::GetRequest, .bindings = {null(name)}});
        for (int i = 0; i < 33; ++i) EXPECT_GT(send(client, request.data(), request.size(), 0), 0);
        ASSERT_TRUE(agent->runOnce(std::chrono::seconds(1)));
        int answers = 0;
        char octet = 0;
        while (recv(client, &octet, 1, MSG_DONTWAIT) > 0) ++answers;
        EXPECT_EQ(answers, atOnce);
        while (agent->runOnce({})) continue;
        while (recv(client, &octet, 1, MSG_DONTWAIT) > 0) continue;
    }
    close(client);
}

}  // namespace
}  // namespace snmp
