// Sends junk at a constant rate and waits for nothing.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <thread>

#include "soak/forge.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr size_t kVariety = 4096;   // different datagrams, which repeat
constexpr size_t kMaxSize = 1400;   // octets: those that fit into one Ethernet frame
constexpr auto kInterval = 200us;   // between bursts, which are as large as the rate requires
constexpr auto kMaxBehind = 100ms;  // then the missed datagrams aren't made up for

struct Options {
    uint16_t port = 0;
    unsigned rate = 10'000;
    double seconds = 1;
    std::string from = "127.0.0.2";
    uint64_t seed = 0;
};

/// Half are messages with one fault, of a community that has no access or of one that has; half are random octets.
std::vector<wire::Bytes> junk(uint64_t seed) {
    const soak::Forge known({.seed = seed, .versions = {0, 1}});
    const soak::Forge unknown({.seed = seed, .versions = {0, 1}, .community = "guess"});
    std::mt19937_64 random(seed);
    std::vector<wire::Bytes> all;
    for (uint64_t number = 0; all.size() < kVariety; ++number) {
        wire::Bytes octets = (number % 4 == 0 ? known : unknown).make(number).octets;
        if (number % 2 == 1) {
            octets.resize(1 + random() % 300);
            for (uint8_t& octet : octets) octet = static_cast<uint8_t>(random());
        }
        if (!octets.empty() && octets.size() <= kMaxSize) all.push_back(std::move(octets));
    }
    return all;
}

/// A socket with its own source address, connected to the port of 127.0.0.1.
int socketFrom(const Options& options) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in source{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {}, .sin_zero = {}};
    if (inet_pton(AF_INET, options.from.c_str(), &source.sin_addr) != 1) throw std::runtime_error("--from: no address");
    sockaddr_in target{.sin_family = AF_INET, .sin_port = htons(options.port), .sin_addr = {}, .sin_zero = {}};
    target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&source), sizeof source) != 0 ||
        connect(fd, reinterpret_cast<const sockaddr*>(&target), sizeof target) != 0)
        throw std::runtime_error("the socket can't be opened");
    return fd;
}

/// @return the number of datagrams sent
size_t flood(const Options& options) {
    const std::vector<wire::Bytes> all = junk(options.seed);
    const int fd = socketFrom(options);
    std::array<uint8_t, 65'536> reply{};
    const auto start = Clock::now();
    const auto end =
        start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.seconds));
    size_t sent = 0, skipped = 0;
    for (auto now = start; now < end; now = Clock::now()) {
        const double elapsed = std::chrono::duration<double>(now - start).count();
        const auto due = static_cast<size_t>(elapsed * options.rate);
        const auto most = static_cast<size_t>(std::chrono::duration<double>(kMaxBehind).count() * options.rate) + 1;
        if (due - sent - skipped > most) skipped = due - sent - most;
        for (; sent + skipped < due; ++sent)
            if (send(fd, all[sent % kVariety].data(), all[sent % kVariety].size(), 0) < 0 && errno == ECONNREFUSED)
                throw std::runtime_error("the port is closed");
        while (recv(fd, reply.data(), reply.size(), 0) > 0) {
        }
        std::this_thread::sleep_for(kInterval);
    }
    close(fd);
    return sent;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{"Send junk to 127.0.0.1 at a constant rate, and print the number of datagrams sent"};
    app.add_option("--port", options.port, "UDP port of the server")->required();
    app.add_option("--rate", options.rate, "datagrams per second")->capture_default_str();
    app.add_option("--seconds", options.seconds, "duration")->capture_default_str();
    app.add_option("--from", options.from, "source address")->capture_default_str();
    app.add_option("--seed", options.seed, "seed of the junk")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        std::printf("%zu\n", flood(options));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "flood: %s\n", error.what());
        return 1;
    }
}
