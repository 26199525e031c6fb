// A second client: asks for one value again and again until it is told to end, and says how long it waited at most.
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

constexpr auto kPatience = 120s;  // a server may be at work for long

volatile std::sig_atomic_t isEnded = 0;

void probe(uint16_t port, bench::Datagram request, std::chrono::milliseconds pause) {
    bench::UdpClient socket(port, kPatience);
    unsigned answers = 0;
    Clock::duration longest{};
    for (uint32_t id = 0x40000000; isEnded == 0; ++id) {
        const auto asked = Clock::now();
        socket.send(request.withId(id));
        const auto answer = socket.receive();
        if (answer.empty()) break;
        if (bench::checkAnswer(answer, bench::AnswerKind::Response) != id) throw std::runtime_error("a bad answer");
        longest = std::max(longest, Clock::now() - asked);
        ++answers;
        std::this_thread::sleep_for(pause);
    }
    if (isEnded == 0) throw std::runtime_error("no answer");
    std::printf(R"({"answers": %u, "longest_ms": %.3f})"
                "\n",
                answers, std::chrono::duration<double, std::milli>(longest).count());
}

}  // namespace

int main(int argc, char** argv) {
    uint16_t port = 0;
    unsigned pause = 2;
    bench::Request request;
    std::string name;
    CLI::App app{"Asks 127.0.0.1 for a value until SIGTERM; prints the longest wait as one line of JSON"};
    app.add_option("--port", port, "UDP port of the server")->required();
    app.add_option("--pause", pause, "milliseconds between an answer and the next request");
    app.add_option("OID", name, "name asked")->required();
    CLI11_PARSE(app, argc, argv);
    std::signal(SIGTERM, [](int) { isEnded = 1; });
    try {
        request.oids = {wire::parseOid(name)};
        probe(port, bench::Datagram(request), std::chrono::milliseconds(pause));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-probe: %s\n", error.what());
        return 1;
    }
}
