#include "hostd/links/link_status_debouncer.h"

#include <algorithm>

#include "contracts/interfaces.h"

namespace hostd {

namespace interfaces = contracts::interfaces;

namespace {

bool isTransitional(uint32_t status) {
    return ((status & interfaces::status::Up) != 0) != ((status & interfaces::status::Operational) != 0);
}

}  // namespace

void LinkStatusDebouncer::change(const Link& link, uint32_t before, uint32_t status, std::chrono::milliseconds now) {
    const auto last = transitions_.find(link.index);
    const uint32_t reported = last == transitions_.end() ? before : last->second.reported;
    if (isTransitional(status)) {
        const auto due = last == transitions_.end() ? now + kSettlingTime : last->second.due;
        transitions_.insert_or_assign(link.index, Transition{link.name, reported, status, due});
        return;
    }
    if (last != transitions_.end()) transitions_.erase(last);
    if (status != reported) report_(link.index, link.name, status);
}

void LinkStatusDebouncer::reportLasting(std::chrono::milliseconds now) {
    for (auto at = transitions_.begin(); at != transitions_.end();) {
        const auto& [index, link] = *at;
        if (link.due > now) {
            ++at;
            continue;
        }
        if (link.status != link.reported) report_(index, link.name, link.status);
        at = transitions_.erase(at);
    }
}

std::optional<std::chrono::milliseconds> LinkStatusDebouncer::due() const {
    const auto first = std::ranges::min_element(
        transitions_, [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
    return first == transitions_.end() ? std::nullopt : std::optional(first->second.due);
}

}  // namespace hostd
