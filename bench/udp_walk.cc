// Walks tables like a manager, with one request outstanding, and measures the servers' CPU time.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "bench/server_cost.h"
#include "bench/session.h"
#include "bench/snmp_request.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

struct Options {
    bench::Request request;
    uint16_t port = 0;
    size_t atOnce = 1;
    unsigned walks = 1;
    unsigned interval = 300;  // milliseconds
    unsigned timeout = 10;    // seconds; nothing is lost on the loopback, so a slower server has failed
    bool getNext = false;
    std::string v3;
    std::vector<int> pids;
    std::vector<std::string> prefixes;
};

/// One prefix, and the position of the walk under it.
struct Cursor {
    wire::Oid prefix, last;
    bool done = false;

    [[nodiscard]] bool covers(const wire::Oid& name) const {
        return name.size() > prefix.size() && std::equal(prefix.begin(), prefix.end(), name.begin());
    }
};

/// RFC 3416, 4.2.3 interleaves the names of a GetBulk; an agent may also return all repetitions of one name together.
enum class Order { Unknown, Interleaved, ColumnByColumn };

struct Figures {
    uint64_t requests = 0, varbinds = 0;
};

class Walk {
  public:
    explicit Walk(const Options& options)
        : request_(options.request),
          atOnce_(options.atOnce),
          session_(options.port, std::chrono::seconds(options.timeout), options.v3) {
        request_.pdu = options.getNext ? bench::kGetNext : bench::kGetBulk;
        for (const std::string& prefix : options.prefixes) prefixes_.push_back(wire::parseOid(prefix));
    }

    /// Walks everything once.
    /// @throws std::runtime_error on an error, a timeout, or a name that isn't greater than the one before
    Figures run() {
        figures_ = {};
        for (size_t at = 0; at < prefixes_.size(); at += atOnce_) {
            std::vector<Cursor> cursors;
            for (size_t i = at; i < std::min(at + atOnce_, prefixes_.size()); ++i) {
                cursors.push_back({prefixes_[i], prefixes_[i]});
            }
            walkTogether(cursors);
        }
        return figures_;
    }

  private:
    void walkTogether(std::vector<Cursor>& cursors) {
        Order order = Order::Unknown;
        while (!cursors.empty()) {
            const bench::Response response = query(cursors);
            if (response.bindings.empty()) throw std::runtime_error("reply without a binding");
            if (order == Order::Unknown) order = orderOf(response, cursors);
            for (size_t i = 0; i < response.bindings.size(); ++i) {
                // A truncated reply lacks the last bindings, in either order.
                const size_t of = order == Order::Interleaved ? i % cursors.size() : i / request_.maxRepetitions;
                if (of >= cursors.size()) throw std::runtime_error("more bindings than requested");
                advance(cursors[of], response.bindings[i]);
            }
            std::erase_if(cursors, [](const Cursor& cursor) { return cursor.done; });
        }
    }

    /// Decided by the first reply: in later ones, a column can run over into another prefix.
    static Order orderOf(const bench::Response& response, const std::vector<Cursor>& cursors) {
        const bool secondIsOfFirst = response.bindings.size() > 1 && cursors[0].covers(response.bindings[1].name);
        return cursors.size() > 1 && secondIsOfFirst ? Order::ColumnByColumn : Order::Interleaved;
    }

    /// Bindings after the end of the prefix, which a GetBulk may return, aren't counted.
    void advance(Cursor& cursor, const bench::Binding& binding) {
        if (cursor.done) return;
        cursor.done = !binding.hasValue || !cursor.covers(binding.name);
        if (cursor.done) return;
        if (binding.name <= cursor.last) {
            throw std::runtime_error(wire::dotted(binding.name) + " came after " + wire::dotted(cursor.last));
        }
        cursor.last = binding.name;
        ++figures_.varbinds;
    }

    bench::Response query(const std::vector<Cursor>& cursors) {
        request_.oids.clear();
        for (const Cursor& cursor : cursors) request_.oids.push_back(cursor.last);
        bench::Datagram datagram(request_);
        id_ = (id_ + 1) | 0x40000000;
        session_.send(datagram.withId(id_));
        ++figures_.requests;
        const auto answer = session_.receive();
        if (answer.empty()) throw std::runtime_error("timeout after " + wire::dotted(cursors.front().last));
        const auto response = bench::readResponse(answer);
        if (!response || response->id != id_) {
            throw std::runtime_error("error or malformed reply after " + wire::dotted(cursors.front().last));
        }
        return *response;
    }

    bench::Request request_;
    size_t atOnce_;
    std::vector<wire::Oid> prefixes_;
    uint32_t id_ = 0x40000000;
    Figures figures_;
    bench::Session session_;
};

void measure(const Options& options) {
    Walk walk(options);
    Figures figures;
    Clock::duration took{};
    const uint64_t cpuBefore = bench::cpuTime(options.pids);
    for (unsigned i = 0; i < options.walks; ++i) {
        // Let the servers' caches expire between two walks, as they do between two polls.
        if (i != 0) std::this_thread::sleep_for(std::chrono::milliseconds(options.interval));
        const auto started = Clock::now();
        figures = walk.run();
        took += Clock::now() - started;
    }
    const double cpu = static_cast<double>(bench::cpuTime(options.pids) - cpuBefore) / 1e9;
    std::printf(R"({"requests": %lu, "varbinds": %lu, "seconds": %.6f, "cpu_seconds": %.6f})"
                "\n",
                figures.requests, figures.varbinds, std::chrono::duration<double>(took).count() / options.walks,
                cpu / options.walks);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app{
        "Walk subtrees of the agent at 127.0.0.1 and check that names strictly increase. Prints the figures of "
        "one walk as one line of JSON"};
    app.add_option("--port", options.port, "UDP port of the server")->required();
    app.add_flag("--getnext", options.getNext, "GetNext instead of GetBulk");
    app.add_option("--max-repetitions", options.request.maxRepetitions, "repetitions of a getbulk")
        ->check(CLI::Range(1U, 1000U));
    app.add_option("--at-once", options.atOnce, "prefixes per request")->check(CLI::Range(1U, 100U));
    app.add_option("--walks", options.walks, "number of walks; the figures are their mean")
        ->check(CLI::Range(1U, 1000U));
    app.add_option("--interval", options.interval, "milliseconds between two walks");
    app.add_option("--timeout", options.timeout, "seconds to wait for a reply");
    app.add_option("--pid", options.pids, "process whose CPU time is counted (repeatable)")->allow_extra_args(false);
    app.add_flag(bench::kV3Flag, options.v3, bench::kV3Help);
    app.add_option("PREFIX", options.prefixes, "subtrees to walk, in this order")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        measure(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "udp-walk: %s\n", error.what());
        return 1;
    }
}
