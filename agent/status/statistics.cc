#include "agent/status/statistics.h"

#include <algorithm>
#include <utility>

#include "tn/sources.h"

namespace snmp {

Statistics statistics;

void Statistics::countDatagram(const tn::IPAddr6& source, Counter refusal, std::string_view user) {
    const std::chrono::milliseconds now = tn::sinceBoot();
    // How every SNMPv3 manager begins isn't a refusal to it.
    const bool isRefused = refusal != Counter::None && rowOf(refusal).unlogged != kNeverLogged;
    const Counter shown = isRefused ? refusal : Counter::None;
    lastSources.add(source, shown, now);
    busiestSources.add(source, shown, now);
    counters.add(refusal);
    if (isRefused) refusals.add(source, refusal, user, now);
}

void Statistics::countReply(const std::vector<uint32_t>& path, const tn::message& reply) {
    auto owner = owners.find(path);
    if (owner == owners.end()) {
        if (owners.size() >= kMaxOwners) return;
        owner = owners.try_emplace(path).first;
    }
    OwnerCounts& counts = owner->second;
    uint32_t code = 0;
    if (!tn::isError(reply, &code) || code == tn::error::NotFound) {
        ++counts.answers;
        counts.lastReply = tn::sinceBoot();
        return;
    }
    if (code == tn::error::TimedOut) {
        ++counts.timedOut;
    } else if (code == tn::error::Unreachable || code == tn::error::NoSuchHandler) {
        ++counts.absent;
    } else {
        ++counts.errors;
        counts.lastReply = tn::sinceBoot();
    }
    counts.lastError = tn::getError(reply);
}

void Statistics::setPlugin(const std::string& file, const std::string& fault, std::vector<std::string> serves) {
    const auto known = std::ranges::find(plugins, file, &PluginState::file);
    if (known != plugins.end()) {
        *known = {file, fault, std::move(serves)};
    } else if (plugins.size() < kMaxPlugins) {
        plugins.push_back({file, fault, std::move(serves)});
    }
}

}  // namespace snmp
