// Datagrams that arrive at once, through the agent's socket, while owners keep it waiting: each request has the reply
// that it has alone, in the same order, although several are looked through and fetched together.
//
// The first octet selects: bit 0 the rules of --standard; bits 1 and 2 the time that owners need for each request; bit
// 3 that all is logged; bit 4 that the service is switched off after the first batch, and on by the next input. The
// datagrams follow, each after its length in two octets.
#include <netinet/in.h>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "agent/core/create_reply.h"
#include "agent/core/service_socket.h"
#include "agent/log.h"
#include "agent/mib/request_writes.h"
#include "contracts/snmp_status.h"
#include "fuzz/support/world.h"
#include "wire/codec.h"

namespace {

constexpr unsigned kStandard = 1, kLogged = 8, kOff = 16;
// By bits 1 and 2. Requests to slow owners make a batch, or a walk, longer than its time.
constexpr std::array<std::chrono::milliseconds, 4> kOwnersTake{
    std::chrono::milliseconds(0), std::chrono::milliseconds(5), std::chrono::milliseconds(30),
    std::chrono::milliseconds(600)};
constexpr size_t kMost = 40;     // datagrams of an input: more than a batch, fewer than the socket holds
constexpr int kMostRounds = 64;  // of the loop; a batch with slow owners needs one for each datagram

void require(bool condition) {
    if (!condition) std::abort();
}

/// A socket of the loopback interface, as a service manager hands it over, before the agent looks for it.
class Inherited {
  public:
    Inherited() {
        sockaddr_in here{};
        here.sin_family = AF_INET;
        here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int fd = socket(AF_INET, SOCK_DGRAM, 0);
        require(bind(fd, reinterpret_cast<const sockaddr*>(&here), sizeof here) == 0);
        const int count = fd - SD_LISTEN_FDS_START + 1;
        std::string names;
        for (int i = 1; i < count; ++i) names += "another:";
        setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
        setenv("LISTEN_FDS", std::to_string(count).c_str(), 1);
        setenv("LISTEN_FDNAMES", (names + snmp::kServiceSocketName).c_str(), 1);
        here.sin_port = htons(snmp::portOf(fd));
        manager = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        require(connect(manager, reinterpret_cast<const sockaddr*>(&here), sizeof here) == 0);
    }
    int manager = -1;
};

struct Service {
    Inherited socket;
    World world;

    void send(const wire::Bytes& datagram) const {
        require(::send(socket.manager, datagram.data(), datagram.size(), 0) >= 0);
    }
    [[nodiscard]] std::vector<wire::Bytes> replies() const {
        std::vector<wire::Bytes> all;
        wire::Bytes reply(snmp::kMaxDatagram);
        for (ssize_t size; (size = recv(socket.manager, reply.data(), reply.size(), 0)) >= 0;)
            all.emplace_back(reply.begin(), reply.begin() + size);
        return all;
    }
    static void turn(bool on) {
        tn::message setting = tn::request(snmp::loop->path(), tn::cmd::Set);
        setting.insert_bool(snmp::setting::Enabled, on);
        require(snmp::loop->exchangeMessage(setting).empty() && snmp::loop->isEnabled() == on);
    }
    static void serve() {
        for (int i = 0; i < kMostRounds && snmp::loop->runOnce(std::chrono::milliseconds(0)); ++i) continue;
    }
};

std::vector<wire::Bytes> datagramsOf(std::span<const uint8_t> rest) {
    std::vector<wire::Bytes> all;
    while (rest.size() > 1 && all.size() < kMost) {
        const size_t size = std::min(size_t{rest[0]} << 8 | rest[1], rest.size() - 2);
        all.emplace_back(rest.begin() + 2, rest.begin() + 2 + static_cast<std::ptrdiff_t>(size));
        rest = rest.subspan(2 + size);
    }
    return all;
}

/// A reply to a request that is served alone. Its octets may differ later, unless it is to a Get of values that don't
/// change.
struct Alone {
    wire::Bytes reply;
    bool isFixed = false;
};

std::vector<Alone> repliesAlone(const std::vector<wire::Bytes>& datagrams, bool areOwnersSlow) {
    std::vector<Alone> all;
    bool isFixed = !areOwnersSlow;
    for (const wire::Bytes& datagram : datagrams) {
        snmp::Context c(datagram);
        c.rules = snmp::loop->v3Server().rules;
        const snmp::RequestWrites writes;
        const bool isAnswered = snmp::createReply(c, tn::IPAddr6::ofIPv4(INADDR_LOOPBACK));
        // Sets change values, and Reports count.
        isFixed = isFixed && c.pduType != snmp::pdu::SetRequest && c.version != snmp::kVersion3;
        if (isAnswered) all.push_back({{c.out.bytes().begin(), c.out.bytes().end()}, isFixed});
    }
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Service service;
    if (size == 0) return 0;
    const unsigned selected = data[0];
    const std::vector<wire::Bytes> datagrams = datagramsOf({data + 1, size - 1});
    snmp::loop->setRules((selected & kStandard) != 0 ? snmp::kStandardRules : snmp::kFixedRules);
    const std::chrono::milliseconds ownersTake = kOwnersTake[selected >> 1 & 3];
    service.world.ownersTake(ownersTake);
    for (tn::lstream* log : {&snmp::slog, &snmp::dlog}) log->mute((selected & kLogged) == 0);
    if (!snmp::loop->isEnabled()) Service::turn(true);
    const std::vector<Alone> expected = repliesAlone(datagrams, ownersTake.count() > 0);

    for (const wire::Bytes& datagram : datagrams) service.send(datagram);
    if ((selected & kOff) != 0) {
        snmp::loop->runOnce(std::chrono::milliseconds(0));
        Service::turn(false);
        require(service.replies().size() <= expected.size());
        for (const wire::Bytes& datagram : datagrams) service.send(datagram);
        Service::serve();
        require(service.replies().empty());
        return 0;
    }
    Service::serve();
    require(!snmp::loop->exchangeMessage(tn::request(contracts::snmp_status::kPath, tn::cmd::Get)).empty());
    const std::vector<wire::Bytes> replies = service.replies();
    require(replies.size() == expected.size());
    for (size_t i = 0; i < replies.size(); ++i) require(!expected[i].isFixed || replies[i] == expected[i].reply);
    return 0;
}
