// Sends a poller's mix of requests at a constant rate and reports the latency of each interval.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <thread>

#include "bench/session.h"
#include "bench/snmp_request.h"
#include "soak/waited_for_cpu.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr uint32_t kFirstId = 0x01000000, kLastId = 0x7fffffff;
constexpr auto kTimeout = 1000ms;
constexpr size_t kCompared = 7;     // one of so many requests: together with the mix's size, each in its turn
constexpr auto kMaxBehind = 100ms;  // then the missed requests aren't made up for

struct Options {
    uint16_t port = 0;
    unsigned rate = 1000, seconds = 60, interval = 10;
    std::string v3 = "sha256-aes128";
    std::vector<int> pids;
    uint16_t comparedPort = 0;
    std::vector<int> comparedPids;
};

bench::Request request(uint8_t pdu, const std::vector<std::string>& names, unsigned repetitions = 0) {
    bench::Request r{.pdu = pdu, .oids = {}, .maxRepetitions = repetitions};
    for (const std::string& name : names) r.oids.push_back(wire::parseOid(name));
    return r;
}

/// What pollers send: the system group, counters of interfaces, tables in bulk. Every name has a value or a successor
/// whatever rows come and go.
std::vector<bench::Request> mix() {
    const std::string system = "1.3.6.1.2.1.1.", interface = "1.3.6.1.2.1.2.2.1.", wide = "1.3.6.1.2.1.31.1.1.1.",
                      host = "1.3.6.1.2.1.25.";
    std::vector<bench::Request> all;
    for (int i = 0; i < 8; ++i) {
        all.push_back(request(bench::kGet, {system + "3.0", system + "5.0"}));
        all.push_back(
            request(bench::kGet, {interface + "10.1", interface + "16.1", interface + "8.1", interface + "14.1"}));
        all.push_back(request(bench::kGet, {wide + "6.1", wide + "10.1", wide + "15.1", wide + "18.1"}));
        all.push_back(request(bench::kGetNext, {interface + "2", interface + "10"}));
        all.push_back(request(bench::kGet, {host + "1.1.0", host + "2.2.0"}));
    }
    all.push_back(request(bench::kGetBulk, {interface + "2", interface + "10", interface + "16"}, 10));
    all.push_back(request(bench::kGetBulk, {wide + "1", wide + "6", wide + "10"}, 10));
    all.push_back(request(bench::kGetBulk, {"1.3.6.1.2.1.4.24.4.1.4", "1.3.6.1.2.1.4.24.4.1.5"}, 20));
    all.push_back(request(bench::kGetBulk, {host + "2.3.1"}, 20));
    return all;
}

/// In microseconds.
class Latencies {
  public:
    void add(nanoseconds latency) { all_.push_back(static_cast<double>(latency.count()) / 1000); }
    void clear() { all_.clear(); }
    [[nodiscard]] double percentile(double share) {
        if (all_.empty()) return 0;
        const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(all_.size() - 1));
        std::ranges::nth_element(all_, all_.begin() + at);
        return all_[static_cast<size_t>(at)];
    }

  private:
    std::vector<double> all_;
};

/// One server: a session of each version, and the threads that reply.
class Server {
  public:
    Server(uint16_t port, const std::string& v3, const std::vector<int>& pids)
        : plain_(port, kTimeout, ""), signed_(port, kTimeout, v3), waited_(pids) {}

    enum class Outcome { Answered, Wrong, Lost };
    /// Sends a request and waits for the reply.
    /// @param latency  receives the time without waits for a processor
    Outcome exchange(std::span<const uint8_t> request, uint32_t id, bool isSigned, nanoseconds& latency) {
        bench::Session& session = isSigned ? signed_ : plain_;
        const nanoseconds waited = waited_.read();
        const auto start = Clock::now();
        session.send(request);
        for (;;) {
            const auto answer = session.receive();
            if (answer.empty()) return Outcome::Lost;
            const auto response = bench::readResponse(answer);
            if (response && response->id != id) continue;  // late
            latency = std::max(0ns, Clock::now() - start - (waited_.read() - waited));
            return response && !response->bindings.empty() ? Outcome::Answered : Outcome::Wrong;
        }
    }

  private:
    bench::Session plain_, signed_;
    soak::WaitedForCpu waited_;
};

class Poller {
  public:
    explicit Poller(const Options& options) : options_(options), server_(options.port, options.v3, options.pids) {
        if (options.comparedPort != 0) compared_.emplace(options.comparedPort, options.v3, options.comparedPids);
        for (const bench::Request& r : mix()) datagrams_.emplace_back(r);
    }

    void run() {
        const auto step = nanoseconds(1s) / options_.rate;
        auto due = Clock::now(), report = due + std::chrono::seconds(options_.interval);
        for (unsigned left = std::max(1U, options_.seconds / options_.interval); left > 0;) {
            std::this_thread::sleep_until(due);
            exchange();
            due += step;
            if (Clock::now() - due > kMaxBehind) due = Clock::now();
            if (Clock::now() < report) continue;
            print();
            report += std::chrono::seconds(options_.interval);
            --left;
        }
    }

  private:
    /// Each request of the mix in turn, every fourth with SNMPv3. Some also go to the compared server, right
    /// afterwards.
    void exchange() {
        const size_t turn = sent_++;
        if (++id_ > kLastId) id_ = kFirstId;
        const bool isSigned = turn % 4 == 3;
        const auto request = datagrams_[turn % datagrams_.size()].withId(id_);
        nanoseconds latency{};
        const auto outcome = server_.exchange(request, id_, isSigned, latency);
        if (outcome == Server::Outcome::Lost) return void(++lost_);
        if (outcome == Server::Outcome::Wrong) ++wrong_;
        latencies_.add(latency);
        longest_ = std::max(longest_, latency);
        nanoseconds other{};
        if (!compared_ || turn % kCompared != 0 ||
            compared_->exchange(request, id_, isSigned, other) != Server::Outcome::Answered)
            return;
        pairs_.add(latency);
        comparedPairs_.add(other);
    }

    void print() {
        std::printf(R"({"sent": %zu, "lost": %u, "wrong": %u, "p50_us": %.1f, "p99_us": %.1f, "longest_ms": %.2f, )"
                    R"("paired_p99_us": %.1f, "compared_p99_us": %.1f})"
                    "\n",
                    sent_ - reported_, lost_, wrong_, latencies_.percentile(0.5), latencies_.percentile(0.99),
                    static_cast<double>(longest_.count()) / 1e6, pairs_.percentile(0.99),
                    comparedPairs_.percentile(0.99));
        std::fflush(stdout);
        reported_ = sent_;
        lost_ = wrong_ = 0;
        longest_ = 0ns;
        for (Latencies* const each : {&latencies_, &pairs_, &comparedPairs_}) each->clear();
    }

    const Options& options_;
    Server server_;
    std::optional<Server> compared_;
    std::vector<bench::Datagram> datagrams_;
    uint32_t id_ = kFirstId;
    size_t sent_ = 0, reported_ = 0;
    unsigned lost_ = 0, wrong_ = 0;
    nanoseconds longest_{};
    Latencies latencies_, pairs_, comparedPairs_;
};

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{
        "Send a poller's mix of requests to 127.0.0.1 at a constant rate. Prints a line of JSON every interval, "
        "with latencies less the time that --pid and this process waited for a processor"};
    app.add_option("--port", options.port, "UDP port of the server")->required();
    app.add_option("--rate", options.rate, "requests per second")
        ->check(CLI::Range(1U, 100'000U))
        ->capture_default_str();
    app.add_option("--seconds", options.seconds, "duration, a multiple of the interval")->capture_default_str();
    app.add_option("--interval", options.interval, "seconds between lines")->check(CLI::PositiveNumber);
    app.add_option("--pid", options.pids, "process of the server (repeatable)")->allow_extra_args(false);
    app.add_option("--compare", options.comparedPort,
                   "UDP port of another server, which gets one of seven requests, too");
    app.add_option("--compared-pid", options.comparedPids, "process of that server (repeatable)")
        ->allow_extra_args(false);
    app.add_option("--v3", options.v3, "protocols and user of every fourth request: see udp-load --help")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        Poller(options).run();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "poller: %s\n", error.what());
        return 1;
    }
}
