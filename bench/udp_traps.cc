// Makes the agent send traps, by requests on its bus, and checks and counts those that arrive.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/server_cost.h"
#include "bench/session.h"
#include "contracts/snmp.h"
#include "tn/log.h"
#include "tn/looper.h"
#include "tn/paths.h"

namespace {

namespace snmp = contracts::snmp;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::array kTargets{"127.0.0.1", "127.0.0.2", "127.0.0.3"};
constexpr uint8_t kTrapV2 = 0xa7;  // RFC 3416, 3
constexpr char kAuthPriv = 3;      // both bits of msgFlags (RFC 3412, 6.4)
constexpr unsigned kBurst = 50;    // requests sent before the reply to the last of them is waited for
constexpr auto kQuiet = 500ms;     // without a trap: no more will arrive

struct Options {
    std::string root;
    uint16_t port = 0;
    unsigned count = 10'000;
    std::string v3;
    std::vector<int> pids;
};

/// The traps to one target. They are checked on arrival; an invalid one throws std::runtime_error.
class Receiver {
  public:
    Receiver(const char* address, const Options& options)
        : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0)), isV3_(!options.v3.empty()) {
        if (isV3_) user_ = bench::benchUser(options.v3);
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(options.port);
        inet_pton(AF_INET, address, &to.sin_addr);
        if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr*>(&to), sizeof to) < 0) {
            throw std::runtime_error("can't bind the trap port of " + std::string(address));
        }
    }
    ~Receiver() { close(fd_); }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /// Receives what has arrived. @return number of traps
    unsigned drain() {
        static std::array<uint8_t, 65'536> buffer;
        unsigned traps = 0;
        for (ssize_t size = 0; (size = recv(fd_, buffer.data(), buffer.size(), 0)) >= 0; ++traps) {
            check(std::span(buffer).first(static_cast<size_t>(size)));
        }
        return traps;
    }

  private:
    void check(std::span<const uint8_t> octets) {
        std::string why = "not a trap";
        if (isV3_) {
            // The sender of a trap is its authoritative engine (RFC 3414, 1.5.1).
            if (const auto header = wire::decodeV3(octets, why)) user_.engineId = header->engineId;
            const auto trap = user_.open(octets, why);
            if (trap && (trap->header.flags[0] & kAuthPriv) == kAuthPriv && trap->scoped.body.pdu == kTrapV2) return;
        } else {
            const auto trap = wire::decode(octets, why);
            if (trap && trap->pdu == kTrapV2) return;
        }
        throw std::runtime_error("invalid trap: " + why);
    }

    int fd_;
    bool isV3_;
    wire::Manager user_;
};

tn::message trapRequest() {
    tn::message request;
    request.insert_vector(tn::field::Destination, snmp::kSettingsPath);
    request.insert_u32(tn::field::Command, snmp::trap::kSend);
    request.insert_string(snmp::trap::Oid, "1.3.6.1.4.1.49999.1");
    request.insert_u32(snmp::trap::Type, snmp::trap_type::OctetString);
    request.insert_string(snmp::trap::Value, "a test trap");
    return request;
}

void measure(const Options& options) {
    std::vector<std::unique_ptr<Receiver>> receivers;
    for (const char* target : kTargets) receivers.push_back(std::make_unique<Receiver>(target, options));
    unsigned arrived = 0;
    const auto drain = [&] {
        const unsigned before = arrived;
        for (const auto& receiver : receivers) arrived += receiver->drain();
        return arrived > before;
    };
    tn::setRoot(options.root);
    tn::setLogTarget(tn::LogTarget::None);
    tn::Looper looper({});
    const tn::message request = trapRequest();

    const uint64_t cpuBefore = bench::cpuTime(options.pids);
    for (unsigned sent = 1; sent <= options.count; ++sent) {
        const bool isLastOfBurst = sent % kBurst == 0 || sent == options.count;
        const tn::message reply = isLastOfBurst ? looper.exchangeMessage(request) : looper.sendMessage(request);
        std::string why;
        if (tn::isError(reply, nullptr, &why)) throw std::runtime_error("bus: " + why);
        if (isLastOfBurst) drain();
    }
    const uint64_t cpu = bench::cpuTime(options.pids) - cpuBefore;
    for (auto last = Clock::now(); Clock::now() - last < kQuiet; std::this_thread::sleep_for(1ms)) {
        if (drain()) last = Clock::now();
    }
    std::printf(R"({"cpu_us": %.3f, "sent": %zu, "arrived": %u})"
                "\n",
                static_cast<double>(cpu) / 1000 / options.count, options.count * kTargets.size(), arrived);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{
        "Make the agent send test traps, and count those that arrive at 127.0.0.1, 127.0.0.2 and 127.0.0.3, its trap "
        "targets. Prints one line of JSON"};
    app.add_option("--root", options.root, "root of the agent")->required();
    app.add_option("--port", options.port, "the agent's trap port")->required();
    app.add_option("--count", options.count, "number of traps")->check(CLI::Range(1U, 1'000'000U));
    app.add_option("--pid", options.pids, "process whose CPU time is counted (repeatable)")->allow_extra_args(false);
    app.add_flag(bench::kV3Flag, options.v3, bench::kV3Help);
    CLI11_PARSE(app, argc, argv);
    try {
        measure(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-traps: %s\n", error.what());
        return 1;
    }
}
