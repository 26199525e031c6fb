// Closed-loop load: keeps a window of requests outstanding and measures the servers' CPU time per reply.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "bench/server_cost.h"
#include "bench/session.h"
#include "bench/snmp_request.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr unsigned kWindowBits = 10;
constexpr auto kTimeout = 500ms;     // then the request is sent again
constexpr auto kTick = 100ms;        // interval of the checks for timeouts
constexpr unsigned kMaxResends = 5;  // of one request; then the server has failed

struct Options {
    bench::Request request;
    uint16_t port = 0;
    unsigned window = 1;
    unsigned requests = 10'000;
    unsigned warmup = 500;
    bool echo = false;
    std::string v3;
    std::vector<int> pids;
    std::vector<std::string> names;
};

class Load {
  public:
    explicit Load(const Options& options)
        : options_(options),
          datagram_(options.request),
          slots_(options.window),
          session_(options.port, kTick, options.v3) {}

    /// Sends this many requests and waits for all replies.
    /// @throws std::runtime_error on an error reply, or if a request times out kMaxResends times
    void run(unsigned requests) {
        answered_ = resent_ = 0;
        unsigned toSend = requests;
        for (size_t i = 0; i < slots_.size() && toSend > 0; ++i, --toSend) sendNext(i);
        while (answered_ < requests) {
            const size_t freed = receive();
            if (freed == kNone) {
                resendLost();
            } else if (toSend > 0) {
                --toSend;
                sendNext(freed);
            }
        }
    }

    /// Requests of the last run that were sent again.
    [[nodiscard]] unsigned resent() const { return resent_; }

  private:
    static constexpr size_t kNone = SIZE_MAX;

    struct Slot {
        uint32_t generation = 0;
        bool waiting = false;
        unsigned resends = 0;
        Clock::time_point sent;
    };

    /// The slot in the low bits, its generation above: distinguishes a late reply to a resent request from the next
    /// reply.
    [[nodiscard]] uint32_t id(size_t slot) const {
        return 0x40000000 | (slots_[slot].generation << kWindowBits & 0x3fffffff) | static_cast<uint32_t>(slot);
    }

    void send(size_t slot) {
        slots_[slot].sent = Clock::now();
        session_.send(datagram_.withId(id(slot)));
    }

    void sendNext(size_t slot) {
        ++slots_[slot].generation;
        slots_[slot].waiting = true;
        slots_[slot].resends = 0;
        send(slot);
    }

    /// The slot of the next reply; kNone if none arrives within kTick, or if the reply is late.
    size_t receive() {
        const auto answer = session_.receive();
        if (answer.empty()) return kNone;
        const auto kind = options_.echo ? bench::AnswerKind::Echo : bench::AnswerKind::Response;
        const uint32_t got = bench::checkAnswer(answer, kind);
        if (got == 0) throw std::runtime_error("reply malformed, or with an error or exception");
        const size_t slot = got & ((1U << kWindowBits) - 1);
        if (slot >= slots_.size() || got != id(slot) || !slots_[slot].waiting) return kNone;
        slots_[slot].waiting = false;
        ++answered_;
        return slot;
    }

    void resendLost() {
        for (size_t i = 0; i < slots_.size(); ++i) {
            if (!slots_[i].waiting || Clock::now() - slots_[i].sent < kTimeout) continue;
            if (++slots_[i].resends > kMaxResends) throw std::runtime_error("timeout");
            ++resent_;
            send(i);
        }
    }

    const Options& options_;
    bench::Datagram datagram_;
    std::vector<Slot> slots_;
    unsigned answered_ = 0, resent_ = 0;
    bench::Session session_;
};

void measure(const Options& options) {
    Load load(options);
    load.run(options.warmup);
    const uint64_t cpuBefore = bench::cpuTime(options.pids);
    load.run(options.requests);
    const double cpu = static_cast<double>(bench::cpuTime(options.pids) - cpuBefore) / 1000 / options.requests;
    std::printf(R"({"cpu_us": %.3f, "resent": %u})"
                "\n",
                cpu, load.resent());
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Send Gets to 127.0.0.1, keeping a number of them outstanding. Prints one line of JSON"};
    app.add_option("--port", options.port, "UDP port of the server")->required();
    app.add_option("--window", options.window, "number of outstanding requests")
        ->check(CLI::Range(1U, 1U << kWindowBits));
    app.add_option("--requests", options.requests, "number of measured requests")->check(CLI::Range(1U, 1'000'000U));
    app.add_option("--warmup", options.warmup, "number of requests before the measurement")
        ->check(CLI::Range(1U, 1'000'000U));
    app.add_option("--pid", options.pids, "process whose CPU time is counted (repeatable)")->allow_extra_args(false);
    app.add_flag(bench::kV3Flag, options.v3, bench::kV3Help);
    app.add_flag("--echo", options.echo, "expect the server to return the request");
    app.add_option("OID", options.names, "names in each request")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        for (const std::string& name : options.names) options.request.oids.push_back(wire::parseOid(name));
        measure(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-load: %s\n", error.what());
        return 1;
    }
}
