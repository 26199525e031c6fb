// A second client: queries one value repeatedly until SIGTERM and prints its longest wait.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "bench/snmp_request.h"
#include "bench/udp_client.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kTimeout = 120s;  // a server may be busy for long

volatile std::sig_atomic_t isEnded = 0;

void probe(uint16_t port, bench::Datagram request, std::chrono::milliseconds interval) {
    bench::UdpClient socket(port, kTimeout);
    unsigned answers = 0;
    Clock::duration longest{};
    for (uint32_t id = 0x40000000; isEnded == 0; ++id) {
        const auto sent = Clock::now();
        socket.send(request.withId(id));
        const auto answer = socket.receive();
        if (answer.empty()) break;
        if (bench::checkAnswer(answer, bench::AnswerKind::Response) != id) throw std::runtime_error("malformed reply");
        longest = std::max(longest, Clock::now() - sent);
        ++answers;
        std::this_thread::sleep_for(interval);
    }
    if (isEnded == 0) throw std::runtime_error("timeout");
    std::printf(R"({"answers": %u, "longest_ms": %.3f})"
                "\n",
                answers, std::chrono::duration<double, std::milli>(longest).count());
}

}  // namespace

int main(int argc, char** argv) {
    uint16_t port = 0;
    unsigned interval = 2;
    bench::Request request;
    std::string name;
    CLI::App app{"Query a value from 127.0.0.1 repeatedly until SIGTERM. Prints the longest wait as one line of JSON"};
    app.add_option("--port", port, "UDP port of the server")->required();
    app.add_option("--interval", interval, "milliseconds between a reply and the next request");
    app.add_option("OID", name, "name to query")->required();
    CLI11_PARSE(app, argc, argv);
    std::signal(SIGTERM, [](int) { isEnded = 1; });
    try {
        request.oids = {wire::parseOid(name)};
        probe(port, bench::Datagram(request), std::chrono::milliseconds(interval));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-probe: %s\n", error.what());
        return 1;
    }
}
