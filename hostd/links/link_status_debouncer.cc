#include "hostd/links/link_status_debouncer.h"

#include <algorithm>

#include "contracts/interfaces.h"

namespace hostd {

namespace interfaces = contracts::interfaces;

namespace {

bool isHalfWay(uint32_t status) {
    return ((status & interfaces::status::Up) != 0) != ((status & interfaces::status::Operational) != 0);
}

}  // namespace

void StatusNews::changed(const Link& link, uint32_t before, uint32_t status, uint64_t now) {
    const auto known = halfWay_.find(link.index);
    const uint32_t told = known == halfWay_.end() ? before : known->second.told;
    if (isHalfWay(status)) {
        const uint64_t due = known == halfWay_.end() ? now + kSettle : known->second.due;
        halfWay_.insert_or_assign(link.index, HalfWay{link.name, told, status, due});
        return;
    }
    if (known != halfWay_.end()) halfWay_.erase(known);
    if (status != told) tell_(link.index, link.name, status);
}

void StatusNews::tellLasting(uint64_t now) {
    for (auto at = halfWay_.begin(); at != halfWay_.end();) {
        const auto& [index, link] = *at;
        if (link.due > now) {
            ++at;
            continue;
        }
        if (link.status != link.told) tell_(index, link.name, link.status);
        at = halfWay_.erase(at);
    }
}

std::optional<uint64_t> StatusNews::due() const {
    const auto first =
        std::ranges::min_element(halfWay_, [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
    return first == halfWay_.end() ? std::nullopt : std::optional(first->second.due);
}

}  // namespace hostd
