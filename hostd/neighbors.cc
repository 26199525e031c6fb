#include "hostd/neighbors.h"

#include <algorithm>

#include "hostd/row_text.h"
#include "tn/sources.h"

namespace hostd {

Neighbors::Neighbors(std::function<NeighborReading()> read)
    : background_("neighbours", std::move(read), kMaxAge, kPatience) {}

void Neighbors::refresh() {
    auto latest = background_.latest(tn::getMilliseconds());
    if (latest == taken_) return;
    taken_ = std::move(latest);
    take(taken_ ? *taken_ : NeighborReading());
}

void Neighbors::take(const NeighborReading& reading) {
    if (taken_ && reading.problem != problem_) {
        problem_ = reading.problem;
        hostLog << "neighbours: " << (problem_.empty() ? "lldpd answers" : problem_);
    }
    std::map<uint32_t, Neighbor> neighbors;
    std::map<std::string, uint32_t> ids;
    for (const auto& [id, known] : neighbors_) ids[known.key] = id;
    for (const Neighbor& heard : reading.neighbors) {
        const auto known = ids.find(heard.key);
        neighbors[known != ids.end() ? known->second : ++lastId_] = heard;
    }
    neighbors_ = std::move(neighbors);
}

std::optional<uint32_t> Neighbors::firstFrom(uint32_t id) const {
    const auto found = neighbors_.lower_bound(id);
    return found == neighbors_.end() ? std::nullopt : std::optional(found->first);
}

void Neighbors::listRow(uint32_t id, tn::message& row) const {
    const Neighbor& heard = neighbors_.at(id);
    if (heard.address != 0) row.insert_be32(neighbor::Address, heard.address);
    insertText(row, neighbor::Version, heard.version);
    insertText(row, neighbor::Identity, heard.identity);
    insertText(row, neighbor::Platform, heard.platform);
    insertText(row, neighbor::Port, heard.port);
    if (!heard.mac.empty()) row.insert_raw(neighbor::Mac, heard.mac);
}

}  // namespace hostd
