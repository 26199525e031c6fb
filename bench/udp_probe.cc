// A client that queries until the server answers, then repeatedly until SIGTERM, and prints its longest wait.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "bench/session.h"
#include "bench/snmp_request.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kFirstTimeout = 20s;  // for the first reply with a value
constexpr auto kResendAfter = 20ms;  // until then: a starting server may lose a request
constexpr auto kRetryAfter = 500us;  // after a refused datagram or a reply without a value
constexpr auto kInterval = 2ms;      // between a later reply and the next request
constexpr auto kTimeout = 120s;      // for later replies: a server may be busy for long

volatile std::sig_atomic_t isEnded = 0;

uint32_t nextId() {
    static uint32_t id = 0x40000000;
    return id++;
}

bool answersWithValues(uint16_t port, bench::Datagram& request, const std::string& v3) {
    try {
        bench::Session session(port, kResendAfter, v3);
        session.send(request.withId(nextId()));
        const auto answer = session.receive();
        return !answer.empty() && bench::checkAnswer(answer, bench::AnswerKind::Response) != 0;
    } catch (const std::runtime_error&) {
        return false;
    }
}

/// The time of the first reply with a value.
Clock::time_point waitForFirst(uint16_t port, bench::Datagram& request, const std::string& v3) {
    if (!v3.empty()) (void)bench::benchUser(v3).key(bench::benchUser(v3).authPassword);  // milliseconds, then cached
    const auto end = Clock::now() + kFirstTimeout;
    while (!answersWithValues(port, request, v3)) {
        if (Clock::now() > end) throw std::runtime_error("timeout: no reply with a value");
        std::this_thread::sleep_for(kRetryAfter);
    }
    return Clock::now();
}

/// The longest wait until SIGTERM.
Clock::duration waitRepeatedly(uint16_t port, bench::Datagram& request, const std::string& v3) {
    bench::Session session(port, kTimeout, v3);
    Clock::duration longest{};
    while (isEnded == 0) {
        const uint32_t id = nextId();
        const auto sent = Clock::now();
        session.send(request.withId(id));
        const auto answer = session.receive();
        // A signal, too, ends the wait without an answer.
        if (answer.empty() && isEnded == 0) throw std::runtime_error("timeout");
        longest = std::max(longest, Clock::now() - sent);
        if (answer.empty()) break;
        if (bench::checkAnswer(answer, bench::AnswerKind::Response) != id) throw std::runtime_error("malformed reply");
        std::this_thread::sleep_for(kInterval);
    }
    return longest;
}

void probe(uint16_t port, bench::Datagram request, const std::string& v3, bool once) {
    const auto first = waitForFirst(port, request, v3);
    const auto longest = once ? Clock::duration() : waitRepeatedly(port, request, v3);
    std::printf(R"({"first": %.6f, "longest_ms": %.3f})"
                "\n",
                std::chrono::duration<double>(first.time_since_epoch()).count(),
                std::chrono::duration<double, std::milli>(longest).count());
}

}  // namespace

int main(int argc, char** argv) {
    uint16_t port = 0;
    bool once = false;
    std::string v3;
    bench::Request request;
    std::string name;
    CLI::App app{
        "Query a value from 127.0.0.1 until it is available, then repeatedly until SIGTERM. Prints one line of JSON: "
        "the time of the first reply (monotonic clock, seconds), and the longest wait for a later one"};
    app.add_option("--port", port, "UDP port of the server")->required();
    app.add_flag(bench::kV3Flag, v3, bench::kV3Help);
    app.add_flag("--once", once, "exit after the first reply");
    app.add_option("OID", name, "name to query")->required();
    CLI11_PARSE(app, argc, argv);
    std::signal(SIGTERM, [](int) { isEnded = 1; });
    try {
        request.oids = {wire::parseOid(name)};
        probe(port, bench::Datagram(request), v3, once);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-probe: %s\n", error.what());
        return 1;
    }
}
