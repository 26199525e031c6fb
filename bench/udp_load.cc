// Closed-loop load: keeps a window of requests outstanding, and counts what the servers pay for each answer.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "bench/snmp_request.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr unsigned kWindowBits = 10;
constexpr auto kLost = 500ms;         // an answer later than that is taken for lost and its request sent again
constexpr unsigned kMostResends = 5;  // in a row, for one request: then the server is taken for dead

struct Options {
    bench::Request request;
    uint16_t port = 0;
    unsigned window = 1;
    unsigned requests = 10000;
    unsigned warmup = 500;
    bool echo = false;
    std::vector<int> pids;
};

/// Nanoseconds on a processor, user and system, of all threads of these processes (the first figure of schedstat).
uint64_t cpuTime(const std::vector<int>& pids) {
    // A running thread's figure is brought up to date when it sleeps or at the next tick.
    std::this_thread::sleep_for(10ms);
    uint64_t sum = 0;
    for (const int pid : pids) {
        for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
            uint64_t nanoseconds = 0;
            std::ifstream(task.path() / "schedstat") >> nanoseconds;
            sum += nanoseconds;
        }
    }
    return sum;
}

class Load {
  public:
    explicit Load(const Options& options)
        : options_(options), datagram_(options.request), slots_(options.window), fd_(socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(options.port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval wait{0, 100000};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        if (fd_ < 0 || connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
            throw std::runtime_error("no socket");
        }
    }
    ~Load() { close(fd_); }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    /// Sends this many requests and waits for all their answers.
    /// @throws std::runtime_error when the server stops answering or answers with an error
    void run(unsigned requests) {
        latencies_.clear();
        latencies_.reserve(requests);
        resent_ = 0;
        unsigned toSend = requests;
        for (size_t i = 0; i < slots_.size() && toSend > 0; ++i, --toSend) sendNext(i);
        while (latencies_.size() < requests) {
            const size_t freed = receive();
            if (freed == kNone) {
                resendLost();
            } else if (toSend > 0) {
                --toSend;
                sendNext(freed);
            }
        }
    }

    /// Microseconds, of the last run.
    [[nodiscard]] double latency(double quantile) {
        const auto at = latencies_.begin() + static_cast<ptrdiff_t>(quantile * static_cast<double>(latencies_.size()));
        std::nth_element(latencies_.begin(), at, latencies_.end());
        return std::chrono::duration<double, std::micro>(*at).count();
    }
    [[nodiscard]] unsigned resent() const { return resent_; }

  private:
    static constexpr size_t kNone = SIZE_MAX;

    struct Slot {
        uint32_t generation = 0;
        bool waiting = false;
        unsigned resends = 0;
        Clock::time_point sent;
    };

    /// The slot in the low bits, its generation above: a late answer to a request sent twice is told from the next one.
    [[nodiscard]] uint32_t id(size_t slot) const {
        return 0x40000000 | (slots_[slot].generation << kWindowBits & 0x3fffffff) | static_cast<uint32_t>(slot);
    }

    void send(size_t slot) {
        const auto octets = datagram_.withId(id(slot));
        slots_[slot].sent = Clock::now();
        if (::send(fd_, octets.data(), octets.size(), 0) < 0) throw std::runtime_error("send: nobody listens");
    }

    void sendNext(size_t slot) {
        ++slots_[slot].generation;
        slots_[slot].waiting = true;
        slots_[slot].resends = 0;
        send(slot);
    }

    /// The slot whose answer came; kNone when none came within a tenth of a second, or a late one.
    size_t receive() {
        static std::array<uint8_t, 65536> answer;
        const ssize_t size = recv(fd_, answer.data(), answer.size(), 0);
        if (size < 0 && errno != EAGAIN && errno != EINTR) throw std::runtime_error("recv: nobody listens");
        if (size < 0) return kNone;
        const auto kind = options_.echo ? bench::AnswerKind::Echo : bench::AnswerKind::Response;
        const uint32_t got = bench::checkAnswer({answer.data(), static_cast<size_t>(size)}, kind);
        if (got == 0) throw std::runtime_error("an answer with an error, an exception or no sense");
        const size_t slot = got & ((1U << kWindowBits) - 1);
        if (slot >= slots_.size() || got != id(slot) || !slots_[slot].waiting) return kNone;
        slots_[slot].waiting = false;
        latencies_.push_back(Clock::now() - slots_[slot].sent);
        return slot;
    }

    void resendLost() {
        for (size_t i = 0; i < slots_.size(); ++i) {
            if (!slots_[i].waiting || Clock::now() - slots_[i].sent < kLost) continue;
            if (++slots_[i].resends > kMostResends) throw std::runtime_error("no answer");
            ++resent_;
            send(i);
        }
    }

    const Options& options_;
    bench::Datagram datagram_;
    std::vector<Slot> slots_;
    std::vector<Clock::duration> latencies_;
    unsigned resent_ = 0;
    int fd_;
};

void measure(const Options& options) {
    Load load(options);
    load.run(options.warmup);
    const uint64_t cpuBefore = cpuTime(options.pids);
    const auto started = Clock::now();
    load.run(options.requests);
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    const double cpu = static_cast<double>(cpuTime(options.pids) - cpuBefore) / 1000 / options.requests;
    std::printf(R"({"rate": %.0f, "p50_us": %.2f, "p99_us": %.2f, "cpu_us": %.3f, "resent": %u})"
                "\n",
                options.requests / seconds, load.latency(0.5), load.latency(0.99), cpu, load.resent());
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Sends SNMP v2c requests to 127.0.0.1 with a window of them outstanding; prints one line of JSON"};
    app.add_option("--port", options.port, "UDP port of the server")->required();
    app.add_option("--window", options.window, "requests outstanding")->check(CLI::Range(1U, 1U << kWindowBits));
    app.add_option("--requests", options.requests, "requests measured")->check(CLI::Range(1U, 1000000U));
    app.add_option("--warmup", options.warmup, "requests before that")->check(CLI::Range(1U, 1000000U));
    app.add_option("--pid", options.pids, "processes whose CPU time is counted")->allow_extra_args(false);
    app.add_option("--operation", options.request.operation, "get, getnext or getbulk");
    app.add_option("--max-repetitions", options.request.maxRepetitions, "of a getbulk");
    app.add_option("--community", options.request.community);
    app.add_flag("--echo", options.echo, "the server sends the request back");
    app.add_option("OID", options.request.oids, "names asked, each request the same")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        measure(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-load: %s\n", error.what());
        return 1;
    }
}
