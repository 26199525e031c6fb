#include "hostd/source/readings.h"

#include <algorithm>

#include "contracts/readings.h"
#include "tn/sources.h"

namespace hostd {

namespace readings = contracts::readings;

namespace {
constexpr size_t kMaxText = 1000;  // octets
}

void Readings::refresh() {
    const std::chrono::milliseconds now = tn::sinceBoot();
    states_.clear();
    for (const ReportedSource* source : ReportedSource::all()) states_.push_back(source->readingState(now));
    std::ranges::stable_sort(states_, {}, &ReadingState::name);
}

std::optional<uint32_t> Readings::firstFrom(uint32_t id) const {
    return id < states_.size() ? std::optional(id) : std::nullopt;
}

void Readings::writeRow(uint32_t id, tn::message& row) const {
    const ReadingState& state = states_[id];
    row.insert_string(tn::field::Name, state.name);
    if (state.age) row.insert_u64(readings::Age, static_cast<uint64_t>(std::max<int64_t>(state.age->count(), 0)));
    row.insert_bool(readings::Failing, !state.problem.empty());
    if (!state.problem.empty()) row.insert_string(readings::Text, state.problem.substr(0, kMaxText));
}

}  // namespace hostd
