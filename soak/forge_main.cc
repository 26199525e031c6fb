// Sends forged datagrams to an agent and checks that none does harm, or writes some as seeds of fuzzers.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "bench/session.h"
#include "bench/snmp_request.h"
#include "bench/udp_client.h"
#include "soak/forge.h"
#include "soak/waited_for_cpu.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr auto kTimeout = 1000ms;  // of a reply
constexpr unsigned kAttempts = 5;  // of the Get that follows, and of a slow datagram
constexpr uint64_t kGroup = 8;     // datagrams followed by one Get; few enough for the socket's buffer
constexpr size_t kSeedSize = 160;  // octets of a fuzzer's seed, at most
constexpr uint32_t kFirstId = 0x01000000;

struct Options {
    uint16_t port = 0;
    uint64_t first = 0, count = 1000;
    double limit = 10;  // milliseconds
    std::vector<std::string> versions = {"1", "2c"};
    std::string user = "sha256-aes128", corpus;
    std::vector<int> pids;
    soak::Forge::Options forge;
};

class Sender {
  public:
    explicit Sender(const Options& options)
        : options_(options), socket_(options.port, kTimeout), waited_(options.pids), forge_(forgeOptions()) {}

    void run() {
        for (uint64_t number = options_.first, end = number + options_.count; number < end; number += kGroup) {
            const uint64_t next = std::min(end, number + kGroup);
            const nanoseconds taken = exchange(number, next);
            if (taken > limit()) {
                findSlow(number, next);
            } else {
                longest_ = std::max(longest_, taken);
            }
            if ((next - options_.first) % 10'000 < kGroup) print();
        }
        print();
    }

  private:
    [[nodiscard]] nanoseconds limit() const { return nanoseconds(static_cast<int64_t>(options_.limit * 1e6)); }

    /// With the engine's id, boots and time, if there are v3 messages.
    soak::Forge::Options forgeOptions() {
        soak::Forge::Options forge = options_.forge;
        if (std::ranges::count(forge.versions, 3U) > 0) forge.user = discovered(bench::benchUser(options_.user));
        return forge;
    }

    /// RFC 3414, 4: a Report to an unknown engine id has the engine's; it has its boots and time in this agent's, too.
    wire::Manager discovered(wire::Manager user) {
        const uint32_t level = user.level;
        user.level = 0;
        socket_.send(user.request({.pdu = bench::kGet, .bindings = {}}));
        std::string why;
        const auto report = user.open(socket_.receive(), why);
        if (!report) throw std::runtime_error("no SNMPv3 Report: " + why);
        user.level = level;
        user.engineId = report->header.engineId;
        user.boots = report->header.boots;
        user.time = report->header.time;
        discoveredAt_ = Clock::now();
        engineTime_ = user.time;
        return user;
    }

    /// Sends these datagrams and a Get, and waits for its reply.
    /// @return the time without waits for a processor
    nanoseconds exchange(uint64_t number, uint64_t end) {
        const auto since = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - discoveredAt_);
        if (discoveredAt_ != Clock::time_point()) forge_.setTime(engineTime_ + static_cast<uint32_t>(since.count()));
        group_.clear();
        for (uint64_t i = number; i < end; ++i) group_.push_back(forge_.make(i));
        const nanoseconds waited = waited_.read();
        const auto start = Clock::now();
        for (const soak::Forged& forged : group_)
            if (!forged.octets.empty()) socket_.send(forged.octets);
        sent_ += end - number;
        for (unsigned attempt = 0; attempt < kAttempts; ++attempt) {
            socket_.send(get_.withId(++id_));
            ++gets_;
            for (auto reply = socket_.receive(); !reply.empty(); reply = socket_.receive()) {
                const auto response = bench::readResponse(reply);
                if (!response || response->id != id_) continue;  // to a forged request
                if (response->bindings.empty()) throw std::runtime_error("an empty reply");
                return Clock::now() - start - (waited_.read() - waited);
            }
            ++unanswered_;
        }
        std::string all;
        for (const soak::Forged& forged : group_) all += "\n  " + forged.what;
        throw std::runtime_error("no answer after datagrams " + std::to_string(number) + " to " +
                                 std::to_string(end - 1) + ":" + all);
    }

    /// Sends each datagram of a slow group by itself, since the limit is that of one. The fastest of several attempts
    /// counts: a fault makes every one slow, unlike a source of the owners that was read meanwhile.
    void findSlow(uint64_t number, uint64_t end) {
        for (uint64_t i = number; i < end; ++i) {
            nanoseconds taken = exchange(i, i + 1);
            for (unsigned more = 1; more < kAttempts && taken > limit(); ++more)
                taken = std::min(taken, exchange(i, i + 1));
            longest_ = std::max(longest_, taken);
            if (taken > limit()) {
                ++slow_;
                std::fprintf(stderr, "forge: datagram %llu took %.1f ms: %s\n", static_cast<unsigned long long>(i),
                             static_cast<double>(taken.count()) / 1e6, group_.front().what.c_str());
            }
        }
    }

    void print() const {
        std::printf(R"({"sent": %llu, "slow": %u, "gets": %u, "unanswered": %u, "longest_ms": %.2f})"
                    "\n",
                    static_cast<unsigned long long>(sent_), slow_, gets_, unanswered_,
                    static_cast<double>(longest_.count()) / 1e6);
        std::fflush(stdout);
    }

    const Options& options_;
    bench::UdpClient socket_;
    soak::WaitedForCpu waited_;
    Clock::time_point discoveredAt_;  ///< default if there are no v3 messages
    uint32_t engineTime_ = 0;
    soak::Forge forge_;
    bench::Datagram get_{{.oids = {wire::parseOid("1.3.6.1.2.1.1.2.0")}}};
    uint32_t id_ = kFirstId;
    std::vector<soak::Forged> group_;
    uint64_t sent_ = 0;
    unsigned slow_ = 0, gets_ = 0, unanswered_ = 0;
    nanoseconds longest_{};  ///< of a group with its Get, or of a datagram of a slow group
};

/// Writes the first `count` small datagrams with different faults, each after an octet of zero, as fuzz/datagram.cc
/// reads them.
void writeSeeds(const Options& options) {
    const soak::Forge forge(options.forge);
    std::filesystem::create_directories(options.corpus);
    std::set<std::string> written;
    for (uint64_t number = options.first; written.size() < options.count; ++number) {
        const soak::Forged forged = forge.make(number);
        std::string name = "forged_" + forged.what;
        std::erase_if(name, [](char c) { return c == ':' || c == ',' || c == '\''; });
        std::ranges::replace(name, ' ', '_');
        std::ranges::replace(name, '^', '_');
        if (forged.octets.size() > kSeedSize || !written.insert(name).second) continue;
        std::ofstream out(options.corpus + "/" + name, std::ios::binary);
        out.put(0).write(reinterpret_cast<const char*>(forged.octets.data()),
                         static_cast<std::streamsize>(forged.octets.size()));
        if (!out.flush()) throw std::runtime_error(options.corpus + "/" + name + " can't be written");
    }
}

uint32_t versionOf(const std::string& name) { return name == "3" ? 3 : name == "1" ? 0 : 1; }

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{
        "Send SNMP messages with one fault each to 127.0.0.1, eight before each Get that must be answered. "
        "Prints lines of JSON. A datagram that takes longer than the limit is named on standard error"};
    auto* port = app.add_option("--port", options.port, "UDP port of the agent");
    app.add_option("--count", options.count, "number of datagrams, or of seeds")->capture_default_str();
    app.add_option("--first", options.first, "number of the first datagram, to repeat one")->capture_default_str();
    app.add_option("--seed", options.forge.seed, "seed of all datagrams")->capture_default_str();
    app.add_option("--versions", options.versions, "1, 2c, 3, separated by commas")
        ->delimiter(',')
        ->check(CLI::IsMember({"1", "2c", "3"}));
    app.add_option("--community", options.forge.community, "of v1 and v2c")->capture_default_str();
    app.add_option("--user", options.user, "protocols and user of v3: see udp-load --help")->capture_default_str();
    app.add_option("--limit", options.limit, "milliseconds that a datagram may take, without waits for a processor")
        ->capture_default_str();
    app.add_option("--pid", options.pids, "process of the agent, whose waits for a processor don't count (repeatable)")
        ->allow_extra_args(false);
    app.add_option("--corpus", options.corpus, "write seeds for fuzz/datagram.cc to this folder")->excludes(port);
    CLI11_PARSE(app, argc, argv);
    try {
        options.forge.versions.clear();
        for (const std::string& name : options.versions) options.forge.versions.push_back(versionOf(name));
        if (options.corpus.empty()) {
            Sender(options).run();
        } else {
            writeSeeds(options);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "forge: %s\n", error.what());
        return 1;
    }
}
