// Queries a starting server until it replies, and prints the time of the reply.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "bench/snmp_request.h"
#include "bench/udp_client.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kTimeout = 20ms;    // then the request is sent again
constexpr auto kInterval = 500us;  // after a refused datagram or a reply without a value

bool answersWithValues(bench::UdpClient& socket, bench::Datagram& request, uint32_t id) {
    try {
        socket.send(request.withId(id));
        const auto answer = socket.receive();
        return !answer.empty() && bench::checkAnswer(answer, bench::AnswerKind::Response) != 0;
    } catch (const std::runtime_error&) {
        return false;
    }
}

void wait(uint16_t port, bench::Datagram request, double seconds) {
    bench::UdpClient socket(port, kTimeout);
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    for (uint32_t id = 0x40000000; !answersWithValues(socket, request, id); ++id) {
        if (Clock::now() > end) throw std::runtime_error("timeout: no reply with a value");
        std::this_thread::sleep_for(kInterval);
    }
    std::printf("%.6f\n", std::chrono::duration<double>(Clock::now().time_since_epoch()).count());
}

}  // namespace

int main(int argc, char** argv) {
    uint16_t port = 0;
    double seconds = 20;
    std::vector<std::string> names;
    bench::Request request;
    CLI::App app{
        "Query values from 127.0.0.1 until they are available. Prints the time of the monotonic clock then, in "
        "seconds"};
    app.add_option("--port", port, "UDP port of the server")->required();
    app.add_option("--seconds", seconds, "timeout");
    app.add_option("OID", names, "names to query")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        for (const std::string& name : names) request.oids.push_back(wire::parseOid(name));
        wait(port, bench::Datagram(request), seconds);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-wait: %s\n", error.what());
        return 1;
    }
}
