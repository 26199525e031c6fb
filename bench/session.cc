#include "bench/session.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "bench/snmp_request.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kBehind = 5;  // seconds: a time slightly behind the server's is accepted, one ahead of it isn't

// In the order of wire::Manager's numbers.
constexpr std::string_view kDigests[] = {"md5", "sha1", "sha224", "sha256", "sha384", "sha512"};
constexpr std::string_view kCiphers[] = {"des", "aes128", "aes192", "aes256"};

uint32_t indexOf(std::span<const std::string_view> names, const std::string& name) {
    const auto found = std::ranges::find(names, name);
    if (found == names.end()) throw std::runtime_error("no such SNMPv3 protocol: " + name);
    return static_cast<uint32_t>(found - names.begin());
}

void append(wire::Bytes& out, std::span<const uint8_t> more) { out.insert(out.end(), more.begin(), more.end()); }

}  // namespace

wire::Manager benchUser(const std::string& protocols) {
    wire::Manager user;
    user.user = protocols;
    const size_t dash = protocols.find('-');
    user.auth = indexOf(kDigests, protocols.substr(0, dash));
    user.priv = indexOf(kCiphers, dash == std::string::npos ? "" : protocols.substr(dash + 1));
    user.level = 2;
    user.authPassword = user.privPassword = "benchbench";
    return user;
}

Session::Session(uint16_t port, std::chrono::milliseconds timeout, const std::string& v3) : socket_(port, timeout) {
    if (v3.empty()) return;
    manager_ = benchUser(v3);
    manager_->level = 0;  // until the engine is known
    discover();
}

// The first Report contains the engine id. If it lacks boots and time, a second, authenticated one contains them.
void Session::discover() {
    const wire::Bytes get = wire::encode({.version = 1, .community = "", .pdu = kGet, .bindings = {}});
    for (int attempt = 0; attempt < 3; ++attempt) {
        send(get);
        const auto octets = socket_.receive();
        if (octets.empty()) continue;
        const auto reply = open(octets);
        manager_->engineId = reply.header.engineId;
        manager_->boots = reply.header.boots;
        manager_->time = reply.header.time;
        discovered_ = Clock::now();
        manager_->level = 2;
        if (reply.scoped.body.pdu != kReport) return;
    }
    throw std::runtime_error("no reply to SNMPv3 user " + manager_->user);
}

uint32_t Session::serverTime() const {
    const auto since = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - discovered_).count();
    const uint32_t now = manager_->time + static_cast<uint32_t>(since);
    return now < kBehind ? 0 : now - kBehind;
}

wire::Bytes Session::sealed(std::span<const uint8_t> pdu) {
    wire::Bytes scoped = wire::tlv(
        wire::kOctets, {reinterpret_cast<const uint8_t*>(manager_->engineId.data()), manager_->engineId.size()});
    append(scoped, wire::tlv(wire::kOctets, {}));
    append(scoped, pdu);
    wire::V3Message header = manager_->header();
    if (manager_->level > 0) header.time = serverTime();
    return manager_->seal(header, wire::tlv(wire::kSequence, scoped));
}

wire::Manager::Reply Session::open(std::span<const uint8_t> octets) const {
    std::string why;
    const auto reply = manager_->open(octets, why);
    if (!reply) throw std::runtime_error("SNMPv3: " + why);
    return *reply;
}

void Session::send(std::span<const uint8_t> message) { socket_.send(manager_ ? sealed(pduOf(message)) : message); }

std::span<const uint8_t> Session::receive() {
    const auto octets = socket_.receive();
    if (!manager_ || octets.empty()) return octets;
    wire::Message body = open(octets).scoped.body;
    body.version = 1;
    answer_ = wire::encode(body);
    return answer_;
}

}  // namespace bench
