// The two pages of squid's cache manager, separated by a zero octet.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "hostd/services/squid.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr double kUptime = 1000;
    const std::string_view pages(reinterpret_cast<const char*>(data), size);
    const size_t end = pages.find('\0');
    const std::string_view info = pages.substr(0, end);
    const std::string_view counters = end == std::string_view::npos ? std::string_view() : pages.substr(end + 1);
    const auto figures = hostd::parseSquidPages(info, counters, kUptime);
    if (figures.startedAt && *figures.startedAt > kUptime) std::abort();
    return 0;
}
