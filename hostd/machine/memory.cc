#include "hostd/machine/memory.h"

#include <algorithm>
#include <charconv>

namespace hostd {

std::optional<uint64_t> meminfoValue(std::string_view text, std::string_view name) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.starts_with(name)) continue;
        line.remove_prefix(name.size());
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        uint64_t kib = 0;
        const auto [rest, failed] = std::from_chars(line.data(), line.data() + line.size(), kib);
        if (failed != std::errc() || std::string_view(rest, line.data() + line.size()) != " kB") return {};
        return kib;
    }
    return {};
}

Memory parseMeminfo(std::string_view text) {
    Memory memory{meminfoValue(text, "MemTotal:"), meminfoValue(text, "MemAvailable:")};
    if (memory.total && memory.available && *memory.available > *memory.total) memory.available.reset();
    return memory;
}

}  // namespace hostd
