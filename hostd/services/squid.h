#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hostd {

/// The figures that squid reports. One that isn't in squid's pages is absent.
struct SquidFigures {
    std::optional<uint32_t> startedAt;       ///< when squid was started: s since the machine started (tn::getUptime)
    std::optional<uint64_t> memory;          ///< KiB of cached objects in memory
    std::optional<uint64_t> storage;         ///< KiB of cached objects on disks
    std::optional<uint64_t> hits;            ///< requests of clients that were answered from the cache
    std::optional<uint64_t> clientOut;       ///< KiB sent to clients
    std::optional<uint64_t> serverRequests;  ///< requests sent to servers
    std::optional<uint64_t> serverIn;        ///< KiB received from servers
    std::optional<uint64_t> serverOut;       ///< KiB sent to servers

    friend bool operator==(const SquidFigures&, const SquidFigures&) = default;
};

/// Parses the pages "info" and "counters" of squid's cache manager, in the format of squid 3 to 6. A figure is absent
/// when its line is missing or has no valid number.
/// @param uptime  when squid wrote the pages: s since the machine started
[[nodiscard]] SquidFigures parseSquidPages(std::string_view info, std::string_view counters, double uptime);

/// One reading of squid's figures.
struct SquidReading {
    std::string problem;   ///< why there are no figures, as a line for people; empty on success
    SquidFigures figures;  ///< all absent if there is a problem
};

/// Queries squid's cache manager over HTTP, through libcurl, which the first call loads. Waits for squid, 5 s at most
/// for each of two pages, so it can block. `problem` doesn't contain the URL, which may have a password in it.
/// @param url  squid's: "http://127.0.0.1:3128"
[[nodiscard]] SquidReading readSquid(const std::string& url);

}  // namespace hostd
