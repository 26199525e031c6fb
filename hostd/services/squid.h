#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hostd {

/// Squid's own figures. A value that isn't in its pages is absent.
struct SquidFigures {
    std::optional<uint32_t> startedAt;  ///< seconds of tn::getUptime
    std::optional<uint64_t> memory;     ///< KiB of objects in memory
    std::optional<uint64_t> storage;    ///< KiB of objects on disks
    std::optional<uint64_t> hits;       ///< requests of clients answered from the cache
    std::optional<uint64_t> clientOut;  ///< KiB sent to clients
    std::optional<uint64_t> serverRequests;
    std::optional<uint64_t> serverIn;   ///< KiB received from servers
    std::optional<uint64_t> serverOut;  ///< KiB sent to servers

    friend bool operator==(const SquidFigures&, const SquidFigures&) = default;
};

/// Parses the pages "info" and "counters" of squid's cache manager, as squid 3 to 6 write them. Lines that aren't there
/// or have no valid number give absent values.
/// @param uptime  seconds since the machine started, when squid wrote the pages
[[nodiscard]] SquidFigures parseSquidPages(std::string_view info, std::string_view counters, double uptime);

/// The result of one query.
struct SquidReading {
    std::string problem;  ///< why there are no figures; empty when all is well
    SquidFigures figures;
};

/// Queries squid's cache manager over HTTP, through libcurl, which is loaded on the first call. Waits for squid, 5 s at
/// most for each page, so it can block.
/// @param url  where squid listens: "http://127.0.0.1:3128"
[[nodiscard]] SquidReading readSquid(const std::string& url);

}  // namespace hostd
