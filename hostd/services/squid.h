#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hostd {

/// What squid tells of itself. A value that isn't in its pages is absent.
struct SquidFigures {
    std::optional<uint32_t> startedAt;  ///< seconds of tn::getUptime
    std::optional<uint64_t> memory;     ///< KiB of objects kept in memory
    std::optional<uint64_t> storage;    ///< KiB of objects kept on disks
    std::optional<uint64_t> hits;       ///< requests of clients answered from the cache
    std::optional<uint64_t> clientOut;  ///< KiB sent to clients
    std::optional<uint64_t> serverRequests;
    std::optional<uint64_t> serverIn;   ///< KiB received from servers
    std::optional<uint64_t> serverOut;  ///< KiB sent to servers

    friend bool operator==(const SquidFigures&, const SquidFigures&) = default;
};

/// Reads the pages "info" and "counters" of squid's cache manager, as squid 3 to 6 write them.
/// @param uptime  seconds since the machine started, when squid wrote the pages
[[nodiscard]] SquidFigures parseSquidPages(std::string_view info, std::string_view counters, double uptime);

struct SquidReading {
    std::string problem;  ///< why there are no figures; empty when all is well
    SquidFigures figures;
};

/// Asks squid's cache manager over HTTP, through libcurl, which is loaded here. Waits for squid, 5 s at most for each
/// page.
/// @param url  where squid listens: "http://127.0.0.1:3128"
[[nodiscard]] SquidReading readSquid(const std::string& url);

}  // namespace hostd
