#include "agent/status/source_list.h"

#include <algorithm>

namespace snmp {

Source& SourceList::entryOf(const tn::IPAddr6& address) {
    const auto end = sources_.begin() + static_cast<std::ptrdiff_t>(used_);
    const auto known = std::ranges::find(sources_.begin(), end, address, &Source::address);
    if (known != end) return *known;
    Source& entry = used_ < kMax ? sources_[used_++] : *std::ranges::min_element(sources_, {}, &Source::rank);
    entry = {.address = address, .rank = entry.rank};
    return entry;
}

void SourceList::add(const tn::IPAddr6& address, Counter refusal, std::chrono::milliseconds now) {
    ++datagrams_;
    Source& entry = entryOf(address);
    ++entry.requests;
    entry.rank = keep_ == Keep::Last ? datagrams_ : entry.rank + 1;
    entry.lastSeen = now;
    if (refusal == Counter::None) return;
    ++entry.refused;
    entry.lastRefusal = refusal;
}

std::vector<Source> SourceList::sorted() const {
    std::vector<Source> all(sources_.begin(), sources_.begin() + static_cast<std::ptrdiff_t>(used_));
    std::ranges::sort(all, std::ranges::greater(), &Source::rank);
    return all;
}

}  // namespace snmp
