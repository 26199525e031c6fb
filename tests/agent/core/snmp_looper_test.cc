#include "agent/core/snmp_looper.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/said.h"

namespace snmp {
namespace {

using SnmpLooperTest = AgentTest;

TestSources* slowClock = nullptr;
std::unique_ptr<Data> recordThatTakesASecond() {
    ++slowClock->uptime;
    return std::make_unique<Data>();
}

/// A socket of the loopback: bound to a free port, or connected to the port of `address`.
template <class Call>
int loopbackSocket(Call bindOrConnect, sockaddr_in& address) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bindOrConnect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    socklen_t length = sizeof address;
    if (bindOrConnect == bind) {
        EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
    }
    return fd;
}

TEST_F(SnmpLooperTest, ATakenPortIsLoggedAndOneFreedCanBeBound) {
    sockaddr_in address{};
    const int other = loopbackSocket(bind, address);
    agent.reset();
    agent = std::make_unique<SnmpLooper>(ntohs(address.sin_port));
    const auto logged = [this] { return said([this] { agent->enable(); }); };
    const std::string port = std::to_string(ntohs(address.sin_port));
    EXPECT_EQ(logged(), "cannot create service connection\nUDP port " + port + ": Address already in use\n");
    EXPECT_FALSE(agent->isEnabled());
    close(other);
    EXPECT_EQ(logged(), "");
    EXPECT_TRUE(agent->isEnabled());
    agent->disable();
    close(loopbackSocket(bind, address));  // the port is free again
}

TEST_F(SnmpLooperTest, TheLoopGetsItsTurnAfter32DatagramsOr20Milliseconds) {
    sockaddr_in address{};
    close(loopbackSocket(bind, address));  // for a port that is free
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
