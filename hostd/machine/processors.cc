#include "hostd/machine/processors.h"

#include <charconv>

namespace hostd {

std::optional<uint32_t> countProcessors(std::string_view list) {
    const char* at = list.data();
    const char* const end = at + list.size();
    uint64_t count = 0;
    for (;;) {
        uint16_t first = 0;
        auto [after, failed] = std::from_chars(at, end, first);
        if (failed != std::errc()) return {};
        uint16_t last = first;
        if (after != end && *after == '-') {
            const auto range = std::from_chars(after + 1, end, last);
            if (range.ec != std::errc() || last < first) return {};
            after = range.ptr;
        }
        count += last - first + 1U;
        if (after == end || *after == '\n') return static_cast<uint32_t>(count);
        if (*after != ',') return {};
        at = after + 1;
    }
}

}  // namespace hostd
